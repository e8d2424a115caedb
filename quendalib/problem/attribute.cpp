/* Placeholder for the quenda.attribute type until its subsystem lands. */
#include "module/types.h"

PyTypeObject quenda_attrType = {
    PyVarObject_HEAD_INIT(NULL, 0)
    "quenda.attribute",            /* tp_name */
    sizeof(PyObject), /* tp_basicsize */
};
