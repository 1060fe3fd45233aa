"""Memory and threads that cannot be had: each allocation and each thread start of a short join fails, once and from
there on; and the system's own limit of processes. One line, exit 1, no litter, no hang; or the whole result."""
import collections
import hashlib
import os
import pathlib
import resource
import shutil
import sys

from program import *

SHIM = os.path.abspath(sys.argv[2])
OLD = b"the only copy of an edit\n" * 40
#: A user who has no processes of his own.
NOBODY = 54321


def media(folder):
    """A small clip with sound and a photo."""
    clip, photo = folder / "clip.mp4", folder / "photo.png"
    ffmpeg("-f", "lavfi", "-i", "testsrc2=size=64x48:rate=25:duration=0.4", "-f", "lavfi", "-i",
           "sine=frequency=440:duration=0.4", "-c:v", "libx264", "-preset", "ultrafast", "-c:a", "aac", clip)
    ffmpeg("-f", "lavfi", "-i", "testsrc2=size=64x48", "-frames:v", "1", photo)
    return clip, photo


class Sweep:
    """One command whose calls fail one after the other."""

    def __init__(self, folder, output, arguments):
        self.folder, self.output = folder, output
        self.arguments = [*arguments, "-o", str(output), "--force", "--quiet"]
        self.crash = folder.parent / (folder.name + "-crash")
        run = self.run("memory:0")
        check(run.code == 0, "does not even work: " + run.describe())
        self.whole = hashlib.md5(output.read_bytes()).hexdigest()
        self.counts = {"refused": 0, "whole": 0}
        #: How often the program ended inside which function of a library that had found no memory.
        self.inside = collections.Counter()

    def run(self, failing, count=None):
        self.output.write_bytes(OLD)
        environment = dict(os.environ, LD_PRELOAD=SHIM, TUMBLEWASH_FAIL=failing, TUMBLEWASH_FAIL_CRASH=str(self.crash))
        if count:
            environment["TUMBLEWASH_FAIL_COUNT"] = str(count)
        run = Run(self.arguments, timeout=600, environment=environment)
        # x264 speaks of its own want of memory before it can be told to be silent.
        run.err = "".join(line for line in run.err.splitlines(True) if not line.startswith("x264 ["))
        return run

    def calls(self, kind, where):
        self.run(kind + ":0", where)
        made = int(where.read_text())
        where.unlink()
        return made

    def judge(self, failing):
        before = names(self.folder)
        run = self.run(failing)
        told = failing + ": " + run.describe()
        if run.crashed():
            # Nobody is left to remove the staged file.
            for part in self.folder.glob(".%s.*.part" % self.output.name):
                part.unlink()
        check(names(self.folder) == before, "litter %s: %s" % (names(self.folder), told))
        if failing.startswith("library"):
            self.judge_library(run, told)
            return
        check(not run.hung and not run.crashed(), "ends badly: " + told)
        if run.code == 0:
            made = hashlib.md5(self.output.read_bytes()).hexdigest()
            check(made == self.whole, "ends well with another result: " + told)
            self.counts["whole"] += 1
            return
        check(run.code == 1, "expected 1: " + told)
        check(run.refused(), "unclear: " + told)
        check(self.output.read_bytes() == OLD, "the old file changed: " + told)
        self.counts["refused"] += 1


    def judge_library(self, run, told):
        """FFmpeg takes some want of memory for damage or for the end of a file, and goes on, or comes to grief in the
        very call in which it found none, in a thread of its own, or in a decoder (AAC's) that it opened without the
        memory and called ready; the encoders and the resampler behind it do not look at all. Then nothing is lost at
        least. A crash anywhere else is the program's."""
        check(not run.hung, "hangs: " + told)
        if run.code == 0:
            check(readable(self.output), "ends well without a whole movie: " + told)
            self.counts["whole"] += 1
            return
        check(self.output.read_bytes() == OLD, "the old file changed: " + told)
        if run.crashed():
            said = self.crash.read_text() if self.crash.exists() else "nobody knows where"
            self.crash.unlink(missing_ok=True)
            check(said.startswith("inside "), "crashes %s: %s" % (said.strip(), told))
            self.inside[said.partition(" ")[2].strip()] += 1
            return
        check(run.code in (1, 3) and run.refused(), "unclear: " + told)
        self.counts["refused"] += 1


