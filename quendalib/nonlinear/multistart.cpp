/* Problem methods of multistart (msaddjob, msaddpreset, msaddcustompreset,
 * msclear, msgetjobresult) and of the mixed-integer nonlinear search
 * (globalsol).
 *
 * A job's object travels to the msjobstart, msjobend and mswinner
 * callbacks.  The library keeps it as a bare pointer, so the problem keeps
 * a reference in its list msjobs until msclear or its end. */
#include "nonlinear/convert.h"

#include "module/session.h"
#include "problem/problem.h"

#include "qslp.h"

#include <string.h>
#include <vector>

/* The id and type (QSLP_CAINFO_INT or _DOUBLE) of a nonlinear control given
 * by name or id.  0, or -1 with ModelError. */
static int
ms_control(PyObject *key, int *id, int *type)
{
    const int *ids = NULL;
    const char *name = NULL;
    long want = -1;

    if (PyUnicode_Check(key)) {
        name = PyUnicode_AsUTF8(key);
        if (name == NULL)
            return -1;
    } else if (PyLong_Check(key)) {
        want = PyLong_AsLong(key);
        if (want == -1 && PyErr_Occurred())
            return -1;
    } else {
        PyErr_SetString(quenda_ModelError, "A job's controls are given by name or id");
        return -1;
    }
    QSLPgetcalist(&ids);
    for (; ids != NULL && *ids != 0; ids++) {
        char cname[130];
        int info = 0;
        if (QSLPcontrolname(*ids, cname, &info) != 0 || !(info & QSLP_CAINFO_CONTROL))
            continue;
        if (name != NULL ? strcmp(cname, name) != 0 : *ids != want)
            continue;
        *id = *ids;
        *type = info & (QSLP_CAINFO_INT | QSLP_CAINFO_DOUBLE | QSLP_CAINFO_STRING);
        if (*type == QSLP_CAINFO_STRING) {
            PyErr_Format(quenda_ModelError, "Control %s cannot be set by a job", cname);
            return -1;
        }
        return 0;
    }
    if (name != NULL)
        PyErr_Format(quenda_ModelError, "Unknown nonlinear control %s", name);
    else
        PyErr_Format(quenda_ModelError, "Unknown nonlinear control %ld", want);
    return -1;
}

/* A job's settings: starting values and controls. */
typedef struct {
    QNDAint64 n;
    int *cols;
    double *vals;
    std::vector<int> iid, ival, did;
    std::vector<double> dval;
} ms_settings;

static void
ms_settings_free(ms_settings *s)
{
    conv_free((void **)&s->cols, s->n, CONV_COL);
    conv_free((void **)&s->vals, s->n, CONV_DOUBLE);
}

/* Reads colind/initial (both or neither; colind None: the first columns)
 * and the controls dictionary.  0, or -1 with an exception set. */
static int
ms_settings_read(PyObject *self, ms_settings *s, PyObject *colind, PyObject *initial,
                 PyObject *controls)
{
    PyObject *key, *value;
    Py_ssize_t pos = 0;

    s->n = -1;
    if (initial != Py_None) {
        if (colind != Py_None && conv_obj2arr(self, &s->n, colind, (void **)&s->cols, CONV_COL))
            return -1;
        if (conv_obj2arr(self, &s->n, initial, (void **)&s->vals, CONV_DOUBLE) != 0)
            return -1;
    } else if (colind != Py_None) {
        PyErr_SetString(quenda_ModelError, "Column indices given without initial values");
        return -1;
    }
    if (s->n < 0)
        s->n = 0;
    if (controls == Py_None)
        return 0;
    if (!PyDict_Check(controls)) {
        PyErr_SetString(quenda_ModelError,
                        "A job's controls must be a dictionary of names or ids to values");
        return -1;
    }
    while (PyDict_Next(controls, &pos, &key, &value)) {
        int id, type;
        if (ms_control(key, &id, &type) != 0)
            return -1;
        if (type == QSLP_CAINFO_INT) {
            long v = PyLong_AsLong(value);
            if (v == -1 && PyErr_Occurred())
                return -1;
            s->iid.push_back(id);
            s->ival.push_back((int)v);
        } else {
            double v = PyFloat_AsDouble(value);
            if (v == -1.0 && PyErr_Occurred())
                return -1;
            s->did.push_back(id);
            s->dval.push_back(v);
        }
    }
    return 0;
}

