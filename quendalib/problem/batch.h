/* The parts of the registry shared by the files that add and delete
 * modelling objects: small allocation helpers, the argument walker and the
 * one batch routine that all kinds go through.
 *
 * Each add call walks its arguments (objects, lists, tuples, dict values,
 * other sequences, iterators, NumPy arrays; at most 32 levels deep), checks
 * every object completely before it enters the registry, gathers the new
 * columns, rows or sets of the call in one batch and sends that batch to the
 * library before returning.  A failing object stops the walk: what was
 * gathered before it is still sent, so the lists, the maps and the library
 * agree after every call.  If the library refuses a batch, whatever it took
 * of that batch is deleted again and the batch's objects leave the registry.
 *
 * What differs between variables, constraints and sets is described by a
 * reg_kind: the objects walked, the library calls that send and take back a
 * batch, and where the problem keeps the kind's list and map.  A kind's
 * batch derives from reg_batch and adds its own arrays.
 *
 * Batch arrays come from the library's allocator; capacities start at 16
 * and double.  Arrays whose entries are nearly always the default (bounds,
 * types, ranges, quadratic starts) are allocated only once an object needs
 * another value, and the names of variables and constraints are read again
 * from the objects when the batch is sent rather than copied as they come,
 * so that a large batch holds little beside what the library keeps. */
#pragma once

#include <Python.h>
#include <stddef.h>
#include <stdint.h>

#include "problem/alloc.h"
#include "problem/maps.h"
#include "problem/object.h"

#include "qnda.h"

#define REG_INITCAP 16
#define REG_MAXDEPTH 32
#define REG_VARNAME_MAX 150

/* ------------------------------------------------------------------ */
/* Small helpers                                                         */

/* A growable packed names buffer (each name ends with a zero byte). */
typedef struct {
    char *buf;
    size_t len;
    size_t cap;
} reg_names;

/* Room for more bytes; 0, or -1 without an exception. */
int names_reserve(reg_names *nm, size_t more);
/* Text of a name object: UTF-8 of a str, the bytes of a bytes, cut at an
 * embedded zero byte and to at most maxlen bytes on a character boundary.
 * Borrowed pointer valid while obj lives; NULL with ModelError msg when obj
 * is not a string. */
const char *name_text(PyObject *obj, size_t maxlen, size_t *len, const char *msg);
void names_put(reg_names *nm, const char *s, size_t len);
/* name_text of an object's name slot, where NULL stands for the default
 * name (prefix and identity number), written into buf. */
const char *name_or_default(PyObject *obj, char prefix, uint32_t id, char (&buf)[16], size_t maxlen,
                            size_t *len, const char *msg);

/* Takes the objects of lst from index from on back out of the registry:
 * their map entries (map may be NULL) are erased and the list is cut. */
void reg_rollback(PyObject *lst, void *map, Py_ssize_t from, uint32_t (*idof)(PyObject *));

uint32_t id_of_var(PyObject *o);
uint32_t id_of_con(PyObject *o);
uint32_t id_of_sos(PyObject *o);

/* The first checks of a step: obj is of the step's kind (else ModelError
 * wrong) and not in the problem yet, as added() tells (else ModelError
 * added); added() reads the object only once its kind is known.  0 or -1. */
template<typename Added>
static inline int
reg_check_new(bool is_kind, const char *wrong, const char *added_msg, Added added)
{
    if (!is_kind) {
        PyErr_SetString(quenda_ModelError, wrong);
        return -1;
    }
    if (added()) {
        PyErr_SetString(quenda_ModelError, added_msg);
        return -1;
    }
    return 0;
}

/* ModelError "Problem not initialized" for a problem without its handle or
 * lists, else makes sure of the maps.  0 or -1. */
int reg_check_problem(problem_s *p);

/* ------------------------------------------------------------------ */
/* The argument walker                                                   */

typedef int (*reg_step_fn)(void *ctx, PyObject *obj);

/* The walk's word for a container found inside a NumPy array. */
#define REG_MSG_NESTED_ARRAY                                                                       \
    "Incorrect (nested) array/list/sequence passed. Perhaps this is a NumPy array containing a "   \
    "tuple?"

typedef struct {
    PyTypeObject *type; /* objects of this type go to step */
    reg_step_fn step;   /* also called on anything unusable, to word its error */
    void *ctx;
} reg_walker;

