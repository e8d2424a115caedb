// Solutions, bases and starting points.
#include <algorithm>
#include <cmath>

#include "api/guard.h"
#include "engine/presolved.h"

using namespace qnda;

namespace {

void copy_vec(const std::vector<double> &v, double *out) {
  if (out) std::copy(v.begin(), v.end(), out);
}

void need_solution(const qnda_problem_s &prob, const SolveState &st) {
  if (st.has_solution) return;
  if (presolved_state(prob))
    fail(QNDA_ERR_STATE,
         "the problem is presolved: its solution is the presolved problem's (getpresolvesol) until "
         "postsolve");
  fail(QNDA_ERR_STATE, "no solution available (optimise the problem first)");
}

}  // namespace

extern "C" {

int QNDAgetlpsol(QNDAprob prob, double *x, double *slack, double *duals, double *djs) {
  return guard_read(prob, "QNDAgetlpsol", [&] {
    const SolveState &st = prob->results();
    if (x || slack) need_solution(*prob, st);
    if ((duals || djs) && !st.has_duals)
      fail(QNDA_ERR_STATE, st.was_mip ? "no dual solution after a MIP search"
                                      : "no dual solution available (optimise the problem first)");
    copy_vec(st.x, x);
    copy_vec(st.slack, slack);
    copy_vec(st.duals, duals);
    copy_vec(st.djs, djs);
  });
}

int QNDAgetpresolvesol(QNDAprob prob, double *x, double *slack, double *duals, double *djs) {
  // Outside the presolved state the presolved problem is the problem.
  return guard_read(prob, "QNDAgetpresolvesol", [&] {
    if (const PresolvedState *ps = presolved_state(*prob))
      return presolved_solution(*ps, x, slack, duals, djs);
    const SolveState &st = prob->results();
    if (x || slack) need_solution(*prob, st);
    if ((duals || djs) && !st.has_duals) fail(QNDA_ERR_STATE, "no dual solution available");
    copy_vec(st.x, x);
    copy_vec(st.slack, slack);
    copy_vec(st.duals, duals);
    copy_vec(st.djs, djs);
  });
}

int QNDAgetmipsol(QNDAprob prob, double *x, double *slack) {
  return guard_read(prob, "QNDAgetmipsol", [&] {
    const SolveState &st = prob->results();
    // Inside a callback the event's solution (a node's relaxation too) is the answer.
    const bool mip_sol = st.mip_status == QNDA_MIP_OPTIMAL || st.mip_status == QNDA_MIP_SOLUTION ||
                         event_state(prob) != nullptr;
    if (!mip_sol || !st.has_solution)
      fail(QNDA_ERR_STATE, "no MIP solution available (run mipoptimize first)");
    copy_vec(st.x, x);
    copy_vec(st.slack, slack);
  });
}

int QNDAgetbasis(QNDAprob prob, int *rowstat, int *colstat) {
  return guard_read(prob, "QNDAgetbasis", [&] {
    const SolveState &st = prob->solve;
    if (st.colstat.empty() && st.rowstat.empty() &&
        (prob->model.ncols() > 0 || prob->model.nrows() > 0))
      fail(QNDA_ERR_STATE, "no basis available (solve the LP with a simplex method first)");
    if (rowstat) std::copy(st.rowstat.begin(), st.rowstat.end(), rowstat);
    if (colstat) std::copy(st.colstat.begin(), st.colstat.end(), colstat);
  });
}

int QNDAloadbasis(QNDAprob prob, const int *rowstat, const int *colstat) {
  return guard(prob, "QNDAloadbasis", [&] {
    check_array(rowstat, "rowstat");
    check_array(colstat, "colstat");
    const int n = prob->model.ncols(), m = prob->model.nrows();
    int basic = 0;
    for (int i = 0; i < m; ++i) {
      if (rowstat[i] < QNDA_AT_LOWER || rowstat[i] > QNDA_FREE_SUPER)
        fail(QNDA_ERR_ARGUMENT, "rowstat[%d] = %d is not a basis status (0 to 3)", i, rowstat[i]);
      basic += rowstat[i] == QNDA_BASIC;
    }
    for (int j = 0; j < n; ++j) {
      if (colstat[j] < QNDA_AT_LOWER || colstat[j] > QNDA_FREE_SUPER)
        fail(QNDA_ERR_ARGUMENT, "colstat[%d] = %d is not a basis status (0 to 3)", j, colstat[j]);
      basic += colstat[j] == QNDA_BASIC;
    }
    if (basic != m) fail(QNDA_ERR_ARGUMENT, "the basis has %d basic entries for %d rows", basic, m);
    SolveState &st = prob->solve;
    st.start_rowstat.assign(rowstat, rowstat + m);
    st.start_colstat.assign(colstat, colstat + n);
    st.start_x.clear();
    st.start_duals.clear();
  });
}

int QNDAloadlpsol(QNDAprob prob, const double *x, const double *slack, const double *duals,
                  const double *djs, int *status) {
  return guard(prob, "QNDAloadlpsol", [&] {
    const int n = prob->model.ncols(), m = prob->model.nrows();
    SolveState &st = prob->solve;
    if (!x && !duals) fail(QNDA_ERR_ARGUMENT, "give at least x or duals");
    st.start_rowstat.clear();
    st.start_colstat.clear();
    if (x)
      st.start_x.assign(x, x + n);
    else
      st.start_x.assign(n, 0.0);
    if (duals)
      st.start_duals.assign(duals, duals + m);
    else
      st.start_duals.clear();
    (void)slack;
    (void)djs;  // implied by x and duals
    if (status) *status = 0;
  });
}

int QNDAloadmipsol(QNDAprob prob, const double *x, int *status) {
  return guard(prob, "QNDAloadmipsol", [&] {
    check_array(x, "x");
    const int n = prob->model.ncols();
    for (int j = 0; j < n; ++j)
      if (!std::isfinite(x[j])) fail(QNDA_ERR_ARGUMENT, "x[%d] is not a finite number", j);
    prob->solve.mip_start.assign(x, x + n);
    if (status) *status = 0;
  });
}

}  // extern "C"
