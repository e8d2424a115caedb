#include "model/problem.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <string>

namespace qnda {
namespace {

std::string vformat(const char *fmt, va_list ap) {
  char buf[1024];
  std::vsnprintf(buf, sizeof buf, fmt, ap);
  return buf;
}

}  // namespace

void emit_message(qnda_problem_s *prob, int msgtype, const char *text) {
  if (!prob) return route_message(nullptr, msgtype, text);
  MsgTarget target{prob, &prob->handlers, prob->controls.get_int(QNDA_OUTPUTLOG) != 0,
                   &prob->controls.get_str(QNDA_LOGFILE)};
  route_message(&target, msgtype, text);
}

void emit_messagef(qnda_problem_s *prob, int msgtype, const char *fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  const std::string text = vformat(fmt, ap);
  va_end(ap);
  emit_message(prob, msgtype, text.c_str());
}

bool message_muted(const qnda_problem_s &prob, int code) {
  return std::binary_search(prob.muted_codes.begin(), prob.muted_codes.end(), code);
}

void emit_coded(qnda_problem_s *prob, int code, int msgtype, const char *text) {
  if (prob && message_muted(*prob, code)) return;
  emit_message(prob, msgtype, text);
}

void emit_codedf(qnda_problem_s *prob, int code, int msgtype, const char *fmt, ...) {
  if (prob && message_muted(*prob, code)) return;
  va_list ap;
  va_start(ap, fmt);
  const std::string text = vformat(fmt, ap);
  va_end(ap);
  emit_message(prob, msgtype, text.c_str());
}

void flush_messages(qnda_problem_s *prob) { route_flush(prob, prob ? &prob->handlers : nullptr); }

}  // namespace qnda
