"""Measures a ring with rays: its volume from the points that are inside, and its widest wall."""
import numpy as np
import raytracer


def ring(major=2.0, minor=0.8, rows=96, columns=48):
    """Vertices and triangles of a torus around z, closed."""
    i, j = np.meshgrid(np.arange(rows), np.arange(columns), indexing="ij")
    a, b = 2 * np.pi * i / rows, 2 * np.pi * j / columns
    vertices = np.stack([(major + minor * np.cos(b)) * np.cos(a),
                         (major + minor * np.cos(b)) * np.sin(a), minor * np.sin(b)], axis=-1)
    p, q = i * columns + j, (i + 1) % rows * columns + j
    r, s = (i + 1) % rows * columns + (j + 1) % columns, i * columns + (j + 1) % columns
    triangles = np.stack([p, q, r, p, r, s], axis=-1)
    return vertices.reshape(-1, 3), triangles.reshape(-1, 3)


scene = raytracer.RaycastingScene()
scene.add_triangles(*ring())
points = np.random.default_rng(0).uniform((-3, -3, -1), (3, 3, 1), (200000, 3))
volume = 72 * scene.compute_occupancy(points).mean()
depth = -scene.compute_signed_distance(points).min()
print(f"volume {volume:.2f}, of the ideal ring {2 * np.pi ** 2 * 2.0 * 0.8 ** 2:.2f}")
print(f"a ball of radius {depth:.2f} fits in")
