"""What workers of raytracer.distributed run: blocks of tiles, of scenes that they keep prepared."""
import collections
import threading
import time

from . import __version__
from ._picture import look_of
from ._raytracer import View, load_packed

SCENES_KEPT = 3  # prepared ones, the last that were asked for
PATIENCE = 10.0  # seconds that a block waits for a scene that is on its way


class _Scenes:
    """Prepared scenes by what they are of: one build of each, however many threads wait for it."""

    def __init__(self):
        self._changed = threading.Condition()
        self._packed, self._ready = {}, collections.OrderedDict()
        self._built, self._dropped = set(), set()

    def _has(self, name, building):
        return name in self._ready or name in self._packed or (name in self._built) != building

    def has(self, name):
        with self._changed:
            return self._has(name, False)

    def put(self, name, data):
        """Takes the bytes of a scene, which the first who asks for it prepares."""
        with self._changed:
            self._dropped.discard(name)
            if name not in self._ready and name not in self._built:
                self._packed[name] = data
                while len(self._packed) > SCENES_KEPT:  # whoever sent them has left
                    del self._packed[next(iter(self._packed))]
            self._changed.notify_all()

    def get(self, name, threads):
        """The scene, or None when it does not come."""
        with self._changed:
            while name not in self._packed:
                if name in self._ready:
                    self._ready.move_to_end(name)
                    return self._ready[name]
                if name in self._dropped:
                    return None
                building = name in self._built
                if not self._changed.wait_for(lambda: self._has(name, building),
                                              None if building else PATIENCE):
                    return None
            data = self._packed.pop(name)
            self._built.add(name)
        scene = None
        try:
            scene = load_packed(data, name[1], threads)
        finally:
            with self._changed:
                self._built.discard(name)
                if scene is not None:
                    self._ready[name] = scene
                while len(self._ready) > SCENES_KEPT:
                    self._dropped.add(self._ready.popitem(last=False)[0])
                self._changed.notify_all()
        return scene


_scenes = _Scenes()


def has(name):
    return _scenes.has(name)


def put(name, data):
    _scenes.put(name, data)


def _worker():
    from distributed import get_worker
    try:
        return get_worker()
    except ValueError:  # on no worker
        return None


def refusal(worker, theirs, ours):
    return f"{worker} has raytracer of version {theirs}, here is {ours}"


def render(order, jobs):
    """Renders windows of pictures: seconds, and the pixels of each; the worker's address alone when
    the scene is not here. order: version, name of the scene, light. jobs: of each picture its view,
    lights and windows."""
    worker = _worker()
    if order["version"] != __version__:
        raise ValueError(refusal(f"worker {worker.address}", __version__, order["version"]))
    scene = _scenes.get(order["name"], worker.state.nthreads if worker else 1)
    if scene is None:
        return worker.address
    start = time.perf_counter()
    look = look_of(scene, **order["look"])
    pixels = []
    for (points, *numbers), lights, windows in jobs:
        for window in windows:
            view = View(points, *numbers, window=window)
            pixels.append(scene._render(view, look, lights, 1))
    return time.perf_counter() - start, pixels
