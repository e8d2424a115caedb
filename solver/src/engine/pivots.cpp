#include "engine/pivots.h"

#include <cmath>
#include <limits>
#include <memory>

#include "core/error.h"
#include "engine/optimise.h"
#include "engine/presolved.h"
#include "engine/reformulate.h"
#include "model/problem.h"

namespace qnda {

void pivot_candidates(qnda_problem_s &prob, int enter, int maxpiv, PivotResult &out) {
  const Model &m = prob.model;
  const SolveState &st = prob.solve;
  const int n = m.ncols(), rows = m.nrows();
  if (enter < 0 || enter >= rows + n)
    fail(QNDA_ERR_INDEX, "entering variable %d out of range [0, %d)", enter, rows + n);
  if (maxpiv < 0) fail(QNDA_ERR_ARGUMENT, "maxpiv is negative (%d)", maxpiv);
  // What has no simplex basis of the problem's own rows and columns says
  // why, before the missing basis would.
  if (!m.qobj().empty())
    fail(QNDA_ERR_UNSUPPORTED,
         "no pivots of a quadratic objective: the engine's QP solver leaves no simplex basis");
  if (!m.qrow_list().empty())
    fail(QNDA_ERR_UNSUPPORTED,
         "no pivots of a problem with quadratic rows: the interior-point engine solves it");
  FlattenOptions fo;
  fo.search = false;
  FlatModel fm;
  flatten(m, fo, fm);
  if (fm.ncols != n || fm.nrows != rows)
    fail(QNDA_ERR_UNSUPPORTED,
         "no pivots of a problem with sets, indicator rows or partially integer columns: the "
         "engine solves a reformulation (%d more rows, %d more columns) whose basis is not the "
         "problem's",
         fm.nrows - rows, fm.ncols - n);
  if (presolved_state(prob))
    fail(QNDA_ERR_STATE, "the problem is presolved: postsolve brings its basis back");
  if (st.colstat.size() != static_cast<size_t>(n) ||
      st.rowstat.size() != static_cast<size_t>(rows) || !st.has_solution)
    fail(QNDA_ERR_STATE,
         "no optimal basis available (solve the LP with a simplex method first; a MIP search "
         "leaves none)");
  const bool enter_row = enter < rows;
  if ((enter_row ? st.rowstat[enter] : st.colstat[enter - rows]) == QNDA_BASIC)
    fail(QNDA_ERR_ARGUMENT, "variable %d is basic and cannot enter", enter);
  std::unique_ptr<Engine> engine = make_engine(prob.controls.get_str(QNDA_SOLVERNAME));
  EngineStart start;
  start.col_basis.resize(n);
  start.row_basis.resize(rows);
  for (int j = 0; j < n; ++j) start.col_basis[j] = col_stat_to_engine(st.colstat[j]);
  for (int i = 0; i < rows; ++i)
    start.row_basis[i] = row_stat_to_engine(st.rowstat[i], m.rowtype()[i]);

  // The edge per unit step of the entering variable (its column, or the
  // activity of its row), in the user's quantities: the structural basic
  // variables follow from the solve, every activity from A.
  SparseMatrix::Csc a = m.csc();
  std::vector<double> rhs(rows, 0.0);
  const int q = enter_row ? enter : enter - rows;
  if (enter_row) {
    rhs[q] = 1.0;
  } else {
    for (QNDAint64 k = a.start[q]; k < a.start[q + 1]; ++k) rhs[a.index[k]] = a.value[k];
  }
  std::vector<int> basic;
  std::vector<double> d;
  if (!engine || !engine->basis_solve(fm, start, rhs, basic, d))
    fail(QNDA_ERR_UNSUPPORTED, "the %s engine could not factor the basis",
         prob.controls.get_str(QNDA_SOLVERNAME).c_str());
  std::vector<double> dx(n, 0.0), dr(rows, 0.0);
  if (!enter_row) dx[q] = 1.0;
  for (int p = 0; p < rows; ++p)
    if (basic[p] >= 0) dx[basic[p]] = -d[p];
  for (int j = 0; j < n; ++j)
    for (QNDAint64 k = a.start[j]; k < a.start[j + 1] && dx[j] != 0.0; ++k)
      dr[a.index[k]] += a.value[k] * dx[j];
  if (enter_row) {
    // The solve's sign convention for rows is the engine's: scale the edge
    // so that the entering row's activity moves by one.
    if (std::fabs(dr[q]) < 1e-12) fail(QNDA_ERR_ENGINE, "the basis solve gave no edge");
    const double s = 1.0 / dr[q];
    for (double &v : dx) v *= s;
    for (double &v : dr) v *= s;
  }

  // Values, bounds and the direction: from its lower bound the entering
  // variable goes up, from its upper bound down.
  std::vector<double> val(rows + n), lo(rows + n), hi(rows + n), step(rows + n);
  for (int i = 0; i < rows; ++i) {
    m.row_bounds(i, &lo[i], &hi[i]);
    val[i] = m.rhs()[i] - st.slack[i];
    step[i] = dr[i];
  }
  for (int j = 0; j < n; ++j) {
    lo[rows + j] = m.lb(j);
    hi[rows + j] = m.ub(j);
    val[rows + j] = st.x[j];
    step[rows + j] = dx[j];
  }
  const double tol = prob.controls.get_dbl(QNDA_FEASTOL);
  const double sigma = !is_inf(hi[enter]) && std::fabs(val[enter] - hi[enter]) <= tol ? -1.0 : 1.0;
  // The ratio test over the basic variables and the entering one's range.
  const double inf = std::numeric_limits<double>::infinity();
  std::vector<double> ratio(rows + n, inf);
  auto limit = [&](int k) {
    const double g = sigma * step[k];
    if (g < -1e-9 && !is_inf(lo[k])) ratio[k] = std::max(0.0, (val[k] - lo[k]) / -g);
    if (g > 1e-9 && !is_inf(hi[k])) ratio[k] = std::max(0.0, (hi[k] - val[k]) / g);
  };
  for (int p = 0; p < rows; ++p) limit(basic[p] >= 0 ? rows + basic[p] : -1 - basic[p]);
  limit(enter);
  double best = inf;
  for (double r : ratio) best = std::min(best, r);
  out.leaving.clear();
  for (int k = 0; k < rows + n && static_cast<int>(out.leaving.size()) < maxpiv; ++k)
    if (ratio[k] < inf && ratio[k] <= best + 1e-9 * (1.0 + best)) out.leaving.push_back(k);
  const double t = best < inf ? best : 0.0;
  out.x.resize(rows + n);
  double obj = m.obj_constant();
  for (int j = 0; j < n; ++j) {
    out.x[rows + j] = val[rows + j] + sigma * t * step[rows + j];
    obj += m.obj()[j] * out.x[rows + j];
  }
  for (int i = 0; i < rows; ++i) out.x[i] = m.rhs()[i] - (val[i] + sigma * t * step[i]);
  out.obj = best < inf ? obj : (sigma * (obj - st.lp_obj) < 0 ? -QNDA_INFINITY : QNDA_INFINITY);
}

}  // namespace qnda
