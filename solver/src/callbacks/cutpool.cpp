#include "callbacks/cutpool.h"

#include <algorithm>
#include <cmath>

namespace qnda {

namespace {

thread_local const void *t_prob = nullptr;
thread_local NodeCutEvent *t_event = nullptr;

}  // namespace

double PoolCut::slack(const double *x) const {
  double ax = 0.0;
  for (size_t k = 0; k < col.size(); ++k) ax += val[k] * x[col[k]];
  return rhs - ax;
}

double PoolCut::violation(const double *x) const {
  const double s = slack(x);
  switch (rowtype) {
    case 'L':
      return std::max(0.0, -s);
    case 'G':
      return std::max(0.0, s);
    default:
      return std::fabs(s);
  }
}

bool PoolCut::same_row(const PoolCut &o) const {
  return rowtype == o.rowtype && rhs == o.rhs && col == o.col && val == o.val;
}

bool cut_selected(int cut_type, int type, int interp) {
  switch (interp) {
    case -1:
      return true;
    case 1:
      return cut_type == type;
    case 2:
      return (cut_type & type) != 0;
    case 3:
      return (cut_type & type) == type;
    default:
      return false;
  }
}

std::uint64_t CutPool::store(PoolCut c, int nodupl) {
  std::lock_guard<std::mutex> lk(mu_);
  if (nodupl)
    for (const auto &kv : cuts_)
      if ((nodupl == 2 || kv.second.type == c.type) && kv.second.same_row(c)) return kv.first;
  const std::uint64_t id = next_++;
  cuts_.emplace(id, std::move(c));
  return id;
}

bool CutPool::get(std::uint64_t id, PoolCut &out) const {
  std::lock_guard<std::mutex> lk(mu_);
  auto it = cuts_.find(id);
  if (it == cuts_.end()) return false;
  out = it->second;
  return true;
}

bool CutPool::has(std::uint64_t id) const {
  std::lock_guard<std::mutex> lk(mu_);
  return cuts_.count(id) != 0;
}

std::vector<std::uint64_t> CutPool::select(int type, int interp) const {
  std::lock_guard<std::mutex> lk(mu_);
  std::vector<std::uint64_t> ids;
  for (const auto &kv : cuts_)
    if (cut_selected(kv.second.type, type, interp)) ids.push_back(kv.first);
  return ids;
}

void CutPool::erase(std::uint64_t id) {
  std::lock_guard<std::mutex> lk(mu_);
  cuts_.erase(id);
}

std::uint64_t CutPool::store_bounds(std::vector<PoolBound> b) {
  std::lock_guard<std::mutex> lk(mu_);
  const std::uint64_t id = next_++;
  bounds_.emplace(id, std::move(b));
  return id;
}

bool CutPool::get_bounds(std::uint64_t id, std::vector<PoolBound> &out) const {
  std::lock_guard<std::mutex> lk(mu_);
  auto it = bounds_.find(id);
  if (it == bounds_.end()) return false;
  out = it->second;
  return true;
}

NodeCutEvent *node_cut_event(const void *prob) { return t_prob == prob ? t_event : nullptr; }

NodeCutScope::NodeCutScope(const void *prob, NodeCutEvent &ev)
    : saved_prob_(t_prob), saved_ev_(t_event) {
  t_prob = prob;
  t_event = &ev;
}

NodeCutScope::~NodeCutScope() {
  t_prob = saved_prob_;
  t_event = saved_ev_;
}

}  // namespace qnda
