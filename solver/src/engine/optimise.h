// One optimisation of a problem: controls to engine settings, the model to a
// FlatModel, the engine run with interruption (QNDAinterrupt, SIGINT) and
// log routing, and the results mapped back onto the problem's SolveState.
#pragma once

#include "engine/engine.h"

struct qnda_problem_s;

namespace qnda {

// The QNDA_LP_* status an LP solve ending in s leaves, and the
// QNDA_MIP_* status of a search.
int lp_status_from(EngineStatus s);
int mip_status_from(EngineStatus s, bool has_solution);
// The QNDA_STOP_* status of an optimisation ending in s.
int stop_status_from(EngineStatus s, int interrupt_reason);

// Library basis statuses from the engine's (a row's depend on its type).
int row_stat_from_engine(BasisStat b, char type);
int col_stat_from_engine(BasisStat b);
// The engine's result r, on the model's own rows and columns, into st.
void fill_results(const Model &model, const EngineResult &r, bool rows_rewritten, SolveState &st);

// Basis statuses of the library (QNDA_AT_LOWER ... on columns, and on the
// slacks of rows of the given type) as the engine takes them.
BasisStat row_stat_to_engine(int s, char type);
BasisStat col_stat_to_engine(int s);

// The settings of an optimisation from the problem's controls and flags;
// presolve_only tells whether the flags hold 'P'.  Throws on a bad flag.
EngineSettings optimise_settings(const qnda_problem_s &prob, bool mip, const char *flags,
                                 bool &presolve_only);

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
