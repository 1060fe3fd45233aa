#!/usr/bin/env python3
"""Plays joins whose bodies are copied in the players that this machine has, each of which must be content with them.

    players_of_copies.py PROGRAM

Chromium jumps eleven times across each end of each copied stretch, backwards too, and must show the very pixels that it
shows of the clips there. mpv and VLC play to the end without a warning. A player that is not installed is named and left
out.
"""
import functools
import http.server
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import threading

PROGRAM = sys.argv[1]
FPS = 25
JUMPS = (-1, 0, 1, -14, 13, -2, 3, 24, -24, 2, -7)
# Only against hanging: this takes seconds.
LIMIT = 900
CLIPS = {
    "a": ("testsrc2", "keyint=15:scenecut=0"),
    "b": ("testsrc", "keyint=12:scenecut=0:cabac=0:slices=4:ref=2"),
}
PAGE = """
const open = async (name) => {
  const video = document.createElement('video');
  video.muted = true;
  video.preload = 'auto';
  // A server of files alone has no jumps.
  video.src = URL.createObjectURL(await (await fetch(name)).blob());
  await new Promise((done, failed) => {
    video.onloadeddata = done;
    video.onerror = () => failed(new Error(name + ': ' + video.error.message));
  });
  return video;
};
const pixels = async (video, frame) => {
  const time = (frame + 0.5) / FPS;
  await new Promise((done, failed) => {
    video.onerror = () => failed(new Error(video.src + ': ' + video.error.message));
    video.onseeked = done;
    video.currentTime = time;
  });
  const canvas = document.createElement('canvas');
  canvas.width = video.videoWidth;
  canvas.height = video.videoHeight;
  const pen = canvas.getContext('2d');
  pen.drawImage(video, 0, 0);
  return pen.getImageData(0, 0, canvas.width, canvas.height).data;
};
(async () => {
  const videos = {};
  for (const name of [MOVIE, ...CLIPS]) videos[name] = await open(name);
  const wrong = [];
  const seen = new Set();
  for (const [frame, clip, own] of JUMPS) {
    const here = await pixels(videos[MOVIE], frame);
    const there = await pixels(videos[clip], own);
    if (here.length !== there.length || here.some((value, i) => value !== there[i])) wrong.push([frame, clip, own]);
    seen.add(here.join());
  }
  return {wrong, looked: JUMPS.length, different: seen.size};
})()
"""


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


class Chromium:
    """One browser, spoken to through two pipes."""

    def __init__(self, program, folder):
        to_read, self.write = os.pipe()
        self.read, to_write = os.pipe()
        # The browser expects them at these numbers.
        script = f'exec "$@" 3<&{to_read} 4>&{to_write}'
        self.process = subprocess.Popen(
            ["bash", "-c", script, "bash", program, "--headless=new", "--no-sandbox", "--disable-gpu", "--no-first-run",
             "--disable-dev-shm-usage", f"--user-data-dir={folder}", "--remote-debugging-pipe", "about:blank"],
            pass_fds=(to_read, to_write), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(to_read)
        os.close(to_write)
        self.held = b""
        self.number = 0

    def say(self, method, session=None, **parameters):
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters}
        if session:
            message["sessionId"] = session
        os.write(self.write, json.dumps(message).encode() + b"\0")
        while True:
            while b"\0" not in self.held:
                some = os.read(self.read, 1 << 16)
                if not some:
                    sys.exit("Chromium ended")
                self.held += some
            line, self.held = self.held.split(b"\0", 1)
            answer = json.loads(line)
            if answer.get("id") == self.number:
                if "error" in answer:
                    sys.exit(f"Chromium: {method}: {answer['error']}")
                return answer["result"]


class Handler(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *words):
        pass


def in_chromium(program, folder, report):
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), functools.partial(Handler, directory=folder))
    threading.Thread(target=server.serve_forever, daemon=True).start()
    wanted = jumps(report)
    browser = Chromium(program, folder / "profile")
    guard = threading.Timer(LIMIT, browser.process.kill)
    guard.start()
    try:
        address = f"http://127.0.0.1:{server.server_port}/"
        (folder / "page.html").write_text("<!doctype html><title>copies</title>")
        target = browser.say("Target.createTarget", url=address + "page.html")["targetId"]
        session = browser.say("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        # The page is there once it says where it is.
        while browser.say("Runtime.evaluate", session, expression="document.readyState + location.pathname")["result"][
                "value"] != "complete/page.html":
            pass
        names = sorted({jump[1] for jump in wanted})
        script = (f"const FPS = {FPS}; const MOVIE = 'movie.mp4'; const CLIPS = {json.dumps(names)}; "
                  f"const JUMPS = {json.dumps(wanted)};\n{PAGE}")
        answer = browser.say("Runtime.evaluate", session, expression=script, awaitPromise=True, returnByValue=True)
        if "exceptionDetails" in answer:
            sys.exit(f"Chromium: {answer['exceptionDetails']['exception'].get('description', answer)}")
        found = answer["result"]["value"]
        if found["wrong"] or found["looked"] != len(wanted) or found["different"] != len({tuple(jump[1:]) for jump in wanted}):
            sys.exit(f"Chromium showed other pixels, frame of the movie, clip and its frame: {found}")
        print(f"Chromium: {len(wanted)} jumps, every picture the clips'")
    finally:
        guard.cancel()
        browser.process.kill()
        browser.process.wait()
        server.shutdown()


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