/* Keeps a reference to the job's object; the pointer for the library
 * (NULL for None).  0, or -1 with an exception set. */
static int
ms_keep(problem_s *p, PyObject *job, void **ptr)
{
    *ptr = job == Py_None ? NULL : job;
    if (job == Py_None)
        return 0;
    if (p->msjobs == NULL && (p->msjobs = PyList_New(0)) == NULL)
        return -1;
    return PyList_Append(p->msjobs, job);
}

/* Drops the reference ms_keep took when the library refused the job. */
static void
ms_unkeep(problem_s *p, PyObject *job)
{
    Py_ssize_t n;
    if (job == Py_None || p->msjobs == NULL)
        return;
    n = PyList_GET_SIZE(p->msjobs);
    if (n > 0 && PyList_GET_ITEM(p->msjobs, n - 1) == job)
        PyList_SetSlice(p->msjobs, n - 1, n, NULL);
}

/* The routine shared by msaddjob (custom 0) and msaddcustompreset. */
static PyObject *
ms_add(PyObject *self, const char *description, int custom, int preset, int count, PyObject *colind,
       PyObject *initial, PyObject *controls, PyObject *job)
{
    problem_s *p = (problem_s *)self;
    ms_settings s = {0, NULL, NULL, {}, {}, {}, {}};
    PyObject *res = NULL;
    void *ptr = NULL;
    int rc;

    if (nl_check(p) != 0 || ms_settings_read(self, &s, colind, initial, controls) != 0 ||
        ms_keep(p, job, &ptr) != 0)
        goto done;
    if (!custom)
        rc = QSLPmsaddjob(p->slpprob, description, (int)s.n, s.cols, s.vals, (int)s.iid.size(),
                          s.iid.data(), s.ival.data(), (int)s.did.size(), s.did.data(),
                          s.dval.data(), ptr);
    else
        rc = QSLPmsaddcustompreset(p->slpprob, description, preset, count, (int)s.n, s.cols, s.vals,
                                   (int)s.iid.size(), s.iid.data(), s.ival.data(),
                                   (int)s.did.size(), s.did.data(), s.dval.data(), ptr);
    if (rc != 0) {
        ms_unkeep(p, job);
        goto done;
    }
    res = Py_NewRef(Py_None);
done:
    ms_settings_free(&s);
    return quenda_result(self, res);
}

static PyObject *
QNDA_PY_msaddjob(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"description", "colind",    "initial",
                                   "controls",    "jobobject", NULL};
    const char *description = NULL;
    PyObject *colind = Py_None, *initial = Py_None, *controls = Py_None, *job = Py_None;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "|zOOOO", (char **)kwlist, &description, &colind,
                                     &initial, &controls, &job))
        return NULL;
    return ms_add(self, description, 0, 0, 0, colind, initial, controls, job);
}

static PyObject *
QNDA_PY_msaddcustompreset(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"description", "preset",   "count",     "colind",
                                   "initial",     "controls", "jobobject", NULL};
    const char *description = NULL;
    int preset = 0, count = 0;
    PyObject *colind = Py_None, *initial = Py_None, *controls = Py_None, *job = Py_None;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "zii|OOOO", (char **)kwlist, &description,
                                     &preset, &count, &colind, &initial, &controls, &job))
        return NULL;
    return ms_add(self, description, 1, preset, count, colind, initial, controls, job);
}

