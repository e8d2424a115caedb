#include "nonlinear/nlp_model.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <unordered_map>

#include "core/error.h"
#include "model/problem.h"
#include "nonlinear/slp_callbacks.h"

namespace qnda {

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

double conv_bound(double v) { return v >= QNDA_INFINITY ? kInf : v <= -QNDA_INFINITY ? -kInf : v; }

}  // namespace

NameScope scope_of(const qslp_problem_s &p) {
  NameScope s;
  const Model *m = p.main && p.main->valid() ? &p.main->model : nullptr;
  s.ncols = m ? m->ncols() : 0;
  s.nuserfuncs = static_cast<int>(p.nl.userfuncs.size());
  s.column = [m](const std::string &name) {
    return m ? m->find_name(QNDA_NAMES_COLUMNS, name.c_str()) : -1;
  };
  s.column_name = [m](int j) {
    return m ? m->name(QNDA_NAMES_COLUMNS, j) : "C" + std::to_string(j);
  };
  const auto *uf = &p.nl.userfuncs;
  s.userfunc = [uf](const std::string &name) {
    for (size_t k = 0; k < uf->size(); ++k)
      if ((*uf)[k].name == name) return static_cast<int>(k + 1);
    return -1;
  };
  s.userfunc_name = [uf](int k) {
    return k >= 1 && k <= static_cast<int>(uf->size()) && !(*uf)[k - 1].name.empty()
               ? (*uf)[k - 1].name
               : "F" + std::to_string(k);
  };
  return s;
}

// ------------------------------------------------------------ user calls
double ProblemUserCaller::call_once(const UserFunc &f, int index, const double *in, int n,
                                    const int *flags, double *partials) const {
  qslp_funcctx_s ctx{&p_, index, n};
  ++p_.extras.stats.user;
  if (f.call == QSLP_UFCALL_DERIVATIVES)
    return reinterpret_cast<QSLPuserfuncderiv>(f.address)(in, flags, partials, &ctx);
  return reinterpret_cast<QSLPuserfunc>(f.address)(in, &ctx);
}

double ProblemUserCaller::call(int index, const double *in, int n, double *partials) const {
  if (index == 0 && n == 1) {
    const double v = slp_cb_formula(p_, in[0]);
    if (partials) {
      const double h = 6e-6 * std::max(1.0, std::fabs(in[0]));
      partials[0] = (slp_cb_formula(p_, in[0] + h) - slp_cb_formula(p_, in[0] - h)) / (2.0 * h);
    }
    return v;
  }
  if (index < 1 || index > static_cast<int>(p_.nl.userfuncs.size())) return std::nan("");
  const UserFunc &f = p_.nl.userfuncs[index - 1];
  if (!f.address) return std::nan("");
  std::vector<int> flags(n, partials ? 1 : 0);
  std::vector<double> scratch;
  if (f.call == QSLP_UFCALL_DERIVATIVES) {
    if (!partials) {
      scratch.assign(n, 0.0);
      partials = scratch.data();
    }
    return call_once(f, index, in, n, flags.data(), partials);
  }
  const double v = call_once(f, index, in, n, nullptr, nullptr);
  if (partials) {
    std::vector<double> p(in, in + n);
    for (int q = 0; q < n; ++q) {
      const double h = 6e-6 * std::max(1.0, std::fabs(in[q]));
      p[q] = in[q] + h;
      const double up = call_once(f, index, p.data(), n, nullptr, nullptr);
      p[q] = in[q] - h;
      const double down = call_once(f, index, p.data(), n, nullptr, nullptr);
      p[q] = in[q];
      partials[q] = (up - down) / (2.0 * h);
    }
  }
  return v;
}

