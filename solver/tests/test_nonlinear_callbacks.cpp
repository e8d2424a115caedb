// The callback slots of a nonlinear problem, their events in a solve, and
// multistart.
#include <atomic>
#include <cmath>
#include <string>
#include <vector>

#include "test_nonlinear_util.h"

namespace {

struct Log {
  std::vector<std::string> events;
  int stop_at_iterend = 0;
};

int on_event(QSLPprob, void *obj) {
  static_cast<Log *>(obj)->events.push_back("event");
  return 0;
}

int on_iterend(QSLPprob, void *obj) {
  Log *l = static_cast<Log *>(obj);
  l->events.push_back("iterend");
  return static_cast<int>(l->events.size()) >= l->stop_at_iterend && l->stop_at_iterend > 0;
}

int on_slpstart(QSLPprob, void *obj) {
  static_cast<Log *>(obj)->events.push_back("slpstart");
  return 0;
}

int on_destroy(QSLPprob, void *obj) {
  ++*static_cast<int *>(obj);
  return 0;
}

using SlpCallbacks = qtest::Nlp;

TEST_F(SlpCallbacks, EverySlotKeepsWhatWasSet) {
  Log log;
  int tag = 0;
  // One event-typed setter and getter per kind that takes QSLPcb_event.
  using Set = int (*)(QSLPprob, QSLPcb_event, void *);
  using Get = int (*)(QSLPprob, QSLPcb_event *, void **);
  const std::pair<Set, Get> kinds[] = {
      {QSLPsetcbcascadeend, QSLPgetcbcascadeend}, {QSLPsetcbcascadestart, QSLPgetcbcascadestart},
      {QSLPsetcbconstruct, QSLPgetcbconstruct},   {QSLPsetcbdestroy, QSLPgetcbdestroy},
      {QSLPsetcbiterend, QSLPgetcbiterend},       {QSLPsetcbiterstart, QSLPgetcbiterstart},
      {QSLPsetcbslpend, QSLPgetcbslpend},         {QSLPsetcbslpnode, QSLPgetcbslpnode},
      {QSLPsetcbslpstart, QSLPgetcbslpstart}};
  for (const auto &k : kinds) {
    ASSERT_EQ(k.first(s, on_event, &tag), 0);
    QSLPcb_event f = nullptr;
    void *o = nullptr;
    ASSERT_EQ(k.second(s, &f, &o), 0);
    EXPECT_EQ(f, on_event);
    EXPECT_EQ(o, &tag);
    // NULL empties the slot and forgets the object
    ASSERT_EQ(k.first(s, nullptr, &tag), 0);
    ASSERT_EQ(k.second(s, &f, &o), 0);
    EXPECT_EQ(f, nullptr);
    EXPECT_EQ(o, nullptr);
  }
  EXPECT_NE(QSLPsetcbiterend(nullptr, on_event, &log), 0);
}

TEST_F(SlpCallbacks, SlpEventsAndAStopFromIterend) {
  cols({"x", "y"});
  formula(-1, "(1 - x)^2 + 100 * (y - x^2)^2");
  start({-1.2, 1.0});
  ASSERT_EQ(QSLPsetintcontrol(s, QSLP_SLPCURVATURE, 1), 0);
  Log log;
  ASSERT_EQ(QSLPsetcbslpstart(s, on_slpstart, &log), 0);
  ASSERT_EQ(QSLPsetcbiterend(s, on_iterend, &log), 0);
  EXPECT_EQ(solve(QSLP_ALG_SLP), QSLP_NLPSTATUS_LOCALLY_OPTIMAL);
  int iters = 0;
  ASSERT_EQ(QSLPgetintattrib(s, QSLP_ITER, &iters), 0);
  ASSERT_EQ(static_cast<int>(log.events.size()), iters + 1);
  EXPECT_EQ(log.events[0], "slpstart");

  log = Log();
  log.stop_at_iterend = 3;  // slpstart, then the second iteration's end
  EXPECT_EQ(solve(QSLP_ALG_SLP), QSLP_NLPSTATUS_UNFINISHED);
  ASSERT_EQ(QSLPgetintattrib(s, QSLP_ITER, &iters), 0);
  EXPECT_EQ(iters, 2);
  int stop = 0;
  ASSERT_EQ(QSLPgetintattrib(s, QSLP_STOPSTATUS, &stop), 0);
  EXPECT_EQ(stop, QNDA_STOP_USER);
}

TEST(SlpCallbacksLifetime, DestroyFiresOnce) {
  ASSERT_EQ(QNDAinit(nullptr), 0);
  ASSERT_EQ(QSLPinit(), 0);
  QNDAprob p = nullptr;
  QSLPprob s = nullptr;
  ASSERT_EQ(QSLPcreateprob(&s, &p), 0);
  int count = 0;
  ASSERT_EQ(QSLPsetcbdestroy(s, on_destroy, &count), 0);
  ASSERT_EQ(QSLPdestroyprob(s), 0);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(QSLPfree(), 0);
  EXPECT_EQ(QNDAfree(), 0);
}

// Multistart: f(x) = sin(3x) + 0.1 x^2 on [-5, 5] has its global minimum
// near x = -0.52 and local ones beside it; from x = 1.3 a single solve
// stops at the one near 1.57.
class Multistart : public qtest::Nlp {
 public:
  std::atomic<int> starts{0}, ends{0};
  void *winner = nullptr;

