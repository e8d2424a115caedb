/* Placeholder for the quenda.poolcut type until its subsystem lands. */
#include "module/types.h"

PyTypeObject quenda_poolcutType = {
    PyVarObject_HEAD_INIT(NULL, 0)
    "quenda.poolcut",            /* tp_name */
    sizeof(PyObject), /* tp_basicsize */
};
