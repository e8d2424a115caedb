/* Repairs of an infeasible problem and sensitivity ranges of an LP.  The
 * repairs return the library's repair status (0 repaired ... 6 stopped);
 * the weight arrays are sized by the rows and columns of the problem as
 * loaded, and a missing array weighs nothing (its items stay hard). */
#include "api/analysis.h"

#include "module/session.h"

#define SENS_ATTR_ROWS 1124 /* rows as loaded */
#define SENS_ATTR_COLS 1214 /* columns as loaded */

static PyObject *
QNDA_PY_repairinfeas(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"pflags", "oflags", "gflags", "lrp", "grp",
                                   "lbp",    "ubp",    "delta",  NULL};
    int pflags, oflags, gflags, status = 4, rc;
    double lrp, grp, lbp, ubp, delta;
    PyObject *res;
    QNDAprob prob;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "CCCddddd", (char **)kwlist, &pflags, &oflags,
                                     &gflags, &lrp, &grp, &lbp, &ubp, &delta))
        return NULL;
    if ((prob = api_handle(self)) == NULL)
        return NULL;
    rc = QNDArepairinfeas(prob, &status, (char)pflags, (char)oflags, (char)gflags, lrp, grp, lbp,
                          ubp, delta);
    res = rc == 0 ? PyLong_FromLong(status) : NULL;
    return quenda_result(self, res);
}

/* The eight weight and limit arrays of the weighted repairs (the limits
 * absent for repairweightedinfeas). */
static PyObject *
sens_repair(PyObject *self, PyObject *const in[8], int phase2, double delta, const char *flags)
{
    double *arr[8] = {NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL};
    QNDAint64 count;
    int nrows = 0, ncols = 0, status = 4, k;
    PyObject *res = NULL;
    QNDAprob prob = api_handle(self);

    if (prob == NULL)
        return NULL;
    if (QNDAgetintattrib(prob, SENS_ATTR_ROWS, &nrows) != 0 ||
        QNDAgetintattrib(prob, SENS_ATTR_COLS, &ncols) != 0)
        goto done;
    /* Order: lrp, grp, lbp, ubp, lrb, grb, lbb, ubb; rows, rows, columns, columns. */
    for (k = 0; k < 8; k++) {
        count = k % 4 < 2 ? nrows : ncols;
        if (conv_obj2arr(self, &count, in[k], (void **)&arr[k], CONV_DOUBLE) < 0)
            goto done;
    }
    if (QNDArepairweightedinfeasbounds(prob, &status, arr[0], arr[1], arr[2], arr[3], arr[4],
                                       arr[5], arr[6], arr[7], (char)phase2, delta, flags) == 0)
        res = PyLong_FromLong(status);
done:
    for (k = 0; k < 8; k++)
        conv_free((void **)&arr[k], 0, CONV_DOUBLE);
    return quenda_result(self, res);
}

static PyObject *
QNDA_PY_repairweightedinfeas(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"lrp_array", "grp_array", "lbp_array", "ubp_array",
                                   "phase2",    "delta",     "optflags",  NULL};
    PyObject *in[8] = {NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL};
    int phase2;
    double delta;
    const char *flags;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OOOOCds", (char **)kwlist, &in[0], &in[1],
                                     &in[2], &in[3], &phase2, &delta, &flags))
        return NULL;
    return sens_repair(self, in, phase2, delta, flags);
}

static PyObject *
QNDA_PY_repairweightedinfeasbounds(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"lrp_array", "grp_array", "lbp_array", "ubp_array",
                                   "lrb_array", "grb_array", "lbb_array", "ubb_array",
                                   "phase2",    "delta",     "optflags",  NULL};
    PyObject *in[8];
    int phase2;
    double delta;
    const char *flags;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OOOOOOOOCds", (char **)kwlist, &in[0], &in[1],
                                     &in[2], &in[3], &in[4], &in[5], &in[6], &in[7], &phase2,
                                     &delta, &flags))
        return NULL;
    return sens_repair(self, in, phase2, delta, flags);
}

typedef int (*range_call)(QNDAprob, int, const int *, double *, double *);

/* Two arrays of n entries that call(a, b) fills, handed to the caller's
 * lists out_a and out_b (as conversion kinds ka and kb) and freed.  0, or
 * -1 (an exception, or the library's error for quenda_result). */
