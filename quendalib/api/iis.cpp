/* Irreducible infeasible subsystems of a problem: the searches (iisfirst,
 * iisnext, iisall) return the library's status (0 found, 1 feasible or no
 * further subsystem, 2 failed); the readers fill the caller's lists. */
#include "api/analysis.h"

#include "module/session.h"

/* A search: the status as an int, or NULL. */
static PyObject *
iis_status_result(PyObject *self, int rc, const int *status)
{
    PyObject *res = rc == 0 ? PyLong_FromLong(*status) : NULL;
    return quenda_result(self, res);
}

static PyObject *
QNDA_PY_iisfirst(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"iismode", NULL};
    int mode, status = 2;
    QNDAprob prob;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "i", (char **)kwlist, &mode))
        return NULL;
    if ((prob = api_handle(self)) == NULL)
        return NULL;
    return iis_status_result(self, QNDAiisfirst(prob, mode, &status), &status);
}

/* iisnext() and iisall(): a search without arguments. */
static PyObject *
iis_search(PyObject *self, int (*call)(QNDAprob, int *))
{
    int status = 2;
    QNDAprob prob = api_handle(self);
    if (prob == NULL)
        return NULL;
    return iis_status_result(self, call(prob, &status), &status);
}

/* The methods without arguments, each one library call. */
#define IIS_NOARGS(name, call)                                                                     \
    static PyObject *QNDA_PY_##name(PyObject *self, PyObject *unused)                              \
    {                                                                                              \
        return call;                                                                               \
    }

IIS_NOARGS(iisnext, iis_search(self, QNDAiisnext))
IIS_NOARGS(iisall, iis_search(self, QNDAiisall))
IIS_NOARGS(iisclear, api_noargs(self, QNDAiisclear))

/* iisstatus(rowsizes, colsizes, suminfeas, numinfeas): fills the lists,
 * one entry per subsystem found, and returns how many there are. */
static PyObject *
QNDA_PY_iisstatus(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"rowsizes", "colsizes", "suminfeas", "numinfeas", NULL};
    PyObject *out[4], *res = NULL;
    int count = 0, *rows = NULL, *cols = NULL, *num = NULL;
    double *sum = NULL;
    QNDAprob prob;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OOOO", (char **)kwlist, &out[0], &out[1],
                                     &out[2], &out[3]))
        return NULL;
    for (int k = 0; k < 4; k++)
        if (api_check_outlist(out[k], kwlist[k]) < 0)
            return NULL;
    if ((prob = api_handle(self)) == NULL)
        return NULL;
    if (QNDAiisstatus(prob, &count, NULL, NULL, NULL, NULL) != 0)
        goto done;
    if ((rows = (int *)qarr_alloc(count * sizeof(int))) == NULL ||
        (cols = (int *)qarr_alloc(count * sizeof(int))) == NULL ||
        (num = (int *)qarr_alloc(count * sizeof(int))) == NULL ||
        (sum = (double *)qarr_alloc(count * sizeof(double))) == NULL)
        goto done;
    /* The violation measures cost a solve per subsystem: only when asked. */
    if (QNDAiisstatus(prob, &count, rows, cols, out[2] != Py_None ? sum : NULL,
                      out[3] != Py_None ? num : NULL) != 0)
        goto done;
    if (conv_arr2obj(self, count, rows, &out[0], CONV_INT) < 0 ||
        conv_arr2obj(self, count, cols, &out[1], CONV_INT) < 0 ||
        conv_arr2obj(self, count, sum, &out[2], CONV_DOUBLE) < 0 ||
        conv_arr2obj(self, count, num, &out[3], CONV_INT) < 0)
        goto done;
    res = PyLong_FromLong(count);
done:
    qarr_free(&rows);
    qarr_free(&cols);
    qarr_free(&num);
    qarr_free(&sum);
    return quenda_result(self, res);
}

static PyObject *
QNDA_PY_iisisolations(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return api_int_call(self, args, kwargs, "num", QNDAiisisolations);
}

static PyObject *
QNDA_PY_iiswrite(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"num", "fn", "type", "typeflags", NULL};
    int num, type;
    const char *fn, *flags;
    QNDAprob prob;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "isis", (char **)kwlist, &num, &fn, &type,
                                     &flags))
        return NULL;
    if ((prob = api_handle(self)) == NULL)
        return NULL;
    return api_none_if(self, QNDAiiswrite(prob, num, fn, type, flags));
}

