#!/usr/bin/env python3
"""Checks that the library's layers point one way: tools/check-layers.py [SOURCE_ROOT]

    core < runtime < streams < files < xml, graphics < the DLL's entry points

A file of qvcore/ may include headers of its own folder and of the folders below it, never of
one above it or beside it (xml and graphics know nothing of each other). Files directly in
qvcore/ (the entry points, QvCore.h) may include everything; qvcore/Platform.h is below
everything. Private headers (*_p.h) belong to their folder like any other; a private header
is included only by its own folder's files, except the shared ones in core, which every layer
may use. Every #include "qvcore/..." line is checked; a violation prints the file, the line and
the rule, and the exit status is 1.
"""
import pathlib
import re
import sys

RANK = {"core": 0, "runtime": 1, "streams": 2, "files": 3, "xml": 4, "graphics": 4}
INCLUDE = re.compile(r'^\s*#\s*include\s+"qvcore/([^"]+)"', re.M)


def layer(relative):
    """The layer of a path below qvcore/: a folder name, "root" or "platform"."""
    parts = pathlib.PurePosixPath(relative).parts
    if len(parts) == 1:
        return "platform" if parts[0] == "Platform.h" else "root"
    return parts[0]


def problem(source, target):
    """Why source may not include target, or None."""
    src, dst = layer(source), layer(target)
    if src == "root" or dst == "platform" or src == dst:
        return None
    if dst == "root":
        return "the entry points' unit is above every layer"
    if src == "platform":
        return "Platform.h is below every layer"
    if src not in RANK or dst not in RANK:
        return "unknown folder: give it a place in the layers"
    if target.endswith("_p.h") and dst != "core":
        return "a private header of %s outside %s" % (dst, dst)
    if RANK[dst] > RANK[src]:
        return "%s is above %s" % (dst, src)
    if RANK[dst] == RANK[src]:
        return "%s and %s are beside each other" % (dst, src)
    return None


def main():
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).resolve().parents[1])
    library = root / "qvcore"
    files = sorted(p for p in library.rglob("*") if p.suffix in (".h", ".cpp", ".inc", ".rc", ".in"))
    found = 0
    for path in files:
        relative = path.relative_to(library).as_posix()
        text = path.read_text(encoding="utf-8", errors="replace")
        for match in INCLUDE.finditer(text):
            why = problem(relative, match.group(1))
            if why:
                found += 1
                line = text.count("\n", 0, match.start()) + 1
                print("qvcore/%s:%d: includes qvcore/%s: %s" % (relative, line, match.group(1), why))
    print("%d files checked, %d includes against the layers" % (len(files), found))
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
