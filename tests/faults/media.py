"""Bad media, made here with fixed seeds: the program refuses or renders with a warning, and never crashes,
never takes longer than 10 s or more than 1 GiB."""
import pathlib
import random
import struct
import subprocess
import zlib

from feeding import *

def originals(folder):
    """Small whole files of the usual kinds."""
    made = []

    def make(name, *arguments):
        ffmpeg(*arguments, folder / name)
        made.append(folder / name)

    video = ("-f", "lavfi", "-i", "testsrc2=size=128x96:rate=25:duration=2")
    sound = ("-f", "lavfi", "-i", "sine=frequency=440:duration=2")
    make("h264.mp4", *video, *sound, "-c:v", "libx264", "-preset", "ultrafast", "-c:a", "aac")
    make("vp9.webm", *video, *sound, "-c:v", "libvpx-vp9", "-deadline", "realtime", "-c:a", "libopus")
    make("mpeg2.mpg", *video, *sound, "-c:v", "mpeg2video", "-c:a", "mp2")
    make("mjpeg.avi", *video, *sound, "-c:v", "mjpeg", "-c:a", "pcm_s16le")
    make("h264.mkv", *video, *sound, "-c:v", "libx264", "-preset", "ultrafast", "-c:a", "mp3")
    make("h264.ts", *video, *sound, "-c:v", "libx264", "-preset", "ultrafast", "-c:a", "aac")
    still = ("-f", "lavfi", "-i", "testsrc2=size=128x96", "-frames:v", "1")
    for name in ("still.png", "still.jpg", "still.gif", "still.bmp", "still.webp", "still.tiff"):
        make(name, *still)
    make("still.avif", *still, "-c:v", "libaom-av1", "-cpu-used", "8")
    make("moving.webp", "-f", "lavfi", "-i", "testsrc2=size=128x96:rate=10:duration=2", "-c:v", "libwebp_anim")
    return made


def truncations(path, folder, count):
    bytes_ = path.read_bytes()
    for i in range(count):
        cut = folder / ("cut" + path.suffix)
        cut.write_bytes(bytes_[:len(bytes_) * i // count])
        feed(cut, folder, "%s cut at %d of %d" % (path.name, len(bytes_) * i // count, len(bytes_)))
        cut.unlink()


def flips(path, folder, seeds):
    bytes_ = path.read_bytes()
    for seed in range(seeds):
        dice = random.Random(seed * 7919 + len(bytes_))
        broken = bytearray(bytes_)
        for _ in range(dice.choice((1, 4, 16, 64))):
            at = dice.randrange(len(broken)) if dice.random() < 0.5 else dice.randrange(min(len(broken), 800))
            broken[at] ^= 1 << dice.randrange(8)
        target = folder / ("flip" + path.suffix)
        target.write_bytes(broken)
        feed(target, folder, "%s with bits flipped, seed %d" % (path.name, seed))
        target.unlink()


def tails(path, folder):
    """Bytes behind a picture's end: nothing to a reader, or a warning."""
    bytes_ = path.read_bytes()
    chunks = (b"VP8X" + struct.pack("<I", 10) + bytes(10), b"ALPH" + bytes(4), b"EXIF" + struct.pack("<I", 255))
    # A GIF behind a GIF is its second picture.
    again = () if path.suffix == ".gif" else (bytes_,)
    for number, tail in enumerate((b"\xff" * 64, bytes(64), *chunks, *again)):
        longer = folder / ("tail" + path.suffix)
        longer.write_bytes(bytes_ + tail)
        run = feed(longer, folder, "%s with tail %d" % (path.name, number))
        check(run.code == 0, "refused for what follows: " + run.describe())
        longer.unlink()


def png(width, height, data=None):
    def chunk(kind, body):
        return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))

    rows = zlib.compress(b"\0" * 1000) if data is None else data
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)) +
            chunk(b"IDAT", rows) + chunk(b"IEND", b""))


def bomb(side):
    """A picture of side x side pixels in a few kilobytes."""
    packer = zlib.compressobj(9)
    row = b"\0" * (side * 3 + 1)
    return png(side, side, b"".join(packer.compress(row) for _ in range(side)) + packer.flush())


def exif_jpeg(jpeg, directory):
    """The picture with an EXIF block whose directories are as given."""
    body = b"Exif\0\0II*\0" + directory
    return jpeg[:2] + b"\xff\xe1" + struct.pack(">H", len(body) + 2) + body + jpeg[2:]


