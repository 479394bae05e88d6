#!/usr/bin/env python3
"""Checks qvtool's stream chains against independent codecs (Python's zlib, base64, hashlib)
in both directions, and that damaged input ends in a clear error rather than a crash or hang.

Usage: crosscheck.py WINE_RUN BUILD_DIR QVTOOL_EXE
"""
import base64
import hashlib
import os
import random
import struct
import sys
import tempfile
import zlib

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from winecheck import check, finish, run_under  # noqa: E402

wine_run, build_dir, qvtool = sys.argv[1:4]


def run(*args, stdin=b""):
    return run_under(wine_run, build_dir, [qvtool, *args], stdin=stdin)


def crc_blocks(data, size=4088):
    blocks = (data[at:at + size] for at in range(0, len(data), size))
    return b"".join(struct.pack("<I", len(b)) + b + struct.pack("<I", zlib.crc32(b)) for b in blocks)


def read_crc_blocks(stored):
    data, at = b"", 0
    while at < len(stored):
        (length,) = struct.unpack_from("<I", stored, at)
        block = stored[at + 4:at + 4 + length]
        (crc,) = struct.unpack_from("<I", stored, at + 4 + length)
        if crc != zlib.crc32(block) or not 1 <= length <= 4088:
            raise ValueError("bad block")
        data, at = data + block, at + 8 + length
    return data


random.seed(8)
text = b"".join(b"line %d of some text for the stream chains\r\n" % i for i in range(20000))
noise = bytes(random.getrandbits(8) for _ in range(200000))
samples = {"text": text, "noise": noise, "empty": b"", "one": b"M"}

with tempfile.TemporaryDirectory(dir=build_dir) as work:
    def path(name):
        return os.path.join(work, name)

    def encode_file(name, filters):
        target = path(name + "." + filters.replace(":", "-"))
        code, _, _ = run("encode", "--filters", filters, path(name), target)
        return open(target, "rb").read() if code == 0 else None

    for name, data in samples.items():
        with open(path(name), "wb") as f:
            f.write(data)

        # Library output read by the independent codecs.
        check(name + ": base64 matches Python's, 76 columns", encode_file(name, "base64") == base64.encodebytes(data))
        packed = encode_file(name, "compress:9")
        check(name + ": compress gives a zlib stream (nothing for no data)",
              packed is not None and (zlib.decompress(packed) == data if data else packed == b""))
        check(name + ": CRC blocks", encode_file(name, "crc") == crc_blocks(data))
        check(name + ": crypt complements", encode_file(name, "crypt") == bytes(b ^ 0xFF for b in data))
        code, out, _ = run("md5", path(name))
        check(name + ": md5", code == 0 and out.split()[0].decode() == hashlib.md5(data).hexdigest())

        # Independent output read by the library.
        if data:
            for filters, stored in [("base64", base64.encodebytes(data)), ("base64", base64.b64encode(data)),
                                    ("compress", zlib.compress(data, 6)), ("crc", crc_blocks(data)),
                                    ("compress,crc,base64", base64.encodebytes(crc_blocks(zlib.compress(data))))]:
                code, out, err = run("decode", "--filters", filters, stdin=stored)
                check(name + ": decode " + filters + " of Python's output", code == 0 and out == data, err.decode())

        # The whole chain and back, through files and through the standard streams.
        chain = "compress:1,crc,crypt,base64:60"
        code, encoded, _ = run("encode", "--filters", chain, stdin=data)
        check(name + ": encode " + chain, code == 0)
        if data:
            check(name + ": chain layers are standard",
                  read_crc_blocks(bytes(b ^ 0xFF for b in base64.b64decode(encoded))) != b"")
        code, decoded, err = run("decode", "--filters", chain, stdin=encoded)
        check(name + ": chain round trip", code == 0 and decoded == data, err.decode())

    # Damaged input: exit code 1 and a message, never a crash or a hang.
    packed = zlib.compress(text)
    blocks = crc_blocks(text)
    damaged = [  # filters, input, what, the message's text (any for a flipped bit)
        ("compress", packed[:len(packed) // 2], "truncated zlib", "ends too early"),
        ("compress", packed[:100] + bytes([packed[100] ^ 0x40]) + packed[101:], "flipped zlib bit", ""),
        ("compress", b"\x78\x9d" + packed[2:], "bad zlib header", "incorrect header check"),
        ("crc", blocks[:5000], "truncated CRC block", "ends too early"),
        ("crc", blocks[:10] + bytes([blocks[10] ^ 1]) + blocks[11:], "flipped CRC data", "CRC checksum error"),
        ("crc", struct.pack("<I", 4089) + blocks[4:], "CRC length too large", "Illegal CRC block size"),
        ("crc", struct.pack("<I", 0) + blocks[4:], "CRC length zero", "Illegal CRC block size"),
    ]
    for filters, stored, what, says in damaged:
        code, out, err = run("decode", "--filters", filters, stdin=stored)
        check(what + ": exit code 1 with a message saying '" + says + "'",
              code == 1 and b"qvtool: decode:" in err and says.encode() in err, err.decode().strip())

    code, _, err = run("encode", "--filters", "compress:10", path("text"))
    check("bad level: usage error", code == 2 and b"level" in err)

sys.exit(finish())
