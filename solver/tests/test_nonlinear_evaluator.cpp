// The derivative evaluator against finite differences on random formulas
// (fixed seed), and against hand-worked cases.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "nonlinear/evaluator.h"
#include "nonlinear/formula.h"

namespace {

using qnda::Formula;
using qnda::Tape;
using qnda::Token;

constexpr int kCols = 3;

// Random smooth formulas in reverse Polish, with values kept moderate:
// denominators, bases of powers and arguments of logarithms and square
// roots are of the form 1 + e^2.
class Generator {
 public:
  explicit Generator(unsigned seed) : rng_(seed) {}

  Formula make(int depth) {
    Formula f;
    emit(f, depth);
    return f;
  }

 private:
  int pick(int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng_); }
  double num() { return std::uniform_real_distribution<double>(0.5, 2.0)(rng_); }

  void op(Formula &f, int o) { f.push_back({QSLP_TOK_OP, double(o)}); }
  void fn(Formula &f, int code, int depth) {
    f.push_back({QSLP_TOK_LB, 0});
    emit(f, depth);
    f.push_back({QSLP_TOK_IFUN, double(code)});
  }
  void positive(Formula &f, int depth) {  // 1 + e^2
    f.push_back({QSLP_TOK_CON, 1.0});
    emit(f, depth);
    f.push_back({QSLP_TOK_CON, 2.0});
    op(f, QSLP_OP_EXPONENT);
    op(f, QSLP_OP_PLUS);
  }

  void emit(Formula &f, int depth) {
    if (depth == 0 || pick(10) < 2) {
      if (pick(4) == 0)
        f.push_back({QSLP_TOK_CON, num()});
      else
        f.push_back({QSLP_TOK_COL, double(pick(kCols))});
      return;
    }
    const int d = depth - 1;
    switch (pick(15)) {
      case 0:
        emit(f, d);
        emit(f, d);
        op(f, QSLP_OP_PLUS);
        break;
      case 1:
        emit(f, d);
        emit(f, d);
        op(f, QSLP_OP_MINUS);
        break;
      case 2:
      case 3:
        emit(f, d);
        emit(f, d);
        op(f, QSLP_OP_MULTIPLY);
        break;
      case 4:
        emit(f, d);
        positive(f, d);
        op(f, QSLP_OP_DIVIDE);
        break;
      case 5:  // constant exponent, integer or not
        positive(f, d);
        f.push_back({QSLP_TOK_CON, pick(2) ? 3.0 : 0.5});
        op(f, QSLP_OP_EXPONENT);
        break;
      case 6:
        positive(f, d);
        emit(f, d);
        op(f, QSLP_OP_EXPONENT);
        break;  // variable exponent
      case 7:
        emit(f, d);
        op(f, QSLP_OP_UMINUS);
        break;
      case 8:
        fn(f, QSLP_IFUN_SIN, d);
        break;
      case 9:
        fn(f, QSLP_IFUN_COS, d);
        break;
      case 10:  // exp(sin(e)) stays small
        f.push_back({QSLP_TOK_LB, 0});
        fn(f, QSLP_IFUN_SIN, d);
        f.push_back({QSLP_TOK_IFUN, double(QSLP_IFUN_EXP)});
        break;
      case 11:
        fn(f, QSLP_IFUN_ARCTAN, d);
        break;
      case 12:
        fn(f, QSLP_IFUN_ERF, d);
        break;
      case 13:
        f.push_back({QSLP_TOK_LB, 0});
        positive(f, d);
        f.push_back({QSLP_TOK_IFUN, double(pick(2) ? QSLP_IFUN_LN : QSLP_IFUN_SQRT)});
        break;
      default:
        f.push_back({QSLP_TOK_LB, 0});
        positive(f, d);
        f.push_back({QSLP_TOK_IFUN, double(QSLP_IFUN_LOG10)});
        break;
    }
  }

  std::mt19937 rng_;
};

double full_value(const Tape &t, const std::vector<double> &x) {
  return t.value(x.data(), nullptr);
}

