"""Disks that are full, small or gone: one clear line, exit 1, the old file as it was, no litter."""
import os
import resource
import shutil
import subprocess
import threading
import time

from program import *

OLD = b"the only copy of an edit\n" * 40


def judge(run, output, folder, words):
    check(not run.crashed(), "crash: " + run.describe())
    check(run.code == 1, "expected 1: " + run.describe())
    check(run.refused() and words in run.err, "unclear: " + run.describe())
    check(output.read_bytes() == OLD, "the old file changed: " + run.describe())
    check(names(folder) == [output.name], "litter: %s" % names(folder))


def size_limits(folder):
    """RLIMIT_FSIZE at several sizes, for every kind of output."""
    cases = 0
    for name in ("out.mp4", "out.mkv", "out.webm", "out.mov"):
        output = folder / name
        output.unlink(missing_ok=True)
        output.write_bytes(OLD)
        for most in (0, 4096, 20000) if name == "out.mp4" else (4096,):
            run = Run(join(output, seconds=1), limits=limit(resource.RLIMIT_FSIZE, most))
            judge(run, output, folder, str(output))
            cases += 1
        output.unlink()
    pictures = folder / "p%03d.png"
    run = Run(join(pictures, seconds=1), limits=limit(resource.RLIMIT_FSIZE, 100))
    check(run.code == 1 and run.refused(), "pictures: " + run.describe())
    check(names(folder) == [], "litter of pictures: %s" % names(folder))
    for command in (["frame", "pattern:city?size=64x48", "pattern:harbour?size=64x48"],
                    ["sheet", "pattern:city?size=64x48", "pattern:harbour?size=64x48", "--effect", "tilt-away"],
                    ["field", "pattern:city?size=64x48", "pattern:harbour?size=64x48", "--effect", "wash-away"]):
        output = folder / "one.png"
        output.write_bytes(OLD)
        run = Run([*command, "-o", output, "--force", "--quiet"], limits=limit(resource.RLIMIT_FSIZE, 100))
        judge(run, output, folder, str(output))
        output.unlink()
    # The report is small, the movie null: only the report meets the limit.
    report = folder / "report.json"
    report.write_bytes(OLD)
    run = Run(join("null:", seconds=1, extra=("--report", report)), limits=limit(resource.RLIMIT_FSIZE, 64))
    judge(run, report, folder, str(report))
    report.unlink()
    return cases + 5


def small_disk(folder):
    """A real full disk, where mounting is allowed."""
    disk = folder / "disk"
    disk.mkdir()
    mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=256k", "tumblewash-test", str(disk)],
                             capture_output=True, check=False)
    if mounted.returncode != 0:
        disk.rmdir()
        return "mounting is not allowed here"
    try:
        output = disk / "out.mp4"
        output.write_bytes(OLD)
        run = Run(join(output, seconds=4, size="320x240", extra=("--crf", "0", "--preset", "ultrafast")))
        judge(run, output, disk, "disk is full")
        output.unlink()
        run = Run(join(disk / "p%04d.png", seconds=2, size="320x240"))
        check(run.code == 1 and run.refused() and "disk is full" in run.err, "pictures: " + run.describe())
        check(names(disk) == [], "litter of pictures: %s" % names(disk))
    finally:
        subprocess.run(["umount", str(disk)], check=True)
        disk.rmdir()
    return "full tmpfs of 256 KiB"


def vanishing(folder):
    """The folder of the output is moved away or removed while the program works."""
    for moment in (0.2, 0.5, 0.8):
        place = folder / "place"
        place.mkdir()
        output = place / "out.mp4"
        output.write_bytes(OLD)
        arguments = join(output, seconds=3, size="320x240")
        whole = Run(arguments)
        output.write_bytes(OLD)
        timer = threading.Timer(whole.seconds * moment, lambda: place.rename(folder / "elsewhere"))
        timer.start()
        run = Run(arguments)
        timer.join()
        check(not run.crashed(), "crash: " + run.describe())
        moved = folder / "elsewhere" / "out.mp4"
        if run.code == 0:  # it was done before the folder went
            check(moved.read_bytes() != OLD, "done, but the file is old")
        else:
            # 4 where the folder went before the program looked at it at all.
            check(run.code in (1, 4) and run.refused(), "vanishing folder: " + run.describe())
            check(moved.read_bytes() == OLD, "the old file changed in a folder that was moved")
        shutil.rmtree(folder / "elsewhere")
    return 3


def unwritable(folder):
    """A folder without permission; root may write anywhere, so the program runs as somebody else."""
    place = folder / "closed"
    place.mkdir()
    os.chmod(folder, 0o755)
    os.chmod(place, 0o555)
    drop = None
    if os.geteuid() == 0:
        def drop():
            os.setgid(65534)
            os.setuid(65534)
    # The build may lie where nobody else may look, so a copy of the program runs.
    program = folder / "program"
    shutil.copy(PROGRAM, program)
    os.chmod(program, 0o755)
    run = Run(join(place / "out.mp4", seconds=1), limits=drop, program=program)
    check(run.code == 4 and run.refused() and str(place) in run.err, "unwritable: " + run.describe())
    run = Run(join(folder / "missing" / "out.mp4", seconds=1))
    check(run.code == 4 and run.refused(), "missing folder: " + run.describe())
    os.chmod(place, 0o755)
    place.rmdir()


with Workshop() as folder:
    work = folder / "work"
    work.mkdir()
    limited = size_limits(work)
    disk = small_disk(folder)
    moved = vanishing(folder)
    unwritable(folder)
    finish("%d outputs under a size limit, %s, %d vanishing folders, 2 closed ones" % (limited, disk, moved))
