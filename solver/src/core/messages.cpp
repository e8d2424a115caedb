#include "core/messages.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>

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

void write_logfile(const void *prob, const std::string &path, const char *text) {
  LogFiles &lf = logfiles();
  std::lock_guard<std::mutex> lk(lf.mu);
  auto it =
      std::find_if(lf.open.begin(), lf.open.end(), [&](const auto &e) { return e.first == prob; });
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

void close_logfile(const void *prob) {
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

void route_message(const MsgTarget *target, int msgtype, const char *text) {
  if (!g_enabled.load() || !text) return;
  int len = static_cast<int>(std::strlen(text));
  QNDAprob prob = target ? target->handle : nullptr;
  if (target) {
    for (const MsgHandler &h : target->handlers->snapshot()) h.fn(prob, h.data, text, len, msgtype);
  }
  for (const MsgHandler &h : env_handlers().snapshot()) h.fn(prob, h.data, text, len, msgtype);
  if (target) {
    if (target->echo) {
      std::lock_guard<std::mutex> lk(g_stdout_mu);
      std::fputs(text, stdout);
      std::fputc('\n', stdout);
    }
    write_logfile(prob, *target->logfile, text);
  }
}

void route_flush(QNDAprob prob, const HandlerList *handlers) {
  if (!g_enabled.load()) return;
  if (handlers) {
    for (const MsgHandler &h : handlers->snapshot()) h.fn(prob, h.data, nullptr, 0, -1);
  }
  for (const MsgHandler &h : env_handlers().snapshot()) h.fn(prob, h.data, nullptr, 0, -1);
  std::lock_guard<std::mutex> lk(g_stdout_mu);
  std::fflush(stdout);
}

}  // namespace qnda
