"""Makes the seed corpora: one folder for each target. Nothing of it is kept in the tree.
    make_corpora.py FOLDER SOURCE_TREE
"""
import json
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

path = seeds("door")
own = "Host: 127.0.0.1:4000\nOrigin: http://127.0.0.1:4000\nContent-Type: application/json\nSec-Fetch-Site: same-origin\n\n"
for name, text in {"page": "GET /TOKEN/?a=%20b&c\nHost: localhost:1\nSec-Fetch-Site: none\nSec-Fetch-Mode: navigate\n"
                           "Sec-Fetch-Dest: document\n",
                   "frame": "GET /TOKEN/frame?f=12&w=960&page=p\nHost: 127.0.0.1\n",
                   "add": "POST /TOKEN/api/edit\n" + own + '[{"op": "add", "path": "/clips/1", "value": {"file": "b", "in": "5f"}}]',
                   "replace": "POST /TOKEN/api/edit\n" + own + '[{"op": "replace", "path": "/clips/1/seam/seed", "value": 8}]',
                   "move": "POST /TOKEN/api/edit\n" + own + '[{"op": "move", "from": "/clips/1", "path": "/clips/0"}, '
                           '{"op": "remove", "path": "/clips/0/seam"}, {"op": "test", "path": "/clips/1/file", "value": "a.mp4"}]',
                   "copy": "POST /TOKEN/api/edit\n" + own + '[{"op": "copy", "from": "/clips/0", "path": "/clips/-"}]',
                   "out": "GET /TOKEN/../%2e%2e/a%2fb%00\nHost: example.com\nHost: 127.0.0.1\n"}.items():
    (path / name).write_text(text)

path = seeds("exchange")


def schema(which, **keys):
    return {"OTIO_SCHEMA": which, **keys}


def timed(value, rate=25.0):
    return schema("RationalTime.1", rate=rate, value=float(value))


def stretch(start, length, rate=25.0):
    return schema("TimeRange.1", start_time=timed(start, rate), duration=timed(length, rate))


def shot(name, start, length, **more):
    return schema("Clip.1", name=name, source_range=stretch(start, length),
                  media_reference=schema("ExternalReference.1", target_url=name), **more)


def fade(before, after, effect=None):
    own = {"tumblewash": {"effect": effect, "placement": "halves" if effect == "morph" else "overlap", "seed": 3}}
    return schema("Transition.1", in_offset=timed(before), out_offset=timed(after), metadata=own if effect else {},
                  transition_type="Custom_Transition" if effect else "SMPTE_Dissolve")


def timeline(*children, **more):
    return schema("Timeline.1", name="x", tracks=schema("Stack.1", children=[
        schema("Track.1", kind="Video", children=list(children), **more), schema("Track.1", kind="Audio", children=[])]))


black = schema("Gap.1", source_range=stretch(0, 12))
newer = schema("Clip.2", name="B.mp4", active_media_reference_key="k", media_references={
    "k": schema("MissingReference.1", available_range=stretch(5, 50, 29.97))}, enabled=True)
for name, document in {
        "dissolve": timeline(shot("A.mp4", 0, 40), fade(5, 4), shot("B.mp4", 10, 50)),
        "own": timeline(shot("A.mp4", 0, 40), fade(6, 6, "tilt-away"), shot("C.ppm", 0, 30), fade(4, 4, "morph"), black),
        "ends": timeline(fade(0, 8), black, shot("A.mp4", 3, 9), fade(8, 0, "tumble-out")),
        "trimmed": timeline(newer, black, shot("A.mp4", 7, 50, enabled=False), source_range=stretch(-3, 60))}.items():
    (path / name).write_text(json.dumps(document))
lists = {
    "cuts": """TITLE: CUTS
FCM: NON-DROP FRAME
001  A        V     C        00:00:00:00 00:00:01:15 01:00:00:00 01:00:01:15
* FROM CLIP NAME: A.mp4
* TUMBLEWASH: rate=25
002  B        V     C        00:00:01:00 00:00:02:10 01:00:01:15 01:00:03:00
* FROM CLIP NAME: B.mp4
""",
    "fades": """TITLE: FADES
FCM: DROP FRAME
001  BL       V     C        00:00:00;00 00:00:00;00 01:00:58;00 01:00:58;00
001  A        V     D 030    00:00:00;00 00:00:04;00 01:00:58;00 01:01:02;02
* TO CLIP NAME: A.mp4
002  A        V     C        00:00:04;00 00:00:04;00 01:01:02;02 01:01:02;02
002  B        V     W001 012 00:00:10;00 00:00:14;00 01:01:02;02 01:01:06;02
M2   B        015.0          00:00:10;00
EFFECTS NAME IS WIPE
* FROM CLIP NAME: A.mp4
* TO CLIP NAME: B.mp4
* TUMBLEWASH: effect=wash-away direction=left seed=7 placement=overlap
""",
    "list": """ffconcat version 1.0
# pictures and clips
file C.ppm
duration 2.5
file 'C.ppm'
inpoint 00:00:01.5
outpoint 2500ms
file A\\.mp4
""",
    "list-quoted": "ffconcat version 1.0\r\nfile 'it'\\''s.mp4'\r\nstream\r\nchapter 1 0 1\r\noption a b\r\n"}
