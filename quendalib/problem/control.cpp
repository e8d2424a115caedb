/* Controls and attributes.
 *
 * The module carries no table of the libraries' controls and attributes:
 * at import it asks both libraries for their lists, keeps a name ->
 * (id, type, library) description for each in the session record, and the
 * default value of every control in the module-level controls object.
 * Reading by name then looks the description up and asks the problem's
 * library handle; setting checks the Python value against the type first,
 * so that a wrong value is a ModelError and never reaches the library.
 *
 * Control objects refer to their problem through a weak reference: the
 * problem owns its controls, and a controls object that outlives its
 * problem says so instead of touching a destroyed handle. */
#include "problem/control.h"

#include "module/npy.h"
#include "module/session.h"
#include "problem/object.h"

#include "qnda.h"
#include "qslp.h"

#include <ctype.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>

#define CA_MAXNAME 128

/* ------------------------------------------------------------------ */
/* Reading and writing one value on library handles                     */

/* Reads a string through a (buf, maxbytes, nbytes) getter; new reference in
 * *out.  Returns the library's code, or -1 with a Python exception. */
template<typename F>
static int
ca_read_string(F getter, PyObject **out)
{
    char small[256];
    int nbytes = 0;
    int rc = getter(small, (int)sizeof small, &nbytes);
    if (rc != 0)
        return rc;
    if (nbytes > (int)sizeof small) {
        char *big = (char *)PyMem_Malloc(nbytes);
        if (big == NULL) {
            PyErr_NoMemory();
            return -1;
        }
        rc = getter(big, nbytes, NULL);
        if (rc == 0) {
            big[nbytes - 1] = '\0';
            *out = PyUnicode_FromString(big);
        }
        PyMem_Free(big);
        if (rc != 0)
            return rc;
    } else {
        small[sizeof small - 1] = '\0';
        *out = PyUnicode_FromString(small);
    }
    return *out == NULL ? -1 : 0;
}

static PyObject *
ca_box(int v)
{
    return PyLong_FromLong(v);
}

static PyObject *
ca_box(QNDAint64 v)
{
    return PyLong_FromLongLong(v);
}

static PyObject *
ca_box(double v)
{
    return PyFloat_FromDouble(v);
}

/* One number read by get (a control or an attribute getter of either
 * library) into *out; the codes as ca_read's. */
template<class H, class T>
static int
ca_read_number(H h, long id, int (*get)(H, int, T *), PyObject **out)
{
    T v = 0;
    int rc = get(h, (int)id, &v);
    if (rc == 0 && (*out = ca_box(v)) == NULL)
        return -1;
    return rc;
}

/* Reads one control or attribute value from raw handles into *out (new
 * reference).  Returns 0, the library's non-zero code (no Python exception
 * set), or -1 with a Python exception set. */
static int
ca_read(QNDAprob qp, QSLPprob sp, long id, int type, int slp, int is_attr, PyObject **out)
{
    *out = NULL;
    if (slp) {
        /* The nonlinear library reads integers, doubles and string controls only. */
        if (sp == NULL)
            return QNDA_ERR_STATE;
        if (type == CTRL_TYPE_INT)
            return ca_read_number(sp, id, is_attr ? QSLPgetintattrib : QSLPgetintcontrol, out);
        if (type == CTRL_TYPE_DOUBLE)
            return ca_read_number(sp, id, is_attr ? QSLPgetdblattrib : QSLPgetdblcontrol, out);
        if (type != CTRL_TYPE_STRING || is_attr)
            return QNDA_ERR_TYPE;
        return ca_read_string([&](char *b, int m,
                                  int *n) { return QSLPgetstrcontrol(sp, (int)id, b, m, n); },
                              out);
    }
    if (qp == NULL)
        return QNDA_ERR_STATE;
    switch (type) {
    case CTRL_TYPE_INT:
        return ca_read_number(qp, id, is_attr ? QNDAgetintattrib : QNDAgetintcontrol, out);
    case CTRL_TYPE_INT64:
        return ca_read_number(qp, id, is_attr ? QNDAgetintattrib64 : QNDAgetintcontrol64, out);
    case CTRL_TYPE_DOUBLE:
        return ca_read_number(qp, id, is_attr ? QNDAgetdblattrib : QNDAgetdblcontrol, out);
    case CTRL_TYPE_STRING:
        if (is_attr)
            return ca_read_string([&](char *b, int m,
                                      int *n) { return QNDAgetstrattrib(qp, (int)id, b, m, n); },
                                  out);
        return ca_read_string([&](char *b, int m,
                                  int *n) { return QNDAgetstrcontrol(qp, (int)id, b, m, n); },
                              out);
    default: return QNDA_ERR_TYPE;
    }
}

