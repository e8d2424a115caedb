// The HiGHS engine: LP (dual/primal simplex, interior point), MIP and convex
// QP.  The only file of the library, with highs_files.cpp, that sees HiGHS.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Highs.h"
#include "core/messages.h"
#include "engine/cbc/cbc_engine.h"
#include "engine/engine.h"
#include "engine/highs/highs_common.h"
#include "engine/highs/highs_sync.h"

namespace qnda {
namespace {

// Splits HiGHS's log output (which may arrive in pieces or several lines at
// once) into whole lines.
class LineSplitter {
 public:
  explicit LineSplitter(const EngineHooks &hooks, int level) : hooks_(hooks), level_(level) {}
  void add(HighsLogType type, const std::string &text) {
    int msgtype = MSG_INFO;
    int need = 2;
    switch (type) {
      case HighsLogType::kWarning:
        msgtype = MSG_WARNING;
        need = 1;
        break;
      case HighsLogType::kError:
        msgtype = MSG_ERROR;
        need = 1;
        break;
      case HighsLogType::kDetailed:
      case HighsLogType::kVerbose:
        need = 3;
        break;
      default:
        break;
    }
    if (level_ < need) return;
    // HiGHS may log from its worker threads.
    std::lock_guard<std::mutex> lk(mu_);
    if (!pending_.empty() && type_ != msgtype) flush_locked();
    type_ = msgtype;
    pending_ += text;
    size_t pos;
    while ((pos = pending_.find('\n')) != std::string::npos) {
      emit(pending_.substr(0, pos));
      pending_.erase(0, pos + 1);
    }
  }
  void flush() {
    std::lock_guard<std::mutex> lk(mu_);
    flush_locked();
  }

