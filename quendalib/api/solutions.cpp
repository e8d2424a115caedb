/* Reading solutions, bases and the library's descriptions into Python:
 * each output is a caller-supplied list (None: not wanted). */
#include "api/wrap.h"

#include <string.h>

typedef int (*sol_call)(QNDAprob, double *, double *, double *, double *);

/* getlpsol, getpresolvesol and getmipsol: up to four double outputs, x and
 * dj per column, slack and dual per row. */
static PyObject *
sol_get(PyObject *self, PyObject *args, PyObject *kwargs, int nout, sol_call call)
{
    static const char *kwlist4[] = {"x", "slack", "dual", "dj", NULL};
    static const char *kwlist2[] = {"x", "slack", NULL};
    PyObject *o[4] = {NULL, NULL, NULL, NULL};
    double *v[4] = {NULL, NULL, NULL, NULL};
    api_arrays a(self);
    QNDAint64 rows, cols, n[4];
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, nout == 4 ? "|OOOO" : "|OO",
                                     (char **)(nout == 4 ? kwlist4 : kwlist2), &o[0], &o[1], &o[2],
                                     &o[3]) ||
        (p = api_prob(self)) == NULL || api_sizes(self, &rows, &cols) != 0)
        return NULL;
    n[0] = n[3] = cols;
    n[1] = n[2] = rows;
    for (int i = 0; i < nout; i++) {
        if (a.want(o[i], n[i], &v[i]) != 0)
            return NULL;
    }
    if (call(p->prob, v[0], v[1], v[2], v[3]) != 0)
        return api_fail(self);
    for (int i = 0; i < nout; i++) {
        if (conv_arr2obj(self, n[i], v[i], &o[i], CONV_DOUBLE) != 0)
            return NULL;
    }
    Py_RETURN_NONE;
}

static PyObject *
QNDA_PY_getlpsol(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return sol_get(self, args, kwargs, 4, QNDAgetlpsol);
}

static PyObject *
QNDA_PY_getpresolvesol(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return sol_get(self, args, kwargs, 4, QNDAgetpresolvesol);
}

static PyObject *
QNDA_PY_getmipsol(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return sol_get(self, args, kwargs, 2,
                   [](QNDAprob prob, double *x, double *slack, double *, double *) -> int {
                       return QNDAgetmipsol(prob, x, slack);
                   });
}

/* getbasis and getpresolvebasis. */
template<int (*F)(QNDAprob, int *, int *)>
static PyObject *
sol_basis(PyObject *self, PyObject *args, PyObject *kwargs)
{
    static const char *kwlist[] = {"rstatus", "cstatus", NULL};
    PyObject *ro = NULL, *co = NULL;
    api_arrays a(self);
    QNDAint64 rows, cols;
    int *rs, *cs;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "OO", (char **)kwlist, &ro, &co) ||
        (p = api_prob(self)) == NULL || api_sizes(self, &rows, &cols) != 0)
        return NULL;
    if (api_absent(ro) && api_absent(co)) {
        api_missing("Must provide arguments (as lists) of get[presolve]basis");
        return NULL;
    }
    if (a.want(ro, rows, &rs) != 0 || a.want(co, cols, &cs) != 0)
        return NULL;
    if (F(p->prob, rs, cs) != 0)
        return api_fail(self);
    if (conv_arr2obj(self, rows, rs, &ro, CONV_INT) != 0 ||
        conv_arr2obj(self, cols, cs, &co, CONV_INT) != 0)
        return NULL;
    Py_RETURN_NONE;
}

/* getcontrolinfo / getattribinfo: (type, id) of a named item. */
static PyObject *
sol_info(PyObject *self, PyObject *args, PyObject *kwargs,
         int (*call)(QNDAprob, const char *, int *, int *))
{
    static const char *kwlist[] = {"name", NULL};
    const char *name = NULL;
    int id = 0, type = 0;
    problem_s *p;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "s", (char **)kwlist, &name) ||
        (p = api_prob(self)) == NULL)
        return NULL;
    if (call(p->prob, name, &id, &type) != 0)
        return api_fail(self);
    return Py_BuildValue("(ii)", type, id);
}

static PyObject *
QNDA_PY_getcontrolinfo(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return sol_info(self, args, kwargs, QNDAgetcontrolinfo);
}

static PyObject *
QNDA_PY_getattribinfo(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return sol_info(self, args, kwargs, QNDAgetattribinfo);
}

static PyObject *
QNDA_PY_getlasterror(PyObject *self, PyObject *)
{
    char msg[512] = "";
    int code = 0;
    problem_s *p = api_prob(self);

    if (p == NULL)
        return NULL;
    QNDAgetlasterror(p->prob, &code, msg, (int)sizeof msg, NULL);
    msg[sizeof msg - 1] = '\0';
    return PyUnicode_DecodeUTF8(msg, (Py_ssize_t)strlen(msg), "replace");
}

PyMethodDef api_solution_methods[] =
    {{"getlpsol", API_KW(QNDA_PY_getlpsol),
      "getlpsol(x=None, slack=None, dual=None, dj=None)\n\nFill the given lists with the LP "
      "solution: x and dj per column, slack and dual per row."},
     {"getpresolvesol", API_KW(QNDA_PY_getpresolvesol),
      "getpresolvesol(x=None, slack=None, dual=None, dj=None)\n\nAs getlpsol, for the problem "
      "the engine solved."},
     {"getmipsol", API_KW(QNDA_PY_getmipsol),
      "getmipsol(x=None, slack=None)\n\nFill the given lists with the best MIP solution."},
     {"getbasis", API_KW(sol_basis<QNDAgetbasis>),
      "getbasis(rstatus, cstatus)\n\nFill the lists with the basis statuses of rows and columns "
      "(0 at lower bound, 1 basic, 2 at upper bound); either may be None."},
     {"getpresolvebasis", API_KW(sol_basis<QNDAgetpresolvebasis>),
      "getpresolvebasis(rstatus, cstatus)\n\nAs getbasis, for the presolved problem (which "
      "outside an optimisation is the problem itself)."},
     {"getcontrolinfo", API_KW(QNDA_PY_getcontrolinfo),
      "getcontrolinfo(name)\n\n(type, id) of the named control; type 1 int, 2 64-bit int, 3 float, "
      "4 str."},
     {"getattribinfo", API_KW(QNDA_PY_getattribinfo),
      "getattribinfo(name)\n\n(type, id) of the named attribute; type 1 int, 2 64-bit int, 3 "
      "float, 4 str."},
     {"getlasterror", (PyCFunction)QNDA_PY_getlasterror, METH_NOARGS,
      "getlasterror()\n\nThe library's last error message for this problem."},
     {NULL, NULL, 0, NULL}};
