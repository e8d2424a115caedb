/* Placeholder for the quenda.constraint type until its subsystem lands. */
#include "module/types.h"

PyTypeObject quenda_constraintType = {
    PyVarObject_HEAD_INIT(NULL, 0)
    "quenda.constraint",            /* tp_name */
    sizeof(PyObject), /* tp_basicsize */
};
