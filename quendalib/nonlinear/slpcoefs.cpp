/* Problem methods over the nonlinear library's coefficients and formulas:
 * each converts its arguments, calls one QSLP function on the problem's
 * nonlinear handle and converts the results back.  Rows and columns are
 * given by index, object or name; row -1 is the objective and column
 * getintattrib-12013 (-2) the constant column, both as plain ints. */
#include "nonlinear/slpwrap.h"

/* Token arrays filled by a library call that first counts them (called
 * with NULL arrays) and then writes them.  New reference to (types,
 * values), or NULL. */
template<class F>
static PyObject *
slp_counted_tokens(PyObject *self, F call)
{
    api_arrays a(self);
    int n = 0, *type;
    double *value;
    if (call(0, &n, (int *)NULL, (double *)NULL) != 0)
        return NULL;
    if ((type = a.make<int>(n)) == NULL || (value = a.make<double>(n)) == NULL)
        return NULL;
    if (call(n, &n, type, value) != 0)
        return NULL;
    /* Without the end token. */
    return slp_tokens_out(type, value, n > 0 ? n - 1 : 0);
}

/* chgccoef(rowindex, colindex, factor, formula): QSLPchgccoef(row, col,
 * factor or NULL, formula).  factor None keeps the coefficient's factor (1
 * for a new one); an empty formula or None deletes the coefficient. */
static PyObject *
QNDA_PY_chgccoef(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"rowindex", "colindex", "factor", "formula", NULL};
    PyObject *orow, *ocol, *ofac, *oform, *res = NULL;
    QSLPprob h;
    int row, col;
    double f, *fp;
    const char *text = NULL;
    if (slp_parse(self, &h, args, kwargs, "OOOO", kwlist, "chgccoef", &orow, &ocol, &ofac,
                  &oform) != 0)
        return NULL;
    if (ObjInt2int(orow, self, &row, CONV_ROW) != 0 ||
        ObjInt2int(ocol, self, &col, CONV_COL) != 0 || slp_opt_double(ofac, &f, &fp) != 0)
        return NULL;
    if (!api_absent(oform) && (text = PyUnicode_AsUTF8(oform)) == NULL)
        return NULL;
    if (QSLPchgccoef(h, row, col, fp, text) == 0)
        res = Py_NewRef(Py_None);
    return quenda_result(self, res);
}

/* chgnlcoef(rowindex, colindex, factor, parsed, type, value):
 * QSLPchgcoef(row, col, factor or NULL, parsed, type, value): one
 * coefficient from tokens (parsed 1: reverse Polish, 0: infix); type None
 * keeps the formula and changes the factor. */
static PyObject *
QNDA_PY_chgnlcoef(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"rowindex", "colindex", "factor", "parsed",
                                   "type",     "value",    NULL};
    PyObject *orow, *ocol, *ofac, *otype = Py_None, *oval = Py_None;
    QSLPprob h;
    int row, col, parsed = 1, *type = NULL;
    double f, *fp, *value = NULL;
    api_arrays a(self);
    if (slp_parse(self, &h, args, kwargs, "OOO|iOO", kwlist, NULL, &orow, &ocol, &ofac, &parsed,
                  &otype, &oval) != 0)
        return NULL;
    if (ObjInt2int(orow, self, &row, CONV_ROW) != 0 ||
        ObjInt2int(ocol, self, &col, CONV_COL) != 0 || slp_opt_double(ofac, &f, &fp) != 0 ||
        (!api_absent(otype) && slp_tokens_in(a, otype, oval, &type, &value) != 0))
        return NULL;
    if (QSLPchgcoef(h, row, col, fp, parsed, type, value) != 0)
        return quenda_result(self, NULL);
    Py_RETURN_NONE;
}

/* addcoefs and loadcoefs(rowindex, colindex, factor, start, parsed, type,
 * value): QSLPaddcoefs / QSLPloadcoefs(ncoefs, rowindex, colindex, factor,
 * start, parsed, type, value).  Coefficient k's formula is tokens start[k]
 * to start[k+1] - 1; factor None gives 1.  Load replaces every
 * coefficient, add adds to them. */