// ----------------------------------------------------------------- model
NlpModel::NlpModel(qslp_problem_s &p, bool integers) : p_(p), caller_(p) {
  if (!p.main || !p.main->valid()) fail(QNDA_ERR_STATE, "the main problem is gone");
  const Model &mm = p.main->model;
  n = mm.ncols();
  m = mm.nrows();
  integer.assign(n, 0);
  for (int j = 0; j < n; ++j) {
    const char t = mm.coltype()[j];
    integer[j] = integers && (t == 'I' || t == 'B');
    if (t != 'C' && !integer[j])
      fail(QNDA_ERR_UNSUPPORTED,
           "column %s is not continuous: the nonlinear engines solve continuous problems only",
           mm.name(QNDA_NAMES_COLUMNS, j).c_str());
  }
  if (mm.nsets() > 0 || mm.indicator_count() > 0)
    fail(QNDA_ERR_UNSUPPORTED,
         "special ordered sets and indicator rows cannot be part of a nonlinear problem");
  sense = p.controls.num[slp_index(QSLP_OBJSENSE)] < 0 ? -1 : 1;

  xl.resize(n);
  xu.resize(n);
  for (int j = 0; j < n; ++j) {
    xl[j] = conv_bound(mm.lb(j));
    xu[j] = conv_bound(mm.ub(j));
  }
  gl.resize(m);
  gu.resize(m);
  for (int i = 0; i < m; ++i) {
    double lo, hi;
    mm.row_bounds(i, &lo, &hi);
    gl[i] = conv_bound(lo);
    gu[i] = conv_bound(hi);
  }
  x0.resize(n);
  for (int j = 0; j < n; ++j) {
    // columns added after the start was given start at 0
    const double s = j < static_cast<int>(p.nl.start.size()) ? p.nl.start[j] : 0.0;
    x0[j] = std::min(std::max(s, xl[j]), xu[j]);
  }

  // Linear and quadratic parts.
  rows_.resize(m);
  const SparseMatrix::Csr &a = mm.matrix().csr();
  for (int i = 0; i < m; ++i)
    for (QNDAint64 k = a.start[i]; k < a.start[i + 1]; ++k) {
      rows_[i].lin_col.push_back(a.index[k]);
      rows_[i].lin_val.push_back(a.value[k]);
    }
  obj_lin_ = mm.obj();
  obj_const_ = mm.obj_constant();
  for (const auto &t : mm.qobj().terms()) obj_.quad.push_back({t.i, t.j, t.v, -1, -1, -1});
  for (const auto &qr : mm.qrows())
    for (const auto &t : qr.second.terms())
      rows_[qr.first].quad.push_back({t.i, t.j, t.v, -1, -1, -1});

  // Nonlinear coefficients.
  nonlinear_col.assign(n, 0);
  for (const auto &c : p.nl.coefs) {
    const int row = c.first.first, col = c.first.second;
    if (row < kObjectiveRow || row >= m)
      fail(QNDA_ERR_INDEX, "nonlinear coefficient of row %d, which the problem no longer has", row);
    if (col != kConstantCol && (col < 0 || col >= n))
      fail(QNDA_ERR_INDEX, "nonlinear coefficient of column %d, which the problem no longer has",
           col);
    for (const Token &t : c.second.formula) {
      if (t.type == QSLP_TOK_COL && (t.value < 0 || t.value >= n))
        fail(QNDA_ERR_INDEX,
             "a formula of row %d refers to column %g, which the problem no longer has", row,
             t.value);
      if (t.type == QSLP_TOK_FUN) {
        const int k = static_cast<int>(t.value);
        if (k < 1 || k > static_cast<int>(p.nl.userfuncs.size()) || !p.nl.userfuncs[k - 1].address)
          fail(QNDA_ERR_STATE, "user function %d has no entry point (QSLPchguserfuncaddress)", k);
        if (p.nl.userfuncs[k - 1].call != QSLP_UFCALL_DERIVATIVES) has_user_functions = true;
      }
      // The formula callback gives values only.
      if (t.type == QSLP_TOK_IFUN && t.value == QSLP_IFUN_CBFORMULA) has_user_functions = true;
    }
    Term t;
    t.tape = std::make_shared<Tape>(c.second.formula);
    t.col = col == kConstantCol ? -1 : col;
    t.factor = c.second.factor;
    t.ext = t.tape->columns();
    if (t.col >= 0 && !std::binary_search(t.ext.begin(), t.ext.end(), t.col))
      t.ext.push_back(t.col);
    for (int j : t.ext) nonlinear_col[j] = 1;
    (row == kObjectiveRow ? obj_ : rows_[row]).terms.push_back(std::move(t));
  }
  main_m_ = m;
  fold_transfer_rows();
  for (const auto &q : obj_.quad) nonlinear_col[q.i] = nonlinear_col[q.j] = 1;
  linear_row.assign(m, 1);
  for (int i = 0; i < m; ++i) {
    for (const auto &q : rows_[i].quad) nonlinear_col[q.i] = nonlinear_col[q.j] = 1;
    linear_row[i] = rows_[i].quad.empty() && rows_[i].terms.empty();
  }
  objective_linear = obj_.quad.empty() && obj_.terms.empty();
  index_structure();
}

