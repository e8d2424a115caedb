#include "model/problem.h"

#include <cstdarg>
#include <cstdio>

namespace qnda {

void emit_message(qnda_problem_s *prob, int msgtype, const char *text) {
  if (!prob) return route_message(nullptr, msgtype, text);
  MsgTarget target{prob, &prob->handlers, prob->controls.get_int(QNDA_OUTPUTLOG) != 0,
                   &prob->controls.get_str(QNDA_LOGFILE)};
  route_message(&target, msgtype, text);
}

void emit_messagef(qnda_problem_s *prob, int msgtype, const char *fmt, ...) {
  char buf[1024];
  va_list ap;
  va_start(ap, fmt);
  std::vsnprintf(buf, sizeof buf, fmt, ap);
  va_end(ap);
  emit_message(prob, msgtype, buf);
}

void flush_messages(qnda_problem_s *prob) { route_flush(prob, prob ? &prob->handlers : nullptr); }

}  // namespace qnda
