"""Partial sums share their terms until one of them changes: every sum,
copy and in-place change must still see only its own terms, and the
variables' references must balance however the partial sums are dropped."""
import gc
import sys

import numpy as np
import pytest

import quendalib as quenda


@pytest.fixture
def v():
    return [quenda.var(name=n) for n in "abcdefgh"]


def reference(*pairs, const=0.0):
    """The same expression accumulated in place from an empty one."""
    e = quenda.Sum([])
    e += const
    for c, x in pairs:
        e += c * x
    return str(e)


def test_branches_of_one_partial_sum_keep_their_own_terms(v):
    a, b, c, d, e = v[:5]
    s = a + 2 * b
    t = s + c
    u = s + 3 * d
    w = s - e
    assert str(s) == reference((1, a), (2, b))
    assert str(t) == reference((1, a), (2, b), (1, c))
    assert str(u) == reference((1, a), (2, b), (3, d))
    assert str(w) == reference((1, a), (2, b), (-1, e))
    x = s + (c + 2 * d)                # a sum appended as a whole
    y = s - (d + e)
    assert str(x) == reference((1, a), (2, b), (1, c), (2, d))
    assert str(y) == reference((1, a), (2, b), (-1, d), (-1, e))
    assert str(s) == reference((1, a), (2, b))
    t2 = t + d                         # extends the branch that appended first
    assert str(t2) == reference((1, a), (2, b), (1, c), (1, d))
    assert str(t) == reference((1, a), (2, b), (1, c))


def test_inplace_change_of_one_sharer_is_not_seen_by_the_others(v):
    a, b, c, d = v[:4]
    s = a + b
    f = s + 0                          # a copy that shares s's terms
    g = s + 0
    s += c                             # appends where f and g end
    f += d                             # f must not pick up c
    g *= 2
    assert str(s) == reference((1, a), (1, b), (1, c))
    assert str(f) == reference((1, a), (1, b), (1, d))
    assert str(g) == reference((2, a), (2, b))
    s -= s
    assert str(s) == "0"
    assert str(f) == reference((1, a), (1, b), (1, d))


def test_repeated_and_cancelling_terms_fold_when_read(v):
    a, b, c = v[:3]
    s = c + a + b + a - c + 2 * b
    assert str(s) == reference((2, a), (3, b))
    t = s - 2 * a
    assert str(t) == reference((3, b))
    assert str(s) == reference((2, a), (3, b))
    assert str(s - 2 * a - 3 * b) == "0"


def test_constraint_bodies_of_shared_sums(v):
    a, b, c = v[:3]
    s = a + 2 * b
    c1 = s + c <= 4
    c2 = s - c >= 1
    assert str(c1.body) == reference((1, a), (2, b), (1, c))
    assert str(c2.body) == reference((1, a), (2, b), (-1, c))
    assert str(s) == reference((1, a), (2, b))
    p = quenda.problem()
    p.addVariable(a, b, c)
    p.addConstraint(c1, c2)
    assert str(c1.body) == reference((1, a), (2, b), (1, c))
    assert (c1.ub, c2.lb) == (4, 1)


@pytest.mark.parametrize("op", [
    lambda arr, x: arr + x, lambda arr, x: arr - x, lambda arr, x: x + arr,
    lambda arr, x: arr + 2 * x, lambda arr, x: arr * 2,
])
def test_object_arrays_are_not_changed_by_arithmetic(v, op):
    a, b, c = v[:3]
    arr = np.array([a + b, b + c, a + 2 * c], dtype=object)
    before = [str(e) for e in arr]
    ids = [id(e) for e in arr]
    res = op(arr, c)
    assert [str(e) for e in arr] == before
    assert [id(e) for e in arr] == ids
    assert all(r is not e for r, e in zip(res, arr))


def test_numpy_sum_of_expressions(v):
    a, b, c = v[:3]
    arr = np.array([a + b, b + c, c + a], dtype=object)
    before = [str(e) for e in arr]
    total = arr.sum()
    assert str(total) == reference((2, a), (2, b), (2, c))
    assert [str(e) for e in arr] == before


