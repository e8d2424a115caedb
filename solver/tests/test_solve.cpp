// LP, MIP and QP solves with known optima, statuses, duals and reduced costs.
#include <cmath>

#include "test_solve_helpers.h"

using qtest::Prob;

namespace {

class LpSolve : public Prob {
 protected:
  // min 2x + 3y + 5z  s.t.  r0: x + y + z >= 4,  r1: x - y <= 2,  r2: x <= 10.
  // Optimum x = 3, y = 1, z = 0, objective 9.  By hand: raising r0's rhs by
  // one moves the vertex to (3.5, 1.5): +2.5; raising r1's by one to
  // (3.5, 0.5): -0.5; r2 is slack.  Forcing z up by one costs 5 - 2.5 = 2.5.
  // With sense -1 the objective is negated and maximised: every derivative
  // changes sign.
  void load_hand_model(int sense) {
    const double s = sense;
    load({2 * s, 3 * s, 5 * s}, {{1, 1, 1}, {1, -1, 0}, {1, 0, 0}}, "GLL", {4, 2, 10});
    ASSERT_EQ(QNDAchgobjsense(p, sense > 0 ? 1 : -1), 0);
  }
};

TEST_F(LpSolve, OptimumValuesSlacksAndStatuses) {
  load_hand_model(1);
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_LPSTATUS), QNDA_LP_OPTIMAL);
  EXPECT_EQ(intattr(QNDA_STOPSTATUS), QNDA_STOP_NONE);
  EXPECT_EQ(intattr(QNDA_SOLSTATUS), 1);
  EXPECT_NEAR(dblattr(QNDA_LPOBJVAL), 9.0, 1e-9);
  EXPECT_NEAR(dblattr(QNDA_OBJVAL), 9.0, 1e-9);
  std::vector<double> xv(3), slack(3);
  ASSERT_EQ(QNDAgetlpsol(p, xv.data(), slack.data(), nullptr, nullptr), 0);
  EXPECT_NEAR(xv[0], 3, 1e-9);
  EXPECT_NEAR(xv[1], 1, 1e-9);
  EXPECT_NEAR(xv[2], 0, 1e-9);
  EXPECT_NEAR(slack[0], 0, 1e-9);  // rhs - a'x
  EXPECT_NEAR(slack[1], 0, 1e-9);
  EXPECT_NEAR(slack[2], 7, 1e-9);
}

// Duals are d obj / d rhs and reduced costs d obj / d x_j, in both senses.
class DualSigns : public LpSolve, public ::testing::WithParamInterface<int> {};

TEST_P(DualSigns, MatchTheHandComputedDerivatives) {
  const int sense = GetParam();
  load_hand_model(sense);
  for (const char *alg : {"d", "p", "b"}) {
    SCOPED_TRACE(alg);
    ASSERT_EQ(QNDAlpoptimize(p, alg), 0) << last_error();
    std::vector<double> duals(3), djs(3);
    ASSERT_EQ(QNDAgetlpsol(p, nullptr, nullptr, duals.data(), djs.data()), 0);
    EXPECT_NEAR(dblattr(QNDA_LPOBJVAL), 9.0 * sense, 1e-7);
    EXPECT_NEAR(duals[0], 2.5 * sense, 1e-7);
    EXPECT_NEAR(duals[1], -0.5 * sense, 1e-7);
    EXPECT_NEAR(duals[2], 0.0, 1e-7);
    EXPECT_NEAR(djs[0], 0.0, 1e-7);
    EXPECT_NEAR(djs[1], 0.0, 1e-7);
    EXPECT_NEAR(djs[2], 2.5 * sense, 1e-7);
  }
}

INSTANTIATE_TEST_SUITE_P(MinAndMax, DualSigns, ::testing::Values(1, -1));

TEST_F(LpSolve, AlgorithmControlAndFlagsAreUsed) {
  load_hand_model(1);
  ASSERT_EQ(QNDAsetintcontrol(p, QNDA_LPALGORITHM, 4), 0);
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0);
  EXPECT_EQ(intattr(QNDA_ALGORITHM_ATTR), 4);
  EXPECT_GT(intattr(QNDA_BARITER), 0);
  ASSERT_EQ(QNDAlpoptimize(p, "p"), 0);
  EXPECT_EQ(intattr(QNDA_ALGORITHM_ATTR), 3);
  EXPECT_EQ(intattr(QNDA_BARITER), 0);
  EXPECT_NE(QNDAlpoptimize(p, "q"), 0);
  EXPECT_NE(last_error().find("unknown flag 'q'"), std::string::npos) << last_error();
}

