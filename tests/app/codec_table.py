#!/usr/bin/env python3
"""Holds the table of files and codecs in docs/colour.md to what the program says of itself.

usage: codec_table.py PROGRAM TREE"""
import json
import pathlib
import re
import subprocess
import sys

program, tree = sys.argv[1], pathlib.Path(sys.argv[2])
outputs = json.loads(subprocess.run([program, "list", "--json"], capture_output=True, check=True).stdout)["outputs"]


def cell(codecs):
    return ", ".join(f"`{c['codec']}`" for c in codecs) or "-"


def row(output):
    codecs = output["codecs"]
    ten = sorted((c for c in codecs if 10 in c["depths"]), key=lambda c: not c["defaultFor10"])
    alpha = [c for c in codecs if c["alpha"]]
    words = ", ".join(f"`{c['codec']}` ({', '.join(map(str, c['alphaDepths']))} bits)" for c in alpha) or "-"
    return [f"`{output['ending']}`", cell([c for c in codecs if 8 in c["depths"]]), cell(ten), words]


wanted = [row(output) for output in outputs]
page = (tree / "docs" / "colour.md").read_text().split("## Files and codecs")[1].split("\n## ")[0]
written = [[part.strip() for part in line.strip("|").split("|")] for line in page.splitlines()
           if re.match(r"\| `\.", line)]
faults = 0 if wanted and written == wanted else 1
if faults:
    print("docs/colour.md has", *written, "and the program says", *wanted, sep="\n  ")
print(len(wanted), "kinds of file,", faults, "faults")
sys.exit(faults)
