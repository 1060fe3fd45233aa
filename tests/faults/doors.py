"""Inputs and outputs that are no files: folders, pipes, devices, closed pipes. One clear line and the
documented code, never a hang."""
import os
import subprocess

from program import *

CITY = scene("city", 2)


def refused(run, code, what):
    check(not run.crashed() and not run.hung, "%s crashes or hangs: %s" % (what, run.describe()))
    check(run.code == code and run.refused(), "%s, expected %d: %s" % (what, code, run.describe()))


with Workshop() as folder:
    fifo = folder / "pipe"
    os.mkfifo(fifo)
    empty = folder / "empty.mp4"
    empty.write_bytes(b"")
    link = folder / "loop"
    link.symlink_to(link)
    dangling = folder / "dangling"
    dangling.symlink_to(folder / "nowhere")
    text = folder / "text.mp4"
    text.write_text("this is no movie\n" * 100)
    playlist = folder / "list.m3u8"
    playlist.write_text("#EXTM3U\n#EXTINF:1,\n/etc/passwd\n")
    concat = folder / "concat.txt"
    concat.write_text("ffconcat version 1.0\nfile /etc/passwd\n")
    doors = 0
    for door in (folder, fifo, empty, link, dangling, text, playlist, concat, "/dev/full", "/dev/null", "/dev/zero",
                 "/dev/tty", "/proc/self/mem", "/proc/kmsg", folder / "absent.mp4", "http://127.0.0.1:9/a.mp4",
                 "a" * 5000):
        for arguments in (["join", door, CITY, "-o", folder / "o.mp4"], ["frame", CITY, door, "-o", folder / "o.png"]):
            refused(Run([*arguments, "--quiet"], timeout=30 * SLOWNESS), 3, "input %s" % str(door)[:80])
            doors += 1
    for door in (folder, fifo, "/dev/full", "/dev/null", folder / "absent" / "o.mp4"):
        run = Run(["join", CITY, CITY, "-o", door, "--force", "--quiet"], timeout=30 * SLOWNESS)
        check(not run.crashed() and run.code in (2, 4) and run.refused(), "output %s: %s" % (door, run.describe()))
        doors += 1

    # A folder that is there and writable for everybody who asks, but takes no files.
    proc = ["join", CITY, CITY, "--quiet"]
    for arguments in ([*proc, "-o", "/proc/x.mp4"], [*proc, "-o", "/proc/p%03d.png"], [*proc, "-o", "md5:/proc/x"],
                      [*proc, "-o", "null:", "--report", "/proc/x.json"],
                      ["frame", CITY, CITY, "-o", "/proc/x.png"], ["demo", "/proc/demo"],
                      ["sheet", CITY, CITY, "-o", "/proc/x.png"], ["field", CITY, CITY, "-o", "/proc/x.png"]):
        run = Run(arguments, timeout=30 * SLOWNESS)
        refused(run, 4, "output in /proc")
        check("does not exist" not in run.err and "choose another" in run.err, "misleading: " + run.describe())
        doors += 1

    # A reader that has gone, and a device without room.
    for arguments in (["join", CITY, CITY, "-o", "md5:", "--quiet"], ["list"], ["list", "--json"], ["--help"],
                      ["--generate", "man"]):
        ends = os.pipe()
        os.close(ends[0])
        with os.fdopen(ends[1], "wb") as closed:
            refused(Run(arguments, stdout=closed), 1, "closed pipe")
        with open("/dev/full", "wb") as full:
            refused(Run(arguments, stdout=full), 1, "/dev/full as standard output")
        doors += 2
    # Without any standard output or error at all nothing may break.
    bare = subprocess.run(["sh", "-c", '"$0" list >&- 2>&- <&-', PROGRAM], check=False)
    check(bare.returncode in (0, 1), "without standard streams: code %d" % bare.returncode)
    check(names(folder) == sorted(["pipe", "empty.mp4", "loop", "dangling", "text.mp4", "list.m3u8", "concat.txt"]),
          "litter: %s" % names(folder))
    finish("%d doors that are no files, each refused in one line" % (doors + 1))
