"""The intersector for meshes of the trimesh kind."""
import copy
import pickle
import sys

import numpy as np
import pytest

from meshes import ball, search
from raytracer.trimesh import RayMeshIntersector


class Mesh:
    """Vertices, faces and no hash of its own."""

    def __init__(self, vertices, faces):
        self.vertices, self.faces = vertices, faces


class HashedMesh(Mesh):
    version = 0

    def __hash__(self):
        return self.version


FAR = np.array([5e5, -4e6, 300.0])  # where float32 has half a metre
RNG = np.random.default_rng(5)
TARGETS = RNG.normal(size=(300, 3)) * 0.7


def rays_at(place, size):
    directions = RNG.normal(size=(300, 3))
    directions *= RNG.uniform(0.8, 3, (300, 1)) / np.linalg.norm(directions, axis=1, keepdims=True)
    return (TARGETS - 5 * directions) * size + place, directions * size


@pytest.mark.parametrize("place, size, scaled", [(0, 1, False), (0, 1, True), (FAR, 10, True)])
def test_answers(place, size, scaled):
    assert "trimesh" not in sys.modules
    vertices, faces = ball()
    vertices = vertices.astype(np.float64) * size + place
    ray = RayMeshIntersector(Mesh(vertices, faces), scale_to_box=scaled)
    origins, directions = rays_at(place, size)
    t = search((vertices - place), faces,
               np.hstack([origins - place, directions]).astype(np.float32))
    met = np.isfinite(t)
    first = ray.intersects_first(origins, directions)
    assert first.dtype == np.int64
    np.testing.assert_array_equal(first != -1, met)
    np.testing.assert_array_equal(ray.intersects_any(origins, directions), met)

    index_tri, index_ray, points = ray.intersects_id(
        origins, directions, multiple_hits=False, return_locations=True)
    np.testing.assert_array_equal(index_ray, np.flatnonzero(met))
    np.testing.assert_array_equal(index_tri, first[met])
    on_rays = (origins + t[:, None] * directions)[met]
    np.testing.assert_allclose(points, on_rays, atol=1e-5 * size, rtol=0)
    a, b, c = np.moveaxis(vertices[faces[index_tri]], 1, 0)
    normals = np.cross(b - a, c - a)
    off = np.einsum("ij,ij->i", points - a, normals) / np.linalg.norm(normals, axis=1)
    assert abs(off).max() < 1e-8 * size, "in the triangle's plane, in float64"
    beside = np.cross(points - origins[index_ray], directions[index_ray] / size)
    assert abs(beside).max() < 1e-7 * size, "on the ray, in float64"

    all_points, all_rays, all_triangles = ray.intersects_location(origins, directions)
    assert all_points.dtype == np.float64 and all_rays.dtype == all_triangles.dtype == np.int64
    np.testing.assert_array_equal(np.bincount(all_rays, minlength=300), np.where(met, 2, 0))
    assert len(ray.intersects_id(origins, directions, max_hits=1)[0]) == met.sum()
    assert len(ray.intersects_location(origins[~met], directions[~met])[0]) == 0
    inside = np.linalg.norm(TARGETS, axis=1) < 0.95
    contained = ray.contains_points(TARGETS * size + place)
    assert contained[inside].all() and not contained[np.linalg.norm(TARGETS, axis=1) > 1].any()


def test_copies_and_changed_meshes():
    vertices, faces = ball()
    for kind in (Mesh, HashedMesh):
        mesh = kind(vertices.copy(), faces)
        ray = RayMeshIntersector(mesh)
        assert ray.contains_points([[0, 0, 0]]).all()
        for other in (copy.copy(ray), copy.deepcopy(ray), pickle.loads(pickle.dumps(ray))):
            assert other.contains_points([[0, 0, 0]]).all()
        mesh.vertices += 9
        mesh.version = 1
        assert not ray.contains_points([[0, 0, 0]]).any() and ray.contains_points([[9, 9, 9]]).all()


def test_errors_and_empty_meshes():
    ray = RayMeshIntersector(Mesh(np.empty((0, 3)), np.empty((0, 3), int)))
    assert (ray.intersects_first(np.zeros((2, 3)), np.ones((2, 3))) == -1).all()
    assert ray.intersects_location(np.zeros((2, 3)), np.ones((2, 3)))[0].shape == (0, 3)
    with pytest.raises(ValueError, match=r"shape \(2, 3\) wanted as of ray_origins, got \(1, 3\)"):
        ray.intersects_any(np.zeros((2, 3)), np.ones((1, 3)))
