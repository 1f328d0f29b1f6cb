#!/usr/bin/env python3
"""Times model files on their way to PNG files, rt-render's and POV-Ray's: bench/models.py --build build/release MODEL...

rt-render gets the model file, with nothing in its cache. POV-Ray gets the same triangles, camera and lights as a mesh2
in its own language, so it has no model to read; both use all cores, one ray a pixel. Wall times, the medians of --runs
taken in turn.
"""
import argparse
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

import povray


def timed(command, **settings):
    start = time.perf_counter()
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, **settings)
    seconds = time.perf_counter() - start
    if done.returncode:
        sys.exit(done.stdout)
    return seconds


def compare(build, model, runs):
    name = os.path.splitext(os.path.basename(model))[0]
    subprocess.run([os.path.join(build, "rt-import"), model, name], check=True, stdout=subprocess.DEVNULL)
    (wide, tall), faces = povray.export(name, name + ".pov")
    rival = ["povray", "-A", "-D", f"+W{wide}", f"+H{tall}", "+FN", f"+I{name}.pov", f"+O{name}-pov.png"]
    own, theirs = [], []
    for _ in range(runs):
        shutil.rmtree("cache", ignore_errors=True)
        own.append(timed([os.path.join(build, "rt-render"), model, "-o", name + ".png"],
                         env=dict(os.environ, XDG_CACHE_HOME=os.path.abspath("cache"))))
        theirs.append(timed(rival))
    ours, pov = statistics.median(own), statistics.median(theirs)
    print(f"| {name} | {faces} | {ours:.2f} | {pov:.2f} | {ours / pov:.2f} |", flush=True)


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--build", required=True)
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--keep", help="directory for pictures and .pov files")
    parser.add_argument("models", nargs="+")
    arguments = parser.parse_args()
    build, models = os.path.abspath(arguments.build), [os.path.abspath(model) for model in arguments.models]
    with tempfile.TemporaryDirectory(prefix="models-") as scratch:
        folder = arguments.keep or scratch
        os.makedirs(folder, exist_ok=True)
        os.chdir(folder)
        print("| model | faces | rt-render s | POV-Ray s | share |\n|---|---|---|---|---|", flush=True)
        for model in models:
            compare(build, model, arguments.runs)


if __name__ == "__main__":
    main()
