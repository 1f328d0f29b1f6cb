"""Pictures of scenes, and PNG files of them."""
import struct
import zlib

import numpy as np

from ._raytracer import Look, PackedScene, RaycastingScene, View

# Beside the eye, in distances of what it sees: to the right, up, brightness there (255 is white).
_NONE = RaycastingScene.INVALID_ID
_LAMPS = ((-0.45, 0.55, 380.0), (0.6, 0.1, 70.0))


def lamps_beside(scene, camera):
    """Lamps (2, 4) at the eye, as bright as the distance of what it sees wants."""
    x = (np.arange(16) + 0.5) / 16
    rays = np.empty((16, 16, 6), np.float32)
    rays[..., :3], rays[..., 3:] = camera._through(x * camera.width_px,
                                                   x[:, None] * camera.height_px)
    depth = scene.cast_rays(rays, nthreads=1)["t_hit"]
    seen = depth[np.isfinite(depth)]
    distance = float(np.median(seen)) if seen.size else 1.0
    right, down = camera.extrinsic_matrix[0, :3], camera.extrinsic_matrix[1, :3]
    return np.array([[*(camera.eye + distance * (u * right - v * down)), light * distance ** 2]
                     for u, v, light in _LAMPS])


def table(values, name, width, rows=None):
    table = np.asarray(values, np.float32)
    if table.ndim != 2 or table.shape[1] != width or rows not in (None, len(table)):
        wanted = "n" if rows is None else rows
        raise ValueError(f"{name}: shape ({wanted}, {width}) wanted, got {table.shape}")
    if not np.isfinite(table).all():
        raise ValueError(f"{name}: finite numbers wanted")
    return table


def _points(camera, move):
    """The eye and the corners (4, 3) of a camera's view, each pixel being seen as far to the right
    and down of its first corner as move says."""
    width, height = camera.width_px, camera.height_px
    origins, directions = camera._through([move, width + move, move], [move, move, height + move])
    # They are held as far away as the eye is from 0, which the corners' rounding is a share of.
    corners = origins + directions * (1.0 + np.linalg.norm(camera.eye))
    eye = camera._through(0.5 * width + move, 0.5 * height + move)[0]
    return np.vstack([eye, corners])


def view_numbers(camera, own_view, studio, samples):
    """What View() takes before the window; own_view is that of a packed scene."""
    if not 0 <= samples <= 64 or samples != int(samples):
        raise ValueError(f"samples: a whole number from 0 to 64 wanted, got {samples}")
    samples = max(1, int(samples))
    if camera is None:
        if not own_view[1]:
            raise ValueError("camera: the packed scene has none of its own")
        return (*own_view, False, False, samples)
    # With lamps the samples look at their corners, so the picture is moved by half of one.
    move = 0.0 if studio else 0.5 / samples
    points = _points(camera, move).astype(np.float32)
    return points, camera.width_px, camera.height_px, camera.parallel, False, samples


def check_window(window, width, height):
    """The window as whole numbers, or None; ValueError when it is not one of the picture."""
    if window is None:
        return None
    given = np.asarray(window)
    if given.shape == (4,) and given.dtype.kind in "iu":
        x, y, across, down = found = given.tolist()
        if min(x, y) >= 0 and 0 < across <= width - x and 0 < down <= height - y:
            return found
    raise ValueError(f"window: x, y, width and height inside of {width} x {height} pixels wanted, "
                     f"got {window!r}")


def look_of(scene, studio, samples, transparent, background, ground, bricks):
    if not studio:
        return Look.lamps(**(bricks or {}))
    chosen = {}
    if isinstance(background, str):
        if background != "sky":
            raise ValueError(f"background: 'sky' or colours wanted, got {background!r}")
        chosen["sky_behind"] = True
    elif background is not None:
        colors = np.asarray(background, np.float32)
        if colors.shape not in ((3,), (2, 3)):
            raise ValueError(f"background: shape (3,) or (2, 3) wanted, got {colors.shape}")
        chosen["top"], chosen["bottom"] = np.broadcast_to(colors, (2, 3)).tolist()
    if ground is None and isinstance(scene, PackedScene):
        ground = scene.ground
    if ground is not None:
        chosen["ground"] = ground
    return Look.studio(transparent=transparent, smooth_edges=not samples, **chosen)


def check_light(light, lights, transparent, background, ground, bricks):
    """Whether it is a studio's; ValueError when the others do not go with it."""
    if light not in ("lamps", "studio"):
        raise ValueError(f"light: 'lamps' or 'studio' wanted, got {light!r}")
    studio = light == "studio"
    if studio and lights is not None or transparent and not studio:
        raise ValueError("lights are for light='lamps', transparent is for light='studio'")
    if studio and bricks or not studio and (background is not None or ground is not None):
        raise ValueError("bricks are for light='lamps', background and ground for light='studio'")
    return studio


