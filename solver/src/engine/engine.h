// The interface between the library and an LP/MIP/QP engine.  An engine gets
// a FlatModel and the settings of one optimisation, runs it and reports an
// EngineResult on the flat model's columns and rows.  A problem keeps its
// engine between optimisations: the engine may keep its model and basis and
// take the next FlatModel as changes to them.  Nothing outside
// engine/<name>/ sees an engine's own headers.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "callbacks/dispatch.h"
#include "core/solvestate.h"
#include "engine/flatmodel.h"
#include "model/problem.h"

namespace qnda {

// Settings of one optimisation, taken from the problem's controls.
struct EngineSettings {
  bool mip = false;      // run the MIP search (else solve the relaxation)
  int lp_algorithm = 1;  // 1 engine's choice, 2 dual, 3 primal, 4 barrier
  int log_level = 1;     // QNDA_LOGLEVEL
  int threads = 0;       // 0: engine's choice
  int presolve = 1;
  int scaling = 1;
  int crossover = 1;
  int random_seed = 0;
  long long lp_iter_limit = 0;   // 0: none
  long long bar_iter_limit = 0;  // 0: none
  long long max_nodes = 0;       // 0: none
  long long max_mip_sols = 0;    // 0: none
  double time_limit = 0.0;       // <= 0: none
  double mip_rel_gap = 1e-4;
  double mip_abs_gap = 1e-6;
  double feas_tol = 1e-6;
  double opt_tol = 1e-6;
  double mip_tol = 1e-6;
  double cutoff = 1e40;  // |cutoff| >= 1e20: none
  double bar_gap = 1e-8;
  double infinity = 1e20;
};

enum class EngineStatus {
  NotRun,
  Optimal,
  Infeasible,
  Unbounded,
  InfeasibleOrUnbounded,
  Cutoff,  // the objective bound was reached
  TimeLimit,
  IterationLimit,
  NodeLimit,
  SolutionLimit,
  Interrupted,  // by Hooks::stop
  NonConvex,    // the quadratic objective is not convex
  Error,
};

// Basis statuses as the engine reports them, for columns and for the row
// activities a'x: at the lower or upper limit, basic, or free at zero.
enum class BasisStat : signed char { Lower, Basic, Upper, Zero };

struct EngineResult : SolveCounters {
  EngineStatus status = EngineStatus::NotRun;
  std::string message;  // what went wrong, for Error and NonConvex
  bool has_primal = false;
  bool has_dual = false;
  bool has_basis = false;
  std::vector<double> col_value, row_activity, row_dual, col_dual;
  std::vector<BasisStat> col_basis, row_basis;
  double objective = 0.0;   // of the primal solution, offset included
  double best_bound = 0.0;  // MIP dual bound (objective for LP)
  double rel_gap = 0.0;
  double solve_time = 0.0;
  // simplex_iter, barrier_iter, nodes, mip_sols, max_primal_infeas and
  // max_dual_infeas: of SolveCounters.
  int algorithm = 0;  // QNDA_LPALGORITHM value that solved the LP
  // Certificates of an LP found infeasible (a dual ray, one value per row)
  // or unbounded (a primal ray, one per column); empty when there is none.
  std::vector<double> dual_ray, primal_ray;
  // The basic variables in basis order, column j as j and row i as -1 - i;
  // empty when the engine has no factored basis.
  std::vector<int> basic_vars;
  // The engine took the model as changes to the one it kept (it started from
  // its last basis unless a start overrode it).
  bool warm = false;
  bool local_only = false;  // a non-convex model: the optimum may be local
};

// Starting points for an optimisation, on the flat model's columns/rows.
struct EngineStart {
  std::vector<BasisStat> col_basis, row_basis;  // empty: none
  std::vector<double> col_value, row_dual;      // LP start, empty: none
  std::vector<double> mip_start;                // empty: none
};

// Callbacks of an optimisation into the library.
struct EngineHooks {
  // Polled by the engine; returning true stops the optimisation.
  std::function<bool()> stop;
  // One line of the engine's log and its type (MsgType of core/messages.h).
  std::function<void(int msgtype, const std::string &line)> log;
  // The problem's callbacks; NULL when none is registered, so that a solve
  // without callbacks does no work for them.
  CallbackDispatch *events = nullptr;
};

class Engine : public KeptEngine {
 public:
  virtual const char *name() const = 0;
  // model may be consumed (moved from).  A start overrides what the engine
  // kept from its last optimisation.
  virtual void solve(FlatModel &model, const EngineSettings &settings, const EngineStart &start,
                     const EngineHooks &hooks, EngineResult &result) = 0;
  // The basis of start (an optimal one of model) factored: its basic
  // variables (column j as j, row i as -1 - i) and d solving B d = rhs in
  // their order.  False when the engine cannot (the default).
  virtual bool basis_solve(FlatModel &model, const EngineStart &start,
                           const std::vector<double> &rhs, std::vector<int> &basic,
                           std::vector<double> &d) {
    (void)model, (void)start, (void)rhs, (void)basic, (void)d;
    return false;
  }
};

// The engine named by QNDA_SOLVERNAME ("highs"); NULL when there is none of
// that name.
std::unique_ptr<Engine> make_engine(const std::string &name);
// The name() of the engine make_engine(name) makes; NULL when none.
const char *engine_name(const std::string &name);

// The engines linked into this build, with the version each reports of
// itself and the problem classes it solves.
struct EngineInfo {
  std::string name, version, problems;
};
std::vector<EngineInfo> engine_list();

// Model files in formats an engine reads and writes better than we do (the
// LP format).  A FileModel is the plain content of such a file.
struct FileModel {
  std::string name;
  FlatModel model;  // orig_* equal the counts; kind may be empty
  std::vector<std::string> col_names, row_names;
  // Upper triangle of the objective as monomial coefficients.
  std::vector<int> q1, q2;
  std::vector<double> qcoef;
};

// Both throw qnda::Error(QNDA_ERR_FILE ...) on failure.
void engine_read_lp_file(const std::string &path, FileModel &out);
void engine_write_lp_file(const std::string &path, const FileModel &in);

// ----------------------------------------------------------------------
// Analysis on one model (engine/<name>/*_analysis.cpp).  Each call builds
// its own engine instance from the FlatModel and throws qnda::Error when
// the engine fails; infeasibility is reported, never thrown.

// An infeasible subsystem of the continuous relaxation of m as the engine's
// deletion filter finds it: rows and columns whose bounds take part.
// found is false when the engine finds none (m feasible, or it gave up).
struct EngineIis {
  bool found = false;
  std::vector<int> rows, cols;
};
void engine_lp_iis(const FlatModel &m, const EngineSettings &s, EngineIis &out);

// A dual ray of the infeasible LP m (its row multipliers); false when the
// engine has none (m feasible, or the ray could not be found).
bool engine_lp_dual_ray(const FlatModel &m, const EngineSettings &s, std::vector<double> &rows);

// Ranging of an LP at its optimal basis: for each column the interval of
// its cost, for each row the interval of its active bound, over which the
// basis stays optimal (+-inf when unlimited).  Throws when m is not solved
// to optimality.
struct EngineRanging {
  std::vector<double> cost_lo, cost_up;  // per column
  std::vector<double> rhs_lo, rhs_up;    // per row
};
void engine_lp_ranging(const FlatModel &m, const EngineSettings &s, EngineRanging &out);

// Estimate of the 1-norm condition number ||B||_1 ||B^-1||_1 of the
// optimal basis of the LP m, ||B^-1||_1 by Hager's estimator (Higham's
// refinement) on the engine's basis solves.  Throws when m has no optimal
// basis.
double engine_basis_condition(const FlatModel &m, const EngineSettings &s);

// The engine's feasibility relaxation: minimises the weighted violation of
// rows and column bounds (a negative weight keeps the item hard), integral
// columns staying integral.  result holds the relaxed point (has_primal)
// and status Optimal, Infeasible (hard items alone infeasible) or another.
void engine_feasibility_relaxation(const FlatModel &m, const EngineSettings &s,
                                   const std::vector<double> &col_lo_w,
                                   const std::vector<double> &col_up_w,
                                   const std::vector<double> &row_w, EngineResult &result);

// ----------------------------------------------------------------------
// Presolve kept apart from an optimisation (engine/<name>/*_presolve.cpp),
// for a problem left in its presolved state: the engine's reduced model,
// where its rows and columns came from, and the way back.
class EnginePresolve {
 public:
  virtual ~EnginePresolve() = default;
  FlatModel reduced;                  // orig_* equal its counts
  std::vector<int> row_map, col_map;  // the original row and column of each reduced one
  // How each original column follows from the reduced ones where it is one
  // reduced column's affine image or a constant: x[j] = scale[j] *
  // xr[from[j]] + shift[j] (from[j] -1: the constant shift[j]); known[j] 0
  // when it is neither.
  std::vector<int> from;
  std::vector<double> scale, shift;
  std::vector<char> known;
  // The original model's point from r, a result of reduced: primal values
  // always, duals and basis for an LP that has them.  Throws qnda::Error.
  virtual void postsolve(const EngineResult &r, EngineResult &out) = 0;
};

// Presolves m (its discrete columns kept when mip).  NULL with status
// Infeasible or InfeasibleOrUnbounded when presolve decided the problem;
// throws qnda::Error when the engine fails.
std::unique_ptr<EnginePresolve> engine_presolve(const FlatModel &m, const EngineSettings &s,
                                                bool mip, EngineStatus &status);

}  // namespace qnda