static PyObject *
slp_coefs_in(PyObject *self, PyObject *args, PyObject *kwargs, int load)
{
    static const char *kwlist[] = {"rowindex", "colindex", "factor", "start",
                                   "parsed",   "type",     "value",  NULL};
    PyObject *orow, *ocol, *ofac, *ostart, *otype, *oval;
    QSLPprob h;
    int parsed, *rows, *cols, *start, *type;
    double *factor, *value;
    QNDAint64 n = -1, n1, nt = -1;
    api_arrays a(self);
    if (slp_parse(self, &h, args, kwargs, "OOOOiOO", kwlist, load ? "loadcoefs" : "addcoefs",
                  &orow, &ocol, &ofac, &ostart, &parsed, &otype, &oval) != 0)
        return NULL;
    if (a.in(orow, &n, &rows, CONV_ROW) != 0 || a.in(ocol, &n, &cols, CONV_COL) != 0 ||
        a.in(ofac, &n, &factor, CONV_DOUBLE) != 0)
        return NULL;
    if (n < 0)
        n = 0;
    n1 = n + 1;
    if (a.in(ostart, &n1, &start, CONV_INT) != 0 || a.in(otype, &nt, &type, CONV_INT) != 0 ||
        a.in(oval, &nt, &value, CONV_DOUBLE) != 0)
        return NULL;
    if (n > 0 && (start == NULL || type == NULL || value == NULL)) {
        PyErr_SetString(quenda_InterfaceError, "Must provide arguments start, type and value");
        return NULL;
    }
    for (QNDAint64 k = 0; k < n; k++)
        if (start[k] < 0 || start[k + 1] < start[k] || start[k + 1] > nt) {
            PyErr_Format(quenda_ModelError,
                         "Formula of coefficient %lld spans tokens %d to %d, outside the %lld "
                         "given",
                         (long long)k, start[k], start[k + 1], (long long)nt);
            return NULL;
        }
    if ((load ? QSLPloadcoefs : QSLPaddcoefs)(h, (int)n, rows, cols, factor, start, parsed, type,
                                              value) != 0)
        return quenda_result(self, NULL);
    Py_RETURN_NONE;
}

static PyObject *
QNDA_PY_addcoefs(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return slp_coefs_in(self, args, kwargs, 0);
}

static PyObject *
QNDA_PY_loadcoefs(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return slp_coefs_in(self, args, kwargs, 1);
}

/* delcoefs(rowindex, colindex): QSLPdelcoefs(ncoefs, rowindex, colindex). */
static PyObject *
QNDA_PY_delcoefs(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"rowindex", "colindex", NULL};
    PyObject *orow, *ocol;
    QSLPprob h;
    int *rows, *cols;
    QNDAint64 n = -1;
    api_arrays a(self);
    if (slp_parse(self, &h, args, kwargs, "OO", kwlist, NULL, &orow, &ocol) != 0 ||
        a.in(orow, &n, &rows, CONV_ROW) != 0 || a.in(ocol, &n, &cols, CONV_COL) != 0)
        return NULL;
    if (QSLPdelcoefs(h, n < 0 ? 0 : (int)n, rows, cols) != 0)
        return quenda_result(self, NULL);
    Py_RETURN_NONE;
}

/* A coefficient's (row, column) from the arguments rowindex, colindex. */
static int
slp_coef_place(PyObject *self, QSLPprob *h, PyObject *args, PyObject *kwargs, int *row, int *col,
               const char *wrong, PyObject **extra)
{
    static const char *kw2[] = {"rowindex", "colindex", NULL};
    static const char *kw3[] = {"rowindex", "colindex", "x", NULL};
    PyObject *orow, *ocol;
    int rc = extra != NULL ? slp_parse(self, h, args, kwargs, "OOO", kw3, wrong, &orow, &ocol,
                                       extra)
                           : slp_parse(self, h, args, kwargs, "OO", kw2, wrong, &orow, &ocol);
    if (rc != 0 || ObjInt2int(orow, self, row, CONV_ROW) != 0 ||
        ObjInt2int(ocol, self, col, CONV_COL) != 0)
        return -1;
    return 0;
}

