/* Changing the model and loading solutions, bases and indicators: most of
 * these methods take up to three arrays of one length and hand them to one
 * library call, so they are rows of one table run by one routine. */
#include "api/wrap.h"

#include "qslp.h"

/* A method of equal-length arrays: keywords, element kinds, the message for
 * a missing one and the library call.  Arrays marked optional may be None
 * and reach the library as NULL. */
struct chg_desc {
    const char *kw[4];
    int kind[3];
    int optional[3];
    const char *msg;
    int (*call)(QNDAprob, QNDAint64, void *const *);
};

template<const chg_desc *D>
static PyObject *
chg_arrays(PyObject *self, PyObject *args, PyObject *kwargs)
{
    PyObject *o[3] = {NULL, NULL, NULL};
    void *arr[3] = {NULL, NULL, NULL};
    api_arrays a(self);
    QNDAint64 n = -1;
    int narr = 0, w = 0, opt = 0;
    char format[8];
    problem_s *p;

    for (; narr < 3 && D->kw[narr] != NULL; narr++) {
        if (D->optional[narr] && !opt++)
            format[w++] = '|';
        format[w++] = 'O';
    }
    format[w] = '\0';
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, format, (char **)D->kw, &o[0], &o[1], &o[2]))
        return NULL;
    if ((p = api_prob(self)) == NULL)
        return NULL;
    for (int i = 0; i < narr; i++) {
        if (api_absent(o[i]) && !D->optional[i]) {
            api_missing(D->msg);
            return NULL;
        }
    }
    for (int i = 0; i < narr; i++) {
        if (a.in(o[i], &n, &arr[i], D->kind[i]) != 0)
            return NULL;
    }
    if (D->call(p->prob, n < 0 ? 0 : n, arr) != 0)
        return api_fail(self);
    Py_RETURN_NONE;
}

#define CHG_CALL(expr) [](QNDAprob prob, QNDAint64 n, void *const *v) -> int { return (expr); }
#define I(k) ((const int *)v[k])
#define D(k) ((const double *)v[k])
#define C(k) ((const char *)v[k])

static const chg_desc chg_bounds = {{"mindex", "qbtype", "bnd", NULL},
                                    {CONV_COL, CONV_CHAR, CONV_DOUBLE},
                                    {0, 0, 0},
                                    "Must provide arguments mindex, qbtype, bnd",
                                    CHG_CALL(QNDAchgbounds(prob, (int)n, I(0), C(1), D(2)))};
static const chg_desc chg_mcoef = {{"mrow", "mcol", "dval", NULL},
                                   {CONV_ROW, CONV_COL, CONV_DOUBLE},
                                   {0, 0, 0},
                                   "Must provide arguments mrow, mcol, dval",
                                   CHG_CALL(QNDAchgmcoef64(prob, n, I(0), I(1), D(2)))};
static const chg_desc chg_mqobj = {{"mqcol1", "mqcol2", "dval", NULL},
                                   {CONV_COL, CONV_COL, CONV_DOUBLE},
                                   {0, 0, 0},
                                   "Must provide arguments mqcol1, mqcol2, dval",
                                   CHG_CALL(QNDAchgmqobj64(prob, n, I(0), I(1), D(2)))};
static const chg_desc chg_coltype = {{"mindex", "qctype", NULL},
                                     {CONV_COL, CONV_CHAR},
                                     {0, 0},
                                     "Must provide arguments mindex, qbtype",
                                     CHG_CALL(QNDAchgcoltype(prob, (int)n, I(0), C(1)))};
static const chg_desc chg_glblimit = {{"mindex", "dlimit", NULL},
                                      {CONV_COL, CONV_DOUBLE},
                                      {0, 0},
                                      "Must provide arguments mindex, dlimit",
                                      CHG_CALL(QNDAchgglblimit(prob, (int)n, I(0), D(1)))};
