// MIP solutions: polishing one with its discrete part fixed, and fixing
// the discrete columns of the model at the problem's solution.  Also the
// user's scaling, whose factors the engine layer applies at each solve.
#include <algorithm>
#include <cmath>

#include "analysis/analysis.h"
#include "core/error.h"
#include "engine/userscale.h"

namespace qnda {
namespace {

enum RefineStatus { REFINED = 0, FIXED_INFEASIBLE, NOT_INTEGRAL, FIXED_UNBOUNDED, STOPPED };

bool integral_kind(char t) { return t == 'I' || t == 'B' || t == 'R'; }

const std::vector<double> &solution_of(const qnda_problem_s &prob) {
  const SolveState &st = prob.solve;
  if (!st.has_solution || static_cast<int>(st.x.size()) != prob.model.ncols())
    fail(QNDA_ERR_STATE, "the problem has no solution (solve it first)");
  return st.x;
}

}  // namespace

int refine_mip_sol(qnda_problem_s &prob, int options, const char *flags, const double *solution,
                   double *refined) {
  if (options & ~QNDA_REFINE_ROUND)
    fail(QNDA_ERR_ARGUMENT, "unknown options %d (known: %d round)", options, QNDA_REFINE_ROUND);
  const Model &model = prob.model;
  const int n = model.ncols();
  std::vector<double> x =
      solution ? std::vector<double>(solution, solution + n) : solution_of(prob);
  if (refined) std::copy(x.begin(), x.end(), refined);
  FlatModel m;
  analysis_model(prob, m);
  EngineSettings s = analysis_settings(prob, false);
  lp_algorithm_flags(flags, s);
  const double tol = prob.controls.get_dbl(QNDA_MIPTOL);
  const bool round = options & QNDA_REFINE_ROUND;
  // The user's discrete columns become fixed continuous ones; a
  // semi-continuous column away from 0 keeps its range above the threshold.
  for (int j = 0; j < n; ++j) {
    const char t = model.coltype()[j];
    if (t == 'C') continue;
    double v = x[j];
    const bool whole = integral_kind(t) || (t == 'P' && v < model.limit(j) - tol);
    if (whole) {
      if (!round && std::fabs(v - std::round(v)) > tol) return NOT_INTEGRAL;
      v = std::round(v);
    }
    if (m.has_integers()) m.kind[j] = ColKind::Continuous;
    if (t == 'S') {
      if (std::fabs(v) > tol) continue;  // lb holds the threshold already
      v = 0.0;
    }
    m.lb[j] = m.ub[j] = v;
  }
  // Binaries of sets, indicators and partial integers stay: then what
  // remains is a (small) MIP.
  const bool mip =
      std::any_of(m.kind.begin(), m.kind.end(), [](ColKind k) { return k != ColKind::Continuous; });
  if (!mip) m.kind.clear();
  s.mip = mip;
  EngineResult r;
  analysis_solve(prob, m, s, r);
  const EngineStatus st = r.status;
  if (st == EngineStatus::Infeasible || st == EngineStatus::InfeasibleOrUnbounded)
    return FIXED_INFEASIBLE;
  if (st == EngineStatus::Unbounded) return FIXED_UNBOUNDED;
  if (st != EngineStatus::Optimal) return STOPPED;
  if (refined && r.has_primal) std::copy(r.col_value.begin(), r.col_value.begin() + n, refined);
  return REFINED;
}

void fix_globals(qnda_problem_s &prob, bool round) {
  Model &model = prob.model;
  const std::vector<double> x = solution_of(prob);
  for (int j = 0; j < model.ncols(); ++j) {
    const char t = model.coltype()[j];
    if (t == 'C') continue;
    double v = x[j];
    if (round && (integral_kind(t) || (t == 'P' && v < model.limit(j)))) v = std::round(v);
    // A semi-continuous column fixed by its bounds still allows 0.
    if (t == 'S' || t == 'R' || t == 'P') model.set_coltype(j, 'C');
    model.set_lb(j, v);
    model.set_ub(j, v);
  }
  prob.model_changed();
}

void set_user_scale(qnda_problem_s &prob, const int *rowexp, const int *colexp) {
  const Model &model = prob.model;
  auto scale = std::make_shared<UserScale>();
  scale->epoch = model.epoch();
  for (int i = 0; rowexp && i < model.nrows(); ++i) {
    if (std::abs(rowexp[i]) > 64)
      fail(QNDA_ERR_VALUE, "row %d: scale exponent %d outside [-64, 64]", i, rowexp[i]);
    if (rowexp[i]) scale->row_exp[model.row_ids().empty() ? i : model.row_ids()[i]] = rowexp[i];
  }
  for (int j = 0; colexp && j < model.ncols(); ++j) {
    if (std::abs(colexp[j]) > 64)
      fail(QNDA_ERR_VALUE, "column %d: scale exponent %d outside [-64, 64]", j, colexp[j]);
    const char t = model.coltype()[j];
    if (colexp[j] && t != 'C' && t != 'S')
      fail(QNDA_ERR_ARGUMENT, "column %d is discrete ('%c'); its scale exponent must be 0", j, t);
    if (colexp[j]) scale->col_exp[model.col_ids().empty() ? j : model.col_ids()[j]] = colexp[j];
  }
  prob.user_scale = std::move(scale);
}

}  // namespace qnda
