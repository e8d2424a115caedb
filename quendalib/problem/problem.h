/* The door of the problem layer: what other folders use of quenda.problem,
 * one optimisation model, its library handles and the registry of the
 * modelling objects added to it.  The files of the layer include the
 * headers of their parts (and problem/object.h for the record) instead. */
#pragma once

#include <Python.h>

#include "problem/alloc.h"
#include "problem/attribute.h"
#include "problem/conv.h"
#include "problem/control.h"
#include "problem/files.h"
#include "problem/maps.h"
#include "problem/object.h"
#include "problem/pickle.h"
#include "problem/split.h"

/* Bare instance: handles NULL, callbacks empty, counters initial.  New
 * reference, or NULL. */
PyObject *problem_alloc(void);
/* problem_alloc plus empty lists and fresh controls and attributes.  New
 * reference, or NULL with an exception set. */
PyObject *problem_new(void);

/* Adds a table of problem methods from a layer above (its init calls this
 * before the type is readied); the table must live as long as the module.
 * 0, or -1 with an exception set. */
int problem_add_methods(PyMethodDef *table);

/* Copies the callbacks of src to dst (set by the callback layer; NULL until
 * then).  0, or -1 with an exception set. */
extern int (*problem_copy_callbacks_hook)(problem_s *dst, problem_s *src);

/* Gathers the type's method table from the problem's parts, readies the
 * type and puts its methods under the busy guard (problem/busy.cpp); call
 * after the tables of the layers above are added.  0, or -1 with an
 * exception set. */
int problem_type_prepare(void);

/* Fills in what lower layers call through hooks (the session's description
 * fill, the problem's source of library errors).  Called once by the
 * module init before anything else of the layer.  0, or -1. */
int problem_layer_init(void);
