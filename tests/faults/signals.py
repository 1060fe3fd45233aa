"""SIGINT and SIGTERM at moments spread over a join: the program says so and ends with 130 within two seconds,
leaves no litter and the old file alone."""
import signal
import subprocess
import tempfile
import time

from program import *

OLD = b"the only copy of an edit\n" * 40
LIMIT = 2.0 * SLOWNESS


def one(folder, output, arguments, delay, number):
    output.write_bytes(OLD)
    with tempfile.TemporaryFile() as err:
        child = subprocess.Popen([PROGRAM] + arguments, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                 stderr=err)
        time.sleep(delay)
        child.send_signal(number)
        sent = time.monotonic()
        code = child.wait()
        took = time.monotonic() - sent
        err.seek(0)
        said = err.read().decode("utf-8", "replace")
    name = signal.Signals(number).name
    when = "%s after %.3f s" % (name, delay)
    check(names(folder) == ["out.mp4"], when + " leaves " + " ".join(names(folder)))
    if code == 0:
        check(output.read_bytes() != OLD, when + " ends well but wrote nothing")
        return "done", took
    if code == -number:  # before main had its say
        check(output.read_bytes() == OLD, when + " at the very start changed the output")
        return "early", took
    check(code == 130, "%s ends with %d: %r" % (when, code, said))
    check(("interrupted by " + name) in said and len(said.splitlines()) == 1, "%s says %r" % (when, said))
    check(output.read_bytes() == OLD, when + " changed the output")
    check(took <= LIMIT, "%s took %.2f s to end" % (when, took))
    return "interrupted", took


with Workshop() as folder:
    output = folder / "out.mp4"
    arguments = join(output, seconds=3, size="320x240")
    # The shortest of a few runs, since the machine may be busy with others.
    whole = min((Run(arguments) for _ in range(3)), key=lambda run: run.seconds)
    check(whole.code == 0, whole.describe())
    moments = 100 if LONG else 10 if SANITIZED else 25
    counts = {"done": 0, "early": 0, "interrupted": 0}
    slowest = 0.0
    for number in (signal.SIGINT, signal.SIGTERM):
        for i in range(moments):
            how, took = one(folder, output, arguments, whole.seconds * (i + 0.5) / moments, number)
            counts[how] += 1
            slowest = max(slowest, took)
    check(counts["interrupted"] >= moments // 2, "too few runs were interrupted: %s" % counts)
    finish("2 x %d signals over %.1f s: %s, slowest end %.2f s" % (moments, whole.seconds, counts, slowest))
