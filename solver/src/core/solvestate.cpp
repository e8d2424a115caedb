#include "core/solvestate.h"

#include <cstddef>

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
  dual_ray.clear();
  primal_ray.clear();
  pivot_order.clear();
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

namespace {

// The attributes a solve leaves, one row each: the id and how to read it.
template <class T>
struct AttribRead {
  int id;
  T (*read)(const SolveState &);
};

template <class T, std::size_t N>
bool read_attrib(const AttribRead<T> (&table)[N], const SolveState &s, int id, T *value) {
  for (const AttribRead<T> &a : table) {
    if (a.id == id) {
      *value = a.read(s);
      return true;
    }
  }
  return false;
}

using S = const SolveState &;
constexpr AttribRead<QNDAint64> kIntAttribs[] = {
    {QNDA_LPSTATUS, [](S s) -> QNDAint64 { return s.lp_status; }},
    {QNDA_MIPSTATUS, [](S s) -> QNDAint64 { return s.mip_status; }},
    {QNDA_STOPSTATUS, [](S s) -> QNDAint64 { return s.stop_status; }},
    {QNDA_SOLSTATUS, [](S s) -> QNDAint64 { return s.has_solution ? 1 : 0; }},
    {QNDA_LOCALSOLUTION, [](S s) -> QNDAint64 { return s.local_only ? 1 : 0; }},
    {QNDA_SIMPLEXITER, [](S s) -> QNDAint64 { return s.simplex_iter; }},
    {QNDA_BARITER, [](S s) -> QNDAint64 { return s.barrier_iter; }},
    {QNDA_NODES, [](S s) -> QNDAint64 { return s.nodes; }},
    {QNDA_MIPSOLS, [](S s) -> QNDAint64 { return s.mip_sols; }},
    {QNDA_PRESOLVESTATE, [](S s) -> QNDAint64 { return s.model_changed ? 1 : 0; }},
    {QNDA_ALGORITHM_ATTR, [](S s) -> QNDAint64 { return s.algorithm; }},
    {QNDA_ENGINE_ATTR, [](S s) -> QNDAint64 { return s.engine; }},
    {QNDA_CURRENTNODE, [](S s) -> QNDAint64 { return s.node; }},
    {QNDA_NODEDEPTH, [](S s) -> QNDAint64 { return s.depth; }}};
constexpr AttribRead<double> kDblAttribs[] = {
    {QNDA_LPOBJVAL, [](S s) { return s.lp_obj; }},
    {QNDA_BESTBOUND, [](S s) { return s.best_bound; }},
    {QNDA_MIPOBJVAL, [](S s) { return s.mip_obj; }},
    {QNDA_OBJVAL, [](S s) { return s.obj; }},
    {QNDA_MIPRELGAP, [](S s) { return s.rel_gap; }},
    {QNDA_SOLVETIME, [](S s) { return s.solve_time; }},
    {QNDA_MAXPRIMALINFEAS, [](S s) { return s.max_primal_infeas; }},
    {QNDA_MAXDUALINFEAS, [](S s) { return s.max_dual_infeas; }}};

}  // namespace

bool solve_int_attrib(const SolveState &s, int id, QNDAint64 *value) {
  return read_attrib(kIntAttribs, s, id, value);
}

bool solve_dbl_attrib(const SolveState &s, int id, double *value) {
  return read_attrib(kDblAttribs, s, id, value);
}

}  // namespace qnda
