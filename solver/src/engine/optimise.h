// One optimisation of a problem: controls to engine settings, the model to a
// FlatModel, the engine run with interruption (QNDAinterrupt, SIGINT) and
// log routing, and the results mapped back onto the problem's SolveState.
#pragma once

#include "engine/engine.h"

struct qnda_problem_s;

namespace qnda {

// The QNDA_LP_* status an LP solve ending in s leaves.
int lp_status_from(EngineStatus s);

// Basis statuses of the library (QNDA_AT_LOWER ... on columns, and on the
// slacks of rows of the given type) as the engine takes them.
BasisStat row_stat_to_engine(int s, char type);
BasisStat col_stat_to_engine(int s);

// mip: QNDAmipoptimize (else QNDAlpoptimize).  Throws qnda::Error; an
// infeasible, unbounded or stopped solve is not an error.
void optimise(qnda_problem_s &prob, bool mip, const char *flags);

// The SIGINT hand-over for the length of an optimisation: the handler only
// counts signals.  Nested and concurrent optimisations share one
// installation.
class SigintScope {
 public:
  SigintScope();
  ~SigintScope();
  SigintScope(const SigintScope &) = delete;
  SigintScope &operator=(const SigintScope &) = delete;
  // True when SIGINT arrived since this scope began.
  bool fired() const;

 private:
  unsigned start_;
};

}  // namespace qnda
