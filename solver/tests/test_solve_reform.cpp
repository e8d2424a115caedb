// Sets, indicator rows and partially integer columns, solved through their
// reformulation into binaries and rows; results on the original model only.
#include <cmath>
#include <utility>

#include "test_solve_helpers.h"

using qtest::Prob;

namespace {

class Reform : public Prob {
 protected:
  double mip_obj() {
    EXPECT_EQ(intattr(QNDA_MIPSTATUS), QNDA_MIP_OPTIMAL) << last_error();
    return dblattr(QNDA_MIPOBJVAL);
  }
  void add_set(char type, const std::vector<int> &cols, const std::vector<double> &ref) {
    int start[2] = {0, static_cast<int>(cols.size())};
    char t[2] = {type, 0};
    ASSERT_EQ(QNDAaddsets(p, 1, start[1], t, start, cols.data(), ref.data()), 0) << last_error();
  }
};

// Piecewise-linear f through (0,0), (1,3), (2,1), (3,4) with lambda
// weights: x = sum l_k p_k, y = sum l_k f_k, sum l_k = 1.  max y with
// x <= 1.5: the SOS2 answer is f's best value on [0, 1.5], 3 at x = 1; the
// relaxation mixes (1,3) and (3,4) for 3.25.
TEST_F(Reform, Sos2PiecewiseLinear) {
  // columns l0..l3, x, y
  load({0, 0, 0, 0, 0, 1},
       {{0, 1, 2, 3, -1, 0}, {0, 3, 1, 4, 0, -1}, {1, 1, 1, 1, 0, 0}, {0, 0, 0, 0, 1, 0}}, "EEEL",
       {0, 0, 1, 1.5}, {0, 0, 0, 0, 0, 0}, {1, 1, 1, 1, 1e20, 1e20});
  ASSERT_EQ(QNDAchgobjsense(p, -1), 0);
  add_set('2', {0, 1, 2, 3}, {1, 2, 3, 4});
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0);
  EXPECT_NEAR(dblattr(QNDA_LPOBJVAL), 3.25, 1e-9);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  EXPECT_NEAR(mip_obj(), 3.0, 1e-9);
  std::vector<double> xv(6), slack(4);
  ASSERT_EQ(QNDAgetmipsol(p, xv.data(), slack.data()), 0);
  EXPECT_NEAR(xv[4], 1.0, 1e-9);
  EXPECT_NEAR(slack[3], 0.5, 1e-9);
  // Results cover the user's columns and rows only.
  EXPECT_EQ(intattr(QNDA_COLS), 6);
  EXPECT_EQ(intattr(QNDA_ROWS), 4);
}

TEST_F(Reform, Sos1AllowsOneNonzero) {
  load({1, 2, 3}, {}, "", {}, {0, 0, 0}, {1, 1, 1});
  ASSERT_EQ(QNDAchgobjsense(p, -1), 0);
  add_set('1', {0, 1, 2}, {1, 2, 3});
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  EXPECT_NEAR(mip_obj(), 3.0, 1e-9);
  // Negative lower bounds are handled by the same binaries.
  int cols[3] = {0, 1, 2};
  double lbs[3] = {-4, -4, -4};
  ASSERT_EQ(QNDAchgbounds(p, 3, cols, "LLL", lbs), 0);
  ASSERT_EQ(QNDAchgobjsense(p, 1), 0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  EXPECT_NEAR(mip_obj(), -12.0, 1e-9);
}

TEST_F(Reform, SetsNeedFiniteBounds) {
  load({1, 1}, {}, "", {});  // upper bounds infinite
  add_set('1', {0, 1}, {1, 2});
  EXPECT_EQ(QNDAmipoptimize(p, ""), QNDA_ERR_UNSUPPORTED);
  EXPECT_NE(last_error().find("SOS1 set S0 requires a finite upper bound on column C0"),
            std::string::npos)
      << last_error();
}

struct IndicatorCase {
  int comp;
  char type;  // of the row x ? 2 (or 5)
  double rhs;
  int sense;
  double bcost;
  double expect;
};

std::ostream &operator<<(std::ostream &os, const IndicatorCase &c) {
  return os << "comp" << c.comp << "_" << c.type << c.rhs << (c.sense < 0 ? "_max" : "_min")
            << "_cost" << c.bcost;
}

class Indicators : public Reform, public ::testing::WithParamInterface<IndicatorCase> {};

// x in [0, 10], binary b, the row "x <= 2" (or "x >= 5") holds when b is 1
// (comp 1) or 0 (comp -1).
TEST_P(Indicators, RowHoldsOnlyWhenTheBinarySaysSo) {
  const IndicatorCase &c = GetParam();
  load({1, c.bcost}, {{1, 0}}, std::string(1, c.type), {c.rhs}, {0, 0}, {10, 1});
  set_types({1}, "B");
  ASSERT_EQ(QNDAchgobjsense(p, c.sense), 0);
  int row = 0, col = 1, comp = c.comp;
  ASSERT_EQ(QNDAsetindicators(p, 1, &row, &col, &comp), 0) << last_error();
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  EXPECT_NEAR(mip_obj(), c.expect, 1e-9);
  // lpoptimize solves a relaxation of the same reformulation: a bound.
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_LPSTATUS), QNDA_LP_OPTIMAL);
  if (c.sense < 0)
    EXPECT_GE(dblattr(QNDA_LPOBJVAL), c.expect - 1e-9);
  else
    EXPECT_LE(dblattr(QNDA_LPOBJVAL), c.expect + 1e-9);
}

