/* The process-wide session record and the module's shared globals. */
#pragma once

#include <Python.h>
#include <stdint.h>

typedef struct {
    uint32_t varcounter;      /* next var identity number, from 1 */
    uint32_t concounter;      /* next constraint identity number, from 1 */
    uint32_t soscounter;      /* next SOS identity number, from 1 */
    PyObject *ctrl;           /* owned: module-level quenda.control object */
    PyObject *ctrl_desc;      /* owned dict: control name -> (id, type, slp flag) */
    PyObject *attr_desc;      /* owned dict: attribute name -> (id, type, slp flag) */
    PyObject *ctrl_defaults;  /* owned dict: control name -> user default value */
    PyObject *msghandlers;    /* owned list of [callback, data] */
    int initialized;          /* 1 while the library session is open */
    int slp_state;            /* -1 untried, 1 nonlinear library in use, 0 not */
} qnda_py_env_t;

extern qnda_py_env_t qnda_py_env;

/* Exceptions (owned for the life of the process). */
extern PyObject *quenda_ModelError;
extern PyObject *quenda_InterfaceError;
extern PyObject *quenda_SolverError;

/* Busy flags documenting the critical sections of the record; the
 * interpreter lock is what actually serialises them. */
extern int quenda_env_busy;
extern int quenda_desc_busy;

/* Opens the library session; 0, or non-zero with an exception set. */
int turnQNDAon(int force);
/* Ends it; 0, or -1 with an exception set. */
int turnQNDAoff(int force);

/* Makes sure a NULL result carries an exception (see module/errors.cpp).
 * owner: the problem or branching object the call used, the module, or NULL
 * for the global environment. */
void setQndaErrIfNull(PyObject *owner, PyObject *result);

/* SIGINT hand-over around optimisation calls; both return sigaction's result. */
int setSigIntHandler(void);
int resetSigIntHandler(void);

/* ------------------------------------------------------------------ */
/* Module-level functions of the session, errors and message handlers
 * (module/session.cpp, errors.cpp, msghandler.cpp).  Each returns a new
 * reference, or NULL with an exception set. */
PyObject *quendamod_init(PyObject *self, PyObject *noargs);
PyObject *quendamod_free(PyObject *self, PyObject *noargs);
PyObject *quendamod_getbanner(PyObject *self, PyObject *args, PyObject *kwargs);
PyObject *quendamod_getversion(PyObject *self, PyObject *noargs);
PyObject *quendamod_getlasterror(PyObject *self, PyObject *noargs);
PyObject *quendamod_setcheckedmode(PyObject *self, PyObject *args, PyObject *kwargs);
PyObject *quendamod_getcheckedmode(PyObject *self, PyObject *noargs);
PyObject *quendamod_setdefaultcontrol(PyObject *self, PyObject *args, PyObject *kwargs);
PyObject *quendamod_setdefaults(PyObject *self, PyObject *noargs);
PyObject *quendamod_addcbmsghandler(PyObject *self, PyObject *args, PyObject *kwargs);
PyObject *quendamod_removecbmsghandler(PyObject *self, PyObject *args, PyObject *kwargs);

/* Unregisters every module-level message handler from the library and
 * empties the handler list (module teardown). */
void quenda_msghandlers_clear(void);

/* The named constants of the module (module/constants.cpp); 0 or -1. */
int quenda_add_constants(PyObject *module);

#if PY_VERSION_HEX < 0x030A0000
static inline PyObject *
Py_NewRef(PyObject *o)
{
    Py_INCREF(o);
    return o;
}
#endif

/* Test hook of the SIGINT hand-over (module/signals.cpp). */
PyObject *quendamod__sigint_roundtrip(PyObject *self, PyObject *noargs);
