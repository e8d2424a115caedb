/* The presolved state's own methods: a row of the problem in the
 * presolved problem's columns, and postsolve (lpoptimize('P') and
 * mipoptimize('P') leave a problem presolved). */
#include "api/analysis.h"
#include "api/wrap.h"

/* presolverow(qrtype, mcolso, dvalo, drhso, maxcoeffs, mcolsp, dvalp):
 * the presolved columns come back as ints, since they are not the
 * problem's own columns. */
static PyObject *
QNDA_PY_presolverow(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"qrtype",    "mcolso", "dvalo", "drhso",
                                   "maxcoeffs", "mcolsp", "dvalp", NULL};
    PyObject *cols_o, *vals_o, *pcols_o, *pvals_o;
    int rowtype = 0, maxcoefs = 0, ncoefs = 0, status = 0, *cols, *pcols;
    double rhs = 0.0, prhs = 0.0, *vals, *pvals;
    QNDAint64 n = -1;
    api_arrays a(self);
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "COOdiOO", (char **)kwlist, &rowtype, &cols_o,
                                     &vals_o, &rhs, &maxcoefs, &pcols_o, &pvals_o) ||
        (p = api_prob(self)) == NULL)
        return NULL;
    if (api_absent(cols_o) || api_absent(vals_o)) {
        api_missing("Must provide arguments mcolso, dvalo");
        return NULL;
    }
    if (maxcoefs < 0) {
        PyErr_SetString(quenda_InterfaceError, "maxcoeffs must not be negative");
        return NULL;
    }
    if (api_check_outlist(pcols_o, "mcolsp") != 0 || api_check_outlist(pvals_o, "dvalp") != 0 ||
        a.in(cols_o, &n, &cols, CONV_COL) || a.in(vals_o, &n, &vals, CONV_DOUBLE) ||
        !(pcols = a.make<int>(maxcoefs)) || !(pvals = a.make<double>(maxcoefs)))
        return NULL;
    if (rowtype < 0 || rowtype > 127) {
        PyErr_SetString(quenda_InterfaceError, "qrtype must be one of L, G, E, R, N");
        return NULL;
    }
    if (QNDApresolverow(p->prob, (char)rowtype, (int)(n < 0 ? 0 : n), cols, vals, rhs, maxcoefs,
                        &ncoefs, pcols, pvals, &prhs, &status) != 0)
        return api_fail(self);
    /* Only a row that fits is written out. */
    if (status == 0 && (conv_arr2obj(self, ncoefs, pcols, &pcols_o, CONV_INT) != 0 ||
                        conv_arr2obj(self, ncoefs, pvals, &pvals_o, CONV_DOUBLE) != 0))
        return NULL;
    return Py_BuildValue("(di)", prhs, status);
}

static PyObject *
QNDA_PY_postsolve(PyObject *self, PyObject *)
{
    return api_noargs(self, QNDApostsolve);
}

PyMethodDef api_presolve_methods[] =
    {{"presolverow", API_KW(QNDA_PY_presolverow),
      "presolverow(qrtype, mcolso, dvalo, drhso, maxcoeffs, mcolsp, dvalp) -> tuple[float, "
      "int]\n\nThe row "
      "sum(dvalo[k] * mcolso[k]) (qrtype) drhso of the problem in the columns of the presolved "
      "problem (lpoptimize('P') leaves a problem presolved; otherwise the row comes back as "
      "given): mcolsp gets the presolved column indices (ints) and dvalp their coefficients, at "
      "most maxcoeffs of them.  Columns presolve fixed move into the right-hand side, "
      "shifted or scaled ones come in their presolved form.  Returns (presolved right-hand "
      "side, status): status 0 done, 1 more than maxcoeffs coefficients (the lists are left "
      "alone), -1 the row uses a column presolve replaced by several presolved ones."},
     {"postsolve", (PyCFunction)QNDA_PY_postsolve, METH_NOARGS,
      "postsolve() -> None\n\nEnds the presolved state: the presolved problem's solution (with an "
      "LP's "
      "duals and basis) becomes the problem's.  Does nothing when the problem is not "
      "presolved."},
     {NULL, NULL, 0, NULL}};
