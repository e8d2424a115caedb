/* SIGINT hand-over around optimisation calls.
 *
 * While the library optimises, Ctrl-C must stop the optimisation (stop
 * reason stop_ctrlc) rather than raise KeyboardInterrupt in an interpreter
 * that is not running.  Just before the library call the interpreter's
 * handler is put aside and the default action installed, which the library
 * replaces with its own handling; just after, the interpreter's handler goes
 * back.  Only the handler is swapped: the mask and flags in force at each
 * call are kept. */
#include "module/session.h"

#include <signal.h>
#include <string.h>

static struct sigaction quenda_sigint_action;       /* scratch record of the swaps */
static void (*quenda_saved_handler)(int) = SIG_DFL; /* the interpreter's */
static int quenda_sigint_busy;

/* Puts handler in place of the current SIGINT handler, keeping the mask
 * and flags; *old (when not NULL) receives the handler replaced. */
static int
quenda_sigint_swap(void (*handler)(int), void (**old)(int))
{
    int rc;

    quenda_sigint_busy = 1;
    rc = sigaction(SIGINT, NULL, &quenda_sigint_action);
    if (rc == 0) {
        if (old != NULL)
            *old = quenda_sigint_action.sa_handler;
        quenda_sigint_action.sa_handler = handler;
        rc = sigaction(SIGINT, &quenda_sigint_action, NULL);
    }
    quenda_sigint_busy = 0;
    return rc;
}

int
setSigIntHandler(void)
{
    return quenda_sigint_swap(SIG_DFL, &quenda_saved_handler);
}

int
resetSigIntHandler(void)
{
    return quenda_sigint_swap(quenda_saved_handler, NULL);
}

/* Test hook: hands SIGINT over and back as a solve does, and reports
 * (rc of setSigIntHandler, whether the default action was in force between
 * the two, rc of resetSigIntHandler).  New reference. */
PyObject *
quendamod__sigint_roundtrip(PyObject *self, PyObject *noargs)
{
    struct sigaction between;
    int rc_set, rc_reset, was_default = 0;

    rc_set = setSigIntHandler();
    if (sigaction(SIGINT, NULL, &between) == 0)
        was_default = between.sa_handler == SIG_DFL;
    rc_reset = resetSigIntHandler();
    return Py_BuildValue("(iOi)", rc_set, was_default ? Py_True : Py_False, rc_reset);
}
