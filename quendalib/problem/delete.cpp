/* delVariable, delConstraint, delSOS: deletion and renumbering (see
 * batch.h).  The library deletes first; then the kind's list keeps its
 * survivors in order and the map is rebuilt with every index above a
 * deleted one moved down. */
#include "problem/batch.h"

#include "algebra/constraint.h"
#include "algebra/exprtype.h"
#include "algebra/sos.h"
#include "algebra/var.h"
#include "module/session.h"
#include "problem/conbody.h"
#include "problem/conv.h"

#include <stdlib.h>

static int
del_cmp(const void *a, const void *b)
{
    int x = *(const int *)a, y = *(const int *)b;
    return (x > y) - (x < y);
}

/* The indices named by "index" (an int, an object of the kind, or a
 * sequence of them) in a new array *idx of *n entries. */
static int
del_indices_from(problem_s *p, PyObject *index, int kind, int **idx, QNDAint64 *n)
{
    PyTypeObject *type = kind == DEL_COLS   ? &quenda_varType
                         : kind == DEL_ROWS ? &quenda_constraintType
                                            : &quenda_SOSType;
    *n = -1;
    /* A name is one item, not a sequence of one-letter names. */
    if (conv_is_integer(index) || PyObject_TypeCheck(index, type) || PyUnicode_Check(index) ||
        PyBytes_Check(index)) {
        if (qarr_realloc(idx, sizeof(int)) != 0) {
            PyErr_NoMemory();
            return -1;
        }
        *n = 1;
        return ObjInt2int(index, (PyObject *)p, *idx, kind);
    }
    if (kind != DEL_SETS)
        return conv_obj2arr((PyObject *)p, n, index, (void **)idx, kind);
    {
        /* Sets have no array kind of their own: resolve item by item. */
        PyObject *fast = PySequence_Fast(index, "Invalid sequence of objects");
        Py_ssize_t i, len;
        int ret = 0;
        if (fast == NULL) {
            PyErr_Clear();
            PyErr_SetString(quenda_ModelError, "Invalid sequence of objects");
            return -1;
        }
        len = PySequence_Fast_GET_SIZE(fast);
        if (qarr_realloc(idx, (size_t)len * sizeof(int)) != 0) {
            Py_DECREF(fast);
            PyErr_NoMemory();
            return -1;
        }
        for (i = 0; ret == 0 && i < len; i++)
            ret = ObjInt2int(PySequence_Fast_GET_ITEM(fast, i), (PyObject *)p, *idx + i, kind);
        Py_DECREF(fast);
        *n = len;
        return ret;
    }
}