def render(scene, camera=None, *, light=None, lights=None, colors=None, smooth=False,
           transparent=False, background=None, ground=None, bricks=None, samples=0, window=None,
           depth=False, normals=False, ids=False, layers=(), nthreads=0):
    """A picture (height, width, 3) of the scene, uint8, red, green and blue.

    light: "lamps", point lights with hard shadows: lights (n, 4), of each x, y, z and flux; flux
    255 at distance 1 shows a white surface white. Without any, two are put beside the camera, and
    a packed scene has its own. bricks: a dict of material, the number of the geometry or material
    that becomes a wall, and width, height, mortar, angle and dirt. Or "studio": soft light that
    turns with the camera, or the scene's sky, smooth edges, a light background, or background, one
    colour, those of the first and the last row, 0 to 255, or "sky"; with transparent=True none, but
    a fourth channel, alpha.
    None: what a model was loaded for, else "lamps".
    ground: the geometry or material of which nothing is seen but the shadows on it.
    colors: (number of geometries, 3), shares from 0 to 1. smooth: shade by the vertices' mean
    normals. samples: rays along each side of a pixel; 0: one, in a studio three where edges are.
    window: x, y, width and height of the part that is wanted; its pixels are those of the whole
    picture. A packed scene has materials and a camera of its own: camera=None takes it.
    With depth, normals or ids the result is a dict: picture, and depth (height, width) along the
    camera's z, inf where nothing is; normals (height, width, 3); geometry_ids and primitive_ids
    (height, width). They are those of rays through the pixels' middles, as the picture is.
    layers: names of what rt-render's layers hold; the result is a dict of picture and them: depth
    along the view and distance along the pixel's ray (inf where nothing is), normal towards the
    eye, position and albedo (height, width, 3), mask, all float32; mesh, the number of the geometry
    or the model's part, material and face, uint32 (2 ** 32 - 1 where nothing is).
    """
    layers = (layers,) if isinstance(layers, str) else tuple(layers)
    packed = isinstance(scene, PackedScene)
    if light is None:
        light = scene.light if packed else "lamps"
    studio = check_light(light, lights, transparent, background, ground, bricks)
    if packed and (colors is not None or smooth or depth or normals or ids):
        raise ValueError("colors, smooth, depth, normals and ids are not for packed scenes")
    if camera is None and not packed:
        raise ValueError("camera: only packed scenes have one of their own")
    numbers = view_numbers(camera, scene._view if packed else None, studio, samples)
    view = View(*numbers, window=check_window(window, *numbers[1:3]))
    look = look_of(scene, studio, samples, transparent, background, ground, bricks)
    if lights is None or not len(lights):
        lights = np.empty((0, 4)) if studio or packed else lamps_beside(scene, camera)
    lights = table(lights, "lights", 4)
    middle = 0.5 if studio else 0.5 - 0.5 / max(1, samples)
    if ground is None:
        ground = scene.ground if packed and studio else _NONE
    if packed:
        picture = scene._render(view, look, lights, nthreads)
        if not layers:
            return picture
        found = scene._layers(view, layers, middle, studio, ground, nthreads)
        return {"picture": picture, **found}
    colors = np.empty(0) if colors is None else table(colors, "colors", 3, scene.geometry_count)
    hits = {}
    if depth or normals or ids:
        hits = scene.cast_rays(camera.rays(window), nthreads=nthreads)
    picture = scene._render(view, look, lights, colors, smooth, nthreads)
    if not hits and not layers:
        return picture
    result = {"picture": picture}
    if layers:
        result.update(scene._layers(view, layers, middle, ground, colors, smooth, nthreads))
    if depth and "depth" not in result:
        result["depth"] = hits["t_hit"]
    if normals:
        result["normals"] = hits["primitive_normals"]
    if ids:
        result.update((name, hits[name]) for name in ("geometry_ids", "primitive_ids"))
    return result


def pack(scene: RaycastingScene, colors=None, smooth=False):
    """The scene as bytes for load_packed(), with colors and smooth as render() takes them. Empty
    for a scene without triangles."""
    colors = np.empty(0) if colors is None else table(colors, "colors", 3, scene.geometry_count)
    return scene._pack(colors, smooth)


def write_png(path, pixels):
    """Writes pixels, uint8, to a PNG file: (height, width) for grey, (height, width, 3), or
    (height, width, 4) with alpha."""
    pixels = np.ascontiguousarray(pixels)
    kinds = {(): 0, (3,): 2, (4,): 6}
    if pixels.dtype != np.uint8 or pixels.ndim not in (2, 3) or pixels.shape[2:] not in kinds:
        raise ValueError("pixels: shape (height, width), (height, width, 3 or 4) of uint8 wanted, "
                         f"got {pixels.shape} of {pixels.dtype}")
    height, width = pixels.shape[:2]
    if not height or not width:
        raise ValueError(f"pixels: at least one wanted, got {pixels.shape}")

    def chunk(kind, content):
        checked = kind + content
        return struct.pack(">I", len(content)) + checked + struct.pack(">I", zlib.crc32(checked))

    header = struct.pack(">IIBBBBB", width, height, 8, kinds[pixels.shape[2:]], 0, 0, 0)
    rows = np.zeros((height, 1 + pixels.size // height), np.uint8)  # each with its filter: none
    rows[:, 1:] = pixels.reshape(height, -1)
    with open(path, "wb") as file:
        file.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) +
                   chunk(b"IDAT", zlib.compress(rows.tobytes(), 6)) + chunk(b"IEND", b""))
