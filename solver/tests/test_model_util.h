// Shared pieces of the model store tests: a fixture with one problem and
// readers that return the store's content as plain vectors.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qnda.h"
#include "test_fixture.h"

class ModelTest : public qtest::OneProblem {
 protected:
  void TearDown() override {
    QNDAsetcheckedmode(1);
    OneProblem::TearDown();
  }

  int attr(int id) {
    int v = -1;
    EXPECT_EQ(QNDAgetintattrib(p, id, &v), 0) << last_error();
    return v;
  }
  int rows() { return attr(QNDA_ROWS); }
  int cols() { return attr(QNDA_COLS); }

  // The matrix as a dense rows x cols array, read through getcoef.
  std::vector<std::vector<double>> dense() {
    std::vector<std::vector<double>> a(rows(), std::vector<double>(cols(), 0.0));
    for (size_t i = 0; i < a.size(); ++i)
      for (size_t j = 0; j < a[i].size(); ++j)
        EXPECT_EQ(QNDAgetcoef(p, static_cast<int>(i), static_cast<int>(j), &a[i][j]), 0);
    return a;
  }

  // All n rows (getrows64) or columns (getcols64) of the matrix: the size
  // query first, then the entries.
  using LineGetter = int (*)(QNDAprob, QNDAint64 *, int *, double *, QNDAint64, QNDAint64 *, int,
                             int);
  struct Lines {
    std::vector<QNDAint64> start;
    std::vector<int> ind;
    std::vector<double> val;
  };
  Lines read_lines(LineGetter get, int n) {
    Lines l;
    QNDAint64 nz = -1, got = -1;
    EXPECT_EQ(get(p, nullptr, nullptr, nullptr, 0, &nz, 0, n - 1), 0);
    l.start.resize(n + 1);
    l.ind.resize(nz + 1);
    l.val.resize(nz + 1);
    EXPECT_EQ(get(p, l.start.data(), l.ind.data(), l.val.data(), nz, &got, 0, n - 1), 0);
    EXPECT_EQ(got, nz);
    return l;
  }

  // The matrix read row-wise with getrows64 (no duplicate in a row), or
  // column-wise with getcols64 (rows in order in a column), as a dense array.
  std::vector<std::vector<double>> dense_by_rows() { return dense_by(true); }
  std::vector<std::vector<double>> dense_by_cols() { return dense_by(false); }
  std::vector<std::vector<double>> dense_by(bool by_rows) {
    const int m = rows(), n = cols(), lines = by_rows ? m : n;
    std::vector<std::vector<double>> a(m, std::vector<double>(n, 0.0));
    if (lines == 0) return a;
    Lines l = read_lines(by_rows ? QNDAgetrows64 : QNDAgetcols64, lines);
    for (int s = 0; s < lines; ++s)
      for (QNDAint64 k = l.start[s]; k < l.start[s + 1]; ++k) {
        const int i = by_rows ? s : l.ind[k], j = by_rows ? l.ind[k] : s;
        if (by_rows)
          EXPECT_EQ(a[i][j], 0.0) << "duplicate entry in row " << i;
        else if (k > l.start[s])
          EXPECT_LT(l.ind[k - 1], l.ind[k]) << "rows of column " << j;
        a[i][j] = l.val[k];
      }
    return a;
  }

  // The index of a name (QNDAgetindex), -1 when there is none.
  int index_of(int type, const char *name) {
    int idx = -2;
    EXPECT_EQ(QNDAgetindex(p, type, name, &idx), 0) << last_error();
    return idx;
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
