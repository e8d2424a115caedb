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
  Idx nobjq = 0;
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
  check_colmajor(a.start, a.collen, a.ncols, a.rowind, a.rowcoef, a.nrows);
  check_count(a.nobjq, "nobjqcoefs");
  if (a.nobjq > 0) {
    check_array(a.objqcol1, "objqcol1");
    check_array(a.objqcol2, "objqcol2");
    check_array(a.objqcoef, "objqcoef");
    check_indices(a.objqcol1, a.nobjq, a.ncols, "column");
    check_indices(a.objqcol2, a.nobjq, a.ncols, "column");
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
      check_array(a.rowqcol1, "rowqcol1");
      check_array(a.rowqcol2, "rowqcol2");
      check_array(a.rowqcoef, "rowqcoef");
      check_indices(a.rowqcol1, total, a.ncols, "column");
      check_indices(a.rowqcol2, total, a.ncols, "column");
    }
  }
  check_count(a.nentities, "nentities");
  if (a.nentities > 0) {
    check_array(a.coltype, "coltype");
    check_array(a.entind, "entind");
    if (full) check_letters(a.coltype, a.nentities, kColTypes, "column type");
    check_indices(a.entind, a.nentities, a.ncols, "column");
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
  for (Idx k = 0; k < a.nobjq; ++k)
    m.mutable_qobj().add(a.objqcol1[k], a.objqcol2[k], a.objqcoef[k]);
  Idx q = 0;
  for (int k = 0; k < a.nqrows; ++k) {
    QuadTerms &qt = m.mutable_qrow(a.qrowind[k]);
    for (Idx e = q + a.nrowqcoefs[k]; q < e; ++q) qt.add(a.rowqcol1[q], a.rowqcol2[q], a.rowqcoef[q]);
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

#define LOAD_COMMON                                                                             \
  a.probname = probname, a.ncols = ncols, a.nrows = nrows, a.rowtype = rowtype, a.rhs = rhs,    \
  a.range = range, a.obj = obj, a.start = start, a.collen = collen, a.rowind = rowind,          \
  a.rowcoef = rowcoef, a.lb = lb, a.ub = ub
#define LOAD_QOBJ \
  a.nobjq = nobjqcoefs, a.objqcol1 = objqcol1, a.objqcol2 = objqcol2, a.objqcoef = objqcoef
#define LOAD_QROWS                                                                       \
  a.nqrows = nqrows, a.qrowind = qrowind, a.nrowqcoefs = nrowqcoefs, a.rowqcol1 = rowqcol1, \
  a.rowqcol2 = rowqcol2, a.rowqcoef = rowqcoef
#define LOAD_GLOBAL                                                                        \
  a.nentities = nentities, a.nsets = nsets, a.coltype = coltype, a.entind = entind,          \
  a.limit = limit, a.settype = settype, a.setstart = setstart, a.setind = setind,            \
  a.refval = refval

extern "C" {

int QNDAloadlp(QNDAprob prob, const char *probname, int ncols, int nrows, const char *rowtype,
               const double *rhs, const double *range, const double *obj, const int *start,
               const int *collen, const int *rowind, const double *rowcoef, const double *lb,
               const double *ub) {
  return guard(prob, "QNDAloadlp", [&] {
    LoadArgs<int> a;
    LOAD_COMMON;
    load(prob, a);
  });
}

int QNDAloadlp64(QNDAprob prob, const char *probname, int ncols, int nrows, const char *rowtype,
                 const double *rhs, const double *range, const double *obj,
                 const QNDAint64 *start, const int *collen, const int *rowind,
                 const double *rowcoef, const double *lb, const double *ub) {
  return guard(prob, "QNDAloadlp64", [&] {
    LoadArgs<QNDAint64> a;
    LOAD_COMMON;
    load(prob, a);
  });
}

int QNDAloadqp(QNDAprob prob, const char *probname, int ncols, int nrows, const char *rowtype,
               const double *rhs, const double *range, const double *obj, const int *start,
               const int *collen, const int *rowind, const double *rowcoef, const double *lb,
               const double *ub, int nobjqcoefs, const int *objqcol1, const int *objqcol2,
               const double *objqcoef) {
  return guard(prob, "QNDAloadqp", [&] {
    LoadArgs<int> a;
    LOAD_COMMON;
    LOAD_QOBJ;
    load(prob, a);
  });
}

int QNDAloadqp64(QNDAprob prob, const char *probname, int ncols, int nrows, const char *rowtype,
                 const double *rhs, const double *range, const double *obj,
                 const QNDAint64 *start, const int *collen, const int *rowind,
                 const double *rowcoef, const double *lb, const double *ub,
                 QNDAint64 nobjqcoefs, const int *objqcol1, const int *objqcol2,
                 const double *objqcoef) {
  return guard(prob, "QNDAloadqp64", [&] {
    LoadArgs<QNDAint64> a;
    LOAD_COMMON;
    LOAD_QOBJ;
    load(prob, a);
  });
}

int QNDAloadglobal(QNDAprob prob, const char *probname, int ncols, int nrows,
                   const char *rowtype, const double *rhs, const double *range,
                   const double *obj, const int *start, const int *collen, const int *rowind,
                   const double *rowcoef, const double *lb, const double *ub, int nentities,
                   int nsets, const char *coltype, const int *entind, const double *limit,
                   const char *settype, const int *setstart, const int *setind,
                   const double *refval) {
  return guard(prob, "QNDAloadglobal", [&] {
    LoadArgs<int> a;
    LOAD_COMMON;
    LOAD_GLOBAL;
    load(prob, a);
  });
}

int QNDAloadglobal64(QNDAprob prob, const char *probname, int ncols, int nrows,
                     const char *rowtype, const double *rhs, const double *range,
                     const double *obj, const QNDAint64 *start, const int *collen,
                     const int *rowind, const double *rowcoef, const double *lb,
                     const double *ub, int nentities, int nsets, const char *coltype,
                     const int *entind, const double *limit, const char *settype,
                     const QNDAint64 *setstart, const int *setind, const double *refval) {
  return guard(prob, "QNDAloadglobal64", [&] {
    LoadArgs<QNDAint64> a;
    LOAD_COMMON;
    LOAD_GLOBAL;
    load(prob, a);
  });
}

int QNDAloadqglobal(QNDAprob prob, const char *probname, int ncols, int nrows,
                    const char *rowtype, const double *rhs, const double *range,
                    const double *obj, const int *start, const int *collen, const int *rowind,
                    const double *rowcoef, const double *lb, const double *ub, int nobjqcoefs,
                    const int *objqcol1, const int *objqcol2, const double *objqcoef,
                    int nentities, int nsets, const char *coltype, const int *entind,
                    const double *limit, const char *settype, const int *setstart,
                    const int *setind, const double *refval) {
  return guard(prob, "QNDAloadqglobal", [&] {
    LoadArgs<int> a;
    LOAD_COMMON;
    LOAD_QOBJ;
    LOAD_GLOBAL;
    load(prob, a);
  });
}

int QNDAloadqglobal64(QNDAprob prob, const char *probname, int ncols, int nrows,
                      const char *rowtype, const double *rhs, const double *range,
                      const double *obj, const QNDAint64 *start, const int *collen,
                      const int *rowind, const double *rowcoef, const double *lb,
                      const double *ub, QNDAint64 nobjqcoefs, const int *objqcol1,
                      const int *objqcol2, const double *objqcoef, int nentities, int nsets,
                      const char *coltype, const int *entind, const double *limit,
                      const char *settype, const QNDAint64 *setstart, const int *setind,
                      const double *refval) {
  return guard(prob, "QNDAloadqglobal64", [&] {
    LoadArgs<QNDAint64> a;
    LOAD_COMMON;
    LOAD_QOBJ;
    LOAD_GLOBAL;
    load(prob, a);
  });
}

int QNDAloadqcqp(QNDAprob prob, const char *probname, int ncols, int nrows, const char *rowtype,
                 const double *rhs, const double *range, const double *obj, const int *start,
                 const int *collen, const int *rowind, const double *rowcoef, const double *lb,
                 const double *ub, int nobjqcoefs, const int *objqcol1, const int *objqcol2,
                 const double *objqcoef, int nqrows, const int *qrowind,
                 const int *nrowqcoefs, const int *rowqcol1, const int *rowqcol2,
                 const double *rowqcoef) {
  return guard(prob, "QNDAloadqcqp", [&] {
    LoadArgs<int> a;
    LOAD_COMMON;
    LOAD_QOBJ;
    LOAD_QROWS;
    load(prob, a);
  });
}

int QNDAloadqcqp64(QNDAprob prob, const char *probname, int ncols, int nrows,
                   const char *rowtype, const double *rhs, const double *range,
                   const double *obj, const QNDAint64 *start, const int *collen,
                   const int *rowind, const double *rowcoef, const double *lb,
                   const double *ub, QNDAint64 nobjqcoefs, const int *objqcol1,
                   const int *objqcol2, const double *objqcoef, int nqrows,
                   const int *qrowind, const QNDAint64 *nrowqcoefs, const int *rowqcol1,
                   const int *rowqcol2, const double *rowqcoef) {
  return guard(prob, "QNDAloadqcqp64", [&] {
    LoadArgs<QNDAint64> a;
    LOAD_COMMON;
    LOAD_QOBJ;
    LOAD_QROWS;
    load(prob, a);
  });
}

int QNDAloadqcqpglobal(QNDAprob prob, const char *probname, int ncols, int nrows,
                       const char *rowtype, const double *rhs, const double *range,
                       const double *obj, const int *start, const int *collen,
                       const int *rowind, const double *rowcoef, const double *lb,
                       const double *ub, int nobjqcoefs, const int *objqcol1,
                       const int *objqcol2, const double *objqcoef, int nqrows,
                       const int *qrowind, const int *nrowqcoefs, const int *rowqcol1,
                       const int *rowqcol2, const double *rowqcoef, int nentities, int nsets,
                       const char *coltype, const int *entind, const double *limit,
                       const char *settype, const int *setstart, const int *setind,
                       const double *refval) {
  return guard(prob, "QNDAloadqcqpglobal", [&] {
    LoadArgs<int> a;
    LOAD_COMMON;
    LOAD_QOBJ;
    LOAD_QROWS;
    LOAD_GLOBAL;
    load(prob, a);
  });
}

int QNDAloadqcqpglobal64(QNDAprob prob, const char *probname, int ncols, int nrows,
                         const char *rowtype, const double *rhs, const double *range,
                         const double *obj, const QNDAint64 *start, const int *collen,
                         const int *rowind, const double *rowcoef, const double *lb,
                         const double *ub, QNDAint64 nobjqcoefs, const int *objqcol1,
                         const int *objqcol2, const double *objqcoef, int nqrows,
                         const int *qrowind, const QNDAint64 *nrowqcoefs,
                         const int *rowqcol1, const int *rowqcol2, const double *rowqcoef,
                         int nentities, int nsets, const char *coltype, const int *entind,
                         const double *limit, const char *settype,
                         const QNDAint64 *setstart, const int *setind,
                         const double *refval) {
  return guard(prob, "QNDAloadqcqpglobal64", [&] {
    LoadArgs<QNDAint64> a;
    LOAD_COMMON;
    LOAD_QOBJ;
    LOAD_QROWS;
    LOAD_GLOBAL;
    load(prob, a);
  });
}

}  // extern "C"
