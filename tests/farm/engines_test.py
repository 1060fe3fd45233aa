#!/usr/bin/env python3
"""Parts and lists of edits by the engines: submit, status and batch, with scripts that are really run.

usage: engines_test.py PROGRAM [Engines] [Batch]"""
import json
import os
import re
import shlex
import shutil
import subprocess
import sys
import unittest

from shop import kill_tree, ODD, PROGRAM, run, scene, Shop, wait_for


class Engines(Shop):
    def setUp(self):
        super().setUp()
        self.folder = self.folder / ODD
        self.folder.mkdir()
        self.clip = self.path("it's a clip\n.mkv")
        self.good("out", scene("harbour", 1), "-o", self.clip, "-q")
        self.document = self.edit("--duration", "8f", clips=[str(self.clip), scene("city", 1)])
        self.show = self.plan(self.document, 3)
        self.movie = self.path("show.mp4")
        self.merged(self.show, self.path("expected.mp4"))
        self.expected = self.path("expected.mp4").read_bytes()

    def tearDown(self):
        self.folder = self.folder.parent
        super().tearDown()

    def submit(self, engine, *more, **options):
        self.good("submit", self.show, "--engine", engine, "--jobs", 2, "-q", *more, **options)
        self.assertEqual(self.movie.read_bytes(), self.expected)

    def test_EnginesSurviveEveryNameAndGoOnWithWhatIsMissing(self):
        for engine in ("local", "parallel"):
            with self.subTest(engine):
                self.submit(engine)
                parts = self.path("show.parts")
                done = {p: p.stat().st_mtime_ns for p in parts.glob("*.piece")}
                self.assertEqual(len(done), 4)
                (parts / "part-0002.json").unlink()
                self.submit(engine, "-f")
                again = {p: p.stat().st_mtime_ns for p in parts.glob("*.piece") if p.stat().st_mtime_ns == done[p]}
                self.assertEqual(len(again), 3, "what was done is not rendered again")
                shutil.rmtree(parts)
                self.movie.unlink()

    def test_KilledAnywhereItGoesOn(self):
        for engine in ("local", "parallel"):
            with self.subTest(engine):
                parts = self.path("show.parts")
                process = subprocess.Popen([PROGRAM, "submit", str(self.show), "--engine", engine, "--jobs", "1", "-q"],
                                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
                wait_for(lambda: process.poll() is not None or list(parts.glob("*.piece")))
                kill_tree(process.pid)
                process.wait()
                for piece in parts.glob("*.json"):
                    self.assertTrue(piece.with_suffix(".piece").exists())
                self.submit(engine, "-f")
                shutil.rmtree(parts)
                self.movie.unlink()

    def test_AKilledPartLeavesTheOthersToBeRendered(self):
        folder = self.path("show.parts")
        folder.mkdir()
        # Stands for the program at one part, as a machine short of memory ends it.
        fake = self.path("program")
        fake.write_text("#!/bin/sh\ncase \"$*\" in *'--part 1 '*) kill -9 $$ ;; esac\n"
                        f"exec {shlex.quote(PROGRAM)} \"$@\"\n")
        fake.chmod(0o755)
        scripts = self.good("submit", self.show, "--engine", "local", "--jobs", 1, "--dry-run").stdout
        for part in scripts.split("==> ")[1:]:
            name, text = part.split(" <==\n", 1)
            (folder / name.rsplit("/", 1)[1]).write_text(text.replace(os.path.realpath(PROGRAM), shlex.quote(str(fake))))
        result = subprocess.run(["sh", folder / "local.sh"], capture_output=True, text=True)
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stderr, "")
        states = run("status", self.show).stdout
        self.assertRegex(states, "part 1 +(failed|missing)")
        self.assertEqual(len(re.findall("(part|sound)[ 0-9]* +done", states)), len(self.numbers(self.show)) - 1)

    def test_APartThatFailsEverywhereStopsTheMergeAndIsNamed(self):
        parts = self.path("show.parts")
        (parts / "part-0002.piece").mkdir(parents=True)
        for engine in ("local", "parallel"):
            result = run("submit", self.show, "--engine", engine, "-q")
            self.assertEqual(result.returncode, 1, result.stderr)
            self.assertIn("part 2: ", result.stderr.splitlines()[-1])
            self.assertIn("is a folder", result.stderr.splitlines()[-1])
            self.assertFalse(self.movie.exists())
            status = run("status", self.show)
            self.assertEqual(status.returncode, 1)
            lines = status.stdout.splitlines()
            self.assertRegex(lines[0], "^sound +done ")
            self.assertRegex(lines[2], "^part 2 +failed .*is a folder")
            self.assertEqual(lines[-1], "3 of 4 done")
            self.assertEqual(status.stderr, "tumblewash: part 2 failed; submit the plan again to render what is missing\n")
        (parts / "part-0002.piece").rmdir()
        self.submit("local")

    def test_StatusTellsWhatIsMissingAndWhatStopped(self):
        lines = self.good("status", self.show).stdout.splitlines()
        self.assertEqual(len(lines), 5)
        self.assertRegex(lines[1], "^part 1 +missing +0 of ")
        parts = self.path("show.parts")
        parts.mkdir()
        (parts / "part-0001.running").write_text(json.dumps(
            {"host": os.uname().nodename, "process": os.getpid(), "frames": 5, "of": 20}))
        (parts / "part-0002.running").write_text(json.dumps(
            {"host": os.uname().nodename, "process": 99999999, "frames": 5, "of": 20}))
        lines = run("status", self.show).stdout.splitlines()
        self.assertRegex(lines[1], "^part 1 +running +5 of .* on ")
        self.assertRegex(lines[2], "^part 2 +failed .*stopped on .* without a message")

    def test_DryRunPrintsScriptsAndWritesNothing(self):
        for engine in ("local", "parallel", "slurm"):
            text = self.good("submit", self.show, "--engine", engine, "--dry-run").stdout
            self.assertIn("item.sh", text)
        self.assertIn("#SBATCH --array=0-3%2\n", self.good("submit", self.show, "--engine", "slurm", "--dry-run",
                                                            "--jobs", 2).stdout)
        self.assertFalse(self.path("show.parts").exists())

    def test_SlurmScriptsDoWhatTheSchedulerAsksOfThem(self):
        """A stand-in for sbatch that runs what it is given at once; a real cluster is tried by the long form."""
        bin_folder = self.path("bin")
        bin_folder.mkdir()
        (bin_folder / "sbatch").write_text("""#!/usr/bin/env python3
import os, re, subprocess, sys
text = open(sys.argv[-1]).read()
assert "--parsable" in sys.argv
array = re.search(r"^#SBATCH --array=([0-9,-]+)", text, re.M)
codes = []
for piece in (array[1].split(",") if array else [""]):
    ends = [int(n) for n in piece.split("-")] if piece else [0]
    for n in range(ends[0], ends[-1] + 1):
        codes.append(subprocess.run(["sh", sys.argv[-1]], env={**os.environ, "SLURM_ARRAY_TASK_ID": str(n)}).returncode)
print("77;cluster" if array else "78")
sys.exit(1 if any(codes) else 0)
""")
        (bin_folder / "sbatch").chmod(0o755)
        result = self.good("submit", self.show, "--engine", "slurm",
                           env={**os.environ, "PATH": f"{bin_folder}:{os.environ['PATH']}"})
        self.assertIn("array 77, finish 78", result.stdout)
        self.assertEqual(self.movie.read_bytes(), self.expected)


