#include "engine/cbc/cbc_branch.h"

#include <algorithm>
#include <cmath>

#include "CbcCountRowCut.hpp"
#include "CbcNode.hpp"
#include "CbcNodeInfo.hpp"
#include "CbcSimpleInteger.hpp"
#include "OsiSolverInterface.hpp"

namespace qnda {

UserBranching::UserBranching(CbcModel *m, std::shared_ptr<const std::vector<Branch>> branches,
                             PendingRows *rows)
    : CbcBranchingObject(m, -1, -1, 0.5), branches_(std::move(branches)), rows_(rows) {
  numberBranches_ = static_cast<int>(branches_->size());
}

double UserBranching::branch() {
  const int k = branchIndex();
  decrementNumberBranchesLeft();
  if (k < 0 || k >= static_cast<int>(branches_->size())) return 0.0;
  const Branch &b = (*branches_)[k];
  // Branches only narrow the node: a bound looser than the node's is kept.
  OsiSolverInterface *si = model_->solver();
  for (size_t i = 0; i < b.bndtype.size(); ++i) {
    const int j = b.bndcol[i];
    const double v = b.bndval[i];
    if (b.bndtype[i] != 'U' && v > si->getColLower()[j]) si->setColLower(j, v);
    if (b.bndtype[i] != 'L' && v < si->getColUpper()[j]) si->setColUpper(j, v);
  }
  rows_->clear();
  for (int r = 0; r < b.nrows(); ++r) {
    OsiRowCut cut;
    const int s = b.start[r], n = b.start[r + 1] - s;
    cut.setRow(n, b.col.data() + s, b.coef.data() + s);
    const double inf = si->getInfinity();
    cut.setLb(b.rowtype[r] == 'L' ? -inf : b.rhs[r]);
    cut.setUb(b.rowtype[r] == 'G' ? inf : b.rhs[r]);
    rows_->push_back(cut);
  }
  return 0.0;
}

namespace {

// Cbc's split of one integer column, in the order Cbc explores it; NULL for
// any other branching.
QNDAbranchobject proposal(const CbcNode *n, QNDAprob prob, int ncols) {
  const auto *ib = dynamic_cast<const CbcIntegerBranchingObject *>(n->branchingObject());
  if (!ib || ib->variable() < 0 || ib->variable() >= ncols) return nullptr;
  auto *bo = new qnda_branchobj_s();
  bo->prob = prob;
  bo->branches.resize(2);
  const int col = ib->variable();
  Branch &down = bo->branches[ib->way() < 0 ? 0 : 1];
  Branch &up = bo->branches[ib->way() < 0 ? 1 : 0];
  down.bndtype.push_back('U');
  down.bndcol.push_back(col);
  down.bndval.push_back(ib->downBounds()[1]);
  up.bndtype.push_back('L');
  up.bndcol.push_back(col);
  up.bndval.push_back(ib->upBounds()[0]);
  return bo;
}

bool fits(const qnda_branchobj_s &bo, int ncols) {
  if (bo.branches.empty()) return false;
  for (const Branch &b : bo.branches) {
    for (int j : b.bndcol)
      if (j < 0 || j >= ncols) return false;
    for (int j : b.col)
      if (j < 0 || j >= ncols) return false;
  }
  return true;
}

}  // namespace

void offer_branching(CbcModel &m, CbcNode *n, CallbackDispatch *ev, const EventInfo &e, int ncols,
                     PendingRows *rows, std::unique_ptr<qnda_branchobj_s> stored) {
  if (!n->branchingObject()) return;
  const bool was_stored = stored != nullptr;
  std::unique_ptr<qnda_branchobj_s> proposed =
      was_stored ? std::move(stored)
                 : std::unique_ptr<qnda_branchobj_s>(proposal(n, ev->problem(), ncols));
  QNDAbranchobject chosen_raw = nullptr;
  ev->chgbranchobject(e, proposed.get(), &chosen_raw);
  std::unique_ptr<qnda_branchobj_s> chosen(chosen_raw);
  if (!chosen && was_stored) chosen = std::move(proposed);
  if (!chosen || !fits(*chosen, ncols)) return;
  auto branches = std::make_shared<std::vector<Branch>>();
  for (int i : chosen->order()) branches->push_back(chosen->branches[i]);
  const int before = n->branchingObject()->numberBranches();
  const int after = static_cast<int>(branches->size());
  delete n->modifiableBranchingObject();
  n->setBranchingObject(new UserBranching(&m, branches, rows));
  n->nodeInfo()->initializeInfo(after);
  // The cuts of the node were counted once per branch of Cbc's choice.
  if (after != before)
    for (int i = 0; i < m.currentNumberCuts(); ++i)
      if (CbcCountRowCut *c = m.addedCuts()[i]) c->increment(after - before);
}

}  // namespace qnda
