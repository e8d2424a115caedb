// Firing the callbacks of one optimisation.  An engine adapter reports what
// it knows at each of its events (EventInfo); the dispatcher calls the
// problem's callbacks of the matching kind in priority order, and while they
// run the result queries and solve attributes of the problem answer for the
// event on that thread (event_state), so a callback reads the solution just
// found or the counts of the running search through the ordinary calls.
//
// Both engine adapters drive this one class; it knows no engine.
#pragma once

#include <functional>
#include <mutex>

#include "callbacks/cblists.h"
#include "core/solvestate.h"
#include "qnda.h"

namespace qnda {

// What an engine knows at an event; values it does not know stay as given.
struct EventInfo {
  double running_time = 0.0;
  long long simplex_iter = 0, barrier_iter = 0, nodes = 0, mip_sols = 0;
  double primal_bound = 0.0;  // incumbent objective (+-inf without one)
  double dual_bound = 0.0;    // bound of the search (the LP objective in an LP)
  double gap = 0.0;           // relative gap as the engine computes it
  bool has_incumbent = false;
  int node = 0, depth = 0;    // the tree node of a node event
  const double *x = nullptr;  // a solution on the engine's columns, or NULL
};

// The results a problem answers with inside a callback on this thread; NULL
// outside callbacks (or for another problem).
const SolveState *event_state(const void *prob);

class CallbackDispatch {
 public:
  // fill writes the user's x and slack of an engine solution into st;
  // interrupt asks the running optimisation to stop with a reason.
  using FillSolution = std::function<void(const double *x, SolveState &st)>;
  using Interrupt = std::function<void(int reason)>;
  CallbackDispatch(QNDAprob prob, const CallbackLists &lists, int sense, FillSolution fill,
                   Interrupt interrupt);

  bool wants(CbKind k) const { return lists_.any(k); }
  QNDAprob problem() const { return prob_; }
  // Kinds whose callbacks return "stop": lplog, barlog, globallog, cutlog.
  void log_event(CbKind k, const EventInfo &e);
  void bariteration(const EventInfo &e);
  void intsol(const EventInfo &e);
  // Fires gapnotify when the incumbent or the bound moved since the last
  // call, then stops the search when a target is met.
  void gap_event(const EventInfo &e);
  void usersolnotify(const char *name, int status);
  // Node kinds: e.x is the node's relaxation (optnode) or the candidate
  // solution (preintsol); the outputs keep their value unless a callback
  // writes them.
  void optnode(const EventInfo &e, int *infeasible);
  void preintsol(const EventInfo &e, int soltype, int *reject, double *cutoff);
  // Tree events, with the engine's node numbers (parents before children).
  void prenode(const EventInfo &e, int *infeasible);
  void newnode(const EventInfo &e, int parent, int node, int branch);
  void infnode(const EventInfo &e);
  void nodecutoff(const EventInfo &e, int node);
  // proposed (the engine's, may be NULL) stays the caller's; *chosen gets
  // an object a callback handed back instead (the caller's to destroy), or
  // NULL.
  void chgbranchobject(const EventInfo &e, QNDAbranchobject proposed, QNDAbranchobject *chosen);
  // Whether gap_event has anything to do (a callback, or targets set).
  bool gap_active() const { return wants(CB_GAPNOTIFY) || targets_set_; }

 private:
  class Scope;
  // Calls each live callback of kind k (f(entry)) until f returns true.
  template <class F>
  void each(CbKind k, const EventInfo &e, F f);
  void fill_state(const EventInfo &e, SolveState &st) const;
  bool targets_met(const EventInfo &e) const;

  QNDAprob prob_;
  const CallbackLists &lists_;
  int sense_;
  FillSolution fill_;
  Interrupt interrupt_;
  std::mutex gap_mu_;  // gapnotify may be polled from several threads
  double last_primal_, last_dual_;
  bool gap_fired_ = false;
  bool targets_set_ = false;
  double targets_[4];  // relative gap, absolute gap, objective, bound
};

}  // namespace qnda
