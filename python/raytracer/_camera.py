"""Pinhole cameras: x to the right, y down, z into the picture; pixels' middles at half numbers."""
import numpy as np


def _numbers(values, name, shape):
    array = np.asarray(values, dtype=np.float64)
    if array.shape != shape:
        raise ValueError(f"{name}: shape {shape} wanted, got {array.shape}")
    return array


def _size(value, name):
    if int(value) != value or not 0 < value < 65536:
        raise ValueError(f"{name}: a whole number from 1 to 65535 wanted, got {value}")
    return int(value)


class Camera:
    """An eye at a place, that looks somewhere, with a picture of a size in pixels.

    Camera(fov_deg, center, eye, up, width_px, height_px) looks from eye at center; fov_deg is the
    angle in degrees from the left edge to the right one. The picture's first row is the one that
    up points to.

    Its attributes are intrinsic_matrix (3, 3), from the camera's space (x to the right, y down, z
    into the picture) to pixels, extrinsic_matrix (4, 4), from the world to that space, width_px,
    height_px, eye, and parallel: whether rays are parallel, as in a technical drawing.
    """

    parallel = False

    def __init__(self, fov_deg, center, eye, up, width_px, height_px):
        center, eye, up = (_numbers(v, name, (3,)) for v, name in
                           ((center, "center"), (eye, "eye"), (up, "up")))
        if not 0.0 < fov_deg < 180.0:
            raise ValueError(f"fov_deg: more than 0 and less than 180 wanted, got {fov_deg}")
        right = np.cross(center - eye, up)
        if not 0.0 < np.linalg.norm(right) < np.inf:
            raise ValueError("center, eye and up: must be finite and not lie on one line")
        forward = (center - eye) / np.linalg.norm(center - eye)
        right /= np.linalg.norm(right)
        extrinsic = np.eye(4)
        extrinsic[:3, :3] = right, np.cross(forward, right), forward
        extrinsic[:3, 3] = -extrinsic[:3, :3] @ eye
        focal = 0.5 * width_px / np.tan(np.radians(fov_deg) * 0.5)
        intrinsic = np.array([[focal, 0, 0.5 * width_px], [0, focal, 0.5 * height_px], [0, 0, 1]])
        self._set(intrinsic, extrinsic, width_px, height_px)

    @classmethod
    def from_matrices(cls, intrinsic_matrix, extrinsic_matrix, width_px, height_px,
                      parallel=False):
        """A camera of the (3, 3) matrix from its space to pixels and the (4, 4) one from the
        world to its space. With parallel rays pixels are those of points at distance 1."""
        camera = cls.__new__(cls)
        camera.parallel = bool(parallel)
        camera._set(_numbers(intrinsic_matrix, "intrinsic_matrix", (3, 3)),
                    _numbers(extrinsic_matrix, "extrinsic_matrix", (4, 4)), width_px, height_px)
        return camera

    def _set(self, intrinsic, extrinsic, width_px, height_px):
        self.intrinsic_matrix, self.extrinsic_matrix = intrinsic, extrinsic
        self.width_px, self.height_px = _size(width_px, "width_px"), _size(height_px, "height_px")
        # From pixels to directions in the world, whose component along the camera's z is 1.
        self._to_world = np.linalg.inv(extrinsic[:3, :3]) @ np.linalg.inv(intrinsic)
        self.eye = -np.linalg.inv(extrinsic[:3, :3]) @ extrinsic[:3, 3]

    def directions(self, x, y):
        """Directions (..., 3) in the world through places of the picture, in pixels from its top
        left corner. Their lengths along the camera's z are 1."""
        return self._through(x, y)[1]

    def _through(self, x, y):
        """Origins and directions, both (..., 3), of the rays through places of the picture."""
        x, y = np.broadcast_arrays(np.float64(x), np.float64(y))
        places = np.stack([x, y, np.ones(x.shape)], axis=-1) @ self._to_world.T
        if not self.parallel:
            return np.broadcast_to(self.eye, places.shape), places
        forward = np.linalg.inv(self.extrinsic_matrix[:3, :3])[:, 2]
        return self.eye + places - forward, np.broadcast_to(forward, places.shape)

    def rays(self, window=None):
        """Rays (height_px, width_px, 6) through the pixels' middles, float32. A hit's t is its
        depth. window: x, y, width and height of a part, whose rays they are then."""
        x, y, width, height = (0, 0, self.width_px, self.height_px) if window is None else window
        rays = np.empty((height, width, 6), np.float32)
        rays[..., :3], rays[..., 3:] = self._through(np.arange(x, x + width) + 0.5,
                                                     np.arange(y, y + height)[:, None] + 0.5)
        return rays


def create_rays_pinhole(*args, **kwargs):
    """Rays (height_px, width_px, 6) of a pinhole camera, through the pixels' middles.

    create_rays_pinhole(intrinsic_matrix, extrinsic_matrix, width_px, height_px), or
    create_rays_pinhole(fov_deg, center, eye, up, width_px, height_px): see Camera. The directions
    are not normalised; their lengths along the camera's z are 1, so that a hit's t is its depth.
    """
    if len(args) + len(kwargs) == 4:
        return Camera.from_matrices(*args, **kwargs).rays()
    return Camera(*args, **kwargs).rays()
