/* quenda.SOS: a special ordered set of type 1 or 2 over a list of variables
 * with one weight each.  The lists are the caller's own (shared, not copied);
 * their lengths and items are checked when the set is added to a problem. */
#pragma once

#include <Python.h>
#include <stdint.h>

#include "module/types.h"

typedef struct {
    PyObject_HEAD
    uint32_t id;       /* identity number, from the session's SOS counter */
    PyObject *name;    /* owned; "sos%d" unless given */
    int8_t type;       /* 1 or 2 */
    PyObject *indices; /* owned list of variables */
    PyObject *weights; /* owned list of weights, same order */
} sos_object;

#define SOS_CHECK(o) PyObject_TypeCheck((o), &quenda_SOSType)
