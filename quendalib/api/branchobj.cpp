/* Placeholder for the quenda.branchobj type until its subsystem lands. */
#include "module/types.h"

PyTypeObject quenda_branchobjType = {
    PyVarObject_HEAD_INIT(NULL, 0)
    "quenda.branchobj",            /* tp_name */
    sizeof(PyObject), /* tp_basicsize */
};
