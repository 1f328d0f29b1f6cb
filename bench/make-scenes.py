#!/usr/bin/env python3
"""Writes the scenes of the speed table: bench/make-scenes.py DIRECTORY [--models DIR] [SCENE...]   (default: all)

Complete scenes of 1024 x 768 pixels and three lights. Every shape is made from formulas, two runs write the same bytes;
the last ones are made of the Wavefront files spot.obj, bunny.obj and fish.obj in the directory of --models.

  cad       slivers, plates with holes, gratings and bundles of rods: leaves of hundreds of faces
  interior  a furnished room, seen from inside
  scan20k, scan270k, scan1m    a closed, bumpy surface of uneven triangles; the last is the middle one subdivided
  crowd     twelve such surfaces on a mirror
  soup, balls, stadium    single triangles and balls spread evenly, and a ball in a wide place: for the uniform grid
  fish, spot4, spot16, bunny4, bunny16    models, with four or sixteen triangles for one of the file
"""
import argparse
import math
import os
import random
import sys

sys.dont_write_bytecode = True          # a tool leaves nothing behind but what it was asked for
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tools"))
from scene_kit import Materials, Mesh, add, checkers, mul, shell, sub, unit, write_scene

SIZE = (1024, 768)
TALL = 1000.0           # of meshes that come without a scale: four decimals are then finer than any of their triangles


def view(eye, target, angle=45.0, size=SIZE):
    """A camera whose middle is the target."""
    return eye, (target[0], target[2]), angle, size, (target[1] - eye[1]) / math.hypot(target[0] - eye[0], target[2] - eye[2])


def lamp(position, target, brightness):
    """A light that gives a surface at the target the same brightness from wherever it stands."""
    return (*position, brightness * sum(c * c for c in sub(position, target)))


def studio(centre, reach):
    """Three lights around a thing of the given radius."""
    sides = (((1.6, 2.2, 1.4), 180), ((-2.2, 1.4, 1.8), 90), ((0.4, 2.6, -1.6), 60))
    return [lamp(add(centre, mul(side, reach)), centre, brightness) for side, brightness in sides]


# -------------------------------------------------------------------------------------------------------------- meshes

def waves(seed, count=6):
    """A smooth function of space with values around 0, a sum of plane waves of wavelength about 1."""
    rng = random.Random(seed)
    terms = [(mul(unit([rng.gauss(0, 1) for _ in range(3)]), 2 * math.pi * rng.uniform(0.7, 1.3)),
              rng.uniform(0, 2 * math.pi)) for _ in range(count)]
    return lambda x, y, z: sum(math.sin(k[0] * x + k[1] * y + k[2] * z + s) for k, s in terms) / math.sqrt(count)


def geodesic_sphere(frequency):
    """Vertices and faces of an icosahedron whose faces are cut into frequency² triangles each."""
    g = (1 + math.sqrt(5)) / 2
    corners = [unit(c) for c in ((-1, g, 0), (1, g, 0), (-1, -g, 0), (1, -g, 0), (0, -1, g), (0, 1, g), (0, -1, -g),
                                 (0, 1, -g), (g, 0, -1), (g, 0, 1), (-g, 0, -1), (-g, 0, 1))]
    sides = ((0, 11, 5), (0, 5, 1), (0, 1, 7), (0, 7, 10), (0, 10, 11), (1, 5, 9), (5, 11, 4), (11, 10, 2), (10, 7, 6),
             (7, 1, 8), (3, 9, 4), (3, 4, 2), (3, 2, 6), (3, 6, 8), (3, 8, 9), (4, 9, 5), (2, 4, 11), (6, 2, 10),
             (8, 6, 7), (9, 8, 1))
    seen, vertices, faces = {}, [], []

    def vertex(side, i, j):
        weights = [(n, w) for n, w in zip(side, (frequency - i - j, i, j)) if w]
        key = tuple(sorted(weights))
        if key not in seen:
            seen[key] = len(vertices)
            vertices.append(unit([sum(corners[n][a] * w for n, w in key) for a in range(3)]))
        return seen[key]

    for side in sides:
        for i in range(frequency):
            for j in range(frequency - i):
                a, b, c = vertex(side, i, j), vertex(side, i + 1, j), vertex(side, i, j + 1)
                faces.append((a, b, c))
                if i + j < frequency - 1:
                    faces.append((b, vertex(side, i + 1, j + 1), c))
    return vertices, faces


