/* Problem methods over the nonlinear library's coefficients and formulas.
 * Row -1 is the objective and column -2 (integer attribute 12013) the
 * constant column, both given as plain ints. */
#include "nonlinear/slpwrap.h"

/* Token arrays filled by a library call that first counts them (NULL
 * arrays) and then writes them; returned without the end token. */
template<class F>
static PyObject *
slp_counted_tokens(slp_call &c, F call)
{
    int n = 0, *type;
    double *value;
    if (call(0, &n, (int *)NULL, (double *)NULL) != 0 || (type = c.a->make<int>(n)) == NULL ||
        (value = c.a->make<double>(n)) == NULL || call(n, &n, type, value) != 0)
        return NULL;
    return slp_tokens_out(type, value, n > 0 ? n - 1 : 0);
}

/* preparseformula and parsecformula: text to infix or parsed tokens. */
template<int (*F)(QSLPprob, const char *, int, int *, int *, double *)>
static PyObject *
slp_text_tokens(slp_call &c)
{
    return slp_counted_tokens(c, [&](int m, int *n, int *t, double *v) {
        return F(c.h, c.v[0].s, m, n, t, v);
    });
}

/* addcoefs and loadcoefs share one routine: the library's load replaces
 * every coefficient, its add adds to them. */
template<int (*F)(QSLPprob, int, const int *, const int *, const double *, const int *, int,
                  const int *, const double *)>
static PyObject *
slp_coefs_in(slp_call &c)
{
    const int n = slp_count(c), *start = slp_ints(c, 3);
    QNDAint64 nt = -1;
    int *type = NULL;
    double *value = NULL;
    /* The spans are checked against the tokens given: the library trusts
     * them. */
    if (c.a->in(c.v[5].obj, &nt, &type, CONV_INT) != 0 ||
        c.a->in(c.v[6].obj, &nt, &value, CONV_DOUBLE) != 0)
        return NULL;
    if (n > 0 && (start == NULL || type == NULL || value == NULL))
        return api_missing("Must provide arguments start, type and value"), (PyObject *)NULL;
    for (int k = 0; k < n; k++)
        if (start[k] < 0 || start[k + 1] < start[k] || start[k + 1] > nt)
            return PyErr_Format(quenda_ModelError,
                                "Formula of coefficient %d spans tokens %d to %d, outside the "
                                "%lld given",
                                k, start[k], start[k + 1], (long long)nt);
    return slp_done(
        F(c.h, n, slp_ints(c, 0), slp_ints(c, 1), slp_dbls(c, 2), start, c.v[4].i, type, value));
}

/* Python list of n ints or floats.  New reference, or NULL. */
template<class T>
static PyObject *
slp_list(const T *v, int n)
{
    PyObject *l = PyList_New(n);
    for (int k = 0; l != NULL && k < n; k++) {
        PyObject *o = sizeof(T) == sizeof(int) ? PyLong_FromLong((long)v[k])
                                               : PyFloat_FromDouble((double)v[k]);
        if (o == NULL) {
            Py_CLEAR(l);
            break;
        }
        PyList_SET_ITEM(l, k, o);
    }
    return l;
}

static PyObject *
slp_getcoefs(slp_call &c)
{
    int n = 0, nt = 0, *rows, *cols, *start, *type;
    double *factor, *value;
    PyObject *l[6] = {NULL}, *res = NULL;
    if (QSLPgetcoefs(c.h, &n, NULL, NULL, NULL, NULL, 0, &nt, NULL, NULL) != 0 ||
        (rows = c.a->make<int>(n)) == NULL || (cols = c.a->make<int>(n)) == NULL ||
        (factor = c.a->make<double>(n)) == NULL || (start = c.a->make<int>(n + 1)) == NULL ||
        (type = c.a->make<int>(nt)) == NULL || (value = c.a->make<double>(nt)) == NULL ||
        QSLPgetcoefs(c.h, &n, rows, cols, factor, start, nt, &nt, type, value) != 0)
        return NULL;
    if ((l[0] = slp_list(rows, n)) != NULL && (l[1] = slp_list(cols, n)) != NULL &&
        (l[2] = slp_list(factor, n)) != NULL && (l[3] = slp_list(start, n + 1)) != NULL &&
        (l[4] = slp_list(type, nt)) != NULL && (l[5] = slp_list(value, nt)) != NULL)
        res = PyTuple_Pack(6, l[0], l[1], l[2], l[3], l[4], l[5]);
    for (PyObject *o : l)
        Py_XDECREF(o);
    return res;
}

