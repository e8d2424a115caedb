/* The problem's registry maps: rowcolmap (identity number -> solver index)
 * and indexset (set of identity numbers), plain sorted arrays with an
 * append fast path: the problem adds objects mostly in identity order. */
#include "algebra/maps.h"

#include <algorithm>
#include <new>
#include <vector>

#include "algebra/maps_sorted.h"

/* ================================================================ rowcolmap */

/* Runs of consecutive identities mapped to consecutive indices: objects
 * made in one go and added in one go (the usual way) take one run, so the
 * map of a million variables is a few bytes instead of eight a variable.
 * Any other pattern degrades to runs of one (twelve bytes an entry). */
struct rc_run {
    uint32_t id;  /* first identity */
    uint32_t val; /* its index; id + k maps to val + k */
    uint32_t len; /* > 0 */
};

struct rowcolmap {
    std::vector<rc_run> r; /* sorted by id, disjoint */
    size_t n = 0;          /* entries in all runs */
};

rowcolmap *
rowcolmap_new(void)
{
    return new (std::nothrow) rowcolmap;
}

/* Position of the run holding key, or -1. */
static ptrdiff_t
rc_find(const rowcolmap *m, uint32_t key)
{
    const std::vector<rc_run> &r = m->r;
    if (r.empty() || key < r[0].id)
        return -1;
    /* Objects are mostly added in creation order: the last run first. */
    size_t lo = 0, hi = r.size();
    if (key >= r.back().id)
        lo = hi - 1;
    else
        while (hi - lo > 1) {
            size_t mid = lo + (hi - lo) / 2;
            if (r[mid].id <= key)
                lo = mid;
            else
                hi = mid;
        }
    return key - r[lo].id < r[lo].len ? (ptrdiff_t)lo : -1;
}

int
rowcolmap_get(rowcolmap *m, uint32_t key, uint32_t *val)
{
    ptrdiff_t i = rc_find(m, key);
    if (i < 0)
        return -1;
    *val = m->r[i].val + (key - m->r[i].id);
    return 0;
}

int
rowcolmap_has(rowcolmap *m, uint32_t key)
{
    return rc_find(m, key) >= 0;
}

/* Takes key out of run i (it is in it): the run shrinks or splits. */
static void
rc_cut(rowcolmap *m, size_t i, uint32_t key)
{
    rc_run run = m->r[i];
    uint32_t k = key - run.id;
    if (run.len == 1) {
        m->r.erase(m->r.begin() + i);
    } else if (k == 0) {
        m->r[i] = rc_run{run.id + 1, run.val + 1, run.len - 1};
    } else if (k == run.len - 1) {
        m->r[i].len--;
    } else {
        m->r[i].len = k; /* may throw below: insert first */
        try {
            m->r.insert(m->r.begin() + i + 1, rc_run{key + 1, run.val + k + 1, run.len - k - 1});
        } catch (...) {
            m->r[i].len = run.len;
            throw;
        }
    }
    m->n--;
}

int
rowcolmap_set(rowcolmap *m, uint32_t key, uint32_t val)
{
    MAPS_TRY
    std::vector<rc_run> &r = m->r;
    if (r.empty() || (uint64_t)key >= (uint64_t)r.back().id + r.back().len) {
        if (!r.empty() && (uint64_t)key == (uint64_t)r.back().id + r.back().len &&
            (uint64_t)val == (uint64_t)r.back().val + r.back().len)
            r.back().len++;
        else
            r.push_back(rc_run{key, val, 1});
        m->n++;
        return 0;
    }
    ptrdiff_t i = rc_find(m, key);
    if (i >= 0) {
        if (r[i].val + (key - r[i].id) == val)
            return 0;
        rc_cut(m, (size_t)i, key);
    }
    /* a run of one where key belongs */
    size_t pos = 0, hi = r.size();
    while (pos < hi) {
        size_t mid = pos + (hi - pos) / 2;
        if (r[mid].id < key)
            pos = mid + 1;
        else
            hi = mid;
    }
    r.insert(r.begin() + pos, rc_run{key, val, 1});
    m->n++;
    return 0;
    MAPS_CATCH(-1)
}

int
rowcolmap_del(rowcolmap *m, uint32_t key)
{
    MAPS_TRY
    ptrdiff_t i = rc_find(m, key);
    if (i < 0)
        return -1;
    rc_cut(m, (size_t)i, key);
    return 0;
    MAPS_CATCH(-1)
}

size_t
rowcolmap_size(rowcolmap *m)
{
    return m->n;
}

