/* quenda.nonlinear: nodes of nonlinear expression trees.
 *
 * How sums stay flat.  A sum node (code 0) holds a list: its nonlinear
 * operands first, then at most one "part", an operand that is a number,
 * var, linterm, quadterm or expression.  Adding a term to a sum node
 * (sum_add_term) appends a nonlinear term just before the part, and merges
 * any other term into the part.  The part is updated in place only when the
 * list holds the sole reference to it: an expression that a user (or
 * another node) also holds is replaced by a merged copy the first time, and
 * that copy, owned by the list alone, takes every later term in place.  So
 * `s += x` on a long sum costs one map insertion, and no object the caller
 * can see changes except the sum node itself.
 *
 * `+=` grows the left node's own list when it is a sum node, unless the
 * right operand contains the left one (that would make a cycle); every
 * other operation builds new nodes and shares its operands by reference, as
 * the builders do (the operands of a node are never changed afterwards,
 * except a sum node that is itself the target of `+=`).
 *
 * Deep structures: copying and the containment test guard their recursion
 * with Py_EnterRecursiveCall; printing has its own depth budget;
 * deallocation uses the trashcan. */
#include "algebra/nonlinear.h"

#include <math.h>
#include <structmember.h>

#include "algebra/exprtype.h"
#include "algebra/slots.h"
#include "algebra/maps.h"
#include "module/session.h"

const nonlin_op_info printToolArray[NONLIN_NUM_OPS] =
    {{"+", -1, 0},    {"-", 2, 0},     {"-", 1, -1},     {"*", -1, 0},     {"/", 2, 0},
     {"**", 2, 0},    {"exp", 1, -1},  {"log", 1, -1},   {"log10", 1, -1}, {"sin", 1, -1},
     {"cos", 1, -1},  {"tan", 1, -1},  {"asin", 1, -1},  {"acos", 1, -1},  {"atan", 1, -1},
     {"max", -1, -1}, {"min", -1, -1}, {"abs", 1, -1},   {"sign", 1, -1},  {"erf", 1, -1},
     {"erfc", 1, -1}, {"sqrt", 1, -1}, {"user", -1, -1}, {"user", -1, -1}};

#define NONLIN_MAX_PRINT_DEPTH 64

static inline int
nonlin_is_sum(PyObject *o)
{
    return NONLIN_CHECK(o) && ((nonlin_object *)o)->op == NONLIN_PLUS &&
           ((nonlin_object *)o)->args != NULL && PyList_CheckExact(((nonlin_object *)o)->args);
}

/* New list [a] or [a, b] (b may be NULL); new reference. */
static PyObject *
list_pack(PyObject *a, PyObject *b)
{
    PyObject *l = PyList_New(b ? 2 : 1);
    if (l == NULL)
        return NULL;
    Py_INCREF(a);
    PyList_SET_ITEM(l, 0, a);
    if (b) {
        Py_INCREF(b);
        PyList_SET_ITEM(l, 1, b);
    }
    return l;
}

/* ------------------------------------------------------------ allocation */

/* New node with code op; steals args (which may be NULL on entry only when
 * an earlier step failed: then NULL is returned).  New reference. */
static PyObject *
nonlin_new(int op, PyObject *args)
{
    nonlin_object *self;
    if (args == NULL)
        return NULL;
    self = (nonlin_object *)PyType_GenericAlloc(&quenda_nonlinType, 0);
    if (self == NULL) {
        Py_DECREF(args);
        return NULL;
    }
    self->op = op;
    self->args = args;
    return (PyObject *)self;
}

static PyObject *
nonlin_tp_new(PyTypeObject *type, PyObject *args, PyObject *kwargs)
{
    nonlin_object *self = (nonlin_object *)type->tp_alloc(type, 0);
    if (self != NULL)
        self->op = -1;
    return (PyObject *)self;
}

/* Nodes are made by the operators and the module functions; a node made
 * through the type itself starts empty with code -1. */
static int
nonlin_init(nonlin_object *self, PyObject *args, PyObject *kwargs)
{
    if (self->args == NULL)
        self->op = -1;
    return 0;
}

static int
nonlin_traverse(nonlin_object *self, visitproc visit, void *arg)
{
    Py_VISIT(self->args);
    return 0;
}

