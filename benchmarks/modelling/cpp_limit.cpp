// The limit for model building through libqnda: the benchmark's models
// generated in plain arrays and handed to the library with one call per
// family of columns or rows.  Prints "<model>-<size> <seconds>" per line.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <vector>

#include "qnda.h"

namespace {

struct Rows {
  std::vector<char> type;
  std::vector<double> rhs;
  std::vector<QNDAint64> start{0};
  std::vector<int> col;
  std::vector<double> coef;
  void term(int c, double v) {
    col.push_back(c);
    coef.push_back(v);
  }
  void end(char t, double r) {
    type.push_back(t);
    rhs.push_back(r);
    start.push_back(static_cast<QNDAint64>(col.size()));
  }
  void add(QNDAprob p) {
    QNDAaddrows64(p, static_cast<int>(type.size()), static_cast<QNDAint64>(col.size()), type.data(),
                  rhs.data(), nullptr, start.data(), col.data(), coef.data());
  }
};

struct Cols {
  std::vector<double> lb, ub;
  std::vector<int> binaries;
  int add(double l, double u, bool bin = false) {
    if (bin) binaries.push_back(static_cast<int>(lb.size()));
    lb.push_back(l);
    ub.push_back(u);
    return static_cast<int>(lb.size()) - 1;
  }
  void load(QNDAprob p) {
    int n = static_cast<int>(lb.size());
    std::vector<QNDAint64> start(n + 1, 0);
    QNDAaddcols64(p, n, 0, nullptr, start.data(), nullptr, nullptr, lb.data(), ub.data());
    if (!binaries.empty()) {
      std::vector<char> t(binaries.size(), 'B');
      QNDAchgcoltype(p, static_cast<int>(binaries.size()), binaries.data(), t.data());
    }
  }
};

QNDAprob fresh() {
  QNDAprob p = nullptr;
  QNDAcreateprob(&p);
  QNDAloadlp(p, "bench", 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
             nullptr, nullptr, nullptr);
  return p;
}

QNDAprob facility(int G) {
  const int F = G, P = G + 1;
  const double M = 2 * std::sqrt(2.0), inf = QNDA_INFINITY;
  QNDAprob p = fresh();
  Cols c;
  int d = c.add(0, inf);
  std::vector<int> y(2 * F);
  for (int f = 0; f < F; ++f)
    for (int k = 0; k < 2; ++k) y[2 * f + k] = c.add(0, 1);
  auto idx = [&](int i, int j, int f) { return (i * P + j) * F + f; };
  std::vector<int> z(P * P * F), s(P * P * F), r1(P * P * F), r2(P * P * F);
  for (int &v : z) v = c.add(0, 1, true);
  for (int &v : s) v = c.add(0, inf);
  for (int &v : r1) v = c.add(-inf, inf);
  for (int &v : r2) v = c.add(-inf, inf);
  c.load(p);
  Rows a, b, e1, e2;
  for (int i = 0; i < P; ++i)
    for (int j = 0; j < P; ++j) {
      for (int f = 0; f < F; ++f) a.term(z[idx(i, j, f)], 1.0);
      a.end('E', 1.0);
      for (int f = 0; f < F; ++f) {
        b.term(s[idx(i, j, f)], 1.0);
        b.term(d, -1.0);
        b.term(z[idx(i, j, f)], M);
        b.end('E', M);
        e1.term(r1[idx(i, j, f)], 1.0);
        e1.term(y[2 * f], 1.0);
        e1.end('E', static_cast<double>(i) / G);
        e2.term(r2[idx(i, j, f)], 1.0);
        e2.term(y[2 * f + 1], 1.0);
        e2.end('E', static_cast<double>(j) / G);
      }
    }
  a.add(p);
  b.add(p);
  e1.add(p);
  e2.add(p);
  int oc[2] = {d, -1};
  double ov[2] = {1.0, 0.0};
  QNDAchgobj(p, 2, oc, ov);
  QNDAchgobjsense(p, 1);
  return p;
}

QNDAprob lqcp(int N) {
  const int n = N, m = N;
  const double dx = 1.0 / m, T = 1.58, dt = T / n, h2 = dx * dx, a = 0.001;
  QNDAprob p = fresh();
  Cols c;
  std::vector<int> y((n + 1) * (m + 1)), u(n + 1, -1);
  for (int &v : y) v = c.add(0, 1);
  for (int i = 1; i <= n; ++i) u[i] = c.add(-1, 1);
  c.load(p);
  auto Y = [&](int i, int j) { return y[i * (m + 1) + j]; };
  // objective: 1/4 dx sum w_j (y[n,j] - yt_j)^2 + 1/4 a dt sum w_i u_i^2
  std::vector<int> oc, q1, q2;
  std::vector<double> ov, qv;
  double constant = 0;
  for (int j = 0; j <= m; ++j) {
    double w = (j == 0 || j == m ? 1.0 : 2.0) * 0.25 * dx;
    double yt = 0.5 * (1 - (j * dx) * (j * dx));
    q1.push_back(Y(n, j));
    q2.push_back(Y(n, j));
    qv.push_back(w);
    oc.push_back(Y(n, j));
    ov.push_back(-2 * w * yt);
    constant += w * yt * yt;
  }
  for (int i = 1; i <= n; ++i) {
    q1.push_back(u[i]);
    q2.push_back(u[i]);
    qv.push_back((i == n ? 1.0 : 2.0) * 0.25 * a * dt);
  }
  oc.push_back(-1);
  ov.push_back(constant);
  const double k = 0.5 * dt / h2;
  Rows r;
  for (int i = 0; i < n; ++i)
    for (int j = 1; j < m; ++j) {
      r.term(Y(i + 1, j), 1.0 + 2 * k);
      r.term(Y(i, j), -1.0 + 2 * k);
      r.term(Y(i, j - 1), -k);
      r.term(Y(i, j + 1), -k);
      r.term(Y(i + 1, j - 1), -k);
      r.term(Y(i + 1, j + 1), -k);
      r.end('E', 0);
    }
  for (int j = 0; j <= m; ++j) {
    r.term(Y(0, j), 1.0);
    r.end('E', 0);
  }
  for (int i = 1; i <= n; ++i) {
    r.term(Y(i, 2), 1.0);
    r.term(Y(i, 1), -4.0);
    r.term(Y(i, 0), 3.0);
    r.end('E', 0);
  }
  for (int i = 1; i <= n; ++i) {
    r.term(Y(i, m - 2), 1 / (2 * dx));
    r.term(Y(i, m - 1), -4 / (2 * dx));
    r.term(Y(i, m), 3 / (2 * dx) + 1);
    r.term(u[i], -1.0);
    r.end('E', 0);
  }
  r.add(p);
  QNDAchgobj(p, static_cast<int>(oc.size()), oc.data(), ov.data());
  QNDAchgmqobj64(p, static_cast<QNDAint64>(q1.size()), q1.data(), q2.data(), qv.data());
  QNDAchgobjsense(p, 1);
  return p;
}

QNDAprob basic(int N) {
  QNDAprob p = fresh();
  Cols c;
  std::vector<int> x(N * N), y(N * N);
  for (int &v : x) v = c.add(0, QNDA_INFINITY);
  for (int &v : y) v = c.add(0, QNDA_INFINITY);
  c.load(p);
  Rows a, b;
  for (int i = 0; i < N; ++i)
    for (int j = 0; j < N; ++j) {
      a.term(x[i * N + j], 1.0);
      a.term(y[i * N + j], -1.0);
      a.end('G', i);
      b.term(x[i * N + j], 1.0);
      b.term(y[i * N + j], 1.0);
      b.end('G', 0);
    }
  a.add(p);
  b.add(p);
  std::vector<int> oc(2 * N * N);
  std::vector<double> ov(2 * N * N);
  for (int k = 0; k < N * N; ++k) {
    oc[k] = x[k];
    ov[k] = 2.0;
    oc[N * N + k] = y[k];
    ov[N * N + k] = 1.0;
  }
  QNDAchgobj(p, 2 * N * N, oc.data(), ov.data());
  QNDAchgobjsense(p, 1);
  return p;
}

template <class F>
void run(const char *name, int size, F f) {
  auto t0 = std::chrono::steady_clock::now();
  QNDAprob p = f(size);
  std::chrono::duration<double> dt = std::chrono::steady_clock::now() - t0;
  QNDAdestroyprob(p);
  std::printf("%s-%d %.6f\n", name, size, dt.count());
}

}  // namespace

int main() {
  if (QNDAinit(nullptr) != 0) return 1;
  QNDAenablemessages(0);
  for (int g : {25, 50}) run("fac", g, facility);
  for (int n : {500, 1000}) run("lqcp", n, lqcp);
  for (int n : {300, 500}) run("basic", n, basic);
  QNDAfree();
  return 0;
}
