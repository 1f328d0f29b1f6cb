#!/usr/bin/env python3
"""Writes the bundled scenes: tools/make-scenes.py [directory]   (default: the repository this file lies in)

Every shape is made here from formulas, so the scenes can be changed and made again; two runs write the same bytes.
Lengths are metres, y points up.

  room_vn   a furnished room; material 7 is the wall that --texattr 7 turns into bricks
  mirror    mirrors that see each other          glass    refraction in balls, a vase and a pane
  shading   flat and smooth shading of one mesh  bricks   two brick walls: --texattr 0, with --dirt or without
"""
import math
import os
import random
import sys

sys.dont_write_bytecode = True          # a tool leaves nothing behind but what it was asked for
from scene_kit import Materials, Mesh, checkers, profile, shell, trefoil, write_scene


# ---------------------------------------------------------------------------------------------------------------- room

WIDTH, DEPTH, HEIGHT = 5.0, 6.0, 2.7
WINDOW = (0.95, 2.45, 0.85, 2.25)      # z from, z to, y from, y to, in the left wall
OUTSIDE = -2.4                         # where the painted sky stands
BOOKS = ("book_red", "book_blue", "book_green", "book_ochre", "book_cream", "book_plum")


def room_materials():
    m = Materials()
    m.add("ceiling", (244, 241, 234))
    m.add("plaster", (206, 214, 204))
    m.add("oak_light", (178, 128, 82), ks=0.3, gs=40, kts=0.10)
    m.add("oak_middle", (164, 114, 70), ks=0.3, gs=40, kts=0.10)
    m.add("oak_dark", (148, 100, 60), ks=0.3, gs=40, kts=0.10)
    m.add("trim", (240, 238, 230), ks=0.2, gs=30)
    m.add("walnut", (104, 66, 42), ks=0.5, gs=50, kts=0.05)
    m.add("brick_wall", (176, 134, 108), kd=1.4)
    m.add("mirror", (238, 242, 242), kd=0.03, ks=0.6, gs=200, kts=0.92)
    m.add("glass", (226, 244, 238), kd=0.02, ks=1.2, gs=300, kts=0.08, kf=0.9, eta=1.5)
    m.add("brass", (222, 178, 92), kd=0.5, ks=0.9, gs=60, kts=0.35)
    m.add("chrome", (226, 230, 234), kd=0.12, ks=1.0, gs=120, kts=0.75)
    m.add("sofa", (62, 100, 116))
    m.add("pillow_ochre", (218, 160, 62))
    m.add("pillow_rose", (202, 112, 98))
    m.add("rug", (150, 62, 56))
    m.add("rug_border", (222, 204, 172))
    m.add("rug_inner", (62, 72, 96))
    m.add("porcelain", (240, 240, 236), ks=0.8, gs=90, kts=0.06)
    m.add("glaze", (44, 92, 150), ks=0.9, gs=90, kts=0.10)
    m.add("shade", (246, 226, 186))
    m.add("bulb", (255, 246, 220), kd=1.0)
    m.add("black", (40, 40, 44), ks=0.5, gs=40, kts=0.04)
    m.add("book_red", (168, 52, 46))
    m.add("book_blue", (48, 84, 140))
    m.add("book_green", (62, 112, 78))
    m.add("book_ochre", (210, 158, 70))
    m.add("book_cream", (228, 216, 190))
    m.add("book_plum", (110, 62, 96))
    m.add("paper", (242, 236, 220))
    m.add("leaf", (70, 128, 58), ks=0.25, gs=20)
    m.add("terracotta", (190, 104, 70))
    m.add("earth", (70, 50, 38))
    m.add("orange", (240, 142, 36), ks=0.35, gs=30)
    m.add("apple", (188, 44, 40), ks=0.6, gs=50)
    m.add("tulip", (232, 92, 96))
    m.add("curtain", (232, 220, 196))
    m.add("sky", (142, 194, 240))
    m.add("grass", (112, 164, 72))
    m.add("hill", (88, 140, 92))
    m.add("accent", (104, 140, 138))
    assert m.index("brick_wall") == 7, "the documented option is --texattr 7"
    return m


