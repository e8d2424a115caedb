// The problem evaluated at its current point (the start point): the
// construction that QSLPgetrowinfo reads, the checks of the model, of a
// point, of a row's derivatives and of the KKT conditions, and cascading.
#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <string>

#include "core/messages.h"
#include "nonlinear/slp_callbacks.h"
#include "nonlinear/nlp_model.h"
#include "nonlinear/nlvars.h"
#include "nonlinear/slp_guard.h"
#include "qslp.h"

namespace qnda {

// Position of (row, col) in m's Jacobian (ordered by rows), -1 when the row
// has no such entry.
static int jac_pos(const NlpProblem &m, int row, int col) {
  auto lo = std::lower_bound(m.jrow.begin(), m.jrow.end(), row);
  for (auto k = lo - m.jrow.begin(); k < static_cast<long>(m.jrow.size()) && m.jrow[k] == row; ++k)
    if (m.jcol[k] == col) return static_cast<int>(k);
  return -1;
}

// The model and its values, derivatives at one point.
struct SlpConstructed {
  std::unique_ptr<NlpModel> model;
  std::vector<double> x, g, jac, grad;
  double f = 0.0;
  bool defined = false;

  explicit SlpConstructed(qslp_problem_s &p) : model(std::make_unique<NlpModel>(p)) {
    at(model->x0);
  }
  // Evaluates at x, moved into the bounds.
  void at(const std::vector<double> &point) {
    NlpModel &m = *model;
    x.resize(m.n);
    for (int j = 0; j < m.n; ++j)
      x[j] =
          std::min(std::max(j < static_cast<int>(point.size()) ? point[j] : 0.0, m.xl[j]), m.xu[j]);
    g.assign(m.m, 0.0);
    jac.assign(m.jrow.size(), 0.0);
    grad.assign(m.n, 0.0);
    defined = m.eval_f(x.data(), f) && m.eval_g(x.data(), g.data()) &&
              m.eval_jac(x.data(), jac.data()) && m.eval_grad(x.data(), grad.data());
  }
  double violation(int i) const {
    return std::max({0.0, model->gl[i] - g[i], g[i] - model->gu[i]});
  }
};

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

double feastol(const qslp_problem_s &p) { return p.controls.num[slp_index(QSLP_FEASTOL)]; }

// The construction, or a temporary one when there is none.
std::shared_ptr<SlpConstructed> state_of(qslp_problem_s &p) {
  slp_main_model(p);
  if (p.extras.built) return p.extras.built;
  return std::make_shared<SlpConstructed>(p);
}

void message(qslp_problem_s &p, int type, const std::string &text) {
  p.extras.last_msgtype = type;
  emit_message(p.main, type, text.c_str());
}

std::string colname(const qslp_problem_s &p, int j) {
  return slp_main_model(p).name(QNDA_NAMES_COLUMNS, j);
}
std::string rowname(const qslp_problem_s &p, int i) {
  return slp_main_model(p).name(QNDA_NAMES_ROWS, i);
}

// Why col cannot be determined by row, or "" when it can.
std::string detrow_fault(const qslp_problem_s &p, const NlpProblem &m, int col, int row) {
  const Model &mm = slp_main_model(p);
  if (row >= mm.nrows()) return "its determining row " + std::to_string(row) + " is gone";
  if (mm.rowtype()[row] != 'E')
    return "its determining row " + rowname(p, row) + " is not an equality";
  if (jac_pos(m, row, col) < 0)
    return "its determining row " + rowname(p, row) + " does not hold it";
  return "";
}

// Newton steps on row's function for x[col]; true when the row holds.
bool cascade_one(NlpProblem &m, std::vector<double> &x, int col, int row, int limit, double tol) {
  const int k = jac_pos(m, row, col);
  const double target = m.gl[row];
  std::vector<double> g(m.m), jac(m.jrow.size());
  for (int it = 0; it <= limit; ++it) {
    if (!m.eval_g(x.data(), g.data()) || !std::isfinite(g[row])) return false;
    const double r = g[row] - target;
    if (std::fabs(r) <= tol * (1.0 + std::fabs(target))) return true;
    if (it == limit || !m.eval_jac(x.data(), jac.data())) return false;
    const double d = jac[k];
    if (!std::isfinite(d) || d == 0.0) return false;
    x[col] = std::min(std::max(x[col] - r / d, m.xl[col]), m.xu[col]);
  }
  return false;
}

void put_info(void *info, int infotype, bool is_int, double v) {
  check_array(info, "info");
  if (is_int)
    *static_cast<int *>(info) = static_cast<int>(v);
  else
    *static_cast<double *>(info) = v;
  (void)infotype;
}

const NlpSolution &solution(const qslp_problem_s &p) {
  if (!p.sol.has_solution) fail(QNDA_ERR_STATE, "no nonlinear solution is available");
  return p.sol;
}

}  // namespace

