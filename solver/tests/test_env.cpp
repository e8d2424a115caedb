// Environment: initialisation counting, version and banner, last errors and
// the string convention, handle checks, message handlers, the allocator, and
// the nonlinear interface's lifecycle.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "qnda.h"
#include "qslp.h"
#include "test_fixture.h"

namespace {

std::string global_error(int *code = nullptr) {
  char buf[QNDA_MAXMESSAGELENGTH];
  int c = -1;
  EXPECT_EQ(QNDA_ge_getlasterror(&c, buf, sizeof buf, nullptr), 0);
  if (code) *code = c;
  return buf;
}

std::string prob_error(QNDAprob p, int *code = nullptr) {
  char buf[QNDA_MAXMESSAGELENGTH];
  int c = -1;
  EXPECT_EQ(QNDAgetlasterror(p, &c, buf, sizeof buf, nullptr), 0);
  if (code) *code = c;
  return buf;
}

TEST(Version, DottedAndNumbers) {
  char buf[QNDA_MAXVERSIONLENGTH] = {0};
  ASSERT_EQ(QNDAgetversion(buf), 0);
  EXPECT_STREQ(buf, "34.01.00");
  int major = 0, minor = 0, build = -1;
  ASSERT_EQ(QNDAgetversionnumbers(&major, &minor, &build), 0);
  EXPECT_EQ(major, 34);
  EXPECT_EQ(minor, 1);
  EXPECT_EQ(build, 0);
}

TEST(Lifecycle, InitIsCountedAndFreeWithoutInitFails) {
  ASSERT_EQ(QNDAinit(nullptr), 0);
  ASSERT_EQ(QNDAinit(""), 0);
  ASSERT_EQ(QNDAfree(), 0);
  QNDAprob p = nullptr;
  ASSERT_EQ(QNDAcreateprob(&p), 0) << "one QNDAinit is still open";
  ASSERT_EQ(QNDAdestroyprob(p), 0);
  ASSERT_EQ(QNDAfree(), 0);

  EXPECT_EQ(QNDAcreateprob(&p), QNDA_ERR_NOTINIT);
  int code = 0;
  EXPECT_NE(global_error(&code).find("not initialised"), std::string::npos);
  EXPECT_EQ(code, QNDA_ERR_NOTINIT);

  EXPECT_EQ(QNDAfree(), QNDA_ERR_NOTINIT);
  EXPECT_NE(global_error().find("QNDAfree"), std::string::npos);
}

TEST(Lifecycle, ProblemCallsNeedAnOpenLibrary) {
  ASSERT_EQ(QNDAinit(nullptr), 0);
  QNDAprob p = nullptr;
  ASSERT_EQ(QNDAcreateprob(&p), 0);
  ASSERT_EQ(QNDAfree(), 0);
  int rows = -1;
  EXPECT_EQ(QNDAgetintattrib(p, QNDA_ROWS, &rows), QNDA_ERR_NOTINIT);
  int code = 0;
  EXPECT_NE(prob_error(p, &code).find("not initialised"), std::string::npos);
  EXPECT_EQ(code, QNDA_ERR_NOTINIT);
  // A problem may still be destroyed after the library was freed.
  EXPECT_EQ(QNDAdestroyprob(p), 0);
}

using Env = qtest::OneProblem;

TEST_F(Env, BannerNamesLibraryVersionAndEngine) {
  char banner[QNDA_MAXBANNERLENGTH] = {0};
  ASSERT_EQ(QNDAgetbanner(banner), 0);
  std::string b(banner);
  EXPECT_NE(b.find("34.01.00"), std::string::npos) << b;
  EXPECT_NE(b.find("HiGHS 1."), std::string::npos) << b;
}

TEST_F(Env, NullHandleIsRefusedWithAGlobalError) {
  int col = 0;
  double v = 1.0;
  EXPECT_EQ(QNDAchgobj(nullptr, 1, &col, &v), QNDA_ERR_ARGUMENT);
  EXPECT_EQ(global_error(), "QNDAchgobj: null problem");
  EXPECT_EQ(QNDAdestroyprob(nullptr), QNDA_ERR_ARGUMENT);
  EXPECT_EQ(QNDAgetlasterror(nullptr, nullptr, nullptr, 0, nullptr), QNDA_ERR_ARGUMENT);
}

TEST_F(Env, ForeignPointerIsNotAProblem) {
  // Memory that never was a problem: the magic number does not match.
  alignas(16) unsigned char junk[4096] = {0};
  QNDAprob fake = reinterpret_cast<QNDAprob>(junk);
  int rows = 0;
  EXPECT_EQ(QNDAgetintattrib(fake, QNDA_ROWS, &rows), QNDA_ERR_ARGUMENT);
  EXPECT_NE(global_error().find("not a problem"), std::string::npos);
}

TEST_F(Env, LastErrorFollowsTheStringConvention) {
  int col = 12;
  char t = 'U';
  double v = 1.0;
  ASSERT_EQ(QNDAchgbounds(p, 1, &col, &t, &v), QNDA_ERR_INDEX);
  const std::string full = prob_error(p);
  EXPECT_EQ(full, "QNDAchgbounds: column index 12 out of range (there are none)");

  int nbytes = 0, code = 0;
  ASSERT_EQ(QNDAgetlasterror(p, &code, nullptr, 0, &nbytes), 0);
  EXPECT_EQ(nbytes, static_cast<int>(full.size()) + 1);
  char small[6];
  std::memset(small, 'x', sizeof small);
  ASSERT_EQ(QNDAgetlasterror(p, &code, small, sizeof small, &nbytes), 0);
  EXPECT_STREQ(small, "QNDAc");
  EXPECT_EQ(nbytes, static_cast<int>(full.size()) + 1);
  EXPECT_EQ(code, QNDA_ERR_INDEX);

  int attr = 0;
  ASSERT_EQ(QNDAgetintattrib(p, QNDA_ERRORCODE, &attr), 0);
  EXPECT_EQ(attr, QNDA_ERR_INDEX);
}

TEST_F(Env, ErrorsOfOneProblemStayOnIt) {
  QNDAprob q = nullptr;
  ASSERT_EQ(QNDAcreateprob(&q), 0);
  ASSERT_EQ(QNDAchgobjsense(p, 0), QNDA_ERR_ARGUMENT);
  int code = -1;
  EXPECT_EQ(prob_error(q, &code), "");
  EXPECT_EQ(code, 0);
  EXPECT_EQ(QNDAdestroyprob(q), 0);
}

TEST_F(Env, CheckedModeDefaultsOnAndSwitches) {
  int checked = -1;
  ASSERT_EQ(QNDAgetcheckedmode(&checked), 0);
  EXPECT_EQ(checked, 1);
  ASSERT_EQ(QNDAsetcheckedmode(0), 0);
  ASSERT_EQ(QNDAgetcheckedmode(&checked), 0);
  EXPECT_EQ(checked, 0);
  ASSERT_EQ(QNDAsetcheckedmode(1), 0);
  ASSERT_EQ(QNDAgetcheckedmode(&checked), 0);
  EXPECT_EQ(checked, 1);
}

TEST_F(Env, ProblemNameRoundTripsAndItsLengthCountsTheZero) {
  ASSERT_EQ(QNDAsetprobname(p, "blending"), 0);
  int len = 0;
  ASSERT_EQ(QNDAgetintattrib(p, QNDA_PROBNAMELENGTH, &len), 0);
  EXPECT_EQ(len, 9);
  std::vector<char> buf(len);
  int nbytes = 0;
  ASSERT_EQ(QNDAgetprobname(p, buf.data(), len, &nbytes), 0);
  EXPECT_STREQ(buf.data(), "blending");
  EXPECT_EQ(nbytes, 9);
  std::string longname(QNDA_MAXNAMELENGTH, 'n');
  EXPECT_EQ(QNDAsetprobname(p, longname.c_str()), QNDA_ERR_ARGUMENT);
}

TEST_F(Env, InterruptNeedsAStopReason) {
  EXPECT_EQ(QNDAinterrupt(p, 0), QNDA_ERR_ARGUMENT);
  std::thread t([&] { EXPECT_EQ(QNDAinterrupt(p, QNDA_STOP_USER), 0); });
  t.join();
}

TEST_F(Env, AllocatorAllocatesGrowsAndFrees) {
  void *mem = nullptr;
  ASSERT_EQ(qo_MemoryAllocator_Alloc_Untyped(qo_MemoryAllocator_DefaultHeap, 16, &mem), 0);
  ASSERT_NE(mem, nullptr);
  std::memcpy(mem, "0123456789abcdef", 16);
  ASSERT_EQ(qo_MemoryAllocator_Realloc_Untyped(qo_MemoryAllocator_DefaultHeap, &mem, 1 << 20), 0);
  EXPECT_EQ(std::memcmp(mem, "0123456789abcdef", 16), 0);
  ASSERT_EQ(qo_MemoryAllocator_Free_Untyped(qo_MemoryAllocator_DefaultHeap, &mem), 0);
  EXPECT_EQ(mem, nullptr);
  EXPECT_EQ(qo_MemoryAllocator_Free_Untyped(qo_MemoryAllocator_DefaultHeap, &mem), 0);
  void *fresh = nullptr;
  ASSERT_EQ(qo_MemoryAllocator_Realloc_Untyped(qo_MemoryAllocator_DefaultHeap, &fresh, 8), 0);
  EXPECT_NE(fresh, nullptr);
  qo_MemoryAllocator_Free_Untyped(qo_MemoryAllocator_DefaultHeap, &fresh);
}

// ------------------------------------------------------------ messages
struct Seen {
  std::vector<std::string> lines;  // "<tag>:<text>"
};

void tag_a(QNDAprob, void *data, const char *msg, int, int type) {
  if (msg && type > 0) static_cast<Seen *>(data)->lines.push_back(std::string("a:") + msg);
}
void tag_b(QNDAprob, void *data, const char *msg, int, int type) {
  if (msg && type > 0) static_cast<Seen *>(data)->lines.push_back(std::string("b:") + msg);
}
void tag_p(QNDAprob, void *data, const char *msg, int, int type) {
  if (msg && type > 0) static_cast<Seen *>(data)->lines.push_back(std::string("p:") + msg);
}

// A solve logs; a tiny LP is the one way to make a problem speak.
void solve_tiny(QNDAprob p) {
  char type = 'L';
  double rhs = 4.0, obj = -1.0, coef = 1.0;
  int start[2] = {0, 1}, row = 0;
  ASSERT_EQ(QNDAloadlp(p, "tiny", 1, 1, &type, &rhs, nullptr, &obj, start, nullptr, &row, &coef,
                       nullptr, nullptr),
            0);
  ASSERT_EQ(QNDAsetintcontrol(p, QNDA_OUTPUTLOG, 0), 0);
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0);
}

