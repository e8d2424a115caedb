/* quenda.var: the decision variable.
 *
 * Arithmetic first settles the cases that belong to someone else: an
 * ndarray operand goes back to NumPy (array first, so that NumPy applies
 * the operation element by element), a richer algebra operand gets the
 * whole operation.  What is left is variables and numbers. */
#include "algebra/var.h"

#include <cmath>
#include <new>
#include <unordered_map>

#include <structmember.h>

#include "algebra/exprtype.h"
#include "algebra/maps_sorted.h"
#include "algebra/slots.h"
#include "module/session.h"

static const char var_alloc_msg[] = "Could not allocate an object of type Variable";

/* ------------------------------------------------------------ thresholds */

/* The thresholds that are neither 0.0 nor -1e20, by identity number.
 * Made on first use and deleted when it empties, so that nothing of it
 * outlives the variables that use it. */
typedef std::unordered_map<uint32_t, double, std::hash<uint32_t>, std::equal_to<uint32_t>,
                           py_allocator<std::pair<const uint32_t, double>>>
    thr_table;
static thr_table *var_thr_table;

static void
var_thr_forget(var_object *v)
{
    if (v->thr != VAR_THR_TABLE)
        return;
    v->thr = VAR_THR_ZERO;
    var_thr_table->erase(v->id);
    if (var_thr_table->empty()) {
        delete var_thr_table;
        var_thr_table = NULL;
    }
}

double
var_threshold(PyObject *var)
{
    var_object *v = (var_object *)var;
    switch (v->thr) {
    case VAR_THR_NONE: return -QUENDA_INFINITY;
    case VAR_THR_TABLE: {
        auto it = var_thr_table->find(v->id);
        return it != var_thr_table->end() ? it->second : 0.0;
    }
    default: return 0.0;
    }
}

int
var_set_threshold(PyObject *var, double threshold)
{
    var_object *v = (var_object *)var;
    if (threshold == 0.0 || threshold == -QUENDA_INFINITY) {
        var_thr_forget(v);
        v->thr = threshold == 0.0 ? VAR_THR_ZERO : VAR_THR_NONE;
        return 0;
    }
    try {
        if (var_thr_table == NULL)
            var_thr_table = new thr_table;
        (*var_thr_table)[v->id] = threshold;
    } catch (...) {
        if (var_thr_table != NULL && var_thr_table->empty()) {
            delete var_thr_table;
            var_thr_table = NULL;
        }
        PyErr_NoMemory();
        return -1;
    }
    v->thr = VAR_THR_TABLE;
    return 0;
}

/* The type code is kept in 16 bits: 1, or 0 with ModelError. */
static int
var_vartype_fits(long vartype)
{
    if (vartype >= INT16_MIN && vartype <= INT16_MAX)
        return 1;
    quenda_model_error("Invalid variable type");
    return 0;
}

int
var_set_vartype(PyObject *var, long vartype)
{
    if (!var_vartype_fits(vartype))
        return -1;
    ((var_object *)var)->vartype = (int16_t)vartype;
    return 0;
}

/* ------------------------------------------------------------ creation */

PyObject *
var_new_bare(void)
{
    var_object *v = (var_object *)quenda_varType.tp_alloc(&quenda_varType, 0);
    if (v == NULL)
        return NULL;
    v->id = qnda_py_env.varcounter++;
    v->name = NULL;
    v->lb = 0.0;
    v->ub = QUENDA_INFINITY;
    v->thr = VAR_THR_NONE;
    v->vartype = 0;
    return (PyObject *)v;
}

PyObject *
var_base_new(void)
{
    var_object *v = (var_object *)var_new_bare();
    if (v == NULL)
        return NULL;
    return (PyObject *)v; /* the default name is made when asked for */
}

/* The checks and settings of var(...) once its arguments are read; name
 * is borrowed (NULL or None: the default name). */