 protected:
  void model() {
    cols({"x"}, -5.0, 5.0);
    formula(-1, "sin(3 * x) + 0.1 * x^2");
    start({1.3});
  }
};

int ms_start(QSLPprob, void *obj, void *job, const char *, int *status) {
  static_cast<Multistart *>(obj)->starts++;
  return 0;
}
int ms_end(QSLPprob, void *obj, void *job, const char *, int *status) {
  static_cast<Multistart *>(obj)->ends++;
  return 0;
}
int ms_winner(QSLPprob, void *obj, void *job, const char *) {
  static_cast<Multistart *>(obj)->winner = job;
  return 0;
}
int ms_skip_all(QSLPprob, void *, void *, const char *, int *status) {
  *status = 1;
  return 0;
}

TEST_F(Multistart, RandomStartsFindTheGlobalMinimum) {
  model();
  ASSERT_EQ(solve(QSLP_ALG_SLP), QSLP_NLPSTATUS_LOCALLY_OPTIMAL);
  EXPECT_NEAR(x()[0], 1.5, 0.2);  // the local one

  int tag = 7;
  ASSERT_EQ(QSLPmsaddpreset(s, "random", QSLP_MSPRESET_INITIALVALUES, 12, &tag), 0) << error();
  ASSERT_EQ(QSLPsetintcontrol(s, QSLP_MSTHREADS, 2), 0);
  ASSERT_EQ(QSLPsetcbmsjobstart(s, ms_start, this), 0);
  ASSERT_EQ(QSLPsetcbmsjobend(s, ms_end, this), 0);
  ASSERT_EQ(QSLPsetcbmswinner(s, ms_winner, this), 0);
  ASSERT_EQ(solve(QSLP_ALG_SLP), QSLP_NLPSTATUS_LOCALLY_OPTIMAL) << error();
  EXPECT_NEAR(x()[0], -0.5122, 1e-3);
  EXPECT_NEAR(obj(), -0.9732, 1e-3);
  EXPECT_EQ(starts.load(), 12);
  EXPECT_EQ(ends.load(), 12);
  EXPECT_EQ(winner, &tag);
  int w = -1, njobs = 0;
  ASSERT_EQ(QSLPgetintattrib(s, QSLP_MSWINNER, &w), 0);
  ASSERT_EQ(QSLPgetintattrib(s, QSLP_MSJOBS, &njobs), 0);
  EXPECT_EQ(njobs, 12);
  int st = 0;
  double o = 0, viol = 1;
  ASSERT_EQ(QSLPmsgetjobresult(s, w, &st, &o, &viol), 0);
  EXPECT_EQ(st, QSLP_NLPSTATUS_LOCALLY_OPTIMAL);
  EXPECT_DOUBLE_EQ(o, obj());
  for (int k = 0; k < njobs; ++k) {
    ASSERT_EQ(QSLPmsgetjobresult(s, k, &st, &o, nullptr), 0);
    EXPECT_GE(o, obj() - 1e-9);  // none better than the winner
  }
  EXPECT_NE(QSLPmsgetjobresult(s, njobs, &st, nullptr, nullptr), 0);

  // Every job skipped: nothing to keep.
  ASSERT_EQ(QSLPsetcbmsjobstart(s, ms_skip_all, nullptr), 0);
  EXPECT_EQ(solve(QSLP_ALG_SLP), QSLP_NLPSTATUS_UNFINISHED);
  ASSERT_EQ(QSLPgetintattrib(s, QSLP_MSWINNER, &w), 0);
  EXPECT_EQ(w, -1);

  ASSERT_EQ(QSLPmsclear(s), 0);
  ASSERT_EQ(QSLPgetintattrib(s, QSLP_MSJOBS, &njobs), 0);
  EXPECT_EQ(njobs, 0);
}

TEST_F(Multistart, JobsCarryTheirStartsAndControls) {
  model();
  const int col = 0;
  const double left = -0.3, right = 1.3;
  const int ids[] = {QSLP_ALGORITHM};
  const int vals[] = {QSLP_ALG_SLP};
  ASSERT_EQ(QSLPmsaddjob(s, "right", 1, &col, &right, 1, ids, vals, 0, nullptr, nullptr, nullptr),
            0);
  ASSERT_EQ(QSLPmsaddjob(s, "left", 1, &col, &left, 1, ids, vals, 0, nullptr, nullptr, nullptr), 0);
  ASSERT_EQ(solve(QSLP_ALG_SLP), QSLP_NLPSTATUS_LOCALLY_OPTIMAL);
  int w = -1;
  ASSERT_EQ(QSLPgetintattrib(s, QSLP_MSWINNER, &w), 0);
  EXPECT_EQ(w, 1);
  EXPECT_NEAR(x()[0], -0.5122, 1e-3);

  // Bad jobs are refused whole.
  const int bad_col = 3, bad_id = 99999, sense = QSLP_OBJSENSE;
  const double one = 1.0, nan = std::nan("");
  EXPECT_NE(
      QSLPmsaddjob(s, "", 1, &bad_col, &one, 0, nullptr, nullptr, 0, nullptr, nullptr, nullptr), 0);
  EXPECT_NE(QSLPmsaddjob(s, "", 1, &col, &nan, 0, nullptr, nullptr, 0, nullptr, nullptr, nullptr),
            0);
  EXPECT_NE(
      QSLPmsaddjob(s, "", 0, nullptr, nullptr, 1, &bad_id, vals, 0, nullptr, nullptr, nullptr), 0);
  EXPECT_NE(QSLPmsaddjob(s, "", 0, nullptr, nullptr, 0, nullptr, nullptr, 1, &sense, &one, nullptr),
            0);
  EXPECT_NE(QSLPmsaddpreset(s, "", 42, 3, nullptr), 0);
  EXPECT_NE(QSLPmsaddpreset(s, "", QSLP_MSPRESET_PERTURB, -1, nullptr), 0);
  int njobs = 0;
  ASSERT_EQ(QSLPgetintattrib(s, QSLP_MSJOBS, &njobs), 0);
  EXPECT_EQ(njobs, 2);
}

TEST_F(Multistart, PresetsOfPerturbationsAndAlgorithms) {
  model();
  ASSERT_EQ(QSLPmsaddpreset(s, "sweep", QSLP_MSPRESET_ALGORITHMS, 4, nullptr), 0);
  ASSERT_EQ(QSLPmsaddpreset(s, "perturb", QSLP_MSPRESET_PERTURB, 4, nullptr), 0);
  ASSERT_EQ(solve(QSLP_ALG_SLP), QSLP_NLPSTATUS_LOCALLY_OPTIMAL) << error();
  // every job ran and ended somewhere sensible
  for (int k = 0; k < 8; ++k) {
    int st = 0;
    ASSERT_EQ(QSLPmsgetjobresult(s, k, &st, nullptr, nullptr), 0);
    EXPECT_EQ(st, QSLP_NLPSTATUS_LOCALLY_OPTIMAL) << "job " << k;
  }
  EXPECT_LE(obj(), -0.75);
}

}  // namespace

