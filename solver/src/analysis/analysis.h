// Analyses of a problem on top of the engines: infeasible subsystems,
// repairs and sensitivity.  They see the model as the engines do (a
// FlatModel) and reach an engine only through engine/engine.h.
#pragma once

#include <string>
#include <vector>

#include "engine/engine.h"
#include "engine/flatmodel.h"
#include "model/problem.h"

namespace qnda {

// One infeasible subsystem: rows (with their type letter) and column
// bounds ('L' lower, 'U' upper), and which members belong to no other
// subsystem found (empty until asked for).
struct IisSet {
  std::vector<int> rows;
  std::vector<char> rowtype;
  std::vector<int> cols;
  std::vector<char> colside;
  bool irreducible = false;
  std::vector<char> row_isolated, col_isolated;  // 0/1 per member
};

struct AnalysisState {
  FlatModel model;  // the model the subsystems were found on
  bool mip = false;
  std::vector<IisSet> sets;
  bool exhausted = false;  // no further subsystem exists (or the search gave up)
};

// The model of prob as the engines see it (reformulated, discrete columns
// kept), and the settings of the quiet solves an analysis runs.
void analysis_model(const qnda_problem_s &prob, FlatModel &out);
EngineSettings analysis_settings(const qnda_problem_s &prob, bool mip);
// An engine solve of m (consumed); throws when the engine fails.
void analysis_solve(const qnda_problem_s &prob, FlatModel &m, const EngineSettings &s,
                    EngineResult &r, const EngineStart &start = EngineStart());

// The LP algorithm letters d, p, b of flags into s; throws on others.
void lp_algorithm_flags(const char *flags, EngineSettings &s);

// The state of prob's analyses, made on first use.
AnalysisState &analysis_state(qnda_problem_s &prob);

// Infeasible subsystems.  The search calls return 0 when a new subsystem
// was found, 1 when the problem is feasible or no further one exists.
// mode 0 stops at the first infeasible subsystem, 1 reduces it until it
// is irreducible.
int iis_first(qnda_problem_s &prob, int mode);
int iis_next(qnda_problem_s &prob);
int iis_all(qnda_problem_s &prob);
void iis_clear(qnda_problem_s &prob);
// Sum and count of the violations a subsystem needs at least, with unit
// weights (the distance of its members from feasibility).
void iis_violation(qnda_problem_s &prob, int num, double *suminfeas, int *numinfeas);
// Marks the members of subsystem num that belong to no other one found.
void iis_isolations(qnda_problem_s &prob, int num);
// Farkas multipliers of subsystem num (LP only; zeros on a MIP): one per
// row member and one per bound member.
void iis_multipliers(qnda_problem_s &prob, int num, std::vector<double> &rowmult,
                     std::vector<double> &colmult);
// Writes subsystem num: type 0 as an LP file of the subsystem alone, 1 as
// a CSV list of its members.
void iis_write(qnda_problem_s &prob, int num, const char *filename, int type);
// The set num (1-based); throws on a bad number.
const IisSet &iis_get(qnda_problem_s &prob, int num);

// Repairs: status as QNDArepairweightedinfeas reports it.
struct RepairWeights {
  std::vector<double> lrp, grp, lbp, ubp;  // rows (<= side, >= side) and bounds
  std::vector<double> lrb, grb, lbb, ubb;  // bounds of the relaxation (empty: none)
};
int repair(qnda_problem_s &prob, const RepairWeights &w, char phase2, double delta,
           const char *flags);

// Sensitivity of the LP at its optimum.
void objective_ranges(qnda_problem_s &prob, int n, const int *cols, double *lower, double *upper);
void rhs_ranges(qnda_problem_s &prob, int n, const int *rows, double *lower, double *upper);

// Strong branching: each candidate bound change (type 'L', 'U' or 'B' on
// column cols[k] to vals[k]) solved by the dual simplex from the optimal
// basis of the LP relaxation, at most itrlimit iterations each (<= 0: no
// limit); the objective and the LP status (QNDA_LP_*) per candidate.
void strong_branch(qnda_problem_s &prob, int n, const int *cols, const char *types,
                   const double *vals, int itrlimit, double *objval, int *status);

// For each row, the least and greatest dual met when its right-hand side
// moves just past either end of its range (analysis/sensitivity.cpp).
void row_dual_ranges(qnda_problem_s &prob, int n, const int *rows, int itrlimit, double *mindual,
                     double *maxdual);

// The 1-norm condition number estimate of the optimal basis of the LP.
double basis_stability(qnda_problem_s &prob, int type, int norm, int scaled);

// MIP solutions (analysis/refine.cpp): the status of QNDArefinemipsol,
// and QNDAfixglobals.
int refine_mip_sol(qnda_problem_s &prob, int options, const char *flags, const double *solution,
                   double *refined);
void fix_globals(qnda_problem_s &prob, bool round);
// QNDAscale: exponents per row and column (NULL: none).
void set_user_scale(qnda_problem_s &prob, const int *rowexp, const int *colexp);

// The tuner (analysis/tune.cpp) and its method files.
void tune(qnda_problem_s &prob, const char *flags);
void tuner_write_method(const qnda_problem_s &prob, const char *filename);
void tuner_read_method(qnda_problem_s &prob, const char *filename);

}  // namespace qnda
