"""The system calls of an output's road: each fails once, and from there on, and the old file is as it was; the disk
is full at twenty sizes; fsync, close and rename come in their order; names and inputs change behind the program."""
import errno
import os
import shutil
import sys

from program import *

SHIM = os.path.abspath(sys.argv[2])
OLD = b"the only copy of an edit\n" * 40
ERRORS = (errno.ENOSPC, errno.EIO, errno.EDQUOT, errno.EACCES)
CALLS = ("open", "write", "fsync", "rename", "close")


class Road:
    """One kind of output: how it is made, and what may be in its folder afterwards."""

    def __init__(self, folder, name, arguments, files):
        self.folder, self.name, self.arguments, self.files = folder, name, arguments, files

    def before(self, old):
        shutil.rmtree(self.folder, ignore_errors=True)
        self.folder.mkdir()
        if old:
            for name in self.files:
                (self.folder / name).write_bytes(OLD)

    def holds(self):
        return {name: (self.folder / name).is_file() and (self.folder / name).read_bytes()
                for name in names(self.folder)}


def run(road, log, **environment):
    settings = {"LD_PRELOAD": SHIM, "FAULT_FOLDER": str(road.folder), "FAULT_LOG": str(log)}
    settings.update({name: str(value) for name, value in environment.items()})
    log.unlink(missing_ok=True)
    os.environ.update(settings)
    try:
        done = Run(road.arguments)
    finally:
        for name in settings:
            del os.environ[name]
    return done, log.read_text().splitlines() if log.exists() else []


def judge(road, done, before, whole, what):
    """All new and said to be, or all old and said why; nothing else in the folder."""
    after = road.holds()
    check(not done.crashed() and not done.hung, "%s crashes or hangs: %s" % (what, done.describe()))
    if done.code == 0:
        check({name: after.get(name) for name in road.files} == whole, "%s: done, but not whole" % what)
        check(set(after) - set(whole) <= road.hidden, "%s leaves %s" % (what, sorted(after)))
        return
    check(done.code in (1, 4) and done.refused(), "%s: %s" % (what, done.describe()))
    check(after == before, "%s: there were %s, there are %s; %s"
          % (what, sorted(before), sorted(after), done.describe()))


