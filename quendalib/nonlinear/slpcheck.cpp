/* Problem methods over the nonlinear library's checks, construction,
 * cascading, solution and housekeeping functions. */
#include "nonlinear/slpwrap.h"

/* A library function of the handle alone: None, or the library's error. */
template<int (*F)(QSLPprob)>
static PyObject *
slp_plain(PyObject *self, PyObject *Py_UNUSED(ignored))
{
    QSLPprob h = slp_handle(self);
    if (h == NULL)
        return NULL;
    if (F(h) != 0)
        return quenda_result(self, NULL);
    Py_RETURN_NONE;
}

/* A library function of the handle and one output: its value. */
template<class T, int (*F)(QSLPprob, T *)>
static PyObject *
slp_get1(PyObject *self, PyObject *Py_UNUSED(ignored))
{
    QSLPprob h = slp_handle(self);
    T v = T();
    if (h == NULL)
        return NULL;
    if (F(h, &v) != 0)
        return quenda_result(self, NULL);
    return sizeof(T) == sizeof(double) ? PyFloat_FromDouble((double)v) : PyLong_FromLong((long)v);
}

/* validatevector(x): QSLPvalidatevector(x, suminf, sumscaledinf, objval)
 * -> tuple: (sum of row violations, the sum scaled by 1 + |activity|, objective). */
static PyObject *
QNDA_PY_validatevector(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"x", NULL};
    PyObject *ox;
    QSLPprob h;
    double *x, s = 0.0, ss = 0.0, obj = 0.0;
    api_arrays a(self);
    if (slp_parse(self, &h, args, kwargs, "O", kwlist, "validatevector", &ox) != 0 ||
        slp_point_in(a, self, ox, &x, 0, 0, "x") != 0)
        return NULL;
    if (QSLPvalidatevector(h, x, &s, &ss, &obj) != 0)
        return quenda_result(self, NULL);
    return Py_BuildValue("(ddd)", s, ss, obj);
}

/* validaterow(rowindex): QSLPvalidaterow(row, value, violation,
 * deriverror) -> tuple: (activity, violation, derivative error) at the current
 * point. */
static PyObject *
QNDA_PY_validaterow(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"rowindex", NULL};
    PyObject *orow;
    QSLPprob h;
    int row;
    double v = 0.0, viol = 0.0, err = 0.0;
    if (slp_parse(self, &h, args, kwargs, "O", kwlist, "validaterow", &orow) != 0 ||
        ObjInt2int(orow, self, &row, CONV_ROW) != 0)
        return NULL;
    if (QSLPvalidaterow(h, row, &v, &viol, &err) != 0)
        return quenda_result(self, NULL);
    return Py_BuildValue("(ddd)", v, viol, err);
}

/* validatekkt(x=None, duals=None): QSLPvalidatekkt(x, duals, residuals) ->
 * [stationarity, feasibility, complementarity, dual sign] at x with the
 * row multipliers duals (None: the last solution's). */
static PyObject *
QNDA_PY_validatekkt(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"x", "duals", NULL};
    PyObject *ox = Py_None, *od = Py_None;
    QSLPprob h;
    double *x, *d, r[QSLP_KKT_COUNT];
    api_arrays a(self);
    if (slp_parse(self, &h, args, kwargs, "|OO", kwlist, "validatekkt", &ox, &od) != 0 ||
        slp_point_in(a, self, ox, &x, 0, 1, "x") != 0 ||
        slp_point_in(a, self, od, &d, 1, 1, "duals") != 0)
        return NULL;
    if (QSLPvalidatekkt(h, x, d, r) != 0)
        return quenda_result(self, NULL);
    return Py_BuildValue("[dddd]", r[0], r[1], r[2], r[3]);
}

/* chgcascadenlimit(colindex, limit): QSLPchgcascadenlimit(col, limit):
 * Newton steps the cascade may take for the column. */
