#!/usr/bin/env python3
"""Writes small model files to try rt-import and rt-render with: tools/make-models.py [directory]

table.obj (materials, several objects, polygons), knot.ply (colours of vertices), gear.stl (z up), pawn.gltf (a metal) and
house.dae (nodes that use one mesh twice).
"""
import base64
import math
import os
import struct
import sys


def lathe(profile, count):
    """Points and triangles of a profile of (radius, height) turned around the y axis."""
    points = [(r * math.sin(2 * math.pi * i / count), y, r * math.cos(2 * math.pi * i / count))
              for r, y in profile for i in range(count)]
    faces = []
    for ring in range(len(profile) - 1):
        for i in range(count):
            a, b, j = ring * count, ring * count + count, (i + 1) % count
            faces += [(a + i, a + j, b + j), (a + i, b + j, b + i)]
    return points, faces


def table_obj(out, mtl):
    mtl.write("newmtl wood\nKd 0.55 0.33 0.18\nnewmtl red\nKd 0.8 0.1 0.08\nKs 0.5 0.5 0.5\nNs 80\n")
    out.write("mtllib table.mtl\n")
    boxes = [("top", -100, 70, -50, 200, 5, 100)]
    boxes += [(f"leg{x}{z}", x, 0, z, 8, 70, 8) for x in (-95, 87) for z in (-45, 37)]
    for name, x, y, z, wide, tall, deep in boxes:
        out.write(f"o {name}\nusemtl wood\n")
        for i in range(8):
            out.write(f"v {x + wide * (i & 1)} {y + tall * (i >> 1 & 1)} {z + deep * (i >> 2)}\n")
        for face in ("1 3 4 2", "5 6 8 7", "1 2 6 5", "3 7 8 4", "1 5 7 3", "2 4 8 6"):
            out.write("f " + " ".join(str(int(i) - 9) for i in face.split()) + "\n")
    points, faces = lathe([(16, 75), (20, 105)], 24)
    out.write("o pot\nusemtl red\n" + "".join("v %g %g %g\n" % p for p in points))
    out.write("".join("f %d %d %d\n" % tuple(i - 48 for i in f) for f in faces))
    out.write("f " + " ".join(str(i - 24) for i in range(24)) + "\n")


def knot_ply(out, along=300, around=24):
    def middle(t):
        return ((2 + math.cos(3 * t)) * math.cos(2 * t), (2 + math.cos(3 * t)) * math.sin(2 * t), math.sin(3 * t))

    def unit(v):
        return tuple(x / math.hypot(*v) for x in v)

    def cross(a, b):
        return tuple(a[i - 2] * b[i - 1] - a[i - 1] * b[i - 2] for i in range(3))

    out.write(f"ply\nformat ascii 1.0\nelement vertex {along * around}\n" +
              "".join(f"property float {c}\n" for c in "xyz") +
              "".join(f"property uchar {c}\n" for c in ("red", "green", "blue")) +
              f"element face {along * around}\nproperty list uchar int vertex_indices\nend_header\n")
    for i in range(along):
        t = 2 * math.pi * i / along
        p, q = middle(t), middle(t + 1e-4)
        tangent = unit([b - a for a, b in zip(p, q)])
        side = unit(cross(tangent, (0.3, 0.2, 1.0)))
        other = cross(tangent, side)
        for j in range(around):
            c, s = (0.4 * f(2 * math.pi * j / around) for f in (math.cos, math.sin))
            out.write("%.5f %.5f %.5f 60 140 190\n" % tuple(p[k] + c * side[k] + s * other[k] for k in range(3)))
    for i in range(along):
        for j in range(around):
            a, b, n = i * around, (i + 1) % along * around, (j + 1) % around
            out.write(f"4 {a + j} {b + j} {b + n} {a + n}\n")


def gear_stl(out, teeth=16):
    radii = [r for _ in range(teeth) for r in (20, 20, 25, 25)]
    ring = [[(r * math.cos(2 * math.pi * i / len(radii)), r * math.sin(2 * math.pi * i / len(radii)), z)
             for i, r in enumerate(radii)] for z in (0, 8)]
    hole = [[(8 * x / r, 8 * y / r, z) for (x, y, z), r in zip(circle, radii)] for circle in ring]
    facets = []
    for i in range(len(radii)):
        j = (i + 1) % len(radii)
        for a, b in ((ring[0], ring[1]), (ring[1], hole[1]), (hole[1], hole[0]), (hole[0], ring[0])):
            facets += [(a[i], a[j], b[j]), (a[i], b[j], b[i])]
    out.write(bytes(80) + struct.pack("<I", len(facets)))
    for facet in facets:
        out.write(struct.pack("<12fH", 0, 0, 0, *facet[0], *facet[1], *facet[2], 0))


