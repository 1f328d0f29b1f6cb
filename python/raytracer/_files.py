"""Model files, read by the program rt-import: a file that crashes its reader is an error here."""
import os
import pathlib
import shutil
import subprocess
import warnings

import numpy as np

from ._raytracer import PackedScene, load_packed, read_packed

_PROGRAM = "rt-import"


def _importer():
    """The program: what RAYTRACER_IMPORT names, that of the module's build or installation, or one
    of PATH."""
    if os.environ.get("RAYTRACER_IMPORT"):
        return os.environ["RAYTRACER_IMPORT"]
    above = pathlib.Path(__file__).absolute().parents
    beside = [above[2] / _PROGRAM] + [path / "bin" / _PROGRAM for path in above[3:5]]
    for path in beside:
        if path.is_file() and os.access(path, os.X_OK):
            return str(path)
    found = shutil.which(_PROGRAM)
    if found:
        return found
    raise FileNotFoundError(f"{_PROGRAM}, which reads models, is neither beside the module nor in "
                            "PATH; RAYTRACER_IMPORT may name it")


def _packed(path, options):
    """The bytes of a model. What it lacks is warned of."""
    path = os.fspath(path)
    with open(path, "rb"):  # or a usual error
        pass
    name = os.path.join(".", path) if os.fsdecode(path).startswith("-") else path
    result = subprocess.run([_importer(), *options, "--pack", "-", name], stdin=subprocess.DEVNULL,
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    told = [line.removeprefix(_PROGRAM + ": ") for line in
            result.stderr.decode("utf-8", "replace").splitlines()
            if line.startswith(_PROGRAM + ": ") or result.returncode]
    if result.returncode:
        raise ValueError("\n".join(told) or f"{_PROGRAM} ended with status {result.returncode}")
    for line in told:
        warnings.warn(f"{os.fsdecode(path)}: {line}", stacklevel=3)
    return result.stdout


def _options(light, ground, resolution, up, allow_outside):
    if light not in ("lamps", "studio"):
        raise ValueError(f"light: 'lamps' or 'studio' wanted, got {light!r}")
    if up not in (None, "x", "y", "z"):
        raise ValueError(f"up: 'x', 'y' or 'z' wanted, got {up!r}")
    options = ["--light", light] + ["--ground"] * bool(ground)
    options += ["--allow-outside"] * bool(allow_outside) + (["--up", up] if up else [])
    if resolution is not None:
        width, height = resolution
        options += ["--resolution", str(int(width)), str(int(height))]
    return options


def load(path, *, light="studio", ground=False, resolution=None, up=None, allow_outside=False,
         rays="watertight", nthreads=0) -> PackedScene:
    """A model file, of any kind that rt-import reads, for render(): with its materials, textures,
    lights and camera, as rt-render shows it.

    light: "studio" or "lamps", which render() takes by default then. ground: put one under the
    model. resolution: (width, height) of the camera. up: "x", "y" or "z", the file's upright axis;
    None: its own. allow_outside: files that the model names may lie outside its directory.
    rays and nthreads: as for RaycastingScene. FileNotFoundError without the file or rt-import,
    ValueError with what rt-import says of a model that cannot be read, a warning for what it lacks.
    """
    data = _packed(path, _options(light, ground, resolution, up, allow_outside))
    scene = load_packed(data, rays, nthreads)
    scene.light = light
    return scene


def pack_model(path, *, light="studio", ground=False, resolution=None, up=None,
               allow_outside=False) -> bytes:
    """The same as bytes, for load_packed() and raytracer.distributed.render()."""
    return _packed(path, _options(light, ground, resolution, up, allow_outside))


def add_file(scene, path, allow_outside=False):
    """Adds the meshes of a model file, of any kind that rt-import reads, in the file's own axes and
    numbers. Returns a list of geometry ids, one for each part of the file; geometry_names has the
    names. Vertices at one place are joined, and triangles without an area are left out. The errors
    are those of load().
    """
    options = ["--own-axes", "--light", "lamps"] + ["--allow-outside"] * bool(allow_outside)
    vertices, triangles, parts, names = read_packed(_packed(path, options))
    order = np.argsort(parts, kind="stable")
    ends = np.cumsum(np.bincount(parts, minlength=len(names)))
    ids = []
    for name, first, end in zip(names, [0, *ends], ends):
        used, corners = np.unique(triangles[order[first:end]], return_inverse=True)
        ids.append(scene._add_named(vertices[used], corners.reshape(-1, 3), name))
    return ids
