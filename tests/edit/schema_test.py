#!/usr/bin/env python3
"""Holds documents and the schema to each other: what the program writes passes, what it refuses for its shape fails.

usage: schema_test.py PROGRAM TREE"""
import json
import pathlib
import subprocess
import sys
import tempfile

import jsonschema

program, tree = sys.argv[1], pathlib.Path(sys.argv[2])
schema = json.loads(subprocess.run([program, "--generate", "schema"], capture_output=True, check=True).stdout)
jsonschema.Draft202012Validator.check_schema(schema)
validator = jsonschema.Draft202012Validator(schema)
page = (tree / "docs" / "edit-format.md").read_text()
whole = json.loads(page.split("```json\n")[1].split("```")[0])
A, B = ["pattern:%s?size=64x48&seconds=1" % name for name in ("harbour", "city")]


def render(document, folder):
    """The program's exit code and words for a document; an edit of drawn scenes needs no file."""
    file = pathlib.Path(folder) / "x.edit.json"
    file.write_text(json.dumps(document))
    run = subprocess.run([program, "plan", str(file)], capture_output=True, text=True)
    return run.returncode, run.stderr


def changed(change):
    document = json.loads(json.dumps(whole))
    change(document)
    return document


def put(*path, value):
    def change(document):
        at = document
        for part in path[:-1]:
            at = at[part]
        at[path[-1]] = value
    return change


WRONG = [
    put("tumblewash", value=2), put("tumblewash", value="1"), put("clips", value=[]), put("clips", value={}),
    put("colour", value=1), put("title", value=1), put("chapters", value="yes"), put("sound", value="loud"),
    put("channels", value="quad"), put("loudness", value="16"), put("loudness", value=-16), put("limiter", value="no"),
    put("music", value="song.mp3"), put("music", value={}), put("music", value={"file": "a", "duck": "-3dB"}),
    put("music", value={"file": "a", "gain": 6}), put("clips", 0, "gain", value=3), put("clips", 2, "gain", value="3dB"),
    put("hold", value=3), put("still", value=4), put("still", value="4 s"), put("output", value=[]), put("output", "size", value="1280"),
    put("output", "rate", value="fast"), put("output", "fit", value="covers"), put("output", "crf", value=64),
    put("output", "crf", value=1.5), put("output", "preset", value="turbo"), put("seams", "effect", value="fade"),
    put("output", "codec", value="h265"), put("output", "depth", value=9), put("output", "depth", value="10"),
    put("output", "hdr", value="hlg"), put("output", "toneMap", value="soft"), put("output", "copyBodies", value="sometimes"), put("output", "tone-map", value="white"),
    put("seams", "speed", value=0.5), put("seams", "seed", value=-1), put("seams", "seed", value=1 << 32),
    put("seams", value={"duration": "1s", "speed": "1"}), put("seams", "direction", value="north"),
    put("opening", value="wash-in"), put("clips", 0, value="A.mp4"), put("clips", 0, value={}),
    put("clips", 0, "black", value="1s"), put("clips", 0, "file", value=""), put("clips", 0, "file", value="a\0b"),
    put("clips", 0, "in", value=5), put("clips", 0, "ouy", value="5s"), put("clips", 2, "in", value="1s"),
    put("clips", 2, "was", value={}), put("clips", 0, "was", value={"bytes": 1}),
    put("clips", 0, "was", value={"bytes": 1, "modified": "now", "head": "0" * 16}),
    put("clips", 0, "was", value={"bytes": 1, "modified": "2026-01-31T12:00:00Z", "head": "0"}),
]

faults = 0
with tempfile.TemporaryDirectory() as folder:
    for words in ([A, B], [A, "black:1s", B, "--effect", "shuffle", "--duration", "4f,6f", "--chapters"],
                  [A, B, "--opening", "wash-in", "--closing", "tilt-out", "--size", "64x48", "--fps", "29.97", "--seed",
                   "7", "--crf", "30", "--preset", "slow", "--still", "500ms", "--title", "t", "--comment", "c"],
                  [A, B, "--codec", "ffv1", "--depth", "10", "--hdr", "keep", "--tone-map", "white", "--alpha"],
                  [A, B, "--hold", "1s", "--channels", "mono", "--loudness", "-16LUFS", "--no-limiter", "--audio", "natural",
                   "--fit", "blur"],
                  [A, B, "--speed", "0.05"]):
        written = pathlib.Path(folder) / "w.edit.json"
        run = subprocess.run([program, "plan", *words, "-o", str(written), "-f"], capture_output=True, text=True)
        if run.returncode != 0:
            print(words, run.stderr)
            faults += 1
            continue
        for error in validator.iter_errors(json.loads(written.read_text())):
            print("the program wrote what the schema refuses:", words, error.message)
            faults += 1
    if list(validator.iter_errors(whole)):
        print("the example of the page is refused by the schema")
        faults += 1
    for number, change in enumerate(WRONG):
        document = changed(change)
        code, words = render(document, folder)
        if code != 2:
            print("wrong document", number, "gave", code, words)
            faults += 1
        if validator.is_valid(document):
            print("wrong document", number, "passes the schema:", words)
            faults += 1
print(len(WRONG), "wrong documents,", faults, "faults")
sys.exit(1 if faults else 0)