rowcolmap *
rowcolmap_copy(rowcolmap *m)
{
    MAPS_TRY
    return new rowcolmap(*m);
    MAPS_CATCH(NULL)
}

void
rowcolmap_clear(rowcolmap *m)
{
    m->r.clear();
    m->n = 0;
}

void
rowcolmap_free(rowcolmap **pm)
{
    delete *pm;
    *pm = NULL;
}

/* The handle holds (run << 32 | offset) + 1, so NULL is the start. */
int
rowcolmap_next(rowcolmap *m, void **it, uint32_t *key, uint32_t *val)
{
    uint64_t h = *it == NULL ? 0 : (uint64_t)(uintptr_t)*it - 1;
    size_t run = (size_t)(h >> 32);
    uint32_t off = (uint32_t)h;
    if (run < m->r.size() && off >= m->r[run].len) {
        run++;
        off = 0;
    }
    if (run >= m->r.size())
        return 0;
    *key = m->r[run].id + off;
    *val = m->r[run].val + off;
    *it = (void *)(uintptr_t)((((uint64_t)run << 32) | (uint64_t)(off + 1)) + 1);
    return 1;
}

void
rowcolmap_iter_free(void **it)
{
    *it = NULL;
}

/* ================================================================ indexset */

struct is_entry {
    uint32_t id;
};

/* Sorted prefix plus an unsorted tail, like the linear maps: the
 * quadratic-variables set of a large expression gets its ids in any
 * order. */
struct indexset {
    std::vector<is_entry> e;
    size_t nsorted = 0;
};

static void
is_normalize(indexset *s)
{
    std::vector<is_entry> &e = s->e;
    if (s->nsorted == e.size())
        return;
    auto less = [](const is_entry &a, const is_entry &b) { return a.id < b.id; };
    std::sort(e.begin() + s->nsorted, e.end(), less);
    std::inplace_merge(e.begin(), e.begin() + s->nsorted, e.end(), less);
    e.erase(std::unique(e.begin(), e.end(),
                        [](const is_entry &a, const is_entry &b) { return a.id == b.id; }),
            e.end());
    s->nsorted = e.size();
}

indexset *
indexset_new(void)
{
    return new (std::nothrow) indexset;
}

int
indexset_has(indexset *s, uint32_t key)
{
    try {
        is_normalize(s);
    } catch (...) {
        return 0;
    }
    return find_sorted(s->e, s->e.size(), key) != NULL;
}

int
indexset_add(indexset *s, uint32_t key)
{
    MAPS_TRY
    std::vector<is_entry> &e = s->e;
    size_t n = e.size();
    if (s->nsorted == n) {
        if (n == 0 || key > e.back().id) {
            e.push_back(is_entry{key});
            s->nsorted++;
            return 0;
        }
        if (find_sorted(e, n, key) != NULL)
            return 0;
    } else if (key == e.back().id) {
        return 0;
    }
    e.push_back(is_entry{key});
    size_t tail = e.size() - s->nsorted;
    if (tail > 32 && tail > s->nsorted)
        is_normalize(s);
    return 0;
    MAPS_CATCH(-1)
}

int
indexset_del(indexset *s, uint32_t key)
{
    MAPS_TRY
    is_normalize(s);
    is_entry *p = find_sorted(s->e, s->e.size(), key);
    if (p == NULL)
        return -1;
    s->e.erase(s->e.begin() + (p - s->e.data()));
    s->nsorted--;
    return 0;
    MAPS_CATCH(-1)
}

size_t
indexset_size(indexset *s)
{
    try {
        is_normalize(s);
    } catch (...) {
    }
    return s->e.size();
}

indexset *
indexset_copy(indexset *s)
{
    MAPS_TRY
    is_normalize(s);
    return new indexset(*s);
    MAPS_CATCH(NULL)
}

void
indexset_free(indexset **ps)
{
    delete *ps;
    *ps = NULL;
}

int
indexset_next(indexset *s, void **it, uint32_t *key)
{
    size_t pos;
    if (*it == NULL) {
        try {
            is_normalize(s);
        } catch (...) {
            return 0;
        }
        pos = 0;
    } else {
        pos = (size_t)(uintptr_t)*it - 1;
    }
    if (pos >= s->e.size())
        return 0;
    *key = s->e[pos].id;
    *it = (void *)(uintptr_t)(pos + 2);
    return 1;
}

void
indexset_iter_free(void **it)
{
    *it = NULL;
}
