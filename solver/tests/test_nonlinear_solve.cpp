// Nonlinear models with known optima, solved by both algorithms, and the
// statuses of models without one.
#include <cmath>
#include <string>
#include <vector>

#include "test_nonlinear_util.h"

namespace {

class Solve : public qtest::Nlp, public ::testing::WithParamInterface<int> {
 protected:
  int alg() const { return GetParam(); }
  void linear_obj(const std::vector<int> &cs, const std::vector<double> &v) {
    ASSERT_EQ(QNDAchgobj(p, static_cast<int>(cs.size()), cs.data(), v.data()), 0);
  }
  void maximise() {
    ASSERT_EQ(QSLPsetdblcontrol(s, QSLP_OBJSENSE, -1.0), 0);
    ASSERT_EQ(QNDAchgobjsense(p, -1), 0);
  }
  int stop_status() {
    int v = -1;
    EXPECT_EQ(QSLPgetintattrib(s, QSLP_STOPSTATUS, &v), 0);
    return v;
  }
};

TEST_P(Solve, Rosenbrock) {
  cols({"x", "y"});
  formula(-1, "(1 - x)^2 + 100 * (y - x^2)^2");
  start({-1.2, 1.0});
  // Plain LP steps crawl along the curved valley: SLP sees its curvature.
  ASSERT_EQ(QSLPsetintcontrol(s, QSLP_SLPCURVATURE, 1), 0);
  EXPECT_EQ(solve(alg()), QSLP_NLPSTATUS_LOCALLY_OPTIMAL) << error();
  EXPECT_NEAR(obj(), 0.0, 1e-7);
  const auto v = x();
  EXPECT_NEAR(v[0], 1.0, 1e-3);
  EXPECT_NEAR(v[1], 1.0, 1e-3);
  int iters = 0;
  ASSERT_EQ(QSLPgetintattrib(s, QSLP_ITER, &iters), 0);
  EXPECT_GT(iters, 0);
}

TEST_P(Solve, HockSchittkowski71) {
  cols({"x1", "x2", "x3", "x4"}, 1.0, 5.0);
  formula(row('G', 25.0), "x1 * x2 * x3 * x4");
  formula(row('E', 40.0), "x1^2 + x2^2 + x3^2 + x4^2");
  formula(-1, "x1 * x4 * (x1 + x2 + x3) + x3");
  start({1, 5, 5, 1});
  EXPECT_EQ(solve(alg()), QSLP_NLPSTATUS_LOCALLY_OPTIMAL) << error();
  EXPECT_NEAR(obj(), 17.0140173, 1e-5);
  double viol = 1;
  ASSERT_EQ(QSLPgetdblattrib(s, QSLP_MAXVIOLATION, &viol), 0);
  EXPECT_LE(viol, 1e-6);
}

TEST_P(Solve, HockSchittkowski35WithItsMultiplier) {
  cols({"x1", "x2", "x3"}, 0.0);
  const int r = row('L', 3.0, {{0, 1}, {1, 1}, {2, 2}});
  linear_obj({-1, 0, 1, 2}, {9, -8, -6, -4});
  formula(-1, "2*x1^2 + 2*x2^2 + x3^2 + 2*x1*x2 + 2*x1*x3");
  start({0.5, 0.5, 0.5});
  EXPECT_EQ(solve(alg()), QSLP_NLPSTATUS_LOCALLY_OPTIMAL) << error();
  EXPECT_NEAR(obj(), 1.0 / 9.0, 1e-6);
  std::vector<double> xs(3), slack(1), dual(1), dj(3);
  ASSERT_EQ(QSLPgetslpsol(s, xs.data(), slack.data(), dual.data(), dj.data()), 0);
  EXPECT_NEAR(xs[0], 4.0 / 3.0, 1e-4);
  EXPECT_NEAR(xs[1], 7.0 / 9.0, 1e-4);
  EXPECT_NEAR(xs[2], 4.0 / 9.0, 1e-4);
  EXPECT_NEAR(slack[r], 0.0, 1e-6);
  // One more unit of the row's bound lowers the objective by 2/9.
  EXPECT_NEAR(dual[r], -2.0 / 9.0, 1e-4);
  for (double d : dj) EXPECT_NEAR(d, 0.0, 1e-4);
}

TEST_P(Solve, TwoCirclesInTheUnitSquare) {
  // Largest radius r of two disjoint circles inside [0, 1]^2.
  cols({"x1", "y1", "x2", "y2"}, 0.0, 1.0);
  cols({"r"}, 0.0, 1.0);
  for (int c = 0; c < 4; ++c) {
    row('G', 0.0, {{c, 1}, {4, -1}});
    row('L', 1.0, {{c, 1}, {4, 1}});
  }
  formula(row('G', 0.0), "(x1 - x2)^2 + (y1 - y2)^2 - 4 * r^2");
  linear_obj({4}, {1.0});
  maximise();
  start({0.3, 0.4, 0.7, 0.6, 0.1});
  EXPECT_EQ(solve(alg()), QSLP_NLPSTATUS_LOCALLY_OPTIMAL) << error();
  EXPECT_NEAR(obj(), 1.0 / (2.0 + std::sqrt(2.0)), 1e-5);
}

TEST_P(Solve, QuadraticRowOfTheMainProblem) {
  cols({"x", "y"});
  const int r = row('L', 1.0);
  const int c1[2] = {0, 1}, c2[2] = {0, 1};
  const double q[2] = {1.0, 1.0};
  ASSERT_EQ(QNDAaddqmatrix(p, r, 2, c1, c2, q), 0);
  linear_obj({0, 1}, {-1, -1});
  start({0.1, 0.2});
  EXPECT_EQ(solve(alg()), QSLP_NLPSTATUS_LOCALLY_OPTIMAL) << error();
  EXPECT_NEAR(obj(), -std::sqrt(2.0), 1e-6);
}

TEST_P(Solve, NonConvexQuadraticObjectiveHasTwoLocalOptima) {
  // -x^2 + y^2 on [-1, 2] x [-1, 1]: x = -1 or x = 2 by the start.
  cols({"x"}, -1.0, 2.0);
  cols({"y"}, -1.0, 1.0);
  const int c1[2] = {0, 1}, c2[2] = {0, 1};
  const double q[2] = {-1.0, 1.0};
  ASSERT_EQ(QNDAchgmqobj(p, 2, c1, c2, q), 0);
  start({-0.5, 0.5});
  EXPECT_EQ(solve(alg()), QSLP_NLPSTATUS_LOCALLY_OPTIMAL) << error();
  EXPECT_NEAR(x()[0], -1.0, 1e-5);
  EXPECT_NEAR(obj(), -1.0, 1e-6);
  start({0.5, 0.5});
  EXPECT_EQ(solve(alg()), QSLP_NLPSTATUS_LOCALLY_OPTIMAL) << error();
  EXPECT_NEAR(x()[0], 2.0, 1e-5);
  EXPECT_NEAR(obj(), -4.0, 1e-6);
}

TEST_P(Solve, NonlinearInfeasibilityIsLocal) {
  cols({"x", "y"});
  formula(row('L', 1.0), "x^2 + y^2");
  row('G', 3.0, {{0, 1}, {1, 1}});
  linear_obj({0}, {1.0});
  EXPECT_EQ(solve(alg()), QSLP_NLPSTATUS_LOCALLY_INFEASIBLE) << error();
}

TEST_P(Solve, UnboundedObjective) {
  cols({"x"}, 1.0);
  formula(-1, "-x^3");
  start({2.0});
  ASSERT_EQ(QSLPsetintcontrol(s, QSLP_ITERLIMIT, 3000), 0);
  EXPECT_EQ(solve(alg()), QSLP_NLPSTATUS_UNBOUNDED) << error();
}

TEST_P(Solve, IterationLimitLeavesItUnfinished) {
  cols({"x", "y"});
  formula(-1, "(1 - x)^2 + 100 * (y - x^2)^2");
  start({-1.2, 1.0});
  ASSERT_EQ(QSLPsetintcontrol(s, QSLP_ITERLIMIT, 2), 0);
  EXPECT_EQ(solve(alg()), QSLP_NLPSTATUS_UNFINISHED);
  EXPECT_EQ(stop_status(), QNDA_STOP_ITERLIMIT);
}

TEST_P(Solve, InterruptBeforeTheSolveStopsIt) {
  cols({"x"});
  formula(-1, "(x - 1)^2");
  ASSERT_EQ(QSLPinterrupt(s, QNDA_STOP_USER), 0);
  EXPECT_EQ(solve(alg()), QSLP_NLPSTATUS_UNFINISHED);
  EXPECT_EQ(stop_status(), QNDA_STOP_USER);
  // The request is used up: the next solve runs.
  EXPECT_EQ(solve(alg()), QSLP_NLPSTATUS_LOCALLY_OPTIMAL);
}

INSTANTIATE_TEST_SUITE_P(Algorithms, Solve, ::testing::Values(QSLP_ALG_SLP, QSLP_ALG_IPOPT),
                         [](const ::testing::TestParamInfo<int> &i) {
                           return std::string(i.param == QSLP_ALG_SLP ? "Slp" : "Ipopt");
                         });

class SolveSlp : public qtest::Nlp {};

TEST_F(SolveSlp, InfeasibleLinearRowsAreProvenInfeasible) {
  cols({"x", "y"});
  row('G', 3.0, {{0, 1}, {1, 1}});
  row('L', 1.0, {{0, 1}, {1, 1}});
  formula(-1, "x^2 + y^2");
  EXPECT_EQ(solve(QSLP_ALG_SLP), QSLP_NLPSTATUS_INFEASIBLE);
  double xs[2];
  EXPECT_EQ(QSLPgetslpsol(s, xs, nullptr, nullptr, nullptr), QNDA_ERR_STATE);
}

TEST_F(SolveSlp, LogsALinePerIterationAndCallsItsHooks) {
  // The log reaches the main problem's message handlers.
  struct Seen {
    std::vector<std::string> lines;
  } seen;
  ASSERT_EQ(QNDAaddcbmessage(
                p,
                [](QNDAprob, void *data, const char *msg, int, int) {
                  static_cast<Seen *>(data)->lines.push_back(msg ? msg : "");
                },
                &seen, 0),
            0);
  cols({"x"});
  formula(-1, "(x - 3)^2");
  ASSERT_EQ(QSLPsetintcontrol(s, QSLP_LOGLEVEL, 2), 0);
  EXPECT_EQ(solve(QSLP_ALG_SLP), QSLP_NLPSTATUS_LOCALLY_OPTIMAL);
  int iters = 0;
  ASSERT_EQ(QSLPgetintattrib(s, QSLP_ITER, &iters), 0);
  int per_iter = 0;
  bool summary = false;
  for (const auto &l : seen.lines) {
    per_iter += l.find("   ") == 0 && l.find('e') != std::string::npos;
    summary |= l.find("Nonlinear status: locally optimal") == 0;
  }
  EXPECT_TRUE(summary);
  EXPECT_GE(per_iter, iters);
}

TEST_F(SolveSlp, BadRequestsAreRefused) {
  cols({"x"});
  EXPECT_EQ(QSLPnlpoptimize(s, "x"), QNDA_ERR_ARGUMENT);
  EXPECT_EQ(QSLPgetslpsol(s, nullptr, nullptr, nullptr, nullptr), QNDA_ERR_STATE);
  EXPECT_EQ(QSLPsetintcontrol(s, QSLP_ALGORITHM, 3), QNDA_ERR_VALUE);
  const int col = 4;
  const double v = 1.0;
  EXPECT_EQ(QSLPsetinitialvalues(s, 1, &col, &v), QNDA_ERR_INDEX);
  const int c = 0;
  const char t = 'S';  // integer columns go to the mixed-integer engine
  ASSERT_EQ(QNDAchgcoltype(p, 1, &c, &t), 0);
  formula(-1, "x^2");
  EXPECT_EQ(QSLPnlpoptimize(s, ""), QNDA_ERR_UNSUPPORTED);
  EXPECT_NE(error().find("column x is not continuous"), std::string::npos) << error();
}

}  // namespace
