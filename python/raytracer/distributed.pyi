from typing import Any, Dict, Iterable, Iterator, Literal, Optional, Union, overload

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import Camera, RaycastingScene

Scene = Union[RaycastingScene, bytes]
Pixels = NDArray[np.uint8]

class SchedulerLost(ConnectionError):
    picture: Optional[Pixels]
    done: Optional[NDArray[np.bool_]]

@overload
def render(client: Any, scene: Scene, cameras: Optional[Camera] = None, *,
           light: Literal["lamps", "studio"] = "lamps", lights: Optional[ArrayLike] = None,
           colors: Optional[ArrayLike] = None, smooth: bool = False, transparent: bool = False,
           background: Union[ArrayLike, Literal["sky"], None] = None, ground: Optional[int] = None,
           bricks: Optional[Dict[str, Any]] = None, samples: int = 0,
           rays: Literal["watertight", "tree"] = "watertight") -> Pixels: ...
@overload
def render(client: Any, scene: Scene, cameras: Iterable[Optional[Camera]], *,
           light: Literal["lamps", "studio"] = "lamps", lights: Optional[ArrayLike] = None,
           colors: Optional[ArrayLike] = None, smooth: bool = False, transparent: bool = False,
           background: Union[ArrayLike, Literal["sky"], None] = None, ground: Optional[int] = None,
           bricks: Optional[Dict[str, Any]] = None, samples: int = 0,
           rays: Literal["watertight", "tree"] = "watertight") -> Iterator[Pixels]: ...