/* Unpacks a description tuple; 0, or -1 when it is not one. */
static int
ca_desc_unpack(PyObject *desc, long *id, int *type, int *slp)
{
    long t, s;
    if (desc == NULL || !PyTuple_Check(desc) || PyTuple_GET_SIZE(desc) != 3)
        return -1;
    *id = PyLong_AsLong(PyTuple_GET_ITEM(desc, 0));
    t = PyLong_AsLong(PyTuple_GET_ITEM(desc, 1));
    s = PyLong_AsLong(PyTuple_GET_ITEM(desc, 2));
    if (PyErr_Occurred()) {
        PyErr_Clear();
        return -1;
    }
    *type = (int)t;
    *slp = (int)s;
    return 0;
}

/* The live problem behind a weak reference: borrowed, or NULL with
 * ModelError when there is none. */
static PyObject *
ca_problem(PyObject *probref, int is_attr)
{
    PyObject *p = probref != NULL ? PyWeakref_GetObject(probref) : NULL; /* borrowed */
    if (p == NULL || p == Py_None || !PyObject_TypeCheck(p, &quenda_problemType)) {
        if (!PyErr_Occurred())
            PyErr_SetString(quenda_ModelError,
                            is_attr ? "The problem of these attributes no longer exists"
                                    : "The problem of these controls no longer exists");
        return NULL;
    }
    return p;
}

/* Reads a described value from a problem; new reference, or NULL with the
 * library's error raised on the problem. */
static PyObject *
ca_problem_read(PyObject *prob, PyObject *desc, int is_attr)
{
    problem_s *p = (problem_s *)prob;
    PyObject *res = NULL;
    long id;
    int type, slp, rc;

    if (ca_desc_unpack(desc, &id, &type, &slp) != 0) {
        PyErr_SetString(quenda_ModelError,
                        is_attr ? "Incorrect attribute name" : "Incorrect control name");
        return NULL;
    }
    rc = ca_read(p->prob, p->slpprob, id, type, slp, is_attr, &res);
    if (rc != 0) {
        Py_CLEAR(res);
        setQndaErrIfNull(prob, NULL);
    }
    return res;
}

/* ------------------------------------------------------------------ */
/* Filling the descriptions from the libraries                          */

/* Stores one entry: description in the dict of its kind and, for a
 * control, its default read from the temporary problem.  0 or -1. */
static int
ca_fill_entry(const char *rawname, long id, int type, int slp, int is_control, QNDAprob qp,
              QSLPprob sp)
{
    char name[CA_MAXNAME + 1];
    PyObject *desc = NULL, *value = NULL;
    int i, ret = -1;

    for (i = 0; i < CA_MAXNAME && rawname[i] != '\0'; i++)
        name[i] = (char)tolower((unsigned char)rawname[i]);
    name[i] = '\0';

    desc = Py_BuildValue("(lll)", id, (long)type, (long)slp);
    if (desc == NULL)
        goto error;
    if (!is_control) {
        if (PyDict_SetItemString(qnda_py_env.attr_desc, name, desc) != 0)
            goto error;
    } else {
        if (ca_read(qp, sp, id, type, slp, 0, &value) != 0) {
            if (!PyErr_Occurred())
                PyErr_SetString(quenda_SolverError,
                                "Erroneous control value/type in initialization");
            goto error;
        }
        if (PyDict_SetItemString(qnda_py_env.ctrl_desc, name, desc) != 0)
            goto error;
        if (PyDict_SetItemString(((ctrl_s *)qnda_py_env.ctrl)->dict, name, value) != 0)
            goto error;
    }
    ret = 0;
error:
    Py_XDECREF(desc);
    Py_XDECREF(value);
    return ret;
}