/* getiisdata(num, miisrow, miiscol, constrainttype, colbndtype, duals,
 * rdcs, isolationrows, isolationcols): every output optional. */
static PyObject *
QNDA_PY_getiisdata(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"num",           "miisrow", "miiscol", "constrainttype",
                                   "colbndtype",    "duals",   "rdcs",    "isolationrows",
                                   "isolationcols", NULL};
    static const int kinds[8] = {CONV_ROW,    CONV_COL,    CONV_CHAR,    CONV_CHAR,
                                 CONV_DOUBLE, CONV_DOUBLE, CONV_CHARNUM, CONV_CHARNUM};
    PyObject *out[8] = {NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL}, *res = NULL;
    void *arr[8] = {NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL};
    int num, nrows = 0, ncols = 0;
    QNDAprob prob;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "i|OOOOOOOO", (char **)kwlist, &num, &out[0],
                                     &out[1], &out[2], &out[3], &out[4], &out[5], &out[6], &out[7]))
        return NULL;
    for (int k = 0; k < 8; k++)
        if (api_check_outlist(out[k], kwlist[k + 1]) < 0)
            return NULL;
    if ((prob = api_handle(self)) == NULL)
        return NULL;
    if (QNDAgetiisdata(prob, num, &nrows, &ncols, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL) !=
        0)
        goto done;
    for (int k = 0; k < 8; k++) {
        const int n = k % 2 == 0 ? nrows : ncols;
        const size_t size = kinds[k] == CONV_DOUBLE                        ? sizeof(double)
                            : kinds[k] == CONV_ROW || kinds[k] == CONV_COL ? sizeof(int)
                                                                           : sizeof(char);
        if (out[k] != NULL && out[k] != Py_None && (arr[k] = qarr_alloc(n * size)) == NULL)
            goto done;
    }
    if (QNDAgetiisdata(prob, num, &nrows, &ncols, (int *)arr[0], (int *)arr[1], (char *)arr[2],
                       (char *)arr[3], (double *)arr[4], (double *)arr[5], (char *)arr[6],
                       (char *)arr[7]) != 0)
        goto done;
    for (int k = 0; k < 8; k++)
        if (conv_arr2obj(self, k % 2 == 0 ? nrows : ncols, arr[k], &out[k], kinds[k]) < 0)
            goto done;
    res = Py_NewRef(Py_None);
done:
    for (int k = 0; k < 8; k++)
        qarr_free(&arr[k]);
    return quenda_result(self, res);
}

#define IIS_METHOD(name, flags, doc)                                                               \
    {#name, (PyCFunction)(void (*)(void))QNDA_PY_##name, flags, doc}

PyMethodDef api_iis_methods[] =
    {IIS_METHOD(iisfirst, METH_VARARGS | METH_KEYWORDS,
                "iisfirst(iismode): finds a first infeasible subsystem (mode 1: irreducible); "
                "returns 0 found, 1 feasible, 2 failed"),
     IIS_METHOD(iisnext, METH_NOARGS,
                "iisnext(): finds a further irreducible infeasible subsystem"),
     IIS_METHOD(iisall, METH_NOARGS, "iisall(): finds subsystems up to the control maxiis"),
     IIS_METHOD(iisclear, METH_NOARGS, "iisclear(): forgets the subsystems found"),
     IIS_METHOD(iisstatus, METH_VARARGS | METH_KEYWORDS,
                "iisstatus(rowsizes, colsizes, suminfeas, numinfeas): sizes and violations of "
                "each subsystem; returns their count"),
     IIS_METHOD(iisisolations, METH_VARARGS | METH_KEYWORDS,
                "iisisolations(num): marks the members of subsystem num in no other one"),
     IIS_METHOD(iiswrite, METH_VARARGS | METH_KEYWORDS,
                "iiswrite(num, fn, type, typeflags): writes subsystem num (type 0 LP, 1 CSV)"),
     IIS_METHOD(getiisdata, METH_VARARGS | METH_KEYWORDS,
                "getiisdata(num, miisrow=None, miiscol=None, constrainttype=None, colbndtype=None, "
                "duals=None, rdcs=None, isolationrows=None, isolationcols=None): the members of "
                "subsystem num, each output list filled when given"),
     {NULL, NULL, 0, NULL}};
