// Repairs of an infeasible problem.  Phase 1 is the engine's feasibility
// relaxation: the least weighted violation of rows and bounds.  Phase 2
// optimises the original objective over an elastic copy of the model (a
// violation column per relaxable side) whose weighted violation may exceed
// the phase-1 minimum by delta relative to it.  Bounds on the violations
// (the weighted-bounds variant) make phase 1 run on the elastic copy too,
// since the engine's relaxation has no such limits.
#include <algorithm>
#include <cmath>

#include "analysis/analysis.h"
#include "core/error.h"

namespace qnda {
namespace {

// Per side weights (<= 0: hard) and violation limits (+inf: none).
struct Sides {
  std::vector<double> row_lo_w, row_up_w, col_lo_w, col_up_w;
  std::vector<double> row_lo_cap, row_up_cap, col_lo_cap, col_up_cap;
};

double weight_at(const std::vector<double> &w, int i) {
  return i < static_cast<int>(w.size()) ? w[i] : 0.0;
}
double cap_at(const std::vector<double> &c, int i) {
  if (i >= static_cast<int>(c.size()) || c[i] >= 1e20) return INFINITY;
  return std::max(0.0, c[i]);
}

// The rows of the user's problem keep their letter's meaning: lrp weighs
// the <= side (of L, E and R rows), grp the >= side.
Sides sides_of(const FlatModel &m, const RepairWeights &w) {
  Sides s;
  s.row_lo_w.assign(m.nrows, -1.0);
  s.row_up_w.assign(m.nrows, -1.0);
  s.row_lo_cap.assign(m.nrows, INFINITY);
  s.row_up_cap.assign(m.nrows, INFINITY);
  s.col_lo_w.assign(m.ncols, -1.0);
  s.col_up_w.assign(m.ncols, -1.0);
  s.col_lo_cap.assign(m.ncols, INFINITY);
  s.col_up_cap.assign(m.ncols, INFINITY);
  for (int i = 0; i < m.orig_rows; ++i) {
    if (std::isfinite(m.rowlo[i]) && weight_at(w.grp, i) > 0) {
      s.row_lo_w[i] = w.grp[i];
      s.row_lo_cap[i] = cap_at(w.grb, i);
    }
    if (std::isfinite(m.rowup[i]) && weight_at(w.lrp, i) > 0) {
      s.row_up_w[i] = w.lrp[i];
      s.row_up_cap[i] = cap_at(w.lrb, i);
    }
  }
  for (int j = 0; j < m.orig_cols; ++j) {
    const bool plain =
        m.kind.empty() || m.kind[j] == ColKind::Continuous || m.kind[j] == ColKind::Integer;
    if (plain && std::isfinite(m.lb[j]) && weight_at(w.lbp, j) > 0) {
      s.col_lo_w[j] = w.lbp[j];
      s.col_lo_cap[j] = cap_at(w.lbb, j);
    }
    if (plain && std::isfinite(m.ub[j]) && weight_at(w.ubp, j) > 0) {
      s.col_up_w[j] = w.ubp[j];
      s.col_up_cap[j] = cap_at(w.ubb, j);
    }
  }
  return s;
}

bool any_cap(const Sides &s) {
  for (const auto *v : {&s.row_lo_cap, &s.row_up_cap, &s.col_lo_cap, &s.col_up_cap})
    for (double c : *v)
      if (std::isfinite(c)) return true;
  return false;
}

// Weighted violation of the point (x, activity) of m.
double violation(const FlatModel &m, const Sides &s, const std::vector<double> &x,
                 const std::vector<double> &act) {
  double v = 0.0;
  for (int i = 0; i < m.nrows; ++i) {
    if (s.row_lo_w[i] > 0) v += s.row_lo_w[i] * std::max(0.0, m.rowlo[i] - act[i]);
    if (s.row_up_w[i] > 0) v += s.row_up_w[i] * std::max(0.0, act[i] - m.rowup[i]);
  }
  for (int j = 0; j < m.ncols; ++j) {
    if (s.col_lo_w[j] > 0) v += s.col_lo_w[j] * std::max(0.0, m.lb[j] - x[j]);
    if (s.col_up_w[j] > 0) v += s.col_up_w[j] * std::max(0.0, x[j] - m.ub[j]);
  }
  return v;
}

bool hard_violated(const FlatModel &m, const Sides &s, const std::vector<double> &x,
                   const std::vector<double> &act, double tol) {
  auto out = [tol](double v, double b) { return v > tol * std::max(1.0, std::fabs(b)); };
  for (int i = 0; i < m.nrows; ++i) {
    if (s.row_lo_w[i] <= 0 && out(m.rowlo[i] - act[i], m.rowlo[i])) return true;
    if (s.row_up_w[i] <= 0 && out(act[i] - m.rowup[i], m.rowup[i])) return true;
  }
  for (int j = 0; j < m.ncols; ++j) {
    if (s.col_lo_w[j] <= 0 && out(m.lb[j] - x[j], m.lb[j])) return true;
    if (s.col_up_w[j] <= 0 && out(x[j] - m.ub[j], m.ub[j])) return true;
  }
  return false;
}

// Appends a column (objective c, bounds [0, cap]) with entries in rows.
void add_col(FlatModel &e, double c, double cap, std::vector<std::pair<int, double>> entries) {
  e.obj.push_back(c);
  e.lb.push_back(0.0);
  e.ub.push_back(cap);
  for (auto &en : entries) {
    e.index.push_back(en.first);
    e.value.push_back(en.second);
  }
  e.start.push_back(static_cast<int>(e.index.size()));
  if (!e.kind.empty()) e.kind.push_back(ColKind::Continuous);
  if (!e.qstart.empty()) e.qstart.push_back(e.qstart.back());
  ++e.ncols;
}

// The elastic copy: violation columns for every relaxable side, relaxable
// bounds moved into a row of their own.  With phase1 the objective is the
// weighted violation; else the original one plus the row limiting the
// weighted violation to budget.
FlatModel elastic(const FlatModel &m, const Sides &s, bool phase1, double budget) {
  FlatModel e = m;
  if (e.start.empty()) e.start.assign(e.ncols + 1, 0);
  if (phase1) {
    std::fill(e.obj.begin(), e.obj.end(), 0.0);
    e.obj_constant = 0.0;
    e.qstart.clear();
    e.qindex.clear();
    e.qvalue.clear();
  }
  std::vector<std::pair<int, double>> budget_row;  // (column, weight)
  // A violation column of weight w (<= 0: none) in row r with sign.
  auto violation_col = [&](double w, double cap, int r, double sign) {
    if (w <= 0) return;
    budget_row.push_back({e.ncols, w});
    add_col(e, phase1 ? w : 0.0, cap, {{r, sign}});
  };
  for (int i = 0; i < m.nrows; ++i) {
    violation_col(s.row_lo_w[i], s.row_lo_cap[i], i, 1.0);
    violation_col(s.row_up_w[i], s.row_up_cap[i], i, -1.0);
  }
  for (int j = 0; j < m.ncols; ++j) {
    if (s.col_lo_w[j] <= 0 && s.col_up_w[j] <= 0) continue;
    // x_j + u - v in [lb, ub] on a row of its own; the relaxed sides leave
    // the column's bounds.
    const int r = e.nrows++;
    e.rowlo.push_back(s.col_lo_w[j] > 0 ? m.lb[j] : -INFINITY);
    e.rowup.push_back(s.col_up_w[j] > 0 ? m.ub[j] : INFINITY);
    if (s.col_lo_w[j] > 0) e.lb[j] = -INFINITY;
    if (s.col_up_w[j] > 0) e.ub[j] = INFINITY;
    // Column j gains an entry in row r: rebuild its slice.
    e.index.insert(e.index.begin() + e.start[j + 1], r);
    e.value.insert(e.value.begin() + e.start[j + 1], 1.0);
    for (int k = j + 1; k <= e.ncols; ++k) ++e.start[k];
    violation_col(s.col_lo_w[j], s.col_lo_cap[j], r, 1.0);
    violation_col(s.col_up_w[j], s.col_up_cap[j], r, -1.0);
  }
  if (!phase1) {
    const int r = e.nrows++;
    e.rowlo.push_back(-INFINITY);
    e.rowup.push_back(budget);
    // Entries of the budget row go into the violation columns, which are
    // the last ones and each end its own slice.
    for (auto it = budget_row.rbegin(); it != budget_row.rend(); ++it) {
      const int c = it->first;
      e.index.insert(e.index.begin() + e.start[c + 1], r);
      e.value.insert(e.value.begin() + e.start[c + 1], it->second);
      for (int k = c + 1; k <= e.ncols; ++k) ++e.start[k];
    }
  }
  return e;
}

void store_point(qnda_problem_s &prob, const FlatModel &m, const std::vector<double> &x, bool mip) {
  SolveState &st = prob.solve;
  st.clear_results();
  const Model &model = prob.model;
  const int n = model.ncols(), rows = model.nrows();
  st.x.assign(x.begin(), x.begin() + n);
  std::vector<double> act(rows, 0.0);
  SparseMatrix::Csc a = model.csc();
  for (int j = 0; j < n; ++j)
    for (QNDAint64 k = a.start[j]; k < a.start[j + 1]; ++k) act[a.index[k]] += a.value[k] * x[j];
  st.slack.resize(rows);
  for (int i = 0; i < rows; ++i) st.slack[i] = model.rhs()[i] - act[i];
  double obj = m.obj_constant;
  for (int j = 0; j < n; ++j) obj += model.obj()[j] * x[j];
  st.has_solution = true;
  st.obj = obj;
  if (mip) {
    st.mip_obj = obj;
    st.mip_status = QNDA_MIP_SOLUTION;
  } else {
    st.lp_obj = obj;
  }
}

}  // namespace

int repair(qnda_problem_s &prob, const RepairWeights &w, char phase2, double delta,
           const char *flags) {
  if (phase2 != 'n' && phase2 != 'o')
    fail(QNDA_ERR_ARGUMENT, "phase 2 must be 'n' (none) or 'o' (original objective), not '%c'",
         phase2);
  if (!(delta >= 0)) fail(QNDA_ERR_ARGUMENT, "delta must be 0 or more");
  FlatModel m;
  analysis_model(prob, m);
  const bool mip = m.has_integers();
  EngineSettings s = analysis_settings(prob, mip);
  lp_algorithm_flags(flags, s);
  const Sides sd = sides_of(m, w);

  // Phase 1.
  EngineResult r;
  std::vector<double> x;
  if (!any_cap(sd)) {
    std::vector<double> row_w(m.nrows, -1.0);
    for (int i = 0; i < m.nrows; ++i) {
      // One weight per row for the engine: the side that can be violated
      // (both sides of an equality or range row weigh the smaller).
      const double lo = sd.row_lo_w[i], up = sd.row_up_w[i];
      row_w[i] = lo > 0 && up > 0 ? std::min(lo, up) : std::max(lo, up);
    }
    engine_feasibility_relaxation(m, s, sd.col_lo_w, sd.col_up_w, row_w, r);
    if (r.status == EngineStatus::Optimal) x = r.col_value;
  } else {
    FlatModel e = elastic(m, sd, true, 0.0);
    analysis_solve(prob, e, s, r);
    if (r.status == EngineStatus::Optimal)
      x.assign(r.col_value.begin(), r.col_value.begin() + m.ncols);
  }
  switch (r.status) {
    case EngineStatus::Optimal:
      break;
    case EngineStatus::Infeasible:
    case EngineStatus::InfeasibleOrUnbounded:
      return 1;
    case EngineStatus::Interrupted:
    case EngineStatus::TimeLimit:
      return 6;
    default:
      return 4;
  }
  std::vector<double> act(m.nrows, 0.0);
  for (int j = 0; j < m.ncols; ++j)
    for (int k = m.start[j]; k < m.start[j + 1]; ++k) act[m.index[k]] += m.value[k] * x[j];
  // The engine returns a point even when the hard items alone admit none;
  // such a point breaks one of them.
  if (hard_violated(m, sd, x, act, prob.controls.get_dbl(QNDA_FEASTOL))) return 1;
  const double best = violation(m, sd, x, act);
  int status = 0;
  if (phase2 == 'o') {
    const double budget = best * (1.0 + delta) + 1e-9 * std::max(1.0, best);
    FlatModel e = elastic(m, sd, false, budget);
    EngineResult r2;
    analysis_solve(prob, e, s, r2);
    if (r2.status == EngineStatus::Optimal && r2.has_primal)
      x.assign(r2.col_value.begin(), r2.col_value.begin() + m.ncols);
    else if (r2.status == EngineStatus::Unbounded)
      status = 2;
    else if (r2.status == EngineStatus::Interrupted || r2.status == EngineStatus::TimeLimit)
      status = 6;
    else
      status = 3;  // keeps the phase-1 point
  }
  store_point(prob, m, x, mip);
  if (prob.controls.get_int(QNDA_LOGLEVEL) >= 1)
    emit_codedf(&prob, QNDA_MSG_ANALYSIS, MSG_INFO, "Repair: weighted violation %.10g%s", best,
                phase2 == 'o' ? " (phase 2 on the original objective)" : "");
  return status;
}

}  // namespace qnda