static PyObject *
slp_getccoef(slp_call &c)
{
    double factor = 1.0;
    PyObject *text = slp_counted_text(c, [&](char *b, int m, int *nb) {
        return QSLPgetccoef(c.h, c.v[0].i, c.v[1].i, &factor, b, m, nb);
    });
    return text == NULL ? NULL : Py_BuildValue("(dN)", factor, text);
}

static PyObject *
slp_validformula(slp_call &c)
{
    int valid = 0;
    PyObject *why = slp_counted_text(c, [&](char *b, int m, int *nb) {
        return QSLPvalidformula(c.h, slp_ints(c, 0), slp_dbls(c, 1), &valid, b, m, nb);
    });
    return why == NULL ? NULL : Py_BuildValue("(NN)", PyBool_FromLong(valid), why);
}

/* The solve with the interpreter lock released: user functions take it
 * back when the library calls them. */
static PyObject *
slp_nlpoptimize(slp_call &c)
{
    int rc, sense = 1;
    const char *flags = c.v[0].s != NULL ? c.v[0].s : "";
    if (QNDAgetintattrib(((problem_s *)c.self)->prob, QNDA_OBJSENSE_ATTR, &sense) != 0 ||
        QSLPsetdblcontrol(c.h, QSLP_OBJSENSE, (double)sense) != 0)
        return NULL;
    Py_BEGIN_ALLOW_THREADS
    rc = QSLPnlpoptimize(c.h, flags);
    Py_END_ALLOW_THREADS
    return PyErr_Occurred() ? NULL : slp_done(rc);
}

