// Adding, deleting and changing: a random walk of matrix operations checked
// against a dense reference, renumbering of everything a deletion touches,
// names, sets, indicators, quadratic edits and the chg functions.
#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "test_model_util.h"

namespace {

// ---------------------------------------------------- random operations
class RandomWalk : public ModelTest, public ::testing::WithParamInterface<unsigned> {
 protected:
  std::mt19937 rng{GetParam()};
  Dense ref;  // the expected matrix
  int m = 0, n = 0;

  int pick(int k) { return std::uniform_int_distribution<int>(0, k - 1)(rng); }
  double coef() { return pick(4) == 0 ? 0.0 : pick(9) - 4; }  // zeros on purpose

  void add_rows() {
    int k = 1 + pick(3);
    std::vector<char> t(k, 'L');
    std::vector<double> r(k, 1.0);
    std::vector<QNDAint64> start{0};
    std::vector<int> ind;
    std::vector<double> val;
    for (int i = 0; i < k; ++i) {
      ref.emplace_back(n, 0.0);
      for (int e = n ? pick(4) : 0; e > 0; --e) {  // may repeat a column: sums
        int j = pick(n);
        double v = coef();
        ind.push_back(j);
        val.push_back(v);
        ref.back()[j] += v;
      }
      start.push_back(static_cast<QNDAint64>(ind.size()));
    }
    ASSERT_EQ(QNDAaddrows64(p, k, static_cast<QNDAint64>(ind.size()), t.data(), r.data(), nullptr,
                            start.data(), ind.data(), val.data()),
              0)
        << last_error();
    m += k;
  }

  void add_cols() {
    int k = 1 + pick(3);
    std::vector<QNDAint64> start{0};
    std::vector<int> ind;
    std::vector<double> val;
    for (auto &row : ref) row.resize(n + k, 0.0);
    for (int j = 0; j < k; ++j) {
      for (int e = m ? pick(4) : 0; e > 0; --e) {
        int i = pick(m);
        double v = coef();
        ind.push_back(i);
        val.push_back(v);
        ref[i][n + j] += v;
      }
      start.push_back(static_cast<QNDAint64>(ind.size()));
    }
    ASSERT_EQ(QNDAaddcols64(p, k, static_cast<QNDAint64>(ind.size()), nullptr, start.data(),
                            ind.data(), val.data(), nullptr, nullptr),
              0)
        << last_error();
    n += k;
  }

  void change() {
    int k = 1 + pick(4);
    std::vector<int> ri, ci;
    std::vector<double> v;
    for (int e = 0; e < k; ++e) {
      ri.push_back(pick(m));
      ci.push_back(pick(n));
      for (int j = 0; j < n && pick(2); ++j)  // often an existing nonzero of the row
        if (ref[ri.back()][j] != 0.0) {
          ci.back() = j;
          break;
        }
      v.push_back(coef());
      ref[ri.back()][ci.back()] = v.back();  // later entries win
    }
    if (k == 1)
      ASSERT_EQ(QNDAchgcoef(p, ri[0], ci[0], v[0]), 0);
    else
      ASSERT_EQ(QNDAchgmcoef(p, k, ri.data(), ci.data(), v.data()), 0);
  }

  void del_rows() {
    std::vector<int> del{pick(m), pick(m)};  // possibly the same twice
    ASSERT_EQ(QNDAdelrows(p, 2, del.data()), 0);
    std::sort(del.begin(), del.end());
    del.erase(std::unique(del.begin(), del.end()), del.end());
    for (auto it = del.rbegin(); it != del.rend(); ++it) ref.erase(ref.begin() + *it);
    m -= static_cast<int>(del.size());
  }

  void del_cols() {
    int j = pick(n);
    ASSERT_EQ(QNDAdelcols(p, 1, &j), 0);
    for (auto &row : ref) row.erase(row.begin() + j);
    --n;
  }