 private:
  void emit(std::string line) {
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
    if (hooks_.log) hooks_.log(type_, line);
  }
  void flush_locked() {
    if (!pending_.empty()) emit(pending_);
    pending_.clear();
  }
  std::mutex mu_;
  const EngineHooks &hooks_;
  int level_;
  int type_ = MSG_INFO;
  std::string pending_;
};

// What the callback reaches; hooks and log are set for the length of one
// optimisation (the instance outlives it), NULL between them.
struct CallbackData {
  const EngineHooks *hooks = nullptr;
  LineSplitter *log = nullptr;
  std::atomic<long long> improving{0};
  std::atomic<bool> interrupted{false};
  bool mip = false;
  // Iteration counts at the last lplog and barrier events.
  std::atomic<long long> lplog_at{-1}, bar_at{-1};
};

// Simplex iterations between two lplog events.
constexpr long long kLpLogInterval = 100;

EventInfo event_info(const HighsCallbackOutput *out, const CallbackData &cb) {
  EventInfo e;
  e.running_time = out->running_time;
  e.simplex_iter = std::max<long long>(0, out->simplex_iteration_count);
  e.barrier_iter = std::max<long long>(0, out->ipm_iteration_count);
  if (cb.mip) {
    e.simplex_iter = std::max<long long>(e.simplex_iter, out->mip_total_lp_iterations);
    e.nodes = std::max<int64_t>(0, out->mip_node_count);
    e.mip_sols = cb.improving;
    e.primal_bound = out->mip_primal_bound;
    e.dual_bound = out->mip_dual_bound;
    e.gap = out->mip_gap;
    e.has_incumbent =
        std::isfinite(out->mip_primal_bound) && std::fabs(out->mip_primal_bound) < kHighsInf;
  } else {
    e.dual_bound = out->objective_function_value;
  }
  return e;
}

// The problem's callbacks at HiGHS's events (events is not NULL).
void fire_events(int type, const HighsCallbackOutput *out, CallbackData &cb) {
  CallbackDispatch &ev = *cb.hooks->events;
  switch (type) {
    case kCallbackSimplexInterrupt: {
      if (!ev.wants(CB_LPLOG)) break;
      const long long it = out->simplex_iteration_count, last = cb.lplog_at;
      if (last >= 0 && it - last < kLpLogInterval) break;
      cb.lplog_at = it;
      ev.log_event(CB_LPLOG, event_info(out, cb));
      break;
    }
    case kCallbackIpmInterrupt: {
      // HiGHS polls more than once per iteration (and some polls carry no
      // count): one event per new iteration.
      const long long it = out->ipm_iteration_count;
      if (it <= cb.bar_at) break;
      cb.bar_at = it;
      EventInfo e = event_info(out, cb);
      ev.bariteration(e);
      ev.log_event(CB_BARLOG, e);
      break;
    }
    case kCallbackMipInterrupt:
      if (ev.gap_active()) ev.gap_event(event_info(out, cb));
      break;
    case kCallbackMipImprovingSolution: {
      EventInfo e = event_info(out, cb);
      if (static_cast<int>(out->mip_solution.size()) > 0) e.x = out->mip_solution.data();
      ev.intsol(e);
      if (ev.gap_active()) ev.gap_event(e);
      break;
    }
    case kCallbackMipLogging:
      ev.log_event(CB_GLOBALLOG, event_info(out, cb));
      break;
    case kCallbackMipGetCutPool:
      ev.log_event(CB_CUTLOG, event_info(out, cb));
      break;
    default:
      break;
  }
}

void highs_callback(int type, const std::string &message, const HighsCallbackOutput *out,
                    HighsCallbackInput *in, void *user) {
  auto *cb = static_cast<CallbackData *>(user);
  if (!cb->hooks) return;
  if (type == kCallbackMipImprovingSolution) ++cb->improving;
  if (cb->hooks->events && type != kCallbackLogging) fire_events(type, out, *cb);
  switch (type) {
    case kCallbackLogging:
      cb->log->add(out->log_type, message);
      break;
    case kCallbackSimplexInterrupt:
    case kCallbackIpmInterrupt:
    case kCallbackMipInterrupt:
      // Written either way: the instance keeps its input from the last
      // optimisation, which may have been stopped.
      in->user_interrupt = cb->hooks->stop && cb->hooks->stop();
      if (in->user_interrupt) cb->interrupted = true;
      break;
    default:
      break;
  }
}

// HiGHS keeps one task scheduler per thread, sized when it first runs; a run
// asking for another thread count needs it rebuilt first.
void prepare_threads(Highs &h, int threads) {
  thread_local int current = -1;
  if (current != -1 && current != threads) Highs::resetGlobalScheduler(true);
  current = threads;
  h.setOptionValue("threads", static_cast<HighsInt>(threads));
}

HighsInt clamp_int(long long v) {
  if (v <= 0 || v > kHighsIInf) return kHighsIInf;
  return static_cast<HighsInt>(v);
}

// Only what differs from HiGHS's defaults is set: a default set explicitly
// can change the engine's path (and its speed) for nothing.
void apply_settings(Highs &h, const EngineSettings &s, bool mip, bool qp) {
  h.setOptionValue("output_flag", s.log_level > 0);
  h.setOptionValue("log_to_console", false);
  if (s.log_level >= 3) h.setOptionValue("log_dev_level", static_cast<HighsInt>(1));
  if (!s.presolve) h.setOptionValue("presolve", "off");
  if (!s.scaling) h.setOptionValue("simplex_scale_strategy", static_cast<HighsInt>(0));
  if (s.random_seed > 0) h.setOptionValue("random_seed", static_cast<HighsInt>(s.random_seed));
  if (s.time_limit > 0 && s.time_limit < 1e20) h.setOptionValue("time_limit", s.time_limit);
  if (clamp_int(s.lp_iter_limit) != kHighsIInf)
    h.setOptionValue("simplex_iteration_limit", clamp_int(s.lp_iter_limit));
  if (clamp_int(s.bar_iter_limit) != kHighsIInf)
    h.setOptionValue("ipm_iteration_limit", clamp_int(s.bar_iter_limit));
  auto set_dbl = [&h](const char *name, double v) {
    double cur;
    if (h.getOptionValue(name, cur) == HighsStatus::kOk && cur != v) h.setOptionValue(name, v);
  };
  if (s.feas_tol > 0) set_dbl("primal_feasibility_tolerance", s.feas_tol);
  if (s.opt_tol > 0) set_dbl("dual_feasibility_tolerance", s.opt_tol);
  if (s.bar_gap > 0) set_dbl("ipm_optimality_tolerance", s.bar_gap);
  if (std::fabs(s.cutoff) < 1e20) h.setOptionValue("objective_bound", s.cutoff);
  if (!s.crossover) h.setOptionValue("run_crossover", "off");
  if (mip) {
    if (clamp_int(s.max_nodes) != kHighsIInf)
      h.setOptionValue("mip_max_nodes", clamp_int(s.max_nodes));
    if (clamp_int(s.max_mip_sols) != kHighsIInf)
      h.setOptionValue("mip_max_improving_sols", clamp_int(s.max_mip_sols));
    set_dbl("mip_rel_gap", std::max(0.0, s.mip_rel_gap));
    set_dbl("mip_abs_gap", std::max(0.0, s.mip_abs_gap));
    if (s.mip_tol > 0) set_dbl("mip_feasibility_tolerance", s.mip_tol);
    // The LP solves of the search; "solver" itself stays at its default,
    // since a fixed LP solver would make HiGHS drop the integrality.
    if (s.lp_algorithm == 2 || s.lp_algorithm == 3) h.setOptionValue("mip_lp_solver", "simplex");
    if (s.lp_algorithm == 4) h.setOptionValue("mip_lp_solver", "ipm");
    return;
  }
  if (qp) return;  // HiGHS's QP solver is the one choice for a quadratic objective
  switch (s.lp_algorithm) {
    case 2:
      h.setOptionValue("solver", "simplex");
      h.setOptionValue("simplex_strategy", static_cast<HighsInt>(1));
      break;
    case 3:
      h.setOptionValue("solver", "simplex");
      h.setOptionValue("simplex_strategy", static_cast<HighsInt>(4));
      break;
    case 4:
      h.setOptionValue("solver", "ipm");
      break;
    default:
      break;
  }
}

EngineStatus map_status(HighsModelStatus st, bool mip, const CallbackData &cb) {
  switch (st) {
    case HighsModelStatus::kOptimal:
    case HighsModelStatus::kModelEmpty:
      return EngineStatus::Optimal;
    case HighsModelStatus::kInfeasible:
      return EngineStatus::Infeasible;
    case HighsModelStatus::kUnbounded:
      return EngineStatus::Unbounded;
    case HighsModelStatus::kUnboundedOrInfeasible:
      return EngineStatus::InfeasibleOrUnbounded;
    case HighsModelStatus::kObjectiveBound:
    case HighsModelStatus::kObjectiveTarget:
      return EngineStatus::Cutoff;
    case HighsModelStatus::kTimeLimit:
      return EngineStatus::TimeLimit;
    case HighsModelStatus::kIterationLimit:  // of the search's nodes in a MIP
      return mip ? EngineStatus::NodeLimit : EngineStatus::IterationLimit;
    case HighsModelStatus::kSolutionLimit:
      // HiGHS reports the node limit and the solution limit alike.
      return cb.improving > 0 ? EngineStatus::SolutionLimit : EngineStatus::NodeLimit;
    case HighsModelStatus::kInterrupt:
    case HighsModelStatus::kHighsInterrupt:
      return EngineStatus::Interrupted;
    default:
      return EngineStatus::Error;
  }
}

// Sets the callback's hooks for one optimisation and clears them after.
class CallbackScope {
 public:
  CallbackScope(CallbackData &cb, const EngineHooks &hooks, LineSplitter &log) : cb_(cb) {
    cb.improving = 0;
    cb.interrupted = false;
    cb.lplog_at = cb.bar_at = -1;
    cb.log = &log;
    cb.hooks = &hooks;
  }
  ~CallbackScope() {
    cb_.hooks = nullptr;
    cb_.log = nullptr;
  }
  CallbackScope(const CallbackScope &) = delete;
  CallbackScope &operator=(const CallbackScope &) = delete;

