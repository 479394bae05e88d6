#!/usr/bin/env python3
"""A full disk without privileges: the program runs with a file-size limit (RLIMIT_FSIZE, the
signal it raises ignored), so the host refuses every byte past the limit as a full disk would.

Usage: full_disk.py WINE_RUN BUILD_DIR FullDisk.exe
Through a FileOutputStream and through a File, the write that crosses the limit must fail with
the system's text for a full disk, and every byte the library reported written must be in the
file as written, and no write may be reported done that the file does not hold. (Wine reports
the limit as a general failure: the host's EFBIG has no Windows code of its own.)
"""
import os
import resource
import signal
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from winecheck import check, finish, windows  # noqa: E402

wine_run, build, program = sys.argv[1:4]
LIMIT = 100_000  # not a multiple of the program's 4,096-byte chunks: the last write is cut


def limited():
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    resource.setrlimit(resource.RLIMIT_FSIZE, (LIMIT, LIMIT))


with tempfile.TemporaryDirectory() as folder:
    for mode in ("stream", "file"):
        path = os.path.join(folder, mode + ".bin")
        done = subprocess.run([wine_run, build, program, mode, windows(path)], capture_output=True,
                              preexec_fn=limited)
        out = done.stdout.decode("utf-8", errors="replace")
        print(out.strip())
        report = dict(line.split(" ", 1) for line in out.splitlines() if " " in line)
        check(f"{mode}: the program ran", done.returncode == 0,
              f"exit {done.returncode}: {done.stderr.decode(errors='replace')[-2000:]}")
        if done.returncode != 0:
            continue
        written = int(report.get("written", "-1"))
        check(f"{mode}: the write crossing the limit failed", "no failure" not in out, out)
        check(f"{mode}: with the system's text for a full disk (or Wine's for the limit)",
              report.get("message") in (report.get("disk-full"), report.get("general-failure")),
              repr(report.get("message")))
        data = open(path, "rb").read()
        expected = bytes(i % 251 for i in range(len(data)))
        check(f"{mode}: the file holds the pattern whole", data == expected)
        # A stream's Write is all or nothing for its caller: only the failed chunk may be in part.
        fits = written == len(data) if mode == "file" else written <= len(data) < written + 4096
        check(f"{mode}: every byte reported written is in the file ({written} of {len(data)})",
              0 < written and fits and len(data) <= LIMIT, f"written {written}, file {len(data)}")

sys.exit(finish())
