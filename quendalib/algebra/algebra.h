/* The door of the algebra: what its types share without knowing each other.
 *
 * The algebra's types (var, linterm, quadterm, expression, nonlinear,
 * constraint) reach one another only through this header:
 *
 *   1. the operand kinds (getExprType / expr_kind codes) and the layouts of
 *      the objects, so that any type may read a term's coefficient or a
 *      variable's identity number;
 *   2. one table of binary operators indexed by (operation, left kind,
 *      right kind).  A cell belongs to the richer of its two kinds: the
 *      type of that kind fills it from its registration function
 *      (var_register, ...), called once at module initialisation.  A type's
 *      number slot handles the operands it owns itself (the fast paths) and
 *      hands every other pair to algebra_binary, as CPython's number slots
 *      and NumPy's ufunc loops hand unknown pairs to a registry;
 *   3. the constructors one type needs of another (a var times a number is
 *      a linterm, a linterm times a var a quadterm, ...), as function
 *      pointers filled by the same registration functions.
 *
 * Adding a type is one new file that registers its cells and hooks, plus
 * its kind and layout here.  NumPy arrays never reach the table: every
 * slot hands them back to NumPy first. */
#pragma once

#include <Python.h>
#include <stdint.h>

#include "module/types.h"

/* The maps of an expression (algebra/maps.h).  A linear map is a view of
 * the first n entries of a store that several maps may share; an
 * expression holds its view in place (one allocation less per
 * expression), s NULL until the first linear term. */
struct linstore;
struct linmap {
    struct linstore *s;
    size_t n;
};
struct quadmap;

/* ------------------------------------------------------------ kinds */

/* Expression-type codes. */
enum {
    EXPR_INVALID = -1,
    EXPR_CONSTANT = 0,
    EXPR_VARIABLE = 1,
    EXPR_LINTERM = 2,
    EXPR_QUADTERM = 3,
    EXPR_EXPRESSION = 4,
    EXPR_NONLINEAR = 5
};
/* Operand kind of an ndarray (expr_kind only; never in the table). */
#define EXPR_ARRAY 6
#define ALGEBRA_KINDS 6

/* ------------------------------------------------------------ layouts */

#define QUENDA_INFINITY 1e20

/* 48 bytes, a pymalloc class below the 64 a threshold of its own would
 * take: only semi-continuous, semi-integer and partially integer
 * variables use one, so it is kept aside (var_threshold in var.h). */
typedef struct {
    PyObject_HEAD
    uint32_t id;     /* identity number, never changes */
    int16_t vartype; /* continuous 0, binary 1, integer 2, semicontinuous 3,
                         semiinteger 4, partiallyinteger 5 */
    uint16_t thr;    /* where the threshold is: VAR_THR_* (var.h) */
    PyObject *name;  /* owned: str (or bytes); NULL: the default name C<id> */
    double lb;
    double ub;
} var_object;

#define VAR_CHECK(o) PyObject_TypeCheck((o), &quenda_varType)
#define VAR_ID(o) (((var_object *)(o))->id)

typedef struct {
    PyObject_HEAD
    double coef;
    PyObject *var; /* owned reference to a quenda.var; NULL only when fresh */
} linterm_object;

#define LINTERM_CHECK(o) PyObject_TypeCheck((o), &quenda_lintermType)

/* coef*var as a linterm; the float 0.0 when coef is 0.0.  New reference or
 * NULL.  Here rather than behind a hook: k*x is the commonest product of
 * all, and every type builds linterms. */
static inline PyObject *
algebra_linterm_new(double coef, PyObject *var)
{
    if (coef == 0.0)
        return PyFloat_FromDouble(0.0);
    linterm_object *t = PyObject_New(linterm_object, &quenda_lintermType);
    if (t == NULL)
        return NULL;
    t->coef = coef;
    Py_INCREF(var);
    t->var = var;
    return (PyObject *)t;
}

