/* The table of nonlinear hooks (see nlhooks.h). */
#include "problem/nlhooks.h"

#include "module/session.h"

problem_nl_hooks_t problem_nl_hooks = {NULL};

static int
nl_unavailable(problem_s *p)
{
    if (p->slpprob == NULL || problem_nl_hooks.add_row_part == NULL) {
        PyErr_SetString(quenda_ModelError, "The nonlinear solver is not available");
        return -1;
    }
    return 0;
}

int
problem_nl_add(problem_s *p, int row, PyObject *node)
{
    return nl_unavailable(p) != 0 ? -1 : problem_nl_hooks.add_row_part(p, row, node);
}
