"""Reference counts and memory of the algebra: maps release what they erase,
every path (including failures) balances, long loops stay flat."""
import gc
import sys
import tracemalloc

import numpy as np
import pytest

import quendalib as quenda

ModelError = quenda.ModelError


def refcounts(objs):
    return [sys.getrefcount(o) for o in objs]


def workload(x, y, z):
    """Every kind of result and failure of the algebra, once."""
    out = [
        x + y, x - y, 2 * x, x * y, x ** 2, x / 2, -x, x + 1, 1 - x, x - x,
        (x + 1) * (y + 2), (x + y) ** 2, (x + y + z) - x, (2 * x) + (3 * y), (x * y) + z,
        (6 * x * y) / (2 * x), (x * y) / (x * y), x <= 3, x + y == z, (x + y).__neg__(),
        (x + 2 * y <= 4).copy(), quenda.constraint(body=x + y, lb=1),
        quenda.constraint(body=x, sense=quenda.leq, rhs=3).copy(),
        x + np.array([1, 2]), (2 * x) * np.array([1.0, 2.0]), (x * y) - np.array([0, 1]),
        str(x + y - 2 * z + x * y), str(3 * x), str(x * y),
    ]
    e = x + y
    e += z
    e -= 2 * x
    e += x * y
    e *= 3
    e /= 2
    e -= e
    out.append(e)
    for bad in (lambda: x + "a", lambda: x / 0, lambda: (x + 1) / 0, lambda: x < 1,
                lambda: (x * y) / 0, lambda: (2 * x) + None, lambda: x ** np.array([1]),
                lambda: quenda.constraint(body=x, lb=1, rhs=2),
                lambda: quenda.constraint(body="x", lb=1), lambda: (x + 1) <= "a"):
        try:
            bad()
        except ModelError:
            pass
    return out


def test_refcounts_balance_after_dropping_everything():
    x, y, z = quenda.var(), quenda.var(), quenda.var()
    workload(x, y, z)                    # warm caches
    gc.collect()
    before = refcounts((x, y, z))
    for _ in range(50):
        res = workload(x, y, z)
        del res
    gc.collect()
    assert refcounts((x, y, z)) == before


@pytest.mark.parametrize("build", [
    lambda x, y: x + y - x,
    lambda x, y: (2.5 * x + y) - 2.5 * x,
    lambda x, y: (x + y) + (y - x),
    lambda x, y: (x + 1) * (y + 1) - x - x * y - 1,
])
def test_erased_entries_release_their_variable(build):
    x, y = quenda.var(), quenda.var()
    base = sys.getrefcount(x)
    e = build(x, y)
    assert "C%d" % hash(x) not in str(e)
    assert sys.getrefcount(x) == base   # while e is still alive
    del e


def test_inplace_cancellation_releases():
    x, y = quenda.var(), quenda.var()
    base = sys.getrefcount(x)
    e = 2.5 * x + y
    assert sys.getrefcount(x) == base + 1
    e -= 2.5 * x
    assert sys.getrefcount(x) == base
    e += x * y
    e -= x * y
    assert str(e) == str(y) or str(e).strip() == str(y)
    del e
    assert sys.getrefcount(x) == base


def test_out_of_order_accumulation_releases():
    xs = [quenda.var() for _ in range(500)]
    before = refcounts(xs)

    def build():
        e = 3 * xs[-1]
        for v in reversed(xs[:-1]):       # every add lands off the sorted end
            e += 3 * v
        for v in xs[::2]:
            e -= 3 * v
        for v in xs[1::2]:
            e += -3 * v
        return e

    e = build()
    assert str(e) == "0"                  # reading puts the maps in order
    assert refcounts(xs) == before        # every cancelled entry released
    del e
    assert refcounts(xs) == before


def test_memory_stays_flat():
    xs = [quenda.var() for _ in range(50)]

    def loop(n):
        for i in range(n):
            a, b, c = xs[i % 50], xs[(7 * i) % 50], xs[(13 * i) % 50]
            e = a + b
            e += 2 * c
            e -= a * b
            q = (a + 1) * (b - 2)
            con = e + q <= 3
            con2 = con.copy()
            t = 3 * a - c / 2
            del e, q, con, con2, t

    loop(2000)
    gc.collect()
    tracemalloc.start()
    loop(100)
    gc.collect()
    start, _ = tracemalloc.get_traced_memory()
    loop(50_000)                            # about a million objects made and dropped
    gc.collect()
    end, _ = tracemalloc.get_traced_memory()
    tracemalloc.stop()
    assert end - start < 64 * 1024


def test_big_sum_memory_is_released():
    xs = [quenda.var() for _ in range(20_000)]
    gc.collect()
    tracemalloc.start()
    start, _ = tracemalloc.get_traced_memory()
    for _ in range(3):
        e = 0 + xs[0]
        for v in xs[::-1]:
            e += v
        for v in xs:
            e -= 2 * v
        del e
    gc.collect()
    end, _ = tracemalloc.get_traced_memory()
    tracemalloc.stop()
    assert end - start < 16 * 1024
