/* Placeholder for the quenda.quadterm type until its subsystem lands. */
#include "module/types.h"

PyTypeObject quenda_quadtermType = {
    PyVarObject_HEAD_INIT(NULL, 0)
    "quenda.quadterm",            /* tp_name */
    sizeof(PyObject), /* tp_basicsize */
};
