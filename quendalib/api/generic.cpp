/* Placeholder for the quenda.generic type until its subsystem lands. */
#include "module/types.h"

PyTypeObject quenda_genericType = {
    PyVarObject_HEAD_INIT(NULL, 0)
    "quenda.generic",            /* tp_name */
    sizeof(PyObject), /* tp_basicsize */
};
