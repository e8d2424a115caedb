// Multistart.
//
// Every job is one solve of the problem from its own start with its own
// controls.  The models are built on the calling thread (reading the main
// problem may fill its caches), then a pool of QSLP_MSTHREADS threads takes
// the jobs in order: each SLP job has its own model and its own LP engine,
// so they run side by side; interior-point jobs queue on the engine's lock
// (its linear solver keeps global state).  User functions call back into
// their owner's language, whose errors live on the calling thread, so a
// problem with user functions runs its jobs there, one after the other.
// The winner is the best locally optimal job (ties: the first added), or,
// without one, the job whose point violates the rows least.
#include "nonlinear/multistart.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <memory>
#include <mutex>
#include <random>
#include <thread>

#include "core/messages.h"
#include "nonlinear/nlvars.h"
#include "nonlinear/slp_callbacks.h"
#include "nonlinear/slp_guard.h"
#include "nonlinear/slp_run.h"
#include "qslp.h"

namespace qnda {

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

// The algorithm sweep: the controls of member k (cycled).
void sweep_controls(int k, SlpControls &c) {
  static const int combos[][3] = {
      // algorithm, curvature, step bounds
      {QSLP_ALG_IPOPT, 0, QSLP_STEPBOUNDS_ADAPTIVE},
      {QSLP_ALG_SLP, 1, QSLP_STEPBOUNDS_ADAPTIVE},
      {QSLP_ALG_SLP, 0, QSLP_STEPBOUNDS_ADAPTIVE},
      {QSLP_ALG_SLP, 1, QSLP_STEPBOUNDS_FIXED},
  };
  const int *cb = combos[k % 4];
  int alg = cb[0];
  if (alg == QSLP_ALG_IPOPT && !ipopt_available()) alg = QSLP_ALG_SLP;
  c.num[slp_index(QSLP_ALGORITHM)] = alg;
  c.num[slp_index(QSLP_SLPCURVATURE)] = cb[1];
  c.num[slp_index(QSLP_STEPBOUNDS)] = cb[2];
}

// A value drawn within [lo, hi]; an infinite side is replaced by a span of
// ten times the size of the base point around it.
double draw_within(std::mt19937_64 &rng, double base, double lo, double hi) {
  const double span = 10.0 * std::max(1.0, std::fabs(base));
  if (lo == -kInf && hi == kInf) {
    lo = base - span;
    hi = base + span;
  } else if (lo == -kInf) {
    lo = hi - 2.0 * span;
  } else if (hi == kInf) {
    hi = lo + 2.0 * span;
  }
  return std::uniform_real_distribution<double>(lo, hi)(rng);
}

// The start of job k on model: the problem's start (or its last solution
// for perturbations), the job's values over it, the preset's changes, then
// into the bounds.
void job_start(const MsJob &job, int k, unsigned seed, const std::vector<double> &current,
               NlpModel &model) {
  const int n = model.n;
  std::vector<double> x = model.x0;
  if (job.preset == QSLP_MSPRESET_PERTURB && static_cast<int>(current.size()) == n) x = current;
  for (size_t q = 0; q < job.cols.size(); ++q) x[job.cols[q]] = job.start[q];
  std::mt19937_64 rng(static_cast<unsigned long long>(seed) * 1000003ull + k);
  const bool perturb = job.preset == QSLP_MSPRESET_PERTURB ||
                       (job.preset == QSLP_MSPRESET_ALGORITHMS && job.member >= 4);
  for (int j = 0; j < n; ++j) {
    if (job.preset == QSLP_MSPRESET_INITIALVALUES) {
      x[j] = draw_within(rng, x[j], model.xl[j], model.xu[j]);
    } else if (perturb) {
      x[j] += std::normal_distribution<double>(0.0, 0.1 * std::max(1.0, std::fabs(x[j])))(rng);
    }
    x[j] = std::min(std::max(x[j], model.xl[j]), model.xu[j]);
  }
  model.x0 = x;
}

// Whether a is a better result than b (b may be none).
bool better(const MsResult &a, const MsResult *b, int sense) {
  const bool fa = a.status == QSLP_NLPSTATUS_LOCALLY_OPTIMAL || a.status == QSLP_NLPSTATUS_OPTIMAL;
  if (!b) return true;
  const bool fb =
      b->status == QSLP_NLPSTATUS_LOCALLY_OPTIMAL || b->status == QSLP_NLPSTATUS_OPTIMAL;
  if (fa != fb) return fa;
  if (fa) return sense * a.objval < sense * b->objval;
  return a.max_violation < b->max_violation;
}

struct JobRun {
  std::unique_ptr<NlpModel> model;
  SlpRun run;
  NlpResult r;
  bool ran = false;
  bool discarded = false;
};

}  // namespace

