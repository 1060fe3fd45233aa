"""SIGINT, SIGTERM and SIGHUP at moments spread over a join: the program says so and ends with 128 and the signal's
number within two seconds, leaves no litter and the old file alone; whatever a codec is doing, and at once when the
signal comes twice. A signal that was ignored stays ignored."""
import os
import signal
import subprocess
import tempfile
import time

from program import *

OLD = b"the only copy of an edit\n" * 40
LIMIT = 2.0 * SLOWNESS
SHIM = os.path.abspath(sys.argv[2])


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
    check(code == 128 + number, "%s ends with %d: %r" % (when, code, said))
    check(("interrupted by " + name) in said and len(said.splitlines()) == 1, "%s says %r" % (when, said))
    check(output.read_bytes() == OLD, when + " changed the output")
    check(took <= LIMIT, "%s took %.2f s to end" % (when, took))
    return "interrupted", took


def handled(child, number):
    """Waits until the program handles the signal itself."""
    for _ in range(2000):
        words = open("/proc/%d/status" % child.pid).read().split()
        if int(words[words.index("SigCgt:") + 1], 16) >> (number - 1) & 1:
            return
        time.sleep(0.005)


def busy(child, seconds):
    """Waits until the program has had that much of the processor."""
    ticks = os.sysconf("SC_CLK_TCK")
    for _ in range(6000):
        words = open("/proc/%d/stat" % child.pid).read().rsplit(")", 1)[1].split()
        if words[0] == "Z" or (int(words[11]) + int(words[12])) / ticks >= seconds:
            return
        time.sleep(0.01)


def stuck(folder, output, arguments, call, numbers, limit):
    """Signals while a call of a codec never returns."""
    output.write_bytes(OLD)
    before = names(folder)
    with tempfile.TemporaryFile() as err:
        child = subprocess.Popen([PROGRAM] + arguments, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=err,
                                 env=dict(os.environ, LD_PRELOAD=SHIM, TUMBLEWASH_STUCK=call))
        handled(child, numbers[0])
        busy(child, 1.0)
        sent = time.monotonic()
        for number in numbers:
            child.send_signal(number)
            time.sleep(0.02)
        code = child.wait()
        took = time.monotonic() - sent
        err.seek(0)
        said = err.read().decode("utf-8", "replace")
    name = signal.Signals(numbers[0]).name
    when = "%s during %s" % (" ".join(signal.Signals(n).name for n in numbers), call)
    check(code == 128 + numbers[0], "%s ends with %d: %r" % (when, code, said))
    check(("interrupted by " + name) in said and len(said.splitlines()) == 1, "%s says %r" % (when, said))
    check(output.read_bytes() == OLD, when + " changed the output")
    check(names(folder) == before, "%s leaves %s" % (when, names(folder)))
    check(took <= limit, "%s took %.2f s to end" % (when, took))
    return took


def while_stuck(folder):
    """Decoders, encoders and readers that are busy for ever, at the first picture and later."""
    clip, photo = folder / "clip.mp4", folder / "photo.jpg"
    ffmpeg("-f", "lavfi", "-i", "testsrc2=size=64x48:rate=25:duration=2", "-c:v", "libx264", "-preset", "ultrafast", clip)
    ffmpeg("-f", "lavfi", "-i", "testsrc2=size=64x48", "-frames:v", "1", photo)
    slowest = 0.0
    for output in (folder / "out.mp4", folder / "p%03d.png"):
        sequence = "%" in output.name
        kept = folder / "old" if sequence else output
        arguments = ["join", str(clip), str(photo), "-o", str(output), "--effect", "wash-away", "--duration", "20f",
                     "--threads", "2", "--quiet"] + ([] if sequence else ["--force"])
        calls = ["avcodec_send_packet:40"] if sequence else [
            "avcodec_send_packet", "avcodec_send_packet:1", "avcodec_send_packet:40", "avcodec_send_frame",
            "avcodec_send_frame:20", "av_read_frame:2", "av_read_frame:60"]
        for call in calls:
            slowest = max(slowest, stuck(folder, kept, arguments, call, [signal.SIGTERM], LIMIT))
        # The second one does not wait for the first.
        stuck(folder, kept, arguments, calls[-1], [signal.SIGINT, signal.SIGINT], 0.9 * SLOWNESS)
        kept.unlink()
    for path in (clip, photo):
        path.unlink()
    return slowest


def ignored(output, arguments):
    """nohup, and jobs that a shell starts in the background."""
    for number in (signal.SIGINT, signal.SIGHUP, signal.SIGTERM):
        child = subprocess.Popen([PROGRAM] + arguments, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                 stderr=subprocess.DEVNULL,
                                 preexec_fn=lambda: signal.signal(number, signal.SIG_IGN))
        handled(child, signal.SIGALRM)
        child.send_signal(number)
        time.sleep(0.05)
        child.send_signal(number)
        code = child.wait()
        check(code == 0, "%s ends a program that ignores it: %d" % (signal.Signals(number).name, code))
        check(readable(output), "the movie is not whole")


# Tests that a shell runs in the background ignore these, and programs go on to.
for handed_down in (signal.SIGINT, signal.SIGHUP):
    signal.signal(handed_down, signal.SIG_DFL)

with Workshop() as folder:
    output = folder / "out.mp4"
    arguments = join(output, seconds=3, size="320x240")
    # The shortest of a few runs, since the machine may be busy with others.
    whole = min((Run(arguments) for _ in range(3)), key=lambda run: run.seconds)
    check(whole.code == 0, whole.describe())
    moments = 100 if LONG else 4 if SANITIZED else 17
    counts = {"done": 0, "early": 0, "interrupted": 0}
    slowest = 0.0
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        for i in range(moments):
            how, took = one(folder, output, arguments, whole.seconds * (i + 0.5) / moments, number)
            counts[how] += 1
            slowest = max(slowest, took)
    check(counts["interrupted"] >= moments // 2, "too few runs were interrupted: %s" % counts)
    ignored(output, arguments)
    output.unlink()
    if not SANITIZED:
        stuck_end = while_stuck(folder)
    finish("3 x %d signals over %.1f s: %s, slowest end %.2f s%s"
           % (moments, whole.seconds, counts, slowest,
              "" if SANITIZED else ", %.2f s with a codec that is stuck" % stuck_end))
