#!/usr/bin/env python3
"""qvtool as a user meets it: one table of command lines with their standard input, and the
exit code, standard output and error stream each must give, run under Wine.

Usage: qvtool_test.py WINE_RUN BUILD_DIR QVTOOL.exe
Each row runs in a fresh folder holding the sample files; "{dir}" in an argument is that
folder as Wine names it. Expected texts are fragments that must appear ("!" first: must not);
"{missing}" stands for the system's own text for a missing file, asked of the system in the
same run, never a copy of Windows' English. A row whose stdout goes to "full" writes into
/dev/full, a device that refuses every byte; a "console" row runs on a terminal, where Wine
gives qvtool a console.

Text fragments are UTF-8, the encoding qvtool writes into pipes: a text row's output must
decode as UTF-8 as a whole. The rows over names and documents in many scripts take what they
expect from Python's own reading of the same files (ElementTree, configparser, hashlib).
"""
import configparser
import hashlib
import os
import re
import shlex
import shutil
import struct
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ET
import zlib

wine_run, build, qvtool = sys.argv[1:4]
here = os.path.dirname(os.path.abspath(__file__))
samples = os.path.join(here, "..", "..", "tools", "qvtool", "sample")


def windows(path):
    return "Z:" + path.replace("/", "\\")


def run(args, stdin=b"", full=False):
    out = open("/dev/full", "wb") if full else subprocess.PIPE
    try:
        done = subprocess.run([wine_run, build, qvtool] + args, input=stdin, stdout=out, stderr=subprocess.PIPE,
                              timeout=120)
    finally:
        if full:
            out.close()
    stdout = b"" if full else done.stdout
    return done.returncode, stdout, done.stderr


# On a terminal Wine's console draws the text with escape sequences around it, and the
# terminal sends both streams back as one.
def run_on_console(args):
    command = " ".join(shlex.quote(a) for a in [wine_run, build, qvtool] + args)
    done = subprocess.run(["script", "-qec", command, "/dev/null"], stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=120)
    shown = re.sub(rb"\x1b(\[[?0-9;]*[A-Za-z]|\][^\x07]*\x07)", b"", done.stdout)
    return done.returncode, shown, b""


# Text in ten scripts: Latin with diacritics beyond the Western code page, Greek, Cyrillic,
# Arabic, Hebrew, Devanagari, CJK, Thai, emoji outside the basic plane (two UTF-16 units each)
# and combining marks (kept decomposed: the marks must arrive as marks).
SCRIPTS = [
    ("latin", "\u00c6r\u00f8sk\u00f8bing, \u0141\u00f3d\u017a, \u010ce\u0161tina"),
    ("greek", "\u0395\u03bb\u03bb\u03b7\u03bd\u03b9\u03ba\u03ac"),
    ("cyrillic", "\u041a\u0438\u0440\u0438\u043b\u043b\u0438\u0446\u0430"),
    ("arabic", "\u0627\u0644\u0639\u0631\u0628\u064a\u0629"),
    ("hebrew", "\u05e2\u05d1\u05e8\u05d9\u05ea"),
    ("devanagari", "\u0926\u0947\u0935\u0928\u093e\u0917\u0930\u0940"),
    ("cjk", "\u65e5\u672c\u8a9e \u4e2d\u6587 \ud55c\uad6d\uc5b4"),
    ("thai", "\u0e20\u0e32\u0e29\u0e32\u0e44\u0e17\u0e22"),
    ("emoji", "\U0001f3b9 \U0001f3b5"),
    ("combining", "Cafe\u0301 n\u0303 A\u030a"),
]
JAPANESE = "\u65e5\u672c\u8a9e"


# A catalog whose every element holds one script in an attribute and in its text.
def scripts_xml():
    root = ET.Element("catalog")
    for label, text in SCRIPTS:
        ET.SubElement(root, "Item", id=label, title=text + " & <" + label + ">").text = text
    return ET.tostring(root, encoding="utf-8", xml_declaration=True)


