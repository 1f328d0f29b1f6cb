"""Pictures by the workers of a scheduler are those of one machine, whoever dies."""
import contextlib
import itertools
import logging
import os
import pathlib
import re
import signal
import socket
import subprocess
import sys
import threading

import numpy as np
import pytest

import raytracer
from meshes import ball, write_sky

pytest.importorskip("distributed")
from distributed import Client  # noqa: E402

import raytracer.distributed  # noqa: E402
from raytracer import _blocks as blocks  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parents[2]
PROGRAMS = pathlib.Path(raytracer.__file__).parents[2]  # of this build
MODEL = ROOT / "tests/data/letter.gltf"
needs_rt_render = pytest.mark.skipif(not (PROGRAMS / "rt-render").exists(), reason="not built")


def free_port():
    with socket.socket() as one:
        one.bind(("127.0.0.1", 0))
        return one.getsockname()[1]


class Cluster(contextlib.ExitStack):
    """A scheduler and workers, processes of this test."""

    def __init__(self, folder, **workers):
        super().__init__()
        self.folder = folder
        self.address = f"tcp://127.0.0.1:{free_port()}"
        self.scheduler = self.start("scheduler", "--host", self.address)
        self.workers = [self.worker(**workers), self.worker(**workers)]

    def start(self, kind, *words, env=None):
        # On the loopback alone: whoever reaches them runs programs.
        command = [sys.executable, "-m", f"distributed.cli.dask_{kind}", *words,
                   "--no-dashboard", "--dashboard-address", "127.0.0.1:0"]
        with open(self.folder / f"{kind}.log", "ab") as log:
            process = subprocess.Popen(command, stdout=log, stderr=log, cwd=self.folder,
                                       env={**os.environ, **(env or {})})
        self.callback(process.wait)
        self.callback(process.kill)
        return process

    def worker(self, threads=1, env=None):
        return self.start("worker", self.address, "--host", "127.0.0.1", "--no-nanny", "--nthreads",
                          str(threads), "--local-directory", str(self.folder), env=env)

    def client(self, workers=2):
        client = self.enter_context(Client(self.address, timeout=30))
        client.wait_for_workers(workers, timeout=60)
        return client


@pytest.fixture
def cluster(tmp_path):
    with Cluster(tmp_path) as cluster:
        yield cluster


def cameras(count, size=(160, 120)):
    for angle in np.linspace(0, 6, count):
        eye = 6 * np.sin(angle), 6 * np.cos(angle), 2
        yield raytracer.Camera(40, (0, 0, 0), eye, (0, 0, 1), *size)


@pytest.fixture(scope="module")
def scene():
    scene = raytracer.RaycastingScene()
    vertices, triangles = ball(64)
    scene.add_triangles(vertices, triangles)
    scene.add_triangles(vertices * 0.4 + [1.3, 0, 0.5], triangles)
    return scene


def test_pictures_and_films_have_one_machines_bytes(cluster, scene, caplog, monkeypatch):
    caplog.set_level(logging.INFO, "raytracer.distributed")
    client = cluster.client()
    camera = next(cameras(1, (500, 300)))
    for chosen in ({"light": "studio", "transparent": True, "ground": 1}, {"samples": 2},
                   {"colors": [[1, 0, 0], [0, 1, 0]], "smooth": True}):
        np.testing.assert_array_equal(
            raytracer.distributed.render(client, scene, camera, **chosen),
            raytracer.render(scene, camera, **chosen))
    for name in ("SECONDS", "LEAST_SECONDS"):  # blocks as large as they can be, on any machine
        monkeypatch.setattr(f"raytracer._crew.{name}", 1e6)
    film = raytracer.distributed.render(client, raytracer.pack(scene), cameras(40, (64, 48)),
                                        light="studio", background=(9, 99, 199))
    for seen, shown in itertools.zip_longest(cameras(40, (64, 48)), film):
        np.testing.assert_array_equal(
            shown, raytracer.render(scene, seen, light="studio", background=(9, 99, 199)))
    size = len(raytracer.pack(scene))
    moved = [int(record.getMessage().split()[-4]) for record in caplog.records]
    assert moved == [2 * size, 0, 2 * size, 0]  # once to each worker; colours make another scene
    blocks = int(caplog.records[-1].getMessage().split()[0])
    assert blocks < 40  # several small pictures make one
    empty = raytracer.RaycastingScene()
    np.testing.assert_array_equal(raytracer.distributed.render(client, empty, camera),
                                  raytracer.render(empty, camera))
    with pytest.raises(ValueError, match="packed scene: is no packed scene"):
        raytracer.distributed.render(client, b"x" * 500)


def test_workers_may_die_freeze_and_join(cluster, scene):
    client = cluster.client()
    count, shown = 30, []
    for picture in raytracer.distributed.render(client, scene, cameras(count, (400, 300)),
                                                light="studio"):
        shown.append(picture)
        if len(shown) == 2:
            cluster.workers.append(cluster.worker())
            cluster.workers[0].kill()
        elif len(shown) == 6:
            client.wait_for_workers(2, timeout=60)
            cluster.workers[1].send_signal(signal.SIGSTOP)
    assert len(shown) == count
    for seen, picture in zip(cameras(count, (400, 300)), shown):
        np.testing.assert_array_equal(picture, raytracer.render(scene, seen, light="studio"))


