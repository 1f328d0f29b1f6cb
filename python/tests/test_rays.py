"""What rays meet."""
import os
import signal
import sys
import threading

import numpy as np
import pytest

import raytracer
from meshes import ball, random_rays, search
from raytracer import RaycastingScene


def scene_of(*meshes, **settings):
    scene = RaycastingScene(**settings)
    for i, mesh in enumerate(meshes):
        assert scene.add_triangles(*mesh) == i
    return scene


VERTICES, TRIANGLES = ball()


@pytest.mark.parametrize("kind", ["watertight", "tree"])
def test_cast_rays_finds_what_a_search_finds(kind):
    other = VERTICES + np.float32([3, 0, 0]), TRIANGLES
    scene = scene_of((VERTICES, TRIANGLES), other, rays=kind)
    rays = random_rays(600)
    hits = scene.cast_rays(rays.reshape(20, 30, 6))
    t = hits["t_hit"].ravel()
    both = np.minimum(search(VERTICES, TRIANGLES, rays), search(*other, rays))
    np.testing.assert_allclose(t, both, rtol=1e-4)
    met = np.isfinite(t)
    assert 100 < met.sum() < 500
    geometry, primitive = (hits[k].ravel() for k in ("geometry_ids", "primitive_ids"))
    assert set(geometry[met]) == {0, 1} and primitive[met].max() < len(TRIANGLES)
    for name in ("geometry_ids", "primitive_ids"):
        assert (hits[name].ravel()[~met] == RaycastingScene.INVALID_ID).all()
        assert hits[name].dtype == np.uint32 and hits[name].shape == (20, 30)
    moved = geometry[met][:, None] * np.float32([3, 0, 0])
    corners = VERTICES[TRIANGLES[primitive[met]]] + moved[:, None]
    u, v = hits["primitive_uvs"].reshape(-1, 2)[met].T[..., None]
    points = corners[:, 0] * (1 - u - v) + corners[:, 1] * u + corners[:, 2] * v
    np.testing.assert_allclose(points, rays[met, :3] + t[met, None] * rays[met, 3:], atol=1e-5)
    normals = hits["primitive_normals"].reshape(-1, 3)
    outwards = corners.mean(axis=1) - moved
    assert (np.einsum("ij,ij->i", normals[met], outwards) > 0.9).all() and not normals[~met].any()
    np.testing.assert_array_equal(scene.test_occlusions(rays), met)
    t_end = np.float32(np.median(t[met]))
    np.testing.assert_array_equal(scene.test_occlusions(rays, tfar=t_end), t <= t_end)


def test_lists_and_counts_agree():
    scene = scene_of((VERTICES, TRIANGLES), (VERTICES * 2, TRIANGLES))
    rays = random_rays(500)
    listed, nearest = scene.list_intersections(rays.reshape(5, 100, 6)), scene.cast_rays(rays)
    splits = listed["ray_splits"]
    np.testing.assert_array_equal(np.diff(splits), scene.count_intersections(rays))
    np.testing.assert_array_equal(np.repeat(np.arange(500), np.diff(splits)), listed["ray_ids"])
    first = splits[:-1][np.diff(splits) > 0]
    met = np.isfinite(nearest["t_hit"])
    for name in ("t_hit", "geometry_ids", "primitive_ids", "primitive_uvs"):
        np.testing.assert_array_equal(listed[name][first], nearest[name][met])
    within_one_ray = np.diff(listed["ray_ids"]) == 0
    assert (np.diff(listed["t_hit"])[within_one_ray] >= 0).all()
    later = listed["t_hit"] > 0.5
    beyond = np.bincount(listed["ray_ids"][later], minlength=500) > 0
    np.testing.assert_array_equal(scene.test_occlusions(rays, tnear=0.5), beyond)


def test_nothing_gets_through_the_edges_of_a_closed_mesh():
    scene = scene_of((VERTICES, TRIANGLES))
    corners = VERTICES[TRIANGLES].astype(np.float64)
    edges = np.concatenate([corners * (1 - s) + np.roll(corners, 1, axis=1) * s
                            for s in (0, 0.25, 0.5)]).reshape(-1, 3)
    inside = np.float32([0.1, 0.2, -0.3])
    rays = np.hstack([np.broadcast_to(inside, edges.shape), edges - inside])
    assert np.isfinite(scene.cast_rays(rays)["t_hit"]).all()
    assert (scene.count_intersections(rays) % 2 == 1).all()
    rays[:, :3] = [4, 3, 2]
    rays[:, 3:] = edges - rays[:, :3]
    assert (scene.count_intersections(rays) % 2 == 0).all()


