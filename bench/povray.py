#!/usr/bin/env python3
"""Times whole processes, POV-Ray's and this program's, on one core: bench/povray.py --program RayTracer SCENE...

Run in a directory with Scenes/; writes the program's kdtree.tmp and log there. POV-Ray gets the same triangles, camera
and lights as a mesh2, without anti-aliasing and display; materials are as near as its model comes. Times are processor
time in seconds, the median of --runs; POV-Ray runs once above 500,000 faces. --export DIR keeps the .pov files.
"""
import argparse
import math
import os
import re
import statistics
import subprocess
import sys
import tempfile

SCALE = 1 / 255         # of colours


def words_of(path):
    with open(path, encoding="ascii", errors="replace") as lines:
        for line in lines:
            if not line.startswith("//"):
                yield from line.split()


def read_mesh(path):
    """Vertices as texts, faces as index triples, one material index a face."""
    words = words_of(path)
    assert next(words) == "vertices"
    vertices = [tuple(next(words) for _ in range(3)) for _ in range(int(next(words)))]
    assert next(words) == "triangles"
    faces = [tuple(int(next(words)) for _ in range(3)) for _ in range(int(next(words)))]
    return vertices, faces, [int(next(words)) for _ in faces]


def read_materials(path):
    materials = []
    with open(path, encoding="ascii") as lines:
        for line in lines:
            key, *values = line.split() or [""]
            if key == "Attr":
                materials.append({"kd": 0, "ks": 0, "kts": 0, "gs": 1, "kf": 1, "eta": 1, "smooth": False})
            elif key == "shading":
                materials[-1]["smooth"] = values[0] == "smooth"
            elif key == "color":
                materials[-1]["color"] = [float(v) * SCALE for v in values]
            elif values and materials:
                materials[-1][key] = float(values[0])
    return materials


def read_numbers(path):
    return [float(n) for n in re.findall(r"(?<![\w.])[-+]?\d[\d.]*(?:e[-+]?\d+)?", open(path, encoding="ascii").read())]


def vector(v):
    return "<%s,%s,%s>" % tuple(v)


def camera_text(path):
    """The ray of a pixel is location + direction + its share of right and up, around the screen's middle."""
    text = open(path, encoding="ascii").read()
    n = [float(v) for v in text[text.index("viewpoint"):].split() if re.match(r"[-+.\d]", v)]
    eye, *corners = (n[i:i + 3] for i in (0, 3, 6, 9))
    right = [b - a for a, b in zip(corners[0], corners[1])]
    down = [b - a for a, b in zip(corners[0], corners[2])]
    forward = [c + (r + d) / 2 - e for c, r, d, e in zip(corners[0], right, down, eye)]
    return (f"camera {{ perspective location {vector(eye)} direction {vector(forward)} right {vector(right)} "
            f"up {vector([-d for d in down])} }}\n"), (int(n[12]), int(n[13]))


def material_text(m):
    clear = 1 - m["kf"]
    return (f"#declare M{m['index']} = texture {{ pigment {{ color rgb {vector(m['color'])} filter {clear} }} finish {{ "
            f"ambient 0 diffuse {m['kd']} phong {m['ks']} phong_size {max(m['gs'], 1)} reflection {m['kts']} }} }}\n")


def normals(vertices, faces):
    """Unit vertex normals, the sums of the faces' unit normals."""
    points = [tuple(map(float, v)) for v in vertices]
    sums = [[0.0, 0.0, 0.0] for _ in points]
    for face in faces:
        a, b, c = (points[i] for i in face)
        u, v = [b[i] - a[i] for i in range(3)], [c[i] - a[i] for i in range(3)]
        n = (u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0])
        size = math.sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]) or 1
        for i in face:
            for axis in range(3):
                sums[i][axis] += n[axis] / size
    return [s if any(s) else (0, 1, 0) for s in sums]


