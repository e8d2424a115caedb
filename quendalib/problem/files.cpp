/* Reading and writing model files.
 *
 * The library parses and writes the files; what the module does is rebuild
 * its registry after a read, so that a model from a file is used through
 * objects and names like one built with operators.  Every column becomes a
 * new variable with the column's name, bounds and type, every row a new
 * constraint with the row's name and bounds but no body (the modelling
 * layer never sees the row's coefficients), every set a new SOS with its
 * name only.  Names are fetched in chunks of 256, so the name buffer stays
 * small whatever the size of the model.
 *
 * The registry is emptied before anything else, also before the arguments
 * are parsed: a read that fails leaves the problem with the registry as
 * far as it was rebuilt, never with objects of the previous model. */
#include "problem/files.h"

#include "algebra/constraint.h"
#include "algebra/maps.h"
#include "algebra/sos.h"
#include "algebra/var.h"
#include "module/session.h"
#include "problem/alloc.h"
#include "problem/conv.h"
#include "problem/maps.h"
#include "problem/objtransfer.h"
#include "problem/object.h"
#include "problem/solve.h"

#include "qnda.h"

#include <string.h>

#define FILES_ATTR_ROWS 1124
#define FILES_ATTR_COLS 1214
#define FILES_ATTR_SETS 1194
#define FILES_CHUNK 256
#define FILES_SLP_ATTR_NLEQROWS 12016   /* equality rows with nonlinear coefficients */
#define FILES_SLP_ATTR_NLINEQROWS 12026 /* other rows with them */

typedef struct {
    void *buf;        /* library allocator: packed names of one chunk */
    int size;         /* bytes allocated */
    const char *next; /* next name in buf */
} namechunk;

/* The name of object i of a kind as a new str, fetching the chunk that
 * starts at i when i is a multiple of 256.  NULL with an exception. */
static PyObject *
files_name(problem_s *p, namechunk *nc, int type, int i, int n)
{
    PyObject *res;
    size_t len;

    if (i % FILES_CHUNK == 0) {
        int last = i + FILES_CHUNK - 1 < n - 1 ? i + FILES_CHUNK - 1 : n - 1;
        int need = 0;
        if (QNDAgetnames(p->prob, type, NULL, 0, &need, i, last) != 0)
            goto libfail;
        if (need > nc->size) {
            qarr_free(&nc->buf);
            nc->size = 0;
            nc->buf = qarr_alloc((size_t)need);
            if (nc->buf == NULL)
                return NULL;
            nc->size = need;
        }
        if (QNDAgetnames(p->prob, type, (char *)nc->buf, nc->size, NULL, i, last) != 0)
            goto libfail;
        nc->next = (const char *)nc->buf;
    }
    len = strlen(nc->next);
    res = PyUnicode_DecodeUTF8(nc->next, (Py_ssize_t)len, "replace");
    nc->next += len + 1;
    return res;
libfail:
    return quenda_result((PyObject *)p, NULL);
}

/* Appends obj (stolen) to lst and maps id to index i.  0, or -1 with msg
 * raised unless an exception is already set. */
static int
files_register(PyObject *lst, void *map, PyObject *obj, uint32_t id, int i, const char *msg)
{
    int rc = obj == NULL ? -1 : PyList_Append(lst, obj);
    Py_XDECREF(obj);
    if (rc == 0 && rowcolmap_set((rowcolmap *)map, id, (uint32_t)i) != 0)
        rc = -1;
    if (rc != 0 && !PyErr_Occurred())
        PyErr_SetString(quenda_ModelError, msg);
    return rc;
}

static long
files_vartype(char c)
{
    switch (c) {
    case 'B': return 1;
    case 'I': return 2;
    case 'S': return 3;
    case 'R': return 4;
    case 'P': return 5;
    default: return 0;
    }
}

typedef int (*files_dblget)(QNDAprob, double *, int, int);
typedef int (*files_chrget)(QNDAprob, char *, int, int);

/* Two double arrays and a char array of n entries, read over 0..n-1 by
 * the three getters.  0, or -1 with an exception set; the caller frees the
 * arrays either way. */
static int
files_fetch(problem_s *p, int n, double **a, files_dblget geta, double **b, files_dblget getb,
            char **t, files_chrget gett)
{
    *a = (double *)qarr_alloc((size_t)n * sizeof(double));
    *b = (double *)qarr_alloc((size_t)n * sizeof(double));
    *t = (char *)qarr_alloc((size_t)n);
    if (*a == NULL || *b == NULL || *t == NULL)
        return -1;
    if (geta(p->prob, *a, 0, n - 1) != 0 || getb(p->prob, *b, 0, n - 1) != 0 ||
        gett(p->prob, *t, 0, n - 1) != 0) {
        setQndaErrIfNull((PyObject *)p, NULL);
        return -1;
    }
    return 0;
}