def pawn_gltf(out):
    points, faces = lathe([(0, 0), (1, 0), (1, .25), (.7, .5), (.45, 1), (.35, 1.5), (.6, 1.6), (.35, 1.7)] +
                          [(.5 * math.sin(a), 2.1 - .5 * math.cos(a)) for a in [.8 + .234 * i for i in range(11)]], 50)
    data = b"".join(struct.pack("<3f", *p) for p in points) + b"".join(struct.pack("<3H", *f) for f in faces)
    size = 12 * len(points)
    low, high = [min(c) for c in zip(*points)], [max(c) for c in zip(*points)]
    out.write('{"asset":{"version":"2.0"},"scene":0,"scenes":[{"nodes":[0]}],"nodes":[{"mesh":0}],'
              '"meshes":[{"primitives":[{"attributes":{"POSITION":0},"indices":1,"material":0}]}],'
              '"materials":[{"name":"brass","pbrMetallicRoughness":{"baseColorFactor":[0.75,0.5,0.15,1],'
              '"metallicFactor":1,"roughnessFactor":0.35}}],"accessors":['
              f'{{"bufferView":0,"componentType":5126,"count":{len(points)},"type":"VEC3","min":{low},"max":{high}}},'
              f'{{"bufferView":1,"componentType":5123,"count":{3 * len(faces)},"type":"SCALAR"}}],"bufferViews":['
              f'{{"buffer":0,"byteLength":{size}}},{{"buffer":0,"byteOffset":{size},"byteLength":{len(data) - size}}}],'
              f'"buffers":[{{"byteLength":{len(data)},"uri":"data:application/octet-stream;base64,'
              f'{base64.b64encode(data).decode()}"}}]}}\n')


def house_dae(out):
    meshes = {"wall": ("0.85 0.8 0.7", "-2 -1.5 0 2 -1.5 0 2 1.5 0 -2 1.5 0 -2 -1.5 2 2 -1.5 2 2 1.5 2 -2 1.5 2",
                       ["0 3 2 1", "0 1 5 4", "1 2 6 5", "2 3 7 6", "3 0 4 7"]),
              "roof": ("0.7 0.25 0.15", "-2.3 -1.8 1.9 2.3 -1.8 1.9 2.3 1.8 1.9 -2.3 1.8 1.9 -2.3 0 3.4 2.3 0 3.4",
                       ["0 3 2 1", "0 1 5 4", "1 2 5", "2 3 4 5", "3 0 4"]),
              "tree": ("0.2 0.5 0.2", "-.8 -.8 .3 .8 -.8 .3 .8 .8 .3 -.8 .8 .3 0 0 3",
                       ["0 3 2 1", "0 1 4", "1 2 4", "2 3 4", "3 0 4"])}
    places = [("wall", "0 0 0"), ("roof", "0 0 0"), ("tree", "3.4 -1.2 0"), ("tree", "-3.6 -.6 0")]
    effects = materials = geometries = ""
    for name, (colour, points, faces) in meshes.items():
        effects += (f'<effect id="{name}-e"><profile_COMMON><technique sid="c"><lambert><diffuse><color>{colour} 1</color>'
                    '</diffuse></lambert></technique></profile_COMMON></effect>\n')
        materials += f'<material id="{name}-m" name="{name}"><instance_effect url="#{name}-e"/></material>\n'
        count = len(points.split())
        geometries += (
            f'<geometry id="{name}"><mesh><source id="{name}-p"><float_array id="{name}-a" count="{count}">{points}'
            f'</float_array><technique_common><accessor source="#{name}-a" count="{count // 3}" stride="3">'
            '<param name="X" type="float"/><param name="Y" type="float"/><param name="Z" type="float"/></accessor>'
            f'</technique_common></source><vertices id="{name}-v"><input semantic="POSITION" source="#{name}-p"/>'
            f'</vertices><polylist material="m" count="{len(faces)}"><input semantic="VERTEX" source="#{name}-v" '
            f'offset="0"/><vcount>{" ".join(str(len(f.split())) for f in faces)}</vcount><p>{" ".join(faces)}</p>'
            '</polylist></mesh></geometry>\n')
    nodes = "".join(f'<node><translate>{place}</translate><instance_geometry url="#{name}"><bind_material>'
                    f'<technique_common><instance_material symbol="m" target="#{name}-m"/></technique_common>'
                    '</bind_material></instance_geometry></node>\n' for name, place in places)
    out.write('<?xml version="1.0"?>\n<COLLADA xmlns="http://www.collada.org/2005/11/COLLADASchema" version="1.4.1">\n'
              f'<asset><up_axis>Z_UP</up_axis></asset>\n<library_effects>\n{effects}</library_effects>\n'
              f'<library_materials>\n{materials}</library_materials>\n<library_geometries>\n{geometries}'
              f'</library_geometries>\n<library_visual_scenes><visual_scene id="s">\n{nodes}</visual_scene>'
              '</library_visual_scenes>\n<scene><instance_visual_scene url="#s"/></scene>\n</COLLADA>\n')


def main():
    if len(sys.argv) > 1:
        os.makedirs(sys.argv[1], exist_ok=True)
        os.chdir(sys.argv[1])
    with open("table.obj", "w") as out, open("table.mtl", "w") as mtl:
        table_obj(out, mtl)
    for name, write, mode in (("knot.ply", knot_ply, "w"), ("gear.stl", gear_stl, "wb"), ("pawn.gltf", pawn_gltf, "w"),
                              ("house.dae", house_dae, "w")):
        with open(name, mode) as out:
            write(out)


main()