static const chg_desc chg_obj = {{"mindex", "obj", NULL},
                                 {CONV_COL, CONV_DOUBLE},
                                 {0, 0},
                                 "Must provide arguments mindex, obj",
                                 CHG_CALL(QNDAchgobj(prob, (int)n, I(0), D(1)))};
static const chg_desc chg_rhs = {{"mindex", "rhs", NULL},
                                 {CONV_ROW, CONV_DOUBLE},
                                 {0, 0},
                                 "Must provide arguments mindex, rhs",
                                 CHG_CALL(QNDAchgrhs(prob, (int)n, I(0), D(1)))};
static const chg_desc chg_rhsrange = {{"mindex", "rng", NULL},
                                      {CONV_ROW, CONV_DOUBLE},
                                      {0, 0},
                                      "Must provide arguments mindex, rng",
                                      CHG_CALL(QNDAchgrhsrange(prob, (int)n, I(0), D(1)))};
static const chg_desc chg_rowtype = {{"mindex", "qrtype", NULL},
                                     {CONV_ROW, CONV_CHAR},
                                     {0, 0},
                                     "Must provide arguments mindex and qrtype",
                                     CHG_CALL(QNDAchgrowtype(prob, (int)n, I(0), C(1)))};
static const chg_desc chg_indicators = {{"mrows", "inds", "comps", NULL},
                                        {CONV_ROW, CONV_COL, CONV_INT},
                                        {0, 0, 0},
                                        "Must provide arguments mrows, inds, comps",
                                        CHG_CALL(
                                            QNDAsetindicators(prob, (int)n, I(0), I(1), I(2)))};

static const chg_desc chg_modelcuts = {{"mrows", NULL},
                                       {CONV_ROW},
                                       {0},
                                       "Must provide argument mrows",
                                       CHG_CALL(QNDAloadmodelcuts(prob, (int)n, I(0)))};
static const chg_desc chg_delayedrows = {{"mrows", NULL},
                                         {CONV_ROW},
                                         {0},
                                         "Must provide argument mrows",
                                         CHG_CALL(QNDAloaddelayedrows(prob, (int)n, I(0)))};
static const chg_desc chg_branchdirs = {{"mcols", "mbranch", NULL},
                                        {CONV_COL, CONV_INT},
                                        {0, 1},
                                        "Must provide argument mcols",
                                        CHG_CALL(QNDAloadbranchdirs(prob, (int)n, I(0), I(1)))};

#undef I
#undef D
#undef C

/* A method on one to three single rows or columns and a float: chgcoef,
 * chgqobj, chgqrowcoeff and their getters.  The getters return the float
 * the library writes into *out. */
struct scalar_desc {
    const char *kw[5];
    int kind[3];
    int nidx;
    int setter; /* a float argument follows the indices */
    int (*call)(QNDAprob, const int *, double, double *);
};

template<const scalar_desc *S>
static PyObject *
chg_scalar(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *formats[2][4] = {{"", "O", "OO", "OOO"}, {"", "Od", "OOd", "OOOd"}};
    PyObject *o[3] = {NULL, NULL, NULL};
    int idx[3] = {0, 0, 0};
    double val = 0.0, out = 0.0;
    problem_s *p;
    int ok;

    if (S->nidx == 2)
        ok = S->setter ? PyArg_ParseTupleAndKeywords(args, kwargs, formats[1][2], (char **)S->kw,
                                                     &o[0], &o[1], &val)
                       : PyArg_ParseTupleAndKeywords(args, kwargs, formats[0][2], (char **)S->kw,
                                                     &o[0], &o[1]);
    else
        ok = S->setter ? PyArg_ParseTupleAndKeywords(args, kwargs, formats[1][3], (char **)S->kw,
                                                     &o[0], &o[1], &o[2], &val)
                       : PyArg_ParseTupleAndKeywords(args, kwargs, formats[0][3], (char **)S->kw,
                                                     &o[0], &o[1], &o[2]);
    if (!ok || (p = api_prob(self)) == NULL)
        return NULL;
    for (int i = 0; i < S->nidx; i++) {
        if (ObjInt2int(o[i], self, &idx[i], S->kind[i]) != 0)
            return NULL;
    }
    if (S->call(p->prob, idx, val, &out) != 0)
        return api_fail(self);
    if (S->setter)
        Py_RETURN_NONE;
    return PyFloat_FromDouble(out);
}

