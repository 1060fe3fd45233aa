"""kill -9 at moments spread over a join: the old output is untouched, or the new one is complete."""
import hashlib
import signal
import subprocess
import time

from program import *

OLD = b"the only copy of an edit\n" * 40


def digest(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()


def one(folder, output, arguments, delay, complete):
    output.write_bytes(OLD)
    child = subprocess.Popen([PROGRAM] + arguments, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                             stderr=subprocess.DEVNULL)
    time.sleep(delay)
    child.kill()
    ended = child.wait()
    old = output.read_bytes() == OLD
    check(old or digest(output) == complete, "after %.3f s the output is neither old nor complete" % delay)
    check(ended in (0, -signal.SIGKILL), "ended with %s" % ended)
    for leftover in names(folder, ("out.mp4",)):
        check(leftover.startswith(".") and leftover.endswith(".part"), "unknown leftover " + leftover)
        (folder / leftover).unlink()
    return ended, old


with Workshop() as folder:
    output = folder / "out.mp4"
    arguments = join(output)
    # The shortest of a few runs, since the first one also reads the program from the disk.
    whole = min((Run(arguments) for _ in range(3)), key=lambda run: run.seconds)
    check(whole.code == 0, whole.describe())
    complete = digest(output)
    check(readable(output), "the complete output cannot be read")
    moments = 200 if LONG else 50
    killed = kept = 0
    for i in range(moments):
        ended, old = one(folder, output, arguments, whole.seconds * 1.05 * (i + 0.5) / moments, complete)
        killed += ended == -signal.SIGKILL
        kept += old
    check(killed >= moments // 3, "only %d of %d runs were caught alive" % (killed, moments))
    # Whatever a killed run left, the next one works.
    check(Run(arguments).code == 0 and digest(output) == complete, "the run after the kills fails")
    finish("%d kills at moments over %.1f s: %d runs caught alive, %d times the old file, %d times the new one"
           % (moments, whole.seconds, killed, kept, moments - kept))