static PyObject *
QNDA_PY_chgcascadenlimit(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"colindex", "limit", NULL};
    PyObject *ocol;
    QSLPprob h;
    int col, limit;
    if (slp_parse(self, &h, args, kwargs, "Oi", kwlist, "chgcascadenlimit", &ocol, &limit) != 0 ||
        ObjInt2int(ocol, self, &col, CONV_COL) != 0)
        return NULL;
    if (QSLPchgcascadenlimit(h, col, limit) != 0)
        return quenda_result(self, NULL);
    Py_RETURN_NONE;
}

/* getslpsol(x=None, slack=None, duals=None, dj=None): QSLPgetslpsol(x,
 * slack, dual, dj) into the lists given; with none given, returns the four
 * as new lists. */
static PyObject *
QNDA_PY_getslpsol(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"x", "slack", "duals", "dj", NULL};
    PyObject *o[4] = {Py_None, Py_None, Py_None, Py_None}, *res = NULL;
    QSLPprob h;
    QNDAint64 nr, nc;
    double *v[4];
    int all = 1;
    api_arrays a(self);
    if (slp_parse(self, &h, args, kwargs, "|OOOO", kwlist, NULL, &o[0], &o[1], &o[2], &o[3]) !=
            0 ||
        api_sizes(self, &nr, &nc) != 0)
        return NULL;
    for (int k = 0; k < 4; k++)
        all = all && api_absent(o[k]);
    if (all) {
        for (int k = 0; k < 4; k++)
            if ((o[k] = PyList_New(0)) == NULL)
                goto done;
    }
    for (int k = 0; k < 4; k++)
        if (a.want(o[k], k == 0 || k == 3 ? nc : nr, &v[k]) != 0)
            goto done;
    if (QSLPgetslpsol(h, v[0], v[1], v[2], v[3]) != 0) {
        setQndaErrIfNull(self, NULL);
        goto done;
    }
    for (int k = 0; k < 4; k++)
        if (conv_arr2obj(self, k == 0 || k == 3 ? nc : nr, v[k], &o[k], CONV_DOUBLE) != 0)
            goto done;
    res = all ? PyTuple_Pack(4, o[0], o[1], o[2], o[3]) : Py_NewRef(Py_None);
done:
    if (all)
        for (int k = 0; k < 4; k++)
            if (o[k] != Py_None)
                Py_XDECREF(o[k]);
    return res;
}

/* filesol(filename): QSLPfilesol(filename): the last solution as text. */
static PyObject *
QNDA_PY_filesol(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"filename", NULL};
    QSLPprob h;
    const char *name;
    if (slp_parse(self, &h, args, kwargs, "s", kwlist, NULL, &name) != 0)
        return NULL;
    if (QSLPfilesol(h, name) != 0)
        return quenda_result(self, NULL);
    Py_RETURN_NONE;
}

/* printmsg(msgtype, text): QSLPprintmsg(msgtype, text): 1 information, 3
 * warning, 4 error, through the problem's message handlers. */
static PyObject *
QNDA_PY_printmsg(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"msgtype", "text", NULL};
    QSLPprob h;
    int type;
    const char *text;
    if (slp_parse(self, &h, args, kwargs, "is", kwlist, NULL, &type, &text) != 0)
        return NULL;
    if (QSLPprintmsg(h, type, text) != 0)
        return quenda_result(self, NULL);
    Py_RETURN_NONE;
}

/* setuniqueprefix(): QSLPsetuniqueprefix(prefix) -> the prefix chosen. */
static PyObject *
QNDA_PY_setuniqueprefix(PyObject *self, PyObject *Py_UNUSED(ignored))
{
    QSLPprob h = slp_handle(self);
    char buf[64];
    if (h == NULL)
        return NULL;
    if (QSLPsetuniqueprefix(h, buf, (int)sizeof buf, NULL) != 0)
        return quenda_result(self, NULL);
    return PyUnicode_FromString(buf);
}

