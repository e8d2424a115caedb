#include "engine/nlp.h"

#include <algorithm>
#include <cmath>

namespace qnda {

double nlp_violation(const NlpProblem &p, const double *x, const double *g) {
  double v = 0.0;
  for (int j = 0; j < p.n; ++j) v = std::max({v, p.xl[j] - x[j], x[j] - p.xu[j]});
  for (int i = 0; i < p.m; ++i) v = std::max({v, p.gl[i] - g[i], g[i] - p.gu[i]});
  return v;
}

void nlp_bounds(const NlpProblem &p, double big, double *xl, double *xu, double *gl, double *gu) {
  auto finite = [big](double v) { return std::isinf(v) ? (v > 0 ? big : -big) : v; };
  std::transform(p.xl.begin(), p.xl.end(), xl, finite);
  std::transform(p.xu.begin(), p.xu.end(), xu, finite);
  std::transform(p.gl.begin(), p.gl.end(), gl, finite);
  std::transform(p.gu.begin(), p.gu.end(), gu, finite);
}

}  // namespace qnda
