// Re-optimisation from the kept engine: after a small change the solve starts
// from the last basis (few iterations) and ends where a cold solve of the
// changed model ends; copies never share the kept state.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "qnda.h"
#include "test_solve_helpers.h"

namespace {

using qtest::instance;

struct Solved {
  int status = -1;
  int iters = -1;
  double obj = 0.0;
  std::vector<double> x;
};

Solved lpsolve(QNDAprob p) {
  Solved s;
  EXPECT_EQ(QNDAlpoptimize(p, ""), 0);
  QNDAgetintattrib(p, QNDA_LPSTATUS, &s.status);
  QNDAgetintattrib(p, QNDA_SIMPLEXITER, &s.iters);
  QNDAgetdblattrib(p, QNDA_LPOBJVAL, &s.obj);
  int n = 0;
  QNDAgetintattrib(p, QNDA_COLS, &n);
  s.x.assign(n, 0.0);
  if (s.status == QNDA_LP_OPTIMAL) QNDAgetlpsol(p, s.x.data(), nullptr, nullptr, nullptr);
  return s;
}

// solve run on a copy of p, which starts cold (a copy never takes p's
// engine).
template <class Solve>
auto on_copy(QNDAprob p, Solve solve) -> decltype(solve(p)) {
  QNDAprob q = nullptr;
  EXPECT_EQ(QNDAcreateprob(&q), 0);
  EXPECT_EQ(QNDAcopyprob(q, p, "cold"), 0);
  QNDAsetintcontrol(q, QNDA_OUTPUTLOG, 0);
  auto out = solve(q);
  QNDAdestroyprob(q);
  return out;
}

Solved cold_solve(QNDAprob p) { return on_copy(p, lpsolve); }

bool same_obj(double a, double b) { return std::fabs(a - b) <= 1e-7 * (1.0 + std::fabs(b)); }

std::vector<double> column(QNDAprob p, int j, std::vector<int> *rows) {
  QNDAint64 start[2], n = 0;
  QNDAgetcols64(p, start, nullptr, nullptr, 0, &n, j, j);
  rows->resize(n);
  std::vector<double> v(n);
  QNDAgetcols64(p, start, rows->data(), v.data(), n, &n, j, j);
  return v;
}

struct Change {
  const char *what;
  // Changes p, solved once, whose solution is x.
  std::function<void(QNDAprob p, const std::vector<double> &x)> apply;
};

int count(QNDAprob p, int id) {
  int v = 0;
  QNDAgetintattrib(p, id, &v);
  return v;
}

// 20 indices spread over [0, n).
std::vector<int> spread(int n) {
  std::vector<int> v;
  for (int k = 0; k < 20; ++k) v.push_back(k * n / 20);
  return v;
}

// a * v + b of the values at idx (rhs or objective).
std::vector<double> values(QNDAprob p, int (*get)(QNDAprob, double *, int, int),
                           const std::vector<int> &idx, double a, double b) {
  std::vector<double> v(idx.size());
  for (size_t k = 0; k < idx.size(); ++k) {
    get(p, &v[k], idx[k], idx[k]);
    v[k] = a * v[k] + b;
  }
  return v;
}

// Deletes two rows that bind (their slack nonbasic: the engine must mend
// the basis) or that do not (a cut loop drops those).
void delete_rows(QNDAprob p, bool binding) {
  std::vector<double> slack(count(p, QNDA_ROWS));
  QNDAgetlpsol(p, nullptr, slack.data(), nullptr, nullptr);
  std::vector<int> rowstat(slack.size());
  QNDAgetbasis(p, rowstat.data(), nullptr);
  std::vector<int> rows;
  for (int i = 0; i < static_cast<int>(slack.size()) && rows.size() < 2; ++i)
    if ((rowstat[i] != QNDA_BASIC) == binding && (binding || std::fabs(slack[i]) > 1e-3))
      rows.push_back(i);
  if (rows.empty()) rows = {3, 11};  // no solution to look at
  ASSERT_EQ(QNDAdelrows(p, static_cast<int>(rows.size()), rows.data()), 0);
}

const Change kChanges[] = {
    {"rhs",
     [](QNDAprob p, const std::vector<double> &) {
       // 20 right-hand sides scaled by 1.01.
       std::vector<int> rows = spread(count(p, QNDA_ROWS));
       std::vector<double> rhs = values(p, QNDAgetrhs, rows, 1.01, 0.0);
       ASSERT_EQ(QNDAchgrhs(p, 20, rows.data(), rhs.data()), 0);
     }},
    {"cost",
     [](QNDAprob p, const std::vector<double> &) {
       std::vector<int> cols = spread(count(p, QNDA_COLS));
       std::vector<double> c = values(p, QNDAgetobj, cols, 1.05, 0.01);
       ASSERT_EQ(QNDAchgobj(p, 20, cols.data(), c.data()), 0);
     }},
    {"bound",
     [](QNDAprob p, const std::vector<double> &x) {
       // Five positive columns (from the last) get an upper bound just below
       // their value; three at zero may go to -1.
       std::vector<int> cols;
       std::vector<double> b;
       std::string t;
       for (int j = static_cast<int>(x.size()) - 1; j >= 0 && t.size() < 5; --j)
         if (x[j] > 1e-3) {
           cols.push_back(j);
           b.push_back(0.995 * x[j]);
           t += 'U';
         }
       for (int j = 0; j < static_cast<int>(x.size()) && t.size() < 8; ++j)
         if (x[j] == 0.0) {
           cols.push_back(j);
           b.push_back(-1.0);
           t += 'L';
         }
       ASSERT_EQ(QNDAchgbounds(p, static_cast<int>(cols.size()), cols.data(), t.c_str(), b.data()),
                 0);
     }},
    {"add row",
     [](QNDAprob p, const std::vector<double> &x) {
       // A cut: the sum of the positive columns below what it is now.
       std::vector<int> cols;
       std::vector<double> val;
       double sum = 0;
       for (int j = 0; j < static_cast<int>(x.size()) && cols.size() < 8; ++j)
         if (x[j] > 1e-3) {
           cols.push_back(j);
           val.push_back(1.0);
           sum += x[j];
         }
       const int start[2] = {0, static_cast<int>(cols.size())};
       const double rhs = 0.97 * sum;
       ASSERT_EQ(QNDAaddrows(p, 1, start[1], "L", &rhs, nullptr, start, cols.data(), val.data()),
                 0);
     }},
    {"coefficient",
     [](QNDAprob p, const std::vector<double> &x) {
       for (int j = 0, done = 0; j < static_cast<int>(x.size()) && done < 5; ++j) {
         if (x[j] <= 1e-3) continue;
         std::vector<int> rows;
         std::vector<double> v = column(p, j, &rows);
         if (v.empty()) continue;
         ASSERT_EQ(QNDAchgcoef(p, rows[0], j, v[0] * 1.02), 0);
         ++done;
       }
     }},
    {"delete row", [](QNDAprob p, const std::vector<double> &) { delete_rows(p, false); }},
    {"delete binding row", [](QNDAprob p, const std::vector<double> &) { delete_rows(p, true); }},
    {"delete column",
     [](QNDAprob p, const std::vector<double> &x) {
       // One column in the solution and one at zero.
       std::vector<int> cols;
       for (int j = 0; j < static_cast<int>(x.size()) && cols.size() < 1; ++j)
         if (x[j] > 1e-3) cols.push_back(j);
       for (int j = 0; j < static_cast<int>(x.size()) && cols.size() < 2; ++j)
         if (x[j] == 0.0) cols.push_back(j);
       ASSERT_EQ(QNDAdelcols(p, static_cast<int>(cols.size()), cols.data()), 0);
     }},
    {"add column",
     [](QNDAprob p, const std::vector<double> &) {
       // A cheap column in the first rows.
       const int start[2] = {0, 3};
       const int rows[] = {0, 1, 2};
       const double val[] = {1.0, -1.0, 0.5}, obj = -0.1, lb = 0.0, ub = 5.0;
       ASSERT_EQ(QNDAaddcols(p, 1, 3, &obj, start, rows, val, &lb, &ub), 0);
     }},
};

struct WarmCase {
  const char *file;
  const Change *change;
};

class Warm : public ::testing::TestWithParam<WarmCase> {
 protected:
  void SetUp() override {
    ASSERT_EQ(QNDAinit(nullptr), 0);
    ASSERT_EQ(QNDAcreateprob(&p), 0);
    QNDAsetintcontrol(p, QNDA_OUTPUTLOG, 0);
  }
  void TearDown() override {
    QNDAdestroyprob(p);
    QNDAfree();
  }
  QNDAprob p = nullptr;
};

TEST_P(Warm, ResolveIsShortAndEqualsColdSolve) {
  ASSERT_EQ(QNDAreadprob(p, instance(GetParam().file).c_str(), ""), 0);
  const Solved first = lpsolve(p);
  ASSERT_EQ(first.status, QNDA_LP_OPTIMAL);
  ASSERT_GT(first.iters, 100);

  // Unchanged: nothing to do.
  EXPECT_EQ(lpsolve(p).iters, 0);

  GetParam().change->apply(p, first.x);
  const Solved warm = lpsolve(p);
  const Solved cold = cold_solve(p);
  // (Cutting bounds may leave the model infeasible: both must say so.)
  ASSERT_EQ(warm.status, cold.status);
  if (cold.status == QNDA_LP_OPTIMAL)
    EXPECT_TRUE(same_obj(warm.obj, cold.obj)) << warm.obj << " vs " << cold.obj;
  // A cold start needs a good share of the first solve's iterations.  A
  // binding row deleted leaves the basis short: the engine mends it, at a
  // cost, but still well below a cold start.
  if (std::string(GetParam().change->what) == "delete binding row")
    EXPECT_LT(warm.iters, cold.iters / 2);
  else
    EXPECT_LT(warm.iters, first.iters / 5) << "cold: " << cold.iters;
}

std::vector<WarmCase> warm_cases() {
  std::vector<WarmCase> out;
  for (const char *file : {"scrs8.mps", "perold.mps"})
    for (const Change &c : kChanges) out.push_back({file, &c});
  return out;
}

INSTANTIATE_TEST_SUITE_P(Changes, Warm, ::testing::ValuesIn(warm_cases()),
                         [](const ::testing::TestParamInfo<WarmCase> &info) {
                           std::string s =
                               std::string(info.param.file) + "_" + info.param.change->what;
                           for (char &c : s)
                             if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
                           return s;
                         });

// Several kinds of change between two solves, and a chain of solves, end
// where a cold solve ends.
TEST_F(Warm, ChainOfChangesEqualsColdSolves) {
  ASSERT_EQ(QNDAreadprob(p, instance("scrs8.mps").c_str(), ""), 0);
  Solved s = lpsolve(p);
  for (int round = 0; round < 3; ++round) {
    for (const Change &c : kChanges) c.apply(p, s.x);
    s = lpsolve(p);
    const Solved cold = cold_solve(p);
    ASSERT_EQ(s.status, cold.status) << "round " << round;
    if (s.status != QNDA_LP_OPTIMAL) continue;
    EXPECT_TRUE(same_obj(s.obj, cold.obj))
        << "round " << round << ": " << s.obj << " vs " << cold.obj;
  }
}

// A copy starts cold and changes to either side stay on that side.
TEST_F(Warm, CopiesDoNotShareTheKeptEngine) {
  ASSERT_EQ(QNDAreadprob(p, instance("scrs8.mps").c_str(), ""), 0);
  const Solved first = lpsolve(p);
  QNDAprob q = nullptr;
  ASSERT_EQ(QNDAcreateprob(&q), 0);
  QNDAsetintcontrol(q, QNDA_OUTPUTLOG, 0);
  ASSERT_EQ(QNDAcopyprob(q, p, "copy"), 0);
  kChanges[0].apply(q, first.x);  // right-hand sides of the copy
  const Solved copy = lpsolve(q);
  EXPECT_GT(copy.iters, first.iters / 5);  // cold

  // p still holds its own model and basis.
  const Solved again = lpsolve(p);
  EXPECT_EQ(again.iters, 0);
  EXPECT_TRUE(same_obj(again.obj, first.obj));
  kChanges[1].apply(p, first.x);  // costs of the original
  const Solved p2 = lpsolve(p);
  EXPECT_TRUE(same_obj(p2.obj, cold_solve(p).obj));

  // And the copy's kept model has none of p's changes.
  const Solved copy2 = lpsolve(q);
  EXPECT_EQ(copy2.iters, 0);
  EXPECT_TRUE(same_obj(copy2.obj, copy.obj));
  QNDAdestroyprob(q);
}

}  // namespace