def scripts_ini():
    ini = configparser.ConfigParser(interpolation=None)
    ini.optionxform = str
    ini["Scripts"] = dict(SCRIPTS)
    ini[SCRIPTS[1][1]] = {JAPANESE: SCRIPTS[8][1]}
    with tempfile.TemporaryFile("w+", encoding="utf-8") as f:
        ini.write(f, space_around_delimiters=False)
        f.seek(0)
        return f.read().encode("utf-8")


def expected_xml(tags):
    root = ET.fromstring(scripts_xml())
    return [(e.tag + " " if tags else " ") + f'id="{e.get("id")}" title="{e.get("title")}": {e.text}\r\n' for e in root]


def expected_ini():
    ini = configparser.ConfigParser(interpolation=None)
    ini.optionxform = str
    ini.read_string(scripts_ini().decode("utf-8"))
    return [f"[{name}]\r\n" for name in ini.sections()] + [
        f"{key}={value}\r\n" for name in ini.sections() for key, value in ini[name].items()]


def prepare(folder):
    for sample in ("settings.ini", "catalog.xml", "catalog.xsd", "sample.png", "badge.png"):
        shutil.copy(os.path.join(samples, sample), folder)
    os.mkdir(os.path.join(folder, "sub"))
    for name, data in [("cp1252.txt", b"caf\xe9 \x80"), ("sub/deep.ini", b"[A]\r\nb=c\r\n"), ("old.bin", b"OLD")]:
        with open(os.path.join(folder, name), "wb") as f:
            f.write(data)
    open(os.path.join(folder, "empty.bin"), "wb").close()
    # Sparse: 4 GiB of holes cost no disk space, and only the marker is written.
    with open(os.path.join(folder, "sparse.bin"), "wb") as f:
        f.truncate((1 << 32) + 64)
        f.seek(1 << 32)
        f.write(b"FAR!")
    with open(os.path.join(folder, "many.ini"), "w", newline="\r\n") as f:
        for i in range(3000):
            f.write(f"[Section{10000 + i}]\nk=v\n")
    os.mkdir(os.path.join(folder, "scripts"))
    for label, text in SCRIPTS:
        with open(os.path.join(folder, "scripts", text + ".txt"), "wb") as f:
            f.write(label.encode())
    for name, data in [("scripts.xml", scripts_xml()), ("scripts.ini", scripts_ini())]:
        with open(os.path.join(folder, name), "wb") as f:
            f.write(data)


D = "{dir}\\"
BIN = windows(os.path.dirname(os.path.abspath(qvtool))) + "\\"  # the folder of qvtool.exe and qvcore.dll


# Object streams built here from the format's definition: class ids hashed from the names
# (each character a signed byte, h = h + ((2h) xor c) in 32 bits), little-endian items.
def class_id(name):
    h = 0
    for c in name.encode("latin-1"):
        h = (h + ((2 * h) ^ (c - 256 if c > 127 else c))) & 0xFFFFFFFF
    return h - (1 << 32) if h >= 1 << 31 else h


def i32(value):
    return struct.pack("<i", value)


def wide(text):
    units = text.encode("utf-16-le")
    return i32(len(units)) + units


