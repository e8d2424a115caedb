/* The table of binary operators, the constructor hooks, and what every
 * type of the algebra shares at its edges (the error, the ndarray test,
 * the rich comparison).  See algebra.h for how the table is filled. */
#include "algebra/algebra.h"

#include "module/npy.h"
#include "module/session.h"

algebra_binop algebra_table[ALG_OPS][ALGEBRA_KINDS][ALGEBRA_KINDS];
algebra_sumop algebra_sum_table[ALGEBRA_KINDS];
algebra_copyop algebra_copy_table[ALGEBRA_KINDS];
algebra_ctors algebra_ctor;

int
algebra_register_type(int kind, const algebra_type_ops *ops)
{
    if (kind <= EXPR_CONSTANT || kind >= ALGEBRA_KINDS) {
        PyErr_SetString(PyExc_SystemError, "algebra type registered with a bad kind");
        return -1;
    }
    const algebra_binop fns[ALG_OPS] = {ops->add, ops->sub, ops->mul, ops->div,
                                        ops->pow, ops->iadd, ops->imul};
    for (int op = 0; op < ALG_OPS; op++) {
        for (int j = 0; j <= kind; j++) {
            algebra_table[op][kind][j] = fns[op];
            algebra_table[op][j][kind] = fns[op];
        }
    }
    algebra_sum_table[kind] = ops->alg_sum;
    algebra_copy_table[kind] = ops->copy;
    return 0;
}

PyObject *
quenda_model_error(const char *msg)
{
    PyErr_SetString(quenda_ModelError != NULL ? quenda_ModelError : PyExc_RuntimeError, msg);
    return NULL;
}

PyObject *
algebra_no_cell(int op, int ka, int kb)
{
    (void)op;
    (void)ka;
    (void)kb;
    return quenda_model_error("Invalid object in operation");
}

PyObject *
algebra_sum(int ka, int kb, PyObject *a, PyObject *b, double sign)
{
    int k = ka > kb ? ka : kb;
    if ((unsigned)ka < ALGEBRA_KINDS && (unsigned)kb < ALGEBRA_KINDS &&
        algebra_sum_table[k] != NULL)
        return algebra_sum_table[k](a, b, sign);
    return algebra_no_cell(sign > 0 ? ALG_ADD : ALG_SUB, ka, kb);
}

int
is_ndarray(PyObject *obj)
{
    if (obj == NULL)
        return 0;
    PyTypeObject *t = Py_TYPE(obj);
    if (t == &PyArray_Type)
        return 1;
    /* The operands of the algebra's hot paths, without a walk of the MRO. */
    if (t == &quenda_varType || t == &quenda_lintermType || t == &quenda_expressionType ||
        t == &quenda_quadtermType || t == &PyFloat_Type || t == &PyLong_Type)
        return 0;
    return PyType_IsSubtype(t, &PyArray_Type);
}

PyObject *
algebra_richcompare(PyObject *a, PyObject *b, int op)
{
    if (is_ndarray(a) || is_ndarray(b))
        Py_RETURN_NOTIMPLEMENTED;
    return algebra_ctor.constraint_build(a, b, op);
}
