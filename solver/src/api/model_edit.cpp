// Adding, deleting and changing parts of the model.  Null arrays, negative
// counts and indices out of range are always refused (an index is an address
// in the store); letters, starts and values are checked in checked mode.
#include <cmath>
#include <cstring>
#include <string>

#include "api/guard.h"
#include "api/model_args.h"
#include "qnda.h"

using namespace qnda;

namespace {

template <class Idx>
void add_rows(qnda_problem_s *prob, int nrows, Idx ncoefs, const char *rowtype,
              const double *rhs, const double *range, const Idx *start, const int *colind,
              const double *rowcoef) {
  const bool full = checked_mode();
  Model &m = prob->model;
  check_count(nrows, "nrows");
  check_count(ncoefs, "ncoefs");
  if (nrows == 0) return;
  check_array(rowtype, "rowtype");
  check_array(rhs, "rhs");
  if (ncoefs > 0) {
    check_array(start, "start");
    check_array(colind, "colind");
    check_array(rowcoef, "rowcoef");
  }
  if (full) {
    check_letters(rowtype, nrows, kRowTypes, "row type");
    if (range)
      for (int i = 0; i < nrows; ++i)
        if (rowtype[i] == 'R' && range[i] < 0)
          fail(QNDA_ERR_ARGUMENT, "range of new row %d is negative (%g)", i, range[i]);
    if (start) check_starts(start, nrows, ncoefs, "start");
  }
  if (ncoefs > 0) check_indices(colind + start[0], ncoefs, m.ncols(), "column");
  int first = m.nrows();
  m.append_rows(nrows, rowtype, rhs, range);
  if (ncoefs > 0) m.mutable_matrix().add_row_entries(first, nrows, start, colind, rowcoef);
  prob->solve.clear_all();
  prob->model_changed();
}

template <class Idx>
void add_cols(qnda_problem_s *prob, int ncols, Idx ncoefs, const double *objcoef,
              const Idx *start, const int *rowind, const double *rowcoef, const double *lb,
              const double *ub) {
  const bool full = checked_mode();
  Model &m = prob->model;
  check_count(ncols, "ncols");
  check_count(ncoefs, "ncoefs");
  if (ncols == 0) return;
  if (ncoefs > 0) {
    check_array(start, "start");
    check_array(rowind, "rowind");
    check_array(rowcoef, "rowcoef");
  }
  if (full && start) check_starts(start, ncols, ncoefs, "start");
  if (ncoefs > 0) check_indices(rowind + start[0], ncoefs, m.nrows(), "row");
  int first = m.ncols();
  m.append_cols(ncols, objcoef, lb, ub);
  if (ncoefs > 0)
    m.mutable_matrix().add_col_entries(first, ncols, start, nullptr, rowind, rowcoef);
  prob->solve.clear_all();
  prob->model_changed();
}

template <class N>
void add_qmatrix(qnda_problem_s *prob, int row, N ncoefs, const int *col1, const int *col2,
                 const double *coef) {
  Model &m = prob->model;
  check_index(row, m.nrows(), "row");
  check_count(ncoefs, "ncoefs");
  if (ncoefs == 0) return;
  check_array(col1, "col1");
  check_array(col2, "col2");
  check_array(coef, "coef");
  check_indices(col1, ncoefs, m.ncols(), "column");
  check_indices(col2, ncoefs, m.ncols(), "column");
  QuadTerms &q = m.mutable_qrow(row);
  for (N k = 0; k < ncoefs; ++k) q.add(col1[k], col2[k], coef[k]);
  prob->model_changed();
}

template <class Idx>
void add_sets(qnda_problem_s *prob, int nsets, Idx nelems, const char *settype,
              const Idx *start, const int *colind, const double *refval) {
  Model &m = prob->model;
  check_count(nsets, "nsets");
  check_count(nelems, "nelems");
  if (nsets == 0) return;
  check_array(settype, "settype");
  check_array(start, "start");
  if (nelems > 0) check_array(colind, "colind");
  if (checked_mode()) {
    check_letters(settype, nsets, kSetTypes, "set type");
    check_starts(start, nsets, nelems, "start");
  }
  if (nelems > 0) check_indices(colind + start[0], nelems, m.ncols(), "column");
  for (int s = 0; s < nsets; ++s) {
    Idx b = start[s], e = start[s + 1];
    m.add_set(settype[s], e - b, colind + b, refval ? refval + b : nullptr);
  }
  prob->model_changed();
}

int name_count(const Model &m, int type) {
  switch (type) {
    case QNDA_NAMES_ROWS: return m.nrows();
    case QNDA_NAMES_COLUMNS: return m.ncols();
    case QNDA_NAMES_SETS: return m.nsets();
  }
  fail(QNDA_ERR_ARGUMENT, "name type %d unknown (1 rows, 2 columns, 3 sets)", type);
}

const char *name_what(int type) {
  return type == QNDA_NAMES_ROWS ? "row" : type == QNDA_NAMES_COLUMNS ? "column" : "set";
}

template <class N>
void chg_mcoef(qnda_problem_s *prob, N ncoefs, const int *rowind, const int *colind,
               const double *rowcoef) {
  Model &m = prob->model;
  check_count(ncoefs, "ncoefs");
  if (ncoefs == 0) return;
  check_array(rowind, "rowind");
  check_array(colind, "colind");
  check_array(rowcoef, "rowcoef");
  check_indices(rowind, ncoefs, m.nrows(), "row");
  check_indices(colind, ncoefs, m.ncols(), "column");
  SparseMatrix &a = m.mutable_matrix();
  for (N k = 0; k < ncoefs; ++k) a.set_coef(rowind[k], colind[k], rowcoef[k]);
  prob->model_changed();
}

template <class N>
void chg_mqobj(qnda_problem_s *prob, N ncoefs, const int *col1, const int *col2,
               const double *coef) {
  Model &m = prob->model;
  check_count(ncoefs, "ncoefs");
  if (ncoefs == 0) return;
  check_array(col1, "col1");
  check_array(col2, "col2");
  check_array(coef, "coef");
  check_indices(col1, ncoefs, m.ncols(), "column");
  check_indices(col2, ncoefs, m.ncols(), "column");
  for (N k = 0; k < ncoefs; ++k) m.mutable_qobj().set(col1[k], col2[k], coef[k]);
  prob->model_changed();
}

// Common head of the functions that take n indices and n values.
void check_list(int n, const void *idx, const void *vals, const char *idxname,
                const char *valname) {
  check_count(n, "count");
  if (n == 0) return;
  check_array(idx, idxname);
  check_array(vals, valname);
}

}  // namespace

