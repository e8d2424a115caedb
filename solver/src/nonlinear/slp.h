// Successive linear programming.
//
// At the current point x the nonlinear rows are replaced by their first-order
// expansions g(x) + J(x)(y - x), the objective by its gradient, and the LP
//     minimise  grad f(x)'y + penalty * sum(p + q)
//     subject to  gl <= g(x) + J(x)(y - x) + p - q <= gu   (nonlinear rows)
//                 gl <= J y <= gu                          (linear rows)
//                 max(xl, x - delta) <= y <= min(xu, x + delta)
// is solved by the LP engine.  The error vectors p, q >= 0 keep it feasible
// when the linearisation is not; the step bounds delta (a trust region,
// scaled per column) are resized by the ratio of the actual to the predicted
// decrease of the merit function f + penalty * (sum of row violations), and
// a step that does not decrease it is rejected.  The penalty grows when the
// LP's multipliers reach it or when the point stays infeasible.  The solve
// ends when the point satisfies the rows (absolute and relative row
// tolerances) and either every variable's step is within its tolerances or
// the predicted decrease is within the objective's tolerances.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "engine/nlp.h"
#include "nonlinear/nlp_data.h"

namespace qnda {

struct SlpOptions {
  NlpSettings base;  // iteration and time limits, feasibility tolerance, log
  double rtol_row = 1e-9;
  double atol_var = 1e-6, rtol_var = 1e-6;
  double atol_obj = 1e-7, rtol_obj = 1e-7;
  double delta0 = 0.0;  // 0: automatic
  double delta_min = 1e-10;
  double penalty0 = 0.0;  // 0: automatic
  int step_bounds = 1;    // QSLP_STEPBOUNDS_*
  // Adds the Hessian of the Lagrangian, shifted to be positive semidefinite,
  // to the step problem (a QP then): far fewer iterations on curved
  // problems whose optimum is not at a vertex of the linearisation.
  bool curvature = false;
  // Per column (empty: defaults): the first step bound (0: automatic), its
  // kind (QSLP_DELTA_*), and the step tolerances (negative: atol_var,
  // rtol_var).
  std::vector<double> col_delta0;
  std::vector<char> col_delta_kind;
  std::vector<double> col_atol, col_rtol;
  // Per row (empty: hard, weight 1): QSLP_ROW_* and weight.
  std::vector<char> row_status;
  std::vector<double> row_weight;
  // Per Jacobian entry (empty: 1): the factor of the step problems.
  std::vector<double> jac_factor;
  // Recomputes the determined columns of a point from their rows
  // (cascading), at the start and after each accepted step.  Empty: none.
  std::function<void(std::vector<double> &)> cascade;
  bool fixed_penalty = false;     // start at penalty0 and never raise it
  double *penalty_out = nullptr;  // the penalty at the end
};

// Throws qnda::Error only for failures of the library itself; outcomes of
// the solve are in r.
void slp_solve(NlpProblem &p, const SlpOptions &o, const SlpHooks &hooks, NlpResult &r);

}  // namespace qnda
