// The problem behind a QNDAprob handle.
#pragma once

#include <atomic>
#include <string>

#include "controls/controls.h"
#include "core/error.h"
#include "core/messages.h"
#include "core/solvestate.h"
#include "model/model.h"
#include "qnda.h"

struct qnda_problem_s {
  static constexpr unsigned kMagic = 0x51444e41u;   // "ANDQ"
  static constexpr unsigned kFreed = 0xdeadbeefu;  // written by QNDAdestroyprob

  unsigned magic = kMagic;
  std::string name;
  qnda::ErrorRecord err;
  qnda::Controls controls;
  qnda::Model model;
  qnda::SolveState solve;
  // Reason (QNDA_STOP_*) set by QNDAinterrupt from any thread; the engine
  // polls it during a solve and resets it to 0 when a solve ends.
  std::atomic<int> interrupt{0};
  // Handlers of this problem's messages (QNDAaddcbmessage).
  qnda::HandlerList handlers;

  qnda_problem_s() = default;
  qnda_problem_s(const qnda_problem_s &) = delete;
  qnda_problem_s &operator=(const qnda_problem_s &) = delete;
  ~qnda_problem_s() {
    // volatile: a plain store into memory about to be freed may be dropped
    *static_cast<volatile unsigned *>(&magic) = kFreed;
  }

  bool valid() const { return magic == kMagic; }
  // Every change of the model goes through here: results of earlier solves
  // no longer describe it.
  void model_changed() { solve.invalidate(); }
};

namespace qnda {

// Checked mode (QNDAsetcheckedmode): argument validation on or off.
bool checked_mode();

}  // namespace qnda
