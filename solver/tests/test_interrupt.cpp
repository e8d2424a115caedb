// Stopping optimisations: QNDAinterrupt from another thread, SIGINT during a
// solve, and the limits (time, nodes, solutions) with their stop reasons.
#include <atomic>
#include <cmath>
#include <chrono>
#include <csignal>
#include <cstring>
#include <string>
#include <random>
#include <thread>

#include "test_solve_helpers.h"

using qtest::Prob;

namespace {

std::atomic<int> g_old_handler_calls{0};
extern "C" void counting_handler(int) { g_old_handler_calls.fetch_add(1); }

class Interrupt : public Prob {
 protected:
  // A market-split feasibility problem (4 equality rows over 40 binaries):
  // tiny, and far beyond a branch-and-bound search of a few seconds.
  void load_hard_mip() {
    const int n = 40, m = 4;
    std::mt19937 rng(12345);
    std::uniform_int_distribution<int> d(0, 99);
    std::vector<std::vector<double>> a(m, std::vector<double>(n));
    std::vector<double> rhs(m);
    for (int i = 0; i < m; ++i) {
      double s = 0;
      for (int j = 0; j < n; ++j) s += a[i][j] = d(rng);
      rhs[i] = std::floor(s / 2);
    }
    load(std::vector<double>(n, 0.0), a, std::string(m, 'E'), rhs, std::vector<double>(n, 0),
         std::vector<double>(n, 1));
    std::vector<int> cols(n);
    for (int j = 0; j < n; ++j) cols[j] = j;
    set_types(cols, std::string(n, 'B'));
    ASSERT_EQ(QNDAsetdblcontrol(p, QNDA_TIMELIMIT, 60), 0);
  }

  // Runs mipoptimize while `during` runs on another thread after a pause;
  // returns the seconds the solve took.
  template <class F>
  double solve_while(F during, int *rc) {
    auto t0 = std::chrono::steady_clock::now();
    std::thread t([&] {
      std::this_thread::sleep_for(std::chrono::milliseconds(300));
      during();
    });
    *rc = QNDAmipoptimize(p, "");
    t.join();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  }
};

TEST_F(Interrupt, FromAnotherThreadStopsWithItsReason) {
  load_hard_mip();
  int rc = -1;
  double secs = solve_while([&] { EXPECT_EQ(QNDAinterrupt(p, QNDA_STOP_USER), 0); }, &rc);
  ASSERT_EQ(rc, 0) << last_error();
  EXPECT_LT(secs, 10.0);
  EXPECT_EQ(intattr(QNDA_STOPSTATUS), QNDA_STOP_USER);
  const int st = intattr(QNDA_MIPSTATUS);
  EXPECT_TRUE(st == QNDA_MIP_NO_SOL_FOUND || st == QNDA_MIP_SOLUTION) << st;
  // The request is used up: the next solve runs until its own limit.
  ASSERT_EQ(QNDAsetdblcontrol(p, QNDA_TIMELIMIT, 0.3), 0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_STOPSTATUS), QNDA_STOP_TIMELIMIT);
}

// A transportation LP of 300 x 300 routes: long enough (about a second
// without presolve) to be stopped while the engine iterates.
class LpInterrupt : public Interrupt, public ::testing::WithParamInterface<const char *> {
 protected:
  static void on_line(QNDAprob prob, void *, const char *msg, int, int) {
    // The engine's iteration log has begun: stop from inside the solve.
    if (msg && std::strstr(msg, "Iter")) QNDAinterrupt(prob, QNDA_STOP_USER);
  }
};

TEST_P(LpInterrupt, StopsTheLpAlgorithm) {
  const int S = 300, n = S * S, m = 2 * S;
  std::mt19937 rng(1);
  std::uniform_real_distribution<double> cost(1, 100);
  std::vector<int> start(n + 1), ind(2 * n);
  std::vector<double> val(2 * n, 1.0), obj(n), rhs(m);
  std::string types(m, 'L');
  for (int i = 0; i < S; ++i)
    for (int j = 0; j < S; ++j) {
      const int k = i * S + j;
      start[k] = 2 * k;
      ind[2 * k] = i;
      ind[2 * k + 1] = S + j;
      obj[k] = cost(rng);
    }
  start[n] = 2 * n;
  for (int i = 0; i < S; ++i) rhs[i] = 100 + i % 7;
  for (int j = 0; j < S; ++j) {
    types[S + j] = 'G';
    rhs[S + j] = 90 + j % 5;
  }
  ASSERT_EQ(QNDAloadlp(p, "transport", n, m, types.c_str(), rhs.data(), nullptr, obj.data(),
                       start.data(), nullptr, ind.data(), val.data(), nullptr, nullptr),
            0);
  ASSERT_EQ(QNDAsetintcontrol(p, QNDA_PRESOLVE, 0), 0);
  ASSERT_EQ(QNDAsetintcontrol(p, QNDA_LOGLEVEL, 2), 0);
  ASSERT_EQ(QNDAenablemessages(1), 0);
  ASSERT_EQ(QNDAaddcbmessage(p, on_line, nullptr, 0), 0);
  ASSERT_EQ(QNDAlpoptimize(p, GetParam()), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_LPSTATUS), QNDA_LP_UNFINISHED);
  EXPECT_EQ(intattr(QNDA_STOPSTATUS), QNDA_STOP_USER);
  EXPECT_EQ(intattr(QNDA_SOLSTATUS), 0);
}

INSTANTIATE_TEST_SUITE_P(Algorithms, LpInterrupt, ::testing::Values("d", "p", "b"));