template<typename A, typename B, typename Call>
static int
sens_outputs(PyObject *self, QNDAint64 n, int ka, PyObject **out_a, int kb, PyObject **out_b,
             Call call)
{
    A *a = (A *)qarr_alloc((size_t)n * sizeof(A));
    B *b = a != NULL ? (B *)qarr_alloc((size_t)n * sizeof(B)) : NULL;
    int rc = -1;
    if (b != NULL && call(a, b) == 0 && conv_arr2obj(self, n, a, out_a, ka) >= 0 &&
        conv_arr2obj(self, n, b, out_b, kb) >= 0)
        rc = 0;
    conv_free((void **)&a, n, ka);
    conv_free((void **)&b, n, kb);
    return rc;
}

/* The indices in obj (keyword kw, of conversion kind) and two output
 * lists that call(prob, n, indices, lo, hi) fills: objsa, rhssa and
 * estimaterowdualranges. */
template<typename Call>
static PyObject *
sens_indexed(PyObject *self, PyObject *obj, const char *kw, int kind, PyObject *lower,
             const char *lower_kw, PyObject *upper, const char *upper_kw, Call call)
{
    PyObject *res = NULL;
    int *ind = NULL;
    QNDAint64 n = -1;
    QNDAprob prob;

    if (api_check_outlist(lower, lower_kw) < 0 || api_check_outlist(upper, upper_kw) < 0)
        return NULL;
    if ((prob = api_handle(self)) == NULL)
        return NULL;
    if (obj == Py_None) {
        PyErr_Format(quenda_InterfaceError, "Must provide argument %s", kw);
        return NULL;
    }
    if (conv_obj2arr(self, &n, obj, (void **)&ind, kind) < 0)
        goto done;
    if (sens_outputs<double, double>(self, n, CONV_DOUBLE, &lower, CONV_DOUBLE, &upper,
                                     [&](double *lo, double *up) {
                                         return call(prob, (int)n, ind, lo, up);
                                     }) != 0)
        goto done;
    res = Py_NewRef(Py_None);
done:
    conv_free((void **)&ind, n, kind);
    return quenda_result(self, res);
}

/* objsa / rhssa(mindex, lower, upper): the ranges of the given columns or
 * rows, into the two lists. */
static PyObject *
sens_ranges(PyObject *self, PyObject *args, PyObject *kwargs, int kind, range_call call)
{
    static const char *kwlist[] = {"mindex", "lower", "upper", NULL};
    PyObject *mindex, *lower, *upper;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OOO", (char **)kwlist, &mindex, &lower, &upper))
        return NULL;
    return sens_indexed(self, mindex, "mindex", kind, lower, "lower", upper, "upper", call);
}

static PyObject *
QNDA_PY_objsa(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return sens_ranges(self, args, kwargs, CONV_COL, QNDAobjsa);
}

static PyObject *
QNDA_PY_rhssa(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return sens_ranges(self, args, kwargs, CONV_ROW, QNDArhssa);
}

/* strongbranch(mbndind, cbndtype, dbndval, itrlimit, dsbobjval,
 * msbstatus): the objective and LP status of each candidate bound change
 * into the two lists. */
static PyObject *
QNDA_PY_strongbranch(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"mbndind",   "cbndtype",  "dbndval", "itrlimit",
                                   "dsbobjval", "msbstatus", NULL};
    PyObject *ind_o, *type_o, *val_o, *objs, *stats, *res = NULL;
    int itrlimit, *ind = NULL;
    char *types = NULL;
    double *vals = NULL;
    QNDAint64 n = -1;
    QNDAprob prob;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OOOiOO", (char **)kwlist, &ind_o, &type_o,
                                     &val_o, &itrlimit, &objs, &stats))
        return NULL;
    if (api_check_outlist(objs, "dsbobjval") < 0 || api_check_outlist(stats, "msbstatus") < 0)
        return NULL;
    if ((prob = api_handle(self)) == NULL)
        return NULL;
    if (conv_obj2arr(self, &n, ind_o, (void **)&ind, CONV_COL) < 0 ||
        conv_obj2arr(self, &n, type_o, (void **)&types, CONV_CHAR) < 0 ||
        conv_obj2arr(self, &n, val_o, (void **)&vals, CONV_DOUBLE) < 0)
        goto done;
    if (ind == NULL || types == NULL || vals == NULL) {
        PyErr_SetString(quenda_InterfaceError,
                        "Must provide arguments mbndind, cbndtype and dbndval");
        goto done;
    }
    if (sens_outputs<double, int>(self, n, CONV_DOUBLE, &objs, CONV_INT, &stats,
                                  [&](double *obj, int *st) {
                                      return QNDAstrongbranch(prob, (int)n, ind, types, vals,
                                                              itrlimit, obj, st);
                                  }) != 0)
        goto done;
    res = Py_NewRef(Py_None);
