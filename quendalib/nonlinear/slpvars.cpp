/* Problem methods over the SLP settings of columns and rows: step bounds
 * and start values, tolerance sets, row status and weights, derivative
 * factors, and the row and column information. */
#include "nonlinear/slpwrap.h"

/* addvars and loadvars(colindex, determiningrow=None, seqnum=None,
 * tolindex=None, initvalue=None, stepbound=None): QSLPaddvars /
 * QSLPloadvars(nvars, colindex, determiningrow, seqnum, tolindex,
 * initvalue, stepbound).  Arrays left None take the defaults; load first
 * removes every column's settings. */
static PyObject *
slp_vars_in(PyObject *self, PyObject *args, PyObject *kwargs, int load)
{
    static const char *kwlist[] = {"colindex", "determiningrow", "seqnum",   "tolindex",
                                   "initvalue", "stepbound",     NULL};
    PyObject *ocol, *orow = Py_None, *oseq = Py_None, *otol = Py_None, *oinit = Py_None,
                    *ostep = Py_None;
    QSLPprob h;
    int *cols, *rows, *seq, *tol;
    double *init, *step;
    QNDAint64 n = -1;
    api_arrays a(self);
    if (slp_parse(self, &h, args, kwargs, "O|OOOOO", kwlist, load ? "loadvars" : "addvars", &ocol,
                  &orow, &oseq, &otol, &oinit, &ostep) != 0)
        return NULL;
    if (a.in(ocol, &n, &cols, CONV_COL) != 0 || a.in(orow, &n, &rows, CONV_ROW) != 0 ||
        a.in(oseq, &n, &seq, CONV_INT) != 0 || a.in(otol, &n, &tol, CONV_INT) != 0 ||
        a.in(oinit, &n, &init, CONV_DOUBLE) != 0 || a.in(ostep, &n, &step, CONV_DOUBLE) != 0)
        return NULL;
    if ((load ? QSLPloadvars : QSLPaddvars)(h, n < 0 ? 0 : (int)n, cols, rows, seq, tol, init,
                                            step) != 0)
        return quenda_result(self, NULL);
    Py_RETURN_NONE;
}

static PyObject *
QNDA_PY_addvars(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return slp_vars_in(self, args, kwargs, 0);
}

static PyObject *
QNDA_PY_loadvars(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return slp_vars_in(self, args, kwargs, 1);
}

/* chgvar(colindex, determiningrow=None, seqnum=None, tolindex=None,
 * deltatype=None, initvalue=None, stepbound=None): QSLPchgvar(col, ...),
 * each setting given changed, None kept. */
static PyObject *
QNDA_PY_chgvar(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"colindex",  "determiningrow", "seqnum",    "tolindex",
                                   "deltatype", "initvalue",      "stepbound", NULL};
    PyObject *ocol, *o[6] = {Py_None, Py_None, Py_None, Py_None, Py_None, Py_None};
    QSLPprob h;
    int col, iv[4], *ip[4];
    double dv[2], *dp[2];
    if (slp_parse(self, &h, args, kwargs, "O|OOOOOO", kwlist, NULL, &ocol, &o[0], &o[1], &o[2],
                  &o[3], &o[4], &o[5]) != 0 ||
        ObjInt2int(ocol, self, &col, CONV_COL) != 0)
        return NULL;
    for (int k = 0; k < 4; k++)
        if (slp_opt_index(self, o[k], k == 0 ? CONV_ROW : CONV_INT, &iv[k], &ip[k]) != 0)
            return NULL;
    for (int k = 0; k < 2; k++)
        if (slp_opt_double(o[4 + k], &dv[k], &dp[k]) != 0)
            return NULL;
    if (QSLPchgvar(h, col, ip[0], ip[1], ip[2], ip[3], dp[0], dp[1]) != 0)
        return quenda_result(self, NULL);
    Py_RETURN_NONE;
}

/* getvar(colindex): QSLPgetvar(col, determiningrow, seqnum, tolindex,
 * deltatype, initvalue, stepbound) as a tuple in that order (the row an
 * index, -1 for none). */
