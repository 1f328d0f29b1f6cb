from typing import Any, Dict, List, Literal, Optional, Sequence, Union, overload

import numpy as np
from numpy.typing import ArrayLike, NDArray

Path = Any

class Camera:
    """A pinhole camera: x to the right, y down, z into the picture."""

    intrinsic_matrix: NDArray[np.float64]  # (3, 3), from the camera's space to pixels
    extrinsic_matrix: NDArray[np.float64]  # (4, 4), from the world to the camera's space
    width_px: int
    height_px: int
    eye: NDArray[np.float64]  # (3,)
    parallel: bool

    def __init__(self, fov_deg: float, center: ArrayLike, eye: ArrayLike, up: ArrayLike,
                 width_px: int, height_px: int) -> None: ...
    @classmethod
    def from_matrices(cls, intrinsic_matrix: ArrayLike, extrinsic_matrix: ArrayLike,
                      width_px: int, height_px: int, parallel: bool = False) -> Camera: ...
    def directions(self, x: ArrayLike, y: ArrayLike) -> NDArray[np.float64]: ...
    def rays(self, window: Optional[Sequence[int]] = None) -> NDArray[np.float32]: ...

class RaycastingScene:
    """Meshes of triangles that rays and points ask about.

    rays: "watertight", or "tree" for what the RayTracer program answers, which knows the nearest
    hit and occlusion only. nthreads, here for building: 0 is all cores. No answer depends on it.
    Rays are (..., 6), origin and direction; t is in lengths of the direction.
    """

    INVALID_ID: int
    def __init__(self, nthreads: int = 0,
                 rays: Literal["watertight", "tree"] = "watertight") -> None: ...
    @property
    def geometry_count(self) -> int: ...
    @property
    def geometry_names(self) -> List[str]: ...
    @overload
    def add_triangles(self, vertices: ArrayLike, triangles: ArrayLike) -> int: ...
    @overload
    def add_triangles(self, vertex_positions: ArrayLike, triangle_indices: ArrayLike) -> int: ...
    def add_file(self, path: Path, allow_outside: bool = False) -> List[int]: ...
    def cast_rays(self, rays: ArrayLike, nthreads: int = 0) -> Dict[str, NDArray[Any]]: ...
    def test_occlusions(self, rays: ArrayLike, tnear: float = 0.0, tfar: float = ...,
                        nthreads: int = 0) -> NDArray[np.bool_]: ...
    def count_intersections(self, rays: ArrayLike, nthreads: int = 0) -> NDArray[np.int32]: ...
    def list_intersections(self, rays: ArrayLike,
                           nthreads: int = 0) -> Dict[str, NDArray[Any]]: ...
    def compute_closest_points(self, query_points: ArrayLike,
                               nthreads: int = 0) -> Dict[str, NDArray[Any]]: ...
    def compute_distance(self, query_points: ArrayLike,
                         nthreads: int = 0) -> NDArray[np.float32]: ...
    def compute_signed_distance(self, query_points: ArrayLike, nthreads: int = 0,
                                nsamples: int = 1) -> NDArray[np.float32]: ...
    def compute_occupancy(self, query_points: ArrayLike, nthreads: int = 0,
                          nsamples: int = 1) -> NDArray[np.float32]: ...
    @overload
    @staticmethod
    def create_rays_pinhole(intrinsic_matrix: ArrayLike, extrinsic_matrix: ArrayLike,
                            width_px: int, height_px: int) -> NDArray[np.float32]: ...
    @overload
    @staticmethod
    def create_rays_pinhole(fov_deg: float, center: ArrayLike, eye: ArrayLike, up: ArrayLike,
                            width_px: int, height_px: int) -> NDArray[np.float32]: ...

class PackedScene:
    """A scene that came as bytes, for pictures alone."""

    light: Literal["lamps", "studio"]  # that render() takes by default
    @property
    def ground(self) -> int: ...
    @property
    def parts(self) -> List[Dict[str, Any]]: ...
    @property
    def triangle_count(self) -> int: ...

__version__: str

def load(path: Path, *, light: Literal["lamps", "studio"] = "studio", ground: bool = False,
         resolution: Optional[Sequence[int]] = None, up: Optional[Literal["x", "y", "z"]] = None,
         allow_outside: bool = False, rays: Literal["watertight", "tree"] = "watertight",
         nthreads: int = 0) -> PackedScene: ...
def load_packed(data: Any, rays: Literal["watertight", "tree"] = "watertight",
                nthreads: int = 0) -> PackedScene: ...
def pack_scene(description: str) -> bytes: ...
def pack(scene: RaycastingScene, colors: Optional[ArrayLike] = None,
         smooth: bool = False) -> bytes: ...
def render(scene: Union[RaycastingScene, PackedScene], camera: Optional[Camera] = None, *,
           light: Optional[Literal["lamps", "studio"]] = None, lights: Optional[ArrayLike] = None,
           colors: Optional[ArrayLike] = None, smooth: bool = False, transparent: bool = False,
           background: Optional[ArrayLike] = None, ground: Optional[int] = None,
           bricks: Optional[Dict[str, Any]] = None, samples: int = 0,
           window: Optional[Sequence[int]] = None, depth: bool = False,
           normals: bool = False, ids: bool = False, layers: Union[str, Sequence[str]] = (),
           nthreads: int = 0) -> Union[NDArray[np.uint8], Dict[str, NDArray[Any]]]: ...
def write_png(path: Path, pixels: NDArray[np.uint8]) -> None: ...