def room_shell(mesh, rng):
    """Walls, floor, ceiling, skirting, door and the window with the garden behind it. The left wall has a thickness, so
    that no shadow ray that starts close to an edge slips out to the sun."""
    w, d, h = WIDTH, DEPTH, HEIGHT
    shell(mesh, (0, 0, 0), (w, h, d), None, "plaster", "brick_wall", "accent", None, "ceiling")
    width = 0.125
    for row in range(round(d / width)):
        z, x = row * width, 0.0
        while x < w:
            end = x + rng.uniform(0.7, 1.5)
            end = w if end > w - 0.4 else end
            mesh.quad((x, 0, z + width), (end, 0, z + width), (end, 0, z), (x, 0, z),
                      rng.choice(("oak_light", "oak_middle", "oak_dark")))
            x = end
    t, s = 0.015, 0.001                # skirting and cornice reach a millimetre into the walls
    for y0, y1, t in ((-s, 0.1, 0.015), (h - 0.07, h + s, 0.05)):
        for lo, hi in (((t, y0, -s), (w - t, y1, t)), ((t, y0, d - t), (w - t, y1, d + s)),
                       ((-s, y0, -s), (t, y1, d + s)), ((w - t, y0, -s), (w + s, y1, d + s))):
            mesh.box(lo, hi, "trim")
    with mesh.placed((1.7, 0, d)):     # the door, seen in the mirror
        mesh.box((0, -0.01, -0.04), (0.9, 2.05, 0.01), "trim")
        for y0, y1 in ((0.15, 0.9), (1.05, 1.9)):
            mesh.block((0.15, y0, -0.055), (0.75, y1, -0.02), "walnut", 0.01, 2)
        mesh.sphere((0.82, 1.0, -0.08), 0.03, "brass", 16)
    window(mesh)


def window(mesh):
    z0, z1, y0, y1 = WINDOW
    outer, low, high, near, far = -0.2, -0.3, 3.4, 4.2, -1.9
    for x, zs, ys, material in ((0, (0, z0, z1, DEPTH), (0, y0, y1, HEIGHT), "plaster"),
                                (outer, (far, z0, z1, near), (low, y0, y1, high), "ceiling")):
        for i in range(3):
            for j in range(3):
                if (i, j) != (1, 1):
                    (a, b), (c, d) = zs[i:i + 2], ys[j:j + 2]
                    mesh.quad((x, c, b), (x, c, a), (x, d, a), (x, d, b), material)
    shell(mesh, (outer, y0, z0), (0, y1, z1), None, None, "trim", "trim", "trim", "trim")
    shell(mesh, (OUTSIDE, low, far), (outer, high, near), "sky", None, "sky", "sky", "grass", "sky")
    # one shelf keeps the sun off the sky, one the garden's lights off the ceiling
    mesh.box((OUTSIDE - 0.01, 2.75, far - 0.01), (OUTSIDE + 0.29, 2.8, near + 0.01), "sky")
    mesh.box((-0.75, 0.66, far - 0.01), (outer + 0.01, 0.7, z1 + 0.6), "trim")
    bar, x0, x1 = 0.05, -0.14, -0.08
    middle = (z0 + z1) / 2
    for lo, hi in (((y0 - 0.01, z0 - 0.01), (y1 + 0.01, z0 + bar)), ((y0 - 0.01, z1 - bar), (y1 + 0.01, z1 + 0.01)),
                   ((y0 - 0.01, z0 + bar), (y0 + bar, z1 - bar)), ((y1 - bar, z0 + bar), (y1 + 0.01, z1 - bar)),
                   ((y0 + bar, middle - 0.03), (y1 - bar, middle + 0.03))):
        mesh.box((x0, *lo), (x1, *hi), "trim")
    for a, b in ((z0 + bar, middle - 0.03), (middle + 0.03, z1 - bar)):
        mesh.box((x0 + 0.015, 1.70, a), (x1 - 0.015, 1.735, b), "trim")
    mesh.block((-0.07, y0 - 0.02, z0 - 0.06), (0.07, y0 + 0.015, z1 + 0.06), "trim", 0.008, 2)
    for a, b in ((0.42, z0 + 0.02), (z1 - 0.02, 2.98)):      # curtains: a wave that opens towards the floor
        rows = []
        for i in range(9):
            y = 0.12 + (2.36 - 0.12) * i / 8
            swing = 0.045 - 0.02 * i / 8
            rows.append([(0.11 + swing * math.sin(j / 48 * 2 * math.pi * 5.5), y, a + (b - a) * (1 - j / 48))
                         for j in range(49)])
        mesh.surface(rows, "curtain")
    with mesh.placed((0.11, 2.4, 0.3), tilt=90):
        mesh.cylinder((0, 0, 0), 0.014, 2.8, "brass")
    for z in (0.3, 3.1):
        mesh.sphere((0.11, 2.4, z), 0.035, "brass", 16)
    garden(mesh)


