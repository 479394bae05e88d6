#!/usr/bin/env python3
"""Shutting the session down, for real, where it harms nothing: a throwaway Wine prefix.

Usage: shutdown_test.py WINE_RUN BUILD_DIR qvcore_shutdown_child.exe

Under Wine, ending the session ends every process of the prefix's session, so the request
is never made in the prefix the tests run in. This script copies that prefix into a
temporary folder, starts a bystander program and then the requesting one there, and checks
what the library answered and that the session really ended: the bystander and the
requester are gone long before their waits run out, and the prefix's server has exited.
Its server is stopped and the copy removed whatever happens.
"""
import os
import shutil
import subprocess
import sys
import tempfile
import time

_, build, child = sys.argv[1:4]

EWX_LOGOFF_FORCE = "0x4"  # log off (0) with the force flag (4)


def wine_environment(prefix):
    env = dict(os.environ)
    arch = open(os.path.join(build, "wine-arch")).read().strip()
    env.update({
        "WINEPREFIX": prefix,
        "WINEDEBUG": "-all",
        "WINEDLLOVERRIDES": "mscoree,mshtml=",
        "WINEARCH": "win64",
        "WINESERVER": "/usr/lib/wine/wineserver",
        "WINELOADER": "/usr/lib/wine/wine" if arch == "i686" else "/usr/lib/wine/wine64",
    })
    display = os.path.join(build, "wine", "display")
    if os.path.exists(display):
        env["DISPLAY"] = open(display).read().strip()
    return env


# Program files of the system folders, which no process of the session writes: linked, not
# copied (the folders hold over a gigabyte). Everything else (registry, settings files, the
# users' folders) is copied, so the session changes nothing of the original prefix.
SHARED_ENDINGS = (".dll", ".exe", ".drv", ".sys", ".ocx", ".cpl", ".acm", ".ax", ".tlb", ".nls", ".ttf", ".fon",
                  ".com", ".ds", ".mui")


def copy_or_link(source, target):
    if source.lower().endswith(SHARED_ENDINGS) and os.sep + "windows" + os.sep in source.lower():
        try:
            os.link(source, target)
            return target
        except OSError:
            pass  # another file system: copy it
    return shutil.copy2(source, target)


def read_line(process, timeout):
    """The next line of a process's output, or None when it ends or the time runs out."""
    import selectors
    selector = selectors.DefaultSelector()
    selector.register(process.stdout, selectors.EVENT_READ)
    if not selector.select(timeout):
        return None
    line = process.stdout.readline()
    return line.decode("ascii", "replace").strip() if line else None


def main():
    source = os.path.join(build, "wine", "prefix")
    if not os.path.exists(os.path.join(source, "system.reg")):
        print("the build's Wine prefix is missing: run the suite through ctest (wine.start)")
        return 1
    folder = tempfile.mkdtemp(prefix="qvcore-shutdown-")
    prefix = os.path.join(folder, "prefix")
    env = wine_environment(prefix)
    processes = []
    failures = []
    try:
        copy_started = time.monotonic()
        # Symbolic links (the drive letters) are copied as links.
        shutil.copytree(source, prefix, symlinks=True, copy_function=copy_or_link)
        wine = env["WINELOADER"]
        bystander = subprocess.Popen([wine, child, "--wait"], env=env, stdin=subprocess.DEVNULL,
                                     stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        processes.append(bystander)
        if read_line(bystander, 120) != "waiting":
            failures.append("the bystander did not start")
            return 1
        started = time.monotonic()
        requester = subprocess.Popen([wine, child, "--end-this-session", EWX_LOGOFF_FORCE], env=env,
                                     stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        processes.append(requester)
        family = read_line(requester, 60)
        result = read_line(requester, 20)
        print(f"requester said: {family!r}, {result!r}")
        if not family or not family.startswith("family "):
            failures.append(f"no family line from the requester: {family!r}")
        elif int(family.split()[1]) & 7:
            failures.append(f"Wine reported a 9x-family system: {family}")
        # On the NT family the answer is true whatever the system does next; the session may
        # end the requester before it can print it, which the checks below tell apart.
        if result is not None and result != "result 1":
            failures.append(f"ExecShutdown answered {result!r}, not true")

        for name, process in (("bystander", bystander), ("requester", requester)):
            try:
                process.wait(timeout=max(1, 25 - (time.monotonic() - started)))
            except subprocess.TimeoutExpired:
                failures.append(f"the {name} still runs: the session did not end")
                continue
            rest = process.stdout.read().decode("ascii", "replace")
            if "done waiting" in rest or "still running" in rest:
                failures.append(f"the {name} waited to its end: the session did not end it")
        if result is None:
            print("the session ended the requester before it printed its answer")

        # With every program gone, the prefix's server exits on its own.
        try:
            subprocess.run([env["WINESERVER"], "-w"], env=env, timeout=30)
        except subprocess.TimeoutExpired:
            failures.append("the prefix's server still runs 30 s after the session ended")
        print(f"session ended after {time.monotonic() - started:.1f} s")
        print(f"prefix copied in {started - copy_started:.1f} s")
    finally:
        subprocess.run([env["WINESERVER"], "-k"], env=env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        for process in processes:
            if process.poll() is None:
                process.kill()
            process.wait()
        shutil.rmtree(folder, ignore_errors=True)
        for failure in failures:
            print("FAILED:", failure)
    return 1 if failures else 0


sys.exit(main())
