/* Placeholder for the quenda.SOS type until its subsystem lands. */
#include "module/types.h"

PyTypeObject quenda_SOSType = {
    PyVarObject_HEAD_INIT(NULL, 0)
    "quenda.SOS",            /* tp_name */
    sizeof(PyObject), /* tp_basicsize */
};
