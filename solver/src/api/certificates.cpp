// What the last optimisation tells beyond its solution: the infeasibilities
// of the solution held, rays of an infeasible or unbounded LP, the order of
// the basic variables, and the presolve map.
#include <algorithm>
#include <cmath>

#include "api/model_args.h"
#include "engine/pivots.h"
#include "engine/presolved.h"

using namespace qnda;

namespace {

struct Infeas {
  std::vector<int> cols, rows, duals, djs;
};

bool outside(double v, double lo, double hi, double tol) {
  return v < lo - tol * (1.0 + std::fabs(lo)) || v > hi + tol * (1.0 + std::fabs(hi));
}

// A solution and the bounds it is judged against: the problem's, or the
// presolved problem's.
struct Judged {
  int n = 0, rows = 0;
  double sense = 1.0;
  std::vector<double> lb, ub, lo, hi, x, act, duals, djs;
  bool has_duals = false;
};

Judged problem_view(const qnda_problem_s &prob) {
  const Model &m = prob.model;
  const SolveState &st = prob.solve;
  if (!st.has_solution && presolved_state(prob))
    fail(QNDA_ERR_STATE,
         "the problem is presolved: it has no solution until postsolve (getscaledinfeas judges "
         "the presolved one)");
  if (!st.has_solution) fail(QNDA_ERR_STATE, "no solution available (optimise the problem first)");
  Judged j;
  j.n = m.ncols();
  j.rows = m.nrows();
  j.sense = m.obj_sense() < 0 ? -1.0 : 1.0;
  j.lb = m.lb_array();
  j.ub = m.ub_array();
  j.lo.resize(j.rows);
  j.hi.resize(j.rows);
  j.act.resize(j.rows);
  for (int i = 0; i < j.rows; ++i) {
    m.row_bounds(i, &j.lo[i], &j.hi[i]);
    j.act[i] = m.rhs()[i] - st.slack[i];
  }
  j.x = st.x;
  j.has_duals = st.has_duals;
  j.duals = st.duals;
  j.djs = st.djs;
  return j;
}

// The presolved problem's solution against its own bounds.
Judged presolved_view(const PresolvedState &ps) {
  const FlatModel &r = ps.pre->reduced;
  const EngineResult &res = ps.result;
  if (!ps.solved || !res.has_primal)
    fail(QNDA_ERR_STATE, "no solution of the presolved problem (optimise it first)");
  return Judged{
      r.ncols, r.nrows,       r.sense < 0 ? -1.0 : 1.0, r.lb,         r.ub,         r.rowlo,
      r.rowup, res.col_value, res.row_activity,         res.row_dual, res.col_dual, res.has_dual};
}

// Primal: columns outside their bounds, rows outside theirs.  Dual (of a
// minimisation; a maximisation's multipliers turn sign): reduced costs and
// row duals of the wrong sign for where the column or row sits.
Infeas find_infeasibilities(const qnda_problem_s &prob, const Judged &v) {
  const double ftol = prob.controls.get_dbl(QNDA_FEASTOL);
  const double otol = prob.controls.get_dbl(QNDA_OPTIMALITYTOL);
  Infeas inf;
  for (int j = 0; j < v.n; ++j)
    if (outside(v.x[j], v.lb[j], v.ub[j], ftol)) inf.cols.push_back(j);
  for (int i = 0; i < v.rows; ++i)
    if (outside(v.act[i], v.lo[i], v.hi[i], ftol)) inf.rows.push_back(i);
  if (!v.has_duals) return inf;
  auto wrong_sign = [&](double d, double x, double l, double h) {
    d *= v.sense;
    const bool at_lo = !is_inf(l) && std::fabs(x - l) <= ftol * (1.0 + std::fabs(l));
    const bool at_hi = !is_inf(h) && std::fabs(x - h) <= ftol * (1.0 + std::fabs(h));
    if (at_lo && at_hi) return false;  // fixed: any sign
    if (at_lo) return d < -otol;
    if (at_hi) return d > otol;
    return std::fabs(d) > otol;
  };
  for (int j = 0; j < v.n; ++j)
    if (wrong_sign(v.djs[j], v.x[j], v.lb[j], v.ub[j])) inf.djs.push_back(j);
  // A row's dual is the reduced cost of its activity a'x (as a column r
  // with a'x - r = 0): at the upper limit it is <= 0, at the lower >= 0.
  for (int i = 0; i < v.rows; ++i)
    if (wrong_sign(v.duals[i], v.act[i], v.lo[i], v.hi[i])) inf.duals.push_back(i);
  return inf;
}

void copy_out(const std::vector<int> &v, int *count, int *out) {
  if (count) *count = static_cast<int>(v.size());
  if (out) std::copy(v.begin(), v.end(), out);
}

int get_infeas(QNDAprob prob, const char *fname, bool presolved, int *npv, int *nps, int *nds,
               int *ndv, int *mx, int *mslack, int *mdual, int *mdj) {
  return guard_read(prob, fname, [&] {
    const PresolvedState *ps = presolved ? presolved_state(*prob) : nullptr;
    Infeas inf = find_infeasibilities(*prob, ps ? presolved_view(*ps) : problem_view(*prob));
    copy_out(inf.cols, npv, mx);
    copy_out(inf.rows, nps, mslack);
    copy_out(inf.duals, nds, mdual);
    copy_out(inf.djs, ndv, mdj);
  });
}

void get_ray(const std::vector<double> &ray, double *out, int *has) {
  if (has) *has = ray.empty() ? 0 : 1;
  if (out) {
    if (ray.empty()) fail(QNDA_ERR_STATE, "no ray available from the last optimisation");
    std::copy(ray.begin(), ray.end(), out);
  }
}

}  // namespace

