#include "engine/cbc/cbc_nodes.h"

#include <cmath>
#include <unordered_set>

#include "CbcModel.hpp"
#include "CbcNode.hpp"
#include "CbcNodeInfo.hpp"
#include "OsiClpSolverInterface.hpp"
#include "OsiCuts.hpp"
#include "OsiSolverInterface.hpp"

namespace qnda {

bool NodeTracker::wanted(const CallbackDispatch *ev) {
  return ev && (ev->wants(CB_PRENODE) || ev->wants(CB_NEWNODE) || ev->wants(CB_INFNODE) ||
                ev->wants(CB_NODECUTOFF) || ev->wants(CB_CHGBRANCHOBJECT));
}

EventInfo NodeTracker::event(int node, int depth) const {
  EventInfo e = info_();
  e.node = node;
  e.depth = depth;
  return e;
}

bool NodeTracker::root() {
  current_ = next_id_++;
  current_depth_ = 1;
  outcome_ = Outcome::Open;
  int infeasible = 0;
  ev_->prenode(event(current_, current_depth_), &infeasible);
  if (infeasible) {
    outcome_ = Outcome::Infeasible;
    settle();
  }
  return infeasible == 0;
}

void NodeTracker::pushed(const CbcNode *n) {
  const CbcNodeInfo *info = n->nodeInfo();
  if (!info || recs_.count(info) || stopped_) return;  // stored again after a branch
  Rec &r = recs_[info];
  r.id = current_;
  r.depth = current_depth_;
  pushed_current_ = true;
  const int nb = n->branchingObject() ? n->branchingObject()->numberBranches() : 0;
  for (int k = 0; k < nb; ++k) r.children.push_back(next_id_++);
  for (int k = 0; k < nb && !stopped_; ++k)
    ev_->newnode(event(r.children[k], r.depth + 1), r.id, r.children[k], k);
}

void NodeTracker::settle() {
  const Outcome o = outcome_;
  outcome_ = Outcome::None;
  if (stopped_ || current_ == 0) return;
  if (o == Outcome::Open || o == Outcome::Cutoff)
    ev_->nodecutoff(event(current_, current_depth_), current_);
  else if (o == Outcome::Infeasible)
    ev_->infnode(event(current_, current_depth_));
}

void NodeTracker::cut_children(const CbcNodeInfo *info, size_t from) {
  auto it = recs_.find(info);
  if (it == recs_.end()) return;
  const Rec r = it->second;
  recs_.erase(it);
  for (size_t k = from; k < r.children.size() && !stopped_; ++k)
    ev_->nodecutoff(event(r.children[k], r.depth + 1), r.children[k]);
}

void NodeTracker::selected(const CbcNode *n, double cutoff) {
  settle();
  force_infeasible_ = forced_ = false;
  const CbcNodeInfo *info = n->nodeInfo();
  auto it = recs_.find(info);
  if (it == recs_.end() || stopped_) return;
  const OsiBranchingObject *b = n->branchingObject();
  const size_t k = b ? static_cast<size_t>(b->branchIndex()) : 0;
  if (n->objectiveValue() > cutoff || k >= it->second.children.size()) {
    // Taken only to be thrown away: every branch left is cut off.
    cut_children(info, k);
    return;
  }
  current_ = it->second.children[k];
  current_depth_ = it->second.depth + 1;
  outcome_ = Outcome::Open;  // stays so if Cbc drops the node before solving it
  pushed_current_ = false;
  if (k + 1 == it->second.children.size()) recs_.erase(it);  // its last branch
  int infeasible = 0;
  ev_->prenode(event(current_, current_depth_), &infeasible);
  force_infeasible_ = infeasible != 0;
}

void NodeTracker::evaluated(const CbcModel &m) {
  force_infeasible_ = false;
  if (outcome_ != Outcome::Open) return;
  const OsiSolverInterface *si = m.solver();
  const double cutoff = m.getCutoff();
  // Clp reports an LP whose dual simplex stopped at the cutoff as primal
  // infeasible too; its secondary status tells the two apart.
  const auto *clp = dynamic_cast<const OsiClpSolverInterface *>(si);
  const bool at_limit = clp ? clp->getModelPtr()->secondaryStatus() == 1
                            : si->isDualObjectiveLimitReached() && !si->isProvenPrimalInfeasible();
  if (forced_)
    outcome_ = Outcome::Infeasible;
  else if (si->isProvenOptimal())
    outcome_ = si->getObjValue() * si->getObjSense() < cutoff ? Outcome::Feasible : Outcome::Cutoff;
  else if (at_limit)
    outcome_ = Outcome::Cutoff;
  else
    outcome_ = Outcome::Infeasible;
}

void NodeTracker::dropped(const CbcNodeInfo *info, int next_branch) {
  if (info) cut_children(info, static_cast<size_t>(next_branch));
}

void NodeTracker::finish(const CbcModel &m) {
  // A root that never branched: infeasible, or solved at once.
  if (current_ == 1 && outcome_ == Outcome::Open && !pushed_current_)
    outcome_ = !m.bestSolution() && m.isProvenInfeasible() ? Outcome::Infeasible : Outcome::None;
  if (outcome_ == Outcome::Feasible) outcome_ = Outcome::None;
  settle();
}

void NodeHooks::pushed(CbcNode *n) {
  const bool fresh = tracker.is_new(n) && !tracker.stopped();
  // Only the node it was stored at takes a stored object; a node that never
  // branched leaves it to be replaced.
  std::unique_ptr<qnda_branchobj_s> stored;
  if (fresh && stored_ && stored_node_ == tracker.current()) stored = std::move(stored_);
  if (fresh && (stored || ev_->wants(CB_CHGBRANCHOBJECT))) {
    // The view shows the node's relaxation, still in the solver.
    EventInfo e = tracker.event(tracker.current(), tracker.current_depth());
    const OsiSolverInterface *si = model_->solver();
    if (si->getNumCols() >= ncols_) e.x = si->getColSolution();
    offer_branching(*model_, n, ev_, e, ncols_, &rows_, std::move(stored));
  }
  tracker.pushed(n);
}

void NodeHooks::cut_round(CbcModel &m) {
  if (rows_.empty()) return;
  auto *cuts = static_cast<OsiCuts *>(m.getApplicationData());
  if (cuts)
    for (const OsiRowCut &r : rows_) cuts->insert(r);
  rows_.clear();
}

void TrackedTree::push(CbcNode *x) {
  if (x) hooks_->pushed(x);  // before Cbc files it: a new branching changes its place
  CbcTree::push(x);
}

CbcNode *TrackedTree::bestNode(double cutoff) {
  CbcNode *n = CbcTree::bestNode(cutoff);
  if (n) hooks_->tracker.selected(n, cutoff);
  return n;
}

void TrackedTree::cleanTree(CbcModel *model, double cutoff, double &bestPossibleObjective) {
  // Cbc empties the tree with an infinite cutoff when the search stops:
  // those nodes are abandoned, not cut off.
  if (cutoff < -1e50) hooks_->tracker.set_stopped();
  // What identifies each node is read before: the nodes that go are freed.
  struct Seen {
    const CbcNode *node;
    const CbcNodeInfo *info;
    int next_branch;
  };
  std::vector<Seen> before;
  for (int i = 0; i < size(); ++i) {
    const CbcNode *n = nodePointer(i);
    if (!n) continue;
    const OsiBranchingObject *b = n->branchingObject();
    before.push_back({n, n->nodeInfo(), b ? b->branchIndex() : 0});
  }
  CbcTree::cleanTree(model, cutoff, bestPossibleObjective);
  std::unordered_set<const CbcNode *> kept;
  for (int i = 0; i < size(); ++i) kept.insert(nodePointer(i));
  for (const Seen &s : before)
    if (!kept.count(s.node)) hooks_->tracker.dropped(s.info, s.next_branch);
}

std::unique_ptr<NodeHooks> NodeHooks::install(CbcModel &m, CallbackDispatch *ev, int ncols,
                                              std::function<EventInfo()> info) {
  // optnode callbacks may store a branching object for their node.
  if (!NodeTracker::wanted(ev) && !(ev && ev->wants(CB_OPTNODE))) return nullptr;
  std::unique_ptr<NodeHooks> h(new NodeHooks(m, ev, ncols, std::move(info)));
  TrackedTree tree(h.get());
  m.passInTreeHandler(tree);                                    // Cbc keeps a clone
  if (ev->wants(CB_PRENODE)) m.setProblemFeasibility(h->gate);  // Cbc keeps a clone
  return h;
}

}  // namespace qnda
