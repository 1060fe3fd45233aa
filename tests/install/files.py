#!/usr/bin/env python3
"""What holds for installed files: files.py PREFIX FOLDER...

Every program, module and plug-in is hardened as Debian hardens its own, and searches no folder of the machine that built it.
No file tells one of the FOLDERs. Every package brings its licences, and a list of components that names each shared library
that its files ask for."""
import gzip
import json
import platform
import re
import subprocess
import sys
from pathlib import Path

prefix = Path(sys.argv[1])
folders = [folder.encode() for folder in sys.argv[2:]]
faults = []


def readelf(path, *options):
    return subprocess.run(["readelf", "-W", *options, str(path)], check=True, capture_output=True, text=True).stdout


def package_of(path):
    name = str(path.relative_to(prefix))
    for part, package in (("OFX/", "tumblewash-openfx"), ("frei0r", "tumblewash-frei0r"), ("obs-plugins", "tumblewash-obs"), ("python3/", "python3-tumblewash"),
                          ("libtumblewash.so", "libtumblewash0")):
        if part in name:
            return package
    return "tumblewash"


def look_at_binary(path):
    def must(holds, what):
        if not holds:
            faults.append(f"{path.relative_to(prefix)}: {what}")

    dynamic, segments, symbols = readelf(path, "-d"), readelf(path, "-l", "-h"), readelf(path, "--dyn-syms", "-s")
    must("DYN (" in segments, "position-dependent code")
    must("GNU_RELRO" in segments and re.search(r"BIND_NOW|FLAGS_1.*NOW", dynamic), "relocations stay writable")
    must(re.search(r"GNU_STACK\s.*\sRW\s", segments), "executable stack")
    must(not re.search(r"RPATH|RUNPATH|TEXTREL", dynamic), "run path or text relocations")
    must("__stack_chk_fail" in symbols, "no stack protector")
    if path.name == "tumblewash":
        must(re.search(r"__\w+_chk@", symbols), "no fortified call")
    if platform.machine() == "x86_64":
        # The linker's note also needs the system's start-up files; the functions of this project begin with the landing mark.
        code = subprocess.run(["objdump", "-d", "--no-show-raw-insn", str(path)], check=True, capture_output=True, text=True).stdout
        must(code.count("endbr64") > 20, "no landing marks for indirect calls")
    listed = json.loads((prefix / f"share/doc/{package_of(path)}/{package_of(path)}.spdx.json").read_text())
    known = {name for part in listed["packages"] for name in part.get("comment", "").removeprefix("libraries: ").split(", ")}
    for needed in re.findall(r"NEEDED.*\[(.+?)\.so", dynamic):
        must(needed in known, f"{needed} is not in the list of components (cmake/Licences.cmake)")


binaries = 0
for path in sorted(prefix.rglob("*")):
    if path.is_symlink() or not path.is_file():
        continue
    content = path.read_bytes()
    for folder in folders:
        if folder in content:
            faults.append(f"{path.relative_to(prefix)}: tells {folder.decode()}")
    if content[:4] == b"\x7fELF":
        binaries += 1
        look_at_binary(path)
if binaries < 2:
    faults.append(f"only {binaries} programs and modules")

packages = sorted((prefix / "share/doc").iterdir())
for package in packages:
    copyright_text = (package / "copyright").read_text()
    if not copyright_text.startswith("Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/\n"):
        faults.append(f"{package.name}: copyright is not machine-readable")
    parts = [dict(re.findall(r"^(\S+?):((?:.*\n?)(?:^ .*\n?)*)", part, re.M)) for part in copyright_text.split("\n\n")]
    used = {part["License"].strip() for part in parts if "Files" in part and "Copyright" in part}
    told = {part["License"].split("\n")[0].strip() for part in parts if "Files" not in part and "\n " in part.get("License", "")}
    if not used or used - told:
        faults.append(f"{package.name}: no text of {used - told or 'any licence'}")
    if not gzip.decompress((package / "changelog.gz").read_bytes()).startswith(b"tumblewash ("):
        faults.append(f"{package.name}: no changelog")
    document = json.loads((package / f"{package.name}.spdx.json").read_text())
    parts = {part["SPDXID"] for part in document["packages"]}
    related = {relation["relatedSpdxElement"] for relation in document["relationships"]}
    if document["spdxVersion"] != "SPDX-2.3" or parts != related or len(parts) != len(document["packages"]):
        faults.append(f"{package.name}: the list of components does not hold together")
if not packages:
    faults.append("no package documents")

for fault in faults:
    print(fault)
print(f"{binaries} programs and modules, {len(packages)} packages: {len(faults)} faults")
sys.exit(bool(faults))
