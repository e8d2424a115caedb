/* Coefficient maps of the algebra and the problem's object registry.
 *
 *   linmap     var -> double          (owns one reference per key variable)
 *   quadmap    var -> owned linmap    (q*x*y stored as x -> {y: q})
 *   rowcolmap  uint32 -> uint32       (identity number -> solver index)
 *   indexset   set of uint32
 *
 * Variables are ordered by identity number (unsigned); iteration visits
 * keys in ascending order.  Only an exact 0.0 counts as zero.
 *
 * A linmap is a view of the first n entries of a store that several maps
 * may share: copying a map by 1 (linmap_copy, linmap_copy_scaled with
 * 1.0) makes a second view and copies nothing, and a view that ends where
 * its store ends adds by appending, which the shorter views do not see.
 * So the partial sums of a0*x0 + a1*x1 + ... share one buffer instead of
 * each copying the one before.  Every other change first gives the view a
 * store of its own (copied while shared); repeated keys are folded when
 * the map is read.  linmap_data and linmap_next read a store of the
 * map's own, so their pointers never move under another map's append.
 *
 * linmap and quadmap are flat sorted arrays with an unsorted tail: a key
 * beyond the last one is appended, a key already present is updated in
 * place after a binary search, a new key of a small map is inserted in
 * place, any other key goes to the tail (and, once a tail exists, every
 * add joins it).  The tail is sorted and merged in once it grows as large
 * as the sorted part or when the map is read (get, size, iteration, copy,
 * linmap_data).  Building a sum of n terms thus costs n log n in the worst
 * case and n when the variables come in creation order, with no
 * allocation per term.  A variable whose coefficient cancels is released
 * at once in the sorted part, at the next merge in the tail.
 *
 * All functions return 0 for success and -1 for absent or failure unless
 * said otherwise; none of them sets a Python exception, the callers word
 * the error.  Iterators: keep a void* handle initialised to NULL, call
 * _next until it returns 0, then _iter_free (also after an early exit).
 * During iteration entries may be set to other nonzero values, nothing
 * may be inserted or erased. */
#pragma once

#include <Python.h>
#include <stddef.h>
#include <stdint.h>

typedef struct linmap linmap;
typedef struct quadmap quadmap;
typedef struct rowcolmap rowcolmap;
typedef struct indexset indexset;

/* One entry of a normalised linmap, as returned by linmap_data. */
typedef struct {
    uint32_t id;   /* identity number of var */
    PyObject *var; /* borrowed from the map (the map owns it) */
    double coef;   /* never 0.0 */
} linmap_entry;

/* ------------------------------------------------------------ linmap */
linmap *linmap_new(void);
int linmap_get(linmap *m, PyObject *var, double *coef);
int linmap_has(linmap *m, PyObject *var);              /* 1 or 0 */
int linmap_set(linmap *m, PyObject *var, double coef); /* 0.0 erases */
int linmap_add(linmap *m, PyObject *var, double coef); /* accumulates */
int linmap_del(linmap *m, PyObject *var);
size_t linmap_size(linmap *m);
linmap *linmap_copy(linmap *m); /* NULL on failure */
void linmap_free(linmap **m);   /* also sets *m to NULL */
int linmap_next(linmap *m, void **it, PyObject **var, double *coef);
void linmap_iter_free(void **it);

/* A map held in place by another object (an expression): init makes it
 * an empty map, copy_scaled_into a copy (as linmap_copy_scaled), release
 * lets go of its entries and leaves s NULL.  The int ones return 0 or -1
 * (the map then has s NULL). */
int linmap_init(linmap *m);
int linmap_copy_scaled_into(linmap *dst, linmap *m, double factor);
void linmap_release(linmap *m);
/* A new map holding coef1*v1 + coef2*v2 (coefficients not 0.0; the same
 * variable twice gives one entry, none when the sum cancels). */
int linmap_init_pair(linmap *m, PyObject *v1, double coef1, PyObject *v2, double coef2);

/* Extensions used by the algebra's hot paths. */
/* Copy with every coefficient times factor (factor must not be 0.0). */
linmap *linmap_copy_scaled(linmap *m, double factor);
/* Every coefficient times factor, in place (factor not 0.0). */
void linmap_scale(linmap *m, double factor);
/* dst += factor * src, entry by entry with the accumulation rules. */
int linmap_add_map(linmap *dst, linmap *src, double factor);
/* The sorted entries (the map is normalised first); *n receives their
 * number.  Valid until the map is next modified structurally. */
const linmap_entry *linmap_data(linmap *m, size_t *n);
/* The view's entries as they stand, unfolded, for a reader that sums
 * repeated variables itself: ids may repeat and come in any order, and an
 * entry whose var is NULL was cancelled (skip it).  *n receives their
 * count.  Valid until a map sharing the store changes. */
const linmap_entry *linmap_raw(linmap *m, size_t *n);

/* Frees the pools of emptied stores and views (module teardown). */
void maps_pools_clear(void);

/* ------------------------------------------------------------ quadmap */
quadmap *quadmap_new(void);
/* Writes the inner map (borrowed, still owned by the quadmap). */
int quadmap_get(quadmap *m, PyObject *x, linmap **inner);
/* Stores inner under x, replacing (and freeing) any previous one; the
 * quadmap takes ownership of inner, also on failure. */
int quadmap_set(quadmap *m, PyObject *x, linmap *inner);
/* Accumulates c on the pair (x, y); an inner map that empties is erased
 * with its outer key.  The pair is not reordered. */
int quadmap_add(quadmap *m, PyObject *x, PyObject *y, double c);
int quadmap_del(quadmap *m, PyObject *x);
size_t quadmap_size(quadmap *m);       /* number of pairs */
size_t quadmap_outer_size(quadmap *m); /* number of outer keys */
quadmap *quadmap_copy(quadmap *m);     /* deep */
quadmap *quadmap_copy_scaled(quadmap *m, double factor);
void quadmap_scale(quadmap *m, double factor);
int quadmap_add_map(quadmap *dst, quadmap *src, double factor);
void quadmap_free(quadmap **m);
int quadmap_next(quadmap *m, void **it, PyObject **x, linmap **inner);
void quadmap_iter_free(void **it);

/* ------------------------------------------------------------ rowcolmap */
rowcolmap *rowcolmap_new(void);
int rowcolmap_get(rowcolmap *m, uint32_t key, uint32_t *val);
int rowcolmap_has(rowcolmap *m, uint32_t key); /* 1 or 0 */
int rowcolmap_set(rowcolmap *m, uint32_t key, uint32_t val);
int rowcolmap_del(rowcolmap *m, uint32_t key);
size_t rowcolmap_size(rowcolmap *m);
rowcolmap *rowcolmap_copy(rowcolmap *m);
void rowcolmap_clear(rowcolmap *m);
void rowcolmap_free(rowcolmap **m);
int rowcolmap_next(rowcolmap *m, void **it, uint32_t *key, uint32_t *val);
void rowcolmap_iter_free(void **it);

/* ------------------------------------------------------------ indexset */
indexset *indexset_new(void);
int indexset_has(indexset *s, uint32_t key); /* 1 or 0 */
int indexset_add(indexset *s, uint32_t key);
int indexset_del(indexset *s, uint32_t key);
size_t indexset_size(indexset *s);
indexset *indexset_copy(indexset *s);
void indexset_free(indexset **s);
int indexset_next(indexset *s, void **it, uint32_t *key);
void indexset_iter_free(void **it);
