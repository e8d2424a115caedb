// The SLP settings of columns and rows (nlvars.cpp) as the algorithm takes
// them, and what the checks and utilities of nlcheck.cpp and nlutil.cpp
// share.
#pragma once

#include <string>
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

// The determined columns in cascade order: each after the determined columns
// its row uses, sequence numbers first.  Throws on a determining row that is
// not an equality holding its column, and on a cycle.
std::vector<int> slp_cascade_order(const qslp_problem_s &p, const NlpProblem &m);
// Recomputes the columns of order at x, each from its row by Newton steps;
// the names of those that did not settle ("" when all did).
std::string slp_cascade_point(const qslp_problem_s &p, NlpProblem &m, const std::vector<int> &order,
                              std::vector<double> &x);

}  // namespace qnda