PyObject *
problem_delete_impl(PyObject *self, PyObject *args, PyObject *kwargs, int kind)
{
    static const char *kwlist[] = {"index", "first", "last", NULL};
    problem_s *p = (problem_s *)self;
    PyObject *index = Py_None, *lst, *survivors = NULL, *res = NULL;
    void **mapp;
    rowcolmap *newmap = NULL;
    int first = -1, last = -1, count, rc;
    int *idx = NULL, *shift = NULL; /* library allocator */
    QNDAint64 n = 0, i, k;

    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "|Oii", (char **)kwlist, &index, &first, &last))
        return NULL;
    if (reg_check_problem(p) != 0)
        return NULL;
    lst = kind == DEL_COLS ? p->vars : kind == DEL_ROWS ? p->cons : p->sos;
    mapp = kind == DEL_COLS ? &p->varmap : kind == DEL_ROWS ? &p->conmap : &p->sosmap;
    count = (int)PyList_GET_SIZE(lst);

    if (index != Py_None) {
        if (first != -1 || last != -1) {
            PyErr_SetString(quenda_ModelError, "Parameters 'first' and 'last' cannot be "
                                               "specified if 'index' is also specified");
            goto done;
        }
        if (del_indices_from(p, index, kind, &idx, &n) != 0)
            goto done;
    } else {
        if (first < 0) {
            PyErr_SetString(quenda_ModelError,
                            last < 0 ? "At least one parameter must be specified"
                                     : "Parameters 'first' and 'last' must be both nonnegative "
                                       "when specified");
            goto done;
        }
        if (last < 0) {
            PyErr_SetString(quenda_ModelError,
                            "Parameters 'first' and 'last' must be both nonnegative when "
                            "specified");
            goto done;
        }
        if (first >= count || last >= count) {
            PyErr_SetString(quenda_ModelError, "Parameters 'first' or 'last' are out of range");
            goto done;
        }
        if (first > last) {
            PyErr_SetString(quenda_ModelError,
                            "Parameter 'first' must be less than, or equal to, 'last'");
            goto done;
        }
        n = last - first + 1;
        if (qarr_realloc(&idx, (size_t)n * sizeof(int)) != 0) {
            PyErr_NoMemory();
            goto done;
        }
        for (i = 0; i < n; i++)
            idx[i] = first + (int)i;
    }
    for (i = 0; i < n; i++) {
        if (idx[i] < 0 || idx[i] >= count) {
            PyErr_SetString(quenda_ModelError, "Index out of bounds");
            goto done;
        }
    }
    if (n == 0) {
        res = Py_NewRef(Py_None);
        goto done;
    }
    /* Ascending and without repeats, so that each object goes once. */
    if (n > 1) {
        qsort(idx, (size_t)n, sizeof(int), del_cmp);
        for (i = 1, k = 1; i < n; i++)
            if (idx[i] != idx[k - 1])
                idx[k++] = idx[i];
        n = k;
    }

    if (kind == DEL_ROWS) /* the rows that hold their bodies are going */
        conbody_from_rows(p, lst, idx, (Py_ssize_t)n);
    rc = kind == DEL_ROWS   ? QNDAdelrows(p->prob, (int)n, idx)
         : kind == DEL_COLS ? QNDAdelcols(p->prob, (int)n, idx)
                            : QNDAdelsets(p->prob, (int)n, idx);
    if (rc != 0)
        goto done;
    if (kind == DEL_ROWS) /* the library dropped their nonlinear coefficients too */
        for (i = 0; i < n; i++) {
            PyObject *con = PyList_GET_ITEM(lst, idx[i]);
            if (CONSTRAINT_CHECK(con) && ((constraint_object *)con)->body != NULL &&
                expr_kind(((constraint_object *)con)->body) == EXPR_NONLINEAR && p->n_nlcons > 0)
                p->n_nlcons--;
        }

    /* shift[j]: how many deleted indices lie below j, -1 for a deleted j. */
    if (qarr_realloc(&shift, (size_t)(count > 0 ? count : 1) * sizeof(int)) != 0) {
        PyErr_NoMemory();
        goto done;
    }
    survivors = PyList_New(count - (Py_ssize_t)n);
    if (survivors == NULL)
        goto done;
    for (i = 0, k = 0; i < count; i++) {
        if (k < n && idx[k] == i) {
            shift[i] = -1;
            k++;
        } else {
            shift[i] = (int)k;
            PyList_SET_ITEM(survivors, i - k, Py_NewRef(PyList_GET_ITEM(lst, i)));
        }
    }
    newmap = rowcolmap_new();
    if (newmap == NULL) {
        PyErr_SetString(quenda_ModelError, "Cannot delete item from problem");
        goto done;
    }
    {
        void *it = NULL;
        uint32_t id, val;
        int ok = 1;
        while (ok && rowcolmap_next((rowcolmap *)*mapp, &it, &id, &val)) {
            if (val < (uint32_t)count && shift[val] < 0)
                continue;
            if (rowcolmap_set(newmap, id, val < (uint32_t)count ? val - shift[val] : val) != 0)
                ok = 0;
        }
        rowcolmap_iter_free(&it);
        if (!ok) {
            PyErr_SetString(quenda_ModelError, "Cannot delete item from problem");
            goto done;
        }
    }
    if (PyList_SetSlice(lst, 0, count, survivors) != 0)
        goto done;
    rowcolmap_free((rowcolmap **)mapp);
    *mapp = newmap;
    problem_varmap_changed();
    newmap = NULL;
    res = Py_NewRef(Py_None);
done:
    Py_XDECREF(survivors);
    rowcolmap_free(&newmap);
    qarr_free(&idx);
    qarr_free(&shift);
    return quenda_result(self, res);
}
