/* The problem's registry maps: rowcolmap (identity number -> solver index)
 * and indexset (set of identity numbers), plain sorted arrays with an
 * append fast path: the problem adds objects mostly in identity order. */
#include "algebra/maps.h"

#include <algorithm>
#include <new>
#include <vector>

#include "algebra/maps_sorted.h"

/* ================================================================ rowcolmap */

struct rc_entry {
    uint32_t id;
    uint32_t val;
};

struct rowcolmap {
    std::vector<rc_entry> e;
};

rowcolmap *
rowcolmap_new(void)
{
    return new (std::nothrow) rowcolmap;
}

static rc_entry *
rc_find(rowcolmap *m, uint32_t key)
{
    /* Objects are mostly added in creation order: a key beyond the last
     * one is the commonest miss, answered without a search. */
    if (m->e.empty() || key > m->e.back().id)
        return NULL;
    return find_sorted(m->e, m->e.size(), key);
}

int
rowcolmap_get(rowcolmap *m, uint32_t key, uint32_t *val)
{
    rc_entry *p = rc_find(m, key);
    if (p == NULL)
        return -1;
    *val = p->val;
    return 0;
}

int
rowcolmap_has(rowcolmap *m, uint32_t key)
{
    return rc_find(m, key) != NULL;
}

int
rowcolmap_set(rowcolmap *m, uint32_t key, uint32_t val)
{
    MAPS_TRY
    std::vector<rc_entry> &e = m->e;
    if (e.empty() || key > e.back().id) {
        e.push_back(rc_entry{key, val});
        return 0;
    }
    size_t pos = lower_pos(e, e.size(), key);
    if (pos < e.size() && e[pos].id == key)
        e[pos].val = val;
    else
        e.insert(e.begin() + pos, rc_entry{key, val});
    return 0;
    MAPS_CATCH(-1)
}

int
rowcolmap_del(rowcolmap *m, uint32_t key)
{
    rc_entry *p = rc_find(m, key);
    if (p == NULL)
        return -1;
    m->e.erase(m->e.begin() + (p - m->e.data()));
    return 0;
}

size_t
rowcolmap_size(rowcolmap *m)
{
    return m->e.size();
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
    m->e.clear();
}

void
rowcolmap_free(rowcolmap **pm)
{
    delete *pm;
    *pm = NULL;
}

int
rowcolmap_next(rowcolmap *m, void **it, uint32_t *key, uint32_t *val)
{
    size_t pos = *it == NULL ? 0 : (size_t)(uintptr_t)*it - 1;
    if (pos >= m->e.size())
        return 0;
    *key = m->e[pos].id;
    *val = m->e[pos].val;
    *it = (void *)(uintptr_t)(pos + 2);
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