static int
nonlin_clear(nonlin_object *self)
{
    Py_CLEAR(self->args);
    return 0;
}

static void
nonlin_dealloc(nonlin_object *self)
{
    PyObject_GC_UnTrack(self);
    Py_TRASHCAN_BEGIN(self, nonlin_dealloc) Py_CLEAR(self->args);
    Py_TYPE(self)->tp_free((PyObject *)self);
    Py_TRASHCAN_END
}

/* ------------------------------------------------------------ builders */

PyObject *
nonlin_instantiate_binary(int op, PyObject *a, PyObject *b)
{
    int ta = getExprType(a);
    int tb = ta < 0 ? -1 : getExprType(b);
    PyObject *args = NULL;

    if (ta < 0 || tb < 0) {
        PyErr_Clear();
        PyErr_Format(quenda_ModelError, "Invalid object <%S> in operation",
                     ta < 0 ? (a ? a : Py_None) : (b ? b : Py_None));
        return NULL;
    }
    if (op == NONLIN_PLUS || op == NONLIN_MUL) {
        /* The right operand goes first unless the left one is a node. */
        args = ta == EXPR_NONLINEAR ? list_pack(a, b) : list_pack(b, a);
    } else {
        args = PyTuple_Pack(2, a, b);
    }
    return nonlin_new(op, args);
}

PyObject *
nonlin_instantiate_unary(int op, PyObject *a)
{
    if (getExprType(a) < 0) {
        PyErr_Clear();
        PyErr_Format(quenda_ModelError, "Invalid object <%S> in unary operation", a ? a : Py_None);
        return NULL;
    }
    return nonlin_instantiate(op, 0, a);
}

static int
nonlin_is_user(int op)
{
    return op == NONLIN_USERFUNC || op == NONLIN_USERFUNC_DER;
}

PyObject *
nonlin_instantiate(int op, int nary, PyObject *arg)
{
    if (op < 0 || op >= NONLIN_NUM_OPS) {
        PyErr_SetString(quenda_ModelError, "Invalid nonlinear operator");
        return NULL;
    }
    if (arg == NULL) {
        PyErr_SetString(quenda_ModelError, "Invalid object in operation");
        return NULL;
    }
    if (!nary) {
        if (PyList_Check(arg) || PyTuple_Check(arg)) {
            PyErr_SetString(quenda_ModelError, "Could not create a unary nonlinear expression: the "
                                               "argument must be a single expression");
            return NULL;
        }
        if (!(nonlin_is_user(op) && PyCallable_Check(arg)) && getExprType(arg) < 0) {
            PyErr_Clear();
            PyErr_SetString(quenda_ModelError, "Invalid object in n-ary operation");
            return NULL;
        }
    } else {
        Py_ssize_t i, n;
        if (!PyList_Check(arg) && !PyTuple_Check(arg)) {
            PyErr_SetString(quenda_ModelError, "Could not create an n-ary nonlinear expression: "
                                               "the arguments must be in a list or tuple");
            return NULL;
        }
        n = PySequence_Fast_GET_SIZE(arg);
        for (i = 0; i < n; ++i) {
            PyObject *item = PySequence_Fast_GET_ITEM(arg, i); /* borrowed */
            int ok;
            if (i == 0 && nonlin_is_user(op) && PyCallable_Check(item))
                continue;
            ok = is_number(item) ||
                 (!is_ndarray(item) && !PyList_Check(item) && !PyTuple_Check(item) &&
                  !PySequence_Check(item) && getExprType(item) >= 0);
            if (!ok) {
                PyErr_Clear();
                PyErr_SetString(quenda_ModelError, "Invalid object in unary operation");
                return NULL;
            }
        }
    }
    Py_INCREF(arg);
    return nonlin_new(op, arg);
}

/* ------------------------------------------------------------ arguments */

Py_ssize_t
nonlin_arg_size(PyObject *node)
{
    PyObject *args;
    if (node == NULL || !NONLIN_CHECK(node)) {
        PyErr_SetString(quenda_ModelError, "Invalid object in operation");
        return -1;
    }
    args = ((nonlin_object *)node)->args;
    if (args == NULL)
        return 0;
    if (PyList_Check(args) || PyTuple_Check(args))
        return PySequence_Fast_GET_SIZE(args);
    return 1;
}

