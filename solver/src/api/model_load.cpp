// Loading a whole problem.  Every load function is one template: the model is
// built aside and replaces the problem's only when everything went in, so a
// refused load leaves the problem as it was.
#include <utility>

#include "api/guard.h"
#include "api/model_args.h"
#include "qnda.h"

using namespace qnda;

namespace {

template <class Idx>
struct LoadArgs {
  const char *probname = nullptr;
  int ncols = 0, nrows = 0;
  const char *rowtype = nullptr;
  const double *rhs = nullptr, *range = nullptr, *obj = nullptr;
  const Idx *start = nullptr;
  const int *collen = nullptr, *rowind = nullptr;
  const double *rowcoef = nullptr, *lb = nullptr, *ub = nullptr;
  // quadratic objective
  Idx nobjqcoefs = 0;
  const int *objqcol1 = nullptr, *objqcol2 = nullptr;
  const double *objqcoef = nullptr;
  // quadratic rows
  int nqrows = 0;
  const int *qrowind = nullptr;
  const Idx *nrowqcoefs = nullptr;
  const int *rowqcol1 = nullptr, *rowqcol2 = nullptr;
  const double *rowqcoef = nullptr;
  // entities and sets
  int nentities = 0, nsets = 0;
  const char *coltype = nullptr;
  const int *entind = nullptr;
  const double *limit = nullptr;
  const char *settype = nullptr;
  const Idx *setstart = nullptr;
  const int *setind = nullptr;
  const double *refval = nullptr;
};

// n quadratic entries (col1[k], col2[k], coef[k]) over ncols columns; names
// of the three arrays for the messages.
struct QuadNames {
  const char *col1, *col2, *coef;
};
template <class N>
void check_quad(const int *col1, const int *col2, const double *coef, N n, int ncols,
                const QuadNames &names) {
  check_array(col1, names.col1);
  check_array(col2, names.col2);
  check_array(coef, names.coef);
  check_indices(col1, n, ncols, "column");
  check_indices(col2, n, ncols, "column");
  check_values(coef, n, COEF, names.coef);
}

// Null arrays, negative counts and indices out of range are always refused
// (an index is an address in the store); letters, starts and values only in
// checked mode.
template <class Idx>
void validate(const LoadArgs<Idx> &a, bool full) {
  check_count(a.ncols, "ncols");
  check_count(a.nrows, "nrows");
  if (a.probname && std::strlen(a.probname) >= QNDA_MAXNAMELENGTH)
    fail(QNDA_ERR_ARGUMENT, "problem name longer than %d characters", QNDA_MAXNAMELENGTH - 1);
  if (a.nrows > 0) {
    check_array(a.rowtype, "rowtype");
    check_array(a.rhs, "rhs");
    if (full) check_letters(a.rowtype, a.nrows, kRowTypes, "row type");
    if (full && a.range)
      for (int i = 0; i < a.nrows; ++i)
        if (a.rowtype[i] == 'R' && a.range[i] < 0)
          fail(QNDA_ERR_ARGUMENT, "range of row %d is negative (%g)", i, a.range[i]);
  }
  check_values(a.rhs, a.nrows, BOUND, "rhs");
  check_values(a.range, a.nrows, BOUND, "range");
  check_values(a.obj, a.ncols, COEF, "objective coefficient");
  check_values(a.lb, a.ncols, BOUND, "lower bound");
  check_values(a.ub, a.ncols, BOUND, "upper bound");
  check_colmajor(a.start, a.collen, a.ncols, a.rowind, a.rowcoef, a.nrows);
  check_count(a.nobjqcoefs, "nobjqcoefs");
  if (a.nobjqcoefs > 0) {
    check_quad(a.objqcol1, a.objqcol2, a.objqcoef, a.nobjqcoefs, a.ncols,
               {"objqcol1", "objqcol2", "objqcoef"});
  }
  check_count(a.nqrows, "nqrows");
  if (a.nqrows > 0) {
    check_array(a.qrowind, "qrowind");
    check_array(a.nrowqcoefs, "nrowqcoefs");
    check_indices(a.qrowind, a.nqrows, a.nrows, "row");
    long long total = 0;
    for (int k = 0; k < a.nqrows; ++k) {
      if (a.nrowqcoefs[k] < 0)
        fail(QNDA_ERR_ARGUMENT, "nrowqcoefs[%d] is negative (%lld)", k, (long long)a.nrowqcoefs[k]);
      total += a.nrowqcoefs[k];
    }
    if (total > 0) {
      check_quad(a.rowqcol1, a.rowqcol2, a.rowqcoef, total, a.ncols,
                 {"rowqcol1", "rowqcol2", "rowqcoef"});
    }
  }
  check_count(a.nentities, "nentities");
  if (a.nentities > 0) {
    check_array(a.coltype, "coltype");
    check_array(a.entind, "entind");
    if (full) check_letters(a.coltype, a.nentities, kColTypes, "column type");
    check_indices(a.entind, a.nentities, a.ncols, "column");
    check_values(a.limit, a.nentities, BOUND, "limit");
  }
  check_count(a.nsets, "nsets");
  if (a.nsets > 0) {
    check_array(a.settype, "settype");
    check_array(a.setstart, "setstart");
    long long n = a.setstart[a.nsets] - a.setstart[0];
    if (full) {
      check_letters(a.settype, a.nsets, kSetTypes, "set type");
      check_starts(a.setstart, a.nsets, n, "setstart");
    }
    if (n > 0) {
      check_array(a.setind, "setind");
      check_indices(a.setind + a.setstart[0], n, a.ncols, "column");
      if (a.refval) check_values(a.refval + a.setstart[0], n, COEF, "refval");
    }
  }
}

template <class Idx>
void load(qnda_problem_s *prob, const LoadArgs<Idx> &a) {
  validate(a, checked_mode());
  Model m;
  m.append_rows(a.nrows, a.rowtype, a.rhs, a.range);
  m.append_cols(a.ncols, a.obj, a.lb, a.ub);
  m.mutable_matrix().add_col_entries(0, a.ncols, a.start, a.collen, a.rowind, a.rowcoef);
  for (Idx k = 0; k < a.nobjqcoefs; ++k)
    m.mutable_qobj().add(a.objqcol1[k], a.objqcol2[k], a.objqcoef[k]);
  Idx q = 0;
  for (int k = 0; k < a.nqrows; ++k) {
    QuadTerms &qt = m.mutable_qrow(a.qrowind[k]);
    for (Idx e = q + a.nrowqcoefs[k]; q < e; ++q)
      qt.add(a.rowqcol1[q], a.rowqcol2[q], a.rowqcoef[q]);
  }
  for (int k = 0; k < a.nentities; ++k) {
    m.set_coltype(a.entind[k], a.coltype[k]);
    if (a.limit) m.set_limit(a.entind[k], a.limit[k]);
  }
  for (int s = 0; s < a.nsets; ++s) {
    Idx b = a.setstart[s], e = a.setstart[s + 1];
    m.add_set(a.settype[s], e - b, a.setind + b, a.refval ? a.refval + b : nullptr);
  }
  if (prob->controls.get_int(QNDA_KEEPNROWS) == 0) m.drop_free_rows();
  prob->model = std::move(m);
  if (a.probname) prob->name = a.probname;
  prob->solve.clear_all();
  prob->model_changed();
}

}  // namespace

