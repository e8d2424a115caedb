/* quenda.constraint: lb <= body <= ub.
 *
 * A comparison a <op> b becomes the body a - b with the constant moved to
 * the bounds, so that bodies reach the problem without constants.
 *
 * Once a problem holds the row, a linear body is dropped and read back
 * from that row when asked for (constraint_body): a large model would
 * otherwise be held twice, as expressions and as the library's matrix.
 * The problem gives the body back before it lets the constraint go. */
#include "algebra/constraint.h"

#include <structmember.h>

#include "algebra/exprtype.h"
#include "algebra/maps.h"
#include "module/npy.h"
#include "module/session.h"

#define CON(o) ((constraint_object *)(o))

/* A new constraint with a fresh identity number, the default name and no
 * bounds; the body is left NULL.  New reference or NULL. */
static PyObject *
constraint_new_bare(void)
{
    constraint_object *c = PyObject_New(constraint_object, &quenda_constraintType);
    if (c == NULL)
        return NULL;
    c->id = qnda_py_env.concounter++;
    c->body = NULL;
    c->lb = -QUENDA_INFINITY;
    c->ub = QUENDA_INFINITY;
    c->name = NULL; /* the default name, made when asked for */
    c->home = NULL;
    return (PyObject *)c;
}

static void
constraint_dealloc(PyObject *self)
{
    Py_XDECREF(CON(self)->name);
    Py_XDECREF(CON(self)->body);
    Py_TYPE(self)->tp_free(self);
}

/* ------------------------------------------------------------ builder */

/* a - b with the subtraction of a's type (the cell (a, a) of the table is
 * that type's own); new reference or NULL. */
static PyObject *
constraint_difference(PyObject *a, PyObject *b)
{
    int ka = expr_kind(a);
    if (ka >= EXPR_VARIABLE && ka <= EXPR_NONLINEAR)
        return algebra_binary(ALG_SUB, ka, ka, a, b);
    return PyNumber_Subtract(a, b);
}

/* When side is a number: its value into *k and other as c's body; 1.  0
 * when it is not one, -1 with an exception set. */
static int
constraint_split_constant(constraint_object *c, PyObject *side, PyObject *other, double *k)
{
    if (expr_kind(side) != EXPR_CONSTANT)
        return 0;
    *k = number_value(side);
    if (*k == -1.0 && PyErr_Occurred())
        return -1;
    Py_INCREF(other);
    Py_SETREF(c->body, other);
    return 1;
}

/* Takes a trailing number off a sum node, or turns a difference with a
 * number into a bound.  *body may be replaced (new reference stored, old
 * released).  Writes the bound value to *v and, for k - f, the flipped
 * bound directly; returns 1 when the bounds are already set, 0 when the
 * comparison still has to apply *v, -1 on error. */
