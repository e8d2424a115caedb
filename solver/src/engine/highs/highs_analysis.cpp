// The engine's analysis calls: deletion-filter IIS, ranging and the
// feasibility relaxation, each on an instance of its own.
#include <algorithm>
#include <cmath>
#include <utility>

#include "core/error.h"
#include "engine/engine.h"
#include "engine/highs/highs_common.h"
#include "lp_data/HighsIis.h"
#include "qnda.h"

namespace qnda {
namespace {

// A quiet instance holding a copy of m, with the tolerances and limits of s.
void load(Highs &h, const FlatModel &m, const EngineSettings &s, bool keep_integrality) {
  h.setOptionValue("output_flag", false);
  h.setOptionValue("primal_feasibility_tolerance", s.feas_tol);
  h.setOptionValue("dual_feasibility_tolerance", s.opt_tol);
  h.setOptionValue("mip_feasibility_tolerance", s.mip_tol);
  h.setOptionValue("random_seed", s.random_seed);
  if (s.time_limit > 0 && s.time_limit < 1e20) h.setOptionValue("time_limit", s.time_limit);
  FlatModel copy = m;
  HighsModel hm;
  move_into(copy, hm, keep_integrality);
  if (h.passModel(std::move(hm)) == HighsStatus::kError)
    fail(QNDA_ERR_ENGINE, "the engine refused the model");
}

// Solves the LP m in h; throws unless it ends optimal with a basis.
void solve_to_basis(Highs &h, const FlatModel &m, const EngineSettings &s) {
  load(h, m, s, false);
  h.run();
  if (h.getModelStatus() != HighsModelStatus::kOptimal || !h.getBasis().valid)
    fail(QNDA_ERR_STATE, "the LP has no optimal basis (status: %s)",
         h.modelStatusToString(h.getModelStatus()).c_str());
}

double or_inf(double v) { return std::fabs(v) >= kHighsInf ? (v > 0 ? INFINITY : -INFINITY) : v; }

}  // namespace

void engine_lp_iis(const FlatModel &m, const EngineSettings &s, EngineIis &out) {
  out = EngineIis();
  Highs h;
  load(h, m, s, false);
  // The engine's default only tries cheap tests; ask for the elastic LP
  // followed by its deletion filter.
  h.setOptionValue("iis_strategy", kIisStrategyFromLp | kIisStrategyIrreducible);
  HighsIis iis;
  if (h.getIis(iis) == HighsStatus::kError || !iis.valid_) return;
  out.rows.assign(iis.row_index_.begin(), iis.row_index_.end());
  out.cols.assign(iis.col_index_.begin(), iis.col_index_.end());
  out.found = !out.rows.empty() || !out.cols.empty();
}

bool engine_lp_dual_ray(const FlatModel &m, const EngineSettings &s, std::vector<double> &rows) {
  Highs h;
  load(h, m, s, false);
  h.setOptionValue("presolve", "off");  // the ray is of the model as given
  h.run();
  if (h.getModelStatus() != HighsModelStatus::kInfeasible) return false;
  bool has = false;
  rows.assign(m.nrows, 0.0);
  if (h.getDualRay(has, rows.data()) != HighsStatus::kOk || !has) return false;
  return true;
}

void engine_lp_ranging(const FlatModel &m, const EngineSettings &s, EngineRanging &out) {
  Highs h;
  solve_to_basis(h, m, s);
  HighsRanging r;
  if (h.getRanging(r) != HighsStatus::kOk || !r.valid)
    fail(QNDA_ERR_ENGINE, "the engine could not range the LP");
  out.cost_lo.resize(m.ncols);
  out.cost_up.resize(m.ncols);
  for (int j = 0; j < m.ncols; ++j) {
    out.cost_lo[j] = or_inf(r.col_cost_dn.value_[j]);
    out.cost_up[j] = or_inf(r.col_cost_up.value_[j]);
  }
  out.rhs_lo.resize(m.nrows);
  out.rhs_up.resize(m.nrows);
  for (int i = 0; i < m.nrows; ++i) {
    out.rhs_lo[i] = or_inf(r.row_bound_dn.value_[i]);
    out.rhs_up[i] = or_inf(r.row_bound_up.value_[i]);
  }
}

double engine_basis_condition(const FlatModel &m, const EngineSettings &s) {
  Highs h;
  solve_to_basis(h, m, s);
  const int n = m.nrows;
  if (n == 0) return 0.0;
  std::vector<HighsInt> basic(n);
  if (h.getBasicVariables(basic.data()) != HighsStatus::kOk)
    fail(QNDA_ERR_ENGINE, "the engine has no basis factorisation");
  // ||B||_1: the largest column sum; a logical column is a unit vector.
  double norm_b = 0.0;
  for (HighsInt v : basic) {
    double sum = 1.0;
    if (v >= 0) {
      sum = 0.0;
      for (int k = m.start[v]; k < m.start[v + 1]; ++k) sum += std::fabs(m.value[k]);
    }
    norm_b = std::max(norm_b, sum);
  }
  // ||B^-1||_1 estimated from solves with B and B^T.
  std::vector<double> x(n, 1.0 / n), y(n), xi(n), z(n);
  double est = 0.0;
  int last = -1;
  for (int iter = 0; iter < 5; ++iter) {
    if (h.getBasisSolve(x.data(), y.data()) != HighsStatus::kOk)
      fail(QNDA_ERR_ENGINE, "the engine's basis solve failed");
    double norm_y = 0.0;
    for (int i = 0; i < n; ++i) {
      norm_y += std::fabs(y[i]);
      xi[i] = y[i] >= 0 ? 1.0 : -1.0;
    }
    if (iter > 0 && norm_y <= est) break;
    est = norm_y;
    if (h.getBasisTransposeSolve(xi.data(), z.data()) != HighsStatus::kOk)
      fail(QNDA_ERR_ENGINE, "the engine's basis solve failed");
    int j = 0;
    double ztx = 0.0;
    for (int i = 0; i < n; ++i) {
      ztx += z[i] * x[i];
      if (std::fabs(z[i]) > std::fabs(z[j])) j = i;
    }
    if (std::fabs(z[j]) <= ztx || j == last) break;
    last = j;
    std::fill(x.begin(), x.end(), 0.0);
    x[j] = 1.0;
  }
  // Higham's alternating vector guards against the estimator's blind spots.
  for (int i = 0; i < n; ++i)
    x[i] = (i % 2 ? -1.0 : 1.0) * (1.0 + static_cast<double>(i) / std::max(1, n - 1));
  if (h.getBasisSolve(x.data(), y.data()) == HighsStatus::kOk) {
    double norm_y = 0.0;
    for (double v : y) norm_y += std::fabs(v);
    est = std::max(est, 2.0 * norm_y / (3.0 * n));
  }
  return norm_b * est;
}

void engine_feasibility_relaxation(const FlatModel &m, const EngineSettings &s,
                                   const std::vector<double> &col_lo_w,
                                   const std::vector<double> &col_up_w,
                                   const std::vector<double> &row_w, EngineResult &r) {
  r = EngineResult();
  // Only the violation counts, minimised: the model's own objective and
  // sense would mix into the engine's elastic problem.
  FlatModel plain = m;
  plain.sense = 1;
  plain.obj.assign(plain.ncols, 0.0);
  plain.obj_constant = 0.0;
  plain.qstart.clear();
  plain.qindex.clear();
  plain.qvalue.clear();
  Highs h;
  load(h, plain, s, true);
  const HighsStatus st =
      h.feasibilityRelaxation(-1, -1, -1, col_lo_w.data(), col_up_w.data(), row_w.data());
  const HighsModelStatus ms = h.getModelStatus();
  const HighsSolution &sol = h.getSolution();
  // The engine puts the user's model back after solving the relaxation,
  // which leaves the model status unset; the relaxed point stays.
  const bool solved = ms == HighsModelStatus::kOptimal ||
                      (ms == HighsModelStatus::kNotset && st != HighsStatus::kError);
  if (solved && sol.value_valid) {
    r.status = EngineStatus::Optimal;
    r.has_primal = true;
    r.col_value = sol.col_value;
    r.row_activity = sol.row_value;
    r.objective = h.getInfo().objective_function_value;
  } else if (ms == HighsModelStatus::kInfeasible) {
    r.status = EngineStatus::Infeasible;
  } else if (ms == HighsModelStatus::kTimeLimit) {
    r.status = EngineStatus::TimeLimit;
  } else {
    r.status = EngineStatus::Error;
    r.message = st == HighsStatus::kError
                    ? "the engine's feasibility relaxation failed"
                    : "feasibility relaxation ended: " + h.modelStatusToString(ms);
  }
}

}  // namespace qnda
