// The mixed-integer nonlinear engine: an NlpProblem with integer columns
// handed to Bonmin (Debian's coinor-libbonmin-dev) as a TMINLP, with the
// problem's exact derivatives.  Bonmin solves the continuous problems of
// its search with Ipopt, so a search holds the Ipopt lock throughout.
// Its branch-and-bound is exact for convex problems; on others the
// relaxations are solved only locally, so its result is a good solution,
// not a proven optimum.
#include <chrono>
#include <cmath>
#include <limits>
#include <string>
#include <tuple>

#include "core/error.h"
#include "engine/minlp.h"
#include "qslp.h"

#ifdef QUENDA_HAVE_BONMIN
#include <BonBonminSetup.hpp>
#include <BonCbc.hpp>
#include <BonTMINLP.hpp>
#include <BonTNLPSolver.hpp>
#endif

namespace qnda {

#ifdef QUENDA_HAVE_BONMIN
namespace {

using Ipopt::Index;
using Ipopt::Number;

constexpr double kInf = 1e20;  // beyond Ipopt's +-1e19: no bound

class Adapter : public Bonmin::TMINLP {
 public:
  Adapter(NlpProblem &p, const std::vector<char> &integer, const MinlpSettings &s, MinlpResult &r)
      : p_(p), integer_(integer), s_(s), r_(r) {}

  bool stopped = false;

  bool get_variables_types(Index n, VariableType *types) override {
    for (Index j = 0; j < n; ++j) {
      const bool binary = p_.xl[j] >= 0.0 && p_.xu[j] <= 1.0;
      types[j] = !integer_[j] ? CONTINUOUS : binary ? BINARY : INTEGER;
    }
    return true;
  }
  bool get_variables_linearity(Index n, Ipopt::TNLP::LinearityType *types) override {
    for (Index j = 0; j < n; ++j)
      types[j] = p_.nonlinear_col[j] ? Ipopt::TNLP::NON_LINEAR : Ipopt::TNLP::LINEAR;
    return true;
  }
  bool get_constraints_linearity(Index m, Ipopt::TNLP::LinearityType *types) override {
    for (Index i = 0; i < m; ++i)
      types[i] = p_.linear_row[i] ? Ipopt::TNLP::LINEAR : Ipopt::TNLP::NON_LINEAR;
    return true;
  }
  bool get_nlp_info(Index &n, Index &m, Index &nnz_jac, Index &nnz_h,
                    Ipopt::TNLP::IndexStyleEnum &style) override {
    std::tie(n, m, nnz_jac, nnz_h) = std::make_tuple(p_.n, p_.m, static_cast<Index>(p_.jrow.size()),
                                                     static_cast<Index>(p_.hrow.size()));
    style = Ipopt::TNLP::C_STYLE;
    return true;
  }
  // Called when the search starts from the problem's point (its root;
  // later solves start warm).
  bool get_starting_point(Index n, bool init_x, Number *x, bool, Number *, Number *, Index, bool,
                          Number *) override {
    if (!stopped && ((s_.on_node && s_.on_node() != 0) || (s_.base.stop && s_.base.stop())))
      stopped = true;
    if (init_x)
      for (Index j = 0; j < n; ++j) x[j] = p_.x0[j];
    return true;
  }
  bool get_bounds_info(Index, Number *xl, Number *xu, Index, Number *gl, Number *gu) override {
    nlp_bounds(p_, kInf, xl, xu, gl, gu);
    return true;
  }
  // After a stop every evaluation fails, so that the search winds down.
  bool eval_f(Index, const Number *x, bool, Number &f) override {
    return !stopped && p_.eval_f(x, f);
  }
  bool eval_grad_f(Index, const Number *x, bool, Number *g) override {
    return !stopped && p_.eval_grad(x, g);
  }
  bool eval_g(Index, const Number *x, bool, Index, Number *g) override {
    return !stopped && p_.eval_g(x, g);
  }
  bool eval_jac_g(Index, const Number *x, bool, Index, Index, Index *irow, Index *jcol,
                  Number *values) override {
    if (!values) {
      for (size_t k = 0; k < p_.jrow.size(); ++k) {
        irow[k] = p_.jrow[k];
        jcol[k] = p_.jcol[k];
      }
      return true;
    }
    return !stopped && p_.eval_jac(x, values);
  }
  bool eval_h(Index, const Number *x, bool, Number obj_factor, Index, const Number *lambda, bool,
              Index, Index *irow, Index *jcol, Number *values) override {
    if (!values) {
      for (size_t k = 0; k < p_.hrow.size(); ++k) {
        irow[k] = p_.hrow[k];
        jcol[k] = p_.hcol[k];
      }
      return true;
    }
    return !stopped && p_.eval_hess(x, obj_factor, lambda, values);
  }
  void finalize_solution(Bonmin::TMINLP::SolverReturn status, Index n, const Number *x,
                         Number obj) override {
    if (!x) return;
    r_.nlp.x.assign(x, x + n);
    r_.nlp.f = obj;
    r_.nlp.has_point = true;
  }
  const BranchingInfo *branchingInfo() const override { return nullptr; }
  const SosInfo *sosConstraints() const override { return nullptr; }

