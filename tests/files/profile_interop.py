#!/usr/bin/env python3
"""Settings files between the library's profile and Python's configparser, both ways.

Usage: profile_interop.py WINE_RUN BUILD_DIR ProfileInterop.exe
Files written by configparser and by hand (comments, blank lines, spaces around "=", CR LF and
LF line ends, text in the ANSI code page 1252) must read back entry for entry through the
profile, and a file the profile writes must read back through configparser.
"""
import configparser
import os
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from winecheck import check, finish, run_under, windows  # noqa: E402

wine_run, build, tool = sys.argv[1:4]


def run(command, path, stdin=b""):
    code, out, err = run_under(wine_run, build, [tool, command, windows(path)], "utf-8", stdin)
    if code != 0:
        raise RuntimeError(f"{command} {path}: exit {code}: {err}")
    return out


def entries_of(parser):
    # configparser keeps key case only with optionxform = str; sections keep theirs.
    return sorted((s, k, v) for s in parser.sections() for k, v in parser.items(s, raw=True))


def same(what, want, got):
    check(what, want == got, f"want {want}\n     got  {got}")


def profile_entries(path):
    return sorted(tuple(line.split("\t")) for line in run("dump", path).splitlines())


def new_parser():
    parser = configparser.ConfigParser(interpolation=None, delimiters=("=",), comment_prefixes=(";",))
    parser.optionxform = str
    return parser


with tempfile.TemporaryDirectory() as work:
    # Written by configparser.
    parser = new_parser()
    parser["Window"] = {"PosX": "-12", "PosY": "40", "Title": "Caf\u00e9 \u00fcber", "Ratio": "1.500000"}
    parser["Recent Files"] = {"File1": r"C:\Users\me\a b.txt", "Empty": ""}
    written = os.path.join(work, "configparser.ini")
    with open(written, "w", encoding="cp1252", newline="\r\n") as f:
        parser.write(f)
    same("configparser's file read by the profile", entries_of(parser), profile_entries(written))

    # Written by hand, LF line ends, comments and spaces around "=".
    hand = os.path.join(work, "hand.ini")
    with open(hand, "wb") as f:
        f.write(b"; settings\n\n[Main]\nName = caf\xe9\n; Skipped=1\nCount=3\n\n[Other]\nx=1=2\n")
    same("a hand-written file read by the profile",
         [("Main", "Count", "3"), ("Main", "Name", "caf\u00e9"), ("Other", "x", "1=2")], profile_entries(hand))

    # Written by the profile, read by configparser.
    rows = [("Display", "Width", "1920"), ("Display", "Name", "L\u00e4nge"), ("Paths", "Home", r"C:\Data")]
    ours = os.path.join(work, "profile.ini")
    run("write", ours, "".join(f"{s}\t{k}\t{v}\n" for s, k, v in rows).encode("utf-8"))
    parser = new_parser()
    with open(ours, encoding="cp1252") as f:
        parser.read_file(f)
    same("the profile's file read by configparser", sorted(rows), entries_of(parser))

sys.exit(finish())
