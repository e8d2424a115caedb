#include "engine/userscale.h"

#include <cmath>

#include "model/problem.h"

namespace qnda {
namespace {

void mul(std::vector<double> &v, const std::vector<double> &f, bool divide) {
  const size_t n = std::min(v.size(), f.size());
  for (size_t k = 0; k < n; ++k) v[k] = divide ? v[k] / f[k] : v[k] * f[k];
}

}  // namespace

void user_scale_factors(const qnda_problem_s &prob, const FlatModel &fm, ScaleFactors &f) {
  f = ScaleFactors();
  const UserScale *us = prob.user_scale.get();
  if (!us || us->epoch != fm.epoch || (us->row_exp.empty() && us->col_exp.empty())) return;
  f.row.assign(fm.nrows, 1.0);
  f.col.assign(fm.ncols, 1.0);
  for (int i = 0; i < fm.orig_rows; ++i) {
    auto it = us->row_exp.find(fm.row_id.empty() ? i : fm.row_id[i]);
    if (it != us->row_exp.end()) f.row[i] = std::ldexp(1.0, it->second);
  }
  for (int j = 0; j < fm.orig_cols; ++j) {
    // A discrete column scaled would lose its integrality.
    if (fm.has_integers() && fm.kind[j] != ColKind::Continuous &&
        fm.kind[j] != ColKind::SemiContinuous)
      continue;
    auto it = us->col_exp.find(fm.col_id.empty() ? j : fm.col_id[j]);
    if (it != us->col_exp.end()) f.col[j] = std::ldexp(1.0, it->second);
  }
}

void scale_model(FlatModel &fm, const ScaleFactors &f) {
  if (!f.active()) return;
  for (int j = 0; j < fm.ncols; ++j) {
    const double c = f.col[j];
    fm.obj[j] *= c;
    fm.lb[j] /= c;  // infinities stay infinite
    fm.ub[j] /= c;
    for (int k = fm.start[j]; k < fm.start[j + 1]; ++k) fm.value[k] *= f.row[fm.index[k]] * c;
    if (fm.has_quadratic())
      for (int k = fm.qstart[j]; k < fm.qstart[j + 1]; ++k) fm.qvalue[k] *= c * f.col[fm.qindex[k]];
  }
  mul(fm.rowlo, f.row, false);
  mul(fm.rowup, f.row, false);
  for (FlatModel::QuadRow &q : fm.qrows)
    for (size_t k = 0; k < q.v.size(); ++k)
      q.v[k] *= f.row[q.row] * f.col[q.c1[k]] * f.col[q.c2[k]];
}

void scale_start(EngineStart &start, const ScaleFactors &f) {
  if (!f.active()) return;
  mul(start.col_value, f.col, true);
  mul(start.row_dual, f.row, true);
  mul(start.mip_start, f.col, true);
}

void unscale_result(EngineResult &r, const ScaleFactors &f) {
  if (!f.active()) return;
  mul(r.col_value, f.col, false);
  mul(r.row_activity, f.row, true);
  mul(r.row_dual, f.row, false);
  mul(r.col_dual, f.col, true);
  mul(r.primal_ray, f.col, false);
  mul(r.dual_ray, f.row, false);
}

void unscale_columns(const ScaleFactors &f, int n, double *x) {
  if (!f.active()) return;
  for (int j = 0; j < n && j < static_cast<int>(f.col.size()); ++j) x[j] *= f.col[j];
}

}  // namespace qnda
