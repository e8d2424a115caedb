/* Stand-ins for the aggregate and nonlinear module functions and the NumPy
 * comparison hook, until their real implementations land; this file goes
 * away then. */
#include "algebra/aggregates.h"
#include "algebra/functions.h"
#include "algebra/npcompare.h"

static PyObject *
pending(void)
{
    PyErr_SetString(PyExc_NotImplementedError, "not available yet");
    return NULL;
}

#define PENDING1(name) PyObject *name(PyObject *, PyObject *) { return pending(); }
#define PENDING2(name) PyObject *name(PyObject *, PyObject *, PyObject *) { return pending(); }
PENDING1(quendamod_Sum)
PENDING1(quendamod_Prod)
PENDING2(quendamod_Dot)
PENDING2(quendamod_vars)
PENDING1(quendamod_sin)
PENDING1(quendamod_cos)
PENDING1(quendamod_tan)
PENDING1(quendamod_asin)
PENDING1(quendamod_acos)
PENDING1(quendamod_atan)
PENDING1(quendamod_exp)
PENDING1(quendamod_log)
PENDING1(quendamod_log10)
PENDING1(quendamod_abs)
PENDING1(quendamod_sqrt)
PENDING1(quendamod_sign)
PENDING1(quendamod_erf)
PENDING1(quendamod_erfc)
PENDING2(quendamod_max)
PENDING2(quendamod_min)
PENDING2(quendamod_user)

int quenda_numpy_compare_install(void) { return 0; }
void quenda_numpy_compare_restore(void) {}
