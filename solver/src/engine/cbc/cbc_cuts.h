// The cuts and bounds that callbacks give to Cbc's nodes (callbacks/cutpool.h
// on the Cbc side), and the set-up that lets cuts reject integral nodes.
#pragma once

#include "callbacks/cutpool.h"

class CbcModel;
class OsiBabSolver;
class OsiCuts;
class OsiSolverInterface;

namespace qnda {

// A node event of Cbc: its node matrix is the LP solver's, whose rows past
// base_rows are the cuts in force at the node.
class CbcNodeCuts final : public NodeCutEvent {
 public:
  CbcNodeCuts(const OsiSolverInterface &si, int base_rows) : si_(&si), base_rows_(base_rows) {}
  int row_of(const PoolCut &c) const override;
  // The queued cuts and bounds as cuts of the node, leaving out what the
  // node has already; the number of cuts given.
  int hand_over(OsiCuts &cs) const;
  // Outside a node (a heuristic's candidate): the cuts join the search's
  // global cuts; bounds cannot be placed and are dropped with a false return.
  bool hand_over_global(CbcModel &m) const;
  bool empty() const { return cuts.empty() && bounds.empty(); }

 private:
  const OsiSolverInterface *si_;
  int base_rows_;
};

// Makes Cbc offer integral relaxations to the cut generator at index gen
// (which then may cut them off) rather than take them as solutions at once.
// Cbc keeps a pointer to lazy, which must outlive the search.
void cbc_expect_lazy_cuts(CbcModel &m, int gen, OsiBabSolver &lazy);

}  // namespace qnda
