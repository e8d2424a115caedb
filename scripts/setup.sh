#!/usr/bin/env bash
# Everything the build and the tests need on a fresh machine: Debian
# packages, the virtual environments, and HiGHS in its cache.  Idempotent and
# quick when all is there.
set -euo pipefail
cd "$(dirname "$0")/.."

APT_PACKAGES="libgtest-dev coinor-libipopt-dev coinor-libcbc-dev coinor-libbonmin-dev pkg-config"
missing=""
for p in $APT_PACKAGES; do
  dpkg -s "$p" >/dev/null 2>&1 || missing="$missing $p"
done
if [ -n "$missing" ]; then
  echo "installing Debian packages:$missing"
  SUDO=""; [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq $missing >/dev/null
fi

PY=${PYTHON:-python3}
make_venv() {  # dir requirements
  local dir=$1 req=$2
  if [ ! -x "$dir/bin/python" ]; then
    "$PY" -m venv "$dir"
  fi
  if [ ! -f "$dir/.stamp" ] || [ "$req" -nt "$dir/.stamp" ]; then
    "$dir/bin/python" -m pip install --quiet --upgrade pip
    "$dir/bin/python" -m pip install --quiet -r "$req"
    touch "$dir/.stamp"
  fi
}
make_venv .venv requirements-dev.txt
make_venv .venv-np1 requirements-np1.txt

PYTHON=.venv/bin/python bash scripts/build_highs.sh >/dev/null
