"""What the benchmark scripts share: finding the built module, the timer,
loading pyoptinterface's HiGHS and compiling and running a C++ floor."""
import gc
import glob
import os
import subprocess
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def import_quendalib():
    try:
        import quendalib
        return quendalib
    except ImportError:
        pass
    for d in sorted(glob.glob(os.path.join(ROOT, "build", "*", "python"))):
        if glob.glob(os.path.join(d, "quendalib*.so")):
            sys.path.insert(0, d)
            import quendalib
            return quendalib
    raise SystemExit("quendalib not found: build it or set PYTHONPATH")


def timed(fn):
    gc.collect()
    t0 = time.perf_counter()
    fn()
    return time.perf_counter() - t0


def poi_highs():
    """pyoptinterface and its HiGHS module, the library loaded from highspy
    where pyoptinterface does not find one itself."""
    import highspy
    import pyoptinterface as poi
    from pyoptinterface import highs
    if not highs.autoload_library():
        lib = glob.glob(os.path.join(os.path.dirname(highspy.__file__), "libhighs.so*"))
        if not lib or not highs.load_library(lib[0]):
            raise ImportError("no HiGHS library for pyoptinterface")
    return poi, highs


def run_cpp(src, what, flags=(), libs=(), run_args=()):
    """Compiles src with g++ -O2 and runs it: {name: value} from its lines
    "name value", or {} (with a note) where that fails."""
    with tempfile.TemporaryDirectory() as tmp:
        exe = os.path.join(tmp, os.path.splitext(os.path.basename(src))[0])
        try:
            subprocess.run(["g++", "-O2", "-std=c++17", *flags, "-o", exe, src, *libs], check=True,
                           capture_output=True)
            out = subprocess.run([exe, *run_args], check=True, capture_output=True,
                                 text=True).stdout
        except (OSError, subprocess.CalledProcessError) as err:
            print(f"{what} skipped: {err}")
            return {}
    return {k: float(v) for k, v in (line.split() for line in out.splitlines())}


def adapter(name, **flags):
    """Class decorator of a library adapter: its name and flags (scale,
    quadratic, slow, ...) as class attributes."""
    def fill(cls):
        cls.name = name
        for key, value in flags.items():
            setattr(cls, key, value)
        return cls
    return fill
