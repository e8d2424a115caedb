// The one table of controls and attributes of the main interface.  Listing
// (QNDAgetcalist_c), lookup by name and id, type and bound validation,
// defaults and docs/controls.md all read it.
#pragma once

#include <climits>
#include <cstddef>

#include "qnda.h"

namespace qnda {

enum CaKind { CA_ATTRIBUTE = 0, CA_CONTROL = 1 };

struct CaInfo {
  int id;
  const char *name;  // lower case
  int type;          // QNDA_TYPE_*
  int kind;          // CA_CONTROL or CA_ATTRIBUTE
  // Default and bounds of integer and 64-bit integer controls ...
  long long idef, imin, imax;
  // ... of double controls ...
  double ddef, dmin, dmax;
  // ... and the default of string controls.
  const char *sdef;
  const char *description;
};

constexpr double kNoBound = 1e300;
constexpr long long kI32 = INT_MAX;
constexpr long long kI64 = LLONG_MAX;

#define QNDA_CA_INT(id, name, def, lo, hi, desc) \
  {id, name, QNDA_TYPE_INT, CA_CONTROL, def, lo, hi, 0, 0, 0, nullptr, desc}
#define QNDA_CA_INT64(id, name, def, lo, hi, desc) \
  {id, name, QNDA_TYPE_INT64, CA_CONTROL, def, lo, hi, 0, 0, 0, nullptr, desc}
#define QNDA_CA_DBL(id, name, def, lo, hi, desc) \
  {id, name, QNDA_TYPE_DOUBLE, CA_CONTROL, 0, 0, 0, def, lo, hi, nullptr, desc}
#define QNDA_CA_STR(id, name, def, desc) \
  {id, name, QNDA_TYPE_STRING, CA_CONTROL, 0, 0, 0, 0, 0, 0, def, desc}
#define QNDA_AT_INT(id, name, desc) \
  {id, name, QNDA_TYPE_INT, CA_ATTRIBUTE, 0, 0, 0, 0, 0, 0, nullptr, desc}
#define QNDA_AT_DBL(id, name, desc) \
  {id, name, QNDA_TYPE_DOUBLE, CA_ATTRIBUTE, 0, 0, 0, 0, 0, 0, nullptr, desc}

constexpr CaInfo kCaTable[] = {
    // ---------------------------------------------------------- controls
    QNDA_CA_INT(QNDA_LOGLEVEL, "loglevel", 1, 0, 3,
                "Amount of log: 0 silent, 1 summary lines, 2 the engine's log, 3 verbose."),
    QNDA_CA_INT(QNDA_THREADS, "threads", 0, 0, 1024,
                "Threads an optimisation may use; 0 lets the engine choose."),
    QNDA_CA_INT(QNDA_PRESOLVE, "presolve", 1, 0, 1,
                "1 presolves the problem before optimising it, 0 does not."),
    QNDA_CA_INT(QNDA_LPALGORITHM, "lpalgorithm", 1, 1, 4,
                "Algorithm of LP solves without flags: 1 engine's choice, 2 dual simplex, "
                "3 primal simplex, 4 barrier (interior point)."),
    QNDA_CA_INT(QNDA_LPITERLIMIT, "lpiterlimit", kI32, 0, kI32,
                "Most simplex iterations of one LP solve."),
    QNDA_CA_INT(QNDA_RANDOMSEED, "randomseed", 0, 0, kI32, "Seed of the engine's random choices."),
    QNDA_CA_INT(QNDA_MAXMIPSOL, "maxmipsol", 0, 0, kI32,
                "Stop a MIP solve after this many improving solutions; 0 means no limit."),
    QNDA_CA_INT(QNDA_SCALING, "scaling", 1, 0, 1,
                "1 lets the engine scale the problem, 0 switches scaling off."),
    QNDA_CA_INT(QNDA_OUTPUTLOG, "outputlog", 1, 0, 1,
                "1 echoes the problem's log to standard output, 0 sends it to the message "
                "handlers only."),
    QNDA_CA_INT(QNDA_BARITERLIMIT, "bariterlimit", 500, 0, kI32,
                "Most barrier iterations of one LP solve."),
    QNDA_CA_INT(QNDA_CROSSOVER, "crossover", 1, 0, 1,
                "1 runs crossover after the barrier to find a basic solution, 0 does not."),
    QNDA_CA_INT(QNDA_KEEPNROWS, "keepnrows", 1, 0, 1,
                "1 keeps free ('N') rows given to the load functions as rows of the problem; "
                "0 drops them while loading (the rows after them close up)."),
    QNDA_CA_INT(QNDA_MAXIIS, "maxiis", 20, 0, kI32,
                "Most infeasible subsystems one search for all of them finds; 0 means no "
                "limit."),
    QNDA_CA_INT64(QNDA_MAXNODE, "maxnode", kI32, 0, kI64,
                  "Most branch-and-bound nodes of one MIP solve."),
    QNDA_CA_DBL(QNDA_TIMELIMIT, "timelimit", 0.0, -kNoBound, kNoBound,
                "Wall-clock seconds an optimisation may take; 0 or less, or 1e20 and more, "
                "means no limit."),
    QNDA_CA_DBL(QNDA_MIPRELSTOP, "miprelstop", 1e-4, 0.0, kNoBound,
                "A MIP solve stops when the gap between its best solution and best bound, "
                "relative to the solution, falls to this."),
    QNDA_CA_DBL(QNDA_MIPABSSTOP, "mipabsstop", 1e-6, 0.0, kNoBound,
                "A MIP solve stops when the absolute gap between its best solution and best "
                "bound falls to this."),
    QNDA_CA_DBL(QNDA_FEASTOL, "feastol", 1e-7, 1e-10, 1.0,
                "Primal feasibility tolerance of rows and bounds."),
    QNDA_CA_DBL(QNDA_OPTIMALITYTOL, "optimalitytol", 1e-7, 1e-10, 1.0,
                "Dual feasibility (optimality) tolerance of reduced costs."),
    QNDA_CA_DBL(QNDA_MIPTOL, "miptol", 1e-6, 1e-10, 0.5,
                "Integrality tolerance: a value this close to an integer counts as integral."),
    QNDA_CA_DBL(QNDA_MIPCUTOFF, "mipcutoff", 1e20, -kNoBound, kNoBound,
                "Objective cutoff: solutions not better than it are not wanted; a magnitude "
                "of 1e20 or more means none."),
    QNDA_CA_DBL(QNDA_BARGAPSTOP, "bargapstop", 1e-8, 1e-12, 1.0,
                "Relative duality gap at which the barrier stops."),
    QNDA_CA_DBL(QNDA_INFINITYCTRL, "infinity", 1e20, 1e10, 1e300,
                "Bounds and right-hand sides of this magnitude or more count as infinite."),
    QNDA_CA_DBL(QNDA_TUNERMAXTIME, "tunermaxtime", 60.0, 0.0, kNoBound,
                "Seconds the tuner may spend solving candidate settings."),
    QNDA_CA_STR(QNDA_LOGFILE, "logfile", "",
                "File that receives a copy of the problem's log; empty means none."),
    QNDA_CA_STR(QNDA_SOLVERNAME, "solvername", "highs",
                "Engine of MIP searches: \"highs\" or \"cbc\" (LP and QP solves always "
                "run on HiGHS; node callbacks move a search to Cbc)."),
    // -------------------------------------------------- integer attributes
    QNDA_AT_INT(QNDA_ROWS, "rows", "Rows of the problem."),
    QNDA_AT_INT(QNDA_SETS, "sets", "Special ordered sets of the problem."),
    QNDA_AT_INT(QNDA_LPSTATUS, "lpstatus", "Status of the last LP solve (lp_* values)."),
    QNDA_AT_INT(QNDA_MIPSTATUS, "mipstatus", "Status of the last MIP solve (mip_* values)."),
    QNDA_AT_INT(QNDA_COLS, "cols", "Columns of the problem."),
    QNDA_AT_INT(QNDA_SPAREROWS, "sparerows",
                "Rows allocated but not in use; always 0 in this library."),
    QNDA_AT_INT(QNDA_NAMELENGTH, "namelength",
                "Length of the longest row, column or set name, in units of 8 characters."),
    QNDA_AT_INT(QNDA_MIPENTS, "mipents", "Discrete entities: columns that are not continuous."),
    QNDA_AT_INT(QNDA_ELEMS, "elems", "Nonzero coefficients of the matrix."),
    QNDA_AT_INT(QNDA_QELEMS, "qelems",
                "Quadratic objective terms (pairs of columns with a coefficient)."),
    QNDA_AT_INT(QNDA_QCONSTRAINTS, "qconstraints", "Rows with quadratic terms."),
    QNDA_AT_INT(QNDA_QCELEMS, "qcelems", "Quadratic terms of all rows together."),
    QNDA_AT_INT(QNDA_SETMEMBERS, "setmembers", "Members of all sets together."),
    QNDA_AT_INT(QNDA_INDICATORS, "indicators", "Indicator rows."),
    QNDA_AT_INT(QNDA_ORIGINALROWS, "originalrows", "Rows of the problem as loaded."),
    QNDA_AT_INT(QNDA_PROBNAMELENGTH, "probnamelength",
                "Bytes the problem's name takes, with its terminating zero."),
    QNDA_AT_INT(QNDA_ORIGINALSETS, "originalsets", "Sets of the problem as loaded."),
    QNDA_AT_INT(QNDA_ORIGINALCOLS, "originalcols", "Columns of the problem as loaded."),
    QNDA_AT_INT(QNDA_STOPSTATUS, "stopstatus",
                "Why the last optimisation stopped (stop_* values; 0 when it finished)."),
    QNDA_AT_INT(QNDA_SOLSTATUS, "solstatus", "1 when a solution is available, else 0."),
    QNDA_AT_INT(QNDA_LOCALSOLUTION, "localsolution",
                "1 when the solution of a non-convex model is only known to be locally optimal."),
    QNDA_AT_INT(QNDA_SIMPLEXITER, "simplexiter", "Simplex iterations of the last solve."),
    QNDA_AT_INT(QNDA_BARITER, "bariter", "Barrier iterations of the last solve."),
    QNDA_AT_INT(QNDA_NODES, "nodes", "Branch-and-bound nodes of the last MIP solve."),
    QNDA_AT_INT(QNDA_MIPSOLS, "mipsols", "Improving solutions found by the last MIP solve."),
    QNDA_AT_INT(QNDA_OBJSENSE_ATTR, "objsense", "Objective sense: 1 minimise, -1 maximise."),
    QNDA_AT_INT(QNDA_ERRORCODE, "errorcode", "Code of the last error on the problem."),
    QNDA_AT_INT(QNDA_ORIGINALQELEMS, "originalqelems",
                "Quadratic objective terms of the problem as loaded."),
    QNDA_AT_INT(QNDA_ORIGINALQCELEMS, "originalqcelems",
                "Quadratic row terms of the problem as loaded."),
    QNDA_AT_INT(QNDA_PRESOLVESTATE, "presolvestate",
                "1 when the problem changed since the last optimisation, else 0."),
    QNDA_AT_INT(QNDA_ALGORITHM_ATTR, "algorithm",
                "Algorithm of the last LP solve: 2 dual simplex, 3 primal simplex, 4 barrier "
                "(0 before any)."),
    QNDA_AT_INT(QNDA_ENGINE_ATTR, "engine",
                "Engine of the last optimisation: 1 HiGHS, 2 Cbc (a MIP search with node "
                "callbacks); 0 before any."),
    QNDA_AT_INT(QNDA_CURRENTNODE, "currentnode",
                "Inside a node callback, the node of the event (the root is 1); else 0."),
    QNDA_AT_INT(QNDA_NODEDEPTH, "nodedepth",
                "Inside a node callback, the depth of the event's node (the root's is 1); else 0."),
    // --------------------------------------------------- double attributes
    QNDA_AT_DBL(QNDA_LPOBJVAL, "lpobjval", "Objective value of the last LP (or relaxation)."),
    QNDA_AT_DBL(QNDA_BESTBOUND, "bestbound", "Best bound of the last MIP solve."),
    QNDA_AT_DBL(QNDA_MIPOBJVAL, "mipobjval", "Objective value of the best MIP solution."),
    QNDA_AT_DBL(QNDA_OBJVAL, "objval", "Objective value of the current solution, LP or MIP."),
    QNDA_AT_DBL(QNDA_MIPRELGAP, "miprelgap", "Relative gap of the last MIP solve."),
    QNDA_AT_DBL(QNDA_SOLVETIME, "solvetime", "Wall-clock seconds of the last optimisation."),
    QNDA_AT_DBL(QNDA_MAXPRIMALINFEAS, "maxprimalinfeas",
                "Largest primal infeasibility of the current solution."),
    QNDA_AT_DBL(QNDA_MAXDUALINFEAS, "maxdualinfeas",
                "Largest dual infeasibility of the current solution."),
    QNDA_AT_DBL(QNDA_OBJCONSTANT, "objconstant", "Constant term of the objective."),
};

#undef QNDA_CA_INT
#undef QNDA_CA_INT64
#undef QNDA_CA_DBL
#undef QNDA_CA_STR
#undef QNDA_AT_INT
#undef QNDA_AT_DBL

constexpr int kCaCount = static_cast<int>(sizeof kCaTable / sizeof kCaTable[0]);

// Position of id (or name, compared without case) in kCaTable, -1 if none.
int ca_index(int id);
int ca_index(const char *name);
inline const CaInfo *ca_find(int id) {
  int k = ca_index(id);
  return k < 0 ? nullptr : &kCaTable[k];
}

}  // namespace qnda
