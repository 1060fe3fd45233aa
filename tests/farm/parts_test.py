#!/usr/bin/env python3
"""Movies in parts are the movie of one process: plan, render --part, merge and join --resume, through the program.

usage: parts_test.py PROGRAM [Parts]"""
import json
import os
import pathlib
import subprocess
import sys
import unittest

from shop import PROGRAM, run, SAMPLED, scene, Shop, wait_for


class Parts(Shop):
    EFFECTS = ("--effect", "morph,wash-away", "--duration", "8f", "--opening", "wash-in", "--closing", "tumble-out")

    def fingerprints(self, plan):
        return "".join(self.good("render", plan, "--part", n, "-o", "md5:").stdout for n in self.numbers(plan))

    def test_PicturesAndSoundOfAnyNumberOfPartsAreThoseOfOneProcess(self):
        edit = self.edit(*self.EFFECTS)
        whole = self.good("render", edit, "-o", "md5:", "-q").stdout
        self.assertIn("sound ", whole)
        for parts in (1, 5) if SAMPLED else (1, 2, 5, 16):
            plan = self.plan(edit, parts)
            self.assertGreaterEqual(len(self.numbers(plan)), min(parts, 5))
            self.assertEqual(self.fingerprints(plan), whole, parts)
        plan = self.plan(edit, 16, "--split-seams")
        self.assertEqual(len(self.numbers(plan)), 17)
        self.assertEqual(self.fingerprints(plan), whole)

    def test_EveryEffectIsTheSameInParts(self):
        names = [e["id"] for e in json.loads(self.good("list", "--json").stdout)["effects"]]
        for name in names[::4] if SAMPLED else names:
            kind = {"out": "out", "in": "in"}.get(name.rsplit("-", 1)[-1], "between")
            if kind == "between":
                edit = self.edit("--effect", name, "--duration", "6f", clips=[scene("city", 0.4), scene("harbour", 0.4)])
            else:
                option = "--closing" if kind == "out" else "--opening"
                edit = self.edit("--effect", "none", option, name, clips=[scene("city", 0.5), scene("harbour", 0.4)])
            whole = self.good("render", edit, "-o", "md5:", "-q").stdout
            self.assertEqual(self.fingerprints(self.plan(edit, 3, "--split-seams")), whole, name)

    def test_AClipIsReadFromThePartsOwnFirstFrame(self):
        clip = self.path("a.mp4")
        self.good("out", scene("harbour", 4), "-o", clip, "-q")
        edit = self.edit("--effect", "tilt-away", clips=[f"{clip}#t=0.4,3", scene("city", 1)])
        whole = self.good("render", edit, "-o", "md5:", "-q").stdout
        self.assertEqual(self.fingerprints(self.plan(edit, 6)), whole)

    def test_APlanOfOnePartIsTodaysFile(self):
        edit = self.edit(*self.EFFECTS, "--chapters", "--title", "one & all")
        silent = self.edit("--effect", "wash-away", "--audio", "none", clips=[scene("city", 1), scene("harbour", 1)],
                           name="silent.edit.json")
        alpha = self.edit("--alpha", clips=[scene("city", 0.5), scene("harbour", 0.5)], name="alpha.edit.json")
        kinds = [(edit, "mp4"), (edit, "webm"), (silent, "mov"), (alpha, "mkv")]
        if not SAMPLED:
            kinds += [(edit, "mkv"), (edit, "mov"), (alpha, "mov"), (alpha, "webm"), (silent, "avi")]
        for document, ending in kinds:
            today, ours = self.path(f"today.{ending}"), self.path(f"ours.{ending}")
            self.good("render", document, "-o", today, "--copy-bodies=never", "-q", "-f")
            self.merged(self.plan(document, 1, "--format", ending), ours)
            self.assertEqual(ours.read_bytes(), today.read_bytes(), (document, ending))

    def test_MusicHeldPhotosBlurredStripsAndMonoAreTheSameInParts(self):
        photos = [self.path(f"photo{k}.png") for k in range(3)]
        for k, photo in enumerate(photos):
            self.good("frame", scene("city", 1, "80x120"), scene("harbour", 1, "80x120"), "-o", photo, "--frame", 3 * k, "--of", 9)
        music, movie = self.path("music.mkv"), self.path("music.webm")
        self.good("out", scene("harbour", 2), "-o", music, "-q")
        edit = self.edit("--music", music, "--hold", "0.6s", "--duration", "6f", "--size", "96x64", "--fit", "blur",
                         "--still-motion", "zoom", "--channels", "mono", clips=[*photos, scene("city", 0.8)])
        whole = self.good("render", edit, "-o", "md5:", "-q").stdout
        plan = self.plan(edit, 3)
        self.assertEqual(self.fingerprints(plan), whole)
        one = self.plan(edit, 1, "--format", "webm", name="one.plan.json")
        self.good("render", edit, "-o", movie, "-q")
        self.merged(one, self.path("ours.webm"))
        self.assertEqual(self.path("ours.webm").read_bytes(), movie.read_bytes())
        music.write_bytes(music.read_bytes() + b"x")
        self.refused(2, "music.mkv: has changed since the plan was made", "render", plan, "--part", "sound", "-o", "md5:")

    def test_HdrAndTransparencyAreTheSameInParts(self):
        hlg = self.path("hlg.mp4")
        subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=s=96x64:r=25:d=1.2", "-pix_fmt", "yuv420p10le",
                        "-c:v", "libx265", "-preset", "ultrafast", "-x265-params",
                        "log-level=none:keyint=10:colorprim=bt2020:transfer=arib-std-b67:colormatrix=bt2020nc", str(hlg)], check=True)
        glass = self.path("glass.mov")
        subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i",
                        "testsrc2=s=96x64:r=25:d=1,format=rgba,colorchannelmixer=aa=0.5", "-c:v", "qtrle", str(glass)], check=True)
        hdr = self.edit("--duration", "8f", clips=[f"{hlg}#t=0.2,1.1", str(hlg)])
        toned = self.edit("--duration", "8f", "--hdr", "sdr", clips=[str(hlg), scene("city", 0.8)], name="toned.edit.json")
        alpha = self.edit("--duration", "8f", "--alpha", clips=[str(glass), scene("city", 0.8), str(glass)], name="alpha.edit.json")
        for document, ending in ((hdr, "mp4"), (toned, "mp4"), (alpha, "mkv")):
            plan = self.plan(document, 3, "--format", ending)
            today, one = self.path(f"today.{ending}"), self.path(f"one.{ending}")
            self.good("render", document, "-o", today, "--copy-bodies=never", "-q", "-f")
            self.merged(self.plan(document, 1, "--format", ending, name="one.plan.json"), one)
            self.assertEqual(one.read_bytes(), today.read_bytes(), document)
            parts = self.merged(plan, self.path(f"three.{ending}")).stderr
            whole = self.good("merge", self.path("one.plan.json"), self.parts_of("one.plan.json", one), "-o", one, "-f").stderr
            prints = lambda text: [line for line in text.splitlines() if line.startswith(("pictures", "sound"))]
            self.assertTrue(prints(whole))
            self.assertEqual(prints(parts), prints(whole), document)

    def test_RealClipsWithEveryEffectAreTheSameInParts(self):
        folder = pathlib.Path(os.environ.get("TUMBLEWASH_CLIPS", "."))
        clips = [f"{clip}#t=0.3,1.3" for clip in sorted(folder.glob("*_*.[mdw][pve]*"))]
        clips += [str(photo) for photo in sorted(folder.glob("photo_*"))]
        if not clips:
            return
        names = [e["id"] for e in json.loads(self.good("list", "--json").stdout)["effects"]]
        between = [n for n in names if n.rsplit("-", 1)[-1] not in ("in", "out")]
        for way in ("wash", "tilt", "tumble"):
            effects = ",".join(between) if way == "wash" else way + "-away"
            edit = self.edit("--effect", effects, "--duration", "10f", "--size", "160x90", "--fps", "25", "--still", "1s",
                             "--opening", f"{way}-in=8f", "--closing", f"{way}-out=8f",
                             clips=clips if way == "wash" else clips[:2])
            whole = self.good("render", edit, "-o", "md5:", "-q").stdout
            self.assertEqual(self.fingerprints(self.plan(edit, 5, "--split-seams")), whole, way)

    def test_OtherCodecsAndDepthsMergeToo(self):
        for codec, depth, ending in (("hevc", 10, "mp4"),) if SAMPLED else (
                ("hevc", 8, "mp4"), ("hevc", 10, "mkv"), ("av1", 8, "webm"), ("prores", 10, "mov")):
            edit = self.edit("--codec", codec, "--depth", depth, 
                             clips=[scene("city", 0.6, "128x96"), scene("harbour", 0.6, "128x96")])
            today = self.path(f"{codec}{depth}.{ending}")
            self.good("render", edit, "-o", today, "--copy-bodies=never", "-q")
            one, three = self.path(f"one.{ending}"), self.path(f"three.{ending}")
            self.merged(self.plan(edit, 1, "--format", ending), one)
            self.assertEqual(one.read_bytes(), today.read_bytes(), codec)
            self.merged(self.plan(edit, 3, "--format", ending), three)
            self.assertEqual(self.decoded(three).count("\n"), self.decoded(one).count("\n"), codec)

    def decoded(self, movie):
        """One line for each decoded picture."""
        result = subprocess.run(["ffmpeg", "-v", "error", "-i", str(movie), "-map", "0:v", "-f", "framemd5", "-"],
                                capture_output=True, text=True)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return "".join(line + "\n" for line in result.stdout.splitlines() if not line.startswith("#"))

    def test_PicturesThatStandAloneMakeTheSameFileHoweverItWasCut(self):
        edit = self.edit(*self.EFFECTS, "--title", "one & all")
        today, ours = self.path("today.avi"), self.path("ours.avi")
        self.good("render", edit, "-o", today, "--threads", 3, "-q")
        for parts in (5,) if SAMPLED else (1, 5, 16):
            self.merged(self.plan(edit, parts, "--format", "avi"), ours)
            self.assertEqual(ours.read_bytes(), today.read_bytes(), parts)

    def test_ALosslessMovieDecodesToTheSamePicturesHoweverItWasCut(self):
        edit = self.edit(*self.EFFECTS, "--codec", "ffv1")
        today = self.path("today.mkv")
        self.good("render", edit, "-o", today, "--copy-bodies=never", "-q")
        for parts in (5,) if SAMPLED else (2, 5, 16):
            ours = self.path("ours.mkv")
            self.merged(self.plan(edit, parts, "--format", "mkv"), ours)
            self.assertEqual(self.decoded(ours), self.decoded(today), parts)

    def test_TheFileIsAFunctionOfThePlanAlone(self):
        edit = self.edit(*self.EFFECTS)
        plan = self.plan(edit, 4)
        numbers = self.numbers(plan)
        first = self.merged(plan, self.path("a.mp4"))
        second = self.merged(plan, self.path("b.mp4"), numbers[::-1] + numbers[:2])
        self.assertEqual(self.path("a.mp4").read_bytes(), self.path("b.mp4").read_bytes())
        prints = lambda result: [l for l in result.stderr.splitlines() if l.startswith(("pictures", "sound"))]
        self.assertEqual(len(prints(first)), 2)
        self.assertEqual(prints(first), prints(second))
        other = self.merged(self.plan(edit, 7, name="seven.plan.json"), self.path("c.mp4"))
        self.assertEqual(prints(first), prints(other), "the fingerprints do not depend on the cuts")
        self.assertEqual(self.decoded(self.path("c.mp4")).count("\n"), self.decoded(self.path("a.mp4")).count("\n"))

    def test_TheSoundIsRenderedByTheMergeWhereNoPartBroughtIt(self):
        edit = self.edit(*self.EFFECTS)
        plan = self.plan(edit, 2)
        self.merged(plan, self.path("a.mp4"))
        self.merged(plan, self.path("b.mp4"), [1, 2])
        self.assertEqual(self.path("a.mp4").read_bytes(), self.path("b.mp4").read_bytes())

    def test_LoudSoundIsToldOfByPartMergeAndResume(self):
        loud = self.path("loud.mkv")
        subprocess.run(["ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "testsrc=s=64x48:r=25:d=2", "-f", "lavfi", "-i",
                        "aevalsrc=1.4*sin(2*PI*440*t):s=48000:d=2", "-c:a", "pcm_f32le", "-c:v", "mpeg4", str(loud)], check=True)
        words = ["join", loud, loud, "-d", "10f"]
        peaks = lambda result: [line for line in result.stderr.splitlines() if line.startswith("sound: peaks of +")]
        told = peaks(self.good(*words, "-o", self.path("whole.mp4")))
        self.assertEqual(len(told), 1)
        self.assertEqual(peaks(self.good(*words, "-o", self.path("resumed.mp4"), "--resume", "--parts", 2)), told)
        plan = self.plan(self.edit("-d", "10f", clips=[str(loud), str(loud)]), 2)
        parts = self.path("parts")
        said = {n: peaks(self.good("render", plan, "--part", n, "-o", f"{parts}/")) for n in self.numbers(plan)}
        self.assertEqual(said, {1: [], 2: [], "sound": told})
        self.assertEqual(peaks(self.good("merge", plan, parts, "-o", self.path("merged.mp4"))), told)
        for file in parts.glob("sound.*"):
            file.unlink()
        self.assertEqual(peaks(self.good("merge", plan, parts, "-o", self.path("merged.mp4"), "-f")), told)

    def test_ADamagedClipIsToldOfAsByOneProcess(self):
        whole, torn = self.path("whole.mp4"), self.path("torn.mp4")
        self.good("out", scene("harbour", 4), "-o", whole, "-q")
        body = bytearray(whole.read_bytes())
        for k in range(len(body) // 2, len(body) // 2 + 600):
            body[k] = (body[k] * 7 + 3) & 255
        torn.write_bytes(body)
        words = ["join", torn, whole, "-o", self.path("out.mp4"), "--copy-bodies=never", "-f", "-q"]
        warnings = lambda result: [line for line in result.stderr.splitlines() if line.startswith("tumblewash: ")]
        told = warnings(self.good(*words))
        self.assertTrue(told)
        self.assertEqual(warnings(self.good(*words, "--resume", "--parts", 3)), told)

    def test_AnInterruptedJoinGoesOn(self):
        words = ["join", scene("harbour", 6, "160x120"), scene("city", 2, "160x120"), "--effect", "tumble-away",
                 "--resume", "--parts", "4", "-q"]
        whole, broken = self.path("whole.mp4"), self.path("broken.mp4")
        self.good(*words, "-o", whole)
        self.assertFalse(pathlib.Path(f"{whole}.parts").exists())
        parts = pathlib.Path(f"{broken}.parts")
        for _ in range(20):  # until it is killed between the first part and the end
            broken.unlink(missing_ok=True)
            process = subprocess.Popen([PROGRAM, *words, "-o", str(broken)], stderr=subprocess.DEVNULL)
            wait_for(lambda: process.poll() is not None or list(parts.glob("part-*.json")))
            process.kill()
            process.wait()
            if parts.is_dir():
                break
        kept = sorted(p.name for p in parts.glob("*.json"))
        self.assertGreaterEqual(len(kept), 2, kept)
        marks = {p: p.stat().st_mtime_ns for p in parts.glob("part-*.piece") if p.with_suffix(".json").exists()}
        self.refused(2, "holds parts of something else", *words, "--seed", "9", "-o", broken)
        for piece, time_ns in marks.items():
            self.assertEqual(piece.stat().st_mtime_ns, time_ns)
        self.good(*words, "-o", broken)
        self.assertEqual(broken.read_bytes(), whole.read_bytes())
        self.assertFalse(parts.exists())


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]], verbosity=2)