int
ctrl_attr_fill_typeobj(int session_open)
{
    const char *const *names = NULL;
    const int *ids = NULL, *flags = NULL, *slpids = NULL;
    QNDAprob qp = NULL;
    QSLPprob sp = NULL;
    int slp_up = 0, ret = -1, k;

    (void)session_open;
    if (qnda_py_env.ctrl == NULL || qnda_py_env.ctrl_desc == NULL ||
        qnda_py_env.attr_desc == NULL) {
        PyErr_SetString(PyExc_RuntimeError, "Error initializing the Quenda module");
        return -1;
    }

    if (QNDAinit(NULL) != 0) {
        PyErr_SetString(quenda_SolverError, "Error initializing optimization environment");
        return -1;
    }
    if (QSLPinit() == 0) {
        slp_up = 1;
        qnda_py_env.slp_state = 1;
    } else if (qnda_py_env.slp_state == -1) {
        qnda_py_env.slp_state = 0;
    }

    quenda_desc_busy = 1;
    if (QNDAcreateprob(&qp) != 0 || (slp_up && QSLPcreateprob(&sp, &qp) != 0)) {
        PyErr_SetString(quenda_SolverError, "Could not create temporary problem");
        goto error;
    }

    if (QNDAgetcalist_c(&names, &ids, &flags) != 0 || names == NULL || ids == NULL ||
        flags == NULL) {
        PyErr_SetString(quenda_SolverError, "Could not get control/attribute list from Quenda");
        goto error;
    }
    for (k = 0; names[k] != NULL && names[k][0] != '\0'; k++) {
        int f = flags[k], type;
        if (f & QNDA_CAFLAG_INT)
            type = (f & QNDA_CAFLAG_INT64) ? CTRL_TYPE_INT64 : CTRL_TYPE_INT;
        else if (f & QNDA_CAFLAG_DOUBLE)
            type = CTRL_TYPE_DOUBLE;
        else
            type = CTRL_TYPE_STRING;
        if (ca_fill_entry(names[k], ids[k], type, 0, (f & QNDA_CAFLAG_CONTROL) != 0, qp, sp) != 0)
            goto error;
    }

    if (slp_up) {
        if (QSLPgetcalist(&slpids) != 0 || slpids == NULL) {
            PyErr_SetString(quenda_SolverError, "Could not get control/attribute list from Quenda");
            goto error;
        }
        for (k = 0; slpids[k] != 0; k++) {
            char name[CA_MAXNAME + 1] = {0};
            int info = 0, type;
            if (QSLPcontrolname(slpids[k], name, &info) != 0) {
                PyErr_SetString(quenda_SolverError,
                                "Erroneous control value/type in initialization");
                goto error;
            }
            name[CA_MAXNAME] = '\0';
            if (info & QSLP_CAINFO_INT)
                type = CTRL_TYPE_INT;
            else if (info & QSLP_CAINFO_DOUBLE)
                type = CTRL_TYPE_DOUBLE;
            else if (info & QSLP_CAINFO_STRING)
                type = CTRL_TYPE_STRING;
            else
                continue; /* not usable from Python */
            if (ca_fill_entry(name, slpids[k], type, 1, (info & QSLP_CAINFO_CONTROL) != 0, qp,
                              sp) != 0)
                goto error;
        }
    }
    ret = 0;
error:
    quenda_desc_busy = 0;
    if (sp != NULL)
        QSLPdestroyprob(sp);
    if (qp != NULL)
        QNDAdestroyprob(qp);
    /* Leave the libraries as we found them; free both even if one fails. */
    {
        int slp_rc = slp_up ? QSLPfree() : 0;
        int main_rc = QNDAfree();
        if (slp_rc != 0 || main_rc != 0) {
            if (ret == 0)
                PyErr_SetString(quenda_SolverError, "Error initializing optimization environment");
            ret = -1;
        }
    }
    return ret;
}

/* ------------------------------------------------------------------ */
/* Checking and setting                                                 */

PyObject *
ctrl_lower_name(PyObject *name)
{
    if (!PyUnicode_Check(name)) {
        PyErr_SetString(quenda_ModelError, "Incorrect control name");
        return NULL;
    }
    return PyObject_CallMethod(name, "lower", NULL);
}

