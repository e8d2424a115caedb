"""Mutated MPS and LP files of the repository's instances: every one is read
or refused with the module's exception, none crashes or hangs.

The files are read in a child interpreter so that a crash shows up as a
failed run naming the file.  `make fuzz` runs the same with a random seed
and more files (QUENDA_FUZZ_SEED, QUENDA_FUZZ_COUNT)."""
import os
import random
import subprocess
import sys

import quendalib as quenda

DATA = os.path.join(os.path.dirname(__file__), os.pardir, "data")
SEED = int(os.environ.get("QUENDA_FUZZ_SEED", "20261123"))
COUNT = int(os.environ.get("QUENDA_FUZZ_COUNT", "300"))
# Small instances: the mutants are read, not solved, but each must be quick.
SOURCES = ["afiro.mps", "adlittle.mps", "blending.mps", "small_mip.mps", "flugpl.mps",
           "egout.mps", "qjh.mps", "semi-continuous.mps", "standmps.mps", "woodinfe.mps"]
NUMBERS = [b"nan", b"-inf", b"1e400", b"-1e-400", b"1e30", b"0x1p3", b"1.2.3", b"--1", b"1e",
           b"99999999999999999999999999999", b"", b"NaN(123)", b"+", b"1,5"]

READER = r"""
import sys
import quendalib as quenda
for path in sys.argv[1:]:
    print(path, flush=True)
    p = quenda.problem()
    try:
        p.read(path)
    except quenda.SolverError as e:
        if "line" not in str(e) and "is empty" not in str(e) and not path.endswith(".lp"):
            raise SystemExit("no line number: %s: %s" % (path, e))
        continue
    p.getAttrib("cols")
print("done", flush=True)
"""


def mutate(data, rng):
    lines = data.split(b"\n")
    kind = rng.randrange(7)
    if kind == 0:  # truncation
        return data[: rng.randrange(len(data) + 1)]
    if kind == 1:  # byte flips
        b = bytearray(data)
        for _ in range(rng.randint(1, 8)):
            b[rng.randrange(len(b))] = rng.randrange(256)
        return bytes(b)
    if kind == 2:  # deleted lines
        for _ in range(rng.randint(1, 5)):
            if lines:
                del lines[rng.randrange(len(lines))]
    elif kind == 3:  # repeated lines
        for _ in range(rng.randint(1, 5)):
            k = rng.randrange(len(lines))
            lines.insert(k, lines[k])
    elif kind == 4:  # a section deleted or repeated
        heads = [k for k, l in enumerate(lines) if l[:1].isalpha()] + [len(lines)]
        if len(heads) > 2:
            h = rng.randrange(len(heads) - 1)
            block = lines[heads[h]:heads[h + 1]]
            if rng.random() < 0.5:
                del lines[heads[h]:heads[h + 1]]
            else:
                lines[heads[h + 1]:heads[h + 1]] = block
    else:  # numbers replaced by huge or malformed ones
        for _ in range(rng.randint(1, 4)):
            k = rng.randrange(len(lines))
            words = lines[k].split(b" ")
            nums = [i for i, w in enumerate(words) if w[:1].isdigit() or w[:1] == b"-"]
            if nums:
                words[rng.choice(nums)] = rng.choice(NUMBERS)
                lines[k] = b" ".join(words)
    return b"\n".join(lines)


def sources(tmp_path):
    out = {}
    for name in SOURCES:
        with open(os.path.join(DATA, name), "rb") as f:
            out[name] = f.read()
    # LP files of a few of them, written by the module itself
    for name in SOURCES[:4]:
        p = quenda.problem()
        p.read(os.path.join(DATA, name))
        lp = tmp_path / (name[:-4] + ".lp")
        p.write(str(lp), "l")
        out[lp.name] = lp.read_bytes()
    return out


def test_mutated_files_are_read_or_refused(tmp_path):
    rng = random.Random(SEED)
    src = sources(tmp_path)
    names = sorted(src)
    paths = []
    for k in range(COUNT):
        name = rng.choice(names)
        path = tmp_path / f"m{k:05d}_{name}"
        path.write_bytes(mutate(src[name], rng))
        paths.append(str(path))
    timeout = 60 + COUNT // 5
    r = subprocess.run([sys.executable, "-c", READER] + paths, capture_output=True, text=True,
                       timeout=timeout)
    last = r.stdout.strip().splitlines()[-1:] or ["(none)"]
    assert r.returncode == 0 and last == ["done"], \
        f"seed {SEED}: exit {r.returncode} after {last[0]}\n{r.stderr[-3000:]}"
