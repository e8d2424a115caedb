#include "engine/qcqp.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <utility>

#include "core/error.h"
#include "engine/convexity.h"
#include "engine/nlp.h"

namespace qnda {

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

// fm (its continuous relaxation, or with some columns fixed) as an
// NlpProblem.
class QuadNlp : public NlpProblem {
 public:
  // fix: per column a value to fix it at, NaN for free; empty for none.
  QuadNlp(const FlatModel &fm, const std::vector<double> &fix) : fm_(fm) {
    n = fm.ncols;
    m = fm.nrows;
    sense_ = fm.sense < 0 ? -1.0 : 1.0;
    xl = fm.lb;
    xu = fm.ub;
    for (int j = 0; j < n; ++j) {
      if (fm.has_integers() &&
          (fm.kind[j] == ColKind::SemiContinuous || fm.kind[j] == ColKind::SemiInteger))
        xl[j] = std::min(0.0, xl[j]);  // the relaxation reaches 0
      if (!fix.empty() && !std::isnan(fix[j])) xl[j] = xu[j] = fix[j];
    }
    gl = fm.rowlo;
    gu = fm.rowup;
    // Rows from the column-wise matrix.
    rows_.resize(m);
    for (int j = 0; j < n; ++j)
      for (int k = fm.start[j]; k < fm.start[j + 1]; ++k)
        rows_[fm.index[k]].push_back({j, fm.value[k]});
    qrow_of_.assign(m, -1);
    for (size_t q = 0; q < fm.qrows.size(); ++q) qrow_of_[fm.qrows[q].row] = static_cast<int>(q);
    // Jacobian: per row its distinct columns.
    jpos_.resize(m);
    for (int i = 0; i < m; ++i) {
      std::map<int, int> at;
      for (auto &e : rows_[i]) at[e.first] = 0;
      if (qrow_of_[i] >= 0) {
        const auto &q = fm.qrows[qrow_of_[i]];
        for (size_t k = 0; k < q.v.size(); ++k) at[q.c1[k]] = at[q.c2[k]] = 0;
      }
      for (auto &a : at) {
        a.second = static_cast<int>(jrow.size());
        jrow.push_back(i);
        jcol.push_back(a.first);
      }
      jpos_[i] = std::move(at);
    }
    linear_row.assign(m, 1);
    for (const auto &q : fm.qrows) linear_row[q.row] = 0;
    nonlinear_col.assign(n, 0);
    // Hessian: the objective's lower triangle and every row's terms.
    auto hp = [&](int a, int b) {
      if (a < b) std::swap(a, b);
      auto it = hmap_.find({a, b});
      if (it != hmap_.end()) return it->second;
      const int k = static_cast<int>(hrow.size());
      hrow.push_back(a);
      hcol.push_back(b);
      hmap_[{a, b}] = k;
      nonlinear_col[a] = nonlinear_col[b] = 1;
      return k;
    };
    if (fm.has_quadratic())
      for (int j = 0; j < n; ++j)
        for (int k = fm.qstart[j]; k < fm.qstart[j + 1]; ++k) hp(fm.qindex[k], j);
    for (const auto &q : fm.qrows)
      for (size_t k = 0; k < q.v.size(); ++k) hp(q.c1[k], q.c2[k]);
    objective_linear = !fm.has_quadratic();
    x0.resize(n);
    for (int j = 0; j < n; ++j) x0[j] = std::min(std::max(0.0, xl[j]), xu[j]);
  }

  // The user's objective (sense undone) at x.
  double objective(const double *x) const {
    double v = fm_.obj_constant;
    for (int j = 0; j < n; ++j) v += fm_.obj[j] * x[j];
    return v + qobj(x);
  }
  // 0.5 x'Qx and its gradient (added to grad).
  double qobj(const double *x, double *grad = nullptr) const {
    double v = 0.0;
    if (!fm_.has_quadratic()) return v;
    for (int j = 0; j < n; ++j)
      for (int k = fm_.qstart[j]; k < fm_.qstart[j + 1]; ++k) {
        const int i = fm_.qindex[k];
        const double q = fm_.qvalue[k];
        if (i == j) {
          v += 0.5 * q * x[j] * x[j];
          if (grad) grad[j] += q * x[j];
        } else {
          v += q * x[i] * x[j];
          if (grad) {
            grad[i] += q * x[j];
            grad[j] += q * x[i];
          }
        }
      }
    return v;
  }
  // Quadratic part of a row and its gradient (added to grad when given).
  double qrow(const FlatModel::QuadRow &q, const double *x, double *grad = nullptr) const {
    double v = 0.0;
    for (size_t k = 0; k < q.v.size(); ++k) {
      v += q.v[k] * x[q.c1[k]] * x[q.c2[k]];
      if (grad) {
        grad[q.c1[k]] += q.v[k] * x[q.c2[k]];
        grad[q.c2[k]] += q.v[k] * x[q.c1[k]];
      }
    }
    return v;
  }

