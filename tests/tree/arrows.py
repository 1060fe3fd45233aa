#!/usr/bin/env python3
"""Holds every #include of the tree to the table of arrows in ARCHITECTURE.md.

usage: arrows.py ROOT
A room may include itself and what stands to its right in the table; foreign headers have one home each; no
header is reached from itself through other folders. Prints one line for each fault; 0 when there is none."""
import pathlib
import re
import sys

SUFFIXES = {".h", ".cpp"}
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.M)

# What a header outside of this tree and of the standard library is called, and the folders it may be met in.
FOREIGN = [
    (re.compile(r"^lib(av|sw)\w+/"), ["media/"]),
    (re.compile(r"^(lcms2(_plugin)?\.h$|libheif/|webp/)"), ["media/"]),
    (re.compile(r"^hwy/"), ["ImageLib/kernels/", "adapters/common/HighwayTargets.cpp"]),
    (re.compile(r"^(lapacke?|cblas|f77blas)\.h$"), ["ImageLib/source/PlanarProj.cpp"]),
    (re.compile(r"^(pango/|fontconfig/|ft2build|freetype/|glib|cairo)"), ["platform/"]),
    (re.compile(r"^frei0r\.h$"), ["adapters/frei0r/"]),
    (re.compile(r"^obs(-[\w-]+)?\.h$"), ["adapters/obs/"]),
    (re.compile(r"^ofx\w+\.h$"), ["adapters/openfx/"]),
    (re.compile(r"^CLI/"), ["app/"]),
    (re.compile(r"^(pybind11/|Python\.h$)"), ["python/"]),
    (re.compile(r"^boost/"), ["studio/HttpServer.cpp"]),
    (re.compile(r"^(fmt|nlohmann)/"), ["app/", "edit/", "farm/", "media/", "studio/"]),
    (re.compile(r"^(gtest|gmock)/"), []),
    (re.compile(r"^(opencv2|benchmark)/"), []),
]
OUTER = {"tests", "bench", "fuzz", "examples", "build"}  # may use anything; nothing may use them


def arrows(root):
    """The table: room -> rooms to its right."""
    table = {}
    for line in (root / "ARCHITECTURE.md").read_text().splitlines():
        found = re.match(r"^(\w+)\s+->\s+(.*)$", line)
        if found:
            table[found[1]] = re.sub(r"\([^)]*\)", "", found[2]).split()
    return table


def sources(root, rooms):
    for room in rooms:
        for path in sorted((root / room).rglob("*")):
            if path.suffix in SUFFIXES:
                yield room, path.relative_to(root).as_posix(), INCLUDE.findall(path.read_text())


def faults_of(room, name, includes, table, root):
    for mark, header in includes:
        first = header.split("/")[0]
        if mark == '"':
            if first not in table and first not in OUTER:
                yield f"{name}: \"{header}\" is no path from the root"
            elif first != room and first not in table[room]:
                yield f"{name}: {room} may not include {header}"
            elif not (root / header).exists():
                yield f"{name}: {header} does not exist"
            elif name.startswith("ImageLib/kernels/") and not header.startswith("ImageLib/kernels/"):
                yield f"{name}: a kernel may not include {header}"
            continue
        for pattern, homes in FOREIGN:
            if pattern.match(header) and not any(name.startswith(home) for home in homes):
                yield f"{name}: <{header}> belongs in {' or '.join(homes) or 'tests and benches only'}"


def cycles(edges):
    """Rooms that reach themselves."""
    for start in edges:
        seen, todo = set(), list(edges[start])
        while todo:
            room = todo.pop()
            if room == start:
                yield f"{start} includes itself through other folders"
                break
            if room not in seen:
                seen.add(room)
                todo += edges[room]


def main(root):
    table = arrows(root)
    faults = [] if len(table) >= 9 else ["ARCHITECTURE.md: the table of arrows was not found"]
    edges = {room: set() for room in table}
    count = 0
    for room, name, includes in sources(root, table):
        count += len(includes)
        faults += faults_of(room, name, includes, table, root)
        edges[room] |= {h.split("/")[0] for mark, h in includes if mark == '"'} & set(table) - {room}
    faults += cycles(edges)
    for fault in faults:
        print(fault)
    print(f"{count} includes of {len(table)} rooms, {len(faults)} against the arrows")
    return 1 if faults or count == 0 else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1])))