int
check_setCtrl(int type, PyObject *value)
{
    switch (type) {
    case CTRL_TYPE_INT:
    case CTRL_TYPE_INT64:
        if (PyLong_Check(value) || PyArray_IsScalar(value, Int) || PyArray_IsScalar(value, Long) ||
            PyArray_IsScalar(value, LongLong))
            return 0;
        PyErr_SetString(quenda_ModelError, "Cannot set non-integer value to an integer control");
        return -1;
    case CTRL_TYPE_DOUBLE:
        if (PyFloat_Check(value) || PyNumber_Check(value))
            return 0;
        PyErr_SetString(quenda_ModelError,
                        "Cannot set non-numerical value to a floating-point control");
        return -1;
    case CTRL_TYPE_STRING:
        if (PyUnicode_Check(value)) {
            Py_ssize_t n;
            const char *s = PyUnicode_AsUTF8AndSize(value, &n);
            if (s == NULL)
                return -1;
            if (strlen(s) == (size_t)n)
                return 0;
            PyErr_SetString(quenda_ModelError, "A string control cannot contain a NUL character");
            return -1;
        }
        PyErr_SetString(quenda_ModelError, "Cannot set non-string value to a string control");
        return -1;
    default: PyErr_SetString(quenda_ModelError, "setControl called with unknown ID"); return -1;
    }
}

int
ctrl_check_named(PyObject *name, PyObject *value, PyObject **desc_out)
{
    PyObject *lname = ctrl_lower_name(name); /* new reference */
    PyObject *desc;                          /* borrowed */
    long id;
    int type, slp, ret = -1;

    if (lname == NULL)
        return -1;
    desc = PyDict_GetItemWithError(qnda_py_env.ctrl_desc, lname);
    if (desc == NULL || ca_desc_unpack(desc, &id, &type, &slp) != 0) {
        if (!PyErr_Occurred())
            PyErr_SetString(quenda_ModelError, "Incorrect control name");
        goto error;
    }
    if (check_setCtrl(type, value) != 0)
        goto error;
    if (desc_out != NULL)
        *desc_out = desc;
    ret = 0;
error:
    Py_DECREF(lname);
    return ret;
}

PyObject *
ctrl_args_to_dict(PyObject *args, const char *fname)
{
    PyObject *res = NULL;
    Py_ssize_t n = PyTuple_GET_SIZE(args);

    if (n == 0) {
        PyErr_Format(quenda_ModelError,
                     "%s requires at least one argument of type dictionary or two "
                     "elements: parameter, value",
                     fname);
    } else if (n == 1) {
        PyObject *d = PyTuple_GET_ITEM(args, 0);
        if (!PyDict_Check(d))
            PyErr_Format(quenda_ModelError, "single argument to %s must be a dictionary", fname);
        else
            res = PyDict_Copy(d);
    } else if (n == 2) {
        PyObject *name = PyTuple_GET_ITEM(args, 0);
        if (!PyUnicode_Check(name)) {
            PyErr_SetString(quenda_ModelError, "Incorrect control name");
            return NULL;
        }
        res = PyDict_New();
        if (res != NULL && PyDict_SetItem(res, name, PyTuple_GET_ITEM(args, 1)) != 0)
            Py_CLEAR(res);
    } else {
        PyErr_Format(quenda_ModelError, "%s: arguments mismatch", fname);
    }
    return res;
}