void NlpModel::index_structure() {
  // Jacobian: per row its distinct columns, sorted.
  std::vector<int> cols;
  for (int i = 0; i < m; ++i) {
    Row &r = rows_[i];
    cols = r.lin_col;
    for (const auto &q : r.quad) {
      cols.push_back(q.i);
      cols.push_back(q.j);
    }
    for (const auto &t : r.terms) cols.insert(cols.end(), t.ext.begin(), t.ext.end());
    std::sort(cols.begin(), cols.end());
    cols.erase(std::unique(cols.begin(), cols.end()), cols.end());
    const int base = static_cast<int>(jrow.size());
    for (int j : cols) {
      jrow.push_back(i);
      jcol.push_back(j);
    }
    auto pos = [&](int j) {
      return base + static_cast<int>(std::lower_bound(cols.begin(), cols.end(), j) - cols.begin());
    };
    for (int j : r.lin_col) r.lin_pos.push_back(pos(j));
    for (auto &q : r.quad) {
      q.jpos_i = pos(q.i);
      q.jpos_j = pos(q.j);
    }
    for (auto &t : r.terms)
      for (int j : t.ext) t.jpos.push_back(pos(j));
  }
  // Hessian of the Lagrangian: the lower triangle of every nonlinear part.
  std::unordered_map<long long, int> hmap;
  auto hp = [&](int a, int b) {
    if (a < b) std::swap(a, b);
    const long long key = static_cast<long long>(a) * n + b;
    auto it = hmap.find(key);
    if (it != hmap.end()) return it->second;
    const int k = static_cast<int>(hrow.size());
    hrow.push_back(a);
    hcol.push_back(b);
    hmap.emplace(key, k);
    return k;
  };
  auto index_row = [&](Row &r) {
    for (auto &q : r.quad) q.hpos = hp(q.i, q.j);
    for (auto &t : r.terms) {
      const int e = static_cast<int>(t.ext.size());
      t.hpos.assign(e * e, -1);
      for (int q = 0; q < e; ++q)
        for (int s = 0; s <= q; ++s) t.hpos[q * e + s] = hp(t.ext[q], t.ext[s]);
    }
  };
  index_row(obj_);
  for (Row &r : rows_) index_row(r);
}

bool NlpModel::term_value(Term &t, const double *x, double &v) {
  v = t.factor * t.tape->value(x, &caller_);
  if (t.col >= 0) v *= x[t.col];
  return std::isfinite(v);
}

bool NlpModel::row_term_value(int row, Term &t, const double *x, double &v) {
  if (term_value(t, x, v)) return true;
  if (on_eval_error) on_eval_error(row, t.col >= 0 ? t.col : kConstantCol);
  return false;
}

bool NlpModel::term_derivs(Term &t, const double *x, double w, double *dense, double *jac,
                           double *h) {
  const std::vector<int> &kc = t.tape->columns();
  const int k = static_cast<int>(kc.size()), e = static_cast<int>(t.ext.size());
  work_.assign(static_cast<size_t>(k) + k * k + e + e * e, 0.0);
  double *gf = work_.data(), *hf = gf + k, *ge = hf + k * k, *he = ge + e;
  const double f = h ? t.tape->hessian(x, &caller_, gf, hf) : t.tape->gradient(x, &caller_, gf);
  if (!std::isfinite(f)) return false;
  const double xc = t.col >= 0 ? x[t.col] : 1.0;
  int pc = -1;
  if (t.col >= 0)
    pc = static_cast<int>(std::find(t.ext.begin(), t.ext.end(), t.col) - t.ext.begin());
  for (int q = 0; q < k; ++q) ge[q] = t.factor * xc * gf[q];
  if (pc >= 0) ge[pc] += t.factor * f;
  for (int q = 0; q < e; ++q) {
    if (!std::isfinite(ge[q])) return false;
    if (dense) dense[t.ext[q]] += w * ge[q];
    if (jac) jac[t.jpos[q]] += w * ge[q];
  }
  if (!h) return true;
  for (int q = 0; q < e; ++q)
    for (int s = 0; s <= q; ++s) {
      double v = q < k && s < k ? xc * hf[q * k + s] : 0.0;
      if (s == pc && q < k) v += gf[q];
      if (q == pc && s < k) v += gf[s];
      he[q * e + s] = t.factor * v;
    }
  for (int q = 0; q < e; ++q)
    for (int s = 0; s <= q; ++s) {
      const double v = he[q * e + s];
      if (!std::isfinite(v)) return false;
      // The diagonal pairs of ext map once; off-diagonal ones once too,
      // since only s <= q is visited.
      h[t.hpos[q * e + s]] += w * v;
    }
  return true;
}