static PyObject *
QNDA_PY_msaddpreset(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"description", "preset", "count", "jobobject", NULL};
    problem_s *p = (problem_s *)self;
    const char *description = NULL;
    int preset = 0, count = 0;
    PyObject *job = Py_None, *res = NULL;
    void *ptr = NULL;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "zii|O", (char **)kwlist, &description, &preset,
                                     &count, &job))
        return NULL;
    if (nl_check(p) != 0 || ms_keep(p, job, &ptr) != 0)
        return NULL;
    if (QSLPmsaddpreset(p->slpprob, description, preset, count, ptr) != 0)
        ms_unkeep(p, job);
    else
        res = Py_NewRef(Py_None);
    return quenda_result(self, res);
}

static PyObject *
QNDA_PY_msclear(PyObject *self, PyObject *noargs)
{
    problem_s *p = (problem_s *)self;
    if (nl_check(p) != 0 || QSLPmsclear(p->slpprob) != 0)
        return quenda_result(self, NULL);
    Py_CLEAR(p->msjobs); /* the library holds none of them now */
    return Py_NewRef(Py_None);
}

static PyObject *
QNDA_PY_msgetjobresult(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"job", NULL};
    problem_s *p = (problem_s *)self;
    int job = 0, status = 0;
    double obj = 0.0, viol = 0.0;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "i", (char **)kwlist, &job) || nl_check(p))
        return NULL;
    if (QSLPmsgetjobresult(p->slpprob, job, &status, &obj, &viol) != 0)
        return quenda_result(self, NULL);
    return quenda_result(self, Py_BuildValue("(idd)", status, obj, viol));
}

static PyObject *
QNDA_PY_globalsol(PyObject *self, PyObject *noargs)
{
    problem_s *p = (problem_s *)self;
    int rc;

    if (nl_check(p) != 0)
        return NULL;
    setSigIntHandler();
    Py_BEGIN_ALLOW_THREADS
    rc = QSLPglobal(p->slpprob);
    Py_END_ALLOW_THREADS
    resetSigIntHandler();
    /* A callback's exception wins over the library's code. */
    return quenda_result(self, quenda_cb_error_restore() || rc != 0 ? NULL : Py_NewRef(Py_None));
}

/* name, flags, docstring (its first line the signature) */
#define MS_METHOD(name, flags, doc) {#name, (PyCFunction)(void (*)(void))QNDA_PY_##name, flags, doc}
#define MS_KW (METH_VARARGS | METH_KEYWORDS)

static PyMethodDef multistart_methods[] =
    {MS_METHOD(msaddjob, MS_KW,
               "msaddjob(description=None, colind=None, initial=None, controls=None, "
               "jobobject=None) -> None: add a multistart job: starting values of the columns "
               "colind (None: the first len(initial)) and a dict of nonlinear controls (name or id "
               "-> value); jobobject goes to the msjobstart, msjobend and mswinner callbacks"),
     MS_METHOD(msaddpreset, MS_KW,
               "msaddpreset(description, preset, count, jobobject=None) -> None: add count jobs "
               "of a preset: 1 random starting points within the bounds, 2 perturbations of the "
               "current point, 3 a sweep of the algorithm controls"),
     MS_METHOD(msaddcustompreset, MS_KW,
               "msaddcustompreset(description, preset, count, colind=None, initial=None, "
               "controls=None, jobobject=None) -> None: msaddpreset whose jobs all start from "
               "these values and controls"),
     MS_METHOD(msclear, METH_NOARGS, "msclear() -> None: remove every multistart job"),
     MS_METHOD(msgetjobresult, MS_KW,
               "msgetjobresult(job) -> tuple[int, float, float]: (nonlinear status, objective, "
               "largest violation) of a job of the last multistart, in the order added"),
     MS_METHOD(globalsol, METH_NOARGS,
               "globalsol() -> None: solve the problem with its integer columns by the "
               "mixed-integer nonlinear search (also what solve() does for such a problem)"),
     {NULL, NULL, 0, NULL}};

int
nonlinear_multistart_init(void)
{
    return problem_add_methods(multistart_methods);
}
