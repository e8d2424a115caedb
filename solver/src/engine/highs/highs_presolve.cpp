// HiGHS's presolve kept apart from a solve: the instance that presolved the
// model holds the record of its reductions until the reduced model's result
// comes back for postsolve.
#include <cmath>
#include <memory>
#include <utility>

#include "core/error.h"
#include "engine/engine.h"
#include "engine/highs/highs_common.h"
#include "qnda.h"

namespace qnda {
namespace {

class HighsPresolve final : public EnginePresolve {
 public:
  HighsPresolve(const FlatModel &m, const EngineSettings &s, bool mip, EngineStatus &status)
      : mip_(mip) {
    h_.setOptionValue("output_flag", false);
    h_.setOptionValue("primal_feasibility_tolerance", s.feas_tol);
    h_.setOptionValue("dual_feasibility_tolerance", s.opt_tol);
    if (mip) h_.setOptionValue("mip_feasibility_tolerance", s.mip_tol);
    if (s.time_limit > 0 && s.time_limit < 1e20) h_.setOptionValue("time_limit", s.time_limit);
    if (!s.presolve)
      h_.setOptionValue("presolve", "off");  // the state then holds the model as it is
    FlatModel copy = m;
    HighsModel hm;
    move_into(copy, hm, mip);
    if (h_.passModel(std::move(hm)) == HighsStatus::kError)
      fail(QNDA_ERR_ENGINE, "the engine refused the model");
    const HighsStatus run = h_.presolve();
    switch (h_.getModelPresolveStatus()) {
      case HighsPresolveStatus::kInfeasible:
        status = EngineStatus::Infeasible;
        return;
      case HighsPresolveStatus::kUnboundedOrInfeasible:
        status = EngineStatus::InfeasibleOrUnbounded;
        return;
      case HighsPresolveStatus::kNotPresolved:
      case HighsPresolveStatus::kNotReduced:
      case HighsPresolveStatus::kReduced:
      case HighsPresolveStatus::kReducedToEmpty:
        break;
      default:
        fail(QNDA_ERR_ENGINE, "the engine's presolve failed (%s)",
             h_.presolveStatusToString(h_.getModelPresolveStatus()).c_str());
    }
    if (run == HighsStatus::kError) fail(QNDA_ERR_ENGINE, "the engine's presolve failed");
    status = EngineStatus::Optimal;
    const HighsPresolveStatus ps = h_.getModelPresolveStatus();
    identity_ = ps == HighsPresolveStatus::kNotReduced || ps == HighsPresolveStatus::kNotPresolved;
    if (identity_) {
      // Nothing removed: the reduced model is the model itself.
      reduced = m;
      for (int i = 0; i < m.nrows; ++i) row_map.push_back(i);
      for (int j = 0; j < m.ncols; ++j) col_map.push_back(j);
      from = col_map;
      scale.assign(m.ncols, 1.0);
      shift.assign(m.ncols, 0.0);
      known.assign(m.ncols, 1);
    } else {
      copy_from(h_.getPresolvedModel(), reduced);
      const HighsInt *rows = h_.getPresolveOrigRowsIndex();
      const HighsInt *cols = h_.getPresolveOrigColsIndex();
      row_map.assign(rows, rows + reduced.nrows);
      col_map.assign(cols, cols + reduced.ncols);
      probe_columns(m.ncols);
    }
    if (!mip) reduced.kind.clear();
  }

