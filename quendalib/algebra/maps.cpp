/* Coefficient maps: flat sorted arrays with an unsorted tail.
 *
 * Layout of linmap and quadmap: e[0, nsorted) is sorted by identity
 * number with unique ids; an entry whose key is NULL there is a tombstone
 * (its reference already released) that a later add revives in place.
 * e[nsorted, size) is the tail: entries appended in arrival order, each
 * holding its own key reference, possibly with repeated ids, possibly with
 * ids of the sorted part (which then holds the older value: once a tail
 * exists, every add joins it).  Normalising is a stable sort of the tail,
 * a fold of its repeated ids in arrival order, and a merge that folds a
 * sorted entry with its tail entry; this gives the very sums the eager
 * accumulation would give, since an erased entry and 0.0 behave alike
 * under addition.
 *
 * rowcolmap and indexset are in maps_index.cpp. */
#include "algebra/maps.h"

#include <algorithm>
#include <new>
#include <vector>

#include "algebra/algebra.h"
#include "algebra/maps_sorted.h"

/* ================================================================ linmap */

struct linmap {
    using entry_type = linmap_entry;
    std::vector<linmap_entry> e;
    size_t nsorted = 0;
    size_t ntomb = 0; /* tombstones in the sorted part */
};

struct quad_entry {
    uint32_t id;
    PyObject *key; /* owned; NULL: tombstone */
    linmap *inner; /* owned; NULL with the tombstone */
};

struct quadmap {
    using entry_type = quad_entry;
    std::vector<quad_entry> e;
    size_t nsorted = 0;
    size_t ntomb = 0;
};

/* Appends without building a temporary entry (the copy of a stack
 * temporary cost a store-forwarding stall on the hot path). */
static inline void
lin_push(std::vector<linmap_entry> &e, uint32_t id, PyObject *var, double coef)
{
    e.emplace_back();
    linmap_entry &ne = e.back();
    ne.id = id;
    ne.var = var;
    ne.coef = coef;
}

/* Fold cur += src for repeated ids of the tail; src's reference is
 * consumed. */
static void
lin_fold(linmap_entry &cur, linmap_entry &src)
{
    if (src.var == NULL)
        return;
    if (cur.var == NULL) {
        cur = src;
        return;
    }
    cur.coef += src.coef;
    Py_DECREF(src.var);
    if (cur.coef == 0.0) {
        Py_CLEAR(cur.var);
    }
}

static void
quad_fold(quad_entry &cur, quad_entry &src)
{
    if (cur.key == NULL) {
        cur = src;
        return;
    }
    if (src.key == NULL)
        return;
    linmap_add_map(cur.inner, src.inner, 1.0);
    linmap_free(&src.inner);
    Py_DECREF(src.key);
    if (linmap_size(cur.inner) == 0) {
        linmap_free(&cur.inner);
        Py_CLEAR(cur.key);
    }
}

static inline bool
lin_live(const linmap_entry &x)
{
    return x.var != NULL;
}
static inline bool
quad_live(const quad_entry &x)
{
    return x.key != NULL;
}

/* Brings the map to its sorted, tombstone-free form.  May throw
 * std::bad_alloc; the map stays consistent in that case. */
template<class Map, class E, class Fold, class Live>
static void
normalize_map(Map *m, Fold fold, Live live)
{
    std::vector<E> &e = m->e;
    size_t n = e.size();
    if (m->nsorted == n && m->ntomb == 0)
        return;
    if (m->nsorted == n) {
        /* Only tombstones to drop. */
        e.erase(std::remove_if(e.begin(), e.end(), [&](const E &x) { return !live(x); }), e.end());
        m->nsorted = e.size();
        m->ntomb = 0;
        return;
    }
    std::vector<E> out;
    out.reserve(n); /* may throw: nothing has changed yet */
    std::stable_sort(e.begin() + m->nsorted, e.end(),
                     [](const E &a, const E &b) { return a.id < b.id; });
    size_t w = m->nsorted;
    for (size_t r = m->nsorted; r < n;) {
        E cur = e[r++];
        while (r < n && e[r].id == cur.id)
            fold(cur, e[r++]);
        if (live(cur))
            e[w++] = cur;
    }
    size_t i = 0, j = m->nsorted;
    while (i < m->nsorted || j < w) {
        if (j >= w || (i < m->nsorted && e[i].id < e[j].id)) {
            if (live(e[i]))
                out.push_back(e[i]);
            i++;
        } else if (i >= m->nsorted || e[j].id < e[i].id) {
            out.push_back(e[j++]);
        } else {
            /* A key in both parts: the sorted value is the older one. */
            E cur = e[i++];
            fold(cur, e[j++]);
            if (live(cur))
                out.push_back(cur);
        }
    }
    e.swap(out);
    m->nsorted = e.size();
    m->ntomb = 0;
}

