// Branching on a user's object in a Cbc search: the chgbranchobject
// callbacks see Cbc's choice for each new node and may hand back their own
// branches, which the node then takes one by one.
#pragma once

#include <memory>
#include <vector>

#include "CbcBranchingObject.hpp"
#include "CbcModel.hpp"
#include "OsiRowCut.hpp"
#include "callbacks/branchobj.h"
#include "callbacks/dispatch.h"

namespace qnda {

// The rows of the branch just taken: Cbc adds them as cuts of the child on
// its first cut round (and passes them on to the child's own children).
using PendingRows = std::vector<OsiRowCut>;

// Branch k imposes the bounds and rows of branches[k] (in exploration order).
class UserBranching final : public CbcBranchingObject {
 public:
  UserBranching(CbcModel *m, std::shared_ptr<const std::vector<Branch>> branches,
                PendingRows *rows);
  CbcBranchingObject *clone() const override { return new UserBranching(*this); }
  double branch() override;
  CbcBranchObjType type() const override { return static_cast<CbcBranchObjType>(450); }
  CbcRangeCompare compareBranchingObject(const CbcBranchingObject *, const bool) override {
    return CbcRangeDisjoint;
  }

 private:
  std::shared_ptr<const std::vector<Branch>> branches_;
  PendingRows *rows_;
};

// Offers the branching of node n (just solved, about to be stored) to the
// chgbranchobject callbacks: the object stored for it by an optnode
// callback, else Cbc's choice.  n branches on what they hand back, else on
// the stored object, when it fits the problem's ncols columns.
void offer_branching(CbcModel &m, CbcNode *n, CallbackDispatch *ev, const EventInfo &e, int ncols,
                     PendingRows *rows, std::unique_ptr<qnda_branchobj_s> stored);

}  // namespace qnda
