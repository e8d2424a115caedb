// Solving a nonlinear problem: the controls to the options of the chosen
// algorithm (SLP on the LP engine, or the interior-point engine), the run
// with interruption and log routing, and the results back on the problem.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>

#include "core/messages.h"
#include "engine/optimise.h"
#include "nonlinear/nlp_model.h"
#include "nonlinear/minlp.h"
#include "nonlinear/multistart.h"
#include "nonlinear/nlvars.h"
#include "nonlinear/slp.h"
#include "nonlinear/slp_callbacks.h"
#include "nonlinear/slp_guard.h"
#include "nonlinear/slp_run.h"
#include "qslp.h"

namespace qnda {

namespace {

double dbl(const SlpControls &c, int id) { return c.num[slp_index(id)]; }
int integer(const SlpControls &c, int id) { return static_cast<int>(dbl(c, id)); }

// The nonlinear status and stop reason of each outcome of an engine.
struct Outcome {
  NlpStatus engine;
  int status, stop;
};
constexpr Outcome kOutcomes[] = {
    {NlpStatus::LocalOptimum, QSLP_NLPSTATUS_LOCALLY_OPTIMAL, QNDA_STOP_NONE},
    {NlpStatus::LocallyInfeasible, QSLP_NLPSTATUS_LOCALLY_INFEASIBLE, QNDA_STOP_NONE},
    {NlpStatus::Infeasible, QSLP_NLPSTATUS_INFEASIBLE, QNDA_STOP_NONE},
    {NlpStatus::Unbounded, QSLP_NLPSTATUS_UNBOUNDED, QNDA_STOP_NONE},
    {NlpStatus::IterationLimit, QSLP_NLPSTATUS_UNFINISHED, QNDA_STOP_ITERLIMIT},
    {NlpStatus::TimeLimit, QSLP_NLPSTATUS_UNFINISHED, QNDA_STOP_TIMELIMIT},
    {NlpStatus::Interrupted, QSLP_NLPSTATUS_UNFINISHED, QNDA_STOP_USER},
};

// The algorithm QSLP_ALG_AUTO stands for: the interior-point engine, which
// needs far fewer iterations on curved problems, when it was built in.
int chosen_algorithm(const qslp_problem_s &p, const SlpControls &c) {
  const int a = integer(c, QSLP_ALGORITHM);
  if (a == QSLP_ALG_IPOPT && p.extras.needs_slp())
    fail(QNDA_ERR_UNSUPPORTED,
         "soft or inactive rows need the SLP algorithm (nlpalgorithm 1), not the interior point");
  if (p.extras.needs_slp()) return QSLP_ALG_SLP;
  if (a != QSLP_ALG_AUTO) return a;
  return ipopt_available() ? QSLP_ALG_IPOPT : QSLP_ALG_SLP;
}

}  // namespace

const char *slp_status_text(int s) {
  static const char *names[] = {"unstarted",  "locally optimal", "optimal",   "locally infeasible",
                                "infeasible", "unbounded",       "unfinished"};
  return s >= 0 && s <= 6 ? names[s] : "unknown";
}

SlpRun slp_run_options(qslp_problem_s &p, const SlpControls &c) {
  SlpRun run;
  run.alg = chosen_algorithm(p, c);
  SlpOptions &o = run.o;
  NlpSettings &s = o.base;
  s.iter_limit = integer(c, QSLP_ITERLIMIT);
  s.time_limit = dbl(c, QSLP_TIMELIMIT);
  s.feas_tol = dbl(c, QSLP_FEASTOL);
  s.opt_tol = dbl(c, QSLP_OPTTOL);
  s.log_level = integer(c, QSLP_LOGLEVEL);
  o.rtol_row = dbl(c, QSLP_RTOL_ROW);
  o.atol_var = dbl(c, QSLP_ATOL_VAR);
  o.rtol_var = dbl(c, QSLP_RTOL_VAR);
  o.atol_obj = dbl(c, QSLP_ATOL_OBJ);
  o.rtol_obj = dbl(c, QSLP_RTOL_OBJ);
  o.delta0 = dbl(c, QSLP_DELTA0);
  o.delta_min = dbl(c, QSLP_DELTAMIN);
  o.penalty0 = dbl(c, QSLP_PENALTY0);
  o.step_bounds = integer(c, QSLP_STEPBOUNDS);
  o.curvature = integer(c, QSLP_SLPCURVATURE) != 0;
  qnda_problem_s *main = p.main;
  s.log = [main](const std::string &line) { emit_message(main, MSG_INFO, line.c_str()); };
  return run;
}

bool SlpStop::operator()() {
  if (reason_.load(std::memory_order_relaxed)) return true;
  int r = p_.interrupt.load(std::memory_order_relaxed);
  if (!r && p_.main) r = p_.main->interrupt.load(std::memory_order_relaxed);
  if (!r && sigint_.fired()) r = QNDA_STOP_CTRLC;
  if (!r) return false;
  request(r);
  return true;
}

void SlpStop::request(int reason) {
  int expected = 0;
  reason_.compare_exchange_strong(expected, reason);
}

void slp_run_engine(NlpModel &model, const SlpRun &run, const SlpHooks &hooks, NlpResult &r) {
  if (run.alg == QSLP_ALG_SLP) {
    slp_solve(model, run.o, hooks, r);
    return;
  }
  // The interior point offers the start, the end of each of its iterations
  // (without the point: its callback does not show it) and the end.
  if (hooks.slpstart && hooks.slpstart() != 0) {
    r = NlpResult();
    r.status = NlpStatus::Interrupted;
  } else {
    NlpSettings s = run.o.base;
    if (hooks.iterend) s.on_iteration = [&hooks] { return hooks.iterend() != 0; };
    ipopt_solve(model, s, r);
  }
  if (hooks.slpend) hooks.slpend();
}

void slp_outcome(const NlpResult &r, int &status, int &stop) {
  status = QSLP_NLPSTATUS_UNFINISHED;
  stop = QNDA_STOP_NONE;
  for (const Outcome &o : kOutcomes)
    if (o.engine == r.status) {
      status = o.status;
      stop = o.stop;
    }
}

void slp_publish_point(qslp_problem_s &p, NlpModel &model, const double *x) {
  NlpResult at;
  at.x.assign(x, x + model.n);
  model.main_solution(at, p.sol);
}

void slp_store_result(qslp_problem_s &p, NlpModel &model, const NlpResult &r, int stop) {
  int nlrows = 0;
  for (char lin : model.linear_row) nlrows += lin ? 0 : 1;
  slp_outcome(r, p.nlp_status, p.stop_status);
  // A problem without nonlinear parts is an LP: its optimum is global.
  if (r.status == NlpStatus::LocalOptimum && nlrows == 0 && model.objective_linear)
    p.nlp_status = QSLP_NLPSTATUS_OPTIMAL;
  if (r.status == NlpStatus::Interrupted && stop) p.stop_status = stop;
  p.iterations = r.iterations;
  p.sol = NlpSolution();
  if (r.has_point && static_cast<int>(r.x.size()) == model.n) {
    model.main_solution(r, p.sol);
    p.objval = model.objective(r.x.data());
    std::vector<double> g(model.m, 0.0);
    model.eval_g(r.x.data(), g.data());
    p.max_violation = nlp_violation(model, r.x.data(), g.data());
  }
}

namespace {

void reset_results(qslp_problem_s &p) {
  p.sol = NlpSolution();
  p.nlp_status = QSLP_NLPSTATUS_UNSTARTED;
  p.stop_status = QNDA_STOP_NONE;
  p.iterations = p.global_nodes = 0;
  p.objval = p.solvetime = p.max_violation = 0.0;
}

void nlp_optimize(qslp_problem_s &p) {
  const auto t0 = std::chrono::steady_clock::now();
  if (!p.main || !p.main->valid()) fail(QNDA_ERR_STATE, "the main problem has been destroyed");
  qnda_problem_s *main = p.main;
  reset_results(p);
  const auto &types = main->model.coltype();
  if (std::count(types.begin(), types.end(), 'I') + std::count(types.begin(), types.end(), 'B') >
      0) {
    minlp_optimize(p);
    return;
  }
  if (!p.ms.jobs.empty()) {
    ms_run(p);
    return;
  }

  NlpModel model(p);
  SlpRun run = slp_run_options(p, p.controls);
  const NlpSettings &s = run.o.base;
  p.algorithm_used = run.alg;
  slp_extras_options(p, model, run.o);
  // Determined columns follow their rows: at the start of either algorithm,
  // and after each accepted SLP step.
  const std::vector<int> cascade = slp_cascade_order(p, model);
  if (!cascade.empty()) {
    slp_cascade_point(p, model, cascade, model.x0);
    run.o.cascade = [&](std::vector<double> &x) { slp_cascade_point(p, model, cascade, x); };
  }
  run.o.penalty_out = &p.extras.last_penalty;
  // For QSLPgetdtime and QSLPprintevalinfo.
  p.extras.stats.reset();
  p.extras.solve_start = std::chrono::steady_clock::now();
  p.extras.solve_started = p.extras.solving = true;
  struct SolvingFlag {
    SlpExtras &e;
    ~SolvingFlag() { e.solving = false; }
  } solving_flag{p.extras};
  SlpStop stop(p);
  run.o.base.stop = [&stop] { return stop(); };
  model.on_eval_error = [&p, &stop](int row, int col) {
    if (slp_cb_coefevalerror(p, row, col) != 0) stop.request(QNDA_STOP_USER);
  };

  int nlrows = 0;
  for (char lin : model.linear_row) nlrows += lin ? 0 : 1;
  if (s.log_level >= 1)
    emit_messagef(
        main, MSG_INFO,
        "Nonlinear problem: %d rows (%d nonlinear), %d columns, %zu nonlinear "
        "coefficients; %s",
        model.m, nlrows, model.n, p.nl.coefs.size(),
        run.alg == QSLP_ALG_SLP ? "successive linear programming" : "interior point (Ipopt)");

  const SlpHooks hooks =
      slp_callback_hooks(p, [&p, &model](const double *x) { slp_publish_point(p, model, x); });
  NlpResult r;
  if (int pending = p.interrupt.load()) {
    stop.request(pending);
    r.status = NlpStatus::Interrupted;
  } else {
    slp_run_engine(model, run, hooks, r);
  }
  p.interrupt.store(0);
  // A callback that asked to stop turns the outcome into an interruption.
  if (stop.reason() && r.status == NlpStatus::LocalOptimum) r.status = NlpStatus::Interrupted;
  slp_store_result(p, model, r, stop.reason());
  p.solvetime = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  if (s.log_level >= 1)
    emit_messagef(main, MSG_INFO, "Nonlinear status: %s; objective %.10g, %d iterations, %.2fs",
                  slp_status_text(p.nlp_status), p.objval, p.iterations, p.solvetime);
  flush_messages(main);
  if (r.status == NlpStatus::Error)
    fail(QNDA_ERR_ENGINE, "%s",
         r.message.empty() ? "the nonlinear engine failed" : r.message.c_str());
}

}  // namespace
}  // namespace qnda

