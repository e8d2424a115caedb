// The pieces of a nonlinear solve shared by a plain solve, the jobs of a
// multistart and the mixed-integer search: the options of a set of
// controls, one run of the chosen engine, and the outcome on the problem.
#pragma once

#include <atomic>
#include <functional>

#include "engine/optimise.h"
#include "nonlinear/nlp_model.h"
#include "nonlinear/slp.h"

namespace qnda {

struct SlpRun {
  SlpOptions o;  // o.base: limits, tolerances, log
  int alg = 0;   // QSLP_ALG_SLP or QSLP_ALG_IPOPT
};

// The options that controls c stand for on problem p (log routed to p's
// main problem).
SlpRun slp_run_options(qslp_problem_s &p, const SlpControls &c);

// Stops the runs of one optimisation: QSLPinterrupt, the main problem's
// interrupt, Ctrl-C, or a callback's request; the first reason is kept.
struct SlpStop {
  explicit SlpStop(qslp_problem_s &p) : p_(p) {}
  bool operator()();
  void request(int reason);
  int reason() const { return reason_.load(); }

 private:
  qslp_problem_s &p_;
  std::atomic<int> reason_{0};
  SigintScope sigint_;
};

// Runs the algorithm of run on model from model.x0.
void slp_run_engine(NlpModel &model, const SlpRun &run, const SlpHooks &hooks, NlpResult &r);

// The QSLP_NLPSTATUS_* and QNDA_STOP_* of an outcome.
void slp_outcome(const NlpResult &r, int &status, int &stop);

// Leaves r (a run on model) on p as its last solve: status, solution,
// objective; stop is the reason of an interruption.
void slp_store_result(qslp_problem_s &p, NlpModel &model, const NlpResult &r, int stop);

// The point x published as p's solution (columns and slacks; duals zero)
// while a solve runs, for the callbacks.
void slp_publish_point(qslp_problem_s &p, NlpModel &model, const double *x);

const char *slp_status_text(int status);

}  // namespace qnda
