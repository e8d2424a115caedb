/* The trampolines of the nonlinear kinds (18-35).  The library hands the
 * nonlinear handle; the view gets the main handle behind it, so that the
 * solution queries of a callback read the nonlinear solve's current point.
 * A Python failure stops the nonlinear solve (QSLPinterrupt) and the
 * exception surfaces when the solve returns. */
#include "callbacks/trampoline.h"

#define CB_SLP_MAINPROB 12601 /* pointer attribute: the main problem behind */

static int
slp_setup(cb_call *c, QSLPprob slp, void *entry)
{
    void *main = NULL;
    if (QSLPgetptrattrib(slp, CB_SLP_MAINPROB, &main) != 0)
        main = NULL;
    return cb_setup_slp(c, (QNDAprob)main, slp, entry);
}

/* The int of a result for the table's "as 18" kinds: int, None as 0, else
 * -1 (which stops). */
static int
slp_event(QSLPprob slp, void *entry, const char *name)
{
    cb_call c;
    int rc = -1;
    if (slp_setup(&c, slp, entry) == 0) {
        PyObject *res = cb_call_function(&c, name, "(OO)", c.view, c.data);
        if (res != NULL)
            rc = cb_int_result(res);
        Py_XDECREF(res);
    }
    cb_outro(&c);
    return rc;
}

/* int() of the result; -1 when the call or the conversion failed. */
static int
slp_int_of(cb_call *c, PyObject *res, const char *name)
{
    long v;
    if (res == NULL)
        return -1;
    if (res == Py_None) {
        Py_DECREF(res);
        return 0;
    }
    v = PyLong_AsLong(res);
    if (v == -1 && PyErr_Occurred()) {
        PyObject *i = PyNumber_Long(res);
        PyErr_Clear();
        if (i == NULL) {
            PyErr_Format(PyExc_TypeError, "the %s() callback must return an integer", name);
            cb_failed(c, name);
            Py_DECREF(res);
            return -1;
        }
        v = PyLong_AsLong(i);
        Py_DECREF(i);
    }
    Py_DECREF(res);
    return (int)v;
}

/* float() of the result into *out; -1 when the call or the conversion
 * failed. */
static int
slp_float_of(cb_call *c, PyObject *res, const char *name, double *out)
{
    double v;
    if (res == NULL)
        return -1;
    v = PyFloat_AsDouble(res);
    Py_DECREF(res);
    if (v == -1.0 && PyErr_Occurred()) {
        cb_failed(c, name);
        return -1;
    }
    *out = v;
    return 0;
}

#define SLP_EVENT(kind)                                                                            \
    static int wrapper_##kind(QSLPprob slp, void *entry)                                           \
    {                                                                                              \
        return slp_event(slp, entry, #kind);                                                       \
    }
SLP_EVENT(cascadeend)
SLP_EVENT(cascadestart)
SLP_EVENT(construct)
SLP_EVENT(destroy)
SLP_EVENT(iterend)
SLP_EVENT(iterstart)
SLP_EVENT(slpend)
SLP_EVENT(slpnode)
SLP_EVENT(slpstart)

static int
slp_column(QSLPprob slp, void *entry, int col, const char *name, int keep)
{
    cb_call c;
    int rc = -1;
    if (slp_setup(&c, slp, entry) == 0)
        rc = slp_int_of(&c, cb_call_function(&c, name, "(OOi)", c.view, c.data, col), name);
    cb_outro(&c);
    return keep ? rc : 0;
}

static int
wrapper_cascadevar(QSLPprob slp, void *entry, int col)
{
    return slp_column(slp, entry, col, "cascadevar", 1);
}

static int
wrapper_cascadevarfail(QSLPprob slp, void *entry, int col)
{
    return slp_column(slp, entry, col, "cascadevarfail", 1);
}

static int
wrapper_itervar(QSLPprob slp, void *entry, int col)
{
    return slp_column(slp, entry, col, "itervar", 0);
}

static int
wrapper_coefevalerror(QSLPprob slp, void *entry, int row, int col)
{
    cb_call c;
    int rc = -1;
    if (slp_setup(&c, slp, entry) == 0)
        rc = slp_int_of(&c,
                        cb_call_function(&c, "coefevalerror", "(OOii)", c.view, c.data, row, col),
                        "coefevalerror");
    cb_outro(&c);
    return rc;
}

static int
wrapper_drcol(QSLPprob slp, void *entry, int col, double value, double *newvalue, double lb,
              double ub)
{
    cb_call c;
    int rc = -1;
    if (slp_setup(&c, slp, entry) == 0)
        rc = slp_float_of(&c,
                          cb_call_function(&c, "drcol", "(OOiddd)", c.view, c.data, col, value, lb,
                                           ub),
                          "drcol", newvalue);
    cb_outro(&c);
    return rc;
}

static int
wrapper_formula(QSLPprob slp, void *entry, double arg, double *value)
{
    cb_call c;
    int rc = -1;
    if (slp_setup(&c, slp, entry) == 0)
        rc = slp_float_of(&c, cb_call_function(&c, "formula", "(OOd)", c.view, c.data, arg),
                          "formula", value);
    cb_outro(&c);
    return rc;
}

/* The job object: what the user attached (the library holds it borrowed;
 * the problem's job list keeps it alive), None without one. */
static PyObject *
slp_job(void *job)
{
    return job != NULL ? (PyObject *)job : Py_None;
}

static int
slp_msjob(QSLPprob slp, void *entry, void *job, const char *description, int *status,
          const char *name)
{
    cb_call c;
    if (slp_setup(&c, slp, entry) == 0) {
        PyObject *res = cb_call_function(&c, name, "(OOOs)", c.view, c.data, slp_job(job),
                                         description != NULL ? description : "");
        if (res != NULL)
            *status = slp_int_of(&c, res, name);
    }
    cb_outro(&c);
    return 0;
}

static int
wrapper_msjobstart(QSLPprob slp, void *entry, void *job, const char *description, int *status)
{
    return slp_msjob(slp, entry, job, description, status, "msjobstart");
}

static int
wrapper_msjobend(QSLPprob slp, void *entry, void *job, const char *description, int *status)
{
    return slp_msjob(slp, entry, job, description, status, "msjobend");
}

static int
wrapper_mswinner(QSLPprob slp, void *entry, void *job, const char *description)
{
    cb_call c;
    if (slp_setup(&c, slp, entry) == 0)
        Py_XDECREF(cb_call_function(&c, "mswinner", "(OOOs)", c.view, c.data, slp_job(job),
                                    description != NULL ? description : ""));
    cb_outro(&c);
    return 0;
}

#define SLP_SET(kind)                                                                              \
    int cb_set_##kind(QSLPprob prob, void *entry)                                                  \
    {                                                                                              \
        return QSLPsetcb##kind(prob, entry != NULL ? wrapper_##kind : NULL, entry);                \
    }
SLP_SET(cascadeend)
SLP_SET(cascadestart)
SLP_SET(cascadevar)
SLP_SET(cascadevarfail)
SLP_SET(coefevalerror)
SLP_SET(construct)
SLP_SET(destroy)
SLP_SET(drcol)
SLP_SET(formula)
SLP_SET(iterend)
SLP_SET(iterstart)
SLP_SET(itervar)
SLP_SET(msjobend)
SLP_SET(msjobstart)
SLP_SET(mswinner)
SLP_SET(slpend)
SLP_SET(slpnode)
SLP_SET(slpstart)
