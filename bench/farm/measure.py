#!/usr/bin/env python3
"""What a movie in parts costs on this machine, as JSON that simulate.py reads.

usage: measure.py PROGRAM EDIT.edit.json [--parts 8] [-o times.json]

Renders the edit once as one process and once in parts, one after the other, and notes processor and wall time of each step:
"plan", "start" (a part that is done already: starting, reading the plan, checking clips and receipt), "parts", "sound", "merge",
and "whole", one process. Nothing is left behind but the JSON."""
import argparse
import json
import pathlib
import resource
import subprocess
import tempfile
import time


def timed(*words):
    """Wall seconds and processor seconds of a run."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    begin = time.monotonic()
    subprocess.run([str(word) for word in words], check=True, stdout=subprocess.DEVNULL)
    wall = time.monotonic() - begin
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return wall, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def main():
    reader = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    reader.add_argument("program")
    reader.add_argument("edit")
    reader.add_argument("--parts", type=int, default=8)
    reader.add_argument("-o", "--output", default="-")
    options = reader.parse_args()
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        plan, parts = folder / "show.plan.json", folder / "parts"
        cpu = {}
        result = {"processor": cpu}
        result["plan"], cpu["plan"] = timed(options.program, "plan", options.edit, "--parts", options.parts, "-o", plan, "-q")
        result["whole"], cpu["whole"] = timed(options.program, "render", options.edit, "-o", folder / "whole.mp4",
                                             "--copy-bodies=never", "-q")
        document = json.loads(plan.read_text())
        numbers = [str(k + 1) for k in range(len(document["parts"]))]
        times = [timed(options.program, "render", plan, "--part", k, "-o", f"{parts}/", "-q") for k in numbers]
        result["parts"] = [wall for wall, _ in times]
        cpu["parts"] = [seconds for _, seconds in times]
        if document["movie"]["sound"]:
            result["sound"], cpu["sound"] = timed(options.program, "render", plan, "--part", "sound", "-o", f"{parts}/", "-q")
        result["start"], cpu["start"] = timed(options.program, "render", plan, "--part", "1", "-o", f"{parts}/", "-q")
        result["merge"], cpu["merge"] = timed(options.program, "merge", plan, parts, "-o", folder / "show.mp4", "-q")
    text = json.dumps(result, indent=2) + "\n"
    if options.output == "-":
        print(text, end="")
    else:
        pathlib.Path(options.output).write_text(text)


if __name__ == "__main__":
    main()
