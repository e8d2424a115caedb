#include "engine/presolved.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <map>
#include <string>

#include "core/error.h"
#include "core/messages.h"
#include "engine/optimise.h"
#include "engine/reformulate.h"
#include "model/problem.h"

namespace qnda {

PresolvedState *presolved_state(const qnda_problem_s &prob) { return prob.presolved.get(); }

namespace {

// A two-sided row as a row type and right-hand side (the slack is
// rhs - activity, as for the problem's rows).
void row_type_of(double lo, double up, char &type, double &rhs) {
  const bool has_lo = !std::isinf(lo), has_up = !std::isinf(up);
  if (has_lo && has_up) {
    type = lo == up ? 'E' : 'R';
    rhs = up;
  } else if (has_up) {
    type = 'L';
    rhs = up;
  } else if (has_lo) {
    type = 'G';
    rhs = lo;
  } else {
    type = 'N';
    rhs = 0.0;
  }
}

// Rows and columns the user secured must be in the reduced model: the
// engine's presolve cannot be told to keep them.
void check_secured(const Model &model, const EnginePresolve &pre) {
  const char *why =
      "the engine's presolve cannot be told to keep given rows or columns; switch presolve off "
      "(control presolve) to leave the problem whole";
  std::vector<char> kept_row(model.nrows(), 0), kept_col(model.ncols(), 0);
  for (int i : pre.row_map) kept_row[i] = 1;
  for (int j : pre.col_map) kept_col[j] = 1;
  const std::vector<char> &rf = model.rowflags(), &cf = model.colflags();
  for (size_t i = 0; i < rf.size(); ++i)
    if ((rf[i] & Model::ROW_SECURE) && !kept_row[i])
      fail(QNDA_ERR_UNSUPPORTED, "presolve removed secured row %zu: %s", i, why);
  for (size_t j = 0; j < cf.size(); ++j)
    if ((cf[j] & Model::COL_SECURE) && !kept_col[j])
      fail(QNDA_ERR_UNSUPPORTED, "presolve removed secured column %zu: %s", j, why);
}

void need_state(const PresolvedState &ps, bool primal) {
  if (!ps.solved || (primal && !ps.result.has_primal))
    fail(QNDA_ERR_STATE, "no solution of the presolved problem (optimise it first)");
}

}  // namespace

void optimise_or_presolve(qnda_problem_s &prob, bool mip, const char *flags) {
  bool only = false;
  const EngineSettings s = optimise_settings(prob, mip, flags, only);
  if (only)
    presolve_only(prob, s.mip, s);
  else if (prob.presolved)
    optimise_presolved(prob, s);
  else
    optimise(prob, mip, flags);
}

void presolve_only(qnda_problem_s &prob, bool mip, const EngineSettings &s) {
  const Model &model = prob.model;
  SolveState &st = prob.solve;
  st.clear_results();
  st.model_changed = false;
  prob.presolved.reset();
  if (!model.qrow_list().empty())
    fail(QNDA_ERR_UNSUPPORTED,
         "a problem with quadratic rows cannot be left presolved (the engine's presolve does not "
         "take them)");
  FlattenOptions fo;
  fo.search = mip;
  fo.infinity = s.infinity;
  FlatModel fm;
  flatten(model, fo, fm);
  if (fm.ncols != model.ncols() || fm.nrows != model.nrows())
    fail(QNDA_ERR_UNSUPPORTED,
         "a problem with sets, indicator rows or partially integer columns cannot be left "
         "presolved: the engine solves a reformulation of it");
  const bool search = mip && fm.has_integers();
  EngineStatus status = EngineStatus::NotRun;
  std::unique_ptr<EnginePresolve> pre = engine_presolve(fm, s, search, status);
  st.was_mip = search;
  st.engine = QNDA_ENGINE_HIGHS;
  if (!pre) {
    // Presolve decided the problem: there is nothing left to solve.
    st.lp_status = lp_status_from(status);
    if (search) st.mip_status = QNDA_MIP_INFEAS;
    if (s.log_level >= 1)
      emit_messagef(&prob, MSG_INFO, "Presolve found the problem %s",
                    status == EngineStatus::Infeasible ? "infeasible" : "infeasible or unbounded");
    flush_messages(&prob);
    return;
  }
  check_secured(model, *pre);
  auto ps = std::make_shared<PresolvedState>();
  ps->mip = search;
  const FlatModel &r = pre->reduced;
  ps->rowtype.resize(r.nrows);
  ps->rhs.resize(r.nrows);
  for (int i = 0; i < r.nrows; ++i) row_type_of(r.rowlo[i], r.rowup[i], ps->rowtype[i], ps->rhs[i]);
  ps->pre = std::move(pre);
  if (s.log_level >= 1) {
    emit_messagef(&prob, MSG_INFO,
                  "Presolved %s: %d rows, %d columns (of %d rows, %d columns); the problem stays "
                  "presolved until postsolve",
                  search ? "MIP" : "LP", ps->nrows(), ps->ncols(), model.nrows(), model.ncols());
    flush_messages(&prob);
  }
  prob.presolved = std::move(ps);
}

void optimise_presolved(qnda_problem_s &prob, const EngineSettings &settings) {
  PresolvedState &ps = *prob.presolved;
  SolveState &st = prob.solve;
  EngineSettings s = settings;
  const FlatModel &reduced = ps.pre->reduced;
  const bool search = s.mip && ps.mip && reduced.has_integers();
  const int n = ps.ncols(), m = ps.nrows();
  if (!ps.solver) {
    ps.solver = make_engine("highs");
    if (!ps.solver) fail(QNDA_ERR_UNSUPPORTED, "no engine for the presolved problem");
  }
  EngineStart start;
  if (!search && static_cast<int>(ps.start_colstat.size()) == n &&
      static_cast<int>(ps.start_rowstat.size()) == m) {
    for (int j = 0; j < n; ++j) start.col_basis.push_back(col_stat_to_engine(ps.start_colstat[j]));
    for (int i = 0; i < m; ++i)
      start.row_basis.push_back(row_stat_to_engine(ps.start_rowstat[i], ps.rowtype[i]));
  }

  SigintScope sigint;
  std::atomic<int> reason{0};
  EngineHooks hooks;
  hooks.stop = [&]() {
    int r = prob.interrupt.load(std::memory_order_relaxed);
    if (!r && sigint.fired()) r = QNDA_STOP_CTRLC;
    if (r) reason = r;
    return r != 0;
  };
  hooks.log = [&prob](int type, const std::string &line) {
    emit_message(&prob, type, line.c_str());
  };
  FlatModel fm = reduced;  // the engine may consume it
  EngineResult r;
  ps.solver->solve(fm, s, start, hooks, r);
  prob.interrupt.store(0);
  ps.start_colstat.clear();
  ps.start_rowstat.clear();

  // The problem itself has no solution until postsolve; its statuses and
  // objective are the reduced model's, which are its own.
  st.clear_results();
  static_cast<SolveCounters &>(st) = r;
  st.was_mip = search;
  st.engine = QNDA_ENGINE_HIGHS;
  st.stop_status = stop_status_from(r.status, reason.load());
  st.solve_time = r.solve_time;
  if (search) {
    st.mip_status = mip_status_from(r.status, r.has_primal);
    st.lp_status = r.has_primal ? QNDA_LP_OPTIMAL : lp_status_from(r.status);
    st.mip_obj = st.obj = r.objective;
    st.best_bound = r.best_bound;
    st.rel_gap = r.rel_gap;
  } else {
    st.lp_status = lp_status_from(r.status);
    st.lp_obj = st.obj = st.best_bound = r.objective;
  }
  ps.result = std::move(r);
  ps.solved = true;
  if (s.log_level >= 1) {
    emit_messagef(&prob, MSG_INFO, "Presolved %s solved: objective %.10g; postsolve maps it back",
                  search ? "MIP" : "LP", st.obj);
    flush_messages(&prob);
  }
  if (ps.result.status == EngineStatus::Error)
    fail(QNDA_ERR_ENGINE, "%s",
         ps.result.message.empty() ? "the engine failed" : ps.result.message.c_str());
}

void postsolve(qnda_problem_s &prob) {
  // The state ends whatever happens below.
  std::shared_ptr<PresolvedState> keep = std::move(prob.presolved);
  if (!keep) return;
  const PresolvedState &ps = *keep;
  const EngineResult &r = ps.result;
  const bool usable = ps.solved && r.has_primal && (ps.mip || r.status == EngineStatus::Optimal);
  if (!usable) return;
  EngineResult out;
  ps.pre->postsolve(r, out);
  const Model &model = prob.model;
  if (static_cast<int>(out.col_value.size()) != model.ncols() ||
      static_cast<int>(out.row_activity.size()) != model.nrows())
    fail(QNDA_ERR_ENGINE, "the engine's postsolve gave a point of the wrong size");
  fill_results(model, out, false, prob.solve);
  if (ps.mip && prob.solve.mip_sols == 0) prob.solve.mip_sols = 1;
}

void presolved_solution(const PresolvedState &ps, double *x, double *slack, double *duals,
                        double *djs) {
  const EngineResult &r = ps.result;
  if (x || slack) need_state(ps, true);
  if ((duals || djs) && !(ps.solved && r.has_dual))
    fail(QNDA_ERR_STATE, "no dual solution of the presolved problem");
  if (x) std::copy(r.col_value.begin(), r.col_value.end(), x);
  for (int i = 0; slack && i < ps.nrows(); ++i) slack[i] = ps.rhs[i] - r.row_activity[i];
  if (duals) std::copy(r.row_dual.begin(), r.row_dual.end(), duals);
  if (djs) std::copy(r.col_dual.begin(), r.col_dual.end(), djs);
}

void presolved_basis(const PresolvedState &ps, int *rowstat, int *colstat) {
  const EngineResult &r = ps.result;
  if (!ps.solved || !r.has_basis)
    fail(QNDA_ERR_STATE, "no basis of the presolved problem (solve its LP with a simplex method)");
  for (int i = 0; rowstat && i < ps.nrows(); ++i)
    rowstat[i] = row_stat_from_engine(r.row_basis[i], ps.rowtype[i]);
  for (int j = 0; colstat && j < ps.ncols(); ++j) colstat[j] = col_stat_from_engine(r.col_basis[j]);
}

void load_presolved_basis(PresolvedState &ps, const int *rowstat, const int *colstat) {
  const int m = ps.nrows(), n = ps.ncols();
  int basic = 0;
  auto check = [&basic](const int *stat, int count, const char *what) {
    for (int k = 0; k < count; ++k) {
      if (stat[k] < QNDA_AT_LOWER || stat[k] > QNDA_FREE_SUPER)
        fail(QNDA_ERR_ARGUMENT, "%s[%d] = %d is not a basis status (0 to 3)", what, k, stat[k]);
      basic += stat[k] == QNDA_BASIC;
    }
  };
  check(rowstat, m, "rowstat");
  check(colstat, n, "colstat");
  if (basic != m)
    fail(QNDA_ERR_ARGUMENT,
         "the basis has %d basic entries for the %d rows of the presolved problem", basic, m);
  ps.start_rowstat.assign(rowstat, rowstat + m);
  ps.start_colstat.assign(colstat, colstat + n);
}

int presolve_row(const qnda_problem_s &prob, char type, int n, const int *col, const double *coef,
                 double rhs, int maxcoefs, int *ncoefs, int *outcol, double *outcoef,
                 double *outrhs) {
  const PresolvedState *ps = presolved_state(prob);
  std::map<int, double> row;  // by reduced column, duplicates summed
  double r = rhs;
  (void)type;  // the row keeps its type: only columns change
  for (int k = 0; k < n; ++k) {
    const int j = col[k];
    if (!ps) {
      row[j] += coef[k];
      continue;
    }
    const EnginePresolve &pre = *ps->pre;
    if (!pre.known[j]) return -1;
    if (pre.from[j] >= 0) row[pre.from[j]] += coef[k] * pre.scale[j];
    r -= coef[k] * pre.shift[j];
  }
  int count = 0;
  for (const auto &e : row)
    if (e.second != 0.0) ++count;
  if (ncoefs) *ncoefs = count;
  if (outrhs) *outrhs = r;
  if (count > maxcoefs) return 1;
  int k = 0;
  for (const auto &e : row) {
    if (e.second == 0.0) continue;
    if (outcol) outcol[k] = e.first;
    if (outcoef) outcoef[k] = e.second;
    ++k;
  }
  return 0;
}

}  // namespace qnda
