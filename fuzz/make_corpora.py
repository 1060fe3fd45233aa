"""Makes the seed corpora: one folder for each target. Nothing of it is kept in the tree.
    make_corpora.py FOLDER SOURCE_TREE
"""
import pathlib
import random
import shutil
import subprocess
import sys

folder, tree = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])


def seeds(name):
    path = folder / name
    shutil.rmtree(path, ignore_errors=True)
    path.mkdir(parents=True)
    return path


def decisions(name, count, length):
    """Runs of 32-bit decisions, as the targets that play read them."""
    path = seeds(name)
    for seed in range(count):
        dice = random.Random(seed)
        words = [dice.choice((dice.randrange(16), dice.getrandbits(32))) for _ in range(length)]
        (path / ("%02d" % seed)).write_bytes(b"".join(word.to_bytes(4, "little") for word in words))


decisions("parameter_block", 28, 220)
decisions("rectangles", 16, 300)
decisions("images", 12, 160)
decisions("frei0r", 26, 80)
decisions("openfx", 28, 120)

path = seeds("strings")
for file in sorted((tree / "pluginDistort" / "resources").glob("*.strings")):
    shutil.copy(file, path)
(path / "escapes").write_text("[17000]\n1 = a\\nb\\\\c\\s\n# comment\n2=\n[x]\n[-5]\n-1 = minus\n[99999]\n1 = far\n")
(path / "long").write_text("[1]\n1 = " + "\u00e4" * 300 + "\n")

path = seeds("arguments")
lines = [
    "join A.mp4 B.mp4 -o out.mp4", "join A.mp4 B.mp4 C.mov -o out.mp4 --effect tilt-away,tumble-reveal --duration 45f",
    "join cat.png dog.jpg -o morph.webm --effect morph --still 3s", "out A.mp4 -o end.mp4 --effect tumble-out -d 2s",
    "in A.mp4 -o start.mp4 --direction up --seed 4294967295", "frame a.png b.png -o mid.png --frame 15 --of 30 --alpha",
    "sheet a b -o s.png --columns 8 --theme light", "field a b -o f.png -e wash-away --proxy", "list --json",
    "demo ./demo -j 4", "join a b -o md5: -r 30000/1001 -s 1280x720 --fit cover --audio equal-power --crf 20",
    "--generate man", "--help", "help join", "--version", "join a b --speed 0.5 --preset veryfast --progress kv -q -f",
    "join -- -a -b -o x", "join a b -o=out --size=16x16 --fps=29.97", "join a b --mlt p.mlt --report r.json -v"]
for number, line in enumerate(lines):
    (path / ("%02d" % number)).write_text(line.replace(" ", "\n"))

path = seeds("media")
video = ("-f", "lavfi", "-i", "testsrc2=size=32x32:rate=10:duration=0.6")
sound = ("-f", "lavfi", "-i", "sine=duration=0.6:sample_rate=8000")
still = ("-f", "lavfi", "-i", "testsrc2=size=16x16", "-frames:v", "1")
clips = {"a.mp4": (*video, *sound, "-c:v", "libx264", "-preset", "ultrafast", "-c:a", "aac"),
         "b.mkv": (*video, "-c:v", "mpeg4"), "c.avi": (*video, *sound, "-c:v", "mjpeg", "-c:a", "pcm_u8"),
         "d.mpg": (*video, "-r", "25", "-c:v", "mpeg2video"), "e.wav": sound, "f.webm": (*video, "-c:v", "libvpx"),
         "g.y4m": (*video, "-t", "0.2", "-pix_fmt", "yuv420p")}
for name in ("s.png", "s.jpg", "s.gif", "s.bmp", "s.tiff", "s.webp", "s.ppm", "s.tga"):
    clips[name] = still
for name, arguments in clips.items():
    subprocess.run(["ffmpeg", "-v", "quiet", "-y", *arguments, str(path / name)], stdin=subprocess.DEVNULL, check=False)

(folder / "made").write_text("made\n")