void ms_run(qslp_problem_s &p) {
  const auto t0 = std::chrono::steady_clock::now();
  const int total = static_cast<int>(p.ms.jobs.size());
  const int cap = static_cast<int>(p.controls.num[slp_index(QSLP_MSMAXSOLVES)]);
  const int njobs = cap > 0 ? std::min(cap, total) : total;
  const unsigned seed = static_cast<unsigned>(p.controls.num[slp_index(QSLP_MSSEED)]);
  int threads = static_cast<int>(p.controls.num[slp_index(QSLP_MSTHREADS)]);
  if (threads <= 0) threads = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
  bool userfuncs = false;
  for (const auto &c : p.nl.coefs)
    for (const Token &t : c.second.formula) userfuncs = userfuncs || t.type == QSLP_TOK_FUN;
  if (userfuncs) threads = 1;
  threads = std::max(1, std::min(threads, njobs));

  SlpStop stop(p);
  const std::vector<double> current = p.sol.has_solution ? p.sol.x : p.nl.start;
  std::vector<JobRun> runs(njobs);
  for (int k = 0; k < njobs; ++k) {
    const MsJob &job = p.ms.jobs[k];
    SlpControls c = p.controls;
    if (job.preset == QSLP_MSPRESET_ALGORITHMS) sweep_controls(job.member, c);
    for (const auto &kv : job.controls) c.num[slp_index(kv.first)] = kv.second;
    JobRun &jr = runs[k];
    jr.model = std::make_unique<NlpModel>(p);
    jr.run = slp_run_options(p, c);
    slp_extras_options(p, *jr.model, jr.run.o);
    jr.run.o.base.log_level = 0;  // the jobs' logs would interleave
    jr.run.o.base.stop = [&stop] { return stop(); };
    job_start(job, k, seed, current, *jr.model);
  }
  const int log_level = static_cast<int>(p.controls.num[slp_index(QSLP_LOGLEVEL)]);
  if (log_level >= 1)
    emit_messagef(p.main, MSG_INFO, "Multistart: %d jobs on %d thread%s", njobs, threads,
                  threads == 1 ? "" : "s");
  flush_messages(p.main);

  const SlpHooks hooks = slp_callback_hooks(p, nullptr);
  std::atomic<int> next{0};
  std::atomic<bool> failed{false};
  std::string failure;
  std::mutex failure_mu;
  auto worker = [&] {
    for (int k; (k = next.fetch_add(1)) < njobs;) {
      JobRun &jr = runs[k];
      MsJob &job = p.ms.jobs[k];
      if (stop() || failed.load()) break;
      try {
        if (slp_cb_msjob(p, kCbMsJobStart, job.object, job.description.c_str()) != 0) continue;
        jr.model->on_eval_error = [&p, &stop](int row, int col) {
          if (slp_cb_coefevalerror(p, row, col) != 0) stop.request(QNDA_STOP_USER);
        };
        slp_run_engine(*jr.model, jr.run, hooks, jr.r);
        jr.ran = true;
        jr.discarded = slp_cb_msjob(p, kCbMsJobEnd, job.object, job.description.c_str()) != 0;
      } catch (const std::exception &e) {
        std::lock_guard<std::mutex> lk(failure_mu);
        if (!failed.exchange(true)) failure = e.what();
      }
    }
  };
  if (threads == 1) {
    worker();
  } else {
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t) pool.emplace_back(worker);
    for (auto &t : pool) t.join();
  }
  p.interrupt.store(0);
  if (failed) fail(QNDA_ERR_ENGINE, "a multistart job failed: %s", failure.c_str());

  // Results, and the winner.
  p.ms.results.assign(total, MsResult());
  int winner = -1;
  const int sense = runs.empty() ? 1 : runs[0].model->sense;
  for (int k = 0; k < njobs; ++k) {
    JobRun &jr = runs[k];
    MsResult &res = p.ms.results[k];
    if (!jr.ran) continue;
    int stopcode;
    slp_outcome(jr.r, res.status, stopcode);
    if (jr.r.has_point) {
      NlpModel &m = *jr.model;
      res.objval = m.objective(jr.r.x.data());
      std::vector<double> g(m.m, 0.0);
      m.eval_g(jr.r.x.data(), g.data());
      res.max_violation = nlp_violation(m, jr.r.x.data(), g.data());
    }
    if (jr.discarded || !jr.r.has_point) continue;
    if (winner < 0 || better(res, &p.ms.results[winner], sense)) winner = k;
  }
  p.ms.winner = winner;
  int iterations = 0;
  for (const JobRun &jr : runs) iterations += jr.ran ? jr.r.iterations : 0;
  if (winner >= 0) {
    JobRun &w = runs[winner];
    p.algorithm_used = w.run.alg;
    slp_store_result(p, *w.model, w.r, stop.reason());
    p.ms.best = p.ms.results[winner].objval;
    slp_cb_mswinner(p, p.ms.jobs[winner].object, p.ms.jobs[winner].description.c_str());
  } else {
    p.nlp_status = QSLP_NLPSTATUS_UNFINISHED;
    p.stop_status = stop.reason() ? stop.reason() : QNDA_STOP_NONE;
  }
  p.iterations = iterations;
  p.solvetime = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  if (log_level >= 1) {
    if (winner >= 0)
      emit_messagef(p.main, MSG_INFO, "Multistart: job %d of %d kept (%s), objective %.10g; %.2fs",
                    winner + 1, njobs, slp_status_text(p.nlp_status), p.objval, p.solvetime);
    else
      emit_messagef(p.main, MSG_INFO, "Multistart: no job gave a point; %.2fs", p.solvetime);
  }
  flush_messages(p.main);
}

}  // namespace qnda

