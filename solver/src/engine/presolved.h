// A problem left in its presolved state: lpoptimize or mipoptimize with the
// flag 'P' presolves and stops; further optimisations solve the reduced
// model, whose solution and basis the "presolve" calls read, until
// QNDApostsolve maps that result back onto the problem (or the model
// changes, which drops the state).
#pragma once

#include <memory>
#include <vector>

#include "engine/engine.h"

struct qnda_problem_s;

namespace qnda {

struct PresolvedState {
  bool mip = false;
  std::unique_ptr<EnginePresolve> pre;
  std::unique_ptr<Engine> solver;  // the reduced model's engine, kept between its solves
  // The reduced rows as row types and right-hand sides, for slacks and
  // basis statuses in the library's conventions.
  std::vector<char> rowtype;
  std::vector<double> rhs;
  // The last solve of the reduced model.
  bool solved = false;
  EngineResult result;
  // A starting basis for the next solve (QNDAloadpresolvebasis).
  std::vector<int> start_rowstat, start_colstat;

  int nrows() const { return pre->reduced.nrows; }
  int ncols() const { return pre->reduced.ncols; }
};

// The problem's presolved state, NULL when it is not presolved.
PresolvedState *presolved_state(const qnda_problem_s &prob);

// QNDAlpoptimize and QNDAmipoptimize: the flag 'P' presolves only, a
// presolved problem has its reduced model solved, any other goes to
// optimise() (engine/optimise.h).
void optimise_or_presolve(qnda_problem_s &prob, bool mip, const char *flags);

// Presolves the problem and leaves it presolved (mip: the discrete columns
// stay).  Throws qnda::Error, also for models the presolved state cannot
// describe (sets, indicator rows, quadratic rows).
void presolve_only(qnda_problem_s &prob, bool mip, const EngineSettings &s);
// Solves the reduced model of a presolved problem.
void optimise_presolved(qnda_problem_s &prob, const EngineSettings &s);
// Maps the reduced model's result back onto the problem and leaves the
// presolved state; nothing when the problem is not presolved.
void postsolve(qnda_problem_s &prob);

// The presolved solution (any output may be NULL; sizes of the reduced
// model).  Throws when there is none.
void presolved_solution(const PresolvedState &ps, double *x, double *slack, double *duals,
                        double *djs);
void presolved_basis(const PresolvedState &ps, int *rowstat, int *colstat);
void load_presolved_basis(PresolvedState &ps, const int *rowstat, const int *colstat);

// The row sum coef[k] x[col[k]] (type) rhs in the reduced model's columns
// (EnginePresolve's from, scale and shift): constants go into the
// right-hand side.  Returns 0, 1 when more than maxcoefs coefficients
// result (*ncoefs says how many), -1 when the row uses a column that is
// neither a constant nor the image of one reduced column.
int presolve_row(const qnda_problem_s &prob, char type, int n, const int *col, const double *coef,
                 double rhs, int maxcoefs, int *ncoefs, int *outcol, double *outcoef,
                 double *outrhs);

}  // namespace qnda
