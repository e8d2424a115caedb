// A problem being optimised is busy: changes are refused with QNDA_ERR_BUSY,
// from its own message handlers and from other threads, while queries work.
#include <atomic>
#include <string>
#include <thread>

#include "test_solve_helpers.h"

using qtest::Prob;

namespace {

class Busy : public Prob {
 protected:
  // Calls made from the first message of a solve; the results are kept for
  // the test body to check after the solve.
  struct Seen {
    bool done = false;
    int chgobj = -1, optimise = -1, destroy = -1, read = -1, setcontrol = -1, delcols = -1;
    int getcols = -1, cols = -1, getobj = -1, getcontrol = -1;
  };

  static void on_message(QNDAprob prob, void *data, const char *msg, int, int) {
    auto *seen = static_cast<Seen *>(data);
    if (!msg || seen->done) return;
    seen->done = true;
    const int col = 0;
    const double c = 5;
    seen->chgobj = QNDAchgobj(prob, 1, &col, &c);
    seen->optimise = QNDAlpoptimize(prob, "");
    seen->destroy = QNDAdestroyprob(prob);
    seen->read = QNDAreadprob(prob, qtest::instance("egout.mps").c_str(), "");
    seen->setcontrol = QNDAsetintcontrol(prob, QNDA_LOGLEVEL, 1);
    seen->delcols = QNDAdelcols(prob, 1, &col);
    seen->getcols = QNDAgetintattrib(prob, QNDA_COLS, &seen->cols);
    double obj = 0;
    seen->getobj = QNDAgetobj(prob, &obj, 0, 0);
    int level = 0;
    seen->getcontrol = QNDAgetintcontrol(prob, QNDA_LOGLEVEL, &level);
  }

  void load_small() { load({-1, -1}, {{1, 2}, {3, 1}}, "LL", {4, 6}); }
};

TEST_F(Busy, ChangesFromTheSolvesOwnHandlerAreRefused) {
  load_small();
  Seen seen;
  ASSERT_EQ(QNDAsetintcontrol(p, QNDA_OUTPUTLOG, 1), 0);
  ASSERT_EQ(QNDAenablemessages(1), 0);
  ASSERT_EQ(QNDAaddcbmessage(p, on_message, &seen, 0), 0);
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  ASSERT_TRUE(seen.done);
  for (int rc :
       {seen.chgobj, seen.optimise, seen.destroy, seen.read, seen.setcontrol, seen.delcols})
    EXPECT_EQ(rc, QNDA_ERR_BUSY);
  EXPECT_EQ(seen.getcols, 0);
  EXPECT_EQ(seen.cols, 2);
  EXPECT_EQ(seen.getobj, 0);
  EXPECT_EQ(seen.getcontrol, 0);
  // The solve itself was untouched, and the problem is free again after it.
  EXPECT_EQ(intattr(QNDA_LPSTATUS), QNDA_LP_OPTIMAL);
  EXPECT_NEAR(dblattr(QNDA_LPOBJVAL), -2.8, 1e-9);
  ASSERT_EQ(QNDAremovecbmessage(p, on_message, &seen), 0);
  const int col = 0;
  const double c = -2;
  EXPECT_EQ(QNDAchgobj(p, 1, &col, &c), 0) << last_error();
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
  EXPECT_NEAR(dblattr(QNDA_LPOBJVAL), -4.4, 1e-9);
}

// The other thread acts while the solve is held inside its first message.
TEST_F(Busy, AnotherThreadIsRefusedAndASecondSolveFails) {
  load_small();
  struct Hold {
    std::atomic<bool> inside{false}, release{false};
  } hold;
  auto wait = [](QNDAprob, void *data, const char *msg, int, int) {
    auto *h = static_cast<Hold *>(data);
    if (!msg || h->inside.exchange(true)) return;
    while (!h->release.load()) std::this_thread::yield();
  };
  ASSERT_EQ(QNDAsetintcontrol(p, QNDA_OUTPUTLOG, 1), 0);
  ASSERT_EQ(QNDAenablemessages(1), 0);
  ASSERT_EQ(QNDAaddcbmessage(p, wait, &hold, 0), 0);
  int rc = -1;
  std::thread solver([&] { rc = QNDAlpoptimize(p, ""); });
  while (!hold.inside.load()) std::this_thread::yield();
  const int col = 1;
  const double c = 3;
  EXPECT_EQ(QNDAchgobj(p, 1, &col, &c), QNDA_ERR_BUSY);
  EXPECT_EQ(QNDAmipoptimize(p, ""), QNDA_ERR_BUSY);
  EXPECT_EQ(QNDAdestroyprob(p), QNDA_ERR_BUSY);
  int code = 0;
  char msg[QNDA_MAXMESSAGELENGTH];
  ASSERT_EQ(QNDAgetlasterror(p, &code, msg, sizeof msg, nullptr), 0);
  EXPECT_EQ(code, QNDA_ERR_BUSY);
  EXPECT_NE(std::string(msg).find("QNDAdestroyprob: the problem is being optimised"),
            std::string::npos)
      << msg;
  double lb = -1;
  EXPECT_EQ(QNDAgetlb(p, &lb, 1, 1), 0);
  hold.release = true;
  solver.join();
  EXPECT_EQ(rc, 0) << last_error();
  EXPECT_EQ(intattr(QNDA_LPSTATUS), QNDA_LP_OPTIMAL);
  EXPECT_NEAR(dblattr(QNDA_LPOBJVAL), -2.8, 1e-9);
}

}  // namespace
