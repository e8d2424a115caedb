/* What the problem layer asks of the nonlinear layer above it.  The
 * nonlinear layer's init fills the table; while it is empty, nonlinear
 * parts are refused with a ModelError. */
#pragma once

#include <Python.h>

#include "problem/object.h"

typedef struct {
    /* Adds the nonlinear expression node as coefficients of row.  0, or -1
     * with an exception set. */
    int (*add_row_part)(problem_s *p, int row, PyObject *node);
} problem_nl_hooks_t;

extern problem_nl_hooks_t problem_nl_hooks;

/* The hook, or ModelError when the nonlinear layer is not there. */
int problem_nl_add(problem_s *p, int row, PyObject *node);
