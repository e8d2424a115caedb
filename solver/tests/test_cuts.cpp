// The cut pool and the cuts of node callbacks: handles, selections, the
// refusals outside a node, and a cut from optnode that changes the optimum
// of a small MIP on Cbc.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "test_fixture.h"

namespace {

// max x0 + x1, x0 + x1 <= 1.5, both binary: the optimum is 1.
class Cuts : public qtest::OneProblem {
 protected:
  void SetUp() override {
    OneProblem::SetUp();
    const char type[] = {'L'}, ctype[] = {'B', 'B'};
    const double rhs[] = {1.5}, obj[] = {1, 1}, val[] = {1, 1}, lb[] = {0, 0}, ub[] = {1, 1};
    const int start[] = {0, 1, 2}, ind[] = {0, 0}, ent[] = {0, 1};
    ASSERT_EQ(QNDAloadglobal(p, "two", 2, 1, type, rhs, nullptr, obj, start, nullptr, ind, val, lb,
                             ub, 2, 0, ctype, ent, nullptr, nullptr, nullptr, nullptr, nullptr),
              0)
        << last_error();
    QNDAchgobjsense(p, -1);
    QNDAsetintcontrol(p, QNDA_LOGLEVEL, 0);
  }
  // Stores x0 <= 0 (type 3) and x0 + x1 >= 1 (type 5).
  std::vector<QNDAcut> store(int nodupl = 0) {
    const int type[] = {3, 5}, start[] = {0, 1, 3}, col[] = {0, 0, 1};
    const char rowtype[] = {'L', 'G'};
    const double rhs[] = {0, 1}, val[] = {1, 1, 1};
    std::vector<QNDAcut> h(2);
    EXPECT_EQ(QNDAstorecuts(p, 2, nodupl, type, rowtype, rhs, start, h.data(), col, val), 0)
        << last_error();
    return h;
  }
};

TEST_F(Cuts, StoredCutsReadBackBySelectionAndLeaveThePool) {
  std::vector<QNDAcut> h = store();
  std::vector<QNDAcut> again = store(1);
  EXPECT_EQ(again, h);  // equal cuts of the same types: the stored handles
  int type[2], start[3], col[3];
  char rowtype[2];
  double val[3], rhs[2];
  ASSERT_EQ(QNDAgetcpcuts(p, h.data(), 2, 3, type, rowtype, start, col, val, rhs), 0);
  EXPECT_EQ(std::string(rowtype, 2), "LG");
  EXPECT_EQ(start[2], 3);
  EXPECT_EQ(type[1], 5);
  ASSERT_EQ(QNDAgetcpcuts(p, h.data(), 2, 2, nullptr, nullptr, start, col, val, nullptr), 2);
  EXPECT_NE(last_error().find("too small"), std::string::npos);
  // Bits: 3 and 5 share bit 1; only 5 has bit 4.
  ASSERT_EQ(QNDAdelcpcuts(p, 4, 2, -1, nullptr), 0);
  double slack = 0;
  EXPECT_NE(QNDAgetcutslack(p, h[1], &slack), 0);
  EXPECT_NE(last_error().find("not in the cut pool"), std::string::npos);
  EXPECT_NE(QNDAgetcutslack(p, h[0], &slack), 0);  // no solution yet
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0);
  ASSERT_EQ(QNDAgetcutslack(p, h[0], &slack), 0) << last_error();
}

// Refused with its code and a message that says why (the message starts
// with the function's name).
class RefusedCut : public Cuts, public ::testing::WithParamInterface<qtest::Refused> {};

TEST_P(RefusedCut, WithItsCodeAndReason) {
  int code = 0;
  EXPECT_EQ(GetParam().call(p), GetParam().code);
  EXPECT_NE(last_error(&code).find(GetParam().message), std::string::npos) << last_error();
  EXPECT_EQ(code, GetParam().code);
}

INSTANTIATE_TEST_SUITE_P(
    Outside, RefusedCut,
    ::testing::Values(
        qtest::Refused{"addcuts outside a node",
                       [](QNDAprob q) {
                         const int t[] = {1}, s[] = {0, 0};
                         const char r[] = {'L'};
                         const double b[] = {0};
                         return QNDAaddcuts(q, 1, t, r, b, s, nullptr, nullptr);
                       },
                       QNDA_ERR_STATE, "only inside a node callback"},
        qtest::Refused{"loadcuts outside a node",
                       [](QNDAprob q) { return QNDAloadcuts(q, 0, -1, -1, nullptr); },
                       QNDA_ERR_STATE, "only inside a node callback"},
        qtest::Refused{"bad row type",
                       [](QNDAprob q) {
                         const int t[] = {1}, s[] = {0, 0};
                         const char r[] = {'R'};
                         const double b[] = {0};
                         QNDAcut h;
                         return QNDAstorecuts(q, 1, 0, t, r, b, s, &h, nullptr, nullptr);
                       },
                       QNDA_ERR_ARGUMENT, "row type 'R'"},
        qtest::Refused{"bad interp", [](QNDAprob q) { return QNDAdelcpcuts(q, 0, 9, -1, nullptr); },
                       QNDA_ERR_ARGUMENT, "interp is 9"},
        qtest::Refused{"unknown handle",
                       [](QNDAprob q) {
                         QNDAcut h = reinterpret_cast<QNDAcut>(static_cast<uintptr_t>(999999));
                         return QNDAdelcpcuts(q, 0, -1, 1, &h);
                       },
                       QNDA_ERR_ARGUMENT, "not in the cut pool"},
        qtest::Refused{
            "null ncuts",
            [](QNDAprob q) { return QNDAgetcpcutlist(q, 0, -1, 0, nullptr, 0, nullptr, nullptr); },
            QNDA_ERR_ARGUMENT, "argument ncuts is NULL"}),
    qtest::refused_name);

// The cut x0 <= 0 given at every node moves the optimum to x1 = 1 with
// x0 = 0.
struct NodeSeen {
  std::vector<QNDAcut> h;
  int in_matrix = 0;
};

void give_cut(QNDAprob prob, void *data, int *) {
  auto *s = static_cast<NodeSeen *>(data);
  int map = -2;
  ASSERT_EQ(QNDAgetcutmap(prob, 1, s->h.data(), &map), 0);
  if (map >= 0) ++s->in_matrix;
  ASSERT_EQ(QNDAloadcuts(prob, 0, -1, 1, s->h.data()), 0);
}

TEST_F(Cuts, CutFromOptnodeReachesTheSearch) {
  NodeSeen s;
  s.h = store();
  s.h.resize(1);
  ASSERT_EQ(QNDAaddcboptnode(p, give_cut, &s, 0), 0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  double x[2];
  ASSERT_EQ(QNDAgetmipsol(p, x, nullptr), 0);
  EXPECT_EQ(x[0], 0.0);
  EXPECT_EQ(x[1], 1.0);
}

}  // namespace