static inline void
lin_normalize(linmap *m)
{
    normalize_map<linmap, linmap_entry>(m, lin_fold, lin_live);
}

static inline void
quad_normalize(quadmap *m)
{
    normalize_map<quadmap, quad_entry>(m, quad_fold, quad_live);
}

/* Normalise once the tail or the tombstones outweigh the sorted part, so
 * that every add stays logarithmic on average. */
/* Below this size a key that does not extend the sorted part is inserted
 * in place rather than sent to the tail. */
#define SMALL_MAP 32

template<class Map>
static inline bool
needs_normalize(Map *m)
{
    size_t tail = m->e.size() - m->nsorted;
    return (tail > 32 && tail > m->nsorted) || (m->ntomb > 32 && 2 * m->ntomb > m->nsorted);
}

/* ---------------------------------------------------------------- shared
 * What the linear and the quadratic map do alike, written once over the
 * entry type: the key of an entry (NULL: tombstone), its release, its
 * scaled copy. */

static inline PyObject *&
entry_key(linmap_entry &x)
{
    return x.var;
}
static inline PyObject *&
entry_key(quad_entry &x)
{
    return x.key;
}
static inline void
map_normalize(linmap *m)
{
    lin_normalize(m);
}
static inline void
map_normalize(quadmap *m)
{
    quad_normalize(m);
}

static inline void
entry_release(linmap_entry &x)
{
    Py_CLEAR(x.var);
}

static inline void
entry_release(quad_entry &x)
{
    linmap_free(&x.inner);
    Py_CLEAR(x.key);
}

/* factor * x into *y with its own references: 1, 0 when the entry
 * vanishes, -1 on failure. */
static inline int
entry_scaled(const linmap_entry &x, double factor, linmap_entry *y)
{
    double v = x.coef * factor;
    if (v == 0.0)
        return 0;
    Py_INCREF(x.var);
    *y = linmap_entry{x.id, x.var, v};
    return 1;
}

static inline int
entry_scaled(const quad_entry &x, double factor, quad_entry *y)
{
    linmap *inner = linmap_copy_scaled(x.inner, factor);
    if (inner == NULL)
        return -1;
    Py_INCREF(x.key);
    *y = quad_entry{x.id, x.key, inner};
    return 1;
}

/* Erases key: 1 when it was there, 0 when absent, -1 on failure. */
template<class Map>
static int
map_erase(Map *m, PyObject *key)
{
    MAPS_TRY
    map_normalize(m);
    auto *p = find_sorted(m->e, m->nsorted, VAR_ID(key));
    if (p == NULL || entry_key(*p) == NULL)
        return 0;
    entry_release(*p);
    m->ntomb++;
    return 1;
    MAPS_CATCH(-1)
}

/* The sorted entry of key, inserted with a new key reference when absent
 * and revived when a tombstone (*fresh is then true: its value is to be
 * written).  May throw std::bad_alloc, the map unchanged. */
template<class Map, class E>
static E *
map_slot(Map *m, PyObject *key, bool *fresh)
{
    map_normalize(m);
    uint32_t id = VAR_ID(key);
    E *p = find_sorted(m->e, m->nsorted, id);
    if (p != NULL) {
        *fresh = entry_key(*p) == NULL;
        if (*fresh) {
            Py_INCREF(key);
            entry_key(*p) = key;
            m->ntomb--;
        }
        return p;
    }
    E ne{};
    ne.id = id;
    entry_key(ne) = key;
    auto it = m->e.insert(m->e.begin() + lower_pos(m->e, m->nsorted, id), ne);
    Py_INCREF(key);
    m->nsorted++;
    *fresh = true;
    return &*it;
}

