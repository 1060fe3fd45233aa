"""GStreamer with the frei0r files of this build: the element is there and gives the program's pixels."""
import hosts
from hosts import FILTERS, MIXERS, alphas, worst


def element(effect):
    return ("frei0r-mixer-tumblewash-" if effect in MIXERS else "frei0r-filter-tumblewash-") + effect


def every_variant_is_an_element(bench):
    text = hosts.run("gst-inspect-1.0", "frei0r", env=bench.env)
    for effect in MIXERS + FILTERS:
        assert element(effect) + ":" in text, f"{element(effect)} is missing:\n{text}"


def mixers_equal_the_program(bench):
    for name, picture in (("a.raw", bench.a), ("b.raw", bench.b)):
        with open(bench.path(name), "wb") as file:
            file.write(picture[2])
    size = len(bench.a[2])
    parse = f"rawvideoparse format=rgba width={bench.width} height={bench.height} framerate=25/1"

    def source(name):
        return ["filesrc", "location=" + bench.path(name), f"blocksize={size}", "!", *parse.split(), "!"]

    for effect in MIXERS:
        for k in (0, 4, 11, 16):
            out = bench.path("gst.raw")
            hosts.run("gst-launch-1.0", "-q", element(effect), "name=m", f"position={k / 16}", "!", "filesink",
                      "location=" + out, *source("a.raw"), "m.sink_0", *source("b.raw"), "m.sink_1", env=bench.env)
            got = bench.width, bench.height, open(out, "rb").read()
            assert len(got[2]) == size, f"{effect}: {len(got[2])} bytes"
            if k in (0, 16):
                assert got[2] == (bench.a if k == 0 else bench.b)[2], f"{effect}: the ends are not the clips"
                continue
            wanted = bench.frame(effect, k - 1 if effect == "morph" else k, 16)
            assert worst(got, wanted) == 0 and set(alphas(got)) == {255}, f"{effect} at {k}/16"


if __name__ == "__main__":
    hosts.main({test.__name__: test for test in (every_variant_is_an_element, mixers_equal_the_program)})
