// The problem behind a QNDAprob handle: the model store with what the rest
// of the library keeps beside it (controls, the last solve, last error,
// message handlers).  It sits on top of the model layer, so that the engines,
// the readers and writers and the C boundary above it see one record.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "callbacks/cblists.h"
#include "callbacks/cutpool.h"
#include "callbacks/dispatch.h"
#include "controls/controls.h"
#include "core/error.h"
#include "core/guard.h"
#include "core/messages.h"
#include "core/solvestate.h"
#include "model/model.h"
#include "qnda.h"

namespace qnda {
// Results of the analyses of analysis/ (infeasible subsystems ...), kept
// until the model changes.
struct AnalysisState;
// The problem left presolved (engine/presolved.h), until postsolve or a
// change of the model.
struct PresolvedState;
// Row and column scaling a user gave (QNDAscale; engine/userscale.h).
struct UserScale;
// An engine instance a problem keeps between optimisations, so that the next
// one starts from where the last ended (engine/engine.h derives the engines
// from it).  Never shared: a copied problem starts without one.
class KeptEngine {
 public:
  virtual ~KeptEngine() = default;
};
// Something that refers to the model's rows or columns by index (the
// coefficients of a nonlinear problem on this one) and must follow their
// deletion.  check may refuse it by throwing qnda::Error before anything is
// deleted; deleted then gets the same indices, sorted and distinct.
class IndexFollower {
 public:
  virtual ~IndexFollower() = default;
  virtual void check_delete(bool rows, const std::vector<int> &idx) = 0;
  virtual void deleted(bool rows, const std::vector<int> &idx) = 0;
};
}  // namespace qnda

struct qnda_problem_s {
  static constexpr unsigned kMagic = 0x51444e41u;  // "ANDQ"
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
  // True while an engine optimises this problem (api/guard.h refuses changes).
  std::atomic<bool> busy{false};
  // Handlers of this problem's messages (QNDAaddcbmessage).
  qnda::HandlerList handlers;
  std::shared_ptr<qnda::AnalysisState> analysis;
  std::shared_ptr<qnda::PresolvedState> presolved;
  std::shared_ptr<qnda::UserScale> user_scale;
  // Message codes switched off on this problem (QNDAsetmessagestatus),
  // sorted.  Changed only while no solve runs, so the log may read it.
  std::vector<int> muted_codes;
  // The optimiser callbacks (QNDAaddcb...).
  qnda::CallbackLists callbacks;
  // The cut pool (QNDAstorecuts ...).
  qnda::CutPool cuts;
  // The engine's lack of branching directives was said in the log.
  bool directives_noted = false;
  // The engine of the last optimisation with its model and basis.
  std::unique_ptr<qnda::KeptEngine> engine;
  // Told of deleted rows and columns (not owned; each unregisters itself).
  std::vector<qnda::IndexFollower *> followers;

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
  void model_changed() {
    solve.invalidate();
    analysis.reset();
    presolved.reset();
  }
  // The results the queries answer with: the event's inside a callback on
  // this thread, else the last solve's.
  const qnda::SolveState &results() const {
    const qnda::SolveState *ev = qnda::event_state(this);
    return ev ? *ev : solve;
  }
};

namespace qnda {

// The problem's log (core/messages.h routes it): one line, no trailing
// newline needed; prob may be NULL for messages of the environment; msgtype
// is one of MsgType.
void emit_message(qnda_problem_s *prob, int msgtype, const char *text);
// printf-style convenience.
void emit_messagef(qnda_problem_s *prob, int msgtype, const char *fmt, ...)
    __attribute__((format(printf, 3, 4)));
// A message with its code (QNDA_MSG_*): dropped when the problem muted it.
void emit_coded(qnda_problem_s *prob, int code, int msgtype, const char *text);
void emit_codedf(qnda_problem_s *prob, int code, int msgtype, const char *fmt, ...)
    __attribute__((format(printf, 4, 5)));
bool message_muted(const qnda_problem_s &prob, int code);
// Tells the handlers to flush (msg NULL, msgtype -1) and flushes stdout.
void flush_messages(qnda_problem_s *prob);

}  // namespace qnda