  bool eval_f(const double *x, double &f) override {
    f = sense_ * objective(x);
    return std::isfinite(f);
  }
  bool eval_grad(const double *x, double *grad) override {
    for (int j = 0; j < n; ++j) grad[j] = fm_.obj[j];
    qobj(x, grad);
    for (int j = 0; j < n; ++j) grad[j] *= sense_;
    return true;
  }
  bool eval_g(const double *x, double *g) override {
    for (int i = 0; i < m; ++i) {
      double v = 0.0;
      for (auto &e : rows_[i]) v += e.second * x[e.first];
      if (qrow_of_[i] >= 0) v += qrow(fm_.qrows[qrow_of_[i]], x);
      g[i] = v;
    }
    return true;
  }
  bool eval_jac(const double *x, double *values) override {
    std::fill(values, values + jrow.size(), 0.0);
    for (int i = 0; i < m; ++i) {
      const auto &at = jpos_[i];
      for (auto &e : rows_[i]) values[at.at(e.first)] += e.second;
      if (qrow_of_[i] < 0) continue;
      const auto &q = fm_.qrows[qrow_of_[i]];
      for (size_t k = 0; k < q.v.size(); ++k) {
        values[at.at(q.c1[k])] += q.v[k] * x[q.c2[k]];
        values[at.at(q.c2[k])] += q.v[k] * x[q.c1[k]];
      }
    }
    return true;
  }
  bool eval_hess(const double *, double obj_factor, const double *lambda, double *values) override {
    std::fill(values, values + hrow.size(), 0.0);
    if (fm_.has_quadratic())
      for (int j = 0; j < n; ++j)
        for (int k = fm_.qstart[j]; k < fm_.qstart[j + 1]; ++k)
          values[hmap_.at({std::max(fm_.qindex[k], j), std::min(fm_.qindex[k], j)})] +=
              obj_factor * sense_ * fm_.qvalue[k];
    for (const auto &q : fm_.qrows)
      for (size_t k = 0; k < q.v.size(); ++k) {
        const int a = std::max(q.c1[k], q.c2[k]), b = std::min(q.c1[k], q.c2[k]);
        values[hmap_.at({a, b})] += lambda[q.row] * (a == b ? 2.0 : 1.0) * q.v[k];
      }
    return true;
  }