def garden(mesh):
    for depth, level, swell, pace, material in ((0.25, 0.98, 0.2, 2.6, "hill"), (0.55, 0.66, 0.12, 1.9, "grass")):
        rows = []
        for i in range(9):                                   # a ridge in half relief against the sky
            t = math.pi / 2 * i / 8
            x = OUTSIDE + 0.01 + depth * math.cos(t)
            rows.append([(x, -0.31 + (0.31 + level + swell * math.sin(pace * z)) * math.sin(t), z)
                         for z in (4.15 - 6.0 * k / 60 for k in range(61))])
        mesh.surface(rows, material)
    with mesh.placed((-1.5, 0, 0.62)):
        mesh.tube([(0, -0.3, 0), (0.02, 0.4, 0.01), (0, 1.3, 0)], 0.05, "walnut", 12)
        for p, r in (((0, 1.55, 0), 0.36), ((0.16, 1.35, 0.24), 0.26), ((-0.12, 1.32, -0.25), 0.25)):
            mesh.sphere(p, r, "leaf", 20)


def sofa(mesh, width):
    """Stands with its back at z = 0 and looks along +z; x from 0 to width."""
    arm, depth = 0.2, 0.9
    inner = width - 2 * arm
    seats = max(1, round(inner / 0.8))
    mesh.block((0.02, 0.1, 0.02), (width - 0.02, 0.27, depth - 0.03), "sofa", 0.03)
    mesh.block((0.03, 0.25, 0.0), (width - 0.03, 0.80, 0.22), "sofa", 0.07)
    for x in (0, width - arm):
        mesh.block((x, 0.12, 0.01), (x + arm, 0.6, depth), "sofa", 0.08)
    for i in range(seats):
        x0, x1 = arm + inner * i / seats, arm + inner * (i + 1) / seats
        mesh.block((x0 + 0.004, 0.26, 0.2), (x1 - 0.004, 0.46, depth + 0.01), "sofa", 0.06)
        with mesh.placed((0, 0.45, 0.26), tilt=-10):
            mesh.block((x0 + 0.01, 0.0, -0.06), (x1 - 0.01, 0.42, 0.12), "sofa", 0.08)
    for x in (0.09, width - 0.09):
        for z in (0.09, depth - 0.12):
            mesh.cylinder((x, -0.01, z), 0.025, 0.12, "walnut", 12)


def pillow(mesh, size, material):
    """A cushion in the xy plane: two bulged sheets that meet in a seam drawn in between the corners."""
    n = 14
    for side in (1, -1):
        rows = []
        for i in range(n + 1):
            row = []
            for j in range(n + 1):
                u, v = (2 * j / n - 1) * side, 2 * i / n - 1
                bulge = ((1 - u * u) * (1 - v * v)) ** 0.45
                row.append((size * u * (1 - 0.10 * (1 - v * v)), size * v * (1 - 0.10 * (1 - u * u)),
                            side * 0.42 * size * bulge))
            rows.append(row)
        mesh.surface(rows, material)


def bookshelf(mesh, rng):
    """x 0 to 0.95, its back on the wall z = 0."""
    width, height, depth, board = 0.95, 1.92, 0.3, 0.025
    for x in (0, width - board):
        mesh.box((x, -0.002, -0.002), (x + board, height, depth), "walnut")
    levels = [0.06 + 0.375 * i for i in range(5)]
    for y in levels + [height - board]:
        mesh.box((board, y, -0.003), (width - board, y + board, depth - 0.005), "walnut")
    mesh.box((board, 0.0, -0.001), (width - board, height - 0.02, 0.012), "walnut")
    for shelf, y in enumerate(levels):
        x, stop = board + 0.012, width - board - (0.03 if shelf % 2 else 0.3)
        while x < stop - 0.05:
            thick, tall, deep = rng.uniform(0.018, 0.046), rng.uniform(0.2, 0.31), rng.uniform(0.15, 0.2)
            front = depth - rng.uniform(0.03, 0.05)
            with mesh.placed((x, y + board + 0.0005, front)):
                mesh.box((0, 0, -deep), (thick, tall, 0), rng.choice(BOOKS))
                mesh.box((0.003, 0.003, -deep + 0.004), (thick - 0.003, tall + 0.0015, -0.004), "paper")
            x += thick + 0.0015
    with mesh.placed((0.77, levels[0] + board, 0.17)):
        mesh.block((-0.11, 0, -0.09), (0.11, 0.16, 0.09), "book_ochre", 0.015)
    with mesh.placed((0.77, levels[2] + board, 0.17)):
        jar(mesh, "glaze", 0.8)
    with mesh.placed((0.78, levels[4] + board, 0.17)):
        mesh.cylinder((0, 0, 0), 0.05, 0.015, "walnut")
        with mesh.placed((0, 0.105, 0)):
            mesh.tube(trefoil(0.055, 0.022, 0.022, 72), 0.012, "brass", 8, closed=True)


