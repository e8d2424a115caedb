/* Placeholder for the quenda.control type until its subsystem lands. */
#include "module/types.h"

PyTypeObject quenda_ctrlType = {
    PyVarObject_HEAD_INIT(NULL, 0)
    "quenda.control",            /* tp_name */
    sizeof(PyObject), /* tp_basicsize */
};
