/* Modelling expressions -> parsed (reverse Polish) formula tokens.
 *
 * Sums and n-ary operators become balanced trees: operands are counted and
 * after the k-th one, while k is even, an operator joins the last two
 * subtrees and k is halved; what is left is joined at the end.  max and
 * min are two-argument calls in the library, so each nested call opens
 * with its own argument-start token before its first operand. */
#include "nonlinear/convert.h"

#include "algebra/exprtype.h"
#include "algebra/expression.h"
#include "algebra/linterm.h"
#include "algebra/maps.h"
#include "algebra/nonlinear.h"
#include "algebra/quadterm.h"
#include "algebra/var.h"
#include "module/session.h"
#include "problem/alloc.h"
#include "problem/maps.h"
#include "problem/nlhooks.h"

#include "qslp.h"

#include <vector>

#define NL_FAIL -3
#define NL_INITCAP 256

/* Token type and value of each operator code of the algebra. */
static const int py_to_slp_op[NONLIN_NUM_OPS] = {31, 31, 31, 31, 31, 31, 12, 12, 12, 12, 12, 12,
                                                 12, 12, 12, 12, 12, 12, 12, 12, 12, 12, 11, 11};
static const int py_to_slp_fun[NONLIN_NUM_OPS] = {5,  6,  1,  3,  4,  2,  16, 15, 14, 27, 28, 29,
                                                  30, 31, 32, 34, 33, 17, 46, 49, 50, 18, 0,  0};

void
nl_tokens_init(nl_tokens *t, problem_s *p)
{
    t->p = p;
    t->type = NULL;
    t->val = NULL;
    t->n = 0;
    t->cap = 0;
}

void
nl_tokens_free(nl_tokens *t)
{
    qarr_free_all(&t->type, &t->val);
    t->n = t->cap = 0;
}

static int
nl_fail(const char *msg)
{
    PyErr_SetString(quenda_ModelError, msg);
    return NL_FAIL;
}

static int
tk_push(nl_tokens *t, int type, double value)
{
    if (t->n + 1 > t->cap) {
        int64_t cap = t->cap == 0 ? NL_INITCAP : t->cap;
        while (cap < t->n + 1)
            cap *= 2;
        if (qarr_realloc(&t->type, (size_t)cap * sizeof(int)) != 0 ||
            qarr_realloc(&t->val, (size_t)cap * sizeof(double)) != 0) {
            PyErr_NoMemory();
            return NL_FAIL;
        }
        t->cap = cap;
    }
    t->type[t->n] = type;
    t->val[t->n] = value;
    t->n++;
    return 0;
}

static int
tk_col(nl_tokens *t, PyObject *var, const char *msg)
{
    uint32_t col;
    rowcolmap *map = PROBLEM_VARMAP(t->p);
    if (map == NULL || rowcolmap_get(map, VAR_ID(var), &col) != 0)
        return nl_fail(msg);
    return tk_push(t, QSLP_TOK_COL, (double)col);
}

/* c * x (* y) as constant, columns, operators. */
static int
tk_term(nl_tokens *t, double c, PyObject *x, PyObject *y, const char *msg)
{
    if (c != 1.0 && c != -1.0 && tk_push(t, QSLP_TOK_CON, c) != 0)
        return NL_FAIL;
    if (tk_col(t, x, msg) != 0)
        return NL_FAIL;
    if (y != NULL && (tk_col(t, y, msg) != 0 || tk_push(t, QSLP_TOK_OP, QSLP_OP_MULTIPLY) != 0))
        return NL_FAIL;
    if (c == -1.0)
        return tk_push(t, QSLP_TOK_OP, QSLP_OP_UMINUS);
    return c != 1.0 ? tk_push(t, QSLP_TOK_OP, QSLP_OP_MULTIPLY) : 0;
}

/* Operators owed after the k-th (1-based) item of a binary-counter sum. */
static int
counter_ops(int64_t k)
{
    int ops = 0;
    while (k > 0 && k % 2 == 0) {
        ops++;
        k /= 2;
    }
    return ops;
}