static PyObject *
QNDA_PY_getvar(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"colindex", NULL};
    PyObject *ocol;
    QSLPprob h;
    int col, row, seq, tol, dt;
    double init, step;
    if (slp_parse(self, &h, args, kwargs, "O", kwlist, NULL, &ocol) != 0 ||
        ObjInt2int(ocol, self, &col, CONV_COL) != 0)
        return NULL;
    if (QSLPgetvar(h, col, &row, &seq, &tol, &dt, &init, &step) != 0)
        return quenda_result(self, NULL);
    return Py_BuildValue("(iiiidd)", row, seq, tol, dt, init, step);
}

/* delvars(colindex): QSLPdelvars(nvars, colindex): the columns' settings
 * back to the defaults. */
static PyObject *
QNDA_PY_delvars(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"colindex", NULL};
    PyObject *ocol;
    QSLPprob h;
    int *cols;
    QNDAint64 n = -1;
    api_arrays a(self);
    if (slp_parse(self, &h, args, kwargs, "O", kwlist, NULL, &ocol) != 0 ||
        a.in(ocol, &n, &cols, CONV_COL) != 0)
        return NULL;
    if (QSLPdelvars(h, n < 0 ? 0 : (int)n, cols) != 0)
        return quenda_result(self, NULL);
    Py_RETURN_NONE;
}

/* chgdeltatype(colindex, deltatypes, values=None): QSLPchgdeltatype(nvars,
 * colindex, deltatype, values): step bound kinds (0 adaptive, 1 fixed, 2
 * free) and their values (None keeps them). */
static PyObject *
QNDA_PY_chgdeltatype(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"colindex", "deltatypes", "values", NULL};
    PyObject *ocol, *otype, *oval = Py_None;
    QSLPprob h;
    int *cols, *types;
    double *vals;
    QNDAint64 n = -1;
    api_arrays a(self);
    if (slp_parse(self, &h, args, kwargs, "OO|O", kwlist, "chgdeltatypes", &ocol, &otype,
                  &oval) != 0)
        return NULL;
    if (a.in(ocol, &n, &cols, CONV_COL) != 0 || a.in(otype, &n, &types, CONV_INT) != 0 ||
        a.in(oval, &n, &vals, CONV_DOUBLE) != 0)
        return NULL;
    if (n > 0 && types == NULL)
        return api_missing("Must provide argument deltatypes"), (PyObject *)NULL;
    if (QSLPchgdeltatype(h, n < 0 ? 0 : (int)n, cols, types, vals) != 0)
        return quenda_result(self, NULL);
    Py_RETURN_NONE;
}

/* addtolsets and loadtolsets(tols): QSLPaddtolsets / QSLPloadtolsets(
 * ntolsets, tols), tols holding QSLP_TOLSET_SIZE values per set (absolute
 * and relative step tolerance; negative: the control's). */
static PyObject *
slp_tolsets_in(PyObject *self, PyObject *args, PyObject *kwargs, int load)
{
    static const char *kwlist[] = {"tols", NULL};
    PyObject *otols;
    QSLPprob h;
    double *tols;
    QNDAint64 n = -1;
    api_arrays a(self);
    if (slp_parse(self, &h, args, kwargs, "O", kwlist, load ? "loadtolsets" : "addtolsets",
                  &otols) != 0 ||
        a.in(otols, &n, &tols, CONV_DOUBLE) != 0)
        return NULL;
    if (n < 0)
        n = 0;
    if (n % QSLP_TOLSET_SIZE != 0) {
        PyErr_Format(quenda_ModelError, "tols holds %d values per tolerance set, not %lld in all",
                     QSLP_TOLSET_SIZE, (long long)n);
        return NULL;
    }
    if ((load ? QSLPloadtolsets : QSLPaddtolsets)(h, (int)(n / QSLP_TOLSET_SIZE), tols) != 0)
        return quenda_result(self, NULL);
    Py_RETURN_NONE;
}

static PyObject *
QNDA_PY_addtolsets(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return slp_tolsets_in(self, args, kwargs, 0);
}

static PyObject *
QNDA_PY_loadtolsets(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return slp_tolsets_in(self, args, kwargs, 1);
}

/* chgtolset(tolset, status, tols): QSLPchgtolset(tolset, status, tols):
 * status None sets every entry; else the entries whose bit is set. */
