#include "engine/cbc/cbc_cuts.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "CbcModel.hpp"
// after CbcModel.hpp, which declares what it needs
#include "CbcCutGenerator.hpp"
#include "CoinPackedMatrix.hpp"
#include "OsiAuxInfo.hpp"
#include "OsiColCut.hpp"
#include "OsiCuts.hpp"
#include "OsiRowCut.hpp"
#include "OsiSolverInterface.hpp"

namespace qnda {

namespace {

bool near(double a, double b) { return std::fabs(a - b) <= 1e-9 * (1.0 + std::fabs(a)); }

OsiRowCut row_cut(const PoolCut &c, double inf) {
  OsiRowCut rc;
  rc.setRow(static_cast<int>(c.col.size()), c.col.data(), c.val.data());
  rc.setLb(c.rowtype == 'L' ? -inf : c.rhs);
  rc.setUb(c.rowtype == 'G' ? inf : c.rhs);
  return rc;
}

}  // namespace

int CbcNodeCuts::row_of(const PoolCut &c) const {
  const int m = si_->getNumRows();
  if (m <= base_rows_) return -1;
  std::vector<std::pair<int, double>> want;
  for (size_t k = 0; k < c.col.size(); ++k)
    if (c.val[k] != 0.0) want.emplace_back(c.col[k], c.val[k]);
  std::sort(want.begin(), want.end());
  const double inf = si_->getInfinity();
  const double lo = c.rowtype == 'L' ? -inf : c.rhs, up = c.rowtype == 'G' ? inf : c.rhs;
  const CoinPackedMatrix *rows = si_->getMatrixByRow();
  const double *rlo = si_->getRowLower(), *rup = si_->getRowUpper();
  std::vector<std::pair<int, double>> have;
  for (int i = base_rows_; i < m; ++i) {
    if (!(rlo[i] == lo || near(rlo[i], lo)) || !(rup[i] == up || near(rup[i], up))) continue;
    const CoinShallowPackedVector r = rows->getVector(i);
    if (r.getNumElements() != static_cast<int>(want.size())) continue;
    have.clear();
    for (int k = 0; k < r.getNumElements(); ++k)
      have.emplace_back(r.getIndices()[k], r.getElements()[k]);
    std::sort(have.begin(), have.end());
    bool same = true;
    for (size_t k = 0; k < have.size() && same; ++k)
      same = have[k].first == want[k].first && near(have[k].second, want[k].second);
    if (same) return i;
  }
  return -1;
}

int CbcNodeCuts::hand_over(OsiCuts &cs) const {
  // Cbc asks again after every round that cut, and drops a cut the node's
  // relaxation satisfies: only cuts that cut it off count as new, or the
  // rounds would never end.
  const double inf = si_->getInfinity();
  const double *x = si_->getColSolution();
  const int before = cs.sizeRowCuts();
  for (const Queued &q : cuts) {
    if (q.cut.violation(x) <= 1e-7 || row_of(q.cut) >= 0) continue;
    OsiRowCut rc = row_cut(q.cut, inf);
    cs.insertIfNotDuplicate(rc);
  }
  const int given = cs.sizeRowCuts() - before;
  const double *lb = si_->getColLower(), *ub = si_->getColUpper();
  std::vector<int> lcol, ucol;
  std::vector<double> lval, uval;
  for (const PoolBound &b : bounds) {
    if (b.type != 'U' && b.value > lb[b.col]) lcol.push_back(b.col), lval.push_back(b.value);
    if (b.type != 'L' && b.value < ub[b.col]) ucol.push_back(b.col), uval.push_back(b.value);
  }
  if (lcol.empty() && ucol.empty()) return given;
  OsiColCut cc;
  cc.setLbs(static_cast<int>(lcol.size()), lcol.data(), lval.data());
  cc.setUbs(static_cast<int>(ucol.size()), ucol.data(), uval.data());
  cs.insert(cc);
  return given + 1;
}

bool CbcNodeCuts::hand_over_global(CbcModel &m) const {
  const double inf = si_->getInfinity();
  for (const Queued &q : cuts) {
    OsiRowCut rc = row_cut(q.cut, inf);
    rc.setGloballyValid(true);
    m.makeGlobalCut(rc);
  }
  return bounds.empty();
}

void cbc_expect_lazy_cuts(CbcModel &m, int gen, OsiBabSolver &lazy) {
  // Cbc calls the generator again after each round in which it cut, and
  // (solver type 4) also on relaxations that look integral; its solver
  // characteristics are copied in.
  m.cutGenerator(gen)->setMustCallAgain(true);
  lazy.setSolverType(4);
  m.solver()->setAuxiliaryInfo(&lazy);
  m.passInSolverCharacteristics(&lazy);
}

}  // namespace qnda