namespace {

int shifted_square(QSLPprob, void *obj, double a, double *value) {
  ++*static_cast<int *>(obj);
  *value = (a - 1.0) * (a - 1.0) + 0.5;
  return 0;
}

int formula_fails(QSLPprob, void *, double, double *) { return 1; }

class FormulaCallback : public qtest::Nlp, public ::testing::WithParamInterface<int> {};

TEST_P(FormulaCallback, CbformulaIsTheCallbacksValue) {
  cols({"x"}, -3.0, 3.0);
  formula(-1, "cbformula(x) + 0.1 * x");
  int calls = 0;
  ASSERT_EQ(QSLPsetcbformula(s, shifted_square, &calls), 0);
  EXPECT_EQ(solve(GetParam()), QSLP_NLPSTATUS_LOCALLY_OPTIMAL) << error();
  EXPECT_NEAR(x()[0], 0.95, 1e-3);  // 2 (x - 1) + 0.1 = 0
  EXPECT_NEAR(obj(), 0.0025 + 0.5 + 0.095, 1e-5);
  EXPECT_GT(calls, 0);
  // A failing callback leaves the formula undefined at the start.
  ASSERT_EQ(QSLPsetcbformula(s, formula_fails, nullptr), 0);
  EXPECT_NE(QSLPnlpoptimize(s, ""), 0);
}

INSTANTIATE_TEST_SUITE_P(Algorithms, FormulaCallback,
                         ::testing::Values(QSLP_ALG_SLP, QSLP_ALG_IPOPT));

}  // namespace

