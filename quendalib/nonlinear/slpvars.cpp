/* Problem methods over the SLP settings of columns and rows: step bounds
 * and start values, tolerance sets, row status and weights, derivative
 * factors, and the row and column information. */
#include "nonlinear/slpwrap.h"

/* The load/add pairs: one routine each, the library function (load
 * replaces every item of the kind, add adds) as the parameter. */
template<int (*F)(QSLPprob, int, const int *, const int *, const int *, const int *, const double *,
                  const double *)>
static PyObject *
slp_vars_in(slp_call &c)
{
    return slp_done(F(c.h, slp_count(c), slp_ints(c, 0), slp_ints(c, 1), slp_ints(c, 2),
                      slp_ints(c, 3), slp_dbls(c, 4), slp_dbls(c, 5)));
}

template<int (*F)(QSLPprob, int, const double *)>
static PyObject *
slp_tolsets_in(slp_call &c)
{
    if (c.v[0].i % QSLP_TOLSET_SIZE != 0)
        return PyErr_Format(quenda_ModelError,
                            "tols holds %d values per tolerance set, not %d in all",
                            QSLP_TOLSET_SIZE, c.v[0].i);
    return slp_done(F(c.h, c.v[0].i / QSLP_TOLSET_SIZE, slp_dbls(c, 0)));
}

template<int (*F)(QSLPprob, int, const int *, const int *, const double *)>
static PyObject *
slp_dfs_in(slp_call &c)
{
    return slp_done(F(c.h, slp_count(c), slp_ints(c, 0), slp_ints(c, 1), slp_dbls(c, 2)));
}

/* getrowinfo and getcolinfo: one routine, the row or column function as the
 * parameter; the information is an int or a float as its type says. */
template<int (*F)(QSLPprob, int, int, void *), int I1, int I2, int I3>
static PyObject *
slp_info(slp_call &c)
{
    union {
        int i;
        double d;
    } info;
    const int type = c.v[1].i;
    if (F(c.h, c.v[0].i, type, &info) != 0)
        return NULL;
    return type == I1 || type == I2 || type == I3 ? PyLong_FromLong(info.i)
                                                  : PyFloat_FromDouble(info.d);
}

static PyObject *
slp_getvar(slp_call &c)
{
    int row, seq, tol, dt;
    double init, step;
    if (QSLPgetvar(c.h, c.v[0].i, &row, &seq, &tol, &dt, &init, &step) != 0)
        return NULL;
    return Py_BuildValue("(iiiidd)", row, seq, tol, dt, init, step);
}

static PyObject *
slp_gettolset(slp_call &c)
{
    int st = 0;
    double t[QSLP_TOLSET_SIZE];
    if (QSLPgettolset(c.h, c.v[0].i, &st, t) != 0)
        return NULL;
    return Py_BuildValue("(i[dd])", st, t[0], t[1]);
}

#define SLP_VARS_KW {"colindex", "determiningrow", "seqnum", "tolindex", "initvalue", "stepbound"}
#define SLP_VARS_DOC                                                                               \
    "(colindex, determiningrow=None, seqnum=None, tolindex=None, initvalue=None, "                 \
    "stepbound=None): "

