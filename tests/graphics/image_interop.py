#!/usr/bin/env python3
"""Images between qvtool (the library's imaging classes under Wine) and Python's imaging library
(Debian's python3-pil), which is the oracle: files of every format it writes are decoded by
qvtool and written again as PNG and BMP, and PIL's own reading of both is compared with its
reading of the original pixel for pixel (JPEG, decoded by two different decoders, within a
tolerance); composition is compared with PIL's alpha_composite.

Usage: image_interop.py WINE_RUN BUILD_DIR QVTOOL.exe
"""
import io
import os
import random
import subprocess
import sys
import tempfile

from PIL import Image

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from winecheck import check, finish  # noqa: E402

wine_run, build, qvtool = sys.argv[1:4]
# Two JPEG decoders may round the colour transform and upsampling differently: each channel
# within this many levels.
JPEG_TOLERANCE = 6
# Composition is compared premultiplied (colour times alpha), where 8-bit rounding of the blend
# and of dividing back can differ by this much; alpha itself within 1.
COMPOSE_TOLERANCE = 2


def windows(path):
    return "Z:" + path.replace("/", "\\")


def qv(*args, stdin=b""):
    done = subprocess.run([wine_run, build, qvtool, "image"] + list(args), input=stdin, capture_output=True,
                          timeout=120)
    return done.returncode, done.stdout, done.stderr.decode("cp1252", "replace")


def rgba(image):
    return list(image.convert("RGBA").getdata())


def worst(a, b):
    return max((abs(x - y) for p, q in zip(a, b) for x, y in zip(p, q)), default=0)


def noise(size, mode, rng):
    image = Image.new(mode, size)
    channels = len(mode)
    image.putdata([tuple(rng.randrange(256) for _ in range(channels)) if channels > 1 else rng.randrange(256)
                   for _ in range(size[0] * size[1])])
    return image


rng = random.Random(20261125)
folder = tempfile.mkdtemp(prefix="qvimage-")
made = {}


def save(name, image, **options):
    path = os.path.join(folder, name)
    image.save(path, **options)
    made[name] = path
    return path


rgba_noise = noise((37, 23), "RGBA", rng)
rgba_noise.putpixel((0, 0), (10, 20, 30, 0))  # a transparent pixel keeps its colour in PNG
save("rgba.png", rgba_noise)
save("rgb.bmp", noise((33, 17), "RGB", rng))
save("rgba.tif", rgba_noise)
save("rgb.tif", noise((19, 11), "RGB", rng))
palette = noise((25, 14), "L", rng).convert("P")
save("palette.gif", palette, transparency=7)
save("palette.png", palette)
frames = [Image.new("P", (12, 9), colour) for colour in (1, 2, 3)]
save("animated.gif", frames[0], save_all=True, append_images=frames[1:])
save("icon.ico", noise((16, 16), "RGBA", rng), sizes=[(16, 16)])
smooth = Image.new("RGB", (48, 32))
smooth.putdata([(x * 5, y * 7, (x + y) * 3) for y in range(32) for x in range(48)])
save("photo.jpg", smooth, quality=90)

# format, size, bits per pixel, alpha, frames as qvtool must describe each
described = {
    "rgba.png": "PNG 37x23, 32 bpp, alpha, 1 frame",
    "rgb.bmp": "BMP 33x17, 24 bpp, no alpha, 1 frame",
    "rgba.tif": "TIFF 37x23, 32 bpp, alpha, 1 frame",
    "rgb.tif": "TIFF 19x11, 24 bpp, no alpha, 1 frame",
    "palette.gif": "GIF 25x14, 8 bpp, alpha, 1 frame",
    "palette.png": "PNG 25x14, 8 bpp, no alpha, 1 frame",
    "animated.gif": "GIF 12x9, 8 bpp, no alpha, 3 frames",
    "icon.ico": "ICO 16x16, 32 bpp, alpha, 1 frame",
    "photo.jpg": "JPEG 48x32, 24 bpp, no alpha, 1 frame",
}
code, out, err = qv("info", *[windows(made[name]) for name in described])
lines = out.decode("cp1252").splitlines()
check("info: exit code 0, no errors", code == 0 and not err, f"exit {code}: {err}")
for name, want in described.items():
    check(f"info {name}", any(line.endswith(f"{name}: {want}") for line in lines), f"want '{want}' in {lines}")