 private:
  CallbackData &cb_;
};

// Rays of an infeasible or unbounded LP and the basic variables of a
// factored basis, asked of HiGHS while its solve is at hand.
void certificates(Highs &h, HighsModelStatus st, int ncols, int nrows, EngineResult &r) {
  bool has = false;
  const bool infeasible =
      st == HighsModelStatus::kInfeasible || st == HighsModelStatus::kUnboundedOrInfeasible;
  const bool unbounded =
      st == HighsModelStatus::kUnbounded || st == HighsModelStatus::kUnboundedOrInfeasible;
  if (infeasible) {
    std::vector<double> ray(static_cast<size_t>(nrows));
    if (h.getDualRay(has, ray.data()) == HighsStatus::kOk && has) r.dual_ray = std::move(ray);
  }
  if (unbounded) {
    std::vector<double> ray(static_cast<size_t>(ncols));
    has = false;
    if (h.getPrimalRay(has, ray.data()) == HighsStatus::kOk && has) r.primal_ray = std::move(ray);
  }
  if (r.has_basis && h.hasInvert()) {
    std::vector<HighsInt> basic(static_cast<size_t>(nrows));
    if (h.getBasicVariables(basic.data()) == HighsStatus::kOk)
      r.basic_vars.assign(basic.begin(), basic.end());
  }
}

// The basis of start handed to h; false when HiGHS refuses it.
bool set_basis(Highs &h, const EngineStart &start, int ncols, int nrows) {
  HighsBasis b;
  b.col_status.resize(ncols);
  b.row_status.resize(nrows);
  for (int j = 0; j < ncols; ++j) b.col_status[j] = to_highs(start.col_basis[j]);
  for (int i = 0; i < nrows; ++i) b.row_status[i] = to_highs(start.row_basis[i]);
  b.valid = true;
  b.alien = true;
  return h.setBasis(b, "user") == HighsStatus::kOk;
}

void load_start(Highs &h, const EngineStart &start, bool mip, int ncols, int nrows,
                const EngineHooks &hooks) {
  if (!mip && !start.col_basis.empty() && static_cast<int>(start.col_basis.size()) == ncols &&
      static_cast<int>(start.row_basis.size()) == nrows) {
    if (!set_basis(h, start, ncols, nrows) && hooks.log)
      hooks.log(MSG_WARNING, "The loaded basis was not accepted; solving from scratch");
  } else if (!mip && static_cast<int>(start.col_value.size()) == ncols) {
    HighsSolution sol;
    sol.col_value = start.col_value;
    sol.value_valid = true;
    if (static_cast<int>(start.row_dual.size()) == nrows) {
      sol.row_dual = start.row_dual;
      sol.dual_valid = true;
    }
    h.setSolution(sol);
  }
  if (mip && static_cast<int>(start.mip_start.size()) == ncols) {
    HighsSolution sol;
    sol.col_value = start.mip_start;
    sol.value_valid = true;
    h.setSolution(sol);
  }
}

// Instances of engines gone (their problem destroyed or its engine
// replaced), emptied, for the next engine: building a Highs costs about as
// much as solving a tiny LP, emptying one a fraction of that.  Never freed
// (the scheduler they use may be gone at exit).
struct InstancePool {
  std::mutex mu;
  std::vector<std::unique_ptr<Highs>> idle;
};
constexpr size_t kPoolSize = 4;

InstancePool &pool() {
  static InstancePool *p = new InstancePool();
  return *p;
}

std::unique_ptr<Highs> take_instance() {
  {
    InstancePool &p = pool();
    std::lock_guard<std::mutex> lk(p.mu);
    if (!p.idle.empty()) {
      std::unique_ptr<Highs> h = std::move(p.idle.back());
      p.idle.pop_back();
      return h;
    }
  }
  return std::unique_ptr<Highs>(new Highs());
}

void give_instance(std::unique_ptr<Highs> h) {
  // Nothing of the last problem stays: model, solution, basis, options.
  h->setCallback(static_cast<HighsCallbackFunctionType>(nullptr), nullptr);
  h->clear();
  h->setOptionValue("output_flag", false);
  InstancePool &p = pool();
  std::lock_guard<std::mutex> lk(p.mu);
  if (p.idle.size() < kPoolSize) p.idle.push_back(std::move(h));
}

// One HiGHS instance per problem, kept between optimisations with its model
// and basis: the next model is applied as changes (sync_model) unless its
// shape changed, so that a re-solve starts where the last one ended.
class HighsEngine final : public Engine {
 public:
  HighsEngine() : hp_(take_instance()), h_(*hp_) {
    h_.setOptionValue("output_flag", false);
    h_.setCallback(highs_callback, &cb_);
    h_.startCallback(kCallbackLogging);
    h_.startCallback(kCallbackSimplexInterrupt);
    h_.startCallback(kCallbackIpmInterrupt);
    h_.startCallback(kCallbackMipInterrupt);
    h_.startCallback(kCallbackMipImprovingSolution);
  }
  ~HighsEngine() override { give_instance(std::move(hp_)); }