TEST_F(Interrupt, BeforeTheSolveStopsAtOnce) {
  load({1, 1}, {{1, 1}}, "G", {1});
  ASSERT_EQ(QNDAinterrupt(p, QNDA_STOP_USER), 0);
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0);
  EXPECT_EQ(intattr(QNDA_LPSTATUS), QNDA_LP_UNFINISHED);
  EXPECT_EQ(intattr(QNDA_STOPSTATUS), QNDA_STOP_USER);
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0);
  EXPECT_EQ(intattr(QNDA_LPSTATUS), QNDA_LP_OPTIMAL);
  EXPECT_EQ(intattr(QNDA_STOPSTATUS), QNDA_STOP_NONE);
}

TEST_F(Interrupt, SigintStopsWithCtrlCAndTheOldHandlerComesBack) {
  load_hard_mip();
  struct sigaction mine, saved, after;
  std::memset(&mine, 0, sizeof mine);
  mine.sa_handler = counting_handler;
  sigemptyset(&mine.sa_mask);
  ASSERT_EQ(sigaction(SIGINT, &mine, &saved), 0);
  g_old_handler_calls = 0;
  int rc = -1;
  double secs = solve_while([] { kill(getpid(), SIGINT); }, &rc);
  sigaction(SIGINT, nullptr, &after);
  // Outside a solve, SIGINT reaches the program's handler again.
  raise(SIGINT);
  sigaction(SIGINT, &saved, nullptr);
  ASSERT_EQ(rc, 0) << last_error();
  EXPECT_LT(secs, 10.0);
  EXPECT_EQ(intattr(QNDA_STOPSTATUS), QNDA_STOP_CTRLC);
  EXPECT_EQ(after.sa_handler, counting_handler);
  // Once by the raise above: during the solve the library had SIGINT.
  EXPECT_EQ(g_old_handler_calls.load(), 1);
}

TEST_F(Interrupt, ConcurrentSolvesShareTheSigintHandOver) {
  struct sigaction before, after;
  sigaction(SIGINT, nullptr, &before);
  QNDAprob q[3] = {nullptr, nullptr, nullptr};
  int rc[3] = {-1, -1, -1};
  double obj[3] = {0, 0, 0};
  for (auto &h : q) {
    ASSERT_EQ(QNDAcreateprob(&h), 0);
    QNDAsetintcontrol(h, QNDA_OUTPUTLOG, 0);
    ASSERT_EQ(QNDAreadprob(h, qtest::instance("egout.mps").c_str(), ""), 0);
  }
  std::vector<std::thread> ts;
  for (int k = 0; k < 3; ++k)
    ts.emplace_back([&, k] {
      rc[k] = QNDAmipoptimize(q[k], "");
      QNDAgetdblattrib(q[k], QNDA_MIPOBJVAL, &obj[k]);
    });
  for (auto &t : ts) t.join();
  for (int k = 0; k < 3; ++k) {
    EXPECT_EQ(rc[k], 0);
    EXPECT_NEAR(obj[k], 568.1007, 1e-3);
    QNDAdestroyprob(q[k]);
  }
  sigaction(SIGINT, nullptr, &after);
  EXPECT_EQ(after.sa_handler, before.sa_handler);
}

TEST_F(Interrupt, LimitsGiveTheirStopReasons) {
  load_hard_mip();
  ASSERT_EQ(QNDAsetdblcontrol(p, QNDA_TIMELIMIT, 0.2), 0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_STOPSTATUS), QNDA_STOP_TIMELIMIT);
  EXPECT_EQ(intattr(QNDA_MIPSTATUS), QNDA_MIP_NO_SOL_FOUND);
  EXPECT_LT(dblattr(QNDA_SOLVETIME), 5.0);
  EXPECT_EQ(dblattr(QNDA_MIPOBJVAL), 1e20);  // no solution: +infinity when minimising
  EXPECT_LE(std::fabs(dblattr(QNDA_BESTBOUND)), 1e20);

  ASSERT_EQ(QNDAsetdblcontrol(p, QNDA_TIMELIMIT, 60), 0);
  ASSERT_EQ(QNDAsetintcontrol64(p, QNDA_MAXNODE, 5), 0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_STOPSTATUS), QNDA_STOP_NODELIMIT);
  EXPECT_LE(intattr(QNDA_NODES), 6);
}

TEST_F(Interrupt, SolutionLimit) {
  ASSERT_EQ(QNDAreadprob(p, qtest::instance("egout.mps").c_str(), ""), 0) << last_error();
  ASSERT_EQ(QNDAsetintcontrol(p, QNDA_PRESOLVE, 0), 0);
  ASSERT_EQ(QNDAsetintcontrol(p, QNDA_MAXMIPSOL, 1), 0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  // Without presolve the first solution egout's search finds is not optimal.
  EXPECT_EQ(intattr(QNDA_STOPSTATUS), QNDA_STOP_SOLLIMIT);
  EXPECT_EQ(intattr(QNDA_MIPSTATUS), QNDA_MIP_SOLUTION);
  EXPECT_GT(dblattr(QNDA_MIPOBJVAL), 568.1007 + 1);
}

TEST_F(Interrupt, LpIterationLimit) {
  ASSERT_EQ(QNDAreadprob(p, qtest::instance("standata.mps").c_str(), ""), 0);
  ASSERT_EQ(QNDAsetintcontrol(p, QNDA_PRESOLVE, 0), 0);
  ASSERT_EQ(QNDAsetintcontrol(p, QNDA_LPITERLIMIT, 3), 0);
  ASSERT_EQ(QNDAlpoptimize(p, "d"), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_LPSTATUS), QNDA_LP_UNFINISHED);
  EXPECT_EQ(intattr(QNDA_STOPSTATUS), QNDA_STOP_ITERLIMIT);
}

}  // namespace