/* The argument list of a node (borrowed, may be NULL); NULL with ModelError
 * when node is not one, worded by which ("first", "next"). */
static PyObject *
nonlin_args_of(PyObject *node, const char *which, int *bad)
{
    *bad = node == NULL || !NONLIN_CHECK(node);
    if (*bad) {
        PyErr_Format(quenda_ModelError,
                     "Accessing %s argument list of an object that is not a nonlinear expression",
                     which);
        return NULL;
    }
    return ((nonlin_object *)node)->args;
}

PyObject *
nonlin_arg_first(PyObject *node, Py_ssize_t *index)
{
    int bad;
    PyObject *args = nonlin_args_of(node, "first", &bad);
    if (bad)
        return NULL;
    *index = 0;
    if (args == NULL)
        return NULL;
    if (PyList_Check(args) || PyTuple_Check(args))
        return PySequence_Fast_GET_SIZE(args) > 0 ? PySequence_Fast_GET_ITEM(args, 0) : NULL;
    return args;
}

PyObject *
nonlin_arg_next(PyObject *node, Py_ssize_t *index)
{
    int bad;
    PyObject *args = nonlin_args_of(node, "next", &bad);
    if (bad)
        return NULL;
    ++*index;
    if (args == NULL || !(PyList_Check(args) || PyTuple_Check(args)))
        return NULL;
    if (*index >= PySequence_Fast_GET_SIZE(args))
        return NULL;
    return PySequence_Fast_GET_ITEM(args, *index);
}

/* ------------------------------------------------------------ copy */

static PyObject *nonlin_deep_copy(PyObject *node);

/* An operand for a copied node: nodes and expressions are copied, the
 * immutable operands (numbers, var, linterm, quadterm, callables) shared.
 * New reference. */
static PyObject *
nonlin_copy_operand(PyObject *o)
{
    if (NONLIN_CHECK(o))
        return nonlin_deep_copy(o);
    if (EXPRESSION_CHECK(o))
        return algebra_copy_table[EXPR_EXPRESSION](o, 1.0);
    Py_INCREF(o);
    return o;
}

/* New reference. */
static PyObject *
nonlin_deep_copy(PyObject *node)
{
    nonlin_object *src = (nonlin_object *)node;
    PyObject *args = NULL, *res = NULL;
    Py_ssize_t i, n;

    if (Py_EnterRecursiveCall(" while copying a nonlinear expression"))
        return NULL;
    if (src->args == NULL) {
        args = NULL;
    } else if (PyList_Check(src->args) || PyTuple_Check(src->args)) {
        int is_list = PyList_Check(src->args);
        n = PySequence_Fast_GET_SIZE(src->args);
        args = is_list ? PyList_New(n) : PyTuple_New(n);
        if (args == NULL)
            goto error;
        for (i = 0; i < n; ++i) {
            PyObject *c = nonlin_copy_operand(PySequence_Fast_GET_ITEM(src->args, i));
            if (c == NULL)
                goto error;
            if (is_list)
                PyList_SET_ITEM(args, i, c);
            else
                PyTuple_SET_ITEM(args, i, c);
        }
    } else {
        args = nonlin_copy_operand(src->args);
        if (args == NULL)
            goto error;
    }
    if (args == NULL) {
        res = PyType_GenericAlloc(&quenda_nonlinType, 0);
        if (res != NULL)
            ((nonlin_object *)res)->op = src->op;
    } else {
        res = nonlin_new(src->op, args);
        args = NULL;
    }
    Py_LeaveRecursiveCall();
    return res;

error:
    Py_LeaveRecursiveCall();
    Py_XDECREF(args);
    return NULL;
}

PyObject *
nonlin_copy(PyObject *a, double factor)
{
    PyObject *c = NULL, *k = NULL, *res = NULL;

    if (a == NULL || !NONLIN_CHECK(a))
        return general_copy(a, factor);
    if (factor == 0.0)
        return quenda_float_zero();
    c = nonlin_deep_copy(a);
    if (c == NULL || factor == 1.0)
        return c;
    if (factor == -1.0)
        return nonlin_new(NONLIN_UMINUS, c);
    k = PyFloat_FromDouble(factor);
    if (k == NULL)
        goto error;
    res = nonlin_new(NONLIN_MUL, list_pack(c, k));
    /* list_pack took its own references */
error:
    Py_XDECREF(c);
    Py_XDECREF(k);
    return res;
}

