#!/usr/bin/env python3
"""Sums what gcov says of ImageLib's lines over every object of a build.

usage: coverage.py ROOT BUILD LEAST
Prints each file with its share and the lines that no test ran, then the total; fails below LEAST percent."""
import collections
import json
import os
import pathlib
import subprocess
import sys


def counts(root, build):
    """file -> line -> times run, added up over all objects (a template's line is in many of them)."""
    lines = collections.defaultdict(collections.Counter)
    for data in build.rglob("*.gcda"):
        said = subprocess.run(["gcov", "--json-format", "--stdout", str(data)], cwd=data.parent, check=True,
                              capture_output=True, text=True).stdout
        for document in filter(None, said.splitlines()):
            report = json.loads(document)
            for entry in report["files"]:
                name = os.path.normpath(os.path.join(report["current_working_directory"], entry["file"]))
                if name.startswith(f"{root}/ImageLib/"):
                    for line in entry["lines"]:
                        lines[os.path.relpath(name, root)][line["line_number"]] += line["count"]
    return lines


def main(root, build, least):
    run = total = 0
    for name, lines in sorted(counts(root, build).items()):
        missed = sorted(number for number, count in lines.items() if count == 0)
        run += len(lines) - len(missed)
        total += len(lines)
        print(f"{name:44} {100 * (1 - len(missed) / len(lines)):6.1f} %  {' '.join(map(str, missed))}")
    if total == 0:
        sys.exit("no coverage data: did the tests run?")
    print(f"ImageLib: {run} of {total} lines, {100 * run / total:.1f} %")
    sys.exit(100 * run / total < least)


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve(), float(sys.argv[3]))
