/* What the low-level problem methods share: the arrays of one call (freed
 * when the call's holder goes out of scope, so every exit path frees them),
 * the checks of required arguments and ranges, and the error exit.  Each
 * wrapper is: parse, convert inputs, call the library, convert outputs. */
#pragma once

#include <Python.h>

#include "module/session.h"
#include "problem/problem.h"

#include "qnda.h"

/* The problem of self, or NULL with ModelError when it has no library
 * handle. */
static inline problem_s *
api_prob(PyObject *self)
{
    problem_s *p = (problem_s *)self;
    if (p->prob == NULL) {
        PyErr_SetString(quenda_ModelError, "Problem not initialized");
        return NULL;
    }
    return p;
}

/* NULL with the library's last error of self raised. */
static inline PyObject *
api_fail(PyObject *self)
{
    setQndaErrIfNull(self, NULL);
    return NULL;
}

/* 1 when obj was not given (NULL or None). */
static inline int
api_absent(PyObject *obj)
{
    return obj == NULL || obj == Py_None;
}

/* -1 with InterfaceError msg. */
static inline int
api_missing(const char *msg)
{
    PyErr_SetString(quenda_InterfaceError, msg);
    return -1;
}

/* The temporary arrays of one wrapper call. */
struct api_arrays {
    enum { MAX = 32 };
    PyObject *prob;
    struct ent {
        void *arr;
        QNDAint64 n;
        int kind;
    } e[MAX];
    int n = 0;

    explicit api_arrays(PyObject *p)
      : prob(p)
    {}
    ~api_arrays()
    {
        for (int i = 0; i < n; i++)
            conv_free(&e[i].arr, e[i].n, e[i].kind);
    }
    api_arrays(const api_arrays &) = delete;
    api_arrays &operator=(const api_arrays &) = delete;

    /* Converts obj (absent: *out NULL) with conv_obj2arr; count as there
     * (may be NULL).  0, or -1 with an exception set. */
    template<typename T>
    int in(PyObject *obj, QNDAint64 *count, T **out, int kind)
    {
        QNDAint64 own = -1;
        void *arr = NULL;
        QNDAint64 *c = count != NULL ? count : &own;
        *out = NULL;
        if (n == MAX) {
            PyErr_SetString(PyExc_RuntimeError, "Too many arrays in one call");
            return -1;
        }
        if (conv_obj2arr(prob, c, obj, &arr, kind) != 0)
            return -1;
        e[n++] = ent{arr, *c, kind};
        *out = (T *)arr;
        return 0;
    }

    /* A new array of count elements of T (at least one, so that a library
     * call never sees NULL for a wanted output).  NULL with MemoryError. */
    template<typename T>
    T *make(QNDAint64 count)
    {
        void *arr = NULL;
        if (n == MAX) {
            PyErr_SetString(PyExc_RuntimeError, "Too many arrays in one call");
            return NULL;
        }
        if (qo_MemoryAllocator_Alloc_Untyped(qo_MemoryAllocator_DefaultHeap,
                                             (size_t)(count > 0 ? count : 1) * sizeof(T),
                                             &arr) != 0 ||
            arr == NULL) {
            PyErr_NoMemory();
            return NULL;
        }
        e[n++] = ent{arr, 0, CONV_DOUBLE};
        return (T *)arr;
    }

    /* make() only when target is a wanted output (not absent); *out NULL
     * otherwise.  0, or -1 with an exception set. */
    template<typename T>
    int want(PyObject *target, QNDAint64 count, T **out)
    {
        *out = NULL;
        if (api_absent(target))
            return 0;
        *out = make<T>(count);
        return *out == NULL ? -1 : 0;
    }
};

/* Resolves first and last (row or column designators of kind) into *f and
 * *l; a count below 1 fails with emptymsg (InterfaceError).  0, or -1 with
 * an exception set. */
static inline int
api_range(PyObject *self, PyObject *first, PyObject *last, int kind, int *f, int *l,
          const char *emptymsg)
{
    if (ObjInt2int(first, self, f, kind) != 0 || ObjInt2int(last, self, l, kind) != 0)
        return -1;
    if ((long long)*l - *f + 1 < 1)
        return api_missing(emptymsg);
    return 0;
}

#define API_EMPTY_ROWS "Empty range of rows requested"
#define API_EMPTY_COLS "Empty range of columns requested"

/* An integer attribute of the problem into *v.  0, or -1 with the
 * library's error raised. */
static inline int
api_intattr(PyObject *self, int id, int *v)
{
    return problem_intattr((problem_s *)self, id, v);
}

/* Rows and columns of the problem as loaded (not presolved).  0, or -1
 * with the library's error raised. */
static inline int
api_sizes(PyObject *self, QNDAint64 *rows, QNDAint64 *cols)
{
    int r = 0, c = 0;
    if (api_intattr(self, QNDA_ORIGINALROWS, &r) != 0 ||
        api_intattr(self, QNDA_ORIGINALCOLS, &c) != 0)
        return -1;
    *rows = r;
    *cols = c;
    return 0;
}

/* Rows and columns of the problem as loaded, or (presolved != 0) of the
 * presolved problem, which is the problem itself outside the presolved
 * state.  0, or -1 with the library's error raised. */
static inline int
api_dims(PyObject *self, int presolved, QNDAint64 *rows, QNDAint64 *cols)
{
    int r = 0, c = 0;
    if (!presolved)
        return api_sizes(self, rows, cols);
    if (api_intattr(self, QNDA_ROWS, &r) != 0 || api_intattr(self, QNDA_COLS, &c) != 0)
        return -1;
    *rows = r;
    *cols = c;
    return 0;
}

/* The library reads start[j] .. start[j+1] (or start[j] + len[j]) of its
 * index and value arrays without knowing their lengths: every span of the
 * n items must lie inside the nnz entries given.  0, or -1 with ModelError. */
static inline int
api_check_spans(const QNDAint64 *start, const int *len, QNDAint64 n, QNDAint64 nnz,
                const char *name)
{
    for (QNDAint64 j = 0; j < n; j++) {
        QNDAint64 b = start[j], e = len != NULL ? b + len[j] : start[j + 1];
        if (b < 0 || e < b || e > nnz) {
            PyErr_Format(quenda_ModelError,
                         "%s of item %lld spans entries %lld to %lld, outside the %lld given", name,
                         (long long)j, (long long)b, (long long)e, (long long)nnz);
            return -1;
        }
    }
    return 0;
}

/* Cast of a wrapper with keywords for a method table. */
#define API_KW(f) (PyCFunction)(void (*)(void))(f), METH_VARARGS | METH_KEYWORDS

/* The method tables of the files of this folder, NULL-terminated. */
extern PyMethodDef api_load_methods[];
extern PyMethodDef api_change_methods[];
extern PyMethodDef api_query_methods[];
extern PyMethodDef api_solution_methods[];
extern PyMethodDef api_analysis_methods[];