/* 1 when needle occurs in the tree of hay (identity), 0 when not, -1 on
 * error (recursion too deep). */
static int
nonlin_contains(PyObject *hay, PyObject *needle)
{
    PyObject *args;
    int found = 0;

    if (hay == needle)
        return 1;
    if (!NONLIN_CHECK(hay))
        return 0;
    args = ((nonlin_object *)hay)->args;
    if (args == NULL)
        return 0;
    if (Py_EnterRecursiveCall(" while walking a nonlinear expression"))
        return -1;
    if (PyList_Check(args) || PyTuple_Check(args)) {
        Py_ssize_t i, n = PySequence_Fast_GET_SIZE(args);
        for (i = 0; i < n && found == 0; ++i)
            found = nonlin_contains(PySequence_Fast_GET_ITEM(args, i), needle);
    } else {
        found = nonlin_contains(args, needle);
    }
    Py_LeaveRecursiveCall();
    return found;
}

/* ------------------------------------------------------------ sums */

/* True when e is an expression with no constant and no terms. */
static int
expression_is_empty(PyObject *e)
{
    expression_object *x = (expression_object *)e;
    return x->constant == 0.0 &&
           (expression_linmap(x) == NULL || linmap_size(expression_linmap(x)) == 0) &&
           (x->quadmap == NULL || quadmap_size(x->quadmap) == 0);
}

/* Index of the part of a sum list (searched among the last three items,
 * from the end), or -1. */
static Py_ssize_t
sum_part_index(PyObject *list)
{
    Py_ssize_t n = PyList_GET_SIZE(list), i;
    for (i = n - 1; i >= 0 && i >= n - 3; --i)
        if (!NONLIN_CHECK(PyList_GET_ITEM(list, i)))
            return i;
    return -1;
}

/* sum += sign*term, in place.  sum is a sum node; term any operand (no
 * ndarray).  0, or -1 with an exception (the list may then hold the terms
 * added before the failure). */
static int
sum_add_term(PyObject *sum, PyObject *term, double sign)
{
    PyObject *list = ((nonlin_object *)sum)->args; /* borrowed */
    PyObject *piece = NULL, *items = NULL;
    Py_ssize_t idx;
    int t = getExprType(term);

    if (t < 0)
        return -1;
    if (t == EXPR_NONLINEAR) {
        if (nonlin_is_sum(term)) {
            /* Flatten: its operands join ours (through a snapshot, since
             * term may be sum itself). */
            Py_ssize_t i, n;
            items = PyList_GetSlice(((nonlin_object *)term)->args, 0,
                                    PyList_GET_SIZE(((nonlin_object *)term)->args));
            if (items == NULL)
                goto error;
            n = PyList_GET_SIZE(items);
            if (Py_EnterRecursiveCall(" while adding nonlinear expressions"))
                goto error;
            for (i = 0; i < n; ++i) {
                if (sum_add_term(sum, PyList_GET_ITEM(items, i), sign) < 0) {
                    Py_LeaveRecursiveCall();
                    goto error;
                }
            }
            Py_LeaveRecursiveCall();
            Py_DECREF(items);
            return 0;
        }
        if (sign > 0) {
            Py_INCREF(term);
            piece = term;
        } else {
            Py_INCREF(term);
            piece = nonlin_new(NONLIN_UMINUS, term);
            if (piece == NULL)
                goto error;
        }
        idx = sum_part_index(list);
        if (idx < 0)
            idx = PyList_GET_SIZE(list);
        if (PyList_Insert(list, idx, piece) < 0)
            goto error;
        Py_DECREF(piece);
        return 0;
    }

    if (t == EXPR_CONSTANT) {
        double v = number_value(term);
        if (v == -1.0 && PyErr_Occurred())
            goto error;
        if (v == 0.0)
            return 0;
    }
    idx = sum_part_index(list);
    if (idx < 0) {
        piece = sign > 0 ? (Py_INCREF(term), term) : general_neg(term);
        if (piece == NULL)
            goto error;
        if (PyList_Append(list, piece) < 0)
            goto error;
        Py_DECREF(piece);
        return 0;
    }
    {
        PyObject *part = PyList_GET_ITEM(list, idx); /* borrowed */
        if (EXPRESSION_CHECK(part) && Py_REFCNT(part) == 1) {
            if (algebra_ctor.expression_accumulate(part, term, sign) < 0)
                goto error;
        } else {
            /* Shared or immutable part: merge into a copy that only the
             * list will hold. */
            piece = algebra_copy_table[EXPR_EXPRESSION](part, 1.0);
            if (piece == NULL)
                goto error;
            if (algebra_ctor.expression_accumulate(piece, term, sign) < 0)
                goto error;
            PyList_SetItem(list, idx, piece); /* steals piece, drops part */
            part = piece;
            piece = NULL;
        }
        if (expression_is_empty(part) && PyList_GET_SIZE(list) > 1) {
            if (PyList_SetSlice(list, idx, idx + 1, NULL) < 0)
                goto error;
        }
    }
    return 0;

error:
    Py_XDECREF(piece);
    Py_XDECREF(items);
    return -1;
}