namespace {

// Integer columns: min (x - 2.6)^2 + (y - 1.3)^2, x + y <= 3.5, x, y integer
// has its optimum 0.45 at (2, 1); the quadratic parts are convex, so the
// search proves it.
using Global = qtest::Nlp;

TEST_F(Global, ConvexMiqpIsProvenOptimal) {
  cols({"x", "y"}, -5.0, 5.0);
  row('L', 3.5, {{0, 1.0}, {1, 1.0}});
  const int c[] = {0, 1};
  const char t[] = {'I', 'I'};
  ASSERT_EQ(QNDAchgcoltype(p, 2, c, t), 0);
  formula(-1, "(x - 2.6)^2 + (y - 1.3)^2");
  ASSERT_EQ(QSLPglobal(s), 0) << error();
  // a formula: convexity is not decided, the status says local
  EXPECT_EQ(status(), QSLP_NLPSTATUS_LOCALLY_OPTIMAL);
  EXPECT_NEAR(obj(), 0.45, 1e-7);
  EXPECT_NEAR(x()[0], 2.0, 1e-6);
  EXPECT_NEAR(x()[1], 1.0, 1e-6);
  // the same through the main problem's quadratic objective
  ASSERT_EQ(QSLPloadcoefs(s, 0, nullptr, nullptr, nullptr, c, 1, nullptr, nullptr), 0);
  const int qc[] = {0, 1};
  const double qv[] = {1.0, 1.0}, lin[] = {-5.2, -2.6};  // x^2 + y^2 - 5.2 x - 2.6 y
  ASSERT_EQ(QNDAchgmqobj(p, 2, qc, qc, qv), 0) << main_error();
  ASSERT_EQ(QNDAchgobj(p, 2, c, lin), 0);
  ASSERT_EQ(QSLPnlpoptimize(s, ""), 0) << error();
  EXPECT_EQ(status(), QSLP_NLPSTATUS_OPTIMAL);
  EXPECT_NEAR(obj(), 0.45 - 2.6 * 2.6 - 1.3 * 1.3, 1e-7);
}

}  // namespace
