/* The registry's problem methods (see registry.h): each is one change of
 * the registry at a time, the work being done in batch_*.cpp and
 * delete.cpp. */
#include "problem/registry.h"

#include "problem/batch.h"
#include "problem/objtransfer.h"

/* ------------------------------------------------------------------ */
/* The methods: each one change of the registry at a time                */

/* kind: a reg_kind to add, or NULL for addIndicator; del: DEL_ROWS,
 * DEL_COLS or DEL_SETS to delete, or -1. */
static PyObject *
reg_guarded(PyObject *self, PyObject *args, PyObject *kwargs, const reg_kind *kind, int del)
{
    problem_s *p = (problem_s *)self;
    PyObject *res = NULL;
    int moved = 0;
    /* new rows and columns go before a nonlinear objective's transfer */
    const int moves = del < 0 && kind != &reg_kind_sets;

    if (problem_registry_enter(p) != 0)
        return NULL;
    if (moves && objtransfer_take_out(p, &moved) != 0)
        goto done;
    res = del >= 0       ? problem_delete_impl(self, args, kwargs, del)
          : kind != NULL ? reg_batch_add(self, args, kind)
                         : problem_addIndicator_impl(self, args);
    if (res != NULL && del >= 0 && objtransfer_follow(p) != 0)
        Py_CLEAR(res);
done:
    if (moved) {
        /* put back even after a failed add, keeping the add's exception */
        PyObject *et, *ev, *tb;
        PyErr_Fetch(&et, &ev, &tb);
        if (objtransfer_put_back(p) != 0) {
            Py_CLEAR(res);
            Py_XDECREF(et);
            Py_XDECREF(ev);
            Py_XDECREF(tb);
        } else {
            PyErr_Restore(et, ev, tb);
        }
    }
    problem_registry_leave(p);
    return res;
}

template<const reg_kind *KIND>
static PyObject *
reg_add(PyObject *self, PyObject *args)
{
    return reg_guarded(self, args, NULL, KIND, -1);
}

template<int DEL>
static PyObject *
reg_del(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return reg_guarded(self, args, kwargs, NULL, DEL);
}

#define REG_KW(f) ((PyCFunction)(void (*)(void))(f))

PyMethodDef problem_registry_methods[] =
    {{"addVariable", reg_add<&reg_kind_vars>, METH_VARARGS,
      "addVariable(*vars): add variables (or any nesting of collections of them) as columns"},
     {"addConstraint", reg_add<&reg_kind_rows>, METH_VARARGS,
      "addConstraint(*cons): add constraints (or any nesting of collections of them) as rows"},
     {"addSOS", reg_add<&reg_kind_sets>, METH_VARARGS,
      "addSOS(*sets): add special ordered sets (or collections of them)"},
     {"addIndicator", reg_add<nullptr>, METH_VARARGS,
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
