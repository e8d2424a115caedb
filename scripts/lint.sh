#!/usr/bin/env bash
# make lint: the C++ format check, the layer and include-cycle checks, and
# the count of repeated blocks.  Fails on the first that does not hold.
set -euo pipefail
cd "$(dirname "$0")/.."

CLANG_FORMAT=${CLANG_FORMAT:-.venv/bin/clang-format}
DUPLICATE_LIMIT=${DUPLICATE_LIMIT:-30}
TOP=quendalib/module/quendalib.cpp

mapfile -t sources < <(git ls-files -- 'quendalib/*.cpp' 'quendalib/*.h' \
  'solver/*.cpp' 'solver/*.h' 'benchmarks/*.cpp')
echo "format: ${#sources[@]} files"
"$CLANG_FORMAT" --dry-run --Werror "${sources[@]}"

python3 scripts/include_cycles.py --top "$TOP" quendalib solver
python3 scripts/include_cycles.py --folders --top "$TOP" quendalib solver
if [ -f scripts/check_layers.py ]; then
  python3 scripts/check_layers.py
fi

# The duplicate finder is a tool of our machines, not a package: where it is
# missing the count is skipped, not failed.
if command -v duplicates >/dev/null 2>&1; then
  report=$(duplicates --seconds 300)
  first=$(head -n 1 <<<"$report")
  pairs=$(awk '/^no duplicates/ {print 0; exit} {print $1; exit}' <<<"$first")
  echo "duplicates: $first"
  if [ "$pairs" -ge "$DUPLICATE_LIMIT" ]; then
    echo "$report"
    echo "lint: $pairs pairs of repeated blocks (limit $DUPLICATE_LIMIT)" >&2
    exit 1
  fi
else
  echo "duplicates: tool not installed here, count skipped"
fi
echo "lint: clean"
