// Solving a nonlinear problem: the controls to the options of the chosen
// algorithm (SLP on the LP engine, or the interior-point engine), the run
// with interruption and log routing, and the results back on the problem.
#include <atomic>
#include <chrono>
#include <cmath>

#include "core/messages.h"
#include "engine/optimise.h"
#include "nonlinear/nlp_model.h"
#include "nonlinear/nlvars.h"
#include "nonlinear/slp.h"
#include "nonlinear/slp_guard.h"
#include "qslp.h"

namespace qnda {
namespace {

double dbl(const qslp_problem_s &p, int id) { return p.controls.num[slp_index(id)]; }
int integer(const qslp_problem_s &p, int id) { return static_cast<int>(dbl(p, id)); }

const char *status_text(int s) {
  static const char *names[] = {"unstarted",  "locally optimal", "optimal",   "locally infeasible",
                                "infeasible", "unbounded",       "unfinished"};
  return s >= 0 && s <= 6 ? names[s] : "unknown";
}

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
int chosen_algorithm(const qslp_problem_s &p) {
  const int a = integer(p, QSLP_ALGORITHM);
  if (a == QSLP_ALG_IPOPT && p.extras.needs_slp())
    fail(QNDA_ERR_UNSUPPORTED,
         "soft or inactive rows need the SLP algorithm (nlpalgorithm 1), not the interior point");
  if (p.extras.needs_slp()) return QSLP_ALG_SLP;
  if (a != QSLP_ALG_AUTO) return a;
  return ipopt_available() ? QSLP_ALG_IPOPT : QSLP_ALG_SLP;
}

void nlp_optimize(qslp_problem_s &p) {
  const auto t0 = std::chrono::steady_clock::now();
  if (!p.main || !p.main->valid()) fail(QNDA_ERR_STATE, "the main problem has been destroyed");
  qnda_problem_s *main = p.main;
  p.sol = NlpSolution();
  p.nlp_status = QSLP_NLPSTATUS_UNSTARTED;
  p.stop_status = QNDA_STOP_NONE;
  p.iterations = 0;
  p.objval = p.solvetime = p.max_violation = 0.0;

  NlpModel model(p);
  const int alg = chosen_algorithm(p);
  p.algorithm_used = alg;

  SlpOptions o;
  NlpSettings &s = o.base;
  s.iter_limit = integer(p, QSLP_ITERLIMIT);
  s.time_limit = dbl(p, QSLP_TIMELIMIT);
  s.feas_tol = dbl(p, QSLP_FEASTOL);
  s.opt_tol = dbl(p, QSLP_OPTTOL);
  s.log_level = integer(p, QSLP_LOGLEVEL);
  o.rtol_row = dbl(p, QSLP_RTOL_ROW);
  o.atol_var = dbl(p, QSLP_ATOL_VAR);
  o.rtol_var = dbl(p, QSLP_RTOL_VAR);
  o.atol_obj = dbl(p, QSLP_ATOL_OBJ);
  o.rtol_obj = dbl(p, QSLP_RTOL_OBJ);
  o.delta0 = dbl(p, QSLP_DELTA0);
  o.delta_min = dbl(p, QSLP_DELTAMIN);
  o.penalty0 = dbl(p, QSLP_PENALTY0);
  o.step_bounds = integer(p, QSLP_STEPBOUNDS);
  o.curvature = integer(p, QSLP_SLPCURVATURE) != 0;
  slp_extras_options(p, model, o);
  // Determined columns follow their rows: at the start of either algorithm,
  // and after each accepted SLP step.
  const std::vector<int> cascade = slp_cascade_order(p, model);
  if (!cascade.empty()) {
    slp_cascade_point(p, model, cascade, model.x0);
    o.cascade = [&](std::vector<double> &x) { slp_cascade_point(p, model, cascade, x); };
  }
  o.penalty_out = &p.extras.last_penalty;
  // For QSLPgetdtime and QSLPprintevalinfo.
  p.extras.stats.reset();
  p.extras.solve_start = std::chrono::steady_clock::now();
  p.extras.solve_started = p.extras.solving = true;
  struct SolvingFlag {
    SlpExtras &e;
    ~SolvingFlag() { e.solving = false; }
  } solving_flag{p.extras};

  SigintScope sigint;
  std::atomic<int> reason{0};
  s.stop = [&]() {
    if (reason.load(std::memory_order_relaxed)) return true;
    int r = p.interrupt.load(std::memory_order_relaxed);
    if (!r) r = main->interrupt.load(std::memory_order_relaxed);
    if (!r && sigint.fired()) r = QNDA_STOP_CTRLC;
    if (!r) return false;
    int expected = 0;
    reason.compare_exchange_strong(expected, r);
    return true;
  };
  s.log = [main](const std::string &line) { emit_message(main, MSG_INFO, line.c_str()); };

  int nlrows = 0;
  for (char lin : model.linear_row) nlrows += lin ? 0 : 1;
  if (s.log_level >= 1)
    emit_messagef(main, MSG_INFO,
                  "Nonlinear problem: %d rows (%d nonlinear), %d columns, %zu nonlinear "
                  "coefficients; %s",
                  model.m, nlrows, model.n, p.nl.coefs.size(),
                  alg == QSLP_ALG_SLP ? "successive linear programming" : "interior point (Ipopt)");

  NlpResult r;
  if (int pending = p.interrupt.load()) {
    reason = pending;
    r.status = NlpStatus::Interrupted;
  } else if (alg == QSLP_ALG_SLP) {
    slp_solve(model, o, p.nl.hooks, r);
  } else {
    ipopt_solve(model, s, r);
  }
  p.interrupt.store(0);

  p.nlp_status = QSLP_NLPSTATUS_UNFINISHED;
  for (const Outcome &o : kOutcomes)
    if (o.engine == r.status) {
      p.nlp_status = o.status;
      p.stop_status = o.stop;
    }
  // A problem without nonlinear parts is an LP: its optimum is global.
  if (r.status == NlpStatus::LocalOptimum && nlrows == 0 && model.objective_linear)
    p.nlp_status = QSLP_NLPSTATUS_OPTIMAL;
  if (r.status == NlpStatus::Interrupted && reason) p.stop_status = reason.load();
  p.iterations = r.iterations;

  if (r.has_point && static_cast<int>(r.x.size()) == model.n) {
    model.main_solution(r, p.sol);
    std::vector<double> g(model.m, 0.0);
    model.eval_g(r.x.data(), g.data());
    p.objval = model.objective(r.x.data());
    p.max_violation = nlp_violation(model, r.x.data(), g.data());
  }
  p.solvetime = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  if (s.log_level >= 1)
    emit_messagef(main, MSG_INFO, "Nonlinear status: %s; objective %.10g, %d iterations, %.2fs",
                  status_text(p.nlp_status), p.objval, p.iterations, p.solvetime);
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
