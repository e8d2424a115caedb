// The branch-and-bound tree of a Cbc search as the node callbacks see it
// (prenode, newnode, infnode, nodecutoff).  Cbc keeps a node on its tree
// after solving its LP and evaluates one branch of it at a time; the
// callbacks want the children themselves, so the tracker numbers them: the
// root is node 1, and when a solved node is stored with its branching, its
// children get the next numbers (newnode), in the order Cbc explores them.
#pragma once

#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

#include "CbcFeasibilityBase.hpp"
#include "CbcModel.hpp"
#include "CbcNode.hpp"
#include "CbcTree.hpp"
#include "callbacks/dispatch.h"
#include "engine/cbc/cbc_branch.h"

namespace qnda {

class NodeTracker {
 public:
  // info gives what the dispatcher needs at an event (counts, bounds).
  NodeTracker(CallbackDispatch *ev, std::function<EventInfo()> info)
      : ev_(ev), info_(std::move(info)) {}
  // Whether the callbacks need the tracker at all.
  static bool wanted(const CallbackDispatch *ev);

  // The root, before its LP: false when a prenode callback declares it
  // infeasible (the search need not start).
  bool root();
  // Whether the node is stored for the first time (its LP just solved).
  bool is_new(const CbcNode *n) const { return n->nodeInfo() && !recs_.count(n->nodeInfo()); }
  // A node stored on the tree: the first time, its children are created.
  void pushed(const CbcNode *n);
  // A node taken from the tree to evaluate its next branch.
  void selected(const CbcNode *n, double cutoff);
  // The LP of the branch being evaluated is solved (or found infeasible).
  void evaluated(const CbcModel &m);
  // A node dropped from the tree by bound, with the first of its branches
  // not yet evaluated (info only identifies it: the node may be freed).
  void dropped(const CbcNodeInfo *info, int next_branch);
  // The search is over: settles the last branch.
  void finish(const CbcModel &m);
  // Set when a prenode callback declared the branch under way infeasible;
  // reading clears it.
  bool take_infeasible() {
    const bool v = force_infeasible_;
    force_infeasible_ = false;
    forced_ = forced_ || v;
    return v;
  }
  bool stopped() const { return stopped_; }
  // The event data of a node, and the branch under evaluation.
  EventInfo event(int node, int depth) const;
  int current() const { return current_; }
  int current_depth() const { return current_depth_; }
  void set_stopped() { stopped_ = true; }

 private:
  enum class Outcome { None, Open, Feasible, Infeasible, Cutoff };
  struct Rec {
    int id = 0, depth = 0;
    std::vector<int> children;
  };
  void settle();
  void cut_children(const CbcNodeInfo *info, size_t from);

  CallbackDispatch *ev_;
  std::function<EventInfo()> info_;
  std::unordered_map<const CbcNodeInfo *, Rec> recs_;
  int next_id_ = 1;
  // The branch under evaluation: its node, depth, and what became of it.
  int current_ = 0, current_depth_ = 0;
  Outcome outcome_ = Outcome::None;
  bool pushed_current_ = false;
  bool force_infeasible_ = false;
  bool forced_ = false;  // the branch under way was declared infeasible
  bool stopped_ = false;
};

class NodeHooks;

// Cbc's tree with the tracker told of every node stored, taken and dropped.
class TrackedTree final : public CbcTree {
 public:
  explicit TrackedTree(NodeHooks *h) : hooks_(h) {}
  CbcTree *clone() const override { return new TrackedTree(*this); }
  void push(CbcNode *x) override;
  CbcNode *bestNode(double cutoff) override;
  void cleanTree(CbcModel *model, double cutoff, double &bestPossibleObjective) override;

 private:
  NodeHooks *hooks_;
};

// Makes the branch under way infeasible when a prenode callback said so:
// Cbc asks it about each node right after the node's first LP.
class PrenodeGate final : public CbcFeasibilityBase {
 public:
  explicit PrenodeGate(NodeTracker *t) : tracker_(t) {}
  CbcFeasibilityBase *clone() const override { return new PrenodeGate(*this); }
  int feasible(CbcModel *, int mode) override {
    return mode == 0 && tracker_->take_infeasible() ? -1 : 0;
  }

 private:
  NodeTracker *tracker_;
};

// What the node callbacks add to one Cbc search: the tracker behind Cbc's
// tree, the gate of prenode, the user's branchings.  install gives NULL
// when no such callback is registered, so a search without them runs as
// before.  ncols: the problem's columns (the engine's first ones).
class NodeHooks {
 public:
  static std::unique_ptr<NodeHooks> install(CbcModel &m, CallbackDispatch *ev, int ncols,
                                            std::function<EventInfo()> info);
  NodeTracker tracker;
  // Cbc's events: a node stored, a branch's LP solved, a cut round.
  void pushed(CbcNode *n);
  void evaluated(const CbcModel &m) {
    tracker.evaluated(m);
    rows_.clear();
  }
  void cut_round(CbcModel &m);
  // An object an optnode callback stored for the node being solved: it
  // branches that node, should Cbc store it for branching.
  void store(std::unique_ptr<qnda_branchobj_s> bo) {
    stored_ = std::move(bo);
    stored_node_ = tracker.current();
  }

 private:
  NodeHooks(CbcModel &m, CallbackDispatch *ev, int ncols, std::function<EventInfo()> info)
      : tracker(ev, std::move(info)), gate(&tracker), model_(&m), ev_(ev), ncols_(ncols) {}
  PrenodeGate gate;
  CbcModel *model_;
  CallbackDispatch *ev_;
  int ncols_;
  PendingRows rows_;
  std::unique_ptr<qnda_branchobj_s> stored_;
  int stored_node_ = 0;
};

}  // namespace qnda
