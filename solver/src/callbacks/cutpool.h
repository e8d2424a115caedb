// The cut pool of a problem and the cut traffic of one node event.
//
// The pool keeps cuts (rows over the user's columns with a user type) and
// bound sets under handles that are plain serial numbers, so a handle of a
// deleted cut is recognised as such rather than followed.  It outlives
// solves; a cut keeps the column indices it was stored with.
//
// A node event (NodeCutEvent) is what an engine adapter opens around the
// callbacks of one node: the calls of api/cuts.cpp queue cuts and bounds on
// it, and ask it where a cut sits in the node's matrix; when the callbacks
// return, the adapter hands the queue to its engine.  Only the thread of the
// event sees it, as with event_state of dispatch.h.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "callbacks/branchobj.h"

namespace qnda {

struct PoolCut {
  int type = 0;
  char rowtype = 'L';  // 'L', 'G' or 'E'
  double rhs = 0.0;
  std::vector<int> col;
  std::vector<double> val;
  // rhs - a'x; x has at least the columns the cut names.
  double slack(const double *x) const;
  // How far x is on the wrong side (0 when it satisfies the cut).
  double violation(const double *x) const;
  bool same_row(const PoolCut &o) const;  // equal rows, types aside
};

struct PoolBound {
  int col;
  char type;  // 'L', 'U' or 'B'
  double value;
};

// Which cuts a (type, interp) selection takes.
bool cut_selected(int cut_type, int type, int interp);

class CutPool {
 public:
  // nodupl: 0 keep all, 1 reuse an equal cut of the same type, 2 of any type.
  std::uint64_t store(PoolCut c, int nodupl);
  bool get(std::uint64_t id, PoolCut &out) const;
  bool has(std::uint64_t id) const;
  std::vector<std::uint64_t> select(int type, int interp) const;
  void erase(std::uint64_t id);
  std::uint64_t store_bounds(std::vector<PoolBound> b);
  bool get_bounds(std::uint64_t id, std::vector<PoolBound> &out) const;

 private:
  mutable std::mutex mu_;  // callbacks may run on the engine's threads
  std::uint64_t next_ = 1;
  std::map<std::uint64_t, PoolCut> cuts_;
  std::map<std::uint64_t, std::vector<PoolBound>> bounds_;
};

// The cuts of one node event.  An adapter derives from it to say where a
// cut sits in its node matrix.
class NodeCutEvent {
 public:
  virtual ~NodeCutEvent() = default;
  // Row of the node's matrix equal to the cut, or -1.
  virtual int row_of(const PoolCut &c) const = 0;

  struct Queued {
    std::uint64_t id;
    PoolCut cut;
  };
  std::vector<Queued> cuts;  // for the node, in the order given
  std::vector<PoolBound> bounds;
  // A branching object stored for the node (QNDA_bo_store); only an event
  // whose adapter can branch on it says it takes one.
  bool takes_branching = false;
  std::unique_ptr<qnda_branchobj_s> branching;
};

// The event open for prob on this thread, or NULL.
NodeCutEvent *node_cut_event(const void *prob);

// Opens an event for prob on this thread for the scope's length.
class NodeCutScope {
 public:
  NodeCutScope(const void *prob, NodeCutEvent &ev);
  ~NodeCutScope();
  NodeCutScope(const NodeCutScope &) = delete;
  NodeCutScope &operator=(const NodeCutScope &) = delete;

 private:
  const void *saved_prob_;
  NodeCutEvent *saved_ev_;
};

}  // namespace qnda
