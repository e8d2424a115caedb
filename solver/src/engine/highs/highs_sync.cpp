#include "engine/highs/highs_sync.h"

#include <algorithm>

namespace qnda {

void KeptIds::take(const FlatModel &m) {
  valid = true;
  epoch = m.epoch;
  ncols = m.ncols;
  nrows = m.nrows;
  col_id = m.col_id;
  row_id = m.row_id;
}

namespace {

// Matches the kept ids with the new ones: both ascend (ids are given in
// order and deletions keep it), so the new list is the kept one less some
// entries, then the appended ones.  Sets drop[k] for the kept entries gone
// and *kept to how many stayed; false when the lists do not fit that shape.
bool match_ids(const std::vector<int> &old_ids, int nold, const std::vector<int> &new_ids, int nnew,
               std::vector<HighsInt> &drop, int *kept) {
  auto old_at = [&](int k) { return old_ids.empty() ? k : old_ids[k]; };
  auto new_at = [&](int k) { return new_ids.empty() ? k : new_ids[k]; };
  drop.assign(nold, 0);
  int k = 0;
  for (int j = 0; j < nold; ++j) {
    if (k < nnew && new_at(k) == old_at(j)) {
      ++k;
    } else if (k < nnew && new_at(k) < old_at(j)) {
      return false;
    } else {
      drop[j] = 1;
    }
  }
  *kept = k;
  return true;
}

// The nonzero entries of column j of a column-wise triangle, sorted by row.
template <class Idx>
std::vector<std::pair<int, double>> sorted_column(const std::vector<Idx> &start,
                                                  const std::vector<Idx> &index,
                                                  const std::vector<double> &value, int j) {
  std::vector<std::pair<int, double>> c;
  for (Idx k = start[j]; k < start[j + 1]; ++k)
    if (value[k] != 0.0) c.emplace_back(static_cast<int>(index[k]), value[k]);
  std::sort(c.begin(), c.end());
  return c;
}

// Whether the engine's Hessian is m's (HiGHS may reorder a column's entries
// and adds zero diagonals).
bool same_hessian(const HighsHessian &q, const FlatModel &m) {
  if (!m.has_quadratic() || q.dim_ != m.ncols || q.format_ != HessianFormat::kTriangular ||
      static_cast<int>(q.start_.size()) < m.ncols + 1)
    return false;
  for (int j = 0; j < m.ncols; ++j)
    if (sorted_column(q.start_, q.index_, q.value_, j) !=
        sorted_column(m.qstart, m.qindex, m.qvalue, j))
      return false;
  return true;
}

// A value change of one coefficient is cheap for HiGHS; a new or removed
// entry moves the rest of the matrix, so many of them go the full way.
constexpr int kMaxPatternChanges = 64;

// Sets column j of h's matrix (rows < nrows) to the entries of m's column j
// in those rows.  Returns false past the pattern budget.
bool sync_column(Highs &h, const FlatModel &m, int j, int nrows, std::vector<double> &work,
                 std::vector<char> &seen, SyncCounts &counts, int &pattern) {
  const HighsSparseMatrix &a = h.getLp().a_matrix_;
  const HighsInt ob = a.start_[j], oe = a.start_[j + 1];
  const int nb = m.start[j], ne = m.start[j + 1];
  // Fast path: the same entries in the same order.
  HighsInt o = ob;
  bool same = true;
  for (int k = nb; k < ne && same; ++k) {
    if (m.index[k] >= nrows) continue;
    same = o < oe && a.index_[o] == m.index[k] && a.value_[o] == m.value[k];
    ++o;
  }
  if (same && o == oe) return true;

  std::vector<std::pair<int, double>> changes;
  for (HighsInt p = ob; p < oe; ++p) work[a.index_[p]] = a.value_[p];
  for (int k = nb; k < ne; ++k) {
    const int i = m.index[k];
    if (i >= nrows) continue;
    seen[i] = 1;
    if (work[i] != m.value[k]) {
      if (work[i] == 0.0) ++pattern;
      changes.emplace_back(i, m.value[k]);
    }
  }
  for (HighsInt p = ob; p < oe; ++p) {
    const int i = a.index_[p];
    if (!seen[i]) {
      ++pattern;
      changes.emplace_back(i, 0.0);
    }
  }
  for (HighsInt p = ob; p < oe; ++p) work[a.index_[p]] = 0.0;
  for (int k = nb; k < ne; ++k)
    if (m.index[k] < nrows) seen[m.index[k]] = 0;
  if (pattern > kMaxPatternChanges) return false;
  for (const auto &c : changes)
    if (h.changeCoeff(c.first, j, c.second) == HighsStatus::kError) return false;
  counts.coefs += static_cast<int>(changes.size());
  return true;
}

// Indices where a and b differ in [0, n) (over two arrays of pairs).
template <class Same>
std::vector<HighsInt> differing(int n, Same same) {
  std::vector<HighsInt> out;
  for (int k = 0; k < n; ++k)
    if (!same(k)) out.push_back(k);
  return out;
}

// Passes lo and up at set to change (a HiGHS bounds call); false when the
// engine refuses.
template <class Change>
bool change_bounds(const std::vector<HighsInt> &set, const std::vector<double> &lo,
                   const std::vector<double> &up, Change change) {
  if (set.empty()) return true;
  std::vector<double> l, u;
  for (HighsInt k : set) {
    l.push_back(lo[k]);
    u.push_back(up[k]);
  }
  return change(l.data(), u.data()) != HighsStatus::kError;
}

bool sync_columns_added(Highs &h, const FlatModel &m, int keep_c, int keep_r) {
  const int n = m.ncols - keep_c;
  if (n <= 0) return true;
  std::vector<HighsInt> start(n + 1, 0), index;
  std::vector<double> value;
  for (int j = keep_c; j < m.ncols; ++j) {
    for (int k = m.start[j]; k < m.start[j + 1]; ++k)
      if (m.index[k] < keep_r) {
        index.push_back(m.index[k]);
        value.push_back(m.value[k]);
      }
    start[j - keep_c + 1] = static_cast<HighsInt>(index.size());
  }
  return h.addCols(n, m.obj.data() + keep_c, m.lb.data() + keep_c, m.ub.data() + keep_c,
                   static_cast<HighsInt>(index.size()), start.data(), index.data(),
                   value.data()) != HighsStatus::kError;
}

bool sync_rows_added(Highs &h, const FlatModel &m, int keep_r) {
  const int n = m.nrows - keep_r;
  if (n <= 0) return true;
  // The new rows' entries, row-wise.
  std::vector<HighsInt> start(n + 1, 0);
  for (int k = 0; k < m.start[m.ncols]; ++k)
    if (m.index[k] >= keep_r) ++start[m.index[k] - keep_r + 1];
  for (int i = 0; i < n; ++i) start[i + 1] += start[i];
  std::vector<HighsInt> pos(start.begin(), start.end() - 1), index(start[n]);
  std::vector<double> value(start[n]);
  for (int j = 0; j < m.ncols; ++j)
    for (int k = m.start[j]; k < m.start[j + 1]; ++k)
      if (m.index[k] >= keep_r) {
        const HighsInt p = pos[m.index[k] - keep_r]++;
        index[p] = j;
        value[p] = m.value[k];
      }
  return h.addRows(n, m.rowlo.data() + keep_r, m.rowup.data() + keep_r, start[n], start.data(),
                   index.data(), value.data()) != HighsStatus::kError;
}

}  // namespace

bool sync_model(Highs &h, const KeptIds &kept, const FlatModel &m,
                const std::vector<HighsVarType> &integ, SyncCounts &counts) {
  // Reformulated rows and columns have no ids to be found again by.
  if (!kept.valid || m.epoch != kept.epoch || m.ncols != m.orig_cols || m.nrows != m.orig_rows)
    return false;
  // A quadratic objective stays only as it was (a new one goes whole).
  const bool quad = m.has_quadratic() || h.getModel().hessian_.dim_ > 0;
  if (quad && !same_hessian(h.getModel().hessian_, m)) return false;
  if (h.getLp().num_col_ != kept.ncols || h.getLp().num_row_ != kept.nrows ||
      !h.getLp().a_matrix_.isColwise())
    return false;

  std::vector<HighsInt> drop_c, drop_r;
  int keep_c = 0, keep_r = 0;
  if (!match_ids(kept.col_id, kept.ncols, m.col_id, m.ncols, drop_c, &keep_c) ||
      !match_ids(kept.row_id, kept.nrows, m.row_id, m.nrows, drop_r, &keep_r))
    return false;
  counts.del_cols = kept.ncols - keep_c;
  counts.del_rows = kept.nrows - keep_r;
  counts.add_cols = m.ncols - keep_c;
  counts.add_rows = m.nrows - keep_r;
  if (quad && (counts.del_cols || counts.add_cols)) return false;
  // Mostly a new model: handing it over whole is cheaper.
  const int moved = counts.del_cols + counts.del_rows + counts.add_cols + counts.add_rows;
  if (moved > 8 && 2 * moved > std::max(kept.ncols + kept.nrows, m.ncols + m.nrows)) return false;

  if (counts.del_cols && h.deleteCols(drop_c.data()) == HighsStatus::kError) return false;
  if (counts.del_rows && h.deleteRows(drop_r.data()) == HighsStatus::kError) return false;

  // Values of the rows and columns that stayed.
  const HighsLp &lp = h.getLp();
  std::vector<HighsInt> set = differing(keep_c, [&](int j) { return lp.col_cost_[j] == m.obj[j]; });
  counts.costs = static_cast<int>(set.size());
  std::vector<double> v1;
  if (!set.empty()) {
    for (HighsInt j : set) v1.push_back(m.obj[j]);
    if (h.changeColsCost(counts.costs, set.data(), v1.data()) == HighsStatus::kError) return false;
  }
  set = differing(
      keep_c, [&](int j) { return lp.col_lower_[j] == m.lb[j] && lp.col_upper_[j] == m.ub[j]; });
  counts.bounds = static_cast<int>(set.size());
  if (!change_bounds(set, m.lb, m.ub, [&](const double *lo, const double *up) {
        return h.changeColsBounds(counts.bounds, set.data(), lo, up);
      }))
    return false;
  set = differing(keep_r, [&](int i) {
    return lp.row_lower_[i] == m.rowlo[i] && lp.row_upper_[i] == m.rowup[i];
  });
  counts.rhs = static_cast<int>(set.size());
  if (!change_bounds(set, m.rowlo, m.rowup, [&](const double *lo, const double *up) {
        return h.changeRowsBounds(counts.rhs, set.data(), lo, up);
      }))
    return false;
  const ObjSense sense = m.sense < 0 ? ObjSense::kMaximize : ObjSense::kMinimize;
  if (lp.sense_ != sense && h.changeObjectiveSense(sense) == HighsStatus::kError) return false;
  if (lp.offset_ != m.obj_constant &&
      h.changeObjectiveOffset(m.obj_constant) == HighsStatus::kError)
    return false;

  // Coefficients of the columns that stayed, in the rows that stayed.
  if (!h.getLp().a_matrix_.isColwise()) return false;
  {
    std::vector<double> work(keep_r, 0.0);
    std::vector<char> seen(keep_r, 0);
    int pattern = 0;
    for (int j = 0; j < keep_c; ++j)
      if (!sync_column(h, m, j, keep_r, work, seen, counts, pattern)) return false;
  }

  // New columns (with their entries in the old rows), then new rows.
  if (!sync_columns_added(h, m, keep_c, keep_r) || !sync_rows_added(h, m, keep_r)) return false;

  // Column types, new columns included (HiGHS adds them continuous).
  auto type_of = [](const std::vector<HighsVarType> &t, int j) {
    return t.empty() ? HighsVarType::kContinuous : t[j];
  };
  const HighsLp &lp2 = h.getLp();
  set =
      differing(m.ncols, [&](int j) { return type_of(lp2.integrality_, j) == type_of(integ, j); });
  counts.types = static_cast<int>(set.size());
  if (!set.empty()) {
    std::vector<HighsVarType> t;
    for (HighsInt j : set) t.push_back(type_of(integ, j));
    if (h.changeColsIntegrality(counts.types, set.data(), t.data()) == HighsStatus::kError)
      return false;
  }
  return h.getLp().num_col_ == m.ncols && h.getLp().num_row_ == m.nrows;
}

}  // namespace qnda