namespace {

double mip_obj(QNDAprob p) {
  EXPECT_EQ(QNDAmipoptimize(p, ""), 0);
  int st = -1;
  double v = 0;
  QNDAgetintattrib(p, QNDA_MIPSTATUS, &st);
  EXPECT_EQ(st, QNDA_MIP_OPTIMAL);
  QNDAgetdblattrib(p, QNDA_MIPOBJVAL, &v);
  return v;
}

double cold_mip_obj(QNDAprob p) { return on_copy(p, mip_obj); }

// MIP and LP solves take turns on one kept engine, with bound and type
// changes and a reformulated (partially integer) column between them.
TEST_F(Warm, MipAndRelaxationTakeTurnsOnTheKeptEngine) {
  ASSERT_EQ(QNDAreadprob(p, instance("egout.mps").c_str(), ""), 0);
  std::string types(count(p, QNDA_COLS), ' ');
  QNDAgetcoltype(p, &types[0], 0, static_cast<int>(types.size()) - 1);
  std::vector<int> ints;
  for (int j = 0; j < static_cast<int>(types.size()); ++j)
    if (types[j] != 'C') ints.push_back(j);
  ASSERT_GE(ints.size(), 3u);
  mip_obj(p);

  const double zero = 0.0;
  ASSERT_EQ(QNDAchgbounds(p, 1, &ints[0], "U", &zero), 0);
  EXPECT_TRUE(same_obj(mip_obj(p), cold_mip_obj(p)));

  const Solved lp = lpsolve(p);  // the relaxation on the same engine
  EXPECT_TRUE(same_obj(lp.obj, cold_solve(p).obj));

  ASSERT_EQ(QNDAchgcoltype(p, 1, &ints[1], "C"), 0);
  EXPECT_TRUE(same_obj(mip_obj(p), cold_mip_obj(p)));

  const double limit = 0.5;
  ASSERT_EQ(QNDAchgcoltype(p, 1, &ints[2], "P"), 0);
  ASSERT_EQ(QNDAchgglblimit(p, 1, &ints[2], &limit), 0);
  EXPECT_TRUE(same_obj(mip_obj(p), cold_mip_obj(p)));
  ASSERT_EQ(QNDAchgcoltype(p, 1, &ints[2], "I"), 0);
  EXPECT_TRUE(same_obj(mip_obj(p), cold_mip_obj(p)));
  EXPECT_TRUE(same_obj(lpsolve(p).obj, cold_solve(p).obj));
}

}  // namespace

