// Dual ranges, refined and fixed MIP solutions, user scaling, directive
// and binary solution files, message codes: on small models whose answers
// are known by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "qnda.h"
#include "test_solve_helpers.h"

namespace {

class Analysis : public qtest::Prob {
 protected:
  // min 2x + 3y: x + y >= 4 (row 0), x <= 3 (row 1); optimum x 3, y 1.
  void blend() { load({2, 3}, {{1, 1}, {1, 0}}, "GL", {4, 3}); }
  // min -x - y: x + y <= 3.5, y <= 2; x integer in [0, 3].
  void small_mip() {
    load({-1, -1}, {{1, 1}, {0, 1}}, "LL", {3.5, 2}, {0, 0}, {3, 10});
    set_types({0}, "I");
  }
  struct Sol {
    std::vector<double> x, slack, dual, dj;
  };
  Sol sol() {
    const int n = intattr(QNDA_COLS), m = intattr(QNDA_ROWS);
    Sol s{std::vector<double>(n), std::vector<double>(m), std::vector<double>(m),
          std::vector<double>(n)};
    EXPECT_EQ(QNDAgetlpsol(p, s.x.data(), s.slack.data(), s.dual.data(), s.dj.data()), 0)
        << last_error();
    return s;
  }
  std::string path(const char *name) { return ::testing::TempDir() + name; }
};

// ------------------------------------------------------------ dual ranges

TEST_F(Analysis, DualRangesBracketTheSlopesOfTheOptimalValue) {
  blend();
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0);
  const Sol s = sol();
  ASSERT_NEAR(s.dual[0], 3.0, 1e-9);  // one more unit of row 0 is one more y
  ASSERT_NEAR(s.dual[1], -1.0, 1e-9);
  const int rows[] = {0, 1};
  double lo[2], hi[2];
  ASSERT_EQ(QNDAestimaterowdualranges(p, 2, rows, 0, lo, hi), 0) << last_error();
  // Row 0 below 3 is met by x alone (slope 2); above, by y (slope 3).
  EXPECT_NEAR(lo[0], 2.0, 1e-9);
  EXPECT_NEAR(hi[0], 3.0, 1e-9);
  // Row 1 past 4 no longer binds (slope 0); below 0 nothing is feasible.
  EXPECT_EQ(lo[1], -QNDA_INFINITY);
  EXPECT_NEAR(hi[1], 0.0, 1e-9);
}

TEST_F(Analysis, DualRangesRefuseBadRowsAndMips) {
  blend();
  const int bad[] = {2};
  double lo, hi;
  EXPECT_EQ(QNDAestimaterowdualranges(p, 1, bad, 0, &lo, &hi), QNDA_ERR_INDEX);
  set_types({0}, "I");
  const int row[] = {0};
  EXPECT_EQ(QNDAestimaterowdualranges(p, 1, row, 0, &lo, &hi), QNDA_ERR_UNSUPPORTED);
}

// ------------------------------------------------------- MIP solutions

TEST_F(Analysis, RefinePolishesTheContinuousPart) {
  small_mip();
  const double given[] = {1, 0.5};
  double refined[2];
  int status = -1;
  ASSERT_EQ(QNDArefinemipsol(p, 0, "", given, refined, &status), 0) << last_error();
  EXPECT_EQ(status, 0);
  EXPECT_EQ(refined[0], 1.0);
  EXPECT_NEAR(refined[1], 2.0, 1e-9);  // y up to its row's limit
}

struct RefineCase {
  double x;
  int options, status;
  double refined_x;
};

class Refine : public Analysis, public ::testing::WithParamInterface<RefineCase> {};

TEST_P(Refine, Status) {
  small_mip();
  const RefineCase c = GetParam();
  const double given[] = {c.x, 0};
  double refined[2];
  int status = -1;
  ASSERT_EQ(QNDArefinemipsol(p, c.options, "d", given, refined, &status), 0) << last_error();
  EXPECT_EQ(status, c.status);
  EXPECT_NEAR(refined[0], c.refined_x, 1e-9);
}

INSTANTIATE_TEST_SUITE_P(Analysis, Refine,
                         ::testing::Values(RefineCase{1.5, 0, 2, 1.5},  // not integral
                                           RefineCase{1.5, QNDA_REFINE_ROUND, 0, 2.0},
                                           RefineCase{4, 0, 1, 4}),  // past its bound
                         [](const ::testing::TestParamInfo<RefineCase> &info) {
                           return std::string(info.param.status == 2   ? "NotIntegral"
                                              : info.param.status == 0 ? "Rounded"
                                                                       : "Infeasible");
                         });