typedef struct {
    PyObject_HEAD
    double coef;    /* may be 0.0 */
    PyObject *var1; /* owned reference to a quenda.var */
    PyObject *var2; /* owned reference to a quenda.var */
} quadterm_object;

#define QUADTERM_CHECK(o) PyObject_TypeCheck((o), &quenda_quadtermType)

typedef struct {
    PyObject_HEAD
    double constant;
    struct linmap lin;       /* owned; lin.s NULL until the first linear term */
    struct quadmap *quadmap; /* owned, NULL until the first quadratic term */
} expression_object;

#define EXPRESSION_CHECK(o) PyObject_TypeCheck((o), &quenda_expressionType)

/* The linear part of e, NULL when it has none yet. */
static inline struct linmap *
expression_linmap(expression_object *e)
{
    return e->lin.s != NULL ? &e->lin : NULL;
}

typedef struct {
    PyObject_HEAD
    PyObject *args; /* owned: operand, 2-tuple, or list/tuple (see nonlinear.h);
                         NULL when new */
    int op;         /* operator code, -1 when new */
} nonlin_object;

#define NONLIN_CHECK(o) PyObject_TypeCheck((o), &quenda_nonlinType)

/* Operator codes of nonlinear nodes; the order is the one of the formula
 * tokens. */
enum {
    NONLIN_PLUS = 0,   /* "+"  any, infix  */
    NONLIN_MINUS = 1,  /* "-"  2,   infix  */
    NONLIN_UMINUS = 2, /* "-"  1,   prefix */
    NONLIN_MUL = 3,    /* "*"  any, infix  */
    NONLIN_DIV = 4,    /* "/"  2,   infix  */
    NONLIN_POW = 5,    /* "**" 2,   infix  */
    NONLIN_EXP = 6,
    NONLIN_LOG = 7,
    NONLIN_LOG10 = 8,
    NONLIN_SIN = 9,
    NONLIN_COS = 10,
    NONLIN_TAN = 11,
    NONLIN_ASIN = 12,
    NONLIN_ACOS = 13,
    NONLIN_ATAN = 14,
    NONLIN_MAX = 15, /* any, prefix */
    NONLIN_MIN = 16, /* any, prefix */
    NONLIN_ABS = 17,
    NONLIN_SIGN = 18,
    NONLIN_ERF = 19,
    NONLIN_ERFC = 20,
    NONLIN_SQRT = 21,
    NONLIN_USERFUNC = 22,     /* user function, value only */
    NONLIN_USERFUNC_DER = 23, /* user function, value and derivatives */
    NONLIN_NUM_OPS = 24
};

typedef struct {
    PyObject_HEAD
    uint32_t id;    /* identity number, from qnda_py_env.concounter */
    PyObject *name; /* owned: the name ("R%d" by default) */
    PyObject *body; /* owned: expression, var, linterm, quadterm,
                         nonlinear, or a float; NULL while home is set */
    double lb;      /* -1e20: no lower bound */
    double ub;      /* 1e20: no upper bound */
    PyObject *home; /* borrowed: the problem whose row holds the linear body
                       (constraint_body), or NULL.  The problem lists the
                       constraint and clears this before letting it go. */
} constraint_object;

#define CONSTRAINT_CHECK(o) PyObject_TypeCheck((o), &quenda_constraintType)

/* ------------------------------------------------------------ the table */

enum {
    ALG_ADD = 0,
    ALG_SUB,
    ALG_MUL,
    ALG_DIV,
    ALG_POW,
    ALG_IADD, /* may change and return the left operand (expression, sum node) */
    ALG_IMUL,
    ALG_OPS
};

/* A binary operation: new reference or NULL with an exception set. */
typedef PyObject *(*algebra_binop)(PyObject *a, PyObject *b);
/* a + sign*b, sign +1.0 or -1.0: new reference or NULL. */
typedef PyObject *(*algebra_sumop)(PyObject *a, PyObject *b, double sign);
/* factor*obj as a new object: new reference or NULL. */
typedef PyObject *(*algebra_copyop)(PyObject *obj, double factor);

