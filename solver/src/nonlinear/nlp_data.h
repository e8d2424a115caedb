// What a nonlinear problem holds beside its main problem: the nonlinear
// coefficients with their formulas, the string table, the user functions,
// the starting point, the results of the last solve, and the hook points of
// the SLP iterations.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "nonlinear/evaluator.h"
#include "nonlinear/formula.h"

namespace qnda {

// The column of a coefficient that stands for the constant 1.  Negative, so
// that no change of the main problem's columns ever moves it; -1 is left to
// mean "none".
constexpr int kConstantCol = -2;
// The row of a coefficient that is the objective.
constexpr int kObjectiveRow = -1;

struct NlCoef {
  double factor = 1.0;
  Formula formula;  // parsed
};

struct UserFunc {
  std::string name;
  int call = 0;             // QSLP_UFCALL_*
  void *address = nullptr;  // QSLPuserfunc or QSLPuserfuncderiv
  void *object = nullptr;   // the caller's, never dereferenced here
};

// Called at the events of an SLP solve; each returns nonzero to stop it.
// Empty functions are skipped.  point receives the accepted iterate before
// iterend; itervar runs for each nonlinear column after each iteration (its
// result is ignored).
struct SlpHooks {
  std::function<int()> slpstart, construct, iterstart, iterend, slpend;
  std::function<void(const double *x)> point;
  std::function<int(int col)> itervar;
};

struct NlpData {
  std::map<std::pair<int, int>, NlCoef> coefs;  // by (row, column)
  std::vector<std::string> strings;             // string table, index k + 1
  std::vector<UserFunc> userfuncs;              // index k + 1
  std::vector<double> start;                    // initial values; empty: none
  SlpHooks hooks;
};

struct NlpSolution {
  bool has_solution = false;
  std::vector<double> x, slack, duals, djs;
};

}  // namespace qnda
