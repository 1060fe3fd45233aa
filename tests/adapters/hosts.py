"""Real hosts around the plug-in files: small pictures in, melt and GStreamer as users start them, pixels out.

Standard library only. A picture is (width, height, bytes) with red, green, blue, alpha, top row first.
"""
import os
import struct
import subprocess
import sys
import tempfile
import zlib

# Every variant with the host service it becomes: mixers join two clips, filters work on one.
MIXERS = ["morph", "wash-away", "wash-reveal", "tilt-away", "tilt-reveal", "tumble-away", "tumble-reveal"]
FILTERS = ["wash-out", "wash-in", "tilt-out", "tilt-in", "tumble-out", "tumble-in"]


def service(effect):
    return "frei0r.tumblewash_" + effect.replace("-", "_")


def scene(which, width, height, alpha=None):
    """Two scenes that differ everywhere and have detail to match."""
    out = bytearray()
    for y in range(height):
        for x in range(width):
            checker = (x // 7 + y // 5 + which) % 2 == 0
            out += bytes((40 + x * 200 // width if which == 0 else 220,
                          200 if checker else 60 + y * 100 // height,
                          30 if which == 0 else (x * 3 + y * 5) % 256,
                          255 if alpha is None else alpha(x, y)))
    return width, height, bytes(out)


def write_png(path, picture):
    width, height, rgba = picture
    rows = b"".join(b"\0" + rgba[y * width * 4:(y + 1) * width * 4] for y in range(height))

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    with open(path, "wb") as file:
        file.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 6, 0, 0, 0)) +
                   chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


def read_png(path):
    """Reads 8-bit PNG pictures with three or four channels; three become opaque."""
    data = open(path, "rb").read()
    at, packed, header = 8, b"", None
    while at < len(data):
        size, kind = struct.unpack(">I4s", data[at:at + 8])
        body = data[at + 8:at + 8 + size]
        at += 12 + size
        if kind == b"IHDR":
            header = struct.unpack(">IIBBBBB", body)
        if kind == b"IDAT":
            packed += body
    width, height, depth, colour = header[:4]
    assert depth == 8 and colour in (2, 6) and header[6] == 0, f"{path}: {header}"
    step = 4 if colour == 6 else 3
    raw, stride, rows = zlib.decompress(packed), width * step, []
    previous = bytearray(stride)
    for y in range(height):
        method = raw[y * (stride + 1)]
        row = bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
        for i in range(stride):
            left = row[i - step] if i >= step else 0
            up = previous[i]
            corner = previous[i - step] if i >= step else 0
            if method == 1:
                guess = left
            elif method == 2:
                guess = up
            elif method == 3:
                guess = (left + up) // 2
            elif method == 4:
                p = left + up - corner
                guess = min((abs(p - left), 0, left), (abs(p - up), 1, up), (abs(p - corner), 2, corner))[2]
            else:
                guess = 0
            row[i] = (row[i] + guess) & 255
        rows.append(bytes(row))
        previous = row
    if step == 3:
        rows = [b"".join(row[i:i + 3] + b"\xff" for i in range(0, stride, 3)) for row in rows]
    return width, height, b"".join(rows)


def run(*words, env=None, good=(0,), timeout=240):
    done = subprocess.run([str(word) for word in words], env=env, stdin=subprocess.DEVNULL, timeout=timeout,
                          capture_output=True, text=True, errors="replace", check=False)
    assert done.returncode in good, f"{words}: {done.returncode}\n{done.stdout}\n{done.stderr}"
    return done.stdout


class Bench:
    """A folder with two pictures in it, and the programs that look at them."""

    def __init__(self, plugins, program, width=96, height=64):
        self.keep = tempfile.TemporaryDirectory(prefix="tumblewash-hosts-")
        self.folder = self.keep.name
        self.program = program
        self.build = os.path.dirname(plugins)
        self.width, self.height = width, height
        self.env = dict(os.environ, FREI0R_PATH=plugins, HOME=self.folder, LC_ALL="C",
                        GST_REGISTRY=self.path("gstreamer.bin"))
        # Two frei0r folders and a preloaded sanitizer would both be somebody else's test.
        self.env.pop("MLT_FREI0R_PLUGIN_PATH", None)
        self.a, self.b = scene(0, width, height), scene(1, width, height)
        write_png(self.path("a.png"), self.a)
        write_png(self.path("b.png"), self.b)
        with open(self.path("profile"), "w", encoding="ascii") as file:
            file.write(f"description=test\nframe_rate_num=25\nframe_rate_den=1\nwidth={width}\nheight={height}\n"
                       "progressive=1\nsample_aspect_num=1\nsample_aspect_den=1\n"
                       f"display_aspect_num={width}\ndisplay_aspect_den={height}\ncolorspace=709\n")

    def path(self, name):
        return os.path.join(self.folder, name)

    def melt(self, name, *words, real_time=0):
        """Renders with melt into numbered pictures without any YCbCr step; gives their file names."""
        # On a busy machine melt 7.12 now and then ends at once, content and without a single picture: about one of
        # two hundred renderings of a lone PNG picture without any module of ours. With threads it may wait for ever
        # when all of them have ended: 3 of 38 joins with its own luma. Such runs say nothing.
        for _ in range(5):
            # Pictures of an earlier rendering must not stand in for those of one that made none.
            for file in self.pictures(name):
                os.remove(file)
            try:
                run("melt", "-silent", "-profile", self.path("profile"), *words, "-consumer",
                    "avformat:" + self.path(name + "%04d.png"), "f=image2", "vcodec=png", "pix_fmt=rgba",
                    "mlt_image_format=rgba", "an=1", f"real_time={real_time}", env=self.env, timeout=60)
            except subprocess.TimeoutExpired:
                continue
            files = self.pictures(name)
            if files:
                return files
        return []

    def pictures(self, name):
        """The numbered pictures of a rendering. The first number is melt's affair: only the order counts."""
        return sorted(self.path(entry) for entry in os.listdir(self.folder)
                      if entry.startswith(name) and entry[len(name):-4].isdigit())

    def frame(self, effect, k, n, *options):
        """The program's own frame k of n, as it lies on black."""
        out = self.path("frame.png")
        run(self.program, "frame", self.path("a.png"), self.path("b.png"), "-o", out, "-f", "-q", "--effect", effect,
            "--frame", k, "--of", n, *options)
        return read_png(out)


def on_black(picture):
    width, height, rgba = picture
    out = bytearray(rgba)
    for i in range(0, len(out), 4):
        alpha = out[i + 3]
        for c in range(3):
            out[i + c] = (out[i + c] * alpha + 127) // 255
        out[i + 3] = 255
    return width, height, bytes(out)


def colours(picture):
    return bytes(value for i, value in enumerate(picture[2]) if i % 4 != 3)


def alphas(picture):
    return picture[2][3::4]


def worst(one, other):
    assert one[:2] == other[:2], f"{one[:2]} is not {other[:2]}"
    return max(abs(x - y) for x, y in zip(colours(one), colours(other)))


def main(tests):
    """Runs the named test: PROGRAM TEST PLUGINS TUMBLEWASH."""
    name, plugins, program = sys.argv[1:4]
    tests[name](Bench(plugins, program))
    print(f"{name}: good")
