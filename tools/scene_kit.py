"""What tools/make-scenes.py builds scenes from: materials, meshes made by formula, and the writer of the files.

A scene is four files: geometry (.brs), camera (.cam), materials (.atr), lights (.lgt), named by
Scenes/scene_descs/NAME.txt.

Shapes are built as modelling programs do: x to the right, y up, z towards the viewer. The files' z points into the
picture; into() is the step from one to the other, taken where files are written.
"""
import math
import os
from contextlib import contextmanager


def add(a, b):
    return (a[0] + b[0], a[1] + b[1], a[2] + b[2])


def sub(a, b):
    return (a[0] - b[0], a[1] - b[1], a[2] - b[2])


def mul(a, f):
    return (a[0] * f, a[1] * f, a[2] * f)


def cross(a, b):
    return (a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0])


def dot(a, b):
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]


def unit(a):
    return mul(a, 1 / math.sqrt(dot(a, a)))


def number(value):
    """Four decimals are a tenth of a millimetre; trailing zeros would only fill the file."""
    text = f"{value:.4f}".rstrip("0").rstrip(".")
    return "0" if text in ("-0", "") else text


def exact(value):
    """Nine digits name every single-precision number, so a screen made of them is square to its view."""
    return f"{value + 0.0:.9g}"


def into(p):
    """A point in the world of the files."""
    return (p[0], p[1], -p[2] + 0.0)


def profile(text):
    """A profile for lathe() from "radius:height ..." in centimetres; a | between points is a sharp edge."""
    return [None if word == "|" else tuple(float(c) / 100 for c in word.split(":")) for word in text.split()]


def trefoil(ring, swing, depth, count):
    """A closed trefoil knot of count points around the z axis."""
    turns = [2 * math.pi * i / count for i in range(count)]
    return [((ring + swing * math.cos(3 * t)) * math.cos(2 * t), (ring + swing * math.cos(3 * t)) * math.sin(2 * t),
             depth * math.sin(3 * t)) for t in turns]


class Materials:
    """The material table of one scene; the order of the calls is the order of the indices."""

    def __init__(self):
        self.names, self.text = [], []

    def add(self, name, colour, kd=0.8, ks=0.0, gs=2, kts=0.0, kf=0.0, eta=1.0):
        """kf is the share of light that goes through. The exponent gs stays even: a negative base with an odd one
        would make the light sum negative."""
        self.names.append(name)
        lines = [f"Attr {name}", f"kd {number(kd)}", f"ks {number(ks)}", f"gs {gs}", f"kts {number(kts)}",
                 f"kf {number(1 - kf)}", f"eta {number(eta)}", "color %d %d %d" % colour]
        self.text.append("\n".join(lines + ["shading flat" if name.startswith("flat") else "shading smooth", "enddef"]))

    def index(self, name):
        return self.names.index(name)


