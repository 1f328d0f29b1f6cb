"""Packed scenes: Python's pictures of them are those of rt-render, to the byte."""
import pathlib
import subprocess

import numpy as np
import pytest

import raytracer
from meshes import ball, write_sky

ROOT = pathlib.Path(__file__).resolve().parents[2]
PROGRAMS = pathlib.Path(raytracer.__file__).parents[2]  # of this build
needs_programs = pytest.mark.skipif(not (PROGRAMS / "rt-render").exists() or
                                    not (PROGRAMS / "rt-import").exists(), reason="not built")


def run(program, *words, **kwargs):
    return subprocess.run([PROGRAMS / program, *map(str, words)], check=True,
                          stdout=subprocess.PIPE, **kwargs).stdout


def pixels(path):
    _, size, _, data = path.read_bytes().split(b"\n", 3)
    width, height = map(int, size.split())
    return np.frombuffer(data, np.uint8).reshape(height, width, 3)


@needs_programs
@pytest.mark.parametrize("light, options", [("studio", []), ("studio", ["--samples", "2"]),
                                            ("lamps", ["--samples", "3"])])
def test_models_are_shown_as_rt_render_shows_them(light, options, tmp_path):
    model = [ROOT / "tests/data/letter.gltf", "--ground", "--resolution", "200", "150"]
    run("rt-render", *model, "--light", light, *options, "-o", tmp_path / "a.ppm")
    wanted = pixels(tmp_path / "a.ppm")
    scene = raytracer.load_packed(run("rt-import", *model, "--light", light, "--pack", "-"))
    chosen = {"light": light, "samples": int(options[1]) if options else 0}
    assert scene.triangle_count == 98 and scene.ground == 1
    np.testing.assert_array_equal(raytracer.render(scene, **chosen), wanted)
    part = raytracer.render(scene, window=(37, 20, 111, 99), **chosen)
    np.testing.assert_array_equal(part, wanted[20:119, 37:148])


@needs_programs
def test_skies_light_studios(tmp_path):
    light = write_sky(tmp_path / "sky.hdr")
    model = [ROOT / "tests/data/letter.gltf", "--resolution", "120", "90"]
    run("rt-render", *model, "--sky", tmp_path / "sky.hdr", "--sky-turn", "30", "--background",
        "sky", "-o", tmp_path / "a.ppm")
    scene = raytracer.load_packed(run("rt-import", *model, "--pack", "-"))
    scene.set_sky(light, turn=30)
    picture = raytracer.render(scene, light="studio", background="sky")
    np.testing.assert_array_equal(picture, pixels(tmp_path / "a.ppm"))

    meshes = raytracer.RaycastingScene()
    meshes.add_triangles(*ball(8))
    camera = raytracer.Camera(40, (0, 0, 0), (1, 6, 3), (0, 0, 1), 80, 60)
    plain = raytracer.render(meshes, camera, light="studio")
    meshes.set_sky(light)
    lit = raytracer.render(meshes, camera, light="studio")
    assert (lit != plain).any()
    packed = raytracer.load_packed(raytracer.pack(meshes))
    np.testing.assert_array_equal(raytracer.render(packed, camera, light="studio"), lit)
    for wrong, said in ((light[..., :2], r"shape \(height, width, 3\) wanted, got \(8, 16, 2\)"),
                        (-light, "sky: is dark, or has numbers that are no light"),
                        (0 * light, "sky: is dark")):
        for thing in (meshes, packed):
            with pytest.raises(ValueError, match=said):
                thing.set_sky(wrong)
    meshes.set_sky(np.empty((0, 0, 3)))
    np.testing.assert_array_equal(raytracer.render(meshes, camera, light="studio"), plain)


@needs_programs
def test_scenes_of_files_are_packed(tmp_path, monkeypatch):
    monkeypatch.chdir(ROOT)
    bricks = {"material": 7, "width": 300, "dirt": True}
    run("rt-render", "room_vn", "--texattr", 7, "--brick", 300, 125, 20, "--dirt", "-o",
        tmp_path / "a.ppm", "--packsize", 100)
    scene = raytracer.load_packed(raytracer.pack_scene("Scenes/scene_descs/room_vn.txt"), "tree")
    part = raytracer.render(scene, bricks=bricks, window=(500, 300, 300, 60))
    np.testing.assert_array_equal(part, pixels(tmp_path / "a.ppm")[300:360, 500:800])
    with pytest.raises(ValueError, match="no-scene.txt: No such file"):
        raytracer.pack_scene("no-scene.txt")


def test_meshes_are_packed_and_lamps_may_change():
    scene = raytracer.RaycastingScene()
    scene.add_triangles(*ball(16))
    colors = [[0.9, 0.4, 0.2]]
    data = raytracer.pack(scene, colors=colors, smooth=True)
    assert data == raytracer.pack(scene, colors=colors, smooth=True)
    packed = raytracer.load_packed(data)
    camera = raytracer.Camera(40, (0, 0, 0), (1, 6, 3), (0, 0, 1), 160, 100)
    for x in (3, 9, 3):
        lights = [[x, 6, 3, 9000]]
        np.testing.assert_array_equal(
            raytracer.render(packed, camera, lights=lights),
            raytracer.render(scene, camera, lights=lights, colors=colors, smooth=True))
    for wrong in (data[:-1], b"", b"x" * 1000):
        with pytest.raises(ValueError, match="packed scene: is (damaged|no packed scene)"):
            raytracer.load_packed(wrong)
    with pytest.raises(ValueError, match="packed scene: is of version 7.*, this is " +
                       raytracer.__version__):
        raytracer.load_packed(data[:16] + b"7" + data[17:])
    for window in ((0, 0, 161, 100), (160, 0, 1, 1), (0, 0, 0, 1), (-1, 0, 2, 2), (0, 0, 9)):
        with pytest.raises(ValueError, match="window: .* inside of 160 x 100 pixels wanted"):
            raytracer.render(packed, camera, window=window)
    with pytest.raises(ValueError, match="camera: the packed scene has none of its own"):
        raytracer.render(packed)


def test_parallel_cameras_see_the_same_size_at_any_distance():
    matrices = [[20, 0, 80], [0, 20, 50], [0, 0, 1]], np.diag([1, -1, -1, 1]) + [[0, 0, 0, 0]] * 4
    camera = raytracer.Camera.from_matrices(matrices[0], np.array(matrices[1]) +
                                            [[0] * 4, [0] * 4, [0, 0, 0, 9], [0] * 4], 160, 100,
                                            parallel=True)
    scene = raytracer.RaycastingScene()
    vertices, triangles = ball(32)
    scene.add_triangles(vertices - [2, 0, 0], triangles)
    scene.add_triangles(vertices + [2, 0, -90], triangles)
    seen = raytracer.render(scene, camera, light="studio", ids=True, depth=True)
    picture, ids = seen["picture"], seen["geometry_ids"]
    sizes = [(ids == geometry).sum() for geometry in (0, 1)]
    assert abs(sizes[0] - sizes[1]) < 10 and abs(sizes[0] - np.pi * 20 ** 2) < 60
    assert seen["depth"][50, 40] == pytest.approx(8, abs=0.1)
    empty = raytracer.render(raytracer.RaycastingScene(), camera, light="studio")
    assert ((picture != empty).any(axis=2) == (ids != scene.INVALID_ID)).mean() > 0.97
