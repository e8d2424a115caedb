// SLP settings of columns and rows: step bounds, tolerance sets, row status
// and weights, derivative factors; and how the SLP algorithm receives them.
#include "nonlinear/nlvars.h"

#include <algorithm>
#include <cmath>

#include "nonlinear/slp_guard.h"
#include "qslp.h"

namespace qnda {

const Model &slp_main_model(const qslp_problem_s &p) {
  if (!p.main || !p.main->valid()) fail(QNDA_ERR_STATE, "the main problem has been destroyed");
  return p.main->model;
}

std::vector<double> slp_start_point(const qslp_problem_s &p) {
  std::vector<double> x = p.nl.start;
  x.resize(slp_main_model(p).ncols(), 0.0);
  return x;
}

void slp_extras_options(const qslp_problem_s &p, const NlpProblem &model, SlpOptions &o) {
  const SlpExtras &e = p.extras;
  const int n = model.n, m = model.m;
  if (!e.vars.empty()) {
    o.col_delta0.assign(n, 0.0);
    o.col_delta_kind.assign(n, QSLP_DELTA_ADAPTIVE);
    o.col_atol.assign(n, -1.0);
    o.col_rtol.assign(n, -1.0);
    for (const auto &cv : e.vars) {
      const int j = cv.first;
      const SlpVarInfo &v = cv.second;
      if (j < 0 || j >= n) continue;
      o.col_delta0[j] = v.stepbound;
      o.col_delta_kind[j] = static_cast<char>(v.deltatype);
      if (v.tolset < 1 || v.tolset > static_cast<int>(e.tolsets.size())) continue;
      const TolSet &t = e.tolsets[v.tolset - 1];
      if (t.status & (1 << QSLP_TOL_ATOL_VAR)) o.col_atol[j] = t.v[QSLP_TOL_ATOL_VAR];
      if (t.status & (1 << QSLP_TOL_RTOL_VAR)) o.col_rtol[j] = t.v[QSLP_TOL_RTOL_VAR];
    }
  }
  if (!e.rows.empty()) {
    o.row_status.assign(m, QSLP_ROW_HARD);
    o.row_weight.assign(m, 1.0);
    for (const auto &r : e.rows) {
      if (r.first < 0 || r.first >= m) continue;
      o.row_status[r.first] = static_cast<char>(r.second.status);
      o.row_weight[r.first] = r.second.weight;
    }
  }
  if (!e.dfs.empty()) {
    // Linear rows keep their exact matrix: the step problem relies on it.
    o.jac_factor.assign(model.jrow.size(), 1.0);
    for (size_t k = 0; k < model.jrow.size(); ++k) {
      if (model.linear_row[model.jrow[k]]) continue;
      auto it = e.dfs.find({model.jrow[k], model.jcol[k]});
      if (it != e.dfs.end()) o.jac_factor[k] = it->second;
    }
  }
  o.fixed_penalty = e.fixed_penalty;
  if (e.fixed_penalty && e.penalty > 0) o.penalty0 = e.penalty;
}

namespace {

int ncols_of(const qslp_problem_s &p) { return slp_main_model(p).ncols(); }
int nrows_of(const qslp_problem_s &p) { return slp_main_model(p).nrows(); }

void check_col(const qslp_problem_s &p, int col) { check_index(col, ncols_of(p), "column index"); }
void check_row(const qslp_problem_s &p, int row) { check_index(row, nrows_of(p), "row index"); }

void check_tolset_ref(const qslp_problem_s &p, int t) {
  if (t < 0 || t > static_cast<int>(p.extras.tolsets.size()))
    fail(QNDA_ERR_INDEX, "tolerance set %d out of range [0 (none), %zu]", t,
         p.extras.tolsets.size());
}

void check_value(double v, const char *what, bool nonneg) {
  if (!std::isfinite(v) || (nonneg && v < 0))
    fail(QNDA_ERR_ARGUMENT, "%s %g is not a finite%s number", what, v,
         nonneg ? " nonnegative" : "");
}

void set_start(qslp_problem_s &p, int col, double v) {
  check_value(v, "start value", false);
  p.nl.start.resize(ncols_of(p), 0.0);
  p.nl.start[col] = v;
}

void check_deltatype(int t) {
  if (t < QSLP_DELTA_ADAPTIVE || t > QSLP_DELTA_FREE)
    fail(QNDA_ERR_ARGUMENT, "step bound kind %d (known: 0 adaptive, 1 fixed, 2 free)", t);
}

void add_vars(qslp_problem_s &p, int n, const int *cols, const int *detrow, const int *seq,
              const int *tol, const double *init, const double *step, bool replace) {
  check_count(n, "nvars");
  if (n > 0) check_array(cols, "colindex");
  // Everything is checked before anything changes.
  for (int k = 0; k < n; ++k) {
    check_col(p, cols[k]);
    if (detrow && detrow[k] != -1) check_row(p, detrow[k]);
    if (seq && seq[k] < 0) fail(QNDA_ERR_ARGUMENT, "sequence number %d is negative", seq[k]);
    if (tol) check_tolset_ref(p, tol[k]);
    if (init) check_value(init[k], "start value", false);
    if (step) check_value(step[k], "step bound", true);
  }
  if (replace) p.extras.vars.clear();
  for (int k = 0; k < n; ++k) {
    SlpVarInfo &v = p.extras.vars[cols[k]];
    if (detrow) v.detrow = detrow[k];
    if (seq) v.seqnum = seq[k];
    if (tol) v.tolset = tol[k];
    if (step) v.stepbound = step[k];
    if (init) set_start(p, cols[k], init[k]);
  }
  p.extras.cascade_ordered = false;
}

void check_tols(const double *tols, int n) {
  for (int k = 0; k < n; ++k)
    if (std::isnan(tols[k]) || std::isinf(tols[k]))
      fail(QNDA_ERR_ARGUMENT, "tolerance %d is not finite", k);
}

TolSet make_tolset(const double *v) {
  TolSet t;
  for (int k = 0; k < QSLP_TOLSET_SIZE; ++k) {
    t.v[k] = v[k] < 0 ? -1.0 : v[k];
    if (v[k] >= 0) t.status |= 1 << k;
  }
  return t;
}

void add_tolsets(qslp_problem_s &p, int n, const double *tols, bool replace) {
  check_count(n, "ntolsets");
  if (n > 0) check_array(tols, "tols");
  check_tols(tols, n * QSLP_TOLSET_SIZE);
  if (replace) p.extras.tolsets.clear();
  for (int k = 0; k < n; ++k) p.extras.tolsets.push_back(make_tolset(tols + k * QSLP_TOLSET_SIZE));
  const int count = static_cast<int>(p.extras.tolsets.size());
  for (auto &v : p.extras.vars)
    if (v.second.tolset > count) v.second.tolset = 0;
}

TolSet &tolset_at(qslp_problem_s &p, int t) {
  if (t < 1 || t > static_cast<int>(p.extras.tolsets.size()))
    fail(QNDA_ERR_INDEX, "tolerance set %d out of range [1, %zu]", t, p.extras.tolsets.size());
  return p.extras.tolsets[t - 1];
}

void add_dfs(qslp_problem_s &p, int n, const int *cols, const int *rows, const double *vals,
             bool replace) {
  check_count(n, "ndfs");
  if (n > 0) {
    check_array(cols, "colindex");
    check_array(rows, "rowindex");
    check_array(vals, "value");
  }
  for (int k = 0; k < n; ++k) {
    check_col(p, cols[k]);
    check_row(p, rows[k]);
    check_value(vals[k], "derivative factor", false);
  }
  if (replace) p.extras.dfs.clear();
  for (int k = 0; k < n; ++k) {
    if (vals[k] == 1.0)
      p.extras.dfs.erase({rows[k], cols[k]});
    else
      p.extras.dfs[{rows[k], cols[k]}] = vals[k];
  }
}

}  // namespace
}  // namespace qnda

