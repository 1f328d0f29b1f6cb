"""Pictures made by the workers of a Dask scheduler, each a process with all cores of a machine.

    from distributed import Client
    import raytracer.distributed
    client = Client("tcp://scheduler:8786")
    picture = raytracer.distributed.render(client, scene, camera, light="studio")
    for picture in raytracer.distributed.render(client, scene, cameras):
        ...

The workers need this module, too, and Debian's python3-distributed. See docs/dask.md.
"""
import numpy as np

from . import _picture
from ._camera import Camera
from ._crew import END, Crew, Picture, SchedulerLost
from ._raytracer import RaycastingScene, packed_view

__all__ = ["SchedulerLost", "render"]

BYTES_AHEAD = 1 << 28  # of pictures that are begun before the oldest is complete


def _tiles(width, height, edge):
    return [(x, y, min(edge, width - x), min(edge, height - y))
            for y in range(0, height, edge) for x in range(0, width, edge)]


class _Order:
    """What all pictures of a call have in common."""

    def __init__(self, scene, light, lights, colors, smooth, transparent, background, ground,
                 bricks, samples):
        self.studio = _picture.check_light(light, lights, transparent, background, ground, bricks)
        self.samples, self.lights = samples, lights
        self.meshes = scene if isinstance(scene, RaycastingScene) else None
        if self.meshes is not None:
            self.data = _picture.pack(scene, colors, smooth)
        elif colors is not None or smooth:
            raise ValueError("colors and smooth are not for packed scenes")
        else:
            try:
                self.data = bytes(memoryview(scene))
            except TypeError:
                raise TypeError("scene: a RaycastingScene, or the bytes of a packed scene wanted, "
                                f"got {type(scene).__name__}") from None
        self.own_view = packed_view(self.data) if self.data else None
        self.look = {"studio": self.studio, "samples": samples, "transparent": transparent,
                     "background": background, "ground": ground, "bricks": bricks}
        self.channels = 4 if transparent else 3

    def picture(self, camera):
        if camera is None and self.meshes is not None:
            raise ValueError("camera: only packed scenes have one of their own")
        lights = self.lights
        if lights is None or not len(lights):
            lights = np.empty((0, 4))
            if self.meshes is not None and not self.studio:
                lights = _picture.lamps_beside(self.meshes, camera)
        view = _picture.view_numbers(camera, self.own_view, self.studio, self.samples)
        return Picture(view, _picture.table(lights, "lights", 4),
                       _tiles(view[1], view[2], 96 if self.studio else 64))


def render(client, scene, cameras=None, *, light="lamps", lights=None, colors=None, smooth=False,
           transparent=False, background=None, ground=None, bricks=None, samples=0,
           rays="watertight"):
    """A picture as raytracer.render() makes it, to the byte; of an iterable of cameras a generator
    of their pictures, in order.

    client: distributed.Client. scene: a RaycastingScene, or the bytes of a packed scene, for which
    rays says who tells what a ray meets, as for load_packed(). It goes once to each worker, which
    keeps the last three. Work is cut into blocks of tiles; those of workers that die are made
    again, and late ones are made twice when others idle. ValueError when a worker's version is
    another one. SchedulerLost, with what is done of the picture, when the scheduler is gone.
    Memory is bounded: pictures are begun as they are taken.
    """
    order = _Order(scene, light, lights, colors, smooth, transparent, background, ground, bricks,
                   samples)
    if cameras is None or isinstance(cameras, Camera):
        return next(_pictures(client, order, iter([cameras]), rays))
    return _pictures(client, order, iter(cameras), rays)


def _pictures(client, order, cameras, rays):
    if not order.data:  # a scene without triangles
        chosen = {name: value for name, value in order.look.items() if name != "studio"}
        for camera in cameras:
            yield _picture.render(order.meshes, camera,
                                  light="studio" if order.studio else "lamps", **chosen)
        return
    begun = []  # in order, with their pixels

    def take():
        for camera in cameras:
            picture = order.picture(camera)
            picture.pixels = np.zeros((picture.view[2], picture.view[1], order.channels), np.uint8)
            picture.missing = set(range(len(picture.tiles)))
            begun.append(picture)
            return picture
        return END

    def ahead():
        return max(2, min(4096, BYTES_AHEAD // begun[0].pixels.size)) if begun else 2

    crew = Crew(client, order.data, rays, order.look)
    try:
        for picture, index, pixels in crew.run(take, ahead):
            x, y, width, height = picture.tiles[index]
            picture.pixels[y:y + height, x:x + width] = pixels
            picture.missing.discard(index)
            while begun and not begun[0].left:
                yield begun.pop(0).pixels
    except SchedulerLost as error:
        if begun:
            error.picture = begun[0].pixels
            error.done = np.ones(error.picture.shape[:2], bool)
            for x, y, width, height in map(begun[0].tiles.__getitem__, begun[0].missing):
                error.done[y:y + height, x:x + width] = False
        raise
