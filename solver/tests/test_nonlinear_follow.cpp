// Nonlinear coefficients following deletions in the main problem, the
// transfer row of a nonlinear objective, and nonlinear model files.
#include <cstdio>
#include <fstream>
#include <sstream>

#include "test_nonlinear_util.h"

namespace {

using qtest::Nlp;

class Follow : public Nlp {
 protected:
  std::string text(int r, int c) {
    char buf[256] = {0};
    EXPECT_EQ(QSLPgetcoefformula(s, r, c, buf, sizeof buf, nullptr), 0) << error();
    return buf;
  }
  int ncoefs() { return intattrib(QSLP_COEFFICIENTS); }
};

TEST_F(Follow, DeletedRowsTakeTheirCoefficientsAndMoveTheOthers) {
  cols({"x", "y"});
  const int r0 = row('L', 1), r1 = row('L', 2), r2 = row('G', 0);
  formula(r0, "sin(x)");
  formula(r1, "exp(y)");
  formula(r2, "x*y");
  formula(-1, "x^2");
  const int del = r1;
  ASSERT_EQ(QNDAdelrows(p, 1, &del), 0) << main_error();
  EXPECT_EQ(ncoefs(), 3);
  EXPECT_EQ(text(0, constant_col()), "sin(x)");
  EXPECT_EQ(text(1, constant_col()), "x * y");
  EXPECT_EQ(text(-1, constant_col()), "x ^ 2");
}

TEST_F(Follow, DeletedColumnsMoveFormulasAndAColumnInUseIsRefused) {
  cols({"a", "x", "b", "y"});
  const int r = row('L', 1);
  double one = 1.0;
  ASSERT_EQ(QSLPchgccoef(s, r, 3, &one, "sin(x)"), 0) << error();
  const int del[] = {2, 0};
  ASSERT_EQ(QNDAdelcols(p, 2, del), 0) << main_error();
  // x and y are columns 0 and 1 now
  EXPECT_EQ(text(r, 1), "sin(x)");
  int col = 0;
  ASSERT_EQ(QSLPgetcoefs(s, nullptr, nullptr, &col, nullptr, nullptr, 0, nullptr, nullptr, nullptr),
            0);
  EXPECT_EQ(col, 1);
  for (int victim : {0, 1}) {
    EXPECT_NE(QNDAdelcols(p, 1, &victim), 0);
    EXPECT_NE(main_error().find("is used by the nonlinear coefficient of row"), std::string::npos)
        << main_error();
  }
  int n = 0;
  ASSERT_EQ(QNDAgetintattrib(p, QNDA_COLS, &n), 0);
  EXPECT_EQ(n, 2);
}

TEST_F(Follow, StartingValuesFollowDeletedColumns) {
  cols({"a", "x"}, -2, 2);
  start({5, 0.5});
  formula(-1, "(x - 1)^2");
  const int del = 0;
  ASSERT_EQ(QNDAdelcols(p, 1, &del), 0);
  EXPECT_EQ(solve(QSLP_ALG_SLP), QSLP_NLPSTATUS_LOCALLY_OPTIMAL) << error();
  EXPECT_NEAR(x()[0], 1.0, 1e-5);
}

// min f(x) written as a transfer row f(x) - t = 0 and objective t: every
// engine gives what the objective row would, with t = f(x) and the row's
// dual the objective's sensitivity to the row's right-hand side.
class Transfer : public Follow, public ::testing::WithParamInterface<int> {};

TEST_P(Transfer, RowIsFoldedIntoTheObjective) {
  cols({"x", "y"}, -2, 2);
  cols({"t"});
  double two = 2.0;
  const int tcol = 2;
  ASSERT_EQ(QNDAchgobj(p, 1, &tcol, &two), 0);
  const int r = row('E', 3, {{tcol, -1.0}});
  formula(r, "(x - 1)^2 + (y + 0.5)^2 + x*y");
  start({0, 0, 0});
  EXPECT_EQ(solve(GetParam()), QSLP_NLPSTATUS_LOCALLY_OPTIMAL) << error();
  const std::vector<double> v = x();
  // 2 * t with t = f - 3, f = (x-1)^2 + (y+0.5)^2 + xy, minimised at (5/3, -4/3)
  const double xs = 5.0 / 3.0, ys = -4.0 / 3.0;
  const double f = (xs - 1) * (xs - 1) + (ys + 0.5) * (ys + 0.5) + xs * ys;
  EXPECT_NEAR(v[0], xs, 1e-4);
  EXPECT_NEAR(v[1], ys, 1e-4);
  EXPECT_NEAR(v[2], f - 3, 1e-6);
  EXPECT_NEAR(obj(), 2 * (f - 3), 1e-6);
  std::vector<double> slack(1), dual(1);
  ASSERT_EQ(QSLPgetslpsol(s, nullptr, slack.data(), dual.data(), nullptr), 0);
  EXPECT_NEAR(slack[0], 0.0, 1e-9);
  EXPECT_NEAR(dual[0], -2.0, 1e-9);
}

INSTANTIATE_TEST_SUITE_P(Engines, Transfer, ::testing::Values(QSLP_ALG_SLP, QSLP_ALG_IPOPT));

TEST_F(Follow, FilesKeepCoefficientsAndRefuseTheLpFormat) {
  cols({"x", "y"}, -2, 2);
  const int r = row('L', 1);
  formula(r, "x^2 + y^2");
  formula(-1, "exp(x) - y", 2.0);
  const std::string path = ::testing::TempDir() + "qnda_nl_follow.mps";
  ASSERT_EQ(QSLPwriteprob(s, path.c_str(), ""), 0) << error();
  EXPECT_NE(QSLPwriteprob(s, (path + ".lp").c_str(), "l"), 0);
  EXPECT_NE(error().find("LP format cannot hold"), std::string::npos) << error();
  // the main interface alone refuses the file, naming the way to read it
  QNDAprob other = nullptr;
  ASSERT_EQ(QNDAcreateprob(&other), 0);
  EXPECT_NE(QNDAreadprob(other, path.c_str(), ""), 0);
  char buf[QNDA_MAXMESSAGELENGTH] = {0};
  int code = 0;
  QNDAgetlasterror(other, &code, buf, sizeof buf, nullptr);
  EXPECT_NE(std::string(buf).find("read it with QSLPreadprob"), std::string::npos) << buf;
  QSLPprob back = nullptr;
  ASSERT_EQ(QSLPcreateprob(&back, &other), 0);
  ASSERT_EQ(QSLPreadprob(back, path.c_str(), ""), 0);
  int n = 0;
  ASSERT_EQ(QSLPgetintattrib(back, QSLP_COEFFICIENTS, &n), 0);
  EXPECT_EQ(n, 2);
  double factor = 0;
  char formula_text[128] = {0};
  ASSERT_EQ(
      QSLPgetccoef(back, -1, constant_col(), &factor, formula_text, sizeof formula_text, nullptr),
      0);
  EXPECT_EQ(factor, 2.0);
  EXPECT_STREQ(formula_text, "exp(x) - y");
  EXPECT_EQ(QSLPdestroyprob(back), 0);
  EXPECT_EQ(QNDAdestroyprob(other), 0);
  std::remove(path.c_str());
}

}  // namespace