/* A sum node holding node (new reference to a new node). */
static PyObject *
nonlin_sum_of(PyObject *node)
{
    PyObject *list = node ? list_pack(node, NULL) : PyList_New(0);
    return nonlin_new(NONLIN_PLUS, list);
}

static PyObject *
nonlin_alg_sum(PyObject *a, PyObject *b, double sign)
{
    PyObject *res = NULL, *tmp = NULL;
    int ta, tb;

    if (b != NULL && is_ndarray(b))
        return sign > 0 ? PyNumber_Add(b, a) : algebra_array_sub(b, a);
    if (a != NULL && is_ndarray(a))
        return sign > 0 ? PyNumber_Add(a, b) : PyNumber_Subtract(a, b);
    ta = getExprType(a);
    if (ta < 0)
        return NULL;
    tb = getExprType(b);
    if (tb < 0)
        return NULL;
    if (ta != EXPR_NONLINEAR && tb != EXPR_NONLINEAR)
        return sign > 0 ? PyNumber_Add(a, b) : PyNumber_Subtract(a, b);

    if (ta == EXPR_NONLINEAR) {
        tmp = nonlin_deep_copy(a);
        if (tmp == NULL)
            goto error;
        if (nonlin_is_sum(tmp)) {
            res = tmp;
            tmp = NULL;
        } else {
            res = nonlin_sum_of(tmp);
            Py_CLEAR(tmp);
            if (res == NULL)
                goto error;
        }
        if (sum_add_term(res, b, sign) < 0)
            goto error;
    } else {
        res = nonlin_sum_of(NULL);
        if (res == NULL)
            goto error;
        if (sum_add_term(res, b, sign) < 0 || sum_add_term(res, a, 1.0) < 0)
            goto error;
    }
    /* A sum of one node (0 + f, f - 0) is that node. */
    {
        PyObject *list = ((nonlin_object *)res)->args;
        if (PyList_GET_SIZE(list) == 1 && NONLIN_CHECK(PyList_GET_ITEM(list, 0))) {
            tmp = PyList_GET_ITEM(list, 0);
            Py_INCREF(tmp);
            Py_DECREF(res);
            return tmp;
        }
    }
    return res;

error:
    Py_XDECREF(tmp);
    Py_XDECREF(res);
    return NULL;
}

PyObject *
nonlin_inplace_alg_sum(PyObject *a, PyObject *b, double sign)
{
    if (a != NULL && b != NULL && nonlin_is_sum(a) && !is_ndarray(b)) {
        int inside = 0;
        if (getExprType(b) < 0)
            return NULL;
        if (NONLIN_CHECK(b)) {
            inside = nonlin_contains(b, a);
            if (inside < 0)
                return NULL;
        }
        if (!inside) {
            if (sum_add_term(a, b, sign) < 0)
                return NULL;
            Py_INCREF(a);
            return a;
        }
    }
    return nonlin_alg_sum(a, b, sign);
}

