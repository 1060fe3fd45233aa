#!/usr/bin/env python3
"""The module tumblewash against the program.  module_test.py PROGRAM EXAMPLES"""
import ast
import inspect
import json
import os
import pathlib
import runpy
import subprocess
import sys
import tempfile
import threading
import types
import unittest
import unittest.mock

import numpy as np
import tumblewash

program, examples = sys.argv[1], pathlib.Path(sys.argv[2])


def noise(seed, channels, height=30, width=41):
    return np.random.default_rng(seed).integers(0, 256, (height, width, channels), np.uint8)


def sums(*arguments):
    return subprocess.run([program, *arguments, "-q", "-o", "md5:"], check=True, capture_output=True, text=True).stdout


class Pictures(unittest.TestCase):
    def test_a_picture_is_the_programs(self):
        with tempfile.TemporaryDirectory() as folder:
            a, b = noise(1, 3), noise(2, 3)
            paths = [str(pathlib.Path(folder) / name) for name in ("a.ppm", "b.ppm", "out.png", "out.ppm")]
            for picture, path in ((a, paths[0]), (b, paths[1])):
                pathlib.Path(path).write_bytes(b"P6\n41 30\n255\n" + picture.tobytes())
            for effect in tumblewash.effects():
                if effect.clips != 2 or effect.id == "none":
                    continue
                frame = 11 if effect.id == "morph" else 12
                subprocess.run([program, "frame", paths[0], paths[1], "-q", "-f", "-o", paths[2], "--effect", effect.id,
                                "--frame", str(frame), "--of", "30", "--seed", "7", "--direction", "left"], check=True)
                subprocess.run(["ffmpeg", "-v", "error", "-y", "-i", paths[2], "-pix_fmt", "rgb24", paths[3]], check=True)
                expected = np.frombuffer(pathlib.Path(paths[3]).read_bytes()[-a.size:], np.uint8).reshape(a.shape)
                made = tumblewash.render(a, b, effect.id, 12 / 30, seed=7, direction="left")
                self.assertTrue(np.array_equal(made, expected), effect.id)

    def test_ends_are_the_pictures_and_a_new_array_is_as_deep_as_needed(self):
        a, b = noise(3, 3), noise(4, 3)
        self.assertTrue(np.array_equal(tumblewash.render(a, b, position=0), a))
        self.assertTrue(np.array_equal(tumblewash.render(a, b, position=1), b))
        self.assertEqual(tumblewash.render(a, effect="tilt-out").shape[2], 4)
        self.assertEqual(tumblewash.render(a, noise(5, 4)).shape[2], 4)
        gone = tumblewash.render(a, effect="tilt-out", position=1)
        self.assertEqual(int(gone.max()), 0)

    def test_rows_may_lie_anywhere(self):
        wide = noise(6, 4, 40, 90)
        a, b = wide[5:35, 10:51], noise(7, 4)
        expected = tumblewash.render(a.copy(), b, "tumble-away", 0.4)
        self.assertTrue(np.array_equal(tumblewash.render(a, b, "tumble-away", 0.4), expected))
        flipped = np.ascontiguousarray(a[::-1])[::-1]
        self.assertLess(flipped.strides[0], 0)
        self.assertTrue(np.array_equal(tumblewash.render(flipped, b, "tumble-away", 0.4), expected))
        sparse = np.repeat(a, 2, axis=1)[:, ::2]
        self.assertNotEqual(sparse.strides[1], 4)
        self.assertTrue(np.array_equal(tumblewash.render(sparse, b, "tumble-away", 0.4), expected))
        for one in (np.broadcast_to(a[3], a.shape), np.lib.stride_tricks.as_strided(a, a.shape, (4, 4, 1), writeable=False)):
            self.assertTrue(np.array_equal(tumblewash.render(one, b, "tumble-away", 0.4),
                                           tumblewash.render(one.copy(), b, "tumble-away", 0.4)))
        line = tumblewash.render(a[3].copy()[None], b[:1], "morph", 0.4, out=np.zeros((41, 4), np.uint8)[None])
        self.assertTrue(np.array_equal(line, tumblewash.render(a[3:4].copy(), b[:1], "morph", 0.4)))
        column = tumblewash.render(a[:, :1], b[:, :1], "morph", 0.4, out=np.zeros((30, 41, 4), np.uint8)[:, ::41])
        self.assertTrue(np.array_equal(column, tumblewash.render(a[:, :1].copy(), b[:, :1], "morph", 0.4)))
        beside = np.zeros((30, 82, 4), np.uint8)
        beside[:, :41] = a
        tumblewash.render(beside[:, :41], b, "tumble-away", 0.4, out=beside[:, 41:])
        self.assertTrue(np.array_equal(beside, np.hstack([a, expected])))
        place = np.zeros((30, 60, 4), np.uint8)
        out = place[:, 7:48]
        self.assertIs(tumblewash.render(a, b, "tumble-away", 0.4, out=out), out)
        self.assertTrue(np.array_equal(out, expected))
        self.assertEqual(int(place[:, :7].max()) + int(place[:, 48:].max()), 0)

    def test_what_cannot_be_is_refused(self):
        a, b = noise(8, 3), noise(9, 3)
        for wrong in (lambda: tumblewash.render(a, b, "wash"), lambda: tumblewash.render(a),
                      lambda: tumblewash.render(a, b[:-1]), lambda: tumblewash.render(a, b, direction="north"),
                      lambda: tumblewash.render(a[:, :, 0], b), lambda: tumblewash.render(a, b, alpha="some"),
                      lambda: tumblewash.render(a, b, out=a), lambda: tumblewash.render(a, b, out=a[:, ::2]),
                      lambda: tumblewash.render(a[1:], b[1:], out=a[:-1]), lambda: tumblewash.render(a, b, "morph\0"),
                      lambda: tumblewash.render(a, b, out=np.lib.stride_tricks.as_strided(b.copy(), a.shape, (3, 3, 1))),
                      lambda: tumblewash.render(a, b, seed=-1), lambda: tumblewash.Effect(seed=2 ** 32),
                      lambda: tumblewash.Effect(threads=0), lambda: tumblewash.Effect(threads=65)):
            with self.assertRaises(ValueError):
                wrong()
        for wrong in (lambda: tumblewash.render(a.astype(float), b), lambda: tumblewash.render(a.tolist(), b),
                      lambda: tumblewash.render(None, b), lambda: tumblewash.render(a, b, out="out"),
                      lambda: tumblewash.render(a, b, position="0.5"), lambda: tumblewash.render(a, b, position=None),
                      lambda: tumblewash.render(a, b, seed=7.0), lambda: tumblewash.render(a, b, direction=None),
                      lambda: tumblewash.Effect(threads=2.0), lambda: tumblewash.Effect(threads="2"),
                      lambda: tumblewash.render(a, b, effect=tumblewash.effects()[3])):
            with self.assertRaisesRegex(TypeError, "^[^\n]{1,80}$"):
                wrong()
        frozen = np.zeros_like(a)
        frozen.flags.writeable = False
        with self.assertRaises(ValueError):
            tumblewash.render(a, b, out=frozen)
        with self.assertRaisesRegex(ValueError, "did you mean tilt-away"):
            tumblewash.render(a, b, "tilt-awya")

    def test_a_large_picture_is_shared_by_threads(self):
        a, b = noise(12, 4, 960, 1050), noise(13, 4, 960, 1050)
        for effect in ("tilt-reveal", "morph"):
            kept = tumblewash.Effect(effect, threads=np.int64(3))
            before = set(os.listdir("/proc/self/task"))
            self.assertTrue(np.array_equal(kept.render(a, b, 0.3), tumblewash.render(a, b, effect, 0.3)))
            self.assertEqual(len(set(os.listdir("/proc/self/task")) - before), 2)
            del kept

    def test_threads_share_an_effect_and_the_lock_is_released(self):
        a, b = noise(10, 4, 600, 800), noise(11, 4, 600, 800)
        kept = tumblewash.Effect("morph")
        expected = kept.render(a, b, 0.5)
        results, counted, stop = [], [0], threading.Event()

        def count():
            while not stop.is_set():
                counted[0] += 1

        counter = threading.Thread(target=count)
        threads = [threading.Thread(target=lambda: results.append(kept.render(a, b, 0.5))) for _ in range(3)]
        counter.start()
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        stop.set()
        counter.join()
        self.assertEqual(len(results), 3)
        self.assertTrue(all(np.array_equal(result, expected) for result in results))
        self.assertGreater(counted[0], 0)

    def test_the_catalogue_is_the_programs(self):
        listed = json.loads(subprocess.run([program, "list", "--json"], check=True, capture_output=True, text=True).stdout)
        rows = listed["effects"] if isinstance(listed, dict) and "effects" in listed else listed
        self.assertEqual([effect.id for effect in tumblewash.effects()], [row["id"] for row in rows])