extern "C" {

int QNDAgetinfeas(QNDAprob prob, int *npv, int *nps, int *nds, int *ndv, int *mx, int *mslack,
                  int *mdual, int *mdj) {
  return get_infeas(prob, "QNDAgetinfeas", false, npv, nps, nds, ndv, mx, mslack, mdual, mdj);
}

int QNDAgetscaledinfeas(QNDAprob prob, int *npv, int *nps, int *nds, int *ndv, int *mx, int *mslack,
                        int *mdual, int *mdj) {
  // Scaling stays inside the engine: the problem (or the presolved one,
  // while presolved) is judged as it is, unscaled.
  return get_infeas(prob, "QNDAgetscaledinfeas", true, npv, nps, nds, ndv, mx, mslack, mdual, mdj);
}

int QNDAgetprimalray(QNDAprob prob, double *ray, int *hasray) {
  return guard_read(prob, "QNDAgetprimalray",
                    [&] { get_ray(prob->solve.primal_ray, ray, hasray); });
}

int QNDAgetdualray(QNDAprob prob, double *ray, int *hasray) {
  return guard_read(prob, "QNDAgetdualray", [&] { get_ray(prob->solve.dual_ray, ray, hasray); });
}

int QNDAgetpivotorder(QNDAprob prob, int *pivotorder) {
  return guard_read(prob, "QNDAgetpivotorder", [&] {
    check_array(pivotorder, "pivotorder");
    const std::vector<int> &p = prob->solve.pivot_order;
    if (p.empty() && prob->model.nrows() > 0)
      fail(QNDA_ERR_STATE, "no factored basis available (solve the LP with a simplex method)");
    std::copy(p.begin(), p.end(), pivotorder);
  });
}

int QNDAgetpivots(QNDAprob prob, int enter, int *outlist, double *x, double *dobj, int *npiv,
                  int maxpiv) {
  return guard_read(prob, "QNDAgetpivots", [&] {
    PivotResult r;
    pivot_candidates(*prob, enter, maxpiv, r);
    if (npiv) *npiv = static_cast<int>(r.leaving.size());
    if (outlist) std::copy(r.leaving.begin(), r.leaving.end(), outlist);
    if (x) std::copy(r.x.begin(), r.x.end(), x);
    if (dobj) *dobj = r.obj;
  });
}

int QNDAgetpresolvemap(QNDAprob prob, int *rowmap, int *colmap) {
  return guard_read(prob, "QNDAgetpresolvemap", [&] {
    if (const PresolvedState *ps = presolved_state(*prob)) {
      if (rowmap) std::copy(ps->pre->row_map.begin(), ps->pre->row_map.end(), rowmap);
      if (colmap) std::copy(ps->pre->col_map.begin(), ps->pre->col_map.end(), colmap);
      return;
    }
    // Not presolved: row i and column j map to themselves.
    for (int i = 0; rowmap && i < prob->model.nrows(); ++i) rowmap[i] = i;
    for (int j = 0; colmap && j < prob->model.ncols(); ++j) colmap[j] = j;
  });
}

}  // extern "C"