int
problem_setControl_single(PyObject *prob, long id, int type, int slp, PyObject *value)
{
    problem_s *p = (problem_s *)prob;
    long long iv = 0;
    double dv = 0.0;
    const char *sv = NULL;
    int rc;

    if (check_setCtrl(type, value) != 0)
        return -1;
    switch (type) {
    case CTRL_TYPE_INT:
    case CTRL_TYPE_INT64:
        iv = PyLong_AsLongLong(value);
        if (iv == -1 && PyErr_Occurred())
            return -1;
        if (type == CTRL_TYPE_INT && (iv < INT_MIN || iv > INT_MAX)) {
            PyErr_SetString(PyExc_OverflowError, "Value out of range for an integer control");
            return -1;
        }
        break;
    case CTRL_TYPE_DOUBLE:
        dv = PyFloat_AsDouble(value);
        if (dv == -1.0 && PyErr_Occurred())
            return -1;
        break;
    default:
        sv = PyUnicode_AsUTF8(value);
        if (sv == NULL)
            return -1;
        break;
    }

    if (slp) {
        if (p->slpprob == NULL) {
            PyErr_SetString(quenda_SolverError, "The nonlinear solver is not in use");
            return -1;
        }
        rc = type == CTRL_TYPE_STRING   ? QSLPsetstrcontrol(p->slpprob, (int)id, sv)
             : type == CTRL_TYPE_DOUBLE ? QSLPsetdblcontrol(p->slpprob, (int)id, dv)
                                        : QSLPsetintcontrol(p->slpprob, (int)id, (int)iv);
    } else {
        if (p->prob == NULL) {
            PyErr_SetString(quenda_SolverError,
                            "Unidentified error associated with optimization problem");
            return -1;
        }
        rc = type == CTRL_TYPE_STRING   ? QNDAsetstrcontrol(p->prob, (int)id, sv)
             : type == CTRL_TYPE_DOUBLE ? QNDAsetdblcontrol(p->prob, (int)id, dv)
             : type == CTRL_TYPE_INT64  ? QNDAsetintcontrol64(p->prob, (int)id, iv)
                                        : QNDAsetintcontrol(p->prob, (int)id, (int)iv);
    }
    if (rc != 0) {
        setQndaErrIfNull(prob, NULL);
        return -1;
    }
    return 0;
}

int
problem_apply_user_defaults(PyObject *prob)
{
    PyObject *items = NULL; /* owned snapshot, so a setter cannot disturb the walk */
    Py_ssize_t i, n;
    int ret = -1;

    quenda_env_busy = 1;
    items = PyDict_Items(qnda_py_env.ctrl_defaults);
    quenda_env_busy = 0;
    if (items == NULL)
        return -1;
    n = PyList_GET_SIZE(items);
    for (i = 0; i < n; i++) {
        PyObject *pair = PyList_GET_ITEM(items, i);
        PyObject *desc = PyDict_GetItemWithError(qnda_py_env.ctrl_desc,
                                                 PyTuple_GET_ITEM(pair, 0)); /* borrowed */
        long id;
        int type, slp;
        if (desc == NULL || ca_desc_unpack(desc, &id, &type, &slp) != 0) {
            if (!PyErr_Occurred())
                PyErr_SetString(quenda_ModelError, "Incorrect control name in initialization");
            goto error;
        }
        if (problem_setControl_single(prob, id, type, slp, PyTuple_GET_ITEM(pair, 1)) != 0)
            goto error;
    }
    ret = 0;
error:
    Py_DECREF(items);
    return ret;
}

/* ------------------------------------------------------------------ */
/* Reading by name                                                      */

PyObject *
ctrl_attr_get(PyObject *self, PyObject *name, int is_attr)
{
    PyObject *lname = NULL, *res = NULL, *prob, *desc;
    PyObject *dict = is_attr ? qnda_py_env.attr_desc : qnda_py_env.ctrl_desc;
    PyObject *probref = ((ctrl_s *)self)->probref; /* attr_s starts alike */

    if (!PyUnicode_Check(name)) {
        PyErr_SetString(quenda_ModelError,
                        is_attr ? "Bad attribute request" : "Bad control request");
        return NULL;
    }
    lname = PyObject_CallMethod(name, "lower", NULL);
    if (lname == NULL)
        return NULL;

    if (!is_attr && probref == NULL) {
        /* The module-level object: a user default wins over the library's. */
        res = PyDict_GetItemWithError(qnda_py_env.ctrl_defaults, lname);
        if (res == NULL && !PyErr_Occurred() && ((ctrl_s *)self)->dict != NULL)
            res = PyDict_GetItemWithError(((ctrl_s *)self)->dict, lname);
        if (res == NULL && !PyErr_Occurred())
            PyErr_SetString(quenda_ModelError, "Incorrect control name");
        Py_XINCREF(res);
        goto done;
    }

    desc = PyDict_GetItemWithError(dict, lname); /* borrowed */
    if (desc == NULL) {
        if (!PyErr_Occurred())
            PyErr_SetString(quenda_ModelError,
                            is_attr ? "Incorrect attribute name" : "Incorrect control name");
        goto done;
    }
    prob = ca_problem(probref, is_attr);
    if (prob == NULL)
        goto done;
    Py_INCREF(prob); /* the library cannot drop it, but stay safe */
    res = ca_problem_read(prob, desc, is_attr);
    Py_DECREF(prob);
done:
    Py_DECREF(lname);
    return res;
}