#define SCALAR_CALL(expr)                                                                          \
    [](QNDAprob prob, const int *i, double v, double *out) -> int {                                \
        (void)v;                                                                                   \
        (void)out;                                                                                 \
        return (expr);                                                                             \
    }

static const scalar_desc sc_chgcoef = {{"irow", "icol", "dval", NULL},
                                       {CONV_ROW, CONV_COL},
                                       2,
                                       1,
                                       SCALAR_CALL(QNDAchgcoef(prob, i[0], i[1], v))};
static const scalar_desc sc_chgqobj = {{"icol", "jcol", "dval", NULL},
                                       {CONV_COL, CONV_COL},
                                       2,
                                       1,
                                       SCALAR_CALL(QNDAchgqobj(prob, i[0], i[1], v))};
static const scalar_desc sc_chgqrowcoeff = {{"irow", "icol", "jcol", "dval", NULL},
                                            {CONV_ROW, CONV_COL, CONV_COL},
                                            3,
                                            1,
                                            SCALAR_CALL(
                                                QNDAchgqrowcoeff(prob, i[0], i[1], i[2], v))};
static const scalar_desc sc_getcoef = {{"irow", "icol", NULL},
                                       {CONV_ROW, CONV_COL},
                                       2,
                                       0,
                                       SCALAR_CALL(QNDAgetcoef(prob, i[0], i[1], out))};
static const scalar_desc sc_getqobj = {{"icol", "jcol", NULL},
                                       {CONV_COL, CONV_COL},
                                       2,
                                       0,
                                       SCALAR_CALL(QNDAgetqobj(prob, i[0], i[1], out))};
static const scalar_desc sc_getqrowcoeff = {{"irow", "icol", "jcol", NULL},
                                            {CONV_ROW, CONV_COL, CONV_COL},
                                            3,
                                            0,
                                            SCALAR_CALL(
                                                QNDAgetqrowcoeff(prob, i[0], i[1], i[2], out))};

/* chgobjsense(sense): 1 minimises, any other value maximises.  With
 * nonlinear content the sense belongs to the nonlinear layer's control. */
static PyObject *
QNDA_PY_chgobjsense(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"sense", NULL};
    int sense = 1;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "i", (char **)kwlist, &sense) ||
        (p = api_prob(self)) == NULL)
        return NULL;
    sense = sense == 1 ? 1 : -1;
    if ((p->n_nlcons > 0 || p->nl_obj) && p->slpprob != NULL) {
        if (QSLPsetdblcontrol(p->slpprob, 12146, (double)sense) != 0)
            return api_fail(self);
    } else if (QNDAchgobjsense(p->prob, sense) != 0) {
        return api_fail(self);
    }
    Py_RETURN_NONE;
}

static PyObject *
QNDA_PY_loadlpsol(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"x", "slack", "dual", "dj", NULL};
    PyObject *o[4] = {NULL, NULL, NULL, NULL};
    double *v[4] = {NULL, NULL, NULL, NULL};
    api_arrays a(self);
    QNDAint64 rows, cols;
    int status = 0;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "|OOOO", (char **)kwlist, &o[0], &o[1], &o[2],
                                     &o[3]) ||
        (p = api_prob(self)) == NULL || api_sizes(self, &rows, &cols) != 0)
        return NULL;
    if (a.in(o[0], &cols, &v[0], CONV_DOUBLE) || a.in(o[1], &rows, &v[1], CONV_DOUBLE) ||
        a.in(o[2], &rows, &v[2], CONV_DOUBLE) || a.in(o[3], &cols, &v[3], CONV_DOUBLE))
        return NULL;
    if (QNDAloadlpsol(p->prob, v[0], v[1], v[2], v[3], &status) != 0)
        return api_fail(self);
    Py_RETURN_NONE;
}