/* read() and write()'s arguments (filename, options=""), the problem
 * initialised; 0, or -1 with an exception set. */
static int
files_args(problem_s *p, PyObject *args, PyObject *kwargs, const char **filename,
           const char **options)
{
    static const char *kwlist[] = {"filename", "options", NULL};
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "s|s", (char **)kwlist, filename, options))
        return -1;
    if (p->prob == NULL) {
        PyErr_SetString(quenda_ModelError, "Problem not initialized");
        return -1;
    }
    return 0;
}

/* A file call of the library on the problem, the interpreter released
 * meanwhile; the library's code. */
template<class H>
static int
files_unlocked(int (*call)(H, const char *, const char *), H handle, const char *filename,
               const char *options)
{
    int rc;
    Py_BEGIN_ALLOW_THREADS
    rc = call(handle, filename, options);
    Py_END_ALLOW_THREADS
    return rc;
}

/* A variable read back: bounds lb, ub and the library's column type t.
 * Takes name; new reference or NULL. */
static PyObject *
files_new_column(PyObject *name, double lb, double ub, char t, uint32_t *id)
{
    var_object *v = (var_object *)var_new_bare();
    if (v == NULL) {
        Py_DECREF(name);
        return NULL;
    }
    v->name = name;
    v->lb = lb;
    v->ub = ub;
    v->vartype = files_vartype(t);
    if (v->vartype >= 3)
        v->thr = VAR_THR_ZERO; /* the library keeps the threshold; it is not read back */
    *id = v->id;
    return (PyObject *)v;
}

PyObject *
files_new_constraint(PyObject *name)
{
    return conv_new_constraint(name, 'N', 0.0, 0.0);
}

/* A constraint read back from the right-hand side, range and row type t.
 * Takes name; new reference or NULL. */
static PyObject *
files_new_row(PyObject *name, double rhs, double range, char t, uint32_t *id)
{
    constraint_object *c = (constraint_object *)conv_new_constraint(name, t, rhs, range);
    Py_DECREF(name);
    if (c == NULL)
        return NULL;
    *id = c->id;
    return (PyObject *)c;
}

/* How the columns or the rows are read back: the getters of two numbers
 * and a type per item, the kind of names, the maker and the message. */
struct files_kind {
    files_dblget geta, getb;
    files_chrget gett;
    int names;
    PyObject *(*make)(PyObject *name, double a, double b, char t, uint32_t *id);
    const char *msg;
};

static const files_kind files_columns = {QNDAgetlb,        QNDAgetub,
                                         QNDAgetcoltype,   QNDA_NAMES_COLUMNS,
                                         files_new_column, "Could not read problem"};
static const files_kind files_rows = {QNDAgetrhs,     QNDAgetrhsrange,
                                      QNDAgetrowtype, QNDA_NAMES_ROWS,
                                      files_new_row,  "Cannot read constraint from problem"};

/* Reads n columns or rows back into the problem's list and map. */
static int
files_read_items(problem_s *p, namechunk *nc, int n, const files_kind &k)
{
    int rows = &k == &files_rows;
    double *a = NULL, *b = NULL;
    char *type = NULL;
    int i, ret = -1;

    if (n == 0)
        return 0;
    if (files_fetch(p, n, &a, k.geta, &b, k.getb, &type, k.gett) != 0)
        goto done;
    for (i = 0; i < n; i++) {
        uint32_t id = 0;
        PyObject *obj, *name = files_name(p, nc, k.names, i, n);
        if (name == NULL)
            goto done;
        obj = k.make(name, a[i], b[i], type[i], &id);
        if (obj == NULL)
            goto done;
        if (files_register(rows ? p->cons : p->vars, rows ? p->conmap : p->varmap, obj, id, i,
                           k.msg) != 0)
            goto done;
    }
    ret = 0;
done:
    qarr_free_all(&a, &b, &type);
    return ret;
}

PyObject *
files_new_sos(PyObject *name)
{
    sos_object *s = (sos_object *)quenda_SOSType.tp_alloc(&quenda_SOSType, 0);
    if (s == NULL)
        return NULL;
    s->id = qnda_py_env.soscounter++;
    s->type = 1;
    Py_INCREF(name);
    s->name = name;
    s->indices = PyList_New(0);
    s->weights = PyList_New(0);
    if (s->indices == NULL || s->weights == NULL) {
        Py_DECREF(s);
        return NULL;
    }
    return (PyObject *)s;
}