def jar(mesh, material, f):
    """A closed pot with a lid."""
    body = profile("0:0 5.5:0 | 6:1 8.5:6 9.5:11 8.8:15.5 6:19 4.5:20 | 5.5:20.3 5:22 2:23.5 1.4:24.5 2:25.8 1.2:27 "
                   "0:27.3")
    mesh.lathe([p if p is None else (p[0] * f, p[1] * f) for p in body], material, 32)


def vase(mesh, material, f=1.0, segments=40):
    """An open vase with an inside."""
    outer = profile("0:0 5:0 5.8:0.6 7.5:5 8.6:10 7.8:15 5.2:20 3.6:23.5 3.6:26 5:28.5")
    inner = profile("4.6:28.7 3.2:26 3.2:23.5 4.8:20 7.3:15 8:10 6:2 0:1.2")
    mesh.lathe([(r * f, y * f) for r, y in outer + inner], material, segments)


def tulips(mesh):
    stems = ((10, 6, 0.30), (80, 9, 0.27), (150, 8, 0.31), (220, 7, 0.28), (300, 10, 0.26))
    for i, (turn, lean, tall) in enumerate(stems):
        with mesh.placed((0, 0.05, 0), turn=turn):
            spread = math.tan(math.radians(lean))
            path = [(spread * tall * t * t, 0.46 * t * tall / 0.3, 0) for t in (k / 8 for k in range(9))]
            mesh.tube(path, 0.0035, "leaf", 8)
            tip = path[-1]
            with mesh.placed(tip, roll=-lean):
                for petal in range(3):
                    rows = []
                    for k in range(7):
                        t = k / 6
                        r = 0.026 * math.sin(math.pi * (0.12 + 0.72 * t)) + 0.002
                        half = math.radians(75 * (1 - t ** 3) + 6)
                        mid = math.radians(120 * petal + 20 * i)
                        rows.append([(r * math.cos(mid + half * s), 0.055 * t - 0.004, -r * math.sin(mid + half * s))
                                     for s in (-1, -0.5, 0, 0.5, 1)])
                    mesh.surface(rows, "tulip")
            with mesh.placed((0, 0.2, 0), turn=40):
                leaf(mesh, 0.2, 0.03, 60)


def leaf(mesh, length, width, rise):
    """A folded leaf along +x that starts steeply (rise, degrees) and bends over."""
    rows, n = [], 10
    x = y = 0.0
    spine = []
    for k in range(n + 1):
        spine.append((x, y))
        slope = math.radians(rise - (rise + 25) * (k / n) ** 1.2)
        x, y = x + length / n * math.cos(slope), y + length / n * math.sin(slope)
    for s in (1, 0.5, 0, -0.5, -1):
        rows.append([(px, py + 0.25 * width * abs(s) * math.sin(math.pi * k / n),
                      s * width * math.sin(math.pi * (k / n) ** 0.8))
                     for k, (px, py) in enumerate(spine)])
    mesh.surface(rows, "leaf")


def plant(mesh, rng):
    mesh.lathe(profile("0:-0.5 13:-0.5 | 17:27 | 19:27 | 19.5:33 | 17.5:33 | 16.5:28"), "terracotta", 36)
    mesh.lathe(profile("16.8:29 0:31"), "earth", 36)
    mesh.tube([(0, 0.25, 0), (0.01, 0.5, 0.01), (0, 0.8, 0)], lambda t: 0.022 - 0.008 * t, "earth", 10)
    for i in range(22):
        high = 0.42 + 0.4 * i / 21
        with mesh.placed((0, high, 0), turn=i * 137.5):
            leaf(mesh, rng.uniform(0.42, 0.6) * (1.05 - 0.25 * i / 21), rng.uniform(0.06, 0.085),
                 rng.uniform(45, 60) + 25 * i / 21)


def chair(mesh):
    """Looks along +z; the seat's middle lies over the origin."""
    leg = 0.035
    for x in (-0.2, 0.2):
        mesh.block((x - leg / 2, -0.002, 0.17), (x + leg / 2, 0.44, 0.17 + leg), "walnut", 0.006, 1)
        with mesh.placed((x, -0.002, -0.19), tilt=-4):
            mesh.block((-leg / 2, 0, -leg / 2), (leg / 2, 0.94, leg / 2), "walnut", 0.006, 1)
    mesh.block((-0.225, 0.435, -0.215), (0.225, 0.47, 0.22), "walnut", 0.012)
    mesh.block((-0.205, 0.465, -0.18), (0.205, 0.505, 0.21), "pillow_rose", 0.019)
    with mesh.placed((0, 0, -0.19), tilt=-4):
        for y in (0.60, 0.72, 0.84):
            mesh.block((-0.19, y, -0.01), (0.19, y + 0.075, 0.01), "walnut", 0.006, 1)
    for z in (-0.185, 0.178):
        mesh.box((-0.19, 0.36, z), (0.19, 0.42, z + 0.018), "walnut")