PyObject *
getAllCtrlAttr(PyObject *self, int is_attr)
{
    PyObject *res = NULL, *prob = NULL, *key, *desc;
    PyObject *probref = ((ctrl_s *)self)->probref;
    PyObject *dict = is_attr ? qnda_py_env.attr_desc : qnda_py_env.ctrl_desc;
    Py_ssize_t pos = 0;

    if (!is_attr && probref == NULL) {
        res = ((ctrl_s *)self)->dict != NULL ? PyDict_Copy(((ctrl_s *)self)->dict) : PyDict_New();
        if (res != NULL && PyDict_Update(res, qnda_py_env.ctrl_defaults) != 0)
            Py_CLEAR(res);
        return res;
    }
    prob = ca_problem(probref, is_attr);
    if (prob == NULL)
        return NULL;
    Py_INCREF(prob);
    res = PyDict_New();
    if (res == NULL)
        goto error;
    while (PyDict_Next(dict, &pos, &key, &desc)) {
        PyObject *v = ca_problem_read(prob, desc, is_attr); /* new reference */
        if (v == NULL) {
            /* A value the library cannot give now (no solution yet ...)
             * shows as None rather than hiding every other. */
            if (!PyErr_ExceptionMatches(quenda_SolverError))
                goto error;
            PyErr_Clear();
            v = Py_NewRef(Py_None);
        }
        if (quenda_dict_put(res, key, v) != 0)
            goto error;
    }
    Py_DECREF(prob);
    return res;
error:
    Py_XDECREF(prob);
    Py_XDECREF(res);
    return NULL;
}

/* getControl / getAttrib on a problem: no argument gives every value, a
 * name gives its value, several names or a list/tuple of names a dict. */
static PyObject *
problem_get_common(PyObject *self, PyObject *args, int is_attr)
{
    problem_s *p = (problem_s *)self;
    PyObject *obj = is_attr ? p->attr : p->ctrl;
    PyObject *names = NULL, *res = NULL;
    Py_ssize_t i, n;

    if (obj == NULL || !PyObject_TypeCheck(obj, is_attr ? &quenda_attrType : &quenda_ctrlType)) {
        /* Never built, or the writable member was replaced by the user. */
        PyErr_SetString(quenda_ModelError, is_attr ? "The problem has no attributes object"
                                                   : "The problem has no controls object");
        return NULL;
    }
    n = PyTuple_GET_SIZE(args);
    if (n == 0)
        return getAllCtrlAttr(obj, is_attr);
    if (n == 1 && !PyList_Check(PyTuple_GET_ITEM(args, 0)) &&
        !PyTuple_Check(PyTuple_GET_ITEM(args, 0)))
        return ctrl_attr_get(obj, PyTuple_GET_ITEM(args, 0), is_attr);

    names = n == 1 ? PySequence_Fast(PyTuple_GET_ITEM(args, 0), "") : Py_NewRef(args);
    if (names == NULL)
        return NULL;
    res = PyDict_New();
    if (res == NULL)
        goto error;
    for (i = 0; i < PySequence_Fast_GET_SIZE(names); i++) {
        PyObject *name = PySequence_Fast_GET_ITEM(names, i); /* borrowed */
        if (quenda_dict_put(res, name, ctrl_attr_get(obj, name, is_attr)) != 0)
            goto error;
    }
    Py_DECREF(names);
    return res;
error:
    Py_XDECREF(names);
    Py_XDECREF(res);
    return NULL;
}

PyObject *
problem_getControl(PyObject *self, PyObject *args)
{
    PyObject *res = problem_get_common(self, args, 0);
    return quenda_result(self, res);
}

PyObject *
problem_getAttrib(PyObject *self, PyObject *args)
{
    PyObject *res = problem_get_common(self, args, 1);
    return quenda_result(self, res);
}

/* Checks every entry of a dict name -> value; 0, or -1 at the first bad
 * one.  Callers check all before setting any, so a bad entry sets nothing. */
