// Mixed-integer nonlinear problems: the entry point and the outcome.
#include "nonlinear/minlp.h"

#include "core/messages.h"
#include "nonlinear/slp_guard.h"
#include "nonlinear/slp_run.h"
#include "qslp.h"

namespace qnda {

void minlp_optimize(qslp_problem_s &p) {
  fail(QNDA_ERR_UNSUPPORTED,
       "integer columns in a nonlinear problem need the mixed-integer "
       "nonlinear engine, which this library was built without");
}

}  // namespace qnda

using namespace qnda;

extern "C" int QSLPglobal(QSLPprob prob) {
  return slp_guard(prob, "QSLPglobal", [&] {
    if (!prob->main || !prob->main->valid())
      fail(QNDA_ERR_STATE, "the main problem has been destroyed");
    minlp_optimize(*prob);
  });
}