/* a + b, a - b, a += b and a -= b: a sum routine with the sign fixed. */
template<PyObject *(*Sum)(PyObject *, PyObject *, double), int Sign>
static PyObject *
nonlin_signed_sum(PyObject *a, PyObject *b)
{
    return Sum(a, b, Sign);
}

/* ------------------------------------------------------------ products */

/* Classifies both operands; 0, or -1 with the classification's error. */
static int
nonlin_check_operands(PyObject *a, PyObject *b)
{
    if (getExprType(a) < 0 || getExprType(b) < 0)
        return -1;
    return 0;
}

static PyObject *
nonlin_mul(PyObject *a, PyObject *b)
{
    if (b != NULL && is_ndarray(b))
        return PyNumber_Multiply(b, a);
    if (a != NULL && is_ndarray(a))
        return PyNumber_Multiply(a, b);
    if (nonlin_check_operands(a, b) < 0)
        return NULL;
    if (number_equals(a, 0.0) || number_equals(b, 0.0))
        return quenda_float_zero();
    if (number_equals(a, 1.0)) {
        Py_INCREF(b);
        return b;
    }
    if (number_equals(b, 1.0)) {
        Py_INCREF(a);
        return a;
    }
    if (number_equals(a, -1.0)) {
        Py_INCREF(b);
        return nonlin_new(NONLIN_UMINUS, b);
    }
    if (number_equals(b, -1.0)) {
        Py_INCREF(a);
        return nonlin_new(NONLIN_UMINUS, a);
    }
    return nonlin_instantiate_binary(NONLIN_MUL, a, b);
}

static PyObject *
nonlin_div(PyObject *a, PyObject *b)
{
    if (b != NULL && is_ndarray(b))
        return algebra_array_div(b, a);
    if (a != NULL && is_ndarray(a))
        return PyNumber_TrueDivide(a, b);
    if (nonlin_check_operands(a, b) < 0)
        return NULL;
    if (number_equals(a, 0.0))
        return quenda_float_zero();
    if (number_equals(b, 0.0)) {
        PyErr_SetString(quenda_ModelError, "Division by zero");
        return NULL;
    }
    if (number_equals(b, 1.0)) {
        Py_INCREF(a);
        return a;
    }
    return nonlin_instantiate_binary(NONLIN_DIV, a, b);
}

static PyObject *
nonlin_pow(PyObject *a, PyObject *b, PyObject *unused)
{
    if ((b != NULL && is_ndarray(b)) || (a != NULL && is_ndarray(a))) {
        PyErr_SetString(quenda_ModelError, "Cannot obtain a power with a vector as an exponent");
        return NULL;
    }
    if (nonlin_check_operands(a, b) < 0)
        return NULL;
    if (number_equals(a, 0.0))
        return quenda_float_zero(); /* 0**0 too, deliberately */
    if (number_equals(a, 1.0) || number_equals(b, 0.0))
        return quenda_float_one();
    if (number_equals(b, 1.0)) {
        Py_INCREF(a);
        return a;
    }
    return nonlin_instantiate_binary(NONLIN_POW, a, b);
}

static PyObject *
nonlin_imul(PyObject *a, PyObject *b)
{
    return nonlin_mul(a, b);
}
static PyObject *
nonlin_idiv(PyObject *a, PyObject *b)
{
    return nonlin_div(a, b);
}
static PyObject *
nonlin_ipow(PyObject *a, PyObject *b, PyObject *m)
{
    return nonlin_pow(a, b, m);
}

PyObject *
nonlin_neg(PyObject *a)
{
    if (getExprType(a) < 0)
        return NULL;
    Py_INCREF(a);
    return nonlin_new(NONLIN_UMINUS, a);
}

static PyObject *
nonlin_abs(PyObject *a)
{
    return nonlin_instantiate_unary(NONLIN_ABS, a);
}

/* ------------------------------------------------------------ evaluation */

