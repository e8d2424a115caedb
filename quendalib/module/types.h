/* The Python types of the module.  Each is defined, with its slot
 * functions, in its own source file; the module init readies them in the
 * order of quenda_all_types. */
#pragma once

#include <Python.h>

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
