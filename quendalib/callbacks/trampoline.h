/* The bracket shared by the trampolines of callbacks/ (trampolines.cpp for
 * the optimiser kinds, slp_trampolines.cpp for the nonlinear ones). */
#pragma once

#include "callbacks/callbacks.h"

#define CB_STOP_USER 9 /* the library's stop reason of a user request */

typedef struct {
    PyGILState_STATE gil;
    QNDAprob prob;  /* the event's handle */
    QSLPprob slp;   /* the nonlinear handle of a nonlinear event, else NULL */
    PyObject *view; /* owned temporary problem, or NULL */
    PyObject *func; /* owned */
    PyObject *data; /* owned */
} cb_call;

/* Takes the lock and reads the entry; the view carries prob and slp.  0, or
 * -3 when the event is skipped (the lock is held either way; cb_outro
 * releases it). */
int cb_setup_slp(cb_call *c, QNDAprob prob, QSLPprob slp, void *entry);
void cb_outro(cb_call *c);
/* Stops the optimisation (the nonlinear one for a nonlinear event). */
void cb_interrupt(cb_call *c);
/* A failed Python call: the line on standard error, the exception kept,
 * the optimisation stopped.  name NULL gives the generic line. */
void cb_failed(cb_call *c, const char *name);
/* The integer of a result: an int (or NumPy integer), None as 0, anything
 * else -1. */
int cb_int_result(PyObject *res);
/* Calls the function with what fmt builds; new reference, or NULL after
 * cb_failed. */
PyObject *cb_call_function(cb_call *c, const char *name, const char *fmt, ...);

/* The registrations of the nonlinear kinds (slp_trampolines.cpp). */
#define CB_SLP_SET_DECL(kind) int cb_set_##kind(QSLPprob prob, void *entry);
CB_SLP_SET_DECL(cascadeend)
CB_SLP_SET_DECL(cascadestart)
CB_SLP_SET_DECL(cascadevar)
CB_SLP_SET_DECL(cascadevarfail)
CB_SLP_SET_DECL(coefevalerror)
CB_SLP_SET_DECL(construct)
CB_SLP_SET_DECL(destroy)
CB_SLP_SET_DECL(drcol)
CB_SLP_SET_DECL(formula)
CB_SLP_SET_DECL(iterend)
CB_SLP_SET_DECL(iterstart)
CB_SLP_SET_DECL(itervar)
CB_SLP_SET_DECL(msjobend)
CB_SLP_SET_DECL(msjobstart)
CB_SLP_SET_DECL(mswinner)
CB_SLP_SET_DECL(slpend)
CB_SLP_SET_DECL(slpnode)
CB_SLP_SET_DECL(slpstart)