  const char *name() const override { return "highs"; }

  bool basis_solve(FlatModel &m, const EngineStart &start, const std::vector<double> &rhs,
                   std::vector<int> &basic, std::vector<double> &d) override {
    const int ncols = m.ncols, nrows = m.nrows;
    if (static_cast<int>(rhs.size()) != nrows || m.has_quadratic()) return false;
    // A fresh instance: the kept one stays as the last optimisation left it.
    Highs h;
    h.setOptionValue("output_flag", false);
    h.setOptionValue("presolve", "off");
    h.setOptionValue("solver", "simplex");
    HighsModel hm;
    move_into(m, hm, false);
    if (h.passModel(std::move(hm)) == HighsStatus::kError || !set_basis(h, start, ncols, nrows))
      return false;
    // From an optimal basis the simplex makes no iteration and leaves the
    // basis factored.
    if (h.run() != HighsStatus::kOk || !h.hasInvert()) return false;
    std::vector<HighsInt> bv(static_cast<size_t>(nrows));
    d.assign(static_cast<size_t>(nrows), 0.0);
    if (h.getBasicVariables(bv.data()) != HighsStatus::kOk ||
        h.getBasisSolve(rhs.data(), d.data()) != HighsStatus::kOk)
      return false;
    basic.assign(bv.begin(), bv.end());
    return true;
  }

