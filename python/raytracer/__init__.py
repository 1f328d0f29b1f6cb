"""Rays, closest points and pictures of triangle meshes, with numpy arrays in and out.

    scene = raytracer.RaycastingScene()
    scene.add_triangles(vertices, triangles)
    hits = scene.cast_rays(rays)["t_hit"]

Lengths are those of the meshes. See docs/python.md.
"""
from ._camera import Camera, create_rays_pinhole
from ._files import add_file, load, pack_model
from ._picture import pack, render, write_png
from ._raytracer import VERSION as __version__
from ._raytracer import PackedScene, RaycastingScene, load_packed, pack_scene

RaycastingScene.add_file = add_file
RaycastingScene.create_rays_pinhole = staticmethod(create_rays_pinhole)

__all__ = ["Camera", "PackedScene", "RaycastingScene", "__version__", "load", "load_packed", "pack",
           "pack_model", "pack_scene", "render", "write_png"]