def scan(frequency, seed=1):
    """A closed surface of 20 frequency² triangles: pushed along itself, which makes them uneven, then bumped in ever
    finer layers."""
    push = [waves(seed * 10 + a) for a in range(3)]
    layers = [(0.7, 0.22, waves(seed * 10 + 3)), (2.2, 0.07, waves(seed * 10 + 4)), (7, 0.02, waves(seed * 10 + 5)),
              (25, 0.004, waves(seed * 10 + 6))]
    vertices, faces = geodesic_sphere(frequency)
    for n, (x, y, z) in enumerate(vertices):
        p = unit(add((x, y, z), mul(tuple(w(x, y, z) for w in push), 0.12)))
        vertices[n] = mul(p, TALL / 2 * (1 + sum(size * w(*mul(p, scale)) for scale, size, w in layers)))
    return vertices, faces


def subdivide(vertices, faces):
    """Each triangle in four, smoothed after Loop 1987; borders stay where they are."""
    edges, around = {}, [[] for _ in vertices]
    for a, b, c in faces:
        for i, j, far in ((a, b, c), (b, c, a), (c, a, b)):
            edges.setdefault((min(i, j), max(i, j)), []).append(far)
    out, middle, border = list(vertices), {}, set()
    for (i, j), far in edges.items():
        p = mul(add(vertices[i], vertices[j]), 0.5)
        if len(far) == 2:
            p = add(mul(p, 0.75), mul(add(vertices[far[0]], vertices[far[1]]), 0.125))
        else:
            border.update((i, j))
        middle[i, j] = middle[j, i] = len(out)
        out.append(p)
        around[i].append(j)
        around[j].append(i)
    for i, near in enumerate(around):
        if not near or i in border:
            continue
        weight = 3 / (8 * len(near)) if len(near) > 3 else 3 / 16
        total = [sum(vertices[n][a] for n in near) for a in range(3)]
        out[i] = add(mul(vertices[i], 1 - weight * len(near)), mul(total, weight))
    quarters = []
    for a, b, c in faces:
        ab, bc, ca = middle[a, b], middle[b, c], middle[c, a]
        quarters += [(a, ab, ca), (ab, b, bc), (ca, bc, c), (ab, bc, ca)]
    return out, quarters


def load_obj(path):
    vertices, faces = [], []
    with open(path, encoding="ascii", errors="replace") as lines:
        for line in lines:
            words = line.split()
            if words[:1] == ["v"]:
                vertices.append(tuple(map(float, words[1:4])))
            elif words[:1] == ["f"]:
                ring = [int(word.split("/")[0]) - 1 for word in words[1:]]
                faces += [(ring[0], b, c) for b, c in zip(ring[1:], ring[2:])]
    return vertices, faces


def put(mesh, vertices, faces, material):
    first = len(mesh.vertices)
    for p in vertices:
        mesh.vertex(p)
    for a, b, c in faces:
        mesh.triangle(first + a, first + b, first + c, material)


def on_ground(root, name, vertices, faces):
    """A scene of one mesh, scaled to the height or width of TALL, on a ground."""
    lo, hi = ([pick(p[a] for p in vertices) for a in range(3)] for pick in (min, max))
    scale = TALL / max(sub(hi, lo))
    foot = (-(lo[0] + hi[0]) / 2, -lo[1], -(lo[2] + hi[2]) / 2)
    m = Materials()
    m.add("body", (205, 170, 125), ks=0.25, gs=30)
    m.add("flat_ground", (150, 160, 175), kd=0.9)
    mesh = Mesh(m)
    put(mesh, [mul(add(p, foot), scale) for p in vertices], faces, "body")
    w = 1.5 * TALL
    mesh.quad((-w, 0, w), (w, 0, w), (w, 0, -w), (-w, 0, -w), "flat_ground")
    centre = (0, (hi[1] - lo[1]) * scale / 2, 0)
    write_scene(root, name, mesh, view(add(centre, (0.9 * TALL, 0.5 * TALL, 1.4 * TALL)), centre, 42), studio(centre, TALL))