static int
var_setup(var_object *v, PyObject *name, double lb, double ub, double threshold, long vartype)
{
    if (std::isnan(lb) || std::isnan(ub) || std::isnan(threshold)) {
        quenda_model_error("Variable bounds and threshold cannot be NaN");
        return -1;
    }
    if (lb > ub + 1e-6) {
        quenda_model_error("Variable has empty feasible set: lower bound > upper bound");
        return -1;
    }
    if (!var_vartype_fits(vartype))
        return -1;
    if (vartype == 1) {
        if (lb < 0.0)
            lb = 0.0;
        if (ub > 1.0)
            ub = 1.0;
    }
    if (name == NULL || name == Py_None) {
        name = NULL; /* the default name, made when asked for */
    } else if (PyUnicode_Check(name) || PyBytes_Check(name)) {
        Py_INCREF(name);
    } else {
        quenda_model_error("Invalid variable name (must be a string)");
        return -1;
    }
    if (var_set_threshold((PyObject *)v, threshold) < 0) {
        Py_XDECREF(name);
        return -1;
    }
    Py_XSETREF(v->name, name);
    v->lb = lb;
    v->ub = ub;
    v->vartype = (int16_t)vartype;
    return 0;
}

static int
var_init(PyObject *self, PyObject *args, PyObject *kwds)
{
    static const char *kwlist[] = {"name", "lb", "ub", "threshold", "vartype", NULL};
    var_object *v = (var_object *)self;
    PyObject *name = NULL;
    double lb = 0.0, ub = QUENDA_INFINITY, threshold = var_threshold(self);
    long vartype = 0;

    v->lb = 0.0;
    v->ub = QUENDA_INFINITY;
    v->vartype = 0;
    var_thr_forget(v); /* kept under the old identity number */
    v->id = qnda_py_env.varcounter++;

    /* var() without arguments, the commonest call, skips the parser. */
    bool plain = PyTuple_GET_SIZE(args) == 0 && (kwds == NULL || PyDict_GET_SIZE(kwds) == 0);
    if (!plain && !PyArg_ParseTupleAndKeywords(args, kwds, "|Odddl", (char **)kwlist, &name, &lb,
                                               &ub, &threshold, &vartype))
        return -1;
    return var_setup(v, name, lb, ub, threshold, vartype);
}

/* quenda.var(...) called with plain numbers for lb, ub and threshold and
 * an int for vartype (how models are written) reads them straight from
 * the call, without the argument tuple, dictionary and parser; any other
 * call takes the general way, tp_new and tp_init. */
static PyObject *
var_vectorcall(PyObject *type, PyObject *const *args, size_t nargsf, PyObject *kwnames)
{
    static const char *const names[] = {"name", "lb", "ub", "threshold", "vartype"};
    static PyObject *interned[5];
    if (interned[0] == NULL) {
        for (int j = 0; j < 5; j++)
            if ((interned[j] = PyUnicode_InternFromString(names[j])) == NULL)
                return NULL;
    }
    Py_ssize_t npos = PyVectorcall_NARGS(nargsf);
    Py_ssize_t nkw = kwnames != NULL ? PyTuple_GET_SIZE(kwnames) : 0;
    PyObject *given[5] = {NULL, NULL, NULL, NULL, NULL};
    bool fast = type == (PyObject *)&quenda_varType && npos <= 5;
    for (Py_ssize_t i = 0; fast && i < npos; i++)
        given[i] = args[i];
    for (Py_ssize_t k = 0; fast && k < nkw; k++) {
        PyObject *key = PyTuple_GET_ITEM(kwnames, k);
        int slot = -1;
        /* Keywords written in the call are interned: compare pointers
         * first, then text. */
        for (int j = 0; j < 5 && slot < 0; j++)
            if (key == interned[j])
                slot = j;
        for (int j = 0; j < 5 && slot < 0; j++)
            if (PyUnicode_CompareWithASCIIString(key, names[j]) == 0)
                slot = j;
        if (slot < 0 || given[slot] != NULL)
            fast = false; /* the parser words the error */
        else
            given[slot] = args[npos + k];
    }
    double d[3] = {0.0, QUENDA_INFINITY, 0.0};
    long vartype = 0;
    for (int j = 1; fast && j < 4; j++) {
        PyObject *o = given[j];
        if (o == NULL)
            continue;
        if (PyFloat_CheckExact(o))
            d[j - 1] = PyFloat_AS_DOUBLE(o);
        else if (PyLong_CheckExact(o) && (d[j - 1] = PyLong_AsDouble(o), !PyErr_Occurred()))
            ;
        else {
            PyErr_Clear();
            fast = false;
        }
    }
    if (fast && given[4] != NULL) {
        if (!PyLong_CheckExact(given[4]) ||
            ((vartype = PyLong_AsLong(given[4])) == -1 && PyErr_Occurred())) {
            PyErr_Clear();
            fast = false;
        }
    }
    if (!fast) {
        PyObject *tuple = PyTuple_New(npos), *kw = NULL, *res = NULL;
        if (tuple == NULL)
            return NULL;
        for (Py_ssize_t i = 0; i < npos; i++)
            PyTuple_SET_ITEM(tuple, i, Py_NewRef(args[i]));
        if (nkw > 0) {
            kw = PyDict_New();
            for (Py_ssize_t k = 0; kw != NULL && k < nkw; k++)
                if (PyDict_SetItem(kw, PyTuple_GET_ITEM(kwnames, k), args[npos + k]) < 0)
                    Py_CLEAR(kw);
        }
        if (nkw == 0 || kw != NULL)
            res = PyType_Type.tp_call(type, tuple, kw);
        Py_DECREF(tuple);
        Py_XDECREF(kw);
        return res;
    }
    var_object *v = (var_object *)quenda_varType.tp_alloc(&quenda_varType, 0);
    if (v == NULL)
        return NULL;
    v->id = qnda_py_env.varcounter++;
    v->name = NULL;
    if (var_setup(v, given[0], d[0], d[1], d[2], vartype) < 0) {
        Py_DECREF(v);
        return NULL;
    }
    return (PyObject *)v;
}

