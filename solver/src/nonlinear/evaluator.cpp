#include "nonlinear/evaluator.h"

#include <algorithm>
#include <cmath>

#include "core/error.h"

namespace qnda {

namespace {

constexpr double kTwoOverSqrtPi = 1.1283791670955126;
constexpr double kLn10 = 2.302585092994046;

int as_int(double v) { return static_cast<int>(std::lround(v)); }

// Value, first and second derivative of a built-in function of one argument.
void unary(int code, double a, double &v, double &d1, double &d2) {
  switch (code) {
    case QSLP_IFUN_LN:
      v = std::log(a);
      d1 = 1.0 / a;
      d2 = -d1 * d1;
      return;
    case QSLP_IFUN_LOG10:
      v = std::log10(a);
      d1 = 1.0 / (a * kLn10);
      d2 = -1.0 / (a * a * kLn10);
      return;
    case QSLP_IFUN_EXP:
      v = std::exp(a);
      d1 = d2 = v;
      return;
    case QSLP_IFUN_ABS:
      v = std::fabs(a);
      d1 = a > 0 ? 1.0 : a < 0 ? -1.0 : 0.0;
      d2 = 0;
      return;
    case QSLP_IFUN_SQRT:
      v = std::sqrt(a);
      d1 = 0.5 / v;
      d2 = -0.25 / (v * a);
      return;
    case QSLP_IFUN_SIN:
      v = std::sin(a);
      d1 = std::cos(a);
      d2 = -v;
      return;
    case QSLP_IFUN_COS:
      v = std::cos(a);
      d1 = -std::sin(a);
      d2 = -v;
      return;
    case QSLP_IFUN_TAN:
      v = std::tan(a);
      d1 = 1.0 + v * v;
      d2 = 2.0 * v * d1;
      return;
    case QSLP_IFUN_ARCSIN:
    case QSLP_IFUN_ARCCOS: {
      const double s = code == QSLP_IFUN_ARCSIN ? 1.0 : -1.0;
      v = code == QSLP_IFUN_ARCSIN ? std::asin(a) : std::acos(a);
      const double q = 1.0 - a * a;
      d1 = s / std::sqrt(q);
      d2 = s * a / (q * std::sqrt(q));
      return;
    }
    case QSLP_IFUN_ARCTAN: {
      v = std::atan(a);
      const double q = 1.0 + a * a;
      d1 = 1.0 / q;
      d2 = -2.0 * a / (q * q);
      return;
    }
    case QSLP_IFUN_SIGN:
      v = a > 0 ? 1.0 : a < 0 ? -1.0 : 0.0;
      d1 = d2 = 0;
      return;
    case QSLP_IFUN_ERF:
    case QSLP_IFUN_ERFC: {
      const double s = code == QSLP_IFUN_ERF ? 1.0 : -1.0;
      v = code == QSLP_IFUN_ERF ? std::erf(a) : std::erfc(a);
      d1 = s * kTwoOverSqrtPi * std::exp(-a * a);
      d2 = -2.0 * a * d1;
      return;
    }
    default:
      fail(QNDA_ERR_INTERNAL, "built-in function %d has no evaluation", code);
  }
}

}  // namespace

Tape::Tape(const Formula &parsed) {
  std::vector<int> st, marks;
  for (const Token &t : parsed)
    if (t.type == QSLP_TOK_COL) cols_.push_back(as_int(t.value));
  std::sort(cols_.begin(), cols_.end());
  cols_.erase(std::unique(cols_.begin(), cols_.end()), cols_.end());

  auto add = [&](Kind k, int code, double c, int nargs) {
    Node n{k, code, c, static_cast<int>(args_.size()), nargs, nloc_, false};
    const int first = static_cast<int>(st.size()) - nargs;
    for (int q = first; q < static_cast<int>(st.size()); ++q) {
      args_.push_back(st[q]);
      n.var = n.var || nodes_[st[q]].var;
    }
    st.resize(first);
    nloc_ += nargs + nargs * nargs;
    st.push_back(static_cast<int>(nodes_.size()));
    nodes_.push_back(n);
  };
  for (const Token &t : parsed) {
    switch (t.type) {
      case QSLP_TOK_CON:
        add(CON, 0, t.value, 0);
        break;
      case QSLP_TOK_COL: {
        const int slot = static_cast<int>(
            std::lower_bound(cols_.begin(), cols_.end(), as_int(t.value)) - cols_.begin());
        add(COL, slot, 0.0, 0);
        nodes_.back().var = true;
        break;
      }
      case QSLP_TOK_LB:
        marks.push_back(static_cast<int>(st.size()));
        break;
      case QSLP_TOK_OP: {
        const int op = as_int(t.value);
        add(OP, op, 0.0, op == QSLP_OP_UMINUS ? 1 : 2);
        break;
      }
      case QSLP_TOK_IFUN:
      case QSLP_TOK_FUN: {
        const int nargs = static_cast<int>(st.size()) - marks.back();
        marks.pop_back();
        const int code = as_int(t.value);
        // The formula callback is reached like a user function: index 0.
        if (t.type == QSLP_TOK_IFUN && code == QSLP_IFUN_CBFORMULA)
          add(UFUN, 0, 0.0, nargs);
        else
          add(t.type == QSLP_TOK_IFUN ? IFUN : UFUN, code, 0.0, nargs);
        break;
      }
      default:
        break;
    }
  }
  if (st.size() != 1) fail(QNDA_ERR_INTERNAL, "formula compiled to %zu values", st.size());
  const size_t nn = nodes_.size();
  val_.resize(nn);
  dval_.resize(nn);
  adj_.resize(nn);
  dadj_.resize(nn);
  loc_.resize(nloc_);
}

// Value of node n from its arguments, and its local partials: first in
// loc_[loc0 ..], with `second` the Hessian after them (row-major).
void Tape::local(const Node &n, const UserCaller *uf, bool second) const {
  double *g = loc_.data() + n.loc0;
  double *h = g + n.nargs;
  const int k = n.nargs;
  auto arg = [&](int q) { return val_[args_[n.arg0 + q]]; };
  if (second) std::fill(h, h + k * k, 0.0);
  double &v = val_[&n - nodes_.data()];
  switch (n.kind) {
    case CON:
      v = n.c;
      return;
    case COL:
      return;  // set by forward
    case OP: {
      if (n.code == QSLP_OP_UMINUS) {
        v = -arg(0);
        g[0] = -1.0;
        return;
      }
      const double a = arg(0), b = arg(1);
      switch (n.code) {
        case QSLP_OP_PLUS:
          v = a + b;
          g[0] = 1;
          g[1] = 1;
          return;
        case QSLP_OP_MINUS:
          v = a - b;
          g[0] = 1;
          g[1] = -1;
          return;
        case QSLP_OP_MULTIPLY:
          v = a * b;
          g[0] = b;
          g[1] = a;
          if (second) h[1] = h[2] = 1.0;
          return;
        case QSLP_OP_DIVIDE:
          v = a / b;
          g[0] = 1.0 / b;
          g[1] = -v / b;
          if (second) {
            h[1] = h[2] = -1.0 / (b * b);
            h[3] = 2.0 * v / (b * b);
          }
          return;
        case QSLP_OP_EXPONENT: {
          const bool va = nodes_[args_[n.arg0]].var, vb = nodes_[args_[n.arg0 + 1]].var;
          v = std::pow(a, b);
          // A constant part has no derivative taken: its logarithm may not
          // exist (a negative base with an integer exponent).
          if (!vb) {
            g[0] = b == 0.0 ? 0.0 : b * std::pow(a, b - 1.0);
            g[1] = 0.0;
            if (second) h[0] = b == 0.0 || b == 1.0 ? 0.0 : b * (b - 1.0) * std::pow(a, b - 2.0);
          } else {
            const double la = std::log(a);
            g[0] = va ? b * std::pow(a, b - 1.0) : 0.0;
            g[1] = v * la;
            if (second) {
              if (va) {
                h[0] = b * (b - 1.0) * std::pow(a, b - 2.0);
                h[1] = h[2] = std::pow(a, b - 1.0) * (1.0 + b * la);
              }
              h[3] = v * la * la;
            }
          }
          return;
        }
        default:
          fail(QNDA_ERR_INTERNAL, "operator %d has no evaluation", n.code);
      }
    }
    case IFUN: {
      if (n.code == QSLP_IFUN_MAX || n.code == QSLP_IFUN_MIN) {
        int best = 0;
        for (int q = 1; q < k; ++q)
          if (n.code == QSLP_IFUN_MAX ? arg(q) > arg(best) : arg(q) < arg(best)) best = q;
        v = arg(best);
        for (int q = 0; q < k; ++q) g[q] = q == best ? 1.0 : 0.0;
        return;
      }
      double d2 = 0.0;
      unary(n.code, arg(0), v, g[0], d2);
      if (second) h[0] = d2;
      return;
    }
    case UFUN: {
      // Parsed formulas give a user function's arguments last first: the
      // node's argument q is the function's input k - 1 - q.
      auto slot = [k](int q) { return k - 1 - q; };
      in_.resize(k);
      for (int q = 0; q < k; ++q) in_[q] = arg(slot(q));
      if (!uf) fail(QNDA_ERR_STATE, "user function %d called without its definitions", n.code);
      std::vector<double> gin(k);
      v = uf->call(n.code, in_.data(), k, gin.data());
      for (int q = 0; q < k; ++q) g[slot(q)] = gin[q];
      if (second) {
        // Central differences of the partials: user functions give first
        // derivatives at most.
        std::vector<double> p(in_), gp(k), gm(k);
        for (int q = 0; q < k; ++q) {
          const double step = 1e-5 * std::max(1.0, std::fabs(p[q]));
          p[q] = in_[q] + step;
          uf->call(n.code, p.data(), k, gp.data());
          p[q] = in_[q] - step;
          uf->call(n.code, p.data(), k, gm.data());
          p[q] = in_[q];
          for (int r = 0; r < k; ++r) h[slot(r) * k + slot(q)] = (gp[r] - gm[r]) / (2.0 * step);
        }
        for (int q = 0; q < k; ++q)
          for (int r = 0; r < q; ++r)
            h[q * k + r] = h[r * k + q] = 0.5 * (h[q * k + r] + h[r * k + q]);
      }
      return;
    }
  }
}

void Tape::forward(const double *x, const UserCaller *uf, bool second) const {
  for (const Node &n : nodes_) {
    if (n.kind == COL)
      val_[&n - nodes_.data()] = x[cols_[n.code]];
    else
      local(n, uf, second);
  }
}

double Tape::value(const double *x, const UserCaller *uf) const {
  // Values only: partials are cheap next to user functions, so one path.
  forward(x, uf, false);
  return val_.back();
}

void Tape::reverse(std::vector<double> &adj) const {
  std::fill(adj.begin(), adj.end(), 0.0);
  adj.back() = 1.0;
  for (size_t i = nodes_.size(); i-- > 0;) {
    const Node &n = nodes_[i];
    if (adj[i] == 0.0) continue;
    const double *g = loc_.data() + n.loc0;
    for (int q = 0; q < n.nargs; ++q)
      if (nodes_[args_[n.arg0 + q]].var) adj[args_[n.arg0 + q]] += adj[i] * g[q];
  }
}

double Tape::gradient(const double *x, const UserCaller *uf, double *g) const {
  forward(x, uf, false);
  const size_t nc = cols_.size();
  std::fill(g, g + nc, 0.0);
  if (nc == 0) return val_.back();
  reverse(adj_);
  for (size_t i = 0; i < nodes_.size(); ++i)
    if (nodes_[i].kind == COL) g[nodes_[i].code] += adj_[i];
  return val_.back();
}

double Tape::hessian(const double *x, const UserCaller *uf, double *g, double *h) const {
  forward(x, uf, true);
  const size_t nc = cols_.size(), nn = nodes_.size();
  if (nc == 0) return val_.back();
  reverse(adj_);
  if (g) {
    std::fill(g, g + nc, 0.0);
    for (size_t i = 0; i < nn; ++i)
      if (nodes_[i].kind == COL) g[nodes_[i].code] += adj_[i];
  }
  for (size_t c = 0; c < nc; ++c) {
    // Tangents along column c.
    for (size_t i = 0; i < nn; ++i) {
      const Node &n = nodes_[i];
      if (n.kind == COL) {
        dval_[i] = n.code == static_cast<int>(c) ? 1.0 : 0.0;
        continue;
      }
      double d = 0.0;
      const double *lg = loc_.data() + n.loc0;
      for (int q = 0; q < n.nargs; ++q) d += lg[q] * dval_[args_[n.arg0 + q]];
      dval_[i] = d;
    }
    // Tangents of the adjoints.
    std::fill(dadj_.begin(), dadj_.end(), 0.0);
    for (size_t i = nn; i-- > 0;) {
      const Node &n = nodes_[i];
      if (n.nargs == 0) continue;
      const double *lg = loc_.data() + n.loc0;
      const double *lh = lg + n.nargs;
      for (int q = 0; q < n.nargs; ++q) {
        const int a = args_[n.arg0 + q];
        if (!nodes_[a].var) continue;
        double s = dadj_[i] * lg[q];
        if (adj_[i] != 0.0) {
          double t = 0.0;
          for (int r = 0; r < n.nargs; ++r) {
            const double hv = lh[q * n.nargs + r];
            if (hv != 0.0) t += hv * dval_[args_[n.arg0 + r]];
          }
          s += adj_[i] * t;
        }
        dadj_[a] += s;
      }
    }
    double *row = h + c * nc;
    std::fill(row, row + nc, 0.0);
    for (size_t i = 0; i < nn; ++i)
      if (nodes_[i].kind == COL) row[nodes_[i].code] += dadj_[i];
  }
  // Equal in exact arithmetic; made equal in floating point too.
  for (size_t a = 0; a < nc; ++a)
    for (size_t b = 0; b < a; ++b)
      h[a * nc + b] = h[b * nc + a] = 0.5 * (h[a * nc + b] + h[b * nc + a]);
  return val_.back();
}

}  // namespace qnda