/* getccoef(rowindex, colindex): QSLPgetccoef(row, col, factor, formula):
 * (factor, formula text). */
static PyObject *
QNDA_PY_getccoef(PyObject *self, PyObject *args, PyObject *kwargs)
{
    QSLPprob h;
    int row, col, nb = 0;
    double factor = 1.0;
    char *text;
    api_arrays a(self);
    if (slp_coef_place(self, &h, args, kwargs, &row, &col, NULL, NULL) != 0)
        return NULL;
    if (QSLPgetccoef(h, row, col, &factor, NULL, 0, &nb) != 0)
        return quenda_result(self, NULL);
    if ((text = a.make<char>(nb + 1)) == NULL)
        return NULL;
    if (QSLPgetccoef(h, row, col, &factor, text, nb + 1, &nb) != 0)
        return quenda_result(self, NULL);
    return Py_BuildValue("(ds)", factor, text);
}

/* getcoefformula(rowindex, colindex): QSLPgetcoefformula(row, col,
 * formula): the text, with the factor written into it. */
static PyObject *
QNDA_PY_getcoefformula(PyObject *self, PyObject *args, PyObject *kwargs)
{
    QSLPprob h;
    int row, col, nb = 0;
    char *text;
    api_arrays a(self);
    if (slp_coef_place(self, &h, args, kwargs, &row, &col, NULL, NULL) != 0)
        return NULL;
    if (QSLPgetcoefformula(h, row, col, NULL, 0, &nb) != 0)
        return quenda_result(self, NULL);
    if ((text = a.make<char>(nb + 1)) == NULL)
        return NULL;
    if (QSLPgetcoefformula(h, row, col, text, nb + 1, &nb) != 0)
        return quenda_result(self, NULL);
    return PyUnicode_FromString(text);
}

/* Python list of n ints or doubles.  New reference, or NULL. */
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

/* getcoefs(): QSLPgetcoefs(ncoefs, rowindex, colindex, factor, start,
 * ntokens, type, value): (rowindex, colindex, factor, start, type, value),
 * indices as ints (-1 the objective row, -2 the constant column), the
 * parsed formulas each with its end token, as addcoefs takes them. */
static PyObject *
QNDA_PY_getcoefs(PyObject *self, PyObject *Py_UNUSED(ignored))
{
    QSLPprob h = slp_handle(self);
    int n = 0, nt = 0, *rows, *cols, *start, *type;
    double *factor, *value;
    api_arrays a(self);
    if (h == NULL)
        return NULL;
    if (QSLPgetcoefs(h, &n, NULL, NULL, NULL, NULL, 0, &nt, NULL, NULL) != 0)
        return quenda_result(self, NULL);
    if ((rows = a.make<int>(n)) == NULL || (cols = a.make<int>(n)) == NULL ||
        (factor = a.make<double>(n)) == NULL || (start = a.make<int>(n + 1)) == NULL ||
        (type = a.make<int>(nt)) == NULL || (value = a.make<double>(nt)) == NULL)
        return NULL;
    if (QSLPgetcoefs(h, &n, rows, cols, factor, start, nt, &nt, type, value) != 0)
        return quenda_result(self, NULL);
    return Py_BuildValue("(NNNNNN)", slp_list(rows, n), slp_list(cols, n), slp_list(factor, n),
                         slp_list(start, n + 1), slp_list(type, nt), slp_list(value, nt));
}

/* evaluatecoef(rowindex, colindex, x): QSLPevaluatecoef(row, col, x,
 * result): factor times the formula at x (one value per column). */
static PyObject *
QNDA_PY_evaluatecoef(PyObject *self, PyObject *args, PyObject *kwargs)
{
    QSLPprob h;
    PyObject *ox;
    int row, col;
    double *x, r = 0.0;
    api_arrays a(self);
    if (slp_coef_place(self, &h, args, kwargs, &row, &col, NULL, &ox) != 0 ||
        slp_point_in(a, self, ox, &x, 0, 0, "x") != 0)
        return NULL;
    if (QSLPevaluatecoef(h, row, col, x, &r) != 0)
        return quenda_result(self, NULL);
    return PyFloat_FromDouble(r);
}

