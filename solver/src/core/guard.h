// What every C boundary of the library shares, whatever its handle type:
// the initialisation counters, the guarded run that turns exceptions into a
// code and a last-error message, the handle check, and the argument checks
// the bodies use.  api/guard.h adds the guards of QNDAprob calls; the
// nonlinear boundary (nonlinear/slp_api.cpp) builds its own on the same parts.
#pragma once

#include <atomic>
#include <mutex>
#include <new>
#include <string>

#include "core/error.h"
#include "qnda.h"

namespace qnda {

// QNDAinit/QNDAfree and QSLPinit/QSLPfree: calls nest, the library is on
// while more inits than frees have been made.
class InitCount {
 public:
  void up();
  bool down();  // false when there was no init to undo
  bool on() const { return on_.load(std::memory_order_acquire); }

 private:
  std::mutex mu_;
  int count_ = 0;
  std::atomic<bool> on_{false};
};

InitCount &lib_init();
inline bool lib_initialised() { return lib_init().on(); }

// Checked mode (QNDAsetcheckedmode): argument validation on or off.
bool checked_mode();
void set_checked_mode(bool on);

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

// A handle (H has valid()) of the kind what ("problem", "nonlinear
// problem"): the error of a bad one can only go to the global environment.
template <class H>
int check_handle_of(const H *h, const char *fname, const char *what) {
  if (!h)
    return record(global_error(), fname, QNDA_ERR_ARGUMENT, (std::string("null ") + what).c_str());
  if (!h->valid())
    return record(global_error(), fname, QNDA_ERR_ARGUMENT,
                  (std::string("not a ") + what + " (destroyed, or never created)").c_str());
  return QNDA_OK;
}

// Argument checks for the bodies (throw Error).  They name what they check so
// that messages read "column index 12 out of range [0, 9]".
void check_index(int i, int n, const char *what);
void check_range(int first, int last, int n, const char *what);
void check_array(const void *p, const char *name);  // p must not be null
void check_count(long long n, const char *name);    // n >= 0

}  // namespace qnda
