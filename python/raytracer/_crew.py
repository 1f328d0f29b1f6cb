"""The driver's side of raytracer.distributed: blocks of tiles for the workers of a scheduler."""
import asyncio
import collections
import concurrent.futures
import hashlib
import itertools
import logging
import queue
import time
import uuid

from . import __version__, _blocks

SECONDS = 1.0          # that a block is to take
LEAST_SECONDS = 0.25   # and at least, when few are left
FIRST_PIXELS = 4e4     # that a block has at most before anything was measured
MOST_PER_SECOND = 200  # blocks, which is what a scheduler handles with ease
REACH = 2.0            # seconds to connect with a worker
LOOK = 1.0             # seconds between two looks at who is there
PATIENCE = 5.0         # seconds without a connection, until the scheduler counts as lost
SILENCE = 30.0         # the same with one that is silent
MOST_COPIES = 4        # of a block
VERY_LATE = 8          # times as late as a block that is copied when others idle
MOST_LOSSES = 5        # times that the engine gives a block up, each after some workers died of it

logger = logging.getLogger("raytracer.distributed")
END = object()  # no picture comes any more


class SchedulerLost(ConnectionError):
    """The scheduler is gone. picture is the first one that is not complete, or None, and done
    (height, width) says which of its pixels are there."""
    picture = done = None


class Picture:
    """One that is to be made: a view as its numbers, lights, and tiles (x, y, width, height)."""

    def __init__(self, view, lights, tiles):
        self.view, self.lights, self.tiles = view, lights, tiles
        self.left = len(tiles)


class _Block:
    def __init__(self, parts, pixels):
        self.parts, self.pixels = parts, pixels  # (picture, indices of tiles)
        self.copies, self.losses = [], 0
        self.since = self.first = 0.0  # when the last and the first copy was sent


def _windows(picture, indices):
    """Windows that hold the tiles, neighbours in one: (x, y, width, height) and the indices."""
    windows = []
    for index in indices:
        x, y, width, height = picture.tiles[index]
        if windows:
            (left, top, across, down), held = windows[-1]
            if (top, down) == (y, height) and left + across == x:
                windows[-1] = (left, top, across + width, down), held + [index]
                continue
        windows.append(((x, y, width, height), [index]))
    return windows