@pytest.mark.parametrize("ask", [
    lambda scene, rays, n: scene.cast_rays(rays, nthreads=n),
    lambda scene, rays, n: scene.list_intersections(rays, nthreads=n),
    lambda scene, rays, n: {"": scene.test_occlusions(rays, nthreads=n)},
    lambda scene, rays, n: scene.compute_closest_points(rays[:, :3], nthreads=n),
    lambda scene, rays, n: {"": scene.compute_signed_distance(rays[:, :3], nthreads=n, nsamples=3)},
])
def test_threads_and_neighbours_change_nothing(ask):
    scene, rays = scene_of((VERTICES, TRIANGLES)), random_rays(10000)
    one, many, again = (ask(scene_of((VERTICES, TRIANGLES), nthreads=n), rays, n)
                        for n in (1, 7, 0))
    for name in one:
        assert one[name].tobytes() == many[name].tobytes() == again[name].tobytes(), name
    alone = ask(scene, rays[4321:4322], 1)
    for name in ("t_hit", "points", "primitive_uvs", ""):
        if name in one and len(one[name]) == len(rays):
            assert one[name][4321].tobytes() == alone[name].tobytes(), name


@pytest.mark.parametrize("kind", ["watertight", "tree"])
def test_a_scene_without_triangles_is_missed_and_grows(kind):
    scene, rays = RaycastingScene(rays=kind), random_rays(9)
    for _ in range(2):  # without meshes, and with an empty one
        assert np.isinf(scene.cast_rays(rays)["t_hit"]).all()
        assert not scene.test_occlusions(rays).any()
        if kind == "watertight":
            assert not scene.count_intersections(rays).any()
            assert not len(scene.list_intersections(rays)["t_hit"])
            assert np.isinf(scene.compute_distance(rays[:, :3])).all()
            assert not scene.compute_occupancy(rays[:, :3]).any()
            closest = scene.compute_closest_points(rays[:, :3])
            assert (closest["geometry_ids"] == scene.INVALID_ID).all()
        scene.add_triangles(np.empty((0, 3)), np.empty((0, 3)))
    assert scene.add_triangles(VERTICES, TRIANGLES) == scene.geometry_count - 1 == 2
    assert (scene.cast_rays([0, 0, 0, 1, 2, 3])["geometry_ids"]) == 2


def test_the_tree_says_what_it_cannot_answer():
    with pytest.raises(RuntimeError, match="count_intersections needs .*watertight"):
        scene_of((VERTICES, TRIANGLES), rays="tree").count_intersections(random_rays(1))


def test_a_signal_ends_a_long_call_and_other_threads_run_meanwhile():
    scene = scene_of((VERTICES, TRIANGLES))
    for nthreads in (1, 2):
        begins = threading.Event()

        class Points:  # that tell when they are read
            def __array__(self, dtype=None):
                begins.set()
                return np.zeros((100000, 3), np.float32)

        helper = threading.Thread(
            target=lambda: begins.wait() and os.kill(os.getpid(), signal.SIGINT))
        helper.start()
        usual = sys.getswitchinterval()
        sys.setswitchinterval(1e6)  # the helper's turn comes when the call lets go of the lock
        try:
            with pytest.raises(KeyboardInterrupt):
                scene.compute_occupancy(Points(), nthreads=nthreads, nsamples=100001)  # hours
        finally:
            sys.setswitchinterval(usual)
        helper.join()


@pytest.mark.parametrize("kind", ["watertight", "tree"])
def test_a_signal_ends_the_building_of_a_scene(kind):
    vertices, triangles = ball(500)
    scene = scene_of((vertices, triangles), rays=kind)
    begins = threading.Event()

    class Rays:  # that tell when they are read, which is before the scene is built
        def __array__(self, dtype=None):
            begins.set()
            return np.float32([[0, 0, 0, 1, 2, 3]])

    helper = threading.Thread(
        target=lambda: begins.wait() and os.kill(os.getpid(), signal.SIGINT))
    helper.start()
    with pytest.raises(KeyboardInterrupt):
        scene.cast_rays(Rays())
        helper.join()  # a quick machine is interrupted here
    helper.join()
    assert scene.cast_rays([0, 0, 0, 1, 2, 3])["geometry_ids"] == 0


def test_pinhole_rays():
    create = RaycastingScene.create_rays_pinhole
    rays = create(fov_deg=90, center=[0, 0, 0], eye=[0, 0, -5],
                  up=[0, 1, 0], width_px=4, height_px=2)
    assert rays.shape == (2, 4, 6) and rays.dtype == np.float32
    np.testing.assert_allclose(rays[0, 0], [0, 0, -5, 0.75, 0.25, 1], atol=1e-6)
    np.testing.assert_allclose(rays[1, 3], [0, 0, -5, -0.75, -0.25, 1], atol=1e-6)
    by_matrices = create([[2, 0, 2], [0, 2, 1], [0, 0, 1]],
                         [[-1, 0, 0, 0], [0, -1, 0, 0], [0, 0, 1, 5], [0, 0, 0, 1]], 4, 2)
    np.testing.assert_allclose(by_matrices, rays, atol=1e-6)
    with pytest.raises(ValueError, match="must be finite and not lie on one line"):
        raytracer.Camera(60, [0, 0, 0], [0, 1, 0], [0, 1, 0], 4, 4)
