#!/usr/bin/env bash
# Build HiGHS once from PyPI's highspy source distribution into a cache
# outside the checkout, keyed by version. Prints the install prefix.
#
# The sdist carries HiGHS's C++ sources and CMake build but leaves out app/
# and highs.pc.in, which the top-level CMakeLists expects; empty stand-ins let
# it configure. We build a static, position-independent library so libqnda
# can link it in and hide every HiGHS symbol.
set -euo pipefail

HIGHS_VERSION="${HIGHS_VERSION:-1.15.1}"
CACHE_ROOT="${QUENDA_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/quendalib}"
PREFIX="$CACHE_ROOT/highs-$HIGHS_VERSION"
PYTHON="${PYTHON:-python3}"

if [ -f "$PREFIX/.complete" ]; then
  echo "$PREFIX"
  exit 0
fi

work=$(mktemp -d "$CACHE_ROOT.build.XXXXXX" 2>/dev/null || { mkdir -p "$CACHE_ROOT"; mktemp -d "$CACHE_ROOT/build.XXXXXX"; })
trap 'rm -rf "$work"' EXIT

echo "building HiGHS $HIGHS_VERSION into $PREFIX (one time)" >&2
"$PYTHON" -m pip download --quiet --no-deps --no-binary highspy --no-build-isolation \
  "highspy==$HIGHS_VERSION" -d "$work" >&2
tar -xzf "$work/highspy-$HIGHS_VERSION.tar.gz" -C "$work"
src="$work/highspy-$HIGHS_VERSION"
mkdir -p "$src/app"
: > "$src/app/CMakeLists.txt"
[ -f "$src/highs.pc.in" ] || : > "$src/highs.pc.in"

cmake -S "$src" -B "$work/build" -G Ninja \
  -DCMAKE_BUILD_TYPE=Release \
  -DBUILD_SHARED_LIBS=OFF -DBUILD_TESTING=OFF -DBUILD_EXAMPLES=OFF \
  -DCMAKE_POSITION_INDEPENDENT_CODE=ON \
  -DCMAKE_CXX_VISIBILITY_PRESET=hidden -DCMAKE_C_VISIBILITY_PRESET=hidden \
  -DCMAKE_VISIBILITY_INLINES_HIDDEN=ON \
  -DCMAKE_INSTALL_PREFIX="$PREFIX" >&2
cmake --build "$work/build" --target highs -j "$(nproc)" >&2
cmake --install "$work/build" >&2 || {
  # Installing everything can trip over the missing app; the library and
  # headers are what we need.
  cmake --install "$work/build" --component libhighs >&2 || true
}
touch "$PREFIX/.complete"
echo "$PREFIX"