static int
files_read_sets(problem_s *p, namechunk *nc, int n)
{
    int i;
    for (i = 0; i < n; i++) {
        PyObject *s, *name = files_name(p, nc, QNDA_NAMES_SETS, i, n);
        if (name == NULL)
            return -1;
        s = files_new_sos(name);
        Py_DECREF(name);
        if (files_register(p->sos, p->sosmap, s, s ? ((sos_object *)s)->id : 0, i,
                           "Cannot read SOS from problem") != 0)
            return -1;
    }
    return 0;
}

static int files_read(problem_s *p, const char *filename, const char *options);

/* read and write: the arguments, the library's call made without the
 * interpreter lock and, after a read, the objects made again from what the
 * library now holds. */
static PyObject *
files_transfer(PyObject *self, PyObject *args, PyObject *kwargs, bool reading)
{
    problem_s *p = (problem_s *)self;
    const char *filename = NULL, *options = "";
    PyObject *res = NULL;

    if (reading && problem_registry_empty(p) != 0)
        goto done;
    if (files_args(p, args, kwargs, &filename, &options) != 0)
        goto done;
    if (!reading && problem_is_nonlinear(p) && p->slpprob != NULL && problem_slp_in_use()) {
        if (files_unlocked(QSLPwriteprob, p->slpprob, filename, options) != 0)
            goto done;
    } else if (!reading) {
        if (files_unlocked(QNDAwriteprob, p->prob, filename, options) != 0)
            goto done;
    } else if (files_read(p, filename, options) != 0) {
        goto done;
    }
    res = Py_NewRef(Py_None);
done:
    return quenda_result(self, res);
}

static PyObject *
problem_read(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return files_transfer(self, args, kwargs, true);
}

/* The registry made again from what the library holds.  0, or -1. */
static int
files_reload_objects(problem_s *p)
{
    namechunk nc = {NULL, 0, NULL};
    int ncols = 0, nrows = 0, nsets = 0, rc = -1;

    if (QNDAgetintattrib(p->prob, FILES_ATTR_COLS, &ncols) != 0 ||
        QNDAgetintattrib(p->prob, FILES_ATTR_ROWS, &nrows) != 0 ||
        QNDAgetintattrib(p->prob, FILES_ATTR_SETS, &nsets) != 0)
        goto done;
    if (files_read_items(p, &nc, ncols, files_columns) != 0 ||
        files_read_items(p, &nc, nrows, files_rows) != 0 || files_read_sets(p, &nc, nsets) != 0)
        goto done;
    /* a nonlinear objective read back is the row and column it was written
     * as: ordinary objects now */
    p->nl_obj = 0;
    p->obj_col = p->obj_row = -1;
    objtransfer_forget(p);
    rc = 0;
done:
    qarr_free(&nc.buf);
    return rc;
}

int
problem_registry_reload(PyObject *self)
{
    problem_s *p = (problem_s *)self;
    if (files_reload_objects(p) != 0)
        return -1;
    /* what the library holds is linear or quadratic: nothing is left of a
     * nonlinear part the problem had before */
    if (p->slpprob != NULL) {
        int start0 = 0;
        if (QSLPloadcoefs(p->slpprob, 0, NULL, NULL, NULL, &start0, 1, NULL, NULL) != 0)
            return -1;
    }
    p->n_nlcons = 0;
    return 0;
}

/* read(): the main library's reader, and when the file holds nonlinear
 * sections (the main reader refuses them) the nonlinear library's; then the
 * objects again and the count of nonlinear rows.  0, or -1. */
static int
files_read(problem_s *p, const char *filename, const char *options)
{
    int eq = 0, ineq = 0;
    if (files_unlocked(QNDAreadprob, p->prob, filename, options) == 0)
        return problem_registry_reload((PyObject *)p);
    if (p->slpprob == NULL || !problem_slp_in_use())
        return -1;
    if (files_unlocked(QSLPreadprob, p->slpprob, filename, options) != 0 ||
        files_reload_objects(p) != 0)
        return -1;
    if (QSLPgetintattrib(p->slpprob, FILES_SLP_ATTR_NLEQROWS, &eq) != 0 ||
        QSLPgetintattrib(p->slpprob, FILES_SLP_ATTR_NLINEQROWS, &ineq) != 0)
        return -1;
    p->n_nlcons = eq + ineq;
    return 0;
}

static PyObject *
problem_write(PyObject *self, PyObject *args, PyObject *kwargs)
{
    return files_transfer(self, args, kwargs, false);
}

PyMethodDef problem_files_methods[] = {{"read", (PyCFunction)(void (*)(void))problem_read,
                                        METH_VARARGS | METH_KEYWORDS,
                                        "read(filename, options=''): load a model from a file"},
                                       {"write", (PyCFunction)(void (*)(void))problem_write,
                                        METH_VARARGS | METH_KEYWORDS,
                                        "write(filename, options=''): save the model to a file"},
                                       {NULL, NULL, 0, NULL}};
