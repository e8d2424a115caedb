// Argument checks of the model functions.  All of them run only in checked
// mode (except where a caller says otherwise); they throw qnda::Error with a
// message that names the argument and the offending value.
#pragma once

#include <cmath>
#include <cstring>

#include "api/guard.h"
#include "model/problem.h"

namespace qnda {

inline const char *kRowTypes = "LGERN";
inline const char *kColTypes = "CIBSRP";
inline const char *kSetTypes = "12";
inline const char *kBoundTypes = "ULB";

// Every idx[k], k < n, in [0, count).
template <class N>
void check_indices(const int *idx, N n, int count, const char *what) {
  for (N k = 0; k < n; ++k) check_index(idx[k], count, what);
}

// Every letter of s[0 .. n) among allowed.
template <class N>
void check_letters(const char *s, N n, const char *allowed, const char *what) {
  for (N k = 0; k < n; ++k) {
    char c = s[k];
    if (c == '\0' || !std::strchr(allowed, c))
      fail(QNDA_ERR_ARGUMENT, "%s '%c' (entry %lld) unknown; expected one of %s", what, c ? c : '?',
           static_cast<long long>(k), allowed);
  }
}

// Numbers entering the model, checked whatever the mode: a NaN is never a
// value, and an infinity is one only where it means "no bound" (bounds,
// right-hand sides, ranges); a coefficient must be finite.
enum ValueKind { BOUND, COEF };
inline void check_value(double v, ValueKind kind, const char *what, long long k) {
  if (std::isnan(v)) fail(QNDA_ERR_VALUE, "%s %lld is not a number (NaN)", what, k);
  if (kind == COEF && !std::isfinite(v))
    fail(QNDA_ERR_VALUE, "%s %lld is infinite; only a bound may be", what, k);
}
// v[0 .. n) (v may be null: nothing given).
template <class N>
void check_values(const double *v, N n, ValueKind kind, const char *what) {
  if (v)
    for (N k = 0; k < n; ++k) check_value(v[k], kind, what, static_cast<long long>(k));
}

// start[0 .. n] nondecreasing from >= 0 and spanning exactly nnz entries.
template <class Idx, class N>
void check_starts(const Idx *start, int n, N nnz, const char *what) {
  if (start[0] < 0) fail(QNDA_ERR_ARGUMENT, "%s[0] is negative (%lld)", what, (long long)start[0]);
  for (int k = 0; k < n; ++k)
    if (start[k + 1] < start[k])
      fail(QNDA_ERR_ARGUMENT, "%s decreases at entry %d (%lld after %lld)", what, k + 1,
           (long long)start[k + 1], (long long)start[k]);
  if (static_cast<long long>(start[n] - start[0]) != static_cast<long long>(nnz))
    fail(QNDA_ERR_ARGUMENT, "%s spans %lld entries but the count given is %lld", what,
         (long long)(start[n] - start[0]), (long long)nnz);
}

// Column-major input of the load functions: start (with or without collen)
// and the row indices it points at.  Returns the number of entries.
template <class Idx>
long long check_colmajor(const Idx *start, const int *collen, int ncols, const int *rowind,
                         const double *val, int nrows) {
  if (ncols == 0 || !start) return 0;
  long long total = 0;
  for (int j = 0; j < ncols; ++j) {
    Idx b = start[j], e;
    if (collen) {
      if (collen[j] < 0) fail(QNDA_ERR_ARGUMENT, "collen[%d] is negative (%d)", j, collen[j]);
      e = b + collen[j];
    } else {
      e = start[j + 1];
    }
    if (b < 0) fail(QNDA_ERR_ARGUMENT, "start[%d] is negative (%lld)", j, (long long)b);
    if (e < b)
      fail(QNDA_ERR_ARGUMENT, "start decreases at entry %d (%lld after %lld)", j + 1, (long long)e,
           (long long)b);
    if (e > b) {
      check_array(rowind, "rowind");
      check_array(val, "rowcoef");
    }
    for (Idx k = b; k < e; ++k) {
      check_index(rowind[k], nrows, "row");
      check_value(val[k], COEF, "coefficient", k);
    }
    total += e - b;
  }
  return total;
}

}  // namespace qnda

// One definition for a function and its 64-bit twin (name ending in 64,
// counts and starts of type QNDAint64): PARAMS(Idx) is the parameter list,
// ARGS the arguments of the guarded body impl<Idx>.
#define QNDA_DEFINE_WITH_64(fname, impl, PARAMS, ARGS)              \
  int fname(PARAMS(int)) {                                          \
    return guard(prob, #fname, [&] { impl<int> ARGS; });            \
  }                                                                 \
  int fname##64(PARAMS(QNDAint64)) {                                \
    return guard(prob, #fname "64", [&] { impl<QNDAint64> ARGS; }); \
  }
