/* Constraint bodies kept by the problem's rows (conbody.h). */
#include "problem/conbody.h"

#include <new>
#include <vector>

#include "algebra/constraint.h"
#include "algebra/expression.h"
#include "algebra/maps.h"

static const char conbody_unreadable[] = "Cannot read the body of the constraint from its problem";

PyObject *
conbody_from_row(PyObject *problem, PyObject *con)
{
    problem_s *p = (problem_s *)problem;
    uint32_t row;
    QNDAint64 start[2], n = 0;

    if (p->prob == NULL || p->vars == NULL || p->conmap == NULL ||
        rowcolmap_get((rowcolmap *)p->conmap, ((constraint_object *)con)->id, &row) != 0) {
        PyErr_SetString(quenda_ModelError, conbody_unreadable);
        return NULL;
    }
    if (QNDAgetrows64(p->prob, start, NULL, NULL, 0, &n, (int)row, (int)row) != 0) {
        setQndaErrIfNull(problem, NULL);
        return NULL;
    }
    std::vector<int> col;
    std::vector<double> val;
    try {
        col.resize((size_t)n);
        val.resize((size_t)n);
    } catch (const std::bad_alloc &) {
        return PyErr_NoMemory();
    }
    if (n > 0 &&
        QNDAgetrows64(p->prob, start, col.data(), val.data(), n, &n, (int)row, (int)row) != 0) {
        setQndaErrIfNull(problem, NULL);
        return NULL;
    }
    PyObject *body = expression_base();
    if (body == NULL)
        return NULL;
    Py_ssize_t ncols = PyList_GET_SIZE(p->vars);
    for (QNDAint64 k = 0; k < n; k++) {
        if (col[k] < 0 || col[k] >= ncols) {
            PyErr_SetString(quenda_ModelError, conbody_unreadable);
            Py_DECREF(body);
            return NULL;
        }
        if (expression_addLinTerm(body, PyList_GET_ITEM(p->vars, col[k]), val[k]) != 0) {
            Py_DECREF(body);
            return NULL;
        }
    }
    return body;
}

void
conbody_to_rows(problem_s *p, Py_ssize_t from)
{
    /* A callback's view adds to the event's problem, not to its owner's
     * model: its rows cannot answer later. */
    if (p->is_view || p->cons == NULL)
        return;
    for (Py_ssize_t i = from; i < PyList_GET_SIZE(p->cons); i++)
        constraint_body_to_row(PyList_GET_ITEM(p->cons, i), (PyObject *)p);
}

void
conbody_from_rows(problem_s *p, PyObject *lst, const int *idx, Py_ssize_t n)
{
    if (lst == NULL || p->is_view)
        return;
    if (idx == NULL)
        n = PyList_GET_SIZE(lst);
    /* the list itself may outlive us in someone else's hands */
    int shared_list = Py_REFCNT(lst) > 1;
    for (Py_ssize_t i = 0; i < n; i++) {
        Py_ssize_t at = idx != NULL ? idx[i] : i;
        if (at < 0 || at >= PyList_GET_SIZE(lst))
            continue;
        PyObject *con = PyList_GET_ITEM(lst, at);
        if (!CONSTRAINT_CHECK(con) || ((constraint_object *)con)->home != (PyObject *)p)
            continue;
        int keep = shared_list || Py_REFCNT(con) > 1;
        if (constraint_body_from_row(con, (PyObject *)p, keep) != 0)
            PyErr_WriteUnraisable(con);
    }
}
