// What the last optimisation left on a problem: statuses, objective values,
// solution vectors, basis, counters.  Engine-neutral; filled by the engine
// adapters (engine/), read by the attribute getters and the result calls.
#pragma once

#include "qnda.h"

struct qnda_problem_s;

namespace qnda {

struct SolveState {
  // Any change to the model makes the previous results stale.
  void invalidate() {}
};

// Values of the solve-related attributes (statuses, objective values,
// iterations ...).  Return false when id is not one of them.
bool solve_int_attrib(const qnda_problem_s &prob, int id, QNDAint64 *value);
bool solve_dbl_attrib(const qnda_problem_s &prob, int id, double *value);

}  // namespace qnda
