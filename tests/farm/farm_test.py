#!/usr/bin/env python3
"""Movies in parts: plan, render --part, merge, submit, status, batch and --resume, through the program.

usage: farm_test.py PROGRAM CLASS...   (Parts, Refusals, Engines, Batch)"""
import hashlib
import json
import os
import pathlib
import resource
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
            kinds += [(edit, "mkv"), (edit, "mov"), (alpha, "mov"), (alpha, "webm")]
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


def wait_for(happened, seconds=120):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        if happened():
            return
        time.sleep(0.005)
    raise AssertionError("waited in vain")


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
            self.assertIn("night's.jsonl:3: ", result.stderr)
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


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]], verbosity=2)
