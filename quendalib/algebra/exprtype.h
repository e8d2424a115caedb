/* Operand classification and the general operations of the algebra.
 *
 * Every arithmetic routine of the algebra classifies its operands with
 * getExprType; NumPy arrays are recognised before that (is_ndarray) and
 * handed back to NumPy.  The general operations go through the operator
 * table (algebra.h) to the richest operand type present (nonlinear >
 * expression > quadterm > linterm > var > number) and are what the
 * aggregates and mixed operators use.
 *
 * Every PyObject-returning function returns a new reference, or NULL with
 * a Python exception set. */
#pragma once

#include <Python.h>
#include <stdint.h>

#include "algebra/algebra.h"

/* The code of obj; -1 (with quenda.ModelError "Invalid object in
 * operation" set) for anything else, NULL included. */
int getExprType(PyObject *obj);

/* 1 when obj is a number: Python float or int (or subclasses), NumPy
 * scalar int32, long, long long, float32 or float64.  No exception. */
int is_number(PyObject *obj);

/* 1 when obj is a number equal to value; never raises (an overflowing
 * int is not equal to anything). */
int number_equals(PyObject *obj, double value);

/* Value of a number (is_number true); -1.0 with an exception on overflow:
 * test PyErr_Occurred() when the result is -1.0. */
double number_value(PyObject *obj);

/* The float 0.0 / 1.0 (new references to cached objects). */
PyObject *quenda_float_zero(void);
PyObject *quenda_float_one(void);

/* Plain-number forms (an ndarray operand defers to NumPy). */
PyObject *constant_neg(PyObject *a);

/* General operations.  A left operand None gives a copy of the right
 * operand (factor 1); a right operand None gives the left one.
 * general_iadd and general_imul may modify and return a itself (an
 * expression or a nonlinear sum). */
PyObject *general_mul(PyObject *a, PyObject *b);
PyObject *general_imul(PyObject *a, PyObject *b);
PyObject *general_iadd(PyObject *a, PyObject *b);
/* factor * obj for any algebra object or number: a nonlinear is copied by
 * nonlin_copy, an expression by expression_copy, a quadterm by
 * quadterm_copy, a linterm by linterm_copy, a var by var_fill, a number
 * becomes a float. */
PyObject *general_copy(PyObject *obj, double factor);
PyObject *general_neg(PyObject *obj);

/* Operand kind without raising: the codes above, EXPR_ARRAY for an
 * ndarray, EXPR_INVALID for anything else.  Exact types are tested first
 * since the algebra types are final. */
int expr_kind(PyObject *obj);

/* The default name of an object: prefix followed by the identity number
 * ("C12", "R3"), without going through the format machinery. */
PyObject *quenda_id_name(char prefix, uint32_t id);

/* The same text written into buf (no terminating zero): its start; *len
 * receives its length. */
static inline const char *
quenda_id_text(char prefix, uint32_t id, char (&buf)[16], size_t *len)
{
    char *p = buf + sizeof buf;
    do {
        *--p = (char)('0' + id % 10);
        id /= 10;
    } while (id != 0);
    *--p = prefix;
    *len = (size_t)(buf + sizeof buf - p);
    return p;
}

/* A name slot that NULL means the default name (prefix and identity
 * number), made when asked for rather than kept by every object: the
 * name, a new reference or NULL. */
static inline PyObject *
quenda_name_or_default(PyObject *name, char prefix, uint32_t id)
{
    return name != NULL ? Py_NewRef(name) : quenda_id_name(prefix, id);
}

/* The setter of that name slot, for a type T whose objects hold it in
 * T::name (deleting it gives the default name back). */
/* The setter of a `name` member.  The closure is the refusal message: a
 * name is a str or bytes from construction on, so that what is added to a
 * problem or written to a file never holds anything else.  Deleting the
 * name gives the object its default name back. */
template<typename T>
static int
quenda_set_name(PyObject *self, PyObject *value, void *closure)
{
    if (value != NULL && !(PyUnicode_Check(value) || PyBytes_Check(value))) {
        quenda_model_error((const char *)closure);
        return -1;
    }
    Py_XSETREF(((T *)self)->name, Py_XNewRef(value));
    return 0;
}

/* The getset table of a type whose only computed member is its name. */
#define QUENDA_NAME_GETSET(getter, setter, doc, refusal)                                           \
    {                                                                                              \
        {(char *)"name", getter, setter, (char *)doc, (void *)refusal},                            \
        {                                                                                          \
            NULL                                                                                   \
        }                                                                                          \
    }
