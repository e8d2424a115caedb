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

inline int check_problem(qnda_problem_s *prob, const char *fname) {
  if (int rc = check_handle(prob, fname)) return rc;
  if (!lib_initialised()) {
    record(global_error(), fname, QNDA_ERR_NOTINIT,
           "the library is not initialised (call QNDAinit first)");
    return record(prob->err, fname, QNDA_ERR_NOTINIT,
                  "the library is not initialised (call QNDAinit first)");
  }
  return QNDA_OK;
}

inline int refuse_busy(qnda_problem_s *prob, const char *fname) {
  return record(prob->err, fname, QNDA_ERR_BUSY,
                "the problem is being optimised; it cannot be changed until the solve returns");
}

// Calls that change a problem: refused while its engine runs, whichever
// thread (or message handler of that solve) makes them.
template <class F>
int guard(qnda_problem_s *prob, const char *fname, F &&body) {
  if (int rc = check_problem(prob, fname)) return rc;
  if (prob->busy.load(std::memory_order_acquire)) return refuse_busy(prob, fname);
  return run_guarded(prob->err, fname, std::forward<F>(body));
}

// Calls that only read a problem: allowed during its solve (handlers and
// callbacks of the solve need them; the model cannot change meanwhile).
template <class F>
int guard_read(qnda_problem_s *prob, const char *fname, F &&body) {
  if (int rc = check_problem(prob, fname)) return rc;
  return run_guarded(prob->err, fname, std::forward<F>(body));
}

// A solve: marks the problem busy for its length; a second solve of the same
// problem meanwhile fails at once rather than sharing the engine's state.
template <class F>
int guard_solve(qnda_problem_s *prob, const char *fname, F &&body) {
  if (int rc = check_problem(prob, fname)) return rc;
  bool idle = false;
  if (!prob->busy.compare_exchange_strong(idle, true, std::memory_order_acq_rel))
    return refuse_busy(prob, fname);
  int rc = run_guarded(prob->err, fname, std::forward<F>(body));
  prob->busy.store(false, std::memory_order_release);
  return rc;
}

// Same without the initialisation check (reading last errors).
template <class F>
int guard_noinit(qnda_problem_s *prob, const char *fname, F &&body) {
  if (int rc = check_handle(prob, fname)) return rc;
  return run_guarded(prob->err, fname, std::forward<F>(body));
}

}  // namespace qnda