class Mesh:
    """Triangles under construction. Corners are listed counter-clockwise as seen from outside, here and in the file."""

    def __init__(self, materials):
        self.materials, self.vertices, self.faces, self.frame = materials, [], [], lambda p: p

    @contextmanager
    def placed(self, at, turn=0.0, tilt=0.0, roll=0.0):
        """Moves what is built inside: rolled about z, tilted about x, turned about y (degrees), then shifted."""
        outer = self.frame
        (cy, sy), (cx, sx), (cz, sz) = ((math.cos(a), math.sin(a)) for a in map(math.radians, (turn, tilt, roll)))

        def frame(p):
            x, y, z = p[0] * cz - p[1] * sz, p[0] * sz + p[1] * cz, p[2]
            y, z = y * cx - z * sx, y * sx + z * cx
            return outer((x * cy + z * sy + at[0], y + at[1], -x * sy + z * cy + at[2]))

        self.frame = frame
        yield
        self.frame = outer

    def vertex(self, p):
        self.vertices.append(self.frame(p))
        return len(self.vertices) - 1

    def triangle(self, a, b, c, material):
        self.faces.append((a, b, c, self.materials.index(material)))

    def quad(self, a, b, c, d, material):
        i, j, k, m = (self.vertex(p) for p in (a, b, c, d))
        self.triangle(i, j, k, material)
        self.triangle(i, k, m, material)

    def surface(self, rows, material):
        """A grid of points; points that fall together become one vertex, so seams and poles are smooth. Outside is
        where the columns run to the right while the rows run up."""
        seen, grid = {}, []
        for row in rows:
            keys = [tuple(round(c, 6) + 0.0 for c in p) for p in row]
            grid.append([seen[k] if k in seen else seen.setdefault(k, self.vertex(p)) for k, p in zip(keys, row)])
        for low, high in zip(grid, grid[1:]):
            for j in range(len(low) - 1):
                a, b, c, d = low[j], low[j + 1], high[j + 1], high[j]
                if len({a, b, c}) == 3:
                    self.triangle(a, b, c, material)
                if len({a, c, d}) == 3:
                    self.triangle(a, c, d, material)

    def box(self, lo, hi, material):
        (x, y, z), (X, Y, Z) = lo, hi
        for corners in (((x, y, Z), (X, y, Z), (X, Y, Z), (x, Y, Z)), ((X, y, z), (x, y, z), (x, Y, z), (X, Y, z)),
                        ((X, y, Z), (X, y, z), (X, Y, z), (X, Y, Z)), ((x, y, z), (x, y, Z), (x, Y, Z), (x, Y, z)),
                        ((x, Y, Z), (X, Y, Z), (X, Y, z), (x, Y, z)), ((x, y, z), (X, y, z), (X, y, Z), (x, y, Z))):
            self.quad(*corners, material)

    def block(self, lo, hi, material, radius=0.01, steps=3):
        """A box with rounded edges: the eight octants of a sphere pulled apart, and flat sides between them that share
        no vertex with the edges, so that they stay flat to the eye."""
        centre = mul(add(lo, hi), 0.5)
        h = sub(mul(sub(hi, lo), 0.5), (radius,) * 3)
        quarter = [(q, math.pi / 2 * (q + k / steps)) for q in range(4) for k in range(steps + 1)]
        quarter.append((0, 0.0))
        rows = []
        for side, first in ((-1, -steps), (1, 0)):
            for k in range(steps + 1):
                lat = math.pi / 2 * (first + k) / steps
                rows.append([add(centre, (
                    (h[0] if q in (0, 3) else -h[0]) + radius * math.cos(lat) * math.cos(a),
                    side * h[1] + radius * math.sin(lat),
                    (-h[2] if q in (0, 1) else h[2]) - radius * math.cos(lat) * math.sin(a))) for q, a in quarter])
        for part in (rows[:steps + 1], rows[steps + 1:]):
            for q in range(4):
                first = q * (steps + 1)
                self.surface([row[first:first + steps + 1] for row in part], material)
                self.surface([row[first + steps:first + steps + 2] for row in part], material)
        for q in range(4):
            j = q * (steps + 1) + steps
            self.surface([rows[steps][j - steps:j + 1], rows[steps + 1][j - steps:j + 1]], material)
            self.quad(rows[steps][j], rows[steps][j + 1], rows[steps + 1][j + 1], rows[steps + 1][j], material)
        ring = range(0, 4 * (steps + 1), steps + 1)
        self.quad(*(rows[-1][j] for j in ring), material)
        self.quad(*(rows[0][j] for j in reversed(ring)), material)

    def lathe(self, profile, material, segments=32, start=0.0, sweep=360.0):
        """Turns a profile of (radius, height) about the y axis; outside is to the right of the profile's course. None
        in the profile is a sharp edge: what follows starts again at the point before."""
        pieces, last = [[]], None
        for point in profile:
            if point is None:
                pieces.append([last])
            else:
                pieces[-1].append(point)
                last = point
        angles = [math.radians(start + sweep * j / segments) for j in range(segments + 1)]
        for piece in pieces:
            self.surface([[(r * math.cos(a), y, -r * math.sin(a)) for a in angles] for r, y in piece], material)

    def sphere(self, centre, radius, material, segments=32, squash=1.0):
        rings = segments // 2
        arc = [-math.pi / 2 + math.pi * i / rings for i in range(rings + 1)]
        with self.placed(centre):
            self.lathe([(radius * math.cos(t), radius * squash * math.sin(t)) for t in arc], material, segments)

    def cylinder(self, low, radius, height, material, segments=24):
        with self.placed(low):
            self.lathe([(0, 0), (radius, 0), None, (radius, height), None, (0, height)], material, segments)

    def tube(self, path, radius, material, segments=12, closed=False):
        """A round tube along a path; radius may be a function of the position 0..1 on it."""
        n, rows, side = len(path), [], None
        for i, p in enumerate(path + path[:1] if closed else path):
            if closed:
                along = unit(sub(path[(i + 1) % n], path[(i - 1) % n]))
            else:
                along = unit(sub(path[min(i + 1, n - 1)], path[max(i - 1, 0)]))
            if side is None:
                side = first = unit(cross(along, (0, 1, 0) if abs(along[1]) < 0.9 else (1, 0, 0)))
            side = unit(sub(side, mul(along, dot(side, along))))         # carried along, so the tube does not twist
            rows.append((p, side, cross(side, along), radius(i / (n - 1)) if callable(radius) else radius))
        last = rows[-1]
        twist = math.atan2(dot(first, last[2]), dot(first, last[1])) if closed else 0.0     # what a round trip turned
        grid = []
        for i, (p, x, y, r) in enumerate(rows):
            turn = [2 * math.pi * j / segments + twist * i / n for j in range(segments + 1)]
            grid.append([add(p, add(mul(x, r * math.cos(t)), mul(y, r * math.sin(t)))) for t in turn])
        self.surface(grid, material)

    def torus(self, centre, ring, radius, material, segments=40, sides=16):
        with self.placed(centre):
            turn = [2 * math.pi * i / sides - math.pi for i in range(sides + 1)]
            self.lathe([(ring + radius * math.cos(t), radius * math.sin(t)) for t in turn], material, segments)

    def text(self):
        rows = [f"vertices {len(self.vertices)}"]
        rows += [" ".join(number(c) for c in into(v)) for v in self.vertices]
        rows += ["", f"triangles {len(self.faces)}"] + ["%d %d %d" % f[:3] for f in self.faces] + [""]
        marks = [str(f[3]) for f in self.faces]
        rows += [" ".join(marks[i:i + 10]) for i in range(0, len(marks), 10)]
        return "\n".join(rows) + "\n"


