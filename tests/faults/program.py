"""What the scripts of this room share: running the real program and judging how it ended.

A script makes checks and prints one line of figures; it ends with 1 when a check failed. Nothing here knows
what a script tests.
"""
import os
import pathlib
import resource
import shutil
import subprocess
import sys
import tempfile
import threading
import time

PROGRAM = os.path.abspath(sys.argv[1])
LONG = os.environ.get("TUMBLEWASH_LONG") == "1"
SANITIZED = bool(os.environ.get("TUMBLEWASH_BUILD_SANITIZER"))
#: Builds with sanitizers need several times the time and memory of the real one.
SLOWNESS = 6 if SANITIZED else 1
CRASHES = (-4, -6, -7, -8, -11)
MARKS = ("Sanitizer", "runtime error", "terminate called", "Assertion")

failures = []


def check(holds, words):
    """Notes a failure; answers whether it held."""
    if not holds:
        failures.append(words)
        print("FAILED:", words, flush=True)
    return holds


def finish(figures):
    """Prints the figures and ends the script."""
    print(figures)
    sys.exit(1 if failures else 0)


class Workshop:
    """A folder of its own, removed at the end."""

    def __enter__(self):
        self.path = pathlib.Path(tempfile.mkdtemp(prefix="tumblewash-faults-"))
        return self.path

    def __exit__(self, *_):
        subprocess.run(["chmod", "-R", "u+rwx", self.path], check=False)
        shutil.rmtree(self.path, ignore_errors=True)


class Run:
    """One run of the program, ended."""

    def __init__(self, arguments, cwd=None, timeout=120, limits=None, stdout=None, program=PROGRAM,
                 environment=None):
        self.arguments = [str(a) for a in arguments]
        started = time.monotonic()
        # Words come through a pipe: a file would fall under the limits of the run itself.
        child = subprocess.Popen([program] + self.arguments, cwd=cwd, stdin=subprocess.DEVNULL,
                                 stdout=stdout or subprocess.DEVNULL, stderr=subprocess.PIPE, preexec_fn=limits,
                                 env=environment)
        words = []
        reader = threading.Thread(target=lambda: words.append(child.stderr.read()))
        reader.start()
        self.hung = False
        status, usage = self._wait(child, started + timeout)
        reader.join()
        child.stderr.close()
        self.err = b"".join(words).decode("utf-8", "replace")
        self.code = os.waitstatus_to_exitcode(status)
        child.returncode = self.code
        self.seconds = time.monotonic() - started
        self.processor = usage.ru_utime + usage.ru_stime
        self.memory = usage.ru_maxrss * 1024

    def _wait(self, child, deadline):
        while True:
            pid, status, usage = os.wait4(child.pid, os.WNOHANG)
            if pid:
                return status, usage
            if time.monotonic() > deadline:
                self.hung = True
                child.kill()
                _, status, usage = os.wait4(child.pid, 0)
                return status, usage
            time.sleep(0.005)

    def crashed(self):
        return self.code in CRASHES or any(mark in self.err for mark in MARKS)

    def refused(self):
        """One clear line for the user, and nothing else."""
        lines = [line for line in self.err.splitlines() if line]
        return len(lines) == 1 and lines[0].startswith("tumblewash: ") and len(lines[0]) > 20

    def describe(self):
        return "%s: code %s, %.1f s, said %r" % (" ".join(self.arguments), self.code, self.seconds,
                                                 self.err.strip()[-400:])


def scene(name, seconds, size="64x48", fps=25, sound=True):
    """A drawn input."""
    text = "pattern:%s?size=%s&seconds=%s&fps=%d" % (name, size, seconds, fps)
    return text if sound else text + "&sound=0"


def join(output, seconds=2, size="64x48", sound=True, extra=()):
    """Arguments of a join of two drawn clips."""
    return ["join", scene("city", seconds, size, sound=sound), scene("harbour", seconds, size, sound=sound),
            "-o", str(output), "--effect", "wash-away", "--duration", "20f", "--threads", "2",
            "--force", "--quiet", *extra]


def readable(path):
    """True when the whole movie decodes without a complaint."""
    done = subprocess.run(["ffmpeg", "-v", "error", "-xerror", "-i", str(path), "-f", "null", "-"],
                          stdin=subprocess.DEVNULL, capture_output=True, check=False)
    return done.returncode == 0 and not done.stderr


def ffmpeg(*arguments):
    """Makes test media."""
    subprocess.run(["ffmpeg", "-v", "error", "-y", *[str(a) for a in arguments]], check=True,
                   stdin=subprocess.DEVNULL)


def names(folder, ignoring=()):
    """All files of a folder, hidden ones too."""
    return sorted(p.name for p in pathlib.Path(folder).iterdir() if p.name not in ignoring)


def limit(kind, value):
    """A preexec function that sets one resource limit."""
    return lambda: resource.setrlimit(kind, (value, value))
