// Shared set-up of the solve, file and interrupt tests.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qnda.h"
#include "test_fixture.h"

namespace qtest {

// A problem with the log silenced; the library is initialised around it.
class Prob : public OneProblem {
 protected:
  void SetUp() override {
    OneProblem::SetUp();
    ASSERT_EQ(QNDAsetintcontrol(p, QNDA_OUTPUTLOG, 0), 0);
  }
  // Unchecked: after a failed set-up there may be no problem to destroy.
  void TearDown() override {
    if (p) QNDAdestroyprob(p);
    QNDAfree();
  }

  // Loads a model given row-wise as dense rows (0 entries skipped).
  void load(const std::vector<double> &obj, const std::vector<std::vector<double>> &a,
            const std::string &types, const std::vector<double> &rhs,
            const std::vector<double> &lb = {}, const std::vector<double> &ub = {}) {
    const int n = static_cast<int>(obj.size()), m = static_cast<int>(a.size());
    std::vector<int> start{0}, rowind;
    std::vector<double> val;
    for (int j = 0; j < n; ++j) {
      for (int i = 0; i < m; ++i)
        if (a[i][j] != 0.0) {
          rowind.push_back(i);
          val.push_back(a[i][j]);
        }
      start.push_back(static_cast<int>(rowind.size()));
    }
    ASSERT_EQ(QNDAloadlp(p, "t", n, m, types.c_str(), rhs.data(), nullptr, obj.data(), start.data(),
                         nullptr, rowind.data(), val.data(), lb.empty() ? nullptr : lb.data(),
                         ub.empty() ? nullptr : ub.data()),
              0)
        << last_error();
  }

  int intattr(int id) {
    int v = -1;
    EXPECT_EQ(QNDAgetintattrib(p, id, &v), 0) << last_error();
    return v;
  }
  double dblattr(int id) {
    double v = 0;
    EXPECT_EQ(QNDAgetdblattrib(p, id, &v), 0) << last_error();
    return v;
  }
  std::vector<double> x() {
    int n = intattr(QNDA_COLS);
    std::vector<double> v(n);
    EXPECT_EQ(QNDAgetlpsol(p, v.data(), nullptr, nullptr, nullptr), 0) << last_error();
    return v;
  }
  void set_types(const std::vector<int> &cols, const std::string &types) {
    ASSERT_EQ(QNDAchgcoltype(p, static_cast<int>(cols.size()), cols.data(), types.c_str()), 0)
        << last_error();
  }
};

inline std::string instance(const char *name) {
  return std::string(QUENDA_INSTANCES_DIR) + "/" + name;
}

}  // namespace qtest
