// The presolved state: presolve only ('P'), the reduced model's solve, its
// map, basis and solution, presolverow, and postsolve back to the problem.
#include <cmath>
#include <set>
#include <string>
#include <vector>

#include "test_solve_helpers.h"

using qtest::Prob;

namespace {

class Presolved : public Prob {
 protected:
  void read(const char *name) {
    ASSERT_EQ(QNDAreadprob(p, qtest::instance(name).c_str(), ""), 0) << last_error();
  }
  void maps(std::vector<int> &rm, std::vector<int> &cm) {
    rm.assign(intattr(QNDA_ROWS), -1);
    cm.assign(intattr(QNDA_COLS), -1);
    ASSERT_EQ(QNDAgetpresolvemap(p, rm.data(), cm.data()), 0) << last_error();
  }
  // Row i of the problem as (columns, coefficients).
  void row(int i, std::vector<int> &cols, std::vector<double> &vals) {
    int n = 0;
    const int ncols = intattr(QNDA_ORIGINALCOLS);
    std::vector<QNDAint64> start(2);
    cols.assign(ncols, 0);
    vals.assign(ncols, 0.0);
    QNDAint64 nz = 0;
    ASSERT_EQ(QNDAgetrows64(p, start.data(), cols.data(), vals.data(), ncols, &nz, i, i), 0)
        << last_error();
    n = static_cast<int>(nz);
    cols.resize(n);
    vals.resize(n);
  }
};

TEST_F(Presolved, OutsideTheStateTheProblemIsItsOwnPresolvedProblem) {
  load({1, 1}, {{1, 1}}, "G", {1});
  std::vector<int> rm, cm;
  maps(rm, cm);
  EXPECT_EQ(rm, std::vector<int>({0}));
  EXPECT_EQ(cm, std::vector<int>({0, 1}));
  // Duplicates are summed and the row is otherwise the one given.
  const int cols[] = {1, 0, 1};
  const double vals[] = {2, 3, 1};
  int n = -1, pc[3], st = -7;
  double pv[3], rhs = 0;
  ASSERT_EQ(QNDApresolverow(p, 'L', 3, cols, vals, 5.0, 3, &n, pc, pv, &rhs, &st), 0);
  EXPECT_EQ(st, 0);
  ASSERT_EQ(n, 2);
  EXPECT_EQ(pc[0], 0);
  EXPECT_EQ(pv[0], 3.0);
  EXPECT_EQ(pc[1], 1);
  EXPECT_EQ(pv[1], 3.0);
  EXPECT_EQ(rhs, 5.0);
  ASSERT_EQ(QNDApresolverow(p, 'L', 3, cols, vals, 5.0, 1, &n, pc, pv, &rhs, &st), 0);
  EXPECT_EQ(st, 1) << "two coefficients do not fit in one";
  EXPECT_EQ(n, 2);
  EXPECT_EQ(QNDApresolverow(p, 'X', 3, cols, vals, 5.0, 3, &n, pc, pv, &rhs, &st),
            QNDA_ERR_ARGUMENT);
  const int bad[] = {2};
  EXPECT_EQ(QNDApresolverow(p, 'L', 1, bad, vals, 5.0, 3, &n, pc, pv, &rhs, &st), QNDA_ERR_INDEX);
  EXPECT_EQ(QNDApostsolve(p), 0) << "nothing to do is not an error";
}

TEST_F(Presolved, FixedColumnMovesIntoTheRightHandSide) {
  // min x + y + z,  x + y >= 1,  x + 2y + z <= 10,  z fixed at 3.
  load({1, 1, 1}, {{1, 1, 0}, {1, 2, 1}}, "GL", {1, 10}, {0, 0, 3}, {1e20, 1e20, 3});
  ASSERT_EQ(QNDAlpoptimize(p, "P"), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_ORIGINALCOLS), 3);
  std::vector<int> rm, cm;
  maps(rm, cm);
  EXPECT_EQ(std::set<int>(cm.begin(), cm.end()).count(2), 0u) << "the fixed column is gone";
  const int cols[] = {0, 1, 2};
  const double vals[] = {1, 2, 1};
  int n = -1, pc[3], st = -7;
  double pv[3], rhs = 0;
  ASSERT_EQ(QNDApresolverow(p, 'L', 3, cols, vals, 10.0, 3, &n, pc, pv, &rhs, &st), 0);
  ASSERT_EQ(st, 0) << "every column is kept, fixed or a constant of presolve";
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  std::vector<double> px(cm.size());
  ASSERT_EQ(QNDAgetpresolvesol(p, px.data(), nullptr, nullptr, nullptr), 0) << last_error();
  ASSERT_EQ(QNDApostsolve(p), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_COLS), 3);
  EXPECT_NEAR(dblattr(QNDA_LPOBJVAL), 4.0, 1e-9);
  std::vector<double> v = x();
  EXPECT_NEAR(v[0] + v[1], 1.0, 1e-9);
  EXPECT_NEAR(v[2], 3.0, 1e-12);
  // The presolved row measures the same slack at the postsolved point.
  double plhs = -rhs;
  for (int k = 0; k < n; ++k) plhs += pv[k] * px[pc[k]];
  EXPECT_NEAR(v[0] + 2 * v[1] + v[2] - 10.0, plhs, 1e-9);
  if (cm.size() == 2) EXPECT_DOUBLE_EQ(rhs, 7.0) << "x and y kept: only z moves";
}

