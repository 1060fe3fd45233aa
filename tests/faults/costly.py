"""Inputs of a few kilobytes that ask for gigabytes or minutes: each is refused in one line that says why, or rendered,
within 10 s of the processor and 1 GiB."""
import os
import struct
import sys
import zlib

from feeding import *

SHIM = os.path.abspath(sys.argv[2])
MIB = 1 << 20


def refused(path, folder, words, what):
    run = feed(path, folder, what, space=12 << 30)
    check(run.code == 3 and words in run.err, "should be refused for %r: %s" % (words, run.describe()))


def segment(marker, body):
    return bytes([0xFF, marker]) + struct.pack(">H", len(body) + 2) + body


def jpeg(side, passes):
    """A grey progressive JPEG whose passes over all pixels take 30 bytes each."""
    blocks = (side // 8) ** 2
    # Code 0 of the AC table ends the band for 2^14 blocks and as many more as the next 14 bits say.
    runs = ("0" + "1" * 14) * ((blocks + 32766) // 32767)
    bits = runs + "1" * (-len(runs) % 8)
    band = bytes(int(bits[i:i + 8], 2) for i in range(0, len(bits), 8)).replace(b"\xff", b"\xff\0")
    start = (b"\xff\xd8" + segment(0xDB, b"\0" + b"\1" * 64) +
             segment(0xC2, struct.pack(">BHHB", 8, side, side, 1) + bytes((1, 0x11, 0))) +
             segment(0xC4, bytes((0x00, 1, 1)) + bytes(14) + bytes((0, 1))) +
             segment(0xC4, bytes((0x10, 1, 1)) + bytes(14) + bytes((0xE0, 0x00))) +
             segment(0xDA, bytes((1, 1, 0, 0, 0, 0))) + bytes(blocks // 8 + 2) +
             segment(0xDA, bytes((1, 1, 0, 1, 63, 0x01))) + band)
    return start + (segment(0xDA, bytes((1, 1, 0, 1, 63, 0x10))) + band) * passes + b"\xff\xd9"


def exr(width, height):
    """Three channels of 32-bit numbers, folded."""
    def attribute(name, kind, value):
        return name + b"\0" + kind + b"\0" + struct.pack("<i", len(value)) + value

    window = struct.pack("<4i", 0, 0, width - 1, height - 1)
    channels = b"".join(c + b"\0" + struct.pack("<iB3xii", 2, 0, 1, 1) for c in (b"B", b"G", b"R")) + b"\0"
    head = (struct.pack("<II", 20000630, 2) + attribute(b"channels", b"chlist", channels) +
            attribute(b"compression", b"compression", b"\3") + attribute(b"dataWindow", b"box2i", window) +
            attribute(b"displayWindow", b"box2i", window) + attribute(b"lineOrder", b"lineOrder", b"\0") +
            attribute(b"pixelAspectRatio", b"float", struct.pack("<f", 1)) +
            attribute(b"screenWindowCenter", b"v2f", struct.pack("<2f", 0, 0)) +
            attribute(b"screenWindowWidth", b"float", struct.pack("<f", 1)) + b"\0")
    lines = 16
    count = (height + lines - 1) // lines
    folded = zlib.compress(bytes(lines * width * 12), 9)
    first = len(head) + 8 * count
    table = b"".join(struct.pack("<Q", first + i * (8 + len(folded))) for i in range(count))
    return head + table + b"".join(struct.pack("<ii", i * lines, len(folded)) + folded for i in range(count))


def atom(kind, *bodies):
    body = b"".join(bodies)
    return struct.pack(">I4s", 8 + len(body), kind) + body


def folded_header(size):
    """A QuickTime movie whose header is folded zeros."""
    packer = zlib.compressobj(9)
    chunk = packer.compress(bytes(16 * MIB)) + packer.flush(zlib.Z_FULL_FLUSH)
    # The second chunk on has no head and may be repeated; the sum at the end is reached when all is unfolded.
    again = packer.compress(bytes(16 * MIB)) + packer.flush(zlib.Z_FULL_FLUSH)
    data = chunk + again * (size // (16 * MIB) - 1) + b"\3\0" + bytes(4)
    header = atom(b"cmov", atom(b"dcom", b"zlib"), atom(b"cmvd", struct.pack(">I", size), data))
    return atom(b"ftyp", b"qt  \0\0\2\0qt  ") + atom(b"moov", header) + atom(b"mdat", bytes(100))


def index(samples):
    """An MP4 of a few hundred bytes whose tables stand for this many samples."""
    matrix = struct.pack(">9I", 0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000)
    entry = atom(b"mp4v", bytes(6), struct.pack(">H", 1), bytes(16), struct.pack(">HH", 64, 48),
                 struct.pack(">III", 0x480000, 0x480000, 0), struct.pack(">H", 1), bytes(32),
                 struct.pack(">Hh", 24, -1))
    table = atom(b"stbl", atom(b"stsd", struct.pack(">II", 0, 1), entry),
                 atom(b"stts", struct.pack(">IIII", 0, 1, samples, 1)),
                 atom(b"stsc", struct.pack(">IIIII", 0, 1, 1, samples, 1)),
                 atom(b"stsz", struct.pack(">III", 0, 1, samples)),
                 atom(b"stco", struct.pack(">III", 0, 1, 40)))
    media = atom(b"mdia", atom(b"mdhd", struct.pack(">IIIIIHH", 0, 0, 0, 25, samples, 0, 0)),
                 atom(b"hdlr", struct.pack(">II4s", 0, 0, b"vide"), bytes(13)),
                 atom(b"minf", atom(b"vmhd", struct.pack(">IQ", 1, 0)), table))
    track = atom(b"trak", atom(b"tkhd", struct.pack(">IIIIII", 3, 0, 0, 1, 0, samples), bytes(16), matrix,
                               struct.pack(">II", 64 << 16, 48 << 16)), media)
    movie = atom(b"mvhd", struct.pack(">IIIIIIH", 0, 0, 0, 25, samples, 0x10000, 0x100), bytes(10), matrix,
                 bytes(24), struct.pack(">I", 2))
    return atom(b"ftyp", b"isom\0\0\2\0isom") + atom(b"mdat", bytes(64)) + atom(b"moov", movie, track)


def element(number, *bodies):
    """One piece of Matroska; numbers as they are written."""
    body = b"".join(bodies)
    return bytes.fromhex(number) + struct.pack(">Q", len(body) | 1 << 56) + body


def folded_blocks(blocks):
    """A Matroska movie whose pictures are folded zeros, 8 MiB from 8 KiB each."""
    encoding = element("6d80", element("6240", element("5031", b"\0"), element("5034", element("4254", b"\0"))))
    track = element("ae", element("d7", b"\1"), element("73c5", b"\1"), element("83", b"\1"),
                    element("86", b"V_MJPEG"), element("e0", element("b0", b"\x40"), element("ba", b"\x30")), encoding)
    head = element("1a45dfa3", element("4282", b"matroska"), element("4287", b"\4"), element("4285", b"\2"))
    packed = zlib.compress(bytes(8 * MIB), 9)
    clusters = b"".join(
        element("1f43b675", element("e7", struct.pack(">H", 40 * i)),
                element("a3", b"\x81\0\0\x80" + packed)) for i in range(blocks))
    return head + element("18538067", element("1549a966", element("2ad7b1", b"\x0f\x42\x40")),
                          element("1654ae6b", track), clusters)


def deep_h264(folder):
    """Four pictures of 5888 x 5888, 4:4:4, 10 bits, each made from all before it; the stream alone and in an MP4."""
    raw, movie = folder / "deep.h264", folder / "deep.mp4"
    ffmpeg("-f", "lavfi", "-i", "color=red:size=5888x5888:rate=25,format=yuv444p10", "-frames:v", 4, "-c:v", "libx264",
           "-preset", "ultrafast", "-x264-params", "ref=4:keyint=1000:level=6.2", movie)
    ffmpeg("-i", movie, "-c", "copy", raw)
    return raw, movie


def gif(side):
    """Two pictures on a canvas of this size, one pixel each."""
    picture = b"\x2c" + struct.pack("<HHHHB", 0, 0, 1, 1, 0) + b"\2\2\x44\1\0"
    return (b"GIF89a" + struct.pack("<HHBBB", side, side, 0x80, 0, 0) + bytes(6) +
            (b"\x21\xf9\4" + struct.pack("<BHBB", 0, 4, 0, 0) + picture) * 2 + b"\x3b")


with Workshop() as folder:
    def written(name, data):
        path = folder / name
        path.write_bytes(data)
        return path

    refused(written("passes.jpg", jpeg(9984, 6000)), folder, "6002 passes", "thousands of passes")
    feed(written("few.jpg", jpeg(9984, 150)), folder, "152 passes", space=12 << 30)
    refused(written("floats.exr", exr(10000, 9000)), folder, "10000x9000", "90 million pixels of 12 bytes")
    refused(written("folded.mov", folded_header(1 << 30)), folder, "unfolds to 1024 MiB", "a folded header")
    feed(written("index.mp4", index(150_000_000)), folder, "150 million samples", space=12 << 30)
    feed(written("blocks.mkv", folded_blocks(600)), folder, "600 blocks of 8 MiB each", space=12 << 30)
    feed(written("canvas.gif", gif(16000)), folder, "a canvas of 16000 x 16000", space=12 << 30)
    drawing = b'<svg xmlns="http://www.w3.org/2000/svg" width="64" height="48"><rect width="9" height="9"/></svg>'
    for name in ("drawing.svg", "drawing.png"):
        refused(written(name, drawing), folder, "SVG drawing", "a drawing")
    raw, movie = deep_h264(folder)
    refused(movie, folder, "5888x5888", "deep H.264")
    refused(raw, folder, "5888x5888", "deep H.264 without a container")
    # The stream turns large behind its first pictures.
    small = folder / "small.h264"
    ffmpeg("-f", "lavfi", "-i", "testsrc2=size=64x48:rate=25:duration=1", "-c:v", "libx264", "-preset", "ultrafast", small)
    feed(written("turns.h264", small.read_bytes() + raw.read_bytes()), folder, "H.264 that turns large", space=12 << 30)
    # A decoder that never comes back: the photo is given up, and the program ends although it still runs.
    photo = folder / "photo.png"
    ffmpeg("-f", "lavfi", "-i", "testsrc2=size=64x48", "-frames:v", 1, photo)
    if not SANITIZED:
        stuck = feed(photo, folder, "a decoder that is stuck", space=12 << 30,
                     environment=dict(os.environ, LD_PRELOAD=SHIM, TUMBLEWASH_STUCK="avcodec_send_packet"))
        check(stuck.code == 3 and "8 s" in stuck.err, "should be given up: " + stuck.describe())
    finish("%d files: %d refused, %d rendered with a warning, %d rendered; at most %.1f s and %d MiB"
           % (sum(counts.values()), counts["refused"], counts["warned"], counts["silent"], worst["seconds"],
              worst["bytes"] >> 20))
