// The guard of the nonlinear interface's entry points, built on the shared
// parts of core/guard.h: a QSLPprob handle and QSLPinit's initialisation.
#pragma once

#include <utility>

#include "core/guard.h"
#include "nonlinear/slp_problem.h"

namespace qnda {

inline constexpr const char *kSlpNotInit =
    "the nonlinear library is not initialised (call QSLPinit first)";

inline int check_slp_handle(const qslp_problem_s *prob, const char *fname) {
  return check_handle_of(prob, fname, "nonlinear problem");
}

template <class F>
int slp_guard(qslp_problem_s *prob, const char *fname, F &&body) {
  if (int rc = check_slp_handle(prob, fname)) return rc;
  if (!slp_initialised()) return record(prob->err, fname, QNDA_ERR_NOTINIT, kSlpNotInit);
  const int rc = run_guarded(prob->err, fname, std::forward<F>(body));
  // The main problem's last error is the last error of either interface,
  // so that a caller reading it after a nonlinear call gets this one and
  // not an older failure of the main problem.
  if (rc != 0 && prob->main && prob->main->valid()) prob->main->err.set(rc, prob->err.message());
  return rc;
}

template <class F>
int slp_guard_env(const char *fname, F &&body) {
  if (!slp_initialised()) return record(global_error(), fname, QNDA_ERR_NOTINIT, kSlpNotInit);
  return run_guarded(global_error(), fname, std::forward<F>(body));
}

}  // namespace qnda