TEST_F(Env, HandlersRunProblemFirstThenByPriority) {
  Seen seen;
  ASSERT_EQ(QNDA_ge_addcbmsghandler(tag_a, &seen, 1), 0);
  ASSERT_EQ(QNDA_ge_addcbmsghandler(tag_b, &seen, 5), 0);
  ASSERT_EQ(QNDAaddcbmessage(p, tag_p, &seen, 0), 0);
  solve_tiny(p);
  ASSERT_GE(seen.lines.size(), 3u);
  EXPECT_EQ(seen.lines[0].substr(0, 2), "p:");
  EXPECT_EQ(seen.lines[1].substr(0, 2), "b:");
  EXPECT_EQ(seen.lines[2].substr(0, 2), "a:");
  EXPECT_EQ(seen.lines[0].substr(2), seen.lines[2].substr(2));

  // Removing by handler with NULL data removes it whatever its data.
  ASSERT_EQ(QNDA_ge_removecbmsghandler(tag_b, nullptr), 0);
  ASSERT_EQ(QNDAremovecbmessage(p, tag_p, &seen), 0);
  seen.lines.clear();
  solve_tiny(p);
  ASSERT_FALSE(seen.lines.empty());
  for (const auto &l : seen.lines) EXPECT_EQ(l.substr(0, 2), "a:");

  ASSERT_EQ(QNDAenablemessages(0), 0);
  seen.lines.clear();
  solve_tiny(p);
  EXPECT_TRUE(seen.lines.empty());
  ASSERT_EQ(QNDAenablemessages(1), 0);
  ASSERT_EQ(QNDA_ge_removecbmsghandler(nullptr, nullptr), 0);
  seen.lines.clear();
  solve_tiny(p);
  EXPECT_TRUE(seen.lines.empty());
}

