#include "engine/reformulate.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <numeric>
#include <string>

#include "core/error.h"

namespace qnda {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

// Rows and columns added by the reformulation, with their entries as
// triplets, merged into the column-wise matrix at the end.
class Extension {
 public:
  Extension(FlatModel &m) : m_(m) {}

  int add_col(double lb, double ub, ColKind kind) {
    m_.obj.push_back(0.0);
    m_.lb.push_back(lb);
    m_.ub.push_back(ub);
    kinds_.push_back(kind);
    return m_.ncols++;
  }
  int add_row(double lo, double hi) {
    m_.rowlo.push_back(lo);
    m_.rowup.push_back(hi);
    return m_.nrows++;
  }
  void add_entry(int row, int col, double v) {
    if (v == 0.0) return;
    rows_.push_back(row);
    cols_.push_back(col);
    vals_.push_back(v);
  }
  bool empty() const { return rows_.empty() && kinds_.empty(); }
  const std::vector<ColKind> &kinds() const { return kinds_; }

  // Folds the triplets into m_'s column-wise matrix (which has entries for
  // the original columns only).
  void merge(int orig_cols) {
    const int n = m_.ncols;
    std::vector<int> count(n, 0);
    for (int j = 0; j < orig_cols; ++j) count[j] = m_.start[j + 1] - m_.start[j];
    for (int c : cols_) ++count[c];
    std::vector<int> start(n + 1, 0);
    for (int j = 0; j < n; ++j) start[j + 1] = start[j] + count[j];
    std::vector<int> index(start[n]);
    std::vector<double> value(start[n]);
    std::vector<int> pos(start.begin(), start.end() - 1);
    for (int j = 0; j < orig_cols; ++j)
      for (int k = m_.start[j]; k < m_.start[j + 1]; ++k) {
        index[pos[j]] = m_.index[k];
        value[pos[j]++] = m_.value[k];
      }
    for (size_t k = 0; k < cols_.size(); ++k) {
      index[pos[cols_[k]]] = rows_[k];
      value[pos[cols_[k]]++] = vals_[k];
    }
    // An indicator column may already sit in its own row: sum such
    // duplicates (engines refuse them), compacting in place.
    std::vector<char> touched(n, 0);
    for (int c : cols_) touched[c] = 1;
    int out = 0;
    std::vector<std::pair<int, double>> col;
    for (int j = 0; j < n; ++j) {
      const int b = start[j], e = start[j + 1];
      start[j] = out;
      if (!touched[j]) {
        for (int k = b; k < e; ++k, ++out) {
          index[out] = index[k];
          value[out] = value[k];
        }
        continue;
      }
      col.clear();
      for (int k = b; k < e; ++k) col.push_back({index[k], value[k]});
      std::sort(col.begin(), col.end(),
                [](const std::pair<int, double> &x, const std::pair<int, double> &y) {
                  return x.first < y.first;
                });
      for (size_t k = 0; k < col.size();) {
        const int r = col[k].first;
        double v = 0;
        for (; k < col.size() && col[k].first == r; ++k) v += col[k].second;
        if (v == 0.0) continue;
        index[out] = r;
        value[out++] = v;
      }
    }
    start[n] = out;
    index.resize(out);
    value.resize(out);
    m_.start.swap(start);
    m_.index.swap(index);
    m_.value.swap(value);
  }

