// SparseMatrix and QuadTerms: storage with an operation log folded in lazily
// (see model.h).
#include <algorithm>
#include <numeric>

#include "model/lists.h"
#include "model/model.h"

namespace qnda {

namespace {

// Grows v's capacity geometrically to hold extra more elements; a plain
// reserve(size + extra) on every append would make repeated appends quadratic.
template <class V>
void reserve_more(V &v, size_t extra) {
  size_t need = v.size() + extra;
  if (need > v.capacity()) v.reserve(std::max(need, 2 * v.capacity()));
}

}  // namespace

// ------------------------------------------------------------ SparseMatrix
void SparseMatrix::clear(int nrows) {
  nrows_ = nrows;
  start_.assign(1, 0);
  index_.clear();
  value_.clear();
  log_.clear();
  touch();
}

void SparseMatrix::add_empty_rows(int n) {
  nrows_ += n;
  touch();
}

void SparseMatrix::add_empty_cols(int n) {
  start_.insert(start_.end(), n, start_.back());
  touch();
}

template <class Idx>
void SparseMatrix::add_row_entries(int first_row, int n, const Idx *start, const int *colind,
                                   const double *val) {
  if (n <= 0 || !start) return;
  touch();
  reserve_more(log_, static_cast<size_t>(start[n] - start[0]));
  for (int i = 0; i < n; ++i) {
    int row = first_row + i;
    for (Idx k = start[i], e = start[i + 1]; k < e; ++k)
      if (val[k] != 0.0) log_.push_back(Op{row, colind[k], val[k]});
  }
}

template <class Idx>
void SparseMatrix::add_col_entries(int first_col, int n, const Idx *start, const int *len,
                                   const int *rowind, const double *val) {
  if (n <= 0 || !start) return;
  touch();
  int nc = ncols();
  bool tail_empty = first_col + n == nc && start_[first_col] == start_[nc];
  if (!tail_empty) {
    for (int j = 0; j < n; ++j) {
      Idx b = start[j], e = len ? b + len[j] : start[j + 1];
      for (Idx k = b; k < e; ++k)
        if (val[k] != 0.0) log_.push_back(Op{rowind[k], first_col + j, val[k]});
    }
    return;
  }
  start_.resize(first_col + 1);
  size_t total = 0;
  for (int j = 0; j < n; ++j) total += static_cast<size_t>(len ? len[j] : start[j + 1] - start[j]);
  reserve_more(index_, total);
  reserve_more(value_, total);
  reserve_more(start_, n);
  std::vector<std::pair<int, double>> scratch;
  for (int j = 0; j < n; ++j) {
    Idx b = start[j], e = len ? b + len[j] : start[j + 1];
    size_t cs = index_.size();
    bool sorted = true;
    int prev = -1;
    for (Idx k = b; k < e; ++k) {
      if (val[k] == 0.0) continue;
      if (rowind[k] <= prev) sorted = false;
      prev = rowind[k];
      index_.push_back(rowind[k]);
      value_.push_back(val[k]);
    }
    if (!sorted) {  // sum duplicates: sort the column by row
      scratch.clear();
      for (size_t k = cs; k < index_.size(); ++k) scratch.emplace_back(index_[k], value_[k]);
      std::stable_sort(scratch.begin(), scratch.end(),
                       [](const auto &a, const auto &b) { return a.first < b.first; });
      index_.resize(cs);
      value_.resize(cs);
      for (size_t k = 0; k < scratch.size();) {
        int r = scratch[k].first;
        double v = 0.0;
        for (; k < scratch.size() && scratch[k].first == r; ++k) v += scratch[k].second;
        if (v != 0.0) {
          index_.push_back(r);
          value_.push_back(v);
        }
      }
    }
    start_.push_back(static_cast<QNDAint64>(index_.size()));
  }
}

template void SparseMatrix::add_row_entries<int>(int, int, const int *, const int *,
                                                 const double *);
template void SparseMatrix::add_row_entries<QNDAint64>(int, int, const QNDAint64 *, const int *,
                                                       const double *);
template void SparseMatrix::add_col_entries<int>(int, int, const int *, const int *, const int *,
                                                 const double *);
template void SparseMatrix::add_col_entries<QNDAint64>(int, int, const QNDAint64 *, const int *,
                                                       const int *, const double *);

void SparseMatrix::set_coef(int row, int col, double v) {
  log_.push_back(Op{~row, col, v});
  touch();
}

void SparseMatrix::add_coef(int row, int col, double v) {
  if (v == 0.0) return;
  log_.push_back(Op{row, col, v});
  touch();
}

// Folds the log into the CSC in two passes.  First every column gets room for
// its old entries plus its logged operations, and the operations are
// scattered behind the old entries in the order they were made (a stable
// counting sort by column).  Then each column is combined in place: an entry
// whose row already appeared in the column adds to (or replaces) it, zeros go.
// pos[row] points at the row's entry in the column being combined; it is
// checked against the column's range and row, so it is never reset.
void SparseMatrix::flush() const {
  if (log_.empty()) return;
  // A few changes of existing nonzeros (chgcoef in a loop between reads) are
  // applied where they stand; the rest of the log takes the full pass.
  if (log_.size() <= 64) {
    size_t done = 0;
    for (; done < log_.size(); ++done) {
      const Op &op = log_[done];
      const int r = op.row < 0 ? ~op.row : op.row;
      QNDAint64 k = start_[op.col], e = start_[op.col + 1];
      while (k < e && index_[k] != r) ++k;
      if (k == e) break;
      const double v = op.row < 0 ? op.v : value_[k] + op.v;
      if (v == 0.0) break;
      value_[k] = v;
    }
    log_.erase(log_.begin(), log_.begin() + done);
    if (log_.empty()) return;
  }
  const int nc = static_cast<int>(start_.size()) - 1;
  std::vector<QNDAint64> nstart(nc + 1, 0);
  for (int j = 0; j < nc; ++j) nstart[j + 1] = start_[j + 1] - start_[j];
  for (const Op &op : log_) ++nstart[op.col + 1];
  for (int j = 0; j < nc; ++j) nstart[j + 1] += nstart[j];
  const QNDAint64 total = nstart[nc];
  // Rows of replacements stay encoded (~row) until the combine pass.
  std::vector<int> nindex(total);
  std::vector<double> nvalue(total);
  std::vector<QNDAint64> next(nc);
  for (int j = 0; j < nc; ++j) {
    QNDAint64 o = nstart[j];
    for (QNDAint64 k = start_[j]; k < start_[j + 1]; ++k, ++o) {
      nindex[o] = index_[k];
      nvalue[o] = value_[k];
    }
    next[j] = o;
  }
  for (const Op &op : log_) {
    QNDAint64 o = next[op.col]++;
    nindex[o] = op.row;
    nvalue[o] = op.v;
  }
  log_.clear();
  log_.shrink_to_fit();

  std::vector<QNDAint64> pos(nrows_, -1);
  QNDAint64 w = 0;
  for (int j = 0; j < nc; ++j) {
    const QNDAint64 b = nstart[j], e = nstart[j + 1], cs = w;
    nstart[j] = cs;
    bool zeros = false;
    for (QNDAint64 k = b; k < e; ++k) {
      int r = nindex[k];
      const bool replace = r < 0;
      if (replace) r = ~r;
      const double v = nvalue[k];
      QNDAint64 p = pos[r];
      if (p >= cs && p < w && nindex[p] == r) {
        nvalue[p] = replace ? v : nvalue[p] + v;
        zeros |= nvalue[p] == 0.0;
      } else if (v != 0.0) {
        pos[r] = w;
        nindex[w] = r;
        nvalue[w] = v;
        ++w;
      }
    }
    if (zeros) {
      QNDAint64 z = cs;
      for (QNDAint64 k = cs; k < w; ++k) {
        if (nvalue[k] == 0.0) continue;
        nindex[z] = nindex[k];
        nvalue[z] = nvalue[k];
        ++z;
      }
      w = z;
    }
  }
  nstart[nc] = w;
  nindex.resize(w);
  nvalue.resize(w);
  start_.swap(nstart);
  index_.swap(nindex);
  value_.swap(nvalue);
}

double SparseMatrix::get_coef(int row, int col) const {
  flush();
  for (QNDAint64 k = start_[col]; k < start_[col + 1]; ++k)
    if (index_[k] == row) return value_[k];
  return 0.0;
}

QNDAint64 SparseMatrix::nnz() const {
  flush();
  return static_cast<QNDAint64>(index_.size());
}

void SparseMatrix::delete_rows(const std::vector<char> &drop) {
  flush();
  std::vector<int> map(nrows_);
  int next = 0;
  for (int i = 0; i < nrows_; ++i) map[i] = drop[i] ? -1 : next++;
  drop_mapped(ncols(), start_, index_, value_, map);
  nrows_ = next;
  touch();
}

void SparseMatrix::delete_cols(const std::vector<char> &drop) {
  flush();
  const int nc = ncols();
  QNDAint64 w = 0;
  int jw = 0;
  for (int j = 0; j < nc; ++j) {
    QNDAint64 b = start_[j], e = start_[j + 1];
    if (drop[j]) continue;
    start_[jw++] = w;
    for (QNDAint64 k = b; k < e; ++k) {
      index_[w] = index_[k];
      value_[w] = value_[k];
      ++w;
    }
  }
  start_[jw] = w;
  start_.resize(jw + 1);
  index_.resize(w);
  value_.resize(w);
  touch();
}

SparseMatrix::Csc SparseMatrix::csc() const {
  flush();
  return Csc{ncols(), static_cast<QNDAint64>(index_.size()), start_.data(), index_.data(),
             value_.data()};
}

const SparseMatrix::Csr &SparseMatrix::csr() const {
  if (csr_valid_) return csr_;
  flush();
  const int nc = ncols();
  csr_.start.assign(nrows_ + 1, 0);
  for (int r : index_) ++csr_.start[r + 1];
  for (int i = 0; i < nrows_; ++i) csr_.start[i + 1] += csr_.start[i];
  csr_.index.resize(index_.size());
  csr_.value.resize(index_.size());
  std::vector<QNDAint64> next(csr_.start.begin(), csr_.start.end() - 1);
  for (int j = 0; j < nc; ++j) {
    for (QNDAint64 k = start_[j]; k < start_[j + 1]; ++k) {
      QNDAint64 p = next[index_[k]]++;
      csr_.index[p] = j;
      csr_.value[p] = value_[k];
    }
  }
  csr_valid_ = true;
  return csr_;
}

// ---------------------------------------------------------------- QuadTerms
void QuadTerms::add(int i, int j, double v) {
  if (v == 0.0) return;
  if (i > j) std::swap(i, j);
  log_.push_back(Op{i, j, v, false});
}

void QuadTerms::set(int i, int j, double v) {
  if (i > j) std::swap(i, j);
  log_.push_back(Op{i, j, v, true});
}

void QuadTerms::clear() {
  terms_.clear();
  log_.clear();
}

void QuadTerms::flush() const {
  if (log_.empty()) return;
  auto key_less = [](const auto &a, const auto &b) {
    return a.i < b.i || (a.i == b.i && a.j < b.j);
  };
  std::stable_sort(log_.begin(), log_.end(), key_less);
  std::vector<Term> merged;
  merged.reserve(terms_.size() + log_.size());
  size_t t = 0, l = 0;
  while (t < terms_.size() || l < log_.size()) {
    if (l == log_.size() || (t < terms_.size() && key_less(terms_[t], log_[l]))) {
      merged.push_back(terms_[t++]);
      continue;
    }
    int i = log_[l].i, j = log_[l].j;
    double v = 0.0;
    if (t < terms_.size() && terms_[t].i == i && terms_[t].j == j) v = terms_[t++].v;
    for (; l < log_.size() && log_[l].i == i && log_[l].j == j; ++l)
      v = log_[l].replace ? log_[l].v : v + log_[l].v;
    if (v != 0.0) merged.push_back(Term{i, j, v});
  }
  terms_.swap(merged);
  log_.clear();
}

double QuadTerms::get(int i, int j) const {
  if (i > j) std::swap(i, j);
  flush();
  auto it = std::lower_bound(
      terms_.begin(), terms_.end(), Term{i, j, 0.0},
      [](const Term &a, const Term &b) { return a.i < b.i || (a.i == b.i && a.j < b.j); });
  return (it != terms_.end() && it->i == i && it->j == j) ? it->v : 0.0;
}

const std::vector<QuadTerms::Term> &QuadTerms::terms() const {
  flush();
  return terms_;
}

void QuadTerms::renumber(const std::vector<int> &map) {
  flush();
  size_t w = 0;
  for (const Term &t : terms_) {
    int i = map[t.i], j = map[t.j];
    if (i < 0 || j < 0) continue;
    terms_[w++] = Term{i, j, t.v};
  }
  terms_.resize(w);
}

}  // namespace qnda
