/* Placeholder for the quenda.nonlinear type until its subsystem lands. */
#include "module/types.h"

PyTypeObject quenda_nonlinType = {
    PyVarObject_HEAD_INIT(NULL, 0)
    "quenda.nonlinear",            /* tp_name */
    sizeof(PyObject), /* tp_basicsize */
};
