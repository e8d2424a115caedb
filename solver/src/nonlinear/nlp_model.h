// A nonlinear problem as an engine sees it (engine/nlp.h): rows and columns of
// the main problem, its linear and quadratic parts, and the nonlinear
// coefficients compiled to tapes, with exact first and second derivatives.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "engine/nlp.h"
#include "nonlinear/evaluator.h"
#include "nonlinear/slp_problem.h"

// The context of one call of a user function.
struct qslp_funcctx_s {
  qslp_problem_s *prob;
  int index;
  int ninputs;
};

namespace qnda {

// Names of columns and user functions of a nonlinear problem.
NameScope scope_of(const qslp_problem_s &p);

// User functions of a problem, called through their entry points; value-only
// functions are differentiated by central differences.
class ProblemUserCaller : public UserCaller {
 public:
  explicit ProblemUserCaller(qslp_problem_s &p) : p_(p) {}
  double call(int index, const double *in, int n, double *partials) const override;

 private:
  double call_once(const UserFunc &f, int index, const double *in, int n, const int *flags,
                   double *partials) const;
  qslp_problem_s &p_;
};

class NlpModel : public NlpProblem {
 public:
  // Throws qnda::Error for what the engines cannot take (integer columns,
  // unless integers is set: then integer[j] marks them).
  explicit NlpModel(qslp_problem_s &p, bool integers = false);

  std::vector<char> integer;  // 1: integer or binary column

  int sense = 1;  // of the user's objective; f = sense * objective
  bool has_user_functions = false;

  bool eval_f(const double *x, double &f) override;
  bool eval_grad(const double *x, double *grad) override;
  bool eval_g(const double *x, double *g) override;
  bool eval_jac(const double *x, double *values) override;
  bool eval_hess(const double *x, double obj_factor, const double *lambda, double *values) override;
  bool has_hessian() const override { return !has_user_functions; }

  // The user's objective at x (sense undone).
  double objective(const double *x);
  // The solution in the main problem's terms from an engine's result at a
  // point: columns (with the folded transfer columns), slacks, duals and
  // reduced costs of every row and column of the main problem.
  void main_solution(const NlpResult &r, NlpSolution &sol);
  // The main problem's row of the engines' row i (transfer rows are folded
  // away), and a main-problem point as the engines see it (transfer
  // columns fixed at 0).
  int main_row(int i) const { return main_row_[i]; }
  void engine_point(double *x) const {
    for (const Transfer &t : transfers_) x[t.col] = 0.0;
  }

  // Called with the row (-1: objective) and column (kConstantCol: none) of
  // a coefficient whose value is not defined at the point evaluated.
  std::function<void(int row, int col)> on_eval_error;

 private:
  struct Term {  // factor * formula(x) * x[col], col < 0: without the column
    std::shared_ptr<Tape> tape;
    int col;
    double factor;
    std::vector<int> ext;   // tape columns, then col when not among them
    std::vector<int> hpos;  // Hessian positions of ext's lower triangle
    std::vector<int> jpos;  // Jacobian positions of ext (rows only)
  };
  struct Quad {  // v * x_i * x_j
    int i, j;
    double v;
    int hpos, jpos_i, jpos_j;
  };
  struct Row {
    std::vector<int> lin_pos;  // Jacobian positions of the linear entries
    std::vector<int> lin_col;
    std::vector<double> lin_val;
    std::vector<Quad> quad;
    std::vector<Term> terms;
  };

  // An equality row rest(x) + a * t = b whose column t is free and found
  // nowhere else but in the objective (c * t): the transfer row of a
  // nonlinear objective, folded into it (nlp_fold.cpp).
  struct Transfer {
    int row, col;
    double a, b, c;
    Row body;  // rest(x), for t after the solve
  };

  void fold_transfer_rows();
  // row: the row's index, for on_eval_error (below -1: not reported).
  bool row_value(Row &r, const double *x, double &v, int row = -3);
  bool term_value(Term &t, const double *x, double &v);
  // term_value, telling on_eval_error about a failure.
  bool row_term_value(int row, Term &t, const double *x, double &v);
  // Adds w * gradient of the term at x to grad (dense) or, with jpos, to
  // values; with h, w * Hessian to h at the term's positions.
  bool term_derivs(Term &t, const double *x, double w, double *dense, double *jac, double *h);
  void index_structure();

  qslp_problem_s &p_;
  ProblemUserCaller caller_;
  Row obj_;
  std::vector<double> obj_lin_;  // dense objective coefficients
  double obj_const_ = 0.0;
  std::vector<Row> rows_;
  std::vector<int> main_row_;  // the main problem's row of each engine row
  std::vector<Transfer> transfers_;
  int main_m_ = 0;
  std::vector<double> work_;
};

}  // namespace qnda
