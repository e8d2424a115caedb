// Infeasible subsystems: every subsystem found must be infeasible on its
// own and feasible after dropping any one member, checked by solving
// copies of the problem, never by trusting the search.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "qnda.h"
#include "test_solve_helpers.h"

namespace {

class Iis : public qtest::Prob {};

struct Member {
  bool row;
  int index;
  char side;  // 'L'/'U' for bounds
};

struct Subsystem {
  std::vector<Member> members;
};

int attr(QNDAprob q, int id) {
  int v = -1;
  QNDAgetintattrib(q, id, &v);
  return v;
}

// Solves a copy of src keeping only the members in keep (minus skip).
bool feasible_with(QNDAprob src, const Subsystem &s, int skip, bool mip) {
  QNDAprob q = nullptr;
  EXPECT_EQ(QNDAcreateprob(&q), 0);
  EXPECT_EQ(QNDAcopyprob(q, src, "copy"), 0);
  QNDAsetintcontrol(q, QNDA_OUTPUTLOG, 0);
  const int m = attr(q, QNDA_ROWS), n = attr(q, QNDA_COLS);
  std::vector<char> row_on(m, 0), lo_on(n, 0), up_on(n, 0);
  for (int k = 0; k < static_cast<int>(s.members.size()); ++k) {
    if (k == skip) continue;
    const Member &e = s.members[k];
    if (e.row)
      row_on[e.index] = 1;
    else
      (e.side == 'L' ? lo_on : up_on)[e.index] = 1;
  }
  for (int i = 0; i < m; ++i)
    if (!row_on[i]) {
      const char t = 'N';
      EXPECT_EQ(QNDAchgrowtype(q, 1, &i, &t), 0);
    }
  for (int j = 0; j < n; ++j) {
    const double zero = 0.0, lo = -1e20, up = 1e20;
    const char l = 'L', u = 'U';
    EXPECT_EQ(QNDAchgobj(q, 1, &j, &zero), 0);
    if (!lo_on[j]) EXPECT_EQ(QNDAchgbounds(q, 1, &j, &l, &lo), 0);
    if (!up_on[j]) EXPECT_EQ(QNDAchgbounds(q, 1, &j, &u, &up), 0);
  }
  bool ok;
  if (mip) {
    EXPECT_EQ(QNDAmipoptimize(q, ""), 0);
    const int st = attr(q, QNDA_MIPSTATUS);
    ok = st == QNDA_MIP_OPTIMAL || st == QNDA_MIP_SOLUTION;
  } else {
    EXPECT_EQ(QNDAlpoptimize(q, ""), 0);
    ok = attr(q, QNDA_LPSTATUS) == QNDA_LP_OPTIMAL;
  }
  QNDAdestroyprob(q);
  return ok;
}

Subsystem read_set(QNDAprob p, int num) {
  int nr = -1, nc = -1;
  EXPECT_EQ(QNDAgetiisdata(p, num, &nr, &nc, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                           nullptr, nullptr),
            0);
  std::vector<int> rows(nr), cols(nc);
  std::vector<char> rt(nr), cb(nc);
  EXPECT_EQ(QNDAgetiisdata(p, num, &nr, &nc, rows.data(), cols.data(), rt.data(), cb.data(),
                           nullptr, nullptr, nullptr, nullptr),
            0);
  Subsystem s;
  for (int i : rows) s.members.push_back({true, i, 0});
  for (int k = 0; k < nc; ++k) s.members.push_back({false, cols[k], cb[k]});
  return s;
}

void expect_irreducible(QNDAprob p, int num, bool mip) {
  Subsystem s = read_set(p, num);
  ASSERT_FALSE(s.members.empty());
  EXPECT_FALSE(feasible_with(p, s, -1, mip)) << "subsystem " << num << " is feasible";
  for (int k = 0; k < static_cast<int>(s.members.size()); ++k)
    EXPECT_TRUE(feasible_with(p, s, k, mip))
        << "subsystem " << num << " stays infeasible without member " << k;
}

int count(QNDAprob p) {
  int n = -1;
  EXPECT_EQ(QNDAiisstatus(p, &n, nullptr, nullptr, nullptr, nullptr), 0);
  return n;
}

TEST_F(Iis, IisOfWoodinfeIsIrreducible) {
  ASSERT_EQ(QNDAreadprob(p, QUENDA_INSTANCES_DIR "/woodinfe.mps", ""), 0) << last_error();
  int status = -1;
  ASSERT_EQ(QNDAiisfirst(p, 1, &status), 0) << last_error();
  ASSERT_EQ(status, 0);
  expect_irreducible(p, 1, false);
  ASSERT_EQ(QNDAiisnext(p, &status), 0) << last_error();
  if (status == 0) {
    expect_irreducible(p, 2, false);
    EXPECT_EQ(count(p), 2);
  }
}

// Three rows on x: x >= 2 conflicts with x <= 1 and with x <= 1.5; y and
// z conflict through their bounds.
TEST_F(Iis, IisAllFindsEachConflictAndItsIsolations) {
  load({1, 1, 1}, {{1, 0, 0}, {1, 0, 0}, {1, 0, 0}, {0, 1, 1}}, "GLLG", {2, 1, 1.5, 5}, {0, 0, 0},
       {1e20, 1, 1});
  int status = -1;
  ASSERT_EQ(QNDAiisall(p, &status), 0) << last_error();
  EXPECT_EQ(status, 0);
  ASSERT_EQ(count(p), 3);
  for (int k = 1; k <= 3; ++k) expect_irreducible(p, k, false);
  // Row 0 is in two subsystems, so it is isolated in neither.
  int n = count(p);
  for (int k = 1; k <= n; ++k) {
    ASSERT_EQ(QNDAiisisolations(p, k), 0);
    int nr = 0, nc = 0;
    std::vector<int> rows(4), cols(6);
    std::vector<char> iso_r(4), iso_c(6);
    ASSERT_EQ(QNDAgetiisdata(p, k, &nr, &nc, rows.data(), cols.data(), nullptr, nullptr, nullptr,
                             nullptr, iso_r.data(), iso_c.data()),
              0);
    for (int r = 0; r < nr; ++r) EXPECT_EQ(iso_r[r], rows[r] == 0 ? 0 : 1) << "row " << rows[r];
    for (int c = 0; c < nc; ++c) EXPECT_EQ(iso_c[c], 1);
  }
  ASSERT_EQ(QNDAiisnext(p, &status), 0);
  EXPECT_EQ(status, 1);
}

// Integrality alone: 2x - 2y = 1 has no integer point; x + y >= 12 needs
// both upper bounds of 5 to fail.
TEST_F(Iis, IisOfMipUsesIntegrality) {
  load({0, 0, 0}, {{2, -2, 0}, {1, 1, 0}, {0, 0, 1}}, "EGL", {1, 12, 3}, {0, 0, 0}, {5, 5, 10});
  const int cols[] = {0, 1};
  const char types[] = {'I', 'I'};
  ASSERT_EQ(QNDAchgcoltype(p, 2, cols, types), 0);
  int status = -1;
  ASSERT_EQ(QNDAiisall(p, &status), 0) << last_error();
  ASSERT_EQ(count(p), 2);
  std::vector<int> rowsizes(2), colsizes(2), numinfeas(2);
  std::vector<double> suminfeas(2);
  ASSERT_EQ(QNDAiisstatus(p, nullptr, rowsizes.data(), colsizes.data(), suminfeas.data(),
                          numinfeas.data()),
            0)
      << last_error();
  for (int k = 1; k <= 2; ++k) {
    expect_irreducible(p, k, true);
    EXPECT_GT(suminfeas[k - 1], 0.0);
    EXPECT_GE(numinfeas[k - 1], 1);
  }
  std::vector<int> sizes = {rowsizes[0] + colsizes[0], rowsizes[1] + colsizes[1]};
  std::sort(sizes.begin(), sizes.end());
  EXPECT_EQ(sizes, (std::vector<int>{1, 3}));
}

TEST_F(Iis, FeasibleProblemHasNoSubsystem) {
  load({1, 1}, {{1, 1}}, "G", {1});
  int status = -1;
  ASSERT_EQ(QNDAiisfirst(p, 1, &status), 0);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(count(p), 0);
  EXPECT_NE(QNDAgetiisdata(p, 1, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                           nullptr, nullptr, nullptr),
            0);
  EXPECT_NE(last_error().find("no infeasible subsystem 1"), std::string::npos) << last_error();
}

TEST_F(Iis, FarkasMultipliersCertifyTheSubsystem) {
  // x + y >= 4 with x, y <= 1: y'(row) and the bound multipliers close.
  load({0, 0}, {{1, 1}}, "G", {4}, {0, 0}, {1, 1});
  int status = -1;
  ASSERT_EQ(QNDAiisfirst(p, 1, &status), 0);
  ASSERT_EQ(status, 0);
  int nr = 0, nc = 0;
  std::vector<int> rows(1), cols(4);
  std::vector<char> sides(4);
  std::vector<double> duals(1), rdcs(4);
  ASSERT_EQ(QNDAgetiisdata(p, 1, &nr, &nc, rows.data(), cols.data(), nullptr, sides.data(),
                           duals.data(), rdcs.data(), nullptr, nullptr),
            0)
      << last_error();
  ASSERT_EQ(nr, 1);
  ASSERT_EQ(nc, 2);
  EXPECT_EQ(sides[0], 'U');
  EXPECT_EQ(sides[1], 'U');
  ASSERT_NE(duals[0], 0.0);
  // Column certificate: the multipliers cancel the row's coefficients.
  EXPECT_NEAR(rdcs[0] + duals[0], 0.0, 1e-9);
  EXPECT_NEAR(rdcs[1] + duals[0], 0.0, 1e-9);
}

TEST_F(Iis, IisWriteGivesAnInfeasibleModel) {
  load({1, 1, 1}, {{1, 0, 0}, {1, 0, 0}, {0, 1, 1}}, "GLL", {2, 1, 9});
  int status = -1;
  ASSERT_EQ(QNDAiisfirst(p, 1, &status), 0);
  const std::string lp = ::testing::TempDir() + "iis_write.lp";
  const std::string csv = ::testing::TempDir() + "iis_write.csv";
  ASSERT_EQ(QNDAiiswrite(p, 1, lp.c_str(), 0, ""), 0) << last_error();
  ASSERT_EQ(QNDAiiswrite(p, 1, csv.c_str(), 1, ""), 0) << last_error();
  EXPECT_NE(QNDAiiswrite(p, 1, csv.c_str(), 7, ""), 0);
  QNDAprob q = nullptr;
  ASSERT_EQ(QNDAcreateprob(&q), 0);
  QNDAsetintcontrol(q, QNDA_OUTPUTLOG, 0);
  ASSERT_EQ(QNDAreadprob(q, lp.c_str(), ""), 0);
  EXPECT_EQ(attr(q, QNDA_ROWS), 2);
  ASSERT_EQ(QNDAlpoptimize(q, ""), 0);
  EXPECT_EQ(attr(q, QNDA_LPSTATUS), QNDA_LP_INFEAS);
  QNDAdestroyprob(q);
}

TEST_F(Iis, SubsystemsAreForgottenWhenTheModelChanges) {
  load({1}, {{1}, {1}}, "GL", {2, 1});
  int status = -1;
  ASSERT_EQ(QNDAiisfirst(p, 1, &status), 0);
  ASSERT_EQ(count(p), 1);
  const int row = 1;
  const double rhs = 3;
  ASSERT_EQ(QNDAchgrhs(p, 1, &row, &rhs), 0);
  EXPECT_EQ(count(p), 0);
  EXPECT_NE(QNDAiisfirst(p, 5, &status), 0);
  EXPECT_EQ(status, 2);
}

}  // namespace