/* Hands every object of the argument tuple, however nested, to the step.
 * 0, or -1 with an exception set (the step's, or the walk's own). */
int reg_walk_args(const reg_walker *w, PyObject *args);
/* The walk of one argument: obj however nested, with the same depth limit
 * and messages.  0, or -1 with an exception set. */
int reg_walk_one(const reg_walker *w, PyObject *obj);

/* ------------------------------------------------------------------ */
/* Batches                                                               */

struct reg_batch;

typedef struct {
    PyTypeObject *type; /* what the walk hands to step */
    reg_step_fn step;   /* checks one object and adds it to the batch */
    int count_attrib;   /* library count the new indices start from */
    size_t list_offset; /* offsetof(problem_s, the kind's list) */
    size_t map_offset;  /* offsetof(problem_s, the kind's map) */
    uint32_t (*idof)(PyObject *);
    /* Sends the gathered objects (b->n > 0) to the library; sets *added once
     * the library holds them.  0, or -1 (exception set or left to the
     * library's last error). */
    int (*send)(struct reg_batch *b, int *added);
    /* Takes n indices back out of the library (QNDAdelcols ...). */
    int (*drop)(QNDAprob prob, int n, const int *idx);
    /* Forgets the kind's own gathered data after a flush. */
    void (*reset)(struct reg_batch *b);
    /* Frees the kind's own arrays. */
    void (*release)(struct reg_batch *b);
    size_t size; /* of the kind's batch record */
    /* Once the library holds a batch: its objects are the list's from
     * index from on (may be NULL). */
    void (*committed)(problem_s *p, Py_ssize_t from);
} reg_kind;

/* The part of every batch that the shared routine handles. */
struct reg_batch {
    const reg_kind *kind;
    problem_s *p;
    int first;        /* library count when the batch started */
    Py_ssize_t list0; /* length of the kind's list then */
    int64_t n;        /* objects gathered */
    reg_names names;
};

/* The end of a kind's step: the object's name kept and the object
 * counted; 0. */
static inline int
reg_batch_took(reg_batch *b, const char *name, size_t len)
{
    names_put(&b->names, name, len);
    b->n++;
    return 0;
}

/* The end of a step for a kind whose names are read again at sending
 * (reg_send_names): the object counted; 0. */
static inline int
reg_batch_counted(reg_batch *b)
{
    b->n++;
    return 0;
}

/* Sends the names of the batch's objects (the kind's list from b->list0
 * on), read again from each object's name slot (name_of; NULL there is the
 * default name, prefix and identity number), to the library in pieces of
 * bounded size: a batch of a million objects needs no buffer of a million
 * names.  0, or -1 with an exception set or the library's error. */
int reg_send_names(reg_batch *b, int type, char prefix, size_t maxlen, const char *msg,
                   PyObject *(*name_of)(PyObject *));

/* Binds a zeroed batch to a problem.  0, or -1 with the library's error. */
int reg_batch_begin(reg_batch *b, problem_s *p, const reg_kind *kind);
/* Sends the batch; on a refusal deletes what the library took and takes the
 * batch's objects back out.  The next batch starts where this one ended.
 * 0, or -1 with an exception set. */
int reg_batch_flush(reg_batch *b);
/* Sends what a failed walk gathered, keeping the walk's exception. */
void reg_batch_flush_after_error(reg_batch *b);
/* Frees the batch's arrays. */
void reg_batch_release(reg_batch *b);
/* One whole add call of a kind: check the problem, walk args into a new
 * batch, send it.  None, or NULL with an exception set; the caller holds
 * the registry guard. */
PyObject *reg_batch_add(PyObject *self, PyObject *args, const reg_kind *kind);

/* The kinds (batch_vars.cpp, batch_rows.cpp, batch_sets.cpp). */
extern const reg_kind reg_kind_vars;
extern const reg_kind reg_kind_rows;
extern const reg_kind reg_kind_sets;

/* addIndicator, whose arguments come in pairs (batch_rows.cpp), and the
 * delete calls (delete.cpp).  New reference, or NULL with an exception
 * set; the caller holds the registry guard. */
PyObject *problem_addIndicator_impl(PyObject *self, PyObject *args);

enum { DEL_ROWS = 0, DEL_COLS = 1, DEL_SETS = 2 };
PyObject *problem_delete_impl(PyObject *self, PyObject *args, PyObject *kwargs, int kind);