def camera_text(name, eye, towards, angle, size, slope):
    """A camera that looks towards a point (x, z), up or down by slope (the tangent of the angle). angle is the
    horizontal field of view."""
    forward = unit(add(unit((towards[0] - eye[0], 0, towards[1] - eye[2])), (0, slope, 0)))
    right = unit(cross(forward, (0, 1, 0)))
    half = math.tan(math.radians(angle / 2))
    row, column = mul(right, half), mul(cross(right, forward), half * size[1] / size[0])
    corners = [add(add(eye, forward), add(mul(row, x), mul(column, y))) for x, y in ((-1, 1), (1, 1), (-1, -1))]
    rows = [" ".join(exact(c) for c in into(p)) for p in [eye] + corners]
    lines = [f"Camera {name}", f"viewpoint {rows[0]}", "screen"] + rows[1:] + ["resolution %d %d" % size]
    return "\n".join(lines) + "\n"


def write_scene(root, name, mesh, camera, lights):
    """lights: (x, y, z, flux); a point light of flux f seen at distance d counts f / d²."""
    folder = os.path.join(root, "Scenes", name)
    os.makedirs(folder, exist_ok=True)
    os.makedirs(os.path.join(root, "Scenes", "scene_descs"), exist_ok=True)
    lamps = [f"{len(lights)}"] + [" ".join(number(c) for c in (*into(light), light[3])) + " 0 -1 0" for light in lights]
    files = {f"Scenes/{name}/{name}.brs": mesh.text(), f"Scenes/{name}/{name}.cam": camera_text(name, *camera),
             f"Scenes/{name}/{name}.atr": "\n\n".join(mesh.materials.text) + "\n",
             f"Scenes/{name}/{name}.lgt": "\n".join(lamps) + "\n"}
    files[f"Scenes/scene_descs/{name}.txt"] = "\n".join(files) + "\n"
    for path, text in files.items():
        with open(os.path.join(root, path), "w", encoding="ascii", newline="\n") as out:
            out.write(text)
    print(f"{name}: {len(mesh.vertices)} vertices, {len(mesh.faces)} triangles, {len(mesh.materials.names)} materials, "
          f"{len(lights)} lights")


def shell(mesh, lo, hi, left, right, back, front, floor, ceiling):
    """A closed box whose walls look inwards; a material of None leaves that side open."""
    (x, y, z), (X, Y, Z) = lo, hi
    for material, corners in ((left, ((x, y, Z), (x, y, z), (x, Y, z), (x, Y, Z))),
                              (right, ((X, y, z), (X, y, Z), (X, Y, Z), (X, Y, z))),
                              (back, ((x, y, z), (X, y, z), (X, Y, z), (x, Y, z))),
                              (front, ((X, y, Z), (x, y, Z), (x, Y, Z), (X, Y, Z))),
                              (floor, ((x, y, Z), (X, y, Z), (X, y, z), (x, y, z))),
                              (ceiling, ((x, Y, z), (X, Y, z), (X, Y, Z), (x, Y, Z)))):
        if material:
            mesh.quad(*corners, material)


def checkers(mesh, lo, hi, count, materials, y=0.0):
    step = (hi[0] - lo[0]) / count, (hi[1] - lo[1]) / count
    for i in range(count):
        for j in range(count):
            x, z, X, Z = lo[0] + i * step[0], lo[1] + j * step[1], lo[0] + (i + 1) * step[0], lo[1] + (j + 1) * step[1]
            mesh.quad((x, y, Z), (X, y, Z), (X, y, z), (x, y, z), materials[(i + j) % 2])