 private:
  const FlatModel &fm_;
  double sense_ = 1.0;
  std::vector<std::vector<std::pair<int, double>>> rows_;
  std::vector<int> qrow_of_;
  std::vector<std::map<int, int>> jpos_;
  std::map<std::pair<int, int>, int> hmap_;
};

// Convexity of the quadratic form x'Qx of monomials, in direction s (1:
// convex, -1: concave).
bool monomials_convex(int n, const FlatModel::QuadRow &q, int s) {
  FlatModel t;
  t.ncols = n;
  t.sense = s;
  t.qstart.assign(n + 1, 0);
  std::vector<std::pair<int, std::pair<int, double>>> e;  // (column, (row, value))
  for (size_t k = 0; k < q.v.size(); ++k) {
    const int a = std::max(q.c1[k], q.c2[k]), b = std::min(q.c1[k], q.c2[k]);
    e.push_back({b, {a, a == b ? 2.0 * q.v[k] : q.v[k]}});
  }
  std::sort(e.begin(), e.end());
  for (auto &x : e) {
    ++t.qstart[x.first + 1];
    t.qindex.push_back(x.second.first);
    t.qvalue.push_back(x.second.second);
  }
  for (int j = 0; j < n; ++j) t.qstart[j + 1] += t.qstart[j];
  return objective_convexity(t) == Convexity::Convex;
}

NlpSettings nlp_settings(const EngineSettings &s, const EngineHooks &h, double time_left) {
  NlpSettings ns;
  ns.iter_limit = 3000;
  ns.time_limit = time_left;
  ns.feas_tol = s.feas_tol;
  ns.opt_tol = std::max(1e-8, s.opt_tol * 1e-2);
  ns.log_level = 0;
  ns.stop = h.stop;
  return ns;
}

void take_point(QuadNlp &p, const std::vector<double> &x, double sense, const NlpResult *nr,
                EngineResult &r) {
  r.has_primal = true;
  r.col_value = x;
  r.row_activity.assign(p.m, 0.0);
  p.eval_g(x.data(), r.row_activity.data());
  r.objective = p.objective(x.data());
  std::vector<double> g(r.row_activity);
  r.max_primal_infeas = nlp_violation(p, x.data(), g.data());
  if (!nr) return;
  r.has_dual = true;
  r.row_dual.resize(p.m);
  r.col_dual.resize(p.n);
  for (int i = 0; i < p.m; ++i) r.row_dual[i] = -sense * nr->lambda[i];
  for (int j = 0; j < p.n; ++j) r.col_dual[j] = sense * nr->z[j];
}

EngineStatus status_of(NlpStatus s) {
  static constexpr std::pair<NlpStatus, EngineStatus> kMap[] = {
      {NlpStatus::LocalOptimum, EngineStatus::Optimal},
      {NlpStatus::LocallyInfeasible, EngineStatus::Infeasible},
      {NlpStatus::Infeasible, EngineStatus::Infeasible},
      {NlpStatus::Unbounded, EngineStatus::Unbounded},
      {NlpStatus::IterationLimit, EngineStatus::IterationLimit},
      {NlpStatus::TimeLimit, EngineStatus::TimeLimit},
      {NlpStatus::Interrupted, EngineStatus::Interrupted},
  };
  for (const auto &m : kMap)
    if (m.first == s) return m.second;
  return EngineStatus::Error;
}

// The MIP master: fm's linear part with its quadratic rows freed, an
// epigraph column for a quadratic objective, and the cuts so far.
class Master {
 public:
  Master(const FlatModel &fm, QuadNlp &nlp) : fm_(fm), nlp_(nlp) {
    m_ = fm;
    m_.qstart.clear();
    m_.qindex.clear();
    m_.qvalue.clear();
    m_.qrows.clear();
    for (const auto &q : fm.qrows) {
      m_.rowlo[q.row] = -kInf;
      m_.rowup[q.row] = kInf;
    }
    if (fm.has_quadratic()) {
      eta_ = m_.ncols++;
      m_.obj.push_back(1.0);
      m_.lb.push_back(-kInf);
      m_.ub.push_back(kInf);
      m_.start.push_back(m_.start.back());
      if (!m_.kind.empty()) m_.kind.push_back(ColKind::Continuous);
    }
  }

  FlatModel &model() { return m_; }
  int eta() const { return eta_; }

  // Linearisations at x of the objective and of the quadratic rows that
  // are violated (or all of them, with every_row).
  void cut(const double *x, bool every_row) {
    const int n = fm_.ncols;
    std::vector<double> grad(n);
    if (eta_ >= 0) {
      // sense * eta >= sense * (q(x) + grad q(x) (y - x))
      std::fill(grad.begin(), grad.end(), 0.0);
      const double qv = nlp_.qobj(x, grad.data());
      double rhs = qv;
      for (int j = 0; j < n; ++j) rhs -= grad[j] * x[j];
      std::vector<std::pair<int, double>> e;
      for (int j = 0; j < n; ++j)
        if (grad[j] != 0.0) e.push_back({j, -grad[j]});
      e.push_back({eta_, 1.0});
      add_row(e, fm_.sense < 0 ? -kInf : rhs, fm_.sense < 0 ? rhs : kInf);
    }
    for (const auto &q : fm_.qrows) {
      std::fill(grad.begin(), grad.end(), 0.0);
      const double qv = nlp_.qrow(q, x, grad.data());
      double lin = 0.0;
      for (int j = 0; j < n; ++j)
        for (int k = fm_.start[j]; k < fm_.start[j + 1]; ++k)
          if (fm_.index[k] == q.row) lin += fm_.value[k] * x[j];
      const double act = lin + qv;
      const bool upper = std::isfinite(fm_.rowup[q.row]), lower = std::isfinite(fm_.rowlo[q.row]);
      const double tol = 1e-9 * (1.0 + std::fabs(act));
      const bool viol_up = upper && act > fm_.rowup[q.row] + tol;
      const bool viol_lo = lower && act < fm_.rowlo[q.row] - tol;
      if (!every_row && !viol_up && !viol_lo) continue;
      // a'y + q(x) + grad q(x)(y - x) within the row's bounds.
      std::vector<std::pair<int, double>> e;
      std::vector<double> coef(grad);
      for (int j = 0; j < n; ++j)
        for (int k = fm_.start[j]; k < fm_.start[j + 1]; ++k)
          if (fm_.index[k] == q.row) coef[j] += fm_.value[k];
      for (int j = 0; j < n; ++j)
        if (coef[j] != 0.0) e.push_back({j, coef[j]});
      double shift = qv;
      for (int j = 0; j < n; ++j) shift -= grad[j] * x[j];
      if (upper && (every_row || viol_up)) add_row(e, -kInf, fm_.rowup[q.row] - shift);
      if (lower && (every_row || viol_lo)) add_row(e, fm_.rowlo[q.row] - shift, kInf);
    }
  }