def cup(mesh, material):
    mesh.lathe(profile("0:0 3.5:0 7:1.2 7.2:1.5 3.5:0.6 0:0.6"), "porcelain", 32)
    with mesh.placed((0, 0.0065, 0)):
        mesh.lathe(profile("0:0 2.2:0 2.4:0.4 3.6:3 4.1:6.5 3.85:6.6 3.3:3 2:0.7 0:0.5"), material, 32)
        arc = [math.radians(a) for a in range(-80, 81, 16)]
        mesh.tube([(0.036 + 0.022 * math.cos(a), 0.036 + 0.02 * math.sin(a), 0) for a in arc], 0.0042, material, 10)


def dining_corner(mesh):
    mesh.lathe(profile("0:71 47:71 48.5:71.6 49:72.6 48.5:73.6 47.5:74 | 0:74"), "walnut", 56)
    mesh.lathe(profile("0:-0.2 23:-0.2 24:1.2 22:3 10:5 5:9 3.5:16 5:26 6:34 4:45 3.2:56 4.5:64 10:70 12:71.5"),
               "walnut", 32)
    with mesh.placed((-0.02, 0.7405, -0.12), turn=15):
        vase(mesh, "glaze", 0.85)
        tulips(mesh)
    with mesh.placed((0.16, 0.7405, 0.16)):                  # a bowl of fruit
        mesh.lathe(profile("0:0 6:0 6.5:0.8 11:3.5 14.5:7.5 14.1:7.7 10.5:4 5:1.2 0:1"), "porcelain", 40)
        for x, y, z, r, material in ((0.05, 0.055, 0.02, 0.040, "orange"), (-0.035, 0.055, 0.04, 0.039, "apple"),
                                     (-0.02, 0.054, -0.05, 0.040, "orange"), (0.045, 0.056, -0.06, 0.037, "apple"),
                                     (0.004, 0.109, 0.002, 0.040, "orange")):
            mesh.sphere((x, y, z), r, material, 20)
    with mesh.placed((-0.24, 0.7405, 0.17), turn=-60):
        cup(mesh, "porcelain")


def coffee_table(mesh):
    """The glass ball lies here in a ring of brass."""
    mesh.block((-0.55, 0.36, -0.3), (0.55, 0.40, 0.3), "walnut", 0.012)
    mesh.block((-0.48, 0.14, -0.24), (0.48, 0.16, 0.24), "walnut", 0.006, 1)
    for x in (-0.49, 0.49):
        for z in (-0.24, 0.24):
            mesh.block((x - 0.025, 0.0, z - 0.025), (x + 0.025, 0.37, z + 0.025), "walnut", 0.006, 1)
    with mesh.placed((-0.22, 0.4005, 0.06)):
        mesh.torus((0, 0.014, 0), 0.065, 0.0135, "brass", 36, 8)
        mesh.sphere((0, 0.136, 0), 0.125, "glass", 56)
    with mesh.placed((0.24, 0.4003, -0.05)):
        for y, turn, w, d, material in ((0, 8, 0.26, 0.19, "book_blue"), (0.033, -6, 0.24, 0.17, "book_ochre"),
                                        (0.062, 20, 0.2, 0.15, "book_red")):
            with mesh.placed((0, y, 0), turn=turn):
                mesh.box((-w / 2, 0, -d / 2), (w / 2, 0.004, d / 2), material)
                mesh.box((-w / 2 + 0.004, 0.004, -d / 2 + 0.005), (w / 2 - 0.005, 0.0235, d / 2 - 0.005), "paper")
                mesh.box((-w / 2, 0.0235, -d / 2), (w / 2, 0.0275, d / 2), material)
                mesh.box((-w / 2 - 0.004, 0.0005, -d / 2), (-w / 2, 0.027, d / 2), material)
        mesh.sphere((0, 0.0905 + 0.035, 0), 0.035, "chrome", 28)
    with mesh.placed((0.03, 0.4005, 0.2), turn=200):
        cup(mesh, "porcelain")
    with mesh.placed((-0.44, 0.16, 0)):
        mesh.block((0.1, 0.001, -0.1), (0.34, 0.05, 0.1), "book_green", 0.004, 2)


