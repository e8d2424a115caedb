// The interior-point engine: an NlpProblem handed to Ipopt as a TNLP, with
// the problem's exact gradients, Jacobian and Hessian (or Ipopt's
// limited-memory Hessian when the problem has none).  Ipopt's linear solver
// (MUMPS, sequential build) keeps global state, so one solve runs at a time
// in the process.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>
#include <mutex>
#include <utility>

#include "core/error.h"
#include "engine/nlp.h"

#ifdef QUENDA_HAVE_IPOPT
#include <IpIpoptApplication.hpp>
#include <IpTNLP.hpp>
#endif

namespace qnda {

std::mutex &ipopt_lock() {
  static std::mutex mu;
  return mu;
}

#ifdef QUENDA_HAVE_IPOPT
namespace {

using Ipopt::Index;
using Ipopt::Number;

constexpr double kIpoptInf = 1e20;  // beyond Ipopt's +-1e19: no bound
constexpr double kUnbounded = 1e20;

class Adapter : public Ipopt::TNLP {
 public:
  Adapter(NlpProblem &p, const NlpSettings &s, NlpResult &r)
      : p_(p), s_(s), r_(r), t0_(std::chrono::steady_clock::now()) {}

  bool timed_out = false, stopped = false, unbounded = false;
  int iterations = 0;

  bool get_nlp_info(Index &n, Index &m, Index &nnz_jac, Index &nnz_h,
                    IndexStyleEnum &style) override {
    n = p_.n;
    m = p_.m;
    nnz_jac = static_cast<Index>(p_.jrow.size());
    nnz_h = static_cast<Index>(p_.hrow.size());
    style = C_STYLE;
    return true;
  }

  bool get_bounds_info(Index, Number *xl, Number *xu, Index, Number *gl, Number *gu) override {
    nlp_bounds(p_, kIpoptInf, xl, xu, gl, gu);
    return true;
  }

  bool get_starting_point(Index n, bool init_x, Number *x, bool, Number *, Number *, Index, bool,
                          Number *) override {
    if (init_x)
      for (Index j = 0; j < n; ++j) x[j] = p_.x0[j];
    return true;
  }

  bool eval_f(Index, const Number *x, bool, Number &f) override { return p_.eval_f(x, f); }
  bool eval_grad_f(Index, const Number *x, bool, Number *g) override { return p_.eval_grad(x, g); }
  bool eval_g(Index, const Number *x, bool, Index, Number *g) override { return p_.eval_g(x, g); }

  bool eval_jac_g(Index, const Number *x, bool, Index, Index nele, Index *irow, Index *jcol,
                  Number *values) override {
    if (!values) {
      for (Index k = 0; k < nele; ++k) {
        irow[k] = p_.jrow[k];
        jcol[k] = p_.jcol[k];
      }
      return true;
    }
    return p_.eval_jac(x, values);
  }

  bool eval_h(Index, const Number *x, bool, Number obj_factor, Index, const Number *lambda, bool,
              Index nele, Index *irow, Index *jcol, Number *values) override {
    if (!values) {
      for (Index k = 0; k < nele; ++k) {
        irow[k] = p_.hrow[k];
        jcol[k] = p_.hcol[k];
      }
      return true;
    }
    return p_.eval_hess(x, obj_factor, lambda, values);
  }

  bool intermediate_callback(Ipopt::AlgorithmMode, Index iter, Number obj, Number inf_pr,
                             Number inf_du, Number mu, Number, Number, Number, Number, Index,
                             const Ipopt::IpoptData *,
                             Ipopt::IpoptCalculatedQuantities *) override {
    iterations = iter;
    if (s_.log_level >= 2 && s_.log) {
      char line[160];
      std::snprintf(line, sizeof line,
                    "IPM %4d  obj %16.9g  primal inf %.2e  dual inf %.2e  mu %.1e",
                    static_cast<int>(iter), obj, inf_pr, inf_du, mu);
      s_.log(line);
    }
    if ((s_.stop && s_.stop()) || (iter > 0 && s_.on_iteration && s_.on_iteration())) {
      stopped = true;
      return false;
    }
    // A feasible point whose objective passes any sensible size: Ipopt
    // would go on until its step computation breaks down.
    if (obj < -kUnbounded && inf_pr <= s_.feas_tol) {
      unbounded = true;
      return false;
    }
    if (s_.time_limit > 0 &&
        std::chrono::duration<double>(std::chrono::steady_clock::now() - t0_).count() >
            s_.time_limit) {
      timed_out = true;
      return false;
    }
    return true;
  }

