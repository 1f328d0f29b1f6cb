"""Arrays of every kind, and what is said about those that do not fit."""
import types

import numpy as np
import pytest

from meshes import ball, random_rays
from raytracer import RaycastingScene

VERTICES, TRIANGLES = ball(6)
RAYS = random_rays(64)


def read_only(array):
    array = array.copy()
    array.flags.writeable = False
    return array


def unaligned(array):
    late = np.frombuffer(b"x" + array.tobytes(), np.uint8)[1:]
    return late.view(array.dtype).reshape(array.shape)


FORMS = {"float64": lambda a: a.astype(np.float64), "half": lambda a: a.astype(np.float16),
         "swapped": lambda a: a.astype(">f8"), "list": lambda a: a.tolist(),
         "fortran": np.asfortranarray, "backwards": lambda a: a[::-1].copy()[::-1],
         "apart": lambda a: np.repeat(a, 2, axis=0)[::2],
         "columns": lambda a: np.hstack([a, a])[:, :a.shape[1]],
         "read only": read_only, "unaligned": unaligned,
         "unaligned float64": lambda a: unaligned(a.astype(np.float64))}


@pytest.mark.parametrize("form", FORMS)
def test_arrays_of_any_form_are_read(form):
    scene, other = RaycastingScene(), RaycastingScene()
    rays, vertices = RAYS, VERTICES
    if form == "half":
        rays, vertices = (a.astype(np.float16).astype(np.float32) for a in (rays, vertices))
    kept = rays.copy()
    scene.add_triangles(vertices, TRIANGLES.astype(np.uint8))
    other.add_triangles(FORMS[form](vertices), np.asfortranarray(TRIANGLES.astype(np.int64)))
    one, two = scene.cast_rays(rays), other.cast_rays(FORMS[form](rays))
    for name in one:
        np.testing.assert_array_equal(one[name], two[name])
    np.testing.assert_array_equal(rays, kept)


@pytest.mark.parametrize("kind", ["watertight", "tree"])
@pytest.mark.parametrize("value", [np.nan, np.inf, -np.inf, 1e38, 1e-45, 0])
def test_no_number_is_dangerous(kind, value):
    scene = RaycastingScene(rays=kind)
    scene.add_triangles(VERTICES, TRIANGLES)
    clean = scene.cast_rays(RAYS)["t_hit"]
    for column in range(6):
        rays = RAYS.copy()
        rays[::3, column] = value
        t = scene.cast_rays(rays)["t_hit"]
        others = np.arange(len(rays)) % 3 > 0
        np.testing.assert_array_equal(t[others], clean[others])
        if np.isnan(value) and kind == "watertight":
            assert np.isinf(t[~others]).all()
        scene.test_occlusions(rays, tfar=value)
        if kind == "watertight":
            scene.list_intersections(rays), scene.compute_signed_distance(rays[:, :3])
            scene.compute_closest_points(rays[:, 3:])


@pytest.mark.parametrize("shape", [(6,), (0, 6), (2, 0, 6), (1, 2, 3, 6)])
def test_answers_have_the_shape_of_the_rays(shape):
    scene = RaycastingScene()
    scene.add_triangles(VERTICES, TRIANGLES)
    hits = scene.cast_rays(np.ones(shape))
    assert {hits[k].shape for k in ("t_hit", "geometry_ids", "primitive_ids")} == {shape[:-1]}
    assert hits["primitive_uvs"].shape == shape[:-1] + (2,)
    assert hits["primitive_normals"].shape == shape[:-1] + (3,)
    assert len(scene.list_intersections(np.ones(shape))["ray_splits"]) == np.prod(shape[:-1]) + 1
    assert scene.compute_distance(np.ones(shape[:-1] + (3,))).shape == shape[:-1]


def test_mesh_objects_and_devices_of_other_classes_are_understood():
    scene = RaycastingScene(device="CPU:0")
    names = "faces", "triangles"
    ids = [scene.add_triangles(types.SimpleNamespace(vertices=VERTICES, **{name: TRIANGLES}))
           for name in names]
    assert ids == [0, 1] and scene.geometry_names == ["", ""]
    np.testing.assert_array_equal(scene.count_intersections([0, 0, 0, 1, 2, 3]), 2)


@pytest.mark.parametrize("error, text, call", [
    (ValueError, r"rays: shape \(..., 6\) wanted, got \(4, 5\)",
     lambda s: s.cast_rays(np.ones((4, 5)))),
    (ValueError, r"rays: shape \(..., 6\) wanted, got \(\)", lambda s: s.test_occlusions(1.0)),
    (ValueError, "rays: numbers wanted, got complex128",
     lambda s: s.cast_rays(np.ones((4, 6), complex))),
    (ValueError, "inhomogeneous shape", lambda s: s.cast_rays([[1, 2], [3]])),
    (ValueError, r"query_points: shape \(..., 3\) wanted, got \(2, 6\)",
     lambda s: s.compute_distance(np.ones((2, 6)))),
    (ValueError, r"vertices: shape \(n, 3\) wanted, got \(3,\)",
     lambda s: s.add_triangles(np.ones(3), [[0, 0, 0]])),
    (ValueError, r"triangles: shape \(m, 3\) wanted, got \(1, 4\)",
     lambda s: s.add_triangles(VERTICES, [[0, 1, 2, 3]])),
    (ValueError, "triangles: integers wanted, got float64",
     lambda s: s.add_triangles(VERTICES, [[0., 1., 2.]])),
    (ValueError, "vertices: vertex 1 is not finite",
     lambda s: s.add_triangles([[0, 0, 0], [0, np.nan, 0]], [[0, 1, 1]])),
    (TypeError, "mesh: an object with vertices and faces", lambda s: s.add_triangles(VERTICES)),
    (ValueError, "device: the processor", lambda s: RaycastingScene(device="CUDA:0")),
    (IndexError, "triangle 1 has vertex 62, there are 62",
     lambda s: s.add_triangles(VERTICES, [[0, 1, 2], [0, 1, 62]])),
    (IndexError, "triangle 0 has vertex -1, there are 62",
     lambda s: s.add_triangles(VERTICES, [[0, 1, -1]])),
    (ValueError, "nthreads: 0 or more wanted, got -1", lambda s: s.cast_rays(RAYS, nthreads=-1)),
    (ValueError, "nsamples: an odd number wanted, got 2",
     lambda s: s.compute_occupancy(RAYS[:, :3], nsamples=2)),
    (ValueError, "tnear: 0 or more wanted", lambda s: s.test_occlusions(RAYS, tnear=-1)),
    (ValueError, "rays: 'watertight' or 'tree' wanted, got 'x'",
     lambda s: RaycastingScene(rays="x")),
])
def test_errors_say_what_came_and_what_was_wanted(error, text, call):
    scene = RaycastingScene()
    with pytest.raises(error, match=text):
        call(scene)
    assert scene.geometry_count == 0