extern algebra_binop algebra_table[ALG_OPS][ALGEBRA_KINDS][ALGEBRA_KINDS];
/* By the richer kind of the two operands. */
extern algebra_sumop algebra_sum_table[ALGEBRA_KINDS];
/* By the kind of the object copied. */
extern algebra_copyop algebra_copy_table[ALGEBRA_KINDS];

/* Gives the type of kind the cells (kind, j) and (j, kind) of every
 * operation for every j <= kind (the pairs where it is the richer operand),
 * taken from its number slots; the in-place cells get its in-place slots
 * when the type is mutable (its objects may grow in place), its plain ones
 * otherwise.  alg_sum and copy fill the sum and copy tables.  0, or -1
 * with an exception for a bad kind. */
int algebra_register_type(int kind, PyTypeObject *type, int mutable_objects, algebra_sumop alg_sum,
                          algebra_copyop copy);

/* Raises for a pair no type registered (a kind out of range included). */
PyObject *algebra_no_cell(int op, int ka, int kb);

/* The operation for operands of kinds ka and kb (codes 0..5). */
static inline PyObject *
algebra_binary(int op, int ka, int kb, PyObject *a, PyObject *b)
{
    if ((unsigned)ka < ALGEBRA_KINDS && (unsigned)kb < ALGEBRA_KINDS) {
        algebra_binop fn = algebra_table[op][ka][kb];
        if (fn != NULL)
            return fn(a, b);
    }
    return algebra_no_cell(op, ka, kb);
}

/* a + sign*b by the richer of ka and kb. */
PyObject *algebra_sum(int ka, int kb, PyObject *a, PyObject *b, double sign);

/* ------------------------------------------------------------ constructors */

/* What one type builds of another, filled by the owner's registration.
 * Each returns a new reference or NULL with an exception set (int ones 0
 * or -1); see the owner's header for the exact contract. */
typedef struct {
    PyObject *(*quadterm_fill)(double coef, PyObject *first, PyObject *second);
    PyObject *(*expression_base)(void);
    PyObject *(*expression_from_lin)(double constant, PyObject *v1, double c1, PyObject *v2,
                                     double c2, const char *msg);
    PyObject *(*expression_from_quad)(double constant, PyObject *lv, double lc, PyObject *q1,
                                      PyObject *q2, double qc, const char *msg);
    int (*expression_addQuadTerm)(PyObject *expr, PyObject *x, PyObject *y, double coef);
    int (*expression_accumulate)(PyObject *expr, PyObject *b, double sign);
    PyObject *(*nonlin_binary)(int op, PyObject *a, PyObject *b);
    PyObject *(*nonlin_unary)(int op, PyObject *a);
    PyObject *(*nonlin_inplace_alg_sum)(PyObject *a, PyObject *b, double sign);
    PyObject *(*nonlin_neg)(PyObject *a);
    PyObject *(*constraint_build)(PyObject *a, PyObject *b, int op);
    /* The body of con as the row of problem holds it (problem layer). */
    PyObject *(*constraint_row_body)(PyObject *problem, PyObject *con);
    const char *(*var_name_text)(PyObject *var);
} algebra_ctors;

extern algebra_ctors algebra_ctor;

/* Messages raised through quenda.ModelError (falls back to RuntimeError
 * while the module exception does not exist yet).  Always returns NULL. */
PyObject *quenda_model_error(const char *msg);

/* 1 when obj is a NumPy ndarray or a subclass.  No exception. */
int is_ndarray(PyObject *obj);

/* Rich comparison shared by the algebra types: an ndarray operand gives
 * NotImplemented (NumPy then compares element by element), anything else
 * goes to the constraint builder. */
PyObject *algebra_richcompare(PyObject *a, PyObject *b, int op);