# -------------------------------------------------------------------------------------------------------------- scenes

def crowd(root):
    m = Materials()
    m.add("body", (205, 170, 125), ks=0.25, gs=30)
    m.add("flat_mirror", (200, 205, 215), kd=0.6, kts=0.4)
    mesh = Mesh(m)
    vertices, faces = scan(66, seed=2)
    low = min(p[1] for p in vertices)
    for i in range(4):
        for j in range(3):
            with mesh.placed(((i - 1.5) * 1.5 * TALL, -low, (j - 1) * 1.5 * TALL), turn=73 * (3 * i + j)):
                put(mesh, vertices, faces, "body")
    w, d = 4 * TALL, 3 * TALL
    mesh.quad((-w, 0, d), (w, 0, d), (w, 0, -d), (-w, 0, -d), "flat_mirror")
    centre = (0, TALL / 2, 0)
    write_scene(root, "crowd", mesh, view((2.2 * TALL, 2.6 * TALL, 5 * TALL), centre, 50), studio(centre, 3 * TALL))


def plate(mesh, lo, hi, count, radius, sides, material):
    """A flat plate with count[0] x count[1] round holes; each hole is a fan of slivers in a square of its own."""
    (x0, y0, z0), (x1, y1, z1) = lo, hi
    step = (x1 - x0) / count[0], (z1 - z0) / count[1]
    turns = [2 * math.pi * (k + 0.5) / sides for k in range(sides + 1)]
    for i in range(count[0]):
        for j in range(count[1]):
            cx, cz = x0 + (i + 0.5) * step[0], z0 + (j + 0.5) * step[1]
            inner = [(cx + radius * math.cos(t), cz - radius * math.sin(t)) for t in turns]
            outer = []
            for t in turns:
                reach = min(step[0] / 2 / max(abs(math.cos(t)), 1e-9), step[1] / 2 / max(abs(math.sin(t)), 1e-9))
                outer.append((cx + reach * math.cos(t), cz - reach * math.sin(t)))
            for (ax, az), (bx, bz), (cx_, cz_), (dx, dz) in zip(inner, outer, outer[1:], inner[1:]):
                mesh.quad((ax, y1, az), (bx, y1, bz), (cx_, y1, cz_), (dx, y1, dz), material)
                mesh.quad((dx, y0, dz), (cx_, y0, cz_), (bx, y0, bz), (ax, y0, az), material)
                mesh.quad((ax, y0, az), (ax, y1, az), (dx, y1, dz), (dx, y0, dz), material)


def bolt(mesh, at, radius, height, material):
    """A round shaft and a six-sided head; the caps are fans of needles."""
    mesh.cylinder(at, radius, height, material, 20)
    with mesh.placed(add(at, (0, height * 0.55, 0))):
        mesh.lathe([(0, 0), (radius * 1.9, 0), None, (radius * 1.9, radius), None, (0, radius)], material, 6)


def grating(mesh, lo, hi, bars, material):
    """Thin bars side by side along x: no plane across the longest side parts them."""
    step = (hi[2] - lo[2]) / bars
    for n in range(bars):
        z = lo[2] + n * step
        mesh.box((lo[0], lo[1], z), (hi[0], hi[1], z + step * 0.3), material)


