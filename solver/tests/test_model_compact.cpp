// The store's compact parts.  Names: which pack into their word, renames
// and deletions against a plain reference, the lookup after each change, the
// pool kept small, and the same through the C interface (copies, deletions,
// defaults).  Bounds, ranges and thresholds, kept only once one differs
// from the default: their values through appends and deletions.
#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include "model/names.h"
#include "test_model_util.h"

namespace {

using qnda::NameStore;

// A store holding these names in order ("" unnamed).
NameStore store_of(std::initializer_list<const char *> names) {
  NameStore s;
  s.resize(names.size());
  size_t i = 0;
  for (const char *n : names) s.set(i++, n);
  return s;
}

struct PackCase {
  const char *name;
  bool packs;
};

class Packing : public ::testing::TestWithParam<PackCase> {};

TEST_P(Packing, RoundTripsAndIsFound) {
  const PackCase &c = GetParam();
  NameStore s = store_of({"", c.name, ""});
  EXPECT_TRUE(s.has(1));
  EXPECT_FALSE(s.has(0));
  EXPECT_EQ(s.get(1), c.name);
  EXPECT_EQ(s.length(1), std::string(c.name).size());
  EXPECT_EQ(s.packed(1), c.packs);
  EXPECT_EQ(s.find(c.name), 1);
  bool unnamed = false;
  EXPECT_EQ(s.longest(&unnamed), std::string(c.name).size());
  EXPECT_TRUE(unnamed);
}

INSTANTIATE_TEST_SUITE_P(
    Names, Packing,
    ::testing::Values(PackCase{"C0", true}, PackCase{"R123", true}, PackCase{"c5", true},
                      PackCase{"z9", true}, PackCase{"C4294967295", true},
                      PackCase{"C4294967296", false}, PackCase{"C9999999999", false},
                      PackCase{"C12345678901", false}, PackCase{"C00", false},
                      PackCase{"C01", false}, PackCase{"R-1", false}, PackCase{"R+1", false},
                      PackCase{"C 1", false}, PackCase{"C1 ", false}, PackCase{"x y", false},
                      PackCase{"C", false}, PackCase{"1C", false}, PackCase{"CC1", false},
                      PackCase{"_1", false},
                      PackCase{"\xc3\xa9"
                               "1",
                               false},
                      PackCase{"C1x", false}));

TEST(NameStore, TheEmptyNameIsUnnamed) {
  NameStore s = store_of({"pooled name", ""});
  s.set(0, "");
  EXPECT_FALSE(s.has(0));
  EXPECT_EQ(s.get(0), "");
  EXPECT_EQ(s.find(""), -1);
  EXPECT_EQ(s.find("pooled name"), -1);
}

TEST(NameStore, PackedAndPooledSpellingsStayApart) {
  NameStore s = store_of({"C1", "C01", "C001"});
  EXPECT_EQ(s.find("C1"), 0);
  EXPECT_EQ(s.find("C01"), 1);
  EXPECT_EQ(s.find("C001"), 2);
  EXPECT_EQ(s.find("C0001"), -1);
  EXPECT_EQ(s.find("c1"), -1);
}

TEST(NameStore, RenamesAndDuplicates) {
  NameStore s = store_of({"a", "", "a", ""});
  EXPECT_EQ(s.find("a"), 0) << "the first of equal names";
  s.set(0, "R7");
  EXPECT_EQ(s.find("a"), 2);
  EXPECT_EQ(s.find("R7"), 0);
  s.set(0, "long name with spaces");
  EXPECT_EQ(s.find("R7"), -1);
  EXPECT_EQ(s.find("long name with spaces"), 0);
  s.set(3, "R7");
  EXPECT_EQ(s.find("R7"), 3);
  std::vector<char> drop{1, 0, 1, 0};
  s.remove(drop);
  ASSERT_EQ(s.size(), 2u);
  EXPECT_EQ(s.find("R7"), 1);
  EXPECT_EQ(s.find("a"), -1);
  EXPECT_EQ(s.find("long name with spaces"), -1);
  EXPECT_FALSE(s.has(0));
}

// Random renames, deletions and growth checked against a vector of strings;
// every lookup is checked after each step.
TEST(NameStore, RandomWalkAgainstReference) {
  std::mt19937 rng(7);
  auto pick = [&](int k) { return std::uniform_int_distribution<int>(0, k - 1)(rng); };
  const char *forms[] = {"C%d", "R%d", "C0%d", "x%d", "name %d", "%d", ""};
  NameStore s;
  std::vector<std::string> ref;
  auto check = [&] {
    ASSERT_EQ(s.size(), ref.size());
    for (size_t i = 0; i < ref.size(); ++i) {
      ASSERT_EQ(s.get(i), ref[i]) << i;
      if (ref[i].empty()) continue;
      size_t first = 0;
      while (ref[first] != ref[i]) ++first;
      ASSERT_EQ(s.find(ref[i].c_str()), static_cast<long>(first)) << ref[i];
    }
  };
  for (int step = 0; step < 400; ++step) {
    int op = pick(5);
    if (op == 0 || ref.empty()) {
      size_t n = ref.size() + 1 + pick(20);
      s.resize(n);
      ref.resize(n);
    } else if (op == 1) {
      std::vector<char> drop(ref.size());
      std::vector<std::string> kept;
      for (size_t i = 0; i < ref.size(); ++i) {
        drop[i] = pick(3) == 0;
        if (!drop[i]) kept.push_back(ref[i]);
      }
      s.remove(drop);
      ref.swap(kept);
    } else {
      char buf[40];
      std::snprintf(buf, sizeof buf, forms[pick(7)], pick(50));
      size_t i = pick(static_cast<int>(ref.size()));
      s.set(i, buf);
      ref[i] = buf;
    }
    check();
    if (HasFatalFailure()) return;
  }
}

TEST(NameStore, PackedNamesTakeOneWordEach) {
  NameStore s;
  const int n = 100000;
  s.resize(n);
  char buf[16];
  for (int i = 0; i < n; ++i) {
    std::snprintf(buf, sizeof buf, "C%d", i * 41);
    s.set(i, buf);
  }
  EXPECT_LE(s.bytes(), static_cast<size_t>(n) * 8 + 64);
  EXPECT_EQ(s.find("C4100"), 100);
  EXPECT_EQ(s.find("C4101"), -1);
}

TEST(NameStore, ThePoolShrinksAfterRenamesAndDeletions) {
  NameStore s;
  const int n = 1000;
  s.resize(n);
  const std::string tail(100, 'x');
  for (int round = 0; round < 50; ++round)
    for (int i = 0; i < n; ++i)
      s.set(i, (std::to_string(round) + tail + std::to_string(i)).c_str());
  // 1,000 live names of about 105 bytes, 49 rounds of dead ones.
  EXPECT_LT(s.bytes(), 4u * n * 106);
  std::vector<char> drop(n, 1);
  for (int i = 0; i < n; i += 100) drop[i] = 0;
  s.remove(drop);
  EXPECT_LT(s.bytes(), 2000u);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(s.get(i), "49" + tail + std::to_string(i * 100));
  EXPECT_EQ(s.find(("49" + tail + "300").c_str()), 3);
}

// ---------------------------------------------------- through the C API
class Store : public ModelTest {
 protected:
  void SetUp() override {
    ModelTest::SetUp();
    ASSERT_EQ(QNDAaddcols64(p, 6, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    std::vector<char> t(6, 'L');
    std::vector<double> r(6, 0.0);
    std::vector<QNDAint64> start(7, 0);
    ASSERT_EQ(QNDAaddrows64(p, 6, 0, t.data(), r.data(), nullptr, start.data(), nullptr, nullptr),
              0);
  }
};

TEST_F(Store, MixedNamesSurviveDeletionCopyAndDefaults) {
  // Column 2 is named like the default name of column 4, which is unnamed.
  const char cols[] = "C17\0C017\0C4\0a b\0\0C4294967296";
  ASSERT_EQ(QNDAaddnames(p, QNDA_NAMES_COLUMNS, cols, 0, 5), 0) << last_error();
  EXPECT_EQ(names(QNDA_NAMES_COLUMNS, 6),
            (std::vector<std::string>{"C17", "C017", "C4", "a b", "C4", "C4294967296"}));
  EXPECT_EQ(index_of(QNDA_NAMES_COLUMNS, "C4"), 2);
  EXPECT_EQ(index_of(QNDA_NAMES_COLUMNS, "C017"), 1);
  int del[] = {0, 2};
  ASSERT_EQ(QNDAdelcols(p, 2, del), 0);
  EXPECT_EQ(names(QNDA_NAMES_COLUMNS, 4),
            (std::vector<std::string>{"C017", "a b", "C2", "C4294967296"}));
  EXPECT_EQ(index_of(QNDA_NAMES_COLUMNS, "C17"), -1);
  EXPECT_EQ(index_of(QNDA_NAMES_COLUMNS, "C2"), 2);
  EXPECT_EQ(index_of(QNDA_NAMES_COLUMNS, "C4"), -1);
  EXPECT_EQ(index_of(QNDA_NAMES_COLUMNS, "C4294967296"), 3);

  QNDAprob q = nullptr;
  ASSERT_EQ(QNDAcreateprob(&q), 0);
  ASSERT_EQ(QNDAcopyprob(q, p, "copy"), 0);
  ASSERT_EQ(QNDAaddnames(p, QNDA_NAMES_COLUMNS, "renamed", 1, 1), 0);
  int idx = -2;
  EXPECT_EQ(QNDAgetindex(q, QNDA_NAMES_COLUMNS, "a b", &idx), 0);
  EXPECT_EQ(idx, 1) << "the copy keeps its own names";
  EXPECT_EQ(index_of(QNDA_NAMES_COLUMNS, "a b"), -1);
  EXPECT_EQ(index_of(QNDA_NAMES_COLUMNS, "renamed"), 1);
  EXPECT_EQ(QNDAdestroyprob(q), 0);
}

TEST_F(Store, RowNamesAfterDeletionAndTheLongestName) {
  const char rows[] = "R5\0R4\0R3\0R2\0R1\0R0";
  ASSERT_EQ(QNDAaddnames(p, QNDA_NAMES_ROWS, rows, 0, 5), 0);
  int del[] = {5, 0};
  ASSERT_EQ(QNDAdelrows(p, 2, del), 0);
  EXPECT_EQ(names(QNDA_NAMES_ROWS, 4), (std::vector<std::string>{"R4", "R3", "R2", "R1"}));
  EXPECT_EQ(index_of(QNDA_NAMES_ROWS, "R1"), 3);
  EXPECT_EQ(index_of(QNDA_NAMES_ROWS, "R0"), -1);
  EXPECT_EQ(index_of(QNDA_NAMES_ROWS, "R5"), -1);
  ASSERT_EQ(QNDAaddnames(p, QNDA_NAMES_ROWS, "R4294967295", 2, 2), 0);
  EXPECT_EQ(index_of(QNDA_NAMES_ROWS, "R2"), -1);
  EXPECT_EQ(index_of(QNDA_NAMES_ROWS, "R4294967295"), 2);
  int longest = 0;
  ASSERT_EQ(QNDAgetintattrib(p, QNDA_NAMELENGTH, &longest), 0) << last_error();
  EXPECT_EQ(longest, 2) << "11 characters take two words of 8";
}

// ------------------------------------- ranges and thresholds set late
TEST_F(Store, RangesSetLateSurviveAppendsAndDeletions) {
  EXPECT_EQ(range(), std::vector<double>(6, 0.0));
  int rows[] = {4};
  double r[] = {2.5};
  ASSERT_EQ(QNDAchgrhsrange(p, 1, rows, r), 0) << last_error();
  char t[] = {'R', 'L'};
  double rhs[] = {1.0, 1.0}, rng[] = {-0.0, 7.0};
  QNDAint64 start[] = {0, 0, 0};
  ASSERT_EQ(QNDAaddrows64(p, 2, 0, t, rhs, rng, start, nullptr, nullptr), 0) << last_error();
  int del[] = {0, 1};
  ASSERT_EQ(QNDAdelrows(p, 2, del), 0);
  EXPECT_EQ(rowtypes(), "LLRLRL");
  std::vector<double> got = range();
  EXPECT_EQ(got, (std::vector<double>{0, 0, 2.5, 0, 0, 0})) << "non-'R' rows read 0";
  EXPECT_TRUE(std::signbit(got[4])) << "the range given is kept as given";
  // Row 5 was added 'L' with a range of 7: it is kept for a later type 'R'.
  int last[] = {5};
  char rt[] = {'R'};
  ASSERT_EQ(QNDAchgrowtype(p, 1, last, rt), 0);
  EXPECT_EQ(range()[5], 7.0);
}

TEST_F(Store, ThresholdsSetLateFollowTheirColumns) {
  int cols[] = {1, 4};
  char ct[] = {'S', 'P'};
  double lim[] = {0.5, 3.0};
  ASSERT_EQ(QNDAchgcoltype(p, 2, cols, ct), 0) << last_error();
  auto thresholds = [&] {
    int ne = 0, ns = 0;
    EXPECT_EQ(QNDAgetglobal64(p, &ne, &ns, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                              nullptr, 0, nullptr),
              0);
    std::vector<double> v(ne);
    EXPECT_EQ(QNDAgetglobal64(p, &ne, &ns, nullptr, nullptr, v.data(), nullptr, nullptr, nullptr,
                              nullptr, 0, nullptr),
              0);
    return v;
  };
  EXPECT_EQ(thresholds(), (std::vector<double>{0.0, 0.0})) << "none set yet";
  ASSERT_EQ(QNDAchgglblimit(p, 2, cols, lim), 0) << last_error();
  ASSERT_EQ(QNDAaddcols64(p, 1, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  int del[] = {0};
  ASSERT_EQ(QNDAdelcols(p, 1, del), 0);
  EXPECT_EQ(thresholds(), (std::vector<double>{0.5, 3.0}));
}

TEST_F(Store, BoundsSetLateFollowTheirColumns) {
  EXPECT_EQ(ub(), std::vector<double>(6, QNDA_INFINITY));
  int cols[] = {2, 3};
  char b[] = {'B', 'I'};
  ASSERT_EQ(QNDAchgcoltype(p, 2, cols, b), 0);  // a binary's upper bound becomes 1
  double lo[] = {-0.0, 2.0}, hi[] = {QNDA_INFINITY, 1e30};
  ASSERT_EQ(QNDAaddcols64(p, 2, 0, nullptr, nullptr, nullptr, nullptr, lo, hi), 0);
  int del[] = {0};
  ASSERT_EQ(QNDAdelcols(p, 1, del), 0);
  std::vector<double> l = lb();
  EXPECT_EQ(l, (std::vector<double>{0, 0, 0, 0, 0, 0, 2}));
  EXPECT_TRUE(std::signbit(l[5])) << "the bound given is kept as given";
  EXPECT_EQ(ub(), (std::vector<double>{QNDA_INFINITY, 1, QNDA_INFINITY, QNDA_INFINITY,
                                       QNDA_INFINITY, QNDA_INFINITY, 1e30}));
}

}  // namespace