/* evaluateformula(type, value, x=None): QSLPevaluateformula(type, value,
 * x, result): the parsed formula's value at x (one value per column; None
 * for a formula without columns). */
static PyObject *
QNDA_PY_evaluateformula(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"type", "value", "x", NULL};
    PyObject *otype, *oval, *ox = Py_None;
    QSLPprob h;
    int *type;
    double *value, *x, r = 0.0;
    api_arrays a(self);
    if (slp_parse(self, &h, args, kwargs, "OO|O", kwlist, NULL, &otype, &oval, &ox) != 0 ||
        slp_tokens_in(a, otype, oval, &type, &value) != 0 ||
        slp_point_in(a, self, ox, &x, 0, 1, "x") != 0)
        return NULL;
    if (QSLPevaluateformula(h, type, value, x, &r) != 0)
        return quenda_result(self, NULL);
    return PyFloat_FromDouble(r);
}

/* tokencount(): QSLPtokencount(ntokens): tokens of every coefficient's
 * formula with their end tokens. */
static PyObject *
QNDA_PY_tokencount(PyObject *self, PyObject *Py_UNUSED(ignored))
{
    QSLPprob h = slp_handle(self);
    int n = 0;
    if (h == NULL)
        return NULL;
    if (QSLPtokencount(h, &n) != 0)
        return quenda_result(self, NULL);
    return PyLong_FromLong(n);
}

/* preparseformula(formula) and parsecformula(formula):
 * QSLPpreparseformula / QSLPparsecformula(formula, maxtokens, ntokens,
 * type, value): the infix or parsed tokens of a text as (types, values),
 * without the end token. */
static PyObject *
slp_text_tokens(PyObject *self, PyObject *args, PyObject *kwargs, int parsed)
{
    static const char *kwlist[] = {"formula", NULL};
    const char *text;
    QSLPprob h;
    if (slp_parse(self, &h, args, kwargs, "s", kwlist, NULL, &text) != 0)
        return NULL;
    return quenda_result(self, slp_counted_tokens(self, [&](int m, int *n, int *t, double *v) {
        return (parsed ? QSLPparsecformula : QSLPpreparseformula)(h, text, m, n, t, v);
    }));
}

static PyObject *
QNDA_PY_preparseformula(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return slp_text_tokens(self, args, kwargs, 0);
}

static PyObject *
QNDA_PY_parsecformula(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return slp_text_tokens(self, args, kwargs, 1);
}

/* parseformula(type, value): QSLPparseformula(intype, invalue, maxtokens,
 * ntokens, type, value): infix tokens to parsed ones, as (types, values). */
static PyObject *
QNDA_PY_parseformula(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"type", "value", NULL};
    PyObject *otype, *oval;
    QSLPprob h;
    int *type;
    double *value;
    api_arrays a(self);
    if (slp_parse(self, &h, args, kwargs, "OO", kwlist, "parseformula", &otype, &oval) != 0 ||
        slp_tokens_in(a, otype, oval, &type, &value) != 0)
        return NULL;
    return quenda_result(self, slp_counted_tokens(self, [&](int m, int *n, int *t, double *v) {
        return QSLPparseformula(h, type, value, m, n, t, v);
    }));
}

/* validformula(type, value): QSLPvalidformula(type, value, valid,
 * message): (True, "") for well-formed parsed tokens, else (False, why). */
static PyObject *
QNDA_PY_validformula(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"type", "value", NULL};
    PyObject *otype, *oval;
    QSLPprob h;
    int *type, valid = 0, nb = 0;
    double *value;
    char *msg;
    api_arrays a(self);
    if (slp_parse(self, &h, args, kwargs, "OO", kwlist, "validformula", &otype, &oval) != 0 ||
        slp_tokens_in(a, otype, oval, &type, &value) != 0)
        return NULL;
    if (QSLPvalidformula(h, type, value, &valid, NULL, 0, &nb) != 0)
        return quenda_result(self, NULL);
    if ((msg = a.make<char>(nb + 1)) == NULL)
        return NULL;
    if (QSLPvalidformula(h, type, value, &valid, msg, nb + 1, &nb) != 0)
        return quenda_result(self, NULL);
    return Py_BuildValue("(Ns)", PyBool_FromLong(valid), msg);
}

