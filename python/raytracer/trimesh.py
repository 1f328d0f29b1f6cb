"""Rays for meshes of the trimesh kind, in place of its own RayMeshIntersector.

A mesh is any object with vertices (n, 3) and faces (m, 3). trimesh itself is not needed.
"""
import hashlib

import numpy as np

from ._raytracer import RaycastingScene

_INVALID = RaycastingScene.INVALID_ID


def _vectors(values, name):
    array = np.asarray(values, dtype=np.float64)
    if array.ndim != 2 or array.shape[1] != 3:
        raise ValueError(f"{name}: shape (n, 3) wanted, got {array.shape}")
    return array


def _identity(mesh):
    """What changes when the mesh does: its own hash if it has one, else one of its arrays."""
    for name in ("crc", "md5"):
        if callable(getattr(mesh, name, None)):
            return getattr(mesh, name)()
    if type(mesh).__hash__ not in (None, object.__hash__):
        try:
            return hash(mesh)
        except TypeError:  # of a tuple of arrays
            pass
    digest = hashlib.blake2b()
    for array in (mesh.vertices, mesh.faces):
        array = np.ascontiguousarray(array)
        digest.update(repr((array.shape, array.dtype.str)).encode())
        digest.update(array.data.cast("B") if array.size else b"")
    return digest.digest()


class RayMeshIntersector:
    """Answers rays about one mesh; follows changes of it.

    scale_to_box: queries are made in a box of size 1 around 0, which keeps the most digits of
    float32 for meshes far from 0. Rays are (n, 3) origins and (n, 3) directions of any length.
    Answers are float64 and int64, ordered by ray and by distance along it.
    """

    def __init__(self, mesh, scale_to_box=True):
        self.mesh = mesh
        self._scale_to_box = bool(scale_to_box)
        self._identity = self._scene = None

    def __getstate__(self):
        return {"mesh": self.mesh, "_scale_to_box": self._scale_to_box}

    def __setstate__(self, state):
        self.__init__(state["mesh"], state["_scale_to_box"])

    def _prepared(self):
        identity = _identity(self.mesh)
        if self._scene is None or identity != self._identity:
            vertices = np.array(_vectors(self.mesh.vertices, "vertices"))
            faces = np.array(self.mesh.faces)
            center, scale = np.zeros(3), 1.0
            if self._scale_to_box and len(vertices):
                low, high = vertices.min(axis=0), vertices.max(axis=0)
                center = (low + high) * 0.5
                scale = 1.0 / max((high - low).max(), 1e-300)
            scene = RaycastingScene()
            scene.add_triangles((vertices - center) * scale, faces)
            self._scene, self._identity = scene, identity
            self._triangles = vertices[faces.astype(np.int64).reshape(-1, 3)]
            self._center, self._scale = center, scale
        return self._scene

    def _rays(self, ray_origins, ray_directions):
        """The scene, origins and directions in float64, and the rays of the scene."""
        scene = self._prepared()
        origins = _vectors(ray_origins, "ray_origins")
        directions = _vectors(ray_directions, "ray_directions")
        if origins.shape != directions.shape:
            raise ValueError(f"ray_directions: shape {origins.shape} wanted as of ray_origins, "
                             f"got {directions.shape}")
        rays = np.hstack([(origins - self._center) * self._scale, directions])
        return scene, origins, directions, rays.astype(np.float32)

    def _locations(self, origins, directions, triangles, weights):
        """Where rays (h) meet the planes of triangles (h), in float64; by the weights (h, 2) of
        float32 where a ray is nearly in the plane."""
        corners = self._triangles[triangles]
        edges = corners[:, 1:] - corners[:, :1]
        normals = np.cross(edges[:, 0], edges[:, 1])
        along = np.einsum("ij,ij->i", normals, directions)
        steep = np.abs(along) > 1e-4 * (np.linalg.norm(normals, axis=1) *
                                        np.linalg.norm(directions, axis=1))
        t = np.einsum("ij,ij->i", normals, corners[:, 0] - origins) / np.where(steep, along, 1.0)
        by_weights = corners[:, 0] + np.einsum("ij,ijk->ik", weights, edges)
        return np.where(steep[:, None], origins + directions * t[:, None], by_weights)

    def intersects_id(self, ray_origins, ray_directions, multiple_hits=True, max_hits=20,
                      return_locations=False):
        """The triangles (h) that rays meet and the rays (h) that meet them, int64; with
        return_locations also the points (h, 3). Of each ray all hits, max_hits at most, or the
        first alone."""
        scene, origins, directions, rays = self._rays(ray_origins, ray_directions)
        if multiple_hits:
            hits = scene.list_intersections(rays)
            index_ray = hits["ray_ids"].astype(np.int64)
            kept = np.arange(len(index_ray)) - hits["ray_splits"][index_ray] < max_hits
        else:
            hits = scene.cast_rays(rays)
            index_ray = np.arange(len(rays))
            kept = hits["primitive_ids"] != _INVALID
        index_ray = index_ray[kept]
        index_tri = hits["primitive_ids"][kept].astype(np.int64)
        if not return_locations:
            return index_tri, index_ray
        locations = self._locations(origins[index_ray], directions[index_ray], index_tri,
                                    hits["primitive_uvs"][kept].astype(np.float64))
        return index_tri, index_ray, locations

    def intersects_location(self, ray_origins, ray_directions, multiple_hits=True):
        """The points (h, 3) where rays meet the mesh, and the rays (h) and triangles (h)."""
        index_tri, index_ray, locations = self.intersects_id(
            ray_origins, ray_directions, multiple_hits, np.iinfo(np.int64).max, True)
        return locations, index_ray, index_tri

    def intersects_first(self, ray_origins, ray_directions):
        """The first triangle that each ray meets, int64 (n), -1 for a miss."""
        scene, _, _, rays = self._rays(ray_origins, ray_directions)
        ids = scene.cast_rays(rays)["primitive_ids"]
        return np.where(ids == _INVALID, -1, ids.astype(np.int64))

    def intersects_any(self, ray_origins, ray_directions):
        """Whether each ray meets the mesh, bool (n)."""
        scene, _, _, rays = self._rays(ray_origins, ray_directions)
        return scene.test_occlusions(rays)

    def contains_points(self, points):
        """Whether each point (n, 3) is inside of the mesh, which must be closed: bool (n)."""
        scene = self._prepared()
        points = (_vectors(points, "points") - self._center) * self._scale
        return scene.compute_occupancy(points) > 0.5
