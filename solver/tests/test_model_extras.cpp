// Directives, delayed rows, rays, pivot order, infeasibilities and the
// presolve views, on models whose answers are known by hand.
#include <cmath>

#include "test_solve_helpers.h"

using qtest::Prob;

namespace {

class Extras : public Prob {
 protected:
  // Solves without presolve (which may decide infeasibility without a ray)
  // and expects the LP status.
  void solve_plain(int lpstatus) {
    ASSERT_EQ(QNDAsetintcontrol(p, QNDA_PRESOLVE, 0), 0);
    ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
    EXPECT_EQ(intattr(QNDA_LPSTATUS), lpstatus);
  }
};

TEST_F(Extras, DirectivesRoundTripAndFollowDeletedColumns) {
  load({1, 1, 1}, {{1, 1, 1}}, "L", {3});
  const int cols[] = {2, 0}, pri[] = {5, 9};
  const char dir[] = {'U', 'D'};
  const double up[] = {1.5, 0}, dn[] = {0, 2.5};
  ASSERT_EQ(QNDAloaddirs(p, 2, cols, pri, dir, up, dn), 0) << last_error();
  int n = 0, c[3], pr[3];
  char d[3];
  double u[3], w[3];
  ASSERT_EQ(QNDAgetdirs(p, &n, c, pr, d, u, w), 0);
  ASSERT_EQ(n, 2);
  EXPECT_EQ(c[0], 0);  // column order
  EXPECT_EQ(pr[0], 9);
  EXPECT_EQ(d[0], 'D');
  EXPECT_EQ(w[0], 2.5);
  EXPECT_EQ(c[1], 2);
  EXPECT_EQ(u[1], 1.5);
  const int del[] = {0};
  ASSERT_EQ(QNDAdelcols(p, 1, del), 0);
  ASSERT_EQ(QNDAgetdirs(p, &n, c, pr, d, u, w), 0);
  ASSERT_EQ(n, 1);
  EXPECT_EQ(c[0], 1);  // old column 2
  EXPECT_EQ(pr[0], 5);
  const char bad[] = {'X'};
  const int col1[] = {1};
  EXPECT_EQ(QNDAloaddirs(p, 1, col1, pri, bad, nullptr, nullptr), QNDA_ERR_ARGUMENT);
  EXPECT_EQ(QNDAloaddirs(p, 1, cols, pri, nullptr, nullptr, nullptr), QNDA_ERR_INDEX)
      << "column 2 no longer exists";
}

TEST_F(Extras, BranchDirsKeepPriorities) {
  load({1, 1}, {{1, 1}}, "L", {3});
  const int cols[] = {1}, pri[] = {4}, br[] = {-1};
  ASSERT_EQ(QNDAloaddirs(p, 1, cols, pri, nullptr, nullptr, nullptr), 0);
  ASSERT_EQ(QNDAloadbranchdirs(p, 1, cols, br), 0);
  int n = 0, c[2], pr[2];
  char d[2];
  ASSERT_EQ(QNDAgetdirs(p, &n, c, pr, d, nullptr, nullptr), 0);
  ASSERT_EQ(n, 1);
  EXPECT_EQ(pr[0], 4);
  EXPECT_EQ(d[0], 'D');
}

// min -x - y, 0 <= x, y <= 10; r0: x + y <= 5 (delayed), r1: x - y <= 8.
// Without r0 the optimum is (10, 10), -20; with it -5.
TEST_F(Extras, DelayedRowHoldsInTheReportedSolution) {
  load({-1, -1}, {{1, 1}, {1, -1}}, "LL", {5, 8}, {0, 0}, {10, 10});
  const int rows[] = {0};
  ASSERT_EQ(QNDAloaddelayedrows(p, 1, rows), 0);
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  EXPECT_NEAR(dblattr(QNDA_LPOBJVAL), -5, 1e-9);
  double x[2], s[2];
  ASSERT_EQ(QNDAgetlpsol(p, x, s, nullptr, nullptr), 0);
  EXPECT_LE(x[0] + x[1], 5 + 1e-9);
  EXPECT_EQ(intattr(QNDA_LPSTATUS), QNDA_LP_OPTIMAL);
}

// x + y <= 1 and x + y >= 2: infeasible; the dual ray weighs both rows
// equally with opposite signs.
TEST_F(Extras, DualRayOfInfeasibleLp) {
  load({1, 1}, {{1, 1}, {1, 1}}, "LG", {1, 2});
  solve_plain(QNDA_LP_INFEAS);
  int has = 0;
  double y[2];
  ASSERT_EQ(QNDAgetdualray(p, y, &has), 0) << last_error();
  ASSERT_EQ(has, 1);
  EXPECT_GT(std::fabs(y[0]), 1e-9);
  EXPECT_NEAR(y[0], -y[1], 1e-9);
  ASSERT_EQ(QNDAgetprimalray(p, nullptr, &has), 0);
  EXPECT_EQ(has, 0);
  double d[2];
  EXPECT_EQ(QNDAgetprimalray(p, d, &has), QNDA_ERR_STATE);
}

// min -x, x - y <= 1, x, y >= 0: unbounded along (1, 1).
TEST_F(Extras, PrimalRayOfUnboundedLp) {
  load({-1, 0}, {{1, -1}}, "L", {1});
  solve_plain(QNDA_LP_UNBOUNDED);
  int has = 0;
  double d[2] = {0, 0};
  EXPECT_EQ(QNDAgetprimalray(p, d, &has), 0) << last_error();
  EXPECT_TRUE(has);
  EXPECT_GT(d[0], 1e-9);
  EXPECT_LE(d[0] - d[1], 1e-9);
  EXPECT_GE(d[1], -1e-9);
}

// min 2x + y, x + y >= 2, x - y >= 0: the one optimum x = y = 1 has both
// rows tight and both columns inside their bounds, so the basic variables
// are the two columns, combined indices rows + j.
TEST_F(Extras, PivotOrderInfeasAndPresolveViews) {
  load({2, 1}, {{1, 1}, {1, -1}}, "GG", {2, 0}, {0, 0}, {10, 10});
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  int piv[2];
  ASSERT_EQ(QNDAgetpivotorder(p, piv), 0) << last_error();
  EXPECT_TRUE((piv[0] == 2 && piv[1] == 3) || (piv[0] == 3 && piv[1] == 2))
      << piv[0] << " " << piv[1];
  int npv = -1, nps = -1, nds = -1, ndv = -1;
  ASSERT_EQ(QNDAgetinfeas(p, &npv, &nps, &nds, &ndv, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(npv + nps + nds + ndv, 0);
  int rm[2], cm[2], rs[2], cs[2], rs2[2], cs2[2];
  ASSERT_EQ(QNDAgetpresolvemap(p, rm, cm), 0);
  EXPECT_EQ(rm[1], 1);
  EXPECT_EQ(cm[0], 0);
  ASSERT_EQ(QNDAgetbasis(p, rs, cs), 0);
  ASSERT_EQ(QNDAgetpresolvebasis(p, rs2, cs2), 0);
  EXPECT_EQ(cs[0], cs2[0]);
  EXPECT_EQ(rs[1], rs2[1]);
  int st = -1;
  ASSERT_EQ(QNDAgetmessagestatus(p, 7, &st), 0);
  EXPECT_EQ(st, 1);
}

TEST_F(Extras, FlagsFollowDeletedRowsAndBadIndicesFail) {
  load({1}, {{1}, {1}, {1}}, "LLL", {1, 2, 3});
  const int rows[] = {2}, bad[] = {3};
  ASSERT_EQ(QNDAloadmodelcuts(p, 1, rows), 0);
  EXPECT_EQ(QNDAloaddelayedrows(p, 1, bad), QNDA_ERR_INDEX);
  EXPECT_EQ(QNDAloadsecurevecs(p, 1, 1, bad, rows), QNDA_ERR_INDEX);
  const int del[] = {0};
  ASSERT_EQ(QNDAdelrows(p, 1, del), 0);
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
}

}  // namespace

// The LP of the pivot order test.  With r1 leaving its bound (x + y = 2
// kept), y falls to 0 after a step of 2; with r0 leaving (x - y = 0 kept),
// x and y reach their upper bound 10 together.
TEST_F(Extras, PivotsByHand) {
  load({2, 1}, {{1, 1}, {1, -1}}, "GG", {2, 0}, {0, 0}, {10, 10});
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  int out[4], npiv = 0;
  double x[4], dobj = 0;
  ASSERT_EQ(QNDAgetpivots(p, 1, out, x, &dobj, &npiv, 4), 0) << last_error();
  ASSERT_EQ(npiv, 1);
  EXPECT_EQ(out[0], 3);        // column y
  EXPECT_NEAR(x[2], 2, 1e-9);  // x
  EXPECT_NEAR(x[3], 0, 1e-9);  // y
  EXPECT_NEAR(dobj, 4, 1e-9);
  ASSERT_EQ(QNDAgetpivots(p, 0, out, x, &dobj, &npiv, 4), 0) << last_error();
  ASSERT_EQ(npiv, 2);
  EXPECT_NEAR(dobj, 30, 1e-9);
  EXPECT_EQ(QNDAgetpivots(p, 2, out, x, &dobj, &npiv, 4), QNDA_ERR_ARGUMENT);  // basic
}

namespace {

TEST_F(Extras, PivotsRefusedSayWhy) {
  load({-1, -1}, {{1, 1}}, "L", {3}, {0, 0}, {5, 5});
  ASSERT_EQ(QNDAlpoptimize(p, "P"), 0) << last_error();
  double dobj = 0;
  int out[4], npiv = 0;
  double x[3];
  EXPECT_EQ(QNDAgetpivots(p, 0, out, x, &dobj, &npiv, 4), QNDA_ERR_STATE);
  EXPECT_NE(last_error().find("presolved"), std::string::npos) << last_error();
  ASSERT_EQ(QNDApostsolve(p), 0);
  const char type[] = {'1'};
  const int start[] = {0, 2}, ind[] = {0, 1};
  ASSERT_EQ(QNDAaddsets(p, 1, 2, type, start, ind, nullptr), 0) << last_error();
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(QNDAgetpivots(p, 0, out, x, &dobj, &npiv, 4), QNDA_ERR_UNSUPPORTED);
  EXPECT_NE(last_error().find("reformulation (3 more rows, 2 more columns)"), std::string::npos)
      << last_error();
}

}  // namespace
