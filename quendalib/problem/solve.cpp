/* Objective, optimisation and status of a problem.
 *
 * The objective goes to the library whole on every setObjective: the old
 * linear part and constant are overwritten by one dense QNDAchgobj over all
 * columns (which costs one pass over the columns and needs no knowledge of
 * what was there), and the old quadratic part is read back and zeroed
 * before the new terms are set.  The solve runs with the interpreter lock
 * released and SIGINT handed to the library, so Ctrl-C stops the
 * optimisation (stop reason stop_ctrlc) instead of raising
 * KeyboardInterrupt in an interpreter that is not running. */
#include "problem/solve.h"

#include "algebra/exprtype.h"
#include "module/npy.h"
#include "module/session.h"
#include "problem/alloc.h"
#include "problem/nlhooks.h"
#include "problem/objtransfer.h"
#include "problem/split.h"

#include "qnda.h"
#include "qslp.h"

/* Library attribute and control ids used here. */
#define SOLVE_ATTR_COLS 1214    /* columns as loaded */
#define SOLVE_ATTR_MIPENTS 1032 /* discrete entities */
#define SOLVE_ATTR_SETS 1004    /* special ordered sets */
#define SOLVE_ATTR_LPSTATUS 1010
#define SOLVE_ATTR_MIPSTATUS 1011
#define SOLVE_ATTR_LPOBJVAL 2001
#define SOLVE_ATTR_MIPOBJVAL 2003
#define SOLVE_SLP_ATTR_STATUS 12044
#define SOLVE_SLP_ATTR_OBJVAL 12179
#define SOLVE_SLP_CTRL_OBJSENSE 12146

/* ------------------------------------------------------------------ */
/* Shared tests                                                         */

int
problem_is_nonlinear(problem_s *p)
{
    return p->n_nlcons >= 1 || p->nl_obj != 0;
}

int
problem_slp_in_use(void)
{
    int slp;
    quenda_env_busy = 1;
    slp = qnda_py_env.slp_state == 1;
    quenda_env_busy = 0;
    return slp;
}

int
problem_is_mip(problem_s *p, int *mip)
{
    int nents = 0, nsets = 0;

    if (problem_intattr2(p, SOLVE_ATTR_MIPENTS, &nents, SOLVE_ATTR_SETS, &nsets) != 0)
        return -1;
    *mip = nents != 0 || nsets != 0;
    return 0;
}

/* ModelError when the problem has no library handle (a bare instance). */
static int
problem_check_handle(problem_s *p)
{
    if (p->prob == NULL) {
        PyErr_SetString(quenda_ModelError, "Problem not initialized");
        return -1;
    }
    return 0;
}

/* ------------------------------------------------------------------ */
/* setObjective                                                         */

/* The objective in library form: dense linear coefficients with the
 * constant last (one QNDAchgobj overwrites the old objective whole), and
 * the quadratic monomials from the split. */
typedef struct {
    double *obj; /* ncols + 1 entries: columns, then the constant */
    int *objind; /* 0 .. ncols - 1, then -1 */
    lqsplit split;
} objparts;

static void
objparts_free(objparts *o)
{
    void *h = qo_MemoryAllocator_DefaultHeap;
    qo_MemoryAllocator_Free_Untyped(h, (void **)&o->obj);
    qo_MemoryAllocator_Free_Untyped(h, (void **)&o->objind);
    lqsplit_free(&o->split);
}

/* Splits obj into *o over ncols columns.  0, or -1 with an exception set. */
static int
problem_obj_split(problem_s *p, PyObject *obj, int ncols, objparts *o)
{
    int64_t k;

    if (splitExpr((PyObject *)p, obj, 1.0, &o->split, NULL) != 0 ||
        lqsplit_check_values(&o->split, (PyObject *)p, 0, 0, "The objective") != 0)
        return -1;
    o->obj = (double *)qarr_alloc(((size_t)ncols + 1) * sizeof(double));
    o->objind = (int *)qarr_alloc(((size_t)ncols + 1) * sizeof(int));
    if (o->obj == NULL || o->objind == NULL)
        return -1;
    for (k = 0; k < ncols; k++) {
        o->obj[k] = 0.0;
        o->objind[k] = (int)k;
    }
    for (k = 0; k < o->split.nlin; k++)
        o->obj[o->split.lincol[k]] += o->split.lincoef[k];
    o->objind[ncols] = -1;
    o->obj[ncols] = o->split.constant;
    return 0;
}

