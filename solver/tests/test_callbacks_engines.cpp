// The optimiser callbacks as the engines fire them (HiGHS, and Cbc for the
// node kinds): registration order and removal, the event's results seen
// through the ordinary queries, and the stops a callback asks for.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "test_fixture.h"
#include "test_solve_helpers.h"

namespace {

// A problem read from an instance, solving silently.
class Callbacks : public qtest::OneProblem {
 protected:
  void read(const char *file) {
    ASSERT_EQ(QNDAreadprob(p, qtest::instance(file).c_str(), ""), 0) << last_error();
    QNDAsetintcontrol(p, QNDA_LOGLEVEL, 0);
  }
  int attr(int id) {
    int v = -1;
    QNDAgetintattrib(p, id, &v);
    return v;
  }
};

struct Seen {
  std::vector<int> order;
  int calls = 0;
  long long last_nodes = -1;
  double max_violation = 0.0;
  int stop_after = -1;  // return "stop" on this call
};

int count_log(QNDAprob, void *data) {
  auto *s = static_cast<Seen *>(data);
  return ++s->calls == s->stop_after ? 1 : 0;
}

void tagged_intsol(QNDAprob, void *data) {
  auto *pair = static_cast<std::pair<Seen *, int> *>(data);
  pair->first->order.push_back(pair->second);
}

// Checks that the solution of the event satisfies the rows (slack sign).
void checking_intsol(QNDAprob prob, void *data) {
  auto *s = static_cast<Seen *>(data);
  ++s->calls;
  int ncols = 0, nrows = 0;
  QNDAgetintattrib(prob, QNDA_COLS, &ncols);
  QNDAgetintattrib(prob, QNDA_ROWS, &nrows);
  std::vector<double> x(ncols), slack(nrows), rhs(nrows);
  std::vector<char> type(nrows);
  ASSERT_EQ(QNDAgetmipsol(prob, x.data(), slack.data()), 0);
  QNDAgetrowtype(prob, type.data(), 0, nrows - 1);
  for (int i = 0; i < nrows; ++i) {
    double v = 0.0;
    if (type[i] == 'L') v = std::max(0.0, -slack[i]);
    if (type[i] == 'G') v = std::max(0.0, slack[i]);
    if (type[i] == 'E') v = std::fabs(slack[i]);
    s->max_violation = std::max(s->max_violation, v);
  }
  int nodes = 0;
  QNDAgetintattrib(prob, QNDA_NODES, &nodes);
  EXPECT_GE(nodes, s->last_nodes);
  s->last_nodes = nodes;
}

TEST_F(Callbacks, IntsolSeesFeasibleSolutionsWithGrowingNodeCounts) {
  read("egout.mps");
  Seen s;
  ASSERT_EQ(QNDAaddcbintsol(p, checking_intsol, &s, 0), 0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0);
  EXPECT_GE(s.calls, 1);
  EXPECT_LT(s.max_violation, 1e-5);
  // Outside the callback the queries answer for the solve again.
  EXPECT_EQ(attr(QNDA_MIPSTATUS), QNDA_MIP_OPTIMAL);
}

TEST_F(Callbacks, HigherPriorityRunsFirstThenOrderOfAddition) {
  read("egout.mps");
  Seen s;
  std::pair<Seen *, int> a{&s, 1}, b{&s, 2}, c{&s, 3}, d{&s, 4};
  ASSERT_EQ(QNDAaddcbintsol(p, tagged_intsol, &a, 0), 0);
  ASSERT_EQ(QNDAaddcbintsol(p, tagged_intsol, &b, 5), 0);
  ASSERT_EQ(QNDAaddcbintsol(p, tagged_intsol, &c, 0), 0);
  ASSERT_EQ(QNDAaddcbintsol(p, tagged_intsol, &d, 0), 0);
  ASSERT_EQ(QNDAremovecbintsol(p, tagged_intsol, &d), 0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0);
  ASSERT_GE(s.order.size(), 3u);
  EXPECT_EQ(std::vector<int>(s.order.begin(), s.order.begin() + 3), (std::vector<int>{2, 1, 3}));
  s.order.clear();
  ASSERT_EQ(QNDAremovecbintsol(p, nullptr, nullptr), 0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0);
  EXPECT_TRUE(s.order.empty());
}

struct LogCase {
  const char *name;
  const char *file;
  const char *flags;
  int (*add)(QNDAprob, int (*)(QNDAprob, void *), void *, int);
};

class LogKinds : public Callbacks, public ::testing::WithParamInterface<LogCase> {};

TEST_P(LogKinds, FiresAndNonzeroStopsWithTheUserReason) {
  const LogCase &c = GetParam();
  read(c.file);
  Seen s;
  ASSERT_EQ(c.add(p, count_log, &s, 0), 0);
  const bool mip = c.flags[0] == 'm';
  ASSERT_EQ(mip ? QNDAmipoptimize(p, "") : QNDAlpoptimize(p, c.flags), 0) << last_error();
  EXPECT_GE(s.calls, 1);
  read(c.file);  // afresh: a warm re-solve may need no iteration at all
  Seen stop;
  stop.stop_after = 1;
  ASSERT_EQ(c.add(p, count_log, &stop, 10), 0);
  ASSERT_EQ(mip ? QNDAmipoptimize(p, "") : QNDAlpoptimize(p, c.flags), 0);
  EXPECT_EQ(attr(QNDA_STOPSTATUS), QNDA_STOP_USER);
}

INSTANTIATE_TEST_SUITE_P(
    HiGHS, LogKinds,
    ::testing::Values(LogCase{"lplog", "perold.mps", "d", QNDAaddcblplog},
                      LogCase{"barlog", "perold.mps", "b", QNDAaddcbbarlog},
                      LogCase{"globallog", "gesa2.mps", "m", QNDAaddcbgloballog}),
    [](const ::testing::TestParamInfo<LogCase> &i) { return std::string(i.param.name); });

void relgap_target(QNDAprob, void *data, double *rel, double *, double *, double *) {
  ++static_cast<Seen *>(data)->calls;
  *rel = 0.5;
}

TEST_F(Callbacks, GapnotifyTargetStopsTheSearch) {
  Seen s;
  double gap = 0.0;
  read("gesa2.mps");
  ASSERT_EQ(QNDAaddcbgapnotify(p, relgap_target, &s, 0), 0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0);
  QNDAgetdblattrib(p, QNDA_MIPRELGAP, &gap);
  EXPECT_GE(s.calls, 1);
  EXPECT_EQ(attr(QNDA_STOPSTATUS), QNDA_STOP_MIPGAP);
  EXPECT_EQ(attr(QNDA_MIPSTATUS), QNDA_MIP_SOLUTION);
  EXPECT_LE(gap, 0.5);
}

struct Tree {
  std::vector<int> pre, parents, nodes;
};

void pre(QNDAprob prob, void *data, int *) {
  QNDAint64 node = 0;
  QNDAgetintattrib64(prob, QNDA_CURRENTNODE, &node);
  static_cast<Tree *>(data)->pre.push_back(static_cast<int>(node));
}

void made(QNDAprob, void *data, int parent, int node, int) {
  static_cast<Tree *>(data)->parents.push_back(parent);
  static_cast<Tree *>(data)->nodes.push_back(node);
}

TEST_F(Callbacks, TreeKindsMoveTheSearchToCbcAndNumberItsNodes) {
  read("flugpl.mps");
  Tree t;
  ASSERT_EQ(QNDAaddcbprenode(p, pre, &t, 0), 0);
  ASSERT_EQ(QNDAaddcbnewnode(p, made, &t, 0), 0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0);
  EXPECT_EQ(attr(QNDA_ENGINE_ATTR), QNDA_ENGINE_CBC);
  ASSERT_FALSE(t.pre.empty());
  EXPECT_EQ(t.pre.front(), 1);  // the root
  ASSERT_FALSE(t.nodes.empty());
  for (size_t i = 0; i < t.nodes.size(); ++i) {
    EXPECT_LT(t.parents[i], t.nodes[i]);
    if (i) EXPECT_GT(t.nodes[i], t.nodes[i - 1]);
  }
  // The relaxation has no nodes and stays with HiGHS.
  EXPECT_EQ(QNDAlpoptimize(p, ""), 0);
  EXPECT_EQ(attr(QNDA_ENGINE_ATTR), QNDA_ENGINE_HIGHS);
}

TEST_F(Callbacks, BranchingObjectsCheckTheirArguments) {
  read("flugpl.mps");
  QNDAbranchobject bo = nullptr;
  ASSERT_EQ(QNDA_bo_create(&bo, p, 1), 0);
  ASSERT_EQ(QNDA_bo_addbranches(bo, 2), 0);
  const char types[] = {'U', 'L'};
  const int cols[] = {0, 0};
  const double vals[] = {2.0, 3.0};
  EXPECT_EQ(QNDA_bo_addbounds(bo, 0, 1, types, cols, vals), 0);
  EXPECT_EQ(QNDA_bo_addbounds(bo, 1, 1, types + 1, cols, vals + 1), 0);
  const char bad = 'X';
  EXPECT_EQ(QNDA_bo_addbounds(bo, 0, 1, &bad, cols, vals), QNDA_ERR_ARGUMENT);
  EXPECT_EQ(QNDA_bo_addbounds(bo, 2, 1, types, cols, vals), QNDA_ERR_INDEX);
  const int far = 1000;
  EXPECT_EQ(QNDA_bo_addbounds(bo, 0, 1, types, &far, vals), QNDA_ERR_INDEX);
  int n = 0, status = -1;
  char type = 0;
  double v = 0;
  EXPECT_EQ(QNDA_bo_getbounds(bo, 1, &n, 1, &type, nullptr, &v), 0);
  EXPECT_EQ(n, 1);
  EXPECT_EQ(type, 'L');
  EXPECT_EQ(v, 3.0);
  EXPECT_EQ(QNDA_bo_validate(bo, &status), 0);
  EXPECT_EQ(status, 0);
  const int start[] = {0, 1};
  const char free_row = 'N';
  EXPECT_EQ(QNDA_bo_addrows(bo, 0, 1, &free_row, vals, start, cols, vals), QNDA_ERR_ARGUMENT);
  char msg[256];
  int code = 0;
  ASSERT_EQ(QNDA_bo_getlasterror(bo, &code, msg, sizeof msg, nullptr), 0);
  EXPECT_EQ(code, QNDA_ERR_ARGUMENT);
  EXPECT_NE(std::string(msg).find("free row"), std::string::npos);
  EXPECT_EQ(QNDA_bo_destroy(bo), 0);
  EXPECT_EQ(QNDA_bo_destroy(nullptr), QNDA_ERR_ARGUMENT);
}

void usersol(QNDAprob, void *data, const char *name, int status) {
  auto *s = static_cast<Seen *>(data);
  s->order.push_back(status);
  EXPECT_STREQ(name, "mipstart");
}

TEST_F(Callbacks, UsersolnotifyJudgesTheMipStart) {
  read("egout.mps");
  Seen s;
  ASSERT_EQ(QNDAaddcbusersolnotify(p, usersol, &s, 0), 0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0);
  std::vector<double> x(attr(QNDA_COLS));
  ASSERT_EQ(QNDAgetmipsol(p, x.data(), nullptr), 0);
  ASSERT_EQ(QNDAloadmipsol(p, x.data(), nullptr), 0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0);
  for (double &v : x) v += 0.5;
  ASSERT_EQ(QNDAloadmipsol(p, x.data(), nullptr), 0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0);
  EXPECT_EQ(s.order, (std::vector<int>{1, 4}));
}

TEST_F(Callbacks, NullFunctionIsRefused) {
  EXPECT_EQ(QNDAaddcbintsol(p, nullptr, nullptr, 0), QNDA_ERR_ARGUMENT);
  EXPECT_EQ(QNDAremovecbintsol(p, nullptr, nullptr), 0);
}

// The node kinds move a search to the Cbc engine.
void count_node(QNDAprob prob, void *data, int *) {
  auto *s = static_cast<Seen *>(data);
  ++s->calls;
  int ncols = 0;
  QNDAgetintattrib(prob, QNDA_COLS, &ncols);
  std::vector<double> x(ncols);
  EXPECT_EQ(QNDAgetlpsol(prob, x.data(), nullptr, nullptr, nullptr), 0);
}

void reject_all(QNDAprob, void *data, int, int *reject, double *) {
  ++static_cast<Seen *>(data)->calls;
  *reject = 1;
}

TEST_F(Callbacks, OptnodeAndPreintsolRunOnCbc) {
  read("egout.mps");
  Seen nodes, pre;
  ASSERT_EQ(QNDAaddcboptnode(p, count_node, &nodes, 0), 0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  double obj = 0.0;
  QNDAgetdblattrib(p, QNDA_MIPOBJVAL, &obj);
  EXPECT_NEAR(obj, 568.1007, 1e-3);
  EXPECT_GE(nodes.calls, 1);
  EXPECT_EQ(attr(QNDA_ENGINE_ATTR), QNDA_ENGINE_CBC);
  ASSERT_EQ(QNDAremovecboptnode(p, nullptr, nullptr), 0);
  ASSERT_EQ(QNDAaddcbpreintsol(p, reject_all, &pre, 0), 0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  EXPECT_GE(pre.calls, 1);
  EXPECT_NE(attr(QNDA_MIPSTATUS), QNDA_MIP_OPTIMAL);
  EXPECT_NE(attr(QNDA_MIPSTATUS), QNDA_MIP_SOLUTION);
}

}  // namespace

namespace {

TEST_F(Callbacks, BranchesTakeTheRowsOfPoolCuts) {
  read("flugpl.mps");
  const int type[] = {1, 2}, start[] = {0, 2, 3}, cols[] = {0, 1, 2};
  const char rowtype[] = {'L', 'G'};
  const double rhs[] = {4.0, 1.0}, coef[] = {1.0, 2.0, -1.0};
  QNDAcut cuts[2] = {nullptr, nullptr};
  ASSERT_EQ(QNDAstorecuts(p, 2, 0, type, rowtype, rhs, start, cuts, cols, coef), 0);
  QNDAbranchobject bo = nullptr;
  ASSERT_EQ(QNDA_bo_create(&bo, p, 1), 0);
  ASSERT_EQ(QNDA_bo_addbranches(bo, 2), 0);
  ASSERT_EQ(QNDA_bo_addcuts(bo, 1, 2, cuts), 0);
  int nrows = 0, nelems = 0, got_start[3], got_cols[3];
  char got_type[2];
  double got_rhs[2], got_coef[3];
  ASSERT_EQ(QNDA_bo_getrows(bo, 1, &nrows, 2, &nelems, 3, got_type, got_rhs, got_start, got_cols,
                            got_coef),
            0);
  EXPECT_EQ(nrows, 2);
  EXPECT_EQ(nelems, 3);
  EXPECT_EQ(std::string(got_type, 2), "LG");
  EXPECT_EQ(got_rhs[1], 1.0);
  EXPECT_EQ(std::vector<int>(got_start, got_start + 3), (std::vector<int>{0, 2, 3}));
  EXPECT_EQ(std::vector<int>(got_cols, got_cols + 3), (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(got_coef[2], -1.0);
  // A handle not in the pool adds nothing, not even the good ones before it.
  ASSERT_EQ(QNDAdelcpcuts(p, 0, -1, 1, cuts + 1), 0);
  EXPECT_EQ(QNDA_bo_addcuts(bo, 0, 2, cuts), QNDA_ERR_ARGUMENT);
  EXPECT_EQ(
      QNDA_bo_getrows(bo, 0, &nrows, 0, nullptr, 0, nullptr, nullptr, nullptr, nullptr, nullptr),
      0);
  EXPECT_EQ(nrows, 0);
  EXPECT_EQ(QNDA_bo_addcuts(bo, 0, 1, nullptr), QNDA_ERR_ARGUMENT);
  EXPECT_EQ(QNDA_bo_addcuts(bo, 0, -1, cuts), QNDA_ERR_ARGUMENT);
  EXPECT_EQ(QNDA_bo_addcuts(bo, 3, 1, cuts), QNDA_ERR_INDEX);
  // Outside a node callback there is no node to store the object for.
  int status = -1;
  EXPECT_EQ(QNDA_bo_store(bo, &status), QNDA_ERR_STATE);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(QNDA_bo_destroy(bo), 0);
}

struct Stores {
  int accepted = 0, refused = 0;
};

// Splits the node on x_a + x_b <= k / >= k + 1 for the first pair of
// fractional columns with a fractional sum, and checks that an object with
// crossing bounds is refused and left to the caller.
void store_pair(QNDAprob prob, void *data, int *) {
  auto *s = static_cast<Stores *>(data);
  int ncols = 0;
  QNDAgetintattrib(prob, QNDA_COLS, &ncols);
  std::vector<double> x(ncols);
  ASSERT_EQ(QNDAgetlpsol(prob, x.data(), nullptr, nullptr, nullptr), 0);
  auto frac = [](double v) { return v - std::floor(v); };
  for (int a = 0; a < ncols; ++a)
    for (int b = a + 1; b < ncols; ++b) {
      if (frac(x[a]) < 1e-6 || frac(x[b]) < 1e-6 || frac(x[a] + x[b]) < 1e-4 ||
          frac(x[a] + x[b]) > 1 - 1e-4 || frac(x[a]) > 1 - 1e-6 || frac(x[b]) > 1 - 1e-6)
        continue;
      const double k = std::floor(x[a] + x[b]);
      QNDAbranchobject bo = nullptr, bad = nullptr;
      ASSERT_EQ(QNDA_bo_create(&bo, prob, 1), 0);
      ASSERT_EQ(QNDA_bo_addbranches(bo, 2), 0);
      const int start[] = {0, 2}, cols[] = {a, b};
      const double ones[] = {1.0, 1.0}, le = k, ge = k + 1;
      const char lt = 'L', gt = 'G';
      ASSERT_EQ(QNDA_bo_addrows(bo, 0, 1, &lt, &le, start, cols, ones), 0);
      ASSERT_EQ(QNDA_bo_addrows(bo, 1, 1, &gt, &ge, start, cols, ones), 0);
      int status = -1;
      ASSERT_EQ(QNDA_bo_store(bo, &status), 0);
      EXPECT_EQ(status, 0);  // bo is the library's now
      s->accepted += status == 0;

      ASSERT_EQ(QNDA_bo_create(&bad, prob, 1), 0);
      ASSERT_EQ(QNDA_bo_addbranches(bad, 1), 0);
      const char types[] = {'L', 'U'};
      const int same[] = {a, a};
      const double vals[] = {1.0, 0.0};
      ASSERT_EQ(QNDA_bo_addbounds(bad, 0, 2, types, same, vals), 0);
      ASSERT_EQ(QNDA_bo_store(bad, &status), 0);
      char msg[256];
      QNDA_bo_getlasterror(bad, nullptr, msg, sizeof msg, nullptr);
      if (status == 1 && std::string(msg).find("crossing bounds") != std::string::npos)
        ++s->refused;
      EXPECT_EQ(QNDA_bo_destroy(bad), 0);
      return;
    }
}

TEST_F(Callbacks, ObjectsStoredAtNodesBranchThemAndKeepTheOptimum) {
  read("egout.mps");
  Stores s;
  ASSERT_EQ(QNDAaddcboptnode(p, store_pair, &s, 0), 0);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  double obj = 0.0;
  QNDAgetdblattrib(p, QNDA_MIPOBJVAL, &obj);
  EXPECT_NEAR(obj, 568.1007, 1e-3);
  EXPECT_EQ(attr(QNDA_MIPSTATUS), QNDA_MIP_OPTIMAL);
  EXPECT_GE(s.accepted, 1);
  EXPECT_EQ(s.refused, s.accepted);
}

}  // namespace