@pytest.mark.parametrize("drop_order", ["short_first", "long_first", "middle_first"])
def test_references_balance_whichever_partial_sum_goes_first(v, drop_order):
    xs = v
    gc.collect()
    before = [sys.getrefcount(x) for x in xs]
    s = xs[0] + xs[1]
    t = s + xs[2]
    u = t + 3 * xs[3]
    w = s + xs[4]                      # copies: s no longer ends the store
    sums = {"short_first": [s, t, u, w], "long_first": [u, w, t, s],
            "middle_first": [t, s, w, u]}[drop_order]
    del s, t, u, w
    while sums:
        str(sums[-1])                  # reading cuts entries nobody sees
        sums.pop()
    gc.collect()
    assert [sys.getrefcount(x) for x in xs] == before


def test_reading_a_short_sum_releases_what_a_dropped_longer_one_appended(v):
    a, b, c = v[:3]
    base = sys.getrefcount(c)
    s = a + b
    t = s + c
    del t
    assert str(s) == reference((1, a), (1, b))
    assert sys.getrefcount(c) == base


def test_long_sum_with_few_variables_stays_small(v):
    a, b = v[:2]
    s = a + b
    for i in range(20_000):
        s = s + (a if i % 2 else b)
    assert str(s) == reference((10_001, a), (10_001, b))


@pytest.mark.parametrize("seed", range(4))
def test_random_branching_sums_match_a_fresh_accumulation(seed):
    # Sums that branch, grow in place, merge and get dropped in random
    # order, each checked against the same terms accumulated afresh.
    rng = np.random.default_rng(seed)
    xs = [quenda.var() for _ in range(12)]
    pool = [(xs[0] + xs[1], {0: 1, 1: 1})]
    expression = type(pool[0][0])
    for _ in range(400):
        i = int(rng.integers(len(pool)))
        e, ref = pool[i]
        k, c = int(rng.integers(len(xs))), int(rng.integers(-3, 4))
        op = int(rng.integers(7))
        if op == 0:                                   # a new branch
            pool.append((e + c * xs[k], {**ref, k: ref.get(k, 0) + c}))
        elif op == 1:                                 # grows in place
            e += c * xs[k]
            ref[k] = ref.get(k, 0) + c
        elif op == 2:                                 # a copy sharing the terms
            pool.append((e + 0, dict(ref)))
        elif op == 3:                                 # a whole sum appended
            f, fref = pool[int(rng.integers(len(pool)))]
            g = e - f
            gref = dict(ref)
            for key, v in fref.items():
                gref[key] = gref.get(key, 0) - v
            pool.append((g, gref))
        elif op == 4:
            e *= 2
            for key in ref:
                ref[key] *= 2
        elif op == 5 and len(pool) > 1:
            pool.pop(i)
            continue
        else:
            str(e)                                    # a read folds the terms
        assert type(e) is expression
        pool[i] = (e, ref)
    for e, ref in pool:
        want = reference(*((v, xs[key]) for key, v in sorted(ref.items()) if v != 0))
        assert str(e) == want


@pytest.mark.parametrize("k", [0.3, -1.0, 0.0, 2])
def test_heat_row_shape_appends_a_scaled_sum(v, k):
    a, b, c, d, e, f = v[:6]
    left = 1.6 * a - 0.4 * b
    part = c + d + e + f
    row = left - k * part
    assert str(left) == reference((1.6, a), (-0.4, b))
    assert str(part) == reference((1, c), (1, d), (1, e), (1, f))
    assert str(row) == reference((1.6, a), (-0.4, b), (-k, c), (-k, d), (-k, e), (-k, f))
    assert str(part * k) == str(k * part) == reference(*[(k, x) for x in (c, d, e, f)])
    again = left + part                # left's view no longer ends its store
    assert str(again) == reference((1.6, a), (-0.4, b), (1, c), (1, d), (1, e), (1, f))


def test_batches_appended_past_the_fitted_size(v):
    xs = [quenda.var() for _ in range(40)]
    s = xs[0] - xs[1]
    pairs = [(1, xs[0]), (-1, xs[1])]
    for i in range(2, 40, 3):
        chunk = xs[i:i + 3]
        s = s - 2.0 * quenda.Sum(chunk)
        pairs += [(-2.0, x) for x in chunk]
    assert str(s) == reference(*pairs)
    s2 = s - s                         # an expression minus itself
    assert str(s2) == "0"
