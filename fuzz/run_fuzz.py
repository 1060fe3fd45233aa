"""One fuzz target as a test: 10 seconds, or half an hour of processor time with TUMBLEWASH_LONG=1.
    run_fuzz.py PROGRAM CORPUS LIBFUZZER [FLAG...]
A finding fails the test; its input is named.
"""
import math
import os
import pathlib
import re
import resource
import shutil
import subprocess
import sys
import tempfile
import time

program, corpus, by_library = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2]), sys.argv[3] == "1"
long_form = os.environ.get("TUMBLEWASH_LONG") == "1"
seconds = int(os.environ.get("TUMBLEWASH_FUZZ_SECONDS", "1800" if long_form else "10"))
# The library counts the wall's seconds. Where others took the processor, the long form goes on with what it has found
# until it has had its own; the limit is for a machine that gives it next to nothing.
most_rounds = 12 if long_form else 1
# What docs/limits.md promises of every input holds here too.
most_seconds, most_megabytes = 10, 1024
# The sanitizer's own store of freed memory counts as the target's.
os.environ["ASAN_OPTIONS"] = ":".join(filter(None, (os.environ.get("ASAN_OPTIONS"), "quarantine_size_mb=32")))


def processor_time():
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


def number(pattern, text):
    """The last number that the library printed under this name."""
    found = re.findall(pattern, text)
    return int(found[-1]) if found else 0


executions = edges = rounds = result = 0
begun = time.monotonic()
with tempfile.TemporaryDirectory(prefix="tumblewash-fuzz-") as folder:
    # New inputs go to the first folder, the seeds stay as they are.
    found = pathlib.Path(folder) / "found"
    found.mkdir()
    while result == 0 and rounds < most_rounds and processor_time() < seconds - 1:
        left = math.ceil(seconds - processor_time())
        if by_library:
            command = [program, "-max_total_time=%d" % left, "-timeout=%d" % most_seconds,
                       "-rss_limit_mb=%d" % most_megabytes, "-max_len=8192", "-print_final_stats=1", *sys.argv[4:],
                       str(found), corpus]
        else:
            command = [program, "-seconds=%d" % left, corpus]
        done = subprocess.run(command, cwd=folder, capture_output=True, text=True, errors="replace", check=False)
        output = done.stderr + done.stdout
        print(output[-6000:])
        result = done.returncode
        rounds += 1
        executions += number(r"number_of_executed_units: (\d+)", output)
        edges = max(edges, number(r" cov: (\d+)", output))
    print("%s: %.0f s of processor time in %.0f s and %d rounds" %
          (os.path.basename(program), processor_time(), time.monotonic() - begun, rounds))
    if by_library:
        print("%s: %d executions, %d edges, %d inputs added" %
              (os.path.basename(program), executions, edges, len(list(found.iterdir()))))
    if result != 0:
        kept = pathlib.Path(os.getcwd()) / "fuzz-findings"
        kept.mkdir(exist_ok=True)
        for file in pathlib.Path(folder).iterdir():
            if file.is_file():
                target = kept / (os.path.basename(program) + "-" + file.name)
                shutil.copy(file, target)
                print("the input is kept as", target)
sys.exit(1 if result else 0)