double
nonlin_eval_unary(int op, double x)
{
    switch (op) {
    case NONLIN_UMINUS: return -x;
    case NONLIN_EXP: return exp(x);
    case NONLIN_LOG: return log(x);
    case NONLIN_LOG10: return log(x) * 0.4342944819032518;
    case NONLIN_SIN: return sin(x);
    case NONLIN_COS: return cos(x);
    case NONLIN_TAN: return tan(x);
    case NONLIN_ASIN: return asin(x);
    case NONLIN_ACOS: return acos(x);
    case NONLIN_ATAN: return atan(x);
    case NONLIN_ABS: return fabs(x);
    case NONLIN_SIGN: return x < 0 ? -1.0 : (x > 0 ? 1.0 : 0.0);
    case NONLIN_ERF: return erf(x);
    case NONLIN_ERFC: return erfc(x);
    case NONLIN_SQRT: return sqrt(x);
    default: return NAN;
    }
}

/* ------------------------------------------------------------ text form */

static PyObject *nonlin_str_recurs(PyObject *obj, int level);

/* Text of an operand: a node by its own walk, a callable as "user",
 * anything else by str().  New reference. */
static PyObject *
nonlin_str_operand(PyObject *obj, int level)
{
    if (NONLIN_CHECK(obj))
        return nonlin_str_recurs(obj, level + 1);
    if (getExprType(obj) < 0) {
        PyErr_Clear();
        if (PyCallable_Check(obj))
            return PyUnicode_FromString("user");
    }
    return PyObject_Str(obj);
}

static PyObject *
nonlin_str_recurs(PyObject *obj, int level)
{
    nonlin_object *node = (nonlin_object *)obj;
    PyObject *pieces = NULL, *s = NULL, *res = NULL, *empty = NULL;
    const nonlin_op_info *info;
    PyObject *args = node->args;
    int seq;

    if (level >= NONLIN_MAX_PRINT_DEPTH)
        return PyUnicode_FromString("[MAX RECURS LEV]");
    if (node->op < 0 || node->op >= NONLIN_NUM_OPS || args == NULL)
        return PyUnicode_FromString("[empty nonlinear expression]");
    info = &printToolArray[node->op];
    seq = PyList_Check(args) || PyTuple_Check(args);

    if (info->arity == 1) {
        if (seq) {
            PyErr_SetString(quenda_ModelError, "Invalid unary nonlinear expression");
            return NULL;
        }
        s = nonlin_str_operand(args, level);
        if (s == NULL)
            return NULL;
        res = info->position < 0 ? PyUnicode_FromFormat("%s (%U)", info->symbol, s)
                                 : PyUnicode_FromFormat("(%U) %s", s, info->symbol);
        Py_DECREF(s);
        return res;
    }
    if (info->arity == 2) {
        PyObject *s2 = NULL;
        if (!PyTuple_Check(args) || PyTuple_GET_SIZE(args) != 2) {
            PyErr_SetString(quenda_ModelError, "Invalid binary nonlinear expression");
            return NULL;
        }
        s = nonlin_str_operand(PyTuple_GET_ITEM(args, 0), level);
        if (s == NULL)
            return NULL;
        s2 = nonlin_str_operand(PyTuple_GET_ITEM(args, 1), level);
        if (s2 == NULL) {
            Py_DECREF(s);
            return NULL;
        }
        if (info->position < 0)
            res = PyUnicode_FromFormat("%s (%U, %U)", info->symbol, s, s2);
        else if (info->position == 0)
            res = PyUnicode_FromFormat("(%U %s %U)", s, info->symbol, s2);
        else
            res = PyUnicode_FromFormat("(%U, %U) %s", s, s2, info->symbol);
        Py_DECREF(s);
        Py_DECREF(s2);
        return res;
    }

    /* Any number of operands (a single non-sequence operand counts as one). */
    {
        Py_ssize_t i, n = seq ? PySequence_Fast_GET_SIZE(args) : 1;
        pieces = PyList_New(0);
        if (pieces == NULL)
            goto error;
        for (i = 0; i < n; ++i) {
            PyObject *item = seq ? PySequence_Fast_GET_ITEM(args, i) : args; /* borrowed */
            s = nonlin_str_operand(item, level);
            if (s == NULL)
                goto error;
            if (i == 0)
                res = info->position < 0 ? PyUnicode_FromFormat("%s (%U", info->symbol, s)
                                         : PyUnicode_FromFormat("(%U", s);
            else
                res = info->position < 0 ? PyUnicode_FromFormat(", %U", s)
                                         : PyUnicode_FromFormat(" %s %U", info->symbol, s);
            Py_CLEAR(s);
            if (res == NULL || PyList_Append(pieces, res) < 0)
                goto error;
            Py_CLEAR(res);
        }
        if (n == 0) {
            res = info->position < 0 ? PyUnicode_FromFormat("%s (", info->symbol)
                                     : PyUnicode_FromString("(");
            if (res == NULL || PyList_Append(pieces, res) < 0)
                goto error;
            Py_CLEAR(res);
        }
        res = PyUnicode_FromString(")");
        if (res == NULL || PyList_Append(pieces, res) < 0)
            goto error;
        Py_CLEAR(res);
        empty = PyUnicode_FromString("");
        if (empty == NULL)
            goto error;
        res = PyUnicode_Join(empty, pieces);
        Py_DECREF(empty);
        Py_DECREF(pieces);
        return res;
    }

error:
    Py_XDECREF(s);
    Py_XDECREF(res);
    Py_XDECREF(pieces);
    return NULL;
}

