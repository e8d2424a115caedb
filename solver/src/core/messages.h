// Log and message routing.  A message of a problem goes, in this order, to the
// problem's own handlers, to the environment's handlers (QNDA_ge_addcbmsghandler)
// and to standard output when the problem's QNDA_OUTPUTLOG control is on; all
// of it only while QNDAenablemessages allows.  Handlers may be called from any
// thread (an engine's log callback); the lists are copied before the calls, so
// a handler may add or remove handlers.
//
// This layer knows nothing of a problem: the problem record (model/problem.h)
// describes itself in a MsgTarget, and its emit_message builds one per call.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "qnda.h"

namespace qnda {

enum MsgType { MSG_INFO = 1, MSG_UNUSED = 2, MSG_WARNING = 3, MSG_ERROR = 4 };

struct MsgHandler {
  QNDAmsghandler fn;
  void *data;
  int priority;
};

// A list of handlers kept in priority order (highest first; equal priorities
// in the order they were added).
class HandlerList {
 public:
  HandlerList() = default;
  HandlerList(const HandlerList &) = delete;
  HandlerList &operator=(const HandlerList &) = delete;

  void add(QNDAmsghandler fn, void *data, int priority);
  // fn NULL removes every handler; data NULL every handler fn.
  void remove(QNDAmsghandler fn, void *data);
  std::vector<MsgHandler> snapshot() const;
  bool empty() const;

 private:
  mutable std::mutex mu_;
  std::vector<MsgHandler> list_;
};

HandlerList &env_handlers();

// QNDAenablemessages.
void set_messages_enabled(bool on);
bool messages_enabled();

// What the router needs of the problem a message belongs to.
struct MsgTarget {
  QNDAprob handle;              // passed to the handlers
  const HandlerList *handlers;  // the problem's own
  bool echo;                    // QNDA_OUTPUTLOG
  const std::string *logfile;   // QNDA_LOGFILE; empty: none
};

// One log line (no trailing newline needed); target NULL for messages of the
// environment.  msgtype is one of MsgType.
void route_message(const MsgTarget *target, int msgtype, const char *text);
// Tells the handlers to flush (msg NULL, msgtype -1) and flushes stdout.
void route_flush(QNDAprob handle, const HandlerList *handlers);
// Closes the log file (QNDA_LOGFILE) of the problem handle, if one is open.
void close_logfile(const void *handle);

}  // namespace qnda
