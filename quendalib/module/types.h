/* The Python types of the module.  Each is defined, with its slot
 * functions, in its own source file; the module init readies them in the
 * order of quenda_all_types. */
#pragma once

#include <Python.h>
#include <type_traits>

extern PyTypeObject quenda_varType;        /* algebra/var.cpp        "quenda.var" */
extern PyTypeObject quenda_SOSType;        /* algebra/sos.cpp        "quenda.SOS" */
extern PyTypeObject quenda_expressionType; /* algebra/expression.cpp "quenda.expression" */
extern PyTypeObject quenda_constraintType; /* algebra/constraint.cpp "quenda.constraint" */
extern PyTypeObject quenda_ctrlType;       /* problem/control.cpp    "quenda.control" */
extern PyTypeObject quenda_attrType;       /* problem/attribute.cpp  "quenda.attribute" */
extern PyTypeObject quenda_problemType;    /* problem/problem.cpp    "quenda.problem" */
extern PyTypeObject quenda_branchobjType;  /* api/handles.cpp        "quenda.branchobj" */
extern PyTypeObject quenda_poolcutType;    /* api/handles.cpp        "quenda.poolcut" */
extern PyTypeObject quenda_objattrType;    /* api/handles.cpp        "quenda.qndaobject" */
extern PyTypeObject quenda_genericType;    /* api/handles.cpp        "quenda.generic" */
extern PyTypeObject quenda_lintermType;    /* algebra/linterm.cpp    "quenda.linterm" */
extern PyTypeObject quenda_quadtermType;   /* algebra/quadterm.cpp   "quenda.quadterm" */
extern PyTypeObject quenda_nonlinType;     /* algebra/nonlinear.cpp  "quenda.nonlinear" */
extern PyTypeObject quenda_guardedType;    /* problem/busy.cpp       "quenda.problem_method" */

/* The first fields of a type object, up to tp_doc, for the module's types:
 * the slots they fill by name, every other one empty.  Further fields
 * (tp_traverse on) may follow in the initialiser. */
#define QUENDA_TYPE_HEAD(name, size, dealloc, repr, str, getattro, setattro, flags, doc)           \
    PyVarObject_HEAD_INIT(NULL, 0) name, size, 0, dealloc, 0, 0, 0, 0, repr, 0, 0, 0, 0, 0, str,   \
        getattro, setattro, 0, flags, doc

/* A static type object built from its slots, as PyType_FromSpec builds a
 * heap type: after the name, size, flags and doc come pairs of a slot id and
 * its value.  The ids are CPython's own (Py_tp_repr, Py_tp_init, ...) and
 * the module's three below: the whole number table, and the offsets of the
 * weak reference list and of the instance dict.  A field left out stays
 * empty.  Built once at load, before the module init readies the type. */
enum { QUENDA_TP_AS_NUMBER = 1000, QUENDA_TP_WEAKLISTOFFSET, QUENDA_TP_DICTOFFSET };

inline void
quenda_type_slot(PyTypeObject *t, int id, Py_ssize_t offset)
{
    if (id == QUENDA_TP_WEAKLISTOFFSET)
        t->tp_weaklistoffset = offset;
    else if (id == QUENDA_TP_DICTOFFSET)
        t->tp_dictoffset = offset;
    else
        Py_FatalError("quenda_type_build: an offset for a slot that is not one");
}

inline void
quenda_type_slot(PyTypeObject *t, int id, void *f)
{
    switch (id) {
    case Py_tp_dealloc: t->tp_dealloc = (destructor)f; break;
    case Py_tp_repr: t->tp_repr = (reprfunc)f; break;
    case Py_tp_str: t->tp_str = (reprfunc)f; break;
    case Py_tp_hash: t->tp_hash = (hashfunc)f; break;
    case Py_tp_getattro: t->tp_getattro = (getattrofunc)f; break;
    case Py_tp_setattro: t->tp_setattro = (setattrofunc)f; break;
    case Py_tp_traverse: t->tp_traverse = (traverseproc)f; break;
    case Py_tp_clear: t->tp_clear = (inquiry)f; break;
    case Py_tp_richcompare: t->tp_richcompare = (richcmpfunc)f; break;
    case Py_tp_methods: t->tp_methods = (PyMethodDef *)f; break;
    case Py_tp_members: t->tp_members = (PyMemberDef *)f; break;
    case Py_tp_getset: t->tp_getset = (PyGetSetDef *)f; break;
    case Py_tp_init: t->tp_init = (initproc)f; break;
    case Py_tp_new: t->tp_new = (newfunc)f; break;
    case QUENDA_TP_AS_NUMBER: t->tp_as_number = (PyNumberMethods *)f; break;
    default: Py_FatalError("quenda_type_build: slot not handled");
    }
}

inline void
quenda_type_slots(PyTypeObject *)
{}

template<class V, class... Rest>
inline void
quenda_type_slots(PyTypeObject *t, int id, V value, Rest... rest)
{
    if constexpr (std::is_integral<V>::value)
        quenda_type_slot(t, id, (Py_ssize_t)value);
    else
        quenda_type_slot(t, id, (void *)value);
    quenda_type_slots(t, rest...);
}

template<class... Slots>
inline PyTypeObject
quenda_type_build(const char *name, Py_ssize_t size, unsigned long flags, const char *doc,
                  Slots... slots)
{
    PyTypeObject t = {PyVarObject_HEAD_INIT(NULL, 0)};
    t.tp_name = name;
    t.tp_basicsize = size;
    t.tp_flags = flags;
    t.tp_doc = doc;
    quenda_type_slots(&t, slots...);
    return t;
}
