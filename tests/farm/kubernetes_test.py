"""The Job that examples/farm/kubernetes_job.py writes for a cluster: every key of it is known to the classes of the client
library, which are made from the interface's schema, and its commands, run index by index, make the movie of one process.

usage: kubernetes_test.py PROGRAM SCRIPT"""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

from kubernetes import client

PROGRAM, SCRIPT = pathlib.Path(sys.argv[1]).absolute(), sys.argv[2]
SCENES = ["pattern:harbour?size=64x48&seconds=1&sound=1", "pattern:city?size=64x48&seconds=1&sound=1"]


def strictly(value, kind, where):
    """Demands that a value is what the interface's schema says: no unknown key, the right type, nothing missing."""
    if kind.startswith("list["):
        assert isinstance(value, list), where
        for number, item in enumerate(value):
            strictly(item, kind[5:-1], f"{where}[{number}]")
    elif kind.startswith("dict("):
        assert isinstance(value, dict), where
        for key, item in value.items():
            assert isinstance(key, str), where
            strictly(item, kind[5:-1].split(", ")[1], f"{where}.{key}")
    elif hasattr(client, kind):
        model = getattr(client, kind)
        names = {key: name for name, key in model.attribute_map.items()}
        for key, item in value.items():
            assert key in names, f"{where}.{key}: unknown"
            strictly(item, model.openapi_types[names[key]], f"{where}.{key}")
        model(**{names[key]: item for key, item in value.items()})  # refuses what is missing
    else:
        assert isinstance(value, {"str": str, "int": int, "bool": bool}[kind]), f"{where}: {value!r}"


class Kubernetes(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="tumblewash-kubernetes-"))
        self.films = self.folder / "it's $(a) \"film\""
        self.films.mkdir()

    def tearDown(self):
        shutil.rmtree(self.folder)

    def tumblewash(self, *words):
        result = subprocess.run([PROGRAM, *map(str, words)], capture_output=True, text=True)
        self.assertEqual(result.returncode, 0, result.stderr)

    def plan(self, *more, clips=SCENES):
        edit, plan = self.films / "My Show.edit.json", self.films / "My Show.plan.json"
        self.tumblewash("plan", *clips, "--duration", "10f", "-o", edit, "-f", *more)
        self.tumblewash("plan", edit, "--parts", 3, "-o", plan, "-f", "-q")
        return edit, plan

    def written(self, plan, *more):
        result = subprocess.run([sys.executable, SCRIPT, str(plan), "--image", "registry.example/tumblewash:1", "--claim", "films",
                                 *more], capture_output=True, text=True)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        job = json.loads(result.stdout)
        strictly(job, "V1Job", "job")
        return job

    def run_index(self, job, index):
        """As the cluster does: the field that it fills in, and the command with its arguments."""
        inner = next(value for key, value in job.items() if isinstance(value, dict) and "template" in value)
        pod = next(value for key, value in inner["template"].items() if "containers" in value)
        container = pod["containers"][0]
        self.assertEqual(container["env"][0]["valueFrom"]["fieldRef"]["fieldPath"],
                         "metadata.annotations['batch.kubernetes.io/job-completion-index']")
        environment = {**os.environ, container["env"][0]["name"]: str(index),
                       "PATH": str(PROGRAM.parent) + ":" + os.environ["PATH"]}
        result = subprocess.run(container["command"] + container["args"], env=environment, capture_output=True, text=True)
        self.assertEqual(result.returncode, 0, result.stderr)
        return inner

    def render(self, plan, *more):
        job = self.written(plan, *more)
        inner = self.run_index(job, 0)
        self.assertEqual(inner["completionMode"], "Indexed")
        self.assertLessEqual(inner["parallelism"], inner["completions"])
        for index in reversed(range(inner["completions"])):
            self.run_index(job, index)
        return job, inner

    def test_the_indexes_and_the_merge_make_the_movie_of_one_process(self):
        edit, plan = self.plan("--codec", "h264")
        job, inner = self.render(plan)
        self.assertEqual(job["metadata"]["name"], "my-show-parts")
        self.assertEqual(inner["completions"], len(json.loads(plan.read_text())["parts"]) + 1)
        self.run_index(self.written(plan, "--merge", str(self.films / "done.mp4")), 0)
        self.tumblewash("merge", plan, self.films / "My Show.parts", "-o", self.films / "again.mp4")
        self.assertEqual((self.films / "done.mp4").read_bytes(), (self.films / "again.mp4").read_bytes())

    def test_without_sound_the_first_index_is_the_first_part(self):
        edit, plan = self.plan("--audio", "none")
        document = json.loads(plan.read_text())
        self.assertFalse(document["movie"]["sound"])
        job, inner = self.render(plan, "--parallelism", "1", "--user", "1000", "--namespace", "films")
        self.assertEqual(inner["completions"], len(document["parts"]))
        self.assertEqual(sorted(file.name for file in (self.films / "My Show.parts").glob("*.json")),
                         ["part-%04d.json" % number for number in range(1, len(document["parts"]) + 1)])

    def test_what_is_wrong_is_told_in_a_line(self):
        edit, plan = self.plan()
        for words, why in (([str(edit)], "is not a plan"), ([str(plan), "--mount", "/somewhere"], "lies outside of /somewhere"),
                           ([str(plan.with_name("no.plan.json"))], "No such file"), ([str(plan), "--parallelism", "0"], "1 or more")):
            result = subprocess.run([sys.executable, SCRIPT, *words, "--image", "i", "--claim", "c"], capture_output=True, text=True)
            self.assertEqual((result.returncode, result.stdout), (1, ""))
            self.assertEqual(len(result.stderr.splitlines()), 1, result.stderr)
            self.assertRegex(result.stderr, re.escape(why))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
