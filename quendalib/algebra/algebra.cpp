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

/* The power cells: the number slot takes a third operand the table does
 * not carry. */
static const PyNumberMethods *algebra_number[ALGEBRA_KINDS];

template<int K>
static PyObject *
algebra_pow_cell(PyObject *a, PyObject *b)
{
    return algebra_number[K]->nb_power(a, b, Py_None);
}

static const algebra_binop algebra_pow_cells[ALGEBRA_KINDS] = {NULL,
                                                               algebra_pow_cell<1>,
                                                               algebra_pow_cell<2>,
                                                               algebra_pow_cell<3>,
                                                               algebra_pow_cell<4>,
                                                               algebra_pow_cell<5>};

int
algebra_register_type(int kind, PyTypeObject *type, int mutable_objects, algebra_sumop alg_sum,
                      algebra_copyop copy)
{
    const PyNumberMethods *nb = type->tp_as_number;
    if (kind <= EXPR_CONSTANT || kind >= ALGEBRA_KINDS || nb == NULL) {
        PyErr_SetString(PyExc_SystemError, "algebra type registered with a bad kind");
        return -1;
    }
    algebra_number[kind] = nb;
    const algebra_binop fns[ALG_OPS] = {nb->nb_add,
                                        nb->nb_subtract,
                                        nb->nb_multiply,
                                        nb->nb_true_divide,
                                        algebra_pow_cells[kind],
                                        mutable_objects ? nb->nb_inplace_add : nb->nb_add,
                                        mutable_objects ? nb->nb_inplace_multiply
                                                        : nb->nb_multiply};
    for (int op = 0; op < ALG_OPS; op++) {
        for (int j = 0; j <= kind; j++) {
            algebra_table[op][kind][j] = fns[op];
            algebra_table[op][j][kind] = fns[op];
        }
    }
    algebra_sum_table[kind] = alg_sum;
    algebra_copy_table[kind] = copy;
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
