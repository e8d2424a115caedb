// The C boundary.  Every entry point runs its body through one of the guards
// below, which
//   - refuse calls while the library is not initialised,
//   - refuse null and invalid (destroyed, foreign) handles,
//   - catch every exception, so none escapes into C callers,
//   - record the code and the message "<function>: <what went wrong>" on the
//     problem (or on the global environment for calls without one),
//   - return the code (0 on success).
// Bodies report failures by throwing qnda::Error (qnda::fail).  The parts
// any boundary shares live in core/guard.h.
#pragma once

#include <utility>

#include "core/guard.h"
#include "model/problem.h"
#include "qnda.h"

namespace qnda {

// Calls without a problem.
template <class F>
int guard_env(const char *fname, F &&body) {
  if (!lib_initialised())
    return record(global_error(), fname, QNDA_ERR_NOTINIT,
                  "the library is not initialised (call QNDAinit first)");
  return run_guarded(global_error(), fname, std::forward<F>(body));
}

inline int check_handle(const qnda_problem_s *prob, const char *fname) {
  return check_handle_of(prob, fname, "problem");
}

// Calls on a problem.
template <class F>
int guard(qnda_problem_s *prob, const char *fname, F &&body) {
  if (int rc = check_handle(prob, fname)) return rc;
  if (!lib_initialised()) {
    record(global_error(), fname, QNDA_ERR_NOTINIT,
           "the library is not initialised (call QNDAinit first)");
    return record(prob->err, fname, QNDA_ERR_NOTINIT,
                  "the library is not initialised (call QNDAinit first)");
  }
  return run_guarded(prob->err, fname, std::forward<F>(body));
}

// Same without the initialisation check (reading last errors).
template <class F>
int guard_noinit(qnda_problem_s *prob, const char *fname, F &&body) {
  if (int rc = check_handle(prob, fname)) return rc;
  return run_guarded(prob->err, fname, std::forward<F>(body));
}

}  // namespace qnda