static PyObject *
QNDA_PY_chgtolset(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"tolset", "status", "tols", NULL};
    PyObject *ostatus, *otols;
    QSLPprob h;
    int set, st, *stp;
    double *tols;
    QNDAint64 n = QSLP_TOLSET_SIZE;
    api_arrays a(self);
    if (slp_parse(self, &h, args, kwargs, "iOO", kwlist, NULL, &set, &ostatus, &otols) != 0 ||
        slp_opt_index(self, ostatus, CONV_INT, &st, &stp) != 0 ||
        a.in(otols, &n, &tols, CONV_DOUBLE) != 0)
        return NULL;
    if (QSLPchgtolset(h, set, stp, tols) != 0)
        return quenda_result(self, NULL);
    Py_RETURN_NONE;
}

/* gettolset(tolset): QSLPgettolset(tolset, status, tols) -> tuple: (status,
 * [tols]); entries not set read -1. */
static PyObject *
QNDA_PY_gettolset(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"tolset", NULL};
    QSLPprob h;
    int set, st = 0;
    double tols[QSLP_TOLSET_SIZE];
    if (slp_parse(self, &h, args, kwargs, "i", kwlist, NULL, &set) != 0)
        return NULL;
    if (QSLPgettolset(h, set, &st, tols) != 0)
        return quenda_result(self, NULL);
    return Py_BuildValue("(i[dd])", st, tols[0], tols[1]);
}

/* deltolsets(tolsets): QSLPdeltolsets(ntolsets, tolsets). */
static PyObject *
QNDA_PY_deltolsets(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"tolsets", NULL};
    PyObject *osets;
    QSLPprob h;
    int *sets;
    QNDAint64 n = -1;
    api_arrays a(self);
    if (slp_parse(self, &h, args, kwargs, "O", kwlist, NULL, &osets) != 0 ||
        a.in(osets, &n, &sets, CONV_INT) != 0)
        return NULL;
    if (QSLPdeltolsets(h, n < 0 ? 0 : (int)n, sets) != 0)
        return quenda_result(self, NULL);
    Py_RETURN_NONE;
}

/* One row argument and an optional second one (an int status or a float
 * weight) of the row setters and getters. */
static int
slp_row_arg(PyObject *self, QSLPprob *h, PyObject *args, PyObject *kwargs, const char *second,
            const char *fmt, int *row, void *value)
{
    const char *kwlist[] = {"rowindex", second, NULL};
    PyObject *orow;
    int rc = second != NULL ? slp_parse(self, h, args, kwargs, fmt, kwlist, NULL, &orow, value)
                            : slp_parse(self, h, args, kwargs, "O", kwlist, NULL, &orow);
    return rc != 0 ? -1 : ObjInt2int(orow, self, row, CONV_ROW);
}

/* chgrowstatus(rowindex, status): QSLPchgrowstatus(row, status): 0 hard,
 * 1 soft (violations cost the row's weight), 2 left out. */
static PyObject *
QNDA_PY_chgrowstatus(PyObject *self, PyObject *args, PyObject *kwargs)
{
    QSLPprob h;
    int row, st;
    if (slp_row_arg(self, &h, args, kwargs, "status", "Oi", &row, &st) != 0)
        return NULL;
    if (QSLPchgrowstatus(h, row, st) != 0)
        return quenda_result(self, NULL);
    Py_RETURN_NONE;
}

/* getrowstatus(rowindex): QSLPgetrowstatus(row, status) -> int. */
static PyObject *
QNDA_PY_getrowstatus(PyObject *self, PyObject *args, PyObject *kwargs)
{
    QSLPprob h;
    int row, st;
    if (slp_row_arg(self, &h, args, kwargs, NULL, NULL, &row, NULL) != 0)
        return NULL;
    if (QSLPgetrowstatus(h, row, &st) != 0)
        return quenda_result(self, NULL);
    return PyLong_FromLong(st);
}

/* chgrowwt(rowindex, weight): QSLPchgrowwt(row, weight). */
static PyObject *
QNDA_PY_chgrowwt(PyObject *self, PyObject *args, PyObject *kwargs)
{
    QSLPprob h;
    int row;
    double w;
    if (slp_row_arg(self, &h, args, kwargs, "weight", "Od", &row, &w) != 0)
        return NULL;
    if (QSLPchgrowwt(h, row, &w) != 0)
        return quenda_result(self, NULL);
    Py_RETURN_NONE;
}

