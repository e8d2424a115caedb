/* Placeholder for the quenda.linterm type until its subsystem lands. */
#include "module/types.h"

PyTypeObject quenda_lintermType = {
    PyVarObject_HEAD_INIT(NULL, 0)
    "quenda.linterm",            /* tp_name */
    sizeof(PyObject), /* tp_basicsize */
};
