#include "nonlinear/slp.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>

#include "core/error.h"
#include "engine/convexity.h"
#include "engine/engine.h"

namespace qnda {

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kPenaltyMax = 1e12;
constexpr double kHuge = 1e20;  // an objective or point beyond it is unbounded

// The LP of one iteration, kept between iterations: only bounds, the
// objective and the Jacobian's values change.
class SlpLp {
 public:
  // Every row gets error vectors: the step bounds can make even a linear
  // row unreachable from the current point.
  SlpLp(const NlpProblem &p, const SlpOptions &o) : p_(p), o_(o) {
    for (int i = 0; i < p.m; ++i) pen_row_.push_back(i);
    npen_ = static_cast<int>(pen_row_.size());
    // Column-wise order of the Jacobian entries.
    const int nj = static_cast<int>(p.jrow.size());
    std::vector<int> count(p.n + 1, 0);
    for (int k = 0; k < nj; ++k) ++count[p.jcol[k] + 1];
    for (int j = 0; j < p.n; ++j) count[j + 1] += count[j];
    jstart_ = count;
    perm_.resize(nj);
    std::vector<int> next(count.begin(), count.end() - 1);
    for (int k = 0; k < nj; ++k) perm_[next[p.jcol[k]]++] = k;
    // The curvature's structure: the Hessian's, with a diagonal entry for
    // every nonlinear column (where a shift to semidefiniteness goes).
    hr_ = p.hrow;
    hc_ = p.hcol;
    diag_.assign(p.n, -1);
    for (size_t k = 0; k < hr_.size(); ++k)
      if (hr_[k] == hc_[k]) diag_[hr_[k]] = static_cast<int>(k);
    for (int j = 0; j < p.n; ++j)
      if (p.nonlinear_col[j] && diag_[j] < 0) {
        diag_[j] = static_cast<int>(hr_.size());
        hr_.push_back(j);
        hc_.push_back(j);
      }
  }

  size_t ncurv() const { return hr_.size(); }

  // Adds the smallest shift sigma * I (on the nonlinear columns) found by
  // doubling that makes curv positive semidefinite.
  void make_semidefinite(std::vector<double> &curv) const {
    FlatModel q;
    q.ncols = p_.n;
    q.sense = 1;
    double scale = 0.0;
    for (double v : curv) scale = std::max(scale, std::fabs(v));
    double sigma = 0.0;
    for (int attempt = 0; attempt < 60; ++attempt) {
      q.qstart.assign(p_.n + 1, 0);
      for (size_t k = 0; k < hr_.size(); ++k) ++q.qstart[hc_[k] + 1];
      for (int j = 0; j < p_.n; ++j) q.qstart[j + 1] += q.qstart[j];
      q.qindex.resize(hr_.size());
      q.qvalue.resize(hr_.size());
      std::vector<int> next(q.qstart.begin(), q.qstart.end() - 1);
      for (size_t k = 0; k < hr_.size(); ++k) {
        const int at = next[hc_[k]]++;
        q.qindex[at] = hr_[k];
        q.qvalue[at] = curv[k] + (hr_[k] == hc_[k] && p_.nonlinear_col[hr_[k]] ? sigma : 0.0);
      }
      if (objective_convexity(q) == Convexity::Convex) break;
      sigma = sigma == 0.0 ? 1e-6 * std::max(1.0, scale) : 2.0 * sigma;
    }
    for (int j = 0; j < p_.n; ++j)
      if (diag_[j] >= 0 && p_.nonlinear_col[j]) curv[diag_[j]] += sigma;
  }

  // d'Bd for the step d.
  double curvature_of(const std::vector<double> &curv, const double *d) const {
    double v = 0.0;
    for (size_t k = 0; k < hr_.size(); ++k)
      v += (hr_[k] == hc_[k] ? 1.0 : 2.0) * curv[k] * d[hr_[k]] * d[hc_[k]];
    return v;
  }

  int npen() const { return npen_; }