/* Zeroes the quadratic part of the objective now in the library.  0, or -1
 * with the library's error raised. */
static int
problem_clear_qobj(problem_s *p, int ncols)
{
    void *h = qo_MemoryAllocator_DefaultHeap;
    QNDAint64 nq = 0, k, *start = NULL;
    int *col1 = NULL, *col2 = NULL, i, ret = -1;
    double *coef = NULL;

    if (ncols == 0)
        return 0;
    if (QNDAgetmqobj64(p->prob, NULL, NULL, NULL, 0, &nq, 0, ncols - 1) != 0)
        goto error;
    if (nq == 0)
        return 0;
    start = (QNDAint64 *)qarr_alloc(((size_t)ncols + 1) * sizeof(QNDAint64));
    col1 = (int *)qarr_alloc((size_t)nq * sizeof(int));
    col2 = (int *)qarr_alloc((size_t)nq * sizeof(int));
    coef = (double *)qarr_alloc((size_t)nq * sizeof(double));
    if (start == NULL || col1 == NULL || col2 == NULL || coef == NULL)
        goto done;
    if (QNDAgetmqobj64(p->prob, start, col2, coef, nq, &nq, 0, ncols - 1) != 0)
        goto error;
    for (i = 0; i < ncols; i++)
        for (k = start[i]; k < start[i + 1]; k++) {
            col1[k] = i;
            coef[k] = 0.0;
        }
    if (QNDAchgmqobj64(p->prob, nq, col1, col2, coef) != 0)
        goto error;
    ret = 0;
    goto done;
error:
    setQndaErrIfNull((PyObject *)p, NULL);
done:
    qo_MemoryAllocator_Free_Untyped(h, (void **)&start);
    qo_MemoryAllocator_Free_Untyped(h, (void **)&col1);
    qo_MemoryAllocator_Free_Untyped(h, (void **)&col2);
    qo_MemoryAllocator_Free_Untyped(h, (void **)&coef);
    return ret;
}

static PyObject *
problem_setObjective(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"objective", "sense", NULL};
    problem_s *p = (problem_s *)self;
    PyObject *objective = NULL; /* borrowed */
    PyObject *item = NULL;      /* owned: the element of a one-element array */
    PyObject *zero = NULL;      /* owned: the linear stand-in of a nonlinear objective */
    PyObject *nlobj = NULL;     /* borrowed: a nonlinear objective */
    PyObject *res = NULL;
    objparts parts;
    long sense = 1;
    int kind, ncols = 0;

    parts.obj = NULL;
    parts.objind = NULL;
    lqsplit_init(&parts.split);

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "O|l", (char **)kwlist, &objective, &sense))
        goto done;
    if (problem_check_handle(p) != 0)
        goto done;
    if (sense != 1 && sense != -1) {
        PyErr_SetString(quenda_ModelError, "Invalid optimization sense");
        goto done;
    }
    if (is_ndarray(objective)) {
        PyArrayObject *arr = (PyArrayObject *)objective;
        if (PyArray_SIZE(arr) > 1) {
            PyErr_SetString(quenda_ModelError,
                            "Only one objective can be set, passed a sequence or NumPy array");
            goto done;
        }
        if (PyArray_SIZE(arr) == 1) {
            /* the only element sits at the start of the data, whatever the shape */
            item = PyArray_GETITEM(arr, (const char *)PyArray_DATA(arr));
            if (item == NULL)
                goto done;
            objective = item;
        }
    }
    kind = is_ndarray(objective) ? EXPR_INVALID : getExprType(objective);
    if (kind == EXPR_INVALID) {
        PyErr_Clear();
        PyErr_SetString(quenda_ModelError, "Invalid object set as objective");
        goto done;
    }
    /* the old nonlinear objective's transfer row and column go first, so
       that the columns below are the user's */
    if (objtransfer_remove(p) != 0)
        goto done;
    if (QNDAgetintattrib(p->prob, SOLVE_ATTR_COLS, &ncols) != 0)
        goto done;
    if (kind == EXPR_NONLINEAR) {
        /* the whole objective goes to the transfer row */
        if (p->slpprob == NULL || problem_nl_hooks.add_row_part == NULL) {
            PyErr_SetString(quenda_ModelError, "The nonlinear solver is not available");
            goto done;
        }
        nlobj = objective;
        objective = zero = PyFloat_FromDouble(0.0);
        if (zero == NULL)
            goto done;
    }
    if (problem_obj_split(p, objective, ncols, &parts) != 0)
        goto done;
    if (problem_clear_qobj(p, ncols) != 0)
        goto done;
    if (QNDAchgobj(p->prob, ncols + 1, parts.objind, parts.obj) != 0)
        goto done;
    if (parts.split.nquad > 0 && QNDAchgmqobj64(p->prob, parts.split.nquad, parts.split.qcol1,
                                                parts.split.qcol2, parts.split.qcoef) != 0)
        goto done;
    if (QNDAchgobjsense(p->prob, (int)sense) != 0)
        goto done;
    if (nlobj != NULL && objtransfer_add(p, nlobj) != 0)
        goto done;
    if (problem_is_nonlinear(p) && p->slpprob != NULL && problem_slp_in_use() &&
        QSLPsetdblcontrol(p->slpprob, SOLVE_SLP_CTRL_OBJSENSE, (double)sense) != 0)
        goto done;
    res = Py_NewRef(Py_None);
