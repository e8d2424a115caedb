// The interface between a smooth nonlinear problem and the engines that solve
// one (engine/ipopt/, and the SLP of nonlinear/).  A problem is
//     minimise f(x)  subject to  gl <= g(x) <= gu,  xl <= x <= xu,
// always a minimisation (the owner folds the sense in), with a sparse
// Jacobian and a sparse lower-triangular Hessian of the Lagrangian
//     obj_factor * f(x) + sum_i lambda_i g_i(x).
// Infinite bounds are +-inf.  Evaluations return false when a value is not
// defined at x (a logarithm of a negative number ...).
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace qnda {

class NlpProblem {
 public:
  virtual ~NlpProblem() = default;

  int n = 0, m = 0;
  std::vector<double> xl, xu, gl, gu;
  std::vector<double> x0;           // starting point, within the bounds
  std::vector<int> jrow, jcol;      // Jacobian structure
  std::vector<int> hrow, hcol;      // Hessian structure, hrow >= hcol
  std::vector<char> linear_row;     // 1: g_i is linear (its Jacobian is constant)
  std::vector<char> nonlinear_col;  // 1: the column appears in a nonlinear term
  bool objective_linear = false;

  virtual bool eval_f(const double *x, double &f) = 0;
  virtual bool eval_grad(const double *x, double *grad) = 0;  // dense, n values
  virtual bool eval_g(const double *x, double *g) = 0;
  virtual bool eval_jac(const double *x, double *values) = 0;  // in jrow/jcol order
  virtual bool eval_hess(const double *x, double obj_factor, const double *lambda,
                         double *values) = 0;  // in hrow/hcol order
  // False when the Hessian is not available (the engine approximates it).
  virtual bool has_hessian() const { return true; }
};

struct NlpSettings {
  int iter_limit = 1000;
  double time_limit = 0.0;  // <= 0: none
  double feas_tol = 1e-6;
  double opt_tol = 1e-6;
  int log_level = 1;                             // 0 silent, 1 summary, 2 a line per iteration
  std::function<bool()> stop;                    // polled; true stops
  std::function<bool()> on_iteration;            // after each iteration; true stops
  std::function<void(const std::string &)> log;  // one line of the log
};

enum class NlpStatus {
  NotRun,
  LocalOptimum,
  LocallyInfeasible,  // converged to a point of least infeasibility
  Infeasible,         // proven (the linear part alone is infeasible)
  Unbounded,
  IterationLimit,
  TimeLimit,
  Interrupted,
  Error,
};

struct NlpResult {
  NlpStatus status = NlpStatus::NotRun;
  std::string message;
  bool has_point = false;
  std::vector<double> x;
  std::vector<double> lambda;  // multipliers of g in the Lagrangian above
  std::vector<double> z;       // bound multipliers: z_lower - z_upper
  double f = 0.0;
  double max_violation = 0.0;
  int iterations = 0;
};

// The interior-point engine (engine/ipopt/); one solve at a time in the
// process.  Throws qnda::Error when Ipopt is not there.
void ipopt_solve(NlpProblem &p, const NlpSettings &s, NlpResult &r);
bool ipopt_available();
// Held by every run of Ipopt, also inside other engines built on it.
std::mutex &ipopt_lock();

// The bounds of p for an engine whose infinity is big: infinite ones become
// +-big.
void nlp_bounds(const NlpProblem &p, double big, double *xl, double *xu, double *gl, double *gu);

// Largest violation of rows and bounds at x (g evaluated there).
double nlp_violation(const NlpProblem &p, const double *x, const double *g);

}  // namespace qnda
