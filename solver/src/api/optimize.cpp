// QNDAlpoptimize and QNDAmipoptimize.
#include "api/guard.h"
#include "engine/presolved.h"

using namespace qnda;

extern "C" {

int QNDAlpoptimize(QNDAprob prob, const char *flags) {
  return guard_solve(prob, "QNDAlpoptimize", [&] { optimise_or_presolve(*prob, false, flags); });
}

int QNDAmipoptimize(QNDAprob prob, const char *flags) {
  return guard_solve(prob, "QNDAmipoptimize", [&] { optimise_or_presolve(*prob, true, flags); });
}

}  // extern "C"