done:
    objparts_free(&parts);
    Py_XDECREF(item);
    Py_XDECREF(zero);
    return quenda_result(self, res);
}

/* ------------------------------------------------------------------ */
/* solve                                                                */

static PyObject *
problem_solve(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"flags", NULL};
    problem_s *p = (problem_s *)self;
    PyObject *flagsobj = NULL; /* borrowed */
    PyObject *res = NULL;
    const char *flags = NULL; /* borrowed from flagsobj */
    int mip = 0, rc;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "|O", (char **)kwlist, &flagsobj))
        goto done;
    if (problem_check_handle(p) != 0)
        goto done;
    if (problem_is_mip(p, &mip) != 0)
        goto done;
    if (flagsobj != NULL && flagsobj != Py_None) {
        if (!PyUnicode_Check(flagsobj)) {
            PyErr_SetString(quenda_ModelError, "Flags must be a string");
            goto done;
        }
        flags = PyUnicode_AsUTF8(flagsobj);
        if (flags == NULL)
            goto done;
    }
    if (problem_is_nonlinear(p)) {
        int sense = 1;
        if (p->slpprob == NULL || !problem_slp_in_use()) {
            PyErr_SetString(quenda_ModelError, "The nonlinear solver is not available");
            goto done;
        }
        if (QNDAgetintattrib(p->prob, QNDA_OBJSENSE_ATTR, &sense) != 0 ||
            QSLPsetdblcontrol(p->slpprob, SOLVE_SLP_CTRL_OBJSENSE, (double)sense) != 0)
            goto done;
        setSigIntHandler();
        Py_BEGIN_ALLOW_THREADS
        rc = QSLPnlpoptimize(p->slpprob, flags);
        Py_END_ALLOW_THREADS
        resetSigIntHandler();
        /* A callback's exception wins over the library's code: it is the cause. */
        if (quenda_cb_error_restore() || rc != 0)
            goto done;
        res = Py_NewRef(Py_None);
        goto done;
    }

    setSigIntHandler();
    Py_BEGIN_ALLOW_THREADS
    rc = mip ? QNDAmipoptimize(p->prob, flags) : QNDAlpoptimize(p->prob, flags);
    Py_END_ALLOW_THREADS
    resetSigIntHandler();

    /* A callback's exception wins over the library's code: it is the cause. */
    if (quenda_cb_error_restore() || rc != 0)
        goto done;
    res = Py_NewRef(Py_None);
done:
    return quenda_result(self, res);
}

/* ------------------------------------------------------------------ */
/* Status and objective value                                           */

/* The status number and whether it is read as a nonlinear, mixed-integer
 * or linear status (2, 1, 0 in *column).  0, or -1 with an exception. */
