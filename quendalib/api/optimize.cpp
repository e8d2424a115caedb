/* Starting the library's algorithms directly (lpoptimize, mipoptimize) and
 * the file and state methods of a problem.  The optimisations release the
 * interpreter lock and hand SIGINT to the library, so Ctrl-C stops the
 * solve rather than raising KeyboardInterrupt in an interpreter that is
 * not running; callbacks take the lock back themselves. */
#include "api/analysis.h"

#include "module/session.h"

QNDAprob
api_handle(PyObject *self)
{
    QNDAprob prob = ((problem_s *)self)->prob;
    if (prob == NULL)
        PyErr_SetString(quenda_ModelError, "Problem not initialized");
    return prob;
}

int
api_check_outlist(PyObject *obj, const char *keyword)
{
    if (obj == NULL || obj == Py_None || PyList_Check(obj))
        return 0;
    PyErr_Format(quenda_InterfaceError, "Argument %s must be a list", keyword);
    return -1;
}

typedef int (*flags_call)(QNDAprob, const char *);

/* The long calls: flags parsed, the lock released and SIGINT handed to the
 * library around call.  tune releases the lock and installs the handler
 * before anything else (the handler_first order), takes the lock back just
 * long enough to parse its flags, and releases it again for the call; the
 * optimisations parse first. */
PyObject *
api_none_if(PyObject *self, int rc)
{
    return quenda_result(self, rc == 0 ? Py_NewRef(Py_None) : NULL);
}

PyObject *
api_noargs(PyObject *self, int (*call)(QNDAprob))
{
    QNDAprob prob = api_handle(self);
    return prob == NULL ? NULL : api_none_if(self, call(prob));
}

static PyObject *
api_long_call(PyObject *self, PyObject *args, PyObject *kwargs, flags_call call, int handler_first)
{
    static const char *kwlist[] = {"flags", NULL};
    const char *flags = "";
    PyObject *res = NULL;
    QNDAprob prob = NULL;
    PyThreadState *ts;
    int rc;

    if (handler_first) {
        ts = PyEval_SaveThread();
        setSigIntHandler();
        PyEval_RestoreThread(ts);
    }
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "|s", (char **)kwlist, &flags) ||
        (prob = api_handle(self)) == NULL) {
        if (handler_first)
            resetSigIntHandler();
        return NULL;
    }
    ts = PyEval_SaveThread();
    if (!handler_first)
        setSigIntHandler();
    rc = call(prob, flags);
    resetSigIntHandler();
    PyEval_RestoreThread(ts);
    /* A callback's exception wins over the library's code: it is the cause. */
    if (rc == 0 && !PyErr_Occurred())
        res = Py_NewRef(Py_None);
    return quenda_result(self, res);
}

static PyObject *
QNDA_PY_lpoptimize(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return api_long_call(self, args, kwargs, QNDAlpoptimize, 0);
}

static PyObject *
QNDA_PY_mipoptimize(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return api_long_call(self, args, kwargs, QNDAmipoptimize, 0);
}

PyObject *
api_int_call(PyObject *self, PyObject *args, PyObject *kwargs, const char *kw,
             int (*call)(QNDAprob, int))
{
    const char *kwlist[] = {kw, NULL};
    long value;
    QNDAprob prob;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "l", (char **)kwlist, &value))
        return NULL;
    if ((prob = api_handle(self)) == NULL)
        return NULL;
    if (value < INT_MIN || value > INT_MAX) {
        PyErr_Format(PyExc_OverflowError, "%s out of range", kw);
        return NULL;
    }
    return api_none_if(self, call(prob, (int)value));
}

static PyObject *
QNDA_PY_interrupt(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return api_int_call(self, args, kwargs, "reason", QNDAinterrupt);
}

/* tune(flags=''): the lock released and the SIGINT handler in before the
 * flags are parsed (under the lock, taken back for that only). */
static PyObject *
QNDA_PY_tune(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return api_long_call(self, args, kwargs, QNDAtune, 1);
}

typedef int (*string_call)(QNDAprob, const char *);

/* The methods that pass one string (keyword kw) to the library. */
static PyObject *
api_string(PyObject *self, PyObject *args, PyObject *kwargs, const char *kw, string_call call)
{
    const char *kwlist[] = {kw, NULL};
    const char *filename;
    QNDAprob prob;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "s", (char **)kwlist, &filename))
        return NULL;
    if ((prob = api_handle(self)) == NULL)
        return NULL;
    return api_none_if(self, call(prob, filename));
}

static PyObject *
QNDA_PY_tunerwritemethod(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return api_string(self, args, kwargs, "methodfile", QNDAtunerwritemethod);
}

static PyObject *
QNDA_PY_tunerreadmethod(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return api_string(self, args, kwargs, "methodfile", QNDAtunerreadmethod);
}

/* ------------------------------------------------------------------ */
/* Files: one routine for the methods that pass a name and flags on       */

typedef int (*file_call)(QNDAprob, const char *, const char *);