def cad(root):
    m = Materials()
    m.add("flat_steel", (170, 178, 190), ks=0.4, gs=40)
    m.add("flat_plate", (120, 140, 170), kd=0.9)
    m.add("brass", (200, 165, 90), ks=0.5, gs=50)
    m.add("flat_ground", (150, 160, 175), kd=0.9)
    mesh = Mesh(m)
    mesh.quad((-1500, 0, 1500), (1500, 0, 1500), (1500, 0, -1500), (-1500, 0, -1500), "flat_ground")
    plate(mesh, (-500, 20, -300), (500, 40, 300), (5, 3), 60, 48, "flat_plate")
    plate(mesh, (-500, 420, -300), (500, 440, -100), (6, 1), 50, 48, "flat_plate")
    for i in range(7):
        for z in (-285, 285):
            bolt(mesh, (-480 + 160 * i, 0, z), 9, 70, "brass")
    grating(mesh, (-480, 240, 110), (480, 262, 290), 16, "flat_steel")
    grating(mesh, (-480, 300, 110), (480, 304, 290), 14, "flat_steel")
    for i in range(4):
        for j in range(3):
            with mesh.placed((-490, 110 + 62 * j, -250 + 62 * i), roll=-90):
                mesh.cylinder((0, 0, 0), 24, 980, "brass", 24)
    for x in (-470, 470):
        for z in (-270, -130):
            mesh.cylinder((x, 40, z), 14, 380, "flat_steel", 40)
    for n in range(24):                 # a radiator of upright fins, each as wide as the whole
        mesh.box((-300, 440, -290 + 7.5 * n), (300, 560, -288.5 + 7.5 * n), "flat_steel")
    mesh.torus((0, 180, 200), 70, 22, "brass", 40, 16)
    centre = (0, 250, 0)
    write_scene(root, "cad", mesh, view((760, 720, 1150), centre, 48), studio(centre, 700))


def table(mesh, at, wide, deep):
    with mesh.placed(at):
        mesh.block((-wide / 2, 0.70, -deep / 2), (wide / 2, 0.74, deep / 2), "oak", 0.01, 3)
        for x in (-1, 1):
            for z in (-1, 1):
                with mesh.placed((x * (wide / 2 - 0.08), 0, z * (deep / 2 - 0.08))):
                    mesh.lathe([(0.02, 0), (0.03, 0.1), (0.02, 0.3), (0.035, 0.55), (0.035, 0.70)], "oak", 20)


def chair(mesh, at, turn):
    with mesh.placed(at, turn):
        mesh.block((-0.21, 0.43, -0.21), (0.21, 0.47, 0.21), "cloth", 0.015, 3)
        mesh.block((-0.21, 0.60, -0.21), (0.21, 0.95, -0.18), "cloth", 0.012, 3)
        for x in (-0.18, 0.18):
            mesh.cylinder((x, 0, 0.18), 0.018, 0.43, "oak", 12)
            mesh.cylinder((x, 0, -0.195), 0.018, 0.6, "oak", 12)


def shelf(mesh, at, turn, rng):
    with mesh.placed(at, turn):
        for x in (-0.72, 0.70):
            mesh.box((x, 0, -0.15), (x + 0.02, 2.1, 0.15), "oak")
        for row in range(6):
            y = 0.06 + row * 0.37
            mesh.box((-0.70, y, -0.15), (0.70, y + 0.02, 0.15), "oak")
            x = -0.69
            while x < 0.63 and row < 5:
                thick = rng.uniform(0.02, 0.05)
                mesh.box((x, y + 0.02, -0.12), (x + thick, y + rng.uniform(0.22, 0.33), rng.uniform(0.05, 0.12)),
                         rng.choice(("red", "blue", "cream")))
                x += thick + 0.002


def interior(root):
    m, rng = Materials(), random.Random(5)
    m.add("flat_wall", (214, 210, 198), kd=0.9)
    m.add("flat_dark", (110, 84, 64))
    m.add("flat_light", (170, 138, 104))
    m.add("oak", (150, 104, 62), ks=0.3, gs=40)
    m.add("cloth", (62, 100, 116))
    m.add("glaze", (44, 92, 150), ks=0.9, gs=90)
    m.add("red", (168, 52, 46))
    m.add("blue", (48, 84, 140))
    m.add("cream", (228, 216, 190))
    mesh = Mesh(m)
    shell(mesh, (-3, 0, -4), (3, 2.7, 4), *["flat_wall"] * 4, None, "flat_wall")
    checkers(mesh, (-3, -4), (3, 4), 16, ("flat_dark", "flat_light"))
    for at in ((-1.4, 0, -1.2), (1.2, 0, -2.2), (0.9, 0, 0.8)):
        table(mesh, at, 1.5, 0.9)
        for n, x in enumerate((-0.45, 0.0, 0.4)):
            radius = 0.09 + 0.03 * n
            mesh.sphere(add(at, (x, 0.74 + radius, 0.05 * n)), radius, ("glaze", "red", "cream")[n], 32)
        for x, turn in ((-0.4, 180), (0.4, 180), (0, 0)):
            chair(mesh, add(at, (x, 0, 0.62 if turn else -0.62)), turn)
    for at, turn in (((-1.6, 0, -3.84), 0), ((0, 0, -3.84), 0), ((1.6, 0, -3.84), 0), ((-2.84, 0, 1.2), 90),
                     ((2.84, 0, -0.5), -90)):
        shelf(mesh, at, turn, rng)
    mesh.tube([(2.3 + 0.1 * math.sin(t / 4), 0.05 * t, 2.6) for t in range(34)], 0.03, "oak", 12)
    mesh.torus((-1.4, 2.2, -1.2), 0.4, 0.05, "glaze", 48, 20)
    lights = [lamp((-1.4, 2.5, -1.2), (-1.4, 0.7, -1.2), 60), lamp((1.2, 2.5, -2.0), (1.2, 0.7, -2.2), 50),
              lamp((0.8, 2.4, 2.4), (0, 0.7, 0), 60)]
    write_scene(root, "interior", mesh, view((2.4, 1.75, 3.6), (-0.5, 0.75, -1.5), 65), lights)


