#!/usr/bin/python3
"""bench/python.py BUILD [RUNS]: a million rays in one call from Python, beside the same call in
C++ and Embree's robust single rays (both by rt_bench_cast), and on two threads. Prints the table of
docs/performance.md: the best of runs that take turns, in milliseconds of the processor, which a
busy machine changes little; how much sooner two threads are done is told by the clock on the wall.
Python's times have the conversion of arrays in them, Embree's have nothing but its calls."""
import os
import subprocess
import sys
import tempfile
import time

BUILD = os.path.abspath(sys.argv[1])
sys.path.insert(0, os.path.join(BUILD, "python"))
import numpy as np  # noqa: E402
import raytracer  # noqa: E402

RUNS = int(sys.argv[2]) if len(sys.argv) > 2 else 15


def hills(size):
    """Vertices and triangles of a rough ground, 2 * size^2 triangles."""
    x, y = np.meshgrid(np.linspace(-1, 1, size + 1), np.linspace(-1, 1, size + 1))
    z = 0.1 * np.sin(7 * x) * np.cos(5 * y) + 0.01 * np.sin(90 * x) * np.cos(80 * y)
    i = np.arange(size * (size + 1)).reshape(size, size + 1)[:, :-1]
    triangles = np.stack([i, i + 1, i + size + 2, i, i + size + 2, i + size + 1], axis=-1)
    vertices = np.stack([x, y, z], axis=-1)
    return vertices.reshape(-1, 3).astype(np.float32), triangles.reshape(-1, 3).astype(np.uint32)


def scattered(scene, rays):
    """From what rays of a picture meet, in random directions: as many rays, in their order."""
    hits = scene.cast_rays(rays)
    met = np.flatnonzero(np.isfinite(hits["t_hit"]))
    met = met[np.arange(len(rays)) * len(met) // len(rays)]
    points = rays[met, :3] + rays[met, 3:] * hits["t_hit"][met, None]
    directions = np.random.default_rng(2).normal(size=(len(rays), 3))
    directions /= np.linalg.norm(directions, axis=1, keepdims=True)
    return np.hstack([points + 1e-4 * directions, directions]).astype(np.float32)


def milliseconds(call, clock=time.process_time):
    start = clock()
    call()
    return 1000 * (clock() - start)


def measure(scene, vertices, triangles, rays):
    """Times in milliseconds, RUNS times: C++, Embree, Python on one thread, from float64, on two
    threads; and by the clock on the wall, on one and on two."""
    doubles = rays.astype(np.float64)
    seen = np.isfinite(scene.cast_rays(rays)["t_hit"]).sum()
    with tempfile.NamedTemporaryFile() as file:
        file.write(np.uint64([len(vertices), len(triangles), len(rays)]).tobytes())
        for array in (vertices, triangles, rays):
            file.write(array.tobytes())
        file.flush()
        program = os.path.join(BUILD, "bench/rt_bench_cast")
        with subprocess.Popen([program, file.name], text=True, bufsize=1, stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE) as rival:
            def cast(who, most_others):
                rival.stdin.write(who + "\n")
                spent, hits = rival.stdout.readline().split()
                assert abs(int(hits) - seen) <= most_others, f"{hits} hits, Python has {seen}"
                return float(spent)

            def on(threads, array=rays):
                return lambda: scene.cast_rays(array, nthreads=threads)
            wall = time.perf_counter
            times = np.array([
                (cast("own", 0), cast("embree", len(rays) // 1000), milliseconds(on(1)),
                 milliseconds(on(1, doubles)), milliseconds(on(2)), milliseconds(on(1), wall),
                 milliseconds(on(2), wall)) for _ in range(RUNS)])
            rival.stdin.close()
    return times


def main():
    print("| rays | triangles | M rays/s | Python | C++ | ratio | from float64 | ratio | Embree "
          "| ratio | two threads together | sooner by |")
    print("|---|---|---|---|---|---|---|---|---|---|---|---|")
    for size in (100, 700):
        vertices, triangles = hills(size)
        camera = raytracer.Camera(45, (0, 0, 0), (1.2, -1.5, 1), (0, 0, 1), 1000, 1000)
        ordered = camera.rays().reshape(-1, 6)
        scene = raytracer.RaycastingScene()
        scene.add_triangles(vertices, triangles)
        for name, rays in (("of a picture", ordered), ("scattered", scattered(scene, ordered)),
                           ("of a picture, shuffled",
                            np.random.default_rng(1).permutation(ordered))):
            times = measure(scene, vertices, triangles, rays)
            native, embree, one, double, two, wall_one, wall_two = times.min(axis=0)
            print(f"| {name} | {len(triangles)} | {len(rays) / one / 1000:.1f} | {one:.0f} "
                  f"| {native:.0f} | {one / native:.2f} | {double:.0f} | {double / native:.2f} "
                  f"| {embree:.0f} | {one / embree:.2f} | {two:.0f} | {wall_one / wall_two:.2f} |",
                  flush=True)


if __name__ == "__main__":
    main()
