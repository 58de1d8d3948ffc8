#!/usr/bin/env python3
"""layers.py BUILD: who uses whom in what runs on the blade and in vxcfg, from the names that their objects
define and need. Fails where a folder uses one that is above it, and where files need each other in a
circle.
"""
import collections
import pathlib
import subprocess
import sys

# From the bottom up.
FOLDERS = {
    "src": ["common", "device", "brapp", "hw", "net", "bootenv", "store", "props", "settings", "upgrade"],
    "tools": ["base", "defaults", "blade", "live", "upgrades", "stores", "survey", "vxcfg"],
}
ORDER = [f"{top}/{folder}" for top, folders in FOLDERS.items() for folder in folders]

defines, needs = collections.defaultdict(set), collections.defaultdict(set)
for top in FOLDERS:
    for path in pathlib.Path(sys.argv[1], top, "CMakeFiles").glob("vx*.dir/*/*.o"):
        name = f"{top}/{path.parent.name}/{path.name.removesuffix('.cpp.o')}"
        for line in subprocess.run(["nm", path], capture_output=True, text=True, check=True).stdout.splitlines():
            kind, symbol = line.split()[-2:]
            if kind == "U":
                needs[name].add(symbol)
            elif kind in "TDBRV":
                defines[symbol].add(name)
# What the compiler leaves in several files is a header's.
homes = {symbol: files.pop() for symbol, files in defines.items() if len(files) == 1}
uses = {file: {homes[s] for s in symbols if s in homes} - {file} for file, symbols in needs.items()}


def folder(file):
    home = file.rpartition("/")[0]
    return ORDER.index(home) if home in ORDER else len(ORDER)


def circles():
    """Files that are reached from themselves."""
    for start in uses:
        seen, reached = set(), list(uses[start])
        while reached:
            file = reached.pop()
            if file not in seen:
                seen.add(file)
                reached += uses.get(file, ())
        if start in seen:
            yield f"{start} is in a circle with {', '.join(sorted(f for f in uses[start] if f in seen))}"


wrong = [f"{a} uses {b}, which is above it" for a in uses for b in uses[a] if folder(b) > folder(a)]
wrong += circles()
print(*sorted(wrong), sep="\n")
print(f"layers: {len(uses)} files, {sum(map(len, uses.values()))} arrows, {len(wrong)} of them wrong")
sys.exit(bool(wrong) or not uses)
