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
#include <type_traits>
#include <vector>

#include "algebra/algebra.h"
#include "algebra/maps_sorted.h"

/* ================================================================ linmap */

/* The entries of one or more linear maps.  A map (struct linmap) is a view
 * of the first n entries of a store; stores are shared by the partial sums
 * of a sum written out with binary operators, so that s + t appends t to
 * the store of s instead of copying s.  Sharing is append-only: a view may
 * append when it ends where the store ends (the shorter views keep their
 * prefix), and any other change goes to a store of the view's own (copied
 * when another view holds the store).  A store's sorted part stays a
 * prefix, so a view of it is sorted as far as it reaches. */
typedef std::vector<linmap_entry, py_allocator<linmap_entry>> lin_vector;

struct linstore {
    PY_ALLOCATED
    using entry_type = linmap_entry;
    lin_vector e;
    /* 32-bit counts keep the header in a 48-byte block (a store per
     * expression); lin_push refuses to grow a store past them. */
    uint32_t nsorted = 0;
    uint32_t ntomb = 0; /* tombstones in the sorted part */
    uint32_t refs = 1;  /* views of the store */
    size_t sum_n = 0;   /* the views' lengths added up: when one view is
                           left, its length */
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
/* The capacity after cap when at least need entries are wanted: buffers
 * start at two entries (most rows have two terms) and grow 2, 4, 16, then
 * double, so that a ten-term row moves twice; a batch of entries gets
 * what it needs when that is more (a row's buffer then fits it). */
static inline size_t
lin_grown(size_t cap, size_t need)
{
    if (need >= UINT32_MAX)
        throw std::bad_alloc(); /* the store's 32-bit counts */
    size_t g = cap < 4 ? 4 : cap < 16 ? 16 : 2 * cap;
    return g > need ? g : need;
}

/* Room for k more entries, all at once: a row's buffer fits it exactly
 * while it is small (a row is rarely added to again), and grows as by
 * single entries beyond that. */
static inline void
lin_room(lin_vector &e, size_t k)
{
    size_t need = e.size() + k;
    if (e.capacity() < need)
        e.reserve(need <= 16 ? need : lin_grown(e.capacity(), need));
}

static inline void
lin_push(lin_vector &e, uint32_t id, PyObject *var, double coef)
{
    if (e.size() == e.capacity())
        e.reserve(lin_grown(e.capacity(), e.size() + 1));
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

/* Below this size a key that does not extend the sorted part is inserted
 * in place rather than sent to the tail, and a tail is sorted in place. */
#define SMALL_MAP 32

/* Brings the map to its sorted, tombstone-free form.  May throw
 * std::bad_alloc; the map stays consistent in that case. */
template<class Map, class E, class Fold, class Live>
static void
normalize_map(Map *m, Fold fold, Live live)
{
    auto &e = m->e;
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
    if (n <= SMALL_MAP) {
        /* A row's map: sort the tail into place and fold neighbours,
         * without a second buffer.  The insertion is stable, so a key's
         * values fold oldest first, as they arrived. */
        for (size_t r = m->nsorted; r < n; r++) {
            E x = e[r];
            size_t p = r;
            for (; p > 0 && e[p - 1].id > x.id; p--)
                e[p] = e[p - 1];
            e[p] = x;
        }
        size_t w = 0;
        for (size_t r = 0; r < n;) {
            E cur = e[r++];
            while (r < n && e[r].id == cur.id)
                fold(cur, e[r++]);
            if (live(cur))
                e[w++] = cur;
        }
        e.erase(e.begin() + w, e.end());
        m->nsorted = w;
        m->ntomb = 0;
        return;
    }
    typename std::remove_reference<decltype(m->e)>::type out;
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
lin_normalize(linstore *m)
{
    normalize_map<linstore, linmap_entry>(m, lin_fold, lin_live);
}

static inline void
quad_normalize(quadmap *m)
{
    normalize_map<quadmap, quad_entry>(m, quad_fold, quad_live);
}

/* Normalise once the tail or the tombstones outweigh the sorted part, so
 * that every add stays logarithmic on average. */

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
map_normalize(linstore *m)
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

/* A normalised copy of a quadratic map with every entry times factor;
 * NULL on failure. */
static quadmap *
quad_copy_scaled(quadmap *m, double factor)
{
    quadmap *c = NULL;
    try {
        quad_normalize(m);
        c = new quadmap;
        c->e.reserve(m->e.size());
        for (const auto &x : m->e) {
            quad_entry y;
            int r = entry_scaled(x, factor, &y);
            if (r < 0)
                throw std::bad_alloc();
            if (r > 0)
                c->e.push_back(y); /* reserved: no throw */
        }
        c->nsorted = c->e.size();
        return c;
    } catch (...) {
        quadmap_free(&c);
        return NULL;
    }
}

/* ---------------------------------------------------------------- stores
 * Expressions come and go by the million: keep pools of emptied stores,
 * with their buffers when small (a store taken from the pool may be kept
 * for good by a row, so a large buffer would be wasted there), and of the
 * views of quadratic maps, instead of heap round trips. */
#define LINSTORE_POOL 256
#define LINSTORE_POOL_CAP 4
#define LINVIEW_POOL 512
static linstore *linstore_pool[LINSTORE_POOL];
static int linstore_pool_n;
static linmap *linview_pool[LINVIEW_POOL];
static int linview_pool_n;

/* An empty store with one reference; throws std::bad_alloc. */
static linstore *
store_new(void)
{
    if (linstore_pool_n > 0) {
        linstore *s = linstore_pool[--linstore_pool_n];
        s->refs = 1;
        s->sum_n = 0;
        return s;
    }
    linstore *s = new linstore;
    try {
        s->e.reserve(2); /* two-term rows are the commonest */
    } catch (...) {
    }
    return s;
}

/* Drops one reference to s; the last one releases its variables. */
static void
store_release(linstore *s)
{
    if (--s->refs > 0)
        return;
    /* Detach the entries first: a released variable may be the last
     * owner of something that frees further maps. */
    lin_vector entries;
    entries.swap(s->e);
    s->nsorted = s->ntomb = 0;
    for (linmap_entry &x : entries)
        Py_XDECREF(x.var);
    if (linstore_pool_n < LINSTORE_POOL) {
        if (entries.capacity() <= LINSTORE_POOL_CAP) {
            entries.clear();
            s->e.swap(entries);
        }
        linstore_pool[linstore_pool_n++] = s;
        return;
    }
    delete s;
}

void
maps_pools_clear(void)
{
    while (linstore_pool_n > 0)
        delete linstore_pool[--linstore_pool_n];
    while (linview_pool_n > 0)
        PyMem_Free(linview_pool[--linview_pool_n]);
}

/* Makes m a view of s's first n entries, taking over one reference to s. */
static inline void
view_set(linmap *m, linstore *s, size_t n)
{
    m->s = s;
    m->n = n;
    s->sum_n += n;
}

/* A view of a heap map (the inner maps of a quadratic map, linmap_new):
 * NULL when out of memory. */
static linmap *
view_alloc(void)
{
    if (linview_pool_n > 0)
        return linview_pool[--linview_pool_n];
    return (linmap *)PyMem_Malloc(sizeof(linmap));
}

static void
view_dealloc(linmap *m)
{
    if (linview_pool_n < LINVIEW_POOL)
        linview_pool[linview_pool_n++] = m;
    else
        PyMem_Free(m);
}

/* A heap map made by fill (a function filling an embedded map, 0 or
 * -1): the map or NULL. */
template<class Fill>
static linmap *
view_made(Fill fill)
{
    linmap *m = view_alloc();
    if (m == NULL)
        return NULL;
    if (fill(m) < 0) {
        view_dealloc(m);
        return NULL;
    }
    return m;
}

/* After a change to a store that m alone holds. */
static inline void
view_sync(linmap *m, linstore *s)
{
    m->n = s->e.size();
    s->sum_n = m->n;
}

/* Cuts the store of its only view back to the view's length, releasing
 * the entries that longer views, now gone, had appended. */
static void
store_truncate(linstore *s, size_t n)
{
    size_t size = s->e.size();
    if (size <= n)
        return;
    for (size_t i = n; i < size; i++) {
        if (s->e[i].var == NULL && i < s->nsorted)
            s->ntomb--;
    }
    std::vector<PyObject *> drop;
    for (size_t i = n; i < size; i++)
        if (s->e[i].var != NULL) {
            try {
                drop.push_back(s->e[i].var);
            } catch (...) {
                Py_DECREF(s->e[i].var);
            }
        }
    s->e.resize(n);
    if (s->nsorted > n)
        s->nsorted = n;
    for (PyObject *v : drop)
        Py_DECREF(v);
}

/* A view of length n lets go of s. */
static void
store_drop_view(linstore *s, size_t n)
{
    s->sum_n -= n;
    if (s->refs == 2) {
        /* One view left: drop what only the views now gone could see. */
        s->refs = 1;
        if (s->e.size() > s->sum_n)
            store_truncate(s, s->sum_n);
        return;
    }
    store_release(s);
}

/* The store of m, held by m alone and ending where the view ends: what
 * every change other than an append needs.  Copies the view's entries
 * when the store is shared.  Throws std::bad_alloc, m unchanged. */
static linstore *
lin_own(linmap *m)
{
    linstore *s = m->s;
    if (s->refs == 1) {
        store_truncate(s, m->n);
        return s;
    }
    linstore *c = store_new();
    try {
        c->e.reserve(m->n);
    } catch (...) {
        store_release(c);
        throw;
    }
    size_t lim = m->n < s->nsorted ? m->n : s->nsorted;
    for (size_t i = 0; i < m->n; i++) {
        const linmap_entry &x = s->e[i];
        if (x.var == NULL)
            continue;
        Py_INCREF(x.var);
        c->e.push_back(x); /* reserved: no throw */
        if (i < lim)
            c->nsorted++;
    }
    store_drop_view(s, m->n);
    m->s = c;
    view_sync(m, c);
    return c;
}

/* True when the view is sorted and free of tombstones as it stands. */
static inline bool
view_normal(const linmap *m)
{
    return m->n <= m->s->nsorted && m->s->ntomb == 0;
}

/* The store of m with the view normalised, for a read that finishes
 * before any map changes (the store may still be shared).  Throws. */
static linstore *
lin_read(linmap *m)
{
    if (view_normal(m))
        return m->s;
    linstore *s = lin_own(m);
    lin_normalize(s);
    view_sync(m, s);
    return s;
}

/* The store of m, its own and normalised: for reads that hand out
 * pointers into it and for changes in place.  Throws. */
static linstore *
lin_private(linmap *m)
{
    linstore *s = lin_own(m);
    lin_normalize(s);
    view_sync(m, s);
    return s;
}

/* ---------------------------------------------------------------- linmap */

int
linmap_init(linmap *m)
{
    m->s = NULL;
    try {
        view_set(m, store_new(), 0);
    } catch (...) {
        return -1;
    }
    return 0;
}

int
linmap_init_pair(linmap *m, PyObject *v1, double coef1, PyObject *v2, double coef2)
{
    m->s = NULL;
    linstore *s = NULL;
    try {
        s = store_new();
        lin_room(s->e, 2);
    } catch (...) {
        if (s != NULL)
            store_release(s);
        return -1;
    }
    uint32_t i1 = VAR_ID(v1), i2 = VAR_ID(v2);
    if (i1 == i2) {
        coef1 += coef2;
        v2 = NULL;
    } else if (i2 < i1) {
        std::swap(v1, v2);
        std::swap(coef1, coef2);
        std::swap(i1, i2);
    }
    /* Reserved above: no throw. */
    if (coef1 != 0.0) {
        lin_push(s->e, i1, v1, coef1);
        Py_INCREF(v1);
    }
    if (v2 != NULL) {
        lin_push(s->e, i2, v2, coef2);
        Py_INCREF(v2);
    }
    s->nsorted = (uint32_t)s->e.size();
    view_set(m, s, s->e.size());
    return 0;
}

linmap *
linmap_new(void)
{
    return view_made(linmap_init);
}

/* dst becomes a second view of m's entries (m's store shared, nothing
 * copied). */
static void
linmap_share(linmap *dst, linmap *m)
{
    linstore *s = m->s;
    if (s->refs == 1 && s->e.size() == m->n && needs_normalize(s)) {
        /* A long sum written with binary operators: fold its tail while
         * it has a single owner, so that it keeps its merged size. */
        try {
            lin_normalize(s);
            view_sync(m, s);
        } catch (...) {
        }
    }
    s->refs++;
    view_set(dst, s, m->n);
}

int
linmap_get(linmap *m, PyObject *var, double *coef)
{
    MAPS_TRY
    linstore *s = lin_read(m);
    linmap_entry *p = find_sorted(s->e, m->n, VAR_ID(var));
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
    MAPS_TRY
    linstore *s = lin_own(m);
    if (coef == 0.0) {
        int r = map_erase(s, var);
        view_sync(m, s);
        return r < 0 ? -1 : 0;
    }
    bool fresh;
    map_slot<linstore, linmap_entry>(s, var, &fresh)->coef = coef;
    view_sync(m, s);
    return 0;
    MAPS_CATCH(-1)
}

/* Accumulation into a store held by this view alone. */
static void
store_add(linstore *m, uint32_t id, PyObject *var, double coef)
{
    lin_vector &e = m->e;
    size_t n = e.size();
    if (m->nsorted == n && (n == 0 || id > e[n - 1].id)) {
        lin_push(e, id, var, coef);
        Py_INCREF(var);
        m->nsorted++;
        return;
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
        return;
    }
    if (m->nsorted == n && n < SMALL_MAP) {
        /* Small maps stay sorted: the move is cheaper than a later merge,
         * and cancelled entries release their variable at once. */
        e.insert(e.begin() + lower_pos(e, n, id), linmap_entry{id, var, coef});
        Py_INCREF(var);
        m->nsorted++;
        return;
    }
    lin_push(e, id, var, coef);
    Py_INCREF(var);
    if (needs_normalize(m))
        lin_normalize(m);
}

int
linmap_add(linmap *m, PyObject *var, double coef)
{
    if (coef == 0.0)
        return 0;
    MAPS_TRY
    linstore *s = m->s;
    uint32_t id = VAR_ID(var);
    if (s->refs > 1 && s->e.size() == m->n) {
        /* Shared, and this view ends where the store does: append, which
         * the shorter views do not see.  Repeated keys are folded when
         * the map is read. */
        size_t n = m->n;
        bool extends = s->nsorted == n && (n == 0 || id > s->e[n - 1].id);
        lin_push(s->e, id, var, coef);
        Py_INCREF(var);
        if (extends)
            s->nsorted++;
        m->n = n + 1;
        s->sum_n++;
        return 0;
    }
    s = lin_own(m);
    store_add(s, id, var, coef);
    view_sync(m, s);
    return 0;
    MAPS_CATCH(-1)
}

int
linmap_del(linmap *m, PyObject *var)
{
    MAPS_TRY
    linstore *s = lin_own(m);
    int r = map_erase(s, var);
    view_sync(m, s);
    return r == 1 ? 0 : -1;
    MAPS_CATCH(-1)
}

size_t
linmap_size(linmap *m)
{
    if (view_normal(m))
        return m->n;
    try {
        lin_read(m);
    } catch (...) {
        /* An upper bound: the tail may repeat ids. */
        return m->n;
    }
    return m->n;
}

const linmap_entry *
linmap_raw(linmap *m, size_t *n)
{
    *n = m->n;
    return m->s->e.data();
}

const linmap_entry *
linmap_data(linmap *m, size_t *n)
{
    linstore *s;
    try {
        s = m->s->refs == 1 && view_normal(m) ? m->s : lin_private(m);
    } catch (...) {
        *n = 0;
        return NULL;
    }
    *n = m->n;
    return s->e.data();
}

linmap *
linmap_copy(linmap *m)
{
    return linmap_copy_scaled(m, 1.0);
}

int
linmap_copy_scaled_into(linmap *dst, linmap *m, double factor)
{
    dst->s = NULL;
    if (factor == 1.0) {
        linmap_share(dst, m);
        return 0;
    }
    linstore *c = NULL;
    try {
        linstore *s = lin_read(m);
        c = store_new();
        if (c->e.capacity() < m->n)
            c->e.reserve(m->n);
        for (size_t i = 0; i < m->n; i++) {
            linmap_entry y;
            if (entry_scaled(s->e[i], factor, &y) > 0)
                c->e.push_back(y); /* reserved: no throw */
        }
        c->nsorted = (uint32_t)c->e.size();
        view_set(dst, c, c->e.size());
        return 0;
    } catch (...) {
        if (c != NULL)
            store_release(c);
        return -1;
    }
}

linmap *
linmap_copy_scaled(linmap *m, double factor)
{
    return view_made([m, factor](linmap *dst) { return linmap_copy_scaled_into(dst, m, factor); });
}

void
linmap_scale(linmap *m, double factor)
{
    linstore *s;
    try {
        s = lin_private(m);
    } catch (...) {
        try {
            s = lin_own(m);
        } catch (...) {
            return;
        }
        /* Scaling the unfolded entries is still right up to rounding. */
    }
    for (linmap_entry &x : s->e) {
        if (x.var == NULL)
            continue;
        x.coef *= factor;
        if (x.coef == 0.0) {
            Py_CLEAR(x.var);
            if (&x - s->e.data() < (ptrdiff_t)s->nsorted)
                s->ntomb++;
        }
    }
}

int
linmap_add_map(linmap *dst, linmap *src, double factor)
{
    MAPS_TRY
    if (dst == src) {
        /* Adding a map to itself: every entry scales by 1 + factor. */
        linmap_scale(dst, 1.0 + factor);
        return 0;
    }
    if (dst->s->refs > 1 && dst->s->e.size() == dst->n && src->s != dst->s) {
        /* s + e with s a partial sum that others still see: append e's
         * entries, as s + t appends t (another store: src never moves). */
        linstore *ss = lin_read(src);
        lin_room(dst->s->e, src->n);
        for (size_t j = 0; j < src->n; j++) {
            const linmap_entry &x = ss->e[j];
            if (x.var != NULL && linmap_add(dst, x.var, x.coef * factor) != 0)
                return -1;
        }
        return 0;
    }
    /* dst first gets a store of its own, so that adding to it never
     * moves the entries of src read below. */
    linstore *ds = lin_own(dst);
    linstore *ss = lin_read(src);
    const linmap_entry *s = ss->e.data();
    size_t ns = src->n;
    if (ns > 8 && ns * 4 > ds->e.size()) {
        /* Large addition: one linear merge instead of ns searches. */
        lin_normalize(ds);
        lin_vector &d = ds->e;
        lin_vector out;
        out.reserve(lin_grown(0, d.size() + ns));
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
        ds->nsorted = d.size();
        ds->ntomb = 0;
        view_sync(dst, ds);
        return 0;
    }
    lin_room(ds->e, ns);
    for (size_t j = 0; j < ns; j++) {
        double v = s[j].coef * factor;
        if (v != 0.0)
            store_add(ds, s[j].id, s[j].var, v);
    }
    view_sync(dst, ds);
    return 0;
    MAPS_CATCH(-1)
}

void
linmap_release(linmap *m)
{
    linstore *s = m->s;
    if (s == NULL)
        return;
    m->s = NULL;
    store_drop_view(s, m->n);
}

void
linmap_free(linmap **pm)
{
    linmap *m = *pm;
    if (m == NULL)
        return;
    *pm = NULL;
    linstore *s = m->s;
    size_t n = m->n;
    view_dealloc(m);
    if (s != NULL)
        store_drop_view(s, n);
}

int
linmap_next(linmap *m, void **it, PyObject **var, double *coef)
{
    size_t pos;
    linstore *s;
    if (*it == NULL) {
        try {
            s = lin_private(m);
        } catch (...) {
            return 0;
        }
        pos = 0;
    } else {
        s = m->s;
        pos = (size_t)(uintptr_t)*it - 1;
    }
    size_t n = m->n;
    while (pos < n && s->e[pos].var == NULL)
        pos++;
    if (pos >= n) {
        *it = (void *)(uintptr_t)(n + 1);
        return 0;
    }
    *it = (void *)(uintptr_t)(pos + 2);
    *var = s->e[pos].var;
    *coef = s->e[pos].coef;
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
    return quad_copy_scaled(m, factor);
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