static int
tk_ops(nl_tokens *t, int n, int type, double value)
{
    for (int i = 0; i < n; i++)
        if (tk_push(t, type, value) != 0)
            return NL_FAIL;
    return 0;
}

static int
convert_expression(nl_tokens *t, expression_object *e)
{
    int64_t k = 0;
    int rc = 0;
    if (e->constant != 0.0) {
        if (tk_push(t, QSLP_TOK_CON, e->constant) != 0)
            return NL_FAIL;
        k++;
    }
    if (expression_linmap(e) != NULL) {
        size_t n = 0;
        const linmap_entry *ent = linmap_data(expression_linmap(e), &n);
        for (size_t i = 0; i < n; i++) {
            if (tk_term(t, ent[i].coef, ent[i].var, NULL,
                        "Variable in linear part of constraint has not been added to problem "
                        "yet") != 0 ||
                tk_ops(t, counter_ops(++k), QSLP_TOK_OP, QSLP_OP_PLUS) != 0)
                return NL_FAIL;
        }
    }
    if (e->quadmap != NULL) {
        void *it = NULL;
        PyObject *x;
        linmap *inner;
        while (rc == 0 && quadmap_next(e->quadmap, &it, &x, &inner)) {
            size_t n = 0;
            const linmap_entry *ent = linmap_data(inner, &n);
            for (size_t i = 0; i < n && rc == 0; i++)
                if (tk_term(t, ent[i].coef, x, ent[i].var,
                            "Variable in quadratic part of constraint has not been added to "
                            "problem yet") != 0 ||
                    tk_ops(t, counter_ops(++k), QSLP_TOK_OP, QSLP_OP_PLUS) != 0)
                    rc = NL_FAIL;
        }
        quadmap_iter_free(&it);
        if (rc != 0)
            return rc;
    }
    if (k == 0)
        return tk_push(t, QSLP_TOK_CON, 0.0);
    /* pending joins: one fewer than the items in all */
    int64_t done = 0;
    for (int64_t j = 1; j <= k; j++)
        done += counter_ops(j);
    return tk_ops(t, (int)(k - 1 - done), QSLP_TOK_OP, QSLP_OP_PLUS);
}

/* Operands of an n-ary node joined by a binary-counter tree of op; calls
 * (max, min) get an argument-start token at the first leaf of each call. */
static int
convert_nary(nl_tokens *t, PyObject *args, int type, double value, int is_call)
{
    Py_ssize_t n = PySequence_Fast_GET_SIZE(args);
    if (n == 0)
        return nl_fail("Incorrect argument of nonlinear function");
    std::vector<int> lb((size_t)n, 0), after((size_t)n, 0);
    std::vector<Py_ssize_t> stack; /* first leaf of each open subtree */
    for (Py_ssize_t k = 0; k < n; k++) {
        stack.push_back(k);
        for (int j = 0; j < counter_ops(k + 1); j++) {
            stack.pop_back();
            lb[(size_t)stack.back()]++;
            after[(size_t)k]++;
        }
    }
    while (stack.size() > 1) {
        stack.pop_back();
        lb[(size_t)stack.back()]++;
        after[(size_t)n - 1]++;
    }
    if (n == 1 && is_call)
        lb[0] = after[0] = 1;
    for (Py_ssize_t k = 0; k < n; k++) {
        if (is_call && tk_ops(t, lb[(size_t)k], QSLP_TOK_LB, 0.0) != 0)
            return NL_FAIL;
        if (convertExpr(t, PySequence_Fast_GET_ITEM(args, k)) != 0)
            return NL_FAIL;
        if (tk_ops(t, after[(size_t)k], type, value) != 0)
            return NL_FAIL;
    }
    return 0;
}

