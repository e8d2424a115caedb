/* Placeholder for the quenda.var type until its subsystem lands. */
#include "module/types.h"

PyTypeObject quenda_varType = {
    PyVarObject_HEAD_INIT(NULL, 0)
    "quenda.var",            /* tp_name */
    sizeof(PyObject), /* tp_basicsize */
};
