/* The identity maps of a problem's registry and the guard against nested
 * changes of it (see maps.h). */
#include "problem/maps.h"

#include "algebra/constraint.h"
#include "algebra/sos.h"
#include "algebra/var.h"
#include "module/session.h"
#include "problem/conbody.h"

/* Bumped whenever a variable map changes through the registry, so that a
 * column table cached by a long addConstraint is dropped if Python code run
 * by the walk (a generator) added or deleted variables. */
static unsigned long reg_varmap_epoch;

void
problem_varmap_changed(void)
{
    reg_varmap_epoch++;
}

unsigned long
problem_varmap_epoch(void)
{
    return reg_varmap_epoch;
}

int
problem_maps_ensure(problem_s *p)
{
    if (p->varmap == NULL)
        p->varmap = rowcolmap_new();
    if (p->conmap == NULL)
        p->conmap = rowcolmap_new();
    if (p->sosmap == NULL)
        p->sosmap = rowcolmap_new();
    if (p->varmap == NULL || p->conmap == NULL || p->sosmap == NULL) {
        PyErr_SetString(quenda_ModelError, "Could not create problem maps");
        return -1;
    }
    return 0;
}

void
problem_maps_free(problem_s *p)
{
    problem_varmap_changed();
    rowcolmap_free((rowcolmap **)&p->varmap);
    rowcolmap_free((rowcolmap **)&p->conmap);
    rowcolmap_free((rowcolmap **)&p->sosmap);
}

void
problem_maps_clear(problem_s *p)
{
    problem_varmap_changed();
    if (p->varmap != NULL)
        rowcolmap_clear(PROBLEM_VARMAP(p));
    if (p->conmap != NULL)
        rowcolmap_clear(PROBLEM_CONMAP(p));
    if (p->sosmap != NULL)
        rowcolmap_clear(PROBLEM_SOSMAP(p));
}

int
problem_maps_copy(problem_s *dst, problem_s *src)
{
    void **d[3] = {&dst->varmap, &dst->conmap, &dst->sosmap};
    problem_varmap_changed();
    void *s[3] = {src->varmap, src->conmap, src->sosmap};
    int k;
    for (k = 0; k < 3; k++) {
        rowcolmap *m = s[k] != NULL ? rowcolmap_copy((rowcolmap *)s[k]) : rowcolmap_new();
        if (m == NULL) {
            PyErr_SetString(quenda_ModelError, "Could not create problem maps");
            return -1;
        }
        rowcolmap_free((rowcolmap **)d[k]);
        *d[k] = m;
    }
    return 0;
}

int
problem_registry_empty(problem_s *p)
{
    /* while the rows can still answer */
    conbody_from_rows(p, p->cons, NULL, 0);
    Py_XSETREF(p->vars, PyList_New(0));
    Py_XSETREF(p->cons, PyList_New(0));
    Py_XSETREF(p->sos, PyList_New(0));
    if (p->vars == NULL || p->cons == NULL || p->sos == NULL) {
        PyErr_Clear();
        PyErr_SetString(quenda_ModelError, "Could not create problem maps");
        return -1;
    }
    if (problem_maps_ensure(p) != 0)
        return -1;
    problem_maps_clear(p);
    return 0;
}

int
problem_map_index(void *map, uint32_t id, int *index)
{
    uint32_t v;
    if (map == NULL || rowcolmap_get((rowcolmap *)map, id, &v) != 0)
        return -1;
    *index = (int)v;
    return 0;
}

int
problem_var_index(problem_s *p, PyObject *var, int *index)
{
    return problem_map_index(p->varmap, VAR_ID(var), index);
}

int
problem_con_index(problem_s *p, PyObject *con, int *index)
{
    return problem_map_index(p->conmap, ((constraint_object *)con)->id, index);
}

int
problem_sos_index(problem_s *p, PyObject *sos, int *index)
{
    return problem_map_index(p->sosmap, ((sos_object *)sos)->id, index);
}

/* ------------------------------------------------------------------ */
/* One change of a registry at a time                                    */

/* A walk runs Python code (generators, __iter__), which could call back
 * into the registry of the problem being filled; the batch in hand would
 * then refer to stale indices.  Problems in the middle of an add or delete
 * are listed here and refuse such nested calls. */
#define REG_MAXBUSY 16
static problem_s *reg_busy[REG_MAXBUSY];

int
problem_registry_enter(problem_s *p)
{
    int k, free_slot = -1;
    for (k = 0; k < REG_MAXBUSY; k++) {
        if (reg_busy[k] == p) {
            PyErr_SetString(quenda_ModelError,
                            "Cannot change the problem while objects are being added to it or "
                            "deleted from it");
            return -1;
        }
        if (reg_busy[k] == NULL && free_slot < 0)
            free_slot = k;
    }
    if (free_slot >= 0)
        reg_busy[free_slot] = p;
    return 0;
}

void
problem_registry_leave(problem_s *p)
{
    int k;
    for (k = 0; k < REG_MAXBUSY; k++)
        if (reg_busy[k] == p)
            reg_busy[k] = NULL;
}