static int
convert_node(nl_tokens *t, nonlin_object *node)
{
    int op = node->op;
    PyObject *args = node->args;
    if (op < 0 || op >= NONLIN_NUM_OPS || args == NULL)
        return nl_fail("Unrecognized member of a nonlinear expression");
    int type = py_to_slp_op[op];
    double value = py_to_slp_fun[op];
    switch (op) {
    case NONLIN_PLUS:
    case NONLIN_MUL:
    case NONLIN_MAX:
    case NONLIN_MIN:
        if (!PyList_Check(args) && !PyTuple_Check(args))
            return nl_fail("N-ary operator should have list or tuple of arguments");
        return convert_nary(t, args, type, value, op == NONLIN_MAX || op == NONLIN_MIN);
    case NONLIN_UMINUS:
        if (convertExpr(t, args) != 0)
            return NL_FAIL;
        return tk_push(t, type, value);
    case NONLIN_MINUS:
    case NONLIN_DIV:
    case NONLIN_POW:
        if (!PyTuple_Check(args) || PyTuple_GET_SIZE(args) != 2)
            return nl_fail("Binary operator should have tuple for arguments");
        if (convertExpr(t, PyTuple_GET_ITEM(args, 0)) != 0 ||
            convertExpr(t, PyTuple_GET_ITEM(args, 1)) != 0)
            return NL_FAIL;
        return tk_push(t, type, value);
    case NONLIN_USERFUNC:
    case NONLIN_USERFUNC_DER: {
        int index, rc;
        if (!PyList_Check(args) && !PyTuple_Check(args))
            return nl_fail("N-ary operator should have list or tuple of arguments");
        if (PySequence_Fast_GET_SIZE(args) < 1 ||
            !PyCallable_Check(PySequence_Fast_GET_ITEM(args, 0)))
            return nl_fail("First argument of a user() operator must be the function itself");
        rc = register_userfunc(t->p, args, op == NONLIN_USERFUNC_DER, &index);
        if (rc != 0)
            return rc;
        if (tk_push(t, QSLP_TOK_LB, 0.0) != 0)
            return NL_FAIL;
        /* the library reads a user function's arguments last first */
        for (Py_ssize_t i = PySequence_Fast_GET_SIZE(args) - 1; i >= 1; i--)
            if (convertExpr(t, PySequence_Fast_GET_ITEM(args, i)) != 0)
                return NL_FAIL;
        return tk_push(t, QSLP_TOK_FUN, (double)index);
    }
    default:
        if (PyTuple_Check(args) || PyList_Check(args))
            return nl_fail("Incorrect argument of nonlinear function");
        if (tk_push(t, QSLP_TOK_LB, 0.0) != 0 || convertExpr(t, args) != 0)
            return NL_FAIL;
        return tk_push(t, type, value);
    }
}

int
convertExpr(nl_tokens *t, PyObject *obj)
{
    switch (expr_kind(obj)) {
    case EXPR_CONSTANT: {
        double v = number_value(obj);
        if (v == -1.0 && PyErr_Occurred()) {
            PyErr_Clear();
            return nl_fail("Invalid expression");
        }
        return tk_push(t, QSLP_TOK_CON, v);
    }
    case EXPR_VARIABLE:
        return tk_col(t, obj, "Variable in nonlinear expression has not been added to problem yet");
    case EXPR_LINTERM: {
        linterm_object *l = (linterm_object *)obj;
        return tk_term(t, l->coef, l->var, NULL,
                       "Variable in nonlinear term not added to problem yet");
    }
    case EXPR_QUADTERM: {
        quadterm_object *q = (quadterm_object *)obj;
        return tk_term(t, q->coef, q->var1, q->var2,
                       "Variable in nonlinear term not added to problem yet");
    }
    case EXPR_EXPRESSION: return convert_expression(t, (expression_object *)obj);
    case EXPR_NONLINEAR: return convert_node(t, (nonlin_object *)obj);
    default: PyErr_Clear(); return nl_fail("Unrecognized member of a nonlinear expression");
    }
}