/* Iteration: the position of the next live entry (1), or 0 at the end. */
template<class Map>
static int
map_next_pos(Map *m, void **it, size_t *out)
{
    size_t pos;
    if (*it == NULL) {
        try {
            map_normalize(m);
        } catch (...) {
            return 0;
        }
        pos = 0;
    } else {
        pos = (size_t)(uintptr_t)*it - 1;
    }
    size_t n = m->nsorted;
    while (pos < n && entry_key(m->e[pos]) == NULL)
        pos++;
    if (pos >= n) {
        *it = (void *)(uintptr_t)(n + 1);
        return 0;
    }
    *it = (void *)(uintptr_t)(pos + 2);
    *out = pos;
    return 1;
}

static inline void
map_delete(linmap *m)
{
    linmap_free(&m);
}
static inline void
map_delete(quadmap *m)
{
    quadmap_free(&m);
}

static linmap *linmap_pooled(void);
static inline linmap *
map_fresh(linmap *)
{
    return linmap_pooled();
}
static inline quadmap *
map_fresh(quadmap *)
{
    return new quadmap;
}

/* A normalised copy with every entry times factor; NULL on failure. */
template<class Map>
static Map *
map_copy_scaled(Map *m, double factor)
{
    Map *c = NULL;
    try {
        map_normalize(m);
        c = map_fresh(m);
        c->e.reserve(m->e.size());
        for (const auto &x : m->e) {
            typename Map::entry_type y;
            int r = entry_scaled(x, factor, &y);
            if (r < 0)
                throw std::bad_alloc();
            if (r > 0)
                c->e.push_back(y); /* reserved: no throw */
        }
        c->nsorted = c->e.size();
        return c;
    } catch (...) {
        if (c != NULL)
            map_delete(c);
        return NULL;
    }
}

/* Expressions come and go by the million: keep a pool of small emptied
 * maps, with their buffers, instead of two heap round trips per map. */
#define LINMAP_POOL 256
#define LINMAP_POOL_CAP 64
static linmap *linmap_pool[LINMAP_POOL];
static int linmap_pool_n;

/* An empty map from the pool (its buffer kept), or a new one; throws
 * std::bad_alloc.  Copies take their maps here too: a sum built with
 * binary operators frees one map and copies one at every step. */
static linmap *
linmap_pooled(void)
{
    if (linmap_pool_n > 0)
        return linmap_pool[--linmap_pool_n];
    return new linmap;
}

linmap *
linmap_new(void)
{
    if (linmap_pool_n > 0)
        return linmap_pool[--linmap_pool_n];
    linmap *m = new (std::nothrow) linmap;
    if (m != NULL) {
        try {
            m->e.reserve(4);
        } catch (...) {
        }
    }
    return m;
}

int
linmap_get(linmap *m, PyObject *var, double *coef)
{
    MAPS_TRY
    lin_normalize(m);
    linmap_entry *p = find_sorted(m->e, m->nsorted, VAR_ID(var));
    if (p == NULL || p->var == NULL)
        return -1;
    *coef = p->coef;
    return 0;
    MAPS_CATCH(-1)
}

int
linmap_has(linmap *m, PyObject *var)
{
    double c;
    return linmap_get(m, var, &c) == 0;
}

int
linmap_set(linmap *m, PyObject *var, double coef)
{
    if (coef == 0.0)
        return map_erase(m, var) < 0 ? -1 : 0;
    MAPS_TRY
    bool fresh;
    map_slot<linmap, linmap_entry>(m, var, &fresh)->coef = coef;
    return 0;
    MAPS_CATCH(-1)
}