static PyObject *
QNDA_PY_loadmipsol(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"dsol", NULL};
    PyObject *o = NULL;
    double *x = NULL;
    api_arrays a(self);
    QNDAint64 rows, cols;
    int status = 0;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "O", (char **)kwlist, &o) ||
        (p = api_prob(self)) == NULL || api_sizes(self, &rows, &cols) != 0)
        return NULL;
    if (api_absent(o)) {
        api_missing("Must provide argument dsol");
        return NULL;
    }
    if (a.in(o, &cols, &x, CONV_DOUBLE))
        return NULL;
    if (QNDAloadmipsol(p->prob, x, &status) != 0)
        return api_fail(self);
    Py_RETURN_NONE;
}

/* loadbasis and loadpresolvebasis. */
template<int (*F)(QNDAprob, const int *, const int *)>
static PyObject *
chg_basis(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"rstatus", "cstatus", NULL};
    PyObject *ro = NULL, *co = NULL;
    int *rs = NULL, *cs = NULL;
    api_arrays a(self);
    QNDAint64 rows, cols;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OO", (char **)kwlist, &ro, &co) ||
        (p = api_prob(self)) == NULL || api_sizes(self, &rows, &cols) != 0)
        return NULL;
    if (api_absent(ro) || api_absent(co)) {
        api_missing("Must provide arguments rstatus, cstatus");
        return NULL;
    }
    if (a.in(ro, &rows, &rs, CONV_INT) || a.in(co, &cols, &cs, CONV_INT))
        return NULL;
    if (F(p->prob, rs, cs) != 0)
        return api_fail(self);
    Py_RETURN_NONE;
}

#define CHG_DOC_LISTS "  Arrays may be lists, tuples, iterators or NumPy arrays."