class Batch(Shop):
    def test_OneEditALineAndAReportALine(self):
        inline = json.loads(self.edit("--duration", "6f", clips=[scene("city", 0.6), scene("harbour", 0.6)]).read_text())
        list_file = self.path("to night's.jsonl")
        rows = [{"edit": "my.edit.json", "output": "one.mp4"}, {"edit": inline, "output": "md5:two.txt"},
                {"edit": "missing.edit.json", "output": "three.mp4"}]
        list_file.write_text("\n".join(map(json.dumps, rows)) + "\n\nno json\n")
        for engine in ("local", "parallel"):
            result = run("batch", list_file, "--engine", engine, "-q")
            self.assertEqual(result.returncode, 1, result.stderr)
            reports = [json.loads(line) for line in result.stdout.splitlines()]
            self.assertEqual([r["status"] for r in reports], ["done", "done", "failed", "failed"])
            self.assertEqual([r["line"] for r in reports], [1, 2, 3, 5])
            self.assertRegex(result.stderr, "(?m)^[^:]*night's.jsonl:3: [^:]*missing.edit.json")
            self.assertRegex(result.stderr, "(?m)^[^:]*night's.jsonl:5:1: not valid JSON")
            self.assertIn("missing.edit.json", result.stderr)
            self.assertIn("2 of 4 edits failed", result.stderr)
            self.assertTrue(self.path("one.mp4").exists())
        stamp = self.path("one.mp4").stat().st_mtime_ns
        self.path("missing.edit.json").write_text(json.dumps(inline))
        list_file.write_text("\n".join(map(json.dumps, rows)) + "\n")
        result = self.good("batch", list_file, "-q")
        self.assertEqual([json.loads(l)["status"] for l in result.stdout.splitlines()], ["done"] * 3)
        self.assertEqual(self.path("one.mp4").stat().st_mtime_ns, stamp, "what was done is not rendered again")
        document = self.path("missing.edit.json")
        document.write_text(document.read_text() + "\n")
        result = run("batch", list_file, "-q")
        self.assertEqual(result.returncode, 1, "an edit that changed is an edit that was not rendered")
        self.assertIn("night's.jsonl:3: ", result.stderr)

    def test_WrongListsAreRefused(self):
        self.refused(3, "none.jsonl", "batch", self.path("none.jsonl"))
        list_file = self.path("list.jsonl")
        list_file.write_text("\n")
        self.refused(2, "has no line with an edit", "batch", list_file)

    def test_TwoEditsThatWriteTheSameFileAreRefusedBeforeAnyIsRendered(self):
        document = self.edit("--duration", "6f", clips=[scene("city", 0.6), scene("harbour", 0.6)])
        list_file = self.path("list.jsonl")
        rows = [{"edit": document.name, "output": name} for name in ("one.mp4", "two.mp4", "./sub/../one.mp4")]
        list_file.write_text("\n".join(map(json.dumps, rows)) + "\n")
        self.refused(2, "list.jsonl:3: ./sub/../one.mp4 is the output of line 1 too; give each edit its own",
                     "batch", list_file, "-f")
        self.assertFalse(self.path("two.mp4").exists())
        rows = [{"edit": document.name, "output": "md5:"}] * 2
        list_file.write_text("\n".join(map(json.dumps, rows)) + "\n")
        self.good("batch", list_file, "-q")


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]], verbosity=2)