INSTANTIATE_TEST_SUITE_P(Cases, Indicators,
                         ::testing::Values(IndicatorCase{1, 'L', 2, -1, 3, 10},   // b = 0, x = 10
                                           IndicatorCase{1, 'L', 2, -1, 9, 11},   // b = 1, x = 2
                                           IndicatorCase{-1, 'L', 2, -1, 3, 13},  // b = 1 frees x
                                           IndicatorCase{1, 'G', 5, 1, -3, 0},    // b = 0, x = 0
                                           IndicatorCase{1, 'G', 5, 1, -6, -1},   // b = 1, x = 5
                                           IndicatorCase{1, 'E', 5, -1, -1,
                                                         10},  // b = 0 (x = 10) beats b = 1
                                           IndicatorCase{1, 'E', 5, 1, -6, -1}));

TEST_F(Reform, IndicatorColumnInItsOwnRow) {
  // x + b <= 2 when b = 1; max x + 9.5 b: b = 1, x = 1 gives 10.5 > 10.
  load({1, 9.5}, {{1, 1}}, "L", {2}, {0, 0}, {10, 1});
  set_types({1}, "B");
  ASSERT_EQ(QNDAchgobjsense(p, -1), 0);
  int row = 0, col = 1, comp = 1;
  ASSERT_EQ(QNDAsetindicators(p, 1, &row, &col, &comp), 0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  EXPECT_NEAR(mip_obj(), 10.5, 1e-9);
  std::vector<double> xv(2), slack(1);
  ASSERT_EQ(QNDAgetmipsol(p, xv.data(), slack.data()), 0);
  EXPECT_NEAR(slack[0], 0.0, 1e-9);  // of the row as given: 2 - (1 + 1)
}

TEST_F(Reform, IndicatorNeedsFiniteActivity) {
  load({1, 0}, {{1, 0}}, "L", {2}, {0, 0}, {1e20, 1});
  set_types({1}, "B");
  int row = 0, col = 1, comp = 1;
  ASSERT_EQ(QNDAsetindicators(p, 1, &row, &col, &comp), 0);
  EXPECT_EQ(QNDAmipoptimize(p, ""), QNDA_ERR_UNSUPPORTED);
  EXPECT_NE(last_error().find("Indicator row R0 requires finite bounds"), std::string::npos)
      << last_error();
}

TEST_F(Reform, PartiallyIntegerColumn) {
  // x in [0, 10], integer below 3, continuous above.
  load({1}, {{1}}, "L", {2.5}, {0}, {10});
  set_types({0}, "P");
  int c = 0;
  double lim = 3;
  ASSERT_EQ(QNDAchgglblimit(p, 1, &c, &lim), 0);
  ASSERT_EQ(QNDAchgobjsense(p, -1), 0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  EXPECT_NEAR(mip_obj(), 2.0, 1e-9);
  double rhs = 4.5;
  int row = 0;
  ASSERT_EQ(QNDAchgrhs(p, 1, &row, &rhs), 0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  EXPECT_NEAR(mip_obj(), 4.5, 1e-9);
  // A fractional threshold: integer below 2.5, continuous from 2.5 on.
  lim = 2.5;
  ASSERT_EQ(QNDAchgglblimit(p, 1, &c, &lim), 0);
  for (auto rc : {std::pair<double, double>{2.45, 2.0}, {2.6, 2.6}, {2.5, 2.5}}) {
    ASSERT_EQ(QNDAchgrhs(p, 1, &row, &rc.first), 0);
    ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
    EXPECT_NEAR(mip_obj(), rc.second, 1e-9) << rc.first;
  }
  double ub = 1e20;
  ASSERT_EQ(QNDAchgbounds(p, 1, &c, "U", &ub), 0);
  EXPECT_EQ(QNDAmipoptimize(p, ""), QNDA_ERR_UNSUPPORTED);
  EXPECT_NE(last_error().find("requires a finite upper bound"), std::string::npos);
}

}  // namespace
