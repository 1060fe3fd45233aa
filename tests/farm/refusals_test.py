#!/usr/bin/env python3
"""Parts, plans and inputs that do not belong together are refused in one line, and nothing is lost.

usage: refusals_test.py PROGRAM [Refusals]"""
import os
import resource
import shutil
import subprocess
import sys
import unittest

from shop import PROGRAM, scene, Shop


class Refusals(Shop):
    def setUp(self):
        super().setUp()
        self.clip = self.path("a.mkv")
        self.good("out", scene("harbour", 1), "-o", self.clip, "-q")
        self.document = self.edit("--duration", "8f", clips=[str(self.clip), scene("city", 1)])
        self.show = self.plan(self.document, 3)
        self.parts = self.path("parts")
        self.render_parts(self.show, self.parts)
        self.movie = self.path("show.mp4")

    def merge_refused(self, text):
        self.movie.write_text("old")
        self.refused(3, text, "merge", self.show, self.parts, "-o", self.movie, "-f")
        self.assertEqual(self.movie.read_text(), "old")

    def test_PartsThatDoNotBelongAreNamed(self):
        piece, receipt = self.parts / "part-0002.piece", self.parts / "part-0002.json"
        good_piece, good_receipt = piece.read_bytes(), receipt.read_bytes()

        def back():
            piece.write_bytes(good_piece)
            receipt.write_bytes(good_receipt)

        receipt.unlink()
        self.merge_refused("part-0002.json: part 2 is missing")
        back()
        piece.unlink()
        self.merge_refused("part-0002.piece: is missing beside its receipt")
        back()
        piece.write_bytes(good_piece[:-9])
        self.merge_refused("part-0002.piece: its size differs")
        back()
        piece.write_bytes(good_piece[:1000] + bytes([good_piece[1000] ^ 1]) + good_piece[1001:])
        self.merge_refused("part-0002.piece: does not match its receipt")
        back()
        shutil.copy(self.parts / "part-0001.piece", piece)
        shutil.copy(self.parts / "part-0001.json", receipt)
        self.merge_refused("part-0002.json: the receipt of part 1")
        back()
        receipt.write_text(good_receipt.decode().replace('"packets": ', '"packets": 1'))
        self.merge_refused("does not match its receipt")
        receipt.write_text("{}")
        self.merge_refused("is not the receipt of a part")
        receipt.write_text(good_receipt.decode().replace("tumblewash 0", "tumblewash 9"))
        self.merge_refused("made by tumblewash 9")
        back()
        self.good("merge", self.show, self.parts, "-o", self.movie, "-f", "-q")

    def test_PartsOfAnotherEditOrCutAreNamed(self):
        other = self.plan(self.edit("--duration", "10f", clips=[str(self.clip), scene("city", 1)]), 3, name="o.plan.json")
        self.good("render", other, "--part", 2, "-o", self.parts, "-q")
        self.merge_refused("part-0002.json: a part of another edit")
        self.document = self.edit("--duration", "8f", clips=[str(self.clip), scene("city", 1)])
        recut = self.plan(self.document, 4, name="r.plan.json")
        self.good("render", recut, "--part", 2, "-o", self.parts, "-q")
        self.merge_refused("part-0002.json: a part of another plan")

    def test_APlanThatWasChangedByHandIsRefused(self):
        text = self.show.read_text()
        for old, new in (('"encoder-threads": ', '"encoder-threads": 1'), ('"first": 0', '"first": 1'),
                         ('"duration": "8f"', '"duration": "6f"'), ('"hash": "', '"hash": "0')):
            self.assertIn(old, text)
            self.show.write_text(text.replace(old, new, 1))
            self.refused(2, "was changed by hand", "render", self.show, "--part", 1, "-o", "md5:")
        self.show.write_text("[]")
        self.refused(2, "is not a plan of parts", "status", self.show)
        self.show.write_text('{"tumblewash-plan": 1, "tumblewash-plan": 1}')
        self.refused(2, "plan", "status", self.show)
        self.show.write_text('{"tumblewash-plan": 2}')
        self.refused(2, "made by a newer tumblewash (2)", "status", self.show)
        self.show.write_text("{\n  broken")
        self.refused(2, "show.plan.json:2", "status", self.show)

    def test_InputsThatChangedAreNamed(self):
        before = self.clip.stat()
        body = self.clip.read_bytes()
        at = len(body) // 2
        self.clip.write_bytes(body[:at] + b"x" + body[at + 1:])
        os.utime(self.clip, (before.st_atime, before.st_mtime + 7))
        self.refused(2, "a.mkv: has changed since the plan was made", "render", self.show, "--part", 1, "-o", "md5:")
        self.refused(2, "a.mkv: has changed", "submit", self.show)
        self.clip.unlink()
        self.refused(3, "a.mkv: cannot be read", "render", self.show, "--part", 1, "-o", "md5:")
        self.good("render", self.show, "--part", 3, "-o", "md5:")  # of the other clip alone

    def test_WrongUseIsRefusedInOneLine(self):
        self.refused(2, "--part 4: the plan has parts 1 to 3 and sound", "render", self.show, "--part", 4, "-o", "md5:")
        self.refused(2, "give --part K", "render", self.show, "-o", "x/")
        self.refused(2, "parts go into a folder", "render", self.show, "--part", 1, "-o", self.path("part.mp4"))
        self.refused(2, "ends in .mp4", "merge", self.show, self.parts, "-o", self.path("x.mkv"))
        self.refused(2, "-o NAME.plan.json", "plan", self.document, "--parts", 2)
        self.refused(2, "NAME.plan.json", "render", self.document, "--part", 2, "-o", "md5:")
        copies = ["--copy-bodies"]
        self.refused(2, "--copy-bodies: parts are encoded whole", "render", self.show, "--part", 1, "-o", "md5:", *copies)
        self.refused(2, "--copy-bodies: parts are encoded whole", "plan", self.document, "--parts", 2, "-o",
                     self.path("y.plan.json"), *copies)
        self.refused(2, "--copy-bodies: parts are encoded whole", "render", self.document, "--resume", "-o",
                     self.path("y.mp4"), *copies)
        self.refused(2, "did you mean slurm", "submit", self.show, "--engine", "slrum")
        self.refused(2, "cannot be used together", "plan", self.document, "--parts", 2, "--part-length", "1s", "-o",
                     self.path("y.plan.json"))
        self.refused(2, "apt-get install parallel", "submit", self.show, "--engine", "parallel", "-f", "-q",
                     env={**os.environ, "PATH": str(self.folder)})

    def test_AFullDiskLeavesNothingHalf(self):
        folder = self.path("full")
        limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (900, 900))
        self.refused(1, "part-0001.piece", "render", self.show, "--part", 1, "-o", f"{folder}/", preexec_fn=limit)
        self.assertEqual([p.name for p in folder.iterdir() if p.suffix != ".failed"], [])
        self.movie.write_text("old")
        self.refused(1, "show.mp4", "merge", self.show, self.parts, "-o", self.movie, "-f", preexec_fn=limit)
        self.assertEqual(self.movie.read_text(), "old")

    def test_APartIsMadeOnceAndAgainWithoutHarm(self):
        before = {p.name: p.read_bytes() for p in self.parts.iterdir()}
        result = self.good("render", self.show, "--part", 2, "-o", self.parts)
        self.assertIn("part 2 is done already", result.stderr)
        both = [subprocess.Popen([PROGRAM, "render", str(self.show), "--part", "2", "-o", str(self.parts), "-f", "-q"])
                for _ in range(2)]
        self.assertEqual([p.wait() for p in both], [0, 0])
        self.assertEqual({p.name: p.read_bytes() for p in self.parts.iterdir()}, before)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]], verbosity=2)