// ------------------------------------------------------------ nonlinear
class Slp : public Env {
 protected:
  void SetUp() override {
    Env::SetUp();
    ASSERT_EQ(QSLPinit(), 0);
    ASSERT_EQ(QSLPcreateprob(&s, &p), 0);
  }
  void TearDown() override {
    EXPECT_EQ(QSLPdestroyprob(s), 0);
    EXPECT_EQ(QSLPfree(), 0);
    Env::TearDown();
  }
  QSLPprob s = nullptr;
};

TEST_F(Slp, PointerAttributeIsTheMainProblem) {
  void *ptr = nullptr;
  ASSERT_EQ(QSLPgetptrattrib(s, QSLP_QNDAPROB, &ptr), 0);
  EXPECT_EQ(ptr, static_cast<void *>(p));
  EXPECT_EQ(QSLPgetptrattrib(s, 42, &ptr), QNDA_ERR_UNKNOWNID);
}

TEST_F(Slp, ListedIdsHaveNamesUnlikeTheMainLibrarys) {
  const int *ids = nullptr;
  ASSERT_EQ(QSLPgetcalist(&ids), 0);
  const char *const *names = nullptr;
  const int *mids = nullptr, *flags = nullptr;
  ASSERT_EQ(QNDAgetcalist_c(&names, &mids, &flags), 0);
  int n = 0;
  for (; ids[n] != 0; ++n) {
    char name[129] = {0};
    int info = 0;
    ASSERT_EQ(QSLPcontrolname(ids[n], name, &info), 0) << ids[n];
    EXPECT_NE(info & 7, 0) << name;
    for (int k = 0; names[k][0]; ++k) EXPECT_STRNE(name, names[k]);
  }
  for (int id : {11999, 12000, 12013, 12016, 12026, 12044, 12179, 12146, 12415}) {
    bool found = false;
    for (int k = 0; k < n; ++k) found |= ids[k] == id;
    EXPECT_TRUE(found) << id;
  }
  int info = 0;
  char name[129];
  EXPECT_EQ(QSLPcontrolname(QSLP_OBJSENSE, name, &info), 0);
  EXPECT_EQ(info, QSLP_CAINFO_DOUBLE | QSLP_CAINFO_CONTROL);
  EXPECT_NE(QSLPcontrolname(4711, name, &info), 0);
}

