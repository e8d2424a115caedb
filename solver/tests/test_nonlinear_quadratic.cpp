// Quadratic rows, non-convex objectives and mixed-integer quadratic models
// through the main interface (QNDAlpoptimize / QNDAmipoptimize).
#include <cmath>
#include <vector>

#include "test_solve_helpers.h"

namespace {

class Quadratic : public qtest::Prob {
 protected:
  void qrow(int row, std::vector<int> c1, std::vector<int> c2, std::vector<double> v) {
    ASSERT_EQ(QNDAaddqmatrix(p, row, static_cast<int>(v.size()), c1.data(), c2.data(), v.data()), 0)
        << last_error();
  }
  void qobj(std::vector<int> c1, std::vector<int> c2, std::vector<double> v) {
    ASSERT_EQ(QNDAchgmqobj(p, static_cast<int>(v.size()), c1.data(), c2.data(), v.data()), 0)
        << last_error();
  }
  void constant(double c) {
    int col = -1;
    ASSERT_EQ(QNDAchgobj(p, 1, &col, &c), 0);
  }
  std::vector<double> mipx() {
    std::vector<double> v(intattr(QNDA_COLS));
    EXPECT_EQ(QNDAgetmipsol(p, v.data(), nullptr), 0) << last_error();
    return v;
  }
};

TEST_F(Quadratic, ConvexQuadraticRowGivesTheGlobalOptimum) {
  // min -x - y, x^2 + y^2 <= 1: x = y = 1/sqrt(2).
  load({-1, -1}, {{0, 0}}, "L", {1}, {-1e20, -1e20}, {1e20, 1e20});
  qrow(0, {0, 1}, {0, 1}, {1, 1});
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_LPSTATUS), QNDA_LP_OPTIMAL);
  EXPECT_EQ(intattr(QNDA_LOCALSOLUTION), 0);
  EXPECT_NEAR(dblattr(QNDA_LPOBJVAL), -std::sqrt(2.0), 1e-6);
  std::vector<double> xs(2), slack(1), dual(1);
  ASSERT_EQ(QNDAgetlpsol(p, xs.data(), slack.data(), dual.data(), nullptr), 0);
  EXPECT_NEAR(xs[0], 1 / std::sqrt(2.0), 1e-5);
  EXPECT_NEAR(slack[0], 0.0, 1e-6);  // of the row with its quadratic part
  // d obj / d rhs at r = 1: the optimum is -sqrt(2 r).
  EXPECT_NEAR(dual[0], -1 / std::sqrt(2.0), 1e-4);
}

TEST_F(Quadratic, NonConvexRowsAreSolvedLocallyAndSaySo) {
  // x^2 + y^2 >= 1 (outside a disc) on [0, 2]^2, min x + y.
  load({1, 1}, {{0, 0}}, "G", {1}, {0, 0}, {2, 2});
  qrow(0, {0, 1}, {0, 1}, {1, 1});
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_LPSTATUS), QNDA_LP_OPTIMAL);
  EXPECT_EQ(intattr(QNDA_LOCALSOLUTION), 1);
  const auto v = x();
  EXPECT_GE(v[0] * v[0] + v[1] * v[1], 1.0 - 1e-6);
  EXPECT_LE(dblattr(QNDA_LPOBJVAL), std::sqrt(2.0) + 1e-6);
  // An equality is never convex.
  ASSERT_EQ(QNDAchgrowtype(p, 1, std::vector<int>{0}.data(), "E"), 0);
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_LOCALSOLUTION), 1);
}

TEST_F(Quadratic, InfeasibleQuadraticModel) {
  load({1, 0}, {{0, 0}, {1, 1}}, "LG", {1, 3}, {-1e20, -1e20}, {1e20, 1e20});
  qrow(0, {0, 1}, {0, 1}, {1, 1});
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_LPSTATUS), QNDA_LP_INFEAS);
  EXPECT_EQ(intattr(QNDA_SOLSTATUS), 0);
}

TEST_F(Quadratic, ConvexMiqpReachesItsKnownOptimum) {
  // (x - 2.5)^2 + (y - 1.7)^2 over integers 0..5 with x + y <= 3: (2, 1),
  // 0.25 + 0.49.
  load({-5, -3.4}, {{1, 1}}, "L", {3}, {0, 0}, {5, 5});
  qobj({0, 1}, {0, 1}, {1, 1});
  constant(6.25 + 2.89);
  set_types({0, 1}, "II");
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_MIPSTATUS), QNDA_MIP_OPTIMAL);
  EXPECT_EQ(intattr(QNDA_LOCALSOLUTION), 0);
  EXPECT_NEAR(dblattr(QNDA_MIPOBJVAL), 0.74, 1e-6);
  const auto v = mipx();
  EXPECT_NEAR(v[0], 2.0, 1e-9);
  EXPECT_NEAR(v[1], 1.0, 1e-9);
  // Integrality is never dropped: the relaxation, (1.9, 1.1), is better.
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  EXPECT_NEAR(dblattr(QNDA_LPOBJVAL), 0.72, 1e-6);
}

TEST_F(Quadratic, ConvexMiqcqpReachesItsKnownOptimum) {
  // max x + 2y, x^2 + y^2 <= 10, x integer in [0, 5], y >= 0: x = 1, y = 3.
  load({1, 2}, {{0, 0}}, "L", {10}, {0, 0}, {5, 1e20});
  ASSERT_EQ(QNDAchgobjsense(p, -1), 0);
  qrow(0, {0, 1}, {0, 1}, {1, 1});
  set_types({0}, "I");
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_MIPSTATUS), QNDA_MIP_OPTIMAL);
  EXPECT_NEAR(dblattr(QNDA_MIPOBJVAL), 7.0, 1e-5);
  const auto v = mipx();
  EXPECT_NEAR(v[0], 1.0, 1e-9);
  EXPECT_NEAR(v[1], 3.0, 1e-5);
}

TEST_F(Quadratic, InfeasibleMiqp) {
  // x + y = 1.5 with both integer.
  load({0, 0}, {{1, 1}}, "E", {1.5}, {0, 0}, {5, 5});
  qobj({0}, {0}, {1});
  set_types({0, 1}, "II");
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_MIPSTATUS), QNDA_MIP_INFEAS);
}

}  // namespace
