"""Rays, closest points and pictures of triangle meshes, with numpy arrays in and out.

    scene = raytracer.RaycastingScene()
    scene.add_triangles(vertices, triangles)
    hits = scene.cast_rays(rays)["t_hit"]

Lengths are those of the meshes. See docs/python.md.
"""
from ._camera import Camera, create_rays_pinhole
from ._picture import render, write_png
from ._raytracer import RaycastingScene

RaycastingScene.create_rays_pinhole = staticmethod(create_rays_pinhole)

__all__ = ["Camera", "RaycastingScene", "render", "write_png"]
