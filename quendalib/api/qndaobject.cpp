/* Placeholder for the quenda.qndaobject type until its subsystem lands. */
#include "module/types.h"

PyTypeObject quenda_objattrType = {
    PyVarObject_HEAD_INIT(NULL, 0)
    "quenda.qndaobject",            /* tp_name */
    sizeof(PyObject), /* tp_basicsize */
};