static int
constraint_simplify_nonlinear(constraint_object *c, double *v, int op)
{
    nonlin_object *n = (nonlin_object *)c->body;
    if (n->op == NONLIN_PLUS && n->args != NULL && PyList_Check(n->args) &&
        PyList_GET_SIZE(n->args) > 1) {
        Py_ssize_t last = PyList_GET_SIZE(n->args) - 1;
        PyObject *item = PyList_GET_ITEM(n->args, last);
        if (expr_kind(item) == EXPR_CONSTANT) {
            double k = number_value(item);
            if (k == -1.0 && PyErr_Occurred())
                return -1;
            if (Py_REFCNT(c->body) > 1) {
                /* Shared with the caller: trim a private copy. */
                PyObject *copy = algebra_copy_table[EXPR_NONLINEAR](c->body, 1.0);
                if (copy == NULL)
                    return -1;
                Py_SETREF(c->body, copy);
                if (!NONLIN_CHECK(copy))
                    return 0;
                n = (nonlin_object *)copy;
                if (!PyList_Check(n->args) || PyList_GET_SIZE(n->args) <= 1)
                    return 0;
                last = PyList_GET_SIZE(n->args) - 1;
            }
            if (PyList_SetSlice(n->args, last, last + 1, NULL) < 0)
                return -1;
            *v = -k;
        } else if (expr_kind(item) == EXPR_EXPRESSION &&
                   ((expression_object *)item)->constant != 0.0) {
            /* Sums keep their constant inside a trailing linear part. */
            if (Py_REFCNT(c->body) > 1) {
                PyObject *copy = algebra_copy_table[EXPR_NONLINEAR](c->body, 1.0);
                if (copy == NULL)
                    return -1;
                Py_SETREF(c->body, copy);
                n = (nonlin_object *)copy;
                if (!NONLIN_CHECK(copy) || !PyList_Check(n->args) || PyList_GET_SIZE(n->args) <= 1)
                    return 0;
                last = PyList_GET_SIZE(n->args) - 1;
                item = PyList_GET_ITEM(n->args, last);
                if (expr_kind(item) != EXPR_EXPRESSION)
                    return 0;
            }
            PyObject *part = algebra_copy_table[EXPR_EXPRESSION](item, 1.0);
            if (part == NULL)
                return -1;
            double k = ((expression_object *)part)->constant;
            ((expression_object *)part)->constant = 0.0;
            expression_object *pe = (expression_object *)part;
            int empty =
                (expression_linmap(pe) == NULL || linmap_size(expression_linmap(pe)) == 0) &&
                (pe->quadmap == NULL || quadmap_size(pe->quadmap) == 0);
            int rc = empty ? PyList_SetSlice(n->args, last, last + 1, NULL)
                           : PyList_SetItem(n->args, last, part); /* steals part */
            if (empty)
                Py_DECREF(part);
            if (rc < 0)
                return -1;
            *v = -k;
        }
        return 0;
    }
    if (n->op == NONLIN_MINUS && n->args != NULL && PyTuple_Check(n->args) &&
        PyTuple_GET_SIZE(n->args) == 2) {
        PyObject *first = PyTuple_GET_ITEM(n->args, 0), *second = PyTuple_GET_ITEM(n->args, 1);
        double k;
        int rc = constraint_split_constant(c, first, second, &k);
        if (rc > 0) {
            switch (op) {
            case Py_LE: c->lb = k; return 1;
            case Py_GE: c->ub = k; return 1;
            case Py_EQ: c->lb = c->ub = k; return 1;
            default: return 0;
            }
        }
        if (rc == 0)
            rc = constraint_split_constant(c, second, first, &k);
        if (rc < 0)
            return -1;
        if (rc > 0)
            *v = k;
    }
    return 0;
}

PyObject *
constraint_build(PyObject *a, PyObject *b, int op)
{
    PyObject *body = NULL, *res = NULL, *empty = NULL;
    constraint_object *c;
    double v = 0.0;
    int done = 0;

    if (is_number(a) && is_number(b)) {
        empty = algebra_ctor.expression_base();
        if (empty == NULL)
            goto error;
        a = empty;
    }
    body = constraint_difference(a, b);
    if (body == NULL)
        goto error;
    {
        int kind = expr_kind(body);
        if (kind < EXPR_CONSTANT || kind == EXPR_ARRAY) {
            quenda_model_error("Invalid constraint body");
            goto error;
        }
        if (kind == EXPR_EXPRESSION && Py_REFCNT(body) > 1) {
            /* The constant is about to move to the bounds: never touch an
             * expression that someone else holds. */
            PyObject *copy = algebra_copy_table[EXPR_EXPRESSION](body, 1.0);
            if (copy == NULL)
                goto error;
            Py_SETREF(body, copy);
        }
    }
    res = constraint_new_bare();
    if (res == NULL)
        goto error;
    c = CON(res);
    c->body = body; /* steals */
    body = NULL;

    switch (expr_kind(c->body)) {
    case EXPR_EXPRESSION: {
        expression_object *e = (expression_object *)c->body;
        v = e->constant == 0.0 ? 0.0 : -e->constant;
        e->constant = 0.0;
        break;
    }
    case EXPR_NONLINEAR:
        done = constraint_simplify_nonlinear(c, &v, op);
        if (done < 0)
            goto error;
        break;
    default: break;
    }
    if (op > Py_GE) {
        quenda_model_error("Invalid constraint: unrecognized comparison operator");
        goto error;
    }
    if (op == Py_LT || op == Py_GT || op == Py_NE) {
        quenda_model_error("Invalid constraint: cannot enforce f(x) != 0, f(x) > 0, or f(x) < 0");
        goto error;
    }
    if (!done) {
        if (op == Py_LE)
            c->ub = v;
        else if (op == Py_GE)
            c->lb = v;
        else
            c->lb = c->ub = v;
    }
    Py_XDECREF(empty);
    return res;
error:
    Py_XDECREF(body);
    Py_XDECREF(res);
    Py_XDECREF(empty);
    return NULL;
}

/* ------------------------------------------------------------ row type */

void
getRhsSense(PyObject *con, char *type, double *rhs, double *range)
{
    double lb = CON(con)->lb, ub = CON(con)->ub;
    if (lb <= -QUENDA_INFINITY) {
        if (ub < QUENDA_INFINITY) {
            *type = 'L';
            *rhs += ub;
        } else {
            *type = 'N';
        }
    } else if (ub >= QUENDA_INFINITY) {
        *type = 'G';
        *rhs += lb;
    } else if (lb == ub) {
        *type = 'E';
        *rhs += lb;
    } else {
        *type = 'R';
        *rhs += ub;
        *range = ub - lb;
    }
}

