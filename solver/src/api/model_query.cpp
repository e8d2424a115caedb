// Queries of the model.  Ranges first..last are inclusive; an empty range
// (last = first - 1) is accepted and returns nothing.  Ranges are always
// checked: reading past the store is never worth the saving.
#include <algorithm>
#include <climits>
#include <limits>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "api/guard.h"
#include "api/model_args.h"
#include "qnda.h"

using namespace qnda;

namespace {

template <class T>
void copy_range(const std::vector<T> &src, T *dst, int first, int last, const char *what) {
  check_range(first, last, static_cast<int>(src.size()), what);
  check_array(dst, what);
  if (last >= first) std::copy(src.begin() + first, src.begin() + last + 1, dst);
}

// The same for values the store answers one at a time (get(i)).
template <class Get>
void copy_each(int count, Get get, double *dst, int first, int last, const char *what) {
  check_range(first, last, count, what);
  check_array(dst, what);
  for (int i = first; i <= last; ++i) dst[i - first] = get(i);
}

// Upper-triangle terms (i <= j) with i in [first, last], row-major.  With
// start NULL or maxcoefs too small only *ncoefs is set.
template <class Idx>
void get_quad(const QuadTerms &q, Idx *start, int *colind, double *coef, Idx maxcoefs, Idx *ncoefs,
              int first, int last, int ncols) {
  check_range(first, last, ncols, "column");
  const auto &t = q.terms();
  auto by_i = [](const QuadTerms::Term &a, int i) { return a.i < i; };
  auto b = std::lower_bound(t.begin(), t.end(), first, by_i);
  auto e = std::lower_bound(b, t.end(), last + 1, by_i);
  QNDAint64 need = e - b;
  if (need > static_cast<QNDAint64>(std::numeric_limits<Idx>::max()))
    fail(QNDA_ERR_ARGUMENT, "%lld terms do not fit the 32-bit form; use the 64-bit function",
         static_cast<long long>(need));
  if (ncoefs) *ncoefs = static_cast<Idx>(need);
  if (maxcoefs < need) return;
  Idx k = 0;
  auto it = b;
  for (int i = first; i <= last; ++i) {
    if (start) start[i - first] = k;
    for (; it != e && it->i == i; ++it, ++k) {
      if (colind) colind[k] = it->j;
      if (coef) coef[k] = it->v;
    }
  }
  if (start) start[last - first + 1] = k;
}

// Head of the matrix queries: an empty range answers no entries (and says
// so: true); ...
bool empty_range(int first, int last, int count, const char *what, QNDAint64 *ncoefs,
                 QNDAint64 *start) {
  check_range(first, last, count, what);
  if (last >= first) return false;
  if (ncoefs) *ncoefs = 0;
  if (start) start[0] = 0;
  return true;
}

// ... else lines first..last hold the entries [*b, *b + *need) of the store,
// which fit when maxcoefs allows.
bool entries_fit(const QNDAint64 *line_start, int first, int last, QNDAint64 maxcoefs,
                 QNDAint64 *ncoefs, QNDAint64 *b, QNDAint64 *need) {
  *b = line_start[first];
  *need = line_start[last + 1] - *b;
  if (ncoefs) *ncoefs = *need;
  return maxcoefs >= *need;
}

const QuadTerms &qrow_of(const Model &m, int row) {
  static const QuadTerms empty;
  auto it = m.qrows().find(row);
  return it == m.qrows().end() ? empty : it->second;
}

}  // namespace