for name in described:
    original = Image.open(made[name])
    original.seek(0)
    expected = rgba(original)
    for ending in ("png", "bmp"):
        target = os.path.join(folder, f"{name}.{ending}")
        code, _, err = qv("convert", windows(made[name]), windows(target))
        if code != 0:
            check(f"convert {name} to {ending}", False, err)
            continue
        written = Image.open(target)
        got = rgba(written)
        if name.endswith(".jpg"):
            difference = worst(got, expected)
            check(f"convert {name} to {ending}: within {JPEG_TOLERANCE} levels", difference <= JPEG_TOLERANCE,
                  f"{difference} levels apart")
        else:
            check(f"convert {name} to {ending}: every pixel", got == expected and written.size == original.size,
                  f"first difference at {next((i for i, (a, b) in enumerate(zip(got, expected)) if a != b), None)}")

# BMP as Python reads it: 32 bits with the alpha channel declared.
written = Image.open(os.path.join(folder, "rgba.png.bmp"))
check("a BMP with alpha is read back as RGBA", written.mode == "RGBA", written.mode)

code, _, err = qv("convert", windows(made["rgba.png"]), windows(os.path.join(folder, "half.png")), "--width", "74")
check("convert --width keeps the aspect", code == 0 and Image.open(os.path.join(folder, "half.png")).size == (74, 46),
      err)

# Standard input to standard output: PNG in, BMP out.
with open(made["rgba.png"], "rb") as f:
    code, out, err = qv("convert", "-", "-", stdin=f.read())
check("convert from standard input to standard output", code == 0 and rgba(Image.open(io.BytesIO(out))) == rgba(rgba_noise),
      err)

# Composition: OVER at (5, 7) with opacity 200 onto a translucent BASE, against PIL.
base = noise((40, 30), "RGBA", rng)
over = noise((16, 12), "RGBA", rng)
over.putpixel((15, 11), (255, 255, 255, 255))
save("base.png", base)
save("over.png", over)
target = os.path.join(folder, "composed.png")
code, _, err = qv("compose", windows(made["base.png"]), windows(made["over.png"]), windows(target), "--at", "5,7",
                  "--opacity", "200")
faded = over.copy()
faded.putalpha(over.getchannel("A").point(lambda a: (a * 200 + 127) // 255))
layer = Image.new("RGBA", base.size, (0, 0, 0, 0))
layer.paste(faded, (5, 7))
expected = Image.alpha_composite(base, layer)


def premultiplied(pixels):
    return [(r * a / 255, g * a / 255, b * a / 255, a) for r, g, b, a in pixels]


if code != 0:
    check("compose", False, err)
else:
    got = rgba(Image.open(target))
    difference = worst(premultiplied(got), premultiplied(rgba(expected)))
    check(f"compose matches PIL's alpha_composite within {COMPOSE_TOLERANCE} levels", difference <= COMPOSE_TOLERANCE,
          f"{difference} levels apart")
    check("compose leaves BASE outside OVER as it was", got[0] == rgba(base)[0] and got[-1] == rgba(base)[-1])

# Damaged data: the file is named with the codec's text, and nothing is written.
with open(made["rgba.png"], "rb") as f:
    head = f.read(60)
damaged = os.path.join(folder, "damaged.png")
with open(damaged, "wb") as f:
    f.write(head)
code, _, err = qv("convert", windows(damaged), windows(os.path.join(folder, "never.png")))
check("a damaged file fails with its name and the codec's text",
      code == 1 and "cannot decode '" in err and "damaged.png': " in err and "(0x" in err, f"exit {code}: {err}")
check("nothing is written for a damaged file", not os.path.exists(os.path.join(folder, "never.png")))

sys.exit(finish())