using namespace qnda;

extern "C" {

int QSLPnlpoptimize(QSLPprob prob, const char *flags) {
  return slp_guard(prob, "QSLPnlpoptimize", [&] {
    if (flags && *flags) fail(QNDA_ERR_ARGUMENT, "unknown flags \"%s\" (none are known)", flags);
    nlp_optimize(*prob);
  });
}

int QSLPgetslpsol(QSLPprob prob, double *x, double *slack, double *dual, double *dj) {
  return slp_guard(prob, "QSLPgetslpsol", [&] {
    const NlpSolution &s = prob->sol;
    if (!s.has_solution) fail(QNDA_ERR_STATE, "no nonlinear solution is available");
    if (x) std::copy(s.x.begin(), s.x.end(), x);
    if (slack) std::copy(s.slack.begin(), s.slack.end(), slack);
    if (dual) std::copy(s.duals.begin(), s.duals.end(), dual);
    if (dj) std::copy(s.djs.begin(), s.djs.end(), dj);
  });
}

int QSLPinterrupt(QSLPprob prob, int reason) {
  if (int rc = check_slp_handle(prob, "QSLPinterrupt")) return rc;
  prob->interrupt.store(reason ? reason : QNDA_STOP_USER);
  return QNDA_OK;
}

int QSLPsetinitialvalues(QSLPprob prob, int n, const int *cols, const double *values) {
  return slp_guard(prob, "QSLPsetinitialvalues", [&] {
    if (!prob->main || !prob->main->valid())
      fail(QNDA_ERR_STATE, "the main problem has been destroyed");
    const int nc = prob->main->model.ncols();
    check_count(n, "n");
    if (n > 0) check_array(values, "values");
    if (!cols && n > nc) fail(QNDA_ERR_INDEX, "%d values for %d columns", n, nc);
    for (int k = 0; k < n; ++k) {
      if (cols) check_index(cols[k], nc, "column index");
      if (!std::isfinite(values[k])) fail(QNDA_ERR_ARGUMENT, "value %d is not finite", k);
    }
    std::vector<double> &st = prob->nl.start;
    st.resize(nc, 0.0);
    for (int k = 0; k < n; ++k) st[cols ? cols[k] : k] = values[k];
  });
}

int QSLPsetcurrentiv(QSLPprob prob) {
  return slp_guard(prob, "QSLPsetcurrentiv", [&] {
    if (!prob->sol.has_solution) fail(QNDA_ERR_STATE, "no nonlinear solution is available");
    prob->nl.start = prob->sol.x;
  });
}

}  // extern "C"
