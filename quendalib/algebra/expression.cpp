/* Placeholder for the quenda.expression type until its subsystem lands. */
#include "module/types.h"

PyTypeObject quenda_expressionType = {
    PyVarObject_HEAD_INIT(NULL, 0)
    "quenda.expression",            /* tp_name */
    sizeof(PyObject), /* tp_basicsize */
};
