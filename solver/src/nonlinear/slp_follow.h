// A nonlinear problem keeps its coefficients in step with deletions of rows
// and columns of its main problem (slp_follow.cpp).
#pragma once

#include "nonlinear/slp_problem.h"

namespace qnda {

// Registers the problem with its main problem; unfollow_main undoes it
// (before the nonlinear problem goes).
void follow_main(qslp_problem_s &p);
void unfollow_main(qslp_problem_s &p);

}  // namespace qnda
