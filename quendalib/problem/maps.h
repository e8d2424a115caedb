/* The identity maps of a problem's registry: var, constraint and SOS
 * identity -> column, row and set index.
 *
 * Invariant kept by the registry: for each kind, the object at list index i
 * has the map entry identity -> i. */
#pragma once

#include <Python.h>

#include "algebra/maps.h"
#include "problem/object.h"

/* The three identity maps, created when missing.  0, or -1 with ModelError
 * "Could not create problem maps". */
int problem_maps_ensure(problem_s *p);
/* Frees the maps (for dealloc). */
void problem_maps_free(problem_s *p);
/* Empties the maps (for reset). */
void problem_maps_clear(problem_s *p);
/* Fresh empty lists and emptied maps in place of the registry (new
 * problem, reset, reading a file).  0, or -1 with ModelError "Could not
 * create problem maps". */
int problem_registry_empty(problem_s *p);
/* Replaces dst's maps by copies of src's.  0, or -1 with ModelError. */
int problem_maps_copy(problem_s *dst, problem_s *src);

/* Marks the problem's registry as being changed for the length of a call
 * that may run Python code (a walk of a generator); a nested change of the
 * same problem is refused.  enter: 0, or -1 with ModelError "Cannot change
 * the problem while objects are being added to it or deleted from it";
 * every successful enter needs its leave.  For read(), reset() and the like
 * as well as the add and delete methods. */
int problem_registry_enter(problem_s *p);
void problem_registry_leave(problem_s *p);

/* To be called by any code that changes a variable map directly (reading a
 * model file ...). */
void problem_varmap_changed(void);
/* Count of such changes, so that a column table cached over a long call can
 * tell that it went stale. */
unsigned long problem_varmap_epoch(void);

#define PROBLEM_VARMAP(p) ((rowcolmap *)(p)->varmap)
#define PROBLEM_CONMAP(p) ((rowcolmap *)(p)->conmap)
#define PROBLEM_SOSMAP(p) ((rowcolmap *)(p)->sosmap)

/* Index of identity id in a map (may be NULL): 0 and *index, or -1 (no
 * exception) when it is not there. */
int problem_map_index(void *map, uint32_t id, int *index);
/* Solver index of an object of the problem: 0 and *index, or -1 (no
 * exception) when it is not in the problem. */
int problem_var_index(problem_s *p, PyObject *var, int *index);
int problem_con_index(problem_s *p, PyObject *con, int *index);
int problem_sos_index(problem_s *p, PyObject *sos, int *index);