static const slp_method slp_coef_tab[] = {
    {"chgccoef",
     "rcfs",
     {"rowindex", "colindex", "factor", "formula"},
     "chgccoef",
     [](slp_call &c) {
         return slp_done(QSLPchgccoef(c.h, c.v[0].i, c.v[1].i, c.v[2].pd, c.v[3].s));
     },
     "chgccoef(rowindex, colindex, factor, formula): QSLPchgccoef: sets a nonlinear coefficient "
     "from text (factor None keeps it; formula None or empty deletes the coefficient)"},
    {"chgnlcoef",
     "rcf|iTV",
     {"rowindex", "colindex", "factor", "parsed", "type", "value"},
     NULL,
     [](slp_call &c) {
         return slp_done(QSLPchgcoef(c.h, c.v[0].i, c.v[1].i, c.v[2].pd,
                                     c.v[3].obj != NULL ? c.v[3].i : 1, slp_ints(c, 4),
                                     slp_dbls(c, 5)));
     },
     "chgnlcoef(rowindex, colindex, factor, parsed=1, type=None, value=None): QSLPchgcoef: a "
     "coefficient from tokens (parsed 1 reverse Polish, 0 infix; type None keeps the formula)"},
    {"addcoefs",
     "RCDSiOO",
     {"rowindex", "colindex", "factor", "start", "parsed", "type", "value"},
     "addcoefs",
     slp_coefs_in<QSLPaddcoefs>,
     "addcoefs(rowindex, colindex, factor, start, parsed, type, value): QSLPaddcoefs: adds "
     "coefficients, formula k being tokens start[k] to start[k+1] - 1"},
    {"loadcoefs",
     "RCDSiOO",
     {"rowindex", "colindex", "factor", "start", "parsed", "type", "value"},
     "loadcoefs",
     slp_coefs_in<QSLPloadcoefs>,
     "loadcoefs(rowindex, colindex, factor, start, parsed, type, value): QSLPloadcoefs: "
     "replaces every nonlinear coefficient"},
    {"delcoefs",
     "RC",
     {"rowindex", "colindex"},
     NULL,
     [](slp_call &c) {
         return slp_done(QSLPdelcoefs(c.h, slp_count(c), slp_ints(c, 0), slp_ints(c, 1)));
     },
     "delcoefs(rowindex, colindex): QSLPdelcoefs: deletes nonlinear coefficients"},
    {"getccoef",
     "rc",
     {"rowindex", "colindex"},
     NULL,
     slp_getccoef,
     "getccoef(rowindex, colindex) -> tuple: QSLPgetccoef: (factor, formula text)"},
    {"getcoefformula",
     "rc",
     {"rowindex", "colindex"},
     NULL,
     [](slp_call &c) {
         return slp_counted_text(c, [&](char *b, int m, int *nb) {
             return QSLPgetcoefformula(c.h, c.v[0].i, c.v[1].i, b, m, nb);
         });
     },
     "getcoefformula(rowindex, colindex) -> str: QSLPgetcoefformula: the formula with its "
     "factor"},
    {"getcoefs",
     "",
     {},
     NULL,
     slp_getcoefs,
     "getcoefs() -> tuple: QSLPgetcoefs: (rowindex, colindex, factor, start, type, value) of "
     "every coefficient, indices as ints, formulas parsed with their end tokens"},
    {"evaluatecoef",
     "rcX",
     {"rowindex", "colindex", "x"},
     NULL,
     [](slp_call &c) {
         double r = 0.0;
         return slp_float(QSLPevaluatecoef(c.h, c.v[0].i, c.v[1].i, slp_dbls(c, 2), &r), &r);
     },
     "evaluatecoef(rowindex, colindex, x) -> float: QSLPevaluatecoef: factor times formula at x "
     "(one value per column)"},
    {"evaluateformula",
     "TV|x",
     {"type", "value", "x"},
     NULL,
     [](slp_call &c) {
         double r = 0.0;
         return slp_float(QSLPevaluateformula(c.h, slp_ints(c, 0), slp_dbls(c, 1), slp_dbls(c, 2),
                                              &r),
                          &r);
     },
     "evaluateformula(type, value, x=None) -> float: QSLPevaluateformula: a parsed formula at x"},
    {"tokencount",
     "",
     {},
     NULL,
     [](slp_call &c) {
         int n = 0;
         return slp_int(QSLPtokencount(c.h, &n), &n);
     },
     "tokencount() -> int: QSLPtokencount: tokens of every formula with their end tokens"},
    {"preparseformula",
     "s",
     {"formula"},
     NULL,
     slp_text_tokens<QSLPpreparseformula>,
     "preparseformula(formula) -> tuple: QSLPpreparseformula: (types, values) in infix form"},
    {"parsecformula",
     "s",
     {"formula"},
     NULL,
     slp_text_tokens<QSLPparsecformula>,
     "parsecformula(formula) -> tuple: QSLPparsecformula: (types, values) parsed"},
    {"parseformula",
     "TV",
     {"type", "value"},
     "parseformula",
     [](slp_call &c) {
         return slp_counted_tokens(c, [&](int m, int *n, int *t, double *v) {
             return QSLPparseformula(c.h, slp_ints(c, 0), slp_dbls(c, 1), m, n, t, v);
         });
     },
     "parseformula(type, value) -> tuple: QSLPparseformula: infix tokens to (types, values) "
     "parsed"},
    {"validformula",
     "TV",
     {"type", "value"},
     "validformula",
     slp_validformula,
     "validformula(type, value) -> tuple: QSLPvalidformula: (valid, why) of parsed tokens"},
    {"nlpoptimize",
     "|s",
     {"flags"},
     NULL,
     slp_nlpoptimize,
     "nlpoptimize(flags='') -> None: QSLPnlpoptimize: solves the nonlinear problem as the "
     "library holds it"},
};

PyMethodDef *
slp_coef_methods(void)
{
    return SLP_DEFS(slp_coef_tab);
}