static const slp_method slp_var_tab[] = {
    {"addvars", "C|RIIDD", SLP_VARS_KW, "addvars", slp_vars_in<QSLPaddvars>,
     "addvars" SLP_VARS_DOC "QSLPaddvars: SLP settings of columns (None: the defaults)"},
    {"loadvars", "C|RIIDD", SLP_VARS_KW, "loadvars", slp_vars_in<QSLPloadvars>,
     "loadvars" SLP_VARS_DOC "QSLPloadvars: replaces every column's SLP settings"},
    {"chgvar",
     "c|riiiff",
     {"colindex", "determiningrow", "seqnum", "tolindex", "deltatype", "initvalue", "stepbound"},
     NULL,
     [](slp_call &c) {
         return slp_done(QSLPchgvar(c.h, c.v[0].i, c.v[1].pi, c.v[2].pi, c.v[3].pi, c.v[4].pi,
                                    c.v[5].pd, c.v[6].pd));
     },
     "chgvar(colindex, determiningrow=None, seqnum=None, tolindex=None, deltatype=None, "
     "initvalue=None, stepbound=None): QSLPchgvar: changes the settings given"},
    {"getvar",
     "c",
     {"colindex"},
     NULL,
     slp_getvar,
     "getvar(colindex) -> tuple: QSLPgetvar: (determiningrow, seqnum, tolindex, deltatype, "
     "initvalue, stepbound)"},
    {"delvars",
     "C",
     {"colindex"},
     NULL,
     [](slp_call &c) { return slp_done(QSLPdelvars(c.h, slp_count(c), slp_ints(c, 0))); },
     "delvars(colindex): QSLPdelvars: SLP settings back to the defaults"},
    {"chgdeltatype",
     "CI|D",
     {"colindex", "deltatypes", "values"},
     "chgdeltatypes",
     [](slp_call &c) {
         return slp_done(
             QSLPchgdeltatype(c.h, slp_count(c), slp_ints(c, 0), slp_ints(c, 1), slp_dbls(c, 2)));
     },
     "chgdeltatype(colindex, deltatypes, values=None): QSLPchgdeltatype: step bound kinds (0 "
     "adaptive, 1 fixed, 2 free) and values"},
    {"addtolsets",
     "E",
     {"tols"},
     "addtolsets",
     slp_tolsets_in<QSLPaddtolsets>,
     "addtolsets(tols): QSLPaddtolsets: adds tolerance sets, 2 values each (absolute and "
     "relative step tolerance; negative: the control's)"},
    {"loadtolsets",
     "E",
     {"tols"},
     "loadtolsets",
     slp_tolsets_in<QSLPloadtolsets>,
     "loadtolsets(tols): QSLPloadtolsets: replaces every tolerance set"},
    {"chgtolset",
     "iOO",
     {"tolset", "status", "tols"},
     NULL,
     [](slp_call &c) {
         int st, *stp = NULL;
         QNDAint64 n = QSLP_TOLSET_SIZE;
         double *t;
         if ((!api_absent(c.v[1].obj) && ObjInt2int(c.v[1].obj, c.self, &(st), CONV_INT) != 0) ||
             c.a->in(c.v[2].obj, &n, &t, CONV_DOUBLE) != 0)
             return (PyObject *)NULL;
         if (!api_absent(c.v[1].obj))
             stp = &st;
         return slp_done(QSLPchgtolset(c.h, c.v[0].i, stp, t));
     },
     "chgtolset(tolset, status, tols): QSLPchgtolset: status None sets every entry, else those "
     "whose bit is set"},
    {"gettolset",
     "i",
     {"tolset"},
     NULL,
     slp_gettolset,
     "gettolset(tolset) -> tuple: QSLPgettolset: (status, tols); entries not set read -1"},
    {"deltolsets",
     "I",
     {"tolsets"},
     NULL,
     [](slp_call &c) { return slp_done(QSLPdeltolsets(c.h, slp_count(c), slp_ints(c, 0))); },
     "deltolsets(tolsets): QSLPdeltolsets: deletes tolerance sets"},
    {"chgrowstatus",
     "ri",
     {"rowindex", "status"},
     NULL,
     [](slp_call &c) { return slp_done(QSLPchgrowstatus(c.h, c.v[0].i, c.v[1].i)); },
     "chgrowstatus(rowindex, status): QSLPchgrowstatus: 0 hard, 1 soft, 2 left out"},
    {"getrowstatus",
     "r",
     {"rowindex"},
     NULL,
     slp_get_at<int, QSLPgetrowstatus>,
     "getrowstatus(rowindex) -> int: QSLPgetrowstatus"},
    {"chgrowwt",
     "rf",
     {"rowindex", "weight"},
     NULL,
     [](slp_call &c) { return slp_done(QSLPchgrowwt(c.h, c.v[0].i, c.v[1].pd)); },
     "chgrowwt(rowindex, weight): QSLPchgrowwt: the cost weight of the row's violation"},
    {"getrowwt",
     "r",
     {"rowindex"},
     NULL,
     slp_get_at<double, QSLPgetrowwt>,
     "getrowwt(rowindex) -> float: QSLPgetrowwt"},
    {"adddfs",
     "CRD",
     {"colindex", "rowindex", "value"},
     "adddfs",
     slp_dfs_in<QSLPadddfs>,
     "adddfs(colindex, rowindex, value): QSLPadddfs: adds derivative factors"},
    {"loaddfs",
     "CRD",
     {"colindex", "rowindex", "value"},
     "loaddfs",
     slp_dfs_in<QSLPloaddfs>,
     "loaddfs(colindex, rowindex, value): QSLPloaddfs: replaces every derivative factor"},
    {"chgdf",
     "cr|f",
     {"colindex", "rowindex", "value"},
     "chgdf",
     [](slp_call &c) { return slp_done(QSLPchgdf(c.h, c.v[0].i, c.v[1].i, c.v[2].pd)); },
     "chgdf(colindex, rowindex, value=None): QSLPchgdf: sets or (None) removes a factor"},
    {"getdf",
     "cr",
     {"colindex", "rowindex"},
     NULL,
     [](slp_call &c) {
         double v = 1.0;
         return slp_float(QSLPgetdf(c.h, c.v[0].i, c.v[1].i, &v), &v);
     },
     "getdf(colindex, rowindex) -> float: QSLPgetdf (1 without a factor)"},
    {"getrowinfo",
     "ri",
     {"rowindex", "infotype"},
     NULL,
     slp_info<QSLPgetrowinfo, QSLP_ROWINFO_STATUS, QSLP_ROWINFO_NLCOEFS, QSLP_ROWINFO_NLCOEFS>,
     "getrowinfo(rowindex, infotype) -> int | float: QSLPgetrowinfo"},
    {"getcolinfo",
     "ci",
     {"colindex", "infotype"},
     NULL,
     slp_info<QSLPgetcolinfo, QSLP_COLINFO_DETROW, QSLP_COLINFO_NLCOEFS, QSLP_COLINFO_NONLINEAR>,
     "getcolinfo(colindex, infotype) -> int | float: QSLPgetcolinfo"},
};

PyMethodDef *
slp_var_methods(void)
{
    return SLP_DEFS(slp_var_tab);
}