def test_workers_of_other_versions_are_refused_by_name(tmp_path, scene):
    (tmp_path / "raytracer").mkdir()
    (tmp_path / "raytracer/__init__.py").write_text("__version__ = '0.1.7'\n")
    with Cluster(tmp_path) as cluster:
        cluster.worker(env={"PYTHONPATH": f"{tmp_path}:{os.environ.get('PYTHONPATH', '')}"})
        with pytest.raises(ValueError, match=r"^worker tcp://127.0.0.1:\d+ has raytracer of "
                           rf"version 0.1.7, here is {raytracer.__version__}$"):
            raytracer.distributed.render(cluster.client(3), scene, next(cameras(1)))


def test_what_is_done_is_kept_when_the_scheduler_dies(cluster, scene):
    camera = next(cameras(1, (3000, 2000)))
    pictures = raytracer.distributed.render(cluster.client(), scene,
                                            itertools.chain(cameras(3), [camera] * 9))
    shown = [next(pictures) for _ in range(3)]
    cluster.scheduler.kill()
    with pytest.raises(raytracer.distributed.SchedulerLost,
                       match="scheduler tcp://.* is lost: .+") as lost:
        list(pictures)
    for seen, picture in zip(cameras(3), shown):
        np.testing.assert_array_equal(picture, raytracer.render(scene, seen))
    done = lost.value.done
    assert done.shape == (2000, 3000) and not done.all()
    whole = raytracer.render(scene, camera)
    np.testing.assert_array_equal(lost.value.picture[done], whole[done])


def rt_render(*words, **kwargs):
    return subprocess.run([PROGRAMS / "rt-render", *map(str, words)], stderr=subprocess.PIPE,
                          text=True, timeout=300, **kwargs)


@needs_rt_render
@pytest.mark.parametrize("options", [
    ["--ground", "--views", "iso,top", "--ortho", "--samples", "2"],
    ["--orbit", "9", "--background", "transparent"],
    ["--views", "front,top", "--sky", "sky.hdr", "--background", "sky"],
    ["--hemisphere", "3", "--intrinsics", "90", "95", "60", "50", "--light", "lamps"]])
def test_rt_render_writes_the_same_files_on_a_scheduler(cluster, options, tmp_path):
    cluster.client()
    write_sky(tmp_path / "sky.hdr")
    (tmp_path / "queue.py").write_text("raise ImportError")  # a user's, which is not looked at
    options = [tmp_path / word if word == "sky.hdr" else word for word in options]
    for folder, place in (("here", []), ("there", ["--on", cluster.address])):
        (tmp_path / folder).mkdir()
        ran = rt_render(MODEL, "--resolution", "160", "120", *options, *place, "-o",
                        tmp_path / folder / "a.png", cwd=tmp_path)
        assert ran.returncode == 0 and ran.stderr == "", ran.stderr
    here, there = ({path.name: path.read_bytes() for path in (tmp_path / folder).iterdir()}
                   for folder in ("here", "there"))
    assert here == there and len(here) > 1


@needs_rt_render
def test_rt_render_keeps_what_is_done(cluster, tmp_path):
    """The scheduler dies, another one goes on, a disk is full."""
    cluster.client().close()
    picture = tmp_path / "a.ppm"
    order = [PROGRAMS / "rt-render", "room_vn", "--resolution", "1600", "1200", "-o", picture]
    with subprocess.Popen([*order, "--on", cluster.address, "--verbose"], cwd=ROOT, text=True,
                          stderr=subprocess.PIPE) as started:
        for line in started.stderr:
            if "connected" in line:
                break
        cluster.scheduler.kill()
        said = started.stderr.read()
    assert started.returncode == 1
    assert re.search(r"rt-render: --on: the scheduler tcp://\S+ is lost: .*\n.*given up; \d+ of "
                     r"\d+ tiles are in .*, --resume goes on from there\n$", said), said
    with Cluster(tmp_path) as other:
        other.client()
        ran = rt_render(*order[1:], "--resume", "--on", other.address, cwd=ROOT)
        assert ran.returncode == 0, ran.stderr
        (tmp_path / "full.ppm").symlink_to("/dev/full")
        full = rt_render(MODEL, "--on", other.address, "-o", tmp_path / "full.ppm")
        assert full.returncode == 1 and "full.ppm: cannot be written: No space" in full.stderr
    assert rt_render(*order[1:-1], tmp_path / "b.ppm", cwd=ROOT).returncode == 0
    assert picture.read_bytes() == (tmp_path / "b.ppm").read_bytes()


def test_workers_build_a_scene_once_and_keep_the_last_ones(scene):
    data = raytracer.pack(scene)
    names = [(f"scene {number}", "watertight") for number in range(blocks.SCENES_KEPT + 1)]
    scenes, found = blocks._Scenes(), []
    asking = [threading.Thread(target=lambda: found.append(scenes.get(names[0], 1)))
              for _ in range(8)]
    for thread in asking:
        thread.start()
    scenes.put(names[0], data)
    for thread in asking:
        thread.join()
    assert len(found) == 8 and len(set(map(id, found))) == 1 and found[0].triangle_count > 0
    for name in names[1:]:
        scenes.put(name, data)
        assert scenes.get(name, 1) is not found[0]
    assert scenes.get(names[0], 1) is None and not scenes.has(names[0])  # at once
    scenes.put(names[0], data)
    assert scenes.get(names[0], 1) is not None
    scenes.put(names[1], b"rubbish")
    with pytest.raises(ValueError, match="is no packed scene"):
        scenes.get(names[1], 1)
    assert not scenes.has(names[1])
