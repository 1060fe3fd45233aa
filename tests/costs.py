#!/usr/bin/env python3
"""Seconds of processor time that each test of a build takes, most first: costs.py BUILD_DIR [CTEST_OPTIONS...]

Runs the tests one after the other, as CTest would, and measures each with all that it starts."""
import json
import os
import resource
import subprocess
import sys
import time

build, options = sys.argv[1], sys.argv[2:]
shown = subprocess.run(["ctest", "--show-only=json-v1", *options], cwd=build, check=True, capture_output=True, text=True).stdout
rows, failed = [], []
for test in json.loads(shown)["tests"]:
    if "command" not in test:
        failed.append(f"{test['name']} (not built)")
        continue
    environment, folder = dict(os.environ), build
    for entry in test.get("properties", []):
        if entry["name"] == "ENVIRONMENT":
            environment.update(pair.split("=", 1) for pair in entry["value"])
        elif entry["name"] == "ENVIRONMENT_MODIFICATION":
            environment.update((name, value.removeprefix("set:")) for name, value in (pair.split("=", 1) for pair in entry["value"]))
        elif entry["name"] == "WORKING_DIRECTORY":
            folder = entry["value"]
    before, start = resource.getrusage(resource.RUSAGE_CHILDREN), time.monotonic()
    run = subprocess.run(test["command"], cwd=folder, env=environment, stdin=subprocess.DEVNULL, capture_output=True)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    rows.append((after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime, time.monotonic() - start, test["name"]))
    if run.returncode:
        failed.append(f"{test['name']} (exit {run.returncode})")
    print(f"{rows[-1][0]:8.1f} s {rows[-1][1]:8.1f} s by the clock  {test['name']}", file=sys.stderr, flush=True)
for processor, clock, name in sorted(rows, reverse=True):
    print(f"{processor:8.1f} s {clock:8.1f} s by the clock  {name}")
print(f"{sum(row[0] for row in rows):8.1f} s of processor time, {len(rows)} tests; exit codes other than 0: {', '.join(failed) or 'none'}")
