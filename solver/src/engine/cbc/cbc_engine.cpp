// The Cbc engine: a second MIP engine whose branch-and-bound hands its nodes
// to the caller, so that the node callbacks (optnode, preintsol) can fire.
// The only file of the library that sees Cbc.  Linear objectives with
// integer and continuous columns; the rest stays with HiGHS.
#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "CbcEventHandler.hpp"
#include "CbcModel.hpp"
#include "CglCutGenerator.hpp"
#include "CglGomory.hpp"
#include "CglKnapsackCover.hpp"
#include "CglMixedIntegerRounding2.hpp"
#include "CglProbing.hpp"
#include "CoinMessageHandler.hpp"
#include "OsiAuxInfo.hpp"
#include "OsiClpSolverInterface.hpp"
#include "core/messages.h"
#include "engine/cbc/cbc_cuts.h"
#include "engine/cbc/cbc_engine.h"
#include "engine/cbc/cbc_nodes.h"

namespace qnda {
namespace {

struct RunState {
  const EngineHooks *hooks = nullptr;
  int ncols = 0;
  int nrows = 0;  // of the model: the node LP's later rows are cuts
  int sense = 1;  // of the user's objective; Cbc keeps its cutoff as a minimisation
  long long sols = 0;
  bool interrupted = false;
  // A cutoff set by preintsol, as a minimisation: Cbc lowers its own after
  // each solution and would forget ours.
  double user_cutoff = INFINITY;
  double last_sol = INFINITY;      // objective (as a minimisation) of the last intsol
  const CbcModel *main = nullptr;  // heuristics run sub-searches with our handler
  NodeHooks *nodes = nullptr;      // the tree events, when a node callback wants them
  // The last candidate preintsol accepted, not to be offered again (Cbc
  // shows a node's integral relaxation to its generators and as a solution).
  std::vector<double> accepted;
};

// Whether x is the relaxation preintsol accepted at its node (Cbc rounds
// the integer columns of a solution before it offers it).
bool accepted_before(const RunState &rs, const double *x) {
  if (rs.accepted.empty()) return false;
  for (int j = 0; j < rs.ncols; ++j)
    if (std::fabs(x[j] - rs.accepted[j]) > 1e-6) return false;
  return true;
}

bool integral(const CbcModel &m, const RunState &rs, const double *x) {
  if (!x) return false;
  const double tol = m.getIntegerTolerance();
  for (int j = 0; j < rs.ncols; ++j)
    if (m.solver()->isInteger(j) && std::fabs(x[j] - std::round(x[j])) > tol) return false;
  return true;
}

EventInfo event_info(const CbcModel &m, const RunState &rs) {
  EventInfo e;
  e.nodes = m.getNodeCount();
  e.mip_sols = rs.sols;
  e.simplex_iter = m.getIterationCount();
  e.has_incumbent = m.bestSolution() != nullptr;
  e.primal_bound = e.has_incumbent ? m.getObjValue() : m.getObjSense() * INFINITY;
  e.dual_bound = m.getBestPossibleObjValue();
  if (e.has_incumbent) {
    const double diff = std::fabs(e.primal_bound - e.dual_bound);
    e.gap = diff / std::max(1e-10, std::fabs(e.primal_bound));
  }
  return e;
}

// Offers candidate x to preintsol; false when a callback rejects it.
bool fire_preintsol(CbcModel &m, RunState &rs, const double *x, int soltype) {
  EventInfo e = event_info(m, rs);
  e.x = x;
  int reject = 0;
  // Cbc keeps its cutoff as a minimisation; the callback sees the user's sense.
  const double sense = rs.sense;
  const double internal = m.getCutoff();
  double cutoff = std::fabs(internal) >= 1e20 ? sense * QNDA_INFINITY : sense * internal;
  const double before = cutoff;
  rs.hooks->events->preintsol(e, soltype, &reject, &cutoff);
  if (cutoff != before && std::fabs(cutoff) < 1e20) {
    rs.user_cutoff = std::min(rs.user_cutoff, sense * cutoff);
    m.setCutoff(rs.user_cutoff);
  }
  if (reject == 0) rs.accepted.assign(x, x + rs.ncols);
  return reject == 0;
}

// Solutions, the stop polls and preintsol come through Cbc's event handler.
class Events final : public CbcEventHandler {
 public:
  explicit Events(RunState *rs) : rs_(rs) {}
  CbcEventHandler *clone() const override { return new Events(*this); }

  CbcAction event(CbcEvent which) override {
    const EngineHooks &h = *rs_->hooks;
    CallbackDispatch *ev = h.events;
    switch (which) {
      case beforeSolution2:
        if (ev && ev->wants(CB_PREINTSOL) && !preintsol()) return killSolution;
        break;
      case solution:
      case heuristicSolution:
        // Cbc may report one solution under both events: only improvements count.
        if (!model_->bestSolution() || !(model_->getObjValue() * rs_->sense < rs_->last_sol)) break;
        rs_->last_sol = model_->getObjValue() * rs_->sense;
        ++rs_->sols;
        if (ev) {
          EventInfo e = event_info(*model_, *rs_);
          e.x = model_->bestSolution();
          ev->intsol(e);
        }
        break;
      case node:
        if (rs_->nodes && model_ == rs_->main) rs_->nodes->evaluated(*model_);
        break;
      case generatedCuts:
        if (rs_->nodes && model_ == rs_->main) rs_->nodes->cut_round(*model_);
        break;
      default:
        break;
    }
    if (rs_->user_cutoff < model_->getCutoff()) model_->setCutoff(rs_->user_cutoff);
    if (ev && ev->gap_active()) ev->gap_event(event_info(*model_, *rs_));
    if (h.stop && h.stop()) {
      rs_->interrupted = true;
      return stop;
    }
    return noAction;
  }

