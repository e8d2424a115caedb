/* The door of callbacks/: Python functions called by the library during an
 * optimisation.  The problem keeps one slot per kind (problem_s.callback);
 * registry.cpp adds and removes the entries and registers the trampolines,
 * trampolines.cpp turns each event into a Python call on a temporary view
 * of the problem. */
#pragma once

#include <Python.h>

#include "problem/problem.h"

#define CB_NKINDS_OPT 18 /* kinds 0-17: optimiser callbacks with priority lists */
#define CB_KIND_MESSAGE 10

/* One kind: its name, and for kinds 0-17 the library's registration of its
 * trampoline with an entry as the user data. */
typedef struct {
    const char *name;
    int (*add)(QNDAprob prob, void *entry, int priority);
    int (*remove)(QNDAprob prob, void *entry);
    /* kinds 18-35: points the nonlinear handle's slot at the entry (NULL
     * empties it) */
    int (*set)(QSLPprob prob, void *entry);
} cb_kind;

/* The 36 kinds, in number order (trampolines.cpp). */
extern const cb_kind cb_kinds[QUENDA_NCALLBACKS];

/* Makes the entry [problem, function, data, priority] of a kind, appends it
 * to the problem's slot and registers it with the library.  0, the
 * library's code (the error raised, the entry kept), or -3 with an
 * exception set. */
int callbackInList(problem_s *p, int kind, PyObject *function, PyObject *data, long priority);
/* Removes the entries of a kind whose function and data are the very
 * objects given (NULL or None: any), unregistering them from the library
 * when unregister is set.  0, or non-zero with an exception set. */
int removeCallback(problem_s *p, PyObject *function, PyObject *data, int kind, int unregister);

/* Registers the problem methods of the layer and the copy hook.  0, or -1
 * with an exception set. */
int callbacks_init(void);