static void
var_dealloc(PyObject *self)
{
    var_thr_forget((var_object *)self);
    Py_XDECREF(((var_object *)self)->name);
    Py_TYPE(self)->tp_free(self);
}

/* ------------------------------------------------------------ text */

static PyObject *
var_str(PyObject *self)
{
    var_object *v = (var_object *)self;
    if (v->name == NULL)
        return quenda_id_name('C', v->id);
    if (PyUnicode_Check(v->name)) {
        Py_INCREF(v->name);
        return v->name;
    }
    if (PyBytes_Check(v->name))
        return PyUnicode_DecodeUTF8(PyBytes_AS_STRING(v->name), PyBytes_GET_SIZE(v->name),
                                    "replace");
    return PyObject_Str(v->name);
}

const char *
var_name_text(PyObject *var)
{
    var_object *v = (var_object *)var;
    if (v->name == NULL && (v->name = quenda_id_name('C', v->id)) == NULL)
        return NULL;
    if (PyUnicode_Check(v->name))
        return PyUnicode_AsUTF8(v->name);
    if (PyBytes_Check(v->name))
        return PyBytes_AS_STRING(v->name);
    PyErr_SetString(PyExc_TypeError, "variable without a printable name");
    return NULL;
}

static Py_hash_t
var_hash(PyObject *self)
{
    return (Py_hash_t)((var_object *)self)->id;
}

/* ------------------------------------------------------------ arithmetic */

PyObject *
var_fill(PyObject *var, double k)
{
    if (k == 1.0) {
        Py_INCREF(var);
        return var;
    }
    return algebra_linterm_new(k, var);
}

/* Number value of a constant operand into *k; -1 on overflow. */
static inline int
var_const(PyObject *o, double *k)
{
    *k = number_value(o);
    return (*k == -1.0 && PyErr_Occurred()) ? -1 : 0;
}

/* a + b and a - b (Op ALG_ADD, ALG_SUB): one body, the sign a constant
 * that the compiler folds in. */
