#!/usr/bin/env python3
"""Adds a fifteenth row to a copy of the table of effects and looks whether everything that lists effects follows.

usage: fifteenth_row.py ROOT CMAKE CXX"""
import pathlib
import re
import subprocess
import sys
import tempfile

root, cmake, cxx = pathlib.Path(sys.argv[1]), sys.argv[2], sys.argv[3]
table = pathlib.Path("pluginDistort/v1/EffectTable.h")
program = r"""
#include <cstdio>
#include "host/Catalogue.h"
int main() {
    using namespace tumblewash;
    const host::EffectName& last = host::effectNames().back();
    std::printf("%d %zu %d %.*s %d %d\n", plugin::kEffectCount, plugin::effectCatalogue().size(), last.index,
                static_cast<int>(last.id.size()), last.id.data(), host::findEffect("wash-sideways").value_or(-1),
                static_cast<int>(host::revealsOverClip(14)));
}
"""

with tempfile.TemporaryDirectory() as folder:
    copy = pathlib.Path(folder)
    text = (root / table).read_text()
    rows = re.findall(r"    \{\.index = 13,.*?\},\n", text, re.S)
    assert len(rows) == 1, "the last row was not found"
    row = rows[0].replace(".index = 13", ".index = 14").replace("tumble-reveal", "wash-sideways")
    (copy / table).parent.mkdir(parents=True)
    (copy / table).write_text(text.replace(rows[0], rows[0] + row))

    listed = subprocess.run([cmake, f"-DTABLE={copy / table}", "-P", root / "cmake/EffectIds.cmake"], check=True,
                            capture_output=True, text=True).stdout.split()
    ids = [word for word in listed if word != "--"]
    assert len(ids) == 15 and ids[-1] == "wash-sideways", f"CMake lists {ids}"

    # The pages follow, and what nobody wrote yet is missed.
    (copy / "docs").mkdir()
    for page in ("transitions.md", "hosts.md"):
        (copy / "docs" / page).write_text((root / "docs" / page).read_text())
    make = [sys.executable, "-B", root / "docs/make-tables"]
    assert subprocess.run([*make, "--check", copy], capture_output=True, check=False).returncode == 1
    subprocess.run([*make, copy], check=True, capture_output=True)
    assert "| 14 | [wash-sideways](#14-wash-sideways) | two |" in (copy / "docs/transitions.md").read_text()
    assert "mixer `tumblewash_wash_sideways`" in (copy / "docs/hosts.md").read_text()
    missed = subprocess.run([*make, "--check", copy], capture_output=True, check=False, text=True).stdout
    assert "no part on wash-sideways" in missed and "docs/hosts.md does not say" not in missed, missed

    (copy / "main.cpp").write_text(program)
    # What the host's names need of the texts: nothing is translated here.
    (copy / "texts.cpp").write_text(
        '#include "platform/Resources.h"\n'
        "namespace tumblewash::platform { std::string LocalizedString(short, short) { return {}; } }\n")
    subprocess.run([cxx, "-std=c++20", "-O0", f"-I{copy}", f"-I{root}", copy / "main.cpp", copy / "texts.cpp",
                    root / "host/Catalogue.cpp", root / "pluginDistort/v1/Catalogue.cpp", "-o", copy / "main"], check=True)
    told = subprocess.run([copy / "main"], check=True, capture_output=True, text=True).stdout.strip()
    assert told == "15 15 14 wash-sideways 14 1", told
