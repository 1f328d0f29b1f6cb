#!/usr/bin/env python3
"""Renders the pictures of the documentation: tools/make-images.py [name]...   (default: all of them)

Takes the release build's programs. The PNG files hold exactly the pixels that these wrote.
"""
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import zlib

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
IMAGES = {
    "room_vn": "--texattr 7 room_vn",
    "room_vn-plain": "--resolution 512 384 room_vn",
    "room_vn-dirt": "--resolution 512 384 --texattr 7 --dirt room_vn",
    "mirror": "mirror",
    "glass": "glass",
    "shading": "shading",
    "bricks": "--texattr 0 --dirt bricks",
    "pyramid": "pyramid",  # the example of docs/scene-format.md
}
# Of tools/make-models.py, side by side.
MODELS = {"knot": (512, 384, ["knot.ply"]),
          "models": (256, 192, ["table.obj", "knot.ply", "gear.stl", "pawn.gltf", "house.dae"])}
FRAME = 2  # black pixels around each of several models


def read_bmp(path):
    """Width and the rows from top to bottom, as red, green and blue bytes."""
    with open(path, "rb") as file:
        data = file.read()
    width, height = struct.unpack("<ii", data[18:26])
    stride = (width * 3 + 3) // 4 * 4
    rows = []
    for y in reversed(range(height)):
        row = bytearray(data[54 + y * stride:54 + y * stride + width * 3])
        row[0::3], row[2::3] = row[2::3], row[0::3]
        rows.append(bytes(row))
    return width, rows


def filtered(row, above):
    """The row in the PNG filter that leaves the smallest bytes, which is what compresses best."""
    left, corner = bytes(3) + row[:-3], bytes(3) + above[:-3]

    def paeth(a, b, c):
        pa, pb, pc = abs(b - c), abs(a - c), abs(a + b - 2 * c)
        return a if pa <= pb and pa <= pc else b if pb <= pc else c

    guesses = (bytes(len(row)), left, above, bytes((a + b) // 2 for a, b in zip(left, above)),
               bytes(map(paeth, left, above, corner)))
    tries = [bytes([kind]) + bytes((x - g) & 255 for x, g in zip(row, guess)) for kind, guess in enumerate(guesses)]
    return min(tries, key=lambda t: sum(min(x, 256 - x) for x in t[1:]))


def write_png(path, width, rows):
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    pixels = b"".join(filtered(row, above) for row, above in zip(rows, [bytes(width * 3)] + rows))
    header = struct.pack(">IIBBBBB", width, len(rows), 8, 2, 0, 0, 0)
    with open(path, "wb") as file:
        file.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(pixels, 9)) +
                   chunk(b"IEND", b""))


def write_example(folder):
    """The files that the page on scene files shows."""
    with open(os.path.join(ROOT, "docs", "scene-format.md"), encoding="utf-8") as page:
        for path, text in re.findall(r"File `([^`]+)`:\n\n```text\n([^`]*)```", page.read()):
            os.makedirs(os.path.dirname(os.path.join(folder, path)), exist_ok=True)
            with open(os.path.join(folder, path), "w", encoding="ascii") as out:
                out.write(text)


def framed(pictures):
    """One picture of several, in a black frame."""
    side, width = bytes(3 * FRAME), sum(width + 2 * FRAME for width, _ in pictures)
    rows = [b"".join(side + row + side for row in line) for line in zip(*(rows for _, rows in pictures))]
    return width, [bytes(3 * width)] * FRAME + rows + [bytes(3 * width)] * FRAME


def draw_models(name, work):
    width, height, models = MODELS[name]
    pictures = []
    for model in models:
        subprocess.run([os.path.join(ROOT, "build", "release", "rt-render"), "--quiet", "--ground",
                        "--resolution", str(width), str(height), "--out", "model.bmp", model], cwd=work, check=True)
        pictures.append(read_bmp(os.path.join(work, "model.bmp")))
    return framed(pictures) if len(pictures) > 1 else pictures[0]


def main():
    program = os.path.join(ROOT, "build", "release", "RayTracer")
    folder = os.path.join(ROOT, "docs", "images")
    os.makedirs(folder, exist_ok=True)
    with tempfile.TemporaryDirectory() as work:  # a cache and a log of its own
        shutil.copytree(os.path.join(ROOT, "Scenes"), os.path.join(work, "Scenes"))
        write_example(work)
        subprocess.run([sys.executable, os.path.join(ROOT, "tools", "make-models.py"), work], check=True)
        for name in sys.argv[1:] or [*IMAGES, *MODELS]:
            if name in MODELS:
                write_png(os.path.join(folder, name + ".png"), *draw_models(name, work))
                print(f"docs/images/{name}.png: rt-render --ground {' '.join(MODELS[name][2])}")
                continue
            picture = os.path.join(work, name + ".bmp")
            subprocess.run([program, *IMAGES[name].split(), "--out", picture], cwd=work, stdout=subprocess.DEVNULL)
            write_png(os.path.join(folder, name + ".png"), *read_bmp(picture))
            print(f"docs/images/{name}.png: RayTracer {IMAGES[name]}")


main()