  void solve(FlatModel &m, const EngineSettings &s, const EngineStart &start,
             const EngineHooks &hooks, EngineResult &r) override {
    Highs &h = h_;
    LineSplitter log(hooks, s.log_level);
    CallbackData &cb = cb_;
    CallbackScope scope(cb, hooks, log);
    // The kinds with a cost of their own run only when a callback wants them.
    const bool globallog = hooks.events && hooks.events->wants(CB_GLOBALLOG);
    const bool cutlog = hooks.events && hooks.events->wants(CB_CUTLOG);
    globallog ? h.startCallback(kCallbackMipLogging) : h.stopCallback(kCallbackMipLogging);
    cutlog ? h.startCallback(kCallbackMipGetCutPool) : h.stopCallback(kCallbackMipGetCutPool);

    const int ncols = m.ncols, nrows = m.nrows;
    const bool mip = s.mip && m.has_integers();
    cb.mip = mip;
    const bool qp = m.has_quadratic();
    const double offset = m.obj_constant;
    // Options of the last optimisation go first: only what differs from
    // HiGHS's defaults is set.
    if (!fresh_) h.resetOptions();
    fresh_ = false;
    apply_settings(h, s, mip, qp);
    // HiGHS reports its MIP log lines only while it logs (the lines of a
    // silent run are dropped by the splitter).
    if (mip && hooks.events && hooks.events->wants(CB_GLOBALLOG))
      h.setOptionValue("output_flag", true);
    prepare_threads(h, s.threads);

    const std::vector<HighsVarType> integ = engine_integrality(m, s.mip);
    SyncCounts counts;
    bool primal = s.lp_algorithm == 3;  // the LP runs the primal simplex
    KeptIds ids;
    ids.take(m);
    r.warm = sync_model(h, kept_, m, integ, counts);
    kept_ = KeptIds();
    if (r.warm) {
      if (hooks.log && s.log_level >= 2)
        hooks.log(MSG_INFO, "Warm start: " + std::to_string(counts.add_rows) + " rows and " +
                                std::to_string(counts.add_cols) + " columns added, " +
                                std::to_string(counts.del_rows) + " rows and " +
                                std::to_string(counts.del_cols) + " columns deleted, " +
                                std::to_string(counts.bounds + counts.costs + counts.rhs +
                                               counts.coefs + counts.types) +
                                " values changed");
      // Only costs changed: the kept basis is still primal feasible, so the
      // primal simplex finishes from it (the dual would start with a
      // repair).  Other changes keep it dual feasible: HiGHS's dual default.
      if (!mip && !qp && s.lp_algorithm == 1 && counts.costs > 0 && counts.only_costs()) {
        primal = true;
        h.setOptionValue("solver", "simplex");
        h.setOptionValue("simplex_strategy", static_cast<HighsInt>(4));
      }
    } else {
      HighsModel hm;
      move_into(m, hm, s.mip);
      if (h.passModel(std::move(hm)) == HighsStatus::kError) {
        log.flush();
        r.status = EngineStatus::Error;
        r.message = "the engine refused the model";
        return;
      }
    }
    load_start(h, start, mip, ncols, nrows, hooks);

    HighsStatus run = h.run();
    if (h.getModelStatus() == HighsModelStatus::kUnboundedOrInfeasible && s.presolve &&
        !cb.interrupted) {
      // Presolve could not tell the two apart; the solvers without it can.
      log.flush();
      if (hooks.log && s.log_level >= 2)
        hooks.log(MSG_INFO, "Infeasible or unbounded after presolve: solving again without it");
      h.setOptionValue("presolve", "off");
      run = h.run();
    }
    log.flush();
    const HighsInfo &info = h.getInfo();
    const HighsModelStatus st = h.getModelStatus();
    r.solve_time = h.getRunTime();
    // The QP solver's iterations are active-set (simplex-like) steps.
    r.simplex_iter = std::max<HighsInt>(0, info.simplex_iteration_count) +
                     std::max<HighsInt>(0, info.qp_iteration_count);
    r.barrier_iter = std::max<HighsInt>(0, info.ipm_iteration_count);
    r.nodes = mip ? std::max<int64_t>(0, info.mip_node_count) : 0;
    r.mip_sols = cb.improving;
    r.max_primal_infeas = std::max(0.0, info.max_primal_infeasibility);
    r.max_dual_infeas = std::max(0.0, info.max_dual_infeasibility);
    r.objective = info.objective_function_value;
    r.best_bound = mip ? info.mip_dual_bound : info.objective_function_value;
    r.rel_gap = mip ? info.mip_gap : 0.0;
    if (qp)
      r.algorithm = 1;  // the engine's QP solver
    else if (r.barrier_iter > 0)
      r.algorithm = 4;
    else
      r.algorithm = primal ? 3 : 2;
    r.status = map_status(st, mip, cb);
    if (run == HighsStatus::kError && r.status == EngineStatus::Error && qp &&
        st == HighsModelStatus::kNotset) {
      r.status = EngineStatus::NonConvex;
      r.message = "the engine found the quadratic objective not convex";
      return;
    }
    if (run == HighsStatus::kError && r.status == EngineStatus::Error) {
      r.message = "the engine failed: " + h.modelStatusToString(st);
      return;
    }
    if (r.status == EngineStatus::Interrupted && !cb.interrupted) r.status = EngineStatus::Error;

    const HighsSolution &sol = h.getSolution();
    if (sol.value_valid && info.primal_solution_status == kSolutionStatusFeasible) {
      r.has_primal = true;
      r.col_value = sol.col_value;
      r.row_activity = sol.row_value;
    } else if (sol.value_valid && !mip && r.status == EngineStatus::Unbounded) {
      // An unbounded LP has a feasible point; keep it.
      r.has_primal = true;
      r.col_value = sol.col_value;
      r.row_activity = sol.row_value;
    }
    if (!mip && sol.dual_valid && info.dual_solution_status != kSolutionStatusNone) {
      r.has_dual = true;
      r.row_dual = sol.row_dual;
      r.col_dual = sol.col_dual;
    }
    const HighsBasis &b = h.getBasis();
    if (!mip && b.valid && static_cast<int>(b.col_status.size()) == ncols) {
      r.has_basis = true;
      r.col_basis.resize(ncols);
      r.row_basis.resize(nrows);
      for (int j = 0; j < ncols; ++j) r.col_basis[j] = from_highs(b.col_status[j]);
      for (int i = 0; i < nrows; ++i) r.row_basis[i] = from_highs(b.row_status[i]);
    }
    if (!mip) certificates(h, st, ncols, nrows, r);
    if (st == HighsModelStatus::kModelEmpty) {
      // Nothing to decide: the solution is empty and the objective its constant.
      r.has_primal = r.has_dual = r.has_basis = true;
      r.col_value.assign(ncols, 0.0);
      r.row_activity.assign(nrows, 0.0);
      r.col_dual.assign(ncols, 0.0);
      r.row_dual.assign(nrows, 0.0);
      r.objective = r.best_bound = offset;
      r.rel_gap = 0.0;
    }
    if (mip && r.has_primal && r.mip_sols == 0) r.mip_sols = 1;
    // What the next optimisation may build on; a failed one leaves nothing.
    if (r.status != EngineStatus::Error && r.status != EngineStatus::NonConvex)
      kept_ = std::move(ids);
  }

 private:
  std::unique_ptr<Highs> hp_;
  Highs &h_;
  CallbackData cb_;
  bool fresh_ = true;  // h_ has the default options
  KeptIds kept_;       // the model h_ holds (valid: the last optimisation ran on it)
};

}  // namespace

const char *engine_name(const std::string &name) {
  std::string n;
  for (char c : name) n += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (n.empty() || n == "highs") return "highs";
  return n == "cbc" ? "cbc" : nullptr;
}

std::unique_ptr<Engine> make_engine(const std::string &name) {
  const char *n = engine_name(name);
  if (n && std::strcmp(n, "highs") == 0) return std::unique_ptr<Engine>(new HighsEngine());
  if (n && std::strcmp(n, "cbc") == 0) return make_cbc_engine();
  return nullptr;
}

std::vector<EngineInfo> engine_list() {
  // HConfig.h's macros: the version of the sources we compiled against.
  std::string v = std::to_string(HIGHS_VERSION_MAJOR) + "." + std::to_string(HIGHS_VERSION_MINOR) +
                  "." + std::to_string(HIGHS_VERSION_PATCH);
  return {{"highs", v, "LP MIP QP"}};
}

}  // namespace qnda
