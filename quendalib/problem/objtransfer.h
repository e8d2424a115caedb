/* The transfer row and column of a nonlinear objective.  The library's
 * objective stays linear: a nonlinear objective f(x) becomes the free column
 * "objtransfercol" (objective coefficient 1) and the row "objtransferrow"
 * holding f(x) - objtransfercol = 0.  Both are kept last among the problem's
 * rows and columns, so that the registry's list positions stay the library's
 * indices: adding rows or columns takes them out and puts them back after. */
#pragma once

#include <Python.h>

#include "problem/object.h"

/* Adds the transfer row and column for the nonlinear expression node at the
 * end of the problem.  0, or -1 with an exception set. */
int objtransfer_add(problem_s *p, PyObject *node);
/* Deletes the transfer row and column, if any.  0, or -1. */
int objtransfer_remove(problem_s *p);
/* Takes the transfer out before rows or columns are added (*active says
 * whether there was one); objtransfer_put_back adds it again at the end.
 * The transfer row's coefficients are kept on the problem meanwhile, and
 * between calls, so that adding row after row does not read them back each
 * time.  0, or -1 with an exception set. */
int objtransfer_take_out(problem_s *p, int *active);
int objtransfer_put_back(problem_s *p);
/* After rows or columns were deleted: the transfer is still last, its
 * formula may name other columns now. */
int objtransfer_follow(problem_s *p);
/* Frees what the problem keeps of the transfer (at its end). */
void objtransfer_forget(problem_s *p);