/* ------------------------------------------------------------ constructor */

#define CON_LB_UNSET (-2e20)
#define CON_UB_UNSET (2e20)
#define CON_RHS_UNSET (-2e20)

static int
constraint_init(PyObject *self, PyObject *args, PyObject *kwds)
{
    static const char *kwlist[] = {"constraint", "body", "lb", "ub", "sense", "rhs", "name", NULL};
    constraint_object *c = CON(self);
    PyObject *src = NULL, *body = NULL, *name = NULL, *elem = NULL;
    double lb = CON_LB_UNSET, ub = CON_UB_UNSET, rhs = CON_RHS_UNSET;
    long sense = 0;

    c->id = qnda_py_env.concounter++;
    if (!PyArg_ParseTupleAndKeywords(args, kwds, "|OOddldO", (char **)kwlist, &src, &body, &lb, &ub,
                                     &sense, &rhs, &name))
        return -1;
    if (name == Py_None) {
        name = NULL; /* the default name, made when asked for */
    } else if (name != NULL && !PyUnicode_Check(name) && !PyBytes_Check(name)) {
        quenda_model_error("Invalid constraint name (must be a string)");
        return -1;
    }
    Py_XSETREF(c->name, Py_XNewRef(name));

    if (body != NULL && body != Py_None && is_ndarray(body)) {
        PyArrayObject *arr = (PyArrayObject *)body;
        if (PyArray_SIZE(arr) < 1) {
            quenda_model_error("Invalid expression passed as body of constraint");
            return -1;
        }
        elem = PyArray_GETITEM(arr, (const char *)PyArray_DATA(arr));
        if (elem == NULL)
            return -1;
        body = elem;
    }
    if (body == Py_None)
        body = NULL;
    if (body != NULL) {
        int k = expr_kind(body);
        if (k < EXPR_CONSTANT || k == EXPR_ARRAY) {
            quenda_model_error("Invalid expression passed as body of constraint");
            goto error;
        }
    }

    if (src != NULL && src != Py_None) {
        if (Py_TYPE(src) != &quenda_constraintType) {
            quenda_model_error("Attempt to generate an empty constraint failed. Consider using "
                               "quenda.constraint(body=..., sense=..., rhs=...) instead.");
            goto error;
        }
        PyObject *shared;
        if (constraint_body(src, &shared) != 0)
            goto error;
        Py_XSETREF(c->body, shared);
        c->home = NULL;
        c->lb = CON(src)->lb;
        c->ub = CON(src)->ub;
        Py_XDECREF(elem);
        return 0;
    }
    if (body == NULL ||
        (sense == 0 && lb == CON_LB_UNSET && ub == CON_UB_UNSET && rhs == CON_RHS_UNSET)) {
        quenda_model_error("Arguments required for quenda.constraint(): constraint OR {body, lb "
                           "and/or ub} OR {body,sense,rhs}.");
        goto error;
    }
    if (rhs != CON_RHS_UNSET) {
        if (lb != CON_LB_UNSET || ub != CON_UB_UNSET) {
            quenda_model_error(
                "Cannot create constraint by specifying both rhs AND either or both of lb/ub.");
            goto error;
        }
        if (sense == 1)
            ub = rhs;
        else if (sense == 2)
            lb = rhs;
        else
            lb = ub = rhs;
    }
    if (lb == CON_LB_UNSET)
        lb = -QUENDA_INFINITY;
    if (ub == CON_UB_UNSET)
        ub = QUENDA_INFINITY;
    if (lb > ub + 1e-6) {
        quenda_model_error("Constraint defined infeasible: lower bound > upper bound");
        goto error;
    }
    Py_INCREF(body);
    Py_XSETREF(c->body, body);
    c->home = NULL;
    c->lb = lb;
    c->ub = ub;
    Py_XDECREF(elem);
    return 0;
error:
    Py_XDECREF(elem);
    return -1;
}

/* ------------------------------------------------------------ body */

int
constraint_body(PyObject *con, PyObject **body)
{
    constraint_object *c = CON(con);
    if (c->home == NULL) {
        *body = Py_XNewRef(c->body);
        return 0;
    }
    *body = algebra_ctor.constraint_row_body(c->home, con);
    return *body != NULL ? 0 : -1;
}