int
linmap_add(linmap *m, PyObject *var, double coef)
{
    if (coef == 0.0)
        return 0;
    MAPS_TRY
    uint32_t id = VAR_ID(var);
    std::vector<linmap_entry> &e = m->e;
    size_t n = e.size();
    if (m->nsorted == n && (n == 0 || id > e[n - 1].id)) {
        lin_push(e, id, var, coef);
        Py_INCREF(var);
        m->nsorted++;
        return 0;
    }
    /* With a tail pending, every add joins it (the merge folds keys that
     * are also in the sorted part, oldest first): no search, no cache
     * misses, and the accumulation order stays the arrival order. */
    linmap_entry *p = m->nsorted == n ? find_sorted(e, m->nsorted, id) : NULL;
    if (p != NULL) {
        if (p->var == NULL) {
            Py_INCREF(var);
            p->var = var;
            p->coef = coef;
            m->ntomb--;
        } else {
            p->coef += coef;
            if (p->coef == 0.0) {
                Py_CLEAR(p->var);
                m->ntomb++;
                if (needs_normalize(m))
                    lin_normalize(m);
            }
        }
        return 0;
    }
    if (m->nsorted == n && n < SMALL_MAP) {
        /* Small maps stay sorted: the move is cheaper than a later merge,
         * and cancelled entries release their variable at once. */
        e.insert(e.begin() + lower_pos(e, n, id), linmap_entry{id, var, coef});
        Py_INCREF(var);
        m->nsorted++;
        return 0;
    }
    lin_push(e, id, var, coef);
    Py_INCREF(var);
    if (needs_normalize(m))
        lin_normalize(m);
    return 0;
    MAPS_CATCH(-1)
}

int
linmap_del(linmap *m, PyObject *var)
{
    return map_erase(m, var) == 1 ? 0 : -1;
}

size_t
linmap_size(linmap *m)
{
    if (m->nsorted == m->e.size())
        return m->nsorted - m->ntomb;
    try {
        lin_normalize(m);
    } catch (...) {
        /* An upper bound: the tail may repeat ids. */
        return m->nsorted - m->ntomb + (m->e.size() - m->nsorted);
    }
    return m->e.size();
}

const linmap_entry *
linmap_data(linmap *m, size_t *n)
{
    try {
        lin_normalize(m);
    } catch (...) {
        *n = 0;
        return NULL;
    }
    *n = m->e.size();
    return m->e.data();
}

linmap *
linmap_copy(linmap *m)
{
    return linmap_copy_scaled(m, 1.0);
}

linmap *
linmap_copy_scaled(linmap *m, double factor)
{
    return map_copy_scaled(m, factor);
}

void
linmap_scale(linmap *m, double factor)
{
    try {
        lin_normalize(m);
    } catch (...) {
        /* Scaling the unfolded entries is still right up to rounding. */
    }
    for (linmap_entry &x : m->e) {
        if (x.var == NULL)
            continue;
        x.coef *= factor;
        if (x.coef == 0.0) {
            Py_CLEAR(x.var);
            if (&x - m->e.data() < (ptrdiff_t)m->nsorted)
                m->ntomb++;
        }
    }
}

int
linmap_add_map(linmap *dst, linmap *src, double factor)
{
    MAPS_TRY
    if (dst == src) {
        /* Adding a map to itself: every entry scales by 1 + factor. */
        lin_normalize(dst);
        linmap_scale(dst, 1.0 + factor);
        return 0;
    }
    lin_normalize(src);
    const std::vector<linmap_entry> &s = src->e;
    size_t ns = s.size();
    if (ns > 8 && ns * 4 > dst->e.size()) {
        /* Large addition: one linear merge instead of ns searches. */
        lin_normalize(dst);
        std::vector<linmap_entry> &d = dst->e;
        std::vector<linmap_entry> out;
        out.reserve(d.size() + ns);
        size_t i = 0, j = 0;
        while (i < d.size() || j < ns) {
            if (j >= ns || (i < d.size() && d[i].id < s[j].id)) {
                out.push_back(d[i++]);
            } else if (i >= d.size() || s[j].id < d[i].id) {
                double v = s[j].coef * factor;
                if (v != 0.0) {
                    Py_INCREF(s[j].var);
                    out.push_back(linmap_entry{s[j].id, s[j].var, v});
                }
                j++;
            } else {
                linmap_entry x = d[i++];
                double v = s[j++].coef * factor;
                if (v != 0.0) {
                    x.coef += v;
                    if (x.coef == 0.0) {
                        Py_DECREF(x.var);
                        continue;
                    }
                }
                out.push_back(x);
            }
        }
        d.swap(out);
        dst->nsorted = d.size();
        dst->ntomb = 0;
        return 0;
    }
    for (size_t j = 0; j < ns; j++) {
        if (linmap_add(dst, s[j].var, s[j].coef * factor) != 0)
            return -1;
    }
    return 0;
    MAPS_CATCH(-1)
}