  int row_status(int i) const { return o_.row_status.empty() ? QSLP_ROW_HARD : o_.row_status[i]; }
  // Cost of a unit of row i's error vectors.
  double pen_cost(int i, double penalty) const {
    const double w = o_.row_weight.empty() ? 1.0 : o_.row_weight[i];
    const int st = row_status(i);
    return st == QSLP_ROW_SOFT ? w : st == QSLP_ROW_INACTIVE ? 0.0 : penalty * w;
  }
  double jfac(size_t k) const { return o_.jac_factor.empty() ? 1.0 : o_.jac_factor[k]; }

  // The linear rows and the bounds alone, without step bounds or error
  // vectors, and without objective: whether any point satisfies them.
  void build_linear_part(const double *jac, FlatModel &lp) {
    lp = FlatModel();
    lp.ncols = lp.orig_cols = p_.n;
    lp.nrows = lp.orig_rows = p_.m;
    lp.obj.assign(p_.n, 0.0);
    lp.lb = p_.xl;
    lp.ub = p_.xu;
    lp.rowlo.resize(p_.m);
    lp.rowup.resize(p_.m);
    for (int i = 0; i < p_.m; ++i) {
      const bool hard = p_.linear_row[i] && row_status(i) == QSLP_ROW_HARD;
      lp.rowlo[i] = hard ? p_.gl[i] : -kInf;
      lp.rowup[i] = hard ? p_.gu[i] : kInf;
    }
    put_jacobian(jac, lp);
  }

  // Fills the LP at x; jac holds J(x), g g(x), grad the objective's gradient.
  // curv: the Hessian of the Lagrangian in p's hrow/hcol order, already
  // made positive semidefinite, or null for a pure LP.
  void build(const double *x, const double *g, const double *jac, const double *grad,
             const std::vector<double> &delta, bool step_bounds, double penalty,
             const std::vector<double> *curv, FlatModel &lp) {
    const int n = p_.n, m = p_.m, nc = n + 2 * npen_;
    lp = FlatModel();
    lp.ncols = lp.orig_cols = nc;
    lp.nrows = lp.orig_rows = m;
    lp.sense = 1;
    lp.obj.assign(grad, grad + n);
    lp.obj.resize(nc, penalty);
    lp.lb.resize(nc);
    lp.ub.resize(nc);
    for (int j = 0; j < n; ++j) {
      lp.lb[j] = p_.xl[j];
      lp.ub[j] = p_.xu[j];
      if (step_bounds && p_.nonlinear_col[j]) {
        lp.lb[j] = std::max(lp.lb[j], x[j] - delta[j]);
        lp.ub[j] = std::min(lp.ub[j], x[j] + delta[j]);
      }
    }
    for (int j = n; j < nc; ++j) {
      lp.lb[j] = 0.0;
      lp.ub[j] = kInf;
    }
    // Row i: J_i y in [gl - g + J_i x, gu - g + J_i x]; linear rows have
    // g = J_i x exactly.
    std::vector<double> jx(m, 0.0);
    for (size_t k = 0; k < p_.jrow.size(); ++k) jx[p_.jrow[k]] += jfac(k) * jac[k] * x[p_.jcol[k]];
    lp.rowlo.resize(m);
    lp.rowup.resize(m);
    for (int i = 0; i < m; ++i) {
      const double shift = p_.linear_row[i] ? 0.0 : jx[i] - g[i];
      lp.rowlo[i] = p_.gl[i] + shift;
      lp.rowup[i] = p_.gu[i] + shift;
      if (row_status(i) == QSLP_ROW_INACTIVE) lp.rowlo[i] = -kInf, lp.rowup[i] = kInf;
    }
    put_jacobian(jac, lp);
    // p (+1) and q (-1) of each penalised row.
    for (int s = 0; s < 2 * npen_; ++s) {
      lp.obj[n + s] = pen_cost(pen_row_[s % npen_], penalty);
      lp.index.push_back(pen_row_[s % npen_]);
      lp.value.push_back(s < npen_ ? 1.0 : -1.0);
      lp.start.push_back(static_cast<int>(lp.index.size()));
    }
    if (!curv) return;
    // 0.5 (y - x)'B(y - x): B's lower triangle column-wise, and -Bx into
    // the linear part.
    const size_t nh = hr_.size();
    lp.qstart.assign(nc + 1, 0);
    for (size_t k = 0; k < nh; ++k) ++lp.qstart[hc_[k] + 1];
    for (int j = 0; j < nc; ++j) lp.qstart[j + 1] += lp.qstart[j];
    lp.qindex.resize(nh);
    lp.qvalue.resize(nh);
    std::vector<int> next(lp.qstart.begin(), lp.qstart.end() - 1);
    for (size_t k = 0; k < nh; ++k) {
      const int q = next[hc_[k]]++;
      lp.qindex[q] = hr_[k];
      lp.qvalue[q] = (*curv)[k];
      lp.obj[hr_[k]] -= (*curv)[k] * x[hc_[k]];
      if (hr_[k] != hc_[k]) lp.obj[hc_[k]] -= (*curv)[k] * x[hr_[k]];
    }
  }

