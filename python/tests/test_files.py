"""Files: rays in a file's own numbers, pictures as rt-render makes them, errors in words."""
import stat

import numpy as np
import pytest

import raytracer
from test_packed import PROGRAMS, ROOT, needs_programs, pixels, run

OBJ = """v 1000 0 0\nv 1002 0 0\nv 1000 2 0\nv 1000 0 2
o low\nf 1 3 2\ng sides\nf 1 2 4\nf 1 4 3\no high\nf 2 3 4\nf 2 2 3\n"""


@needs_programs
@pytest.mark.filterwarnings("ignore:.*only 4 of 5 triangles")
def test_rays_meet_a_file_in_its_own_numbers(tmp_path, monkeypatch):
    (tmp_path / "-a.obj").write_text(OBJ)
    monkeypatch.chdir(tmp_path)
    scene = raytracer.RaycastingScene()
    scene.add_triangles([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]])
    assert scene.add_file("-a.obj") == [1, 2, 3]
    assert scene.geometry_names == ["", "low", "low/sides", "high"]
    hits = scene.cast_rays([[1000.5, 0.5, -4, 0, 0, 1], [1000.5, -7, 0.5, 0, 1, 0],
                            [1009, 0.5, 0.5, -1, 0, 0]])
    np.testing.assert_array_equal(hits["geometry_ids"], [1, 2, 3])
    np.testing.assert_allclose(hits["t_hit"], [4, 7, 8])
    outwards = np.array([[0, 0, -1], [0, -1, 0], np.ones(3) / np.sqrt(3)])
    np.testing.assert_allclose(hits["primitive_normals"], outwards, atol=1e-6)
    assert scene.compute_occupancy([[1000.3, 0.3, 0.3], [1001, 1, 1]]).tolist() == [1, 0]


@needs_programs
@pytest.mark.parametrize("suffix", ["obj", "stl", "ply", "dae", "gltf"])
def test_solids_of_every_format_keep_their_outside(suffix):
    scene = raytracer.RaycastingScene()
    ids = scene.add_file(ROOT / f"tests/data/letter.{suffix}")
    assert len(ids) == (2 if suffix == "gltf" else 1)  # one is mirrored by a node
    # The letter's stem stands up along the format's upright axis; COLLADA says its unit.
    stem = {"stl": [0.5, -0.5, 2.5], "dae": [0.005, -0.005, 0.025]}.get(suffix, [0.5, 2.5, 0.5])
    assert scene.compute_occupancy(stem) == 1
    spread = np.random.default_rng(4).normal(size=(2000, 3)) * np.max(stem)
    points = (stem + spread).astype(np.float32)
    closest = scene.compute_closest_points(points)
    towards = np.einsum("ij,ij->i", points - closest["points"], closest["primitive_normals"])
    outside = scene.compute_signed_distance(points) >= 0
    assert ((towards >= 0) == outside).mean() > 0.99  # of edges one triangle tells


@needs_programs
def test_loaded_models_are_shown_as_rt_render_shows_them(tmp_path):
    model = ROOT / "tests/data/letter.gltf"
    run("rt-render", model, "-o", tmp_path / "a.ppm")
    np.testing.assert_array_equal(raytracer.render(raytracer.load(model)),
                                  pixels(tmp_path / "a.ppm"))
    run("rt-render", model, "--light", "lamps", "--ground", "--resolution", 64, 48, "--up", "z",
        "-o", tmp_path / "b.ppm")
    scene = raytracer.load(str(model), light="lamps", ground=True, resolution=(64, 48), up="z")
    np.testing.assert_array_equal(raytracer.render(scene), pixels(tmp_path / "b.ppm"))
    same = raytracer.load_packed(raytracer.pack_model(model, resolution=(64, 48)))
    np.testing.assert_array_equal(
        raytracer.render(same, light="studio"),
        raytracer.render(raytracer.load(model, resolution=(64, 48))))


@needs_programs
def test_what_cannot_be_read_is_said(tmp_path, monkeypatch):
    scene = raytracer.RaycastingScene()
    broken = tmp_path / "broken.obj"
    broken.write_text("v 1 2\n")
    for read in (raytracer.load, scene.add_file):
        with pytest.raises(FileNotFoundError, match="nothing.obj"):
            read(tmp_path / "nothing.obj")
        with pytest.raises(IsADirectoryError):
            read(tmp_path)
        with pytest.raises(ValueError, match="broken.obj: line 1 has a vertex of 2 numbers"):
            read(broken)
    (tmp_path / "lost.obj").write_text("mtllib lost.mtl\n" + OBJ)
    with pytest.warns(UserWarning, match="lost.obj: its materials are not there"):
        raytracer.load(tmp_path / "lost.obj")
    with pytest.raises(ValueError, match="light: 'lamps' or 'studio' wanted"):
        raytracer.load(broken, light="moon")
    # A program that crashes, one that is of another version, and none.
    fake = tmp_path / "importer"
    monkeypatch.setenv("RAYTRACER_IMPORT", str(fake))
    for script, text in (("kill -SEGV $$", "rt-import ended with status -11"),
                         ("echo 'RayTracer scene'", "packed scene: is no packed scene")):
        fake.write_text("#!/bin/sh\n" + script + "\n")
        fake.chmod(fake.stat().st_mode | stat.S_IXUSR)
        with pytest.raises(ValueError, match=text):
            scene.add_file(broken)
    fake.unlink()
    with pytest.raises(FileNotFoundError, match="importer"):
        scene.add_file(broken)
    assert scene.geometry_count == 0


@needs_programs
def test_the_program_is_found_beside_the_module(monkeypatch):
    monkeypatch.setenv("PATH", "")
    monkeypatch.delenv("RAYTRACER_IMPORT", raising=False)
    assert raytracer._files._importer() == str(PROGRAMS / "rt-import")
