// Checked mode: every bad argument gives its code and a message naming the
// function and the value, and leaves the model untouched.  With checking off,
// null handles and null arrays are still refused.
#include <cctype>
#include <string>

#include "test_model_util.h"

namespace {

// A 2 x 3 model (10 columns would be too many to write out in messages).
class Checked : public ModelTest {
 protected:
  void SetUp() override {
    ModelTest::SetUp();
    char rt[2] = {'L', 'G'};
    double rhs[2] = {1, 2};
    int start[4] = {0, 1, 2, 3}, rowind[3] = {0, 1, 0};
    double val[3] = {1, 2, 3};
    ASSERT_EQ(QNDAloadlp(p, "chk", 3, 2, rt, rhs, nullptr, nullptr, start, nullptr, rowind, val,
                         nullptr, nullptr),
              0);
    snapshot = state();
  }
  std::string state() {
    std::string s = rowtypes() + "|" + coltypes() + "|";
    for (const auto &row : dense())
      for (double v : row) s += std::to_string(v) + ",";
    for (double v : lb()) s += std::to_string(v) + ",";
    for (double v : ub()) s += std::to_string(v) + ",";
    for (double v : rhs()) s += std::to_string(v) + ",";
    s += std::to_string(attr(QNDA_SETS)) + std::to_string(attr(QNDA_QELEMS)) +
         std::to_string(attr(QNDA_INDICATORS));
    return s;
  }
  std::string snapshot;
};

using Bad = qtest::Refused;

class BadCall : public Checked, public ::testing::WithParamInterface<Bad> {};

TEST_P(BadCall, RefusedWithItsMessageAndNoChange) {
  int code = 0;
  EXPECT_EQ(GetParam().call(p), GetParam().code);
  EXPECT_EQ(last_error(&code), GetParam().message);
  EXPECT_EQ(code, GetParam().code);
  EXPECT_EQ(state(), snapshot);
}

const int kCol12 = 12, kRow5 = 5, kNeg = -1, kZero = 0, kOne = 1;
const double kVal = 1.0;
const char kU = 'U', kX = 'X', kL = 'L';

INSTANTIATE_TEST_SUITE_P(
    Args, BadCall,
    ::testing::Values(
        Bad{"bounds column", [](QNDAprob p) { return QNDAchgbounds(p, 1, &kCol12, &kU, &kVal); },
            QNDA_ERR_INDEX, "QNDAchgbounds: column index 12 out of range [0, 2]"},
        Bad{"bounds letter", [](QNDAprob p) { return QNDAchgbounds(p, 1, &kZero, &kX, &kVal); },
            QNDA_ERR_ARGUMENT,
            "QNDAchgbounds: bound type 'X' (entry 0) unknown; expected one of ULB"},
        Bad{"bounds null", [](QNDAprob p) { return QNDAchgbounds(p, 1, &kZero, &kU, nullptr); },
            QNDA_ERR_ARGUMENT, "QNDAchgbounds: argument bndval is NULL"},
        Bad{"bounds count", [](QNDAprob p) { return QNDAchgbounds(p, -1, &kZero, &kU, &kVal); },
            QNDA_ERR_ARGUMENT, "QNDAchgbounds: count is negative (-1)"},
        Bad{"coef row", [](QNDAprob p) { return QNDAchgcoef(p, kRow5, 0, 1.0); }, QNDA_ERR_INDEX,
            "QNDAchgcoef: row index 5 out of range [0, 1]"},
        Bad{"mcoef column", [](QNDAprob p) { return QNDAchgmcoef(p, 1, &kZero, &kCol12, &kVal); },
            QNDA_ERR_INDEX, "QNDAchgmcoef: column index 12 out of range [0, 2]"},
        Bad{"obj column", [](QNDAprob p) { return QNDAchgobj(p, 1, &kCol12, &kVal); },
            QNDA_ERR_INDEX, "QNDAchgobj: column index 12 out of range [0, 2]"},
        Bad{"coltype letter", [](QNDAprob p) { return QNDAchgcoltype(p, 1, &kZero, &kX); },
            QNDA_ERR_ARGUMENT,
            "QNDAchgcoltype: column type 'X' (entry 0) unknown; expected one of CIBSRP"},
        Bad{"rowtype letter", [](QNDAprob p) { return QNDAchgrowtype(p, 1, &kOne, &kX); },
            QNDA_ERR_ARGUMENT,
            "QNDAchgrowtype: row type 'X' (entry 0) unknown; expected one of LGERN"},
        Bad{"negative range",
            [](QNDAprob p) {
              double r = -2;
              return QNDAchgrhsrange(p, 1, &kZero, &r);
            },
            QNDA_ERR_ARGUMENT, "QNDAchgrhsrange: range of row 0 is negative (-2)"},
        Bad{"sense", [](QNDAprob p) { return QNDAchgobjsense(p, 0); }, QNDA_ERR_ARGUMENT,
            "QNDAchgobjsense: sense 0 unknown (1 minimise, -1 maximise)"},
        Bad{"addrows letter",
            [](QNDAprob p) {
              return QNDAaddrows(p, 1, 0, &kX, &kVal, nullptr, nullptr, nullptr, nullptr);
            },
            QNDA_ERR_ARGUMENT,
            "QNDAaddrows: row type 'X' (entry 0) unknown; expected one of LGERN"},
        Bad{"addrows column",
            [](QNDAprob p) {
              QNDAint64 start[2] = {0, 1};
              return QNDAaddrows64(p, 1, 1, &kL, &kVal, nullptr, start, &kCol12, &kVal);
            },
            QNDA_ERR_INDEX, "QNDAaddrows64: column index 12 out of range [0, 2]"},
        Bad{"addrows start",
            [](QNDAprob p) {
              QNDAint64 start[2] = {0, 2};
              return QNDAaddrows64(p, 1, 1, &kL, &kVal, nullptr, start, &kZero, &kVal);
            },
            QNDA_ERR_ARGUMENT, "QNDAaddrows64: start spans 2 entries but the count given is 1"},
        Bad{"addrows no rhs",
            [](QNDAprob p) {
              return QNDAaddrows(p, 1, 0, &kL, nullptr, nullptr, nullptr, nullptr, nullptr);
            },
            QNDA_ERR_ARGUMENT, "QNDAaddrows: argument rhs is NULL"},
        Bad{"addcols row",
            [](QNDAprob p) {
              int start[2] = {0, 1};
              return QNDAaddcols(p, 1, 1, nullptr, start, &kRow5, &kVal, nullptr, nullptr);
            },
            QNDA_ERR_INDEX, "QNDAaddcols: row index 5 out of range [0, 1]"},
        Bad{"addcols decreasing",
            [](QNDAprob p) {
              int start[3] = {0, 1, 0};
              return QNDAaddcols(p, 2, 0, nullptr, start, &kZero, &kVal, nullptr, nullptr);
            },
            QNDA_ERR_ARGUMENT, "QNDAaddcols: start decreases at entry 2 (0 after 1)"},
        Bad{"qmatrix row",
            [](QNDAprob p) { return QNDAaddqmatrix(p, 2, 1, &kZero, &kZero, &kVal); },
            QNDA_ERR_INDEX, "QNDAaddqmatrix: row index 2 out of range [0, 1]"},
        Bad{"qobj column", [](QNDAprob p) { return QNDAchgqobj(p, 0, 3, 1.0); }, QNDA_ERR_INDEX,
            "QNDAchgqobj: column index 3 out of range [0, 2]"},
        Bad{"sets letter",
            [](QNDAprob p) {
              int start[2] = {0, 1};
              return QNDAaddsets(p, 1, 1, &kX, start, &kZero, &kVal);
            },
            QNDA_ERR_ARGUMENT, "QNDAaddsets: set type 'X' (entry 0) unknown; expected one of 12"},
        Bad{"indicator complement",
            [](QNDAprob p) {
              int comp = 2;
              return QNDAsetindicators(p, 1, &kZero, &kZero, &comp);
            },
            QNDA_ERR_ARGUMENT, "QNDAsetindicators: complement 2 (entry 0) must be -1, 0 or 1"},
        Bad{"delrows", [](QNDAprob p) { return QNDAdelrows(p, 1, &kRow5); }, QNDA_ERR_INDEX,
            "QNDAdelrows: row index 5 out of range [0, 1]"},
        Bad{"delcols", [](QNDAprob p) { return QNDAdelcols(p, 1, &kNeg); }, QNDA_ERR_INDEX,
            "QNDAdelcols: column index -1 out of range [0, 2]"},
        Bad{"delsets", [](QNDAprob p) { return QNDAdelsets(p, 1, &kZero); }, QNDA_ERR_INDEX,
            "QNDAdelsets: set index 0 out of range (there are none)"},
        Bad{"names type", [](QNDAprob p) { return QNDAaddnames(p, 4, "a", 0, 0); },
            QNDA_ERR_ARGUMENT, "QNDAaddnames: name type 4 unknown (1 rows, 2 columns, 3 sets)"},
        Bad{"names range", [](QNDAprob p) { return QNDAaddnames(p, 1, "a\0b\0c", 0, 2); },
            QNDA_ERR_INDEX, "QNDAaddnames: row range [0, 2] out of range [0, 1]"},
        Bad{"getlb range",
            [](QNDAprob p) {
              double v[4];
              return QNDAgetlb(p, v, 0, 3);
            },
            QNDA_ERR_INDEX, "QNDAgetlb: column range [0, 3] out of range [0, 2]"},
        Bad{"getrows range",
            [](QNDAprob p) {
              QNDAint64 nz;
              return QNDAgetrows64(p, nullptr, nullptr, nullptr, 0, &nz, -1, 0);
            },
            QNDA_ERR_INDEX, "QNDAgetrows64: row range [-1, 0] out of range [0, 1]"},
        Bad{"load letter",
            [](QNDAprob p) {
              char rt = '<';
              return QNDAloadlp(p, "x", 0, 1, &rt, &kVal, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr, nullptr, nullptr);
            },
            QNDA_ERR_ARGUMENT, "QNDAloadlp: row type '<' (entry 0) unknown; expected one of LGERN"},
        Bad{"load entity",
            [](QNDAprob p) {
              char ct = 'I';
              return QNDAloadglobal(p, "x", 1, 0, nullptr, nullptr, nullptr, nullptr, nullptr,
                                    nullptr, nullptr, nullptr, nullptr, nullptr, 1, 0, &ct, &kOne,
                                    nullptr, nullptr, nullptr, nullptr, nullptr);
            },
            QNDA_ERR_INDEX, "QNDAloadglobal: column index 1 out of range [0, 0]"},
        Bad{"load quadratic",
            [](QNDAprob p) {
              return QNDAloadqp(p, "x", 1, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr, nullptr, nullptr, 1, &kZero, nullptr, &kVal);
            },
            QNDA_ERR_ARGUMENT, "QNDAloadqp: argument objqcol2 is NULL"}),
    qtest::refused_name);

TEST_F(Checked, UncheckedStillRefusesNullHandlesArraysAndIndices) {
  ASSERT_EQ(QNDAsetcheckedmode(0), 0);
  int j = 0;
  double v = 2.0;
  EXPECT_EQ(QNDAchgobj(nullptr, 1, &j, &v), QNDA_ERR_ARGUMENT);
  EXPECT_EQ(QNDAchgobj(p, 1, nullptr, &v), QNDA_ERR_ARGUMENT);
  EXPECT_EQ(QNDAaddrows(p, 1, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
            QNDA_ERR_ARGUMENT);
  // Indices address memory: they stay checked.
  EXPECT_EQ(QNDAchgobj(p, 1, &kCol12, &v), QNDA_ERR_INDEX);
  QNDAint64 start[2] = {0, 1};
  EXPECT_EQ(QNDAaddrows64(p, 1, 1, &kL, &kVal, nullptr, start, &kCol12, &kVal), QNDA_ERR_INDEX);
  EXPECT_EQ(QNDAdelcols(p, 1, &kNeg), QNDA_ERR_INDEX);
  EXPECT_EQ(state(), snapshot);
  // Good calls work as before.
  ASSERT_EQ(QNDAchgobj(p, 1, &j, &v), 0);
  EXPECT_EQ(obj()[0], 2.0);
}

}  // namespace

namespace {

TEST_F(Checked, UncheckedLoadWithoutEntriesNeedsNoEntryArrays) {
  ASSERT_EQ(QNDAsetcheckedmode(0), 0);
  int start[3] = {0, 0, 0}, len[2] = {0, 0};
  EXPECT_EQ(QNDAloadlp(p, "e", 2, 0, nullptr, nullptr, nullptr, nullptr, start, nullptr, nullptr,
                       nullptr, nullptr, nullptr),
            0)
      << last_error();
  EXPECT_EQ(QNDAloadlp(p, "e", 2, 0, nullptr, nullptr, nullptr, nullptr, start, len, nullptr,
                       nullptr, nullptr, nullptr),
            0)
      << last_error();
  EXPECT_EQ(cols(), 2);
}

}  // namespace
