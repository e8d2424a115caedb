// The control and attribute table through the C interface: the list, lookup
// by name, descriptions, typed access with type and bound checks, defaults,
// copying, and the counting attributes of the model store.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <climits>
#include <set>
#include <string>
#include <vector>

#include "qnda.h"
#include "test_fixture.h"

namespace {

struct Entry {
  std::string name;
  int id;
  int flags;
};

std::vector<Entry> calist() {
  const char *const *names = nullptr;
  const int *ids = nullptr, *flags = nullptr;
  std::vector<Entry> out;
  if (QNDAgetcalist_c(&names, &ids, &flags) != 0) return out;
  for (int k = 0; names[k][0]; ++k) out.push_back({names[k], ids[k], flags[k]});
  return out;
}

using Prob = qtest::OneProblem;

// ------------------------------------------------------------- the list
TEST(CaList, EndsWithAnEmptyNameAndIdZero) {
  const char *const *names = nullptr;
  const int *ids = nullptr, *flags = nullptr;
  ASSERT_EQ(QNDAgetcalist_c(&names, &ids, &flags), 0);
  int n = 0;
  while (names[n][0]) ++n;
  EXPECT_EQ(ids[n], 0);
  EXPECT_GT(n, 40);
}

TEST(CaList, NamesAreLowerCaseUniqueAndIdsUnique) {
  std::set<std::string> names;
  std::set<int> ids;
  for (const Entry &e : calist()) {
    for (char c : e.name) EXPECT_FALSE(std::isupper(static_cast<unsigned char>(c))) << e.name;
    EXPECT_TRUE(names.insert(e.name).second) << e.name;
    EXPECT_TRUE(ids.insert(e.id).second) << e.id;
  }
}

struct Fixed {
  int id;
  int flags;
};

class FixedIds : public ::testing::TestWithParam<Fixed> {};

TEST_P(FixedIds, PresentWithTheirType) {
  bool found = false;
  for (const Entry &e : calist()) {
    if (e.id != GetParam().id) continue;
    found = true;
    EXPECT_EQ(e.flags, GetParam().flags) << e.name;
  }
  EXPECT_TRUE(found) << GetParam().id;
}

INSTANTIATE_TEST_SUITE_P(
    Module, FixedIds,
    ::testing::Values(
        Fixed{1001, QNDA_CAFLAG_INT}, Fixed{1004, QNDA_CAFLAG_INT}, Fixed{1010, QNDA_CAFLAG_INT},
        Fixed{1011, QNDA_CAFLAG_INT}, Fixed{1018, QNDA_CAFLAG_INT}, Fixed{1019, QNDA_CAFLAG_INT},
        Fixed{1028, QNDA_CAFLAG_INT}, Fixed{1032, QNDA_CAFLAG_INT}, Fixed{1124, QNDA_CAFLAG_INT},
        Fixed{1158, QNDA_CAFLAG_INT}, Fixed{1194, QNDA_CAFLAG_INT}, Fixed{1214, QNDA_CAFLAG_INT},
        Fixed{2001, QNDA_CAFLAG_DOUBLE}, Fixed{2003, QNDA_CAFLAG_DOUBLE},
        Fixed{8035, QNDA_CAFLAG_INT | QNDA_CAFLAG_CONTROL},
        Fixed{QNDA_MAXNODE, QNDA_CAFLAG_INT | QNDA_CAFLAG_INT64 | QNDA_CAFLAG_CONTROL},
        Fixed{QNDA_TIMELIMIT, QNDA_CAFLAG_DOUBLE | QNDA_CAFLAG_CONTROL},
        Fixed{QNDA_SOLVERNAME, QNDA_CAFLAG_STRING | QNDA_CAFLAG_CONTROL}));

// One test per listed entry: its name leads back to it, it has a
// description, and a control's default reads back through the getter of its
// type and can be set to itself.
class EachEntry : public Prob, public ::testing::WithParamInterface<Entry> {
 protected:
  // A control's value reads back and can be set to itself.
  template <class T>
  void set_to_itself(int id, int (*get)(QNDAprob, int, T *), int (*set)(QNDAprob, int, T)) {
    T v;
    ASSERT_EQ(get(p, id, &v), 0);
    EXPECT_EQ(set(p, id, v), 0);
  }
};

TEST_P(EachEntry, NameLeadsBackAndDefaultIsUsable) {
  const Entry &e = GetParam();
  const bool control = e.flags & QNDA_CAFLAG_CONTROL;
  int id = -1, type = -1;
  if (control)
    ASSERT_EQ(QNDAgetcontrolinfo(p, e.name.c_str(), &id, &type), 0);
  else
    ASSERT_EQ(QNDAgetattribinfo(p, e.name.c_str(), &id, &type), 0);
  EXPECT_EQ(id, e.id);
  int want = (e.flags & QNDA_CAFLAG_INT64)    ? QNDA_TYPE_INT64
             : (e.flags & QNDA_CAFLAG_INT)    ? QNDA_TYPE_INT
             : (e.flags & QNDA_CAFLAG_DOUBLE) ? QNDA_TYPE_DOUBLE
                                              : QNDA_TYPE_STRING;
  EXPECT_EQ(type, want);

  int nbytes = 0;
  ASSERT_EQ(QNDAgetcadescription(e.id, nullptr, 0, &nbytes), 0);
  EXPECT_GT(nbytes, 10);

  if (!control) {
    if (type == QNDA_TYPE_DOUBLE) {
      double v;
      EXPECT_EQ(QNDAgetdblattrib(p, e.id, &v), 0);
    } else {
      int v;
      EXPECT_EQ(QNDAgetintattrib(p, e.id, &v), 0);
    }
    return;
  }
  switch (type) {
    case QNDA_TYPE_INT:
      set_to_itself(e.id, QNDAgetintcontrol, QNDAsetintcontrol);
      break;
    case QNDA_TYPE_INT64:
      set_to_itself(e.id, QNDAgetintcontrol64, QNDAsetintcontrol64);
      break;
    case QNDA_TYPE_DOUBLE:
      set_to_itself(e.id, QNDAgetdblcontrol, QNDAsetdblcontrol);
      break;
    case QNDA_TYPE_STRING: {
      char v[QNDA_MAXNAMELENGTH];
      ASSERT_EQ(QNDAgetstrcontrol(p, e.id, v, sizeof v, nullptr), 0);
      EXPECT_EQ(QNDAsetstrcontrol(p, e.id, v), 0);
      break;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Table, EachEntry, ::testing::ValuesIn(calist()),
                         [](const ::testing::TestParamInfo<Entry> &info) {
                           return info.param.name;
                         });

// -------------------------------------------------------- typed access
TEST_F(Prob, UnknownNamesGiveIdZeroWithoutError) {
  int id = -1, type = -1;
  ASSERT_EQ(QNDAgetcontrolinfo(p, "nosuchcontrol", &id, &type), 0);
  EXPECT_EQ(id, 0);
  EXPECT_EQ(type, QNDA_TYPE_NOTDEFINED);
  // An attribute's name is not a control's.
  ASSERT_EQ(QNDAgetcontrolinfo(p, "rows", &id, &type), 0);
  EXPECT_EQ(id, 0);
  ASSERT_EQ(QNDAgetattribinfo(p, "ROWS", &id, &type), 0);
  EXPECT_EQ(id, QNDA_ROWS);
}

using BadSet = qtest::Refused;

class BadControlSet : public Prob, public ::testing::WithParamInterface<BadSet> {};

TEST_P(BadControlSet, IsRefusedAndKeepsTheValue) {
  int before = 0;
  ASSERT_EQ(QNDAgetintcontrol(p, QNDA_LOGLEVEL, &before), 0);
  EXPECT_EQ(GetParam().call(p), GetParam().code);
  EXPECT_EQ(last_error(), GetParam().message);
  int after = 0;
  ASSERT_EQ(QNDAgetintcontrol(p, QNDA_LOGLEVEL, &after), 0);
  EXPECT_EQ(before, after);
}

INSTANTIATE_TEST_SUITE_P(
    Controls, BadControlSet,
    ::testing::Values(
        BadSet{"above", [](QNDAprob p) { return QNDAsetintcontrol(p, QNDA_LOGLEVEL, 7); },
               QNDA_ERR_VALUE,
               "QNDAsetintcontrol: value 7 of control loglevel out of its range [0, 3]"},
        BadSet{"double into int",
               [](QNDAprob p) { return QNDAsetdblcontrol(p, QNDA_LOGLEVEL, 2.0); }, QNDA_ERR_TYPE,
               "QNDAsetdblcontrol: control 8001 (loglevel) is of type integer, not double"},
        BadSet{"int into double",
               [](QNDAprob p) { return QNDAsetintcontrol(p, QNDA_TIMELIMIT, 2); }, QNDA_ERR_TYPE,
               "QNDAsetintcontrol: control 7001 (timelimit) is of type double, not integer"},
        BadSet{"unknown", [](QNDAprob p) { return QNDAsetintcontrol(p, 4711, 1); },
               QNDA_ERR_UNKNOWNID, "QNDAsetintcontrol: unknown control id 4711"},
        BadSet{"attribute", [](QNDAprob p) { return QNDAsetintcontrol(p, QNDA_ROWS, 1); },
               QNDA_ERR_UNKNOWNID,
               "QNDAsetintcontrol: 1001 (rows) is an attribute, not a control: attributes "
               "cannot be set"},
        BadSet{"nan",
               [](QNDAprob p) { return QNDAsetdblcontrol(p, QNDA_FEASTOL, __builtin_nan("")); },
               QNDA_ERR_VALUE,
               "QNDAsetdblcontrol: value nan of control feastol out of its range [1e-10, 1]"},
        BadSet{"engine", [](QNDAprob p) { return QNDAsetstrcontrol(p, QNDA_SOLVERNAME, "xyz"); },
               QNDA_ERR_VALUE, "QNDAsetstrcontrol: unknown engine \"xyz\" (known: highs, cbc)"},
        BadSet{"null string",
               [](QNDAprob p) { return QNDAsetstrcontrol(p, QNDA_LOGFILE, nullptr); },
               QNDA_ERR_ARGUMENT, "QNDAsetstrcontrol: null value for string control logfile"}),
    qtest::refused_name);

TEST_F(Prob, SixtyFourBitControlThroughBothGetters) {
  const QNDAint64 big = 5000000000LL;
  ASSERT_EQ(QNDAsetintcontrol64(p, QNDA_MAXNODE, big), 0);
  QNDAint64 v64 = 0;
  ASSERT_EQ(QNDAgetintcontrol64(p, QNDA_MAXNODE, &v64), 0);
  EXPECT_EQ(v64, big);
  int v = 0;
  ASSERT_EQ(QNDAgetintcontrol(p, QNDA_MAXNODE, &v), 0);
  EXPECT_EQ(v, INT_MAX) << "clamped into an int";
  ASSERT_EQ(QNDAsetintcontrol(p, QNDA_MAXNODE, 12), 0);
  ASSERT_EQ(QNDAgetintcontrol64(p, QNDA_MAXNODE, &v64), 0);
  EXPECT_EQ(v64, 12);
}

TEST_F(Prob, StringControlFollowsTheStringConvention) {
  ASSERT_EQ(QNDAsetstrcontrol(p, QNDA_SOLVERNAME, "HiGHS"), 0);
  char buf[4];
  int nbytes = 0;
  ASSERT_EQ(QNDAgetstrcontrol(p, QNDA_SOLVERNAME, buf, sizeof buf, &nbytes), 0);
  EXPECT_STREQ(buf, "hig");
  EXPECT_EQ(nbytes, 6);
}

TEST_F(Prob, SetDefaultsRestoresEveryControl) {
  ASSERT_EQ(QNDAsetintcontrol(p, QNDA_THREADS, 3), 0);
  ASSERT_EQ(QNDAsetdblcontrol(p, QNDA_MIPRELSTOP, 0.5), 0);
  ASSERT_EQ(QNDAsetstrcontrol(p, QNDA_LOGFILE, "x.log"), 0);
  ASSERT_EQ(QNDAsetdefaults(p), 0);
  int threads = -1;
  double gap = -1;
  char log[8] = "?";
  QNDAgetintcontrol(p, QNDA_THREADS, &threads);
  QNDAgetdblcontrol(p, QNDA_MIPRELSTOP, &gap);
  QNDAgetstrcontrol(p, QNDA_LOGFILE, log, sizeof log, nullptr);
  EXPECT_EQ(threads, 0);
  EXPECT_EQ(gap, 1e-4);
  EXPECT_STREQ(log, "");
}

TEST_F(Prob, CopiesTakeTheControls) {
  QNDAprob q = nullptr, r = nullptr;
  ASSERT_EQ(QNDAcreateprob(&q), 0);
  ASSERT_EQ(QNDAcreateprob(&r), 0);
  ASSERT_EQ(QNDAsetdblcontrol(p, QNDA_TIMELIMIT, 12.5), 0);
  ASSERT_EQ(QNDAcopycontrols(q, p), 0);
  ASSERT_EQ(QNDAcopyprob(r, p, "r"), 0);
  double t = 0;
  QNDAgetdblcontrol(q, QNDA_TIMELIMIT, &t);
  EXPECT_EQ(t, 12.5);
  QNDAgetdblcontrol(r, QNDA_TIMELIMIT, &t);
  EXPECT_EQ(t, 12.5);
  // ... as copies: changing the source later leaves them alone.
  ASSERT_EQ(QNDAsetdblcontrol(p, QNDA_TIMELIMIT, 1.0), 0);
  QNDAgetdblcontrol(q, QNDA_TIMELIMIT, &t);
  EXPECT_EQ(t, 12.5);
  EXPECT_EQ(QNDAdestroyprob(q), 0);
  EXPECT_EQ(QNDAdestroyprob(r), 0);
}

TEST_F(Prob, AttributeTypesAreChecked) {
  int i = 0;
  double d = 0;
  EXPECT_EQ(QNDAgetintattrib(p, QNDA_LPOBJVAL, &i), QNDA_ERR_TYPE);
  EXPECT_EQ(QNDAgetdblattrib(p, QNDA_ROWS, &d), QNDA_ERR_TYPE);
  EXPECT_EQ(QNDAgetintattrib(p, QNDA_LOGLEVEL, &i), QNDA_ERR_UNKNOWNID);
  EXPECT_EQ(QNDAgetintattrib(p, 99999, &i), QNDA_ERR_UNKNOWNID);
  char s[8];
  EXPECT_NE(QNDAgetstrattrib(p, QNDA_ROWS, s, sizeof s, nullptr), 0);
  EXPECT_EQ(QNDAgetcadescription(99999, s, sizeof s, nullptr), QNDA_ERR_UNKNOWNID);
}

// ---------------------------------------------- counting attributes
TEST_F(Prob, CountsDescribeTheStore) {
  // min x0 + x1^2 + x0 x2   s.t. r0: x0 + 2 x1 <= 4 (indicator on x2)
  //                              r1: x1 + x2 + x1^2 >= 1,  SOS1 {x0, x1}
  char rt[2] = {'L', 'G'};
  double rhs[2] = {4, 1};
  int start[4] = {0, 1, 3, 4};
  int rowind[4] = {0, 0, 1, 1};
  double val[4] = {1, 2, 1, 1};
  int q1[2] = {1, 0}, q2[2] = {1, 2};
  double qv[2] = {1, 1};
  int qrow = 1, qrc1 = 1, qrc2 = 1;
  double qrv = 1;
  int nq = 1;
  char ct[2] = {'B', 'I'};
  int ent[2] = {2, 1};
  char st = '1';
  int ss[2] = {0, 2}, sc[2] = {0, 1};
  double sr[2] = {1, 2};
  ASSERT_EQ(QNDAloadqcqpglobal(p, "counts", 3, 2, rt, rhs, nullptr, nullptr, start, nullptr, rowind,
                               val, nullptr, nullptr, 2, q1, q2, qv, 1, &qrow, &nq, &qrc1, &qrc2,
                               &qrv, 2, 1, ct, ent, nullptr, &st, ss, sc, sr),
            0);
  int r0 = 0, c2 = 2, one = 1;
  ASSERT_EQ(QNDAsetindicators(p, 1, &r0, &c2, &one), 0);
  struct {
    int id, want;
  } expect[] = {{QNDA_ROWS, 2},         {QNDA_ORIGINALROWS, 2}, {QNDA_COLS, 3},
                {QNDA_ORIGINALCOLS, 3}, {QNDA_ELEMS, 4},        {QNDA_MIPENTS, 2},
                {QNDA_SETS, 1},         {QNDA_ORIGINALSETS, 1}, {QNDA_SETMEMBERS, 2},
                {QNDA_QELEMS, 2},       {QNDA_QCONSTRAINTS, 1}, {QNDA_QCELEMS, 1},
                {QNDA_INDICATORS, 1},   {QNDA_SPAREROWS, 0},    {QNDA_PROBNAMELENGTH, 7},
                {QNDA_NAMELENGTH, 1},   {QNDA_OBJSENSE_ATTR, 1}};
  for (const auto &e : expect) {
    int v = -1;
    ASSERT_EQ(QNDAgetintattrib(p, e.id, &v), 0) << e.id;
    EXPECT_EQ(v, e.want) << "attribute " << e.id;
    QNDAint64 v64 = -1;
    ASSERT_EQ(QNDAgetintattrib64(p, e.id, &v64), 0) << e.id;
    EXPECT_EQ(v64, e.want) << "attribute " << e.id;
  }
  // A long name moves the name length (units of 8 characters).
  ASSERT_EQ(QNDAaddnames(p, QNDA_NAMES_COLUMNS, "a_seventeen_chars", 1, 1), 0);
  int len = 0;
  ASSERT_EQ(QNDAgetintattrib(p, QNDA_NAMELENGTH, &len), 0);
  EXPECT_EQ(len, 3);
}

}  // namespace

namespace {

// docs/controls.md is generated from the table; it must not fall behind it.
TEST(CaList, EveryEntryIsDocumented) {
  std::string path = std::string(QUENDA_DOCS_DIR) + "/controls.md";
  FILE *f = std::fopen(path.c_str(), "r");
  ASSERT_NE(f, nullptr) << path;
  std::string doc;
  char buf[4096];
  for (size_t n; (n = std::fread(buf, 1, sizeof buf, f)) > 0;) doc.append(buf, n);
  std::fclose(f);
  for (const Entry &e : calist()) {
    std::string row = "| " + std::to_string(e.id) + " | `" + e.name + "` |";
    EXPECT_NE(doc.find(row), std::string::npos) << e.name << " missing from " << path;
  }
}

}  // namespace
