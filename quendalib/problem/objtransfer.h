/* The transfer row and column of a nonlinear objective.  The library's
 * objective stays linear: a nonlinear objective f(x) becomes the free column
 * "objtransfercol" (objective coefficient 1) and the row "objtransferrow"
 * holding f(x) - objtransfercol = 0.  Both are kept last among the problem's
 * rows and columns, so that the registry's list positions stay the library's
 * indices: adding rows or columns takes them out and puts them back after. */
#pragma once

#include <Python.h>

#include <vector>

#include "problem/object.h"

/* The nonlinear coefficients of a transfer row taken out. */
typedef struct {
    int active; /* a transfer was taken out and is to be put back */
    std::vector<int> col, start, type;
    std::vector<double> factor, value;
} objtransfer_saved;

/* Adds the transfer row and column for the nonlinear expression node at the
 * end of the problem.  0, or -1 with an exception set. */
int objtransfer_add(problem_s *p, PyObject *node);
/* Deletes the transfer row and column, if any.  0, or -1. */
int objtransfer_remove(problem_s *p);
/* Takes the transfer out before rows or columns are added (s->active says
 * whether there was one); objtransfer_put_back adds it again at the end.
 * 0, or -1 with an exception set. */
int objtransfer_take_out(problem_s *p, objtransfer_saved *s);
int objtransfer_put_back(problem_s *p, objtransfer_saved *s);
/* After rows or columns were deleted: the transfer is still last. */
int objtransfer_follow(problem_s *p);
