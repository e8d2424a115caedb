#include "core/error.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace qnda {

void fail(int code, const char *fmt, ...) {
  char buf[QNDA_MAXMESSAGELENGTH];
  va_list ap;
  va_start(ap, fmt);
  std::vsnprintf(buf, sizeof buf, fmt, ap);
  va_end(ap);
  throw Error(code, buf);
}

void ErrorRecord::set(int code, const std::string &msg) {
  std::lock_guard<std::mutex> lk(mu_);
  code_ = code;
  msg_ = msg.size() < QNDA_MAXMESSAGELENGTH ? msg : msg.substr(0, QNDA_MAXMESSAGELENGTH - 1);
}

void ErrorRecord::clear() {
  std::lock_guard<std::mutex> lk(mu_);
  code_ = 0;
  msg_.clear();
}

int ErrorRecord::code() const {
  std::lock_guard<std::mutex> lk(mu_);
  return code_;
}

std::string ErrorRecord::message() const {
  std::lock_guard<std::mutex> lk(mu_);
  return msg_;
}

ErrorRecord &global_error() {
  static ErrorRecord rec;
  return rec;
}

void copy_out(const std::string &s, char *buf, int maxbytes, int *nbytes) {
  if (nbytes) *nbytes = static_cast<int>(s.size()) + 1;
  if (!buf || maxbytes <= 0) return;
  size_t n =
      s.size() < static_cast<size_t>(maxbytes) ? s.size() : static_cast<size_t>(maxbytes) - 1;
  std::memcpy(buf, s.data(), n);
  buf[n] = '\0';
}

}  // namespace qnda