extern "C" {

// ------------------------------------------------------------------ adding
int QNDAaddrows(QNDAprob prob, int nrows, int ncoefs, const char *rowtype, const double *rhs,
                const double *range, const int *start, const int *colind,
                const double *rowcoef) {
  return guard(prob, "QNDAaddrows", [&] {
    add_rows<int>(prob, nrows, ncoefs, rowtype, rhs, range, start, colind, rowcoef);
  });
}

int QNDAaddrows64(QNDAprob prob, int nrows, QNDAint64 ncoefs, const char *rowtype,
                  const double *rhs, const double *range, const QNDAint64 *start,
                  const int *colind, const double *rowcoef) {
  return guard(prob, "QNDAaddrows64", [&] {
    add_rows<QNDAint64>(prob, nrows, ncoefs, rowtype, rhs, range, start, colind, rowcoef);
  });
}

int QNDAaddcols(QNDAprob prob, int ncols, int ncoefs, const double *objcoef, const int *start,
                const int *rowind, const double *rowcoef, const double *lb, const double *ub) {
  return guard(prob, "QNDAaddcols", [&] {
    add_cols<int>(prob, ncols, ncoefs, objcoef, start, rowind, rowcoef, lb, ub);
  });
}

int QNDAaddcols64(QNDAprob prob, int ncols, QNDAint64 ncoefs, const double *objcoef,
                  const QNDAint64 *start, const int *rowind, const double *rowcoef,
                  const double *lb, const double *ub) {
  return guard(prob, "QNDAaddcols64", [&] {
    add_cols<QNDAint64>(prob, ncols, ncoefs, objcoef, start, rowind, rowcoef, lb, ub);
  });
}

int QNDAaddqmatrix(QNDAprob prob, int row, int ncoefs, const int *col1, const int *col2,
                   const double *coef) {
  return guard(prob, "QNDAaddqmatrix",
               [&] { add_qmatrix<int>(prob, row, ncoefs, col1, col2, coef); });
}

int QNDAaddqmatrix64(QNDAprob prob, int row, QNDAint64 ncoefs, const int *col1,
                     const int *col2, const double *coef) {
  return guard(prob, "QNDAaddqmatrix64",
               [&] { add_qmatrix<QNDAint64>(prob, row, ncoefs, col1, col2, coef); });
}

int QNDAaddnames(QNDAprob prob, int type, const char *names, int first, int last) {
  return guard(prob, "QNDAaddnames", [&] {
    Model &m = prob->model;
    int count = name_count(m, type);
    check_range(first, last, count, name_what(type));
    if (last < first) return;
    check_array(names, "names");
    const char *p = names;
    for (int i = first; i <= last; ++i) {
      size_t len = std::strlen(p);
      if (len >= QNDA_MAXNAMELENGTH)
        fail(QNDA_ERR_ARGUMENT, "%s name %d longer than %d characters", name_what(type), i,
             QNDA_MAXNAMELENGTH - 1);
      p += len + 1;
    }
    p = names;
    for (int i = first; i <= last; ++i) {
      m.set_name(type, i, p);
      p += std::strlen(p) + 1;
    }
  });
}

int QNDAaddsets(QNDAprob prob, int nsets, int nelems, const char *settype, const int *start,
                const int *colind, const double *refval) {
  return guard(prob, "QNDAaddsets",
               [&] { add_sets<int>(prob, nsets, nelems, settype, start, colind, refval); });
}

int QNDAaddsets64(QNDAprob prob, int nsets, QNDAint64 nelems, const char *settype,
                  const QNDAint64 *start, const int *colind, const double *refval) {
  return guard(prob, "QNDAaddsets64", [&] {
    add_sets<QNDAint64>(prob, nsets, nelems, settype, start, colind, refval);
  });
}

// ---------------------------------------------------------------- deleting
int QNDAdelrows(QNDAprob prob, int nrows, const int *rowind) {
  return guard(prob, "QNDAdelrows", [&] {
    check_count(nrows, "nrows");
    if (nrows == 0) return;
    check_array(rowind, "rowind");
    check_indices(rowind, nrows, prob->model.nrows(), "row");  // always: the store trusts them
    prob->model.delete_rows(nrows, rowind);
    prob->solve.clear_all();
    prob->model_changed();
  });
}

int QNDAdelcols(QNDAprob prob, int ncols, const int *colind) {
  return guard(prob, "QNDAdelcols", [&] {
    check_count(ncols, "ncols");
    if (ncols == 0) return;
    check_array(colind, "colind");
    check_indices(colind, ncols, prob->model.ncols(), "column");
    prob->model.delete_cols(ncols, colind);
    prob->solve.clear_all();
    prob->model_changed();
  });
}

int QNDAdelsets(QNDAprob prob, int nsets, const int *setind) {
  return guard(prob, "QNDAdelsets", [&] {
    check_count(nsets, "nsets");
    if (nsets == 0) return;
    check_array(setind, "setind");
    check_indices(setind, nsets, prob->model.nsets(), "set");
    prob->model.delete_sets(nsets, setind);
    prob->model_changed();
  });
}

// -------------------------------------------------------------- indicators
int QNDAsetindicators(QNDAprob prob, int nrows, const int *rowind, const int *colind,
                      const int *complement) {
  return guard(prob, "QNDAsetindicators", [&] {
    Model &m = prob->model;
    check_count(nrows, "nrows");
    if (nrows == 0) return;
    check_array(rowind, "rowind");
    check_array(colind, "colind");
    check_array(complement, "complement");
    const bool full = checked_mode();
    for (int k = 0; k < nrows; ++k) {
      check_index(rowind[k], m.nrows(), "row");
      if (full && (complement[k] < -1 || complement[k] > 1))
        fail(QNDA_ERR_ARGUMENT, "complement %d (entry %d) must be -1, 0 or 1", complement[k], k);
      if (complement[k] != 0) {
        check_index(colind[k], m.ncols(), "column");
        if (full && m.rowtype()[rowind[k]] == 'N')
          fail(QNDA_ERR_ARGUMENT, "row %d is free ('N') and cannot be an indicator row",
               rowind[k]);
      }
    }
    for (int k = 0; k < nrows; ++k) m.set_indicator(rowind[k], colind[k], complement[k]);
    prob->model_changed();
  });
}

// ---------------------------------------------------------------- changing
int QNDAchgbounds(QNDAprob prob, int nbounds, const int *colind, const char *bndtype,
                  const double *bndval) {
  return guard(prob, "QNDAchgbounds", [&] {
    Model &m = prob->model;
    check_list(nbounds, colind, bndval, "colind", "bndval");
    if (nbounds == 0) return;
    check_array(bndtype, "bndtype");
    check_indices(colind, nbounds, m.ncols(), "column");
    if (checked_mode()) {
      check_letters(bndtype, nbounds, kBoundTypes, "bound type");
      for (int k = 0; k < nbounds; ++k)
        if (std::isnan(bndval[k]))
          fail(QNDA_ERR_ARGUMENT, "bound of column %d is not a number", colind[k]);
    }
    for (int k = 0; k < nbounds; ++k) {
      int j = colind[k];
      switch (bndtype[k]) {
        case 'L': m.set_lb(j, bndval[k]); break;
        case 'U': m.set_ub(j, bndval[k]); break;
        case 'B': m.set_lb(j, bndval[k]); m.set_ub(j, bndval[k]); break;
      }
    }
    prob->model_changed();
  });
}

int QNDAchgcoef(QNDAprob prob, int row, int col, double coef) {
  return guard(prob, "QNDAchgcoef", [&] {
    check_index(row, prob->model.nrows(), "row");
    check_index(col, prob->model.ncols(), "column");
    prob->model.mutable_matrix().set_coef(row, col, coef);
    prob->model_changed();
  });
}

int QNDAchgmcoef(QNDAprob prob, int ncoefs, const int *rowind, const int *colind,
                 const double *rowcoef) {
  return guard(prob, "QNDAchgmcoef",
               [&] { chg_mcoef<int>(prob, ncoefs, rowind, colind, rowcoef); });
}

int QNDAchgmcoef64(QNDAprob prob, QNDAint64 ncoefs, const int *rowind, const int *colind,
                   const double *rowcoef) {
  return guard(prob, "QNDAchgmcoef64",
               [&] { chg_mcoef<QNDAint64>(prob, ncoefs, rowind, colind, rowcoef); });
}

int QNDAchgcoltype(QNDAprob prob, int ncols, const int *colind, const char *coltype) {
  return guard(prob, "QNDAchgcoltype", [&] {
    Model &m = prob->model;
    check_list(ncols, colind, coltype, "colind", "coltype");
    check_indices(colind, ncols, m.ncols(), "column");
    if (checked_mode()) {
      check_letters(coltype, ncols, kColTypes, "column type");
    }
    for (int k = 0; k < ncols; ++k) m.set_coltype(colind[k], coltype[k]);
    prob->model_changed();
  });
}

int QNDAchgglblimit(QNDAprob prob, int ncols, const int *colind, const double *limit) {
  return guard(prob, "QNDAchgglblimit", [&] {
    Model &m = prob->model;
    check_list(ncols, colind, limit, "colind", "limit");
    check_indices(colind, ncols, m.ncols(), "column");
    for (int k = 0; k < ncols; ++k) m.set_limit(colind[k], limit[k]);
    prob->model_changed();
  });
}

int QNDAchgobj(QNDAprob prob, int ncols, const int *colind, const double *objcoef) {
  return guard(prob, "QNDAchgobj", [&] {
    Model &m = prob->model;
    check_list(ncols, colind, objcoef, "colind", "objcoef");
    for (int k = 0; k < ncols; ++k)
      if (colind[k] != -1) check_index(colind[k], m.ncols(), "column");
    for (int k = 0; k < ncols; ++k) {
      if (colind[k] == -1)
        m.set_obj_constant(objcoef[k]);
      else
        m.set_obj(colind[k], objcoef[k]);
    }
    prob->model_changed();
  });
}

int QNDAchgqobj(QNDAprob prob, int col1, int col2, double coef) {
  return guard(prob, "QNDAchgqobj", [&] {
    check_index(col1, prob->model.ncols(), "column");
    check_index(col2, prob->model.ncols(), "column");
    prob->model.mutable_qobj().set(col1, col2, coef);
    prob->model_changed();
  });
}

int QNDAchgmqobj(QNDAprob prob, int ncoefs, const int *col1, const int *col2,
                 const double *coef) {
  return guard(prob, "QNDAchgmqobj", [&] { chg_mqobj<int>(prob, ncoefs, col1, col2, coef); });
}

int QNDAchgmqobj64(QNDAprob prob, QNDAint64 ncoefs, const int *col1, const int *col2,
                   const double *coef) {
  return guard(prob, "QNDAchgmqobj64",
               [&] { chg_mqobj<QNDAint64>(prob, ncoefs, col1, col2, coef); });
}

int QNDAchgqrowcoeff(QNDAprob prob, int row, int col1, int col2, double coef) {
  return guard(prob, "QNDAchgqrowcoeff", [&] {
    Model &m = prob->model;
    check_index(row, m.nrows(), "row");
    check_index(col1, m.ncols(), "column");
    check_index(col2, m.ncols(), "column");
    if (coef == 0.0 && !m.qrows().count(row)) return;
    m.mutable_qrow(row).set(col1, col2, coef);
    prob->model_changed();
  });
}

int QNDAchgrhs(QNDAprob prob, int nrows, const int *rowind, const double *rhs) {
  return guard(prob, "QNDAchgrhs", [&] {
    Model &m = prob->model;
    check_list(nrows, rowind, rhs, "rowind", "rhs");
    check_indices(rowind, nrows, m.nrows(), "row");
    for (int k = 0; k < nrows; ++k) m.set_rhs(rowind[k], rhs[k]);
    prob->model_changed();
  });
}

int QNDAchgrhsrange(QNDAprob prob, int nrows, const int *rowind, const double *range) {
  return guard(prob, "QNDAchgrhsrange", [&] {
    Model &m = prob->model;
    check_list(nrows, rowind, range, "rowind", "range");
    check_indices(rowind, nrows, m.nrows(), "row");
    if (checked_mode()) {
      for (int k = 0; k < nrows; ++k) {
        if (!(range[k] >= 0))
          fail(QNDA_ERR_ARGUMENT, "range of row %d is negative (%g)", rowind[k], range[k]);
        if (m.rowtype()[rowind[k]] == 'N')
          fail(QNDA_ERR_ARGUMENT, "row %d is free ('N'): a range needs a bounded row", rowind[k]);
      }
    }
    // The row keeps the bound it had and gains the other one: an 'L' or 'E'
    // row b becomes b - r <= a'x <= b, a 'G' row b becomes b <= a'x <= b + r.
    for (int k = 0; k < nrows; ++k) {
      int i = rowind[k];
      char t = m.rowtype()[i];
      if (t == 'N') continue;
      if (t == 'G') m.set_rhs(i, m.rhs()[i] + range[k]);
      m.set_rowtype(i, 'R');
      m.set_range(i, range[k]);
    }
    prob->model_changed();
  });
}

int QNDAchgrowtype(QNDAprob prob, int nrows, const int *rowind, const char *rowtype) {
  return guard(prob, "QNDAchgrowtype", [&] {
    Model &m = prob->model;
    check_list(nrows, rowind, rowtype, "rowind", "rowtype");
    check_indices(rowind, nrows, m.nrows(), "row");
    if (checked_mode()) check_letters(rowtype, nrows, kRowTypes, "row type");
    for (int k = 0; k < nrows; ++k) m.set_rowtype(rowind[k], rowtype[k]);
    prob->model_changed();
  });
}

int QNDAchgobjsense(QNDAprob prob, int sense) {
  return guard(prob, "QNDAchgobjsense", [&] {
    if (sense != 1 && sense != -1)
      fail(QNDA_ERR_ARGUMENT, "sense %d unknown (1 minimise, -1 maximise)", sense);
    prob->model.set_obj_sense(sense);
    prob->model_changed();
  });
}

}  // extern "C"