 private:
  FlatModel &m_;
  std::vector<ColKind> kinds_;
  std::vector<int> rows_, cols_;
  std::vector<double> vals_;
};

std::string col_label(const Model &model, int j) { return model.name(NAMES_COLS, j); }
std::string row_label(const Model &model, int i) { return model.name(NAMES_ROWS, i); }

// x_j <= ub_j * b and x_j >= lb_j * b: x_j is 0 when binary b is 0.
void link_to_binary(const Model &model, FlatModel &m, Extension &ext, int j, int b,
                    const char *what) {
  const double lb = m.lb[j], ub = m.ub[j];
  if (ub > 0) {
    if (std::isinf(ub))
      fail(QNDA_ERR_UNSUPPORTED, "%s requires a finite upper bound on column %s", what,
           col_label(model, j).c_str());
    int r = ext.add_row(-kInf, 0.0);
    ext.add_entry(r, j, 1.0);
    ext.add_entry(r, b, -ub);
  }
  if (lb < 0) {
    if (std::isinf(lb))
      fail(QNDA_ERR_UNSUPPORTED, "%s requires a finite lower bound on column %s", what,
           col_label(model, j).c_str());
    int r = ext.add_row(0.0, kInf);
    ext.add_entry(r, j, 1.0);
    ext.add_entry(r, b, -lb);
  }
}

void reformulate_sets(const Model &model, FlatModel &m, Extension &ext) {
  const auto &type = model.settype();
  const auto &start = model.setstart();
  const auto &col = model.setcol();
  const auto &ref = model.setref();
  for (int s = 0; s < model.nsets(); ++s) {
    const QNDAint64 b0 = start[s], n = start[s + 1] - start[s];
    if (n <= (type[s] == '2' ? 2 : 1)) continue;  // nothing to enforce
    std::string what =
        std::string(type[s] == '2' ? "SOS2" : "SOS1") + " set " + model.name(NAMES_SETS, s);
    // Members in the order of their reference values.
    std::vector<QNDAint64> order(n);
    std::iota(order.begin(), order.end(), b0);
    std::stable_sort(order.begin(), order.end(),
                     [&](QNDAint64 a, QNDAint64 b) { return ref[a] < ref[b]; });
    const int card = ext.add_row(-kInf, 1.0);
    if (type[s] == '1') {
      for (QNDAint64 k : order) {
        int b = ext.add_col(0.0, 1.0, ColKind::Integer);
        ext.add_entry(card, b, 1.0);
        link_to_binary(model, m, ext, col[k], b, what.c_str());
      }
    } else {
      // Segment binaries z_0 .. z_{n-2}; member k may be nonzero only when
      // z_{k-1} or z_k is 1.
      std::vector<int> z(n - 1);
      for (QNDAint64 k = 0; k + 1 < n; ++k) {
        z[k] = ext.add_col(0.0, 1.0, ColKind::Integer);
        ext.add_entry(card, z[k], 1.0);
      }
      for (QNDAint64 k = 0; k < n; ++k) {
        const int j = col[order[k]];
        const double lb = m.lb[j], ub = m.ub[j];
        if (ub > 0) {
          if (std::isinf(ub))
            fail(QNDA_ERR_UNSUPPORTED, "%s requires a finite upper bound on column %s",
                 what.c_str(), col_label(model, j).c_str());
          int r = ext.add_row(-kInf, 0.0);
          ext.add_entry(r, j, 1.0);
          if (k > 0) ext.add_entry(r, z[k - 1], -ub);
          if (k + 1 < n) ext.add_entry(r, z[k], -ub);
        }
        if (lb < 0) {
          if (std::isinf(lb))
            fail(QNDA_ERR_UNSUPPORTED, "%s requires a finite lower bound on column %s",
                 what.c_str(), col_label(model, j).c_str());
          int r = ext.add_row(0.0, kInf);
          ext.add_entry(r, j, 1.0);
          if (k > 0) ext.add_entry(r, z[k - 1], -lb);
          if (k + 1 < n) ext.add_entry(r, z[k], -lb);
        }
      }
    }
  }
}

// A partially integer column x with threshold L: integer in [lb, L],
// continuous in [L, ub].  With F = floor(L): x = y + w, y integer in
// [lb, F], w in [0, ub - F], binary b: w <= (ub - F) b, y >= lb + (F - lb) b
// and, for a fractional L, w >= (L - F) b.
void reformulate_partial(const Model &model, FlatModel &m, Extension &ext, int j, double L) {
  const double lb = m.lb[j], ub = m.ub[j];
  if (L <= lb) return;  // continuous everywhere
  if (L >= ub) {        // integer everywhere
    m.kind[j] = ColKind::Integer;
    return;
  }
  if (std::isinf(ub))
    fail(QNDA_ERR_UNSUPPORTED,
         "Partially integer column %s requires a finite upper bound on column %s",
         col_label(model, j).c_str(), col_label(model, j).c_str());
  if (std::isinf(lb))
    fail(QNDA_ERR_UNSUPPORTED,
         "Partially integer column %s requires a finite lower bound on column %s",
         col_label(model, j).c_str(), col_label(model, j).c_str());
  const double Li = std::floor(L);
  int y = ext.add_col(lb, Li, ColKind::Integer);
  int w = ext.add_col(0.0, ub - Li, ColKind::Continuous);
  int b = ext.add_col(0.0, 1.0, ColKind::Integer);
  int r = ext.add_row(0.0, 0.0);
  ext.add_entry(r, j, 1.0);
  ext.add_entry(r, y, -1.0);
  ext.add_entry(r, w, -1.0);
  r = ext.add_row(-kInf, 0.0);
  ext.add_entry(r, w, 1.0);
  ext.add_entry(r, b, -(ub - Li));
  r = ext.add_row(lb, kInf);
  ext.add_entry(r, y, 1.0);
  ext.add_entry(r, b, -(Li - lb));
  if (L > Li) {
    // A fractional threshold: the continuous part starts at L itself.
    r = ext.add_row(0.0, kInf);
    ext.add_entry(r, w, 1.0);
    ext.add_entry(r, b, -(L - Li));
  }
}

// Smallest and largest value of row i's linear part over the column bounds.
void activity_range(const FlatModel &m,
                    const std::vector<std::vector<std::pair<int, double>>> &rows, int i, double *lo,
                    double *hi) {
  double a = 0, b = 0;
  for (const auto &e : rows[i]) {
    double l = m.lb[e.first], u = m.ub[e.first];
    const double v = e.second;
    if (!m.kind.empty() &&
        (m.kind[e.first] == ColKind::SemiContinuous || m.kind[e.first] == ColKind::SemiInteger)) {
      l = std::min(l, 0.0);  // the column may also be 0
      u = std::max(u, 0.0);
    }
    a += v > 0 ? v * l : v * u;
    b += v > 0 ? v * u : v * l;
  }
  *lo = a;
  *hi = b;
}

void reformulate_indicators(const Model &model, FlatModel &m, Extension &ext) {
  // Row-wise entries of the indicator rows only.
  const int n = model.ncols();
  std::vector<std::vector<std::pair<int, double>>> rows(model.nrows());
  std::vector<char> is_ind(model.nrows(), 0);
  for (int i = 0; i < model.nrows(); ++i) is_ind[i] = model.indicator_col(i) >= 0;
  for (int j = 0; j < n; ++j)
    for (int k = m.start[j]; k < m.start[j + 1]; ++k)
      if (is_ind[m.index[k]]) rows[m.index[k]].push_back({j, m.value[k]});
  for (int i = 0; i < model.nrows(); ++i) {
    if (!is_ind[i]) continue;
    const int c = model.indicator_col(i);
    const int comp = model.indicator_comp(i);
    if (m.kind.empty() || m.kind[c] != ColKind::Integer || m.lb[c] < 0 || m.ub[c] > 1)
      fail(QNDA_ERR_UNSUPPORTED, "Indicator row %s requires a binary indicator column, not %s",
           row_label(model, i).c_str(), col_label(model, c).c_str());
    double amin, amax;
    activity_range(m, rows, i, &amin, &amax);
    const double lo = m.rowlo[i], hi = m.rowup[i];
    const bool need_hi = !std::isinf(hi), need_lo = !std::isinf(lo);
    if ((need_hi && std::isinf(amax)) || (need_lo && std::isinf(amin)))
      fail(QNDA_ERR_UNSUPPORTED,
           "Indicator row %s requires finite bounds on the columns of its row",
           row_label(model, i).c_str());
    // The row itself keeps the upper side, a new row the lower side.
    int lo_row = i;
    if (need_hi && need_lo) {
      lo_row = ext.add_row(lo, kInf);
      for (const auto &e : rows[i]) ext.add_entry(lo_row, e.first, e.second);
    }
    if (need_hi) {
      const double M = std::max(0.0, amax - hi);
      // comp 1: a'x + M b <= hi + M; comp -1: a'x - M b <= hi.
      m.rowlo[i] = -kInf;
      if (comp > 0) {
        m.rowup[i] = hi + M;
        ext.add_entry(i, c, M);
      } else {
        m.rowup[i] = hi;
        ext.add_entry(i, c, -M);
      }
    }
    if (need_lo) {
      const double M = std::max(0.0, lo - amin);
      // comp 1: a'x - M b >= lo - M; comp -1: a'x + M b >= lo.
      if (lo_row == i) m.rowup[i] = kInf;
      if (comp > 0) {
        m.rowlo[lo_row] = lo - M;
        ext.add_entry(lo_row, c, -M);
      } else {
        m.rowlo[lo_row] = lo;
        ext.add_entry(lo_row, c, M);
      }
    }
  }
}

}  // namespace