THEME = class_id("qvtool::sample::Theme")
# A theme (a singleton) and a back-reference to it: 24 + 12 bytes.
THEMES = i32(THEME) + struct.pack("<h", 1) + wide("Night") + i32(7) + i32(0) + struct.pack("<I", 0x96190311) + i32(0)
# name, arguments, standard input, exit code, stdout fragments, stderr fragments, files' fragments, options
ROWS = [
    # Help, version and usage errors, the same for every command.
    ("help", ["--help"], b"", 0, ["Commands:", "md5", "ini", "Exit codes"], [], {}, {}),
    ("help for a command", ["help", "md5"], b"", 0, ["FILE", "--quiet"], [], {}, {}),
    ("a command's --help", ["convert", "--help"], b"", 0, ["--from", "--info"], [], {}, {}),
    ("version", ["--version"], b"", 0, ["qvcore.dll 1."], [], {}, {}),
    ("no command", [], b"", 2, [], ["no command given", "--help"], {}, {}),
    ("unknown command", ["frob"], b"", 2, [], ["frob", "--help"], {}, {}),
    ("unknown option", ["md5", "--bogus"], b"", 2, [], ["--bogus", "qvtool md5 --help"], {}, {}),
    ("-- ends the options", ["md5", "--", "--bogus"], b"", 1, [], ["cannot open '--bogus': {missing}"], {}, {}),
    ("help to a full device", ["--help"], b"", 1, [], ["cannot write standard output"], {}, {"full": True}),
    # md5
    ("md5 of standard input", ["md5"], b"abc", 0, ["900150983cd24fb0d6963f7d28e17f72  -"], [], {}, {}),
    ("md5 of a file and a missing one", ["md5", D + "old.bin", D + "absent.txt"], b"", 1,
     ["\\old.bin"], ["cannot open '", "absent.txt': {missing}"], {}, {}),
    ("md5 to a full device", ["md5"], b"abc", 1, [], ["cannot write standard output"], {}, {"full": True}),
    # now, du, sysinfo, ls
    ("now", ["now"], b"", 0, ["time (UTC):", "UTC bias:"], [], {}, {}),
    ("du", ["du", D + "old.bin"], b"", 0, ["3\t"], [], {}, {}),
    # Wine's sound library may add a line of its own on the error stream here.
    ("sysinfo", ["sysinfo", "--env", "QVTOOL_NONE"], b"", 0, ["processor:", "%QVTOOL_NONE%: (unset"], [], {},
     {"stderr_any": True}),
    ("ls", ["ls", "{dir}"], b"", 0, ["settings.ini", "<DIR>"], [], {}, {}),
    ("ls -r matches the pattern in sub-directories", ["ls", "-r", D + "*.ini"], b"", 0,
     ["settings.ini", "sub\\deep.ini"], [], {}, {}),
    ("ls of nothing", ["ls", D + "*.none"], b"", 1, [], ["nothing matches"], {}, {}),
    # Text in every script, through a pipe: names, documents, settings, arguments and errors.
    # qvtool's manifest makes UTF-8 its ANSI code page, so the narrow file functions take and
    # give names beyond the system's (1252 here): "qvtool md5 '日本語 中文 한국어.txt'" opens the file.
    ("ls: names in every script", ["ls", D + "scripts"], b"", 0, [f" {text}.txt\r\n" for _, text in SCRIPTS], [],
     {}, {}),
    ("md5 of names in every script", ["md5"] + [D + "scripts\\" + text + ".txt" for _, text in SCRIPTS], b"", 0,
     [f"{hashlib.md5(label.encode()).hexdigest()}  {{dir}}\\scripts\\{text}.txt\n" for label, text in SCRIPTS], [], {},
     {}),
    ("an error names a file in every script", ["md5", D + SCRIPTS[5][1] + SCRIPTS[8][1] + SCRIPTS[9][1]], b"", 1, [],
     ["cannot open '{dir}\\" + SCRIPTS[5][1] + SCRIPTS[8][1] + SCRIPTS[9][1] + "': {missing}\r\n"], {}, {}),
    ("xml: text and attributes in every script", ["xml", D + "scripts.xml", "//Item", "--attr", "id", "--attr",
                                                  "title", "--text", "--generation", "4"], b"", 0,
     expected_xml(tags=True), [], {}, {}),
    ("xml: every script with the first generation", ["xml", D + "scripts.xml", "Item", "--attr", "id", "--attr",
                                                     "title", "--text", "--generation", "1"], b"", 0,
     expected_xml(tags=False), [], {}, {}),
    ("ini list: sections, keys and values in every script", ["ini", D + "scripts.ini", "list"], b"", 0,
     expected_ini(), [], {}, {}),
    ("ini get: a section and key in other scripts", ["ini", D + "scripts.ini", "get", SCRIPTS[1][1], JAPANESE], b"", 0,
     [SCRIPTS[8][1] + "\r\n"], [], {}, {}),
    ("ini set writes UTF-8", ["ini", D + "new.ini", "set", SCRIPTS[2][1], "thai", SCRIPTS[7][1]], b"", 0, [], [],
     {"new.ini": [f"[{SCRIPTS[2][1]}]".encode(), f"thai={SCRIPTS[7][1]}".encode()]}, {}),
    ("args in every script", ["args", " ".join(text for _, text in SCRIPTS)], b"", 0,
     ["argument  '" + " ".join(text for _, text in SCRIPTS) + "' (the document path)\r\n"], [], {}, {}),
    # --ansi: the system's ANSI code page (1252 here) for old consumers, "?" for what it lacks.
    ("--ansi writes the ANSI code page", ["--ansi", "xml", D + "scripts.xml", "//Item", "--attr", "title",
                                          "--generation", "4"], b"", 0,
     # (Wine writes a "?" for each half of a surrogate pair, Python one for the character.)
     [f'title="{text} & <{label}>"\r\n'.encode("cp1252", "replace") for label, text in SCRIPTS if label != "emoji"],
     [], {}, {}),
    ("--ansi after the command, on the error stream", ["md5", D + "caf\u00e9 \u0395.txt", "--ansi"], b"", 1, [],
     [b"caf\xe9 ?.txt': "], {}, {}),
    ("xml on a console: the sample catalog through the wide console output",
     ["xml", D + "catalog.xml", "Item", "--attr", "title", "--generation", "4"], b"", 0,
     ['title="Caf\u00e9 piano"'], [], {}, {"console": True}),
    # chunks
    ("chunks of the sample", ["chunks"], b"", 0, ["(embedded sample)", "identical"], [], {}, {}),
    ("chunks of standard input", ["chunks", "--piece", "2", "-"], b"abcde", 0, ["5 bytes appended in 3 piece(s)"],
     [], {}, {}),
    ("chunks --piece 0", ["chunks", "--piece", "0"], b"", 2, [], ["--piece"], {}, {}),
    # convert: bytes checked exactly
    ("convert 1252 to utf-8, files", ["convert", "--from", "1252", "--to", "utf-8", D + "cp1252.txt", D + "out.txt"],
     b"", 0, [], [], {"out.txt": b"caf\xc3\xa9 \xe2\x82\xac"}, {}),
    ("convert 1252 to utf-16le, pipes", ["convert", "--from", "1252", "--to", "utf-16le"], b"caf\xe9 \x80", 0,
     [b"c\0a\0f\0\xe9\0 \0\xac\x20"], [], {}, {}),
    ("convert utf-16le back to 1252", ["convert", "--from", "utf-16le", "--to", "1252", "-"],
     b"c\0a\0f\0\xe9\0 \0\xac\x20", 0, [b"caf\xe9 \x80"], [], {}, {}),
    ("convert: characters 437 lacks become its default", ["convert", "--from", "UTF-8", "--to", "437", "--info"],
     "caf\u00e9\u20ac".encode(), 0, [b"caf\x82?"], ["some characters replaced"], {}, {}),
    ("convert --info finds invalid UTF-8", ["convert", "--from", "utf-8", "--to", "utf-16le", "--info"],
     b"abc\xff\xfeok", 0, [], ["2 invalid sequence(s), the first at byte 3"], {}, {}),
    ("convert: unknown code page", ["convert", "--from", "99999", "--to", "utf-8"], b"", 2, [],
     ["unknown code page '99999'"], {}, {}),
    ("convert: odd utf-16le", ["convert", "--from", "utf-16le", "--to", "utf-8"], b"abc", 1, [],
     ["odd byte count"], {}, {}),
    ("convert to a full device", ["convert", "--from", "1252", "--to", "utf-8"], b"abc", 1, [],
     ["cannot write"], {}, {"full": True}),
    # encode and decode
    ("encode base64 width 0: one line", ["encode", "--filters", "base64:0"], b"x" * 100, 0,
     [b"eHh4" * 33 + b"eA=="], [], {}, {"no_newline_in_stdout": True}),
    ("encode: unknown filter", ["encode", "--filters", "zip"], b"", 2, [], ["unknown filter 'zip'"], {}, {}),
    ("decode base64", ["decode", "--filters", "base64"], b"YWJj\n", 0, [b"abc"], [], {}, {}),
    ("decode rejects a character outside the alphabet", ["decode", "--filters", "base64"], b"YW!j", 1, [],
     ["outside the Base64 alphabet (0x21) at byte 2"], {}, {}),
    ("decode --ignore-garbage skips it", ["decode", "--filters", "base64", "--ignore-garbage"], b"YW!Jj", 0,
     [b"abc"], [], {}, {}),
    ("decode rejects cut text", ["decode", "--filters", "base64"], b"YWJjZA=", 1, [], ["cut short"], {}, {}),
    ("a failed decode leaves the old file", ["decode", "--filters", "base64", "-", D + "old.bin"], b"YW!j", 1, [],
     ["byte 2"], {"old.bin": b"OLD"}, {}),
    # sample-graph and dump
    ("sample-graph", ["sample-graph", D + "s.graph"], b"", 0, [], [],
     {"s.graph": [wide("Evening"), wide("Kind of Blue"), b"\x11\x03\x19\x96"]}, {}),
    ("dump lists objects and back-references", ["dump"], THEMES, 0,
     [f"object qvtool::sample::Theme, class id {THEME}, version 1, bytes 0-23", "#1", "singleton back-reference to #0",
      "2 items in 36 bytes"], [], {}, {}),
    ("dump through --filters", ["dump", "--filters", "compress"], zlib.compress(THEMES), 0,
     ["singleton back-reference to #0", "2 items in 36 bytes"], [], {}, {}),
    ("dump: a class qvtool does not know", ["dump"], i32(123456) + b"\x01\x00", 1,
     ["object of an unknown class, class id 123456"], ["at byte 4: Unexpected object in stream"], {}, {}),
    ("dump: data cut short", ["dump"], THEMES[:20], 1, ["Theme", "cut short"], ["ends too early"], {}, {}),
    # log
    ("log", ["log", D + "x.log", "hello", "world"], b"", 0, ["1 line(s) logged"], [],
     {"x.log": [b"hello world\r\n"]}, {}),
    ("log of standard input with '-'", ["log", D + "x.log", "-"], b"one\ntwo\n", 0, ["2 line(s) logged"], [],
     {"x.log": [b"one\r\n", b"two\r\n"]}, {}),
    ("log needs text", ["log", D + "x.log"], b"", 2, [], ["TEXT"], {}, {}),
    ("log --tag leaves nothing behind", ["log", D + "x.log", "--tag", "tagged", "hi"], b"", 0, [], [],
     {"x.log": [b"tagged"]}, {"no_tag_leftovers": True}),
    # ini
    ("ini list", ["ini", D + "settings.ini", "list"], b"", 0,
     ["[Playback]", "Volume=0.750000", "[Window]", "PosX=120"], [], {}, {}),
    ("ini get a point", ["ini", D + "settings.ini", "get", "Window", "Pos", "--type", "point"], b"", 0,
     ["120,80"], [], {}, {}),
    ("ini set a rectangle", ["ini", D + "settings.ini", "set", "Window", "Frame", "1,2,3,4", "--type", "rect"], b"", 0,
     [], [], {"settings.ini": [b"FrameLeft=1", b"FrameBottom=4", b"PosX=120"]}, {}),
    ("ini set creates a missing file", ["ini", D + "new.ini", "set", "A", "b", "c"], b"", 0, [], [],
     {"new.ini": [b"[A]", b"b=c"]}, {}),
    ("ini delete a key", ["ini", D + "settings.ini", "delete", "Playback", "Loop"], b"", 0, [], [],
     {"settings.ini": [b"Volume=0.750000", b"!Loop="]}, {}),
    ("ini: unknown action", ["ini", D + "settings.ini", "frob"], b"", 2, [], ["unknown action 'frob'", "--help"], {},
     {}),
    ("ini: unknown type", ["ini", D + "settings.ini", "get", "A", "b", "--type", "float"], b"", 2, [], ["float"], {},
     {}),
    ("ini of a missing file", ["ini", D + "absent.ini", "get", "A", "b"], b"", 1, [], ["absent.ini': {missing}"], {},
     {}),
    ("ini: missing key", ["ini", D + "settings.ini", "get", "Window", "Nope"], b"", 1, [], ["has no Nope in [Window]"],
     {}, {}),
    ("ini: signature mismatch", ["ini", D + "settings.ini", "list", "--signature", "QV1"], b"", 1, [], ["signature"],
     {}, {}),
    ("ini: a bad value leaves the file as it was",
     ["ini", D + "settings.ini", "set", "Window", "PosX", "wide", "--type", "int"], b"", 1, [],
     ["'wide' is not an integer"], {"settings.ini": [b"; Settings of the sample player", b"PosX=120"]}, {}),
    ("ini: too many sections are warned of and kept", ["ini", D + "many.ini", "set", "A", "b", "c"], b"", 1, [],
     ["warning:", "no section was read", "left unchanged"], {"many.ini": [b"[Section10000]"]}, {}),
    # args, modules, version: the application and module classes
    ("args: options, the document path, both flags", ["args", "/regserver", "-UNREGSERVER", "file.txt", "other.txt", "-"],
     b"", 0, ["option    'regserver'", "option    'UNREGSERVER'", "argument  'file.txt' (the document path)",
              "'other.txt' (ignored", "option    ''", "document path: file.txt", "registering:   yes",
              "unregistering: yes"], [], {}, {}),
    ("args without arguments", ["args"], b"", 0, ["document path: \r\nregistering:   no\r\nunregistering: no"], [],
     {}, {}),
    ("modules lists qvcore.dll with its version", ["modules"], b"", 0,
     ["Address     Version                  Module name", "1.0.0.0                  " + BIN + "qvcore.dll"], [], {},
     {}),
    ("version of qvcore.dll", ["version", BIN + "qvcore.dll"], b"", 0,
     ["file version:    1.0.0.0", "product version: 1.0.0.0"], [], {}, {}),
    ("version of a file without one", ["version", D + "old.bin"], b"", 1, [], ["has no version information"], {}, {}),
    # color: either form in, both out.
    ("color from #RRGGBB", ["color", "#00FF00"], b"", 0, ["#00FF00  hsb 0.3333333333,1,1  COLORREF 0x0000FF00"], [],
     {}, {}),
    ("color from RRGGBB", ["color", "ff8000"], b"", 0, ["#FF8000  hsb 0.08366013072,1,1  COLORREF 0x000080FF"], [],
     {}, {}),
    ("color from H,S,B with a wrapping hue", ["color", "1.5, 1, 1"], b"", 0, ["#00FFFF  hsb 1.5,1,1"], [], {}, {}),
    ("color: truncated channels", ["color", "0.6666666667,1,0.192"], b"", 0, ["#000030"], [], {}, {}),
    ("color: saturation beyond 1", ["color", "0.5,2,1"], b"", 2, [], ["neither #RRGGBB nor H,S,B"], {}, {}),
    ("color: not a colour", ["color", "#12345"], b"", 2, [], ["neither #RRGGBB nor H,S,B"], {}, {}),
    # map: hex dumps of ranges, beyond 4 GiB too (a sparse file).
    ("map of a range", ["map", D + "cp1252.txt", "1", "2"], b"", 0, ["00000001  61 66", "  |af|"], [], {}, {}),
    ("map beyond 4 GiB", ["map", D + "sparse.bin", "0x100000000", "4"], b"", 0, ["100000000  46 41 52 21", "|FAR!|"],
     [], {}, {}),
    ("map over two lines", ["map", D + "settings.ini", "0", "0x14"], b"", 0,
     ["00000000  3b 20 53 65 74 74 69 6e  67 73 20 6f 66 20 74 68  |; Settings of th|", "00000010  65 20 73 61",
      "|e sa|"], [], {}, {}),
    ("map: non-printing bytes as dots", ["map", D + "cp1252.txt"], b"", 0, ["63 61 66 e9 20 80", "|caf. .|"], [], {},
     {}),
    ("map of an empty file", ["map", D + "empty.bin"], b"", 0, [], [], {}, {}),
    ("map beyond the end", ["map", D + "old.bin", "9"], b"", 1, [], ["offset 9 is beyond the end", "(3 bytes)"], {}, {}),
    ("map of a missing file", ["map", D + "absent.bin"], b"", 1, [], ["cannot open '", "absent.bin': {missing}"], {},
     {}),
    ("map: a bad offset", ["map", D + "old.bin", "x1"], b"", 2, [], ["not a byte count"], {}, {}),
    # image: the sample pictures (their pixels are checked against Python's imaging library in
    # tests/graphics/image_interop.py)
    ("image info", ["image", "info", D + "sample.png", D + "badge.png"], b"", 0,
     ["sample.png: PNG 24x16, 32 bpp, alpha, 1 frame", "badge.png: PNG 10x10, 32 bpp, alpha, 1 frame"], [], {}, {}),
    ("image convert to a BMP with its alpha declared", ["image", "convert", D + "sample.png", D + "out.bmp"], b"", 0,
     [], [], {"out.bmp": [b"BM", struct.pack("<I", 124), struct.pack("<I", 0xFF000000)]}, {}),
    ("image compose to standard output", ["image", "compose", D + "sample.png", D + "badge.png", "-", "--at", "3,4"],
     b"", 0, [b"BM"], [], {}, {}),
    ("image without a subcommand", ["image"], b"", 2, [], ["image", "--help"], {}, {}),
    ("image compose: opacity beyond 255", ["image", "compose", D + "sample.png", D + "badge.png", D + "o.png",
                                          "--opacity", "300"], b"", 2, [], ["--opacity"], {}, {}),
    ("image compose: a bad position", ["image", "compose", D + "sample.png", D + "badge.png", D + "o.png", "--at",
                                      "3;4"], b"", 2, [], ["not a position X,Y"], {}, {}),
    ("image info of a file that is no image", ["image", "info", D + "settings.ini", D + "badge.png"], b"", 1,
     ["badge.png: PNG"], ["cannot decode '", "settings.ini': ", "(0x"], {}, {}),
    ("image convert of a missing file", ["image", "convert", D + "absent.png", D + "out.png"], b"", 1, [],
     ["cannot open '", "absent.png': {missing}"], {}, {}),
    # xml: the sample catalog (tags as the first generation reports them: upper case on Wine)
    ("xml: the root", ["xml", D + "catalog.xml", "--attr", "name"], b"", 0, ['catalog name="Sample library"'], [],
     {}, {}),
    ("xml: XPath with the newer generation", ["xml", D + "catalog.xml", "//Item", "--attr", "id", "--text",
                                              "--generation", "4"], b"", 0,
     ['Item id="1":', 'Item id="4": beach.jpg'], [], {}, {}),
    ("xml: a tag pattern with the first", ["xml", D + "catalog.xml", "Item|Group", "--attr", "id", "--generation", "1"],
     b"", 0, ['id="1"', 'id="2"', 'id="3"', 'id="5"'], [], {}, {}),
    ("xml: valid", ["xml", D + "catalog.xml", "--validate", D + "catalog.xsd", "--generation", "4"], b"", 0,
     ["catalog.xml: valid"], [], {}, {}),
    ("xml: no validation with the first generation",
     ["xml", D + "catalog.xml", "--validate", D + "catalog.xsd", "--generation", "1"], b"", 1, [],
     ["MSXML1 parser does not support validation"], {}, {}),
    ("xml: a malformed document", ["xml", "-", "--generation", "1"], b"<a><b></a>", 1, [],
     ["qvtool: xml: '(standard input)':", "Unexpected COM error."], {}, {}),
    ("xml: a missing file", ["xml", D + "absent.xml", "--generation", "1"], b"", 1, [], ["absent.xml' not found"], {},
     {}),
    ("xml: unknown generation", ["xml", D + "catalog.xml", "--generation", "3"], b"", 2, [], ["--generation"], {}, {}),
]