std::vector<int> slp_cascade_order(const qslp_problem_s &p, const NlpProblem &m) {
  std::vector<int> det;
  for (const auto &v : p.extras.vars)
    if (v.second.detrow >= 0 && v.first < m.n) det.push_back(v.first);
  std::vector<char> is_det(m.n, 0);
  for (int j : det) {
    const std::string why = detrow_fault(p, m, j, p.extras.vars.at(j).detrow);
    if (!why.empty()) fail(QNDA_ERR_ARGUMENT, "column %s: %s", colname(p, j).c_str(), why.c_str());
    is_det[j] = 1;
  }
  // needs[j]: the determined columns that j's row uses.
  std::map<int, std::vector<int>> needs;
  for (int j : det) {
    const int row = p.extras.vars.at(j).detrow;
    for (size_t k = 0; k < m.jrow.size(); ++k)
      if (m.jrow[k] == row && m.jcol[k] != j && is_det[m.jcol[k]]) needs[j].push_back(m.jcol[k]);
  }
  // Ready columns go by sequence number (given ones first), then index.
  auto key = [&](int j) {
    const int sq = p.extras.vars.at(j).seqnum;
    return std::make_pair(sq > 0 ? sq : std::numeric_limits<int>::max(), j);
  };
  std::vector<int> order;
  std::vector<char> done(m.n, 0);
  while (order.size() < det.size()) {
    int best = -1;
    for (int j : det) {
      if (done[j]) continue;
      bool ready = true;
      for (int k : needs[j]) ready = ready && done[k];
      if (ready && (best < 0 || key(j) < key(best))) best = j;
    }
    if (best < 0) {
      std::string cyc;
      for (int j : det)
        if (!done[j]) cyc += (cyc.empty() ? "" : ", ") + colname(p, j);
      fail(QNDA_ERR_ARGUMENT, "the determined columns %s depend on one another in a cycle",
           cyc.c_str());
    }
    done[best] = 1;
    order.push_back(best);
  }
  return order;
}

std::string slp_cascade_point(const qslp_problem_s &p, NlpProblem &m, const std::vector<int> &order,
                              std::vector<double> &x) {
  std::string failed;
  // The callbacks see the pass; drcol may move a settled column (within
  // its bounds).  Their return values do not stop the pass.
  slp_cb_event(p, kCbCascadeStart);
  for (int j : order) {
    const SlpVarInfo &v = p.extras.vars.at(j);
    if (j >= m.n || detrow_fault(p, m, j, v.detrow) != "")
      fail(QNDA_ERR_STATE, "the cascade order is stale: call QSLPcascadeorder again");
    if (!cascade_one(m, x, j, v.detrow, v.nlimit, 1e-10)) {
      failed += (failed.empty() ? "" : ", ") + colname(p, j);
      slp_cb_column(p, kCbCascadeVarFail, j);
      continue;
    }
    double moved = x[j];
    slp_cb_drcol(p, j, x[j], m.xl[j], m.xu[j], moved);
    x[j] = std::min(std::max(moved, m.xl[j]), m.xu[j]);
    slp_cb_column(p, kCbCascadeVar, j);
  }
  slp_cb_event(p, kCbCascadeEnd);
  return failed;
}

}  // namespace qnda

using namespace qnda;

