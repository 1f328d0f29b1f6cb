#!/usr/bin/python3
"""bench/python.py BUILD: a million rays in one call from Python, against the same call in C++
(rt_bench_cast), and on two threads. Prints the table of docs/performance.md: medians of runs that
take turns, in milliseconds of the processor, which a busy machine changes little; how much sooner
two threads are done is told by the clock on the wall."""
import os
import subprocess
import sys
import tempfile
import time

BUILD = os.path.abspath(sys.argv[1])
sys.path.insert(0, os.path.join(BUILD, "python"))
import numpy as np  # noqa: E402
import raytracer  # noqa: E402

RUNS = 9


def hills(size):
    """Vertices and triangles of a rough ground, 2 * size^2 triangles."""
    x, y = np.meshgrid(np.linspace(-1, 1, size + 1), np.linspace(-1, 1, size + 1))
    z = 0.1 * np.sin(7 * x) * np.cos(5 * y) + 0.01 * np.sin(90 * x) * np.cos(80 * y)
    i = np.arange(size * (size + 1)).reshape(size, size + 1)[:, :-1]
    triangles = np.stack([i, i + 1, i + size + 2, i, i + size + 2, i + size + 1], axis=-1)
    vertices = np.stack([x, y, z], axis=-1)
    return vertices.reshape(-1, 3).astype(np.float32), triangles.reshape(-1, 3).astype(np.uint32)


def milliseconds(call, clock=time.process_time):
    start = clock()
    call()
    return 1000 * (clock() - start)


def main():
    print("| rays | triangles | C++ | Python | ratio | from float64 | ratio "
          "| two threads together | sooner by |")
    print("|---|---|---|---|---|---|---|---|---|")
    for size in (100, 700):
        vertices, triangles = hills(size)
        camera = raytracer.Camera(45, (0, 0, 0), (1.2, -1.5, 1), (0, 0, 1), 1000, 1000)
        ordered = camera.rays().reshape(-1, 6)
        shuffled = np.random.default_rng(1).permutation(ordered)
        scene = raytracer.RaycastingScene()
        scene.add_triangles(vertices, triangles)
        for name, rays in (("of a picture", ordered), ("the same, shuffled", shuffled)):
            doubles = rays.astype(np.float64)
            scene.cast_rays(rays[:1])
            with tempfile.NamedTemporaryFile() as file:
                file.write(np.uint64([len(vertices), len(triangles), len(rays)]).tobytes())
                for array in (vertices, triangles, rays):
                    file.write(array.tobytes())
                file.flush()
                program = os.path.join(BUILD, "bench/rt_bench_cast")
                with subprocess.Popen([program, file.name], text=True, bufsize=1,
                                      stdin=subprocess.PIPE, stdout=subprocess.PIPE) as rival:
                    def cast():
                        rival.stdin.write("\n")
                        return float(rival.stdout.readline())

                    def on(threads, array=rays):
                        return lambda: scene.cast_rays(array, nthreads=threads)
                    wall = time.perf_counter
                    times = np.array([
                        (cast(), milliseconds(on(1)), milliseconds(on(1, doubles)),
                         milliseconds(on(2)), milliseconds(on(1), wall), milliseconds(on(2), wall))
                        for _ in range(RUNS)])
                    rival.stdin.close()
            native, one, double, two = np.median(times[:, :4], axis=0)
            ratio, ratio_double, gain = (np.median(times[:, a] / times[:, b])
                                         for a, b in ((1, 0), (2, 0), (4, 5)))
            print(f"| {name} | {len(triangles)} | {native:.0f} | {one:.0f} | {ratio:.2f} "
                  f"| {double:.0f} | {ratio_double:.2f} | {two:.0f} | {gain:.2f} |", flush=True)


if __name__ == "__main__":
    main()