/* nlpoptimize(flags=""): QSLPnlpoptimize(flags): the nonlinear solve of
 * the problem as the library holds it (coefficients given through these
 * methods included), with the interpreter lock released. */
static PyObject *
QNDA_PY_nlpoptimize(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"flags", NULL};
    const char *flags = "";
    QSLPprob h;
    int rc, sense = 1;
    if (slp_parse(self, &h, args, kwargs, "|s", kwlist, NULL, &flags) != 0)
        return NULL;
    if (QNDAgetintattrib(((problem_s *)self)->prob, QNDA_OBJSENSE_ATTR, &sense) != 0 ||
        QSLPsetdblcontrol(h, QSLP_OBJSENSE, (double)sense) != 0)
        return quenda_result(self, NULL);
    Py_BEGIN_ALLOW_THREADS
    rc = QSLPnlpoptimize(h, flags);
    Py_END_ALLOW_THREADS
    if (rc != 0 || PyErr_Occurred())
        return quenda_result(self, NULL);
    Py_RETURN_NONE;
}

PyMethodDef slp_coef_methods[] = {
    {"chgccoef", SLP_KW(QNDA_PY_chgccoef),
     "chgccoef(rowindex, colindex, factor, formula): sets a nonlinear coefficient from text"},
    {"chgnlcoef", SLP_KW(QNDA_PY_chgnlcoef),
     "chgnlcoef(rowindex, colindex, factor, parsed=1, type=None, value=None): sets a nonlinear "
     "coefficient from tokens"},
    {"addcoefs", SLP_KW(QNDA_PY_addcoefs),
     "addcoefs(rowindex, colindex, factor, start, parsed, type, value): adds nonlinear "
     "coefficients"},
    {"loadcoefs", SLP_KW(QNDA_PY_loadcoefs),
     "loadcoefs(rowindex, colindex, factor, start, parsed, type, value): replaces every "
     "nonlinear coefficient"},
    {"delcoefs", SLP_KW(QNDA_PY_delcoefs),
     "delcoefs(rowindex, colindex): deletes nonlinear coefficients"},
    {"getccoef", SLP_KW(QNDA_PY_getccoef),
     "getccoef(rowindex, colindex) -> tuple: (factor, formula), a nonlinear coefficient as text"},
    {"getcoefformula", SLP_KW(QNDA_PY_getcoefformula),
     "getcoefformula(rowindex, colindex) -> str: a coefficient's formula with its factor"},
    {"getcoefs", SLP_NOARGS(QNDA_PY_getcoefs),
     "getcoefs() -> tuple: (rowindex, colindex, factor, start, type, value), every nonlinear "
     "coefficient"},
    {"evaluatecoef", SLP_KW(QNDA_PY_evaluatecoef),
     "evaluatecoef(rowindex, colindex, x) -> float: a coefficient's value at x"},
    {"evaluateformula", SLP_KW(QNDA_PY_evaluateformula),
     "evaluateformula(type, value, x=None) -> float: a parsed formula's value at x"},
    {"tokencount", SLP_NOARGS(QNDA_PY_tokencount),
     "tokencount() -> int: tokens of all coefficients' formulas with their end tokens"},
    {"preparseformula", SLP_KW(QNDA_PY_preparseformula),
     "preparseformula(formula) -> tuple: (types, values), infix tokens of a text"},
    {"parsecformula", SLP_KW(QNDA_PY_parsecformula),
     "parsecformula(formula) -> tuple: (types, values), parsed tokens of a text"},
    {"parseformula", SLP_KW(QNDA_PY_parseformula),
     "parseformula(type, value) -> tuple: (types, values), infix tokens to parsed ones"},
    {"validformula", SLP_KW(QNDA_PY_validformula),
     "validformula(type, value) -> tuple: (bool, str), whether parsed tokens are well formed"},
    {"nlpoptimize", SLP_KW(QNDA_PY_nlpoptimize),
     "nlpoptimize(flags=''): solves the nonlinear problem as the library holds it"},
    {NULL, NULL, 0, NULL}};
