// What the last optimisation left on a problem: statuses, objective values,
// solution vectors, basis, counters.  Engine-neutral; filled by the engine
// adapters (engine/), read by the attribute getters and the result calls.
#pragma once

#include <vector>

#include "qnda.h"

namespace qnda {

// What an optimisation counts and measures: the engine reports them
// (engine/engine.h) and the problem keeps them, under the same names.
struct SolveCounters {
  QNDAint64 simplex_iter = 0, barrier_iter = 0, nodes = 0, mip_sols = 0;
  double max_primal_infeas = 0.0, max_dual_infeas = 0.0;
};

struct SolveState : SolveCounters {
  // Outcome of the last optimisation.
  int lp_status = QNDA_LP_UNSTARTED;
  int mip_status = QNDA_MIP_NOT_LOADED;
  int stop_status = QNDA_STOP_NONE;
  int algorithm = 0;          // QNDA_LPALGORITHM value used by the last LP solve
  int engine = 0;             // QNDA_ENGINE_HIGHS ... of the last optimisation
  int node = 0, depth = 0;    // the tree node of a node callback's event
  bool was_mip = false;       // the last solve ran the MIP search
  bool has_solution = false;  // x and slack hold a primal solution
  bool local_only = false;    // ... which is only known to be locally optimal
  bool has_duals = false;     // duals and djs hold a dual solution
  bool model_changed = true;  // the model changed since the last solve

  double lp_obj = 0.0, mip_obj = 0.0, obj = 0.0, best_bound = 0.0, rel_gap = 0.0;
  double solve_time = 0.0;

  // On the columns and rows of the problem as loaded (never the
  // reformulated ones).
  std::vector<double> x, slack, duals, djs;
  std::vector<int> rowstat, colstat;  // QNDA_AT_LOWER ...; empty: no basis
  // Rays of an infeasible (dual, per row) or unbounded (primal, per column)
  // LP; empty when the last solve found none.
  std::vector<double> dual_ray, primal_ray;
  // Basic variables in basis order: row i as i, column j as rows + j;
  // empty when there is no factored basis.
  std::vector<int> pivot_order;

  // Starting points given by the user for the next optimisation; dropped
  // when the model changes shape.
  std::vector<int> start_rowstat, start_colstat;
  std::vector<double> start_x;      // LP starting point (loadlpsol)
  std::vector<double> start_duals;  // its row duals, may be empty
  std::vector<double> mip_start;    // MIP start (loadmipsol)

  // Any change to the model makes the previous results stale.
  void invalidate() {
    model_changed = true;
    if (has_solution || has_duals || lp_status != QNDA_LP_UNSTARTED ||
        mip_status != QNDA_MIP_NOT_LOADED)
      clear_results();
  }

  // Forgets the results but keeps the user's starting points.
  void clear_results();
  // Forgets the starting points too (the model was replaced).
  void clear_all();
};

// Values of the solve-related attributes (statuses, objective values,
// iterations ...).  Return false when id is not one of them.
bool solve_int_attrib(const SolveState &s, int id, QNDAint64 *value);
bool solve_dbl_attrib(const SolveState &s, int id, double *value);

}  // namespace qnda