// The argument groups of the load functions as lists of (type, name): one
// list makes both the parameters of a function and the copy of its
// arguments into LoadArgs.
// clang-format off
#define LOAD_COMMON(X, Idx)                                                     \
  X(const char *, probname) X(int, ncols) X(int, nrows)                          \
  X(const char *, rowtype) X(const double *, rhs) X(const double *, range)      \
  X(const double *, obj) X(const Idx *, start) X(const int *, collen)           \
  X(const int *, rowind) X(const double *, rowcoef)                             \
  X(const double *, lb) X(const double *, ub)
#define LOAD_QOBJ(X, Idx)                                                       \
  X(Idx, nobjqcoefs) X(const int *, objqcol1) X(const int *, objqcol2)          \
  X(const double *, objqcoef)
#define LOAD_QROWS(X, Idx)                                                      \
  X(int, nqrows) X(const int *, qrowind) X(const Idx *, nrowqcoefs)             \
  X(const int *, rowqcol1) X(const int *, rowqcol2) X(const double *, rowqcoef)
#define LOAD_GLOBAL(X, Idx)                                                     \
  X(int, nentities) X(int, nsets) X(const char *, coltype)                      \
  X(const int *, entind) X(const double *, limit) X(const char *, settype)      \
  X(const Idx *, setstart) X(const int *, setind) X(const double *, refval)
// clang-format on

#define LOAD_PARAM(T, name) , T name
#define LOAD_STORE(T, name) a.name = name;
#define LOAD_PARAMS(Idx, GROUPS) QNDAprob prob GROUPS(LOAD_PARAM, Idx)
// fname and fname64 from one list of groups.
#define DEFINE_LOAD(fname, GROUPS)                \
  int fname(LOAD_PARAMS(int, GROUPS)) {           \
    return guard(prob, #fname, [&] {              \
      LoadArgs<int> a;                            \
      GROUPS(LOAD_STORE, int)                     \
      load(prob, a);                              \
    });                                           \
  }                                               \
  int fname##64(LOAD_PARAMS(QNDAint64, GROUPS)) { \
    return guard(prob, #fname "64", [&] {         \
      LoadArgs<QNDAint64> a;                      \
      GROUPS(LOAD_STORE, QNDAint64)               \
      load(prob, a);                              \
    });                                           \
  }

#define LP(X, Idx) LOAD_COMMON(X, Idx)
#define QP(X, Idx) LOAD_COMMON(X, Idx) LOAD_QOBJ(X, Idx)
#define GLOBAL(X, Idx) LOAD_COMMON(X, Idx) LOAD_GLOBAL(X, Idx)
#define QGLOBAL(X, Idx) LOAD_COMMON(X, Idx) LOAD_QOBJ(X, Idx) LOAD_GLOBAL(X, Idx)
#define QCQP(X, Idx) LOAD_COMMON(X, Idx) LOAD_QOBJ(X, Idx) LOAD_QROWS(X, Idx)
#define QCQPGLOBAL(X, Idx) \
  LOAD_COMMON(X, Idx) LOAD_QOBJ(X, Idx) LOAD_QROWS(X, Idx) LOAD_GLOBAL(X, Idx)

extern "C" {

DEFINE_LOAD(QNDAloadlp, LP)
DEFINE_LOAD(QNDAloadqp, QP)
DEFINE_LOAD(QNDAloadglobal, GLOBAL)
DEFINE_LOAD(QNDAloadqglobal, QGLOBAL)
DEFINE_LOAD(QNDAloadqcqp, QCQP)
DEFINE_LOAD(QNDAloadqcqpglobal, QCQPGLOBAL)

}  // extern "C"
