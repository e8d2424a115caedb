#include "engine/convexity.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace qnda {

Convexity objective_convexity(const FlatModel &m, int max_dense) {
  if (m.qstart.empty()) return Convexity::Convex;
  const double s = m.sense < 0 ? -1.0 : 1.0;
  // Columns with quadratic terms, and the diagonal test.
  std::vector<int> pos(m.ncols, -1);
  std::vector<int> cols;
  double scale = 0.0;
  for (int j = 0; j < m.ncols; ++j)
    for (int k = m.qstart[j]; k < m.qstart[j + 1]; ++k) {
      const int i = m.qindex[k];
      const double v = s * m.qvalue[k];
      if (v == 0.0) continue;
      scale = std::max(scale, std::fabs(v));
      for (int c : {i, j})
        if (pos[c] < 0) {
          pos[c] = static_cast<int>(cols.size());
          cols.push_back(c);
        }
    }
  if (cols.empty()) return Convexity::Convex;
  const double tol = 1e-9 * scale;
  std::vector<double> diag(m.ncols, 0.0);
  for (int j = 0; j < m.ncols; ++j)
    for (int k = m.qstart[j]; k < m.qstart[j + 1]; ++k)
      if (m.qindex[k] == j) diag[j] += s * m.qvalue[k];
  for (int c : cols)
    if (diag[c] < -tol) return Convexity::NotConvex;
  const int n = static_cast<int>(cols.size());
  if (n > max_dense) return Convexity::Unknown;

  // Dense symmetric copy, then an LDL' elimination with diagonal pivoting:
  // positive semidefinite iff no pivot is negative and a zero pivot has a
  // zero column.
  std::vector<double> a(static_cast<size_t>(n) * n, 0.0);
  auto at = [&](int r, int c) -> double & { return a[static_cast<size_t>(r) * n + c]; };
  for (int j = 0; j < m.ncols; ++j)
    for (int k = m.qstart[j]; k < m.qstart[j + 1]; ++k) {
      const int i = m.qindex[k];
      const double v = s * m.qvalue[k];
      if (pos[i] < 0 || pos[j] < 0) continue;
      if (i == j) {
        at(pos[j], pos[j]) += v;
      } else {
        at(pos[i], pos[j]) += v;
        at(pos[j], pos[i]) += v;
      }
    }
  std::vector<char> done(n, 0);
  for (int step = 0; step < n; ++step) {
    int p = -1;
    double best = -1.0;
    for (int i = 0; i < n; ++i)
      if (!done[i] && at(i, i) > best) {
        best = at(i, i);
        p = i;
      }
    if (best < -tol) return Convexity::NotConvex;
    if (best <= tol) {
      // Every remaining pivot is ~0: the rest must vanish.
      for (int i = 0; i < n; ++i)
        if (!done[i])
          for (int j = 0; j < n; ++j)
            if (!done[j] && std::fabs(at(i, j)) > 1e-7 * scale) return Convexity::NotConvex;
      return Convexity::Convex;
    }
    done[p] = 1;
    const double d = at(p, p);
    for (int i = 0; i < n; ++i) {
      if (done[i] || at(i, p) == 0.0) continue;
      const double f = at(i, p) / d;
      for (int j = 0; j < n; ++j)
        if (!done[j]) at(i, j) -= f * at(p, j);
    }
  }
  return Convexity::Convex;
}

}  // namespace qnda
