#!/usr/bin/env python3
"""Every name of the public headers that the system headers rename for UNICODE clients must be
called by the UNICODE client test in each spelling.

usage: unicode_names.py CXX SOURCE_ROOT CLIENT_SOURCE

A client built with UNICODE sees the system's macros (DeleteFile -> DeleteFileW, ...) rewrite
every such name in the library's headers, so each one needs the pattern the headers use: the
narrow name exported, the W spelling and the plain one (for clients that undefine the macro)
forwarding to it. The list of renamed names comes from the system headers themselves
(CXX -dM with UNICODE defined); the names the library declares come from its public headers.
The client must call NAME (the macro's W spelling), NAMEA, NAMEW, and NAME again after its
own #undef NAME; it is compiled, linked and run by the suite, so a name that lacks the
pattern fails there, and a name it does not call fails here.
"""
import pathlib
import re
import subprocess
import sys


def renamed_by_system(cxx, root):
    """Macros of the form `#define NAME NAMEW` in force for a UNICODE client of QvCore.h."""
    out = subprocess.run([cxx, "-E", "-dM", "-DUNICODE", "-D_UNICODE", "-x", "c++", "-I", str(root), "-"],
                         input='#include "qvcore/QvCore.h"\n', capture_output=True, text=True, check=True).stdout
    names = set()
    # Debian's MinGW headers spell most of them __MINGW_NAME_AW(NAME), a few NAMEW directly.
    for match in re.finditer(r"^#define (\w+) (?:(\w+)|__MINGW_NAME_\w*AW\((\w+)\))$", out, re.M):
        name, target, inner = match.groups()
        if target == name + "W" or inner == name:
            names.add(name)
    return names


def code_tokens(text):
    """The text without comments, string and character literals."""
    return re.sub(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])*\'', " ", text, flags=re.S)


def public_headers(root):
    for header in sorted((root / "qvcore").rglob("*.h")):
        parts = header.relative_to(root).parts
        if "internal" in parts or header.name.endswith("_p.h"):
            continue
        yield header


def declared_names(root, renamed):
    """{name: [headers]} for every renamed name the public headers declare or call unqualified
    (`::Name` is a call of the system's function, not a name of the library)."""
    found = {}
    for header in public_headers(root):
        code = code_tokens(header.read_text(encoding="utf-8"))
        for match in re.finditer(r"(?<![\w:])(\w+)\s*\(", code):
            word = match.group(1)
            base = word if word in renamed else word[:-1] if word[-1:] in "AW" and word[:-1] in renamed else None
            if base:
                found.setdefault(base, set()).add(str(header.relative_to(root)))
    return found


def missing_calls(client, names):
    code = code_tokens(client)
    problems = []
    for name in sorted(names):
        for spelling in (name, name + "A", name + "W"):
            if not re.search(r"(?<!\w)%s\s*\(" % spelling, code):
                problems.append("%s: no call of %s" % (name, spelling))
        undef = re.search(r"^\s*#\s*undef\s+%s\b" % name, code, re.M)
        if not undef or not re.search(r"(?<!\w)%s\s*\(" % name, code[undef.end():]):
            problems.append("%s: no call of the plain name after #undef %s" % (name, name))
    return problems


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    cxx, root, client = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
    renamed = renamed_by_system(cxx, root)
    if len(renamed) < 500:
        sys.exit("only %d A/W macros found: the system headers were not read" % len(renamed))
    names = declared_names(root, renamed)
    for name in sorted(names):
        print("%-24s %s" % (name, ", ".join(sorted(names[name]))))
    problems = missing_calls(client.read_text(encoding="utf-8"), names)
    for problem in problems:
        print("MISSING", problem)
    print("%d renamed names in the public headers, %d missing calls in %s"
          % (len(names), len(problems), client.name))
    sys.exit(1 if problems else 0)


if __name__ == "__main__":
    main()