using namespace qnda;

namespace {

// The job of the arguments shared by QSLPmsaddjob and QSLPmsaddcustompreset.
MsJob make_job(qslp_problem_s &p, const char *description, int ninitial, const int *colind,
               const double *initial, int nint, const int *intid, const int *intval, int ndbl,
               const int *dblid, const double *dblval, void *object) {
  if (!p.main || !p.main->valid()) fail(QNDA_ERR_STATE, "the main problem has been destroyed");
  const int nc = p.main->model.ncols();
  MsJob job;
  job.description = description ? description : "";
  job.object = object;
  check_count(ninitial, "ninitial");
  check_count(nint, "nintcontrols");
  check_count(ndbl, "ndblcontrols");
  if (ninitial > 0) check_array(initial, "initial");
  if (!colind && ninitial > nc) fail(QNDA_ERR_INDEX, "%d values for %d columns", ninitial, nc);
  for (int k = 0; k < ninitial; ++k) {
    const int j = colind ? colind[k] : k;
    check_index(j, nc, "column index");
    if (!std::isfinite(initial[k])) fail(QNDA_ERR_ARGUMENT, "initial value %d is not finite", k);
    job.cols.push_back(j);
    job.start.push_back(initial[k]);
  }
  auto add_control = [&](int id, double v, int type) {
    const int s = slp_index(id);
    if (s < 0 || !kSlpTable[s].control)
      fail(QNDA_ERR_UNKNOWNID, "%d is not a nonlinear control", id);
    const SlpCaInfo &c = kSlpTable[s];
    if (c.type != type)
      fail(QNDA_ERR_TYPE, "control %s is not of type %s", c.name,
           type == QNDA_TYPE_INT ? "integer" : "double");
    if (std::isnan(v) || v < c.min || v > c.max)
      fail(QNDA_ERR_VALUE, "value %g of control %s out of its range [%g, %g]", v, c.name, c.min,
           c.max);
    if (id == QSLP_OBJSENSE) fail(QNDA_ERR_ARGUMENT, "a job cannot change the objective sense");
    job.controls.emplace_back(id, v);
  };
  if (nint > 0) check_array(intid, "intcontrolid"), check_array(intval, "intcontrolval");
  if (ndbl > 0) check_array(dblid, "dblcontrolid"), check_array(dblval, "dblcontrolval");
  for (int k = 0; k < nint; ++k) add_control(intid[k], intval[k], QNDA_TYPE_INT);
  for (int k = 0; k < ndbl; ++k) add_control(dblid[k], dblval[k], QNDA_TYPE_DOUBLE);
  return job;
}

void add_preset(qslp_problem_s &p, const MsJob &base, int preset, int count) {
  if (preset < QSLP_MSPRESET_INITIALVALUES || preset > QSLP_MSPRESET_ALGORITHMS)
    fail(QNDA_ERR_VALUE, "unknown multistart preset %d", preset);
  check_count(count, "count");
  for (int k = 0; k < count; ++k) {
    MsJob job = base;
    job.preset = preset;
    job.member = k;
    p.ms.jobs.push_back(std::move(job));
  }
}

}  // namespace

