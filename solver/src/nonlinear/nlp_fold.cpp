// The transfer rows of nonlinear objectives.  A modelling layer that keeps
// its objective linear writes a nonlinear objective f(x) as a free column t
// with objective coefficient 1 and a row f(x) - t = 0.  Solved as written,
// the engines would see an extra equality, and SLP would meet the objective's
// curvature only through a linearised constraint and its penalty.  Any such
// row (an equality with nonlinear coefficients, holding a free column found
// nowhere else but in the linear objective) is folded back: with
// rest(x) + a * t = b and objective c * t + ..., the engines minimise
// c * (b - rest(x)) / a + ..., and t is recovered from the solution.
#include <cmath>
#include <limits>
#include <numeric>

#include "model/problem.h"
#include "nonlinear/nlp_model.h"

namespace qnda {

void NlpModel::fold_transfer_rows() {
  main_row_.resize(m);
  std::iota(main_row_.begin(), main_row_.end(), 0);
  // Appearances of each column outside the linear objective; a nonlinear
  // one counts twice, so that a count of 1 is a single linear entry.
  std::vector<int> uses(n, 0);
  auto count = [&](const Row &r) {
    for (int j : r.lin_col) ++uses[j];
    for (const auto &q : r.quad) uses[q.i] += 2, uses[q.j] += 2;
    for (const auto &t : r.terms)
      for (int j : t.ext) uses[j] += 2;
  };
  count(obj_);
  for (const Row &r : rows_) count(r);
  constexpr double kInf = std::numeric_limits<double>::infinity();

  std::vector<char> folded(m, 0);
  for (int i = 0; i < m; ++i) {
    Row &r = rows_[i];
    if (r.terms.empty() || gl[i] != gu[i] || !std::isfinite(gl[i])) continue;
    size_t k = 0;
    while (k < r.lin_col.size()) {
      const int j = r.lin_col[k];
      if (uses[j] == 1 && xl[j] == -kInf && xu[j] == kInf && obj_lin_[j] != 0.0 &&
          r.lin_val[k] != 0.0)
        break;
      ++k;
    }
    if (k == r.lin_col.size()) continue;
    Transfer tr{i, r.lin_col[k], r.lin_val[k], gl[i], obj_lin_[r.lin_col[k]], Row()};
    r.lin_col.erase(r.lin_col.begin() + k);
    r.lin_val.erase(r.lin_val.begin() + k);
    const double w = -tr.c / tr.a;
    obj_const_ += tr.c * tr.b / tr.a;
    obj_lin_[tr.col] = 0.0;
    for (size_t q = 0; q < r.lin_col.size(); ++q) obj_lin_[r.lin_col[q]] += w * r.lin_val[q];
    for (const auto &q : r.quad) obj_.quad.push_back({q.i, q.j, w * q.v, -1, -1, -1});
    for (const auto &t : r.terms) {
      Term u = t;
      u.factor *= w;
      obj_.terms.push_back(std::move(u));
    }
    tr.body = std::move(r);
    // t stays a column of the engines' problem, fixed and unused.
    xl[tr.col] = xu[tr.col] = x0[tr.col] = 0.0;
    folded[i] = 1;
    transfers_.push_back(std::move(tr));
  }
  if (transfers_.empty()) return;
  int kept = 0;
  for (int i = 0; i < m; ++i) {
    if (folded[i]) continue;
    if (kept != i) {
      rows_[kept] = std::move(rows_[i]);
      gl[kept] = gl[i];
      gu[kept] = gu[i];
    }
    main_row_[kept++] = i;
  }
  m = kept;
  rows_.resize(m);
  gl.resize(m);
  gu.resize(m);
  main_row_.resize(m);
}

void NlpModel::main_solution(const NlpResult &r, NlpSolution &sol) {
  const Model &mm = p_.main->model;
  sol.has_solution = true;
  sol.x = r.x;
  std::vector<double> g(m, 0.0);
  eval_g(r.x.data(), g.data());
  sol.slack.assign(main_m_, 0.0);
  // Duals and reduced costs as sensitivities of the user's objective.
  sol.duals.assign(main_m_, 0.0);
  sol.djs.assign(n, 0.0);
  for (int i = 0; i < m; ++i) {
    const int row = main_row_[i];
    sol.slack[row] = mm.rhs()[row] - g[i];
    if (i < static_cast<int>(r.lambda.size())) sol.duals[row] = -sense * r.lambda[i];
  }
  for (int j = 0; j < n && j < static_cast<int>(r.z.size()); ++j) sol.djs[j] = sense * r.z[j];
  for (Transfer &t : transfers_) {
    double rest = 0.0;
    if (!row_value(t.body, sol.x.data(), rest)) rest = std::nan("");
    sol.x[t.col] = (t.b - rest) / t.a;
    sol.duals[t.row] = t.c / t.a;  // d objective / d b
    sol.djs[t.col] = 0.0;
  }
}

}  // namespace qnda
