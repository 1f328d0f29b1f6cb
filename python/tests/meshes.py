"""Meshes for tests, and a search over all triangles in float64."""
import numpy as np


def ball(divisions=12):
    """A closed mesh of radius 1 whose corners run counter-clockwise seen from outside."""
    rows, columns = divisions, 2 * divisions
    polar = np.arange(1, rows)[:, None] * np.pi / rows
    turn = np.arange(columns) * 2 * np.pi / columns
    ring = np.stack(np.broadcast_arrays(np.sin(polar) * np.cos(turn), np.sin(polar) * np.sin(turn),
                                        np.cos(polar)), -1).reshape(-1, 3)
    vertices = np.vstack([ring, [[0, 0, 1], [0, 0, -1]]]).astype(np.float32)
    north, south = len(ring), len(ring) + 1
    triangles = []
    for i in range(columns):
        j = (i + 1) % columns
        triangles.append((north, i, j))
        for row in range(0, len(ring) - columns, columns):
            triangles += [(row + i, row + columns + i, row + columns + j),
                          (row + i, row + columns + j, row + j)]
        triangles.append((south, len(ring) - columns + j, len(ring) - columns + i))
    return vertices, np.array(triangles)


def search(vertices, triangles, rays):
    """t (n) of the nearest hit of rays (n, 6), inf for none."""
    a, b, c = (vertices.astype(np.float64)[triangles[:, i]] for i in range(3))
    nearest = np.full(len(rays), np.inf)
    for i, ray in enumerate(np.asarray(rays, np.float64)):
        p = np.cross(ray[3:], c - a)
        with np.errstate(all="ignore"):
            inverse = 1 / np.einsum("ij,ij->i", b - a, p)
            u = np.einsum("ij,ij->i", ray[:3] - a, p) * inverse
            q = np.cross(ray[:3] - a, b - a)
            v, t = q @ ray[3:] * inverse, np.einsum("ij,ij->i", c - a, q) * inverse
        met = (u >= 0) & (v >= 0) & (u + v <= 1) & (t >= 0)
        nearest[i] = t[met].min(initial=np.inf)
    return nearest


def random_rays(count, seed=1):
    """Rays (count, 6), of which most pass near 0."""
    rays = np.random.default_rng(seed).normal(size=(count, 6)).astype(np.float32)
    rays[:, :3] *= 2
    rays[:, 3:] -= rays[:, :3]
    return rays


def write_sky(path):
    """A sky of 16 x 8 pixels with a sun, as a Radiance file and as numbers."""
    pixels = np.full((8, 16, 4), 128, np.uint8)
    pixels[..., 2] += np.arange(16, dtype=np.uint8)
    pixels[1, 3] = 200, 180, 160, 137
    path.write_bytes(b"#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 8 +X 16\n" +
                     pixels.tobytes())
    return pixels[..., :3] * np.exp2(pixels[..., 3:].astype(np.float32) - 136)