static int
ctrl_check_all(PyObject *pairs)
{
    PyObject *key, *value;
    Py_ssize_t pos = 0;
    while (PyDict_Next(pairs, &pos, &key, &value)) {
        if (ctrl_check_named(key, value, NULL) != 0)
            return -1;
    }
    return 0;
}

PyObject *
problem_setControl(PyObject *self, PyObject *args)
{
    PyObject *key, *value, *desc;
    Py_ssize_t pos = 0;
    PyObject *pairs = ctrl_args_to_dict(args, "setControl");
    int ok = pairs != NULL && ctrl_check_all(pairs) == 0;

    while (ok && PyDict_Next(pairs, &pos, &key, &value)) {
        long id;
        int type, slp;
        ok = ctrl_check_named(key, value, &desc) == 0 &&
             ca_desc_unpack(desc, &id, &type, &slp) == 0 &&
             problem_setControl_single(self, id, type, slp, value) == 0;
    }
    Py_XDECREF(pairs);
    return quenda_result(self, ok ? Py_NewRef(Py_None) : NULL);
}

/* ------------------------------------------------------------------ */
/* The module's default controls for new problems                        */

/* Keeps a checked value as the default of the control named key; 0 or -1. */
static int
ctrl_store_default(PyObject *key, PyObject *value)
{
    PyObject *lname = ctrl_lower_name(key); /* new reference */
    int rc;
    if (lname == NULL)
        return -1;
    rc = PyDict_SetItem(qnda_py_env.ctrl_defaults, lname, value);
    Py_DECREF(lname);
    return rc;
}

/* Sets the pairs on a scratch problem: a default is refused exactly when a
 * problem would refuse it (the library's bounds of each control), not at
 * every later problem().  0, or -1 with the library's error raised. */
static int
ctrl_try_defaults(PyObject *pairs)
{
    PyObject *scratch = PyObject_CallNoArgs((PyObject *)&quenda_problemType);
    PyObject *args = scratch != NULL ? PyTuple_Pack(1, pairs) : NULL;
    PyObject *res = args != NULL ? problem_setControl(scratch, args) : NULL;
    Py_XDECREF(res);
    Py_XDECREF(args);
    Py_XDECREF(scratch);
    return res == NULL ? -1 : 0;
}

/* setdefaultcontrol(name, value) or setdefaultcontrol({name: value, ...}):
 * checked like problem.setControl, kept for problems created afterwards. */
PyObject *
quendamod_setdefaultcontrol(PyObject *self, PyObject *args, PyObject *kwargs)
{
    PyObject *pairs = NULL; /* owned dict name -> value */
    PyObject *key, *value, *res = NULL;
    Py_ssize_t pos = 0;
    int rc = 0;

    if (kwargs != NULL && PyDict_Size(kwargs) > 0) {
        /* setdefaultcontrol(timelimit=10) is the same as the dict form. */
        if (PyTuple_GET_SIZE(args) != 0) {
            PyErr_SetString(quenda_ModelError, "setdefaultcontrol: arguments mismatch");
            goto done;
        }
        pairs = PyDict_Copy(kwargs);
    } else {
        pairs = ctrl_args_to_dict(args, "setdefaultcontrol");
    }
    if (pairs == NULL)
        goto done;

    /* Check everything before storing anything, so a bad entry loses
     * nothing of what was there. */
    if (ctrl_check_all(pairs) != 0 || ctrl_try_defaults(pairs) != 0)
        goto done;
    quenda_env_busy = 1;
    while (rc == 0 && PyDict_Next(pairs, &pos, &key, &value))
        rc = ctrl_store_default(key, value);
    quenda_env_busy = 0;
    if (rc == 0)
        res = Py_NewRef(Py_None);
done:
    Py_XDECREF(pairs);
    return quenda_result(NULL, res);
}

PyObject *
quendamod_setdefaults(PyObject *self, PyObject *noargs)
{
    quenda_env_busy = 1;
    if (qnda_py_env.ctrl_defaults != NULL)
        PyDict_Clear(qnda_py_env.ctrl_defaults);
    quenda_env_busy = 0;
    Py_RETURN_NONE;
}

/* ------------------------------------------------------------------ */
/* The quenda.control type                                              */

