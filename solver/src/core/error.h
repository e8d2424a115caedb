// Errors inside the library are C++ exceptions of one type; the C boundary
// (api/guard.h) turns them into a return code and a last-error record.
#pragma once

#include <mutex>
#include <stdexcept>
#include <string>

#include "qnda.h"

namespace qnda {

struct Error : std::runtime_error {
  int code;
  Error(int c, const std::string &msg) : std::runtime_error(msg), code(c) {}
};

// Throws Error(code, printf-formatted message).
[[noreturn]] void fail(int code, const char *fmt, ...) __attribute__((format(printf, 2, 3)));

// A last-error record.  Written by the thread that failed, read by any.
class ErrorRecord {
 public:
  void set(int code, const std::string &msg);
  void clear();
  int code() const;
  std::string message() const;

 private:
  mutable std::mutex mu_;
  int code_ = 0;
  std::string msg_;
};

ErrorRecord &global_error();

// Copies msg into (buf, maxbytes, nbytes) following the string convention of
// qnda.h.
void copy_out(const std::string &s, char *buf, int maxbytes, int *nbytes);

}  // namespace qnda
