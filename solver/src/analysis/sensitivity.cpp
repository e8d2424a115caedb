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

}  // namespace qnda
