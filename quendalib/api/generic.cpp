/* quenda.generic: Opaque pointer passed through callbacks.
 * It holds one opaque pointer and owns nothing it points to, so
 * deallocation releases only the Python object. */
#include "module/handles.h"
#include "module/types.h"

typedef struct {
    PyObject_HEAD
    void *ptr; /* borrowed library pointer, may be NULL */
} generic_s;

/* New reference, or NULL with an exception set. */
PyObject *
generic_create(void *ptr)
{
    generic_s *self = PyObject_New(generic_s, &quenda_genericType);
    if (self == NULL)
        return NULL;
    self->ptr = ptr;
    return (PyObject *)self;
}

void *
generic_getptr(PyObject *self)
{
    if (self == NULL || !PyObject_TypeCheck(self, &quenda_genericType))
        return NULL;
    return ((generic_s *)self)->ptr;
}

static void
generic_dealloc(PyObject *self)
{
    Py_TYPE(self)->tp_free(self);
}

static PyObject *
generic_repr(PyObject *self)
{
    return PyUnicode_FromFormat("<quenda.generic at %p>", ((generic_s *)self)->ptr);
}

PyTypeObject quenda_genericType = {
    PyVarObject_HEAD_INIT(NULL, 0)
    "quenda.generic",            /* tp_name */
    sizeof(generic_s),          /* tp_basicsize */
    0,                       /* tp_itemsize */
    generic_dealloc,            /* tp_dealloc */
    0,                       /* tp_vectorcall_offset */
    0,                       /* tp_getattr */
    0,                       /* tp_setattr */
    0,                       /* tp_as_async */
    generic_repr,               /* tp_repr */
    0, 0, 0,                 /* tp_as_number, tp_as_sequence, tp_as_mapping */
    0,                       /* tp_hash */
    0,                       /* tp_call */
    0,                       /* tp_str */
    0,                       /* tp_getattro */
    0,                       /* tp_setattro */
    0,                       /* tp_as_buffer */
    Py_TPFLAGS_DEFAULT,      /* tp_flags */
    "Opaque pointer passed through callbacks", /* tp_doc */
};
