"""A long join needs no more memory at its end than near its beginning."""
import subprocess
import threading
import time

from program import *

FIRST, LAST = (1000, 10000) if LONG else (500, 4000)
MOST = 1 << 20


def settled(pid):
    """Private memory of the process in bytes: what it holds, not what the page cache shows."""
    total = 0
    with open("/proc/%d/smaps_rollup" % pid) as rollup:
        for line in rollup:
            if line.startswith(("Private_Clean:", "Private_Dirty:", "Swap:")):
                total += int(line.split()[1]) * 1024
    return total


def samples(arguments):
    """Memory by frame. A thread looks at the memory all the time; the progress lines, of which there are few, tell
    the frame at their moments, and between two of them the frames are taken to pass evenly. What the program holds
    after its last line says nothing: it gives everything back there."""
    child = subprocess.Popen([PROGRAM] + arguments, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                             stderr=subprocess.PIPE, text=True)
    seen, lines = [], [(time.monotonic(), 0)]

    def watch():
        while child.poll() is None:
            try:
                seen.append((time.monotonic(), settled(child.pid)))
            except (FileNotFoundError, ProcessLookupError, PermissionError):
                return
            time.sleep(0.002)

    watcher = threading.Thread(target=watch)
    watcher.start()
    for line in child.stdout:
        if line.startswith("frame="):
            lines.append((time.monotonic(), int(line[6:])))
    said = child.stderr.read()
    check(child.wait() == 0, "the join fails: " + said)
    watcher.join()
    framed = []
    for (since, first), (until, last) in zip(lines, lines[1:]):
        framed += [(first + (last - first) * (moment - since) / (until - since), memory)
                   for moment, memory in seen if since <= moment < until and memory > 0]
    return framed


with Workshop() as folder:
    # Two recorded clips, since reading and decoding them is part of the road.
    clips = []
    for index, (name, frames) in enumerate((("testsrc", LAST // 2 + 400), ("testsrc2", LAST // 2 + 400))):
        clip = folder / ("%d.mp4" % index)
        ffmpeg("-f", "lavfi", "-i", "%s=size=96x64:rate=25:duration=%f" % (name, frames / 25), "-f", "lavfi", "-i",
               "sine=frequency=440:sample_rate=48000:duration=%f" % (frames / 25), "-shortest", "-c:v", "libx264",
               "-preset", "ultrafast", "-g", "50", "-c:a", "aac", clip)
        clips.append(clip)
    # A transition of 200 frames, then plain frames again.
    seen = samples(["join", *clips, "-o", folder / "out.mkv", "--duration", "200f", "--effect", "tumble-away",
                    "--threads", "2", "--progress", "kv", "--preset", "ultrafast"])
    # Pictures under way come and go; what the program keeps is the least of many moments.
    early = [m for f, m in seen if FIRST <= f <= FIRST + LAST // 5]
    late = [m for f, m in seen if f >= LAST - LAST // 5]
    if check(len(early) > 20 and len(late) > 20, "too few samples: %d and %d" % (len(early), len(late))):
        grown = min(late) - min(early)
        plain = SANITIZED and grown < 64 << 20  # quarantined memory of the sanitizers is theirs
        check(grown <= MOST or plain, "memory grew by %d KiB" % (grown // 1024))
        finish("frame %d to %d: at least %.2f, then %.2f MiB private (at most %.1f, %.1f), growth %d KiB" %
               (FIRST, round(seen[-1][0]), min(early) / 2**20, min(late) / 2**20, max(early) / 2**20, max(late) / 2**20,
                grown // 1024))
    finish("no figures")