double NlpModel::objective(const double *x) {
  double f = 0.0;
  if (!eval_f(x, f)) return std::nan("");
  return sense * f;
}

bool NlpModel::eval_f(const double *x, double &f) {
  ++p_.extras.stats.f;
  double v = obj_const_;
  for (int j = 0; j < n; ++j) v += obj_lin_[j] * x[j];
  for (const auto &q : obj_.quad) v += q.v * x[q.i] * x[q.j];
  for (auto &t : obj_.terms) {
    double tv;
    if (!row_term_value(kObjectiveRow, t, x, tv)) return false;
    v += tv;
  }
  f = sense * v;
  return std::isfinite(f);
}

bool NlpModel::eval_grad(const double *x, double *grad) {
  ++p_.extras.stats.grad;
  for (int j = 0; j < n; ++j) grad[j] = sense * obj_lin_[j];
  for (const auto &q : obj_.quad) {
    grad[q.i] += sense * q.v * x[q.j];
    grad[q.j] += sense * q.v * x[q.i];
  }
  for (auto &t : obj_.terms)
    if (!term_derivs(t, x, sense, grad, nullptr, nullptr)) return false;
  return true;
}

bool NlpModel::row_value(Row &r, const double *x, double &v, int row) {
  v = 0.0;
  for (size_t k = 0; k < r.lin_col.size(); ++k) v += r.lin_val[k] * x[r.lin_col[k]];
  for (const auto &q : r.quad) v += q.v * x[q.i] * x[q.j];
  for (auto &t : r.terms) {
    double tv;
    if (!(row >= kObjectiveRow ? row_term_value(row, t, x, tv) : term_value(t, x, tv)))
      return false;
    v += tv;
  }
  return true;
}

bool NlpModel::eval_g(const double *x, double *g) {
  ++p_.extras.stats.g;
  for (int i = 0; i < m; ++i)
    if (!row_value(rows_[i], x, g[i], i)) return false;
  return true;
}

bool NlpModel::eval_jac(const double *x, double *values) {
  ++p_.extras.stats.jac;
  std::fill(values, values + jrow.size(), 0.0);
  for (int i = 0; i < m; ++i) {
    Row &r = rows_[i];
    for (size_t k = 0; k < r.lin_col.size(); ++k) values[r.lin_pos[k]] += r.lin_val[k];
    for (const auto &q : r.quad) {
      values[q.jpos_i] += q.v * x[q.j];
      values[q.jpos_j] += q.v * x[q.i];
    }
    for (auto &t : r.terms)
      if (!term_derivs(t, x, 1.0, nullptr, values, nullptr)) return false;
  }
  return true;
}

bool NlpModel::eval_hess(const double *x, double obj_factor, const double *lambda, double *values) {
  ++p_.extras.stats.hess;
  std::fill(values, values + hrow.size(), 0.0);
  auto add_row = [&](Row &r, double w) {
    if (w == 0.0) return true;
    for (const auto &q : r.quad) values[q.hpos] += w * (q.i == q.j ? 2.0 * q.v : q.v);
    for (auto &t : r.terms)
      if (!term_derivs(t, x, w, nullptr, nullptr, values)) return false;
    return true;
  };
  if (!add_row(obj_, obj_factor * sense)) return false;
  for (int i = 0; i < m; ++i)
    if (!add_row(rows_[i], lambda[i])) return false;
  return true;
}

}  // namespace qnda
