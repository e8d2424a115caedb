// The interface between a mixed-integer nonlinear problem and its engine
// (engine/bonmin/): an NlpProblem whose columns may be integer.
#pragma once

#include <functional>
#include <vector>

#include "engine/nlp.h"

namespace qnda {

struct MinlpSettings {
  NlpSettings base;       // limits, tolerances (time limit: the whole search)
  int algorithm = 0;      // QSLP_MINLP_*
  double rel_gap = 1e-4;  // the search ends when the incumbent is this close to the bound
  double abs_gap = 1e-9;
  int node_limit = 0;            // <= 0: none
  std::function<int()> on_node;  // the root's continuous solve; nonzero stops
};

struct MinlpResult {
  NlpResult nlp;  // status: LocalOptimum for a solution of the search
  int nodes = 0;
};

// integer[j] != 0: column j takes integer values.  Throws qnda::Error when
// the engine is missing.
void minlp_solve(NlpProblem &p, const std::vector<char> &integer, const MinlpSettings &s,
                 MinlpResult &r);
bool minlp_available();

}  // namespace qnda
