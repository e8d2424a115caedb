// Pivot candidates of the last optimal basis: the engine factors the basis
// and solves with it; the step along the entering variable's edge and the
// ratio test over the basic variables are read off that solve.
#pragma once

#include <vector>

struct qnda_problem_s;

namespace qnda {

struct PivotResult {
  std::vector<int> leaving;  // combined indices: row i as i, column j as rows + j
  std::vector<double> x;     // after the pivot: row slacks, then columns
  double obj = 0.0;          // objective after the pivot
};

// enter: combined index of a nonbasic row or column.  Throws qnda::Error.
void pivot_candidates(qnda_problem_s &prob, int enter, int maxpiv, PivotResult &out);

}  // namespace qnda