TEST_F(Analysis, RefineWithoutSolutionOrWithBadOptions) {
  small_mip();
  double refined[2];
  int status = -1;
  EXPECT_EQ(QNDArefinemipsol(p, 0, "", nullptr, refined, &status), QNDA_ERR_STATE);
  const double given[] = {1, 0};
  EXPECT_EQ(QNDArefinemipsol(p, 8, "", given, refined, &status), QNDA_ERR_ARGUMENT);
  EXPECT_EQ(QNDArefinemipsol(p, 0, "z", given, refined, &status), QNDA_ERR_ARGUMENT);
}

TEST_F(Analysis, FixGlobalsKeepsTheOptimum) {
  small_mip();
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0);
  const double best = dblattr(QNDA_MIPOBJVAL);
  std::vector<double> x(2);
  ASSERT_EQ(QNDAgetmipsol(p, x.data(), nullptr), 0);
  ASSERT_EQ(QNDAfixglobals(p, 1), 0) << last_error();
  double lb, ub;
  ASSERT_EQ(QNDAgetlb(p, &lb, 0, 0), 0);
  ASSERT_EQ(QNDAgetub(p, &ub, 0, 0), 0);
  EXPECT_EQ(lb, std::round(x[0]));
  EXPECT_EQ(ub, std::round(x[0]));
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0);
  EXPECT_NEAR(dblattr(QNDA_MIPOBJVAL), best, 1e-9);
  ASSERT_EQ(QNDAfixglobals(p, 0), 0);  // solved again: there is a solution
  ASSERT_EQ(QNDAchgobj(p, 1, std::vector<int>{1}.data(), std::vector<double>{-2}.data()), 0);
  EXPECT_EQ(QNDAfixglobals(p, 1), QNDA_ERR_STATE);  // the change dropped it
}

// ------------------------------------------------------------ scaling

TEST_F(Analysis, ScaledModelGivesTheSameResults) {
  blend();
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0);
  const Sol plain = sol();
  const int rowexp[] = {5, -3}, colexp[] = {-7, 4};
  ASSERT_EQ(QNDAscale(p, rowexp, colexp), 0) << last_error();
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0);
  const Sol scaled = sol();
  for (int j = 0; j < 2; ++j) {
    EXPECT_NEAR(scaled.x[j], plain.x[j], 1e-9);
    EXPECT_NEAR(scaled.dj[j], plain.dj[j], 1e-9);
  }
  for (int i = 0; i < 2; ++i) {
    EXPECT_NEAR(scaled.slack[i], plain.slack[i], 1e-9);
    EXPECT_NEAR(scaled.dual[i], plain.dual[i], 1e-9);
  }
  EXPECT_NEAR(dblattr(QNDA_LPOBJVAL), 9.0, 1e-9);
}

TEST_F(Analysis, ScaleRefusesDiscreteColumnsAndHugeExponents) {
  small_mip();
  const int colexp[] = {1, 0}, rowexp[] = {65, 0};
  EXPECT_EQ(QNDAscale(p, nullptr, colexp), QNDA_ERR_ARGUMENT);
  EXPECT_EQ(QNDAscale(p, rowexp, nullptr), QNDA_ERR_VALUE);
  const int ok[] = {0, 3};
  ASSERT_EQ(QNDAscale(p, nullptr, ok), 0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0);
  EXPECT_NEAR(dblattr(QNDA_MIPOBJVAL), -3.5, 1e-9);
}

// -------------------------------------------------------------- files

