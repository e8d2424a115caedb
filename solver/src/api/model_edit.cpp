// Adding, deleting and changing parts of the model.  Null arrays, negative
// counts and indices out of range are always refused (an index is an address
// in the store); letters, starts and values are checked in checked mode.
#include <cmath>
#include <cstring>
#include <algorithm>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include "api/guard.h"
#include "api/model_args.h"
#include "qnda.h"

using namespace qnda;

namespace {

// The entries of new rows (or columns): n lines, line k at [start[k],
// start[k+1]) of ind (indices into count columns, or rows) and coef.
template <class Idx>
struct NewLines {
  int n;
  Idx ncoefs;
  const Idx *start;
  const int *ind;
  const char *indname;
  const double *coef;
};

template <class Idx>
void check_entry_arrays(const NewLines<Idx> &e) {
  if (e.ncoefs > 0) {
    check_array(e.start, "start");
    check_array(e.ind, e.indname);
    check_array(e.coef, "rowcoef");
  }
}

// The starts in checked mode (full), the indices always.
template <class Idx>
void check_entry_layout(const NewLines<Idx> &e, bool full, int count, const char *what) {
  if (full && e.start) check_starts(e.start, e.n, e.ncoefs, "start");
  if (e.ncoefs > 0) {
    check_indices(e.ind + e.start[0], e.ncoefs, count, what);
    check_values(e.coef + e.start[0], e.ncoefs, COEF, "coefficient");
  }
}

// New rows or columns reshape the problem: the starting points go too.
void lines_added(qnda_problem_s *prob) {
  prob->solve.clear_all();
  prob->model_changed();
}

template <class Idx>
void add_rows(qnda_problem_s *prob, int nrows, Idx ncoefs, const char *rowtype, const double *rhs,
              const double *range, const Idx *start, const int *colind, const double *rowcoef) {
  const bool full = checked_mode();
  Model &m = prob->model;
  const NewLines<Idx> e{nrows, ncoefs, start, colind, "colind", rowcoef};
  check_count(nrows, "nrows");
  check_count(ncoefs, "ncoefs");
  if (nrows == 0) return;
  check_array(rowtype, "rowtype");
  check_array(rhs, "rhs");
  check_entry_arrays(e);
  check_values(rhs, nrows, BOUND, "rhs");
  check_values(range, nrows, BOUND, "range");
  if (full) {
    check_letters(rowtype, nrows, kRowTypes, "row type");
    if (range)
      for (int i = 0; i < nrows; ++i)
        if (rowtype[i] == 'R' && range[i] < 0)
          fail(QNDA_ERR_ARGUMENT, "range of new row %d is negative (%g)", i, range[i]);
  }
  check_entry_layout(e, full, m.ncols(), "column");
  int first = m.nrows();
  m.append_rows(nrows, rowtype, rhs, range);
  if (ncoefs > 0) m.mutable_matrix().add_row_entries(first, nrows, start, colind, rowcoef);
  lines_added(prob);
}

template <class Idx>
void add_cols(qnda_problem_s *prob, int ncols, Idx ncoefs, const double *objcoef, const Idx *start,
              const int *rowind, const double *rowcoef, const double *lb, const double *ub) {
  Model &m = prob->model;
  const NewLines<Idx> e{ncols, ncoefs, start, rowind, "rowind", rowcoef};
  check_count(ncols, "ncols");
  check_count(ncoefs, "ncoefs");
  if (ncols == 0) return;
  check_entry_arrays(e);
  check_entry_layout(e, checked_mode(), m.nrows(), "row");
  check_values(objcoef, ncols, COEF, "objective coefficient");
  check_values(lb, ncols, BOUND, "lower bound");
  check_values(ub, ncols, BOUND, "upper bound");
  int first = m.ncols();
  m.append_cols(ncols, objcoef, lb, ub);
  if (ncoefs > 0) m.mutable_matrix().add_col_entries(first, ncols, start, nullptr, rowind, rowcoef);
  lines_added(prob);
}

// n entries (a[k], b[k], v[k]): a and b indices of na and nb items, named
// aname/bname for the null checks and awhat/bwhat for the range checks.
struct Triples {
  const char *aname, *bname, *vname;
  int na;
  const char *awhat;
  int nb;
  const char *bwhat;
};

template <class N, class Set>
void set_triples(qnda_problem_s *prob, N n, const int *a, const int *b, const double *v,
                 const Triples &t, Set set) {
  check_count(n, "ncoefs");
  if (n == 0) return;
  check_array(a, t.aname);
  check_array(b, t.bname);
  check_array(v, t.vname);
  check_indices(a, n, t.na, t.awhat);
  check_indices(b, n, t.nb, t.bwhat);
  check_values(v, n, COEF, t.vname);
  for (N k = 0; k < n; ++k) set(a[k], b[k], v[k]);
  prob->model_changed();
}

Triples quad_pairs(const Model &m) {
  return {"col1", "col2", "coef", m.ncols(), "column", m.ncols(), "column"};
}

template <class N>
void add_qmatrix(qnda_problem_s *prob, int row, N ncoefs, const int *col1, const int *col2,
                 const double *coef) {
  Model &m = prob->model;
  check_index(row, m.nrows(), "row");
  QuadTerms *q = nullptr;  // made only once the arguments passed
  set_triples(prob, ncoefs, col1, col2, coef, quad_pairs(m), [&](int i, int j, double v) {
    if (!q) q = &m.mutable_qrow(row);
    q->add(i, j, v);
  });
}

template <class Idx>
void add_sets(qnda_problem_s *prob, int nsets, Idx nelems, const char *settype, const Idx *start,
              const int *colind, const double *refval) {
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
  if (nelems > 0 && refval) check_values(refval + start[0], nelems, COEF, "refval");
  for (int s = 0; s < nsets; ++s) {
    Idx b = start[s], e = start[s + 1];
    m.add_set(settype[s], e - b, colind + b, refval ? refval + b : nullptr);
  }
  prob->model_changed();
}

int name_count(const Model &m, int type) {
  switch (type) {
    case QNDA_NAMES_ROWS:
      return m.nrows();
    case QNDA_NAMES_COLUMNS:
      return m.ncols();
    case QNDA_NAMES_SETS:
      return m.nsets();
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
  set_triples(prob, ncoefs, rowind, colind, rowcoef,
              {"rowind", "colind", "rowcoef", m.nrows(), "row", m.ncols(), "column"},
              [&](int i, int j, double v) { m.mutable_matrix().set_coef(i, j, v); });
}

template <class N>
void chg_mqobj(qnda_problem_s *prob, N ncoefs, const int *col1, const int *col2,
               const double *coef) {
  Model &m = prob->model;
  set_triples(prob, ncoefs, col1, col2, coef, quad_pairs(m),
              [&](int i, int j, double v) { m.mutable_qobj().set(i, j, v); });
}

// Common head of the functions that take n indices and n values.
void check_list(int n, const void *idx, const void *vals, const char *idxname,
                const char *valname) {
  check_count(n, "count");
  if (n == 0) return;
  check_array(idx, idxname);
  check_array(vals, valname);
}

const auto kNoChecks = [] {};

// The functions that take n indices of rows or columns and n values: the
// common checks, then those of checked mode, then set(model, i, v) for each
// (set is a member of Model or a function of those three).
enum Items { ROWS, COLS };
template <class T, class Set, class Checked = decltype(kNoChecks)>
void change_each(qnda_problem_s *prob, int n, const int *idx, const T *vals, const char *idxname,
                 const char *valname, Items items, Set set, Checked checked = kNoChecks) {
  Model &m = prob->model;
  check_list(n, idx, vals, idxname, valname);
  if (items == ROWS)
    check_indices(idx, n, m.nrows(), "row");
  else
    check_indices(idx, n, m.ncols(), "column");
  if constexpr (std::is_same_v<T, double>) check_values(vals, n, BOUND, valname);
  if (checked_mode()) checked();
  for (int k = 0; k < n; ++k) std::invoke(set, m, idx[k], vals[k]);
  prob->model_changed();
}

enum DeleteKind { DEL_ROWS, DEL_COLS, DEL_SETS };

// Deleting n items of count (idx checked always: the store trusts them).
// Rows or columns going reshape the model: the user's starting points go,
// and whatever follows their indices (nonlinear coefficients) is renumbered,
// or refuses the deletion before anything is deleted.
template <class Delete>
void delete_items(qnda_problem_s *prob, int n, const int *idx, const char *nname,
                  const char *idxname, int count, const char *what, DeleteKind kind, Delete del) {
  check_count(n, nname);
  if (n == 0) return;
  check_array(idx, idxname);
  check_indices(idx, n, count, what);
  std::vector<int> sorted;
  if (kind != DEL_SETS && !prob->followers.empty()) {
    sorted.assign(idx, idx + n);
    std::sort(sorted.begin(), sorted.end());
    sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    for (IndexFollower *f : prob->followers) f->check_delete(kind == DEL_ROWS, sorted);
  }
  del(n, idx);
  if (kind != DEL_SETS) {
    for (IndexFollower *f : prob->followers) f->deleted(kind == DEL_ROWS, sorted);
    prob->solve.clear_all();
  }
  prob->model_changed();
}

}  // namespace

extern "C" {

// ------------------------------------------------------------------ adding
#define ADDROWS_PARAMS(Idx)                                                     \
  QNDAprob prob, int nrows, Idx ncoefs, const char *rowtype, const double *rhs, \
      const double *range, const Idx *start, const int *colind, const double *rowcoef
#define ADDCOLS_PARAMS(Idx)                                                      \
  QNDAprob prob, int ncols, Idx ncoefs, const double *objcoef, const Idx *start, \
      const int *rowind, const double *rowcoef, const double *lb, const double *ub
#define ADDQMATRIX_PARAMS(Idx) \
  QNDAprob prob, int row, Idx ncoefs, const int *col1, const int *col2, const double *coef
#define ADDSETS_PARAMS(Idx)                                                                       \
  QNDAprob prob, int nsets, Idx nelems, const char *settype, const Idx *start, const int *colind, \
      const double *refval

QNDA_DEFINE_WITH_64(QNDAaddrows, add_rows, ADDROWS_PARAMS,
                    (prob, nrows, ncoefs, rowtype, rhs, range, start, colind, rowcoef))
QNDA_DEFINE_WITH_64(QNDAaddcols, add_cols, ADDCOLS_PARAMS,
                    (prob, ncols, ncoefs, objcoef, start, rowind, rowcoef, lb, ub))
QNDA_DEFINE_WITH_64(QNDAaddqmatrix, add_qmatrix, ADDQMATRIX_PARAMS,
                    (prob, row, ncoefs, col1, col2, coef))
QNDA_DEFINE_WITH_64(QNDAaddsets, add_sets, ADDSETS_PARAMS,
                    (prob, nsets, nelems, settype, start, colind, refval))
#undef ADDROWS_PARAMS
#undef ADDCOLS_PARAMS
#undef ADDQMATRIX_PARAMS
#undef ADDSETS_PARAMS

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

// ---------------------------------------------------------------- deleting
int QNDAdelrows(QNDAprob prob, int nrows, const int *rowind) {
  return guard(prob, "QNDAdelrows", [&] {
    delete_items(prob, nrows, rowind, "nrows", "rowind", prob->model.nrows(), "row", DEL_ROWS,
                 [&](int n, const int *idx) { prob->model.delete_rows(n, idx); });
  });
}

int QNDAdelcols(QNDAprob prob, int ncols, const int *colind) {
  return guard(prob, "QNDAdelcols", [&] {
    delete_items(prob, ncols, colind, "ncols", "colind", prob->model.ncols(), "column", DEL_COLS,
                 [&](int n, const int *idx) { prob->model.delete_cols(n, idx); });
  });
}

int QNDAdelsets(QNDAprob prob, int nsets, const int *setind) {
  return guard(prob, "QNDAdelsets", [&] {
    delete_items(prob, nsets, setind, "nsets", "setind", prob->model.nsets(), "set", DEL_SETS,
                 [&](int n, const int *idx) { prob->model.delete_sets(n, idx); });
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
          fail(QNDA_ERR_ARGUMENT, "row %d is free ('N') and cannot be an indicator row", rowind[k]);
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
    check_values(bndval, nbounds, BOUND, "bndval");
    if (checked_mode()) check_letters(bndtype, nbounds, kBoundTypes, "bound type");
    for (int k = 0; k < nbounds; ++k) {
      int j = colind[k];
      switch (bndtype[k]) {
        case 'L':
          m.set_lb(j, bndval[k]);
          break;
        case 'U':
          m.set_ub(j, bndval[k]);
          break;
        case 'B':
          m.set_lb(j, bndval[k]);
          m.set_ub(j, bndval[k]);
          break;
      }
    }
    prob->model_changed();
  });
}

// QNDAchg<what> (one entry) with QNDAchgm<what> and QNDAchgm<what>64 (n
// entries) of the same kind of (index, index, value) triple.
#define TRIPLE_PARAMS(Idx) QNDAprob prob, Idx n, const int *a, const int *b, const double *v
#define DEFINE_CHG(what, impl)                                                    \
  int QNDAchg##what(QNDAprob prob, int a, int b, double v) {                      \
    return guard(prob, "QNDAchg" #what, [&] { impl<int>(prob, 1, &a, &b, &v); }); \
  }                                                                               \
  QNDA_DEFINE_WITH_64(QNDAchgm##what, impl, TRIPLE_PARAMS, (prob, n, a, b, v))
DEFINE_CHG(coef, chg_mcoef)
DEFINE_CHG(qobj, chg_mqobj)
#undef DEFINE_CHG
#undef TRIPLE_PARAMS

int QNDAchgcoltype(QNDAprob prob, int ncols, const int *colind, const char *coltype) {
  return guard(prob, "QNDAchgcoltype", [&] {
    change_each(prob, ncols, colind, coltype, "colind", "coltype", COLS, &Model::set_coltype,
                [&] { check_letters(coltype, ncols, kColTypes, "column type"); });
  });
}

// The plain changes: n indices and n values, stored one by one.
#define DEFINE_CHANGE(fname, T, items, idxname, valname, set)                             \
  int fname(QNDAprob prob, int n, const int *idx, const T *vals) {                        \
    return guard(prob, #fname,                                                            \
                 [&] { change_each(prob, n, idx, vals, idxname, valname, items, set); }); \
  }
DEFINE_CHANGE(QNDAchgglblimit, double, COLS, "colind", "limit", &Model::set_limit)
DEFINE_CHANGE(QNDAchgrhs, double, ROWS, "rowind", "rhs", &Model::set_rhs)
#undef DEFINE_CHANGE

int QNDAchgobj(QNDAprob prob, int ncols, const int *colind, const double *objcoef) {
  return guard(prob, "QNDAchgobj", [&] {
    Model &m = prob->model;
    check_list(ncols, colind, objcoef, "colind", "objcoef");
    for (int k = 0; k < ncols; ++k)
      if (colind[k] != -1) check_index(colind[k], m.ncols(), "column");
    check_values(objcoef, ncols, COEF, "objcoef");
    for (int k = 0; k < ncols; ++k) {
      if (colind[k] == -1)
        m.set_obj_constant(objcoef[k]);
      else
        m.set_obj(colind[k], objcoef[k]);
    }
    prob->model_changed();
  });
}

int QNDAchgqrowcoeff(QNDAprob prob, int row, int col1, int col2, double coef) {
  return guard(prob, "QNDAchgqrowcoeff", [&] {
    Model &m = prob->model;
    check_index(row, m.nrows(), "row");
    check_index(col1, m.ncols(), "column");
    check_index(col2, m.ncols(), "column");
    check_value(coef, COEF, "coef", 0);
    if (coef == 0.0 && !m.qrows().count(row)) return;
    m.mutable_qrow(row).set(col1, col2, coef);
    prob->model_changed();
  });
}

int QNDAchgrhsrange(QNDAprob prob, int nrows, const int *rowind, const double *range) {
  return guard(prob, "QNDAchgrhsrange", [&] {
    Model &m = prob->model;
    auto checked = [&] {
      for (int k = 0; k < nrows; ++k) {
        if (!(range[k] >= 0))
          fail(QNDA_ERR_ARGUMENT, "range of row %d is negative (%g)", rowind[k], range[k]);
        if (m.rowtype()[rowind[k]] == 'N')
          fail(QNDA_ERR_ARGUMENT, "row %d is free ('N'): a range needs a bounded row", rowind[k]);
      }
    };
    // The row keeps the bound it had and gains the other one: an 'L' or 'E'
    // row b becomes b - r <= a'x <= b, a 'G' row b becomes b <= a'x <= b + r.
    auto set = [](Model &m, int i, double r) {
      char t = m.rowtype()[i];
      if (t == 'N') return;
      if (t == 'G') m.set_rhs(i, m.rhs()[i] + r);
      m.set_rowtype(i, 'R');
      m.set_range(i, r);
    };
    change_each(prob, nrows, rowind, range, "rowind", "range", ROWS, set, checked);
  });
}

int QNDAchgrowtype(QNDAprob prob, int nrows, const int *rowind, const char *rowtype) {
  return guard(prob, "QNDAchgrowtype", [&] {
    change_each(prob, nrows, rowind, rowtype, "rowind", "rowtype", ROWS, &Model::set_rowtype,
                [&] { check_letters(rowtype, nrows, kRowTypes, "row type"); });
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
