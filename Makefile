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

.PHONY: all setup build example test test-cpp test-py test-np1 wheel-check lint format \
  typecheck docs fuzz test-asan leakcheck \
  bench bench-setup clean

all: build

setup:
	@bash scripts/setup.sh

build: setup
	QUENDA_HIGHS_ROOT=$(HIGHS_ROOT) $(PY) -m pip install --quiet --no-build-isolation \
	  --no-deps -C cmake.define.QUENDA_TESTS=ON .

example: build
	$(PY) examples/production_planning.py

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

# The readers' fuzz test at length: a random seed (printed on failure; set
# QUENDA_FUZZ_SEED to repeat a run) and 20,000 mutated files.
fuzz: build
	QUENDA_FUZZ_SEED=$${QUENDA_FUZZ_SEED:-$$RANDOM$$RANDOM} QUENDA_FUZZ_COUNT=$${QUENDA_FUZZ_COUNT:-20000} \
	  $(PY) -m pytest -q tests/fuzz

# AddressSanitizer and UBSan over libqnda and the module (build/asan): the
# C++ tests, then the Python suite with the sanitizer runtimes preloaded
# (the interpreter itself is not instrumented; its own leaks are not ours,
# so leak detection stays off there; a huge request returns NULL, as
# without the sanitizer, so MemoryError tests hold; the stubs' test is left
# out, as that build makes no stubs).  Any report fails the run; output is
# captured at the Python level only, so a report that ends the process is
# printed, not lost with pytest's captured file descriptors.
ASAN_DIR  := build/asan
ASAN_LIBS  = $(shell gcc -print-file-name=libasan.so) $(shell gcc -print-file-name=libubsan.so)
SAN_ENV    = ASAN_OPTIONS=detect_leaks=0:abort_on_error=1:allocator_may_return_null=1 \
  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
test-asan: setup
	cmake -S . -B $(ASAN_DIR) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQUENDA_SANITIZE=ON \
	  -DQUENDA_TESTS=ON -DQUENDA_HIGHS_ROOT=$(HIGHS_ROOT) -DPython_EXECUTABLE=$(abspath $(PY)) >/dev/null
	cmake --build $(ASAN_DIR) -j2
	$(SAN_ENV) ctest --test-dir $(ASAN_DIR) --output-on-failure -j2
	$(SAN_ENV) LD_PRELOAD="$(ASAN_LIBS)" PYTHONPATH=$(ASAN_DIR)/python \
	  $(PY) -m pytest -q -p no:cacheprovider --capture=sys --ignore=tests/test_stubs.py tests

# Memory and live objects over 10^5 rounds of the common paths, printed as
# growth per round (LEAK_ROUNDS to change the count).
leakcheck: build
	$(PY) scripts/leakcheck.py $${LEAK_ROUNDS:-100000}

# The wheel a user builds, installed alone into a fresh environment.
wheel-check: setup
	QUENDA_HIGHS_ROOT=$(HIGHS_ROOT) PY=$(PY) bash scripts/wheel_check.sh

# The stubs against the examples and the overloads' typing test (the build
# generates the stubs and installs them with the module).
typecheck: build
	$(PY) -m mypy --strict examples tests/typing $(BUILD_DIR)/python/quendalib-stubs/__init__.pyi

# The guides and the reference (from the docstrings and the stubs) with
# Sphinx; a warning fails the build.
docs: build
	$(PY) -m pip install --quiet -r docs/requirements.txt
	$(PY) -m sphinx -W --keep-going -q -b html docs build/docs
	@echo "docs: build/docs/index.html"

# The format check, the layer and cycle checks and the duplicate count.
lint: setup
	@bash scripts/lint.sh

# Rewrites the C++ sources in the project's format (the check of `lint`).
format: setup
	git ls-files -- 'quendalib/*.cpp' 'quendalib/*.h' 'solver/*.cpp' 'solver/*.h' \
	  'benchmarks/*.cpp' | xargs .venv/bin/clang-format -i

# Benchmarks: the peers live in their own environment (.venv-bench).
bench-setup:
	@[ -x .venv-bench/bin/python ] || python3 -m venv .venv-bench
	.venv-bench/bin/python -m pip install --quiet -r benchmarks/requirements.txt

bench: build bench-setup
	PYTHONPATH=$(BUILD_DIR)/python .venv-bench/bin/python benchmarks/algebra/bench_algebra.py
	PYTHONPATH=$(BUILD_DIR)/python .venv-bench/bin/python benchmarks/modelling/bench_modelling.py --slow-peers-small
	PYTHONPATH=$(BUILD_DIR)/python .venv-bench/bin/python benchmarks/memory/bench_memory.py
	PYTHONPATH=$(BUILD_DIR)/python .venv-bench/bin/python benchmarks/api/bench_loadproblem.py
	PYTHONPATH=$(BUILD_DIR)/python .venv-bench/bin/python benchmarks/nonlinear/bench_nonlinear.py
	QUENDA_HIGHS_ROOT=$(HIGHS_ROOT) bash benchmarks/solver/run.sh $(BUILD_DIR)
	PYTHONPATH=$(BUILD_DIR)/python $(PY) benchmarks/callbacks/bench_callbacks.py
	.venv-bench/bin/python benchmarks/solver/bench_warm.py $(BUILD_DIR)/python/libqnda.so

clean:
	rm -rf build