static int
problem_status(problem_s *p, int *status, int *column)
{
    int mip = 0;

    if (problem_check_handle(p) != 0)
        return -1;
    *status = 0;
    if (problem_is_nonlinear(p)) {
        *column = 2;
        if (p->slpprob != NULL && problem_slp_in_use()) {
            if (QSLPgetintattrib(p->slpprob, SOLVE_SLP_ATTR_STATUS, status) != 0)
                goto error;
            return 0;
        }
        if (problem_is_mip(p, &mip) != 0)
            return -1;
    } else {
        if (problem_is_mip(p, &mip) != 0)
            return -1;
        *column = mip ? 1 : 0;
    }
    if (QNDAgetintattrib(p->prob, mip ? SOLVE_ATTR_MIPSTATUS : SOLVE_ATTR_LPSTATUS, status) != 0)
        goto error;
    return 0;
error:
    setQndaErrIfNull((PyObject *)p, NULL);
    return -1;
}

/* No arguments, then problem_status.  0, or -1 with an exception set. */
static int
problem_status_noargs(PyObject *self, PyObject *args, PyObject *kwargs, int *status, int *column)
{
    static const char *kwlist[] = {NULL};
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "", (char **)kwlist))
        return -1;
    return problem_status((problem_s *)self, status, column);
}

static PyObject *
problem_getProbStatus(PyObject *self, PyObject *args, PyObject *kwargs)
{
    int status, column;
    PyObject *res = NULL;

    if (problem_status_noargs(self, args, kwargs, &status, &column) == 0)
        res = PyLong_FromLong(status);
    return quenda_result(self, res);
}

static const char *const status_names[3][9] =
    {{"lp_unstarted", "lp_optimal", "lp_infeas", "lp_cutoff", "lp_unfinished", "lp_unbounded",
      "lp_cutoff_in_dual", "lp_unsolved", "lp_nonconvex"},
     {"mip_not_loaded", "mip_lp_not_optimal", "mip_lp_optimal", "mip_no_sol_found", "mip_solution",
      "mip_infeas", "mip_optimal", "mip_unbounded", "mip_unknown"},
     {"nlp_unstarted", "nlp_solution", "nlp_globally_optimal", "nlp_locally_infeasible",
      "nlp_infeasible", "nlp_unbounded", "nlp_unfinished", "nlp_unknown", "nlp_unknown"}};
static const char *const status_unknown[3] = {"lp_unknown", "mip_unknown", "nlp_unknown"};

static PyObject *
problem_getProbStatusString(PyObject *self, PyObject *args, PyObject *kwargs)
{
    int status, column;
    PyObject *res = NULL;

    if (problem_status_noargs(self, args, kwargs, &status, &column) == 0)
        res = PyUnicode_FromString(status >= 0 && status <= 8 ? status_names[column][status]
                                                              : status_unknown[column]);
    return quenda_result(self, res);
}

static PyObject *
problem_getObjVal(PyObject *self, PyObject *noargs)
{
    problem_s *p = (problem_s *)self;
    PyObject *res = NULL;
    double val = 0.0;
    int mip = 0;

    if (problem_check_handle(p) != 0)
        goto done;
    if (problem_is_nonlinear(p) && p->slpprob != NULL && problem_slp_in_use()) {
        if (QSLPgetdblattrib(p->slpprob, SOLVE_SLP_ATTR_OBJVAL, &val) != 0)
            goto done;
    } else {
        if (problem_is_mip(p, &mip) != 0)
            goto done;
        if (QNDAgetdblattrib(p->prob, mip ? SOLVE_ATTR_MIPOBJVAL : SOLVE_ATTR_LPOBJVAL, &val) != 0)
            goto done;
    }
    res = PyFloat_FromDouble(val);
done:
    return quenda_result(self, res);
}

PyMethodDef problem_solve_methods[] =
    {{"setObjective", (PyCFunction)(void (*)(void))problem_setObjective,
      METH_VARARGS | METH_KEYWORDS,
      "setObjective(objective, sense=minimize): set the objective function and its sense"},
     {"solve", (PyCFunction)(void (*)(void))problem_solve, METH_VARARGS | METH_KEYWORDS,
      "solve(flags=None): optimise the problem with the routine that fits it"},
     {"getProbStatus", (PyCFunction)(void (*)(void))problem_getProbStatus,
      METH_VARARGS | METH_KEYWORDS, "Return the problem's status number"},
     {"getProbStatusString", (PyCFunction)(void (*)(void))problem_getProbStatusString,
      METH_VARARGS | METH_KEYWORDS, "Return the problem's status name"},
     {"getObjVal", problem_getObjVal, METH_NOARGS, "Return the objective value"},
     {NULL, NULL, 0, NULL}};
