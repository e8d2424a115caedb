// LP-format files: the engine's reader and writer, with the model store's
// content passed as a FileModel.
#include <cmath>
#include <limits>

#include "core/error.h"
#include "engine/engine.h"
#include "io/lpfile.h"
#include "model/model.h"

namespace qnda {

void read_lp(const std::string &path, ModelData &d) {
  FileModel fm;
  engine_read_lp_file(path, fm);
  const FlatModel &m = fm.model;
  d = ModelData();
  d.name = fm.name;
  d.sense = m.sense;
  d.obj_constant = m.obj_constant;
  auto fin = [](double v) {
    return v >= QNDA_INFINITY ? QNDA_INFINITY : v <= -QNDA_INFINITY ? -QNDA_INFINITY : v;
  };
  for (int i = 0; i < m.nrows; ++i) {
    const double lo = m.rowlo[i], hi = m.rowup[i];
    const bool li = std::isinf(lo) || lo <= -QNDA_INFINITY,
               hinf = std::isinf(hi) || hi >= QNDA_INFINITY;
    char t;
    double rhs = 0, range = 0;
    if (li && hinf)
      t = 'N';
    else if (li) {
      t = 'L';
      rhs = hi;
    } else if (hinf) {
      t = 'G';
      rhs = lo;
    } else if (lo == hi) {
      t = 'E';
      rhs = hi;
    } else {
      t = 'R';
      rhs = hi;
      range = hi - lo;
    }
    d.rowtype.push_back(t);
    d.rhs.push_back(rhs);
    d.range.push_back(range);
    d.row_names.push_back(i < static_cast<int>(fm.row_names.size()) ? fm.row_names[i] : "");
  }
  for (int j = 0; j < m.ncols; ++j) {
    d.obj.push_back(m.obj[j]);
    double lb = fin(m.lb[j]), ub = fin(m.ub[j]), limit = 0;
    char t = 'C';
    if (!m.kind.empty()) {
      switch (m.kind[j]) {
        case ColKind::Integer:
          t = lb >= 0 && ub <= 1 ? 'B' : 'I';
          break;
        case ColKind::SemiContinuous:
        case ColKind::SemiInteger:
          t = m.kind[j] == ColKind::SemiContinuous ? 'S' : 'R';
          limit = lb > 0 ? lb : 0;
          lb = 0;
          break;
        default:
          break;
      }
    }
    d.lb.push_back(lb);
    d.ub.push_back(ub);
    d.limit.push_back(limit);
    d.coltype.push_back(t);
    d.col_names.push_back(j < static_cast<int>(fm.col_names.size()) ? fm.col_names[j] : "");
  }
  d.start.assign(m.start.begin(), m.start.end());
  if (d.start.empty()) d.start.assign(m.ncols + 1, 0);
  d.rowind = m.index;
  d.value = m.value;
  for (size_t k = 0; k < fm.q1.size(); ++k) d.qobj.push_back({fm.q1[k], fm.q2[k], fm.qcoef[k]});
}

void write_lp(const std::string &path, const std::string &probname, const Model &model) {
  const char *why = nullptr;
  if (model.nsets() > 0)
    why = "special ordered sets";
  else if (model.indicator_count() > 0)
    why = "indicator rows";
  else if (!model.qrow_list().empty())
    why = "quadratic rows";
  for (char c : model.coltype())
    if (c == 'P') why = "partially integer columns";
  if (why)
    fail(QNDA_ERR_UNSUPPORTED, "the LP format writer cannot hold %s; write MPS instead", why);
  const int n = model.ncols(), m = model.nrows();
  const double inf = std::numeric_limits<double>::infinity();
  auto conv = [inf](double v) { return v >= QNDA_INFINITY ? inf : v <= -QNDA_INFINITY ? -inf : v; };
  FileModel fm;
  fm.name = probname;
  FlatModel &f = fm.model;
  f.ncols = f.orig_cols = n;
  f.nrows = f.orig_rows = m;
  f.sense = model.obj_sense();
  f.obj_constant = model.obj_constant();
  f.obj = model.obj();
  for (int j = 0; j < n; ++j) {
    f.lb.push_back(conv(model.lb(j)));
    f.ub.push_back(conv(model.ub(j)));
  }
  for (int i = 0; i < m; ++i) {
    double lo, hi;
    model.row_bounds(i, &lo, &hi);
    f.rowlo.push_back(conv(lo));
    f.rowup.push_back(conv(hi));
  }
  SparseMatrix::Csc a = model.csc();
  for (int j = 0; j <= n; ++j) f.start.push_back(static_cast<int>(a.start[j]));
  f.index.assign(a.index, a.index + a.nnz);
  f.value.assign(a.value, a.value + a.nnz);
  bool any = false;
  for (char c : model.coltype()) any = any || c != 'C';
  if (any) {
    f.kind.assign(n, ColKind::Continuous);
    for (int j = 0; j < n; ++j) {
      switch (model.coltype()[j]) {
        case 'I':
        case 'B':
          f.kind[j] = ColKind::Integer;
          break;
        case 'S':
        case 'R':
          f.kind[j] = model.coltype()[j] == 'S' ? ColKind::SemiContinuous : ColKind::SemiInteger;
          if (model.limit(j) > 0) f.lb[j] = model.limit(j);
          break;
        default:
          break;
      }
    }
  }
  for (const auto &t : model.qobj().terms()) {
    fm.q1.push_back(t.i);
    fm.q2.push_back(t.j);
    fm.qcoef.push_back(t.v);
  }
  for (int i = 0; i < m; ++i) fm.row_names.push_back(model.name(NAMES_ROWS, i));
  for (int j = 0; j < n; ++j) fm.col_names.push_back(model.name(NAMES_COLS, j));
  engine_write_lp_file(path, fm);
}

}  // namespace qnda
