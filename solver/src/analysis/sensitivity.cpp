// Sensitivity ranges of an LP at its optimal basis, from the engine's
// ranging.  Infinite ends come back as +-QNDA_INFINITY.
#include <algorithm>
#include <cmath>

#include "analysis/analysis.h"
#include "core/error.h"

namespace qnda {
namespace {

FlatModel lp_of(qnda_problem_s &prob) {
  FlatModel m;
  analysis_model(prob, m);
  if (m.has_integers())
    fail(QNDA_ERR_UNSUPPORTED, "ranging needs an LP; the problem has discrete columns");
  if (m.has_quadratic())
    fail(QNDA_ERR_UNSUPPORTED, "ranging needs an LP; the objective is quadratic");
  return m;
}

void ranging_of(qnda_problem_s &prob, EngineRanging &rg) {
  engine_lp_ranging(lp_of(prob), analysis_settings(prob, false), rg);
}

double finite(double v) {
  if (std::isinf(v) || std::fabs(v) >= QNDA_INFINITY) return v > 0 ? QNDA_INFINITY : -QNDA_INFINITY;
  return v;
}

}  // namespace

namespace {

// The ranges of n columns (rows false) or rows into lower and upper.
void ranges(qnda_problem_s &prob, bool rows, int n, const int *ind, double *lower, double *upper) {
  const int count = rows ? prob.model.nrows() : prob.model.ncols();
  for (int k = 0; k < n; ++k)
    if (ind[k] < 0 || ind[k] >= count)
      fail(QNDA_ERR_INDEX, "%s %d out of range [0, %d)", rows ? "row" : "column", ind[k], count);
  EngineRanging rg;
  ranging_of(prob, rg);
  // The engine ranges the problem in its own sense, as the user gave it.
  const std::vector<double> &lo = rows ? rg.rhs_lo : rg.cost_lo;
  const std::vector<double> &up = rows ? rg.rhs_up : rg.cost_up;
  for (int k = 0; k < n; ++k) {
    if (lower) lower[k] = finite(lo[ind[k]]);
    if (upper) upper[k] = finite(up[ind[k]]);
  }
}

}  // namespace

void objective_ranges(qnda_problem_s &prob, int n, const int *cols, double *lower, double *upper) {
  ranges(prob, false, n, cols, lower, upper);
}

void rhs_ranges(qnda_problem_s &prob, int n, const int *rows, double *lower, double *upper) {
  ranges(prob, true, n, rows, lower, upper);
}

// The optimal value as a function of a row's right-hand side is convex
// piecewise linear (for a minimisation); its slopes on either side of the
// current value bound every optimal dual of the row.  Within the row's
// range the basis, hence the dual, stays; just past each end a dual simplex
// solve from the optimal basis finds the next basis and its dual.
void row_dual_ranges(qnda_problem_s &prob, int n, const int *rows, int itrlimit, double *mindual,
                     double *maxdual) {
  const int count = prob.model.nrows();
  for (int k = 0; k < n; ++k)
    if (rows[k] < 0 || rows[k] >= count)
      fail(QNDA_ERR_INDEX, "row %d out of range [0, %d)", rows[k], count);
  const FlatModel base = lp_of(prob);
  EngineSettings s = analysis_settings(prob, false);
  FlatModel copy = base;
  EngineResult root;
  analysis_solve(prob, copy, s, root);
  if (root.status != EngineStatus::Optimal || !root.has_basis || !root.has_dual)
    fail(QNDA_ERR_STATE, "dual ranges need an optimal LP (the LP is %s)",
         root.status == EngineStatus::Infeasible ? "infeasible" : "not solved to optimality");
  EngineRanging rg;
  engine_lp_ranging(base, s, rg);
  EngineStart start;
  start.col_basis = root.col_basis;
  start.row_basis = root.row_basis;
  s.lp_algorithm = 2;
  s.presolve = 0;
  s.lp_iter_limit = itrlimit > 0 ? itrlimit : 0;
  for (int k = 0; k < n; ++k) {
    const int i = rows[k];
    double lo = root.row_dual[i], hi = lo;
    // The side that binds: both of an equality, else the nearer finite one.
    const double act = root.row_activity[i];
    const bool eq = base.rowlo[i] == base.rowup[i];
    const bool upper = eq || std::isinf(base.rowlo[i]) ||
                       (!std::isinf(base.rowup[i]) &&
                        std::fabs(base.rowup[i] - act) <= std::fabs(act - base.rowlo[i]));
    for (int side = -1; side <= 1; side += 2) {
      const double end = side < 0 ? rg.rhs_lo[i] : rg.rhs_up[i];
      if (std::isinf(end)) continue;  // the dual holds that way without end
      const double at = end + side * 1e-4 * (1.0 + std::fabs(end));
      FlatModel child = base;
      if (upper) child.rowup[i] = at;
      if (eq || !upper) child.rowlo[i] = at;
      EngineResult r;
      analysis_solve(prob, child, s, r, start);
      double y;
      if (r.status == EngineStatus::Optimal && r.has_dual)
        y = r.row_dual[i];
      else
        y = side * base.sense > 0 ? QNDA_INFINITY : -QNDA_INFINITY;  // no slope known that way
      lo = std::min(lo, y);
      hi = std::max(hi, y);
    }
    if (mindual) mindual[k] = finite(lo);
    if (maxdual) maxdual[k] = finite(hi);
  }
}

}  // namespace qnda
