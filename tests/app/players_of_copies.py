#!/usr/bin/env python3
"""Plays joins whose bodies are copied in the players that this machine has, each of which must be content with them.

    players_of_copies.py PROGRAM

Chromium jumps eleven times across each end of each copied stretch, backwards too, and must show the very pixels that it
shows of the clips there. mpv and VLC play to the end without a warning. A player that is not installed is named and left
out.
"""
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

PROGRAM = sys.argv[1]
FPS = 25
JUMPS = (-1, 0, 1, -14, 13, -2, 3, 24, -24, 2, -7)
# Only against hanging: this takes seconds.
LIMIT = 900
CLIPS = {
    "a": ("testsrc2", "keyint=15:scenecut=0"),
    "b": ("testsrc", "keyint=12:scenecut=0:cabac=0:slices=4:ref=2"),
}


def run(words, **more):
    return subprocess.run(words, check=False, timeout=LIMIT, stdin=subprocess.DEVNULL, capture_output=True, text=True, **more)


def must(words):
    result = run(words)
    if result.returncode != 0:
        sys.exit(f"{' '.join(map(str, words))} failed:\n{result.stderr}")


def make(folder):
    for name, (source, coding) in CLIPS.items():
        must(["ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", f"{source}=s=128x96:r={FPS}", "-f", "lavfi", "-i",
              "sine=r=48000", "-t", "2", "-pix_fmt", "yuv420p", "-c:v", "libx264", "-preset", "veryfast", "-x264-params", coding,
              "-c:a", "aac", folder / f"{name}.mp4"])
    must([PROGRAM, "join", folder / "a.mp4", folder / "b.mp4", folder / "a.mp4", "--duration", "8f", "-q", "-o",
          folder / "movie.mp4", "--copy-bodies=always", "--report", folder / "report.json"])
    return json.loads((folder / "report.json").read_text())


def jumps(report):
    """Frames of the movie, each with the clip and the frame of it that it was copied from."""
    clips = [pathlib.Path(clip["file"]).name for clip in report["clips"]]
    origin, first = {}, 0
    ends = []
    for one in report["copies"]["runs"]:
        if "clip" in one:
            for i in range(one["frames"]):
                origin[first + i] = (clips[one["clip"]], one["first"] + i)
        ends.append(first)
        first += one["frames"]
    found = [[end + by, *origin[end + by]] for end in ends for by in JUMPS if end + by in origin]
    if len(found) < 30 or len({one[1] for one in found}) != len(CLIPS):
        sys.exit(f"too little was copied: {report['copies']}")
    return found


def in_chromium(program, folder, report):
    wanted = jumps(report)
    (folder / "jumps.json").write_text(json.dumps(wanted))
    result = run(["node", pathlib.Path(__file__).parent / "copies_in_chromium.mjs", program, folder, str(FPS)])
    if result.returncode != 0:
        sys.exit(f"Chromium, exit {result.returncode}:\n{result.stdout}{result.stderr}")
    found = json.loads(result.stdout)
    if found["wrong"] or found["looked"] != len(wanted) or found["different"] != len({tuple(jump[1:]) for jump in wanted}):
        sys.exit(f"Chromium showed other pixels, frame of the movie, clip and its frame: {found}")
    print(f"Chromium: {len(wanted)} jumps, every picture the clips'")


def in_mpv(program, movie):
    result = run([program, "--no-config", "--vo=null", "--ao=null", "--untimed", "--msg-level=all=warn", "--no-terminal",
                  "--terminal=yes", "--really-quiet=no", movie])
    if result.returncode != 0 or result.stdout.strip() or result.stderr.strip():
        sys.exit(f"mpv, exit {result.returncode}:\n{result.stdout}{result.stderr}")
    print("mpv: played to the end without a word")


def in_vlc(program, movie):
    words = [program, "-I", "dummy", "--no-color", "--vout", "dummy", "--aout", "dummy", "--play-and-exit", movie]
    more = {}
    if os.geteuid() == 0:
        # It does not run for the system's owner.
        words = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", *words]
        movie.parent.chmod(0o755)
        more["env"] = {**os.environ, "HOME": tempfile.gettempdir()}
    result = run(words, **more)
    # Of desktops that are not there it complains everywhere.
    told = [line for line in (result.stdout + result.stderr).splitlines()
            if any(word in line for word in ("decoder", "demux", "packetizer", "avcodec"))]
    if result.returncode != 0 or told:
        sys.exit(f"VLC, exit {result.returncode}:\n{result.stdout}{result.stderr}")
    print("VLC: played to the end without a word")


def main():
    with tempfile.TemporaryDirectory(prefix="tumblewash-players-") as name:
        folder = pathlib.Path(name)
        report = make(folder)
        for player, programs in (("Chromium", ("chromium", "chromium-browser")), ("mpv", ("mpv",)), ("VLC", ("cvlc",))):
            program = next(filter(None, map(shutil.which, programs)), None)
            if program is None:
                print(f"{player} is not installed here: left out")
            elif player == "Chromium":
                in_chromium(program, folder, report)
            elif player == "mpv":
                in_mpv(program, folder / "movie.mp4")
            else:
                in_vlc(program, folder / "movie.mp4")


if __name__ == "__main__":
    main()