TEST_F(Analysis, DirectivesRoundTrip) {
  small_mip();
  const int cols[] = {1, 0}, pri[] = {3, 7};
  const char dir[] = {'U', 'D'};
  const double up[] = {0.25, 1e-3}, down[] = {2, 0};
  ASSERT_EQ(QNDAloaddirs(p, 2, cols, pri, dir, up, down), 0);
  const std::string f = path("dirs.txt");
  ASSERT_EQ(QNDAwritedirs(p, f.c_str()), 0) << last_error();
  ASSERT_EQ(QNDAloaddirs(p, 0, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  ASSERT_EQ(QNDAreaddirs(p, f.c_str()), 0) << last_error();
  int n = 0, c[2], pr[2];
  char d[2];
  double u[2], dn[2];
  ASSERT_EQ(QNDAgetdirs(p, &n, c, pr, d, u, dn), 0);
  ASSERT_EQ(n, 2);
  // In column order.
  EXPECT_EQ(c[0], 0);
  EXPECT_EQ(pr[0], 7);
  EXPECT_EQ(d[0], 'D');
  EXPECT_EQ(u[0], 1e-3);
  EXPECT_EQ(c[1], 1);
  EXPECT_EQ(dn[1], 2.0);
}

TEST_F(Analysis, DirectiveFileErrorsNameTheLine) {
  small_mip();
  const std::string f = path("baddirs.txt");
  for (const char *text : {"# c\n1 X 0 0 C0\n", "# c\n1 U 0 0 nosuch\n"}) {
    std::ofstream(f) << text;
    int code = 0;
    EXPECT_EQ(QNDAreaddirs(p, f.c_str()), QNDA_ERR_FILE);
    EXPECT_NE(last_error(&code).find(":2:"), std::string::npos) << last_error();
  }
}

TEST_F(Analysis, BinarySolutionRoundTripsAndRefusesDamage) {
  blend();
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0);
  const Sol before = sol();
  const std::string f = path("sol.bin");
  ASSERT_EQ(QNDAwritebinsol(p, f.c_str(), ""), 0) << last_error();
  ASSERT_EQ(QNDAchgbounds(p, 1, std::vector<int>{0}.data(), "U", std::vector<double>{3}.data()), 0);
  EXPECT_EQ(intattr(QNDA_LPSTATUS), QNDA_LP_UNSTARTED);
  ASSERT_EQ(QNDAreadbinsol(p, f.c_str(), ""), 0) << last_error();
  const Sol after = sol();
  EXPECT_EQ(after.x, before.x);
  EXPECT_EQ(after.slack, before.slack);
  EXPECT_EQ(after.dual, before.dual);
  EXPECT_EQ(after.dj, before.dj);
  EXPECT_EQ(intattr(QNDA_LPSTATUS), QNDA_LP_OPTIMAL);

  std::ifstream in(f, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const std::string cut = path("cut.bin"), bad = path("bad.bin");
  std::ofstream(cut, std::ios::binary) << bytes.substr(0, bytes.size() - 8);
  std::ofstream(bad, std::ios::binary) << "QNDAXSOL" << bytes.substr(8);
  EXPECT_EQ(QNDAreadbinsol(p, cut.c_str(), ""), QNDA_ERR_FILE);
  EXPECT_NE(last_error().find("truncated"), std::string::npos) << last_error();
  EXPECT_EQ(QNDAreadbinsol(p, bad.c_str(), ""), QNDA_ERR_FILE);
  EXPECT_NE(last_error().find("not a binary solution"), std::string::npos) << last_error();
  EXPECT_EQ(QNDAreadbinsol(p, f.c_str(), "x"), QNDA_ERR_ARGUMENT);
  small_mip();  // another problem's shape: 2 rows, 2 columns, so add one
  ASSERT_EQ(
      QNDAaddcols(p, 1, 0, std::vector<double>{0}.data(), std::vector<int>{0, 0}.data(), nullptr,
                  nullptr, std::vector<double>{0}.data(), std::vector<double>{1}.data()),
      0)
      << last_error();
  EXPECT_EQ(QNDAreadbinsol(p, f.c_str(), ""), QNDA_ERR_FILE);
  EXPECT_NE(last_error().find("2 rows and 2 columns"), std::string::npos) << last_error();
  std::remove(f.c_str());
  std::remove(cut.c_str());
  std::remove(bad.c_str());
}

// ------------------------------------------------------- message codes

void count_line(QNDAprob, void *data, const char *msg, int, int) {
  if (msg) static_cast<std::vector<std::string> *>(data)->push_back(msg);
}

TEST_F(Analysis, MutedCodesAreNotSent) {
  blend();
  std::vector<std::string> lines;
  ASSERT_EQ(QNDAaddcbmessage(p, count_line, &lines, 0), 0);
  auto has = [&](const char *what) {
    for (const std::string &l : lines)
      if (l.find(what) != std::string::npos) return true;
    return false;
  };
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0);
  ASSERT_TRUE(has("LP status"));
  ASSERT_EQ(QNDAsetmessagestatus(p, QNDA_MSG_SOLVE_STATUS, 0), 0);
  int st = -1;
  ASSERT_EQ(QNDAgetmessagestatus(p, QNDA_MSG_SOLVE_STATUS, &st), 0);
  EXPECT_EQ(st, 0);
  ASSERT_EQ(QNDAgetmessagestatus(p, QNDA_MSG_SOLVE_START, &st), 0);
  EXPECT_EQ(st, 1);
  lines.clear();
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0);
  EXPECT_FALSE(has("LP status"));
  EXPECT_TRUE(has("Solving LP"));
  ASSERT_EQ(QNDAsetmessagestatus(p, QNDA_MSG_SOLVE_STATUS, 1), 0);
  lines.clear();
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0);
  EXPECT_TRUE(has("LP status"));
  EXPECT_EQ(QNDAsetmessagestatus(p, 0, 0), QNDA_ERR_ARGUMENT);
}

}  // namespace
