// Repairs and sensitivity ranges, checked against values worked out by
// hand and against solving the changed problem outright.
#include <gtest/gtest.h>

#include <vector>

#include "qnda.h"
#include "test_solve_helpers.h"

namespace {

class Repair : public qtest::Prob {
 protected:
  // x >= 3 (row 0) against x <= 1 (row 1), minimising x.
  void conflict() { load({1}, {{1}, {1}}, "GL", {3, 1}, {0}, {10}); }
  int weighted(std::vector<double> lrp, std::vector<double> grp, char phase2, double delta = 0) {
    int status = -1;
    const int n = intattr(QNDA_COLS);
    std::vector<double> zero(n, 0.0);
    EXPECT_EQ(QNDArepairweightedinfeas(p, &status, lrp.data(), grp.data(), zero.data(), zero.data(),
                                       phase2, delta, ""),
              0)
        << last_error();
    return status;
  }
};

TEST_F(Repair, CheapRowIsRelaxed) {
  conflict();
  ASSERT_EQ(weighted({0, 10}, {1, 0}, 'n'), 0);
  EXPECT_NEAR(x()[0], 1.0, 1e-7);  // row 0 (weight 1) gave way
  ASSERT_EQ(weighted({0, 1}, {10, 0}, 'n'), 0);
  EXPECT_NEAR(x()[0], 3.0, 1e-7);  // now row 1 did
}

TEST_F(Repair, HardRowsOnlyHaveNoRepair) {
  conflict();
  EXPECT_EQ(weighted({0, 0}, {0, 0}, 'n'), 1);
}

TEST_F(Repair, PhaseTwoIsNoWorse) {
  // x + y >= 4 against x + y <= 2, minimising x + 2y.
  load({1, 2}, {{1, 1}, {1, 1}}, "GL", {4, 2}, {0, 0}, {10, 10});
  ASSERT_EQ(weighted({0, 1}, {1, 0}, 'n'), 0);
  const std::vector<double> a = x();
  ASSERT_EQ(weighted({0, 1}, {1, 0}, 'o'), 0);
  const std::vector<double> b = x();
  EXPECT_LE(b[0] + 2 * b[1], a[0] + 2 * a[1] + 1e-9);
  EXPECT_NEAR(b[0] + 2 * b[1], 2.0, 1e-7);
  // With room (delta) the violation may grow and the objective fall.
  ASSERT_EQ(weighted({0, 1}, {1, 0}, 'o', 1.0), 0);
  EXPECT_NEAR(x()[0] + 2 * x()[1], 0.0, 1e-7);
}

TEST_F(Repair, BoundsOnViolationsAreKept) {
  conflict();
  int status = -1;
  const double lrp[] = {0, 1}, grp[] = {1, 0}, zero[] = {0};
  const double lrb[] = {1e20, 1e20}, grb[] = {0.5, 1e20};
  ASSERT_EQ(QNDArepairweightedinfeasbounds(p, &status, lrp, grp, zero, zero, lrb, grb, nullptr,
                                           nullptr, 'n', 0, ""),
            0)
      << last_error();
  ASSERT_EQ(status, 0);
  EXPECT_NEAR(x()[0], 2.5, 1e-7);  // row 0 gives 0.5 at most, row 1 the rest
}

TEST_F(Repair, UniformRepairAndBadArguments) {
  conflict();
  int status = -1;
  ASSERT_EQ(QNDArepairinfeas(p, &status, 'c', 'n', 'n', 1, 1, 1, 1, 0), 0) << last_error();
  EXPECT_EQ(status, 0);
  EXPECT_NE(QNDArepairinfeas(p, &status, 'q', 'n', 'n', 1, 1, 1, 1, 0), 0);
  EXPECT_NE(QNDArepairinfeas(p, &status, 'c', 'z', 'n', 1, 1, 1, 1, 0), 0);
  EXPECT_NE(QNDArepairinfeas(p, &status, 'c', 'n', 'n', 1, 1, 1, 1, -1), 0);
  EXPECT_EQ(status, 4);
}

class Ranging : public qtest::Prob {
 protected:
  // max 3x + 2y: x + y <= 4, x + 3y <= 9, x <= 3; optimum (3, 1).
  void SetUp() override {
    qtest::Prob::SetUp();
    load({3, 2}, {{1, 1}, {1, 3}, {1, 0}}, "LLL", {4, 9, 3});
    ASSERT_EQ(QNDAchgobjsense(p, -1), 0);
  }
  std::vector<double> solve_with_cost(int col, double c) {
    EXPECT_EQ(QNDAchgobj(p, 1, &col, &c), 0);
    EXPECT_EQ(QNDAlpoptimize(p, ""), 0);
    return x();
  }
};

TEST_F(Ranging, ObjectiveRangesByHandAndByResolving) {
  const int cols[] = {0, 1};
  double lo[2], up[2];
  ASSERT_EQ(QNDAobjsa(p, 2, cols, lo, up), 0) << last_error();
  EXPECT_NEAR(lo[0], 2.0, 1e-7);
  EXPECT_GE(up[0], 1e20);
  EXPECT_NEAR(lo[1], 0.0, 1e-7);
  EXPECT_NEAR(up[1], 3.0, 1e-7);
  // Inside the range the optimum stays, outside it moves.
  EXPECT_NEAR(solve_with_cost(1, 2.9)[0], 3.0, 1e-7);
  EXPECT_NEAR(solve_with_cost(1, 3.1)[0], 1.5, 1e-7);
}

TEST_F(Ranging, RhsRangesByHand) {
  const int rows[] = {0, 2};
  double lo[2], up[2];
  ASSERT_EQ(QNDArhssa(p, 2, rows, lo, up), 0) << last_error();
  EXPECT_NEAR(lo[0], 3.0, 1e-7);
  EXPECT_NEAR(up[0], 5.0, 1e-7);
  EXPECT_NEAR(lo[1], 1.5, 1e-7);
  EXPECT_NEAR(up[1], 4.0, 1e-7);
  const int bad = 7;
  EXPECT_NE(QNDArhssa(p, 1, &bad, lo, up), 0);
  EXPECT_NE(QNDAobjsa(p, 1, &bad, lo, up), 0);
}

}  // namespace

