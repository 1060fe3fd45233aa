"""ffmpeg with the frei0r files of this build: the line of `ffmpeg-script` gives the join, picture by picture."""
import re
import shlex

import hosts


def lines_show_the_join(bench):
    clips = []
    for name, scene in (("A.mkv", "harbour"), ("B.mkv", "city")):
        hosts.run(bench.program, "out", f"pattern:{scene}?size=96x64&seconds=1&fps=10&sound=0", "-o", bench.path(name), "-q",
                  "--effect", "wash-out", "-d", "2f", "--crf", "0")
        clips.append(bench.path(name))
    # One more with wide pixels, between bars.
    wide = bench.path("wide.mkv")
    hosts.run("ffmpeg", "-v", "error", "-i", clips[0], "-c", "copy", "-aspect", "3:1", wide)
    tries = [(effect, clips) for effect in ("wash-away", "wash-reveal", "tilt-away", "tilt-reveal", "tumble-away", "tumble-reveal")]
    for effect, clips in [*tries, ("wash-away", [wide, clips[1]])]:
        knobs = ["--effect", effect, "--duration", "6f", "--seed", "7", "--direction", "left", "--size", "96x64"]
        line = hosts.run(bench.program, "ffmpeg-script", *clips, "-q", "-f", "-o", bench.path("seam.cmd"), *knobs)
        words = shlex.split(line)
        graph = words.index("-filter_complex") + 1
        words[graph] = words[graph].replace("format=yuv420p[v]", "format=rgba[v]")
        hosts.run(*words[:-1], "-v", "error", "-y", "-f", "rawvideo", bench.path("line.raw"), env=bench.env)
        hosts.run(bench.program, "join", *clips, "-q", "-f", "-o", bench.path("join_%03d.png"), *knobs)
        got = open(bench.path("line.raw"), "rb").read()
        size = 96 * 64 * 4
        assert len(got) == 14 * size, f"{effect}: {len(got) / size} pictures"
        for k in range(14):
            wanted = hosts.read_png(bench.path(f"join_{k + 1:03d}.png"))
            picture = got[k * size:(k + 1) * size]
            # Cut edges and borders are blended by overlay; elsewhere a filter's and a mixer's pixels are the same.
            far = sum(max(abs(picture[i + c] - wanted[2][i + c]) for c in range(3)) > 8 for i in range(0, size, 4))
            assert far <= 96 * 64 // 25, f"{effect}: {far} pixels of picture {k} differ"
        assert re.search(r"frei0r filter_params", open(bench.path("seam.cmd"), encoding="utf-8").read())


if __name__ == "__main__":
    hosts.main({test.__name__: test for test in (lines_show_the_join,)})
