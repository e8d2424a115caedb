// The callbacks of a nonlinear problem (QSLPsetcb<kind>): one slot per kind,
// and the calls that fire them from the solve.  Every fire function is a
// no-op when the slot is empty, and may run on any thread.
#pragma once

#include <functional>

#include "nonlinear/nlp_data.h"
#include "nonlinear/slp_state.h"

struct qslp_problem_s;

namespace qnda {

// The event kinds (QSLPcb_event): their return value.
int slp_cb_event(const qslp_problem_s &p, SlpCbKind k);
// itervar, cascadevar, cascadevarfail.
int slp_cb_column(const qslp_problem_s &p, SlpCbKind k, int col);
int slp_cb_coefevalerror(const qslp_problem_s &p, int row, int col);
// The value the drcol callback gives a determined column (value itself
// without one); nonzero return stops.
int slp_cb_drcol(const qslp_problem_s &p, int col, double value, double lb, double ub,
                 double &newvalue);
// The formula callback's value at arg; NaN when there is none or it failed.
double slp_cb_formula(const qslp_problem_s &p, double arg);
// msjobstart / msjobend: the status the callback leaves (0 without one).
int slp_cb_msjob(const qslp_problem_s &p, SlpCbKind k, void *job, const char *description);
void slp_cb_mswinner(const qslp_problem_s &p, void *job, const char *description);

// The hooks of an SLP solve for the problem's callbacks.  publish (may be
// empty) receives each accepted iterate before iterend fires, so that the
// callbacks can read it.
SlpHooks slp_callback_hooks(qslp_problem_s &p, std::function<void(const double *)> publish);

}  // namespace qnda
