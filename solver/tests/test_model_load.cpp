// Loading whole problems: every load form gives the same store, duplicates and
// zeros, free rows, entities and sets, quadratic objective and rows, and a
// refused load leaving the problem as it was.
#include <cmath>
#include <string>
#include <vector>

#include "test_model_util.h"

namespace {

// r0: x0 + 2 x1       + 3 x3 <= 10
// r1:      x1 -   x2         >= 2
// r2: x0              +   x3  in [5, 8]
const Dense kA = {{1, 2, 0, 3}, {0, 1, -1, 0}, {1, 0, 0, 1}};
const char kRowTypes[] = {'L', 'G', 'R'};
const double kRhs[] = {10, 2, 8};
const double kRange[] = {0, 0, 3};
const double kObj[] = {1, -1, 0.5, 0};
const double kLb[] = {0, -5, 1, -QNDA_INFINITY};
const double kUb[] = {4, QNDA_INFINITY, 1, 7};

struct Form {
  const char *name;
  bool wide;    // the 64-bit function
  bool collen;  // column lengths given, with gaps between the columns
};

class LoadForms : public ModelTest, public ::testing::WithParamInterface<Form> {
 protected:
  int load() {
    // Column-major entries; with collen each column is followed by junk.
    std::vector<int> start, len, rowind;
    std::vector<double> val;
    for (int j = 0; j < 4; ++j) {
      start.push_back(static_cast<int>(rowind.size()));
      int n = 0;
      for (int i = 0; i < 3; ++i)
        if (kA[i][j] != 0) {
          rowind.push_back(i);
          val.push_back(kA[i][j]);
          ++n;
        }
      len.push_back(n);
      if (GetParam().collen) {
        rowind.push_back(99);  // never read
        val.push_back(1e30);
      }
    }
    start.push_back(static_cast<int>(rowind.size()));
    const int *cl = GetParam().collen ? len.data() : nullptr;
    if (GetParam().wide) {
      std::vector<QNDAint64> s64(start.begin(), start.end());
      return QNDAloadlp64(p, "forms", 4, 3, kRowTypes, kRhs, kRange, kObj, s64.data(), cl,
                          rowind.data(), val.data(), kLb, kUb);
    }
    return QNDAloadlp(p, "forms", 4, 3, kRowTypes, kRhs, kRange, kObj, start.data(), cl,
                      rowind.data(), val.data(), kLb, kUb);
  }
};

TEST_P(LoadForms, GiveTheSameStore) {
  ASSERT_EQ(load(), 0) << last_error();
  EXPECT_EQ(rows(), 3);
  EXPECT_EQ(cols(), 4);
  EXPECT_EQ(attr(QNDA_ELEMS), 7);
  EXPECT_EQ(dense(), kA);
  EXPECT_EQ(dense_by_rows(), kA);
  EXPECT_EQ(dense_by_cols(), kA);
  EXPECT_EQ(rowtypes(), "LGR");
  EXPECT_EQ(rhs(), (std::vector<double>{10, 2, 8}));
  EXPECT_EQ(range(), (std::vector<double>{0, 0, 3}));
  EXPECT_EQ(obj(), (std::vector<double>(kObj, kObj + 4)));
  EXPECT_EQ(lb(), (std::vector<double>(kLb, kLb + 4)));
  EXPECT_EQ(ub(), (std::vector<double>(kUb, kUb + 4)));
  EXPECT_EQ(coltypes(), "CCCC");
  char name[16];
  ASSERT_EQ(QNDAgetprobname(p, name, sizeof name, nullptr), 0);
  EXPECT_STREQ(name, "forms");
}

INSTANTIATE_TEST_SUITE_P(Loadlp, LoadForms,
                         ::testing::Values(Form{"int", false, false},
                                           Form{"int_collen", false, true},
                                           Form{"wide", true, false},
                                           Form{"wide_collen", true, true}),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_F(ModelTest, EmptyLoadUnderANameWithFreeRowsOff) {
  int keep = -1;
  ASSERT_EQ(QNDAgetintcontrol(p, QNDA_KEEPNROWS, &keep), 0);
  ASSERT_EQ(QNDAsetintcontrol(p, QNDA_KEEPNROWS, 0), 0);
  ASSERT_EQ(QNDAloadlp(p, "noname", 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                       nullptr, nullptr, nullptr, nullptr),
            0);
  ASSERT_EQ(QNDAsetintcontrol(p, QNDA_KEEPNROWS, keep), 0);
  EXPECT_EQ(rows(), 0);
  EXPECT_EQ(cols(), 0);
  EXPECT_EQ(attr(QNDA_PROBNAMELENGTH), 7);
}

TEST_F(ModelTest, DuplicatesAreSummedAndZerosDropped) {
  char rt[2] = {'E', 'E'};
  double rhs[2] = {1, 1};
  int start[3] = {0, 4, 6};
  int rowind[6] = {0, 1, 0, 1, 1, 0};
  double val[6] = {1, 2, 3, -2, 0, 0};
  ASSERT_EQ(QNDAloadlp(p, "dup", 2, 2, rt, rhs, nullptr, nullptr, start, nullptr, rowind, val,
                       nullptr, nullptr),
            0);
  EXPECT_EQ(dense_by_cols(), (Dense{{4, 0}, {0, 0}}));
  EXPECT_EQ(attr(QNDA_ELEMS), 1);
}

TEST_F(ModelTest, DefaultsOfMissingArrays) {
  char rt[1] = {'R'};
  double rhs[1] = {3};
  ASSERT_EQ(QNDAloadlp(p, "d", 2, 1, rt, rhs, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                       nullptr, nullptr),
            0);
  EXPECT_EQ(obj(), (std::vector<double>{0, 0}));
  EXPECT_EQ(lb(), (std::vector<double>{0, 0}));
  EXPECT_EQ(ub(), (std::vector<double>{QNDA_INFINITY, QNDA_INFINITY}));
  EXPECT_EQ(range(), (std::vector<double>{0}));
  EXPECT_EQ(attr(QNDA_ELEMS), 0);
}

class FreeRows : public ModelTest, public ::testing::WithParamInterface<int> {};

TEST_P(FreeRows, KeptOrDroppedByControl) {
  ASSERT_EQ(QNDAsetintcontrol(p, QNDA_KEEPNROWS, GetParam()), 0);
  char rt[3] = {'N', 'L', 'N'};
  double rhs[3] = {0, 5, 0};
  int start[2] = {0, 3};
  int rowind[3] = {0, 1, 2};
  double val[3] = {7, 8, 9};
  int qrow = 1, nq = 1, q1 = 0, q2 = 0;
  double qv = 2;
  ASSERT_EQ(
      QNDAloadqcqp(p, "n", 1, 3, rt, rhs, nullptr, nullptr, start, nullptr, rowind, val, nullptr,
                   nullptr, 0, nullptr, nullptr, nullptr, 1, &qrow, &nq, &q1, &q2, &qv),
      0);
  if (GetParam()) {
    EXPECT_EQ(rowtypes(), "NLN");
    EXPECT_EQ(dense(), (Dense{{7}, {8}, {9}}));
  } else {
    EXPECT_EQ(rowtypes(), "L");
    EXPECT_EQ(dense(), (Dense{{8}}));
  }
  // The quadratic row moves with its row.
  int nqr = 0, which = -1;
  ASSERT_EQ(QNDAgetqrows(p, &nqr, &which), 0);
  EXPECT_EQ(nqr, 1);
  EXPECT_EQ(which, GetParam() ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(KeepNRows, FreeRows, ::testing::Values(0, 1));

TEST_F(ModelTest, EntitiesAndSetsRoundTrip) {
  char rt[1] = {'L'};
  double rhs[1] = {1};
  double lo[4] = {-3, 0, 0, 0}, up[4] = {5, 10, 10, 10};
  char ct[3] = {'B', 'S', 'P'};
  int ent[3] = {0, 2, 3};
  double lim[3] = {0, 2.5, 4};
  char st[2] = {'1', '2'};
  QNDAint64 ss[3] = {0, 2, 5};
  int sc[5] = {0, 1, 1, 2, 3};
  double sr[5] = {1, 2, 1, 2, 3};
  ASSERT_EQ(QNDAloadglobal64(p, "g", 4, 1, rt, rhs, nullptr, nullptr, nullptr, nullptr, nullptr,
                             nullptr, lo, up, 3, 2, ct, ent, lim, st, ss, sc, sr),
            0);
  EXPECT_EQ(coltypes(), "BCSP");
  EXPECT_EQ(lb()[0], 0.0) << "a binary's bounds are clipped into [0, 1]";
  EXPECT_EQ(ub()[0], 1.0);

  int ne = -1, ns = -1;
  QNDAint64 nse = -1;
  ASSERT_EQ(QNDAgetglobal64(p, &ne, &ns, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                            nullptr, 0, &nse),
            0);
  ASSERT_EQ(ne, 3);
  ASSERT_EQ(ns, 2);
  ASSERT_EQ(nse, 5);
  std::string gt(3, '?'), gst(2, '?');
  std::vector<int> gcol(3), gsc(5);
  std::vector<double> glim(3), gsr(5);
  std::vector<QNDAint64> gss(3);
  ASSERT_EQ(QNDAgetglobal64(p, &ne, &ns, &gt[0], gcol.data(), glim.data(), &gst[0], gss.data(),
                            gsc.data(), gsr.data(), 5, &nse),
            0);
  EXPECT_EQ(gt, "BSP");
  EXPECT_EQ(gcol, (std::vector<int>{0, 2, 3}));
  EXPECT_EQ(glim, (std::vector<double>{0, 2.5, 4}));
  EXPECT_EQ(gst, "12");
  EXPECT_EQ(gss, (std::vector<QNDAint64>{0, 2, 5}));
  EXPECT_EQ(gsc, (std::vector<int>{0, 1, 1, 2, 3}));
  EXPECT_EQ(gsr, (std::vector<double>{1, 2, 1, 2, 3}));
}

TEST_F(ModelTest, QuadraticObjectiveIsMonomial) {
  // 3 x0^2 + (1 + 4) x0 x1 + 2 x1 x2 : (0,1) and (1,0) are one monomial.
  int q1[4] = {0, 0, 1, 2}, q2[4] = {0, 1, 0, 1};
  double qv[4] = {3, 1, 4, 2};
  ASSERT_EQ(QNDAloadqp(p, "q", 3, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                       nullptr, nullptr, nullptr, 4, q1, q2, qv),
            0);
  double c = 0;
  ASSERT_EQ(QNDAgetqobj(p, 1, 0, &c), 0);
  EXPECT_EQ(c, 5.0);
  ASSERT_EQ(QNDAgetqobj(p, 0, 1, &c), 0);
  EXPECT_EQ(c, 5.0);
  ASSERT_EQ(QNDAgetqobj(p, 0, 0, &c), 0);
  EXPECT_EQ(c, 3.0);
  ASSERT_EQ(QNDAgetqobj(p, 0, 2, &c), 0);
  EXPECT_EQ(c, 0.0);
  EXPECT_EQ(attr(QNDA_QELEMS), 3);

  // Upper triangle, row-major, for columns 1..2: only (1, 2).
  QNDAint64 nz = -1;
  ASSERT_EQ(QNDAgetmqobj64(p, nullptr, nullptr, nullptr, 0, &nz, 1, 2), 0);
  EXPECT_EQ(nz, 1);
  QNDAint64 start[3];
  int col[1];
  double val[1];
  ASSERT_EQ(QNDAgetmqobj64(p, start, col, val, 1, &nz, 1, 2), 0);
  EXPECT_EQ(start[0], 0);
  EXPECT_EQ(start[1], 1);
  EXPECT_EQ(start[2], 1);
  EXPECT_EQ(col[0], 2);
  EXPECT_EQ(val[0], 2.0);
  int istart[4], icol[3], inz = 0;
  double ival[3];
  ASSERT_EQ(QNDAgetmqobj(p, istart, icol, ival, 3, &inz, 0, 2), 0);
  EXPECT_EQ(inz, 3);
  EXPECT_EQ((std::vector<int>(istart, istart + 4)), (std::vector<int>{0, 2, 3, 3}));
  EXPECT_EQ((std::vector<int>(icol, icol + 3)), (std::vector<int>{0, 1, 2}));
}

TEST_F(ModelTest, QuadraticRowsOfALoad) {
  char rt[2] = {'L', 'L'};
  double rhs[2] = {4, 9};
  int qrows[2] = {1, 0};
  QNDAint64 nq[2] = {2, 1};
  int c1[3] = {0, 1, 1}, c2[3] = {0, 0, 1};
  double v[3] = {1, 2, 3};
  ASSERT_EQ(
      QNDAloadqcqp64(p, "qc", 2, 2, rt, rhs, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                     nullptr, nullptr, 0, nullptr, nullptr, nullptr, 2, qrows, nq, c1, c2, v),
      0);
  EXPECT_EQ(attr(QNDA_QCONSTRAINTS), 2);
  EXPECT_EQ(attr(QNDA_QCELEMS), 3);
  int n = 0, t1[2], t2[2];
  double tv[2];
  ASSERT_EQ(QNDAgetqrowqmatrixtriplets(p, 1, &n, t1, t2, tv), 0);
  ASSERT_EQ(n, 2);
  EXPECT_EQ(t1[0], 0);
  EXPECT_EQ(t2[0], 0);
  EXPECT_EQ(tv[0], 1.0);
  EXPECT_EQ(t1[1], 0);
  EXPECT_EQ(t2[1], 1);
  EXPECT_EQ(tv[1], 2.0);
  double c = 0;
  ASSERT_EQ(QNDAgetqrowcoeff(p, 0, 1, 1, &c), 0);
  EXPECT_EQ(c, 3.0);
  int start[3], col[2], nz = 0;
  double val[2];
  ASSERT_EQ(QNDAgetqrowqmatrix(p, 1, start, col, val, 2, &nz, 0, 1), 0);
  EXPECT_EQ(nz, 2);
  EXPECT_EQ(start[1], 2);
  EXPECT_EQ(start[2], 2);
}

TEST_F(ModelTest, RefusedLoadKeepsTheProblem) {
  char rt[1] = {'E'};
  double rhs[1] = {3};
  int start[2] = {0, 1}, row = 0;
  double one = 1;
  ASSERT_EQ(QNDAloadlp(p, "first", 1, 1, rt, rhs, nullptr, nullptr, start, nullptr, &row, &one,
                       nullptr, nullptr),
            0);
  int bad = 5;
  EXPECT_EQ(QNDAloadlp(p, "second", 1, 1, rt, rhs, nullptr, nullptr, start, nullptr, &bad, &one,
                       nullptr, nullptr),
            QNDA_ERR_INDEX);
  EXPECT_EQ(last_error(), "QNDAloadlp: row index 5 out of range [0, 0]");
  EXPECT_EQ(dense(), (Dense{{1}}));
  char name[16];
  QNDAgetprobname(p, name, sizeof name, nullptr);
  EXPECT_STREQ(name, "first");
}

}  // namespace