  int nonzeros() {
    int nz = 0;
    for (const auto &row : ref)
      for (double v : row) nz += v != 0.0;
    return nz;
  }
};

TEST_P(RandomWalk, StoreMatchesDenseReference) {
  // Reading after every step folds small logs; reading seldom folds big ones.
  const int every = GetParam() % 2 ? 1 : 10;
  for (int step = 0; step < 150; ++step) {
    int what = pick(10);
    if (m == 0 || what < 2)
      add_rows();
    else if (n == 0 || what < 4)
      add_cols();
    else if (what < 7)
      change();
    else if (what < 8 && m > 2)
      del_rows();
    else if (what < 9 && n > 2)
      del_cols();
    if (HasFatalFailure()) return;
    if (step % every == 0 || step == 149) {
      ASSERT_EQ(rows(), m);
      ASSERT_EQ(cols(), n);
      ASSERT_EQ(dense_by_rows(), ref) << "step " << step;
      ASSERT_EQ(dense_by_cols(), ref) << "step " << step;
      ASSERT_EQ(attr(QNDA_ELEMS), nonzeros()) << "step " << step;
    }
  }
  EXPECT_EQ(dense(), ref);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomWalk, ::testing::Values(1u, 2u, 3u, 4u, 5u, 6u));

// --------------------------------------------------------- a small model
// 4 rows x 5 columns, named, with a quadratic objective, a quadratic row, two
// sets and an indicator row.
class Small : public ModelTest {
 protected:
  void SetUp() override {
    ModelTest::SetUp();
    char rt[4] = {'L', 'G', 'E', 'L'};
    double rhs[4] = {1, 2, 3, 4};
    int start[6] = {0, 2, 3, 4, 6, 7};
    int rowind[7] = {0, 3, 1, 2, 0, 3, 2};
    double val[7] = {1, 2, 3, 4, 5, 6, 7};
    ASSERT_EQ(QNDAloadlp(p, "small", 5, 4, rt, rhs, nullptr, nullptr, start, nullptr, rowind, val,
                         nullptr, nullptr),
              0);
    ASSERT_EQ(QNDAaddnames(p, QNDA_NAMES_ROWS, "r0\0r1\0r2\0r3", 0, 3), 0);
    ASSERT_EQ(QNDAaddnames(p, QNDA_NAMES_COLUMNS, "x0\0x1\0x2\0x3\0x4", 0, 4), 0);
    int q1[3] = {0, 1, 3}, q2[3] = {4, 1, 3};
    double qv[3] = {1, 2, 3};
    ASSERT_EQ(QNDAchgmqobj(p, 3, q1, q2, qv), 0);
    int c1[2] = {1, 2}, c2[2] = {3, 4};
    double cv[2] = {1, 1};
    ASSERT_EQ(QNDAaddqmatrix(p, 3, 2, c1, c2, cv), 0);
    char st[2] = {'1', '2'};
    int ss[3] = {0, 3, 5}, sc[5] = {0, 1, 2, 3, 4};
    double sr[5] = {1, 2, 3, 1, 2};
    ASSERT_EQ(QNDAaddsets(p, 2, 5, st, ss, sc, sr), 0);
    char b = 'B';
    int c = 4;
    ASSERT_EQ(QNDAchgcoltype(p, 1, &c, &b), 0);
    int row = 2, comp = -1;
    ASSERT_EQ(QNDAsetindicators(p, 1, &row, &c, &comp), 0);
  }
  std::vector<int> set_members() {
    QNDAint64 nse = 0;
    int ne, ns;
    QNDAgetglobal64(p, &ne, &ns, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 0,
                    &nse);
    std::vector<int> cols(nse);
    std::vector<QNDAint64> start(ns + 1);
    QNDAgetglobal64(p, &ne, &ns, nullptr, nullptr, nullptr, nullptr, start.data(), cols.data(),
                    nullptr, nse, &nse);
    std::vector<int> out;
    for (int s = 0; s < ns; ++s) {  // -1 separates the sets
      out.insert(out.end(), cols.begin() + start[s], cols.begin() + start[s + 1]);
      out.push_back(-1);
    }
    return out;
  }
};

TEST_F(Small, DeletingColumnsRenumbersEverythingThatNamesThem) {
  int del[2] = {3, 1};
  ASSERT_EQ(QNDAdelcols(p, 2, del), 0);
  EXPECT_EQ(names(QNDA_NAMES_COLUMNS, cols()), (std::vector<std::string>{"x0", "x2", "x4"}));
  EXPECT_EQ(dense(), (Dense{{1, 0, 0}, {0, 0, 0}, {0, 4, 7}, {2, 0, 0}}));
  // Quadratic objective: x0 x4 stays (now 0, 2); x1^2 and x3^2 go.
  EXPECT_EQ(attr(QNDA_QELEMS), 1);
  double c = 0;
  ASSERT_EQ(QNDAgetqobj(p, 2, 0, &c), 0);
  EXPECT_EQ(c, 1.0);
  // Quadratic row 3: x1 x3 goes, x2 x4 becomes (1, 2).
  int n = 0, t1, t2;
  double tv;
  ASSERT_EQ(QNDAgetqrowqmatrixtriplets(p, 3, &n, &t1, &t2, &tv), 0);
  ASSERT_EQ(n, 1);
  EXPECT_EQ(t1, 1);
  EXPECT_EQ(t2, 2);
  // Sets lose their deleted members.
  EXPECT_EQ(set_members(), (std::vector<int>{0, 1, -1, 2, -1}));
  // The indicator column x4 is now column 2.
  int ic[4], comp[4];
  ASSERT_EQ(QNDAgetindicators(p, ic, comp, 0, 3), 0);
  EXPECT_EQ((std::vector<int>(ic, ic + 4)), (std::vector<int>{-1, -1, 2, -1}));
  EXPECT_EQ((std::vector<int>(comp, comp + 4)), (std::vector<int>{0, 0, -1, 0}));
  EXPECT_EQ(coltypes(), "CCB");
}

TEST_F(Small, DeletingTheIndicatorColumnFreesTheRow) {
  int del = 4;
  ASSERT_EQ(QNDAdelcols(p, 1, &del), 0);
  EXPECT_EQ(attr(QNDA_INDICATORS), 0);
  int ic = 0, comp = 5;
  ASSERT_EQ(QNDAgetindicators(p, &ic, &comp, 2, 2), 0);
  EXPECT_EQ(ic, -1);
  EXPECT_EQ(comp, 0);
}

TEST_F(Small, DeletingRowsRenumbersNamesQuadraticRowsAndIndicators) {
  int del[2] = {0, 1};
  ASSERT_EQ(QNDAdelrows(p, 2, del), 0);
  EXPECT_EQ(names(QNDA_NAMES_ROWS, rows()), (std::vector<std::string>{"r2", "r3"}));
  EXPECT_EQ(rowtypes(), "EL");
  EXPECT_EQ(rhs(), (std::vector<double>{3, 4}));
  int nq = 0, which = -1;
  ASSERT_EQ(QNDAgetqrows(p, &nq, &which), 0);
  EXPECT_EQ(nq, 1);
  EXPECT_EQ(which, 1);
  int ic[2];
  ASSERT_EQ(QNDAgetindicators(p, ic, nullptr, 0, 1), 0);
  EXPECT_EQ(ic[0], 4);
  EXPECT_EQ(ic[1], -1);
  EXPECT_EQ(index_of(QNDA_NAMES_ROWS, "r3"), 1);
  EXPECT_EQ(index_of(QNDA_NAMES_ROWS, "r0"), -1);
}

TEST_F(Small, DeletingSetsClosesUp) {
  int del = 0;
  ASSERT_EQ(QNDAdelsets(p, 1, &del), 0);
  EXPECT_EQ(attr(QNDA_SETS), 1);
  EXPECT_EQ(set_members(), (std::vector<int>{3, 4, -1}));
  char t = '?';
  int ne, ns;
  ASSERT_EQ(QNDAgetglobal64(p, &ne, &ns, nullptr, nullptr, nullptr, &t, nullptr, nullptr, nullptr,
                            0, nullptr),
            0);
  EXPECT_EQ(t, '2');
}

TEST_F(Small, NewRowsAndColumnsAreUnnamedWithDefaultNames) {
  char t = 'N';
  double r = 0;
  ASSERT_EQ(QNDAaddrows(p, 1, 0, &t, &r, nullptr, nullptr, nullptr, nullptr), 0);
  ASSERT_EQ(QNDAaddcols(p, 1, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(names(QNDA_NAMES_ROWS, 5).back(), "R4");
  EXPECT_EQ(names(QNDA_NAMES_COLUMNS, 6).back(), "C5");
  EXPECT_EQ(index_of(QNDA_NAMES_COLUMNS, "C5"), 5);
  EXPECT_EQ(index_of(QNDA_NAMES_COLUMNS, "C1"), -1) << "column 1 is named x1";
  EXPECT_EQ(index_of(QNDA_NAMES_SETS, "S1"), 1);
}

TEST_F(Small, NamesOfAPartialRangeAndTheirLength) {
  int nbytes = 0;
  ASSERT_EQ(QNDAgetnames(p, QNDA_NAMES_COLUMNS, nullptr, 0, &nbytes, 1, 2), 0);
  EXPECT_EQ(nbytes, 6);
  char buf[6];
  ASSERT_EQ(QNDAgetnames(p, QNDA_NAMES_COLUMNS, buf, sizeof buf, &nbytes, 1, 2), 0);
  EXPECT_EQ(std::string(buf, 6), std::string("x1\0x2\0", 6));
  ASSERT_EQ(QNDAaddnames(p, QNDA_NAMES_COLUMNS, "renamed", 2, 2), 0);
  EXPECT_EQ(index_of(QNDA_NAMES_COLUMNS, "renamed"), 2);
  EXPECT_EQ(index_of(QNDA_NAMES_COLUMNS, "x2"), -1);
}

TEST_F(Small, QuadraticChangesReplaceAndAddsSum) {
  double c = 0;
  ASSERT_EQ(QNDAchgqobj(p, 4, 0, 7.0), 0);  // replaces x0 x4
  ASSERT_EQ(QNDAgetqobj(p, 0, 4, &c), 0);
  EXPECT_EQ(c, 7.0);
  ASSERT_EQ(QNDAchgqobj(p, 1, 1, 0.0), 0);  // removes x1^2
  EXPECT_EQ(attr(QNDA_QELEMS), 2);
  int c1 = 3, c2 = 1;
  double v = 2;
  ASSERT_EQ(QNDAaddqmatrix64(p, 3, 1, &c1, &c2, &v), 0);  // sums into x1 x3
  ASSERT_EQ(QNDAgetqrowcoeff(p, 3, 1, 3, &c), 0);
  EXPECT_EQ(c, 3.0);
  ASSERT_EQ(QNDAchgqrowcoeff(p, 3, 3, 1, -1.0), 0);
  ASSERT_EQ(QNDAgetqrowcoeff(p, 3, 1, 3, &c), 0);
  EXPECT_EQ(c, -1.0);
  ASSERT_EQ(QNDAchgqrowcoeff(p, 0, 0, 0, 2.5), 0);  // a new quadratic row
  EXPECT_EQ(attr(QNDA_QCONSTRAINTS), 2);
  ASSERT_EQ(QNDAchgqrowcoeff(p, 0, 0, 0, 0.0), 0);
  EXPECT_EQ(attr(QNDA_QCONSTRAINTS), 1);
}

TEST_F(Small, BoundsTypesAndObjective) {
  int cols3[3] = {0, 1, 4};
  char bt[3] = {'U', 'B', 'U'};
  double bv[3] = {9, 2, 5};
  ASSERT_EQ(QNDAchgbounds(p, 3, cols3, bt, bv), 0);
  EXPECT_EQ(ub()[0], 9);
  EXPECT_EQ(lb()[1], 2);
  EXPECT_EQ(ub()[1], 2);
  EXPECT_EQ(ub()[4], 1) << "binary upper bound clipped";

  char ct[2] = {'I', 'B'};
  int cc[2] = {0, 0};
  ASSERT_EQ(QNDAchgcoltype(p, 1, cc, ct), 0);
  EXPECT_EQ(coltypes()[0], 'I');
  EXPECT_EQ(ub()[0], 9);
  ASSERT_EQ(QNDAchgcoltype(p, 1, cc, ct + 1), 0);
  EXPECT_EQ(ub()[0], 1);
  EXPECT_EQ(attr(QNDA_MIPENTS), 2);

  int oc[2] = {-1, 2};
  double ov[2] = {42, -3};
  ASSERT_EQ(QNDAchgobj(p, 2, oc, ov), 0);
  EXPECT_EQ(obj()[2], -3);
  double k = 0;
  ASSERT_EQ(QNDAgetdblattrib(p, QNDA_OBJCONSTANT, &k), 0);
  EXPECT_EQ(k, 42);

  ASSERT_EQ(QNDAchgobjsense(p, -1), 0);
  EXPECT_EQ(attr(QNDA_OBJSENSE_ATTR), -1);

  int sc = 2;
  double lim = 1.5;
  char s = 'S';
  ASSERT_EQ(QNDAchgcoltype(p, 1, &sc, &s), 0);
  ASSERT_EQ(QNDAchgglblimit(p, 1, &sc, &lim), 0);
  int ne = 0;
  char types[8];
  int ents[8];
  double lims[8];
  ASSERT_EQ(QNDAgetglobal64(p, &ne, nullptr, types, ents, lims, nullptr, nullptr, nullptr, nullptr,
                            0, nullptr),
            0);
  ASSERT_EQ(ne, 3);
  EXPECT_EQ(ents[1], 2);
  EXPECT_EQ(types[1], 'S');
  EXPECT_EQ(lims[1], 1.5);
}

TEST_F(Small, RangesKeepTheBoundTheRowHad) {
  int r[3] = {0, 1, 2};
  double rg[3] = {2, 3, 1};
  ASSERT_EQ(QNDAchgrhsrange(p, 3, r, rg), 0);
  EXPECT_EQ(rowtypes(), "RRRL");
  // L 1 -> [-1, 1]; G 2 -> [2, 5]; E 3 -> [2, 3]
  EXPECT_EQ(rhs(), (std::vector<double>{1, 5, 3, 4}));
  EXPECT_EQ(range(), (std::vector<double>{2, 3, 1, 0}));
  char t[2] = {'G', 'N'};
  ASSERT_EQ(QNDAchgrowtype(p, 2, r, t), 0);
  EXPECT_EQ(range()[0], 0.0) << "only ranged rows report a range";
  double nr[2] = {7, 8};
  ASSERT_EQ(QNDAchgrhs(p, 2, r + 1, nr), 0);
  EXPECT_EQ(rhs(), (std::vector<double>{1, 7, 8, 4}));
}

TEST_F(Small, CopyIsDeepAndSurvivesTheSource) {
  QNDAprob q = nullptr;
  ASSERT_EQ(QNDAcreateprob(&q), 0);
  ASSERT_EQ(QNDAcopyprob(q, p, "copy"), 0);
  Dense before = dense();
  ASSERT_EQ(QNDAchgcoef(p, 0, 0, 100), 0);
  ASSERT_EQ(QNDAdestroyprob(p), 0);
  p = q;  // the fixture destroys it
  EXPECT_EQ(dense(), before);
  EXPECT_EQ(names(QNDA_NAMES_ROWS, 4)[3], "r3");
  EXPECT_EQ(attr(QNDA_QELEMS), 3);
  EXPECT_EQ(attr(QNDA_SETMEMBERS), 5);
  EXPECT_EQ(attr(QNDA_INDICATORS), 1);
  char name[8];
  QNDAgetprobname(p, name, sizeof name, nullptr);
  EXPECT_STREQ(name, "copy");
}

TEST_F(Small, RowQueriesWithTooSmallBuffersOnlyCount) {
  QNDAint64 start[3] = {-1, -1, -1}, nz = -1;
  int ind[1] = {-1};
  double val[1] = {-1};
  ASSERT_EQ(QNDAgetrows64(p, start, ind, val, 1, &nz, 0, 1), 0);
  EXPECT_EQ(nz, 3);
  EXPECT_EQ(start[0], -1) << "nothing written";
  ASSERT_EQ(QNDAgetrows64(p, start, ind, val, 5, &nz, 2, 1), 0);
  EXPECT_EQ(nz, 0) << "an empty range";
}

}  // namespace
