"""The program behind rt-render --on: takes a packed scene and shots from standard input, and gives
back tiles by the workers of a scheduler on standard output.

Each message is four letters, the length of the rest as eight bytes, and the rest; numbers are
little-endian. apps/rt-render/remote/RemoteCrew.cpp is the other end.
"""
import logging
import os
import queue
import struct
import sys
import threading

import numpy as np

from . import __version__

HEAD = struct.Struct("<4sQ")
START = struct.Struct("<16s6I6fI4fI")  # version, rays, studio, transparent, samples, ground, ...
SHOT = struct.Struct("<5I12f")         # number, width, height, parallel, edge of tiles, view
TILE = struct.Struct("<2I")            # number of the shot, and of the tile


class _Failure(Exception):
    """What is told in one line."""


def _connect(address):
    try:
        import distributed
    except ImportError as error:
        raise _Failure(f"needs Debian's python3-distributed ({error})") from error
    logging.getLogger("distributed").setLevel(logging.CRITICAL)
    logging.getLogger("tornado").setLevel(logging.CRITICAL)
    try:
        return distributed.Client(address, timeout=10, set_as_default=False)
    except TypeError as error:  # without certificates
        raise _Failure(f"{address}: {error}") from error
    except (OSError, ValueError, RuntimeError) as error:
        cause = error
        while cause.__cause__:
            cause = cause.__cause__
        reason = getattr(cause, "strerror", None) or str(cause) or type(cause).__name__
        raise _Failure(f"no scheduler answers at {address}: {reason}") from error


class _Driver:
    """rt-render at the other end of two pipes."""

    def __init__(self):
        self._input = os.fdopen(os.dup(0), "rb")
        self._output = os.fdopen(os.dup(1), "wb", buffering=1 << 20)
        os.dup2(2, 1)  # whatever prints
        self._lock = threading.Lock()
        self.shots = queue.SimpleQueue()
        self.ahead = 2

    def read(self):
        """The kind of a message and what it holds; None at the end."""
        head = self._input.read(HEAD.size)
        if len(head) < HEAD.size:
            return None, b""
        kind, size = HEAD.unpack(head)
        return kind, self._input.read(size)

    def write(self, kind, *parts):
        parts = [memoryview(part).cast("B") for part in parts]
        with self._lock:
            self._output.write(HEAD.pack(kind, sum(map(len, parts))))
            for part in parts:
                self._output.write(part)
            self._output.flush()

    def say(self, text):
        self.write(b"note", " ".join(str(text).split()).encode())

    def follow(self, wake):
        """Hands shots on until rt-render has gone, and ends this program then."""
        from ._crew import END
        while True:
            kind, data = self.read()
            if kind == b"shot":
                self.shots.put(data)
            elif kind == b"last":
                self.shots.put(END)
            else:
                os._exit(0)
            wake()


def _look(numbers):
    studio, transparent, samples, ground, sky = numbers[:5]
    if studio:
        return {"studio": True, "samples": samples, "transparent": bool(transparent),
                "background": "sky" if sky else (numbers[5:8], numbers[8:11]), "bricks": None,
                "ground": ground}
    names = "material", "width", "height", "mortar", "angle", "dirt"
    bricks = dict(zip(names, numbers[11:]), dirt=bool(numbers[16]))
    return {"studio": False, "samples": samples, "transparent": False, "background": None,
            "ground": None, "bricks": bricks}


def _picture(data, samples):
    """A shot, of which the tiles are made that are asked for by a byte each."""
    from ._crew import Picture
    number, width, height, parallel, edge, *points = SHOT.unpack_from(data)
    wanted = np.flatnonzero(np.frombuffer(data, np.uint8, offset=SHOT.size))
    across = -(-width // edge)
    tiles = []
    for tile in wanted.tolist():
        x, y = tile % across * edge, tile // across * edge
        tiles.append((x, y, min(edge, width - x), min(edge, height - y)))
    view = (np.array(points, np.float32).reshape(4, 3), width, height, bool(parallel), True,
            max(1, samples))
    picture = Picture(view, np.empty((0, 4), np.float32), tiles)
    picture.number, picture.wanted = number, wanted
    return picture


def _serve(driver, address):
    from ._crew import Crew
    client = _connect(address)
    driver.write(b"redy")
    kind, start = driver.read()
    scene = driver.read()[1]
    if kind != b"strt" or not scene:
        return
    version, rays, *numbers = START.unpack(start)
    version = version.rstrip(b"\0").decode()
    if version != __version__:
        raise _Failure(f"the module of {sys.executable} is of version {__version__}, this is "
                       f"{version}")
    look = _look(numbers)
    crew = Crew(client, scene, "watertight" if rays else "tree", look, driver.say)
    threading.Thread(target=driver.follow, args=(crew.wake,), daemon=True).start()

    def take():
        try:
            data = driver.shots.get_nowait()
        except queue.Empty:
            return None
        return data if not isinstance(data, bytes) else _picture(data, look["samples"])

    for picture, index, pixels in crew.run(take, lambda: 1 << 30):
        driver.write(b"tile", TILE.pack(picture.number, picture.wanted[index]),
                     np.ascontiguousarray(pixels))


def main():
    driver = _Driver()
    try:
        _serve(driver, sys.argv[1])
    except BrokenPipeError:
        pass
    except Exception as error:  # whatever it is, one line tells it
        text = str(error) or type(error).__name__
        if not isinstance(error, (_Failure, ValueError, ConnectionError)):
            text = f"{type(error).__name__}: {text}"
        driver.write(b"fail", " ".join(text.split()).encode())
    os._exit(0)  # whatever threads of the client still wait for


if __name__ == "__main__":
    main()
