// Mixed-integer nonlinear problems: integer and binary columns with
// nonlinear rows or objective, solved by the mixed-integer nonlinear engine
// (engine/bonmin/).
#pragma once

struct qslp_problem_s;

namespace qnda {

// Solves p (its integer columns kept); the outcome is left on p as a plain
// solve leaves its own.
void minlp_optimize(qslp_problem_s &p);

}  // namespace qnda
