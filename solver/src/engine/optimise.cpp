#include "engine/optimise.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <string>

#include "core/codetext.h"
#include "core/error.h"
#include "core/messages.h"
#include "model/problem.h"
#include "engine/convexity.h"
#include "engine/delayed.h"
#include "engine/engine.h"
#include "engine/qcqp.h"
#include "engine/reformulate.h"
#include "engine/userscale.h"

namespace qnda {

// ------------------------------------------------------------------ SIGINT
namespace {

std::atomic<unsigned> g_sigint_count{0};
static_assert(std::atomic<unsigned>::is_always_lock_free, "the handler needs a lock-free counter");

extern "C" void qnda_sigint_handler(int) {
  // Async-signal-safe: a lock-free atomic increment and nothing else.
  g_sigint_count.fetch_add(1, std::memory_order_relaxed);
}

std::mutex g_sig_mu;
int g_sig_users = 0;
struct sigaction g_sig_saved;

}  // namespace

SigintScope::SigintScope() {
  std::lock_guard<std::mutex> lk(g_sig_mu);
  if (g_sig_users++ == 0) {
    struct sigaction sa;
    std::memset(&sa, 0, sizeof sa);
    sa.sa_handler = qnda_sigint_handler;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = SA_RESTART;
    sigaction(SIGINT, &sa, &g_sig_saved);
  }
  start_ = g_sigint_count.load(std::memory_order_relaxed);
}

SigintScope::~SigintScope() {
  std::lock_guard<std::mutex> lk(g_sig_mu);
  if (--g_sig_users == 0) sigaction(SIGINT, &g_sig_saved, nullptr);
}

bool SigintScope::fired() const { return g_sigint_count.load(std::memory_order_relaxed) != start_; }

// ------------------------------------------------------------ optimisation
namespace {

struct Flags {
  int algorithm = 0;  // 0: from the control
  bool relax = false;
  bool presolve_only = false;  // 'P': presolve and leave the problem presolved
};

Flags parse_flags(const char *flags, bool mip) {
  Flags f;
  if (!flags) return f;
  for (const char *p = flags; *p; ++p) {
    switch (*p) {
      case 'd':
        f.algorithm = 2;
        break;
      case 'p':
        f.algorithm = 3;
        break;
      case 'b':
        f.algorithm = 4;
        break;
      case 'n':
        f.algorithm = 1;
        break;
      case 'l':
        if (!mip) fail(QNDA_ERR_ARGUMENT, "unknown flag 'l' (only mipoptimize takes it)");
        f.relax = true;
        break;
      case 'P':
        f.presolve_only = true;
        break;
      case ' ':
        break;
      default:
        fail(QNDA_ERR_ARGUMENT, "unknown flag '%c' in \"%s\" (known: d p b n P%s)", *p, flags,
             mip ? " l" : "");
    }
  }
  return f;
}

EngineSettings settings_from(const Controls &c, bool mip, const Flags &f) {
  EngineSettings s;
  s.mip = mip && !f.relax;
  s.lp_algorithm = f.algorithm ? f.algorithm : c.get_int(QNDA_LPALGORITHM);
  s.log_level = c.get_int(QNDA_LOGLEVEL);
  s.threads = c.get_int(QNDA_THREADS);
  s.presolve = c.get_int(QNDA_PRESOLVE);
  s.scaling = c.get_int(QNDA_SCALING);
  s.crossover = c.get_int(QNDA_CROSSOVER);
  s.random_seed = c.get_int(QNDA_RANDOMSEED);
  s.lp_iter_limit = c.get_int(QNDA_LPITERLIMIT);
  s.bar_iter_limit = c.get_int(QNDA_BARITERLIMIT);
  s.max_nodes = c.get_int64(QNDA_MAXNODE);
  s.max_mip_sols = c.get_int(QNDA_MAXMIPSOL);
  s.time_limit = c.get_dbl(QNDA_TIMELIMIT);
  s.mip_rel_gap = c.get_dbl(QNDA_MIPRELSTOP);
  s.mip_abs_gap = c.get_dbl(QNDA_MIPABSSTOP);
  s.feas_tol = c.get_dbl(QNDA_FEASTOL);
  s.opt_tol = c.get_dbl(QNDA_OPTIMALITYTOL);
  s.mip_tol = c.get_dbl(QNDA_MIPTOL);
  s.cutoff = c.get_dbl(QNDA_MIPCUTOFF);
  s.bar_gap = c.get_dbl(QNDA_BARGAPSTOP);
  s.infinity = c.get_dbl(QNDA_INFINITYCTRL);
  // An iteration limit of 0 means "none" to the engine adapters.
  if (s.lp_iter_limit == 0) s.lp_iter_limit = -1;
  if (s.bar_iter_limit == 0) s.bar_iter_limit = -1;
  if (s.max_nodes == 0) s.max_nodes = -1;
  return s;
}

}  // namespace

// Row basis statuses: ours are those of the slack s = rhs - a'x (an 'L'
// row at its limit has s = 0 at its lower bound); the engine's are those of
// the activity a'x.
int row_stat_from_engine(BasisStat b, char type) {
  switch (b) {
    case BasisStat::Basic:
      return QNDA_BASIC;
    case BasisStat::Zero:
      return type == 'N' ? QNDA_BASIC : QNDA_FREE_SUPER;
    case BasisStat::Lower:
      return type == 'E' || type == 'L' ? QNDA_AT_LOWER : QNDA_AT_UPPER;
    case BasisStat::Upper:
      return type == 'G' ? QNDA_AT_UPPER : QNDA_AT_LOWER;
  }
  return QNDA_BASIC;
}

int col_stat_from_engine(BasisStat b) {
  // In the order of BasisStat: Lower, Basic, Upper, Zero.
  static constexpr int kStat[] = {QNDA_AT_LOWER, QNDA_BASIC, QNDA_AT_UPPER, QNDA_FREE_SUPER};
  return kStat[static_cast<int>(b)];
}

const char *stop_text(int stop) {
  static constexpr CodeText kStops[] = {
      {QNDA_STOP_TIMELIMIT, "time limit reached"}, {QNDA_STOP_CTRLC, "interrupted by Ctrl-C"},
      {QNDA_STOP_NODELIMIT, "node limit reached"}, {QNDA_STOP_ITERLIMIT, "iteration limit reached"},
      {QNDA_STOP_MIPGAP, "MIP gap reached"},       {QNDA_STOP_SOLLIMIT, "solution limit reached"},
      {QNDA_STOP_USER, "interrupted by the user"}};
  return code_text(kStops, stop, "interrupted");
}

void fill_results(const Model &model, const EngineResult &r, bool rows_rewritten, SolveState &st) {
  const int n = model.ncols(), m = model.nrows();
  if (r.has_primal) {
    st.has_solution = true;
    st.x.assign(r.col_value.begin(), r.col_value.begin() + n);
    st.slack.resize(m);
    const auto &rhs = model.rhs();
    if (rows_rewritten) {
      // Indicator rows reached the engine with big-M terms: slacks are of
      // the rows as the user gave them.
      std::vector<double> act(m, 0.0);
      SparseMatrix::Csc a = model.csc();
      for (int j = 0; j < n; ++j)
        for (QNDAint64 k = a.start[j]; k < a.start[j + 1]; ++k)
          act[a.index[k]] += a.value[k] * st.x[j];
      for (int i = 0; i < m; ++i) st.slack[i] = rhs[i] - act[i];
    } else {
      for (int i = 0; i < m; ++i) st.slack[i] = rhs[i] - r.row_activity[i];
    }
  }
  if (r.has_dual) {
    st.has_duals = true;
    st.duals.assign(r.row_dual.begin(), r.row_dual.begin() + m);
    st.djs.assign(r.col_dual.begin(), r.col_dual.begin() + n);
  }
  if (r.has_basis && static_cast<int>(r.col_basis.size()) == n &&
      static_cast<int>(r.row_basis.size()) == m) {
    st.colstat.resize(n);
    st.rowstat.resize(m);
    for (int j = 0; j < n; ++j) st.colstat[j] = col_stat_from_engine(r.col_basis[j]);
    const auto &type = model.rowtype();
    for (int i = 0; i < m; ++i) st.rowstat[i] = row_stat_from_engine(r.row_basis[i], type[i]);
  }
  // Rays and the basis order only where the engine's rows and columns are
  // the user's (a reformulated model's would not describe them).
  if (static_cast<int>(r.dual_ray.size()) == m) st.dual_ray = r.dual_ray;
  if (static_cast<int>(r.primal_ray.size()) == n) st.primal_ray = r.primal_ray;
  if (static_cast<int>(r.basic_vars.size()) == m && static_cast<int>(r.col_basis.size()) == n) {
    st.pivot_order.resize(m);
    for (int i = 0; i < m; ++i) {
      const int b = r.basic_vars[i];
      st.pivot_order[i] = b >= 0 ? m + b : -1 - b;
    }
  }
}

namespace {

int stop_of(EngineStatus s, int interrupt_reason) {
  if (s == EngineStatus::Interrupted) return interrupt_reason ? interrupt_reason : QNDA_STOP_USER;
  static constexpr struct {
    EngineStatus status;
    int stop;
  } kLimits[] = {{EngineStatus::TimeLimit, QNDA_STOP_TIMELIMIT},
                 {EngineStatus::IterationLimit, QNDA_STOP_ITERLIMIT},
                 {EngineStatus::NodeLimit, QNDA_STOP_NODELIMIT},
                 {EngineStatus::SolutionLimit, QNDA_STOP_SOLLIMIT}};
  for (const auto &l : kLimits)
    if (l.status == s) return l.stop;
  return QNDA_STOP_NONE;
}

int lp_status_of(EngineStatus s) {
  // Stopped by a limit or an interrupt: unfinished.
  if (stop_of(s, 0) != QNDA_STOP_NONE) return QNDA_LP_UNFINISHED;
  switch (s) {
    case EngineStatus::Optimal:
      return QNDA_LP_OPTIMAL;
    case EngineStatus::Infeasible:
    case EngineStatus::InfeasibleOrUnbounded:
      return QNDA_LP_INFEAS;
    case EngineStatus::Unbounded:
      return QNDA_LP_UNBOUNDED;
    case EngineStatus::Cutoff:
      return QNDA_LP_CUTOFF_IN_DUAL;
    case EngineStatus::NonConvex:
      return QNDA_LP_NONCONVEX;
    default:
      return QNDA_LP_UNSOLVED;
  }
}

int mip_status_of(EngineStatus s, bool has_solution) {
  switch (s) {
    case EngineStatus::Optimal:
      return QNDA_MIP_OPTIMAL;
    case EngineStatus::Infeasible:
    case EngineStatus::InfeasibleOrUnbounded:
    case EngineStatus::Cutoff:
      return QNDA_MIP_INFEAS;
    case EngineStatus::Unbounded:
      return QNDA_MIP_UNBOUNDED;
    default:
      return has_solution ? QNDA_MIP_SOLUTION : QNDA_MIP_NO_SOL_FOUND;
  }
}

const char *lp_status_text(int s) {
  static const char *names[] = {"unstarted",       "optimal",    "infeasible",
                                "cut off",         "unfinished", "unbounded",
                                "cut off in dual", "unsolved",   "nonconvex"};
  return s >= 0 && s <= 8 ? names[s] : "unknown";
}

const char *mip_status_text(int s) {
  static const char *names[] = {"not loaded",        "LP not optimal", "LP optimal",
                                "no solution found", "solution found", "infeasible",
                                "optimal",           "unbounded"};
  return s >= 0 && s <= 7 ? names[s] : "unknown";
}

// The problem's kept engine when it is the one named, else a new one kept
// in its place.
Engine *kept_engine(qnda_problem_s &prob, const std::string &name) {
  auto *kept = dynamic_cast<Engine *>(prob.engine.get());
  const char *canonical = engine_name(name);
  if (kept && canonical && std::strcmp(canonical, kept->name()) == 0) return kept;
  std::unique_ptr<Engine> engine = make_engine(name);
  if (!engine)
    fail(QNDA_ERR_UNSUPPORTED, "no LP/MIP/QP engine named \"%s\" (available: highs, cbc)",
         name.c_str());
  prob.engine = std::move(engine);
  return static_cast<Engine *>(prob.engine.get());
}

}  // namespace

EngineSettings optimise_settings(const qnda_problem_s &prob, bool mip, const char *flags,
                                 bool &presolve_only) {
  const Flags f = parse_flags(flags, mip);
  presolve_only = f.presolve_only;
  return settings_from(prob.controls, mip, f);
}

int lp_status_from(EngineStatus s) { return lp_status_of(s); }
int mip_status_from(EngineStatus s, bool has_solution) { return mip_status_of(s, has_solution); }
int stop_status_from(EngineStatus s, int interrupt_reason) { return stop_of(s, interrupt_reason); }

// How a MIP start fares against the model the engine gets: 1 feasible, 4
// infeasible, 5 of the wrong length (the codes of usersolnotify).
int mip_start_status(const FlatModel &fm, const std::vector<double> &x, double tol) {
  if (static_cast<int>(x.size()) < fm.orig_cols) return 5;
  for (int j = 0; j < fm.orig_cols; ++j) {
    if (x[j] < fm.lb[j] - tol || x[j] > fm.ub[j] + tol) {
      const bool semi = fm.has_integers() && (fm.kind[j] == ColKind::SemiContinuous ||
                                              fm.kind[j] == ColKind::SemiInteger);
      if (!(semi && std::fabs(x[j]) <= tol)) return 4;
    }
    if (fm.has_integers() && fm.kind[j] != ColKind::Continuous &&
        std::fabs(x[j] - std::round(x[j])) > tol)
      return 4;
  }
  if (fm.ncols > fm.orig_cols) return 1;  // the reformulation's columns are the engine's to fill
  std::vector<double> act(fm.nrows, 0.0);
  for (int j = 0; j < fm.ncols; ++j)
    for (int k = fm.start[j]; k < fm.start[j + 1]; ++k) act[fm.index[k]] += fm.value[k] * x[j];
  for (int i = 0; i < fm.nrows; ++i)
    if (act[i] < fm.rowlo[i] - tol * (1 + std::fabs(fm.rowlo[i])) ||
        act[i] > fm.rowup[i] + tol * (1 + std::fabs(fm.rowup[i])))
      return 4;
  return 1;
}

// The kinds only the Cbc engine fires: its tree is open to the caller.
constexpr unsigned kCbcKinds = (1u << CB_PRENODE) | (1u << CB_OPTNODE) | (1u << CB_NEWNODE) |
                               (1u << CB_INFNODE) | (1u << CB_NODECUTOFF) | (1u << CB_PREINTSOL) |
                               (1u << CB_CHGBRANCHOBJECT);

// The engine of an optimisation: the control's, except that a search with
// node callbacks goes to the engine that exposes its nodes.
std::string engine_for(const qnda_problem_s &prob, bool search) {
  if (search && (prob.callbacks.registered() & kCbcKinds)) return "cbc";
  // Cbc is a MIP engine: LPs, QPs and relaxations stay with HiGHS.
  return search ? prob.controls.get_str(QNDA_SOLVERNAME) : "highs";
}

// The callbacks of this optimisation, or NULL when none is registered.
// Fails when a kind is registered that the engine cannot fire.
std::unique_ptr<CallbackDispatch> make_dispatch(qnda_problem_s &prob, const FlatModel &fm,
                                                bool search, const char *engine_name,
                                                const EngineStart &start, const ScaleFactors &sc,
                                                std::atomic<int> &reason) {
  const unsigned kinds = prob.callbacks.registered();
  if (!kinds) return nullptr;
  if (search) {
    const bool cbc = std::strcmp(engine_name, "cbc") == 0;
    for (int k = 0; k < CB_NKINDS; ++k)
      if (!cbc && (kinds & kCbcKinds & (1u << k)))
        fail(QNDA_ERR_UNSUPPORTED,
             "the %s callback needs an engine that exposes its branch-and-bound; the %s engine "
             "does not serve it",
             cb_kind_name(static_cast<CbKind>(k)), engine_name);
  }
  const Model &model = prob.model;
  // Read once here: events may come from several threads at once.
  const SparseMatrix::Csc a = model.csc();
  CallbackDispatch::FillSolution fill = [&model, a, sc](const double *x, SolveState &st) {
    const int n = model.ncols(), m = model.nrows();
    st.x.assign(x, x + n);
    unscale_columns(sc, n, st.x.data());
    x = st.x.data();
    std::vector<double> act(m, 0.0);
    for (int j = 0; j < n; ++j)
      for (QNDAint64 k = a.start[j]; k < a.start[j + 1]; ++k) act[a.index[k]] += a.value[k] * x[j];
    st.slack.resize(m);
    for (int i = 0; i < m; ++i) st.slack[i] = model.rhs()[i] - act[i];
  };
  CallbackDispatch::Interrupt interrupt = [&prob, &reason](int why) {
    int expected = 0;
    if (reason.compare_exchange_strong(expected, why)) prob.interrupt.store(why);
  };
  auto d = std::unique_ptr<CallbackDispatch>(
      new CallbackDispatch(&prob, prob.callbacks, fm.sense, fill, interrupt));
  if (search && !start.mip_start.empty())
    d->usersolnotify("mipstart",
                     mip_start_status(fm, start.mip_start, prob.controls.get_dbl(QNDA_FEASTOL)));
  return d;
}

void optimise(qnda_problem_s &prob, bool mip, const char *flags) {
  const auto t0 = std::chrono::steady_clock::now();
  const Flags f = parse_flags(flags, mip);
  const Controls &ctl = prob.controls;
  EngineSettings s = settings_from(ctl, mip, f);
  const Model &model = prob.model;
  SolveState &st = prob.solve;

  // An optimisation of the problem itself (the tuner's, say) ends a
  // presolved state; a solve that fails leaves no results of an earlier
  // one behind.
  prob.presolved.reset();
  st.clear_results();
  st.model_changed = false;

  Engine *engine = kept_engine(prob, engine_for(prob, s.mip && model.entity_count() > 0));

  FlattenOptions fo;
  fo.search = s.mip;
  fo.infinity = s.infinity;
  fo.engine = engine->name();
  FlatModel fm;
  flatten(model, fo, fm);
  const bool search = s.mip && fm.has_integers();
  const bool quadratic_route = needs_quadratic_route(fm, s.mip);
  if (fm.has_quadratic() && !quadratic_route) {
    Convexity cv = objective_convexity(fm);
    if (cv == Convexity::NotConvex) {
      st.lp_status = QNDA_LP_NONCONVEX;
      fail(QNDA_ERR_UNSUPPORTED,
           "the quadratic objective is not %s; the %s engine solves convex QPs only",
           model.obj_sense() < 0 ? "concave (maximising)" : "convex (minimising)", engine->name());
    }
  }

  // Starting points, only where the engine's model is the user's.
  EngineStart start;
  const int n = model.ncols(), m = model.nrows();
  const bool same_shape = fm.ncols == n && fm.nrows == m;
  if (same_shape && static_cast<int>(st.start_colstat.size()) == n &&
      static_cast<int>(st.start_rowstat.size()) == m) {
    start.col_basis.resize(n);
    start.row_basis.resize(m);
    for (int j = 0; j < n; ++j) start.col_basis[j] = col_stat_to_engine(st.start_colstat[j]);
    for (int i = 0; i < m; ++i)
      start.row_basis[i] = row_stat_to_engine(st.start_rowstat[i], model.rowtype()[i]);
  } else if (same_shape && static_cast<int>(st.start_x.size()) == n) {
    start.col_value = st.start_x;
    if (static_cast<int>(st.start_duals.size()) == m) start.row_dual = st.start_duals;
  }
  if (static_cast<int>(st.mip_start.size()) == n) {
    start.mip_start = st.mip_start;
    if (fm.ncols > n) {
      // Columns added by the reformulation are left for the engine to
      // complete; HiGHS needs a full vector, so start them at their lower
      // bounds and let it repair.
      start.mip_start.resize(fm.ncols, 0.0);
    }
  }

  st.was_mip = search;
  st.engine = std::strcmp(engine->name(), "cbc") == 0 ? QNDA_ENGINE_CBC : QNDA_ENGINE_HIGHS;
  if (search && !prob.directives_noted && !model.directive_cols().empty()) {
    // The data stays (written, read back) for engines that can use it.
    prob.directives_noted = true;
    emit_codedf(&prob, QNDA_MSG_DIRECTIVES, MSG_WARNING,
                "Branching directives are kept but not used by the %s engine", engine->name());
  }

  const int log_level = s.log_level;
  const char *what = search                    ? (quadratic_route ? "MIQP" : "MIP")
                     : fm.has_quadratic_rows() ? "QCQP"
                     : fm.has_quadratic()      ? "QP"
                                               : "LP";
  if (log_level >= 1) {
    emit_codedf(&prob, QNDA_MSG_SOLVE_START, MSG_INFO,
                "Solving %s with %s: %d rows, %d columns, %lld elements%s", what, engine->name(), m,
                n, static_cast<long long>(fm.start.empty() ? 0 : fm.start.back()),
                fm.ncols > n || fm.nrows > m ? " (reformulated)" : "");
    if (fm.ncols > n || fm.nrows > m)
      emit_codedf(&prob, QNDA_MSG_SOLVE_START, MSG_INFO,
                  "Sets, indicators and partially integer columns added %d rows and %d "
                  "columns",
                  fm.nrows - m, fm.ncols - n);
  }

  // Interruption: QNDAinterrupt's reason, or Ctrl-C while we run.
  SigintScope sigint;
  std::atomic<int> reason{0};
  EngineHooks hooks;
  hooks.stop = [&]() {
    if (reason.load(std::memory_order_relaxed)) return true;
    int r = prob.interrupt.load(std::memory_order_relaxed);
    if (!r && sigint.fired()) r = QNDA_STOP_CTRLC;
    if (!r) return false;
    int expected = 0;
    reason.compare_exchange_strong(expected, r);
    return true;
  };
  hooks.log = [&prob](int type, const std::string &line) {
    emit_coded(&prob, QNDA_MSG_ENGINE_LOG, type, line.c_str());
  };

  // The user's scaling, on the engine's model and starting points only.
  ScaleFactors scale;
  user_scale_factors(prob, fm, scale);
  scale_model(fm, scale);
  scale_start(start, scale);

  std::unique_ptr<CallbackDispatch> events =
      make_dispatch(prob, fm, search, engine->name(), start, scale, reason);
  hooks.events = events.get();

  EngineResult r;
  if (int pending = prob.interrupt.load()) {
    // Interrupted before it began.
    reason = pending;
    r.status = EngineStatus::Interrupted;
  } else if (quadratic_route) {
    if (log_level >= 1)
      emit_codedf(&prob, QNDA_MSG_ROUTE, MSG_INFO, "%s",
                  search ? "Quadratic parts with discrete columns: outer approximation on the "
                           "MIP engine, continuous problems by the interior-point engine"
                         : "Quadratic rows or a non-convex objective: the interior-point engine "
                           "(locally optimal)");
    solve_quadratic(fm, s, start, hooks, r);
  } else {
    solve_with_delayed_rows(*engine, model.rowflags(), Model::ROW_DELAYED, fm, s, start, hooks, r);
  }
  prob.interrupt.store(0);
  unscale_result(r, scale);

  st.solve_time = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  static_cast<SolveCounters &>(st) = r;
  st.algorithm = search ? 0 : r.algorithm;
  st.stop_status = stop_of(r.status, reason.load());
  fill_results(model, r, model.indicator_count() > 0, st);
  st.local_only = st.has_solution && r.local_only;
  if (!search && r.status != EngineStatus::Optimal && r.status != EngineStatus::Unbounded) {
    // Only an optimal (or an unbounded problem's feasible) point is kept.
    st.has_solution = false;
    st.x.clear();
    st.slack.clear();
    st.has_duals = false;
    st.duals.clear();
    st.djs.clear();
  }

  const double no_obj = model.obj_sense() < 0 ? -QNDA_INFINITY : QNDA_INFINITY;
  if (search) {
    st.mip_status = mip_status_of(r.status, st.has_solution);
    if (r.status == EngineStatus::Infeasible || r.status == EngineStatus::Unbounded)
      st.lp_status = lp_status_of(r.status);
    else
      st.lp_status = st.has_solution || r.status == EngineStatus::Optimal ? QNDA_LP_OPTIMAL
                                                                          : lp_status_of(r.status);
    st.mip_obj = st.has_solution ? r.objective : no_obj;
    st.obj = st.mip_obj;
    st.best_bound = r.best_bound;
    st.rel_gap = st.has_solution ? r.rel_gap : QNDA_INFINITY;
  } else {
    st.lp_status = lp_status_of(r.status);
    st.lp_obj = r.objective;
    st.obj = st.lp_obj;
    st.best_bound = r.status == EngineStatus::Optimal ? r.objective : st.best_bound;
    if (mip) {
      // mipoptimize of a problem without entities, or of its relaxation ("l").
      if (f.relax)
        st.mip_status =
            st.lp_status == QNDA_LP_OPTIMAL ? QNDA_MIP_LP_OPTIMAL : QNDA_MIP_LP_NOT_OPTIMAL;
      else
        st.mip_status = mip_status_of(r.status, st.has_solution);
      if (!f.relax) {
        st.mip_obj = st.has_solution ? r.objective : no_obj;
        st.mip_sols = st.has_solution ? 1 : 0;
      }
    }
  }

  // The cutoff: a solution no better than it does not count.  (HiGHS's
  // objective bound ends a search whose bound passes it and still reports
  // what it found.)
  if (std::fabs(s.cutoff) < 1e20) {
    const double sg = model.obj_sense() < 0 ? -1.0 : 1.0;
    auto worse = [&](double v) { return sg * (v - s.cutoff) > 1e-9 * (1.0 + std::fabs(s.cutoff)); };
    if (search && st.has_solution && worse(st.mip_obj)) {
      st.mip_status = r.status == EngineStatus::Optimal || r.status == EngineStatus::Cutoff
                          ? QNDA_MIP_INFEAS
                          : QNDA_MIP_NO_SOL_FOUND;
      st.has_solution = false;
      st.x.clear();
      st.slack.clear();
      st.mip_obj = st.obj = no_obj;
      st.mip_sols = 0;
      st.rel_gap = QNDA_INFINITY;
    } else if (!search && st.lp_status == QNDA_LP_OPTIMAL && worse(st.lp_obj)) {
      st.lp_status = QNDA_LP_CUTOFF;
    }
  }

  // Infinite values leave the library as +-1e20, like every other infinity.
  for (double *v : {&st.lp_obj, &st.mip_obj, &st.obj, &st.best_bound, &st.rel_gap})
    if (std::isinf(*v) || std::fabs(*v) > QNDA_INFINITY)
      *v = *v > 0 ? QNDA_INFINITY : -QNDA_INFINITY;
    else if (std::isnan(*v))
      *v = 0.0;

  if (log_level >= 1) {
    if (search)
      emit_codedf(&prob, QNDA_MSG_SOLVE_STATUS, MSG_INFO,
                  "MIP status: %s; objective %.10g, best bound %.10g, gap %.4g%%, %lld nodes, "
                  "%.2fs",
                  mip_status_text(st.mip_status), st.mip_obj, st.best_bound,
                  st.has_solution ? 100.0 * st.rel_gap : 100.0, static_cast<long long>(st.nodes),
                  st.solve_time);
    else
      emit_codedf(&prob, QNDA_MSG_SOLVE_STATUS, MSG_INFO,
                  "%s status: %s; objective %.10g, %lld iterations, %.2fs", what,
                  lp_status_text(st.lp_status), st.lp_obj,
                  static_cast<long long>(st.simplex_iter + st.barrier_iter), st.solve_time);
    if (st.stop_status != QNDA_STOP_NONE)
      emit_codedf(&prob, QNDA_MSG_STOPPED, MSG_INFO, "Stopped: %s", stop_text(st.stop_status));
    if (st.local_only)
      emit_codedf(&prob, QNDA_MSG_STOPPED, MSG_INFO,
                  "The model is not convex: the solution is locally optimal");
  }
  flush_messages(&prob);
  // A message handler may have asked to stop while the summary was written:
  // that belongs to this optimisation, not to the next one.
  prob.interrupt.store(0);

  if (r.status == EngineStatus::NonConvex) fail(QNDA_ERR_UNSUPPORTED, "%s", r.message.c_str());
  if (r.status == EngineStatus::Error)
    fail(QNDA_ERR_ENGINE, "%s", r.message.empty() ? "the engine failed" : r.message.c_str());
}

BasisStat row_stat_to_engine(int s, char type) {
  switch (s) {
    case QNDA_BASIC:
      return BasisStat::Basic;
    case QNDA_FREE_SUPER:
      return BasisStat::Zero;
    case QNDA_AT_LOWER:
      return type == 'G' || type == 'E' ? BasisStat::Lower : BasisStat::Upper;
    default:
      return type == 'L' ? BasisStat::Upper : BasisStat::Lower;
  }
}

BasisStat col_stat_to_engine(int s) {
  if (s == QNDA_BASIC) return BasisStat::Basic;
  if (s == QNDA_AT_UPPER) return BasisStat::Upper;
  return s == QNDA_FREE_SUPER ? BasisStat::Zero : BasisStat::Lower;
}

}  // namespace qnda
