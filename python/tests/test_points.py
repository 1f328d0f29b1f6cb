"""How far points are, and which are inside."""
import numpy as np

from meshes import ball
from raytracer import RaycastingScene

VERTICES, TRIANGLES = ball(24)
SCENE = RaycastingScene()
SCENE.add_triangles(VERTICES, TRIANGLES)
POINTS = np.random.default_rng(3).normal(size=(40, 50, 3)) * 0.7
RADII = np.linalg.norm(POINTS, axis=-1)


def test_distances_are_those_of_a_ball():
    np.testing.assert_allclose(SCENE.compute_signed_distance(POINTS), RADII - 1, atol=0.02)
    distance = SCENE.compute_distance(POINTS)
    np.testing.assert_array_equal(distance, abs(SCENE.compute_signed_distance(POINTS)))
    near = SCENE.compute_closest_points(POINTS)
    way = np.linalg.norm(near["points"] - POINTS, axis=-1)
    np.testing.assert_allclose(way, distance, rtol=1e-4, atol=1e-5)
    a, b, c = np.moveaxis(VERTICES[TRIANGLES[near["primitive_ids"]]], -2, 0)
    u, v = np.moveaxis(near["primitive_uvs"], -1, 0)[..., None]
    np.testing.assert_allclose(a * (1 - u - v) + b * u + c * v, near["points"], atol=1e-5)
    assert (np.einsum("...i,...i", near["primitive_normals"], near["points"]) > 0.9).all()


def test_occupancy_is_the_distance_s_sign():
    for nsamples in (1, 5):
        inside = SCENE.compute_occupancy(POINTS, nsamples=nsamples)
        assert inside.dtype == np.float32 and set(np.unique(inside)) == {0, 1}
        np.testing.assert_array_equal(inside == 1, SCENE.compute_signed_distance(POINTS) < 0)


def test_samples_outvote_a_hole():
    open_ball = RaycastingScene()
    open_ball.add_triangles(VERTICES, np.delete(TRIANGLES, np.arange(0, len(TRIANGLES), 9), axis=0))
    inside = open_ball.compute_occupancy(POINTS[RADII < 0.8], nsamples=31)
    assert inside.all() and not open_ball.compute_occupancy(POINTS[RADII < 0.8]).all()