TEST_F(LpSolve, InfeasibleAndUnboundedAreStatusesNotErrors) {
  load({1}, {{1}}, "L", {-1});  // x >= 0, x <= -1
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_LPSTATUS), QNDA_LP_INFEAS);
  EXPECT_EQ(intattr(QNDA_SOLSTATUS), 0);
  double v;
  EXPECT_EQ(QNDAgetlpsol(p, &v, nullptr, nullptr, nullptr), QNDA_ERR_STATE);

  load({1, 1}, {{1, -1}}, "L", {1});
  ASSERT_EQ(QNDAchgobjsense(p, -1), 0);
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_LPSTATUS), QNDA_LP_UNBOUNDED);
}

TEST_F(LpSolve, ResultsGoStaleWhenTheModelChanges) {
  load_hand_model(1);
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0);
  int col = 0;
  double bnd = 2.0;
  ASSERT_EQ(QNDAchgbounds(p, 1, &col, "U", &bnd), 0);
  EXPECT_EQ(intattr(QNDA_LPSTATUS), QNDA_LP_UNSTARTED);
  EXPECT_EQ(intattr(QNDA_PRESOLVESTATE), 1);
  double v[3];
  EXPECT_EQ(QNDAgetlpsol(p, v, nullptr, nullptr, nullptr), QNDA_ERR_STATE);
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0);
  EXPECT_NEAR(dblattr(QNDA_LPOBJVAL), 10.0, 1e-9);  // x = 2, y = 2
}

TEST_F(LpSolve, BasisRoundTripWarmStartsTheNextSolve) {
  load_hand_model(1);
  ASSERT_EQ(QNDAlpoptimize(p, "d"), 0);
  std::vector<int> rs(3), cs(3);
  ASSERT_EQ(QNDAgetbasis(p, rs.data(), cs.data()), 0);
  EXPECT_EQ(cs[0], QNDA_BASIC);
  EXPECT_EQ(cs[1], QNDA_BASIC);
  EXPECT_EQ(cs[2], QNDA_AT_LOWER);
  EXPECT_EQ(rs[0], QNDA_AT_UPPER);  // 'G' row binding: its slack is at 0, its upper end
  EXPECT_EQ(rs[1], QNDA_AT_LOWER);  // 'L' row binding
  EXPECT_EQ(rs[2], QNDA_BASIC);
  ASSERT_EQ(QNDAloadbasis(p, rs.data(), cs.data()), 0) << last_error();
  ASSERT_EQ(QNDAlpoptimize(p, "p"), 0);
  EXPECT_EQ(intattr(QNDA_SIMPLEXITER), 0);
  EXPECT_NEAR(dblattr(QNDA_LPOBJVAL), 9.0, 1e-9);
  rs[2] = QNDA_AT_LOWER;  // one basic short
  EXPECT_EQ(QNDAloadbasis(p, rs.data(), cs.data()), QNDA_ERR_ARGUMENT);
}

TEST_F(LpSolve, CutoffMarksAnOptimumThatIsNotBetter) {
  load_hand_model(1);
  ASSERT_EQ(QNDAsetdblcontrol(p, QNDA_MIPCUTOFF, 8), 0);
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0);
  const int st = intattr(QNDA_LPSTATUS);
  EXPECT_TRUE(st == QNDA_LP_CUTOFF || st == QNDA_LP_CUTOFF_IN_DUAL) << st;
  ASSERT_EQ(QNDAsetdblcontrol(p, QNDA_MIPCUTOFF, 10), 0);
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0);
  EXPECT_EQ(intattr(QNDA_LPSTATUS), QNDA_LP_OPTIMAL);
}

TEST_F(LpSolve, EmptyProblemHasItsConstantAsObjective) {
  int c = -1;
  double k = 5;
  ASSERT_EQ(QNDAchgobj(p, 1, &c, &k), 0);
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_LPSTATUS), QNDA_LP_OPTIMAL);
  EXPECT_EQ(dblattr(QNDA_LPOBJVAL), 5.0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_MIPSTATUS), QNDA_MIP_OPTIMAL);
  EXPECT_EQ(dblattr(QNDA_MIPOBJVAL), 5.0);
}

