"""What the scripts with bad inputs share: giving one to the program and judging what it made of it.

The program refuses, or renders and says what was amiss; it never crashes, never takes longer than 10 s or more than 1 GiB.
"""
import resource

from program import *

SECONDS = 10 * SLOWNESS
BYTES = (1 << 30) * (3 if SANITIZED else 1)

worst = {"seconds": 0.0, "bytes": 0}
counts = {"refused": 0, "warned": 0, "silent": 0}


def limited(space):
    """A run that loops is ended by the system, one that eats memory finds none."""
    def limits():
        resource.setrlimit(resource.RLIMIT_CPU, (4 * SECONDS, 4 * SECONDS))
        if not SANITIZED:  # shadow memory needs the whole address space
            resource.setrlimit(resource.RLIMIT_AS, (space, space))
    return limits


def feed(path, folder, what, space=3 << 30, environment=None, timeout=600):
    """Joins the bad clip with a drawn one, in both orders by turns, and judges."""
    first = feed.turn = not getattr(feed, "turn", False)
    other = scene("city", 1)
    inputs = [path, other] if first else [other, path]
    run = Run(["join", *inputs, "-o", "null:", "--size", "64x48", "--duration", "4f", "--threads", "2",
               "--quiet"],
              limits=limited(space), timeout=timeout * SLOWNESS, environment=environment)
    worst["seconds"] = max(worst["seconds"], run.processor)
    worst["bytes"] = max(worst["bytes"], run.memory)
    told = "%s: %s" % (what, run.describe())
    check(not run.crashed(), "crash: " + told)
    check(not run.hung and run.processor <= SECONDS, "%.1f s of processor time: %s" % (run.processor, told))
    check(run.memory <= BYTES, "%d MiB: %s" % (run.memory >> 20, told))
    check(run.code in (0, 2, 3), told)
    lines = [line for line in run.err.splitlines() if line.startswith("tumblewash: ")]
    if run.code == 0:
        counts["warned" if lines else "silent"] += 1
    else:
        check(len(lines) == 1, "unclear: " + told)
        counts["refused"] += 1
    return run
