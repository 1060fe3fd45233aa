#!/usr/bin/env python3
"""Draws when each part of a plan was rendered: submits it, watches its folder, and writes a picture as SVG.

usage: timeline.py PROGRAM show.plan.json [--engine local|parallel|slurm] [--jobs N] -o timeline.svg

The engine slurm runs on a cluster of two nodes of one processor each, started on this machine for the time of the run
(slurm-wlm and munge must be installed). What was rendered before is rendered again; movie and parts are removed at the end."""
import argparse
import contextlib
import pathlib
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tests" / "farm"))
import cluster

LEFT, WIDTH, ROW, TOP = 70, 700, 22, 34


def watched(command, folder, movie, environment):
    """Seconds since the start at which each part began and ended, and the movie stood there."""
    begun, ended = {}, {}
    start = time.monotonic()
    child = subprocess.Popen(command, env=environment, stdout=subprocess.DEVNULL)
    while True:
        now = time.monotonic() - start
        for file in folder.glob("*.running"):
            begun.setdefault(file.stem, now)
        for file in folder.glob("*.json"):
            begun.setdefault(file.stem, now)
            ended.setdefault(file.stem, now)
        if child.poll() and child.returncode != 0:
            sys.exit("submit failed")
        if child.poll() is not None and movie.exists():
            return begun, ended, now
        time.sleep(0.02)


def lanes(begun, ended):
    """Parts in rows that stand for places to work at: each into the first that is free."""
    rows = []
    for part in sorted(begun, key=begun.get):
        for row in rows:
            if ended[row[-1]] <= begun[part] + 0.05:
                row.append(part)
                break
        else:
            rows.append([part])
    return rows


def drawing(begun, ended, whole, title):
    rows = lanes(begun, ended)
    height = TOP + ROW * (len(rows) + 1) + 40
    step = next(s for s in (1, 2, 5, 10, 20, 30, 60, 120, 300, 600, 1800) if whole / s <= 12)
    at = lambda seconds: LEFT + WIDTH * seconds / whole
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {LEFT + WIDTH + 40} {height}" font-family="sans-serif" font-size="12">',
           f'<rect width="100%" height="100%" fill="#fff"/><text x="10" y="18">{title}</text>']
    for k in range(int(whole / step) + 1):
        x = at(k * step)
        out.append(f'<path d="M{x:.1f} {TOP}V{height - 24}" stroke="#ddd"/>'
                   f'<text x="{x:.1f}" y="{height - 8}" text-anchor="middle" fill="#555">{k * step} s</text>')

    def bar(row, first, last, words, colour):
        y = TOP + row * ROW
        out.append(f'<rect x="{at(first):.1f}" y="{y + 2}" width="{max(1, at(last) - at(first)):.1f}" height="{ROW - 5}" rx="2" '
                   f'fill="{colour}"/><text x="{(at(first) + at(last)) / 2:.1f}" y="{y + 15}" text-anchor="middle">{words}</text>')

    for number, row in enumerate(rows):
        out.append(f'<text x="{LEFT - 8}" y="{TOP + number * ROW + 15}" text-anchor="end" fill="#555">job {number + 1}</text>')
        for part in row:
            name = part.removeprefix("part-").lstrip("0")
            bar(number, begun[part], ended[part], name, "#f2c572" if part == "sound" else "#9cc4e4")
    out.append(f'<text x="{LEFT - 8}" y="{TOP + len(rows) * ROW + 15}" text-anchor="end" fill="#555">merge</text>')
    bar(len(rows), max(ended.values()), whole, "", "#b5d9a5")
    return "\n".join(out) + "\n</svg>\n"


def main():
    reader = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    reader.add_argument("program")
    reader.add_argument("plan", type=pathlib.Path)
    reader.add_argument("--engine", default="local", choices=("local", "parallel", "slurm"))
    reader.add_argument("--jobs", type=int, default=2)
    reader.add_argument("-o", "--output", type=pathlib.Path, required=True)
    options = reader.parse_args()
    with tempfile.TemporaryDirectory(prefix="tw-line-") as name, contextlib.ExitStack() as stack:
        environment = None
        if options.engine == "slurm":
            if cluster.missing():
                sys.exit(f"{', '.join(cluster.missing())}: not installed; apt-get install slurm-wlm munge")
            environment = stack.enter_context(cluster.Cluster(pathlib.Path(name) / "slurm")).env
        parts, movie = pathlib.Path(name) / "parts", pathlib.Path(name) / "show.mp4"
        command = [options.program, "submit", options.plan, "--engine", options.engine, "--jobs", options.jobs,
                   "--parts-folder", parts, "-o", movie, "-q"]
        begun, ended, whole = watched([str(word) for word in command], parts, movie, environment)
    title = f"{len(begun)} jobs with the engine {options.engine}, {options.jobs} at a time: {whole:.1f} s"
    options.output.write_text(drawing(begun, ended, whole, title))
    print(f"{options.output}: {title}")


if __name__ == "__main__":
    main()
