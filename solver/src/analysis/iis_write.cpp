// Writing an infeasible subsystem: as a model of its own in the LP format
// (its rows and the bounds it holds, every other bound free), or as a CSV
// list of its members.
#include <cmath>
#include <cstdio>
#include <memory>

#include "analysis/analysis.h"
#include "core/error.h"

namespace qnda {
namespace {

std::string name_of(const qnda_problem_s &prob, int kind, int i) {
  if (prob.model.has_name(kind, i)) return prob.model.name(kind, i);
  return (kind == QNDA_NAMES_ROWS ? "R" : "C") + std::to_string(i + 1);
}

void write_lp(qnda_problem_s &prob, const IisSet &set, const char *filename) {
  const FlatModel &m = prob.analysis->model;
  FileModel fm;
  fm.name = prob.name.empty() ? "iis" : prob.name + "_iis";
  FlatModel &s = fm.model;
  // Only the columns the subsystem touches, renumbered.
  std::vector<int> newcol(m.ncols, -1);
  std::vector<char> inrow(m.nrows, 0);
  for (int i : set.rows) inrow[i] = 1;
  int nc = 0;
  for (int j = 0; j < m.orig_cols; ++j) {
    bool used = false;
    for (int k = m.start[j]; k < m.start[j + 1] && !used; ++k) used = inrow[m.index[k]];
    for (int c : set.cols) used = used || c == j;
    if (used) newcol[j] = nc++;
  }
  std::vector<int> newrow(m.nrows, -1);
  int nr = 0;
  for (int i : set.rows) newrow[i] = nr++;
  s.ncols = s.orig_cols = nc;
  s.nrows = s.orig_rows = nr;
  s.obj.assign(nc, 0.0);
  s.lb.assign(nc, -INFINITY);
  s.ub.assign(nc, INFINITY);
  s.rowlo.resize(nr);
  s.rowup.resize(nr);
  for (int i : set.rows) {
    s.rowlo[newrow[i]] = m.rowlo[i];
    s.rowup[newrow[i]] = m.rowup[i];
    fm.row_names.push_back(name_of(prob, QNDA_NAMES_ROWS, i));
  }
  s.start.assign(1, 0);
  fm.col_names.resize(nc);
  if (m.has_integers()) s.kind.assign(nc, ColKind::Continuous);
  for (int j = 0; j < m.orig_cols; ++j) {
    if (newcol[j] < 0) continue;
    fm.col_names[newcol[j]] = name_of(prob, QNDA_NAMES_COLUMNS, j);
    if (m.has_integers() && m.kind[j] == ColKind::Integer) s.kind[newcol[j]] = ColKind::Integer;
    for (int k = m.start[j]; k < m.start[j + 1]; ++k)
      if (inrow[m.index[k]]) {
        s.index.push_back(newrow[m.index[k]]);
        s.value.push_back(m.value[k]);
      }
    s.start.push_back(static_cast<int>(s.index.size()));
  }
  for (size_t k = 0; k < set.cols.size(); ++k) {
    const int j = set.cols[k];
    if (set.colside[k] == 'L')
      s.lb[newcol[j]] = m.lb[j];
    else
      s.ub[newcol[j]] = m.ub[j];
  }
  engine_write_lp_file(filename, fm);
}

void write_csv(qnda_problem_s &prob, const IisSet &set, const char *filename) {
  const FlatModel &m = prob.analysis->model;
  std::unique_ptr<FILE, int (*)(FILE *)> f(std::fopen(filename, "w"), std::fclose);
  if (!f) fail(QNDA_ERR_FILE, "cannot write \"%s\"", filename);
  std::fprintf(f.get(), "kind,name,index,type,bound\n");
  for (size_t k = 0; k < set.rows.size(); ++k) {
    const int i = set.rows[k];
    const double b = std::isfinite(m.rowup[i]) ? m.rowup[i] : m.rowlo[i];
    std::fprintf(f.get(), "row,%s,%d,%c,%.17g\n", name_of(prob, QNDA_NAMES_ROWS, i).c_str(), i,
                 set.rowtype[k], b);
  }
  for (size_t k = 0; k < set.cols.size(); ++k) {
    const int j = set.cols[k];
    std::fprintf(f.get(), "bound,%s,%d,%c,%.17g\n", name_of(prob, QNDA_NAMES_COLUMNS, j).c_str(), j,
                 set.colside[k], set.colside[k] == 'L' ? m.lb[j] : m.ub[j]);
  }
  if (std::ferror(f.get())) fail(QNDA_ERR_FILE, "cannot write \"%s\"", filename);
}

}  // namespace

void iis_write(qnda_problem_s &prob, int num, const char *filename, int type) {
  const IisSet &set = iis_get(prob, num);
  if (!filename || !*filename) fail(QNDA_ERR_ARGUMENT, "no file name");
  if (type == 0)
    write_lp(prob, set, filename);
  else if (type == 1)
    write_csv(prob, set, filename);
  else
    fail(QNDA_ERR_ARGUMENT, "file type must be 0 (LP) or 1 (CSV), not %d", type);
}

}  // namespace qnda