/* getrowwt(rowindex): QSLPgetrowwt(row, weight) -> float. */
static PyObject *
QNDA_PY_getrowwt(PyObject *self, PyObject *args, PyObject *kwargs)
{
    QSLPprob h;
    int row;
    double w;
    if (slp_row_arg(self, &h, args, kwargs, NULL, NULL, &row, NULL) != 0)
        return NULL;
    if (QSLPgetrowwt(h, row, &w) != 0)
        return quenda_result(self, NULL);
    return PyFloat_FromDouble(w);
}

/* adddfs and loaddfs(colindex, rowindex, value): QSLPadddfs /
 * QSLPloaddfs(ndfs, colindex, rowindex, value): derivative factors of the
 * SLP step problems. */
static PyObject *
slp_dfs_in(PyObject *self, PyObject *args, PyObject *kwargs, int load)
{
    static const char *kwlist[] = {"colindex", "rowindex", "value", NULL};
    PyObject *ocol, *orow, *oval;
    QSLPprob h;
    int *cols, *rows;
    double *vals;
    QNDAint64 n = -1;
    api_arrays a(self);
    if (slp_parse(self, &h, args, kwargs, "OOO", kwlist, load ? "loaddfs" : "adddfs", &ocol, &orow,
                  &oval) != 0)
        return NULL;
    if (a.in(ocol, &n, &cols, CONV_COL) != 0 || a.in(orow, &n, &rows, CONV_ROW) != 0 ||
        a.in(oval, &n, &vals, CONV_DOUBLE) != 0)
        return NULL;
    if ((load ? QSLPloaddfs : QSLPadddfs)(h, n < 0 ? 0 : (int)n, cols, rows, vals) != 0)
        return quenda_result(self, NULL);
    Py_RETURN_NONE;
}

static PyObject *
QNDA_PY_adddfs(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return slp_dfs_in(self, args, kwargs, 0);
}

static PyObject *
QNDA_PY_loaddfs(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return slp_dfs_in(self, args, kwargs, 1);
}

/* chgdf(colindex, rowindex, value=None) and getdf(colindex, rowindex):
 * QSLPchgdf(col, row, value) (None: removes the factor) and
 * QSLPgetdf(col, row, value) -> float (1 without a factor). */
static PyObject *
slp_df(PyObject *self, PyObject *args, PyObject *kwargs, int get)
{
    static const char *kwlist[] = {"colindex", "rowindex", "value", NULL};
    static const char *kwget[] = {"colindex", "rowindex", NULL};
    PyObject *ocol, *orow, *oval = Py_None;
    QSLPprob h;
    int col, row;
    double v = 1.0, *vp;
    if (slp_parse(self, &h, args, kwargs, get ? "OO" : "OO|O", get ? kwget : kwlist,
                  get ? NULL : "chgdf",
                  &ocol, &orow, &oval) != 0 ||
        ObjInt2int(ocol, self, &col, CONV_COL) != 0 ||
        ObjInt2int(orow, self, &row, CONV_ROW) != 0 || slp_opt_double(oval, &v, &vp) != 0)
        return NULL;
    if ((get ? QSLPgetdf(h, col, row, &v) : QSLPchgdf(h, col, row, vp)) != 0)
        return quenda_result(self, NULL);
    return get ? PyFloat_FromDouble(v) : Py_NewRef(Py_None);
}

static PyObject *
QNDA_PY_chgdf(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return slp_df(self, args, kwargs, 0);
}

static PyObject *
QNDA_PY_getdf(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return slp_df(self, args, kwargs, 1);
}

/* getrowinfo(rowindex, infotype) and getcolinfo(colindex, infotype):
 * QSLPgetrowinfo / QSLPgetcolinfo(index, infotype, info): an int or a
 * float as the type says. */
static PyObject *
slp_info(PyObject *self, PyObject *args, PyObject *kwargs, int rows)
{
    static const char *rkw[] = {"rowindex", "infotype", NULL};
    static const char *ckw[] = {"colindex", "infotype", NULL};
    PyObject *oidx;
    QSLPprob h;
    int idx, type, is_int;
    union {
        int i;
        double d;
    } info;
    if (slp_parse(self, &h, args, kwargs, "Oi", rows ? rkw : ckw, NULL, &oidx, &type) != 0 ||
        ObjInt2int(oidx, self, &idx, rows ? CONV_ROW : CONV_COL) != 0)
        return NULL;
    if ((rows ? QSLPgetrowinfo : QSLPgetcolinfo)(h, idx, type, &info) != 0)
        return quenda_result(self, NULL);
    is_int = rows ? type == QSLP_ROWINFO_STATUS || type == QSLP_ROWINFO_NLCOEFS
                  : type == QSLP_COLINFO_DETROW || type == QSLP_COLINFO_NLCOEFS ||
                        type == QSLP_COLINFO_NONLINEAR;
    return is_int ? PyLong_FromLong(info.i) : PyFloat_FromDouble(info.d);
}

