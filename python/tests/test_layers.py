"""Layers: those of packed scenes are the files of rt-render, to the byte."""
import numpy as np
import pytest

import raytracer
from meshes import ball
from test_packed import ROOT, needs_programs, run

FILES = {"depth": "depth-view", "distance": "depth-ray", "normal": "normal",
         "position": "position", "albedo": "albedo", "mesh": "mesh", "material": "material",
         "face": "face", "mask": "mask"}
KINDS = ",".join(kind for kind in FILES if kind != "distance")


@needs_programs
@pytest.mark.parametrize("model", ["letter.gltf", "letter.obj"])
@pytest.mark.parametrize("light, samples", [("studio", 0), ("studio", 2), ("lamps", 3)])
def test_layers_are_those_of_rt_render(model, light, samples, tmp_path):
    words = [ROOT / "tests/data" / model, "--ground", "--resolution", "200", "150"]
    more = ["--samples", samples] if samples else []
    run("rt-render", *words, "--light", light, *more, "--layers", KINDS, "--layers-format", "npy",
        "-o", tmp_path / "a.ppm")
    wanted = {name: np.load(tmp_path / f"a-{file}.npy") for name, file in FILES.items()}
    scene = raytracer.load_packed(run("rt-import", *words, "--light", light, "--pack", "-"))
    chosen = {"light": light, "samples": samples, "layers": FILES}
    whole = raytracer.render(scene, **chosen)
    part = raytracer.render(scene, window=(37, 20, 111, 99), nthreads=1, **chosen)
    assert set(whole) == {"picture", *FILES} and part["picture"].shape == (99, 111, 3)
    for name, layer in wanted.items():
        assert whole[name].dtype == layer.dtype and whole[name].shape == layer.shape
        assert whole[name].tobytes() == layer.tobytes(), name
        assert part[name].tobytes() == layer[20:119, 37:148].tobytes(), name
    names = [part["name"] for part in scene.parts]
    assert sum(part["triangles"] for part in scene.parts) == scene.triangle_count
    assert names[-1] == "ground" and set(np.unique(whole["mesh"])) - {2 ** 32 - 1} == \
        set(range(len(names) - (light == "studio")))


def test_layers_of_meshes_are_what_rays_meet():
    scene = raytracer.RaycastingScene()
    camera = raytracer.Camera(40, (1, 0, 0), (1, 6, 3), (0, 0, 1), 160, 100)
    empty = raytracer.render(scene, camera, layers=FILES)
    vertices, triangles = ball(16)
    for mesh in ((vertices, triangles), (vertices[:0], triangles[:0]),
                 (vertices * 0.5 + [2, 0, 1], triangles)):
        scene.add_triangles(*mesh)
    seen = raytracer.render(scene, camera, layers=FILES, colors=[[1, 0, 0], [0, 0, 0], [0, 1, 0]])
    hits = scene.cast_rays(camera.rays())
    same = seen["mesh"] == hits["geometry_ids"]
    assert same.mean() > 0.999 and set(np.unique(seen["mesh"])) == {0, 2, 2 ** 32 - 1}
    met = same & (seen["mask"] == 1)
    np.testing.assert_allclose(seen["depth"][met], hits["t_hit"][met], rtol=1e-4)
    assert (seen["albedo"][seen["mesh"] == 2] == [0, 1, 0]).all()
    for name in FILES:
        assert empty[name].shape == seen[name].shape and empty[name].dtype == seen[name].dtype
        outside = seen[name][seen["mask"] == 0]
        assert (outside == empty[name].reshape((-1,) + outside.shape[1:])[0]).all()
    packed = raytracer.load_packed(raytracer.pack(scene))
    again = raytracer.render(packed, camera, light="lamps", layers="mesh")
    np.testing.assert_array_equal(again["mesh"], seen["mesh"])
    with pytest.raises(ValueError, match='layers: "depht" is none of depth, distance, normal'):
        raytracer.render(scene, camera, layers=["depht"])
