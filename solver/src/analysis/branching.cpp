// Strong branching and the stability of the optimal basis, both on the LP
// relaxation of the problem.
#include <cmath>

#include "analysis/analysis.h"
#include "core/error.h"
#include "engine/optimise.h"

namespace qnda {
namespace {

FlatModel relaxation(qnda_problem_s &prob) {
  FlatModel m;
  analysis_model(prob, m);
  if (m.has_quadratic()) fail(QNDA_ERR_UNSUPPORTED, "this analysis needs a linear objective");
  return m;
}

}  // namespace

void strong_branch(qnda_problem_s &prob, int n, const int *cols, const char *types,
                   const double *vals, int itrlimit, double *objval, int *status) {
  FlatModel base = relaxation(prob);
  for (int k = 0; k < n; ++k) {
    if (cols[k] < 0 || cols[k] >= base.orig_cols)
      fail(QNDA_ERR_INDEX, "column %d out of range [0, %d)", cols[k], base.orig_cols);
    if (types[k] != 'L' && types[k] != 'U' && types[k] != 'B')
      fail(QNDA_ERR_ARGUMENT, "bound type must be 'L', 'U' or 'B', not '%c'", types[k]);
  }
  EngineSettings s = analysis_settings(prob, false);
  FlatModel parent = base;
  EngineResult root;
  analysis_solve(prob, parent, s, root);
  if (root.status != EngineStatus::Optimal || !root.has_basis)
    fail(QNDA_ERR_STATE, "strong branching needs an optimal LP relaxation");
  EngineStart start;
  start.col_basis = root.col_basis;
  start.row_basis = root.row_basis;
  s.lp_algorithm = 2;  // the dual simplex repairs a bound change from the basis
  s.presolve = 0;
  s.lp_iter_limit = itrlimit > 0 ? itrlimit : 0;
  const double none = base.sense < 0 ? -QNDA_INFINITY : QNDA_INFINITY;
  for (int k = 0; k < n; ++k) {
    FlatModel child = base;
    const int j = cols[k];
    if (types[k] != 'U') child.lb[j] = vals[k];
    if (types[k] != 'L') child.ub[j] = vals[k];
    EngineResult r;
    analysis_solve(prob, child, s, r, start);
    const int st = lp_status_from(r.status);
    if (status) status[k] = st;
    if (objval)
      objval[k] = st == QNDA_LP_INFEAS || st == QNDA_LP_UNSOLVED ? none
                  : st == QNDA_LP_UNBOUNDED                      ? -none
                                                                 : r.objective;
  }
}

double basis_stability(qnda_problem_s &prob, int type, int norm, int scaled) {
  if (type != 0) fail(QNDA_ERR_ARGUMENT, "type must be 0 (the basis), not %d", type);
  if (norm != 1) fail(QNDA_ERR_ARGUMENT, "norm must be 1 (the 1-norm estimate), not %d", norm);
  if (scaled != 0) fail(QNDA_ERR_UNSUPPORTED, "only the unscaled basis is measured (ifscaled 0)");
  FlatModel m = relaxation(prob);
  if (m.has_integers()) fail(QNDA_ERR_UNSUPPORTED, "basis stability needs an LP");
  return engine_basis_condition(m, analysis_settings(prob, false));
}

}  // namespace qnda
