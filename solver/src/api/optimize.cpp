// QNDAlpoptimize and QNDAmipoptimize.
#include "api/guard.h"
#include "engine/optimise.h"

using namespace qnda;

extern "C" {

int QNDAlpoptimize(QNDAprob prob, const char *flags) {
  return guard_solve(prob, "QNDAlpoptimize", [&] { optimise(*prob, false, flags); });
}

int QNDAmipoptimize(QNDAprob prob, const char *flags) {
  return guard_solve(prob, "QNDAmipoptimize", [&] { optimise(*prob, true, flags); });
}

}  // extern "C"