TEST_F(LpSolve, FailedSolveLeavesNoOldResults) {
  load_hand_model(1);
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0);
  ASSERT_EQ(intattr(QNDA_SOLSTATUS), 1);
  EXPECT_EQ(QNDAlpoptimize(p, "z"), QNDA_ERR_ARGUMENT);  // flags are checked first
  EXPECT_EQ(intattr(QNDA_SOLSTATUS), 1);
  // Semi-continuous without an upper bound: the solve fails after it began.
  set_types({0}, "S");
  ASSERT_EQ(QNDAlpoptimize(p, ""), QNDA_ERR_UNSUPPORTED);
  EXPECT_EQ(intattr(QNDA_SOLSTATUS), 0);
  double x0;
  EXPECT_EQ(QNDAgetlpsol(p, &x0, nullptr, nullptr, nullptr), QNDA_ERR_STATE);
}

TEST_F(LpSolve, ObjectiveConstantIsIncluded) {
  load_hand_model(1);
  int c = -1;
  double k = 100;
  ASSERT_EQ(QNDAchgobj(p, 1, &c, &k), 0) << last_error();
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0);
  EXPECT_NEAR(dblattr(QNDA_LPOBJVAL), 109.0, 1e-9);
}

// ------------------------------------------------------------------- MIP
class MipSolve : public Prob {};

// max 5x + 4y + 3z  s.t. 2x + 3y + z <= 5, 4x + y + 2z <= 11, 3x + 4y + 2z <= 8,
// integers >= 0: optimum 13 at (2, 0, 1); the LP relaxation gives 13 too but
// at a fractional point for other objectives, so also check 5x + 4y + 4z.
TEST_F(MipSolve, KnapsackLikeOptimum) {
  load({5, 4, 3}, {{2, 3, 1}, {4, 1, 2}, {3, 4, 2}}, "LLL", {5, 11, 8});
  ASSERT_EQ(QNDAchgobjsense(p, -1), 0);
  set_types({0, 1, 2}, "III");
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_MIPSTATUS), QNDA_MIP_OPTIMAL);
  EXPECT_NEAR(dblattr(QNDA_MIPOBJVAL), 13.0, 1e-9);
  EXPECT_GE(intattr(QNDA_MIPSOLS), 1);
  std::vector<double> xv(3), slack(3);
  ASSERT_EQ(QNDAgetmipsol(p, xv.data(), slack.data()), 0);
  EXPECT_NEAR(xv[0], 2, 1e-9);
  EXPECT_NEAR(xv[1], 0, 1e-9);
  EXPECT_NEAR(xv[2], 1, 1e-9);
  EXPECT_NEAR(slack[2], 0, 1e-9);
  double d[3];
  EXPECT_EQ(QNDAgetlpsol(p, nullptr, nullptr, d, nullptr), QNDA_ERR_STATE);
}

TEST_F(MipSolve, CutoffDiscardsSolutionsThatAreNotBetter) {
  load({5, 4, 3}, {{2, 3, 1}, {4, 1, 2}, {3, 4, 2}}, "LLL", {5, 11, 8});
  ASSERT_EQ(QNDAchgobjsense(p, -1), 0);
  set_types({0, 1, 2}, "III");
  ASSERT_EQ(QNDAsetdblcontrol(p, QNDA_MIPCUTOFF, 12), 0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0);
  EXPECT_EQ(intattr(QNDA_MIPSTATUS), QNDA_MIP_OPTIMAL);
  EXPECT_NEAR(dblattr(QNDA_MIPOBJVAL), 13.0, 1e-9);
  ASSERT_EQ(QNDAsetdblcontrol(p, QNDA_MIPCUTOFF, 14), 0);  // maximising: nothing reaches 14
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0);
  EXPECT_EQ(intattr(QNDA_MIPSTATUS), QNDA_MIP_INFEAS);
  double v[3];
  EXPECT_EQ(QNDAgetmipsol(p, v, nullptr), QNDA_ERR_STATE);
}

TEST_F(MipSolve, RelaxationFlagSolvesTheLpOnly) {
  // max x + y, 2x + 2y <= 3, integers: relaxation 1.5, MIP 1.
  load({1, 1}, {{2, 2}}, "L", {3});
  ASSERT_EQ(QNDAchgobjsense(p, -1), 0);
  set_types({0, 1}, "II");
  ASSERT_EQ(QNDAmipoptimize(p, "l"), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_MIPSTATUS), QNDA_MIP_LP_OPTIMAL);
  EXPECT_NEAR(dblattr(QNDA_LPOBJVAL), 1.5, 1e-9);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0);
  EXPECT_NEAR(dblattr(QNDA_MIPOBJVAL), 1.0, 1e-9);
  // lpoptimize of a MIP solves its relaxation.
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0);
  EXPECT_NEAR(dblattr(QNDA_LPOBJVAL), 1.5, 1e-9);
}

