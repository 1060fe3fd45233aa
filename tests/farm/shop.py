"""What the tests of movies in parts share: the program, which is the first argument, and a folder for each test."""
import hashlib
import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

PROGRAM = sys.argv[1]
# Builds with sanitizers are slow: they try fewer numbers and kinds.
SAMPLED = "TUMBLEWASH_SAMPLED" in os.environ
ODD = "a b'c\"d\ne$(f)`g`;%h{}\\"  # a folder whose name no script may trip over


def scene(name, seconds, size="64x48"):
    return f"pattern:{name}?size={size}&seconds={seconds}&fps=25&sound=1"


def run(*words, **options):
    return subprocess.run([PROGRAM, *map(str, words)], capture_output=True, text=True, **options)


class Shop(unittest.TestCase):
    """A folder of its own for each test."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="tumblewash-farm-"))

    def tearDown(self):
        shutil.rmtree(self.folder)

    def good(self, *words, **options):
        result = run(*words, **options)
        self.assertEqual(result.returncode, 0, f"{words}\n{result.stderr}")
        return result

    def refused(self, code, text, *words, **options):
        result = run(*words, **options)
        self.assertEqual(result.returncode, code, f"{words}\n{result.stderr}")
        self.assertIn(text, result.stderr)
        self.assertEqual(len(result.stderr.splitlines()), 1, result.stderr)

    def path(self, name):
        return self.folder / name

    def plan(self, edit, parts, *more, name="show.plan.json"):
        self.good("plan", edit, "--parts", parts, "-o", self.path(name), "-f", "-q", *more)
        return self.path(name)

    def numbers(self, plan):
        document = json.loads(plan.read_text())
        return list(range(1, len(document["parts"]) + 1)) + (["sound"] if document["movie"]["sound"] else [])

    def render_parts(self, plan, folder, numbers=None):
        for number in numbers or self.numbers(plan):
            self.good("render", plan, "--part", number, "-o", f"{folder}/", "-q")

    def parts_of(self, plan, output, numbers=None):
        return self.path("p" + hashlib.md5(str((self.path(plan), output, numbers)).encode()).hexdigest())

    def merged(self, plan, output, numbers=None):
        """The movie of the plan's parts, rendered in the order of `numbers`."""
        folder = self.parts_of(plan, output, numbers)
        self.render_parts(plan, folder, numbers)
        return self.good("merge", plan, folder, "-o", output, "-f")

    def edit(self, *more, clips=None, name="my.edit.json"):
        clips = clips or [scene("harbour", 1), scene("city", 1), scene("harbour", 0.8)]
        document = self.path(name)
        self.good("plan", *clips, "-o", document, "-q", "-f", *more)
        return document


def wait_for(happened, seconds=120):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        if happened():
            return
        time.sleep(0.005)
    raise AssertionError("waited in vain")


def kill_tree(pid):
    """Ends a process and all below it, as a machine that goes down does."""
    children = pathlib.Path(f"/proc/{pid}/task/{pid}/children")
    try:
        below = [int(n) for n in children.read_text().split()]
        os.kill(pid, signal.SIGKILL)
    except (FileNotFoundError, ProcessLookupError):
        return
    for child in below:
        kill_tree(child)