PyMethodDef api_change_methods[] =
    {{"chgbounds", API_KW(chg_arrays<&chg_bounds>),
      "chgbounds(mindex, qbtype, bnd)\n\nChange bounds: for each k, the bound of column "
      "mindex[k] of type qbtype[k] ('U' upper, 'L' lower, 'B' both) becomes bnd[k]." CHG_DOC_LISTS},
     {"chgcoef", API_KW(chg_scalar<&sc_chgcoef>),
      "chgcoef(irow, icol, dval)\n\nSet the matrix entry of row irow and column icol to dval "
      "(0 removes it).  Rows and columns by index, object or name."},
     {"chgmcoef", API_KW(chg_arrays<&chg_mcoef>),
      "chgmcoef(mrow, mcol, dval)\n\nSet the matrix entries (mrow[k], mcol[k]) to "
      "dval[k]." CHG_DOC_LISTS},
     {"chgcoltype", API_KW(chg_arrays<&chg_coltype>),
      "chgcoltype(mindex, qctype)\n\nChange column types: qctype[k] is 'C', 'I', 'B', 'S', 'R' "
      "or 'P' for column mindex[k]." CHG_DOC_LISTS},
     {"chgglblimit", API_KW(chg_arrays<&chg_glblimit>),
      "chgglblimit(mindex, dlimit)\n\nChange the thresholds of semi-continuous and partially "
      "integer columns." CHG_DOC_LISTS},
     {"chgobj", API_KW(chg_arrays<&chg_obj>),
      "chgobj(mindex, obj)\n\nChange objective coefficients; index -1 sets the objective's "
      "constant." CHG_DOC_LISTS},
     {"chgmqobj", API_KW(chg_arrays<&chg_mqobj>),
      "chgmqobj(mqcol1, mqcol2, dval)\n\nSet the quadratic objective coefficients of the pairs "
      "of columns (mqcol1[k], mqcol2[k])." CHG_DOC_LISTS},
     {"chgqobj", API_KW(chg_scalar<&sc_chgqobj>),
      "chgqobj(icol, jcol, dval)\n\nSet the quadratic objective coefficient of columns icol and "
      "jcol."},
     {"chgqrowcoeff", API_KW(chg_scalar<&sc_chgqrowcoeff>),
      "chgqrowcoeff(irow, icol, jcol, dval)\n\nSet the quadratic coefficient of columns icol and "
      "jcol in row irow."},
     {"chgrhs", API_KW(chg_arrays<&chg_rhs>),
      "chgrhs(mindex, rhs)\n\nChange the right-hand sides of rows mindex." CHG_DOC_LISTS},
     {"chgrhsrange", API_KW(chg_arrays<&chg_rhsrange>),
      "chgrhsrange(mindex, rng)\n\nMake rows mindex ranged with the ranges rng." CHG_DOC_LISTS},
     {"chgrowtype", API_KW(chg_arrays<&chg_rowtype>),
      "chgrowtype(mindex, qrtype)\n\nChange row types ('L', 'G', 'E', 'R', 'N')." CHG_DOC_LISTS},
     {"chgobjsense", API_KW(QNDA_PY_chgobjsense),
      "chgobjsense(sense)\n\nMinimise when sense is 1 (quenda.minimize); any other value "
      "maximises."},
     {"setindicators", API_KW(chg_arrays<&chg_indicators>),
      "setindicators(mrows, inds, comps)\n\nMake rows mrows indicator rows of the binary columns "
      "inds: comps[k] 1 activates the row when the column is 1, -1 when it is 0, 0 makes the "
      "row ordinary again." CHG_DOC_LISTS},
     {"loadmodelcuts", API_KW(chg_arrays<&chg_modelcuts>),
      "loadmodelcuts(mrows)\n\nMark rows as model cuts: rows the engine may use from the "
      "start."},
     {"loaddelayedrows", API_KW(chg_arrays<&chg_delayedrows>),
      "loaddelayedrows(mrows)\n\nMark rows as delayed (lazy): left out of the first "
      "relaxation and added when a solution violates them; every solution reported satisfies "
      "them."},
     {"loadbranchdirs", API_KW(chg_arrays<&chg_branchdirs>),
      "loadbranchdirs(mcols, mbranch=None)\n\nPreferred branching directions of columns: "
      "mbranch[k] > 0 up, < 0 down, 0 none."},
     {"getcoef", API_KW(chg_scalar<&sc_getcoef>),
      "getcoef(irow, icol)\n\nThe matrix entry of row irow and column icol."},
     {"getqobj", API_KW(chg_scalar<&sc_getqobj>),
      "getqobj(icol, jcol)\n\nThe quadratic objective coefficient of columns icol and jcol."},
     {"getqrowcoeff", API_KW(chg_scalar<&sc_getqrowcoeff>),
      "getqrowcoeff(irow, icol, jcol)\n\nThe quadratic coefficient of columns icol and jcol in "
      "row irow."},
     {"loadlpsol", API_KW(QNDA_PY_loadlpsol),
      "loadlpsol(x=None, slack=None, dual=None, dj=None)\n\nLoad a starting solution for the "
      "next LP optimisation: x and dj per column, slack and dual per row."},
     {"loadmipsol", API_KW(QNDA_PY_loadmipsol),
      "loadmipsol(dsol)\n\nLoad a solution (a value per column) as a start of the next MIP "
      "search."},
     {"loadbasis", API_KW(chg_basis<QNDAloadbasis>),
      "loadbasis(rstatus, cstatus)\n\nLoad a starting basis: a status per row and per column "
      "(0 at lower bound, 1 basic, 2 at upper bound, 3 superbasic)."},
     {"loadpresolvebasis", API_KW(chg_basis<QNDAloadpresolvebasis>),
      "loadpresolvebasis(rstatus, cstatus)\n\nAs loadbasis, for the presolved problem (which "
      "outside an optimisation is the problem itself)."},
     {NULL, NULL, 0, NULL}};
