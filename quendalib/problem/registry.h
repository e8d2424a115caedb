/* The problem's registry of modelling objects: adding variables,
 * constraints, SOS and indicator constraints in batches, and deleting them
 * with renumbering.  The maps live in problem/maps.h, the batches in
 * problem/batch.h, the deletion in problem/delete.cpp.
 *
 * Invariant kept by every function of the registry: for each kind, the
 * object at list index i has the map entry identity -> i, and the library
 * holds exactly as many columns (rows, sets) as the list has objects
 * (unless the library refused a batch, in which case the batch's objects
 * are taken back out). */
#pragma once

#include <Python.h>

/* Problem methods addVariable, addConstraint, addSOS, addIndicator,
 * delVariable, delConstraint, delSOS; NULL-terminated. */
extern PyMethodDef problem_registry_methods[];
