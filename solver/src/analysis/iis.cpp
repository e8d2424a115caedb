// Irreducible infeasible subsystems.  A member is a user row or one finite
// bound of a user column; a subsystem is the set of members kept while all
// others are dropped (rows freed, bounds made infinite).  Rows and columns
// added by the reformulation, integrality and semi-continuous thresholds
// always stay.  The first subsystem starts from the engine's own deletion
// filter on the continuous relaxation, then our deletion filter, which
// asks the engine whether a subsystem is feasible, makes it irreducible
// for the problem as it is (MIP included).  Further subsystems come from
// dropping a hitting set of those already found, so each new one differs
// from all of them.
#include <algorithm>
#include <cmath>

#include "analysis/analysis.h"
#include "core/error.h"

namespace qnda {
namespace {

// The search gives up after this many feasibility tests of one call.
constexpr long kMaxTests = 20000;

struct Members {
  const FlatModel *m = nullptr;
  int rows = 0;  // members 0 .. rows-1 are the user rows
  std::vector<char> exists;

  explicit Members(const FlatModel &fm) : m(&fm), rows(fm.orig_rows) {
    exists.assign(rows + 2 * fm.orig_cols, 0);
    for (int i = 0; i < rows; ++i)
      exists[i] = std::isfinite(fm.rowlo[i]) || std::isfinite(fm.rowup[i]);
    for (int j = 0; j < fm.orig_cols; ++j) {
      const bool plain =
          fm.kind.empty() || fm.kind[j] == ColKind::Continuous || fm.kind[j] == ColKind::Integer;
      exists[rows + 2 * j] = plain && std::isfinite(fm.lb[j]);
      exists[rows + 2 * j + 1] = plain && std::isfinite(fm.ub[j]);
    }
  }
  int size() const { return static_cast<int>(exists.size()); }
  std::vector<char> all() const { return exists; }
  int of_row(int i) const { return i; }
  int of_col(int j, char side) const { return rows + 2 * j + (side == 'U'); }
};

char row_letter(const FlatModel &m, int i) {
  const bool lo = std::isfinite(m.rowlo[i]), up = std::isfinite(m.rowup[i]);
  if (lo && up) return m.rowlo[i] == m.rowup[i] ? 'E' : 'R';
  return up ? 'L' : 'G';
}

// The model with only the members in on.
FlatModel subsystem(const Members &mb, const std::vector<char> &on) {
  FlatModel s = *mb.m;
  std::fill(s.obj.begin(), s.obj.end(), 0.0);
  s.obj_constant = 0.0;
  s.qstart.clear();
  s.qindex.clear();
  s.qvalue.clear();
  for (int e = 0; e < mb.size(); ++e) {
    if (!mb.exists[e] || on[e]) continue;
    if (e < mb.rows) {
      s.rowlo[e] = -INFINITY;
      s.rowup[e] = INFINITY;
    } else if ((e - mb.rows) % 2 == 0) {
      s.lb[(e - mb.rows) / 2] = -INFINITY;
    } else {
      s.ub[(e - mb.rows) / 2] = INFINITY;
    }
  }
  return s;
}

class Search {
 public:
  Search(qnda_problem_s &prob, AnalysisState &st)
      : prob_(prob), st_(st), mb_(st.model), s_(analysis_settings(prob, st.model.has_integers())) {}

  const Members &members() const { return mb_; }

  bool feasible(const std::vector<char> &on) {
    if (++tests_ > kMaxTests) {
      // Out of budget: call it feasible, which stops a search (and leaves
      // a subsystem marked reducible).
      gave_up_ = true;
      return true;
    }
    FlatModel s = subsystem(mb_, on);
    EngineResult r;
    analysis_solve(prob_, s, s_, r);
    switch (r.status) {
      case EngineStatus::Optimal:
      case EngineStatus::Unbounded:
        return true;
      case EngineStatus::Infeasible:
      case EngineStatus::InfeasibleOrUnbounded:
        return false;
      default:
        fail(QNDA_ERR_ENGINE,
             "the engine stopped before it could tell whether a subsystem is "
             "feasible");
    }
  }

  // A smaller infeasible start than on, from the engine's filter on the
  // continuous relaxation, when it finds one that is infeasible here too.
  std::vector<char> shrink(const std::vector<char> &on) {
    EngineIis iis;
    engine_lp_iis(subsystem(mb_, on), s_, iis);
    if (!iis.found) return on;
    std::vector<char> c(on.size(), 0);
    for (int i : iis.rows)
      if (i < mb_.rows) c[i] = on[i];
    for (int j : iis.cols)
      if (j < st_.model.orig_cols) {
        c[mb_.of_col(j, 'L')] = on[mb_.of_col(j, 'L')];
        c[mb_.of_col(j, 'U')] = on[mb_.of_col(j, 'U')];
      }
    // Rows the engine kept hold their columns' bounds only loosely: try
    // the candidate, else fall back to everything.
    if (c != on && !feasible(c)) return c;
    return on;
  }