extern "C" {

int QSLPconstruct(QSLPprob prob) {
  return slp_guard(prob, "QSLPconstruct", [&] {
    slp_main_model(*prob);
    prob->extras.built = std::make_shared<SlpConstructed>(*prob);
  });
}

int QSLPunconstruct(QSLPprob prob) {
  return slp_guard(prob, "QSLPunconstruct", [&] {
    if (!prob->extras.built) fail(QNDA_ERR_STATE, "the problem is not constructed (QSLPconstruct)");
    prob->extras.built.reset();
  });
}

int QSLPupdatelinearization(QSLPprob prob) {
  return slp_guard(prob, "QSLPupdatelinearization", [&] {
    if (!prob->extras.built) fail(QNDA_ERR_STATE, "the problem is not constructed (QSLPconstruct)");
    prob->extras.built->at(slp_start_point(*prob));
  });
}

int QSLPgetrowinfo(QSLPprob prob, int row, int infotype, void *info) {
  return slp_guard(prob, "QSLPgetrowinfo", [&] {
    const Model &mm = slp_main_model(*prob);
    check_index(row, mm.nrows(), "row index");
    switch (infotype) {
      case QSLP_ROWINFO_VALUE:
      case QSLP_ROWINFO_VIOLATION: {
        auto s = state_of(*prob);
        if (row >= s->model->m) fail(QNDA_ERR_STATE, "the construction predates row %d", row);
        put_info(info, infotype, false,
                 infotype == QSLP_ROWINFO_VALUE ? s->g[row] : s->violation(row));
        break;
      }
      case QSLP_ROWINFO_STATUS:
        put_info(info, infotype, true, prob->extras.row(row).status);
        break;
      case QSLP_ROWINFO_WEIGHT:
        put_info(info, infotype, false, prob->extras.row(row).weight);
        break;
      case QSLP_ROWINFO_NLCOEFS: {
        int n = 0;
        for (const auto &c : prob->nl.coefs) n += c.first.first == row;
        put_info(info, infotype, true, n);
        break;
      }
      case QSLP_ROWINFO_DUAL:
        put_info(info, infotype, false, solution(*prob).duals.at(row));
        break;
      default:
        fail(QNDA_ERR_ARGUMENT, "row information type %d unknown (1 to 6)", infotype);
    }
  });
}

int QSLPgetcolinfo(QSLPprob prob, int col, int infotype, void *info) {
  return slp_guard(prob, "QSLPgetcolinfo", [&] {
    const Model &mm = slp_main_model(*prob);
    check_index(col, mm.ncols(), "column index");
    const SlpVarInfo *pv = prob->extras.var(col);
    const SlpVarInfo v = pv ? *pv : SlpVarInfo();
    switch (infotype) {
      case QSLP_COLINFO_VALUE:
        put_info(info, infotype, false, slp_start_point(*prob)[col]);
        break;
      case QSLP_COLINFO_DELTA: {
        const double d0 = prob->controls.num[slp_index(QSLP_DELTA0)];
        const double x = slp_start_point(*prob)[col];
        double d = v.stepbound > 0 ? v.stepbound : d0 > 0 ? d0 : std::max(1.0, std::fabs(x));
        if (v.deltatype == QSLP_DELTA_FREE) d = kInf;
        put_info(info, infotype, false, d);
        break;
      }
      case QSLP_COLINFO_DETROW:
        put_info(info, infotype, true, v.detrow);
        break;
      case QSLP_COLINFO_NLCOEFS: {
        int n = 0;
        for (const auto &c : prob->nl.coefs) n += c.first.second == col;
        put_info(info, infotype, true, n);
        break;
      }
      case QSLP_COLINFO_REDUCEDCOST:
        put_info(info, infotype, false, solution(*prob).djs.at(col));
        break;
      case QSLP_COLINFO_NONLINEAR: {
        auto s = state_of(*prob);
        put_info(info, infotype, true, col < s->model->n && s->model->nonlinear_col[col]);
        break;
      }
      default:
        fail(QNDA_ERR_ARGUMENT, "column information type %d unknown (1 to 6)", infotype);
    }
  });
}

int QSLPvalidate(QSLPprob prob, int *nfaults) {
  return slp_guard(prob, "QSLPvalidate", [&] {
    qslp_problem_s &p = *prob;
    const Model &mm = slp_main_model(p);
    int count = 0;
    auto fault = [&](const std::string &text) {
      if (!nfaults) fail(QNDA_ERR_ARGUMENT, "%s", text.c_str());
      message(p, MSG_WARNING, text);
      ++count;
    };
    SlpConstructed s(p);
    for (const auto &c : p.nl.coefs) {
      ProblemUserCaller uf(p);
      const double v = Tape(c.second.formula).value(s.x.data(), &uf);
      if (!std::isfinite(v))
        fault("the coefficient of row " + std::to_string(c.first.first) + ", column " +
              std::to_string(c.first.second) + " is not defined at the current point");
    }
    for (const auto &cv : p.extras.vars) {
      const int j = cv.first;
      if (j >= mm.ncols()) {
        fault("settings of column " + std::to_string(j) + ", which the problem no longer has");
        continue;
      }
      if (cv.second.tolset > static_cast<int>(p.extras.tolsets.size()))
        fault("column " + colname(p, j) + " refers to a missing tolerance set");
      if (cv.second.detrow >= 0) {
        const std::string why = detrow_fault(p, *s.model, j, cv.second.detrow);
        if (!why.empty()) fault("column " + colname(p, j) + ": " + why);
      }
    }
    for (const auto &r : p.extras.rows)
      if (r.first >= mm.nrows())
        fault("settings of row " + std::to_string(r.first) + ", which the problem no longer has");
    for (const auto &d : p.extras.dfs)
      if (d.first.first >= mm.nrows() || d.first.second >= mm.ncols())
        fault("a derivative factor of a row or column the problem no longer has");
    if (count == 0) {
      try {
        slp_cascade_order(p, *s.model);
      } catch (const Error &e) {
        fault(e.what());
      }
    }
    if (nfaults) *nfaults = count;
  });
}

int QSLPvalidatevector(QSLPprob prob, const double *x, double *suminf, double *sumscaledinf,
                       double *objval) {
  return slp_guard(prob, "QSLPvalidatevector", [&] {
    check_array(x, "x");
    NlpModel m(*prob);
    std::vector<double> g(m.m);
    if (!m.eval_g(x, g.data())) fail(QNDA_ERR_ARGUMENT, "the rows are not defined at x");
    double sum = 0.0, scaled = 0.0;
    for (int i = 0; i < m.m; ++i) {
      const double e = std::max({0.0, m.gl[i] - g[i], g[i] - m.gu[i]});
      sum += e;
      scaled += e / (1.0 + std::fabs(g[i]));
    }
    if (suminf) *suminf = sum;
    if (sumscaledinf) *sumscaledinf = scaled;
    if (objval) *objval = m.objective(x);
  });
}

int QSLPvalidaterow(QSLPprob prob, int row, double *value, double *violation, double *deriverror) {
  return slp_guard(prob, "QSLPvalidaterow", [&] {
    check_index(row, slp_main_model(*prob).nrows(), "row index");
    auto s = state_of(*prob);
    if (row >= s->model->m) fail(QNDA_ERR_STATE, "the construction predates row %d", row);
    if (value) *value = s->g[row];
    if (violation) *violation = s->violation(row);
    if (!deriverror) return;
    NlpModel &m = *s->model;
    std::vector<double> x = s->x, g(m.m);
    double worst = 0.0;
    for (size_t k = 0; k < m.jrow.size(); ++k) {
      if (m.jrow[k] != row) continue;
      const int j = m.jcol[k];
      const double h = 1e-6 * std::max(1.0, std::fabs(x[j]));
      x[j] = s->x[j] + h;
      bool ok = m.eval_g(x.data(), g.data());
      const double up = g[row];
      x[j] = s->x[j] - h;
      ok = ok && m.eval_g(x.data(), g.data());
      x[j] = s->x[j];
      const double fd = (up - g[row]) / (2.0 * h);
      if (!ok || !std::isfinite(fd)) continue;
      worst = std::max(worst, std::fabs(fd - s->jac[k]) / std::max(1.0, std::fabs(s->jac[k])));
    }
    *deriverror = worst;
  });
}

int QSLPvalidatekkt(QSLPprob prob, const double *x, const double *duals, double *residuals) {
  return slp_guard(prob, "QSLPvalidatekkt", [&] {
    check_array(residuals, "residuals");
    if (!x || !duals) solution(*prob);
    NlpModel m(*prob);
    const int n = m.n, nr = m.m;
    std::vector<double> px(x ? x : prob->sol.x.data(), (x ? x : prob->sol.x.data()) + n);
    m.engine_point(px.data());
    std::vector<double> lambda(nr);
    for (int i = 0; i < nr; ++i) {
      const int row = m.main_row(i);
      lambda[i] = -m.sense * (duals ? duals[row] : prob->sol.duals[row]);
    }
    std::vector<double> g(nr), jac(m.jrow.size()), r(n);
    double f;
    if (!m.eval_f(px.data(), f) || !m.eval_g(px.data(), g.data()) ||
        !m.eval_jac(px.data(), jac.data()) || !m.eval_grad(px.data(), r.data()))
      fail(QNDA_ERR_ARGUMENT, "the problem's functions are not defined at the point");
    for (size_t k = 0; k < m.jrow.size(); ++k) r[m.jcol[k]] += jac[k] * lambda[m.jrow[k]];
    const double tol = feastol(*prob);
    double stat = 0.0, comp = 0.0, sign = 0.0;
    for (int j = 0; j < n; ++j) {
      // The bound multiplier takes what its active bound allows.
      const double t = tol * (1.0 + std::fabs(px[j]));
      const bool lo = px[j] <= m.xl[j] + t, hi = px[j] >= m.xu[j] - t;
      const bool absorbed = (lo && hi) || (lo && r[j] > 0) || (hi && r[j] < 0);
      if (!absorbed) stat = std::max(stat, std::fabs(r[j]));
    }
    for (int i = 0; i < nr; ++i) {
      // Lagrangian f + lambda'g: lambda >= 0 at the upper side, <= 0 at the lower.
      const double l = lambda[i];
      if (l > 0) {
        if (std::isfinite(m.gu[i]))
          comp = std::max(comp, l * std::max(0.0, m.gu[i] - g[i]));
        else
          sign = std::max(sign, l);
      } else if (l < 0) {
        if (std::isfinite(m.gl[i]))
          comp = std::max(comp, -l * std::max(0.0, g[i] - m.gl[i]));
        else
          sign = std::max(sign, -l);
      }
    }
    residuals[QSLP_KKT_STATIONARITY] = stat;
    residuals[QSLP_KKT_FEASIBILITY] = nlp_violation(m, px.data(), g.data());
    residuals[QSLP_KKT_COMPLEMENTARITY] = comp;
    residuals[QSLP_KKT_DUALSIGN] = sign;
  });
}

int QSLPcascadeorder(QSLPprob prob) {
  return slp_guard(prob, "QSLPcascadeorder", [&] {
    SlpConstructed s(*prob);
    prob->extras.cascade = slp_cascade_order(*prob, *s.model);
    prob->extras.cascade_ordered = true;
  });
}

int QSLPcascade(QSLPprob prob) {
  return slp_guard(prob, "QSLPcascade", [&] {
    qslp_problem_s &p = *prob;
    SlpConstructed s(p);
    if (!p.extras.cascade_ordered) {
      p.extras.cascade = slp_cascade_order(p, *s.model);
      p.extras.cascade_ordered = true;
    }
    const std::string failed = slp_cascade_point(p, *s.model, p.extras.cascade, s.x);
    if (!failed.empty()) message(p, MSG_WARNING, "cascading did not settle " + failed);
    p.nl.start = s.x;
    if (p.extras.built) p.extras.built->at(s.x);
    if (!failed.empty())
      fail(QNDA_ERR_ENGINE, "cascading did not settle column(s) %s within their Newton limits",
           failed.c_str());
  });
}

int QSLPchgcascadenlimit(QSLPprob prob, int col, int limit) {
  return slp_guard(prob, "QSLPchgcascadenlimit", [&] {
    check_index(col, slp_main_model(*prob).ncols(), "column index");
    if (limit < 1) fail(QNDA_ERR_ARGUMENT, "cascade limit %d is below 1", limit);
    prob->extras.vars[col].nlimit = limit;
  });
}

}  // extern "C"