void
constraint_body_to_row(PyObject *con, PyObject *problem)
{
    constraint_object *c = CON(con);
    PyObject *b = c->body;
    /* Only what the row gives back unchanged: a linear expression without
     * a constant (quadratic rows and other kinds keep their objects). */
    if (c->home != NULL || b == NULL || Py_TYPE(b) != &quenda_expressionType)
        return;
    expression_object *e = (expression_object *)b;
    if (e->constant != 0.0 || (e->quadmap != NULL && quadmap_size(e->quadmap) > 0))
        return;
    c->home = problem;
    Py_CLEAR(c->body);
}

int
constraint_body_from_row(PyObject *con, PyObject *problem, int keep)
{
    constraint_object *c = CON(con);
    if (c->home != problem)
        return 0;
    PyObject *body = keep ? algebra_ctor.constraint_row_body(problem, con) : NULL;
    c->home = NULL;
    Py_XSETREF(c->body, body);
    return keep && body == NULL ? -1 : 0;
}

/* ------------------------------------------------------------ methods */

PyObject *
constraint_copy(PyObject *self, PyObject *unused)
{
    constraint_object *src = CON(self);
    PyObject *res = NULL, *body = NULL, *name = NULL, *own;
    if (constraint_body(self, &own) != 0)
        return NULL;
    if (own != NULL) {
        /* a body read from the problem's row is new already */
        if (src->home != NULL) {
            body = own;
        } else {
            body = general_copy(own, 1.0);
            Py_DECREF(own);
        }
        if (body == NULL)
            goto error;
    }
    res = constraint_new_bare();
    if (res == NULL)
        goto error;
    name = quenda_name_or_default(src->name, 'R', src->id);
    if (name == NULL)
        goto error;
    Py_XSETREF(CON(res)->name, PyUnicode_FromFormat("R%u_copy_%S", (unsigned)CON(res)->id, name));
    Py_DECREF(name);
    if (CON(res)->name == NULL)
        goto error;
    CON(res)->body = body; /* steals */
    CON(res)->lb = src->lb;
    CON(res)->ub = src->ub;
    return res;
error:
    Py_XDECREF(body);
    Py_XDECREF(res);
    return NULL;
}

static PyObject *
constraint_str(PyObject *self)
{
    PyObject *name = CON(self)->name;
    if (name == NULL)
        return quenda_id_name('R', CON(self)->id);
    return PyObject_Str(name);
}

/* ------------------------------------------------------------ type */

static PyMethodDef constraint_methods[] = {{"copy", constraint_copy, METH_NOARGS,
                                            "Return a copy of the constraint as a new object"},
                                           {NULL, NULL, 0, NULL}};

static PyObject *
constraint_get_name(PyObject *self, void *)
{
    return quenda_name_or_default(CON(self)->name, 'R', CON(self)->id);
}

static PyObject *
constraint_get_body(PyObject *self, void *)
{
    PyObject *body;
    if (constraint_body(self, &body) != 0)
        return NULL;
    return body != NULL ? body : Py_NewRef(Py_None);
}

static int
constraint_set_body(PyObject *self, PyObject *value, void *)
{
    /* the constraint holds its body again: the row no longer answers */
    Py_XSETREF(CON(self)->body, Py_XNewRef(value));
    CON(self)->home = NULL;
    return 0;
}

static PyGetSetDef constraint_getset[] =
    {{(char *)"name", constraint_get_name, quenda_set_name<constraint_object>,
      (char *)"Constraint name", (void *)"Invalid constraint name (must be a string)"},
     {(char *)"body", constraint_get_body, constraint_set_body, (char *)"Constraint body", NULL},
     {NULL}};

static PyMemberDef constraint_members[] = {{"lb", T_DOUBLE, offsetof(constraint_object, lb), 0,
                                            "Lower bound"},
                                           {"ub", T_DOUBLE, offsetof(constraint_object, ub), 0,
                                            "Upper bound"},
                                           {NULL}};

PyTypeObject quenda_constraintType =
    quenda_type_build("quenda.constraint", sizeof(constraint_object), Py_TPFLAGS_DEFAULT,
                      "Class for constraints of an optimization problem", Py_tp_dealloc,
                      constraint_dealloc, Py_tp_repr, constraint_str, Py_tp_str, constraint_str,
                      Py_tp_methods, constraint_methods, Py_tp_members, constraint_members,
                      Py_tp_getset, constraint_getset, Py_tp_init, constraint_init, Py_tp_new,
                      PyType_GenericNew);

/* ------------------------------------------------------------ registration */

int
constraint_register(void)
{
    algebra_ctor.constraint_build = constraint_build;
    return 0;
}