def floor_lamp(mesh):
    """Its light stands free between bulb and shade and leaves the shade above and below."""
    mesh.lathe(profile("0:-0.2 15:-0.2 15.5:1 15:2 3:3 1.3:5 1.1:10 1.1:136 2:137 2:142 0:142"), "brass", 32)
    mesh.sphere((0, 1.455, 0), 0.04, "bulb", 24)
    mesh.lathe(profile("21.5:136 13.5:166"), "shade", 48)
    mesh.torus((0, 1.36, 0), 0.215, 0.005, "brass", 40, 6)
    mesh.torus((0, 1.66, 0), 0.135, 0.005, "brass", 40, 6)


def pendant(mesh):
    """Hangs from the ceiling; y = 0 is its lower rim."""
    mesh.lathe(profile("24:0 23.5:4.5 20:12 13:18 5:21 3:24 1.4:26"), "glaze", 48)
    mesh.lathe(profile("1.2:25.5 4.5:20.5 12.5:17.5 19.5:11.5 23:4.5 23.5:0"), "porcelain", 48)
    mesh.sphere((0, 0.1, 0), 0.045, "bulb", 24)
    mesh.cylinder((0, 0.13, 0), 0.02, 0.08, "brass")
    return 0.26


def mirror_disc(mesh):
    """Centre on the wall z = 0; the glass stands a little in front of it."""
    with mesh.placed((0, 0, 0.0), tilt=90):
        mesh.lathe(profile("40:-0.2 40:2.2"), "brass", 64)
        mesh.lathe(profile("38:2 0:2"), "mirror", 64)
        mesh.torus((0, 0.02, 0), 0.395, 0.022, "brass", 60, 10)


def picture(mesh, rng, width, height):
    """A frame and a landscape of overlapping slips of paper; centre on the wall z = 0."""
    x, y, b = width / 2, height / 2, 0.035
    for lo, hi in (((-x, -y), (-x + b, y)), ((x - b, -y), (x, y)), ((-x + b, y - b), (x - b, y)),
                   ((-x + b, -y), (x - b, -y + b))):
        mesh.block((lo[0], lo[1], -0.002), (hi[0], hi[1], 0.03), "walnut", 0.005, 2)
    for margin, z, material in ((0.01, 0.008, "paper"), (b + 0.04, 0.010, "sky")):
        x, y = width / 2 - margin, height / 2 - margin
        mesh.quad((-x, -y, z), (x, -y, z), (x, y, z), (-x, y, z), material)
    with mesh.placed((x * 0.35, y * 0.42, 0.0115), tilt=90):
        mesh.lathe(profile("5.5:0 0:0"), "orange", 32)
    for k, material in enumerate(("book_plum", "book_blue", "book_green")):
        level, depth = -0.1 * y - 0.33 * y * k, 0.013 + 0.0015 * k
        phase = rng.uniform(0, 6)
        edge = [(-x + 2 * x * i / 24, level + 0.16 * y * math.sin(phase + i / 24 * (5 + k)), depth) for i in range(25)]
        mesh.surface([[(p[0], -y, depth) for p in edge], edge], material)


