# The README's two commands are `make example` and `make test`; both do the
# whole set-up on a fresh machine and are quick when everything is there.

VENV      := .venv
PY        := $(VENV)/bin/python
PY_NP1    := .venv-np1/bin/python
CACHE_TAG  = $(shell $(PY) -c 'import sys; print(sys.implementation.cache_tag)')
BUILD_DIR  = build/$(CACHE_TAG)
HIGHS_ROOT = $(shell PYTHON=$(PY) bash scripts/build_highs.sh)
# Suites that must hold under NumPy 1.x as well as 2.x.
NP1_TESTS := tests/algebra

.PHONY: all setup build example test test-cpp test-py test-np1 sanitize clean

all: build

setup:
	@bash scripts/setup.sh

build: setup
	QUENDA_HIGHS_ROOT=$(HIGHS_ROOT) $(PY) -m pip install --quiet --no-build-isolation \
	  --no-deps -C cmake.define.QUENDA_TESTS=ON .

example: build
	$(PY) examples/session.py

test: build
	$(MAKE) --no-print-directory test-cpp test-py test-np1

test-cpp:
	ctest --test-dir $(BUILD_DIR) --output-on-failure -j2

test-py:
	$(PY) -m pytest -q tests

test-np1:
	@if [ -d $(NP1_TESTS) ]; then \
	  PYTHONPATH=$(BUILD_DIR)/python $(PY_NP1) -m pytest -q $(NP1_TESTS); \
	else echo "no NumPy 1.x suite yet"; fi

clean:
	rm -rf build
