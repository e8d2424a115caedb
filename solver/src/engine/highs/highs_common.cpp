#include "engine/highs/highs_common.h"

#include <utility>

namespace qnda {

std::vector<HighsVarType> engine_integrality(FlatModel &m, bool keep_integrality) {
  std::vector<HighsVarType> out;
  if (m.kind.empty()) return out;
  if (!keep_integrality) {
    // The relaxation of a semi-continuous column x in {0} u [l, u] is [0, u].
    for (int j = 0; j < m.ncols; ++j)
      if ((m.kind[j] == ColKind::SemiContinuous || m.kind[j] == ColKind::SemiInteger) &&
          m.lb[j] > 0)
        m.lb[j] = 0;
    return out;
  }
  out.resize(m.ncols);
  for (int j = 0; j < m.ncols; ++j) {
    switch (m.kind[j]) {
      case ColKind::Integer:
        out[j] = HighsVarType::kInteger;
        break;
      case ColKind::SemiContinuous:
        out[j] = HighsVarType::kSemiContinuous;
        break;
      case ColKind::SemiInteger:
        out[j] = HighsVarType::kSemiInteger;
        break;
      default:
        out[j] = HighsVarType::kContinuous;
        break;
    }
  }
  return out;
}

void move_into(FlatModel &m, HighsModel &hm, bool keep_integrality) {
  HighsLp &lp = hm.lp_;
  lp.integrality_ = engine_integrality(m, keep_integrality);
  lp.num_col_ = m.ncols;
  lp.num_row_ = m.nrows;
  lp.sense_ = m.sense < 0 ? ObjSense::kMaximize : ObjSense::kMinimize;
  lp.offset_ = m.obj_constant;
  lp.col_cost_ = std::move(m.obj);
  lp.col_lower_ = std::move(m.lb);
  lp.col_upper_ = std::move(m.ub);
  lp.row_lower_ = std::move(m.rowlo);
  lp.row_upper_ = std::move(m.rowup);
  lp.a_matrix_.format_ = MatrixFormat::kColwise;
  lp.a_matrix_.num_col_ = m.ncols;
  lp.a_matrix_.num_row_ = m.nrows;
  if (m.start.empty()) m.start.assign(m.ncols + 1, 0);
  lp.a_matrix_.start_ = std::move(m.start);
  lp.a_matrix_.index_ = std::move(m.index);
  lp.a_matrix_.value_ = std::move(m.value);
  m.kind.clear();
  if (!m.qstart.empty()) {
    hm.hessian_.dim_ = m.ncols;
    hm.hessian_.format_ = HessianFormat::kTriangular;
    hm.hessian_.start_ = std::move(m.qstart);
    hm.hessian_.index_ = std::move(m.qindex);
    hm.hessian_.value_ = std::move(m.qvalue);
  }
  m.ncols = m.nrows = 0;
}

void copy_from(const HighsModel &hm, FlatModel &m) {
  const HighsLp &lp = hm.lp_;
  m.ncols = m.orig_cols = lp.num_col_;
  m.nrows = m.orig_rows = lp.num_row_;
  m.sense = lp.sense_ == ObjSense::kMaximize ? -1 : 1;
  m.obj_constant = lp.offset_;
  m.obj = lp.col_cost_;
  m.lb = lp.col_lower_;
  m.ub = lp.col_upper_;
  m.rowlo = lp.row_lower_;
  m.rowup = lp.row_upper_;
  HighsSparseMatrix a = lp.a_matrix_;
  a.ensureColwise();
  m.start = a.start_;
  m.index = a.index_;
  m.value = a.value_;
  m.kind.clear();
  bool any = false;
  for (HighsVarType t : lp.integrality_) any = any || t != HighsVarType::kContinuous;
  if (any) {
    m.kind.resize(m.ncols, ColKind::Continuous);
    for (int j = 0; j < m.ncols; ++j) {
      switch (lp.integrality_[j]) {
        case HighsVarType::kInteger:
        case HighsVarType::kImplicitInteger:  // presolve's: integral in every solution
          m.kind[j] = ColKind::Integer;
          break;
        case HighsVarType::kSemiContinuous:
          m.kind[j] = ColKind::SemiContinuous;
          break;
        case HighsVarType::kSemiInteger:
          m.kind[j] = ColKind::SemiInteger;
          break;
        default:
          break;
      }
    }
  }
  m.qstart.clear();
  m.qindex.clear();
  m.qvalue.clear();
  if (hm.hessian_.dim_ > 0) {
    HighsHessian q = hm.hessian_;
    if (q.format_ == HessianFormat::kSquare) {
      // Keep the lower triangle only.
      HighsHessian t;
      t.dim_ = q.dim_;
      t.format_ = HessianFormat::kTriangular;
      t.start_.assign(1, 0);
      for (int j = 0; j < q.dim_; ++j) {
        for (int k = q.start_[j]; k < q.start_[j + 1]; ++k)
          if (q.index_[k] >= j) {
            t.index_.push_back(q.index_[k]);
            t.value_.push_back(q.value_[k]);
          }
        t.start_.push_back(static_cast<int>(t.index_.size()));
      }
      q = t;
    }
    m.qstart = q.start_;
    m.qindex = q.index_;
    m.qvalue = q.value_;
    m.qstart.resize(m.ncols + 1, m.qstart.empty() ? 0 : m.qstart.back());
  }
}

namespace {
// The same four statuses on both sides; HiGHS's nonbasic-without-side
// reads as at lower.
constexpr BasisStat kOurs[] = {BasisStat::Lower, BasisStat::Basic, BasisStat::Upper,
                               BasisStat::Zero};
constexpr HighsBasisStatus kTheirs[] = {HighsBasisStatus::kLower, HighsBasisStatus::kBasic,
                                        HighsBasisStatus::kUpper, HighsBasisStatus::kZero};
}  // namespace

HighsBasisStatus to_highs(BasisStat b) {
  for (int k = 0; k < 4; ++k)
    if (kOurs[k] == b) return kTheirs[k];
  return HighsBasisStatus::kLower;
}

BasisStat from_highs(HighsBasisStatus b) {
  for (int k = 0; k < 4; ++k)
    if (kTheirs[k] == b) return kOurs[k];
  return BasisStat::Lower;
}

}  // namespace qnda
