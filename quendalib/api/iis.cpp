/* Irreducible infeasible subsystems of a problem: the searches (iisfirst,
 * iisnext, iisall) return the library's status (0 found, 1 feasible or no
 * further subsystem, 2 failed); the readers fill the caller's lists. */
#include "api/analysis.h"

#include "module/session.h"

/* A zeroed buffer from the library's allocator; NULL with MemoryError. */
static void *
iis_alloc(size_t bytes)
{
    void *p = NULL;
    if (qo_MemoryAllocator_Alloc_Untyped(qo_MemoryAllocator_DefaultHeap, bytes ? bytes : 1, &p) !=
            0 ||
        p == NULL) {
        PyErr_NoMemory();
        return NULL;
    }
    memset(p, 0, bytes ? bytes : 1);
    return p;
}

static void
iis_free(void *pp)
{
    if (*(void **)pp != NULL)
        qo_MemoryAllocator_Free_Untyped(qo_MemoryAllocator_DefaultHeap, (void **)pp);
}

/* A search: the status as an int, or NULL. */
static PyObject *
iis_status_result(PyObject *self, int rc, const int *status)
{
    PyObject *res = rc == 0 ? PyLong_FromLong(*status) : NULL;
    setQndaErrIfNull(self, res);
    return res;
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

static PyObject *
QNDA_PY_iisnext(PyObject *self, PyObject *unused)
{
    int status = 2;
    QNDAprob prob = api_handle(self);
    if (prob == NULL)
        return NULL;
    return iis_status_result(self, QNDAiisnext(prob, &status), &status);
}

static PyObject *
QNDA_PY_iisall(PyObject *self, PyObject *unused)
{
    int status = 2;
    QNDAprob prob = api_handle(self);
    if (prob == NULL)
        return NULL;
    return iis_status_result(self, QNDAiisall(prob, &status), &status);
}

static PyObject *
QNDA_PY_iisclear(PyObject *self, PyObject *unused)
{
    PyObject *res = NULL;
    QNDAprob prob = api_handle(self);
    if (prob == NULL)
        return NULL;
    if (QNDAiisclear(prob) == 0)
        res = Py_NewRef(Py_None);
    setQndaErrIfNull(self, res);
    return res;
}

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
    if ((rows = (int *)iis_alloc(count * sizeof(int))) == NULL ||
        (cols = (int *)iis_alloc(count * sizeof(int))) == NULL ||
        (num = (int *)iis_alloc(count * sizeof(int))) == NULL ||
        (sum = (double *)iis_alloc(count * sizeof(double))) == NULL)
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
    iis_free(&rows);
    iis_free(&cols);
    iis_free(&num);
    iis_free(&sum);
    setQndaErrIfNull(self, res);
    return res;
}

static PyObject *
QNDA_PY_iisisolations(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"num", NULL};
    int num;
    PyObject *res = NULL;
    QNDAprob prob;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "i", (char **)kwlist, &num))
        return NULL;
    if ((prob = api_handle(self)) == NULL)
        return NULL;
    if (QNDAiisisolations(prob, num) == 0)
        res = Py_NewRef(Py_None);
    setQndaErrIfNull(self, res);
    return res;
}

static PyObject *
QNDA_PY_iiswrite(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"num", "fn", "type", "typeflags", NULL};
    int num, type;
    const char *fn, *flags;
    PyObject *res = NULL;
    QNDAprob prob;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "isis", (char **)kwlist, &num, &fn, &type,
                                     &flags))
        return NULL;
    if ((prob = api_handle(self)) == NULL)
        return NULL;
    if (QNDAiiswrite(prob, num, fn, type, flags) == 0)
        res = Py_NewRef(Py_None);
    setQndaErrIfNull(self, res);
    return res;
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
        if (out[k] != NULL && out[k] != Py_None && (arr[k] = iis_alloc(n * size)) == NULL)
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
        iis_free(&arr[k]);
    setQndaErrIfNull(self, res);
    return res;
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
                "getiisdata(num, miisrow, miiscol, constrainttype, colbndtype, duals, rdcs, "
                "isolationrows, isolationcols): the members of subsystem num"),
     {NULL, NULL, 0, NULL}};
