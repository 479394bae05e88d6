#!/usr/bin/env python3
"""An object graph written into the registry by one process and read back by another.

Usage: registry_objects.py WINE_RUN BUILD_DIR RegistryObjectInterop.exe
The writer stores a graph with a cycle through RegistryKey::WriteObject; Wine's reg.exe must
show a REG_BINARY value that Python's zlib decompresses into the serialized graph, byte for
byte; a second process reads it back whole with ReadObject, cycle included.
"""
import os
import struct
import sys
import zlib

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from winecheck import check, finish, run_under  # noqa: E402

wine_run, build, program = sys.argv[1:4]
SUBKEY = rf"Software\QvCoreTests\objects-{os.getpid()}"


def run(*args):
    return run_under(wine_run, build, args, "cp437")


try:
    code, out, err = run(program, "write", SUBKEY, "Graph")
    check("the writer stores the graph", code == 0, f"exit {code}: {err}")

    code, out, _ = run("reg", "query", "HKCU\\" + SUBKEY, "/v", "Graph")
    fields = [line.split() for line in out.splitlines() if line.strip().startswith("Graph")]
    stored = bytes.fromhex(fields[0][2]) if fields and len(fields[0]) == 3 and fields[0][1] == "REG_BINARY" else b""
    check("reg.exe shows a binary value", stored != b"", f"exit {code}: {out!r}")
    try:
        graph, problem = zlib.decompress(stored), ""
    except zlib.error as e:
        graph, problem = b"", str(e)
    check("Python's zlib decompresses it", problem == "", problem)
    # The graph in the serializing streams' format: an object item is its class id (graph::Node),
    # version 1 and the fields; a reference is 0, 0x80190311 and its number (its own number when
    # the object follows inline). The root is written as an object, not through a reference, so
    # the link back to it writes it again, whose link then refers back to the child (item 2).
    node = bytes.fromhex("2C D7 56 00")

    def item(a, b):
        return node + struct.pack("<hii", 1, a, b)

    def ref(number):
        return struct.pack("<iIi", 0, 0x80190311, number)

    expected = item(1, 2) + ref(1) + item(3, 4) + ref(3) + item(1, 2) + ref(2)
    check("the value is the serialized graph", graph == expected, f"decompressed {graph.hex()}\n     want {expected.hex()}")

    code, out, err = run(program, "read", SUBKEY, "Graph")
    check("another process reads the graph back, cycle included",
          code == 0 and out.splitlines() == ["1 2 -> 3 4 -> 1 2", "cycle"], f"exit {code}: {out!r} {err!r}")
finally:
    run("reg", "delete", "HKCU\\" + SUBKEY, "/f")

sys.exit(finish())