for name, text in lists.items():
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

# Headers and first packets of clips that are copied, and the clips themselves, whole and cut off.
path = sets = seeds("parameter_sets")
copies = seeds("copies")
codings = {"plain": "keyint=4", "open": "keyint=4:open-gop=1", "cavlc": "cabac=0:slices=2:keyint=3", "flat": "bframes=0",
           "headers": "repeat-headers=1:keyint=3:aud=1:nal-hrd=vbr:vbv-maxrate=500:vbv-bufsize=500"}
piece_header, piece_packets = b"", []
for name, coding in codings.items():
    made = path / (name + ".mkv")
    coded = (*video, "-t", "1.2", "-c:v", "libx264", "-preset", "ultrafast", "-pix_fmt", "yuv420p", "-x264-params", coding)
    subprocess.run(["ffmpeg", "-v", "quiet", "-y", *coded, str(made)], stdin=subprocess.DEVNULL, check=False)
    plain = subprocess.run(["ffmpeg", "-v", "quiet", "-i", str(made), "-c", "copy", "-f", "h264", "-"],
                           stdin=subprocess.DEVNULL, capture_output=True, check=False).stdout
    units = [unit for unit in plain.replace(b"\0\0\0\1", b"\0\0\1").split(b"\0\0\1") if unit]
    for number, unit in enumerate(units[:6]):
        (sets / ("%s-%d" % (name, number))).write_bytes(unit)
    header = b"".join(b"\0\0\1" + unit for unit in units if unit[0] & 31 in (7, 8))[:400]
    packets = [b"\0\0\1" + unit for unit in units if unit[0] & 31 in (1, 5, 6)]
    if made.is_file():
        data = made.read_bytes()
        made.unlink()
        (copies / name).write_bytes(data)
        (copies / (name + "-cut")).write_bytes(data[:len(data) * 2 // 3])
    for number, packet in enumerate(packets[:3]):
        (sets / ("%s-whole-%d" % (name, number))).write_bytes(len(header).to_bytes(2, "big") + header + packet)

    if name == "headers" and packets:
        piece_header, piece_packets = b"".join(b"\0\0\0\1" + unit for unit in units if unit[0] & 31 in (7, 8))[:60], packets

# Pieces of a movie: what parts of it are rendered to. A plan, a receipt, and edits with the numbers of a plan.
path = seeds("parts")


def numbers(*values):
    return b"".join(value.to_bytes(8, "little", signed=True) for value in values)


def piece(kind, header, packets, prints):
    data = b"twpiece1" + numbers(kind, len(header)) + header
    for number, packet in enumerate(packets):
        data += numbers(2) + bytes(range(16)) if number < prints else b""
        data += numbers(1, number, number - 1, 1, 1 if number == 0 else 0, len(packet)) + packet + numbers(0)
    return data + numbers(3, len(packets), min(prints, len(packets)))


if piece_packets:
    whole = piece(1, piece_header, piece_packets[:5], 5)
    for name, data in {"whole": whole, "cut": whole[:-30], "longer": whole + b"more", "headless": piece(1, b"", piece_packets[:2], 2),
                       "unprinted": piece(1, piece_header, piece_packets[:3], 1), "sound": piece(2, b"\x12\x10", [bytes(40)] * 4, 0)}.items():
        (path / ("piece-" + name)).write_bytes(data)
digest = "0123456789abcdef" * 4
plan = {"tumblewash-plan": 1, "hash": digest, "program": "tumblewash 1", "hashes": {"edit": digest, "inputs": digest, "settings": digest},
        "movie": {"kind": ".mp4", "frames": 90, "size": "64x48", "rate": "25", "fields": "progressive", "sound": True,
                  "sample-rate": 48000, "channels": 2, "encoder-threads": 2,
                  "colour": {"transfer": "sdr", "depth": 8, "matrix": "bt709", "codec": "h264", "chroma-top-left": False,
                             "mastering": {"chromaticity": [0.7, 0.3, 0.2, 0.7, 0.1, 0.05, 0.3127, 0.329], "has-chromaticity": True,
                                           "max-nits": 1000.0, "min-nits": 0.01}, "light": [1000, 400]}},
        "reading": {"layout": "yuv420", "matrix": "bt709", "transfer": "sdr", "tone-map": "natural", "alpha": False, "fields": True},
        "clips": [{"in": 0, "frames": 50, "still": False, "sound": True}, {"in": 5, "frames": 50, "still": True, "sound": False}],
        "music": {"bytes": 1, "modified": "2026-01-31T12:00:00Z", "head": "0123456789abcdef"}, "seams": [10],
        "parts": [{"first": 0, "frames": 40}, {"first": 40, "frames": 50}],
        "edit": {"tumblewash": 1, "clips": [{"file": "a"}, {"file": "b"}]}}
(path / "plan").write_text(json.dumps(plan, indent=2))
(path / "receipt").write_text(json.dumps({
    "tumblewash-part": 1, "program": "tumblewash 1", "plan": digest, "edit": digest, "inputs": digest, "settings": digest, "part": 1,
    "first": 0, "frames": 40, "packets": 40, "delay": 1, "bytes": 999, "sha256": digest, "conversions": ["a: b"], "warnings": [],
    "remarks": []}))
edit = b'{"tumblewash": 1, "clips": [{"file": "a"}, {"file": "b"}]}\0'
(path / "two-clips").write_bytes(edit + numbers(64, 48, 25, 1, 90, 1, 0, 50, 5, 50, 10, 40, 50))
(path / "far").write_bytes(edit + numbers(64, 48, 30000, 1001, 2**62, 0, 0, 2**62, 1, 2**62, 2**61, 2**62))
(path / "backwards").write_bytes(edit + numbers(-64, 48, 0, 0, -90, 0, -5, -50, 5, 50, -10, -40, 90))

# The same of HEVC, whose units begin with their type in other bits, and whole clips of VP9.
path = sets
for name, coding in {"hevc": "keyint=4", "hevc-open": "keyint=4:open-gop=1:bframes=2", "hevc-layers": "temporal-layers=2"}.items():
    made = path / (name + ".mkv")
    coded = (*video, "-t", "0.6", "-c:v", "libx265", "-preset", "ultrafast", "-pix_fmt", "yuv420p", "-x265-params",
             "log-level=none:" + coding)
    subprocess.run(["ffmpeg", "-v", "quiet", "-y", *coded, str(made)], stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                   check=False)
    plain = subprocess.run(["ffmpeg", "-v", "quiet", "-i", str(made), "-c", "copy", "-f", "hevc", "-"],
                           stdin=subprocess.DEVNULL, capture_output=True, check=False).stdout
    units = [unit for unit in plain.replace(b"\0\0\0\1", b"\0\0\1").split(b"\0\0\1") if unit]
    header = b"".join(b"\0\0\1" + unit for unit in units if unit[0] >> 1 in (32, 33, 34))[:400]
    for number, unit in enumerate(units[:6]):
        (sets / ("%s-%d" % (name, number))).write_bytes(unit)
        (sets / ("%s-whole-%d" % (name, number))).write_bytes(len(header).to_bytes(2, "big") + header + b"\0\0\1" + unit)
    if made.is_file():
        (copies / name).write_bytes(made.read_bytes())
        made.unlink()
# Codecs without such units, and sound beside pictures.
tone = ("-f", "lavfi", "-i", "sine=r=48000")
for name, coding in {"vp9": ("-c:v", "libvpx-vp9", "-g", "5", "-cpu-used", "8", "-deadline", "realtime"),
                     "vp9-opus": (*tone, "-c:v", "libvpx-vp9", "-g", "5", "-cpu-used", "8", "-deadline", "realtime", "-c:a", "libopus"),
                     "aac": (*tone, "-c:v", "libx264", "-preset", "ultrafast", "-pix_fmt", "yuv420p", "-c:a", "aac", "-ac", "2"),
                     "ffv1": ("-c:v", "ffv1", "-level", "3", "-g", "4", "-pix_fmt", "yuv420p"),
                     "mjpeg": ("-c:v", "mjpeg", "-q:v", "20", "-pix_fmt", "yuvj420p"),
                     "dnxhr": ("-s", "256x120", "-c:v", "dnxhd", "-profile:v", "dnxhr_lb", "-pix_fmt", "yuv422p")}.items():
    made = path / (name + ".mkv")
    subprocess.run(["ffmpeg", "-v", "quiet", "-y", *video, *coding, "-t", "0.6", str(made)], stdin=subprocess.DEVNULL, check=False)
    if made.is_file():
        (copies / name).write_bytes(made.read_bytes())
        made.unlink()

# Profiles as packages and libraries ship them; the long tables of presses are left to the long form.
path = seeds("profiles")
found = [file for where in ("/usr/share/color/icc", "/usr/share/ghostscript") if pathlib.Path(where).is_dir()
         for file in sorted(pathlib.Path(where).rglob("*.icc"))]
for number, file in enumerate(found):
    if file.stat().st_size <= 65536:
        shutil.copy(file, path / ("%02d.icc" % number))


def profile(space, connection, kind, tags):
    """A profile of version 2.1 with these tags, which lie one after the other."""
    table, body = b"", b""
    for name, content in tags:
        content += bytes(-len(content) % 4)
        table += name + (132 + 12 * len(tags) + len(body)).to_bytes(4, "big") + len(content).to_bytes(4, "big")
        body += content
    head = (132 + len(table) + len(body)).to_bytes(4, "big") + bytes(4) + b"\x02\x10\0\0" + kind + space + connection
    head += bytes(12) + b"acsp" + bytes(28) + bytes.fromhex("0000f6d6000100000000d32d") + bytes(48)
    return head + len(tags).to_bytes(4, "big") + table + body


def xyz(*numbers):
    return b"XYZ " + bytes(4) + b"".join(round(n * 65536).to_bytes(4, "big", signed=True) for n in numbers)


def table(inputs, points):
    """A lut8Type: curves, points, curves."""
    grid = bytes((i * 37) % 256 for i in range(3 * points ** inputs))
    unit = b"".join((65536 if i % 4 == 0 else 0).to_bytes(4, "big") for i in range(9))
    return b"mft1" + bytes(4) + bytes((inputs, 3, points, 0)) + unit + bytes(range(256)) * inputs + grid + bytes(range(256)) * 3


gamma = b"curv" + bytes(4) + (1).to_bytes(4, "big") + (0x0233).to_bytes(2, "big")
steps = b"curv" + bytes(4) + (16).to_bytes(4, "big") + b"".join((i * i * 291).to_bytes(2, "big") for i in range(16))
name = b"desc" + bytes(4) + (5).to_bytes(4, "big") + b"wide\0" + bytes(78)
shaper = [(b"desc", name), (b"wtpt", xyz(0.9642, 1, 0.8249)), (b"rXYZ", xyz(0.61, 0.311, 0.0195)),
          (b"gXYZ", xyz(0.205, 0.6256, 0.0609)), (b"bXYZ", xyz(0.149, 0.063, 0.745))]
(path / "rgb.icc").write_bytes(profile(b"RGB ", b"XYZ ", b"mntr", [*shaper, *((t, gamma) for t in (b"rTRC", b"gTRC", b"bTRC"))]))
(path / "rgb-steps.icc").write_bytes(profile(b"RGB ", b"XYZ ", b"mntr", [*shaper, *((t, steps) for t in (b"rTRC", b"gTRC", b"bTRC"))]))
(path / "grey.icc").write_bytes(profile(b"GRAY", b"XYZ ", b"mntr", [(b"desc", name), (b"wtpt", xyz(0.9642, 1, 0.8249)), (b"kTRC", steps)]))
(path / "table.icc").write_bytes(profile(b"RGB ", b"Lab ", b"scnr", [(b"desc", name), (b"A2B0", table(3, 3))]))
(path / "ink.icc").write_bytes(profile(b"CMYK", b"Lab ", b"prtr", [(b"desc", name), (b"A2B0", table(4, 2))]))
(path / "link.icc").write_bytes(profile(b"RGB ", b"RGB ", b"link", [(b"desc", name), (b"A2B0", table(3, 2))]))

# HEIC by libheif's own tool, AVIF by ffmpeg: plain, deep, with alpha, with an EXIF block, and a sequence.
path = seeds("heif")
made = folder / "heif-pictures"
made.mkdir(exist_ok=True)
pictures = {"rgb.png": still, "alpha.png": clear, "grey.png": (*still, "-pix_fmt", "gray"), "deep.png": (*still, "-pix_fmt", "rgb48be")}
for name, arguments in pictures.items():
    subprocess.run(["ffmpeg", "-v", "quiet", "-y", *arguments, str(made / name)], stdin=subprocess.DEVNULL, check=False)
av1 = ("-c:v", "libaom-av1", "-cpu-used", "8")
for name, arguments in {"a.avif": (*still, *av1), "b.avif": (*still, *av1, "-pix_fmt", "gbrp"), "d.avif": (*few, *av1),
                        "c.avif": (*still, *av1, "-pix_fmt", "yuv444p10le")}.items():
    subprocess.run(["ffmpeg", "-v", "quiet", "-y", *arguments, str(path / name)], stdin=subprocess.DEVNULL, check=False)
if shutil.which("heif-enc"):
    for name, arguments in {"e.heic": ["rgb.png"], "f.heic": ["alpha.png"], "g.heic": ["grey.png"], "h.heic": ["-b", "10", "deep.png"],
                            "i.avif": ["-A", "alpha.png"], "j.heic": ["-p", "chroma=444", "rgb.png"]}.items():
        subprocess.run(["heif-enc", *arguments[:-1], str(made / arguments[-1]), "-o", str(path / name)],
                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)
shutil.rmtree(made)

(folder / "made").write_text("made\n")