def dimensions(folder):
    sizes = [(0, 0), (1, 0), (0, 1), (1, 1), (1, 65535), (65535, 1), (0x7FFFFFFF, 0x7FFFFFFF), (0xFFFFFFFF, 1),
             (100000, 100000), (16384, 16384), (16385, 2), (2, 16385)]
    for width, height in sizes:
        path = folder / "size.png"
        path.write_bytes(png(width, height))
        feed(path, folder, "a PNG of %d x %d" % (width, height))
        header = struct.pack("<2sIHHIIiiHHIIIIII", b"BM", 1000, 0, 0, 54, 40, width & 0x7FFFFFFF,
                             -(height & 0x7FFFFFFF), 1, 24, 0, 0, 0, 0, 0, 0)[:54]
        path = folder / "size.bmp"
        path.write_bytes(header + b"\0" * 900)
        feed(path, folder, "a BMP of %d x %d" % (width, height))
    path = folder / "bomb.png"
    path.write_bytes(bomb(9000))
    feed(path, folder, "9000 x 9000 in %d bytes" % path.stat().st_size)
    path.write_bytes(bomb(14000))
    run = feed(path, folder, "14000 x 14000 in %d bytes" % path.stat().st_size)
    check(run.code == 3, "a picture beyond the limit is taken: " + run.describe())


def exif(folder, jpeg):
    loop = struct.pack("<IH", 8, 1) + struct.pack("<HHII", 0x0112, 3, 1, 6) + struct.pack("<I", 8)
    into_itself = struct.pack("<IH", 8, 1) + struct.pack("<HHII", 0x8769, 4, 1, 8) + struct.pack("<I", 8)
    far = struct.pack("<IH", 0xFFFFFFF0, 65535)
    many = struct.pack("<IH", 8, 4000) + struct.pack("<HHII", 0x0112, 3, 0xFFFFFFFF, 6) * 4000
    for number, directory in enumerate((loop, into_itself, far, many, b"", b"\xff" * 64)):
        path = folder / "exif.jpg"
        path.write_bytes(exif_jpeg(jpeg, directory))
        feed(path, folder, "EXIF %d" % number)
    for orientation in range(0, 12):
        block = struct.pack("<IH", 8, 1) + struct.pack("<HHII", 0x0112, 3, 1, orientation) + struct.pack("<I", 0)
        path = folder / "exif.jpg"
        path.write_bytes(exif_jpeg(jpeg, block))
        run = feed(path, folder, "orientation %d" % orientation)
        check(run.code == 0, "orientation %d is refused: %s" % (orientation, run.describe()))


def timestamps(folder):
    """Clocks that jump, run backwards or stand still, and streams that change size or rate half way."""
    source = folder / "clock.mkv"
    clocks = {"jumps": "setpts=if(gte(N\\,20)\\,PTS+1e9\\,PTS)", "still": "setpts=5",
              "random": "setpts=random(1)*1e6", "far": "setpts=PTS+9e12", "negative": "setpts=PTS-1e7"}
    for name, clock in clocks.items():
        made = subprocess.run(["ffmpeg", "-v", "quiet", "-y", "-f", "lavfi", "-i",
                               "testsrc2=size=64x48:rate=25:duration=2", "-vf", clock, "-fps_mode", "passthrough",
                               "-c:v", "mjpeg", "-copyts", str(source)], stdin=subprocess.DEVNULL, check=False)
        if made.returncode == 0 or source.exists():
            feed(source, folder, "clock " + name)
    # Two transport streams of different size, rate and sound, one behind the other.
    parts = []
    for index, (size, rate, tone) in enumerate((("64x48", 25, 44100), ("320x240", 50, 22050), ("96x96", 10, 48000))):
        part = folder / ("part%d.ts" % index)
        ffmpeg("-f", "lavfi", "-i", "testsrc2=size=%s:rate=%d:duration=1" % (size, rate), "-f", "lavfi", "-i",
               "sine=duration=1:sample_rate=%d" % tone, "-c:v", "mpeg2video", "-c:a", "mp2", part)
        parts.append(part.read_bytes())
    changing = folder / "changing.ts"
    for order in ((0, 1), (1, 0), (0, 1, 2), (2, 1, 0)):
        changing.write_bytes(b"".join(parts[i] for i in order))
        run = feed(changing, folder, "changing stream %s" % (order,))
        check(run.code == 0, "a stream that changes is refused: " + run.describe())
    mjpeg = b""
    for size in ("64x48", "128x96", "16x200"):
        part = folder / "p.mjpeg"
        ffmpeg("-f", "lavfi", "-i", "testsrc2=size=%s:rate=25:duration=1" % size, "-c:v", "mjpeg", part)
        mjpeg += part.read_bytes()
    (folder / "sizes.mjpeg").write_bytes(mjpeg)
    feed(folder / "sizes.mjpeg", folder, "pictures of three sizes")


with Workshop() as folder:
    files = originals(folder)
    # Under sanitizers, where a run takes many times as long, the short form takes samples.
    for path in files:
        if LONG or (path.name == "h264.mp4" and not SANITIZED):
            truncations(path, folder, 100)
        else:
            truncations(path, folder, 3 if SANITIZED else 8)
        flips(path, folder, 60 if LONG else 2 if SANITIZED else 6)
    for path in files:
        if path.name.startswith("still"):
            tails(path, folder)
    dimensions(folder)
    exif(folder, (folder / "still.jpg").read_bytes())
    timestamps(folder)
    finish("%d bad files: %d refused, %d rendered with a warning, %d rendered; at most %.1f s and %d MiB"
           % (sum(counts.values()), counts["refused"], counts["warned"], counts["silent"], worst["seconds"],
              worst["bytes"] >> 20))