 private:
  void add_row(const std::vector<std::pair<int, double>> &e, double lo, double up) {
    // The matrix is column-wise: insert the row's entries into the columns.
    const int r = m_.nrows++;
    m_.rowlo.push_back(lo);
    m_.rowup.push_back(up);
    std::vector<int> start(m_.ncols + 1, 0), index;
    std::vector<double> value;
    size_t q = 0;
    std::vector<std::pair<int, double>> sorted(e);
    std::sort(sorted.begin(), sorted.end());
    for (int j = 0; j < m_.ncols; ++j) {
      for (int k = m_.start[j]; k < m_.start[j + 1]; ++k) {
        index.push_back(m_.index[k]);
        value.push_back(m_.value[k]);
      }
      while (q < sorted.size() && sorted[q].first == j) {
        index.push_back(r);
        value.push_back(sorted[q].second);
        ++q;
      }
      start[j + 1] = static_cast<int>(index.size());
    }
    m_.start.swap(start);
    m_.index.swap(index);
    m_.value.swap(value);
  }

  const FlatModel &fm_;
  QuadNlp &nlp_;
  FlatModel m_;
  int eta_ = -1;
};

}  // namespace

bool quadratic_model_convex(const FlatModel &fm) {
  if (objective_convexity(fm) != Convexity::Convex) return false;
  for (const auto &q : fm.qrows) {
    const bool upper = std::isfinite(fm.rowup[q.row]), lower = std::isfinite(fm.rowlo[q.row]);
    if (upper && !monomials_convex(fm.ncols, q, 1)) return false;
    if (lower && !monomials_convex(fm.ncols, q, -1)) return false;
  }
  return true;
}

bool needs_quadratic_route(const FlatModel &fm, bool search) {
  if (fm.has_quadratic_rows()) return true;
  if (!fm.has_quadratic()) return false;
  if (search && fm.has_integers()) return true;
  return objective_convexity(fm) == Convexity::NotConvex;
}