TEST_F(Slp, ControlsCheckTypeAndValue) {
  ASSERT_EQ(QSLPsetintcontrol(s, QSLP_AUTOINIT, 0), 0);
  int v = -1;
  ASSERT_EQ(QSLPgetintcontrol(s, QSLP_AUTOINIT, &v), 0);
  EXPECT_EQ(v, 0);
  ASSERT_EQ(QSLPsetdblcontrol(s, QSLP_OBJSENSE, -1.0), 0);
  EXPECT_EQ(QSLPsetdblcontrol(s, QSLP_OBJSENSE, 0.5), QNDA_ERR_VALUE);
  double d = 0;
  ASSERT_EQ(QSLPgetdblcontrol(s, QSLP_OBJSENSE, &d), 0);
  EXPECT_EQ(d, -1.0);
  EXPECT_EQ(QSLPsetintcontrol(s, QSLP_OBJSENSE, 1), QNDA_ERR_TYPE);
  char msg[QNDA_MAXMESSAGELENGTH];
  int code = 0;
  ASSERT_EQ(QSLPgetlasterror(s, &code, msg, sizeof msg, nullptr), 0);
  EXPECT_EQ(code, QNDA_ERR_TYPE);
  EXPECT_NE(std::string(msg).find("QSLPsetintcontrol"), std::string::npos);
  EXPECT_EQ(QSLPsetintcontrol(s, QSLP_ORIGINALROWS, 1), QNDA_ERR_UNKNOWNID);
}

TEST_F(Slp, CountsComeFromTheMainProblem) {
  char types[2] = {'L', 'G'};
  double rhs[2] = {1, 2};
  ASSERT_EQ(QNDAloadlp(p, "m", 3, 2, types, rhs, nullptr, nullptr, nullptr, nullptr, nullptr,
                       nullptr, nullptr, nullptr),
            0);
  int rows = 0, cols = 0;
  ASSERT_EQ(QSLPgetintattrib(s, QSLP_ORIGINALROWS, &rows), 0);
  ASSERT_EQ(QSLPgetintattrib(s, QSLP_ORIGINALCOLS, &cols), 0);
  EXPECT_EQ(rows, 2);
  EXPECT_EQ(cols, 3);
  double obj = 1;
  ASSERT_EQ(QSLPgetdblattrib(s, QSLP_OBJVAL, &obj), 0);
  EXPECT_EQ(obj, 0.0);
}

TEST_F(Slp, CopyTakesControls) {
  QNDAprob p2 = nullptr;
  QSLPprob s2 = nullptr;
  ASSERT_EQ(QNDAcreateprob(&p2), 0);
  ASSERT_EQ(QSLPcreateprob(&s2, &p2), 0);
  ASSERT_EQ(QSLPsetintcontrol(s, QSLP_ITERLIMIT, 77), 0);
  ASSERT_EQ(QSLPcopyprob(s2, s, "copy"), 0);
  int v = 0;
  ASSERT_EQ(QSLPgetintcontrol(s2, QSLP_ITERLIMIT, &v), 0);
  EXPECT_EQ(v, 77);
  EXPECT_EQ(QSLPcopyprob(s2, s2, "self"), QNDA_ERR_ARGUMENT);
  EXPECT_EQ(QSLPdestroyprob(s2), 0);
  EXPECT_EQ(QNDAdestroyprob(p2), 0);
}

TEST(SlpLifecycle, FreeWithoutInitFails) {
  ASSERT_EQ(QSLPinit(), 0);
  ASSERT_EQ(QSLPfree(), 0);
  EXPECT_EQ(QSLPfree(), QNDA_ERR_NOTINIT);
}

}  // namespace