def sweep(road, log, whole):
    """Every call of each kind fails in turn, until a run meets no fault any more."""
    points = dict.fromkeys(CALLS, 0)
    refusals = dict.fromkeys(CALLS, 0)
    for call in CALLS:
        for k in range(1, 1000):
            faults = 0
            for i, number in enumerate(ERRORS if LONG else (ERRORS[k % len(ERRORS)],)):
                for on in (0, 1) if LONG else ((k + i) % 2,):
                    old = (k // 2) % 2 == 0
                    road.before(old)
                    before = road.holds()
                    done, lines = run(road, log, FAULT_CALL=call, FAULT_AT=k, FAULT_ERROR=number, FAULT_ON=on)
                    met = [line for line in lines if line.startswith("FAULT ")]
                    if not met:
                        continue
                    # A disk that takes nothing back either cannot be put right; what is left is told.
                    if call == "rename" and on and len(met) > 1 and done.code == 1:
                        check(done.refused(), "%s: %s" % (road.name, done.describe()))
                        faults += 1
                        continue
                    faults += 1
                    refusals[call] += done.code != 0
                    judge(road, done, before, whole,
                          "%s, %s number %d fails with %s%s at %s" % (road.name, call, k, errno.errorcode[number],
                                                                    " from there on" if on else "", met[0][6:]))
            if not faults:
                break
            points[call] += faults
        check(points[call] > 0, "%s: no %s is ever made" % (road.name, call))
        check(refusals[call] > 0, "%s: no failing %s is ever noticed" % (road.name, call))
    return sum(points.values())


def sizes(road, log, whole):
    """A disk that is full after so many bytes, from none to just too few, twenty of them."""
    total = sum(len(bytes_) for bytes_ in whole.values())
    for i in range(20):
        road.before(True)
        before = road.holds()
        done, lines = run(road, log, FAULT_BYTES=total * i // 20)
        check(done.code == 1 and "disk is full" in done.err, "%s, full at %d bytes: %s"
              % (road.name, total * i // 20, done.describe()))
        judge(road, done, before, whole, "%s, full at %d of %d bytes" % (road.name, total * i // 20, total))
    return 20


def order(road, log):
    """What is given its name has been synced and closed since it was last written, and the folder is synced after
    the last name and before the old file goes."""
    road.before(True)
    done, lines = run(road, log)
    check(done.code == 0, done.describe())
    fresh, unsynced, renames = set(), set(), 0
    for line in lines:
        call, _, rest = line.partition(" ")
        path, _, target = rest.partition(" -> ")
        hidden = ".part" in path
        if call == "write":
            fresh.add(path)
            unsynced.add(path)
        elif call == "fsync":
            unsynced.discard(path)
            if path == str(road.folder):
                unsynced.discard("names")
        elif call == "close":
            check(path not in unsynced, "%s: closed before it is synced: %s" % (road.name, path))
            fresh.discard(path)
        elif call == "rename":
            check(path not in unsynced and path not in fresh,
                  "%s: renamed before it is synced and closed: %s" % (road.name, line))
            if hidden and ".part" not in target:
                renames += 1
            unsynced.add("names")
        elif call == "unlink" and hidden and renames and "old" in path.rpartition("/")[2]:
            check("names" not in unsynced, "%s: an old file goes before the names last: %s" % (road.name, line))
    check(renames > 0, "%s: nothing is ever renamed" % road.name)
    check("names" not in unsynced, "%s: the folder is not synced after the last rename" % road.name)
    return 1


def links(road, log, folder):
    """Whoever opens a hidden name a second time finds a link to somebody's file there."""
    victim = folder / "victim"
    victim.write_bytes(OLD)
    road.before(False)
    done, lines = run(road, log, VICTIM=victim)
    check(victim.read_bytes() == OLD, "%s: another file was written through a link: %s" % (road.name, done.describe()))
    check(done.code == 0, "%s: a hidden name is opened again: %s" % (road.name, done.describe()))
    return 1


def make_photos(folder):
    """An animated WebP and an AVIF, which libraries of their own decode."""
    ffmpeg("-f", "lavfi", "-i", "testsrc2=s=64x48:r=5:d=1", "-c:v", "libwebp_anim", folder / "moving.webp")
    ffmpeg("-f", "lavfi", "-i", "testsrc2=s=64x48", "-frames:v", "1", "-c:v", "libaom-av1", "-cpu-used", "8",
           "-pix_fmt", "yuv420p", folder / "photo.avif")


def swapped(folder, log, whole, other):
    """How often `whole` could be made `other` behind the program's back: at each of its openings."""
    changed = 0
    for copied in (0, 1):
        for k in range(1, 20):
            given, spare = folder / ("in" + os.path.splitext(whole)[1]), folder / "spare"
            shutil.copy(folder / whole, given)
            shutil.copy(folder / other, spare)
            road = Road(folder / "out", "swap", ["join", given, scene("city", 2), "-o", "null:", "--size", "64x48",
                                                 "-d", "4f", "--quiet"], ())
            done, _ = run(road, log, SWAP_NAME=given, SWAP_WITH=spare, SWAP_AT=k, SWAP_COPY=copied)
            met = given.read_bytes() != (folder / whole).read_bytes()
            if not met:
                check(done.code == 0, "%s, which did not change: %s" % (whole, done.describe()))
                break
            changed += 1
            what = "%s for %s at opening %d%s" % (other, whole, k, ", in place" if copied else "")
            check(not done.crashed() and not done.hung, "%s: %s" % (what, done.describe()))
            # The first opening finds a file like any other.
            check(done.code in ((0, 3) if k == 1 else (3,)), "%s: %s" % (what, done.describe()))
            if k > 1:
                check("changed while it was being read" in done.err, "%s: %s" % (what, done.describe()))
    return changed


def swaps(folder, log):
    """An input becomes another at each of its openings, by a new file or by new bytes in the old one."""
    make = {"clip.mkv": ("-f", "lavfi", "-i", "testsrc2=s=64x48:r=25:d=2", "-f", "lavfi", "-i", "sine=d=2", "-map", "1",
                         "-map", "0", "-c:v", "mpeg4", "-c:a", "aac"),
            "sound.mkv": ("-f", "lavfi", "-i", "sine=d=2", "-c:a", "aac"),
            "turned.mkv": ("-f", "lavfi", "-i", "testsrc2=s=96x64:r=25:d=1", "-f", "lavfi", "-i", "sine=d=1",
                           "-c:v", "mpeg4", "-c:a", "aac"),
            "still.png": ("-f", "lavfi", "-i", "testsrc2=s=64x48", "-frames:v", "1")}
    for name, arguments in make.items():
        ffmpeg(*arguments, folder / name)
    (folder / "text").write_text("no movie at all\n" * 50)
    make_photos(folder)
    changed = 0
    others = ("sound.mkv", "turned.mkv", "still.png", "text")
    for whole in ("clip.mkv", "moving.webp", "photo.avif"):
        for other in others if LONG else ("sound.mkv", "turned.mkv"):
            changed += swapped(folder, log, whole, other)
    check(changed > 4, "only %d changes" % changed)
    return changed


with Workshop() as folder:
    log = folder / "log"
    place = folder / "place"
    stills = [scene("city", 0.12, sound=False), scene("harbour", 0.12, sound=False)]
    short = ["--duration", "2f", "--threads", "1", "--force", "--quiet"]
    pictures = ["p%d.png" % i for i in (1, 2, 3, 4)]
    roads = [
        Road(place, "mp4", ["join", *stills, "-o", place / "out.mp4", *short], ["out.mp4"]),
        Road(place, "pictures", ["join", *stills, "-o", place / "p%d.png", *short], pictures),
        Road(place, "picture", ["frame", *stills, "-o", place / "x.png", "--of", "2", "--force", "--quiet"], ["x.png"]),
        Road(place, "sums", ["join", *stills, "-o", "md5:%s" % (place / "sums"), *short], ["sums"]),
    ]
    # Reports tell times, so that no two are equal; their road is that of the sums.
    figures = {"points": 0, "sizes": 0, "orders": 0, "links": 0}
    for road in roads:
        road.hidden = {".p%d.png.tumblewash"} if road.name == "pictures" else set()
        road.before(True)
        done, _ = run(road, log)
        check(done.code == 0, done.describe())
        held = road.holds()
        whole = {name: held[name] for name in road.files}
        check(all(content != OLD for content in whole.values()), "%s: nothing was written" % road.name)
        figures["orders"] += order(road, log)
        figures["links"] += links(road, log, folder)
        figures["points"] += sweep(road, log, whole)
        if road.name in ("mp4", "pictures"):
            figures["sizes"] += sizes(road, log, whole)
    changed = swaps(folder, log)
    finish("%(points)d failing calls, a full disk at %(sizes)d sizes, %(orders)d orders of calls, %(links)d links in the "
           "way" % figures + ", %d inputs changed while they were read" % changed)