namespace {

void collect(QNDAprob, void *data, const char *msg, int, int) {
  if (msg) static_cast<std::vector<std::string> *>(data)->push_back(msg);
}

// The log reaches the handlers from the kept instance, which reports the
// changes it took, and an interrupt stops a warm solve.
TEST_F(Warm, LogAndInterruptWorkOnTheKeptEngine) {
  ASSERT_EQ(QNDAreadprob(p, instance("scrs8.mps").c_str(), ""), 0);
  const Solved first = lpsolve(p);
  std::vector<std::string> lines;
  ASSERT_EQ(QNDAaddcbmessage(p, collect, &lines, 0), 0);
  ASSERT_EQ(QNDAsetintcontrol(p, QNDA_LOGLEVEL, 2), 0);
  kChanges[0].apply(p, first.x);
  lpsolve(p);
  bool warm_line = false;
  for (const std::string &l : lines) warm_line = warm_line || l.rfind("Warm start: ", 0) == 0;
  EXPECT_TRUE(warm_line);
  EXPECT_GT(lines.size(), 3u);

  kChanges[1].apply(p, first.x);
  ASSERT_EQ(QNDAinterrupt(p, QNDA_STOP_USER), 0);
  EXPECT_EQ(QNDAlpoptimize(p, ""), 0);
  EXPECT_EQ(count(p, QNDA_STOPSTATUS), QNDA_STOP_USER);
  // The next one runs to the end from the kept state.
  const Solved after = lpsolve(p);
  EXPECT_EQ(after.status, QNDA_LP_OPTIMAL);
  EXPECT_TRUE(same_obj(after.obj, cold_solve(p).obj));
}

}  // namespace