  void finalize_solution(Ipopt::SolverReturn, Index n, const Number *x, const Number *zl,
                         const Number *zu, Index m, const Number *g, const Number *lambda, Number f,
                         const Ipopt::IpoptData *, Ipopt::IpoptCalculatedQuantities *) override {
    r_.has_point = x != nullptr;
    if (!x) return;
    r_.x.assign(x, x + n);
    r_.lambda.assign(lambda, lambda + m);
    r_.z.resize(n);
    for (Index j = 0; j < n; ++j) r_.z[j] = zl[j] - zu[j];
    r_.f = f;
    r_.max_violation = nlp_violation(p_, x, g);
  }

 private:
  NlpProblem &p_;
  const NlpSettings &s_;
  NlpResult &r_;
  std::chrono::steady_clock::time_point t0_;
};

}  // namespace

void ipopt_solve(NlpProblem &p, const NlpSettings &s, NlpResult &r) {
  std::lock_guard<std::mutex> lk(ipopt_lock());
  Ipopt::SmartPtr<Ipopt::IpoptApplication> app = new Ipopt::IpoptApplication(false);
  app->Options()->SetIntegerValue("print_level", 0);
  app->Options()->SetStringValue("sb", "yes");
  app->Options()->SetNumericValue("tol", s.opt_tol);
  app->Options()->SetNumericValue("constr_viol_tol", s.feas_tol);
  app->Options()->SetIntegerValue("max_iter", s.iter_limit);
  if (!p.has_hessian()) app->Options()->SetStringValue("hessian_approximation", "limited-memory");
  if (app->Initialize() != Ipopt::Solve_Succeeded)
    fail(QNDA_ERR_ENGINE, "Ipopt could not be initialised");

  Adapter *a = new Adapter(p, s, r);
  Ipopt::SmartPtr<Ipopt::TNLP> nlp = a;
  const Ipopt::ApplicationReturnStatus st = app->OptimizeTNLP(nlp);
  r.iterations = a->iterations;
  // Outcomes that say it all; the others need a look at the run.
  static constexpr std::pair<Ipopt::ApplicationReturnStatus, NlpStatus> kPlain[] = {
      {Ipopt::Solve_Succeeded, NlpStatus::LocalOptimum},
      {Ipopt::Solved_To_Acceptable_Level, NlpStatus::LocalOptimum},
      {Ipopt::Infeasible_Problem_Detected, NlpStatus::LocallyInfeasible},
      {Ipopt::Diverging_Iterates, NlpStatus::Unbounded},
      {Ipopt::Maximum_Iterations_Exceeded, NlpStatus::IterationLimit},
      {Ipopt::Maximum_CpuTime_Exceeded, NlpStatus::TimeLimit},
  };
  r.status = NlpStatus::Error;
  for (const auto &o : kPlain)
    if (o.first == st) r.status = o.second;
  if (st == Ipopt::User_Requested_Stop) {
    r.status = a->unbounded   ? NlpStatus::Unbounded
               : a->timed_out ? NlpStatus::TimeLimit
                              : NlpStatus::Interrupted;
  } else if (st == Ipopt::Search_Direction_Becomes_Too_Small && r.has_point &&
             r.max_violation <= s.feas_tol) {
    // Converged as far as the arithmetic allows: the point is feasible.
    r.status = NlpStatus::LocalOptimum;
  } else if (r.status == NlpStatus::Error) {
    r.message = "Ipopt stopped with return status " + std::to_string(static_cast<int>(st));
  }
}

bool ipopt_available() { return true; }

#else

void ipopt_solve(NlpProblem &, const NlpSettings &, NlpResult &) {
  fail(QNDA_ERR_UNSUPPORTED, "this library was built without Ipopt (the interior-point engine)");
}

bool ipopt_available() { return false; }

#endif

}  // namespace qnda
