import gc
import tracemalloc

import pytest


@pytest.fixture
def heap_growth():
    """measure(fn, warmup, rounds): bytes the traced heap grows by over
    rounds calls of fn, after warmup calls to settle caches."""

    def measure(fn, warmup, rounds):
        for _ in range(warmup):
            fn()
        gc.collect()
        tracemalloc.start()
        try:
            snap = tracemalloc.take_snapshot()
            for _ in range(rounds):
                fn()
            gc.collect()
            after = tracemalloc.take_snapshot()
        finally:
            tracemalloc.stop()
        return sum(s.size_diff for s in after.compare_to(snap, "filename"))

    return measure
