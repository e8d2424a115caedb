#include "core/solvestate.h"

namespace qnda {

void SolveState::clear_results() {
  lp_status = QNDA_LP_UNSTARTED;
  mip_status = QNDA_MIP_NOT_LOADED;
  stop_status = QNDA_STOP_NONE;
  was_mip = false;
  has_solution = false;
  local_only = false;
  has_duals = false;
  lp_obj = mip_obj = obj = best_bound = rel_gap = 0.0;
  solve_time = 0.0;
  static_cast<SolveCounters &>(*this) = SolveCounters();
  x.clear();
  slack.clear();
  duals.clear();
  djs.clear();
  rowstat.clear();
  colstat.clear();
}

void SolveState::clear_all() {
  clear_results();
  model_changed = true;
  start_rowstat.clear();
  start_colstat.clear();
  start_x.clear();
  start_duals.clear();
  mip_start.clear();
}

bool solve_int_attrib(const SolveState &s, int id, QNDAint64 *value) {
  switch (id) {
    case QNDA_LPSTATUS:
      *value = s.lp_status;
      return true;
    case QNDA_MIPSTATUS:
      *value = s.mip_status;
      return true;
    case QNDA_STOPSTATUS:
      *value = s.stop_status;
      return true;
    case QNDA_SOLSTATUS:
      *value = s.has_solution ? 1 : 0;
      return true;
    case QNDA_LOCALSOLUTION:
      *value = s.local_only ? 1 : 0;
      return true;
    case QNDA_SIMPLEXITER:
      *value = s.simplex_iter;
      return true;
    case QNDA_BARITER:
      *value = s.barrier_iter;
      return true;
    case QNDA_NODES:
      *value = s.nodes;
      return true;
    case QNDA_MIPSOLS:
      *value = s.mip_sols;
      return true;
    case QNDA_PRESOLVESTATE:
      *value = s.model_changed ? 1 : 0;
      return true;
    case QNDA_ALGORITHM_ATTR:
      *value = s.algorithm;
      return true;
    default:
      return false;
  }
}

bool solve_dbl_attrib(const SolveState &s, int id, double *value) {
  switch (id) {
    case QNDA_LPOBJVAL:
      *value = s.lp_obj;
      return true;
    case QNDA_BESTBOUND:
      *value = s.best_bound;
      return true;
    case QNDA_MIPOBJVAL:
      *value = s.mip_obj;
      return true;
    case QNDA_OBJVAL:
      *value = s.obj;
      return true;
    case QNDA_MIPRELGAP:
      *value = s.rel_gap;
      return true;
    case QNDA_SOLVETIME:
      *value = s.solve_time;
      return true;
    case QNDA_MAXPRIMALINFEAS:
      *value = s.max_primal_infeas;
      return true;
    case QNDA_MAXDUALINFEAS:
      *value = s.max_dual_infeas;
      return true;
    default:
      return false;
  }
}

}  // namespace qnda
