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
    "plan a#t=1,2 black:2s -o x.edit.json --effect shuffle", "render x.edit.json -o y.mp4 --only 1s..2s",
    "join -- -a -b -o x", "join a b -o=out --size=16x16 --fps=29.97", "join a b --mlt p.mlt --report r.json -v"]
for number, line in enumerate(lines):
    (path / ("%02d" % number)).write_text(line.replace(" ", "\n"))

path = seeds("edits")
whole = (tree / "docs" / "edit-format.md").read_text().split("```json\n")[1].split("```")[0]
for name, text in {"whole": whole, "least": '{"tumblewash": 1, "clips": [{"file": "a"}]}',
                   "keys": '{"tumblewash": 1, "output": {"rate": "29.97", "fit": "cover", "crf": 18, "preset": "slow"}, '
                           '"sound": "plugin", "still": "00:03.5", "closing": {"effect": "wash-out", "speed": "0.5"}, '
                           '"clips": [{"file": "a", "in": "5f", "was": {"bytes": 1, "modified": "2026-01-31T12:00:00Z", '
                           '"head": "0123456789abcdef"}}, {"black": ".5", "seam": {"seed": 7, "sound": "none"}}]}',
                   "deep": "[" * 70, "fragment": "t=npt:1:02:03.5,1:02:04&t=5"}.items():
    (path / name).write_text(text)

path = seeds("media")
# In the order of fuzz/Media.cpp, which reads an input's ending, its trouble and the reading that meets it from the
# last three bytes.
ENDINGS = ("", ".mp4", ".mov", ".mkv", ".webm", ".avi", ".mpg", ".ts", ".y4m", ".wav", ".png", ".jpg", ".webp", ".gif",
           ".bmp", ".tiff", ".ppm", ".tga", ".exr", ".jp2", ".dpx", ".sgi", ".pcx", ".qoi", ".heic", ".avif", ".svg",
           ".psd", ".txt", ".y", "%d.jpg", "*.png")
TROUBLES = 7
video = ("-f", "lavfi", "-i", "testsrc2=size=32x32:rate=10:duration=0.6")
sound = ("-f", "lavfi", "-i", "sine=duration=0.6:sample_rate=8000")
still = ("-f", "lavfi", "-i", "testsrc2=size=16x16", "-frames:v", "1")
clear = ("-f", "lavfi", "-i", "testsrc2=size=16x16,format=rgba,geq=r='r(X,Y)':g='g(X,Y)':b='b(X,Y)':a='X*16'",
         "-frames:v", "1")
few = ("-f", "lavfi", "-i", "testsrc2=size=16x16:rate=10:duration=0.3")
clips = {"a.mp4": (*video, *sound, "-c:v", "libx264", "-preset", "ultrafast", "-c:a", "aac"),
         "b.mkv": (*video, "-c:v", "mpeg4"), "c.avi": (*video, *sound, "-c:v", "mjpeg", "-c:a", "pcm_u8"),
         "d.mpg": (*video, "-r", "25", "-c:v", "mpeg2video"), "e.wav": sound, "f.webm": (*video, "-c:v", "libvpx"),
         "g.y4m": (*video, "-t", "0.2", "-pix_fmt", "yuv420p"), "h.ts": (*video, "-c:v", "libx264", "-bf", "2"),
         "i.mov": (*video, "-c:v", "prores_ks"), "j.mp4": (*video, "-c:v", "libx265", "-x265-params", "log-level=none"),
         # Every kind of photo that the program is told to take, most of them in more than one coding.
         "k.png": still, "k-alpha.png": clear, "k-grey16.png": (*still, "-pix_fmt", "gray16be"),
         "k-palette.png": (*still, "-pix_fmt", "pal8"), "k-deep.png": (*clear, "-pix_fmt", "rgba64be"),
         "k-moving.png": (*few, "-f", "apng"),
         "l.jpg": still, "l-444.jpg": (*still, "-pix_fmt", "yuvj444p"), "l-grey.jpg": (*still, "-pix_fmt", "gray"),
         "m.webp": still, "m-exact.webp": (*clear, "-lossless", "1"), "m-moving.webp": (*few, "-c:v", "libwebp_anim"),
         "n.gif": still, "n-moving.gif": few, "o.bmp": still, "o-alpha.bmp": (*clear, "-pix_fmt", "bgra"),
         "p.tiff": still, "p-lzw.tiff": (*still, "-compression_algo", "lzw"),
         "p-deflate.tiff": (*clear, "-compression_algo", "deflate"), "p-deep.tiff": (*still, "-pix_fmt", "rgb48le"),
         "q.ppm": still, "q.pgm": still, "q.pam": clear, "r.tga": still, "r-alpha.tga": (*clear, "-pix_fmt", "bgra"),
         "s.exr": (*still, "-pix_fmt", "gbrpf32le"), "s-zip.exr": (*clear, "-pix_fmt", "gbrapf32le", "-compression", "zip16"),
         "t.jp2": still, "t-alpha.jp2": (*clear, "-pix_fmt", "rgba"), "u.dpx": still, "v.sgi": still, "w.pcx": still,
         "x.qoi": clear, "y.avif": (*still, "-c:v", "libaom-av1", "-cpu-used", "8")}
for name, arguments in clips.items():
    subprocess.run(["ffmpeg", "-v", "quiet", "-y", *arguments, str(path / name)], stdin=subprocess.DEVNULL, check=False)

# A turned JPEG with a profile that is none, and what is no photo: a program and a list of other files.
if (path / "l.jpg").is_file():
    plain = (path / "l.jpg").read_bytes()
    turned = b"Exif\0\0MM\0\x2a\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0\x06" + bytes(6)
    profile = b"ICC_PROFILE\0\x01\x01" + bytes(40)
    marks = b"".join(mark + (len(data) + 2).to_bytes(2, "big") + data
                     for mark, data in ((b"\xff\xe1", turned), (b"\xff\xe2", profile)))
    (path / "l-turned.jpg").write_bytes(plain[:2] + marks + plain[2:])
(path / "z.svg").write_text('<svg xmlns="http://www.w3.org/2000/svg" width="16" height="16"><rect width="9" height="9"/></svg>')
(path / "z.txt").write_text("ffconcat version 1.0\nfile a.mp4\n")

# Each seed under its own ending and another one's, and with a trouble of every kind at an early and a later reading.
for number, file in enumerate(sorted(path.iterdir())):
    data = file.read_bytes()
    file.unlink()
    own = ENDINGS.index(file.suffix) if file.suffix in ENDINGS else 0
    if not data:
        continue
    (path / file.name).write_bytes(data + bytes((own, 0, 0)))
    (path / (file.name + "-renamed")).write_bytes(data + bytes(((own + 1 + number) % len(ENDINGS), 0, 0)))
    trouble = 1 + number % (TROUBLES - 1)
    (path / (file.name + "-troubled")).write_bytes(data + bytes((own, trouble, number % 5)))
# The first readings of one clip and one photo go wrong one by one, in every way.
for name in ("a.mp4", "k.png"):
    if not (path / name).is_file():
        continue
    data = (path / name).read_bytes()[:-3]
    for trouble in range(1, TROUBLES):
        for reading in range(12):
            (path / ("%s-%d-%02d" % (name, trouble, reading))).write_bytes(
                data + bytes((ENDINGS.index(pathlib.Path(name).suffix), trouble, reading)))

(folder / "made").write_text("made\n")