void
linmap_free(linmap **pm)
{
    linmap *m = *pm;
    if (m == NULL)
        return;
    *pm = NULL;
    /* Detach the entries first: a released variable may be the last
     * owner of something that frees further maps. */
    std::vector<linmap_entry> entries;
    entries.swap(m->e);
    m->nsorted = m->ntomb = 0;
    if (linmap_pool_n < LINMAP_POOL && entries.capacity() <= LINMAP_POOL_CAP) {
        for (linmap_entry &x : entries)
            Py_XDECREF(x.var);
        entries.clear();
        m->e.swap(entries);
        linmap_pool[linmap_pool_n++] = m;
        return;
    }
    for (linmap_entry &x : entries)
        Py_XDECREF(x.var);
    delete m;
}

int
linmap_next(linmap *m, void **it, PyObject **var, double *coef)
{
    size_t pos;
    if (!map_next_pos(m, it, &pos))
        return 0;
    *var = m->e[pos].var;
    *coef = m->e[pos].coef;
    return 1;
}

void
linmap_iter_free(void **it)
{
    *it = NULL;
}

/* ================================================================ quadmap */

quadmap *
quadmap_new(void)
{
    return new (std::nothrow) quadmap;
}

/* The live entry for id, or NULL; normalises when the tail might hold it. */
static quad_entry *
quad_lookup(quadmap *m, uint32_t id)
{
    quad_entry *p = find_sorted(m->e, m->nsorted, id);
    if (p == NULL && m->nsorted != m->e.size()) {
        quad_normalize(m);
        p = find_sorted(m->e, m->nsorted, id);
    }
    return (p != NULL && p->key != NULL) ? p : NULL;
}

int
quadmap_get(quadmap *m, PyObject *x, linmap **inner)
{
    MAPS_TRY
    quad_entry *p = quad_lookup(m, VAR_ID(x));
    if (p == NULL)
        return -1;
    *inner = p->inner;
    return 0;
    MAPS_CATCH(-1)
}

int
quadmap_set(quadmap *m, PyObject *x, linmap *inner)
{
    try {
        bool fresh;
        quad_entry *p = map_slot<quadmap, quad_entry>(m, x, &fresh);
        if (!fresh && p->inner != inner)
            linmap_free(&p->inner);
        p->inner = inner;
        return 0;
    } catch (...) {
        linmap_free(&inner);
        return -1;
    }
}

int
quadmap_add(quadmap *m, PyObject *x, PyObject *y, double c)
{
    if (c == 0.0)
        return 0;
    MAPS_TRY
    uint32_t id = VAR_ID(x);
    std::vector<quad_entry> &e = m->e;
    size_t n = e.size();
    quad_entry *p = NULL;
    bool to_tail = false;
    if (n > 0 && e[n - 1].id == id && e[n - 1].key != NULL) {
        p = &e[n - 1]; /* the commonest case: same row as last time */
    } else if (m->nsorted == n && (n == 0 || id > e[n - 1].id)) {
        to_tail = false;
    } else {
        p = find_sorted(e, m->nsorted, id);
        if (p == NULL && !(m->nsorted == n && n < SMALL_MAP))
            to_tail = true;
    }
    if (p != NULL && p->key != NULL) {
        if (linmap_add(p->inner, y, c) != 0)
            return -1;
        if (linmap_size(p->inner) == 0) {
            linmap_free(&p->inner);
            Py_CLEAR(p->key);
            if (p - e.data() < (ptrdiff_t)m->nsorted)
                m->ntomb++;
            if (needs_normalize(m))
                quad_normalize(m);
        }
        return 0;
    }
    linmap *inner = linmap_new();
    if (inner == NULL)
        return -1;
    if (linmap_add(inner, y, c) != 0) {
        linmap_free(&inner);
        return -1;
    }
    if (p != NULL) {
        /* Revive a tombstone of the sorted part. */
        Py_INCREF(x);
        p->key = x;
        p->inner = inner;
        m->ntomb--;
        return 0;
    }
    try {
        if (to_tail || m->nsorted != n || n == 0 || id > e[n - 1].id)
            e.push_back(quad_entry{id, x, inner});
        else
            e.insert(e.begin() + lower_pos(e, n, id), quad_entry{id, x, inner});
    } catch (...) {
        linmap_free(&inner);
        return -1;
    }
    Py_INCREF(x);
    if (!to_tail) {
        m->nsorted++;
    } else if (needs_normalize(m)) {
        quad_normalize(m);
    }
    return 0;
    MAPS_CATCH(-1)
}