TEST_F(MipSolve, InfeasibleMip) {
  // 2x = 1 with x integer.
  load({1}, {{2}}, "E", {1});
  set_types({0}, "I");
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_MIPSTATUS), QNDA_MIP_INFEAS);
  double v;
  EXPECT_EQ(QNDAgetmipsol(p, &v, nullptr), QNDA_ERR_STATE);
}

TEST_F(MipSolve, UnboundedMipIsToldFromInfeasible) {
  // max x + y, x - y <= 1, x integer: unbounded (presolve alone cannot tell).
  load({1, 1}, {{1, -1}}, "L", {1});
  ASSERT_EQ(QNDAchgobjsense(p, -1), 0);
  set_types({0}, "I");
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_MIPSTATUS), QNDA_MIP_UNBOUNDED);
  // y <= 0.5 and x - y <= -1 with x integer >= 0: infeasible.
  int col = 1, row = 0;
  double ub = 0.5, rhs = -1;
  ASSERT_EQ(QNDAchgbounds(p, 1, &col, "U", &ub), 0);
  ASSERT_EQ(QNDAchgrhs(p, 1, &row, &rhs), 0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_MIPSTATUS), QNDA_MIP_INFEAS);
}

TEST_F(MipSolve, MipStartIsAccepted) {
  load({5, 4, 3}, {{2, 3, 1}, {4, 1, 2}, {3, 4, 2}}, "LLL", {5, 11, 8});
  ASSERT_EQ(QNDAchgobjsense(p, -1), 0);
  set_types({0, 1, 2}, "III");
  const double start[3] = {2, 0, 1};
  int status = -1;
  ASSERT_EQ(QNDAloadmipsol(p, start, &status), 0);
  EXPECT_EQ(status, 0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0);
  EXPECT_NEAR(dblattr(QNDA_MIPOBJVAL), 13.0, 1e-9);
}

TEST_F(MipSolve, BinaryAndSemiContinuousColumns) {
  // min -x - 2y + 0.1s with x binary, y <= 3 x... : s semi-continuous in
  // {0} u [2, 5] and s >= 1 forces s = 2.
  load({-1, 0.1}, {{1, 0}, {0, 1}}, "LG", {1, 1}, {0, 0}, {1, 5});
  set_types({0, 1}, "BS");
  int c = 1;
  double lim = 2;
  ASSERT_EQ(QNDAchgglblimit(p, 1, &c, &lim), 0) << last_error();
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  std::vector<double> xv(2);
  ASSERT_EQ(QNDAgetmipsol(p, xv.data(), nullptr), 0);
  EXPECT_NEAR(xv[0], 1, 1e-9);
  EXPECT_NEAR(xv[1], 2, 1e-9);
  EXPECT_NEAR(dblattr(QNDA_MIPOBJVAL), -0.8, 1e-9);
}

// -------------------------------------------------------------------- QP
class QpSolve : public Prob {};

TEST_F(QpSolve, MonomialCoefficientsDiagonalAndCross) {
  // min x^2 + xy + y^2 - 3x over free x, y: gradient 0 at (2, -1), value -3.
  load({-3, 0}, {}, "", {}, {-1e20, -1e20}, {1e20, 1e20});
  int c1[3] = {0, 0, 1}, c2[3] = {0, 1, 1};
  double q[3] = {1, 1, 1};
  ASSERT_EQ(QNDAchgmqobj(p, 3, c1, c2, q), 0) << last_error();
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_LPSTATUS), QNDA_LP_OPTIMAL);
  EXPECT_NEAR(dblattr(QNDA_LPOBJVAL), -3.0, 1e-6);
  std::vector<double> xv = x();
  EXPECT_NEAR(xv[0], 2, 1e-5);
  EXPECT_NEAR(xv[1], -1, 1e-5);
}

TEST_F(QpSolve, ConstrainedQpWithDual) {
  // min x^2 + y^2 - 2x - 4y, x + y <= 1: optimum (0, 1), value -3; the
  // multiplier of the row is d obj / d rhs = -2.
  load({-2, -4}, {{1, 1}}, "L", {1});
  int c1[2] = {0, 1}, c2[2] = {0, 1};
  double q[2] = {1, 1};
  ASSERT_EQ(QNDAchgmqobj(p, 2, c1, c2, q), 0);
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  EXPECT_NEAR(dblattr(QNDA_LPOBJVAL), -3.0, 1e-6);
  double dual;
  ASSERT_EQ(QNDAgetlpsol(p, nullptr, nullptr, &dual, nullptr), 0);
  EXPECT_NEAR(dual, -2.0, 1e-5);
}