TEST(Evaluator, GradientsAndHessiansMatchFiniteDifferences) {
  Generator gen(20240611u);
  std::mt19937 rng(7u);
  std::uniform_real_distribution<double> coord(-1.5, 1.5);
  qnda::NameScope scope;
  scope.ncols = kCols;
  int checked = 0;
  for (int trial = 0; trial < 300; ++trial) {
    const Formula f = gen.make(4);
    qnda::check_parsed(f, scope);
    const Tape tape(f);
    const auto &cols = tape.columns();
    const size_t nc = cols.size();
    std::vector<double> x(kCols);
    for (double &v : x) v = coord(rng);
    std::vector<double> g(nc), h(nc * nc);
    const double v = tape.hessian(x.data(), nullptr, g.data(), h.data());
    ASSERT_TRUE(std::isfinite(v));
    EXPECT_DOUBLE_EQ(v, full_value(tape, x));
    std::vector<double> g2(nc);
    tape.gradient(x.data(), nullptr, g2.data());
    for (size_t a = 0; a < nc; ++a) {
      EXPECT_DOUBLE_EQ(g[a], g2[a]);
      // Central differences of values for the gradient ...
      const double step = 1e-6;
      std::vector<double> xp = x, xm = x;
      xp[cols[a]] += step;
      xm[cols[a]] -= step;
      const double fd = (full_value(tape, xp) - full_value(tape, xm)) / (2 * step);
      EXPECT_NEAR(g[a], fd, 1e-5 * (1 + std::fabs(fd)))
          << "trial " << trial << " column " << cols[a];
      // ... and of gradients for the Hessian.
      const double hstep = 1e-5;
      xp = x;
      xm = x;
      xp[cols[a]] += hstep;
      xm[cols[a]] -= hstep;
      std::vector<double> gp(nc), gm(nc);
      tape.gradient(xp.data(), nullptr, gp.data());
      tape.gradient(xm.data(), nullptr, gm.data());
      for (size_t b = 0; b < nc; ++b) {
        const double hd = (gp[b] - gm[b]) / (2 * hstep);
        EXPECT_NEAR(h[b * nc + a], hd, 1e-4 * (1 + std::fabs(hd)))
            << "trial " << trial << " entry " << cols[b] << "," << cols[a];
        EXPECT_DOUBLE_EQ(h[a * nc + b], h[b * nc + a]);
      }
    }
    checked += nc > 0;
  }
  EXPECT_GT(checked, 250);
}

// Hand-worked: f = x * y^2 + sin(x) at (x, y) = (2, 3).
TEST(Evaluator, KnownDerivatives) {
  const Formula f = {{QSLP_TOK_COL, 0},
                     {QSLP_TOK_COL, 1},
                     {QSLP_TOK_CON, 2},
                     {QSLP_TOK_OP, QSLP_OP_EXPONENT},
                     {QSLP_TOK_OP, QSLP_OP_MULTIPLY},
                     {QSLP_TOK_LB, 0},
                     {QSLP_TOK_COL, 0},
                     {QSLP_TOK_IFUN, QSLP_IFUN_SIN},
                     {QSLP_TOK_OP, QSLP_OP_PLUS}};
  const Tape t(f);
  const double x[2] = {2.0, 3.0};
  double g[2], h[4];
  EXPECT_DOUBLE_EQ(t.hessian(x, nullptr, g, h), 18.0 + std::sin(2.0));
  EXPECT_DOUBLE_EQ(g[0], 9.0 + std::cos(2.0));
  EXPECT_DOUBLE_EQ(g[1], 12.0);
  EXPECT_DOUBLE_EQ(h[0], -std::sin(2.0));
  EXPECT_DOUBLE_EQ(h[1], 6.0);
  EXPECT_DOUBLE_EQ(h[2], 6.0);
  EXPECT_DOUBLE_EQ(h[3], 4.0);
}

// A negative base with a constant integer exponent has derivatives; its
// logarithm, which does not exist, must not leak into them.
TEST(Evaluator, NegativeBaseWithConstantExponent) {
  const Formula f = {{QSLP_TOK_COL, 0}, {QSLP_TOK_CON, 3}, {QSLP_TOK_OP, QSLP_OP_EXPONENT}};
  const Tape t(f);
  const double x[1] = {-2.0};
  double g[1], h[1];
  EXPECT_DOUBLE_EQ(t.hessian(x, nullptr, g, h), -8.0);
  EXPECT_DOUBLE_EQ(g[0], 12.0);
  EXPECT_DOUBLE_EQ(h[0], -12.0);
}

TEST(Evaluator, DomainFaultsGiveNonFiniteValues) {
  const Formula f = {{QSLP_TOK_LB, 0}, {QSLP_TOK_COL, 0}, {QSLP_TOK_IFUN, QSLP_IFUN_LN}};
  const Tape t(f);
  const double x[1] = {-1.0};
  EXPECT_FALSE(std::isfinite(t.value(x, nullptr)));
}

}  // namespace
