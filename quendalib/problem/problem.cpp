/* Placeholder for the quenda.problem type until its subsystem lands. */
#include "module/types.h"

PyTypeObject quenda_problemType = {
    PyVarObject_HEAD_INIT(NULL, 0)
    "quenda.problem",            /* tp_name */
    sizeof(PyObject), /* tp_basicsize */
};