extern "C" {

int QSLPmsaddjob(QSLPprob prob, const char *description, int ninitial, const int *colind,
                 const double *initial, int nintcontrols, const int *intcontrolid,
                 const int *intcontrolval, int ndblcontrols, const int *dblcontrolid,
                 const double *dblcontrolval, void *job) {
  return slp_guard(prob, "QSLPmsaddjob", [&] {
    prob->ms.jobs.push_back(make_job(*prob, description, ninitial, colind, initial, nintcontrols,
                                     intcontrolid, intcontrolval, ndblcontrols, dblcontrolid,
                                     dblcontrolval, job));
  });
}

int QSLPmsaddpreset(QSLPprob prob, const char *description, int preset, int count, void *job) {
  return slp_guard(prob, "QSLPmsaddpreset", [&] {
    add_preset(*prob,
               make_job(*prob, description, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr,
                        nullptr, job),
               preset, count);
  });
}

int QSLPmsaddcustompreset(QSLPprob prob, const char *description, int preset, int count,
                          int ninitial, const int *colind, const double *initial, int nintcontrols,
                          const int *intcontrolid, const int *intcontrolval, int ndblcontrols,
                          const int *dblcontrolid, const double *dblcontrolval, void *job) {
  return slp_guard(prob, "QSLPmsaddcustompreset", [&] {
    add_preset(*prob,
               make_job(*prob, description, ninitial, colind, initial, nintcontrols, intcontrolid,
                        intcontrolval, ndblcontrols, dblcontrolid, dblcontrolval, job),
               preset, count);
  });
}

int QSLPmsclear(QSLPprob prob) {
  return slp_guard(prob, "QSLPmsclear", [&] { prob->ms = MsState(); });
}

int QSLPmsgetjobresult(QSLPprob prob, int k, int *status, double *objval, double *maxviolation) {
  return slp_guard(prob, "QSLPmsgetjobresult", [&] {
    const int n = static_cast<int>(prob->ms.results.size());
    if (n == 0) fail(QNDA_ERR_STATE, "no multistart has run since the jobs were added");
    check_index(k, n, "job");
    const MsResult &r = prob->ms.results[k];
    if (status) *status = r.status;
    if (objval) *objval = r.objval;
    if (maxviolation) *maxviolation = r.max_violation;
  });
}

}  // extern "C"
