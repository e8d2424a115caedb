// Shared pieces of the model store tests: a fixture with one problem and
// readers that return the store's content as plain vectors.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qnda.h"

class ModelTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(QNDAinit(nullptr), 0);
    ASSERT_EQ(QNDAcreateprob(&p), 0);
  }
  void TearDown() override {
    QNDAsetcheckedmode(1);
    EXPECT_EQ(QNDAdestroyprob(p), 0);
    EXPECT_EQ(QNDAfree(), 0);
  }

  int attr(int id) {
    int v = -1;
    EXPECT_EQ(QNDAgetintattrib(p, id, &v), 0) << last_error();
    return v;
  }
  int rows() { return attr(QNDA_ROWS); }
  int cols() { return attr(QNDA_COLS); }

  std::string last_error(int *code = nullptr) {
    char buf[QNDA_MAXMESSAGELENGTH] = {0};
    QNDAgetlasterror(p, code, buf, sizeof buf, nullptr);
    return buf;
  }

  // The matrix as a dense rows x cols array, read through getcoef.
  std::vector<std::vector<double>> dense() {
    std::vector<std::vector<double>> a(rows(), std::vector<double>(cols(), 0.0));
    for (size_t i = 0; i < a.size(); ++i)
      for (size_t j = 0; j < a[i].size(); ++j)
        EXPECT_EQ(QNDAgetcoef(p, static_cast<int>(i), static_cast<int>(j), &a[i][j]), 0);
    return a;
  }

  // The matrix read row-wise with getrows64, as a dense array.
  std::vector<std::vector<double>> dense_by_rows() {
    int m = rows(), n = cols();
    std::vector<std::vector<double>> a(m, std::vector<double>(n, 0.0));
    if (m == 0) return a;
    QNDAint64 nz = -1;
    EXPECT_EQ(QNDAgetrows64(p, nullptr, nullptr, nullptr, 0, &nz, 0, m - 1), 0);
    std::vector<QNDAint64> start(m + 1);
    std::vector<int> ind(nz + 1);
    std::vector<double> val(nz + 1);
    QNDAint64 got = -1;
    EXPECT_EQ(QNDAgetrows64(p, start.data(), ind.data(), val.data(), nz, &got, 0, m - 1), 0);
    EXPECT_EQ(got, nz);
    for (int i = 0; i < m; ++i)
      for (QNDAint64 k = start[i]; k < start[i + 1]; ++k) {
        EXPECT_EQ(a[i][ind[k]], 0.0) << "duplicate entry in row " << i;
        a[i][ind[k]] = val[k];
      }
    return a;
  }

  // The matrix read column-wise with getcols64, as a dense array.
  std::vector<std::vector<double>> dense_by_cols() {
    int m = rows(), n = cols();
    std::vector<std::vector<double>> a(m, std::vector<double>(n, 0.0));
    if (n == 0) return a;
    QNDAint64 nz = -1;
    EXPECT_EQ(QNDAgetcols64(p, nullptr, nullptr, nullptr, 0, &nz, 0, n - 1), 0);
    std::vector<QNDAint64> start(n + 1);
    std::vector<int> ind(nz + 1);
    std::vector<double> val(nz + 1);
    EXPECT_EQ(QNDAgetcols64(p, start.data(), ind.data(), val.data(), nz, &nz, 0, n - 1), 0);
    for (int j = 0; j < n; ++j)
      for (QNDAint64 k = start[j]; k < start[j + 1]; ++k) {
        if (k > start[j]) EXPECT_LT(ind[k - 1], ind[k]) << "rows of column " << j;
        a[ind[k]][j] = val[k];
      }
    return a;
  }

  std::vector<double> lb() { return col_vec(QNDAgetlb); }
  std::vector<double> ub() { return col_vec(QNDAgetub); }
  std::vector<double> obj() { return col_vec(QNDAgetobj); }
  std::vector<double> rhs() { return row_vec(QNDAgetrhs); }
  std::vector<double> range() { return row_vec(QNDAgetrhsrange); }
  std::string rowtypes() {
    std::string s(rows(), '?');
    if (!s.empty()) EXPECT_EQ(QNDAgetrowtype(p, &s[0], 0, rows() - 1), 0);
    return s;
  }
  std::string coltypes() {
    std::string s(cols(), '?');
    if (!s.empty()) EXPECT_EQ(QNDAgetcoltype(p, &s[0], 0, cols() - 1), 0);
    return s;
  }
  std::vector<std::string> names(int type, int count) {
    std::vector<std::string> out;
    if (count == 0) return out;
    int nbytes = 0;
    EXPECT_EQ(QNDAgetnames(p, type, nullptr, 0, &nbytes, 0, count - 1), 0);
    std::vector<char> buf(nbytes);
    EXPECT_EQ(QNDAgetnames(p, type, buf.data(), nbytes, nullptr, 0, count - 1), 0);
    for (const char *s = buf.data(); s < buf.data() + nbytes; s += out.back().size() + 1)
      out.emplace_back(s);
    return out;
  }

  QNDAprob p = nullptr;

 private:
  std::vector<double> col_vec(int (*f)(QNDAprob, double *, int, int)) {
    std::vector<double> v(cols());
    if (!v.empty()) EXPECT_EQ(f(p, v.data(), 0, cols() - 1), 0);
    return v;
  }
  std::vector<double> row_vec(int (*f)(QNDAprob, double *, int, int)) {
    std::vector<double> v(rows());
    if (!v.empty()) EXPECT_EQ(f(p, v.data(), 0, rows() - 1), 0);
    return v;
  }
};

using Dense = std::vector<std::vector<double>>;
