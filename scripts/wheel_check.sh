#!/usr/bin/env bash
# make wheel-check: build the wheel as a user's `pip wheel .` would (HiGHS
# linked in statically), install it into a fresh virtual environment that
# has nothing else, and solve an example with it.
set -euo pipefail
cd "$(dirname "$0")/.."
PY=${PY:-.venv/bin/python}
out=build/wheel-check
rm -rf "$out/dist" "$out/venv"
mkdir -p "$out"
QUENDA_HIGHS_ROOT=${QUENDA_HIGHS_ROOT:-$(PYTHON=$PY bash scripts/build_highs.sh)} \
  "$PY" -m pip wheel --quiet --no-deps --no-build-isolation \
  -C build-dir="$out/build" -w "$out/dist" .
wheel=$(ls "$out"/dist/quendalib-*.whl)
echo "wheel: $wheel"
"$PY" -m zipfile -l "$wheel" | awk 'NR > 1 {print "  " $1}'
"$(command -v python3)" -m venv "$out/venv"
"$out/venv/bin/python" -m pip install --quiet "$wheel"
# From outside the checkout, so that nothing but the installed wheel is found.
cd "$out"
venv/bin/python -c 'import quendalib, sys; print("imported", quendalib.__file__)'
venv/bin/python ../../examples/production_planning.py
# The type stubs come with the wheel, where type checkers look for them.
venv/bin/python - <<'EOF2'
import pathlib, sysconfig
stubs = pathlib.Path(sysconfig.get_paths()["purelib"]) / "quendalib-stubs"
assert (stubs / "__init__.pyi").is_file() and (stubs / "py.typed").is_file(), stubs
print("stubs:", stubs)
EOF2
