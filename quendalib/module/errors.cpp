/* The one place where a failure of the library becomes a Python exception.
 *
 * Every Python-facing function hands its result to setQndaErrIfNull before
 * returning it.  A NULL result must carry an exception: one already raised
 * by Python code (argument parsing, a conversion, a callback) wins;
 * otherwise the last error that the library recorded on the object the call
 * worked on is raised, as InterfaceError for the global environment and as
 * SolverError for a problem or a branching object. */
#include "module/handles.h"
#include "module/session.h"
#include "module/types.h"
#include "problem/problem.h"

#include "qnda.h"
#include "qslp.h"

#include <string.h>

#define QUENDA_ERRBUF 512

void
setQndaErrIfNull(PyObject *owner, PyObject *result)
{
    char msg[QUENDA_ERRBUF] = {0};
    int code = 0;

    if (result != NULL || PyErr_Occurred())
        return;

    if (owner == NULL || PyModule_Check(owner)) {
        QNDA_ge_getlasterror(&code, msg, sizeof msg, NULL);
        msg[QUENDA_ERRBUF - 1] = '\0';
        if (code == 0 && msg[0] == '\0')
            strcpy(msg, "Unidentified error associated with the global environment");
        PyErr_SetString(quenda_InterfaceError, msg);
    } else if (PyObject_TypeCheck(owner, &quenda_problemType)) {
        problem_s *p = (problem_s *)owner;
        if (p->prob != NULL)
            QNDAgetlasterror(p->prob, &code, msg, sizeof msg, NULL);
        msg[QUENDA_ERRBUF - 1] = '\0';
        if (msg[0] == '\0' && qnda_py_env.slp_state != 0 && p->slpprob != NULL) {
            code = 0;
            QSLPgetlasterror(p->slpprob, &code, msg, sizeof msg, NULL);
            msg[QUENDA_ERRBUF - 1] = '\0';
        }
        if (code == 0 && msg[0] == '\0')
            strcpy(msg, "Unidentified error associated with optimization problem");
        PyErr_SetString(quenda_SolverError, msg);
    } else if (PyObject_TypeCheck(owner, &quenda_branchobjType)) {
        branchobj_getlasterror(owner, &code, msg, sizeof msg);
        msg[QUENDA_ERRBUF - 1] = '\0';
        if (code == 0 && msg[0] == '\0')
            strcpy(msg, "Unidentified error associated with a branching object");
        PyErr_SetString(quenda_SolverError, msg);
    } else {
        PyErr_SetString(quenda_InterfaceError, "");
    }
}

PyObject *
quendamod_getlasterror(PyObject *self, PyObject *noargs)
{
    char msg[1024] = {0};
    int code = 0;
    PyObject *res = NULL;

    if (turnQNDAon(0) != 0)
        goto done;
    if (QNDA_ge_getlasterror(&code, msg, sizeof msg, NULL) != 0)
        goto done;
    msg[sizeof msg - 1] = '\0';
    res = Py_BuildValue("(is)", code, msg);
done:
    setQndaErrIfNull(NULL, res);
    return res;
}
