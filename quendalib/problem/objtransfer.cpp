/* The transfer row and column of a nonlinear objective (objtransfer.h). */
#include "problem/objtransfer.h"

#include "problem/nlhooks.h"

#include <new>
#include <vector>

#include "qnda.h"
#include "qslp.h"

#define OBJT_ATTR_ROWS 1124
#define OBJT_ATTR_COLS 1214

static int
objt_fail(problem_s *p)
{
    setQndaErrIfNull((PyObject *)p, NULL);
    return -1;
}

/* Appends the row and the column and records them.  0, or -1. */
static int
objt_append(problem_s *p)
{
    const char type = 'E';
    const double zero = 0.0, one = 1.0, minus = -1.0;
    const double lb = -QNDA_INFINITY, ub = QNDA_INFINITY;
    const QNDAint64 start[2] = {0, 1};
    int row = 0, col = 0;

    if (QNDAgetintattrib(p->prob, OBJT_ATTR_ROWS, &row) != 0 ||
        QNDAgetintattrib(p->prob, OBJT_ATTR_COLS, &col) != 0 ||
        QNDAaddrows64(p->prob, 1, 0, &type, &zero, NULL, NULL, NULL, NULL) != 0)
        return objt_fail(p);
    p->obj_row = row;
    if (QNDAaddnames(p->prob, QNDA_NAMES_ROWS, "objtransferrow", row, row) != 0 ||
        QNDAaddcols64(p->prob, 1, 1, &one, start, &row, &minus, &lb, &ub) != 0)
        return objt_fail(p);
    p->obj_col = col;
    if (QNDAaddnames(p->prob, QNDA_NAMES_COLUMNS, "objtransfercol", col, col) != 0)
        return objt_fail(p);
    return 0;
}

/* The transfer row's coefficients as the library holds them. */
struct objtransfer_saved {
    std::vector<int> col, start, type;
    std::vector<double> factor, value;
};

void
objtransfer_forget(problem_s *p)
{
    delete (objtransfer_saved *)p->obj_saved;
    p->obj_saved = NULL;
}

int
objtransfer_add(problem_s *p, PyObject *node)
{
    objtransfer_forget(p);
    PyObject *et, *ev, *tb;
    if (objt_append(p) != 0)
        return -1;
    p->nl_obj = 1;
    if (problem_nl_add(p, p->obj_row, node) == 0)
        return 0;
    /* a transfer without its formula would leave the objective free */
    PyErr_Fetch(&et, &ev, &tb);
    if (objtransfer_remove(p) != 0) {
        Py_XDECREF(et);
        Py_XDECREF(ev);
        Py_XDECREF(tb);
        return -1;
    }
    PyErr_Restore(et, ev, tb);
    return -1;
}

int
objtransfer_remove(problem_s *p)
{
    objtransfer_forget(p);
    /* the library drops the row's nonlinear coefficients with the row */
    if (p->obj_row >= 0 && QNDAdelrows(p->prob, 1, &p->obj_row) != 0)
        return objt_fail(p);
    p->obj_row = -1;
    if (p->obj_col >= 0 && QNDAdelcols(p->prob, 1, &p->obj_col) != 0)
        return objt_fail(p);
    p->obj_col = -1;
    p->nl_obj = 0;
    return 0;
}

/* Reads the transfer row's coefficients into a new p->obj_saved.  0, or -1. */
static int
objt_save(problem_s *p)
{
    int n = 0, ntok = 0, i;
    std::vector<int> rows, cols, start, type;
    std::vector<double> factor, value;
    objtransfer_saved *s;

    if (QSLPgetcoefs(p->slpprob, &n, NULL, NULL, NULL, NULL, 0, &ntok, NULL, NULL) != 0)
        return objt_fail(p);
    rows.resize((size_t)n + 1);
    cols.resize((size_t)n + 1);
    factor.resize((size_t)n + 1);
    start.resize((size_t)n + 1);
    type.resize((size_t)ntok + 1);
    value.resize((size_t)ntok + 1);
    if (QSLPgetcoefs(p->slpprob, &n, rows.data(), cols.data(), factor.data(), start.data(),
                     ntok + 1, &ntok, type.data(), value.data()) != 0)
        return objt_fail(p);
    start[(size_t)n] = ntok;
    s = new (std::nothrow) objtransfer_saved;
    if (s == NULL) {
        PyErr_NoMemory();
        return -1;
    }
    s->start.assign(1, 0);
    for (i = 0; i < n; i++) {
        if (rows[(size_t)i] != p->obj_row)
            continue;
        s->col.push_back(cols[(size_t)i]);
        s->factor.push_back(factor[(size_t)i]);
        s->type.insert(s->type.end(), type.begin() + start[(size_t)i],
                       type.begin() + start[(size_t)i + 1]);
        s->value.insert(s->value.end(), value.begin() + start[(size_t)i],
                        value.begin() + start[(size_t)i + 1]);
        s->start.push_back((int)s->type.size());
    }
    p->obj_saved = s;
    return 0;
}

int
objtransfer_take_out(problem_s *p, int *active)
{
    *active = 0;
    if (p->obj_row < 0 || p->obj_col < 0 || p->slpprob == NULL)
        return 0;
    if (p->obj_saved == NULL && objt_save(p) != 0)
        return -1;
    if (QNDAdelrows(p->prob, 1, &p->obj_row) != 0)
        return objt_fail(p);
    p->obj_row = -1;
    if (QNDAdelcols(p->prob, 1, &p->obj_col) != 0)
        return objt_fail(p);
    p->obj_col = -1;
    *active = 1;
    return 0;
}

int
objtransfer_put_back(problem_s *p)
{
    objtransfer_saved *s = (objtransfer_saved *)p->obj_saved;
    int n = s != NULL ? (int)s->col.size() : 0;
    std::vector<int> rows;

    if (objt_append(p) != 0)
        return -1;
    rows.assign((size_t)n, p->obj_row);
    if (n > 0 && QSLPaddcoefs(p->slpprob, n, rows.data(), s->col.data(), s->factor.data(),
                              s->start.data(), 1, s->type.data(), s->value.data()) != 0)
        return objt_fail(p);
    return 0;
}

int
objtransfer_follow(problem_s *p)
{
    int rows = 0, cols = 0;
    if (p->obj_row < 0)
        return 0;
    /* deleted columns renumber the formula in the library, not here */
    objtransfer_forget(p);
    if (QNDAgetintattrib(p->prob, OBJT_ATTR_ROWS, &rows) != 0 ||
        QNDAgetintattrib(p->prob, OBJT_ATTR_COLS, &cols) != 0)
        return objt_fail(p);
    p->obj_row = rows - 1;
    p->obj_col = cols - 1;
    return 0;
}
