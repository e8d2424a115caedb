// The C boundary.  Every entry point runs its body through one of the guards
// below, which
//   - refuse calls while the library is not initialised,
//   - refuse null and invalid (destroyed, foreign) handles,
//   - catch every exception, so none escapes into C callers,
//   - record the code and the message "<function>: <what went wrong>" on the
//     problem (or on the global environment for calls without one),
//   - return the code (0 on success).
// Bodies report failures by throwing qnda::Error (qnda::fail).
#pragma once

#include <new>
#include <string>
#include <utility>

#include "core/error.h"
#include "core/problem.h"
#include "qnda.h"

namespace qnda {

bool lib_initialised();

// Records a failure of fname on rec (and returns the code).
inline int record(ErrorRecord &rec, const char *fname, int code, const char *what) {
  std::string msg(fname);
  msg += ": ";
  msg += what;
  rec.set(code, msg);
  return code;
}

// Runs body, turning exceptions into (code, message) on rec.
template <class F>
int run_guarded(ErrorRecord &rec, const char *fname, F &&body) {
  try {
    body();
    return QNDA_OK;
  } catch (const Error &e) {
    return record(rec, fname, e.code, e.what());
  } catch (const std::bad_alloc &) {
    return record(rec, fname, QNDA_ERR_NOMEMORY, "out of memory");
  } catch (const std::exception &e) {
    return record(rec, fname, QNDA_ERR_INTERNAL, e.what());
  } catch (...) {
    return record(rec, fname, QNDA_ERR_INTERNAL, "unexpected internal failure");
  }
}

// Calls without a problem.
template <class F>
int guard_env(const char *fname, F &&body) {
  if (!lib_initialised())
    return record(global_error(), fname, QNDA_ERR_NOTINIT,
                  "the library is not initialised (call QNDAinit first)");
  return run_guarded(global_error(), fname, std::forward<F>(body));
}

// Handle check shared by problem calls: the error of a bad handle can only go
// to the global environment.
inline int check_handle(const qnda_problem_s *prob, const char *fname) {
  if (!prob) return record(global_error(), fname, QNDA_ERR_ARGUMENT, "null problem");
  if (!prob->valid())
    return record(global_error(), fname, QNDA_ERR_ARGUMENT,
                  "not a problem (destroyed, or never created)");
  return QNDA_OK;
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

// Argument checks for the bodies (throw Error).  They name what they check so
// that messages read "column index 12 out of range [0, 9]".
void check_index(int i, int n, const char *what);
void check_range(int first, int last, int n, const char *what);
void check_array(const void *p, const char *name);  // p must not be null
void check_count(long long n, const char *name);     // n >= 0

}  // namespace qnda