def mesh_text(vertices, faces, marks, materials, smooth):
    chosen = [(f, m) for f, m in zip(faces, marks) if materials[m]["smooth"] == smooth]
    if not chosen:
        return ""
    order = {}
    moved = [tuple(order.setdefault(i, len(order)) for i in face) for face, _ in chosen]
    points = [vertices[i] for i in order]
    parts = [f"mesh2 {{ vertex_vectors {{ {len(points)},\n" + ",\n".join(map(vector, points)) + " }\n"]
    if smooth:
        shaded = normals(points, moved)
        parts.append(f"normal_vectors {{ {len(shaded)},\n" + ",\n".join("<%g,%g,%g>" % tuple(n) for n in shaded) + " }\n")
    used = sorted({m for _, m in chosen})
    parts.append(f"texture_list {{ {len(used)}, " + ", ".join(f"texture {{ M{m} }}" for m in used) + " }\n")
    place = {m: i for i, m in enumerate(used)}
    parts.append(f"face_indices {{ {len(moved)},\n" +
                 ",\n".join(f"{vector(f)},{place[m]}" for f, (_, m) in zip(moved, chosen)) + " }\n")
    eta = max(materials[m]["eta"] for m in used)
    return "".join(parts) + f"interior {{ ior {eta or 1} }} }}\n"


def export(scene, path):
    """Writes the .pov file; returns the image's size."""
    with open(f"Scenes/scene_descs/{scene}.txt", encoding="ascii") as lines:
        mesh, camera, material, light = (line.strip() for line in list(lines)[:4])
    vertices, faces, marks = read_mesh(mesh)
    materials = read_materials(material)
    for index, m in enumerate(materials):
        m["index"] = index
    n = read_numbers(light)
    text, size = camera_text(camera)
    with open(path, "w", encoding="ascii") as out:
        out.write("#version 3.7;\nglobal_settings { assumed_gamma 1 max_trace_level 5 }\n" + text)
        for i in range(1, len(n), 7):
            out.write(f"light_source {{ {vector(n[i:i + 3])} color rgb 0.5 }}\n")
        out.writelines(material_text(m) for m in materials)
        for smooth in (False, True):
            out.write(mesh_text(vertices, faces, marks, materials, smooth))
    return size, len(faces)


def run(command, runs):
    """Median processor time and the last output."""
    times = []
    for _ in range(runs):
        with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True) as process:
            text = process.stdout.read()
            process.returncode, used = os.wait4(process.pid, 0)[1:]
        times.append(used.ru_utime + used.ru_stime)
    return statistics.median(times), text


def own_run(arguments, image, scene, *options):
    seconds, text = run([arguments.program, *options, "--out", image, scene], arguments.runs)
    if "Time:" not in text:
        sys.exit(text)
    return seconds


def compare(arguments, folder):
    os.makedirs(folder, exist_ok=True)
    print("| scene | faces | cold | with the cache | POV-Ray (trace alone) | share, cold |\n"
          "|---|---|---|---|---|---|", flush=True)
    for scene in arguments.scenes:
        path, image = os.path.join(folder, scene + ".pov"), os.path.join(folder, scene + ".bmp")
        (wide, tall), faces = export(scene, path)
        rival, text = run(["povray", "+WT1", "-A", "-D", f"+W{wide}", f"+H{tall}", "+FB", "+I" + path, "+O" + image],
                          1 if faces > 500000 else arguments.runs)
        trace = re.search(r"Trace Time:.*\((\d+\.\d+) seconds\)", text)
        if not trace:
            sys.exit(text)
        cold = own_run(arguments, image, scene, "--resetcache")
        warm = own_run(arguments, image, scene)
        print(f"| {scene} | {faces} | {cold:.2f} | {warm:.2f} | {rival:.2f} ({trace[1]}) | "
              f"{cold / rival:.2f} |", flush=True)


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--program", required=True)
    parser.add_argument("--runs", type=int, default=3)
    parser.add_argument("--export")
    parser.add_argument("scenes", nargs="+")
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="povray-") as scratch:
        compare(arguments, arguments.export or scratch)


if __name__ == "__main__":
    main()
