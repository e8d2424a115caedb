// The floor for model building: the coefficient-map work that any modelling
// layer has to do, in plain C++ with no Python objects.  Each benchmark of
// bench_algebra.py has its counterpart here, doing the same insertions:
// a sorted flat map (keys appended when they come in increasing order, as
// variables do when created in order; binary search otherwise).
//
// Output: one line per benchmark, "<name> <seconds per term>".
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

namespace {

struct FlatMap {
  std::vector<uint32_t> keys;
  std::vector<double> coefs;

  void add(uint32_t k, double c) {
    if (keys.empty() || k > keys.back()) {
      keys.push_back(k);
      coefs.push_back(c);
      return;
    }
    auto it = std::lower_bound(keys.begin(), keys.end(), k);
    size_t i = static_cast<size_t>(it - keys.begin());
    if (it != keys.end() && *it == k) {
      coefs[i] += c;
      if (coefs[i] == 0.0) {
        keys.erase(it);
        coefs.erase(coefs.begin() + static_cast<long>(i));
      }
    } else {
      keys.insert(it, k);
      coefs.insert(coefs.begin() + static_cast<long>(i), c);
    }
  }
};

double now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

volatile size_t sink;

}  // namespace

int main(int argc, char **argv) {
  const size_t n = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 1000000;
  const size_t ncons = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 100000;
  const size_t dim = argc > 3 ? std::strtoul(argv[3], nullptr, 10) : 1000;
  std::mt19937 rng(12345);
  std::vector<double> coef(n);
  for (size_t i = 0; i < n; ++i) coef[i] = 1.0 + static_cast<double>(rng() % 7);

  // Sum of n terms c_i * x_i, variables in creation order.
  double t0 = now();
  {
    FlatMap m;
    for (size_t i = 0; i < n; ++i) m.add(static_cast<uint32_t>(i + 1), coef[i]);
    sink = m.keys.size();
  }
  std::printf("sum %.6g\n", (now() - t0) / static_cast<double>(n));

  // ncons constraints of 10 terms on random variables (plus the bound).
  std::vector<uint32_t> idx(ncons * 10);
  for (auto &k : idx) k = 1 + static_cast<uint32_t>(rng() % n);
  t0 = now();
  {
    std::vector<FlatMap> rows(ncons);
    std::vector<double> rhs(ncons);
    for (size_t r = 0; r < ncons; ++r) {
      FlatMap &m = rows[r];
      m.keys.reserve(10);
      m.coefs.reserve(10);
      for (size_t k = 0; k < 10; ++k) m.add(idx[r * 10 + k], coef[(r * 10 + k) % n]);
      rhs[r] = static_cast<double>(r);
    }
    sink = rows.size();
  }
  std::printf("constraints %.6g\n", (now() - t0) / static_cast<double>(ncons * 10));

  // Dense dim x dim matrix times dim variables.
  std::vector<double> a(dim * dim);
  for (auto &v : a) v = 0.5 + static_cast<double>(rng() % 5);
  t0 = now();
  {
    std::vector<FlatMap> rows(dim);
    for (size_t i = 0; i < dim; ++i)
      for (size_t j = 0; j < dim; ++j) rows[i].add(static_cast<uint32_t>(j + 1), a[i * dim + j]);
    sink = rows.size();
  }
  std::printf("dot %.6g\n", (now() - t0) / static_cast<double>(dim * dim));
  return 0;
}