PyMethodDef slp_check_methods[] = {
    {"validate", SLP_NOARGS((slp_get1<int, QSLPvalidate>)),
     "validate() -> int: QSLPvalidate(nfaults): faults of the model, each a warning message"},
    {"validatevector", SLP_KW(QNDA_PY_validatevector),
     "validatevector(x) -> tuple: (suminf, sumscaledinf, objval), row violations at x"},
    {"validaterow", SLP_KW(QNDA_PY_validaterow),
     "validaterow(rowindex) -> tuple: (value, violation, deriverror), a row at the current point"},
    {"validatekkt", SLP_KW(QNDA_PY_validatekkt),
     "validatekkt(x=None, duals=None) -> list: KKT residuals [stationarity, "
     "feasibility, complementarity, dual sign]"},
    {"construct", SLP_NOARGS(slp_plain<QSLPconstruct>),
     "construct(): QSLPconstruct: evaluates the problem at the current point"},
    {"unconstruct", SLP_NOARGS(slp_plain<QSLPunconstruct>),
     "unconstruct(): QSLPunconstruct: drops the construction"},
    {"updatelinearization", SLP_NOARGS(slp_plain<QSLPupdatelinearization>),
     "updatelinearization(): QSLPupdatelinearization: evaluates again at the current point"},
    {"fixpenalties", SLP_NOARGS((slp_get1<double, QSLPfixpenalties>)),
     "fixpenalties() -> float: QSLPfixpenalties(penalty): later SLP solves keep the last "
     "penalty"},
    {"reinitialize", SLP_NOARGS(slp_plain<QSLPreinitialize>),
     "reinitialize(): QSLPreinitialize: forgets the solution, construction and penalties"},
    {"setcurrentiv", SLP_NOARGS(slp_plain<QSLPsetcurrentiv>),
     "setcurrentiv(): QSLPsetcurrentiv: the last solution becomes the start point"},
    {"getslpsol", SLP_KW(QNDA_PY_getslpsol),
     "getslpsol(x=None, slack=None, duals=None, dj=None): the last nonlinear solution"},
    {"filesol", SLP_KW(QNDA_PY_filesol), "filesol(filename): writes the last solution"},
    {"printmemory", SLP_NOARGS(slp_plain<QSLPprintmemory>),
     "printmemory(): QSLPprintmemory: memory of the nonlinear problem as messages"},
    {"printevalinfo", SLP_NOARGS(slp_plain<QSLPprintevalinfo>),
     "printevalinfo(): QSLPprintevalinfo: evaluation counts of the last solve as messages"},
    {"printmsg", SLP_KW(QNDA_PY_printmsg), "printmsg(msgtype, text): a message of the problem"},
    {"getmessagetype", SLP_NOARGS((slp_get1<int, QSLPgetmessagetype>)),
     "getmessagetype() -> int: QSLPgetmessagetype(msgtype): type of the last message"},
    {"getdtime", SLP_NOARGS((slp_get1<double, QSLPgetdtime>)),
     "getdtime() -> float: QSLPgetdtime(seconds): seconds of the current or last solve"},
    {"setuniqueprefix", SLP_NOARGS(QNDA_PY_setuniqueprefix),
     "setuniqueprefix() -> str: QSLPsetuniqueprefix(prefix): a prefix no name starts with"},
    {"presolve", SLP_NOARGS((slp_get1<int, QSLPpresolve>)),
     "presolve() -> int: QSLPpresolve(nremoved): constant coefficients folded away"},
    {"scaling", SLP_NOARGS(slp_plain<QSLPscaling>),
     "scaling(): QSLPscaling: step bounds from the columns' sizes"},
    {"cascade", SLP_NOARGS(slp_plain<QSLPcascade>),
     "cascade(): QSLPcascade: recomputes the determined columns of the start point, in cascade "
     "order"},
    {"cascadeorder", SLP_NOARGS(slp_plain<QSLPcascadeorder>),
     "cascadeorder(): QSLPcascadeorder: orders the determined columns"},
    {"chgcascadenlimit", SLP_KW(QNDA_PY_chgcascadenlimit),
     "chgcascadenlimit(colindex, limit): Newton steps of the cascade for a column"},
    {NULL, NULL, 0, NULL}};
