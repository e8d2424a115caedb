/* quenda.qndaobject: Wrapper class for the C API type QNDAobject used in callback.
 * It holds one opaque pointer and owns nothing it points to, so
 * deallocation releases only the Python object. */
#include "module/handles.h"
#include "module/types.h"

typedef struct {
    PyObject_HEAD
    void *ptr; /* borrowed library pointer, may be NULL */
} qndaobject_s;

/* New reference, or NULL with an exception set. */
PyObject *
qndaobject_create(void *ptr)
{
    qndaobject_s *self = PyObject_New(qndaobject_s, &quenda_objattrType);
    if (self == NULL)
        return NULL;
    self->ptr = ptr;
    return (PyObject *)self;
}

void *
qndaobject_getobj(PyObject *self)
{
    if (self == NULL || !PyObject_TypeCheck(self, &quenda_objattrType))
        return NULL;
    return ((qndaobject_s *)self)->ptr;
}

static void
qndaobject_dealloc(PyObject *self)
{
    Py_TYPE(self)->tp_free(self);
}

static PyObject *
qndaobject_repr(PyObject *self)
{
    return PyUnicode_FromFormat("<quenda.qndaobject at %p>", ((qndaobject_s *)self)->ptr);
}

PyTypeObject quenda_objattrType = {
    PyVarObject_HEAD_INIT(NULL, 0)
    "quenda.qndaobject",            /* tp_name */
    sizeof(qndaobject_s),          /* tp_basicsize */
    0,                       /* tp_itemsize */
    qndaobject_dealloc,            /* tp_dealloc */
    0,                       /* tp_vectorcall_offset */
    0,                       /* tp_getattr */
    0,                       /* tp_setattr */
    0,                       /* tp_as_async */
    qndaobject_repr,               /* tp_repr */
    0, 0, 0,                 /* tp_as_number, tp_as_sequence, tp_as_mapping */
    0,                       /* tp_hash */
    0,                       /* tp_call */
    0,                       /* tp_str */
    0,                       /* tp_getattro */
    0,                       /* tp_setattro */
    0,                       /* tp_as_buffer */
    Py_TPFLAGS_DEFAULT,      /* tp_flags */
    "Wrapper class for the C API type QNDAobject used in callback", /* tp_doc */
};