 private:
  // False when a callback rejects the candidate.
  bool preintsol() {
    // Cbc does not say where the candidate is: the node's LP solution when
    // the search found it, else the solution under test (a heuristic's).
    const double *cands[3] = {model_->solver()->getColSolution(), model_->testSolution(),
                              model_->currentSolution()};
    const double *x = nullptr;
    int soltype = 0;
    for (int i = 0; i < 3 && !x; ++i)
      if (integral(*model_, *rs_, cands[i])) {
        x = cands[i];
        soltype = i == 0 ? 0 : 1;
      }
    if (!x) return true;                        // nothing to show; Cbc checks the candidate itself
    if (accepted_before(*rs_, x)) return true;  // offered at its node already
    // Cuts given here cannot enter a node: they join the global cuts.
    CbcNodeCuts cuts(*model_->solver(), rs_->nrows);
    NodeCutScope scope(rs_->hooks->events->problem(), cuts);
    const bool keep = fire_preintsol(*model_, *rs_, x, soltype);
    cuts.hand_over_global(*model_);
    return keep;
  }
  RunState *rs_;
};

// The node relaxation of each node, for optnode and (when it is integral)
// preintsol: Cbc calls its cut generators on every node's LP solution, and
// the cuts and bounds the callbacks give go back to it as this generator's.
// A node declared infeasible, or whose integral relaxation was rejected
// without a cut, gets a column cut that no point satisfies.
class NodeHook final : public CglCutGenerator {
 public:
  explicit NodeHook(RunState *rs, CbcModel *m) : rs_(rs), model_(m) {}
  CglCutGenerator *clone() const override { return new NodeHook(*this); }
  void generateCuts(const OsiSolverInterface &si, OsiCuts &cs,
                    const CglTreeInfo info = CglTreeInfo()) override {
    CallbackDispatch *ev = rs_->hooks->events;
    if (!ev || si.getNumCols() == 0) return;
    CbcNodeCuts cuts(si, rs_->nrows);
    NodeCutScope scope(ev->problem(), cuts);
    int infeasible = 0;
    if (ev->wants(CB_OPTNODE)) {
      EventInfo e = event_info(*model_, *rs_);
      e.x = si.getColSolution();
      e.primal_bound = si.getObjValue();
      cuts.takes_branching = rs_->nodes != nullptr;
      ev->optnode(e, &infeasible);
      cuts.takes_branching = false;
      if (cuts.branching) rs_->nodes->store(std::move(cuts.branching));
    }
    const double *x = si.getColSolution();
    const bool seen = accepted_before(*rs_, x);
    bool rejected = false;
    if (!infeasible && !seen && ev->wants(CB_PREINTSOL) && integral(*model_, *rs_, x)) {
      rejected = !fire_preintsol(*model_, *rs_, x, 0);
    }
    // A rejected relaxation that no new cut removes leaves the node nothing.
    if (!infeasible && cuts.hand_over(cs) == 0 && rejected) infeasible = 1;
    if (infeasible) {
      OsiColCut cut;
      const int col = 0;
      const double lb = si.getColUpper()[0] + 1.0;
      cut.setLbs(1, &col, &lb);
      cs.insert(cut);
    }
  }

 private:
  RunState *rs_;
  CbcModel *model_;
};

class CbcEngine final : public Engine {
 public:
  const char *name() const override { return "cbc"; }

