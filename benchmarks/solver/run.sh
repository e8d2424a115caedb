#!/usr/bin/env bash
# Builds and runs the solver benchmark against a libqnda build tree:
#   benchmarks/solver/run.sh [build dir] [instances dir] [repetitions]
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
build=${1:-$root/build/dev}
inst=${2:-$root/tests/data}
reps=${3:-5}
highs=${QUENDA_HIGHS_ROOT:-$(bash "$root/scripts/build_highs.sh")}
lib=$(ls -d "$build"/python | head -1)
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
g++ -std=c++17 -O2 "$here/bench_solver.cpp" -o "$out/bench_solver" \
  -I"$root/solver/include" -I"$highs/include/highs" \
  -L"$lib" -lqnda "$highs/lib/libhighs.a" -lpthread -lz -Wl,-rpath,"$lib"
"$out/bench_solver" "$inst" "$reps"
