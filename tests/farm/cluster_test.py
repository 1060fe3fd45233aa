#!/usr/bin/env python3
"""A movie in eight parts on a real Slurm cluster of two nodes, one of which dies in the middle.

usage: cluster_test.py PROGRAM"""
import pathlib
import sys
import tempfile
import unittest

import cluster
from shop import Shop, run, scene, wait_for


class Slurm(Shop):
    def setUp(self):
        super().setUp()
        self.clip = self.path("it's a clip.mkv")
        self.good("out", scene("harbour", 4, "320x240"), "-o", self.clip, "-q")
        document = self.edit("--duration", "20f", "--effect", "tumble-away,wash-away", "--codec", "ffv1",
                             clips=[str(self.clip)] * 4)
        self.show = self.plan(document, 8, "--format", "mkv")
        self.movie = self.path("show.mkv")
        self.merged(self.show, self.path("expected.mkv"))
        self.expected = self.path("expected.mkv").read_bytes()
        self.parts = self.path("show.parts")

    def test_AKilledNodeCostsTimeAlone(self):
        with tempfile.TemporaryDirectory(prefix="tw-slurm-") as folder, cluster.Cluster(folder) as slurm:
            self.assertRegex(self.good("submit", self.show, "--engine", "slurm", env=slurm.env).stdout, "array [0-9]+, finish [0-9]+")
            running = lambda node: [job for job in slurm.jobs() if job.endswith(" R " + node)]
            # Something is done, and the node has work.
            wait_for(lambda: list(self.parts.glob("part-*.json")) and running("n2"))
            slurm.kill_node("n2")
            self.assertLess(len(list(self.parts.glob("*.json"))), 9, "the node died too late")
            wait_for(lambda: slurm.node_state("n2").startswith("down"), 300)
            wait_for(lambda: not slurm.jobs(), 600)
            log = self.parts / "finish.log"
            self.assertTrue(self.movie.exists(), log.read_text() if log.exists() else slurm.logs())
            self.assertEqual(self.movie.read_bytes(), self.expected)

    def test_APartThatFailsStopsTheMergeAndSubmitGoesOn(self):
        (self.parts / "part-0002.piece").mkdir(parents=True)
        with tempfile.TemporaryDirectory(prefix="tw-slurm-") as folder, cluster.Cluster(folder) as slurm:
            self.good("submit", self.show, "--engine", "slurm", "--jobs", 2, env=slurm.env)
            wait_for(lambda: not slurm.jobs(), 600)
            self.assertFalse(self.movie.exists(), "the merge ran")
            status = run("status", self.show)
            self.assertEqual(status.returncode, 1)
            self.assertIn("part 2 failed", status.stderr)
            (self.parts / "part-0002.piece").rmdir()
            done = {p.name: p.stat().st_mtime_ns for p in self.parts.glob("*.piece")}
            self.good("submit", self.show, "--engine", "slurm", env=slurm.env)
            wait_for(lambda: not slurm.jobs(), 600)
            self.assertEqual(self.movie.read_bytes(), self.expected)
            self.assertEqual({n: (self.parts / n).stat().st_mtime_ns for n in done}, done, "what was done is not rendered again")


if __name__ == "__main__":
    if cluster.missing():
        sys.exit(f"{', '.join(cluster.missing())}: not installed; apt-get install slurm-wlm munge")
    unittest.main(argv=sys.argv[:1], verbosity=2)
