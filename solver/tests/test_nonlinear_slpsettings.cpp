// SLP settings of columns and rows, cascading, the checks and the
// housekeeping functions of the nonlinear interface.
#include <cmath>
#include <string>
#include <vector>

#include "test_nonlinear_util.h"

namespace {

using qtest::Nlp;

class SlpSettings : public Nlp {
 protected:
  double colinfo(int col, int type) {
    double v = 0;
    EXPECT_EQ(QSLPgetcolinfo(s, col, type, &v), 0) << error();
    return v;
  }
  int iterations() { return intattrib(QSLP_ITER); }
};

// min x^2 with x >= 1 soft at weight w: x = min(1, w / 2); inactive: x = 0.
TEST_F(SlpSettings, SoftRowTradesViolationAgainstItsWeight) {
  cols({"x"}, -10, 10);
  const int r = row('G', 1.0, {{0, 1.0}});
  formula(-1, "x^2");
  start({3.0});
  ASSERT_EQ(QSLPsetintcontrol(s, QSLP_SLPCURVATURE, 1), 0);
  struct Case {
    int status;
    double weight, x;
  };
  for (const Case &c :
       {Case{QSLP_ROW_HARD, 1.0, 1.0}, Case{QSLP_ROW_SOFT, 1.0, 0.5}, Case{QSLP_ROW_SOFT, 1.2, 0.6},
        Case{QSLP_ROW_SOFT, 5.0, 1.0}, Case{QSLP_ROW_INACTIVE, 1.0, 0.0}}) {
    ASSERT_EQ(QSLPchgrowstatus(s, r, c.status), 0);
    ASSERT_EQ(QSLPchgrowwt(s, r, &c.weight), 0);
    EXPECT_EQ(solve(QSLP_ALG_AUTO), QSLP_NLPSTATUS_LOCALLY_OPTIMAL) << c.status << " " << c.weight;
    int used = 0;
    QSLPgetintattrib(s, QSLP_ALGORITHMUSED, &used);
    if (c.status != QSLP_ROW_HARD) EXPECT_EQ(used, QSLP_ALG_SLP);
    EXPECT_NEAR(x()[0], c.x, 1e-5) << c.status << " " << c.weight;
  }
  EXPECT_EQ(QSLPsetintcontrol(s, QSLP_ALGORITHM, QSLP_ALG_IPOPT), 0);
  EXPECT_EQ(QSLPnlpoptimize(s, ""), QNDA_ERR_UNSUPPORTED);
  EXPECT_NE(error().find("SLP"), std::string::npos) << error();
}

TEST_F(SlpSettings, TolerancesSetsDeleteAndRenumber) {
  cols({"x", "y", "z"});
  const double tols[] = {1e-3, -1, 2e-3, 5e-4, -1, -1};
  ASSERT_EQ(QSLPaddtolsets(s, 3, tols), 0) << error();
  const int cols3[] = {0, 1, 2}, sets[] = {1, 2, 3};
  ASSERT_EQ(QSLPaddvars(s, 3, cols3, nullptr, nullptr, sets, nullptr, nullptr), 0) << error();
  int st = 0;
  double v[QSLP_TOLSET_SIZE];
  ASSERT_EQ(QSLPgettolset(s, 1, &st, v), 0);
  EXPECT_EQ(st, 1);
  EXPECT_EQ(v[1], -1.0);
  const int gone[] = {1};
  ASSERT_EQ(QSLPdeltolsets(s, 1, gone), 0);
  int t[3];
  for (int j = 0; j < 3; ++j)
    ASSERT_EQ(QSLPgetvar(s, j, nullptr, nullptr, &t[j], nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(t[0], 0);  // its set is gone
  EXPECT_EQ(t[1], 1);  // the others move down
  EXPECT_EQ(t[2], 2);
  ASSERT_EQ(QSLPgettolset(s, 1, &st, v), 0);
  EXPECT_EQ(st, 3);
  EXPECT_EQ(v[0], 2e-3);
  // Load replaces: the columns referring to set 2 now refer to none.
  ASSERT_EQ(QSLPloadtolsets(s, 1, tols), 0);
  ASSERT_EQ(QSLPgetvar(s, 2, nullptr, nullptr, &t[2], nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(t[2], 0);
  EXPECT_EQ(QSLPgettolset(s, 2, &st, v), QNDA_ERR_INDEX);
  const int bad[] = {7};
  EXPECT_EQ(QSLPaddvars(s, 1, cols3, nullptr, nullptr, bad, nullptr, nullptr), QNDA_ERR_INDEX);
}

// The step tolerances of a column's set decide when SLP stops.
TEST_F(SlpSettings, ToleranceSetDrivesConvergence) {
  cols({"x", "y"}, -5, 5);
  formula(-1, "(x - 1)^2 + (y - 2)^2 + exp(0.3 * x)");
  ASSERT_EQ(QSLPsetintcontrol(s, QSLP_SLPCURVATURE, 1), 0);  // steps inside the trust region
  ASSERT_EQ(QSLPsetdblcontrol(s, QSLP_ATOL_OBJ, 0.0), 0);
  ASSERT_EQ(QSLPsetdblcontrol(s, QSLP_RTOL_OBJ, 0.0), 0);
  start({4.0, -4.0});
  solve(QSLP_ALG_SLP);
  const int tight = iterations();
  const double loose[] = {0.5, 0.5};
  ASSERT_EQ(QSLPaddtolsets(s, 1, loose), 0);
  const int both[] = {0, 1}, set[] = {1, 1};
  ASSERT_EQ(QSLPaddvars(s, 2, both, nullptr, nullptr, set, nullptr, nullptr), 0);
  solve(QSLP_ALG_SLP);
  EXPECT_LT(iterations(), tight);
}

TEST_F(SlpSettings, FixedStepBoundsSlowTheWalk) {
  cols({"x"}, -100, 100);
  formula(-1, "(x - 50)^2");
  start({0.0});
  solve(QSLP_ALG_SLP);
  const int adaptive = iterations();
  EXPECT_NEAR(x()[0], 50.0, 1e-4);
  const int c = 0, kind = QSLP_DELTA_FIXED;
  const double step = 1.0;
  ASSERT_EQ(QSLPchgdeltatype(s, 1, &c, &kind, &step), 0);
  solve(QSLP_ALG_SLP);
  EXPECT_NEAR(x()[0], 50.0, 1e-4);
  EXPECT_GE(iterations(), 50);  // at most one unit per step
  EXPECT_GT(iterations(), adaptive);
  EXPECT_EQ(colinfo(0, QSLP_COLINFO_DELTA), 1.0);
}

// y = x^2 + 1 and z = 2y: cascading from x = 2 gives y = 5, z = 10, in
// that order whatever the column order.
TEST_F(SlpSettings, CascadeFollowsDependencies) {
  cols({"z", "x", "y"}, -100, 100);
  const int ry = row('E', 1.0, {{2, 1.0}});
  formula(ry, "x^2", -1.0);
  const int rz = row('E', 0.0, {{0, 1.0}, {2, -2.0}});
  const int det[] = {ry, rz}, which[] = {2, 0};
  ASSERT_EQ(QSLPaddvars(s, 2, which, det, nullptr, nullptr, nullptr, nullptr), 0);
  start({0.0, 2.0, 0.0});
  ASSERT_EQ(QSLPcascade(s), 0) << error();
  EXPECT_NEAR(colinfo(2, QSLP_COLINFO_VALUE), 5.0, 1e-9);
  EXPECT_NEAR(colinfo(0, QSLP_COLINFO_VALUE), 10.0, 1e-9);
  // x determined by z's row and z by y's: a cycle with y.
  const int cyc[] = {1}, cycrow[] = {rz};
  const int zr[] = {0}, zrow[] = {ry};
  ASSERT_EQ(QSLPaddvars(s, 1, cyc, cycrow, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(QSLPcascadeorder(s), QNDA_ERR_ARGUMENT);  // x is not in z's row
  ASSERT_EQ(QSLPdelvars(s, 1, cyc), 0);
  ASSERT_EQ(QSLPaddvars(s, 1, zr, zrow, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(QSLPcascadeorder(s), QNDA_ERR_ARGUMENT);  // z's row holds no z
  EXPECT_NE(error().find("does not hold"), std::string::npos) << error();
}

// After one SLP step (accepted or not) a curved row is violated unless its
// determined column follows it.
TEST_F(SlpSettings, SlpStepsCascade) {
  cols({"x", "y"}, -100, 100);
  const int r = row('E', 0.0, {{1, 1.0}});
  formula(r, "x^2", -1.0);  // y = x^2
  formula(-1, "(y - 4)^2 + (x - 3)^2");
  ASSERT_EQ(QSLPsetintcontrol(s, QSLP_ITERLIMIT, 1), 0);
  double viol[2];
  for (int det : {0, 1}) {
    if (det) {
      const int c = 1;
      ASSERT_EQ(QSLPaddvars(s, 1, &c, &r, nullptr, nullptr, nullptr, nullptr), 0);
    }
    start({2.0, 0.0});
    solve(QSLP_ALG_SLP);
    const std::vector<double> v = x();
    viol[det] = std::fabs(v[1] - v[0] * v[0]);
  }
  EXPECT_GT(viol[0], 1e-3);
  EXPECT_LT(viol[1], 1e-9);
  ASSERT_EQ(QSLPsetintcontrol(s, QSLP_ITERLIMIT, 1000), 0);
  EXPECT_EQ(solve(QSLP_ALG_SLP), QSLP_NLPSTATUS_LOCALLY_OPTIMAL);
  const std::vector<double> v = x();
  EXPECT_NEAR(v[1], v[0] * v[0], 1e-9);
}

TEST_F(SlpSettings, CascadeNewtonLimit) {
  cols({"x", "w"}, -100, 100);
  const int r = row('E', 0.0, {{0, -1.0}, {1, 1.0}});
  formula(r, "w^3");  // w^3 + w = x
  const int c = 1;
  ASSERT_EQ(QSLPaddvars(s, 1, &c, &r, nullptr, nullptr, nullptr, nullptr), 0);
  start({10.0, 0.0});
  ASSERT_EQ(QSLPchgcascadenlimit(s, 1, 1), 0);
  EXPECT_EQ(QSLPcascade(s), QNDA_ERR_ENGINE);
  ASSERT_EQ(QSLPchgcascadenlimit(s, 1, 50), 0);
  ASSERT_EQ(QSLPcascade(s), 0) << error();
  const double w = colinfo(1, QSLP_COLINFO_VALUE);
  EXPECT_NEAR(w * w * w + w, 10.0, 1e-8);
  EXPECT_EQ(QSLPchgcascadenlimit(s, 1, 0), QNDA_ERR_ARGUMENT);
}

// hs35-like: KKT residuals vanish at the optimum, not beside it.
TEST_F(SlpSettings, KktResiduals) {
  cols({"x", "y"}, 0, 10);
  const int r = row('L', 3.0, {{0, 1.0}, {1, 1.0}});
  formula(-1, "(x - 2)^2 + (y - 2)^2");
  (void)r;
  for (int alg : {QSLP_ALG_IPOPT, QSLP_ALG_SLP}) {
    ASSERT_EQ(QSLPsetintcontrol(s, QSLP_SLPCURVATURE, 1), 0);
    solve(alg);
    double res[QSLP_KKT_COUNT];
    ASSERT_EQ(QSLPvalidatekkt(s, nullptr, nullptr, res), 0) << error();
    for (double v : res) EXPECT_LT(v, 1e-5) << alg;
    std::vector<double> moved = x();
    moved[0] += 0.1;
    moved[1] -= 0.1;
    ASSERT_EQ(QSLPvalidatekkt(s, moved.data(), nullptr, res), 0);
    EXPECT_GT(res[QSLP_KKT_STATIONARITY], 0.1);
  }
}

TEST_F(SlpSettings, ValidateFindsFaults) {
  cols({"x", "y"}, 0.5, 10);
  const int e = row('E', 0.0, {{1, 1.0}});
  const int l = row('L', 4.0, {{0, 1.0}});
  formula(e, "ln(x)", -1.0);
  int n = -1;
  ASSERT_EQ(QSLPvalidate(s, &n), 0) << error();
  EXPECT_EQ(n, 0);
  const int c[] = {0, 1}, rows[] = {l, e};
  ASSERT_EQ(QSLPaddvars(s, 2, c, rows, nullptr, nullptr, nullptr, nullptr), 0);
  ASSERT_EQ(QSLPvalidate(s, &n), 0);
  EXPECT_EQ(n, 1);  // x's row is not an equality
  EXPECT_EQ(QSLPvalidate(s, nullptr), QNDA_ERR_ARGUMENT);
  EXPECT_NE(error().find("not an equality"), std::string::npos) << error();
  double value, viol, derr;
  start({2.0, 0.0});
  ASSERT_EQ(QSLPvalidaterow(s, e, &value, &viol, &derr), 0);
  EXPECT_NEAR(value, 0.5 - std::log(2.0), 1e-12);  // y moved up to its bound
  EXPECT_NEAR(viol, std::log(2.0) - 0.5, 1e-12);
  EXPECT_LT(derr, 1e-6);
}

TEST_F(SlpSettings, ConstructKeepsItsPoint) {
  cols({"x"}, -10, 10);
  const int r = row('L', 100.0);
  formula(r, "x^3");
  start({2.0});
  ASSERT_EQ(QSLPconstruct(s), 0);
  start({3.0});
  double v = 0;
  ASSERT_EQ(QSLPgetrowinfo(s, r, QSLP_ROWINFO_VALUE, &v), 0);
  EXPECT_EQ(v, 8.0);
  ASSERT_EQ(QSLPupdatelinearization(s), 0);
  ASSERT_EQ(QSLPgetrowinfo(s, r, QSLP_ROWINFO_VALUE, &v), 0);
  EXPECT_EQ(v, 27.0);
  ASSERT_EQ(QSLPunconstruct(s), 0);
  EXPECT_EQ(QSLPunconstruct(s), QNDA_ERR_STATE);
  EXPECT_EQ(QSLPupdatelinearization(s), QNDA_ERR_STATE);
}

// Constant coefficients move into the main problem; the solution stays.
TEST_F(SlpSettings, PresolveFoldsConstants) {
  cols({"x", "y", "k"}, 0, 10);
  ASSERT_EQ(QNDAchgbounds(p, 1, std::vector<int>{2}.data(), "B", std::vector<double>{2.0}.data()),
            0);
  const int r = row('L', 10.0, {{0, 1.0}});
  formula(r, "y^2");
  double three = 3.0;
  ASSERT_EQ(QSLPchgccoef(s, r, 1, &three, "k"), 0);  // 3 * k * y = 6 y
  formula(-1, "-x - y");
  solve(QSLP_ALG_IPOPT);
  const std::vector<double> before = x();
  int removed = -1;
  ASSERT_EQ(QSLPpresolve(s, &removed), 0) << error();
  EXPECT_EQ(removed, 1);
  double a = 0;
  ASSERT_EQ(QNDAgetcoef(p, r, 1, &a), 0);
  EXPECT_EQ(a, 6.0);
  solve(QSLP_ALG_IPOPT);
  const std::vector<double> after = x();
  for (int j = 0; j < 2; ++j) EXPECT_NEAR(after[j], before[j], 1e-6);
}

TEST_F(SlpSettings, PenaltiesAndTimes) {
  cols({"x"}, -10, 10);
  formula(-1, "(x - 1)^2");
  double pen = 0, t = -1;
  EXPECT_EQ(QSLPfixpenalties(s, &pen), QNDA_ERR_STATE);
  ASSERT_EQ(QSLPgetdtime(s, &t), 0);
  EXPECT_EQ(t, 0.0);
  solve(QSLP_ALG_SLP);
  ASSERT_EQ(QSLPfixpenalties(s, &pen), 0);
  EXPECT_GT(pen, 0.0);
  ASSERT_EQ(QSLPgetdtime(s, &t), 0);
  EXPECT_GT(t, 0.0);
  ASSERT_EQ(QSLPreinitialize(s), 0);
  EXPECT_EQ(QSLPgetslpsol(s, nullptr, nullptr, nullptr, nullptr), QNDA_ERR_STATE);
  EXPECT_EQ(QSLPfixpenalties(s, &pen), QNDA_ERR_STATE);
}

TEST_F(SlpSettings, DerivativeFactorsDampButKeepFeasibility) {
  cols({"x", "y"}, 0.1, 10);
  const int r = row('E', 4.0);
  formula(r, "x * y");
  formula(-1, "x + 2 * y");
  start({1.0, 1.0});
  ASSERT_EQ(QSLPsetdblcontrol(s, QSLP_DELTA0, 0.5), 0);
  solve(QSLP_ALG_SLP);
  const int plain = iterations();
  const double half = 0.5;
  ASSERT_EQ(QSLPchgdf(s, 0, r, &half), 0);
  double v = 0;
  ASSERT_EQ(QSLPgetdf(s, 0, r, &v), 0);
  EXPECT_EQ(v, 0.5);
  solve(QSLP_ALG_SLP);
  double viol = 1;
  ASSERT_EQ(QSLPgetdblattrib(s, QSLP_MAXVIOLATION, &viol), 0);
  EXPECT_LT(viol, 1e-5);
  EXPECT_NE(iterations(), plain);
  ASSERT_EQ(QSLPchgdf(s, 0, r, nullptr), 0);
  ASSERT_EQ(QSLPgetdf(s, 0, r, &v), 0);
  EXPECT_EQ(v, 1.0);
}

TEST_F(SlpSettings, MessagesPrefixAndTokens) {
  cols({"nl_a", "nl0_b"});
  char pre[32];
  ASSERT_EQ(QSLPsetuniqueprefix(s, pre, sizeof pre, nullptr), 0);
  EXPECT_EQ(std::string(pre), "nl1_");
  int type = -1;
  ASSERT_EQ(QSLPgetmessagetype(s, &type), 0);
  EXPECT_EQ(type, 0);
  ASSERT_EQ(QSLPprintmsg(s, 3, "careful"), 0);
  ASSERT_EQ(QSLPgetmessagetype(s, &type), 0);
  EXPECT_EQ(type, 3);
  EXPECT_EQ(QSLPprintmsg(s, 2, "?"), QNDA_ERR_ARGUMENT);
  formula(-1, "nl_a * 2");
  int n = 0;
  ASSERT_EQ(QSLPtokencount(s, &n), 0);
  EXPECT_EQ(n, 4);  // a, 2, *, end
}

}  // namespace
