#!/usr/bin/env python3
"""Registry values between the library (through qvtool reg) and Wine's own reg.exe, both ways.

Usage: registry_interop.py WINE_RUN BUILD_DIR qvtool.exe
Values written with reg add must read back through the library with their types; values the
library writes must show in reg query with the registry type and data the stored forms name.
Failures name the key or value and give the system's own text, with exit code 1.
"""
import os
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from winecheck import check, finish, run_under, windows  # noqa: E402

wine_run, build, qvtool = sys.argv[1:4]
KEY = rf"HKCU\Software\QvCoreTests\interop-{os.getpid()}"


def run(*args):
    # qvtool writes UTF-8 into pipes, reg.exe the OEM code page (437) as older console programs do.
    return run_under(wine_run, build, args, "cp437" if args[0] == "reg" else "utf-8")


def reg_add(name, kind, data):
    code, out, err = run("reg", "add", KEY, "/v", name, "/t", kind, "/d", data, "/f")
    if code != 0:
        raise RuntimeError(f"reg add {name}: exit {code}: {out} {err}")


def reg_query(name):
    """(type, data) of one value as reg.exe shows it, or None."""
    code, out, _ = run("reg", "query", KEY, "/v", name)
    if code != 0:
        return None
    for line in out.splitlines():
        parts = line.strip().split("    ")
        if len(parts) >= 2 and parts[0] == name:
            return parts[1], parts[2] if len(parts) > 2 else ""
    return None


def qvtool_reg(*args):
    return run(qvtool, "reg", *args)


# The system's text for a missing file or key, from the system in this run.
with tempfile.TemporaryDirectory() as probe:
    missing = run(qvtool, "md5", windows(os.path.join(probe, "absent")))[2].rsplit(": ", 1)[-1].strip()

try:
    # Written by reg.exe, read by the library.
    for name, kind, data, args, want in [
        ("Text", "REG_SZ", "Caf\u00e9 au lait", [], "Caf\u00e9 au lait"),
        ("Empty", "REG_SZ", "", [], ""),
        ("Count", "REG_DWORD", "4294967295", [], "4294967295"),
        ("Flag", "REG_DWORD", "1", ["--type", "bool"], "true"),
        ("Blob", "REG_BINARY", "00FF10", [], "00FF10"),
        ("Scripts", "REG_SZ", "\u0395\u03bb \u65e5\u672c\u8a9e \u0939\u093f \U0001f3b9 e\u0301",
         [], "\u0395\u03bb \u65e5\u672c\u8a9e \u0939\u093f \U0001f3b9 e\u0301"),
        ("Big", "REG_SZ", "-9223372036854775808", ["--type", "int64"], "-9223372036854775808"),
        ("Ratio", "REG_SZ", "0.125", ["--type", "float"], "0.125"),
    ]:
        reg_add(name, kind, data)
        code, out, err = qvtool_reg("get", KEY, name, *args)
        check(f"reg add {kind} {data!r} reads through the library as {want!r}",
              code == 0 and out == want + "\r\n", f"exit {code}: {out!r} {err!r}")

    # Written by the library, read by reg.exe.
    for name, value, args, want in [
        ("Title", "x y\u00e9", [], ("REG_SZ", "x y\u00e9")),
        ("Number", "7", ["--type", "int"], ("REG_DWORD", "0x7")),
        ("Negative", "-2", ["--type", "int"], ("REG_DWORD", "0xfffffffe")),
        ("Yes", "yes", ["--type", "bool"], ("REG_DWORD", "0x1")),
        ("Large", "12345678901234", ["--type", "int64"], ("REG_SZ", "12345678901234")),
        ("Scale", "2.5", ["--type", "float"], ("REG_SZ", "2.500000")),
        ("Bytes", "0102ff", ["--type", "binary"], ("REG_BINARY", "0102FF")),
    ]:
        code, out, err = qvtool_reg("set", KEY, name, value, *args)
        got = reg_query(name)
        check(f"the library's {' '.join(args) or 'string'} {value!r} reads in reg.exe as {want}",
              code == 0 and got is not None and (got[0], got[1].lower()) == (want[0], want[1].lower()),
              f"exit {code} {err!r}, reg query gives {got}")

    code, out, err = qvtool_reg("list", KEY)
    check("list shows each value with its type", code == 0 and "Count\tREG_DWORD\t4294967295" in out and
          "Text\tREG_SZ\tCaf\u00e9 au lait" in out and "Bytes\tREG_BINARY\t0102FF" in out, f"exit {code}: {out!r}")

    # Failures: the value or key named, the system's text, exit code 1.
    code, out, err = qvtool_reg("get", KEY, "Absent")
    check("a missing value", code == 1 and f"'Absent' in '{KEY}': {missing}" in err, f"exit {code}: {err!r}")
    code, out, err = qvtool_reg("get", KEY + r"\Nowhere", "x")
    check("a missing key", code == 1 and f"'{KEY}\\Nowhere': {missing}" in err, f"exit {code}: {err!r}")
    code, out, err = qvtool_reg("get", KEY, "Text", "--type", "int")
    check("a value of another type", code == 1 and "'Text'" in err and "REG_SZ, not REG_DWORD" in err,
          f"exit {code}: {err!r}")
    code, out, err = qvtool_reg("set", KEY, "N", "many", "--type", "int")
    check("a value that is not of the type", code == 1 and "'many' is not a 32-bit integer" in err
          and reg_query("N") is None, f"exit {code}: {err!r}")
    code, out, err = qvtool_reg("get", r"HKXX\Software", "x")
    check("an unknown root is a usage error", code == 2 and "HKCU" in err, f"exit {code}: {err!r}")

    code, out, err = qvtool_reg("delete", KEY, "Title")
    check("delete a value", code == 0 and reg_query("Title") is None and reg_query("Number") is not None,
          f"exit {code}: {err!r}")
    code, out, err = qvtool_reg("delete", KEY)
    check("delete the key", code == 0 and run("reg", "query", KEY)[0] != 0, f"exit {code}: {err!r}")
    code, out, err = qvtool_reg("delete", KEY)
    check("delete a missing key", code == 1 and f"'{KEY}': {missing}" in err, f"exit {code}: {err!r}")
finally:
    run("reg", "delete", KEY, "/f")

sys.exit(finish())
