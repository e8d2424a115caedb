// libqnda against HiGHS called directly, in one run:
//  1. the shared MPS instances solved both ways (wall time, best of N), and
//     a tiny LP's whole solve (median of many);
//  2. loading a model of 10^6 nonzeros through QNDAaddrows64 against
//     Highs::passModel with the same row-wise arrays.
// Prints the ratios libqnda / HiGHS.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "Highs.h"
#include "qnda.h"

namespace {

using Clock = std::chrono::steady_clock;

double since(Clock::time_point t0) {
  return std::chrono::duration<double>(Clock::now() - t0).count();
}

struct Inst {
  const char *file;
  bool mip;
};

double solve_qnda(const std::string &path, bool mip) {
  QNDAprob p;
  QNDAcreateprob(&p);
  QNDAsetintcontrol(p, QNDA_OUTPUTLOG, 0);
  QNDAsetintcontrol(p, QNDA_LOGLEVEL, 0);
  QNDAsetintcontrol(p, QNDA_THREADS, 1);
  if (QNDAreadprob(p, path.c_str(), "")) {
    std::fprintf(stderr, "cannot read %s\n", path.c_str());
    std::exit(1);
  }
  auto t0 = Clock::now();
  if (mip)
    QNDAmipoptimize(p, "");
  else
    QNDAlpoptimize(p, "");
  double t = since(t0);
  QNDAdestroyprob(p);
  return t;
}

double solve_highs(const HighsModel &model) {
  Highs h;
  h.setOptionValue("output_flag", false);
  h.setOptionValue("threads", 1);
  auto t0 = Clock::now();
  h.passModel(model);
  h.run();
  return since(t0);
}

void bench_solves(const std::string &dir, int reps) {
  const Inst insts[] = {{"afiro.mps", false},    {"adlittle.mps", false}, {"blending.mps", false},
                        {"standata.mps", false}, {"standmps.mps", false}, {"gas11.mps", false},
                        {"small_mip.mps", true}, {"flugpl.mps", true},    {"egout.mps", true},
                        {"lseu.mps", true},      {"qjh.mps", false}};
  double total_q = 0, total_h = 0;
  std::printf("%-16s %12s %12s %8s\n", "instance", "libqnda s", "HiGHS s", "ratio");
  for (const Inst &in : insts) {
    const std::string path = dir + "/" + in.file;
    Highs reader;
    reader.setOptionValue("output_flag", false);
    reader.readModel(path);
    const HighsModel model = reader.getModel();
    double bq = 1e100, bh = 1e100;
    for (int r = 0; r < reps; ++r) {  // interleaved so both see the same machine load
      bq = std::min(bq, solve_qnda(path, in.mip));
      bh = std::min(bh, solve_highs(model));
    }
    total_q += bq;
    total_h += bh;
    std::printf("%-16s %12.6f %12.6f %8.3f\n", in.file, bq, bh, bq / bh);
  }
  std::printf("%-16s %12.6f %12.6f %8.3f   (goal <= 1.05)\n", "TOTAL", total_q, total_h,
              total_q / total_h);
}

// A tiny LP solved whole, many times: each libqnda problem is new (read
// untimed), each HiGHS instance too (built untimed, like solve_highs).
void bench_tiny(const std::string &dir) {
  const std::string path = dir + "/blending.mps";
  Highs reader;
  reader.setOptionValue("output_flag", false);
  reader.readModel(path);
  const HighsModel model = reader.getModel();
  const int n = 2000;
  std::vector<double> tq, th;
  for (int r = 0; r < n; ++r) {
    QNDAprob p;
    QNDAcreateprob(&p);
    QNDAsetintcontrol(p, QNDA_OUTPUTLOG, 0);
    QNDAsetintcontrol(p, QNDA_LOGLEVEL, 0);
    QNDAsetintcontrol(p, QNDA_THREADS, 1);
    QNDAreadprob(p, path.c_str(), "");
    auto t0 = Clock::now();
    QNDAlpoptimize(p, "");
    tq.push_back(since(t0));
    QNDAdestroyprob(p);
    th.push_back(solve_highs(model));
  }
  std::sort(tq.begin(), tq.end());
  std::sort(th.begin(), th.end());
  const double q = tq[n / 2], h = th[n / 2];
  std::printf("%-16s %12.6f %12.6f %8.3f   (tiny LP, whole solve, median of %d; goal <= 1.2)\n",
              "blending", q, h, q / h, n);
}

void bench_load(int reps) {
  const int nrows = 100000, ncols = 50000, per_row = 10;  // 10^6 nonzeros
  std::mt19937 rng(7);
  std::uniform_int_distribution<int> col(0, ncols - 1);
  std::uniform_real_distribution<double> val(-10, 10);
  std::vector<QNDAint64> start64(nrows + 1);
  std::vector<HighsInt> start(nrows + 1);
  std::vector<int> index;
  std::vector<double> value;
  index.reserve(nrows * per_row);
  for (int i = 0; i < nrows; ++i) {
    start64[i] = start[i] = static_cast<int>(index.size());
    std::vector<int> cs;
    while (static_cast<int>(cs.size()) < per_row) {
      int c = col(rng);
      if (std::find(cs.begin(), cs.end(), c) == cs.end()) cs.push_back(c);
    }
    for (int c : cs) {
      index.push_back(c);
      value.push_back(val(rng));
    }
  }
  start64[nrows] = start[nrows] = static_cast<int>(index.size());
  std::vector<char> rtype(nrows, 'L');
  std::vector<double> rhs(nrows, 100.0), rlo(nrows, -kHighsInf);
  std::vector<double> obj(ncols, 1.0), lb(ncols, 0.0), ub(ncols, 10.0);

  double best_add = 1e100, best_fold = 1e100, best_h = 1e100;
  for (int r = 0; r < reps; ++r) {
    QNDAprob p;
    QNDAcreateprob(&p);
    auto t0 = Clock::now();
    QNDAaddcols64(p, ncols, 0, obj.data(), nullptr, nullptr, nullptr, lb.data(), ub.data());
    QNDAaddrows64(p, nrows, static_cast<QNDAint64>(index.size()), rtype.data(), rhs.data(), nullptr,
                  start64.data(), index.data(), value.data());
    double t_add = since(t0);
    double coef;
    QNDAgetcoef(p, 0, index[0], &coef);  // folds the pending rows into the matrix
    double t_fold = since(t0);
    QNDAdestroyprob(p);
    best_add = std::min(best_add, t_add);
    best_fold = std::min(best_fold, t_fold);

    Highs h;
    h.setOptionValue("output_flag", false);
    t0 = Clock::now();
    h.passModel(ncols, nrows, static_cast<HighsInt>(index.size()), 2 /* row-wise */, 1, 0.0,
                obj.data(), lb.data(), ub.data(), rlo.data(), rhs.data(), start.data(),
                index.data(), value.data());
    best_h = std::min(best_h, since(t0));
  }
  std::printf("\nloading 10^6 nonzeros (%d rows, %d columns), best of %d\n", nrows, ncols, reps);
  std::printf("  QNDAaddcols64 + QNDAaddrows64     %8.4f s  ratio %6.3f\n", best_add,
              best_add / best_h);
  std::printf("  ... and folded into the matrix    %8.4f s  ratio %6.3f   (goal <= 1.5)\n",
              best_fold, best_fold / best_h);
  std::printf("  Highs::passModel (row-wise)       %8.4f s\n", best_h);
}

}  // namespace

int main(int argc, char **argv) {
  const std::string dir = argc > 1 ? argv[1] : "tests/data";
  const int reps = argc > 2 ? std::atoi(argv[2]) : 5;
  QNDAinit(nullptr);
  bench_solves(dir, reps);
  bench_tiny(dir);
  bench_load(reps);
  QNDAfree();
  return 0;
}
