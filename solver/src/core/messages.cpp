#include "core/messages.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#include "core/problem.h"

namespace qnda {

void HandlerList::add(QNDAmsghandler fn, void *data, int priority) {
  std::lock_guard<std::mutex> lk(mu_);
  auto pos = std::find_if(list_.begin(), list_.end(),
                          [&](const MsgHandler &h) { return h.priority < priority; });
  list_.insert(pos, MsgHandler{fn, data, priority});
}

void HandlerList::remove(QNDAmsghandler fn, void *data) {
  std::lock_guard<std::mutex> lk(mu_);
  list_.erase(std::remove_if(list_.begin(), list_.end(),
                             [&](const MsgHandler &h) {
                               return !fn || (h.fn == fn && (!data || h.data == data));
                             }),
              list_.end());
}

std::vector<MsgHandler> HandlerList::snapshot() const {
  std::lock_guard<std::mutex> lk(mu_);
  return list_;
}

bool HandlerList::empty() const {
  std::lock_guard<std::mutex> lk(mu_);
  return list_.empty();
}

HandlerList &env_handlers() {
  static HandlerList list;
  return list;
}

namespace {

std::atomic<bool> g_enabled{true};
std::mutex g_stdout_mu;

// Log files of problems (QNDA_LOGFILE), opened on first use.
struct LogFiles {
  std::mutex mu;
  struct Entry {
    std::string path;
    std::FILE *fp;
  };
  std::vector<std::pair<const void *, Entry>> open;
};
LogFiles &logfiles() {
  static LogFiles lf;
  return lf;
}

void write_logfile(qnda_problem_s *prob, const char *text) {
  const std::string &path = prob->controls.get_str(QNDA_LOGFILE);
  LogFiles &lf = logfiles();
  std::lock_guard<std::mutex> lk(lf.mu);
  auto it = std::find_if(lf.open.begin(), lf.open.end(),
                         [&](const auto &e) { return e.first == prob; });
  if (path.empty()) {
    if (it != lf.open.end()) {
      std::fclose(it->second.fp);
      lf.open.erase(it);
    }
    return;
  }
  if (it != lf.open.end() && it->second.path != path) {
    std::fclose(it->second.fp);
    lf.open.erase(it);
    it = lf.open.end();
  }
  if (it == lf.open.end()) {
    std::FILE *fp = std::fopen(path.c_str(), "a");
    if (!fp) return;
    lf.open.push_back({prob, {path, fp}});
    it = lf.open.end() - 1;
  }
  std::fputs(text, it->second.fp);
  std::fputc('\n', it->second.fp);
}

}  // namespace

void close_logfile(const qnda_problem_s *prob) {
  LogFiles &lf = logfiles();
  std::lock_guard<std::mutex> lk(lf.mu);
  for (auto it = lf.open.begin(); it != lf.open.end(); ++it) {
    if (it->first == prob) {
      std::fclose(it->second.fp);
      lf.open.erase(it);
      return;
    }
  }
}

void set_messages_enabled(bool on) { g_enabled.store(on); }
bool messages_enabled() { return g_enabled.load(); }

void emit_message(qnda_problem_s *prob, int msgtype, const char *text) {
  if (!g_enabled.load() || !text) return;
  int len = static_cast<int>(std::strlen(text));
  if (prob) {
    for (const MsgHandler &h : prob->handlers.snapshot()) h.fn(prob, h.data, text, len, msgtype);
  }
  for (const MsgHandler &h : env_handlers().snapshot()) h.fn(prob, h.data, text, len, msgtype);
  if (prob) {
    if (prob->controls.get_int(QNDA_OUTPUTLOG)) {
      std::lock_guard<std::mutex> lk(g_stdout_mu);
      std::fputs(text, stdout);
      std::fputc('\n', stdout);
    }
    write_logfile(prob, text);
  }
}

void emit_messagef(qnda_problem_s *prob, int msgtype, const char *fmt, ...) {
  char buf[1024];
  va_list ap;
  va_start(ap, fmt);
  std::vsnprintf(buf, sizeof buf, fmt, ap);
  va_end(ap);
  emit_message(prob, msgtype, buf);
}

void flush_messages(qnda_problem_s *prob) {
  if (!g_enabled.load()) return;
  if (prob) {
    for (const MsgHandler &h : prob->handlers.snapshot()) h.fn(prob, h.data, nullptr, 0, -1);
  }
  for (const MsgHandler &h : env_handlers().snapshot()) h.fn(prob, h.data, nullptr, 0, -1);
  std::lock_guard<std::mutex> lk(g_stdout_mu);
  std::fflush(stdout);
}

}  // namespace qnda
