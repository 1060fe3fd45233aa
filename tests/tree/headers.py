#!/usr/bin/env python3
"""Every header compiles alone: headers.py ROOT BUILD|all COMPILER [FLAGS...]

A header that a source of BUILD includes before anything else was compiled alone by that build; `all` compiles those, too."""
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

ROOMS = ("memory platform hostapi ImageLib Utility pluginDistort effects host media edit farm studio app capi "
         "adapters").split()
TOGETHER = 8  # headers for one run of the compiler, each a translation unit of its own
root, build, compiler, *flags = sys.argv[1:]
root = pathlib.Path(root).resolve()


def first_include(source):
    with open(source, encoding="utf-8") as lines:
        for line in lines:
            if line.startswith("#include"):
                return re.match(r'#include\s+["<]([^">]+)', line)[1]
    return None


headers = sorted(str(path.relative_to(root)) for room in ROOMS for path in (root / room).rglob("*.h"))
if len(headers) < 50:
    sys.exit(f"only {len(headers)} headers found")
proven = set()
if build != "all":
    for unit in json.loads(pathlib.Path(build, "compile_commands.json").read_text(encoding="utf-8")):
        source = pathlib.Path(unit["directory"], unit["file"]).resolve()
        if source.is_relative_to(root) and source.relative_to(root).parts[0] in ROOMS and source.exists():
            proven.add(first_include(source))
    if not proven.intersection(headers):
        sys.exit(f"no source of {build} begins with a header of its own")
left = [header for header in headers if header not in proven]

with tempfile.TemporaryDirectory() as folder:
    stubs = []
    for header in left:
        stubs.append(os.path.join(folder, header.replace("/", "_") + ".cpp"))
        pathlib.Path(stubs[-1]).write_text(f'#include "{header}"\n', encoding="utf-8")
    command = [compiler, "-std=c++20", "-fsyntax-only", "-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Werror", f"-I{root}", *flags]
    for at in range(0, len(stubs), TOGETHER):
        if subprocess.run([*command, *stubs[at:at + TOGETHER]], cwd=root).returncode:
            sys.exit(1)
print(f"{len(left)} headers compile alone with {compiler}, {len(headers) - len(left)} did when a source was built")
