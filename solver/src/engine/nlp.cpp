#include "engine/nlp.h"

#include <algorithm>

namespace qnda {

double nlp_violation(const NlpProblem &p, const double *x, const double *g) {
  double v = 0.0;
  for (int j = 0; j < p.n; ++j) v = std::max({v, p.xl[j] - x[j], x[j] - p.xu[j]});
  for (int i = 0; i < p.m; ++i) v = std::max({v, p.gl[i] - g[i], g[i] - p.gu[i]});
  return v;
}

}  // namespace qnda