def plain(root, name, mesh, reach, size=SIZE):
    """A scene of something around the origin, seen from outside."""
    eye = (1.4 * reach, 1.1 * reach, 1.9 * reach)
    write_scene(root, name, mesh, view(eye, (0, 0, 0), 50, size), studio((0, 0, 0), reach))


def plain_mesh():
    m = Materials()
    m.add("grey", (150, 150, 150))
    m.add("red", (168, 44, 36))
    return Mesh(m)


def soup(root):
    rng, mesh = random.Random(4), plain_mesh()
    for _ in range(30000):
        centre = [rng.uniform(-10, 10) for _ in range(3)]
        mesh.triangle(*(mesh.vertex(add(centre, [rng.uniform(-0.2, 0.2) for _ in range(3)])) for _ in range(3)), "grey")
    plain(root, "soup", mesh, 10)


def balls(root):
    rng, mesh = random.Random(5), plain_mesh()
    for _ in range(100):
        mesh.sphere([rng.uniform(-9, 9) for _ in range(3)], 0.7, "red", 16)
    plain(root, "balls", mesh, 10)


def stadium(root):
    mesh = plain_mesh()
    mesh.quad((-400, -1, -400), (-400, -1, 400), (400, -1, 400), (400, -1, -400), "grey")
    mesh.sphere((0, 0, 0), 1.0, "red", 120)
    plain(root, "stadium", mesh, 2, (320, 240))     # the grid would need minutes for more


# ---------------------------------------------------------------------------------------------------------------- main

def scan1m(root):
    vertices, faces = scan(116)
    on_ground(root, "scan1m", *subdivide(vertices, faces))


def model_scene(file, times):
    def make(root, name, folder):
        mesh = load_obj(os.path.join(folder, file))
        for _ in range(times):
            mesh = subdivide(*mesh)
        on_ground(root, name, *mesh)
    return make


def main():
    made = {"cad": cad, "interior": interior, "crowd": crowd, "scan1m": scan1m,
            "soup": soup, "balls": balls, "stadium": stadium,
            "scan20k": lambda root: on_ground(root, "scan20k", *scan(32)),
            "scan270k": lambda root: on_ground(root, "scan270k", *scan(116))}
    read = {"fish": model_scene("fish.obj", 0), "spot4": model_scene("spot.obj", 1), "spot16": model_scene("spot.obj", 2),
            "bunny4": model_scene("bunny.obj", 1), "bunny16": model_scene("bunny.obj", 2)}
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("directory")
    parser.add_argument("--models", default=os.path.join("..", "shared", "models"))
    parser.add_argument("scenes", nargs="*")
    arguments = parser.parse_intermixed_args()
    for name in arguments.scenes or list(made) + (list(read) if os.path.isdir(arguments.models) else []):
        if name in made:
            made[name](arguments.directory)
        elif name in read:
            read[name](arguments.directory, name, arguments.models)
        else:
            parser.error(f"there is no scene {name}")


if __name__ == "__main__":
    main()
