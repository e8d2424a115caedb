/* quenda.poolcut: Cut in the cut pool.
 * It holds one opaque pointer and owns nothing it points to, so
 * deallocation releases only the Python object. */
#include "module/handles.h"
#include "module/types.h"

typedef struct {
    PyObject_HEAD
    void *ptr; /* borrowed library pointer, may be NULL */
} poolcut_s;

/* New reference, or NULL with an exception set. */
PyObject *
poolcut_create(void *ptr)
{
    poolcut_s *self = PyObject_New(poolcut_s, &quenda_poolcutType);
    if (self == NULL)
        return NULL;
    self->ptr = ptr;
    return (PyObject *)self;
}

void *
poolcut_getcut(PyObject *self)
{
    if (self == NULL || !PyObject_TypeCheck(self, &quenda_poolcutType))
        return NULL;
    return ((poolcut_s *)self)->ptr;
}

static void
poolcut_dealloc(PyObject *self)
{
    Py_TYPE(self)->tp_free(self);
}

static PyObject *
poolcut_repr(PyObject *self)
{
    return PyUnicode_FromFormat("<quenda.poolcut at %p>", ((poolcut_s *)self)->ptr);
}

PyTypeObject quenda_poolcutType = {
    PyVarObject_HEAD_INIT(NULL, 0)
    "quenda.poolcut",            /* tp_name */
    sizeof(poolcut_s),          /* tp_basicsize */
    0,                       /* tp_itemsize */
    poolcut_dealloc,            /* tp_dealloc */
    0,                       /* tp_vectorcall_offset */
    0,                       /* tp_getattr */
    0,                       /* tp_setattr */
    0,                       /* tp_as_async */
    poolcut_repr,               /* tp_repr */
    0, 0, 0,                 /* tp_as_number, tp_as_sequence, tp_as_mapping */
    0,                       /* tp_hash */
    0,                       /* tp_call */
    0,                       /* tp_str */
    0,                       /* tp_getattro */
    0,                       /* tp_setattro */
    0,                       /* tp_as_buffer */
    Py_TPFLAGS_DEFAULT,      /* tp_flags */
    "Cut in the cut pool", /* tp_doc */
};