 private:
  const NlpProblem &p_;
  const SlpOptions &o_;
  std::vector<int> pen_row_;
  int npen_ = 0;
  // The Jacobian's values as lp's column-wise matrix.
  void put_jacobian(const double *jac, FlatModel &lp) const {
    lp.start.assign(jstart_.begin(), jstart_.end());
    lp.index.resize(perm_.size());
    lp.value.resize(perm_.size());
    for (size_t q = 0; q < perm_.size(); ++q) {
      lp.index[q] = p_.jrow[perm_[q]];
      lp.value[q] = jfac(perm_[q]) * jac[perm_[q]];
    }
  }

  std::vector<int> jstart_, perm_;
  std::vector<int> hr_, hc_, diag_;
};

// Weighted sums of the violations of hard and of soft rows, and whether
// every hard row is within the absolute and relative row tolerances.
struct Violation {
  double sum = 0.0, soft = 0.0;
  bool within = true;
  double merit(double f, double penalty) const { return f + penalty * sum + soft; }
};

Violation violation(const NlpProblem &p, const SlpOptions &o, const double *g, double atol,
                    double rtol) {
  Violation v;
  for (int i = 0; i < p.m; ++i) {
    const int st = o.row_status.empty() ? QSLP_ROW_HARD : o.row_status[i];
    if (st == QSLP_ROW_INACTIVE) continue;
    const double e = std::max({0.0, p.gl[i] - g[i], g[i] - p.gu[i]});
    const double w = o.row_weight.empty() ? 1.0 : o.row_weight[i];
    if (st == QSLP_ROW_SOFT) {
      v.soft += w * e;
      continue;
    }
    v.sum += w * e;
    if (e > atol + rtol * std::fabs(g[i])) v.within = false;
  }
  return v;
}

struct Point {
  std::vector<double> x, g, jac, grad;
  double f = 0.0;
  bool eval(NlpProblem &p) {
    g.resize(p.m);
    jac.resize(p.jrow.size());
    grad.resize(p.n);
    return p.eval_f(x.data(), f) && p.eval_g(x.data(), g.data()) &&
           p.eval_jac(x.data(), jac.data()) && p.eval_grad(x.data(), grad.data());
  }
};

}  // namespace

