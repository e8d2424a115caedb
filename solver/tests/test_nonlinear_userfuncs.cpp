// User functions: definition, calls with the flags of wanted partials, and
// models that use them, with and without derivatives.
#include <cmath>
#include <string>
#include <vector>

#include "test_nonlinear_util.h"

namespace {

// What the functions saw, reached through the object attached to them.
struct Record {
  int calls = 0;
  int flagged = 0;  // calls that asked for at least one partial
  int ninputs = -1;
};

Record *record_of(QSLPfuncctx ctx) {
  void *prob = nullptr, *obj = nullptr;
  int n = 0, index = 0;
  if (QSLPgetfuncobject(ctx, QSLP_FUNCOBJ_SLPPROB, &prob) != 0) return nullptr;
  if (QSLPgetfuncinfo(ctx, &n, &index) != 0) return nullptr;
  if (QSLPgetuserfuncobject(static_cast<QSLPprob>(prob), index, &obj) != 0) return nullptr;
  auto *r = static_cast<Record *>(obj);
  r->ninputs = n;
  return r;
}

// (x - 2)^2 + 3 (y + 1)^2
double bowl(const double *in, QSLPfuncctx ctx) {
  if (Record *r = record_of(ctx)) ++r->calls;
  return (in[0] - 2) * (in[0] - 2) + 3 * (in[1] + 1) * (in[1] + 1);
}

double bowl_deriv(const double *in, const int *flags, double *partials, QSLPfuncctx ctx) {
  Record *r = record_of(ctx);
  if (r) ++r->calls;
  if (r && (flags[0] || flags[1])) ++r->flagged;
  if (flags[0]) partials[0] = 2 * (in[0] - 2);
  if (flags[1]) partials[1] = 6 * (in[1] + 1);
  return (in[0] - 2) * (in[0] - 2) + 3 * (in[1] + 1) * (in[1] + 1);
}

class UserFuncs : public qtest::Nlp {
 protected:
  // Defines a function named `name`; returns its index.
  int define(const char *name, int call, void *address, Record *rec) {
    int sname = 0, slink = 0;
    EXPECT_EQ(QSLPsetstring(s, &sname, name), 0);
    EXPECT_EQ(QSLPsetstring(s, &slink, "DirectC"), 0);
    const int type[5] = {QSLP_TOK_STRING, QSLP_UFTOK_RETURNS, QSLP_UFTOK_CALL, QSLP_TOK_STRING,
                         QSLP_TOK_EOF};
    const double value[5] = {double(sname), 1.0, double(call), double(slink), 0.0};
    EXPECT_EQ(QSLPadduserfuncs(s, 1, type, value), 0) << error();
    int n = 0;
    EXPECT_EQ(QSLPgetintattrib(s, QSLP_USERFUNCS, &n), 0);
    EXPECT_EQ(QSLPaddnames(s, QSLP_NAMES_USERFUNCS, name, n, n), 0) << error();
    EXPECT_EQ(QSLPchguserfuncaddress(s, n, address), 0) << error();
    EXPECT_EQ(QSLPsetuserfuncobject(s, n, rec), 0) << error();
    return n;
  }
};

struct Case {
  bool derivatives;
  int algorithm;
};

class UserFuncModel : public UserFuncs, public ::testing::WithParamInterface<Case> {};

TEST_P(UserFuncModel, MinimumOfABowl) {
  Record rec;
  const bool d = GetParam().derivatives;
  define("bowl", d ? QSLP_UFCALL_DERIVATIVES : QSLP_UFCALL_VALUE,
         d ? reinterpret_cast<void *>(&bowl_deriv) : reinterpret_cast<void *>(&bowl), &rec);
  cols({"x", "y"});
  formula(-1, "bowl(x, y) + 1");
  start({0.0, 0.0});
  EXPECT_EQ(solve(GetParam().algorithm), QSLP_NLPSTATUS_LOCALLY_OPTIMAL) << error();
  EXPECT_NEAR(obj(), 1.0, 1e-6);
  const auto v = x();
  EXPECT_NEAR(v[0], 2.0, 1e-3);
  EXPECT_NEAR(v[1], -1.0, 1e-3);
  EXPECT_GT(rec.calls, 0);
  EXPECT_EQ(rec.ninputs, 2);
  if (d) EXPECT_GT(rec.flagged, 0);
}

INSTANTIATE_TEST_SUITE_P(Kinds, UserFuncModel,
                         ::testing::Values(Case{false, QSLP_ALG_SLP}, Case{true, QSLP_ALG_SLP},
                                           Case{false, QSLP_ALG_IPOPT}, Case{true, QSLP_ALG_IPOPT}),
                         [](const ::testing::TestParamInfo<Case> &i) {
                           return std::string(i.param.derivatives ? "Derivatives" : "ValueOnly") +
                                  (i.param.algorithm == QSLP_ALG_SLP ? "Slp" : "Ipopt");
                         });

TEST_F(UserFuncs, TextNamesAndEvaluation) {
  Record rec;
  const int k = define("bowl", QSLP_UFCALL_VALUE, reinterpret_cast<void *>(&bowl), &rec);
  cols({"x", "y"});
  row('L', 10.0);
  formula(0, "2 * bowl(x, y ^ 2)");
  char buf[64];
  double factor = 0;
  ASSERT_EQ(QSLPgetccoef(s, 0, constant_col(), &factor, buf, sizeof buf, nullptr), 0);
  EXPECT_STREQ(buf, "2 * bowl(x, y ^ 2)");
  int n = 0, type[16];
  double value[16];
  ASSERT_EQ(QSLPparsecformula(s, "bowl(x, y)", 16, &n, type, value), 0) << error();
  // Arguments last first: start, y, x, bowl, end.
  ASSERT_EQ(n, 5);
  EXPECT_EQ(type[1], QSLP_TOK_COL);
  EXPECT_EQ(value[1], 1);
  EXPECT_EQ(value[2], 0);
  EXPECT_EQ(type[3], QSLP_TOK_FUN);
  EXPECT_EQ(value[3], k);
  const double at[2] = {3.0, 0.0};
  double v = 0;
  ASSERT_EQ(QSLPevaluateformula(s, type, value, at, &v), 0) << error();
  EXPECT_DOUBLE_EQ(v, 1.0 + 3.0);
  void *obj = nullptr;
  ASSERT_EQ(QSLPgetuserfuncobject(s, k, &obj), 0);
  EXPECT_EQ(obj, &rec);
}

TEST_F(UserFuncs, BadDefinitionsAreRefused) {
  int sname = 0, slink = 0;
  ASSERT_EQ(QSLPsetstring(s, &sname, "f"), 0);
  ASSERT_EQ(QSLPsetstring(s, &slink, "Excel"), 0);
  const int type[5] = {QSLP_TOK_STRING, QSLP_UFTOK_RETURNS, QSLP_UFTOK_CALL, QSLP_TOK_STRING,
                       QSLP_TOK_EOF};
  double value[5] = {double(sname), 1.0, 19.0, double(slink), 0.0};
  EXPECT_EQ(QSLPadduserfuncs(s, 1, type, value), QNDA_ERR_UNSUPPORTED);
  EXPECT_NE(error().find("linkage \"Excel\""), std::string::npos) << error();
  value[3] = 99;
  EXPECT_EQ(QSLPadduserfuncs(s, 1, type, value), QNDA_ERR_INDEX);
  value[3] = sname;
  value[2] = 7;
  EXPECT_EQ(QSLPadduserfuncs(s, 1, type, value), QNDA_ERR_UNSUPPORTED);
  value[2] = 19;
  value[1] = 2;
  EXPECT_EQ(QSLPadduserfuncs(s, 1, type, value), QNDA_ERR_UNSUPPORTED);
  int n = -1;
  ASSERT_EQ(QSLPgetintattrib(s, QSLP_USERFUNCS, &n), 0);
  EXPECT_EQ(n, 0);
  EXPECT_EQ(QSLPchguserfuncaddress(s, 1, reinterpret_cast<void *>(&bowl)), QNDA_ERR_INDEX);
  EXPECT_EQ(QSLPaddnames(s, 2, "x", 1, 1), QNDA_ERR_ARGUMENT);

  // A function without an entry point cannot be solved with.
  int direct = 0;
  ASSERT_EQ(QSLPsetstring(s, &direct, "DirectC"), 0);
  value[1] = 1;
  value[3] = direct;
  ASSERT_EQ(QSLPadduserfuncs(s, 1, type, value), 0) << error();
  cols({"x"});
  formula(-1, "f(x)");
  EXPECT_EQ(QSLPnlpoptimize(s, ""), QNDA_ERR_STATE);
  EXPECT_NE(error().find("user function 1 has no entry point"), std::string::npos) << error();
}

}  // namespace
