from typing import Any, Tuple, Union

import numpy as np
from numpy.typing import ArrayLike, NDArray

Ints = NDArray[np.int64]
Floats = NDArray[np.float64]

class RayMeshIntersector:
    mesh: Any
    def __init__(self, mesh: Any, scale_to_box: bool = True) -> None: ...
    def intersects_id(self, ray_origins: ArrayLike, ray_directions: ArrayLike,
                      multiple_hits: bool = True, max_hits: int = 20,
                      return_locations: bool = False) -> Union[
                          Tuple[Ints, Ints], Tuple[Ints, Ints, Floats]]: ...
    def intersects_location(self, ray_origins: ArrayLike, ray_directions: ArrayLike,
                            multiple_hits: bool = True) -> Tuple[Floats, Ints, Ints]: ...
    def intersects_first(self, ray_origins: ArrayLike, ray_directions: ArrayLike) -> Ints: ...
    def intersects_any(self, ray_origins: ArrayLike,
                       ray_directions: ArrayLike) -> NDArray[np.bool_]: ...
    def contains_points(self, points: ArrayLike) -> NDArray[np.bool_]: ...