void slp_solve(NlpProblem &p, const SlpOptions &o, const SlpHooks &hooks, NlpResult &r) {
  const auto t0 = std::chrono::steady_clock::now();
  const NlpSettings &s = o.base;
  auto log = [&](int level, const char *fmt, auto... args) {
    if (s.log_level < level || !s.log) return;
    char line[256];
    std::snprintf(line, sizeof line, fmt, args...);
    s.log(line);
  };
  auto elapsed = [&] {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  };
  auto hook = [](const std::function<int()> &h) { return h && h() != 0; };

  std::unique_ptr<Engine> engine = make_engine("highs");
  SlpLp lpb(p, o);
  const int n = p.n;
  r = NlpResult();

  Point cur;
  cur.x = p.x0;
  if (o.cascade) o.cascade(cur.x);
  if (!cur.eval(p)) {
    r.status = NlpStatus::Error;
    r.message = "the problem's functions are not defined at the starting point";
    return;
  }
  std::vector<double> scale(n), delta(n);
  double big_delta = o.delta0 > 0 ? o.delta0 : 1.0;
  // A column's kind: adaptive, fixed or free of step bounds.
  auto kind = [&](int j) {
    return o.col_delta_kind.empty() ? QSLP_DELTA_ADAPTIVE : int(o.col_delta_kind[j]);
  };
  for (int j = 0; j < n; ++j) {
    scale[j] = o.delta0 > 0 ? 1.0 : std::max(1.0, std::fabs(cur.x[j]));
    delta[j] = big_delta * scale[j];
    const double own = o.col_delta0.empty() ? 0.0 : o.col_delta0[j];
    if (own > 0) delta[j] = own, scale[j] = own / big_delta;
    if (kind(j) == QSLP_DELTA_FREE) delta[j] = kInf;
  }
  double gmax = 0.0;
  for (double v : cur.grad) gmax = std::max(gmax, std::fabs(v));
  double penalty = o.penalty0 > 0 ? o.penalty0 : std::max(10.0, 10.0 * gmax);
  if (o.penalty_out) *o.penalty_out = penalty;
  const bool step_bounds = o.step_bounds != 0;
  const bool adaptive = o.step_bounds == 1;

  std::vector<double> last_step(n, 0.0);
  // Infinite when no column has an adaptive step bound: nothing can shrink.
  auto largest_delta = [&] {
    double d = -1.0;
    for (int j = 0; j < n; ++j)
      if (p.nonlinear_col[j] && kind(j) == QSLP_DELTA_ADAPTIVE)
        d = std::max(d, delta[j] / scale[j]);
    return d < 0 ? kInf : d;
  };
  Violation viol = violation(p, o, cur.g.data(), s.feas_tol, o.rtol_row);
  log(1, "SLP: %d columns (%d nonlinear), %d rows (%d nonlinear)", n,
      static_cast<int>(std::count(p.nonlinear_col.begin(), p.nonlinear_col.end(), 1)), p.m,
      lpb.npen());
  log(2, "%5s %18s %10s %10s %10s %9s", "iter", "objective", "violation", "step", "delta",
      "penalty");

  EngineSettings es;
  es.log_level = 0;
  EngineStart start;
  EngineHooks eh;
  eh.stop = s.stop;
  FlatModel lp;
  EngineResult lr;
  Point trial;
  std::vector<double> lambda(p.m, 0.0), z(n, 0.0);
  bool stop_user = false;
  r.status = NlpStatus::IterationLimit;
  const bool use_curvature = o.curvature && p.has_hessian() && !p.hrow.empty();
  std::vector<double> curv, step(n);

  if (hook(hooks.slpstart) || hook(hooks.construct)) {
    r.status = NlpStatus::Interrupted;
    stop_user = true;
  }
  if (!stop_user) {
    // Error vectors make every LP feasible, so infeasible linear rows are
    // found first, and proven.
    lpb.build_linear_part(cur.jac.data(), lp);
    lr = EngineResult();
    engine->solve(lp, es, start, eh, lr);
    if (lr.status == EngineStatus::Infeasible) {
      r.status = NlpStatus::Infeasible;
      stop_user = true;
    }
  }
  int it = 0;
  for (; !stop_user && it < s.iter_limit; ++it) {
    if (hook(hooks.iterstart)) {
      r.status = NlpStatus::Interrupted;
      break;
    }
    if (s.stop && s.stop()) {
      r.status = NlpStatus::Interrupted;
      break;
    }
    if (s.time_limit > 0 && elapsed() > s.time_limit) {
      r.status = NlpStatus::TimeLimit;
      break;
    }
    bool curved = false;
    if (use_curvature) {
      curv.assign(lpb.ncurv(), 0.0);
      curved = p.eval_hess(cur.x.data(), 1.0, lambda.data(), curv.data());
      if (curved) lpb.make_semidefinite(curv);
    }
    lpb.build(cur.x.data(), cur.g.data(), cur.jac.data(), cur.grad.data(), delta, step_bounds,
              penalty, curved ? &curv : nullptr, lp);
    es.time_limit = s.time_limit > 0 ? std::max(1e-3, s.time_limit - elapsed()) : 0.0;
    lr = EngineResult();
    engine->solve(lp, es, start, eh, lr);
    if (lr.status == EngineStatus::Unbounded || lr.status == EngineStatus::InfeasibleOrUnbounded) {
      r.status = NlpStatus::Unbounded;
      break;
    }
    if (lr.status == EngineStatus::Interrupted) {
      r.status = NlpStatus::Interrupted;
      break;
    }
    if (lr.status == EngineStatus::TimeLimit) {
      r.status = NlpStatus::TimeLimit;
      break;
    }
    if (lr.status != EngineStatus::Optimal || !lr.has_primal) {
      r.status = NlpStatus::Error;
      r.message = "the LP of iteration " + std::to_string(it + 1) + " failed" +
                  (lr.message.empty() ? "" : ": " + lr.message);
      break;
    }
    if (lr.has_basis) {
      start.col_basis = lr.col_basis;
      start.row_basis = lr.row_basis;
    }

    // The step and the decrease the linearisation promises.
    double pen_cost = 0.0;
    for (int k = n; k < lp.ncols; ++k) pen_cost += lp.obj[k] * lr.col_value[k];
    double lin = 0.0, stepmax = 0.0;
    bool at_bound = false;
    trial.x.assign(lr.col_value.begin(), lr.col_value.begin() + n);
    for (int j = 0; j < n; ++j) {
      const double d = trial.x[j] - cur.x[j];
      lin += cur.grad[j] * d;
      stepmax = std::max(stepmax, std::fabs(d) / scale[j]);
      if (step_bounds && p.nonlinear_col[j] && std::fabs(d) >= 0.999 * delta[j]) at_bound = true;
    }
    if (curved) {
      for (int j = 0; j < n; ++j) step[j] = trial.x[j] - cur.x[j];
      lin += 0.5 * lpb.curvature_of(curv, step.data());
    }
    const double merit = viol.merit(cur.f, penalty);
    const double pred = penalty * viol.sum + viol.soft - (lin + pen_cost);
    double ymax = 0.0;
    if (lr.has_dual)
      for (int i = 0; i < p.m; ++i)
        if (lpb.row_status(i) == QSLP_ROW_HARD) ymax = std::max(ymax, std::fabs(lr.row_dual[i]));

    bool accepted = false;
    double ratio = 0.0;
    Violation tviol;
    if (trial.eval(p)) {
      tviol = violation(p, o, trial.g.data(), s.feas_tol, o.rtol_row);
      const double actual = merit - tviol.merit(trial.f, penalty);
      ratio = pred > 0 ? actual / pred : (actual >= 0 ? 1.0 : -1.0);
      accepted = actual > -1e-12 * (1.0 + std::fabs(merit)) && (pred <= 0 || ratio > 1e-4);
    }

    // Convergence, judged on the step the LP proposes at the current point.
    bool small_step = true;
    for (int j = 0; j < n && small_step; ++j) {
      const double at = o.col_atol.empty() || o.col_atol[j] < 0 ? o.atol_var : o.col_atol[j];
      const double rt = o.col_rtol.empty() || o.col_rtol[j] < 0 ? o.rtol_var : o.col_rtol[j];
      small_step = std::fabs(trial.x[j] - cur.x[j]) <= at + rt * std::fabs(cur.x[j]);
    }
    const double ftol = o.atol_obj + o.rtol_obj * std::fabs(cur.f);
    // A small step or a small predicted decrease proves little while the
    // step bounds cut the step problem's own optimum off.
    const bool stationary = !at_bound && (small_step || pred <= ftol);

    if (accepted) {
      std::swap(cur, trial);
      viol = tviol;
      if (o.cascade) {
        // Determined columns follow their rows; the point is evaluated again.
        Point moved = cur;
        o.cascade(moved.x);
        if (moved.eval(p)) {
          cur = std::move(moved);
          viol = violation(p, o, cur.g.data(), s.feas_tol, o.rtol_row);
        }
      }
      if (lr.has_dual) {
        // The LP's duals are sensitivities of its objective; the Lagrangian
        // f + lambda'g takes them negated.
        for (int i = 0; i < p.m; ++i) lambda[i] = -lr.row_dual[i];
        for (int j = 0; j < n; ++j) z[j] = lr.col_dual[j];
      }
    }
    if (adaptive) {
      // A rejected step shrinks the whole region; after an accepted one a
      // variable whose step turned round halves its bound, and one that ran
      // into its bound on a good step doubles it.
      for (int j = 0; j < n; ++j) {
        if (!p.nonlinear_col[j] || kind(j) != QSLP_DELTA_ADAPTIVE) continue;
        const double d = accepted ? cur.x[j] - trial.x[j] : 0.0;  // swapped above
        if (!accepted) {
          delta[j] *= 0.25;
        } else if (d * last_step[j] < 0 || ratio < 0.25) {
          delta[j] *= 0.5;
        } else if (ratio > 0.75 && std::fabs(d) >= 0.999 * delta[j]) {
          delta[j] = std::min(delta[j] * 2.0, 1e10 * scale[j]);
        }
        if (accepted) last_step[j] = d;
      }
      big_delta = largest_delta();
    }
    log(2, "%5d %18.10g %10.3e %10.3e %10.3e %9.2e%s", it + 1, cur.f, viol.sum, stepmax, big_delta,
        penalty, accepted ? "" : " R");

    // The penalty must exceed the multipliers, and grows while the point
    // stays infeasible though the LP cannot do better.
    if (ymax >= 0.9 * penalty || (stationary && !viol.within)) {
      if ((penalty >= kPenaltyMax || o.fixed_penalty) && stationary && !viol.within) {
        r.status = NlpStatus::LocallyInfeasible;
        ++it;
        break;
      }
      if (!o.fixed_penalty) penalty = std::min(penalty * 10.0, kPenaltyMax);
      if (o.penalty_out) *o.penalty_out = penalty;
    }
    if (hooks.point) hooks.point(cur.x.data());
    if (hooks.itervar)
      for (int j = 0; j < n; ++j)
        if (p.nonlinear_col[j]) hooks.itervar(j);
    if (hook(hooks.iterend)) {
      r.status = NlpStatus::Interrupted;
      ++it;
      break;
    }
    if (viol.within && (stationary || (adaptive && big_delta < o.delta_min))) {
      r.status = NlpStatus::LocalOptimum;
      ++it;
      break;
    }
    if (adaptive && big_delta < o.delta_min) {
      r.status = viol.within ? NlpStatus::LocalOptimum : NlpStatus::LocallyInfeasible;
      ++it;
      break;
    }
    if (viol.within && (cur.f < -kHuge)) {
      r.status = NlpStatus::Unbounded;
      ++it;
      break;
    }
    bool diverged = false;
    for (double v : cur.x) diverged = diverged || std::fabs(v) > kHuge;
    if (diverged) {
      r.status = NlpStatus::Unbounded;
      ++it;
      break;
    }
  }
  hook(hooks.slpend);

  r.iterations = it;
  r.has_point = true;
  r.x = cur.x;
  r.f = cur.f;
  r.lambda = lambda;
  r.z = z;
  r.max_violation = nlp_violation(p, cur.x.data(), cur.g.data());
  if (r.status == NlpStatus::Infeasible) r.has_point = false;
  log(1, "SLP: %d iterations, objective %.10g, largest violation %.3e, %.2fs", it, cur.f,
      r.max_violation, elapsed());
}

}  // namespace qnda