extern "C" {

int QNDAgetrows64(QNDAprob prob, QNDAint64 *start, int *colind, double *rowcoef, QNDAint64 maxcoefs,
                  QNDAint64 *ncoefs, int first, int last) {
  return guard_read(prob, "QNDAgetrows64", [&] {
    const Model &m = prob->model;
    if (empty_range(first, last, m.nrows(), "row", ncoefs, start)) return;
    const SparseMatrix::Csr &a = m.matrix().csr();
    QNDAint64 b, need;
    if (!entries_fit(a.start.data(), first, last, maxcoefs, ncoefs, &b, &need)) return;
    if (start)
      for (int i = first; i <= last + 1; ++i) start[i - first] = a.start[i] - b;
    if (colind) std::copy(a.index.begin() + b, a.index.begin() + b + need, colind);
    if (rowcoef) std::copy(a.value.begin() + b, a.value.begin() + b + need, rowcoef);
  });
}

int QNDAgetcols64(QNDAprob prob, QNDAint64 *start, int *rowind, double *colcoef, QNDAint64 maxcoefs,
                  QNDAint64 *ncoefs, int first, int last) {
  return guard_read(prob, "QNDAgetcols64", [&] {
    const Model &m = prob->model;
    if (empty_range(first, last, m.ncols(), "column", ncoefs, start)) return;
    SparseMatrix::Csc a = m.csc();
    QNDAint64 b, need;
    if (!entries_fit(a.start, first, last, maxcoefs, ncoefs, &b, &need)) return;
    std::vector<std::pair<int, double>> col;
    for (int j = first; j <= last; ++j) {
      QNDAint64 cb = a.start[j], ce = a.start[j + 1];
      if (start) start[j - first] = cb - b;
      col.clear();
      for (QNDAint64 k = cb; k < ce; ++k) col.emplace_back(a.index[k], a.value[k]);
      std::sort(col.begin(), col.end());  // rows in order, whatever the storage order
      for (size_t k = 0; k < col.size(); ++k) {
        if (rowind) rowind[cb - b + k] = col[k].first;
        if (colcoef) colcoef[cb - b + k] = col[k].second;
      }
    }
    if (start) start[last - first + 1] = need;
  });
}

int QNDAgetcoef(QNDAprob prob, int row, int col, double *coef) {
  return guard_read(prob, "QNDAgetcoef", [&] {
    check_index(row, prob->model.nrows(), "row");
    check_index(col, prob->model.ncols(), "column");
    check_array(coef, "coef");
    *coef = prob->model.matrix().get_coef(row, col);
  });
}

int QNDAgetlb(QNDAprob prob, double *lb, int first, int last) {
  return guard_read(prob, "QNDAgetlb", [&] {
    const Model &m = prob->model;
    copy_each(m.ncols(), [&](int j) { return m.lb(j); }, lb, first, last, "column");
  });
}

int QNDAgetub(QNDAprob prob, double *ub, int first, int last) {
  return guard_read(prob, "QNDAgetub", [&] {
    const Model &m = prob->model;
    copy_each(m.ncols(), [&](int j) { return m.ub(j); }, ub, first, last, "column");
  });
}

int QNDAgetobj(QNDAprob prob, double *obj, int first, int last) {
  return guard_read(prob, "QNDAgetobj",
                    [&] { copy_range(prob->model.obj(), obj, first, last, "column"); });
}

int QNDAgetrhs(QNDAprob prob, double *rhs, int first, int last) {
  return guard_read(prob, "QNDAgetrhs",
                    [&] { copy_range(prob->model.rhs(), rhs, first, last, "row"); });
}

int QNDAgetrhsrange(QNDAprob prob, double *range, int first, int last) {
  return guard_read(prob, "QNDAgetrhsrange", [&] {
    const Model &m = prob->model;
    auto get = [&](int i) { return m.rowtype()[i] == 'R' ? m.range(i) : 0.0; };
    copy_each(m.nrows(), get, range, first, last, "row");
  });
}

int QNDAgetrowtype(QNDAprob prob, char *rowtype, int first, int last) {
  return guard_read(prob, "QNDAgetrowtype",
                    [&] { copy_range(prob->model.rowtype(), rowtype, first, last, "row"); });
}

int QNDAgetcoltype(QNDAprob prob, char *coltype, int first, int last) {
  return guard_read(prob, "QNDAgetcoltype",
                    [&] { copy_range(prob->model.coltype(), coltype, first, last, "column"); });
}

int QNDAgetqobj(QNDAprob prob, int col1, int col2, double *coef) {
  return guard_read(prob, "QNDAgetqobj", [&] {
    check_index(col1, prob->model.ncols(), "column");
    check_index(col2, prob->model.ncols(), "column");
    check_array(coef, "coef");
    *coef = prob->model.qobj().get(col1, col2);
  });
}

int QNDAgetmqobj64(QNDAprob prob, QNDAint64 *start, int *colind, double *objqcoef,
                   QNDAint64 maxcoefs, QNDAint64 *ncoefs, int first, int last) {
  return guard_read(prob, "QNDAgetmqobj64", [&] {
    get_quad<QNDAint64>(prob->model.qobj(), start, colind, objqcoef, maxcoefs, ncoefs, first, last,
                        prob->model.ncols());
  });
}

int QNDAgetmqobj(QNDAprob prob, int *start, int *colind, double *objqcoef, int maxcoefs,
                 int *ncoefs, int first, int last) {
  return guard_read(prob, "QNDAgetmqobj", [&] {
    get_quad<int>(prob->model.qobj(), start, colind, objqcoef, maxcoefs, ncoefs, first, last,
                  prob->model.ncols());
  });
}

int QNDAgetqrowcoeff(QNDAprob prob, int row, int col1, int col2, double *coef) {
  return guard_read(prob, "QNDAgetqrowcoeff", [&] {
    const Model &m = prob->model;
    check_index(row, m.nrows(), "row");
    check_index(col1, m.ncols(), "column");
    check_index(col2, m.ncols(), "column");
    check_array(coef, "coef");
    *coef = qrow_of(m, row).get(col1, col2);
  });
}

int QNDAgetqrowqmatrix(QNDAprob prob, int row, int *start, int *colind, double *rowqcoef,
                       int maxcoefs, int *ncoefs, int first, int last) {
  return guard_read(prob, "QNDAgetqrowqmatrix", [&] {
    const Model &m = prob->model;
    check_index(row, m.nrows(), "row");
    get_quad<int>(qrow_of(m, row), start, colind, rowqcoef, maxcoefs, ncoefs, first, last,
                  m.ncols());
  });
}

int QNDAgetqrowqmatrixtriplets(QNDAprob prob, int row, int *ncoefs, int *col1, int *col2,
                               double *coef) {
  return guard_read(prob, "QNDAgetqrowqmatrixtriplets", [&] {
    const Model &m = prob->model;
    check_index(row, m.nrows(), "row");
    const auto &t = qrow_of(m, row).terms();
    if (ncoefs) *ncoefs = static_cast<int>(t.size());
    for (size_t k = 0; k < t.size(); ++k) {
      if (col1) col1[k] = t[k].i;
      if (col2) col2[k] = t[k].j;
      if (coef) coef[k] = t[k].v;
    }
  });
}

int QNDAgetqrows(QNDAprob prob, int *nrows, int *qrowind) {
  return guard_read(prob, "QNDAgetqrows", [&] {
    std::vector<int> rows = prob->model.qrow_list();
    if (nrows) *nrows = static_cast<int>(rows.size());
    if (qrowind) std::copy(rows.begin(), rows.end(), qrowind);
  });
}

int QNDAgetindicators(QNDAprob prob, int *colind, int *complement, int first, int last) {
  return guard_read(prob, "QNDAgetindicators", [&] {
    const Model &m = prob->model;
    check_range(first, last, m.nrows(), "row");
    for (int i = first; i <= last; ++i) {
      if (colind) colind[i - first] = m.indicator_col(i);
      if (complement) complement[i - first] = m.indicator_comp(i);
    }
  });
}

int QNDAgetglobal64(QNDAprob prob, int *nentities, int *nsets, char *coltype, int *colind,
                    double *limit, char *settype, QNDAint64 *start, int *setcols, double *refval,
                    QNDAint64 maxsetelems, QNDAint64 *nsetelems) {
  return guard_read(prob, "QNDAgetglobal64", [&] {
    const Model &m = prob->model;
    int ne = 0;
    for (int j = 0; j < m.ncols(); ++j) {
      char t = m.coltype()[j];
      if (t == 'C') continue;
      if (coltype) coltype[ne] = t;
      if (colind) colind[ne] = j;
      if (limit) limit[ne] = m.limit(j);
      ++ne;
    }
    if (nentities) *nentities = ne;
    const int ns = m.nsets();
    if (nsets) *nsets = ns;
    if (settype) std::copy(m.settype().begin(), m.settype().end(), settype);
    if (start) std::copy(m.setstart().begin(), m.setstart().end(), start);
    const QNDAint64 total = static_cast<QNDAint64>(m.setcol().size());
    if (nsetelems) *nsetelems = total;
    if (maxsetelems >= total) {
      if (setcols) std::copy(m.setcol().begin(), m.setcol().end(), setcols);
      if (refval) std::copy(m.setref().begin(), m.setref().end(), refval);
    }
  });
}

int QNDAgetnames(QNDAprob prob, int type, char *names, int maxbytes, int *nbytes, int first,
                 int last) {
  return guard_read(prob, "QNDAgetnames", [&] {
    const Model &m = prob->model;
    int count =
        type == QNDA_NAMES_ROWS      ? m.nrows()
        : type == QNDA_NAMES_COLUMNS ? m.ncols()
        : type == QNDA_NAMES_SETS
            ? m.nsets()
            : (fail(QNDA_ERR_ARGUMENT, "name type %d unknown (1 rows, 2 columns, 3 sets)", type),
               0);
    check_range(first, last, count,
                type == QNDA_NAMES_ROWS      ? "row"
                : type == QNDA_NAMES_COLUMNS ? "column"
                                             : "set");
    std::string packed;
    for (int i = first; i <= last; ++i) {
      packed += m.name(type, i);
      packed.push_back('\0');
    }
    if (nbytes) *nbytes = static_cast<int>(packed.size());
    if (!names || maxbytes <= 0) return;
    size_t n = std::min(packed.size(), static_cast<size_t>(maxbytes));
    std::memcpy(names, packed.data(), n);
    if (n > 0) names[n - 1] = '\0';
  });
}

int QNDAgetindex(QNDAprob prob, int type, const char *name, int *index) {
  return guard_read(prob, "QNDAgetindex", [&] {
    if (type < QNDA_NAMES_ROWS || type > QNDA_NAMES_SETS)
      fail(QNDA_ERR_ARGUMENT, "name type %d unknown (1 rows, 2 columns, 3 sets)", type);
    check_array(name, "name");
    check_array(index, "index");
    *index = prob->model.find_name(type, name);
  });
}

}  // extern "C"