static PyObject *
QNDA_PY_getrowinfo(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return slp_info(self, args, kwargs, 1);
}

static PyObject *
QNDA_PY_getcolinfo(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return slp_info(self, args, kwargs, 0);
}

PyMethodDef slp_var_methods[] = {
    {"addvars", SLP_KW(QNDA_PY_addvars),
     "addvars(colindex, determiningrow=None, seqnum=None, tolindex=None, initvalue=None, "
     "stepbound=None): SLP settings of columns"},
    {"loadvars", SLP_KW(QNDA_PY_loadvars),
     "loadvars(colindex, determiningrow=None, seqnum=None, tolindex=None, initvalue=None, "
     "stepbound=None): replaces every column's SLP settings"},
    {"chgvar", SLP_KW(QNDA_PY_chgvar),
     "chgvar(colindex, determiningrow=None, seqnum=None, tolindex=None, deltatype=None, "
     "initvalue=None, stepbound=None): changes a column's SLP settings"},
    {"getvar", SLP_KW(QNDA_PY_getvar),
     "getvar(colindex) -> tuple: (determiningrow, seqnum, tolindex, deltatype, initvalue, stepbound)"},
    {"delvars", SLP_KW(QNDA_PY_delvars), "delvars(colindex): SLP settings back to the defaults"},
    {"chgdeltatype", SLP_KW(QNDA_PY_chgdeltatype),
     "chgdeltatype(colindex, deltatypes, values=None): step bound kinds of columns"},
    {"addtolsets", SLP_KW(QNDA_PY_addtolsets),
     "addtolsets(tols): adds tolerance sets (2 values per set)"},
    {"loadtolsets", SLP_KW(QNDA_PY_loadtolsets),
     "loadtolsets(tols): replaces every tolerance set (2 values per set)"},
    {"chgtolset", SLP_KW(QNDA_PY_chgtolset),
     "chgtolset(tolset, status, tols): changes a tolerance set"},
    {"gettolset", SLP_KW(QNDA_PY_gettolset),
     "gettolset(tolset) -> tuple: (status, tols), a tolerance set"},
    {"deltolsets", SLP_KW(QNDA_PY_deltolsets), "deltolsets(tolsets): deletes tolerance sets"},
    {"chgrowstatus", SLP_KW(QNDA_PY_chgrowstatus),
     "chgrowstatus(rowindex, status): 0 hard, 1 soft, 2 left out of the nonlinear solve"},
    {"getrowstatus", SLP_KW(QNDA_PY_getrowstatus), "getrowstatus(rowindex) -> int"},
    {"chgrowwt", SLP_KW(QNDA_PY_chgrowwt),
     "chgrowwt(rowindex, weight): the cost weight of a row's violation"},
    {"getrowwt", SLP_KW(QNDA_PY_getrowwt), "getrowwt(rowindex) -> float"},
    {"adddfs", SLP_KW(QNDA_PY_adddfs),
     "adddfs(colindex, rowindex, value): adds derivative factors"},
    {"loaddfs", SLP_KW(QNDA_PY_loaddfs),
     "loaddfs(colindex, rowindex, value): replaces every derivative factor"},
    {"chgdf", SLP_KW(QNDA_PY_chgdf),
     "chgdf(colindex, rowindex, value=None): sets or (None) removes a derivative factor"},
    {"getdf", SLP_KW(QNDA_PY_getdf), "getdf(colindex, rowindex) -> float"},
    {"getrowinfo", SLP_KW(QNDA_PY_getrowinfo),
     "getrowinfo(rowindex, infotype) -> int | float: row information"},
    {"getcolinfo", SLP_KW(QNDA_PY_getcolinfo),
     "getcolinfo(colindex, infotype) -> int | float: column information"},
    {NULL, NULL, 0, NULL}};