class Movies(unittest.TestCase):
    A = "pattern:harbour?size=64x48&seconds=1&fps=10"
    B = "pattern:city?size=64x48&seconds=1&fps=10"

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.out = str(pathlib.Path(self.folder.name) / "sums")

    def tearDown(self):
        self.folder.cleanup()

    def test_a_join_is_the_programs(self):
        told = []
        tumblewash.join([self.A, self.B, self.A], "md5:" + self.out, effect=["tilt-away", "morph"], duration="4f",
                        progress=lambda done, total: told.append((done, total)))
        expected = sums("join", self.A, self.B, self.A, "--effect", "tilt-away,morph", "--duration", "4f")
        self.assertEqual(pathlib.Path(self.out).read_text(), expected)
        self.assertEqual(told[-1][0], told[-1][1])
        tumblewash.join([self.A, self.B], "md5:" + self.out, duration="4f", sound="natural", replace=True)
        expected = sums("join", self.A, self.B, "--duration", "4f", "--audio", "natural")
        self.assertEqual(pathlib.Path(self.out).read_text(), expected)

    def test_progress_ends_the_work(self):
        target = pathlib.Path(self.folder.name) / "out.mkv"
        with self.assertRaises(InterruptedError):
            tumblewash.join([self.A, self.B], target, progress=lambda done, total: done < 3)
        with self.assertRaises(InterruptedError):
            tumblewash.join([self.A, self.B], target, progress=lambda done, total: np.bool_(False))

        def broken(done, total):
            raise KeyError("mine")

        with self.assertRaisesRegex(KeyError, "mine"):
            tumblewash.join([self.A, self.B], target, progress=broken)
        self.assertEqual(list(pathlib.Path(self.folder.name).iterdir()), [])

    def test_errors_are_pythons_own(self):
        with self.assertRaisesRegex(OSError, "missing.mp4"):
            tumblewash.join(["missing.mp4", self.B], self.out + ".mkv")
        with self.assertRaises(ValueError):
            tumblewash.join([self.A, self.B], self.out + ".mkv", effect="wash-out")
        with self.assertRaises(ValueError):
            tumblewash.join([self.A, self.B], self.out + ".mkv", effect=[])
        with self.assertRaisesRegex(ValueError, "drawn here and has no packets to copy"):
            tumblewash.join([self.A, self.B], self.out + ".mkv", copy_bodies="always")
        with self.assertRaisesRegex(ValueError, "choose one of auto, always, never"):
            tumblewash.join([self.A, self.B], self.out + ".mkv", copy_bodies="sometimes")
        with self.assertRaises(ValueError):
            tumblewash.render_edit({"tumblewash": 1, "clip": []}, self.out + ".mkv")
        one = {"tumblewash": 1, "clips": [{"file": self.A}]}
        for folder, output in (("", "md5:" + self.out + "\0more"), (self.folder.name + "\0", "md5:" + self.out)):
            with self.assertRaisesRegex(ValueError, "zero character"):
                tumblewash.render_edit(one, output, folder=folder)
        self.assertEqual(list(pathlib.Path(self.folder.name).iterdir()), [])
        odd = os.fsencode(self.out) + b"\xff"
        tumblewash.render_edit(one, b"md5:" + odd)
        with self.assertRaisesRegex(OSError, "already exists"):
            tumblewash.render_edit(one, "md5:" + os.fsdecode(odd))
        pathlib.Path(self.out).write_text("mine")
        with self.assertRaisesRegex(OSError, "already exists; pass replace=True to replace it"):
            tumblewash.join([self.A, self.B], "md5:" + self.out)
        self.assertEqual(pathlib.Path(self.out).read_text(), "mine")

    def test_values_of_numpy_and_texts_are_taken_and_others_refused(self):
        def joined(**settings):
            tumblewash.join([self.A, self.B], "md5:" + self.out, replace=True, **settings)
            return pathlib.Path(self.out).read_text()

        plain = joined(seed=7, size=(66, 50), rate=5, duration=0.4)
        self.assertEqual(joined(seed=np.int64(7), size="66x50", rate="5", duration=np.float32(0.4)), plain)
        self.assertEqual(joined(seed=7, size=np.array([66, 50]), rate=np.float64(5), duration="2f"), plain)
        for wrong in ({"seed": 2 ** 32}, {"size": (66, 50, 3)}, {"rate": 0}, {"duration": float("inf")}, {"still": float("nan")}):
            with self.assertRaises(ValueError):
                joined(**wrong)
        with self.assertRaisesRegex(TypeError, "list of files"):
            tumblewash.join("A.mp4", self.out + ".mkv")


