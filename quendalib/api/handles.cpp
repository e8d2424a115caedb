/* The small handle types that carry library pointers through Python
 * (declared in module/handles.h): quenda.qndaobject, quenda.generic and
 * quenda.poolcut hold one borrowed pointer each and share one record and
 * one set of slots.  None of them owns what it points to, so deallocation
 * releases only the Python object.  quenda.branchobj has its own file. */
#include "api/api.h"
#include "api/wrap.h"

#include "api/analysis.h"

#include "module/session.h"

/* The type object of a handle: only a name, size, dealloc, repr and doc. */
#define HANDLE_TYPE(name, size, dealloc, repr, doc)                                                \
    {                                                                                              \
        QUENDA_TYPE_HEAD(name, size, dealloc, repr, 0, 0, 0, Py_TPFLAGS_DEFAULT, doc),             \
    }

typedef struct {
    PyObject_HEAD
    void *ptr; /* borrowed library pointer, may be NULL */
} handle_s;

static PyObject *
handle_create(PyTypeObject *type, void *ptr)
{
    handle_s *self = PyObject_New(handle_s, type);
    if (self == NULL)
        return NULL;
    self->ptr = ptr;
    return (PyObject *)self;
}

static void *
handle_get(PyObject *self, PyTypeObject *type)
{
    if (self == NULL || !PyObject_TypeCheck(self, type))
        return NULL;
    return ((handle_s *)self)->ptr;
}

static void
handle_dealloc(PyObject *self)
{
    Py_TYPE(self)->tp_free(self);
}

static PyObject *
handle_repr(PyObject *self)
{
    return PyUnicode_FromFormat("<%s at %p>", Py_TYPE(self)->tp_name, ((handle_s *)self)->ptr);
}

PyTypeObject quenda_objattrType =
    HANDLE_TYPE("quenda.qndaobject", sizeof(handle_s), handle_dealloc, handle_repr,
                "Wrapper class for the C API type QNDAobject used in callback");
PyTypeObject quenda_genericType =
    HANDLE_TYPE("quenda.generic", sizeof(handle_s), handle_dealloc, handle_repr,
                "Opaque pointer passed through callbacks");
PyTypeObject quenda_poolcutType = HANDLE_TYPE("quenda.poolcut", sizeof(handle_s), handle_dealloc,
                                              handle_repr, "Cut in the cut pool");

PyObject *
qndaobject_create(void *obj)
{
    return handle_create(&quenda_objattrType, obj);
}

PyObject *
generic_create(void *ptr)
{
    return handle_create(&quenda_genericType, ptr);
}

PyObject *
poolcut_create(void *cut)
{
    return handle_create(&quenda_poolcutType, cut);
}

void *
qndaobject_getobj(PyObject *self)
{
    return handle_get(self, &quenda_objattrType);
}

void *
generic_getptr(PyObject *self)
{
    return handle_get(self, &quenda_genericType);
}

void *
poolcut_getcut(PyObject *self)
{
    return handle_get(self, &quenda_poolcutType);
}

int
api_init(void)
{
    PyMethodDef *tables[] = {api_load_methods,     api_change_methods,      api_query_methods,
                             api_solution_methods, api_analysis_methods,    api_optimize_methods,
                             api_iis_methods,      api_sensitivity_methods, api_refine_methods,
                             api_cut_methods,      api_presolve_methods};
    for (PyMethodDef *t : tables) {
        if (problem_add_methods(t) != 0)
            return -1;
    }
    return quenda_add_error_source(&quenda_branchobjType, branchobj_getlasterror,
                                   "Unidentified error associated with a branching object");
}