void flatten(const Model &model, const FlattenOptions &opt, FlatModel &m) {
  const int n = model.ncols(), nr = model.nrows();
  const double inf = opt.infinity > 0 ? opt.infinity : QNDA_INFINITY;
  auto conv = [inf](double v) { return v >= inf ? kInf : v <= -inf ? -kInf : v; };

  const bool quad = !model.qobj().empty();
  m = FlatModel();
  m.ncols = m.orig_cols = n;
  m.nrows = m.orig_rows = nr;
  m.sense = model.obj_sense();
  m.obj_constant = model.obj_constant();
  m.epoch = model.epoch();
  m.row_id = model.row_ids();
  m.col_id = model.col_ids();
  m.obj = model.obj();
  m.lb.resize(n);
  m.ub.resize(n);
  for (int j = 0; j < n; ++j) {
    m.lb[j] = conv(model.lb(j));
    m.ub[j] = conv(model.ub(j));
  }
  m.rowlo.resize(nr);
  m.rowup.resize(nr);
  for (int i = 0; i < nr; ++i) {
    double lo, hi;
    model.row_bounds(i, &lo, &hi);
    m.rowlo[i] = conv(lo);
    m.rowup[i] = conv(hi);
  }
  SparseMatrix::Csc a = model.csc();
  if (a.nnz > INT_MAX)
    fail(QNDA_ERR_UNSUPPORTED, "The %s engine takes at most %d matrix entries", opt.engine,
         INT_MAX);
  m.start.resize(n + 1);
  for (int j = 0; j <= n; ++j) m.start[j] = static_cast<int>(a.start[j]);
  m.index.assign(a.index, a.index + a.nnz);
  m.value.assign(a.value, a.value + a.nnz);

  if (quad) {
    const auto &terms = model.qobj().terms();  // sorted by (i, j), i <= j
    m.qstart.assign(n + 1, 0);
    m.qindex.reserve(terms.size());
    m.qvalue.reserve(terms.size());
    for (const auto &t : terms) {
      ++m.qstart[t.i + 1];
      m.qindex.push_back(t.j);
      // v x_i^2 is 0.5 (2v) x_i^2; v x_i x_j is 0.5 (v x_i x_j + v x_j x_i).
      m.qvalue.push_back(t.i == t.j ? 2.0 * t.v : t.v);
    }
    for (int j = 0; j < n; ++j) m.qstart[j + 1] += m.qstart[j];
  }
  for (int i : model.qrow_list()) {
    FlatModel::QuadRow q;
    q.row = i;
    for (const auto &t : model.qrows().at(i).terms()) {
      q.c1.push_back(t.i);
      q.c2.push_back(t.j);
      q.v.push_back(t.v);
    }
    m.qrows.push_back(std::move(q));
  }

  const auto &ct = model.coltype();
  bool any = model.nsets() > 0 || model.indicator_count() > 0;
  for (int j = 0; j < n && !any; ++j) any = ct[j] != 'C';
  if (!any) return;

  m.kind.assign(n, ColKind::Continuous);
  std::vector<int> partial;
  for (int j = 0; j < n; ++j) {
    const double L = model.limit(j);
    switch (ct[j]) {
      case 'I':
        m.kind[j] = ColKind::Integer;
        break;
      case 'B':
        m.kind[j] = ColKind::Integer;
        m.lb[j] = std::max(m.lb[j], 0.0);
        m.ub[j] = std::min(m.ub[j], 1.0);
        break;
      case 'S':
      case 'R':
        m.kind[j] = ct[j] == 'S' ? ColKind::SemiContinuous : ColKind::SemiInteger;
        if (L > 0) m.lb[j] = L;
        if (std::isinf(m.ub[j]))
          fail(QNDA_ERR_UNSUPPORTED, "Semi-%s column %s requires a finite upper bound",
               ct[j] == 'S' ? "continuous" : "integer", col_label(model, j).c_str());
        break;
      case 'P':
        partial.push_back(j);
        break;
      default:
        break;
    }
  }
  Extension ext(m);
  for (int j : partial) reformulate_partial(model, m, ext, j, model.limit(j));
  reformulate_indicators(model, m, ext);
  reformulate_sets(model, m, ext);
  if (ext.empty()) return;
  m.kind.insert(m.kind.end(), ext.kinds().begin(), ext.kinds().end());
  ext.merge(n);
  if (!m.qstart.empty()) m.qstart.resize(m.ncols + 1, m.qstart.back());
}

}  // namespace qnda
