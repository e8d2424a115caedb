// Mixed-integer nonlinear problems: the entry point, the settings of the
// search from the controls, and the outcome on the problem.
//
// The engine's branch-and-bound proves optimality only for convex problems;
// whether a problem with formulas is convex is not decided here, so a
// solution of the search is "locally optimal" unless every nonlinear part
// is quadratic and convex (then "optimal").
#include "nonlinear/minlp.h"

#include <chrono>

#include "core/messages.h"
#include "engine/minlp.h"
#include "engine/qcqp.h"
#include "engine/reformulate.h"
#include "nonlinear/slp_callbacks.h"
#include "nonlinear/slp_guard.h"
#include "nonlinear/slp_run.h"
#include "qslp.h"

namespace qnda {

namespace {

// Whether the problem's nonlinear parts are all quadratic and convex: no
// formulas, a convex quadratic objective, and each quadratic row convex on
// its finite side.
bool quadratic_convex(const qslp_problem_s &p, int sense) {
  if (!p.nl.coefs.empty()) return false;
  FlatModel fm;
  flatten(p.main->model, FlattenOptions(), fm);
  fm.sense = sense;
  return quadratic_model_convex(fm);
}

}  // namespace

void minlp_optimize(qslp_problem_s &p) {
  const auto t0 = std::chrono::steady_clock::now();
  qnda_problem_s *main = p.main;
  NlpModel model(p, true);
  SlpRun run = slp_run_options(p, p.controls);
  SlpStop stop(p);
  MinlpSettings ms;
  ms.base = run.o.base;
  ms.base.stop = [&stop] { return stop(); };
  ms.algorithm = static_cast<int>(p.controls.num[slp_index(QSLP_MINLPALG)]);
  if (p.callbacks.has(kCbSlpNode)) ms.on_node = [&p] { return slp_cb_event(p, kCbSlpNode); };
  model.on_eval_error = [&p, &stop](int row, int col) {
    if (slp_cb_coefevalerror(p, row, col) != 0) stop.request(QNDA_STOP_USER);
  };
  int nint = 0;
  for (char c : model.integer) nint += c;
  const int log_level = ms.base.log_level;
  if (log_level >= 1)
    emit_messagef(main, MSG_INFO,
                  "Mixed-integer nonlinear problem: %d rows, %d columns (%d integer); "
                  "branch-and-bound over the interior point (Bonmin)",
                  model.m, model.n, nint);
  p.algorithm_used = QSLP_ALG_IPOPT;
  MinlpResult r;
  if (slp_cb_event(p, kCbSlpStart) != 0) {
    r.nlp.status = NlpStatus::Interrupted;
  } else {
    minlp_solve(model, model.integer, ms, r);
  }
  slp_cb_event(p, kCbSlpEnd);
  p.interrupt.store(0);
  slp_store_result(p, model, r.nlp, stop.reason());
  p.global_nodes = r.nodes;
  if (p.nlp_status == QSLP_NLPSTATUS_LOCALLY_OPTIMAL && quadratic_convex(p, model.sense))
    p.nlp_status = QSLP_NLPSTATUS_OPTIMAL;
  // The engine's "infeasible" is proven only where its relaxations are
  // convex.
  if (p.nlp_status == QSLP_NLPSTATUS_LOCALLY_INFEASIBLE && quadratic_convex(p, model.sense))
    p.nlp_status = QSLP_NLPSTATUS_INFEASIBLE;
  p.solvetime = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  if (log_level >= 1)
    emit_messagef(main, MSG_INFO,
                  "Mixed-integer nonlinear status: %s%s; objective %.10g, %d "
                  "nodes, %.2fs",
                  slp_status_text(p.nlp_status),
                  p.nlp_status == QSLP_NLPSTATUS_LOCALLY_OPTIMAL
                      ? " (the optimum if the problem is convex)"
                      : "",
                  p.objval, p.global_nodes, p.solvetime);
  flush_messages(main);
}

}  // namespace qnda

using namespace qnda;

extern "C" int QSLPglobal(QSLPprob prob) {
  return slp_guard(prob, "QSLPglobal", [&] {
    if (!prob->main || !prob->main->valid())
      fail(QNDA_ERR_STATE, "the main problem has been destroyed");
    prob->sol = NlpSolution();
    prob->nlp_status = QSLP_NLPSTATUS_UNSTARTED;
    minlp_optimize(*prob);
  });
}
