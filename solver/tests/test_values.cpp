// Numbers entering the model: NaN is refused everywhere, an infinity only
// where it is a coefficient; refusals leave the problem as it was.
#include <cmath>
#include <functional>
#include <limits>
#include <string>

#include "test_solve_helpers.h"

using qtest::Prob;

namespace {

const double kNan = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

struct Case {
  const char *name;
  std::function<int(QNDAprob)> call;
  const char *says;
};

class Values : public Prob, public ::testing::WithParamInterface<Case> {};

const int kCol[] = {0, 1};
const int kRow[] = {0};
const double kNanArr[] = {kNan}, kInfArr[] = {kInf};

TEST_P(Values, AreRefusedAndLeaveTheProblemAlone) {
  load({1, 1}, {{1, 1}}, "G", {1});
  ASSERT_EQ(QNDAsetcheckedmode(0), 0);  // refused in unchecked mode too
  EXPECT_EQ(GetParam().call(p), QNDA_ERR_VALUE);
  QNDAsetcheckedmode(1);
  EXPECT_NE(last_error().find(GetParam().says), std::string::npos) << last_error();
  EXPECT_EQ(intattr(QNDA_ROWS), 1);
  EXPECT_EQ(intattr(QNDA_COLS), 2);
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  EXPECT_NEAR(dblattr(QNDA_LPOBJVAL), 1.0, 1e-9);
}

INSTANTIATE_TEST_SUITE_P(
    Entries, Values,
    ::testing::Values(
        Case{"chgobj", [](QNDAprob p) { return QNDAchgobj(p, 1, kCol, kNanArr); },
             "objcoef 0 is not a number"},
        Case{"chgobj_inf", [](QNDAprob p) { return QNDAchgobj(p, 1, kCol, kInfArr); },
             "objcoef 0 is infinite"},
        Case{"chgcoef", [](QNDAprob p) { return QNDAchgcoef(p, 0, 1, kNan); }, "is not a number"},
        Case{"chgqobj", [](QNDAprob p) { return QNDAchgqobj(p, 0, 1, kInf); }, "is infinite"},
        Case{"chgbounds", [](QNDAprob p) { return QNDAchgbounds(p, 1, kCol, "U", kNanArr); },
             "bndval 0 is not a number"},
        Case{"chgrhs", [](QNDAprob p) { return QNDAchgrhs(p, 1, kRow, kNanArr); },
             "rhs 0 is not a number"},
        Case{"addrows",
             [](QNDAprob p) {
               int start[] = {0, 2};
               double rhs = 1, coef[] = {1, kInf};
               return QNDAaddrows(p, 1, 2, "L", &rhs, nullptr, start, kCol, coef);
             },
             "coefficient 1 is infinite"},
        Case{"addcols",
             [](QNDAprob p) {
               int start[] = {0, 0};
               double obj = 0, lb = kNan, ub = 1;
               return QNDAaddcols(p, 1, 0, &obj, start, nullptr, nullptr, &lb, &ub);
             },
             "lower bound 0 is not a number"},
        Case{"addsets",
             [](QNDAprob p) {
               int start[] = {0, 2};
               double ref[] = {1, kNan};
               return QNDAaddsets(p, 1, 2, "1", start, kCol, ref);
             },
             "refval 1 is not a number"},
        Case{"chgqrowcoeff", [](QNDAprob p) { return QNDAchgqrowcoeff(p, 0, 0, 0, kNan); },
             "coef 0 is not a number"}),
    [](const ::testing::TestParamInfo<Case> &i) { return std::string(i.param.name); });

TEST_F(Values, InfiniteBoundsAndRightHandSidesAreNoBound) {
  load({1, 1}, {{1, 1}}, "G", {1});
  double lb[] = {-kInf, -kInf}, ub[] = {kInf, kInf};
  const int cols[] = {0, 1};
  EXPECT_EQ(QNDAchgbounds(p, 1, cols, "L", lb), 0) << last_error();
  EXPECT_EQ(QNDAchgbounds(p, 1, cols, "U", ub), 0) << last_error();
  int start[] = {0, 0};
  double obj = 1, zero = 0;
  EXPECT_EQ(QNDAaddcols(p, 1, 0, &obj, start, nullptr, nullptr, &zero, ub), 0) << last_error();
}

TEST_F(Values, LoadRefusesNanCoefficients) {
  std::vector<int> start{0, 1, 2}, rowind{0, 0};
  std::vector<double> val{1, kNan}, obj{1, 1}, rhs{1};
  EXPECT_EQ(QNDAloadlp(p, "t", 2, 1, "G", rhs.data(), nullptr, obj.data(), start.data(), nullptr,
                       rowind.data(), val.data(), nullptr, nullptr),
            QNDA_ERR_VALUE);
  EXPECT_NE(last_error().find("coefficient 1 is not a number"), std::string::npos) << last_error();
}

}  // namespace