  void postsolve(const EngineResult &r, EngineResult &out) override {
    out = r;
    if (!r.has_primal) return;
    if (identity_) return;
    HighsSolution sol;
    sol.col_value = r.col_value;
    sol.row_value = r.row_activity;
    sol.value_valid = true;
    const bool lp_dual = !mip_ && r.has_dual;
    if (lp_dual) {
      sol.col_dual = r.col_dual;
      sol.row_dual = r.row_dual;
      sol.dual_valid = true;
    }
    HighsStatus st;
    if (!mip_ && r.has_basis) {
      HighsBasis b;
      b.col_status.resize(r.col_basis.size());
      b.row_status.resize(r.row_basis.size());
      for (size_t j = 0; j < r.col_basis.size(); ++j) b.col_status[j] = to_highs(r.col_basis[j]);
      for (size_t i = 0; i < r.row_basis.size(); ++i) b.row_status[i] = to_highs(r.row_basis[i]);
      b.valid = true;
      st = h_.postsolve(sol, b);
    } else {
      st = h_.postsolve(sol);
    }
    if (st == HighsStatus::kError) fail(QNDA_ERR_ENGINE, "the engine's postsolve failed");
    const HighsSolution &full = h_.getSolution();
    out.col_value = full.col_value;
    out.row_activity = full.row_value;
    out.has_dual = lp_dual && full.dual_valid;
    if (out.has_dual) {
      out.col_dual = full.col_dual;
      out.row_dual = full.row_dual;
    } else {
      out.col_dual.clear();
      out.row_dual.clear();
    }
    const HighsBasis &b = h_.getBasis();
    out.has_basis = !mip_ && b.valid;
    out.col_basis.clear();
    out.row_basis.clear();
    if (out.has_basis) {
      for (HighsBasisStatus v : b.col_status) out.col_basis.push_back(from_highs(v));
      for (HighsBasisStatus v : b.row_status) out.row_basis.push_back(from_highs(v));
    }
    // Rays and the basis order describe the reduced model only.
    out.dual_ray.clear();
    out.primal_ray.clear();
    out.basic_vars.clear();
  }

 private:
  // The original columns at a point of the reduced ones (primal postsolve
  // only, which the engine may repeat).
  std::vector<double> primal_postsolve(const std::vector<double> &xr) {
    HighsSolution sol;
    sol.col_value = xr;
    sol.row_value.assign(reduced.nrows, 0.0);
    sol.value_valid = true;
    if (h_.postsolve(sol) == HighsStatus::kError)
      fail(QNDA_ERR_ENGINE, "the engine's postsolve failed");
    return h_.getSolution().col_value;
  }

  // Presolve may fix, shift or scale columns (integral ones above all):
  // three points of the reduced space tell which original columns are
  // constants or affine images of one reduced column, the third checking
  // what the first two suggest.
  void probe_columns(int ncols) {
    const int nr = reduced.ncols;
    std::vector<double> p1(nr, 1.0), p2(nr);
    for (int k = 0; k < nr; ++k) p2[k] = 0.5 + 0.37 * (k % 7) - 0.11 * (k % 3);
    const std::vector<double> x0 = primal_postsolve(std::vector<double>(nr, 0.0));
    const std::vector<double> x1 = primal_postsolve(p1);
    const std::vector<double> x2 = primal_postsolve(p2);
    if (static_cast<int>(x0.size()) != ncols || x1.size() != x0.size() || x2.size() != x0.size())
      fail(QNDA_ERR_ENGINE, "the engine's postsolve gave a point of the wrong size");
    from.assign(ncols, -1);
    scale.assign(ncols, 0.0);
    shift.assign(ncols, 0.0);
    known.assign(ncols, 0);
    auto same = [](double a, double b) { return std::fabs(a - b) <= 1e-9 * (1.0 + std::fabs(b)); };
    for (int j = 0; j < ncols; ++j) {
      if (x0[j] == x1[j] && x0[j] == x2[j]) {
        shift[j] = x0[j];
        known[j] = 1;
      }
    }
    for (int k = 0; k < nr; ++k) {
      const int j = col_map[k];
      const double a = x1[j] - x0[j], b = x0[j];
      if (a != 0.0 && same(x2[j], a * p2[k] + b)) {
        from[j] = k;
        scale[j] = a;
        shift[j] = b;
        known[j] = 1;
      }
    }
  }

  Highs h_;
  bool mip_;
  bool identity_ = false;
};

}  // namespace

std::unique_ptr<EnginePresolve> engine_presolve(const FlatModel &m, const EngineSettings &s,
                                                bool mip, EngineStatus &status) {
  std::unique_ptr<EnginePresolve> p(new HighsPresolve(m, s, mip, status));
  if (status != EngineStatus::Optimal) p.reset();
  return p;
}

}  // namespace qnda