done:
    conv_free((void **)&ind, n, CONV_COL);
    conv_free((void **)&types, n, CONV_CHAR);
    conv_free((void **)&vals, n, CONV_DOUBLE);
    return quenda_result(self, res);
}

/* estimaterowdualranges(rowIndices, iterationLimit, minDualActivity,
 * maxDualActivity): the interval of each row's dual into the two lists. */
static PyObject *
QNDA_PY_estimaterowdualranges(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"rowIndices", "iterationLimit", "minDualActivity",
                                   "maxDualActivity", NULL};
    PyObject *rows, *lower, *upper;
    int itrlimit;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OiOO", (char **)kwlist, &rows, &itrlimit,
                                     &lower, &upper))
        return NULL;
    return sens_indexed(self, rows, "rowIndices", CONV_ROW, lower, "minDualActivity", upper,
                        "maxDualActivity",
                        [itrlimit](QNDAprob prob, int n, const int *ind, double *lo, double *hi) {
                            return QNDAestimaterowdualranges(prob, n, ind, itrlimit, lo, hi);
                        });
}

static PyObject *
QNDA_PY_basisstability(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"type", "norm", "ifscaled", NULL};
    int type, norm, scaled;
    double value = 0.0;
    QNDAprob prob;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "iii", (char **)kwlist, &type, &norm, &scaled))
        return NULL;
    if ((prob = api_handle(self)) == NULL)
        return NULL;
    return quenda_result(self, QNDAbasisstability(prob, type, norm, scaled, &value) == 0
                                   ? PyFloat_FromDouble(value)
                                   : NULL);
}

#define SENS_METHOD(name, doc)                                                                     \
    {#name, (PyCFunction)(void (*)(void))QNDA_PY_##name, METH_VARARGS | METH_KEYWORDS, doc}

PyMethodDef api_sensitivity_methods[] =
    {SENS_METHOD(repairinfeas, "repairinfeas(pflags, oflags, gflags, lrp, grp, lbp, ubp, delta): "
                               "repairs with uniform weights; returns the repair status"),
     SENS_METHOD(repairweightedinfeas,
                 "repairweightedinfeas(lrp_array, grp_array, lbp_array, ubp_array, phase2, delta, "
                 "optflags): repairs with per-row and per-bound weights"),
     SENS_METHOD(repairweightedinfeasbounds,
                 "repairweightedinfeasbounds(lrp_array, grp_array, lbp_array, ubp_array, "
                 "lrb_array, grb_array, lbb_array, ubb_array, phase2, delta, optflags): the same "
                 "with limits on each violation"),
     SENS_METHOD(objsa, "objsa(mindex, lower, upper): ranges of objective coefficients"),
     SENS_METHOD(rhssa, "rhssa(mindex, lower, upper): ranges of right-hand sides"),
     SENS_METHOD(strongbranch,
                 "strongbranch(mbndind, cbndtype, dbndval, itrlimit, dsbobjval, msbstatus): "
                 "objective and LP status of each candidate bound change"),
     SENS_METHOD(estimaterowdualranges,
                 "estimaterowdualranges(rowIndices, iterationLimit, minDualActivity, "
                 "maxDualActivity): for each row, the least and greatest dual value it takes at "
                 "the optimal bases met as its right-hand side moves just past its range"),
     SENS_METHOD(basisstability, "basisstability(type, norm, ifscaled): condition number "
                                 "estimate of the optimal basis"),
     {NULL, NULL, 0, NULL}};
