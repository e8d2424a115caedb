/* The registry's problem methods (see registry.h): each is one change of
 * the registry at a time, the work being done in batch_*.cpp and
 * delete.cpp. */
#include "problem/registry.h"

#include "problem/batch.h"

/* ------------------------------------------------------------------ */
/* The methods: each one change of the registry at a time                */

static PyObject *
reg_guarded(PyObject *self, PyObject *args, PyObject *kwargs, int kind,
            PyObject *(*add)(PyObject *, PyObject *))
{
    problem_s *p = (problem_s *)self;
    PyObject *res;
    if (problem_registry_enter(p) != 0)
        return NULL;
    res = add != NULL ? add(self, args) : problem_delete_impl(self, args, kwargs, kind);
    problem_registry_leave(p);
    return res;
}

template <PyObject *(*ADD)(PyObject *, PyObject *)>
static PyObject *
reg_add(PyObject *self, PyObject *args)
{
    return reg_guarded(self, args, NULL, 0, ADD);
}

template <int KIND>
static PyObject *
reg_del(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return reg_guarded(self, args, kwargs, KIND, NULL);
}

#define REG_KW(f) ((PyCFunction)(void (*)(void))(f))

PyMethodDef problem_registry_methods[] = {
    {"addVariable", reg_add<problem_addVariable_impl>, METH_VARARGS,
     "addVariable(*vars): add variables (or any nesting of collections of them) as columns"},
    {"addConstraint", reg_add<problem_addConstraint_impl>, METH_VARARGS,
     "addConstraint(*cons): add constraints (or any nesting of collections of them) as rows"},
    {"addSOS", reg_add<problem_addSOS_impl>, METH_VARARGS,
     "addSOS(*sets): add special ordered sets (or collections of them)"},
    {"addIndicator", reg_add<problem_addIndicator_impl>, METH_VARARGS,
     "addIndicator(cond, con, ...): con must hold when cond (var == 0 or var == 1, var binary) "
     "holds; cond and con may also be equal-length lists or arrays"},
    {"delVariable", REG_KW(reg_del<DEL_COLS>), METH_VARARGS | METH_KEYWORDS,
     "delVariable(index=None, first=-1, last=-1): delete variables by index, object, list or "
     "range"},
    {"delConstraint", REG_KW(reg_del<DEL_ROWS>), METH_VARARGS | METH_KEYWORDS,
     "delConstraint(index=None, first=-1, last=-1): delete constraints"},
    {"delSOS", REG_KW(reg_del<DEL_SETS>), METH_VARARGS | METH_KEYWORDS,
     "delSOS(index=None, first=-1, last=-1): delete special ordered sets"},
    {NULL, NULL, 0, NULL}};
