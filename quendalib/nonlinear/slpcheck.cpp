/* Problem methods over the nonlinear library's checks, construction,
 * cascading, solution and housekeeping functions. */
#include "nonlinear/slpwrap.h"

#include <type_traits>

/* A library function of the handle alone. */
template<int (*F)(QSLPprob)>
static PyObject *
slp_plain(slp_call &c)
{
    return slp_done(F(c.h));
}

/* A library function of the handle and one output, which it returns. */
template<class T, int (*F)(QSLPprob, T *)>
static PyObject *
slp_get1(slp_call &c)
{
    T v = T();
    if (F(c.h, &v) != 0)
        return NULL;
    return sizeof(T) == sizeof(double) ? PyFloat_FromDouble((double)v) : PyLong_FromLong((long)v);
}

/* A library call of one argument (a row, or a point) with three float
 * outputs, as a tuple. */
template<class A, int (*F)(QSLPprob, A, double *, double *, double *)>
static PyObject *
slp_three(slp_call &c)
{
    double r[3] = {0.0, 0.0, 0.0};
    A arg;
    if constexpr (std::is_same<A, int>::value)
        arg = c.v[0].i;
    else
        arg = slp_dbls(c, 0);
    if (F(c.h, arg, &r[0], &r[1], &r[2]) != 0)
        return NULL;
    return Py_BuildValue("(ddd)", r[0], r[1], r[2]);
}

/* getslpsol fills the lists given (None: not wanted); with none given it
 * returns the four as new lists. */
static PyObject *
slp_getslpsol(slp_call &c)
{
    PyObject *o[4], *res = NULL;
    QNDAint64 nr, nc;
    double *v[4];
    int all = 1;
    if (api_sizes(c.self, &nr, &nc) != 0)
        return NULL;
    for (int k = 0; k < 4; k++) {
        o[k] = c.v[k].obj != NULL ? c.v[k].obj : Py_None;
        all = all && api_absent(o[k]);
    }
    for (int k = 0; all && k < 4; k++)
        if ((o[k] = PyList_New(0)) == NULL)
            goto done;
    for (int k = 0; k < 4; k++)
        if (c.a->want(o[k], k == 0 || k == 3 ? nc : nr, &v[k]) != 0)
            goto done;
    if (QSLPgetslpsol(c.h, v[0], v[1], v[2], v[3]) != 0) {
        setQndaErrIfNull(c.self, NULL);
        goto done;
    }
    for (int k = 0; k < 4; k++)
        if (conv_arr2obj(c.self, k == 0 || k == 3 ? nc : nr, v[k], &o[k], CONV_DOUBLE) != 0)
            goto done;
    res = all ? PyTuple_Pack(4, o[0], o[1], o[2], o[3]) : Py_NewRef(Py_None);
done:
    for (int k = 0; all && k < 4; k++)
        if (o[k] != Py_None)
            Py_XDECREF(o[k]);
    return res;
}

static PyObject *
slp_validatekkt(slp_call &c)
{
    double r[QSLP_KKT_COUNT];
    if (QSLPvalidatekkt(c.h, slp_dbls(c, 0), slp_dbls(c, 1), r) != 0)
        return NULL;
    return Py_BuildValue("[dddd]", r[0], r[1], r[2], r[3]);
}

static PyObject *
slp_setuniqueprefix(slp_call &c)
{
    return slp_counted_text(c, [&](char *b, int m, int *nb) {
        return QSLPsetuniqueprefix(c.h, b, m, nb);
    });
}

