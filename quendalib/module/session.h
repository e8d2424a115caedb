/* The base of the module: the process-wide session record, the shared
 * globals, the exceptions and the way errors are raised.  This is the door
 * of module/ for the other folders (it brings the type objects and the
 * handle constructors along); module/npy.h is included on its own, as each
 * file that uses NumPy must say so before including it.
 *
 * Nothing here includes a header of a higher layer.  What the base needs
 * of one is filled in at module initialisation: the hook called when the
 * session opens, and the sources of library errors below. */
#pragma once

#include <Python.h>
#include <stdint.h>

#include "module/handles.h"
#include "module/types.h"

typedef struct {
    uint32_t varcounter;     /* next var identity number, from 1 */
    uint32_t concounter;     /* next constraint identity number, from 1 */
    uint32_t soscounter;     /* next SOS identity number, from 1 */
    PyObject *ctrl;          /* owned: module-level quenda.control object */
    PyObject *ctrl_desc;     /* owned dict: control name -> (id, type, slp flag) */
    PyObject *attr_desc;     /* owned dict: attribute name -> (id, type, slp flag) */
    PyObject *ctrl_defaults; /* owned dict: control name -> user default value */
    PyObject *msghandlers;   /* owned list of [callback, data] */
    int initialized;         /* 1 while the library session is open */
    int slp_state;           /* -1 untried, 1 nonlinear library in use, 0 not */
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
/* Called by turnQNDAon while the control and attribute descriptions are
 * still empty (set by the problem layer).  0, or -1 with an exception set. */
extern int (*quenda_session_open_hook)(void);

/* Makes sure a NULL result carries an exception (see module/errors.cpp).
 * owner: the problem or branching object the call used, the module, or NULL
 * for the global environment. */
void setQndaErrIfNull(PyObject *owner, PyObject *result);
/* The same, handing the result back: the last line of a Python-facing call. */
inline PyObject *
quenda_result(PyObject *owner, PyObject *result)
{
    setQndaErrIfNull(owner, result);
    return result;
}

/* f(tmp) with tmp (a new reference, or NULL for an error already raised)
 * released after; NULL when tmp is. */
template<class F>
inline PyObject *
quenda_then_drop(PyObject *tmp, F f)
{
    if (tmp == NULL)
        return NULL;
    PyObject *res = f(tmp);
    Py_DECREF(tmp);
    return res;
}

/* d[key] = value, value released either way (NULL is an error already
 * raised); 0, or -1 with an exception set. */
inline int
quenda_dict_put(PyObject *d, PyObject *key, PyObject *value)
{
    if (value == NULL)
        return -1;
    int rc = PyDict_SetItem(d, key, value);
    Py_DECREF(value);
    return rc;
}

/* A new object when its last field was filled (ok), else NULL with the
 * object released: the end of a constructor. */
inline PyObject *
quenda_keep_if(PyObject *obj, bool ok)
{
    if (!ok) {
        Py_DECREF(obj);
        return NULL;
    }
    return obj;
}

/* Last error recorded on an owner's library handle: writes the code and up
 * to maxbytes of message (zero-terminated). */
typedef void (*quenda_lasterror_fn)(PyObject *owner, int *code, char *msg, int maxbytes);
/* Makes setQndaErrIfNull raise, for an owner of the type, SolverError with
 * the owner's last error, or with unidentified (a static string) when none
 * was recorded.  Called by the layers that define such owners at module
 * initialisation.  0, or -1 with RuntimeError when the table is full. */
int quenda_add_error_source(PyTypeObject *type, quenda_lasterror_fn lasterror,
                            const char *unidentified);

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