  void solve(FlatModel &m, const EngineSettings &s, const EngineStart &start,
             const EngineHooks &hooks, EngineResult &r) override {
    if (m.has_quadratic()) {
      r.status = EngineStatus::Error;
      r.message = "the cbc engine solves linear objectives only";
      return;
    }
    OsiClpSolverInterface lp;
    const double inf = lp.getInfinity();
    auto clip = [inf](std::vector<double> v) {
      for (double &d : v)
        if (std::isinf(d)) d = d > 0 ? inf : -inf;
      return v;
    };
    std::vector<CoinBigIndex> cstart(m.start.begin(), m.start.end());
    const std::vector<double> lb = clip(m.lb), ub = clip(m.ub), rlo = clip(m.rowlo),
                              rup = clip(m.rowup);
    lp.loadProblem(m.ncols, m.nrows, cstart.data(), m.index.data(), m.value.data(), lb.data(),
                   ub.data(), m.obj.data(), rlo.data(), rup.data());
    lp.setObjSense(m.sense);
    lp.setDblParam(OsiObjOffset, -m.obj_constant);
    for (int j = 0; j < m.ncols && m.has_integers(); ++j) {
      if (m.kind[j] == ColKind::SemiContinuous || m.kind[j] == ColKind::SemiInteger) {
        r.status = EngineStatus::Error;
        r.message = "the cbc engine takes no semi-continuous or semi-integer columns";
        return;
      }
      if (m.kind[j] == ColKind::Integer) lp.setInteger(j);
    }
    lp.messageHandler()->setLogLevel(0);

    CbcModel model(lp);
    RunState rs;
    rs.hooks = &hooks;
    rs.ncols = m.ncols;
    rs.nrows = m.nrows;
    rs.sense = m.sense < 0 ? -1 : 1;
    model.setLogLevel(s.log_level >= 2 ? 1 : 0);
    model.messageHandler()->setLogLevel(s.log_level >= 2 ? 1 : 0);
    if (s.time_limit > 0 && s.time_limit < 1e20) model.setMaximumSeconds(s.time_limit);
    if (s.max_nodes > 0)
      model.setMaximumNodes(static_cast<int>(std::min<long long>(s.max_nodes, 2000000000)));
    if (s.max_mip_sols > 0) model.setMaximumSolutions(static_cast<int>(s.max_mip_sols));
    model.setAllowableFractionGap(std::max(0.0, s.mip_rel_gap));
    model.setAllowableGap(std::max(0.0, s.mip_abs_gap));
    if (s.mip_tol > 0) model.setIntegerTolerance(s.mip_tol);
    if (std::fabs(s.cutoff) < 1e20) model.setCutoff(rs.sense * s.cutoff);
    if (static_cast<int>(start.mip_start.size()) == m.ncols)
      model.setBestSolution(start.mip_start.data(), m.ncols, COIN_DBL_MAX, true);

    CglProbing probing;
    probing.setUsingObjective(true);
    CglGomory gomory;
    CglKnapsackCover knapsack;
    CglMixedIntegerRounding2 mir;
    model.addCutGenerator(&probing, -1, "Probing");
    model.addCutGenerator(&gomory, -1, "Gomory");
    model.addCutGenerator(&knapsack, -1, "KnapsackCover");
    model.addCutGenerator(&mir, -1, "MIR2");
    NodeHook node_hook(&rs, &model);
    OsiBabSolver lazy;
    if (hooks.events && (hooks.events->wants(CB_OPTNODE) || hooks.events->wants(CB_PREINTSOL))) {
      model.addCutGenerator(&node_hook, 1, "callbacks", true, true, false, 1);
      cbc_expect_lazy_cuts(model, model.numberCutGenerators() - 1, lazy);
    }
    Events events(&rs);
    model.passInEventHandler(&events);
    rs.main = &model;
    std::unique_ptr<NodeHooks> node_hooks = NodeHooks::install(
        model, hooks.events, m.orig_cols, [&model, &rs] { return event_info(model, rs); });
    rs.nodes = node_hooks.get();

    if (hooks.log && s.log_level >= 1) hooks.log(MSG_INFO, "Branch-and-bound by cbc");
    // A root a prenode callback declares infeasible needs no search.
    const bool root_dropped = rs.nodes && !rs.nodes->tracker.root();
    if (!root_dropped) model.branchAndBound();
    if (rs.nodes) rs.nodes->tracker.finish(model);

    r.nodes = model.getNodeCount();
    r.simplex_iter = model.getIterationCount();
    r.mip_sols = rs.sols;
    r.best_bound = model.getBestPossibleObjValue();
    if (model.bestSolution()) {
      r.has_primal = true;
      r.col_value.assign(model.bestSolution(), model.bestSolution() + m.ncols);
      r.row_activity.assign(m.nrows, 0.0);
      for (int j = 0; j < m.ncols; ++j)
        for (int k = m.start[j]; k < m.start[j + 1]; ++k)
          r.row_activity[m.index[k]] += m.value[k] * r.col_value[j];
      r.objective = model.getObjValue();
      if (r.mip_sols == 0) r.mip_sols = 1;
      const double diff = std::fabs(r.objective - r.best_bound);
      r.rel_gap = diff / std::max(1e-10, std::fabs(r.objective));
    }
    if (rs.interrupted)
      r.status = EngineStatus::Interrupted;
    else if (root_dropped)
      r.status = EngineStatus::Infeasible;
    else if (model.isProvenOptimal())
      r.status = r.has_primal ? EngineStatus::Optimal : EngineStatus::Infeasible;
    else if (model.isProvenInfeasible())
      r.status = EngineStatus::Infeasible;
    else if (model.isContinuousUnbounded())
      r.status = EngineStatus::Unbounded;
    else if (model.isNodeLimitReached())
      r.status = EngineStatus::NodeLimit;
    else if (model.isSecondsLimitReached())
      r.status = EngineStatus::TimeLimit;
    else if (model.isSolutionLimitReached())
      r.status = EngineStatus::SolutionLimit;
    else
      r.status = EngineStatus::Interrupted;
  }
};

}  // namespace

std::unique_ptr<Engine> make_cbc_engine() { return std::unique_ptr<Engine>(new CbcEngine()); }

}  // namespace qnda
