// The C boundary of the analyses: infeasible subsystems, repairs and
// sensitivity ranges (analysis/).
#include <cstring>

#include "analysis/analysis.h"
#include "api/guard.h"

using namespace qnda;

namespace {

void need(const void *p, const char *what) {
  if (!p) fail(QNDA_ERR_ARGUMENT, "%s is NULL", what);
}

// A search call: its status, 2 when it fails.
template <class F>
int search(QNDAprob prob, const char *fname, int *status, F &&body) {
  if (status) *status = 2;
  return guard(prob, fname, [&] {
    need(status, "status");
    *status = body();
  });
}

std::vector<double> copy_or_empty(const double *a, int n) {
  return a ? std::vector<double>(a, a + n) : std::vector<double>();
}

}  // namespace

extern "C" {

int QNDAiisfirst(QNDAprob prob, int mode, int *status) {
  return search(prob, "QNDAiisfirst", status, [&] { return iis_first(*prob, mode); });
}

int QNDAiisnext(QNDAprob prob, int *status) {
  return search(prob, "QNDAiisnext", status, [&] { return iis_next(*prob); });
}

int QNDAiisall(QNDAprob prob, int *status) {
  return search(prob, "QNDAiisall", status, [&] { return iis_all(*prob); });
}

int QNDAiisclear(QNDAprob prob) {
  return guard(prob, "QNDAiisclear", [&] { iis_clear(*prob); });
}

int QNDAiisstatus(QNDAprob prob, int *count, int *rowsizes, int *colsizes, double *suminfeas,
                  int *numinfeas) {
  return guard(prob, "QNDAiisstatus", [&] {
    const int n = prob->analysis ? static_cast<int>(prob->analysis->sets.size()) : 0;
    if (count) *count = n;
    for (int k = 1; k <= n; ++k) {
      const IisSet &s = iis_get(*prob, k);
      if (rowsizes) rowsizes[k - 1] = static_cast<int>(s.rows.size());
      if (colsizes) colsizes[k - 1] = static_cast<int>(s.cols.size());
      if (suminfeas || numinfeas)
        iis_violation(*prob, k, suminfeas ? suminfeas + k - 1 : nullptr,
                      numinfeas ? numinfeas + k - 1 : nullptr);
    }
  });
}

int QNDAiisisolations(QNDAprob prob, int num) {
  return guard(prob, "QNDAiisisolations", [&] { iis_isolations(*prob, num); });
}

int QNDAiiswrite(QNDAprob prob, int num, const char *filename, int type, const char *flags) {
  return guard(prob, "QNDAiiswrite", [&] {
    need(filename, "filename");
    iis_write(*prob, num, filename, type);
  });
}

int QNDAgetiisdata(QNDAprob prob, int num, int *rownumber, int *colnumber, int *miisrow,
                   int *miiscol, char *constrainttype, char *colbndtype, double *duals,
                   double *rdcs, char *isolationrows, char *isolationcols) {
  return guard(prob, "QNDAgetiisdata", [&] {
    const IisSet &s = iis_get(*prob, num);
    const int nr = static_cast<int>(s.rows.size()), nc = static_cast<int>(s.cols.size());
    if (rownumber) *rownumber = nr;
    if (colnumber) *colnumber = nc;
    if (miisrow) std::copy(s.rows.begin(), s.rows.end(), miisrow);
    if (miiscol) std::copy(s.cols.begin(), s.cols.end(), miiscol);
    if (constrainttype) std::copy(s.rowtype.begin(), s.rowtype.end(), constrainttype);
    if (colbndtype) std::copy(s.colside.begin(), s.colside.end(), colbndtype);
    if (isolationrows)
      for (int k = 0; k < nr; ++k)
        isolationrows[k] = s.row_isolated.empty() ? -1 : s.row_isolated[k];
    if (isolationcols)
      for (int k = 0; k < nc; ++k)
        isolationcols[k] = s.col_isolated.empty() ? -1 : s.col_isolated[k];
    if (duals || rdcs) {
      std::vector<double> y, d;
      iis_multipliers(*prob, num, y, d);
      if (duals) std::copy(y.begin(), y.end(), duals);
      if (rdcs) std::copy(d.begin(), d.end(), rdcs);
    }
  });
}

int QNDArepairweightedinfeasbounds(QNDAprob prob, int *status, const double *lrp, const double *grp,
                                   const double *lbp, const double *ubp, const double *lrb,
                                   const double *grb, const double *lbb, const double *ubb,
                                   char phase2, double delta, const char *flags) {
  if (status) *status = 4;
  return guard(prob, "QNDArepairweightedinfeasbounds", [&] {
    need(status, "status");
    const int m = prob->model.nrows(), n = prob->model.ncols();
    RepairWeights w;
    w.lrp = copy_or_empty(lrp, m);
    w.grp = copy_or_empty(grp, m);
    w.lbp = copy_or_empty(lbp, n);
    w.ubp = copy_or_empty(ubp, n);
    w.lrb = copy_or_empty(lrb, m);
    w.grb = copy_or_empty(grb, m);
    w.lbb = copy_or_empty(lbb, n);
    w.ubb = copy_or_empty(ubb, n);
    *status = repair(*prob, w, phase2, delta, flags);
  });
}

int QNDArepairweightedinfeas(QNDAprob prob, int *status, const double *lrp, const double *grp,
                             const double *lbp, const double *ubp, char phase2, double delta,
                             const char *flags) {
  return QNDArepairweightedinfeasbounds(prob, status, lrp, grp, lbp, ubp, nullptr, nullptr, nullptr,
                                        nullptr, phase2, delta, flags);
}

int QNDArepairinfeas(QNDAprob prob, int *status, char penalty, char phase2, char globalflags,
                     double lrp, double grp, double lbp, double ubp, double delta) {
  if (status) *status = 4;
  return guard(prob, "QNDArepairinfeas", [&] {
    need(status, "status");
    if (penalty != 'c' && penalty != 'b' && penalty != 'n')
      fail(QNDA_ERR_ARGUMENT, "penalty must be 'c', 'b' or 'n', not '%c'", penalty);
    if (globalflags != 'n')
      fail(QNDA_ERR_ARGUMENT, "globalflags must be 'n', not '%c'", globalflags);
    const int m = prob->model.nrows(), n = prob->model.ncols();
    const bool rows = penalty != 'b', bounds = penalty != 'c';
    RepairWeights w;
    w.lrp.assign(m, rows ? lrp : 0.0);
    w.grp.assign(m, rows ? grp : 0.0);
    w.lbp.assign(n, bounds ? lbp : 0.0);
    w.ubp.assign(n, bounds ? ubp : 0.0);
    *status = repair(*prob, w, phase2, delta, "");
  });
}

int QNDAobjsa(QNDAprob prob, int n, const int *colind, double *lower, double *upper) {
  return guard(prob, "QNDAobjsa", [&] {
    if (n < 0) fail(QNDA_ERR_ARGUMENT, "negative count %d", n);
    if (n > 0) need(colind, "colind");
    objective_ranges(*prob, n, colind, lower, upper);
  });
}

int QNDArhssa(QNDAprob prob, int n, const int *rowind, double *lower, double *upper) {
  return guard(prob, "QNDArhssa", [&] {
    if (n < 0) fail(QNDA_ERR_ARGUMENT, "negative count %d", n);
    if (n > 0) need(rowind, "rowind");
    rhs_ranges(*prob, n, rowind, lower, upper);
  });
}

int QNDAstrongbranch(QNDAprob prob, int nbounds, const int *colind, const char *bndtype,
                     const double *bndval, int itrlimit, double *objval, int *status) {
  return guard(prob, "QNDAstrongbranch", [&] {
    if (nbounds < 0) fail(QNDA_ERR_ARGUMENT, "negative count %d", nbounds);
    if (nbounds > 0) {
      need(colind, "colind");
      need(bndtype, "bndtype");
      need(bndval, "bndval");
    }
    strong_branch(*prob, nbounds, colind, bndtype, bndval, itrlimit, objval, status);
  });
}

int QNDAbasisstability(QNDAprob prob, int type, int norm, int ifscaled, double *value) {
  return guard(prob, "QNDAbasisstability", [&] {
    need(value, "value");
    *value = basis_stability(*prob, type, norm, ifscaled);
  });
}

int QNDAtune(QNDAprob prob, const char *flags) {
  return guard(prob, "QNDAtune", [&] { tune(*prob, flags); });
}

int QNDAtunerwritemethod(QNDAprob prob, const char *methodfile) {
  return guard(prob, "QNDAtunerwritemethod", [&] {
    need(methodfile, "methodfile");
    tuner_write_method(*prob, methodfile);
  });
}

int QNDAtunerreadmethod(QNDAprob prob, const char *methodfile) {
  return guard(prob, "QNDAtunerreadmethod", [&] {
    need(methodfile, "methodfile");
    tuner_read_method(*prob, methodfile);
  });
}

}  // extern "C"
