"""One fuzz target as a test: 20 seconds, or half an hour with TUMBLEWASH_LONG=1.
    run_fuzz.py PROGRAM CORPUS LIBFUZZER [FLAG...]
A finding fails the test; its input is named.
"""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

program, corpus, by_library = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2]), sys.argv[3] == "1"
seconds = 1800 if os.environ.get("TUMBLEWASH_LONG") == "1" else int(os.environ.get("TUMBLEWASH_FUZZ_SECONDS", "20"))

with tempfile.TemporaryDirectory(prefix="tumblewash-fuzz-") as folder:
    if by_library:
        # New inputs go to the first folder, the seeds stay as they are.
        found = pathlib.Path(folder) / "found"
        found.mkdir()
        command = [program, "-max_total_time=%d" % seconds, "-timeout=60", "-rss_limit_mb=3072", "-max_len=8192",
                   "-print_final_stats=1", *sys.argv[4:], str(found), corpus]
    else:
        command = [program, "-seconds=%d" % seconds, corpus]
    done = subprocess.run(command, cwd=folder, capture_output=True, text=True, errors="replace", check=False)
    print((done.stderr + done.stdout)[-6000:])
    if done.returncode != 0:
        kept = pathlib.Path(os.getcwd()) / "fuzz-findings"
        kept.mkdir(exist_ok=True)
        for file in pathlib.Path(folder).iterdir():
            if file.is_file():
                target = kept / (os.path.basename(program) + "-" + file.name)
                shutil.copy(file, target)
                print("the input is kept as", target)
    sys.exit(1 if done.returncode else 0)