int
quadmap_del(quadmap *m, PyObject *x)
{
    return map_erase(m, x) == 1 ? 0 : -1;
}

size_t
quadmap_size(quadmap *m)
{
    try {
        quad_normalize(m);
    } catch (...) {
    }
    size_t total = 0;
    for (quad_entry &x : m->e)
        if (x.key != NULL)
            total += linmap_size(x.inner);
    return total;
}

size_t
quadmap_outer_size(quadmap *m)
{
    try {
        quad_normalize(m);
    } catch (...) {
    }
    size_t total = 0;
    for (quad_entry &x : m->e)
        total += x.key != NULL;
    return total;
}

quadmap *
quadmap_copy(quadmap *m)
{
    return quadmap_copy_scaled(m, 1.0);
}

quadmap *
quadmap_copy_scaled(quadmap *m, double factor)
{
    return map_copy_scaled(m, factor);
}

void
quadmap_scale(quadmap *m, double factor)
{
    for (quad_entry &x : m->e)
        if (x.key != NULL)
            linmap_scale(x.inner, factor);
}

int
quadmap_add_map(quadmap *dst, quadmap *src, double factor)
{
    MAPS_TRY
    if (dst == src) {
        quadmap_scale(dst, 1.0 + factor);
        return 0;
    }
    quad_normalize(src);
    for (quad_entry &x : src->e) {
        if (x.key == NULL)
            continue;
        size_t ni;
        const linmap_entry *d = linmap_data(x.inner, &ni);
        if (ni == 0)
            continue;
        /* Find or make the row once, then add the whole inner map. */
        uint32_t id = x.id;
        quad_entry *p = NULL;
        std::vector<quad_entry> &e = dst->e;
        if (!e.empty() && e.back().id == id && e.back().key != NULL)
            p = &e.back();
        else
            p = quad_lookup(dst, id);
        if (p == NULL) {
            for (size_t k = 0; k < ni; k++)
                if (quadmap_add(dst, x.key, d[k].var, d[k].coef * factor) != 0)
                    return -1;
            continue;
        }
        if (linmap_add_map(p->inner, x.inner, factor) != 0)
            return -1;
        if (linmap_size(p->inner) == 0) {
            linmap_free(&p->inner);
            Py_CLEAR(p->key);
            if (p - e.data() < (ptrdiff_t)dst->nsorted)
                dst->ntomb++;
        }
    }
    return 0;
    MAPS_CATCH(-1)
}

void
quadmap_free(quadmap **pm)
{
    quadmap *m = *pm;
    if (m == NULL)
        return;
    *pm = NULL;
    for (quad_entry &x : m->e) {
        linmap_free(&x.inner);
        Py_XDECREF(x.key);
    }
    delete m;
}

int
quadmap_next(quadmap *m, void **it, PyObject **x, linmap **inner)
{
    size_t pos;
    if (!map_next_pos(m, it, &pos))
        return 0;
    *x = m->e[pos].key;
    *inner = m->e[pos].inner;
    return 1;
}

void
quadmap_iter_free(void **it)
{
    *it = NULL;
}
