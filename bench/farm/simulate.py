#!/usr/bin/env python3
"""How long a movie in parts takes on N machines, from part times that were measured.

usage: simulate.py TIMES.json [--machines 1,2,4,8,16,32] [--fail 0.01] [--start 0.1] [--latency 1] [--merge 0.5]
                   [--trials 200] [--seed 1] [--copies 1]

TIMES.json is a list of seconds, one for each part, or an object {"parts": [...], "sound": seconds, "merge": seconds}.
`--start` is what starting a part costs, `--latency` how long the scheduler takes to hand one out, `--fail` the chance that a
part breaks off (at a random moment) and is started again, `--copies` how often the list of parts is repeated, for films that
are longer than the one that was measured. Machines take the next part as soon as they are free; the merge follows the last
one. Prints a row for each number of machines: the median and the 95th percentile of the wall time, speed-up over one machine,
and the share of machine time that was used for parts that counted. Numbers are drawn from a generator of its own, so that the
same call prints the same table."""
import argparse
import heapq
import json
import random
import statistics
import sys


def once(parts, machines, options, draw):
    """Wall time, and the machine time that counted."""
    free = [(0.0, machine) for machine in range(machines)]
    heapq.heapify(free)
    waiting = sorted(parts, reverse=True) if options.longest_first else list(parts)
    end = useful = 0.0
    queue = [(0.0, index, seconds) for index, seconds in enumerate(waiting)]
    heapq.heapify(queue)
    while queue:
        ready, index, seconds = heapq.heappop(queue)
        at, machine = heapq.heappop(free)
        begin = max(at, ready) + options.latency
        whole = options.start + seconds
        if draw.random() < options.fail:
            broken = begin + whole * draw.random()
            heapq.heappush(queue, (broken, index, seconds))
            heapq.heappush(free, (broken, machine))
            continue
        useful += whole
        end = max(end, begin + whole)
        heapq.heappush(free, (begin + whole, machine))
    return end + options.latency + options.merge, useful


def main():
    reader = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    reader.add_argument("times")
    reader.add_argument("--machines", default="1,2,4,8,16,32")
    for name, usual in (("fail", 0.0), ("start", 0.1), ("latency", 0.0), ("merge", 0.0)):
        reader.add_argument(f"--{name}", type=float, default=usual)
    for name, usual in (("trials", 200), ("seed", 1), ("copies", 1)):
        reader.add_argument(f"--{name}", type=int, default=usual)
    reader.add_argument("--longest-first", action="store_true", help="hand out the longest parts first")
    options = reader.parse_args()
    measured = json.load(open(options.times))
    if isinstance(measured, dict):
        options.merge = options.merge or measured.get("merge", 0.0)
        parts = ([measured["sound"]] if "sound" in measured else []) + measured["parts"]
    else:
        parts = measured
    parts = parts * options.copies
    if not parts or min(parts) < 0 or not 0 <= options.fail < 1:
        sys.exit("simulate.py: give part times of 0 s or more, and a chance of failure below 1")
    draw = random.Random(options.seed)
    print(f"{len(parts)} parts, {sum(parts):.1f} s of work")
    print("machines   median s      95 %   speed-up   used")
    alone = None
    for machines in map(int, options.machines.split(",")):
        runs = [once(parts, machines, options, draw) for _ in range(options.trials if options.fail else 1)]
        walls = sorted(wall for wall, _ in runs)
        median = statistics.median(walls)
        alone = alone or median * machines
        used = statistics.mean(useful / (wall * machines) for wall, useful in runs)
        print(f"{machines:8} {median:10.1f} {walls[int(0.95 * (len(walls) - 1))]:9.1f} {alone / median:10.2f} {used:6.0%}")


if __name__ == "__main__":
    main()
