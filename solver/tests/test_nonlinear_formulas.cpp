// Formulas through the C interface: text, infix and parsed tokens, checks,
// evaluation, and the nonlinear coefficients that hold them.
#include <cmath>
#include <string>
#include <vector>

#include "test_nonlinear_util.h"

namespace {

using qtest::Nlp;

class Formulas : public Nlp {
 protected:
  void SetUp() override {
    Nlp::SetUp();
    cols({"x", "y", "z"});
  }
  std::vector<std::pair<int, double>> parse(const std::string &text) {
    int n = 0;
    EXPECT_EQ(QSLPparsecformula(s, text.c_str(), 0, &n, nullptr, nullptr), 0) << error();
    std::vector<int> type(n);
    std::vector<double> value(n);
    EXPECT_EQ(QSLPparsecformula(s, text.c_str(), n, &n, type.data(), value.data()), 0) << error();
    std::vector<std::pair<int, double>> out;
    for (int k = 0; k < n; ++k) out.push_back({type[k], value[k]});
    return out;
  }
  std::string print(const std::vector<std::pair<int, double>> &tokens) {
    std::vector<int> type;
    std::vector<double> value;
    for (auto &t : tokens) {
      type.push_back(t.first);
      value.push_back(t.second);
    }
    char buf[512];
    EXPECT_EQ(QSLPformulatext(s, type.data(), value.data(), buf, sizeof buf, nullptr), 0)
        << error();
    return buf;
  }
};

struct RoundTrip {
  const char *text;
  const char *printed;
};

class FormulaRoundTrip : public Formulas, public ::testing::WithParamInterface<RoundTrip> {};

TEST_P(FormulaRoundTrip, TextToTokensAndBackKeepsTheMeaning) {
  const auto tokens = parse(GetParam().text);
  const std::string printed = print(tokens);
  EXPECT_EQ(printed, GetParam().printed);
  EXPECT_EQ(parse(printed), tokens) << printed;
}

INSTANTIATE_TEST_SUITE_P(
    Texts, FormulaRoundTrip,
    ::testing::Values(
        RoundTrip{"x + y * z", "x + y * z"}, RoundTrip{"(x + y) * z", "(x + y) * z"},
        RoundTrip{"x - (y - z)", "x - (y - z)"}, RoundTrip{"x - y - z", "x - y - z"},
        RoundTrip{"x / (y * z)", "x / (y * z)"}, RoundTrip{"-x^2", "-x ^ 2"},
        RoundTrip{"(-x)^2", "(-x) ^ 2"}, RoundTrip{"x^y^z", "x ^ y ^ z"},
        RoundTrip{"(x^y)^z", "(x ^ y) ^ z"}, RoundTrip{"2 ** -x", "2 ^ (-x)"},
        RoundTrip{"sin(y)/z", "sin(y) / z"}, RoundTrip{"MAX(x, y, 3)", "max(x, y, 3)"},
        RoundTrip{"log(x) + log10(y)", "ln(x) + log10(y)"}, RoundTrip{"exp(-x*y)", "exp(-x * y)"},
        RoundTrip{"1.5e-7 * x + .25", "1.5e-07 * x + 0.25"}, RoundTrip{"-(x + y)", "-(x + y)"},
        RoundTrip{"+x - -y", "x - -y"},
        RoundTrip{"abs(sign(x)) * atan(z)", "abs(sign(x)) * arctan(z)"}, RoundTrip{"0.1", "0.1"}));

TEST_F(Formulas, ParsedFormHasArgumentStartsAndColumns) {
  // sin(y)/z: argument start, y, sin, z, divide, end.
  const std::vector<std::pair<int, double>> want = {{QSLP_TOK_LB, 0},
                                                    {QSLP_TOK_COL, 1},
                                                    {QSLP_TOK_IFUN, QSLP_IFUN_SIN},
                                                    {QSLP_TOK_COL, 2},
                                                    {QSLP_TOK_OP, QSLP_OP_DIVIDE},
                                                    {QSLP_TOK_EOF, 0}};
  EXPECT_EQ(parse("sin(y)/z"), want);
}

TEST_F(Formulas, InfixTokensParseLikeText) {
  const char *text = "max(x, 2) * (y - 3) ^ 2";
  int n = 0;
  int type[64];
  double value[64];
  ASSERT_EQ(QSLPpreparseformula(s, text, 64, &n, type, value), 0) << error();
  EXPECT_EQ(type[0], QSLP_TOK_IFUN);
  EXPECT_EQ(type[1], QSLP_TOK_LB);
  EXPECT_EQ(type[n - 1], QSLP_TOK_EOF);
  int m = 0, ptype[64];
  double pvalue[64];
  ASSERT_EQ(QSLPparseformula(s, type, value, 64, &m, ptype, pvalue), 0) << error();
  std::vector<std::pair<int, double>> got;
  for (int k = 0; k < m; ++k) got.push_back({ptype[k], pvalue[k]});
  EXPECT_EQ(got, parse(text));
}

struct BadText {
  const char *text;
  const char *message;
};

class FormulaErrors : public Formulas, public ::testing::WithParamInterface<BadText> {};

TEST_P(FormulaErrors, AreRefusedWithTheirReason) {
  int n = 0;
  EXPECT_EQ(QSLPparsecformula(s, GetParam().text, 0, &n, nullptr, nullptr), QNDA_ERR_ARGUMENT);
  EXPECT_NE(error().find(GetParam().message), std::string::npos) << error();
}

INSTANTIATE_TEST_SUITE_P(
    Texts, FormulaErrors,
    ::testing::Values(BadText{"x +", "formula ends where an operand was expected"},
                      BadText{"foo(x)", "unknown function \"foo\" at position 1"},
                      BadText{"x * w", "unknown column \"w\" at position 5"},
                      BadText{"sin(x, y)", "sin takes 1 argument, not 2"},
                      BadText{"(x", "missing \")\""}, BadText{"x)", "unexpected token"},
                      BadText{"", "empty formula"}, BadText{"   ", "empty formula"},
                      BadText{"3 $ 4", "unexpected character '$' at position 3"},
                      BadText{"max()", "function without arguments"},
                      BadText{"x y", "unexpected token"}));

TEST_F(Formulas, TooSmallOutputGivesTheCountAndFails) {
  int n = 0, type[2];
  double value[2];
  EXPECT_EQ(QSLPparsecformula(s, "x + y", 2, &n, type, value), QNDA_ERR_ARGUMENT);
  EXPECT_EQ(n, 4);
}

struct Malformed {
  std::vector<int> type;
  std::vector<double> value;
  bool valid;
  const char *why;
};

TEST_F(Formulas, ValidityOfParsedTokens) {
  const std::vector<Malformed> cases = {
      {{QSLP_TOK_CON, QSLP_TOK_EOF}, {1, 0}, true, ""},
      {{QSLP_TOK_COL, QSLP_TOK_COL, QSLP_TOK_EOF}, {0, 1, 0}, false, "2 items left"},
      {{QSLP_TOK_COL, QSLP_TOK_OP, QSLP_TOK_EOF}, {0, QSLP_OP_PLUS, 0}, false, "operand missing"},
      {{QSLP_TOK_COL, QSLP_TOK_EOF}, {7, 0}, false, "column 7 out of range"},
      {{QSLP_TOK_COL, QSLP_TOK_IFUN, QSLP_TOK_EOF}, {0, QSLP_IFUN_SIN, 0}, false, "argument start"},
      {{QSLP_TOK_LB, QSLP_TOK_COL, QSLP_TOK_FUN, QSLP_TOK_EOF},
       {0, 0, 3, 0},
       false,
       "unknown user function"},
      {{QSLP_TOK_RB, QSLP_TOK_EOF}, {0, 0}, false, "cannot appear in a parsed formula"},
      {{QSLP_TOK_EOF}, {0}, false, "empty formula"},
  };
  for (const auto &c : cases) {
    int valid = -1;
    char why[256];
    ASSERT_EQ(QSLPvalidformula(s, c.type.data(), c.value.data(), &valid, why, sizeof why, nullptr),
              0)
        << error();
    EXPECT_EQ(valid, c.valid ? 1 : 0) << why;
    EXPECT_NE(std::string(why).find(c.why), std::string::npos) << why;
  }
}

TEST_F(Formulas, EvaluationFollowsTheUsualMeaning) {
  const double x[3] = {0.5, 2.0, -1.5};
  struct Case {
    const char *text;
    double want;
  };
  for (Case c :
       {Case{"x + y * z", 0.5 + 2.0 * -1.5}, Case{"-y ^ 2", -4.0},
        Case{"y ^ 3 ^ 0.5", std::pow(2.0, std::sqrt(3.0))},
        Case{"max(x, y, z) - min(x, y, z)", 3.5}, Case{"ln(y) + log10(100)", std::log(2.0) + 2},
        Case{"erf(x) + erfc(x) + sqrt(y*y)", 3.0}, Case{"abs(z) * sign(z)", -1.5},
        Case{"arcsin(x) + arccos(x) + arctan(1) * 4", std::acos(-1.0) / 2 + std::acos(-1.0)},
        Case{"tan(x) - sin(x) / cos(x) + exp(0)", 1.0}, Case{"z ^ 2", 2.25}}) {
    const auto tokens = parse(c.text);
    std::vector<int> type;
    std::vector<double> value;
    for (auto &t : tokens) {
      type.push_back(t.first);
      value.push_back(t.second);
    }
    double v = 0;
    ASSERT_EQ(QSLPevaluateformula(s, type.data(), value.data(), x, &v), 0) << error();
    EXPECT_NEAR(v, c.want, 1e-12) << c.text;
  }
}

// ------------------------------------------------------------ coefficients
TEST_F(Formulas, CoefficientsStoreFactorsAndFormulas) {
  const int r0 = row('E', 1.0), r1 = row('L', 2.0);
  row('G', 0.0);
  const double two = 2.0;
  ASSERT_EQ(QSLPchgccoef(s, r0, 0, &two, "sin(y)"), 0) << error();
  ASSERT_EQ(QSLPchgccoef(s, r1, constant_col(), nullptr, "x * y"), 0) << error();
  ASSERT_EQ(QSLPchgccoef(s, -1, 2, nullptr, "exp(z)"), 0) << error();
  char buf[128];
  double factor = 0;
  ASSERT_EQ(QSLPgetccoef(s, r0, 0, &factor, buf, sizeof buf, nullptr), 0) << error();
  EXPECT_EQ(factor, 2.0);
  EXPECT_STREQ(buf, "sin(y)");
  ASSERT_EQ(QSLPgetcoefformula(s, r0, 0, buf, sizeof buf, nullptr), 0);
  EXPECT_STREQ(buf, "2 * sin(y)");
  int v = 0;
  ASSERT_EQ(QSLPgetintattrib(s, QSLP_COEFFICIENTS, &v), 0);
  EXPECT_EQ(v, 3);
  ASSERT_EQ(QSLPgetintattrib(s, QSLP_NONLINEAREQROWS, &v), 0);
  EXPECT_EQ(v, 1);
  ASSERT_EQ(QSLPgetintattrib(s, QSLP_NONLINEARINEQROWS, &v), 0);
  EXPECT_EQ(v, 1);
  // 2 * sin(y) * x at x = 3, y = 0.5.
  const double x[3] = {3.0, 0.5, 0.0};
  double val = 0;
  ASSERT_EQ(QSLPevaluatecoef(s, r0, 0, x, &val), 0);
  EXPECT_NEAR(val, 2.0 * std::sin(0.5), 1e-15);  // the formula times its factor, not the column

  // All coefficients back as parsed tokens.
  int ncoefs = 0, ntokens = 0;
  ASSERT_EQ(
      QSLPgetcoefs(s, &ncoefs, nullptr, nullptr, nullptr, nullptr, 0, &ntokens, nullptr, nullptr),
      0);
  EXPECT_EQ(ncoefs, 3);
  std::vector<int> rows(ncoefs), colsv(ncoefs), start(ncoefs + 1), type(ntokens);
  std::vector<double> fac(ncoefs), value(ntokens);
  ASSERT_EQ(QSLPgetcoefs(s, &ncoefs, rows.data(), colsv.data(), fac.data(), start.data(), ntokens,
                         &ntokens, type.data(), value.data()),
            0)
      << error();
  // Loading them back gives the same coefficients.
  ASSERT_EQ(QSLPloadcoefs(s, ncoefs, rows.data(), colsv.data(), fac.data(), start.data(), 1,
                          type.data(), value.data()),
            0)
      << error();
  ASSERT_EQ(QSLPgetccoef(s, r1, constant_col(), &factor, buf, sizeof buf, nullptr), 0);
  EXPECT_STREQ(buf, "x * y");

  // An empty formula deletes; QSLPdelcoefs refuses absent ones.
  ASSERT_EQ(QSLPchgccoef(s, -1, 2, nullptr, ""), 0);
  EXPECT_EQ(QSLPgetccoef(s, -1, 2, &factor, buf, sizeof buf, nullptr), QNDA_ERR_INDEX);
  int dr = r0, dc = 0;
  ASSERT_EQ(QSLPdelcoefs(s, 1, &dr, &dc), 0);
  EXPECT_EQ(QSLPdelcoefs(s, 1, &dr, &dc), QNDA_ERR_INDEX);
}

TEST_F(Formulas, BadCoefficientsChangeNothing) {
  row('E', 1.0);
  const double two = 2.0;
  EXPECT_EQ(QSLPchgccoef(s, 5, 0, &two, "x"), QNDA_ERR_INDEX);
  EXPECT_NE(error().find("row index 5 out of range [-1 (objective), 0]"), std::string::npos);
  EXPECT_EQ(QSLPchgccoef(s, 0, 3, &two, "x"), QNDA_ERR_INDEX);
  EXPECT_EQ(QSLPchgccoef(s, 0, -1, &two, "x"), QNDA_ERR_INDEX);
  // One bad formula of two: neither is stored.
  const int rows[2] = {0, -1}, cs[2] = {0, 1}, start[3] = {0, 2, 4};
  const int type[4] = {QSLP_TOK_COL, QSLP_TOK_EOF, QSLP_TOK_COL, QSLP_TOK_COL};
  const double value[4] = {1, 0, 0, 1};
  EXPECT_EQ(QSLPaddcoefs(s, 2, rows, cs, nullptr, start, 1, type, value), QNDA_ERR_ARGUMENT);
  EXPECT_NE(error().find("formula 1 (row -1, column 1)"), std::string::npos) << error();
  int v = -1;
  ASSERT_EQ(QSLPgetintattrib(s, QSLP_COEFFICIENTS, &v), 0);
  EXPECT_EQ(v, 0);
  EXPECT_EQ(QSLPaddcoefs(s, 1, rows, cs, nullptr, nullptr, 1, type, value), QNDA_ERR_ARGUMENT);
  EXPECT_EQ(QSLPaddcoefs(s, -1, rows, cs, nullptr, start, 1, type, value), QNDA_ERR_ARGUMENT);
  double nan = std::nan("");
  EXPECT_EQ(QSLPchgccoef(s, 0, 0, &nan, "x"), QNDA_ERR_ARGUMENT);
}

TEST_F(Formulas, ConstantColumnStaysPutWhenColumnsAreAdded) {
  const int c = constant_col();
  EXPECT_LT(c, -1);
  cols({"w"});
  EXPECT_EQ(constant_col(), c);
}

}  // namespace
