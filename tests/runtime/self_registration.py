#!/usr/bin/env python3
"""Self-registration through the system's own tools, and activation by a real COM client.

Usage: self_registration.py WINE_RUN BUILD_DIR ComActivationClient.exe
A copy of qvcore.dll, with the runtime DLLs it needs, in a folder of its own is registered with
Wine's regsvr32; Wine's reg.exe must find that file's path and the threading model "Both" under
the class key. A client that does not link against the library (ComActivationClient, ole32 only)
then gets a log object through CoGetClassObject, from the registered file, and logs a line.
After regsvr32 /u the key is gone and activation fails with the system's class-not-registered
error. qvtool reg register/unregister (the DLL's own entry points, as regsvr32 calls them) must
do the same.
"""
import glob
import os
import shutil
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from winecheck import check, finish, run_under, windows  # noqa: E402

wine_run, build, client = sys.argv[1:4]
bin_dir = os.path.dirname(client)
qvtool = os.path.join(bin_dir, "qvtool.exe")
CLASS_KEY = r"HKLM\Software\Classes\CLSID\{16D389DE-1A3F-4A43-986D-2D07C91F911B}"
CLASS_NOT_REGISTERED = "0x80040154"  # REGDB_E_CLASSNOTREG


def run(*args):
    return run_under(wine_run, build, args, "cp1252")


def registered_values():
    """reg.exe's view of the server key: {name: (type, data)}, or None when the key is missing."""
    code, out, _ = run("reg", "query", CLASS_KEY + r"\InprocServer32")
    if code != 0:
        return None
    values = {}
    for line in out.splitlines():
        parts = line.strip().split("    ")
        if len(parts) == 3:
            values[parts[0]] = (parts[1], parts[2])
    return values


def check_registered(how, dll):
    values = registered_values()
    check(f"{how}: reg.exe reads the server path", values is not None and
          values.get("(Default)", ("", ""))[1].lower() == windows(dll).lower(), f"got {values}")
    check(f"{how}: reg.exe reads the threading model", values is not None and
          values.get("ThreadingModel") == ("REG_SZ", "Both"), f"got {values}")


def check_activation(how, dll, folder):
    log = os.path.join(folder, "activation.log")
    if os.path.exists(log):
        os.remove(log)
    code, out, err = run(client, windows(log), f"logged by {how}")
    lines = out.splitlines()
    check(f"{how}: CoGetClassObject hands out the log object", code == 0 and "activation 0x00000000" in lines,
          f"exit {code}: {out} {err}")
    check(f"{how}: the object comes from the registered file", f"module {windows(dll)}".lower() in
          (line.lower() for line in lines), f"got {out}")
    text = open(log, "rb").read().decode("cp1252") if os.path.exists(log) else "<no log file>"
    check(f"{how}: the client's line is in the log", text.endswith(f"ComActivat logged by {how}\r\n"), f"got {text!r}")


def check_unregistered(how):
    check(f"{how}: reg.exe finds no server key", registered_values() is None)
    code, _, _ = run("reg", "query", CLASS_KEY)
    check(f"{how}: reg.exe finds no class key", code != 0)
    code, out, _ = run(client, "Z:\\nowhere.log", "never")
    check(f"{how}: activation fails as for any unregistered class",
          code == 1 and f"activation {CLASS_NOT_REGISTERED}" in out.splitlines(), f"exit {code}: {out}")


with tempfile.TemporaryDirectory() as work:
    server = os.path.join(work, "server")
    os.mkdir(server)
    for dll in glob.glob(os.path.join(bin_dir, "*.dll")):
        shutil.copy(dll, server)
    dll = os.path.join(server, "qvcore.dll")

    code, out, err = run("regsvr32", "/s", windows(dll))
    check("regsvr32 registers the library", code == 0, f"exit {code}: {out} {err}")
    check_registered("regsvr32", dll)
    check_activation("regsvr32", dll, work)
    code, out, err = run("regsvr32", "/u", "/s", windows(dll))
    check("regsvr32 /u unregisters the library", code == 0, f"exit {code}: {out} {err}")
    check_unregistered("regsvr32 /u")
    code, _, _ = run("regsvr32", "/u", "/s", windows(dll))
    check("regsvr32 /u of an unregistered library succeeds", code == 0, f"exit {code}")

    code, out, err = run(qvtool, "reg", "register", windows(dll))
    check("qvtool reg register", code == 0 and out == "" and err == "", f"exit {code}: {out} {err}")
    check_registered("qvtool reg register", dll)
    check_activation("qvtool reg register", dll, work)
    code, out, err = run(qvtool, "reg", "unregister", windows(dll))
    check("qvtool reg unregister", code == 0 and out == "" and err == "", f"exit {code}: {out} {err}")
    check_unregistered("qvtool reg unregister")

sys.exit(finish())