using namespace qnda;

extern "C" {

int QSLPaddvars(QSLPprob prob, int nvars, const int *colindex, const int *determiningrow,
                const int *seqnum, const int *tolindex, const double *initvalue,
                const double *stepbound) {
  return slp_guard(prob, "QSLPaddvars", [&] {
    add_vars(*prob, nvars, colindex, determiningrow, seqnum, tolindex, initvalue, stepbound, false);
  });
}

int QSLPloadvars(QSLPprob prob, int nvars, const int *colindex, const int *determiningrow,
                 const int *seqnum, const int *tolindex, const double *initvalue,
                 const double *stepbound) {
  return slp_guard(prob, "QSLPloadvars", [&] {
    add_vars(*prob, nvars, colindex, determiningrow, seqnum, tolindex, initvalue, stepbound, true);
  });
}

int QSLPchgvar(QSLPprob prob, int col, const int *determiningrow, const int *seqnum,
               const int *tolindex, const int *deltatype, const double *initvalue,
               const double *stepbound) {
  return slp_guard(prob, "QSLPchgvar", [&] {
    check_col(*prob, col);
    if (determiningrow && *determiningrow != -1) check_row(*prob, *determiningrow);
    if (seqnum && *seqnum < 0) fail(QNDA_ERR_ARGUMENT, "sequence number %d is negative", *seqnum);
    if (tolindex) check_tolset_ref(*prob, *tolindex);
    if (deltatype) check_deltatype(*deltatype);
    if (stepbound) check_value(*stepbound, "step bound", true);
    if (initvalue) set_start(*prob, col, *initvalue);
    SlpVarInfo &v = prob->extras.vars[col];
    if (determiningrow) v.detrow = *determiningrow;
    if (seqnum) v.seqnum = *seqnum;
    if (tolindex) v.tolset = *tolindex;
    if (deltatype) v.deltatype = *deltatype;
    if (stepbound) v.stepbound = *stepbound;
    prob->extras.cascade_ordered = false;
  });
}

int QSLPgetvar(QSLPprob prob, int col, int *determiningrow, int *seqnum, int *tolindex,
               int *deltatype, double *initvalue, double *stepbound) {
  return slp_guard(prob, "QSLPgetvar", [&] {
    check_col(*prob, col);
    const SlpVarInfo *pv = prob->extras.var(col);
    const SlpVarInfo v = pv ? *pv : SlpVarInfo();
    if (determiningrow) *determiningrow = v.detrow;
    if (seqnum) *seqnum = v.seqnum;
    if (tolindex) *tolindex = v.tolset;
    if (deltatype) *deltatype = v.deltatype;
    if (stepbound) *stepbound = v.stepbound;
    if (initvalue)
      *initvalue = col < static_cast<int>(prob->nl.start.size()) ? prob->nl.start[col] : 0.0;
  });
}

int QSLPdelvars(QSLPprob prob, int nvars, const int *colindex) {
  return slp_guard(prob, "QSLPdelvars", [&] {
    check_count(nvars, "nvars");
    if (nvars > 0) check_array(colindex, "colindex");
    for (int k = 0; k < nvars; ++k) check_col(*prob, colindex[k]);
    for (int k = 0; k < nvars; ++k) prob->extras.vars.erase(colindex[k]);
    prob->extras.cascade_ordered = false;
  });
}

int QSLPchgdeltatype(QSLPprob prob, int nvars, const int *colindex, const int *deltatype,
                     const double *values) {
  return slp_guard(prob, "QSLPchgdeltatype", [&] {
    check_count(nvars, "nvars");
    if (nvars > 0) {
      check_array(colindex, "colindex");
      check_array(deltatype, "deltatype");
    }
    for (int k = 0; k < nvars; ++k) {
      check_col(*prob, colindex[k]);
      check_deltatype(deltatype[k]);
      if (values) check_value(values[k], "step bound", true);
    }
    for (int k = 0; k < nvars; ++k) {
      SlpVarInfo &v = prob->extras.vars[colindex[k]];
      v.deltatype = deltatype[k];
      if (values) v.stepbound = values[k];
    }
  });
}

int QSLPaddtolsets(QSLPprob prob, int ntolsets, const double *tols) {
  return slp_guard(prob, "QSLPaddtolsets", [&] { add_tolsets(*prob, ntolsets, tols, false); });
}

int QSLPloadtolsets(QSLPprob prob, int ntolsets, const double *tols) {
  return slp_guard(prob, "QSLPloadtolsets", [&] { add_tolsets(*prob, ntolsets, tols, true); });
}

int QSLPchgtolset(QSLPprob prob, int tolset, const int *status, const double *tols) {
  return slp_guard(prob, "QSLPchgtolset", [&] {
    TolSet &t = tolset_at(*prob, tolset);
    check_array(tols, "tols");
    check_tols(tols, QSLP_TOLSET_SIZE);
    if (!status) {
      t = make_tolset(tols);
      return;
    }
    for (int k = 0; k < QSLP_TOLSET_SIZE; ++k) {
      if (!(*status & (1 << k))) continue;
      t.v[k] = tols[k] < 0 ? -1.0 : tols[k];
      t.status = tols[k] < 0 ? t.status & ~(1 << k) : t.status | (1 << k);
    }
  });
}

int QSLPgettolset(QSLPprob prob, int tolset, int *status, double *tols) {
  return slp_guard(prob, "QSLPgettolset", [&] {
    const TolSet &t = tolset_at(*prob, tolset);
    if (status) *status = t.status;
    if (tols) std::copy(t.v.begin(), t.v.end(), tols);
  });
}

int QSLPdeltolsets(QSLPprob prob, int ntolsets, const int *tolsets) {
  return slp_guard(prob, "QSLPdeltolsets", [&] {
    check_count(ntolsets, "ntolsets");
    if (ntolsets > 0) check_array(tolsets, "tolsets");
    const int count = static_cast<int>(prob->extras.tolsets.size());
    std::vector<char> gone(count + 1, 0);
    for (int k = 0; k < ntolsets; ++k) {
      tolset_at(*prob, tolsets[k]);
      gone[tolsets[k]] = 1;
    }
    // New number of each old set (0: deleted).
    std::vector<int> renum(count + 1, 0);
    std::vector<TolSet> kept;
    for (int t = 1; t <= count; ++t)
      if (!gone[t]) {
        kept.push_back(prob->extras.tolsets[t - 1]);
        renum[t] = static_cast<int>(kept.size());
      }
    prob->extras.tolsets = std::move(kept);
    for (auto &v : prob->extras.vars) v.second.tolset = renum[v.second.tolset];
  });
}

int QSLPchgrowstatus(QSLPprob prob, int row, int status) {
  return slp_guard(prob, "QSLPchgrowstatus", [&] {
    check_row(*prob, row);
    if (status < QSLP_ROW_HARD || status > QSLP_ROW_INACTIVE)
      fail(QNDA_ERR_ARGUMENT, "row status %d (known: 0 hard, 1 soft, 2 inactive)", status);
    prob->extras.rows[row].status = status;
  });
}

int QSLPgetrowstatus(QSLPprob prob, int row, int *status) {
  return slp_guard(prob, "QSLPgetrowstatus", [&] {
    check_row(*prob, row);
    check_array(status, "status");
    *status = prob->extras.row(row).status;
  });
}

int QSLPchgrowwt(QSLPprob prob, int row, const double *weight) {
  return slp_guard(prob, "QSLPchgrowwt", [&] {
    check_row(*prob, row);
    check_array(weight, "weight");
    check_value(*weight, "row weight", true);
    prob->extras.rows[row].weight = *weight;
  });
}

int QSLPgetrowwt(QSLPprob prob, int row, double *weight) {
  return slp_guard(prob, "QSLPgetrowwt", [&] {
    check_row(*prob, row);
    check_array(weight, "weight");
    *weight = prob->extras.row(row).weight;
  });
}

int QSLPadddfs(QSLPprob prob, int ndfs, const int *colindex, const int *rowindex,
               const double *value) {
  return slp_guard(prob, "QSLPadddfs",
                   [&] { add_dfs(*prob, ndfs, colindex, rowindex, value, false); });
}

int QSLPloaddfs(QSLPprob prob, int ndfs, const int *colindex, const int *rowindex,
                const double *value) {
  return slp_guard(prob, "QSLPloaddfs",
                   [&] { add_dfs(*prob, ndfs, colindex, rowindex, value, true); });
}

int QSLPchgdf(QSLPprob prob, int col, int row, const double *value) {
  return slp_guard(prob, "QSLPchgdf", [&] {
    const double one = 1.0;
    add_dfs(*prob, 1, &col, &row, value ? value : &one, false);
  });
}

int QSLPgetdf(QSLPprob prob, int col, int row, double *value) {
  return slp_guard(prob, "QSLPgetdf", [&] {
    check_col(*prob, col);
    check_row(*prob, row);
    check_array(value, "value");
    auto it = prob->extras.dfs.find({row, col});
    *value = it == prob->extras.dfs.end() ? 1.0 : it->second;
  });
}

}  // extern "C"
