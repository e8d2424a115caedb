/* MIP solutions (refinemipsol, fixglobals), the user's scaling and the
 * per-code message switch of a problem. */
#include "api/analysis.h"
#include "api/wrap.h"

/* refinemipsol(options, flags, solution, refined_solution): solution None
 * takes the problem's own; the polished point goes into refined_solution
 * (when a list).  Returns the refinement status. */
static PyObject *
QNDA_PY_refinemipsol(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"options", "flags", "solution", "refined_solution", NULL};
    int options, ncols = 0, status = 4;
    const char *flags;
    PyObject *sol_o, *out;
    double *sol, *refined;
    QNDAint64 n;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "isOO", (char **)kwlist, &options, &flags,
                                     &sol_o, &out))
        return NULL;
    if (api_check_outlist(out, "refined_solution") < 0 || api_prob(self) == NULL ||
        api_intattr(self, QNDA_COLS, &ncols) != 0)
        return NULL;
    api_arrays a(self);
    n = ncols;
    if (a.in(sol_o, &n, &sol, CONV_DOUBLE) != 0 || (refined = a.make<double>(n)) == NULL)
        return NULL;
    if (QNDArefinemipsol(((problem_s *)self)->prob, options, flags, sol, refined, &status) != 0)
        return api_fail(self);
    if (conv_arr2obj(self, n, refined, &out, CONV_DOUBLE) != 0)
        return NULL;
    return PyLong_FromLong(status);
}

/* fixglobals(ifround): any truth value. */
static PyObject *
QNDA_PY_fixglobals(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"ifround", NULL};
    PyObject *ifround;
    int round;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "O", (char **)kwlist, &ifround) ||
        api_prob(self) == NULL || (round = PyObject_IsTrue(ifround)) < 0)
        return NULL;
    return api_none_if(self, QNDAfixglobals(((problem_s *)self)->prob, round));
}

/* scale(mrscal=None, mcscal=None): powers of two as integer exponents, one
 * per row and one per column; both None drops the scaling. */
static PyObject *
QNDA_PY_scale(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"mrscal", "mcscal", NULL};
    PyObject *rows_o = NULL, *cols_o = NULL;
    int nrows = 0, ncols = 0, *rowexp, *colexp;
    QNDAint64 m, n;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "|OO", (char **)kwlist, &rows_o, &cols_o))
        return NULL;
    if (api_prob(self) == NULL || api_intattr(self, QNDA_ROWS, &nrows) != 0 ||
        api_intattr(self, QNDA_COLS, &ncols) != 0)
        return NULL;
    api_arrays a(self);
    m = nrows;
    n = ncols;
    if (a.in(rows_o, &m, &rowexp, CONV_INT) != 0 || a.in(cols_o, &n, &colexp, CONV_INT) != 0)
        return NULL;
    return api_none_if(self, QNDAscale(((problem_s *)self)->prob, rowexp, colexp));
}

static PyObject *
QNDA_PY_setmessagestatus(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"errcode", "status", NULL};
    int code, status;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "ii", (char **)kwlist, &code, &status) ||
        api_prob(self) == NULL)
        return NULL;
    return api_none_if(self, QNDAsetmessagestatus(((problem_s *)self)->prob, code, status));
}

#define REFINE_METHOD(name, doc)                                                                   \
    {#name, (PyCFunction)(void (*)(void))QNDA_PY_##name, METH_VARARGS | METH_KEYWORDS, doc}

PyMethodDef api_refine_methods[] =
    {REFINE_METHOD(refinemipsol,
                   "refinemipsol(options, flags, solution, refined_solution) -> int: fixes the "
                   "discrete columns at solution (None: the problem's), polishes the continuous "
                   "part and returns the status (0 refined, 1 infeasible, 2 not integral, 3 "
                   "unbounded, 4 stopped)"),
     REFINE_METHOD(fixglobals, "fixglobals(ifround): fixes the discrete columns at their values in "
                               "the solution, rounded when ifround"),
     REFINE_METHOD(scale, "scale(mrscal=None, mcscal=None): scales rows and columns by powers of "
                          "two (integer exponents) in the model the engine solves"),
     REFINE_METHOD(setmessagestatus, "setmessagestatus(errcode, status): status 0 mutes the "
                                     "library's messages of code errcode, nonzero shows them"),
     {NULL, NULL, 0, NULL}};