template<int Op>
static PyObject *
var_addsub(PyObject *a, PyObject *b)
{
    constexpr double sign = Op == ALG_ADD ? 1.0 : -1.0;
    /* x + y and x - y, the start of most rows, without classifying. */
    if (Py_TYPE(a) == &quenda_varType && Py_TYPE(b) == &quenda_varType) {
        if (VAR_ID(a) == VAR_ID(b))
            return Op == ALG_ADD ? algebra_linterm_new(2.0, a) : PyFloat_FromDouble(0.0);
        return algebra_ctor.expression_from_lin(0.0, a, 1.0, b, sign, var_alloc_msg);
    }
    ALGEBRA_SLOT_OPEN(Op, EXPR_VARIABLE);
    double k;
    if (ka == EXPR_CONSTANT && kb == EXPR_VARIABLE) {
        if (var_const(a, &k) < 0)
            return NULL;
        return algebra_ctor.expression_from_lin(k, b, sign, NULL, 0.0, var_alloc_msg);
    }
    if (ka == EXPR_VARIABLE && kb == EXPR_CONSTANT) {
        if (var_const(b, &k) < 0)
            return NULL;
        if (k == 0.0) {
            Py_INCREF(a);
            return a;
        }
        return algebra_ctor.expression_from_lin(sign * k, a, 1.0, NULL, 0.0, var_alloc_msg);
    }
    return quenda_model_error(Op == ALG_ADD ? "Invalid operands in addition"
                                            : "Invalid operands in subtraction");
}

static PyObject *
var_mul(PyObject *a, PyObject *b)
{
    /* k*x with a float k, the start of most terms, without classifying. */
    if (PyFloat_CheckExact(a) && Py_TYPE(b) == &quenda_varType)
        return var_fill(b, PyFloat_AS_DOUBLE(a));
    if (PyFloat_CheckExact(b) && Py_TYPE(a) == &quenda_varType)
        return var_fill(a, PyFloat_AS_DOUBLE(b));
    int ka = expr_kind(a), kb = expr_kind(b);
    double k;
    /* x*k and k*x, the commonest products of all, before anything else. */
    if (ka == EXPR_VARIABLE && kb == EXPR_CONSTANT) {
        if (var_const(b, &k) < 0)
            return NULL;
        return var_fill(a, k);
    }
    if (ka == EXPR_CONSTANT && kb == EXPR_VARIABLE) {
        if (var_const(a, &k) < 0)
            return NULL;
        return var_fill(b, k);
    }
    PyObject *front = algebra_front(ALG_MUL, EXPR_VARIABLE, a, b, ka, kb);
    if (front != ALGEBRA_PENDING)
        return front;
    if (ka == EXPR_VARIABLE && kb == EXPR_VARIABLE)
        return algebra_ctor.quadterm_fill(1.0, a, b);
    return quenda_model_error("Invalid operands in subtraction");
}

static PyObject *
var_div(PyObject *a, PyObject *b)
{
    ALGEBRA_SLOT_OPEN(ALG_DIV, EXPR_VARIABLE);
    double k;
    if (ka == EXPR_VARIABLE && kb == EXPR_CONSTANT) {
        if (var_const(b, &k) < 0)
            return NULL;
        if (k == 0.0)
            return quenda_model_error("Division of variable by zero");
        return var_fill(a, 1.0 / k);
    }
    if (ka == EXPR_CONSTANT && kb == EXPR_VARIABLE) {
        if (var_const(a, &k) < 0)
            return NULL;
        if (k == 0.0)
            return PyFloat_FromDouble(0.0);
        return algebra_ctor.nonlin_binary(NONLIN_DIV, a, b);
    }
    if (ka == EXPR_VARIABLE && kb == EXPR_VARIABLE) {
        if (VAR_ID(a) == VAR_ID(b))
            return PyFloat_FromDouble(1.0);
        return algebra_ctor.nonlin_binary(NONLIN_DIV, a, b);
    }
    return quenda_model_error("Invalid operands in subtraction");
}

static PyObject *
var_pow(PyObject *a, PyObject *b, PyObject *mod)
{
    ALGEBRA_SLOT_OPEN(ALG_POW, EXPR_VARIABLE);
    double k;
    if (ka == EXPR_VARIABLE && kb == EXPR_CONSTANT) {
        if (var_const(b, &k) < 0)
            return NULL;
        if (k == 1.0) {
            Py_INCREF(a);
            return a;
        }
        if (k == 0.0)
            return PyFloat_FromDouble(1.0);
        if (k == 2.0)
            return algebra_ctor.quadterm_fill(1.0, a, a);
        return algebra_ctor.nonlin_binary(NONLIN_POW, a, b);
    }
    if ((ka == EXPR_CONSTANT && kb == EXPR_VARIABLE) ||
        (ka == EXPR_VARIABLE && kb == EXPR_VARIABLE))
        return algebra_ctor.nonlin_binary(NONLIN_POW, a, b);
    return quenda_model_error("Invalid operands in subtraction");
}

