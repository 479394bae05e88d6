#!/usr/bin/env python3
"""qvtool as a user meets it: one table of command lines with their standard input, and the
exit code, standard output and error stream each must give, run under Wine.

Usage: qvtool_test.py WINE_RUN BUILD_DIR QVTOOL.exe
Each row runs in a fresh folder holding the sample files; "{dir}" in an argument is that
folder as Wine names it. Expected texts are fragments that must appear; system texts come
from the system itself, never from a copy of Windows' English.
"""
import os
import shutil
import subprocess
import sys
import tempfile

wine_run, build, qvtool = sys.argv[1:4]
here = os.path.dirname(os.path.abspath(__file__))
sample_ini = os.path.join(here, "..", "..", "tools", "qvtool", "sample", "settings.ini")


def windows(path):
    return "Z:" + path.replace("/", "\\")


def run(args, stdin=b""):
    done = subprocess.run([wine_run, build, qvtool] + args, input=stdin, capture_output=True, timeout=120)
    return done.returncode, done.stdout.decode("cp1252", "replace"), done.stderr.decode("cp1252", "replace")


# The system's own text for "file not found", as qvtool reports it.
def missing_text(folder):
    code, _, err = run(["ini", windows(os.path.join(folder, "absent.ini")), "list"])
    return err.rsplit(": ", 1)[-1].strip()


def many_sections(folder):
    with open(os.path.join(folder, "many.ini"), "w", newline="\r\n") as f:
        for i in range(3000):
            f.write(f"[Section{10000 + i}]\nk=v\n")


ROWS = [
    # name, args, stdin, exit code, stdout fragments, stderr fragments, file checks
    ("ini list", ["ini", "{dir}\\settings.ini", "list"], b"", 0,
     ["[Playback]", "Volume=0.750000", "[Window]", "PosX=120"], [], {}),
    ("ini list one section", ["ini", "{dir}\\settings.ini", "list", "Window"], b"", 0,
     ["Title=Sample player"], [], {}),
    ("ini get a point", ["ini", "{dir}\\settings.ini", "get", "Window", "Pos", "--type", "point"], b"", 0,
     ["120,80"], [], {}),
    ("ini set a rectangle and read it back",
     ["ini", "{dir}\\settings.ini", "set", "Window", "Frame", "1,2,3,4", "--type", "rect"], b"", 0, [], [],
     {"settings.ini": ["FrameLeft=1", "FrameBottom=4", "PosX=120"]}),
    ("ini set creates a missing file", ["ini", "{dir}\\new.ini", "set", "A", "b", "c"], b"", 0, [], [],
     {"new.ini": ["[A]", "b=c"]}),
    ("ini delete a key", ["ini", "{dir}\\settings.ini", "delete", "Playback", "Loop"], b"", 0, [], [],
     {"settings.ini": ["Volume=0.750000", "!Loop="]}),
    ("ini usage error: unknown action", ["ini", "{dir}\\settings.ini", "frob"], b"", 2, [],
     ["unknown action 'frob'", "usage:"], {}),
    ("ini usage error: unknown option", ["ini", "{dir}\\settings.ini", "list", "--bogus"], b"", 2, [],
     ["unknown option '--bogus'"], {}),
    ("ini missing file", ["ini", "{dir}\\absent.ini", "get", "A", "b"], b"", 1, [],
     ["cannot read '", "absent.ini': {missing}"], {}),
    ("ini missing key", ["ini", "{dir}\\settings.ini", "get", "Window", "Nope"], b"", 1, [],
     ["has no Nope in [Window]"], {}),
    ("ini signature mismatch", ["ini", "{dir}\\settings.ini", "list", "--signature", "QV1"], b"", 1, [],
     ["signature"], {}),
    ("ini bad typed value leaves the file as it was",
     ["ini", "{dir}\\settings.ini", "set", "Window", "PosX", "wide", "--type", "int"], b"", 1, [],
     ["'wide' is not an integer"], {"settings.ini": ["; Settings of the sample player", "PosX=120"]}),
    ("ini too many sections: warned and left unchanged",
     ["ini", "{dir}\\many.ini", "set", "A", "b", "c"], b"", 1, [],
     ["warning:", "no section was read", "left unchanged"], {"many.ini": ["[Section10000]"]}),
]

failures = 0
with tempfile.TemporaryDirectory() as base:
    probe = os.path.join(base, "probe")
    os.mkdir(probe)
    missing = missing_text(probe)
    for name, args, stdin, want_code, want_out, want_err, files in ROWS:
        folder = os.path.join(base, f"row{ROWS.index((name, args, stdin, want_code, want_out, want_err, files))}")
        os.mkdir(folder)
        shutil.copy(sample_ini, os.path.join(folder, "settings.ini"))
        many_sections(folder)
        code, out, err = run([a.replace("{dir}", windows(folder)) for a in args], stdin)
        problems = []
        if code != want_code:
            problems.append(f"exit code {code}, want {want_code}")
        problems += [f"stdout lacks {w!r}" for w in want_out if w not in out]
        problems += [f"stderr lacks {w!r}" for w in (w.replace("{missing}", missing) for w in want_err) if w not in err]
        if want_code == 0 and err:
            problems.append(f"unexpected stderr {err!r}")
        for file, fragments in files.items():
            with open(os.path.join(folder, file), encoding="cp1252") as f:
                text = f.read()
            for fragment in fragments:
                absent = fragment.startswith("!")
                if (fragment[1:] in text) if absent else (fragment not in text):
                    problems.append(f"{file}: {'has' if absent else 'lacks'} {fragment.lstrip('!')!r}")
        leftovers = [n for n in os.listdir(folder) if n.endswith(".qvtool-new")]
        if leftovers:
            problems.append(f"left behind {leftovers}")
        if problems:
            failures += 1
            print(f"FAIL {name}: " + "; ".join(problems) + f"\n     stdout {out!r}\n     stderr {err!r}")
        else:
            print(f"ok   {name}")

print(f"{len(ROWS) - failures} passed, {failures} failed")
sys.exit(1 if failures else 0)
