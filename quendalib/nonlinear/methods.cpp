/* Problem methods of the nonlinear layer: starting points and a view of
 * the formula tokens that an expression becomes. */
#include "nonlinear/convert.h"
#include "nonlinear/slpwrap.h"

#include "module/session.h"
#include "problem/problem.h"

#include "qslp.h"

int
nl_check(problem_s *p)
{
    const char *why = p->prob == NULL      ? "Problem not initialized"
                      : p->slpprob == NULL ? "The nonlinear solver is not available"
                                           : NULL;
    if (why != NULL)
        PyErr_SetString(quenda_ModelError, why);
    return why != NULL ? -1 : 0;
}

/* setInitialValues(variables, values): where the next nonlinear solve
 * starts (others start at 0, moved into their bounds). */
static PyObject *
QNDA_PY_setInitialValues(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"variables", "values", NULL};
    problem_s *p = (problem_s *)self;
    PyObject *vars, *vals, *res = NULL;
    QNDAint64 n = -1;
    int *cols = NULL;
    double *x = NULL;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OO", (char **)kwlist, &vars, &vals) ||
        nl_check(p) != 0)
        return NULL;
    if (conv_obj2arr(self, &n, vars, (void **)&cols, CONV_COL) != 0 ||
        conv_obj2arr(self, &n, vals, (void **)&x, CONV_DOUBLE) != 0)
        goto done;
    if (QSLPsetinitialvalues(p->slpprob, (int)n, cols, x) != 0)
        goto done;
    res = Py_NewRef(Py_None);
done:
    conv_free((void **)&cols, n, CONV_COL);
    conv_free((void **)&x, n, CONV_DOUBLE);
    return quenda_result(self, res);
}

/* nlFormula(expression, coef=False): the parsed tokens of an expression as
 * (types, values), or in coefficient mode (column, factor, types, values). */
static PyObject *
QNDA_PY_nlFormula(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"expression", "coef", NULL};
    problem_s *p = (problem_s *)self;
    PyObject *expr, *pair = NULL, *res = NULL;
    int coef = 0, col = 0;
    double factor = 1.0;
    nl_tokens t;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "O|p", (char **)kwlist, &expr, &coef) ||
        nl_check(p) != 0)
        return NULL;
    nl_tokens_init(&t, p);
    if ((coef ? convertCoef(&t, expr, &col, &factor) : convertExpr(&t, expr)) != 0)
        goto done;
    if ((pair = slp_tokens_out(t.type, t.val, (int)t.n)) == NULL)
        goto done;
    res = coef ? Py_BuildValue("(idOO)", col, factor, PyTuple_GET_ITEM(pair, 0),
                               PyTuple_GET_ITEM(pair, 1))
               : Py_NewRef(pair);
done:
    Py_XDECREF(pair);
    nl_tokens_free(&t);
    return quenda_result(self, res);
}

static PyMethodDef nonlinear_methods[] =
    {{"setInitialValues", (PyCFunction)(void (*)(void))QNDA_PY_setInitialValues,
      METH_VARARGS | METH_KEYWORDS,
      "setInitialValues(variables, values): starting point of the next nonlinear solve"},
     {"nlFormula", (PyCFunction)(void (*)(void))QNDA_PY_nlFormula, METH_VARARGS | METH_KEYWORDS,
      "nlFormula(expression, coef=False): the nonlinear solver's tokens of an expression"},
     {NULL, NULL, 0, NULL}};

int
nonlinear_methods_init(void)
{
    if (problem_add_methods(nonlinear_methods) != 0 ||
        problem_add_methods(slp_coef_methods()) != 0 || problem_add_methods(slp_var_methods()) != 0)
        return -1;
    return problem_add_methods(slp_check_methods());
}