  // Drops members of the infeasible on one at a time, in order or in
  // reverse, keeping each whose removal makes the rest feasible.
  void filter(std::vector<char> &on, bool reverse) {
    std::vector<int> order;
    for (int e = 0; e < mb_.size(); ++e)
      if (on[e]) order.push_back(e);
    if (reverse) std::reverse(order.begin(), order.end());
    for (int e : order) {
      on[e] = 0;
      if (feasible(on)) on[e] = 1;
    }
  }

  IisSet to_set(const std::vector<char> &on, bool irreducible) const {
    IisSet s;
    s.irreducible = irreducible;
    for (int e = 0; e < mb_.size(); ++e) {
      if (!on[e]) continue;
      if (e < mb_.rows) {
        s.rows.push_back(e);
        s.rowtype.push_back(row_letter(st_.model, e));
      } else {
        s.cols.push_back((e - mb_.rows) / 2);
        s.colside.push_back((e - mb_.rows) % 2 ? 'U' : 'L');
      }
    }
    return s;
  }

  std::vector<char> on_of(const IisSet &s) const {
    std::vector<char> on(mb_.size(), 0);
    for (int i : s.rows) on[mb_.of_row(i)] = 1;
    for (size_t k = 0; k < s.cols.size(); ++k) on[mb_.of_col(s.cols[k], s.colside[k])] = 1;
    return on;
  }

  // Depth-first over hitting sets of the subsystems found: drops one
  // member of each, and stops at the first remainder that is infeasible
  // with every subsystem hit.
  bool hit(std::vector<char> &dropped, std::vector<char> &out) {
    std::vector<char> rest = mb_.all();
    for (int e = 0; e < mb_.size(); ++e)
      if (dropped[e]) rest[e] = 0;
    if (feasible(rest)) return false;
    const IisSet *unhit = nullptr;
    std::vector<char> on;
    for (const IisSet &s : st_.sets) {
      on = on_of(s);
      bool is_hit = false;
      for (int e = 0; e < mb_.size() && !is_hit; ++e) is_hit = on[e] && dropped[e];
      if (!is_hit) {
        unhit = &s;
        break;
      }
    }
    if (!unhit) {
      out = rest;
      return true;
    }
    for (int e = 0; e < mb_.size(); ++e) {
      if (!on[e]) continue;
      dropped[e] = 1;
      if (hit(dropped, out)) return true;
      dropped[e] = 0;
    }
    return false;
  }

 private:
  qnda_problem_s &prob_;
  AnalysisState &st_;
  Members mb_;
  EngineSettings s_;
  long tests_ = 0;

