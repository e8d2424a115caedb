#include "callbacks/cblists.h"

#include <algorithm>

namespace qnda {

const char *cb_kind_name(CbKind k) {
  static const char *const names[CB_NKINDS] = {
      "bariteration", "barlog",  "chgbranchobject", "cutlog",  "destroymt",    "gapnotify",
      "globallog",    "infnode", "intsol",          "lplog",   "mipthread",    "newnode",
      "nodecutoff",   "optnode", "preintsol",       "prenode", "usersolnotify"};
  return k >= 0 && k < CB_NKINDS ? names[k] : "?";
}

void CallbackLists::add(CbKind k, void (*fn)(), void *data, int priority) {
  std::lock_guard<std::mutex> lk(mu_);
  auto &l = lists_[k];
  auto pos =
      std::find_if(l.begin(), l.end(), [&](const CbEntry &e) { return e.priority < priority; });
  l.insert(pos, CbEntry{fn, data, priority, std::make_shared<std::atomic<bool>>(true)});
  counts_[k].store(static_cast<int>(l.size()));
}

void CallbackLists::remove(CbKind k, void (*fn)(), void *data) {
  std::lock_guard<std::mutex> lk(mu_);
  auto &l = lists_[k];
  std::vector<CbEntry> kept;
  for (CbEntry &e : l) {
    if (!fn || (e.fn == fn && (!data || e.data == data)))
      e.alive->store(false, std::memory_order_release);
    else
      kept.push_back(std::move(e));
  }
  l.swap(kept);
  counts_[k].store(static_cast<int>(l.size()));
}

std::vector<CbEntry> CallbackLists::snapshot(CbKind k) const {
  std::lock_guard<std::mutex> lk(mu_);
  return lists_[k];
}

unsigned CallbackLists::registered() const {
  unsigned bits = 0;
  for (int k = 0; k < CB_NKINDS; ++k)
    if (any(static_cast<CbKind>(k))) bits |= 1u << k;
  return bits;
}

}  // namespace qnda
