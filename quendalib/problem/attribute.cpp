/* quenda.attribute: a problem's attributes by name (p.attributes.rows).
 * Values are read from the library at each access; none can be set. */
#include "problem/attribute.h"

#include "module/session.h"
#include "problem/control.h"

#include <stddef.h>

static_assert(offsetof(attr_s, probref) == offsetof(ctrl_s, probref),
              "attribute and control objects share their readers");

PyObject *
attr_base(PyObject *prob)
{
    attr_s *self = (attr_s *)quenda_attrType.tp_alloc(&quenda_attrType, 0);
    if (self == NULL)
        return NULL;
    if (prob != NULL) {
        self->probref = PyWeakref_NewRef(prob, NULL);
        if (self->probref == NULL) {
            Py_DECREF(self);
            return NULL;
        }
    }
    return (PyObject *)self;
}

PyObject *
attr_copy(PyObject *attr, PyObject *prob)
{
    (void)attr; /* nothing but the problem to carry over */
    return attr_base(prob);
}

static void
attr_dealloc(PyObject *self)
{
    Py_CLEAR(((attr_s *)self)->probref);
    Py_TYPE(self)->tp_free(self);
}

static PyObject *
attr_getattro(PyObject *self, PyObject *name)
{
    return ctrl_attr_getattro(self, name, 1);
}

static int
attr_setattro(PyObject *self, PyObject *name, PyObject *value)
{
    PyErr_SetString(quenda_ModelError, "A problem's attribute cannot be set");
    return -1;
}

static PyObject *
attr_str(PyObject *self)
{
    return ctrl_attr_str(self, 1);
}

PyTypeObject quenda_attrType =
    quenda_type_build("quenda.attribute", sizeof(attr_s), Py_TPFLAGS_DEFAULT,
                      "Attributes of a problem (read only)", Py_tp_dealloc, attr_dealloc,
                      Py_tp_repr, attr_str, Py_tp_str, attr_str, Py_tp_getattro, attr_getattro,
                      Py_tp_setattro, attr_setattro);