class Texts(unittest.TestCase):
    def test_every_public_name_is_documented_and_typed(self):
        stub = ast.parse((pathlib.Path(tumblewash.__file__).parent / "__init__.pyi").read_text())
        typed = {node.name: node for node in stub.body if isinstance(node, (ast.FunctionDef, ast.ClassDef))}
        for name in tumblewash.__all__:
            thing = getattr(tumblewash, name)
            self.assertTrue(inspect.getdoc(thing), name)
            self.assertIn(name, typed)
            if inspect.isfunction(thing):
                arguments = typed[name].args
                self.assertEqual([a.arg for a in arguments.args + arguments.kwonlyargs],
                                 list(inspect.signature(thing).parameters), name)
        self.assertTrue((pathlib.Path(tumblewash.__file__).parent / "py.typed").exists())

    def test_the_strip_shows_six_moments(self):
        shown = []
        axis = types.SimpleNamespace(imshow=shown.append, set_title=lambda text: None, axis=lambda how: None)
        figure = types.SimpleNamespace(suptitle=lambda text: shown.append(text), savefig=lambda name, **how: None)
        plots = types.ModuleType("matplotlib.pyplot")
        plots.subplots = lambda rows, columns, **how: (figure, [axis] * columns)
        library = types.ModuleType("matplotlib")
        library.use, library.pyplot = lambda backend: None, plots
        with unittest.mock.patch.dict(sys.modules, {"matplotlib": library, "matplotlib.pyplot": plots}), \
                unittest.mock.patch.object(sys, "argv", ["strip.py", "tilt-reveal"]):
            runpy.run_path(str(examples / "strip.py"))
        self.assertEqual(shown[-1], "Tilt Reveal")
        self.assertEqual(len(shown), 7)
        self.assertFalse(any(np.array_equal(shown[i], shown[i + 1]) for i in range(5)))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