void solve_quadratic(FlatModel &fm, const EngineSettings &s, const EngineStart &start,
                     const EngineHooks &hooks, EngineResult &r) {
  const auto t0 = std::chrono::steady_clock::now();
  auto time_left = [&] {
    if (s.time_limit <= 0) return 0.0;
    return std::max(
        1e-3, s.time_limit -
                  std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
  };
  if (!ipopt_available())
    fail(QNDA_ERR_UNSUPPORTED,
         "quadratic rows and non-convex quadratic objectives need the interior-point engine "
         "(Ipopt), which this library was built without");
  const bool convex = quadratic_model_convex(fm);
  const double sense = fm.sense < 0 ? -1.0 : 1.0;
  r = EngineResult();
  r.local_only = !convex;

  QuadNlp relax(fm, {});
  if (static_cast<int>(start.col_value.size()) == fm.ncols)
    for (int j = 0; j < fm.ncols; ++j)
      relax.x0[j] = std::min(std::max(start.col_value[j], relax.xl[j]), relax.xu[j]);
  NlpResult nr;
  ipopt_solve(relax, nlp_settings(s, hooks, time_left()), nr);
  r.barrier_iter += nr.iterations;
  const bool search = s.mip && fm.has_integers();
  if (!search || nr.status != NlpStatus::LocalOptimum) {
    r.status = status_of(nr.status);
    if (r.status == EngineStatus::Error) r.message = nr.message;
    if (!search && nr.has_point &&
        (r.status == EngineStatus::Optimal || r.status == EngineStatus::Unbounded))
      take_point(relax, nr.x, sense, &nr, r);
    r.best_bound = r.objective;
    r.solve_time = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    return;
  }

  // Outer approximation.
  std::unique_ptr<Engine> mip = make_engine("highs");
  Master master(fm, relax);
  master.cut(nr.x.data(), true);
  EngineSettings ms = s;
  ms.log_level = 0;
  EngineStart none;
  std::vector<double> best;
  double best_obj = sense * kInf, bound = -sense * kInf;
  const int n = fm.ncols;
  r.status = EngineStatus::Infeasible;
  for (int it = 0; it < 200; ++it) {
    if (hooks.stop && hooks.stop()) {
      r.status = EngineStatus::Interrupted;
      break;
    }
    if (s.time_limit > 0 && time_left() <= 1e-3) {
      r.status = EngineStatus::TimeLimit;
      break;
    }
    ms.time_limit = time_left();
    FlatModel mm = master.model();
    EngineResult mr;
    mip->solve(mm, ms, none, hooks, mr);
    r.nodes += mr.nodes;
    r.simplex_iter += mr.simplex_iter;
    if (mr.status == EngineStatus::Infeasible || mr.status == EngineStatus::InfeasibleOrUnbounded) {
      // The cuts leave nothing better than the best point: it is optimal.
      r.status = best.empty() ? EngineStatus::Infeasible : EngineStatus::Optimal;
      if (!best.empty()) bound = best_obj;
      break;
    }
    if (mr.status == EngineStatus::Unbounded) {
      r.status = EngineStatus::Unbounded;
      break;
    }
    if (mr.status != EngineStatus::Optimal || !mr.has_primal) {
      r.status = mr.status == EngineStatus::Error ? EngineStatus::Error : mr.status;
      r.message = mr.message;
      break;
    }
    bound = mr.objective;
    std::vector<double> xm(mr.col_value.begin(), mr.col_value.begin() + n);
    // The master's point itself, when it satisfies the quadratic rows.
    auto consider = [&](const std::vector<double> &x) {
      std::vector<double> gx(fm.nrows);
      relax.eval_g(x.data(), gx.data());
      if (nlp_violation(relax, x.data(), gx.data()) > s.feas_tol * 10) return;
      const double v = relax.objective(x.data());
      if (sense * v < sense * best_obj) {
        best_obj = v;
        best = x;
        ++r.mip_sols;
      }
    };
    consider(xm);
    // The continuous problem with the master's integer values.
    std::vector<double> fix(n, std::nan(""));
    for (int j = 0; j < n; ++j) {
      if (!fm.has_integers()) break;
      switch (fm.kind[j]) {
        case ColKind::Integer:
          fix[j] = std::round(xm[j]);
          break;
        case ColKind::SemiInteger:
          fix[j] = std::fabs(xm[j]) < 0.5 ? 0.0 : std::round(xm[j]);
          break;
        case ColKind::SemiContinuous:
          if (std::fabs(xm[j]) <= 1e-9) fix[j] = 0.0;
          break;
        default:
          break;
      }
    }
    QuadNlp sub(fm, fix);
    for (int j = 0; j < n; ++j) sub.x0[j] = std::min(std::max(xm[j], sub.xl[j]), sub.xu[j]);
    NlpResult sr;
    ipopt_solve(sub, nlp_settings(s, hooks, time_left()), sr);
    r.barrier_iter += sr.iterations;
    if (sr.status == NlpStatus::LocalOptimum && sr.has_point) {
      consider(sr.x);
      master.cut(sr.x.data(), true);
    }
    master.cut(xm.data(), false);
    const double gap = best.empty() ? kInf : sense * (best_obj - bound);
    if (gap <= std::max(s.mip_abs_gap, s.mip_rel_gap * std::fabs(best_obj))) {
      r.status = EngineStatus::Optimal;
      break;
    }
    r.status = EngineStatus::IterationLimit;  // unless a later pass closes the gap
  }
  if (!best.empty()) take_point(relax, best, sense, nullptr, r);
  r.best_bound = r.status == EngineStatus::Optimal ? r.objective : bound;
  r.rel_gap = best.empty()
                  ? kInf
                  : std::fabs(best_obj - r.best_bound) / std::max(1e-10, std::fabs(best_obj));
  r.solve_time = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

}  // namespace qnda