TEST_F(QpSolve, QuadraticPartsWithIntegersOrInRowsAreSolved) {
  // min x + y + x^2, x + y <= 1, y integer: x = y = 0.
  load({1, 1}, {{1, 1}}, "L", {1});
  int c1[1] = {0}, c2[1] = {0};
  double q[1] = {1};
  ASSERT_EQ(QNDAchgmqobj(p, 1, c1, c2, q), 0);
  set_types({1}, "I");
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_MIPSTATUS), QNDA_MIP_OPTIMAL);
  EXPECT_NEAR(dblattr(QNDA_MIPOBJVAL), 0.0, 1e-6);
  EXPECT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();

  // A quadratic row: x^2 + x + y <= 1 is convex, so the optimum is global.
  int cols[1] = {1};
  ASSERT_EQ(QNDAchgcoltype(p, 1, cols, "C"), 0);
  ASSERT_EQ(QNDAaddqmatrix(p, 0, 1, c1, c2, q), 0) << last_error();
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_LPSTATUS), QNDA_LP_OPTIMAL);
  EXPECT_EQ(intattr(QNDA_LOCALSOLUTION), 0);
}

TEST_F(QpSolve, NonConvexObjectiveIsSolvedLocally) {
  // x^2 + 3xy + y^2 has a positive diagonal but is indefinite; -x^2 fails the
  // diagonal test; maximising x^2 is not concave.
  struct Case {
    int sense, n;
    int c1[3], c2[3];
    double q[3];
    bool convex;
  } cases[] = {
      {1, 3, {0, 0, 1}, {0, 1, 1}, {1, 3, 1}, false},
      {1, 1, {0}, {0}, {-1}, false},
      {-1, 1, {0}, {0}, {1}, false},
      {-1, 1, {0}, {0}, {-1}, true},
      {1, 3, {0, 0, 1}, {0, 1, 1}, {1, 2, 1}, true},  // (x + y)^2: semidefinite
  };
  for (const Case &c : cases) {
    load({0, 0}, {{1, 1}}, "L", {1}, {0, 0}, {1, 1});
    ASSERT_EQ(QNDAchgobjsense(p, c.sense), 0);
    ASSERT_EQ(QNDAchgmqobj(p, c.n, c.c1, c.c2, c.q), 0);
    ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
    EXPECT_EQ(intattr(QNDA_LPSTATUS), QNDA_LP_OPTIMAL);
    EXPECT_EQ(intattr(QNDA_LOCALSOLUTION), c.convex ? 0 : 1);
  }
}

}  // namespace

namespace {

// ------------------------------------------------------------------- log
std::vector<std::string> *g_lines = nullptr;
void collect(QNDAprob, void *, const char *msg, int, int) {
  if (msg && g_lines) g_lines->push_back(msg);
}

class SolveLog : public Prob, public ::testing::WithParamInterface<int> {};

TEST_P(SolveLog, EngineLinesFollowTheLogLevel) {
  const int level = GetParam();
  std::vector<std::string> lines;
  g_lines = &lines;
  ASSERT_EQ(QNDAenablemessages(1), 0);
  ASSERT_EQ(QNDAaddcbmessage(p, collect, nullptr, 0), 0);
  ASSERT_EQ(QNDAsetintcontrol(p, QNDA_LOGLEVEL, level), 0);
  ASSERT_EQ(QNDAreadprob(p, qtest::instance("afiro.mps").c_str(), ""), 0);
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0);
  g_lines = nullptr;
  auto has = [&](const char *s) {
    for (auto &l : lines)
      if (l.find(s) != std::string::npos) return true;
    return false;
  };
  EXPECT_EQ(has("Solving LP with highs: 27 rows, 32 columns"), level >= 1);
  EXPECT_EQ(has("LP status: optimal"), level >= 1);
  EXPECT_EQ(has("Model status        : Optimal"), level >= 2);  // the engine's own lines
  for (auto &l : lines) EXPECT_EQ(l.find('\n'), std::string::npos) << l;
}

INSTANTIATE_TEST_SUITE_P(Levels, SolveLog, ::testing::Values(0, 1, 2));

}  // namespace