class Crew:
    """Renders pictures of a packed scene. look: what _picture.look_of() takes. say: hears a line
    for people now and then."""

    def __init__(self, client, data, rays, look, say=logger.warning):
        self._client, self._data, self._say = client, data, say
        self._name = hashlib.sha256(data).hexdigest(), rays
        self._order = {"version": __version__, "name": self._name, "look": look}
        self._events = queue.SimpleQueue()
        self._threads, self._holders = {}, {}  # of workers by address; of tasks, who has them
        self._asked, self._checked = set(), set()  # workers, for their version; that have ours
        self._lacking = []                         # and not the scene
        self._open = collections.deque()   # pictures of which tiles are left
        self._waiting = collections.deque()  # blocks that are to be sent again
        self._flying = {}                  # blocks by their numbers
        self._next, self._id = itertools.count(), uuid.uuid4().hex[:12]
        self._oldest = collections.deque()  # pictures that are not complete, in order
        self._pending = 0                  # pixels of them
        self._rate = None                  # pixels a second and thread
        self._latency = 1.0
        self._ended = False
        self._direct = True
        self._looking = False              # whether the scheduler was asked and is to answer
        self._silent = self._unconnected = 0.0  # seconds that run() waited for the scheduler
        self._watched = self._looked = self._said = time.monotonic()
        self.scene_bytes = self.blocks = self.copies = 0  # moved; sent

    def wake(self):
        """Lets run() ask for pictures again; from any thread."""
        self._events.put(("wake",))

    def run(self, take, ahead):
        """Yields (picture, index of the tile, pixels) in any order. take() returns the next
        picture, None when there is none yet, END. At most ahead() pictures are begun before
        the oldest one is complete."""
        try:
            self._await_checks()
            while True:
                if self._is_connected():
                    self._fill(take, ahead)
                if self._ended and not (self._flying or self._open or self._waiting):
                    return
                yield from self._land()
                self._watch()
        finally:
            logger.info("%d blocks, %d of them copies, %d bytes of scenes", self.blocks,
                        self.copies, self.scene_bytes)
            self._cancel([copy for block in self._flying.values() for copy in block.copies])

    # What runs in the client's loop. It never waits for a worker that may be frozen.

    def _start(self, coroutine, *args):
        self._client.loop.add_callback(self._guard, coroutine, *args)

    async def _guard(self, coroutine, *args):
        try:
            await coroutine(*args)
        except Exception as error:
            self._events.put(("failed", error))

    async def _look(self):
        scheduler = self._client.scheduler
        try:
            info = await scheduler.identity()
            holders = collections.defaultdict(set)
            for address, keys in (await scheduler.processing(workers=None)).items():
                for key in keys:
                    holders[key].add(address)
            threads = {address: worker["nthreads"] for address, worker in info["workers"].items()}
            self._events.put(("workers", threads, holders))
        except (OSError, ValueError):  # not connected
            self._events.put(("looked",))

    async def _check(self, address):
        """Asks a worker for its version, and whether it has the scene."""
        ask = (f"(lambda its: (its, its == {__version__!r} and "
               f"__import__('raytracer._blocks')._blocks.has({self._name!r})))"
               "(getattr(__import__('raytracer'), '__version__', 'unknown'))")
        try:
            answers = await self._client.run(eval, ask, workers=[address], on_error="return")
        except (OSError, ValueError) as error:
            answers = {address: OSError(error)}
        answer = answers.get(address, OSError("it is gone"))
        if isinstance(answer, OSError):
            self._events.put(("gone", address))
        elif isinstance(answer, Exception):
            self._events.put(("refused", f"worker {address} cannot run raytracer {__version__}: "
                              f"{answer}"))
        elif answer[0] != __version__:
            self._events.put(("refused", _blocks.refusal(f"worker {address}", answer[0],
                                                         __version__)))
        else:
            await self._reach(address)
            self._events.put(("checked", address, answer[1]))

    async def _reach(self, address):
        """Pixels come from the workers themselves, unless one of them cannot be reached."""
        from distributed.comm import connect
        try:
            comm = await connect(address, timeout=REACH, **self._client.connection_args)
            await comm.close()
        except (OSError, asyncio.TimeoutError):
            self._direct = False

    async def _deliver(self, addresses):
        try:
            await self._client.run(_blocks.put, self._name, self._data, workers=addresses,
                                   on_error="return")
        except (OSError, ValueError):  # some are gone; whoever lacks the scene says so
            pass

    async def _drop(self, copies):
        try:
            await self._client.cancel(copies)
        except OSError:  # the scheduler is lost, and they with it
            pass

    async def _fetch(self, number, copy):
        try:
            result, = await self._client.gather([copy], direct=self._direct)
        except BaseException as error:  # also CancelledError, which is none of Exception's
            result = error
        self._events.put(("done", number, copy, result))

    # The rest runs where run() does.

    def _is_connected(self):
        comm = self._client.scheduler_comm
        return self._client.status == "running" and comm is not None and not comm.closed()

    def _await_checks(self):
        """Until the workers that are there have told their versions: milliseconds, as a rule."""
        end = time.monotonic() + 3.0
        while time.monotonic() < end and not (self._threads and self._checked >= self._asked):
            self._watch()
            for _ in self._land():
                pass

    def _cores(self):
        return sum(self._threads.get(address, 0) for address in self._checked)

    def _fill(self, take, ahead):
        cores = self._cores()
        while len(self._flying) < 2 * cores + 1 and cores:
            if self._waiting:
                self._send(self._waiting.popleft())
                continue
            wanted = 3 * cores * SECONDS * (self._rate or 1e5)
            while not self._ended and self._pending < wanted and len(self._oldest) < ahead():
                picture = take()
                if picture is None:
                    break
                if picture is END:
                    self._ended = True
                elif picture.left:
                    picture.sent = 0
                    self._open.append(picture)
                    self._oldest.append(picture)
                    self._pending += sum(tile[2] * tile[3] for tile in picture.tiles)
            if not self._open:
                break
            self._send(self._cut(cores))
        if cores and self._flying:
            self._copy_late(cores)

    def _cut(self, cores):
        """The next block: tiles for some time, of one picture or several."""
        least = max(LEAST_SECONDS, cores / MOST_PER_SECOND)
        if self._rate:
            left = self._pending / self._rate / (3 * cores)
            pixels = self._rate * max(least, min(left, max(SECONDS, least)))
        else:
            pixels = min(FIRST_PIXELS, self._pending / (16 * cores))
        parts, cut = [], 0
        while self._open and (cut < pixels or not parts):
            picture = self._open[0]
            first = picture.sent
            while picture.sent < len(picture.tiles) and (cut < pixels or not cut):
                cut += picture.tiles[picture.sent][2] * picture.tiles[picture.sent][3]
                picture.sent += 1
            parts.append((picture, range(first, picture.sent)))
            if picture.sent == len(picture.tiles):
                self._open.popleft()
        self._pending -= cut
        return _Block(parts, cut)

    def _send(self, block, workers=None):
        number = next(self._next)
        block.windows = [_windows(picture, indices) for picture, indices in block.parts]
        jobs = [(picture.view, picture.lights, [window for window, _ in windows])
                for (picture, _), windows in zip(block.parts, block.windows)]
        places = {"workers": workers, "allow_other_workers": True} if workers else {}
        copy = self._client.submit(_blocks.render, self._order, jobs, pure=False, retries=0,
                                   key=f"raytracer-{self._id}-{number}",
                                   priority=10 if workers else 0, **places)
        block.since = time.monotonic()
        block.first = block.first or block.since
        block.copies.append(copy)
        block.number = block.number if len(block.copies) > 1 else number
        self._flying[block.number] = block
        self.blocks += 1
        self._start(self._fetch, block.number, copy)

    def _copy_late(self, cores):
        """Sends blocks that take long once more, to others: when these have nothing else to do, and
        those that take very long in any case."""
        now, usual = time.monotonic(), 0.5 + 2.0 * self._latency
        late = [block for block in self._flying.values()
                if now - block.since > usual * len(block.copies) and
                len(block.copies) < MOST_COPIES]
        if self._open or self._waiting:
            late = [block for block in late if now - block.since > VERY_LATE * usual]
            idle = len(late)
        else:
            idle = cores - sum(now - block.since <= usual for block in self._flying.values())
        for block in sorted(late, key=lambda block: block.first)[:max(0, idle)]:
            held = set().union(*(self._holders.get(copy.key, ()) for copy in block.copies))
            others = [address for address in self._checked
                      if address in self._threads and address not in held]
            if others:
                self.copies += 1
                self._send(block, others)

    def _land(self):
        try:
            event = self._events.get(timeout=0.25)
            while True:
                yield from self._handle(event) or ()
                event = self._events.get_nowait()
        except queue.Empty:
            pass
        if self._lacking:
            self.scene_bytes += len(self._lacking) * len(self._data)
            self._start(self._deliver, self._lacking)
            self._lacking = []

    def _handle(self, event):
        """The tiles of a block that is done, or None."""
        kind, *rest = event
        if kind == "done":
            return self._take_result(*rest)
        if kind in ("workers", "looked"):
            self._looking = False
        if kind == "workers":
            self._silent = 0.0
            self._threads, self._holders = rest
            for address in self._threads:
                if address not in self._asked:
                    self._asked.add(address)
                    self._start(self._check, address)
            self._asked &= self._threads.keys()
            self._checked &= self._asked
        elif kind == "checked":
            self._checked.add(rest[0])
            if not rest[1]:
                self._lacking.append(rest[0])
        elif kind == "refused":
            raise ValueError(rest[0])
        elif kind == "failed":
            raise rest[0]
        elif kind == "gone":
            self._asked.discard(rest[0])
        return None

    def _take_result(self, number, copy, result):
        block = self._flying.get(number)
        if block is None or copy not in block.copies:
            return None  # another copy was quicker
        if isinstance(result, (BaseException, str)):
            self._fail(block, copy, result)
            return None
        del self._flying[number]
        self._cancel([other for other in block.copies if other is not copy])
        seconds, pixels = result
        rate = block.pixels / max(seconds, 1e-4)
        self._rate = rate if self._rate is None else 0.8 * self._rate + 0.2 * rate
        self._latency = 0.8 * self._latency + 0.2 * (time.monotonic() - block.first)
        return self._tiles_of(block, iter(pixels))

    def _tiles_of(self, block, pixels):
        for (picture, _), windows in zip(block.parts, block.windows):
            for (left, *_), indices in windows:
                shown = next(pixels)
                for index in indices:
                    x, _, width, _ = picture.tiles[index]
                    picture.left -= 1
                    yield picture, index, shown[:, x - left:x - left + width]
            while self._oldest and not self._oldest[0].left:
                self._oldest.popleft()

    def _fail(self, block, copy, error):
        from distributed.scheduler import KilledWorker
        block.copies.remove(copy)
        if isinstance(error, str):
            self._asked.discard(error)  # a worker that has dropped the scene gets it again
        elif isinstance(error, (concurrent.futures.CancelledError, asyncio.CancelledError)):
            pass  # the connection was lost for a moment, and the block with it
        elif isinstance(error, (KilledWorker, OSError)):
            block.losses += self._is_connected()
            if block.losses == MOST_LOSSES:
                raise error
        elif isinstance(error, (ModuleNotFoundError, AttributeError)):
            raise ValueError(f"a worker cannot run raytracer {__version__}: {error}") from error
        else:
            raise error
        if not block.copies:
            del self._flying[block.number]
            block.first = 0.0
            self._waiting.append(block)

    def _cancel(self, copies):
        if copies and self._client.status == "running":
            self._start(self._drop, copies)

    def _watch(self):
        now = time.monotonic()
        # Whoever takes the pictures may take any time, in which nothing is listened to.
        waited, self._watched = min(now - self._watched, LOOK), now
        self._silent += waited if self._looking else 0.0
        self._unconnected = 0.0 if self._is_connected() else self._unconnected + waited
        if self._unconnected > PATIENCE or self._client.status == "closed":
            self._lose("the connection is closed")
        if self._silent > SILENCE:
            self._lose(f"it is silent for {SILENCE:.0f} seconds")
        if not self._looking and (now - self._looked > LOOK or not self._asked):
            self._looking, self._looked = True, now
            self._start(self._look)
        if not self._cores() and now - self._said > 10.0:
            self._said = now
            self._say("waits for workers: none is connected")

    def _lose(self, reason):
        raise SchedulerLost(f"the scheduler {self._client.scheduler.address} is lost: {reason}")
