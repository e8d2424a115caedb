/* quenda.SOS: special ordered sets. */
#include "algebra/sos.h"

#include "algebra/exprtype.h"

#include "module/session.h"

/* ------------------------------------------------------------ allocation */

static int
sos_init(sos_object *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"indices", "weights", "type", "name", NULL};
    PyObject *indices = NULL, *weights = NULL, *type = NULL, *name = NULL; /* borrowed */
    PyObject *newname = NULL;
    long t = 1;

    /* A second __init__ call must not leak what the first one set. */
    Py_CLEAR(self->name);
    Py_CLEAR(self->indices);
    Py_CLEAR(self->weights);
    self->id = qnda_py_env.soscounter++;
    self->type = 1;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OO|OO", (char **)kwlist, &indices, &weights,
                                     &type, &name))
        goto error;

    if (name == NULL || name == Py_None) {
        newname = PyUnicode_FromFormat("sos%u", (unsigned)self->id);
        if (newname == NULL)
            goto error;
    } else if (PyUnicode_Check(name) || PyBytes_Check(name)) {
        Py_INCREF(name);
        newname = name;
    } else {
        PyErr_SetString(quenda_ModelError, "Invalid SOS name (must be a string)");
        goto error;
    }

    if (type != NULL && type != Py_None) {
        t = PyLong_AsLong(type);
        if (t == -1 && PyErr_Occurred())
            goto error;
        if (t != 1 && t != 2) {
            PyErr_SetString(quenda_ModelError, "SOS type must be 1 or 2");
            goto error;
        }
    }
    if (!PyList_Check(weights)) {
        PyErr_SetString(quenda_ModelError, "SOS weights must be passed as a list");
        goto error;
    }
    if (!PyList_Check(indices)) {
        PyErr_SetString(quenda_ModelError, "SOS indices must be passed as a list");
        goto error;
    }

    self->type = (int8_t)t;
    self->name = newname;
    Py_INCREF(indices);
    self->indices = indices;
    Py_INCREF(weights);
    self->weights = weights;
    return 0;

error:
    Py_XDECREF(newname);
    return -1;
}

static void
sos_dealloc(sos_object *self)
{
    Py_XDECREF(self->name);
    Py_XDECREF(self->indices);
    Py_XDECREF(self->weights);
    Py_TYPE(self)->tp_free((PyObject *)self);
}

/* ---------------------------------------------------------------- methods */

/* New reference: a new set (fresh identity) with new lists holding the same
 * items; its name cites the original's identity number and name. */
static PyObject *
sos_copy(sos_object *self, PyObject *Py_UNUSED(ignored))
{
    sos_object *res = NULL;
    Py_ssize_t n;

    if (self->indices == NULL || self->weights == NULL) {
        PyErr_SetString(quenda_ModelError, "Cannot copy an uninitialized SOS");
        return NULL;
    }
    res = (sos_object *)PyType_GenericAlloc(&quenda_SOSType, 0);
    if (res == NULL)
        return NULL;
    res->id = qnda_py_env.soscounter++;
    res->type = self->type;
    res->indices = PyList_GetSlice(self->indices, 0, PyList_GET_SIZE(self->indices));
    n = PyList_GET_SIZE(self->weights);
    if (res->indices != NULL)
        res->weights = PyList_GetSlice(self->weights, 0, n);
    if (res->weights != NULL)
        res->name = PyUnicode_FromFormat("sos%u_copy_%S", (unsigned)self->id,
                                         self->name ? self->name : Py_None);
    return quenda_keep_if((PyObject *)res, res->name != NULL);
}

static PyObject *
sos_str(sos_object *self)
{
    if (self->name == NULL)
        return PyUnicode_FromString("");
    return PyObject_Str(self->name);
}

static PyMethodDef sos_methods[] = {{"copy", (PyCFunction)sos_copy, METH_NOARGS,
                                     "Return a copy of the SOS as a new object"},
                                    {NULL, NULL, 0, NULL}};

static PyObject *
sos_get_name(PyObject *self, void *)
{
    sos_object *s = (sos_object *)self;
    if (s->name == NULL)
        return PyUnicode_FromFormat("sos%u", (unsigned)s->id);
    return Py_NewRef(s->name);
}

/* A set always holds its name (the problem reads it when the set is added):
 * deleting it stores the default name again. */
static int
sos_set_name(PyObject *self, PyObject *value, void *closure)
{
    if (value != NULL)
        return quenda_set_name<sos_object>(self, value, closure);
    PyObject *name = PyUnicode_FromFormat("sos%u", (unsigned)((sos_object *)self)->id);
    if (name == NULL)
        return -1;
    int r = quenda_set_name<sos_object>(self, name, closure);
    Py_DECREF(name);
    return r;
}

static PyGetSetDef sos_getset[] = QUENDA_NAME_GETSET(sos_get_name, sos_set_name, "SOS's name",
                                                     "Invalid SOS name (must be a string)");

/* ------------------------------------------------------------ type object */

PyTypeObject quenda_SOSType =
    quenda_type_build("quenda.SOS", sizeof(sos_object), Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE,
                      "Special ordered set of type 1 or 2", Py_tp_dealloc, sos_dealloc, Py_tp_repr,
                      sos_str, Py_tp_str, sos_str, Py_tp_methods, sos_methods, Py_tp_getset,
                      sos_getset, Py_tp_init, sos_init);