namespace {

// After costs alone changed the primal simplex finishes from the kept basis;
// after right-hand sides the dual does.
TEST_F(Warm, AlgorithmFollowsTheKindOfChange) {
  ASSERT_EQ(QNDAreadprob(p, instance("perold.mps").c_str(), ""), 0);
  const Solved first = lpsolve(p);
  kChanges[1].apply(p, first.x);  // costs
  lpsolve(p);
  EXPECT_EQ(count(p, QNDA_ALGORITHM_ATTR), 3);
  kChanges[0].apply(p, first.x);  // right-hand sides
  lpsolve(p);
  EXPECT_EQ(count(p, QNDA_ALGORITHM_ATTR), 2);
}

}  // namespace

namespace {

bool logged_warm(const std::vector<std::string> &lines) {
  for (const std::string &l : lines)
    if (l.rfind("Warm start: ", 0) == 0) return true;
  return false;
}

// A QP keeps its engine while the quadratic objective stays; a change to
// it, or a new column, hands the model over whole.  Each ends where a cold
// solve ends.
TEST_F(Warm, QuadraticObjectiveKeptWhileUnchanged) {
  // min x^2 + y^2 + xy - x - 2y + z  s.t.  x + y + z >= 1, x - y <= 0.5
  const double obj[] = {-1, -2, 1}, rhs[] = {1, 0.5}, val[] = {1, 1, 1, -1, 1};
  const int start[] = {0, 2, 4, 5}, ind[] = {0, 1, 0, 1, 0};
  ASSERT_EQ(QNDAloadlp(p, "qp", 3, 2, "GL", rhs, nullptr, obj, start, nullptr, ind, val, nullptr,
                       nullptr),
            0);
  const int q1[] = {0, 1, 0}, q2[] = {0, 1, 1};
  const double qv[] = {1, 1, 1};
  ASSERT_EQ(QNDAchgmqobj(p, 3, q1, q2, qv), 0);
  std::vector<std::string> lines;
  ASSERT_EQ(QNDAaddcbmessage(p, collect, &lines, 0), 0);
  ASSERT_EQ(QNDAsetintcontrol(p, QNDA_LOGLEVEL, 2), 0);
  lpsolve(p);

  const int row = 0;
  const double r2 = 2.5;
  ASSERT_EQ(QNDAchgrhs(p, 1, &row, &r2), 0);
  lines.clear();
  Solved s = lpsolve(p);
  EXPECT_TRUE(logged_warm(lines));
  EXPECT_TRUE(same_obj(s.obj, cold_solve(p).obj)) << s.obj;

  ASSERT_EQ(QNDAchgqobj(p, 0, 1, 0.5), 0);
  lines.clear();
  s = lpsolve(p);
  EXPECT_FALSE(logged_warm(lines));
  EXPECT_TRUE(same_obj(s.obj, cold_solve(p).obj)) << s.obj;

  const int cstart[] = {0, 1}, crow[] = {0};
  const double cval[] = {1}, cobj = 0.25;
  ASSERT_EQ(QNDAaddcols(p, 1, 1, &cobj, cstart, crow, cval, nullptr, nullptr), 0);
  lines.clear();
  s = lpsolve(p);
  EXPECT_FALSE(logged_warm(lines));
  EXPECT_TRUE(same_obj(s.obj, cold_solve(p).obj)) << s.obj;
}

}  // namespace