TEST_F(Presolved, LpSolvedPresolvedThenPostsolvedMatchesTheDirectSolve) {
  read("afiro.mps");
  const int rows = intattr(QNDA_ROWS), cols = intattr(QNDA_COLS);
  ASSERT_EQ(QNDAlpoptimize(p, "P"), 0) << last_error();
  const int prow = intattr(QNDA_ROWS), pcol = intattr(QNDA_COLS);
  EXPECT_LT(prow, rows);
  EXPECT_LT(pcol, cols);
  EXPECT_EQ(intattr(QNDA_ORIGINALROWS), rows);
  EXPECT_EQ(intattr(QNDA_ORIGINALCOLS), cols);
  std::vector<int> rm, cm;
  maps(rm, cm);
  for (size_t k = 0; k < rm.size(); ++k) {
    ASSERT_TRUE(rm[k] >= 0 && rm[k] < rows);
    if (k) EXPECT_LT(rm[k - 1], rm[k]) << "reduced rows keep their order";
  }
  for (size_t k = 0; k < cm.size(); ++k) ASSERT_TRUE(cm[k] >= 0 && cm[k] < cols);
  std::vector<double> px(pcol);
  EXPECT_EQ(QNDAgetpresolvesol(p, px.data(), nullptr, nullptr, nullptr), QNDA_ERR_STATE)
      << "nothing solved yet";

  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_LPSTATUS), QNDA_LP_OPTIMAL);
  EXPECT_NEAR(dblattr(QNDA_LPOBJVAL), -464.753142857, 1e-6);
  std::vector<double> ps(prow), pd(prow), pdj(pcol);
  ASSERT_EQ(QNDAgetpresolvesol(p, px.data(), ps.data(), pd.data(), pdj.data()), 0) << last_error();
  std::vector<int> rs(prow), cs(pcol);
  ASSERT_EQ(QNDAgetpresolvebasis(p, rs.data(), cs.data()), 0) << last_error();
  int basic = 0;
  for (int s : rs) basic += s == QNDA_BASIC;
  for (int s : cs) basic += s == QNDA_BASIC;
  EXPECT_EQ(basic, prow);
  std::vector<double> ox(cols);
  EXPECT_EQ(QNDAgetlpsol(p, ox.data(), nullptr, nullptr, nullptr), QNDA_ERR_STATE);
  EXPECT_NE(last_error().find("presolved"), std::string::npos) << last_error();
  int npv = -1, nps = -1, nds = -1, ndv = -1;
  ASSERT_EQ(QNDAgetscaledinfeas(p, &npv, &nps, &nds, &ndv, nullptr, nullptr, nullptr, nullptr), 0)
      << last_error();
  EXPECT_EQ(npv + nps + nds + ndv, 0) << "the presolved optimum is feasible in its own space";

  // Every kept row expressed in the reduced columns agrees with the
  // original row at the postsolved point: a'x - b = p'x_p - b_p.
  std::vector<std::vector<int>> pcols(prow);
  std::vector<std::vector<double>> pvals(prow);
  std::vector<double> prhs(prow);
  std::vector<int> status(prow);
  std::vector<double> rhs(rows);
  ASSERT_EQ(QNDAgetrhs(p, rhs.data(), 0, rows - 1), 0);
  for (int k = 0; k < prow; ++k) {
    std::vector<int> c;
    std::vector<double> v;
    row(rm[k], c, v);
    int n = 0;
    pcols[k].resize(pcol);
    pvals[k].resize(pcol);
    ASSERT_EQ(QNDApresolverow(p, 'L', static_cast<int>(c.size()), c.data(), v.data(), rhs[rm[k]],
                              pcol, &n, pcols[k].data(), pvals[k].data(), &prhs[k], &status[k]),
              0);
    pcols[k].resize(n);
    pvals[k].resize(n);
  }

  ASSERT_EQ(QNDApostsolve(p), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_ROWS), rows);
  EXPECT_EQ(intattr(QNDA_COLS), cols);
  ASSERT_EQ(QNDAgetlpsol(p, ox.data(), nullptr, nullptr, nullptr), 0) << last_error();
  std::vector<int> ors(rows), ocs(cols);
  ASSERT_EQ(QNDAgetbasis(p, ors.data(), ocs.data()), 0) << last_error();
  for (int k = 0; k < prow; ++k) {
    if (status[k] != 0) continue;
    std::vector<int> c;
    std::vector<double> v;
    row(rm[k], c, v);
    double lhs = -rhs[rm[k]], plhs = -prhs[k];
    for (size_t e = 0; e < c.size(); ++e) lhs += v[e] * ox[c[e]];
    for (size_t e = 0; e < pcols[k].size(); ++e) plhs += pvals[k][e] * px[pcols[k][e]];
    EXPECT_NEAR(lhs, plhs, 1e-7) << "row " << rm[k];
  }

  // The direct solve from scratch reaches the same optimum.
  QNDAprob q = nullptr;
  ASSERT_EQ(QNDAcreateprob(&q), 0);
  ASSERT_EQ(QNDAsetintcontrol(q, QNDA_OUTPUTLOG, 0), 0);
  ASSERT_EQ(QNDAreadprob(q, qtest::instance("afiro.mps").c_str(), ""), 0);
  ASSERT_EQ(QNDAlpoptimize(q, ""), 0);
  double direct = 0;
  ASSERT_EQ(QNDAgetdblattrib(q, QNDA_LPOBJVAL, &direct), 0);
  EXPECT_NEAR(dblattr(QNDA_LPOBJVAL), direct, 1e-7);
  EXPECT_EQ(QNDAdestroyprob(q), 0);
  // The problem's own solve still works after the state.
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  EXPECT_NEAR(dblattr(QNDA_LPOBJVAL), direct, 1e-7);
}

