#!/usr/bin/env python3
"""Sums what gcov says of the lines and branches of some rooms over every object of a build.

usage: coverage.py ROOT BUILD LEAST ROOM...
Prints each file with its share and the lines that no test ran, then each room's lines and branches; fails where a
room's lines stay below LEAST percent."""
import collections
import concurrent.futures
import json
import os
import pathlib
import subprocess
import sys


def said_of(data):
    """gcov's documents about one object."""
    output = subprocess.run(["gcov", "--json-format", "--branch-probabilities", "--stdout", str(data)], cwd=data.parent,
                            check=True, capture_output=True, text=True).stdout
    return [json.loads(document) for document in output.splitlines() if document]


def counts(root, build, rooms):
    """file -> line -> times run, and file -> (line, number) -> times taken, added up over all objects: a template's
    line is in many of them. Branches that only an exception takes are left out."""
    lines, branches = collections.defaultdict(collections.Counter), collections.defaultdict(collections.Counter)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for documents in pool.map(said_of, sorted(build.rglob("*.gcda"))):
            for report in documents:
                for entry in report["files"]:
                    name = os.path.relpath(
                        os.path.normpath(os.path.join(report["current_working_directory"], entry["file"])), root)
                    if name.split(os.sep)[0] not in rooms:
                        continue
                    for line in entry["lines"]:
                        lines[name][line["line_number"]] += line["count"]
                        ways = [way for way in line["branches"] if not way["throw"]]
                        for number, way in enumerate(ways):
                            branches[name][line["line_number"], number] += way["count"]
    return lines, branches


def share(counter):
    """How many of the counted were met, and all."""
    return sum(count > 0 for count in counter.values()), len(counter)


def percent(met, of):
    return 100 * met / of if of else 100.0


def main(root, build, least, rooms):
    lines, branches = counts(root, build, rooms)
    short = []
    for room in rooms:
        names = sorted(name for name in lines if name.split(os.sep)[0] == room)
        if not names:
            sys.exit(f"no coverage data of {room}: did its tests run?")
        for name in names:
            missed = sorted(number for number, count in lines[name].items() if count == 0)
            print(f"{name:44} {percent(*share(lines[name])):6.1f} %  {' '.join(map(str, missed))}")
        of_lines, of_branches = ([sum(column) for column in zip(*(share(table[name]) for name in names))]
                                 for table in (lines, branches))
        print(f"{room}: {of_lines[0]} of {of_lines[1]} lines, {percent(*of_lines):.1f} %; "
              f"{of_branches[0]} of {of_branches[1]} branches, {percent(*of_branches):.1f} %\n")
        if percent(*of_lines) < least:
            short.append(room)
    if short:
        sys.exit(f"below {least:g} % of lines: {' '.join(short)}")


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve(), float(sys.argv[3]), sys.argv[4:])