def chosen(count, samples):
    """All of 1..count, or the first ones and samples spread over the rest."""
    if count <= samples:
        return list(range(1, count + 1))
    step = (count / 4) ** (1 / (samples - 4))
    spread = {round(4 * step ** i) for i in range(samples - 4)}
    return sorted({1, 2, 3, count} | {n for n in spread if 0 < n <= count})


def limited(threads):
    def limits():
        if os.geteuid() == 0:
            os.setgroups([])
            os.setgid(NOBODY)
            os.setuid(NOBODY)
        resource.setrlimit(resource.RLIMIT_NPROC, (threads, threads))
    return limits


def process_limits(folder, arguments):
    """The system refuses threads from the n-th on."""
    folder = folder / "limited"
    folder.mkdir()
    folder.chmod(0o777)
    program = folder.parent / "tumblewash"
    shutil.copy(PROGRAM, program)
    for path in (folder.parent, program):
        path.chmod(0o755)
    for path in folder.parent.iterdir():
        path.chmod(path.stat().st_mode | 0o044)
    own = 0
    if os.geteuid() != 0:
        for process in pathlib.Path("/proc").glob("[0-9]*/task/*"):
            try:
                own += process.stat().st_uid == os.geteuid()
            except OSError:
                pass
    output = folder / "out.mp4"
    refused = done = 0
    for threads in range(1, 33):
        if done == 2:
            break
        run = Run([*arguments, "-o", output, "--force", "--quiet"], limits=limited(own + threads), timeout=600,
                  program=str(program))
        told = "%d processes: %s" % (threads, run.describe())
        check(not run.hung and not run.crashed(), "ends badly: " + told)
        if run.code == 0:
            check(readable(output), "not whole: " + told)
            done += 1
            continue
        check(run.code == 1 and run.refused(), "unclear: " + told)
        check(names(folder) in ([], ["out.mp4"]), "litter: %s, %s" % (names(folder), told))
        refused += 1
    check(refused > 0 and done > 0, "%d refused, %d done" % (refused, done))
    return refused


with Workshop() as folder:
    clip, photo = media(folder)
    join = ["join", clip, photo, "--still", "0.4s", "--duration", "4f", "--effect", "tumble-away", "--threads", "2"]
    told = []
    sweep = Sweep(folder, folder / "out.mp4", join)
    for kind, samples in (("thread", 100), ("memory", 10**9 if LONG else 30), ("library", 10**9 if LONG else 15)):
        calls = sweep.calls(kind, folder / "count")
        check(calls > 3, "%d calls of %s are counted" % (calls, kind))
        # The last ones of FFmpeg are those of the movie's index.
        last = range(calls - 90, calls, 9) if kind == "library" and samples < calls else ()
        for number in sorted({*chosen(calls, samples), *last}):
            sweep.judge("%s:%d" % (kind, number))
            sweep.judge("%s:%d+" % (kind, number))
        told.append("%d of %s" % (calls, kind))
    # Copies are read back before the movie gets its name: FFmpeg then reads what it wrote itself.
    copies = Sweep(folder, folder / "out.mp4", ["join", "%s#t=0,0.32" % clip, clip, "--duration", "3f", "--effect",
                                                "tumble-away", "--threads", "2", "--copy-bodies=always"])
    calls = copies.calls("library", folder / "count")
    for number in chosen(calls, 10**9 if LONG else 15):
        copies.judge("library:%d" % number)
    told.append("%d of library with copies" % calls)
    inside = sweep.inside + copies.inside
    counts = {way: sweep.counts[way] + copies.counts[way] for way in sweep.counts}
    for where, times in sorted(inside.items()):
        print("%d times inside %s" % (times, where))
    figures = "%s: %d refused, %d whole, %d ended inside FFmpeg" % (
        ", ".join(told), counts["refused"], counts["whole"], sum(inside.values()))
    (folder / "out.mp4").unlink()
    finish("%s; limits of processes: %d refused" % (figures, process_limits(folder, join)))