TEST_F(Presolved, LoadedPresolveBasisStartsTheNextSolve) {
  read("afiro.mps");
  ASSERT_EQ(QNDAlpoptimize(p, "P"), 0) << last_error();
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  const int prow = intattr(QNDA_ROWS), pcol = intattr(QNDA_COLS);
  std::vector<int> rs(prow), cs(pcol);
  ASSERT_EQ(QNDAgetpresolvebasis(p, rs.data(), cs.data()), 0) << last_error();
  ASSERT_EQ(QNDAloadpresolvebasis(p, rs.data(), cs.data()), 0) << last_error();
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_SIMPLEXITER), 0) << "an optimal basis needs no iteration";
  std::vector<int> short_basis(prow, QNDA_AT_LOWER);
  EXPECT_EQ(QNDAloadpresolvebasis(p, short_basis.data(), cs.data()), QNDA_ERR_ARGUMENT);
}

TEST_F(Presolved, MipPresolvedSolvedAndPostsolved) {
  read("egout.mps");
  ASSERT_EQ(QNDAmipoptimize(p, "P"), 0) << last_error();
  EXPECT_LT(intattr(QNDA_COLS), intattr(QNDA_ORIGINALCOLS));
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_MIPSTATUS), QNDA_MIP_OPTIMAL);
  ASSERT_EQ(QNDApostsolve(p), 0) << last_error();
  const int n = intattr(QNDA_COLS);
  std::vector<double> v(n);
  ASSERT_EQ(QNDAgetmipsol(p, v.data(), nullptr), 0) << last_error();
  std::vector<double> obj(n);
  ASSERT_EQ(QNDAgetobj(p, obj.data(), 0, n - 1), 0);
  double z = 0;
  for (int j = 0; j < n; ++j) z += obj[j] * v[j];
  EXPECT_NEAR(z, 568.1007, 1e-4);
  EXPECT_NEAR(dblattr(QNDA_MIPOBJVAL), 568.1007, 1e-4);
}

TEST_F(Presolved, SecuredColumnThatPresolveRemovesFailsClearly) {
  load({1, 1, 1}, {{1, 1, 0}, {1, 2, 1}}, "GL", {1, 10}, {0, 0, 3}, {1e20, 1e20, 3});
  const int col[] = {2};
  ASSERT_EQ(QNDAloadsecurevecs(p, 0, 1, nullptr, col), 0);
  EXPECT_EQ(QNDAlpoptimize(p, "P"), QNDA_ERR_UNSUPPORTED);
  EXPECT_NE(last_error().find("secured column 2"), std::string::npos) << last_error();
  EXPECT_EQ(intattr(QNDA_COLS), 3) << "not presolved";
}

TEST_F(Presolved, ChangingTheModelLeavesTheState) {
  read("afiro.mps");
  const int cols = intattr(QNDA_COLS);
  ASSERT_EQ(QNDAlpoptimize(p, "P"), 0) << last_error();
  ASSERT_LT(intattr(QNDA_COLS), cols);
  const int j[] = {0};
  const double c[] = {0.5};
  ASSERT_EQ(QNDAchgobj(p, 1, j, c), 0);
  EXPECT_EQ(intattr(QNDA_COLS), cols);
  std::vector<int> rm, cm;
  maps(rm, cm);
  EXPECT_EQ(cm[5], 5) << "identity again";
}

TEST_F(Presolved, SetsCannotBeLeftPresolved) {
  load({-1, -1}, {{1, 1}}, "L", {3}, {0, 0}, {5, 5});
  const char type[] = {'1'};
  const int start[] = {0, 2}, ind[] = {0, 1};
  const double ref[] = {1, 2};
  ASSERT_EQ(QNDAaddsets(p, 1, 2, type, start, ind, ref), 0) << last_error();
  EXPECT_EQ(QNDAmipoptimize(p, "P"), QNDA_ERR_UNSUPPORTED);
  EXPECT_NE(last_error().find("reformulation"), std::string::npos) << last_error();
}

}  // namespace
