/* Conversion of modelling expressions into solver data.
 *
 * splitExpr takes any number, var, linterm, quadterm or expression and
 * appends its parts, scaled by a factor, to a growing lqsplit: the constant
 * is accumulated, every linear term becomes (column, coefficient) and every
 * quadratic term a monomial triplet (column 1, column 2, coefficient), the
 * columns read from the problem's variable map.  Appending rather than
 * filling lets a batch of rows share one set of arrays: the caller records
 * nlin/nquad before the call as the row's start offsets.
 *
 * The arrays come from the library's allocator; capacities start at 2,048
 * entries and double. */
#pragma once

#include <Python.h>
#include <stdint.h>

#include "problem/object.h"

typedef struct {
    double constant;
    /* linear part */
    int64_t nlin;
    int64_t lincap;
    int *lincol;
    double *lincoef;
    /* quadratic part: monomial coefficients, coef * x_col1 * x_col2 */
    int64_t nquad;
    int64_t quadcap;
    int *qcol1;
    int *qcol2;
    double *qcoef;
    /* optional direct table identity -> column for the identities
       dense_base .. dense_base + dense_len - 1 (-1: not in the problem);
       built by lqsplit_cache_columns for long batches, owned */
    int *dense;
    uint32_t dense_base;
    uint32_t dense_len;
    /* linear terms may repeat a column and come in any order: for rows,
       whose repeats the library sums, so that bodies are not sorted */
    int unfolded;
} lqsplit;

#define LQSPLIT_INITCAP 16

/* All fields zero: no arrays, no terms. */
void lqsplit_init(lqsplit *s);
/* Frees the arrays and zeroes the record. */
void lqsplit_free(lqsplit *s);
/* Forgets the terms and the constant, keeping the arrays for reuse. */
void lqsplit_clear(lqsplit *s);
/* Makes room for nlin more linear and nquad more quadratic terms.  0, or
 * -1 WITHOUT an exception when memory runs out (the caller decides: the
 * row batch flushes and retries). */
int lqsplit_reserve(lqsplit *s, int64_t nlin, int64_t nquad);

/* Builds the direct column table from the problem's variable map when its
 * identities are dense enough, so that a long batch of rows looks columns up
 * by index instead of by search.  The table must be dropped (lqsplit_free
 * or lqsplit_drop_cache) before the variable map changes.  No exception; a
 * table that cannot be built is simply not used. */
void lqsplit_cache_columns(lqsplit *s, PyObject *prob);
void lqsplit_drop_cache(lqsplit *s);

/* Upper bounds of the numbers of linear and quadratic terms that splitExpr
 * appends for obj (exact for the algebra types).  No exception. */
void splitExpr_count(PyObject *obj, int64_t *nlin, int64_t *nquad);
/* At least the counts of splitExpr_count, without folding the maps: what
 * an unfolded split needs room for. */
void splitExpr_bound(PyObject *obj, int64_t *nlin, int64_t *nquad);

/* Appends factor*obj to s.  obj is a number, var, linterm, quadterm or
 * expression; a nonlinear object is not split: when nonlin is not NULL it
 * receives a new reference to it (the caller converts it to formulas),
 * otherwise ModelError "Nonlinear expressions are not supported here" is
 * raised.  A variable missing from the problem raises ModelError
 * "Variable in ... has not been added to problem yet" (the wording names
 * the part of the constraint it was found in).  Terms with a coefficient of
 * exactly 0.0 are skipped.  0, or -1 with an exception set; on failure the
 * terms appended by this call are taken back. */
int splitExpr(PyObject *prob, PyObject *obj, double factor, lqsplit *s, PyObject **nonlin);

/* Refuses what splitExpr appended to s since (nlin0, nquad0), and its
 * constant, when a number is NaN or a coefficient infinite: ModelError
 * "<owner>: coefficient of x is NaN" (owner names the object, "the
 * objective", "constraint c1").  0, or -1 with the exception set. */
int lqsplit_check_values(const lqsplit *s, PyObject *prob, int64_t nlin0, int64_t nquad0,
                         const char *owner);

/* "NaN" or "infinite" when v is not a finite number, else NULL. */
const char *nonfinite_word(double v);
