/* The record of a quenda.problem, shared by the files that implement the
 * problem's parts.  Other folders include problem/problem.h instead. */
#pragma once

#include <Python.h>

#include "module/session.h"

#include "qnda.h"
#include "qslp.h"

#define QUENDA_NCALLBACKS 36

typedef struct {
    PyObject_HEAD
    QNDAprob prob;                         /* owned main library handle; NULL until created */
    QSLPprob slpprob;                      /* owned nonlinear handle on prob; NULL when the
                             nonlinear library is not in use */
    PyObject *vars;                        /* owned list: the var of column i at index i */
    PyObject *cons;                        /* owned list: constraints in row order */
    PyObject *sos;                         /* owned list: SOS in set order */
    PyObject *ctrl;                        /* owned quenda.control bound to this problem */
    PyObject *attr;                        /* owned quenda.attribute bound to this problem */
    void *varmap;                          /* owned rowcolmap: var identity -> column */
    void *conmap;                          /* owned rowcolmap: constraint identity -> row */
    void *sosmap;                          /* owned rowcolmap: SOS identity -> set index */
    PyObject *callback[QUENDA_NCALLBACKS]; /* owned list of entries per kind, or NULL */
    int nlp_index;                         /* nonlinear integer attribute 12013, read lazily; -1 */
    int n_nlcons;                          /* constraints with a nonlinear part */
    int nl_obj;                            /* non-zero when the objective is nonlinear */
    PyObject *userfuncs;                   /* owned dict of user functions, or NULL */
    PyObject *msjobs;                      /* owned list of multistart job objects, or NULL */
    int obj_col;                           /* auxiliary column of a nonlinear objective, -1 */
    int obj_row;                           /* auxiliary row defining it, -1 */
    void *obj_saved;                       /* owned: its row's coefficients while kept
                                              (problem/objtransfer.cpp), or NULL */
    PyObject *weakreflist;                 /* controls and attributes refer to us weakly */
    PyObject *cbview;                      /* owned view re-bound for each callback event
                                              (callbacks/trampolines.cpp), or NULL */
    int busy;                              /* depth of the problem's methods running (busy.cpp) */
    unsigned long busy_thread;             /* the thread running the outermost one */
    const char *busy_method;               /* its name */
    int is_view;                           /* a callback's view of another problem */
} problem_s;

/* An integer attribute of the main problem; 0, or -1 with the library's
 * error raised. */
static inline int
problem_intattr(problem_s *p, int id, int *value)
{
    if (QNDAgetintattrib(p->prob, id, value) != 0) {
        setQndaErrIfNull((PyObject *)p, NULL);
        return -1;
    }
    return 0;
}

/* Two of them, for the sums and tests that need both. */
static inline int
problem_intattr2(problem_s *p, int id1, int *value1, int id2, int *value2)
{
    return problem_intattr(p, id1, value1) != 0 || problem_intattr(p, id2, value2) != 0 ? -1 : 0;
}
