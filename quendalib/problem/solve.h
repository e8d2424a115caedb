/* Objective, optimisation and status of a problem (problem/solve.cpp), and
 * the tests that every result reader shares: is the problem nonlinear, is
 * it mixed-integer. */
#pragma once

#include <Python.h>

#include "problem/object.h"

/* setObjective, solve, getProbStatus, getProbStatusString, getObjVal. */
extern PyMethodDef problem_solve_methods[];

/* Non-zero when the problem carries a nonlinear part (a nonlinear row or a
 * nonlinear objective).  No exception. */
int problem_is_nonlinear(problem_s *p);

/* Non-zero when the nonlinear library is in use in this session.  No
 * exception. */
int problem_slp_in_use(void);

/* Writes 1 to *mip when the problem holds discrete entities or sets, else
 * 0.  0, or -1 with the library's error raised. */
int problem_is_mip(problem_s *p, int *mip);
