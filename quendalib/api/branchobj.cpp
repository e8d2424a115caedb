/* quenda.branchobj: a branching object of the library, built by the user
 * for a problem or handed to a branching callback.  Only the record and its
 * lifetime live here for now; the methods come with the branching API. */
#include "module/handles.h"
#include "module/types.h"

#include <string.h>

typedef struct {
    PyObject_HEAD
    void *handle;   /* library branching object, NULL once handed over */
    PyObject *prob; /* owned: the problem (or callback view) it belongs to */
} branchobj_s;

void
branchobj_getlasterror(PyObject *self, int *code, char *msg, int maxbytes)
{
    /* No branching-object error is recorded until the branching API lands. */
    (void)self;
    *code = 0;
    if (maxbytes > 0)
        msg[0] = '\0';
}

static void
branchobj_dealloc(PyObject *self)
{
    branchobj_s *bo = (branchobj_s *)self;
    bo->handle = NULL;
    Py_CLEAR(bo->prob);
    Py_TYPE(self)->tp_free(self);
}

PyTypeObject quenda_branchobjType = {
    PyVarObject_HEAD_INIT(NULL, 0)
    "quenda.branchobj",      /* tp_name */
    sizeof(branchobj_s),     /* tp_basicsize */
    0,                       /* tp_itemsize */
    branchobj_dealloc,       /* tp_dealloc */
    0,                       /* tp_vectorcall_offset */
    0,                       /* tp_getattr */
    0,                       /* tp_setattr */
    0,                       /* tp_as_async */
    0,                       /* tp_repr */
    0, 0, 0,                 /* tp_as_number, tp_as_sequence, tp_as_mapping */
    0,                       /* tp_hash */
    0,                       /* tp_call */
    0,                       /* tp_str */
    0,                       /* tp_getattro */
    0,                       /* tp_setattro */
    0,                       /* tp_as_buffer */
    Py_TPFLAGS_DEFAULT,      /* tp_flags */
    "Branching object",      /* tp_doc */
};
