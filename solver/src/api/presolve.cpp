// The presolved state's own calls: a row of the problem in the presolved
// problem's columns, and postsolve.
#include "api/model_args.h"
#include "engine/presolved.h"

using namespace qnda;

extern "C" {

int QNDApresolverow(QNDAprob prob, char rowtype, int norigcoefs, const int *origcolind,
                    const double *origrowcoef, double origrhs, int maxcoefs, int *ncoefs,
                    int *colind, double *rowcoef, double *rhs, int *status) {
  return guard_read(prob, "QNDApresolverow", [&] {
    if (norigcoefs < 0) fail(QNDA_ERR_ARGUMENT, "norigcoefs is negative (%d)", norigcoefs);
    if (maxcoefs < 0) fail(QNDA_ERR_ARGUMENT, "maxcoefs is negative (%d)", maxcoefs);
    check_letters(&rowtype, 1, "LGERN", "rowtype");
    if (norigcoefs > 0) {
      check_array(origcolind, "origcolind");
      check_array(origrowcoef, "origrowcoef");
    }
    check_array(status, "status");
    check_indices(origcolind, norigcoefs, prob->model.ncols(), "column");
    *status = presolve_row(*prob, rowtype, norigcoefs, origcolind, origrowcoef, origrhs, maxcoefs,
                           ncoefs, colind, rowcoef, rhs);
  });
}

int QNDApostsolve(QNDAprob prob) {
  return guard(prob, "QNDApostsolve", [&] { postsolve(*prob); });
}

}  // extern "C"
