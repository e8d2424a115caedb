// The callback lists of a problem: one list per kind of optimiser callback,
// each ordered by priority (higher first, then the order of addition).  The
// lists may change from any thread while an optimisation runs, so they are
// guarded and an event calls a snapshot; a problem with no callback at all
// answers "nothing registered" without taking the lock.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

namespace qnda {

// The kinds in the order of their names (the message kind is served by the
// message handlers of core/messages.h).
enum CbKind {
  CB_BARITERATION,
  CB_BARLOG,
  CB_CHGBRANCHOBJECT,
  CB_CUTLOG,
  CB_DESTROYMT,
  CB_GAPNOTIFY,
  CB_GLOBALLOG,
  CB_INFNODE,
  CB_INTSOL,
  CB_LPLOG,
  CB_MIPTHREAD,
  CB_NEWNODE,
  CB_NODECUTOFF,
  CB_OPTNODE,
  CB_PREINTSOL,
  CB_PRENODE,
  CB_USERSOLNOTIFY,
  CB_NKINDS
};

const char *cb_kind_name(CbKind k);

struct CbEntry {
  void (*fn)();  // the callback, cast back to its kind's type when called
  void *data;
  int priority;
  // Cleared on removal, so that an event whose snapshot still holds the
  // entry does not call it once its owner may have freed data.
  std::shared_ptr<std::atomic<bool>> alive;
  bool live() const { return alive->load(std::memory_order_acquire); }
};

class CallbackLists {
 public:
  CallbackLists() = default;
  CallbackLists(const CallbackLists &) = delete;
  CallbackLists &operator=(const CallbackLists &) = delete;

  void add(CbKind k, void (*fn)(), void *data, int priority);
  // fn NULL removes every entry of the kind; data NULL every entry of fn.
  void remove(CbKind k, void (*fn)(), void *data);
  bool any(CbKind k) const { return counts_[k].load(std::memory_order_relaxed) > 0; }
  std::vector<CbEntry> snapshot(CbKind k) const;
  // Every kind registered, as a bit set (1 << kind).
  unsigned registered() const;

 private:
  mutable std::mutex mu_;
  std::vector<CbEntry> lists_[CB_NKINDS];
  std::atomic<int> counts_[CB_NKINDS] = {};
};

}  // namespace qnda
