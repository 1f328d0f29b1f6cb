#!/usr/bin/env python3
"""Draws the speed chart of README from the tables of docs/performance.md: tools/draw-speed.py   (writes docs/images/speed.svg)"""
import os
import re

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SCENES = ("interior", "bunny", "scan270k", "scan1m")
TRACERS = (("ours, AVX-512", "RayTracer", "#c2571a"), ("Embree packets of 8", "Embree, packets of 8", "#8d99ae"),
           ("Embree single", "Embree, single rays", "#ced4dd"))
WIDTH, LEFT, BAR, GAP = 720, 190, 17, 22


def frames():
    """Milliseconds of a frame by scene and tracer, and the faces of each scene."""
    page = open(os.path.join(ROOT, "docs/performance.md")).read()
    table = page[page.index("**Queries:"):].split("\n\n")[1]
    rows = [[cell.strip() for cell in line.strip("|").split("|")] for line in table.splitlines()]
    names = rows[0][2:]
    return {row[0]: (int(row[1]), dict(zip(names, (float(re.search(r": (\d+)", cell).group(1)) for cell in row[2:]))))
            for row in rows[2:]}


def main():
    data = frames()
    longest = max(data[scene][1][name] for scene in SCENES for name, _, _ in TRACERS)
    y, parts = 44, []
    for x, (_, title, color) in zip((LEFT, LEFT + 130, LEFT + 310), TRACERS):
        parts.append(f'<rect x="{x}" y="12" width="14" height="14" fill="{color}"/><text x="{x + 20}" y="24">{title}</text>')
    for scene in SCENES:
        faces, times = data[scene]
        parts.append(f'<text x="{LEFT - 10}" y="{y + 1.5 * BAR + 5}" text-anchor="end">{scene}, {faces:,} faces</text>')
        for name, _, color in TRACERS:
            length = (WIDTH - LEFT - 80) * times[name] / longest
            parts.append(f'<rect x="{LEFT}" y="{y}" width="{length:.1f}" height="{BAR - 2}" fill="{color}"/>'
                         f'<text x="{LEFT + length + 6:.1f}" y="{y + BAR - 4}" font-size="12">{times[name]:.0f} ms</text>')
            y += BAR
        y += GAP
    with open(os.path.join(ROOT, "docs/images/speed.svg"), "w") as file:
        file.write(f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{y}" font-family="sans-serif" '
                   f'font-size="14">\n<title>Time of all rays of a picture on one core, in milliseconds</title>\n'
                   f'<rect width="{WIDTH}" height="{y}" fill="white"/>\n' + "\n".join(parts) + "\n</svg>\n")


main()