namespace {

TEST_F(Ranging, BasisConditionByHand) {
  // Basis columns x, y and the slack of row 1: ||B||_1 = 4, ||B^-1||_1 = 4.
  double v = 0;
  ASSERT_EQ(QNDAbasisstability(p, 0, 1, 0, &v), 0) << last_error();
  EXPECT_NEAR(v, 16.0, 1e-9);
  EXPECT_NE(QNDAbasisstability(p, 1, 1, 0, &v), 0);
  EXPECT_NE(QNDAbasisstability(p, 0, 2, 0, &v), 0);
}

TEST_F(Ranging, StrongBranchAgreesWithChildSolves) {
  const int cols[] = {0, 1, 0, 1};
  const char types[] = {'U', 'L', 'B', 'L'};
  const double vals[] = {2, 2, 0, 5};
  double obj[4];
  int status[4];
  ASSERT_EQ(QNDAstrongbranch(p, 4, cols, types, vals, 1000, obj, status), 0) << last_error();
  for (int k = 0; k < 4; ++k) {
    QNDAprob q = nullptr;
    ASSERT_EQ(QNDAcreateprob(&q), 0);
    ASSERT_EQ(QNDAcopyprob(q, p, "child"), 0);
    QNDAsetintcontrol(q, QNDA_OUTPUTLOG, 0);
    ASSERT_EQ(QNDAchgbounds(q, 1, &cols[k], &types[k], &vals[k]), 0);
    ASSERT_EQ(QNDAlpoptimize(q, ""), 0);
    int st = -1;
    double o = 0;
    QNDAgetintattrib(q, QNDA_LPSTATUS, &st);
    QNDAgetdblattrib(q, QNDA_LPOBJVAL, &o);
    EXPECT_EQ(status[k], st) << k;
    if (st == QNDA_LP_OPTIMAL) EXPECT_NEAR(obj[k], o, 1e-7) << k;
    QNDAdestroyprob(q);
  }
  EXPECT_EQ(status[3], QNDA_LP_INFEAS);  // y >= 5 breaks x + y <= 4
  const char bad = 'Q';
  EXPECT_NE(QNDAstrongbranch(p, 1, cols, &bad, vals, 10, obj, status), 0);
}

}  // namespace