static PyObject *
api_file(PyObject *self, PyObject *args, PyObject *kwargs, const char *format, file_call call)
{
    static const char *kwlist[] = {"filename", "flags", NULL};
    const char *filename = "", *flags = "";
    QNDAprob prob;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, format, (char **)kwlist, &filename, &flags))
        return NULL;
    if ((prob = api_handle(self)) == NULL)
        return NULL;
    return api_none_if(self, call(prob, filename, flags));
}

/* QNDA_PY_<name> as helper(self, args, kwargs, arg, QNDA<name>). */
#define API_VIA(helper, name, arg)                                                                 \
    static PyObject *QNDA_PY_##name(PyObject *self, PyObject *args, PyObject *kwargs)              \
    {                                                                                              \
        return helper(self, args, kwargs, arg, QNDA##name);                                        \
    }
#define API_FILE_METHOD(name, format) API_VIA(api_file, name, format)

API_FILE_METHOD(writesol, "s|s")
API_FILE_METHOD(writeprtsol, "s|s")
API_FILE_METHOD(writeslxsol, "s|s")
API_FILE_METHOD(readslxsol, "s|s")
API_FILE_METHOD(readbasis, "s|s")
API_FILE_METHOD(writebasis, "|ss")
API_FILE_METHOD(writebinsol, "s|s")
API_FILE_METHOD(readbinsol, "s|s")

API_VIA(api_string, writedirs, "filename")
API_VIA(api_string, readdirs, "filename")

static PyObject *
QNDA_PY_setprobname(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return api_string(self, args, kwargs, "probname", QNDAsetprobname);
}

static int
api_setlogfile(QNDAprob prob, const char *filename)
{
    return QNDAsetstrcontrol(prob, QNDA_LOGFILE, filename);
}

static PyObject *
QNDA_PY_setlogfile(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return api_string(self, args, kwargs, "filename", api_setlogfile);
}

static PyObject *
QNDA_PY_save(PyObject *self, PyObject *unused)
{
    return api_noargs(self, QNDAsave);
}

/* restore(probname, flags=''): the model is replaced whole, so the
 * registry of modelling objects is rebuilt as after a read. */
static PyObject *
QNDA_PY_restore(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"probname", "flags", NULL};
    const char *name, *flags = "";
    QNDAprob prob;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "s|s", (char **)kwlist, &name, &flags))
        return NULL;
    if ((prob = api_handle(self)) == NULL || problem_registry_empty((problem_s *)self) != 0)
        return NULL;
    return api_none_if(self,
                       QNDArestore(prob, name, flags) == 0 ? problem_registry_reload(self) : -1);
}

#define API_METHOD(name, doc)                                                                      \
    {#name, (PyCFunction)(void (*)(void))QNDA_PY_##name, METH_VARARGS | METH_KEYWORDS, doc}

PyMethodDef api_optimize_methods[] =
    {API_METHOD(lpoptimize, "lpoptimize(flags=''): solves the LP (or the MIP's relaxation); "
                            "flags d, p, b choose the algorithm, P presolves only and leaves "
                            "the problem presolved until postsolve()"),
     API_METHOD(mipoptimize, "mipoptimize(flags=''): solves the MIP; flags as lpoptimize, and l "
                             "for the relaxation only"),
     API_METHOD(tune, "tune(flags=''): solves under candidate settings and keeps the fastest"),
     API_METHOD(tunerwritemethod, "tunerwritemethod(methodfile): writes the tuned settings"),
     API_METHOD(tunerreadmethod, "tunerreadmethod(methodfile): applies settings from a file"),
     API_METHOD(interrupt, "interrupt(reason): asks a running optimisation to stop"),
     API_METHOD(writesol, "writesol(filename, flags=''): writes the solution as CSV"),
     API_METHOD(writeprtsol, "writeprtsol(filename, flags=''): writes a printable solution"),
     API_METHOD(writeslxsol, "writeslxsol(filename, flags=''): writes the solution as .slx"),
     API_METHOD(readslxsol, "readslxsol(filename, flags=''): reads a .slx solution as a start"),
     API_METHOD(writebasis, "writebasis(filename='', flags=''): writes the basis"),
     API_METHOD(readbasis, "readbasis(filename, flags=''): reads a basis as a start"),
     API_METHOD(writebinsol, "writebinsol(filename, flags=''): writes the solution (values, "
                             "slacks, duals, reduced costs) as a binary file"),
     API_METHOD(readbinsol, "readbinsol(filename, flags=''): reads a binary solution file into "
                            "the problem as its solution and next start"),
     API_METHOD(writedirs, "writedirs(filename): writes the branching directives as text"),
     API_METHOD(readdirs, "readdirs(filename): replaces the branching directives by a file's"),
     {"save", (PyCFunction)QNDA_PY_save, METH_NOARGS,
      "save(): writes the problem with its controls, basis and solution to <name>.svf"},
     API_METHOD(restore, "restore(probname, flags=''): reads a problem saved by save()"),
     API_METHOD(setprobname, "setprobname(probname): renames the problem"),
     API_METHOD(setlogfile, "setlogfile(filename): copies the problem's log to a file"),
     {NULL, NULL, 0, NULL}};