 public:
  bool gave_up_ = false;
};

AnalysisState &fresh_state(qnda_problem_s &prob) {
  AnalysisState &st = analysis_state(prob);
  st = AnalysisState();
  analysis_model(prob, st.model);
  st.model.obj.assign(st.model.ncols, 0.0);
  st.model.qstart.clear();
  st.model.qindex.clear();
  st.model.qvalue.clear();
  st.mip = st.model.has_integers();
  return st;
}

}  // namespace

int iis_first(qnda_problem_s &prob, int mode) {
  if (mode != 0 && mode != 1) fail(QNDA_ERR_ARGUMENT, "mode must be 0 or 1, not %d", mode);
  AnalysisState &st = fresh_state(prob);
  Search s(prob, st);
  std::vector<char> on = s.members().all();
  if (s.feasible(on)) {
    st.exhausted = true;
    return 1;
  }
  on = s.shrink(on);
  if (mode == 1) s.filter(on, false);
  st.sets.push_back(s.to_set(on, mode == 1 && !s.gave_up_));
  return 0;
}

int iis_next(qnda_problem_s &prob) {
  if (!prob.analysis || prob.analysis->sets.empty()) {
    if (prob.analysis && prob.analysis->exhausted) return 1;
    return iis_first(prob, 1);
  }
  AnalysisState &st = *prob.analysis;
  if (st.exhausted) return 1;
  Search s(prob, st);
  std::vector<char> dropped(s.members().size(), 0), on;
  if (!s.hit(dropped, on)) {
    st.exhausted = true;
    return 1;
  }
  on = s.shrink(on);
  s.filter(on, true);
  st.sets.push_back(s.to_set(on, !s.gave_up_));
  return 0;
}

int iis_all(qnda_problem_s &prob) {
  const int limit = prob.controls.get_int(QNDA_MAXIIS);
  if (!prob.analysis || prob.analysis->sets.empty())
    if (iis_first(prob, 1) != 0) return 1;
  while (limit <= 0 || static_cast<int>(prob.analysis->sets.size()) < limit)
    if (iis_next(prob) != 0) break;
  return prob.analysis->sets.empty() ? 1 : 0;
}

void iis_clear(qnda_problem_s &prob) {
  if (prob.analysis) {
    prob.analysis->sets.clear();
    prob.analysis->exhausted = false;
  }
}

const IisSet &iis_get(qnda_problem_s &prob, int num) {
  const int n = prob.analysis ? static_cast<int>(prob.analysis->sets.size()) : 0;
  if (num < 1 || num > n) fail(QNDA_ERR_INDEX, "no infeasible subsystem %d (%d found)", num, n);
  return prob.analysis->sets[num - 1];
}

void iis_violation(qnda_problem_s &prob, int num, double *suminfeas, int *numinfeas) {
  const IisSet &set = iis_get(prob, num);
  AnalysisState &st = *prob.analysis;
  Members mb(st.model);
  Search s(prob, st);
  FlatModel sub = subsystem(mb, s.on_of(set));
  std::vector<double> lo(sub.ncols, -1.0), up(sub.ncols, -1.0), rw(sub.nrows, -1.0);
  for (int i : set.rows) rw[i] = 1.0;
  for (size_t k = 0; k < set.cols.size(); ++k) (set.colside[k] == 'U' ? up : lo)[set.cols[k]] = 1.0;
  EngineResult r;
  engine_feasibility_relaxation(sub, analysis_settings(prob, st.mip), lo, up, rw, r);
  if (r.status != EngineStatus::Optimal)
    fail(QNDA_ERR_ENGINE, "the engine could not measure subsystem %d%s%s", num,
         r.message.empty() ? "" : ": ", r.message.c_str());
  const double tol = prob.controls.get_dbl(QNDA_FEASTOL);
  double sum = 0.0;
  int count = 0;
  auto add = [&](double v) {
    if (v > tol) {
      sum += v;
      ++count;
    }
  };
  for (int i : set.rows)
    add(std::max(sub.rowlo[i] - r.row_activity[i], r.row_activity[i] - sub.rowup[i]));
  for (size_t k = 0; k < set.cols.size(); ++k) {
    const int j = set.cols[k];
    add(set.colside[k] == 'U' ? r.col_value[j] - sub.ub[j] : sub.lb[j] - r.col_value[j]);
  }
  if (suminfeas) *suminfeas = sum;
  if (numinfeas) *numinfeas = count;
}

void iis_isolations(qnda_problem_s &prob, int num) {
  IisSet &set = const_cast<IisSet &>(iis_get(prob, num));
  AnalysisState &st = *prob.analysis;
  auto in_other = [&](bool row, int idx, char side) {
    for (int k = 0; k < static_cast<int>(st.sets.size()); ++k) {
      if (k == num - 1) continue;
      const IisSet &o = st.sets[k];
      if (row && std::find(o.rows.begin(), o.rows.end(), idx) != o.rows.end()) return true;
      if (!row)
        for (size_t m = 0; m < o.cols.size(); ++m)
          if (o.cols[m] == idx && o.colside[m] == side) return true;
    }
    return false;
  };
  set.row_isolated.resize(set.rows.size());
  for (size_t k = 0; k < set.rows.size(); ++k)
    set.row_isolated[k] = !in_other(true, set.rows[k], 0);
  set.col_isolated.resize(set.cols.size());
  for (size_t k = 0; k < set.cols.size(); ++k)
    set.col_isolated[k] = !in_other(false, set.cols[k], set.colside[k]);
}

void iis_multipliers(qnda_problem_s &prob, int num, std::vector<double> &rowmult,
                     std::vector<double> &colmult) {
  const IisSet &set = iis_get(prob, num);
  AnalysisState &st = *prob.analysis;
  rowmult.assign(set.rows.size(), 0.0);
  colmult.assign(set.cols.size(), 0.0);
  if (st.mip) return;
  Members mb(st.model);
  Search s(prob, st);
  FlatModel sub = subsystem(mb, s.on_of(set));
  std::vector<double> y;
  if (!engine_lp_dual_ray(sub, analysis_settings(prob, false), y)) return;
  // The bound multipliers close the certificate: d = -A'y on the columns.
  std::vector<double> d(sub.ncols, 0.0);
  for (int j = 0; j < sub.ncols; ++j)
    for (int k = sub.start[j]; k < sub.start[j + 1]; ++k) d[j] -= sub.value[k] * y[sub.index[k]];
  for (size_t k = 0; k < set.rows.size(); ++k) rowmult[k] = y[set.rows[k]];
  for (size_t k = 0; k < set.cols.size(); ++k) colmult[k] = d[set.cols[k]];
}

}  // namespace qnda
