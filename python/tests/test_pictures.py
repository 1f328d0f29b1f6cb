"""Pictures, and that the page about Python does what it says."""
import os
import pathlib
import re
import subprocess
import sys
import zlib

import numpy as np
import pytest

import raytracer
from meshes import ball

ROOT = pathlib.Path(__file__).resolve().parents[2]
BACKGROUND = 1, 0, 1  # nearly black


def test_a_picture_shows_what_rays_see():
    scene = raytracer.RaycastingScene()
    vertices, triangles = ball(16)
    scene.add_triangles(vertices, triangles)
    scene.add_triangles(vertices * 0.5 + [2, 0, 1], triangles)
    for eye in ((1, 6, 3), (-3, 5, -2)):  # the lamps move with it
        camera = raytracer.Camera(40, (1, 0, 0), eye, (0, 0, 1), 160, 100)
        colors = [[1, 0, 0], [0, 1, 0]]
        shown = raytracer.render(scene, camera, colors=colors, depth=True, normals=True, ids=True)
        alone = raytracer.render(scene, camera, colors=colors, nthreads=1)
        np.testing.assert_array_equal(alone, shown["picture"])
        assert alone.shape == (100, 160, 3) and alone.dtype == np.uint8
        ids = shown["geometry_ids"]
        assert (alone[ids == scene.INVALID_ID] == BACKGROUND).all()
        for geometry in (0, 1):
            seen = alone[ids == geometry]
            assert np.median(seen[:, geometry]) > 60 and not np.delete(seen, geometry, axis=1).any()
        assert (shown["depth"][ids == 0] > 4).all()
        np.testing.assert_array_equal(np.isinf(shown["depth"]), ids == scene.INVALID_ID)
        towards = np.einsum("ijk,ijk->ij", shown["normals"], camera.rays()[..., 3:])
        assert (towards[ids == 0] < 0.05).all()
    rendered = raytracer.render(scene, camera, lights=[[0, 0, 50, 0]])
    assert set(np.unique(rendered)) == {0, 1}
    with pytest.raises(ValueError, match=r"colors: shape \(2, 3\) wanted, got \(1, 3\)"):
        raytracer.render(scene, camera, colors=[[1, 1, 1]])
    with pytest.raises(ValueError, match="light: 'lamps' or 'studio' wanted"):
        raytracer.render(scene, camera, light="moon")


def test_studios_leave_no_side_black_and_have_alpha():
    scene = raytracer.RaycastingScene()
    camera = raytracer.Camera(40, (0, 0, 0), (1, 6, 3), (0, 0, 1), 160, 100)
    empty = raytracer.render(scene, camera, light="studio")
    scene.add_triangles(*ball(16))
    shown = raytracer.render(scene, camera, light="studio", ids=True)
    picture, inside = shown["picture"], shown["geometry_ids"] == 0
    assert picture[inside].min() > 30 and inside.sum() > 1000
    np.testing.assert_array_equal(picture[:20, :20], empty[:20, :20])
    clear = raytracer.render(scene, camera, light="studio", transparent=True, nthreads=1)
    assert clear.shape == (100, 160, 4) and not clear[:20, :20].any()
    whole = clear[..., 3] == 255
    np.testing.assert_array_equal(clear[whole][:, :3], picture[whole])
    assert np.mean(whole == inside) > 0.95
    with pytest.raises(ValueError, match="transparent is for light='studio'"):
        raytracer.render(scene, camera, transparent=True)


def test_a_picture_of_nothing_is_background():
    camera = raytracer.Camera(40, (1, 0, 0), (0, 0, 0), (0, 0, 1), 8, 4)
    assert (raytracer.render(raytracer.RaycastingScene(), camera) == BACKGROUND).all()


def test_png_files_hold_the_pixels(tmp_path):
    pixels = np.arange(2 * 5 * 3, dtype=np.uint8).reshape(2, 5, 3)
    raytracer.write_png(tmp_path / "a.png", pixels)
    written = (tmp_path / "a.png").read_bytes()
    assert written.startswith(b"\x89PNG") and written[16:24] == bytes([0, 0, 0, 5, 0, 0, 0, 2])
    start = written.index(b"IDAT") + 4
    assert zlib.decompress(written[start:-16]) == b"".join(b"\0" + row.tobytes() for row in pixels)
    with pytest.raises(ValueError, match=r"pixels: .* wanted, got \(2, 5, 3\) of float64"):
        raytracer.write_png(tmp_path / "b.png", pixels * 0.5)
    raytracer.write_png(tmp_path / "c.png", np.dstack([pixels, pixels[..., 0]]))
    assert (tmp_path / "c.png").read_bytes()[24:26] == b"\x08\x06"  # 8 bits, with alpha


def test_the_page_runs(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    programs = pathlib.Path(raytracer.__file__).parents[2]  # of this build
    if not (programs / "rt-import").exists():
        pytest.skip("rt-import is not built")
    monkeypatch.setenv("PATH", f"{programs}:{os.environ['PATH']}")
    subprocess.run([sys.executable, ROOT / "tools/make-models.py", tmp_path], check=True)
    names = {}
    page = (ROOT / "docs/python.md").read_text()
    blocks = re.findall(r"^```python\n(.*?)^```$", page, re.M | re.S)
    assert len(blocks) >= 6
    for block in blocks:
        exec(compile(block, "docs/python.md", "exec"), names)
    assert {path.name for path in tmp_path.iterdir()} >= {"picture.png", "depth.png",
                                                          "normals.png", "pawn.png"}


@pytest.mark.parametrize("example", sorted((ROOT / "examples").glob("*.py")),
                         ids=lambda path: path.name)
def test_examples_run(example, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    exec(compile(example.read_text(), str(example), "exec"), {"__name__": "__main__"})