/* The designated constant column, read once per problem. */
static int
constant_column(problem_s *p, int *col)
{
    if (p->nlp_index == -1) {
        int v;
        if (QSLPgetintattrib(p->slpprob, QSLP_CONSTANTCOL, &v) != 0) {
            setQndaErrIfNull((PyObject *)p, NULL);
            return -1;
        }
        p->nlp_index = v;
    }
    *col = p->nlp_index;
    return 0;
}

int
convertCoef(nl_tokens *t, PyObject *obj, int *col, double *factor)
{
    *factor = 1.0;
    if (NONLIN_CHECK(obj) && ((nonlin_object *)obj)->op == NONLIN_MUL &&
        (PyList_Check(((nonlin_object *)obj)->args) ||
         PyTuple_Check(((nonlin_object *)obj)->args))) {
        PyObject *args = ((nonlin_object *)obj)->args;
        Py_ssize_t n = PySequence_Fast_GET_SIZE(args), colpos = -1;
        for (Py_ssize_t i = 0; i < n && colpos < 0; i++) {
            int k = expr_kind(PySequence_Fast_GET_ITEM(args, i));
            if (k == EXPR_VARIABLE || k == EXPR_LINTERM)
                colpos = i;
        }
        if (colpos >= 0) {
            uint32_t c;
            PyObject *var = PySequence_Fast_GET_ITEM(args, colpos);
            if (expr_kind(var) == EXPR_LINTERM) {
                /* c * x: the column x, c into the factor */
                *factor = ((linterm_object *)var)->coef;
                var = ((linterm_object *)var)->var;
            }
            PyObject *rest = PyList_New(0);
            int rc = 0;
            if (rest == NULL)
                return NL_FAIL;
            if (rowcolmap_get(PROBLEM_VARMAP(t->p), VAR_ID(var), &c) != 0) {
                Py_DECREF(rest);
                return nl_fail(
                    "Variable in nonlinear expression has not been added to problem yet");
            }
            *col = (int)c;
            for (Py_ssize_t i = 0; i < n && rc == 0; i++) {
                PyObject *a = PySequence_Fast_GET_ITEM(args, i);
                if (i == colpos)
                    continue;
                if (expr_kind(a) == EXPR_CONSTANT)
                    *factor *= number_value(a);
                else
                    rc = PyList_Append(rest, a);
            }
            if (rc == 0) {
                Py_ssize_t m = PyList_GET_SIZE(rest);
                rc = m == 0 ? tk_push(t, QSLP_TOK_CON, 1.0)
                            : convert_nary(t, rest, QSLP_TOK_OP, QSLP_OP_MULTIPLY, 0);
            }
            Py_DECREF(rest);
            return rc != 0 ? NL_FAIL : tk_push(t, QSLP_TOK_EOF, 0.0);
        }
    }
    if (constant_column(t->p, col) != 0)
        return -1;
    if (convertExpr(t, obj) != 0)
        return NL_FAIL;
    return tk_push(t, QSLP_TOK_EOF, 0.0);
}

/* ------------------------------------------------------------------ */
/* Hooks of the problem layer                                           */

static int
nl_add_row_part(problem_s *p, int row, PyObject *node)
{
    nl_tokens t;
    int col, start[2] = {0, 0}, ret = -1;
    double factor;
    nl_tokens_init(&t, p);
    if (convertCoef(&t, node, &col, &factor) != 0)
        goto done;
    start[1] = (int)t.n;
    if (QSLPaddcoefs(p->slpprob, 1, &row, &col, &factor, start, 1, t.type, t.val) != 0) {
        setQndaErrIfNull((PyObject *)p, NULL);
        goto done;
    }
    ret = 0;
done:
    nl_tokens_free(&t);
    return ret;
}

int
nonlinear_init(void)
{
    problem_nl_hooks.add_row_part = nl_add_row_part;
    if (nonlinear_methods_init() < 0)
        return -1;
    return nonlinear_multistart_init();
}