static PyObject *
var_neg(PyObject *a)
{
    return algebra_linterm_new(-1.0, a);
}

/* ------------------------------------------------------------ type */

static PyNumberMethods var_as_number =
    algebra_number_methods(var_addsub<ALG_ADD>, var_addsub<ALG_SUB>, var_mul, var_div, var_pow,
                           var_neg, algebra_abs, term_iadd, term_isub, term_imul, term_idiv,
                           term_ipow);

/* The name: the default one ("C" and the identity number) is not kept,
 * a million variables would hold a million strings the library holds too. */
static PyObject *
var_get_name(PyObject *self, void *)
{
    return quenda_name_or_default(((var_object *)self)->name, 'C', VAR_ID(self));
}

static PyObject *
var_get_threshold(PyObject *self, void *)
{
    return PyFloat_FromDouble(var_threshold(self));
}

static PyObject *
var_get_vartype(PyObject *self, void *)
{
    return PyLong_FromLong(((var_object *)self)->vartype);
}

/* The setter of a number attribute kept outside the member table: the
 * value read by Read (T its C type), stored by Store (0 or -1). */
template<typename T, T (*Read)(PyObject *), int (*Store)(PyObject *, T)>
static int
var_set_number(PyObject *self, PyObject *value, void *)
{
    if (value == NULL) {
        PyErr_SetString(PyExc_TypeError, "can't delete numeric/char attribute");
        return -1;
    }
    T t = Read(value);
    if (t == (T)-1 && PyErr_Occurred())
        return -1;
    return Store(self, t);
}

static PyGetSetDef var_getset[] =
    {{(char *)"name", var_get_name, quenda_set_name<var_object>, (char *)"Name of the variable",
      (void *)"Invalid variable name (must be a string)"},
     {(char *)"threshold", var_get_threshold,
      var_set_number<double, PyFloat_AsDouble, var_set_threshold>,
      (char *)"Threshold (for partially integers)", NULL},
     {(char *)"vartype", var_get_vartype, var_set_number<long, PyLong_AsLong, var_set_vartype>,
      (char *)"Type of the variable: continuous (0), integer (1), semi-continuous (2), partially "
              "integer (3)",
      NULL},
     {NULL}};

static PyMemberDef var_members[] = {{"lb", T_DOUBLE, offsetof(var_object, lb), 0, "Lower bound"},
                                    {"ub", T_DOUBLE, offsetof(var_object, ub), 0, "Upper bound"},
                                    {NULL}};

PyTypeObject quenda_varType =
    quenda_type_build("quenda.var", sizeof(var_object), Py_TPFLAGS_DEFAULT,
                      "Class for variables of an optimization problem", Py_tp_dealloc, var_dealloc,
                      Py_tp_repr, var_str, QUENDA_TP_AS_NUMBER, &var_as_number, Py_tp_hash,
                      var_hash, Py_tp_str, var_str, Py_tp_richcompare, algebra_richcompare,
                      Py_tp_members, var_members, Py_tp_getset, var_getset, Py_tp_init, var_init,
                      Py_tp_new, PyType_GenericNew);

/* ------------------------------------------------------------ registration */

static PyObject *
var_alg_sum(PyObject *a, PyObject *b, double sign)
{
    return sign > 0.0 ? var_addsub<ALG_ADD>(a, b) : var_addsub<ALG_SUB>(a, b);
}

int
var_register(void)
{
    algebra_ctor.var_name_text = var_name_text;
    quenda_varType.tp_vectorcall = var_vectorcall;
    return algebra_register_type(EXPR_VARIABLE, &quenda_varType, 0, var_alg_sum, var_fill);
}