def room(root):
    rng = random.Random(20)
    mesh = Mesh(room_materials())
    room_shell(mesh, rng)
    with mesh.placed((0.5, 0, 0.55)):
        plant(mesh, rng)
    with mesh.placed((1.0, 0, 0)):
        bookshelf(mesh, rng)
    with mesh.placed((2.22, 0, 0.42)):
        floor_lamp(mesh)
    with mesh.placed((2.5, 0, 0.08)):
        sofa(mesh, 2.0)
        for x, turn, roll, material in ((0.42, 18, 8, "pillow_ochre"), (1.55, -14, -7, "pillow_rose")):
            with mesh.placed((x, 0.66, 0.56), turn=turn, tilt=-22, roll=roll):
                pillow(mesh, 0.22, material)
    with mesh.placed((4.78, 0, 1.75), turn=-68):
        sofa(mesh, 0.92)
    with mesh.placed((3.15, 1.62, 0)):
        mirror_disc(mesh)
    with mesh.placed((4.25, 1.62, 0)):
        picture(mesh, rng, 0.72, 0.56)
    for i, (material, grow) in enumerate((("rug", 0.0), ("rug_border", 0.09), ("rug_inner", 0.15), ("rug", 0.22))):
        mesh.block((1.95 + grow, -0.02, 1.3 + grow), (4.15 - grow, 0.010 + 0.003 * i, 2.9 - grow), material, 0.003, 1)
    with mesh.placed((3.1, 0.012, 2.0)):
        coffee_table(mesh)
    with mesh.placed((1.45, 0, 2.6)):
        dining_corner(mesh)
    for x, z, turn in ((2.1, 2.9, -115), (0.86, 2.25, 60)):
        with mesh.placed((x, 0, z), turn=turn):
            chair(mesh)
    rim = 1.98
    with mesh.placed((3.1, rim, 2.0)):
        stem = pendant(mesh)
    mesh.cylinder((3.1, rim + stem - 0.01, 2.0), 0.006, HEIGHT - rim - stem + 0.02, "black", 10)
    mesh.cylinder((3.1, HEIGHT - 0.03, 2.0), 0.05, 0.04, "brass")
    lights = [(OUTSIDE + 0.2, 3.05, 1.2, 60000),             # the sun, above the shelf that hides it from the sky
              (-0.6, 0.25, -0.2, 3500), (-0.5, 0.3, -1.2, 1200),  # the garden's own, under the ledge of the window
              (3.103, rim + 0.025, 2.0, 700),                # pendant, under its bulb; off the seam of its shade
              (2.22, 1.56, 0.42, 260),                       # floor lamp, over its bulb
              (4.6, 1.9, 4.6, 2200), (1.9, 2.0, 4.9, 1600),  # daylight from behind the viewer
              (2.5, 0.4, 3.3, 120), (0.5, 0.45, 3.5, 60)]    # what the floor throws back, into the deep shadows
    write_scene(root, "room_vn", mesh, ((4.35, 1.5, 5.59), (1.95, 0.0), 63, (1024, 768), -0.15), lights)


# -------------------------------------------------------------------------------------------------------- small scenes

def stage_materials():
    m = Materials()
    for name, colour in (("back", (196, 206, 214)), ("side_red", (196, 84, 70)), ("side_green", (92, 158, 104)),
                         ("light", (232, 228, 216)), ("dark", (70, 82, 104)), ("yellow", (236, 186, 66)),
                         ("blue", (66, 112, 180))):
        m.add(name, colour)
    return m


def stage(mesh):
    """A closed box of 6 x 4 x 8 with a chequered floor; the eye stands inside."""
    shell(mesh, (-3, 0, -3), (3, 4, 5), "side_red", "side_green", "back", "back", None, "light")
    checkers(mesh, (-3, -3), (3, 5), 12, ("light", "dark"))


STAGE_LIGHTS = [(-1.6, 3.6, 1.5, 2500), (2.0, 3.5, 2.2, 1800), (-2.2, 2.4, 4.2, 1500), (2.3, 0.8, 4.5, 150)]
STAGE_EYE = ((0.0, 1.55, 4.7), (0.0, 0.0), 58, (640, 480), -0.12)


def mirror(root):
    materials = stage_materials()
    materials.add("mirror", (245, 248, 250), kd=0.02, ks=0.1, gs=400, kts=0.95)
    materials.add("gold", (248, 204, 110), kd=0.15, ks=0.3, gs=150, kts=0.8)
    materials.add("lacquer", (60, 110, 180), kd=0.6, ks=0.8, gs=120, kts=0.25)
    mesh = Mesh(materials)
    stage(mesh)
    mesh.sphere((-1.15, 0.851, -0.4), 0.85, "mirror", 96)
    mesh.sphere((0.75, 0.601, 0.3), 0.6, "gold", 80)
    mesh.sphere((-0.15, 0.301, 1.3), 0.3, "lacquer", 64)
    mesh.torus((1.55, 0.122, 1.35), 0.32, 0.12, "gold", 72, 32)
    for i in range(5):                                       # behind the eye, for the mirrors
        mesh.box((-2.4 + i, -0.01, 4.85), (-2.0 + i, 3.0, 4.95), ("yellow", "blue")[i % 2])
    with mesh.placed((0, 0, -2.9)):                          # a mirror on the back wall
        mesh.box((-1.9, 0.6, -0.05), (2.3, 3.0, 0.0), "dark")
        mesh.quad((-1.8, 0.7, 0.002), (2.2, 0.7, 0.002), (2.2, 2.9, 0.002), (-1.8, 2.9, 0.002), "mirror")
    write_scene(root, "mirror", mesh, STAGE_EYE, STAGE_LIGHTS)


