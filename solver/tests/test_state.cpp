// The saved results (QNDAsavesolvestate / QNDAloadsolvestate) and the
// build information.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "qnda.h"
#include "test_solve_helpers.h"

using qtest::Prob;

namespace {

class State : public Prob {
 protected:
  // max x + 2y, x + y <= 4, x <= 3: x = 0, y = 4 (y has no bound).
  void solved() {
    load({-1, -2}, {{1, 1}, {1, 0}}, "LL", {4, 3});
    ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  }
  std::vector<char> save(QNDAprob from) {
    QNDAint64 n = 0;
    EXPECT_EQ(QNDAsavesolvestate(from, nullptr, 0, &n), 0);
    std::vector<char> bytes(static_cast<size_t>(n));
    EXPECT_EQ(QNDAsavesolvestate(from, bytes.data(), n, nullptr), 0);
    return bytes;
  }
};

TEST_F(State, RoundTripIntoACopyGivesTheSameResults) {
  solved();
  std::vector<char> bytes = save(p);
  QNDAprob q = nullptr;
  ASSERT_EQ(QNDAcreateprob(&q), 0);
  ASSERT_EQ(QNDAcopyprob(q, p, "copy"), 0);
  ASSERT_EQ(QNDAloadsolvestate(q, bytes.data(), static_cast<QNDAint64>(bytes.size())), 0);
  int status = 0;
  EXPECT_EQ(QNDAgetintattrib(q, QNDA_LPSTATUS, &status), 0);
  EXPECT_EQ(status, QNDA_LP_OPTIMAL);
  std::vector<double> x(2), duals(2), x0 = this->x(), d0(2);
  ASSERT_EQ(QNDAgetlpsol(q, x.data(), nullptr, duals.data(), nullptr), 0);
  ASSERT_EQ(QNDAgetlpsol(p, nullptr, nullptr, d0.data(), nullptr), 0);
  EXPECT_EQ(x, x0);
  EXPECT_EQ(duals, d0);
  std::vector<int> rs(2), cs(2), rs0(2), cs0(2);
  EXPECT_EQ(QNDAgetbasis(q, rs.data(), cs.data()), 0);
  EXPECT_EQ(QNDAgetbasis(p, rs0.data(), cs0.data()), 0);
  EXPECT_EQ(rs, rs0);
  EXPECT_EQ(cs, cs0);
  EXPECT_EQ(save(q), bytes);
  EXPECT_EQ(QNDAdestroyprob(q), 0);
}

TEST_F(State, BadBytesAreRefused) {
  solved();
  std::vector<char> bytes = save(p);
  const QNDAint64 n = static_cast<QNDAint64>(bytes.size());
  EXPECT_NE(QNDAloadsolvestate(p, bytes.data(), n - 1), 0);
  EXPECT_NE(last_error().find("truncated"), std::string::npos) << last_error();
  std::vector<char> junk(bytes.size(), 'x');
  EXPECT_NE(QNDAloadsolvestate(p, junk.data(), n), 0);
  EXPECT_NE(last_error().find("not a saved state"), std::string::npos) << last_error();
  EXPECT_NE(QNDAloadsolvestate(p, nullptr, n), 0);
  QNDAint64 small = 0;
  EXPECT_NE(QNDAsavesolvestate(p, bytes.data(), 3, &small), 0);
  EXPECT_EQ(small, n);
  // The results of a two-column problem do not fit a one-column one.
  load({1}, {{1}}, "L", {1});
  EXPECT_NE(QNDAloadsolvestate(p, bytes.data(), n), 0);
  EXPECT_NE(last_error().find("2 column values for a problem of 1"), std::string::npos)
      << last_error();
}

TEST_F(State, BuildInfoListsLibraryAndEngine) {
  int n = 0;
  ASSERT_EQ(QNDAgetbuildinfo(nullptr, 0, &n), 0);
  std::string info(static_cast<size_t>(n), '\0');
  ASSERT_EQ(QNDAgetbuildinfo(&info[0], n, nullptr), 0);
  info.resize(std::strlen(info.c_str()));
  char version[QNDA_MAXVERSIONLENGTH];
  QNDAgetversion(version);
  EXPECT_EQ(info.rfind(std::string("library\tlibqnda\t") + version + "\t\n", 0), 0u) << info;
  EXPECT_NE(info.find("engine\thighs\t"), std::string::npos) << info;
  char tiny[4];
  EXPECT_EQ(QNDAgetbuildinfo(tiny, sizeof tiny, nullptr), 0);
  EXPECT_EQ(std::strlen(tiny), 3u);  // cut, terminated
}

}  // namespace
