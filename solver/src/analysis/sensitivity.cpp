// Sensitivity ranges of an LP at its optimal basis, from the engine's
// ranging.  Infinite ends come back as +-QNDA_INFINITY.
#include <cmath>

#include "analysis/analysis.h"
#include "core/error.h"

namespace qnda {
namespace {

void ranging_of(qnda_problem_s &prob, EngineRanging &rg) {
  FlatModel m;
  analysis_model(prob, m);
  if (m.has_integers())
    fail(QNDA_ERR_UNSUPPORTED, "ranging needs an LP; the problem has discrete columns");
  if (m.has_quadratic())
    fail(QNDA_ERR_UNSUPPORTED, "ranging needs an LP; the objective is quadratic");
  engine_lp_ranging(m, analysis_settings(prob, false), rg);
}

double finite(double v) {
  if (std::isinf(v) || std::fabs(v) >= QNDA_INFINITY) return v > 0 ? QNDA_INFINITY : -QNDA_INFINITY;
  return v;
}

}  // namespace

void objective_ranges(qnda_problem_s &prob, int n, const int *cols, double *lower, double *upper) {
  const int ncols = prob.model.ncols();
  for (int k = 0; k < n; ++k)
    if (cols[k] < 0 || cols[k] >= ncols)
      fail(QNDA_ERR_INDEX, "column %d out of range [0, %d)", cols[k], ncols);
  EngineRanging rg;
  ranging_of(prob, rg);
  // The engine ranges the minimisation it solves; a maximisation's
  // coefficients were not negated, so its ranges read the same.
  for (int k = 0; k < n; ++k) {
    if (lower) lower[k] = finite(rg.cost_lo[cols[k]]);
    if (upper) upper[k] = finite(rg.cost_up[cols[k]]);
  }
}

void rhs_ranges(qnda_problem_s &prob, int n, const int *rows, double *lower, double *upper) {
  const int nrows = prob.model.nrows();
  for (int k = 0; k < n; ++k)
    if (rows[k] < 0 || rows[k] >= nrows)
      fail(QNDA_ERR_INDEX, "row %d out of range [0, %d)", rows[k], nrows);
  EngineRanging rg;
  ranging_of(prob, rg);
  for (int k = 0; k < n; ++k) {
    if (lower) lower[k] = finite(rg.rhs_lo[rows[k]]);
    if (upper) upper[k] = finite(rg.rhs_up[rows[k]]);
  }
}

}  // namespace qnda
