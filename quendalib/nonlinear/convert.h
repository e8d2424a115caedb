/* Conversion of modelling expressions into the nonlinear library's parsed
 * formula tokens, and the hooks of the problem layer that use it. */
#pragma once

#include <Python.h>
#include <stdint.h>

#include "problem/object.h"

typedef struct {
    problem_s *p;
    int *type;   /* library allocator */
    double *val; /* library allocator */
    int64_t n;   /* tokens written */
    int64_t cap; /* room in both arrays */
} nl_tokens;

void nl_tokens_init(nl_tokens *t, problem_s *p);
void nl_tokens_free(nl_tokens *t);

/* Appends the tokens of obj (number, variable, term, expression or node).
 * 0, or -3 with quenda.ModelError set (other codes: a library call's). */
int convertExpr(nl_tokens *t, PyObject *obj);

/* Coefficient mode: a top-level product gives its first variable as *col
 * and its numbers as *factor; otherwise the constant column and 1.0.  The
 * formula is closed with the end token. */
int convertCoef(nl_tokens *t, PyObject *obj, int *col, double *factor);

/* The library index of the user function args[0] (args: the node's
 * operands), defining it on first use.  0, -3 with ModelError, or -1 with
 * the library's error raised. */
int register_userfunc(problem_s *p, PyObject *args, int derivatives, int *index);

/* Fills the problem layer's nonlinear hooks and adds the layer's problem
 * methods.  0, or -1 with an exception set. */
int nonlinear_init(void);
int nonlinear_methods_init(void);
int nonlinear_multistart_init(void);
/* 0 when the problem has its nonlinear handle, else -1 with ModelError. */
int nl_check(problem_s *p);
