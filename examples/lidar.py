"""Turns a lidar around in a hall of pillars, and writes what it sees from above: lidar.png."""
import numpy as np
import raytracer


def box(low, high):
    """Vertices and triangles of a box, whose corners run counter-clockwise seen from outside."""
    corners = np.array([[x, y, z] for x in (0, 1) for y in (0, 1) for z in (0, 1)])
    sides = [(0, 1, 3, 2), (4, 6, 7, 5), (0, 4, 5, 1), (2, 3, 7, 6), (0, 2, 6, 4), (1, 5, 7, 3)]
    triangles = [(a, b, c) for a, b, c, d in sides] + [(a, c, d) for a, b, c, d in sides]
    return corners * np.subtract(high, low) + low, np.array(triangles)


scene = raytracer.RaycastingScene()
scene.add_triangles(*box((-10, -10, 0), (10, 10, 4)))
for x in range(-8, 9, 4):
    for y in range(-8, 9, 4):
        scene.add_triangles(*box((x - 0.4, y - 0.4, 0), (x + 0.4, y + 0.4, 4)))

turn = np.linspace(0, 2 * np.pi, 20000, endpoint=False)
rays = np.zeros((20000, 6), np.float32)
rays[:, :3] = 1.0, 2.0, 1.5
rays[:, 3:5] = np.stack([np.cos(turn), np.sin(turn)], axis=-1)
hits = scene.cast_rays(rays)
points = rays[:, :2] + hits["t_hit"][:, None] * rays[:, 3:5]

picture = np.zeros((420, 420), np.uint8)
column, row = np.int64(210 + 20 * points[:, 0]), np.int64(210 - 20 * points[:, 1])
picture[row, column] = np.where(hits["geometry_ids"] == 0, 120, 255)
raytracer.write_png("lidar.png", picture)
print(f"{(hits['geometry_ids'] > 0).mean():.0%} of the beams end at a pillar")