 private:
  NlpProblem &p_;
  const std::vector<char> &integer_;
  const MinlpSettings &s_;
  MinlpResult &r_;
};

const char *algorithm_name(int a) {
  return a == QSLP_MINLP_OA ? "B-OA" : a == QSLP_MINLP_HYBRID ? "B-Hyb" : "B-BB";
}

}  // namespace

void minlp_solve(NlpProblem &p, const std::vector<char> &integer, const MinlpSettings &s,
                 MinlpResult &r) {
  r = MinlpResult();
  if (!p.has_hessian())
    fail(QNDA_ERR_UNSUPPORTED,
         "the mixed-integer nonlinear search needs exact second derivatives: give user "
         "functions their derivatives");
  std::lock_guard<std::mutex> lk(ipopt_lock());
  Adapter *a = new Adapter(p, integer, s, r);
  Ipopt::SmartPtr<Bonmin::TMINLP> tminlp = a;
  Bonmin::BonminSetup setup;
  setup.initializeOptionsAndJournalist();
  Ipopt::SmartPtr<Ipopt::OptionsList> o = setup.options();
  o->SetStringValue("bonmin.algorithm", algorithm_name(s.algorithm));
  for (const char *name : {"bonmin.bb_log_level", "bonmin.nlp_log_level", "bonmin.lp_log_level",
                           "bonmin.milp_log_level", "bonmin.oa_log_level", "bonmin.fp_log_level"})
    o->SetIntegerValue(name, 0);
  o->SetIntegerValue("print_level", 0);
  o->SetStringValue("sb", "yes");
  o->SetNumericValue("bonmin.allowable_fraction_gap", s.rel_gap);
  o->SetNumericValue("bonmin.allowable_gap", s.abs_gap);
  o->SetNumericValue("bonmin.integer_tolerance", 1e-6);
  o->SetNumericValue("constr_viol_tol", s.base.feas_tol);
  o->SetNumericValue("tol", s.base.opt_tol);
  if (s.base.time_limit > 0) o->SetNumericValue("bonmin.time_limit", s.base.time_limit);
  if (s.node_limit > 0) o->SetIntegerValue("bonmin.node_limit", s.node_limit);
  try {
    setup.initialize(tminlp);
    Bonmin::Bab bb;
    bb(setup);
    r.nlp.iterations = bb.iterationCount();
    r.nodes = bb.numNodes();
    switch (bb.mipStatus()) {
      case Bonmin::Bab::FeasibleOptimal:
        r.nlp.status = NlpStatus::LocalOptimum;
        break;
      case Bonmin::Bab::ProvenInfeasible:
        r.nlp.status = NlpStatus::LocallyInfeasible;
        break;
      case Bonmin::Bab::UnboundedOrInfeasible:
        r.nlp.status = NlpStatus::Unbounded;
        break;
      default:  // stopped by a limit, with or without a solution
        r.nlp.status = NlpStatus::TimeLimit;
        break;
    }
  } catch (Bonmin::TNLPSolver::UnsolvedError *e) {
    // The continuous solve at the root failed: after a stop, as it must.
    const std::string why = e->errorName();
    delete e;
    if (!a->stopped)
      fail(QNDA_ERR_ENGINE, "Bonmin could not solve the relaxation: %s", why.c_str());
  } catch (const CoinError &e) {
    fail(QNDA_ERR_ENGINE, "Bonmin failed: %s (%s)", e.message().c_str(), e.methodName().c_str());
  } catch (Ipopt::IpoptException &e) {
    fail(QNDA_ERR_ENGINE, "Bonmin failed: %s", e.Message().c_str());
  }
  if (a->stopped) r.nlp.status = NlpStatus::Interrupted;
  if (r.nlp.has_point) {
    std::vector<double> g(p.m, 0.0);
    p.eval_g(r.nlp.x.data(), g.data());
    r.nlp.max_violation = nlp_violation(p, r.nlp.x.data(), g.data());
  }
}

bool minlp_available() { return true; }

#else

void minlp_solve(NlpProblem &, const std::vector<char> &, const MinlpSettings &, MinlpResult &) {
  fail(QNDA_ERR_UNSUPPORTED,
       "integer columns in a nonlinear problem need the mixed-integer nonlinear engine "
       "(Bonmin), which this library was built without");
}

bool minlp_available() { return false; }

#endif

}  // namespace qnda
