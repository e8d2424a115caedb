// Shared set-up of the nonlinear tests: a main problem with its nonlinear
// problem, columns and rows added by name, coefficients given as text.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "qslp.h"

namespace qtest {

class Nlp : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(QNDAinit(nullptr), 0);
    ASSERT_EQ(QSLPinit(), 0);
    ASSERT_EQ(QNDAcreateprob(&p), 0);
    ASSERT_EQ(QNDAsetintcontrol(p, QNDA_OUTPUTLOG, 0), 0);
    ASSERT_EQ(QSLPcreateprob(&s, &p), 0);
    // QNLP_LOG=1 shows the log of every solve (for debugging a test).
    const bool show = std::getenv("QNLP_LOG") != nullptr;
    ASSERT_EQ(QNDAsetintcontrol(p, QNDA_OUTPUTLOG, show ? 1 : 0), 0);
    ASSERT_EQ(QSLPsetintcontrol(s, QSLP_LOGLEVEL, show ? 2 : 0), 0);
  }
  void TearDown() override {
    if (s) EXPECT_EQ(QSLPdestroyprob(s), 0);
    if (p) EXPECT_EQ(QNDAdestroyprob(p), 0);
    EXPECT_EQ(QSLPfree(), 0);
    EXPECT_EQ(QNDAfree(), 0);
  }

  // Adds one named column per name, all with the bounds [lb, ub].
  void cols(const std::vector<std::string> &names, double lb = -QNDA_INFINITY,
            double ub = QNDA_INFINITY) {
    const int n = static_cast<int>(names.size());
    int first = 0;
    ASSERT_EQ(QNDAgetintattrib(p, QNDA_COLS, &first), 0);
    std::vector<double> l(n, lb), u(n, ub);
    ASSERT_EQ(QNDAaddcols(p, n, 0, nullptr, nullptr, nullptr, nullptr, l.data(), u.data()), 0)
        << main_error();
    std::string packed;
    for (const auto &nm : names) packed += nm + '\0';
    ASSERT_EQ(QNDAaddnames(p, QNDA_NAMES_COLUMNS, packed.data(), first, first + n - 1), 0);
  }
  // A row with linear terms (column, coefficient); returns its index.
  int row(char type, double rhs, const std::vector<std::pair<int, double>> &lin = {}) {
    int i = 0;
    EXPECT_EQ(QNDAgetintattrib(p, QNDA_ROWS, &i), 0);
    std::vector<int> start{0, static_cast<int>(lin.size())}, ind;
    std::vector<double> val;
    for (auto &e : lin) {
      ind.push_back(e.first);
      val.push_back(e.second);
    }
    EXPECT_EQ(QNDAaddrows(p, 1, static_cast<int>(lin.size()), &type, &rhs, nullptr, start.data(),
                          ind.data(), val.data()),
              0)
        << main_error();
    return i;
  }
  int constant_col() {
    int c = 0;
    EXPECT_EQ(QSLPgetintattrib(s, QSLP_CONSTANTCOL, &c), 0);
    return c;
  }
  // factor * formula on the constant column of row (-1: the objective).
  void formula(int r, const char *text, double factor = 1.0) {
    ASSERT_EQ(QSLPchgccoef(s, r, constant_col(), &factor, text), 0) << error();
  }
  void start(const std::vector<double> &x0) {
    ASSERT_EQ(QSLPsetinitialvalues(s, static_cast<int>(x0.size()), nullptr, x0.data()), 0)
        << error();
  }
  int solve(int algorithm) {
    EXPECT_EQ(QSLPsetintcontrol(s, QSLP_ALGORITHM, algorithm), 0);
    EXPECT_EQ(QSLPnlpoptimize(s, ""), 0) << error();
    return status();
  }
  int intattrib(int id) {
    int v = 0;
    EXPECT_EQ(QSLPgetintattrib(s, id, &v), 0) << error();
    return v;
  }
  int status() {
    int v = -1;
    EXPECT_EQ(QSLPgetintattrib(s, QSLP_NLPSTATUS, &v), 0);
    return v;
  }
  double obj() {
    double v = 0;
    EXPECT_EQ(QSLPgetdblattrib(s, QSLP_OBJVAL, &v), 0);
    return v;
  }
  std::vector<double> x() {
    int n = 0;
    EXPECT_EQ(QSLPgetintattrib(s, QSLP_ORIGINALCOLS, &n), 0);
    std::vector<double> v(n);
    EXPECT_EQ(QSLPgetslpsol(s, v.data(), nullptr, nullptr, nullptr), 0) << error();
    return v;
  }
  std::string error() {
    char buf[QNDA_MAXMESSAGELENGTH] = {0};
    int code = 0;
    QSLPgetlasterror(s, &code, buf, sizeof buf, nullptr);
    return buf;
  }
  std::string main_error() {
    char buf[QNDA_MAXMESSAGELENGTH] = {0};
    int code = 0;
    QNDAgetlasterror(p, &code, buf, sizeof buf, nullptr);
    return buf;
  }

  QNDAprob p = nullptr;
  QSLPprob s = nullptr;
};

}  // namespace qtest