static const slp_method slp_check_tab[] = {
    {"validate",
     "",
     {},
     NULL,
     slp_get1<int, QSLPvalidate>,
     "validate() -> int: QSLPvalidate(nfaults): faults of the model, each a warning message"},
    {"validatevector",
     "X",
     {"x"},
     "validatevector",
     slp_three<const double *, QSLPvalidatevector>,
     "validatevector(x) -> tuple: QSLPvalidatevector: (suminf, sumscaledinf, objval) at x"},
    {"validaterow",
     "r",
     {"rowindex"},
     "validaterow",
     slp_three<int, QSLPvalidaterow>,
     "validaterow(rowindex) -> tuple: QSLPvalidaterow: (value, violation, deriverror) at the "
     "current point"},
    {"validatekkt",
     "|xy",
     {"x", "duals"},
     "validatekkt",
     slp_validatekkt,
     "validatekkt(x=None, duals=None) -> list: QSLPvalidatekkt: [stationarity, feasibility, "
     "complementarity, dual sign] residuals (None: the last solution's)"},
    {"construct",
     "",
     {},
     NULL,
     slp_plain<QSLPconstruct>,
     "construct() -> None: QSLPconstruct: evaluates the problem at the current point"},
    {"unconstruct",
     "",
     {},
     NULL,
     slp_plain<QSLPunconstruct>,
     "unconstruct() -> None: QSLPunconstruct: drops the construction"},
    {"updatelinearization",
     "",
     {},
     NULL,
     slp_plain<QSLPupdatelinearization>,
     "updatelinearization() -> None: QSLPupdatelinearization: evaluates again at the current "
     "point"},
    {"fixpenalties",
     "",
     {},
     NULL,
     slp_get1<double, QSLPfixpenalties>,
     "fixpenalties() -> float: QSLPfixpenalties(penalty): later SLP solves keep the last "
     "penalty"},
    {"reinitialize",
     "",
     {},
     NULL,
     slp_plain<QSLPreinitialize>,
     "reinitialize() -> None: QSLPreinitialize: forgets the solution, construction, penalties"},
    {"setcurrentiv",
     "",
     {},
     NULL,
     slp_plain<QSLPsetcurrentiv>,
     "setcurrentiv() -> None: QSLPsetcurrentiv: the last solution becomes the start point"},
    {"getslpsol",
     "|OOOO",
     {"x", "slack", "dual", "dj"},
     NULL,
     slp_getslpsol,
     "getslpsol(x=None, slack=None, dual=None, dj=None): QSLPgetslpsol: the last solution into "
     "the lists given, or as a tuple of four lists when none is"},
    {"filesol",
     "s",
     {"filename"},
     NULL,
     [](slp_call &c) { return slp_done(QSLPfilesol(c.h, c.v[0].s)); },
     "filesol(filename) -> None: QSLPfilesol: writes the last solution"},
    {"printmemory",
     "",
     {},
     NULL,
     slp_plain<QSLPprintmemory>,
     "printmemory() -> None: QSLPprintmemory: memory of the nonlinear problem as messages"},
    {"printevalinfo",
     "",
     {},
     NULL,
     slp_plain<QSLPprintevalinfo>,
     "printevalinfo() -> None: QSLPprintevalinfo: evaluation counts of the last solve"},
    {"printmsg",
     "is",
     {"msgtype", "text"},
     NULL,
     [](slp_call &c) { return slp_done(QSLPprintmsg(c.h, c.v[0].i, c.v[1].s)); },
     "printmsg(msgtype, text) -> None: QSLPprintmsg: 1 information, 3 warning, 4 error"},
    {"getmessagetype",
     "",
     {},
     NULL,
     slp_get1<int, QSLPgetmessagetype>,
     "getmessagetype() -> int: QSLPgetmessagetype(msgtype): type of the last message"},
    {"getdtime",
     "",
     {},
     NULL,
     slp_get1<double, QSLPgetdtime>,
     "getdtime() -> float: QSLPgetdtime(seconds): seconds of the current or last solve"},
    {"setuniqueprefix",
     "",
     {},
     NULL,
     slp_setuniqueprefix,
     "setuniqueprefix() -> str: QSLPsetuniqueprefix(prefix): a prefix no name starts with"},
    {"presolve",
     "",
     {},
     NULL,
     slp_get1<int, QSLPpresolve>,
     "presolve() -> int: QSLPpresolve(nremoved): constant coefficients folded away"},
    {"scaling",
     "",
     {},
     NULL,
     slp_plain<QSLPscaling>,
     "scaling() -> None: QSLPscaling: first step bounds from the columns' sizes"},
    {"cascade",
     "",
     {},
     NULL,
     slp_plain<QSLPcascade>,
     "cascade() -> None: QSLPcascade: recomputes the determined columns of the start point"},
    {"cascadeorder",
     "",
     {},
     NULL,
     slp_plain<QSLPcascadeorder>,
     "cascadeorder() -> None: QSLPcascadeorder: orders the determined columns"},
    {"chgcascadenlimit",
     "ci",
     {"colindex", "limit"},
     "chgcascadenlimit",
     [](slp_call &c) { return slp_done(QSLPchgcascadenlimit(c.h, c.v[0].i, c.v[1].i)); },
     "chgcascadenlimit(colindex, limit) -> None: QSLPchgcascadenlimit: Newton steps of the "
     "cascade for the column"},
};

PyMethodDef *
slp_check_methods(void)
{
    return SLP_DEFS(slp_check_tab);
}