PyObject *
ctrl_base(PyObject *prob)
{
    ctrl_s *self = (ctrl_s *)quenda_ctrlType.tp_alloc(&quenda_ctrlType, 0);
    if (self == NULL)
        return NULL;
    self->dict = PyDict_New();
    if (self->dict != NULL && prob != NULL)
        self->probref = PyWeakref_NewRef(prob, NULL);
    return quenda_keep_if((PyObject *)self,
                          self->dict != NULL && (prob == NULL || self->probref != NULL));
}

PyObject *
ctrl_copy(PyObject *ctrl, PyObject *prob)
{
    ctrl_s *res = (ctrl_s *)ctrl_base(prob);
    if (res == NULL)
        return NULL;
    if (((ctrl_s *)ctrl)->dict != NULL)
        Py_SETREF(res->dict, PyDict_Copy(((ctrl_s *)ctrl)->dict));
    return quenda_keep_if((PyObject *)res, res->dict != NULL);
}

static void
ctrl_dealloc(PyObject *self)
{
    ctrl_s *c = (ctrl_s *)self;
    Py_CLEAR(c->probref);
    Py_CLEAR(c->dict);
    Py_TYPE(self)->tp_free(self);
}

PyObject *
ctrl_attr_getattro(PyObject *self, PyObject *name, int is_attr)
{
    if (PyUnicode_Check(name) && PyUnicode_GET_LENGTH(name) > 2 &&
        PyUnicode_READ_CHAR(name, 0) == '_' && PyUnicode_READ_CHAR(name, 1) == '_')
        return PyObject_GenericGetAttr(self, name);
    return ctrl_attr_get(self, name, is_attr);
}

static PyObject *
ctrl_getattro(PyObject *self, PyObject *name)
{
    return ctrl_attr_getattro(self, name, 0);
}

static int
ctrl_setattro(PyObject *self, PyObject *name, PyObject *value)
{
    ctrl_s *c = (ctrl_s *)self;
    PyObject *desc, *prob, *lname;
    long id;
    int type, slp, rc;

    if (!PyUnicode_Check(name)) {
        PyErr_SetString(quenda_ModelError, "Bad control request");
        return -1;
    }
    if (value == NULL) {
        PyErr_SetString(quenda_ModelError, "Controls cannot be deleted");
        return -1;
    }
    if (ctrl_check_named(name, value, &desc) != 0 || ca_desc_unpack(desc, &id, &type, &slp) != 0)
        return -1;
    if (c->probref == NULL) {
        /* The module-level object holds defaults for new problems. */
        lname = ctrl_lower_name(name);
        if (lname == NULL)
            return -1;
        quenda_env_busy = 1;
        rc = PyDict_SetItem(qnda_py_env.ctrl_defaults, lname, value);
        quenda_env_busy = 0;
        Py_DECREF(lname);
        return rc;
    }
    prob = ca_problem(c->probref, 0);
    if (prob == NULL)
        return -1;
    Py_INCREF(prob);
    rc = problem_setControl_single(prob, id, type, slp, value);
    Py_DECREF(prob);
    return rc;
}

PyObject *
ctrl_attr_str(PyObject *self, int is_attr)
{
    PyObject *all = getAllCtrlAttr(self, is_attr); /* new reference */
    PyObject *res;
    if (all == NULL)
        return NULL;
    res = PyObject_Str(all);
    Py_DECREF(all);
    return res;
}

static PyObject *
ctrl_str(PyObject *self)
{
    return ctrl_attr_str(self, 0);
}

/* The value dictionary is the object's __dict__ (read only). */
static PyGetSetDef ctrl_getset[] = {{(char *)"__dict__", PyObject_GenericGetDict, NULL, NULL, NULL},
                                    {NULL, NULL, NULL, NULL, NULL}};

PyTypeObject quenda_ctrlType =
    quenda_type_build("quenda.control", sizeof(ctrl_s), Py_TPFLAGS_DEFAULT,
                      "Controls of a problem, or the module's defaults for new problems",
                      Py_tp_dealloc, ctrl_dealloc, Py_tp_repr, ctrl_str, Py_tp_str, ctrl_str,
                      Py_tp_getattro, ctrl_getattro, Py_tp_setattro, ctrl_setattro, Py_tp_getset,
                      ctrl_getset, QUENDA_TP_DICTOFFSET, offsetof(ctrl_s, dict));
