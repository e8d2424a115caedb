// The SLP settings of columns and rows (nlvars.cpp) as the algorithm takes
// them, and what the checks and utilities of nlcheck.cpp and nlutil.cpp
// share.
#pragma once

#include <vector>

#include "nonlinear/slp.h"
#include "nonlinear/slp_problem.h"

namespace qnda {

// Fills o's per-column and per-row vectors from p's settings for model
// (built from p).  Settings of rows or columns the problem no longer has are
// left out.
void slp_extras_options(const qslp_problem_s &p, const NlpProblem &model, SlpOptions &o);

// The main problem, or QNDA_ERR_STATE when it is gone.
const Model &slp_main_model(const qslp_problem_s &p);

// The start point: the starting values given, 0 elsewhere (not yet moved
// into the bounds).
std::vector<double> slp_start_point(const qslp_problem_s &p);

}  // namespace qnda
