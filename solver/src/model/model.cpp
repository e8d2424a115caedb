#include "model/model.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numeric>

#include "model/lists.h"

namespace qnda {

namespace {

const char kDefaultPrefix[3] = {'R', 'C', 'S'};

template <class T>
void compact(std::vector<T> &v, const std::vector<char> &drop) {
  if (v.empty()) return;
  size_t w = 0;
  for (size_t k = 0; k < v.size(); ++k) {
    if (drop[k]) continue;
    if (w != k) v[w] = std::move(v[k]);  // a self-move would empty a string
    ++w;
  }
  v.resize(w);
}

std::vector<char> drop_flags(int count, int n, const int *idx) {
  std::vector<char> drop(count, 0);
  for (int k = 0; k < n; ++k) drop[idx[k]] = 1;
  return drop;
}

// Appends src[0 .. n), or n copies of def when src is NULL.
template <class T>
void append_or(std::vector<T> &v, const T *src, int n, T def) {
  if (src)
    v.insert(v.end(), src, src + n);
  else
    v.insert(v.end(), n, def);
}

double clamp01(double v) { return v < 0.0 ? 0.0 : v > 1.0 ? 1.0 : v; }

}  // namespace

// --------------------------------------------------------------------- rows
void Model::row_bounds(int i, double *lo, double *hi) const {
  double r = rhs_[i];
  switch (rowtype_[i]) {
    case 'L':
      *lo = -QNDA_INFINITY;
      *hi = r;
      break;
    case 'G':
      *lo = r;
      *hi = QNDA_INFINITY;
      break;
    case 'E':
      *lo = r;
      *hi = r;
      break;
    case 'R':
      *lo = r - range(i);
      *hi = r;
      break;
    default:
      *lo = -QNDA_INFINITY;
      *hi = QNDA_INFINITY;
      break;
  }
  if (*lo <= -QNDA_INFINITY) *lo = -QNDA_INFINITY;
  if (*hi >= QNDA_INFINITY) *hi = QNDA_INFINITY;
}

int Model::entity_count() const {
  int n = 0;
  for (char t : coltype_) n += t != 'C';
  return n;
}

std::vector<int> Model::qrow_list() const {
  std::vector<int> rows;
  for (const auto &kv : qrows_)
    if (!kv.second.empty()) rows.push_back(kv.first);
  return rows;
}

QNDAint64 Model::qrow_terms() const {
  QNDAint64 n = 0;
  for (const auto &kv : qrows_) n += kv.second.size();
  return n;
}

// -------------------------------------------------------------------- names
int Model::count_of(int kind) const {
  return kind == NAMES_ROWS ? nrows() : kind == NAMES_COLS ? ncols() : nsets();
}

bool Model::has_name(int kind, int i) const {
  const auto &v = names_of(kind);
  return !v.empty() && v.has(i);
}

std::string Model::name(int kind, int i) const {
  if (has_name(kind, i)) return names_of(kind).get(i);
  char buf[24];
  std::snprintf(buf, sizeof buf, "%c%d", kDefaultPrefix[kind - 1], i);
  return buf;
}

void Model::set_name(int kind, int i, const char *name) {
  auto &v = names_of(kind);
  if (v.empty()) {
    if (!*name) return;
    v.resize(count_of(kind));
  }
  v.set(i, name);
}

int Model::find_name(int kind, const char *name) const {
  long found = names_of(kind).find(name);
  if (found >= 0) return static_cast<int>(found);
  // Default names of unnamed items.
  if (name[0] == kDefaultPrefix[kind - 1] && name[1] >= '0' && name[1] <= '9' &&
      (name[1] != '0' || name[2] == '\0')) {
    char *end = nullptr;
    long i = std::strtol(name + 1, &end, 10);
    if (*end == '\0' && i >= 0 && i < count_of(kind) && !has_name(kind, static_cast<int>(i)))
      return static_cast<int>(i);
  }
  return -1;
}

size_t Model::longest_name() const {
  size_t longest = 0;
  for (int kind = 1; kind <= 3; ++kind) {
    const auto &v = names_of(kind);
    int n = count_of(kind);
    bool any_default = v.empty() && n > 0;
    if (!v.empty()) longest = std::max(longest, v.longest(&any_default));
    if (any_default) longest = std::max(longest, name(kind, n - 1).size());
  }
  return longest;
}

// ------------------------------------------------------------------ loading
void Model::clear() { *this = Model(); }

std::uint64_t Model::new_epoch() {
  static std::atomic<std::uint64_t> last{0};
  return ++last;
}

namespace {

// Ids of n appended rows or columns (see Model::row_ids).
void append_ids(std::vector<int> &ids, int &next, int n) {
  if (!ids.empty())
    for (int k = 0; k < n; ++k) ids.push_back(next + k);
  next += n;
}

void drop_ids(std::vector<int> &ids, int count, const std::vector<char> &drop) {
  if (ids.empty()) {
    ids.resize(count);
    std::iota(ids.begin(), ids.end(), 0);
  }
  compact(ids, drop);
}

}  // namespace

void Model::append_rows(int n, const char *type, const double *rhs, const double *range) {
  if (n <= 0) return;
  append_ids(row_id_, row_next_, n);
  rowtype_.insert(rowtype_.end(), type, type + n);
  append_or(rhs_, rhs, n, 0.0);
  append_sparse(range_, nrows() - n, range, n, 0.0);
  mat_.add_empty_rows(n);
  if (!names_[0].empty()) names_[0].resize(rowtype_.size());
  if (!indcol_.empty()) {
    indcol_.resize(rowtype_.size(), -1);
    indcomp_.resize(rowtype_.size(), 0);
  }
  if (!rowflag_.empty()) rowflag_.resize(rowtype_.size(), 0);
}

void Model::append_cols(int n, const double *obj, const double *lb, const double *ub) {
  if (n <= 0) return;
  append_ids(col_id_, col_next_, n);
  append_or(obj_, obj, n, 0.0);
  append_sparse(lb_, ncols() - n, lb, n, 0.0);
  append_sparse(ub_, ncols() - n, ub, n, QNDA_INFINITY);
  coltype_.insert(coltype_.end(), n, 'C');
  if (!limit_.empty()) limit_.insert(limit_.end(), n, 0.0);
  mat_.add_empty_cols(n);
  if (!names_[1].empty()) names_[1].resize(obj_.size());
  if (!colflag_.empty()) colflag_.resize(obj_.size(), 0);
  if (!hasdir_.empty()) {
    hasdir_.resize(obj_.size(), 0);
    dir_.resize(obj_.size());
  }
}

void Model::add_set(char type, QNDAint64 n, const int *cols, const double *refs) {
  settype_.push_back(type);
  setcol_.insert(setcol_.end(), cols, cols + n);
  if (refs) {
    setref_.insert(setref_.end(), refs, refs + n);
  } else {
    for (QNDAint64 k = 0; k < n; ++k) setref_.push_back(static_cast<double>(k + 1));
  }
  setstart_.push_back(static_cast<QNDAint64>(setcol_.size()));
  if (!names_[2].empty()) names_[2].resize(settype_.size());
}

// ----------------------------------------------------------------- changing
void Model::append_sparse(std::vector<double> &v, int before, const double *src, int n,
                          double dflt) {
  if (v.empty() &&
      (!src || std::all_of(src, src + n, [dflt](double x) { return is_default(x, dflt); })))
    return;
  v.resize(before, dflt);
  append_or(v, src, n, dflt);
}

void Model::set_lb(int col, double v) {
  set_or_grow(lb_, ncols(), col, coltype_[col] == 'B' ? clamp01(v) : v, 0.0);
}
void Model::set_ub(int col, double v) {
  set_or_grow(ub_, ncols(), col, coltype_[col] == 'B' ? clamp01(v) : v, QNDA_INFINITY);
}

void Model::set_coltype(int col, char t) {
  coltype_[col] = t;
  if (t == 'B') {
    set_lb(col, lb(col));
    set_ub(col, ub(col));
  }
}

void Model::set_indicator(int row, int col, int comp) {
  if (indcol_.empty()) {
    if (comp == 0) return;
    indcol_.assign(nrows(), -1);
    indcomp_.assign(nrows(), 0);
  }
  bool was = indcol_[row] >= 0;
  if (comp == 0 || col < 0) {
    indcol_[row] = -1;
    indcomp_[row] = 0;
  } else {
    indcol_[row] = col;
    indcomp_[row] = static_cast<signed char>(comp > 0 ? 1 : -1);
  }
  nind_ += (indcol_[row] >= 0) - was;
}

void Model::set_rowflag(int row, char flag) {
  if (rowflag_.empty()) rowflag_.assign(nrows(), 0);
  rowflag_[row] |= flag;
}

void Model::set_colflag(int col, char flag) {
  if (colflag_.empty()) colflag_.assign(ncols(), 0);
  colflag_[col] |= flag;
}

void Model::set_directive(int col, const Directive &d) {
  if (hasdir_.empty()) {
    hasdir_.assign(ncols(), 0);
    dir_.assign(ncols(), Directive{0, 'N', 0.0, 0.0});
  }
  hasdir_[col] = 1;
  dir_[col] = d;
}

std::vector<int> Model::directive_cols() const {
  std::vector<int> cols;
  for (size_t j = 0; j < hasdir_.size(); ++j)
    if (hasdir_[j]) cols.push_back(static_cast<int>(j));
  return cols;
}

// ----------------------------------------------------------------- deleting
void Model::delete_rows(int n, const int *rows) {
  if (n <= 0) return;
  std::vector<char> drop = drop_flags(nrows(), n, rows);
  std::vector<int> map(nrows());
  int next = 0;
  for (int i = 0; i < nrows(); ++i) map[i] = drop[i] ? -1 : next++;
  drop_ids(row_id_, nrows(), drop);
  mat_.delete_rows(drop);
  if (!indcol_.empty()) {
    for (int i = 0; i < nrows(); ++i)
      if (drop[i] && indcol_[i] >= 0) --nind_;
  }
  compact(rowtype_, drop);
  compact(rhs_, drop);
  compact(range_, drop);
  compact(indcol_, drop);
  compact(indcomp_, drop);
  compact(rowflag_, drop);
  if (!names_[0].empty()) names_[0].remove(drop);
  std::map<int, QuadTerms> q;
  for (auto &kv : qrows_)
    if (map[kv.first] >= 0) q.emplace(map[kv.first], std::move(kv.second));
  qrows_.swap(q);
}

void Model::delete_cols(int n, const int *cols) {
  if (n <= 0) return;
  const int nc = ncols();
  std::vector<char> drop = drop_flags(nc, n, cols);
  std::vector<int> map(nc);
  int next = 0;
  for (int j = 0; j < nc; ++j) map[j] = drop[j] ? -1 : next++;
  drop_ids(col_id_, nc, drop);
  mat_.delete_cols(drop);
  compact(obj_, drop);
  compact(lb_, drop);
  compact(ub_, drop);
  compact(limit_, drop);
  compact(coltype_, drop);
  compact(colflag_, drop);
  compact(hasdir_, drop);
  compact(dir_, drop);
  if (!names_[1].empty()) names_[1].remove(drop);
  qobj_.renumber(map);
  for (auto &kv : qrows_) kv.second.renumber(map);
  // Sets lose the deleted members.
  drop_mapped(nsets(), setstart_, setcol_, setref_, map);
  // Indicator rows of a deleted column become ordinary rows.
  for (size_t i = 0; i < indcol_.size(); ++i) {
    if (indcol_[i] < 0) continue;
    int j = map[indcol_[i]];
    if (j < 0) {
      indcomp_[i] = 0;
      --nind_;
    }
    indcol_[i] = j;
  }
}

void Model::delete_sets(int n, const int *sets) {
  if (n <= 0) return;
  std::vector<char> drop = drop_flags(nsets(), n, sets);
  QNDAint64 w = 0;
  int sw = 0;
  for (int s = 0; s < nsets(); ++s) {
    QNDAint64 b = setstart_[s], e = setstart_[s + 1];
    if (drop[s]) continue;
    settype_[sw] = settype_[s];
    setstart_[sw++] = w;
    for (QNDAint64 k = b; k < e; ++k) {
      setcol_[w] = setcol_[k];
      setref_[w] = setref_[k];
      ++w;
    }
  }
  settype_.resize(sw);
  setstart_.resize(sw + 1);
  setstart_[sw] = w;
  setcol_.resize(w);
  setref_.resize(w);
  if (!names_[2].empty()) names_[2].remove(drop);
}

void Model::drop_free_rows() {
  std::vector<int> rows;
  for (int i = 0; i < nrows(); ++i)
    if (rowtype_[i] == 'N') rows.push_back(i);
  delete_rows(static_cast<int>(rows.size()), rows.data());
}

}  // namespace qnda