def as_bytes(fragment):
    return fragment if isinstance(fragment, bytes) else fragment.encode("utf-8")


def tag_leftovers():
    prefix = os.path.join(build, "wine", "prefix", "drive_c", "users")
    found = []
    for root, dirs, _ in os.walk(prefix):
        found += [os.path.join(root, d) for d in dirs if d.startswith("qvtool-tag-")]
    return found


failures = 0
with tempfile.TemporaryDirectory() as base:
    probe = os.path.join(base, "probe")
    os.mkdir(probe)
    missing = run(["md5", windows(os.path.join(probe, "absent"))])[2].decode("utf-8").rsplit(": ", 1)[-1].strip()
    for number, (name, args, stdin, want_code, want_out, want_err, files, options) in enumerate(ROWS):
        folder = os.path.join(base, f"row{number}")
        os.mkdir(folder)
        prepare(folder)
        where = windows(folder)
        args = [a.replace("{dir}", where) for a in args]
        if options.get("console"):
            code, out, err = run_on_console(args)
        else:
            code, out, err = run(args, stdin, options.get("full", False))
        problems = []
        if code != want_code:
            problems.append(f"exit code {code}, want {want_code}")
        for fragment in want_out:
            if as_bytes(fragment).replace(b"{dir}", where.encode()) not in out:
                problems.append(f"stdout lacks {fragment!r}")
        for fragment in want_err:
            if isinstance(fragment, str):
                fragment = fragment.replace("{missing}", missing).replace("{dir}", where)
            if as_bytes(fragment) not in err:
                problems.append(f"stderr lacks {fragment!r}")
        if any(isinstance(f, str) for f in want_out):
            try:
                out.decode("utf-8")
            except UnicodeDecodeError as e:
                problems.append(f"stdout is not UTF-8: {e}")
        if want_code == 0 and err and not want_err and not options.get("stderr_any"):
            problems.append("unexpected stderr")
        if options.get("no_newline_in_stdout") and out.rstrip(b"\r\n").count(b"\n"):
            problems.append("more than one line")
        for file, expected in files.items():
            with open(os.path.join(folder, file), "rb") as f:
                data = f.read()
            if isinstance(expected, bytes):
                if data != expected:
                    problems.append(f"{file} holds {data!r}, want {expected!r}")
                continue
            for fragment in expected:
                absent = fragment.startswith(b"!")
                if (fragment[1:] in data) if absent else (fragment not in data):
                    problems.append(f"{file}: {'has' if absent else 'lacks'} {fragment.lstrip(b'!')!r}")
        leftovers = [n for n in os.listdir(folder) if ".qvtool-" in n]
        if leftovers:
            problems.append(f"left behind {leftovers}")
        if options.get("no_tag_leftovers") and tag_leftovers():
            problems.append(f"left behind {tag_leftovers()}")
        if problems:
            failures += 1
            print(f"FAIL {name}: " + "; ".join(problems) + f"\n     stdout {out[:300]!r}\n     stderr {err[:300]!r}")
        else:
            print(f"ok   {name}")

print(f"{len(ROWS) - failures} passed, {failures} failed")
sys.exit(1 if failures else 0)