static PyObject *
nonlin_str(PyObject *self)
{
    return nonlin_str_recurs(self, 0);
}

/* ------------------------------------------------------------ slots */

static PyObject *
nonlin_richcompare(PyObject *a, PyObject *b, int op)
{
    return algebra_richcompare(a, b, op);
}

/* Read-only view of the structure, for inspection and tests: `op` is the
 * operator code, `args` the operands as a tuple. */
static PyObject *
nonlin_get_args(nonlin_object *self, void *closure)
{
    if (self->args == NULL)
        return PyTuple_New(0);
    if (PyTuple_Check(self->args) || PyList_Check(self->args))
        return PySequence_Tuple(self->args);
    return PyTuple_Pack(1, self->args);
}

static PyGetSetDef nonlin_getset[] = {{(char *)"args", (getter)nonlin_get_args, NULL,
                                       (char *)"Operands of the node, as a tuple", NULL},
                                      {NULL, NULL, NULL, NULL, NULL}};

static PyMemberDef nonlin_members[] = {{(char *)"op", T_INT, offsetof(nonlin_object, op), READONLY,
                                        (char *)"Operator code"},
                                       {NULL, 0, 0, 0, NULL}};

static PyNumberMethods nonlin_as_number =
    algebra_number_methods(nonlin_signed_sum<nonlin_alg_sum, 1>,
                           nonlin_signed_sum<nonlin_alg_sum, -1>, nonlin_mul, nonlin_div,
                           nonlin_pow, nonlin_neg, nonlin_abs,
                           nonlin_signed_sum<nonlin_inplace_alg_sum, 1>,
                           nonlin_signed_sum<nonlin_inplace_alg_sum, -1>, nonlin_imul, nonlin_idiv,
                           nonlin_ipow);

PyTypeObject quenda_nonlinType =
    quenda_type_build("quenda.nonlinear", sizeof(nonlin_object),
                      Py_TPFLAGS_DEFAULT | Py_TPFLAGS_HAVE_GC,
                      "Class for linear and quadratic nonlin. These can be used and\n"
                      "combined to create constraints and objective function of an\n"
                      "optimization problem.",
                      Py_tp_dealloc, nonlin_dealloc, Py_tp_repr, nonlin_str, QUENDA_TP_AS_NUMBER,
                      &nonlin_as_number, Py_tp_str, nonlin_str, Py_tp_traverse, nonlin_traverse,
                      Py_tp_clear, nonlin_clear, Py_tp_richcompare, nonlin_richcompare,
                      Py_tp_members, nonlin_members, Py_tp_getset, nonlin_getset, Py_tp_init,
                      nonlin_init, Py_tp_new, nonlin_tp_new);

/* ------------------------------------------------------------ registration */

int
nonlin_register(void)
{
    algebra_ctor.nonlin_binary = nonlin_instantiate_binary;
    algebra_ctor.nonlin_unary = nonlin_instantiate_unary;
    algebra_ctor.nonlin_inplace_alg_sum = nonlin_inplace_alg_sum;
    algebra_ctor.nonlin_neg = nonlin_neg;
    return algebra_register_type(EXPR_NONLINEAR, &quenda_nonlinType, 1, nonlin_alg_sum,
                                 nonlin_copy);
}