def glass(root):
    materials = stage_materials()
    for name, colour, eta in (("clear", (246, 250, 250), 1.5), ("thin", (160, 208, 236), 1.0),
                              ("amber", (250, 206, 130), 1.3)):
        materials.add(name, colour, kd=0.02, ks=0.8, gs=200, kts=0.08, kf=0.9, eta=eta)
    mesh = Mesh(materials)
    stage(mesh)
    for i in range(8):
        mesh.box((-2.8 + 0.7 * i, -0.01, -2.6), (-2.45 + 0.7 * i, 2.6, -2.3), ("yellow", "blue")[i % 2])
    mesh.sphere((-1.0, 0.801, 0.2), 0.8, "clear", 96)
    mesh.sphere((0.35, 0.401, 1.3), 0.4, "amber", 80)
    with mesh.placed((1.35, 0.001, 0.3)):
        vase(mesh, "amber", 5.0, 64)
    with mesh.placed((0.45, 0.9, -0.4)):                     # a pane: one sheet of index 1 bends nothing
        mesh.quad((-0.6, 0, 0), (0.6, 0, 0), (0.6, 1.3, 0), (-0.6, 1.3, 0), "thin")
    write_scene(root, "glass", mesh, STAGE_EYE, STAGE_LIGHTS)


def shading(root):
    materials = stage_materials()
    materials.add("flat_clay", (226, 150, 92), ks=0.35, gs=30)
    materials.add("clay", (226, 150, 92), ks=0.35, gs=30)
    mesh = Mesh(materials)
    stage(mesh)
    for x, material in ((-1.15, "flat_clay"), (1.15, "clay")):
        with mesh.placed((x, 0, 0.4)):
            mesh.lathe(profile("0:-1 80:-1 | 80:20 | 0:20"), "back", 48)
            with mesh.placed((0, 1.05, 0), turn=20):
                mesh.tube(trefoil(0.52, 0.2, 0.24, 44), 0.14, material, 8, closed=True)
        mesh.sphere((x * 0.75, 0.281, 1.75), 0.28, material, 12)
    write_scene(root, "shading", mesh, STAGE_EYE, STAGE_LIGHTS)


def bricks(root):
    """A courtyard; material 0 is on both walls that the eye sees, so render it with --texattr 0."""
    m = Materials()
    m.add("wall", (170, 110, 84), kd=1.4)
    for name, colour in (("stone_a", (150, 148, 142)), ("stone_b", (132, 130, 126)), ("far", (150, 170, 200)),
                         ("leaf", (74, 134, 62)), ("terracotta", (194, 106, 72)), ("earth", (72, 52, 40)),
                         ("walnut", (120, 80, 52))):
        m.add(name, colour, ks=0.1, gs=20)
    m.add("black", (40, 42, 48), ks=0.6, gs=40)
    m.add("bulb", (255, 244, 214), kd=1.0)
    mesh = Mesh(m)
    rng = random.Random(4)
    shell(mesh, (0, 0, 0), (5, 3.2, 5), "wall", "far", "wall", "far", None, "far")
    checkers(mesh, (0, 0), (5, 5), 10, ("stone_a", "stone_b"))
    for x, z in ((0.65, 0.6), (3.9, 0.55)):
        with mesh.placed((x, 0, z), turn=70 * x):
            plant(mesh, rng)
    with mesh.placed((2.25, 0, 0.55)):                       # a bench
        for z in (-0.16, 0.0, 0.16):
            mesh.block((-0.75, 0.43, z - 0.07), (0.75, 0.47, z + 0.07), "walnut", 0.008, 2)
        for x in (-0.6, 0.6):
            mesh.block((x - 0.05, -0.01, -0.2), (x + 0.05, 0.432, 0.2), "black", 0.01, 2)
    with mesh.placed((2.25, 2.2, 0.0)):                      # a lantern on the wall; its light hangs free below it
        mesh.block((-0.02, -0.02, -0.01), (0.02, 0.02, 0.3), "black", 0.005, 2)
        with mesh.placed((0, -0.13, 0.27)):
            mesh.lathe(profile("13:0 3:10 0:12"), "black", 24)
            mesh.lathe(profile("0:11 2.5:9.5 13:0"), "black", 24)
            mesh.sphere((0, 0.03, 0), 0.05, "bulb", 24)
    lights = [(3.6, 2.9, 3.4, 6000), (2.25, 2.0, 0.27, 500), (1.2, 2.8, 4.4, 2500), (2.6, 0.35, 3.0, 200)]
    write_scene(root, "bricks", mesh, ((4.1, 1.55, 4.6), (1.45, 0.0), 56, (640, 480), -0.14), lights)


def main():
    root = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
    for scene in (room, mirror, glass, shading, bricks):
        scene(root)


if __name__ == "__main__":
    main()
