// QNDA_bo_*: branching objects (callbacks/branchobj.h).  Errors of a call on
// an object are recorded on the object (QNDA_bo_getlasterror).
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>

#include "api/guard.h"
#include "callbacks/branchobj.h"
#include "callbacks/cutpool.h"

using namespace qnda;

namespace {

std::atomic<int> g_next_id{1};

template <class F>
int guard_bo(QNDAbranchobject bo, const char *fname, F &&body) {
  if (int rc = check_handle_of(bo, fname, "branching object")) return rc;
  if (!lib_initialised())
    return record(bo->err, fname, QNDA_ERR_NOTINIT,
                  "the library is not initialised (call QNDAinit first)");
  return run_guarded(bo->err, fname, std::forward<F>(body));
}

Branch &branch_of(QNDAbranchobject bo, int ibranch) {
  check_index(ibranch, static_cast<int>(bo->branches.size()), "branch");
  return bo->branches[ibranch];
}

int ncols_of(QNDAbranchobject bo) {
  if (!bo->prob || !bo->prob->valid())
    fail(QNDA_ERR_STATE, "the problem of the branching object was destroyed");
  return bo->prob->model.ncols();
}

// The problem's columns before n items are added (-1: nothing to add),
// once the count and the arrays are checked.
int adding(QNDAbranchobject bo, int n, const char *what,
           std::initializer_list<std::pair<const void *, const char *>> arrays) {
  if (n < 0) fail(QNDA_ERR_ARGUMENT, "negative number of %s", what);
  if (n == 0) return -1;
  for (const auto &a : arrays) check_array(a.first, a.second);
  return ncols_of(bo);
}

void check_bound(char type, int col, double v, int ncols) {
  if (type != 'L' && type != 'U' && type != 'B')
    fail(QNDA_ERR_ARGUMENT, "bound type '%c' (expected 'L', 'U' or 'B')", type);
  check_index(col, ncols, "column index");
  if (std::isnan(v)) fail(QNDA_ERR_ARGUMENT, "bound of column %d is NaN", col);
}

// Appends one row, its entries already checked.
void append_row(Branch &b, char type, double rhs, const int *col, const double *coef, int n) {
  b.rowtype.push_back(type);
  b.rhs.push_back(rhs);
  b.col.insert(b.col.end(), col, col + n);
  b.coef.insert(b.coef.end(), coef, coef + n);
  b.start.push_back(b.start.back() + n);
}

// Why a branch cannot be applied, or empty.
std::string branch_problem(const Branch &b, int ncols) {
  std::vector<double> lo(ncols, -INFINITY), up(ncols, INFINITY);
  for (size_t k = 0; k < b.bndtype.size(); ++k) {
    const int j = b.bndcol[k];
    if (j < 0 || j >= ncols) return "a bound on column " + std::to_string(j) + " out of range";
    if (b.bndtype[k] != 'U') lo[j] = std::max(lo[j], b.bndval[k]);
    if (b.bndtype[k] != 'L') up[j] = std::min(up[j], b.bndval[k]);
    if (lo[j] > up[j]) return "crossing bounds on column " + std::to_string(j);
  }
  for (int c : b.col)
    if (c < 0 || c >= ncols) return "a row entry on column " + std::to_string(c) + " out of range";
  return std::string();
}

// True when every branch can be applied to the problem; otherwise false
// with the reason as the object's last error.
bool applicable(QNDAbranchobject bo, const char *fname) {
  const int ncols = ncols_of(bo);
  std::string why;
  if (bo->branches.empty()) why = "the object has no branches";
  for (size_t i = 0; i < bo->branches.size() && why.empty(); ++i) {
    why = branch_problem(bo->branches[i], ncols);
    if (!why.empty()) why = "branch " + std::to_string(i) + ": " + why;
  }
  if (why.empty()) return true;
  bo->err.set(QNDA_ERR_STATE, std::string(fname) + ": " + why);
  return false;
}

}  // namespace

extern "C" {

int QNDA_bo_create(QNDAbranchobject *bo, QNDAprob prob, int isoriginal) {
  return guard_read(prob, "QNDA_bo_create", [&] {
    check_array(bo, "branching object pointer");
    auto *o = new qnda_branchobj_s();
    o->prob = prob;
    o->isoriginal = isoriginal != 0;
    o->id = g_next_id.fetch_add(1);
    *bo = o;
  });
}

int QNDA_bo_destroy(QNDAbranchobject bo) {
  if (int rc = check_handle_of(bo, "QNDA_bo_destroy", "branching object")) return rc;
  delete bo;
  return QNDA_OK;
}

int QNDA_bo_addbranches(QNDAbranchobject bo, int nbranches) {
  return guard_bo(bo, "QNDA_bo_addbranches", [&] {
    check_count(nbranches, "number of branches");
    bo->branches.resize(bo->branches.size() + nbranches);
  });
}

int QNDA_bo_getbranches(QNDAbranchobject bo, int *nbranches) {
  return guard_bo(bo, "QNDA_bo_getbranches", [&] {
    check_array(nbranches, "nbranches");
    *nbranches = static_cast<int>(bo->branches.size());
  });
}

int QNDA_bo_setpriority(QNDAbranchobject bo, int priority) {
  return guard_bo(bo, "QNDA_bo_setpriority", [&] { bo->priority = priority; });
}

int QNDA_bo_setpreferredbranch(QNDAbranchobject bo, int ibranch) {
  return guard_bo(bo, "QNDA_bo_setpreferredbranch", [&] {
    branch_of(bo, ibranch);
    bo->preferred = ibranch;
  });
}

int QNDA_bo_addbounds(QNDAbranchobject bo, int ibranch, int nbounds, const char *bndtype,
                      const int *colind, const double *bndval) {
  return guard_bo(bo, "QNDA_bo_addbounds", [&] {
    Branch &b = branch_of(bo, ibranch);
    const int ncols = adding(bo, nbounds, "bounds",
                             {{bndtype, "bndtype"}, {colind, "colind"}, {bndval, "bndval"}});
    if (ncols < 0) return;
    for (int k = 0; k < nbounds; ++k) check_bound(bndtype[k], colind[k], bndval[k], ncols);
    b.bndtype.insert(b.bndtype.end(), bndtype, bndtype + nbounds);
    b.bndcol.insert(b.bndcol.end(), colind, colind + nbounds);
    b.bndval.insert(b.bndval.end(), bndval, bndval + nbounds);
  });
}

int QNDA_bo_getbounds(QNDAbranchobject bo, int ibranch, int *nbounds, int maxbounds, char *bndtype,
                      int *colind, double *bndval) {
  return guard_bo(bo, "QNDA_bo_getbounds", [&] {
    const Branch &b = branch_of(bo, ibranch);
    const int n = static_cast<int>(b.bndtype.size());
    if (nbounds) *nbounds = n;
    for (int k = 0; k < std::min(n, maxbounds); ++k) {
      if (bndtype) bndtype[k] = b.bndtype[k];
      if (colind) colind[k] = b.bndcol[k];
      if (bndval) bndval[k] = b.bndval[k];
    }
  });
}

int QNDA_bo_addrows(QNDAbranchobject bo, int ibranch, int nrows, const char *rowtype,
                    const double *rhs, const int *start, const int *colind, const double *rowcoef) {
  return guard_bo(bo, "QNDA_bo_addrows", [&] {
    Branch &b = branch_of(bo, ibranch);
    const int ncols =
        adding(bo, nrows, "rows", {{rowtype, "rowtype"}, {rhs, "rhs"}, {start, "start"}});
    if (ncols < 0) return;
    if (start[0] != 0) fail(QNDA_ERR_ARGUMENT, "start[0] is %d, not 0", start[0]);
    for (int i = 0; i < nrows; ++i) {
      if (rowtype[i] == 'N') fail(QNDA_ERR_ARGUMENT, "row %d: a branch cannot have a free row", i);
      if (rowtype[i] != 'L' && rowtype[i] != 'G' && rowtype[i] != 'E')
        fail(QNDA_ERR_ARGUMENT, "row %d: type '%c' (expected 'L', 'G' or 'E')", i, rowtype[i]);
      if (!std::isfinite(rhs[i])) fail(QNDA_ERR_ARGUMENT, "row %d: right-hand side not finite", i);
      if (start[i + 1] < start[i]) fail(QNDA_ERR_ARGUMENT, "start decreases at row %d", i);
    }
    const int nelems = start[nrows];
    if (nelems > 0) {
      check_array(colind, "colind");
      check_array(rowcoef, "rowcoef");
    }
    for (int k = 0; k < nelems; ++k) {
      check_index(colind[k], ncols, "column index");
      if (!std::isfinite(rowcoef[k])) fail(QNDA_ERR_ARGUMENT, "coefficient %d not finite", k);
    }
    for (int i = 0; i < nrows; ++i)
      append_row(b, rowtype[i], rhs[i], colind + start[i], rowcoef + start[i],
                 start[i + 1] - start[i]);
  });
}

int QNDA_bo_addcuts(QNDAbranchobject bo, int ibranch, int ncuts, const QNDAcut *cuts) {
  return guard_bo(bo, "QNDA_bo_addcuts", [&] {
    Branch &b = branch_of(bo, ibranch);
    const int ncols = adding(bo, ncuts, "cuts", {{cuts, "cuts"}});
    if (ncols < 0) return;
    // All read and checked before the branch changes: a bad handle adds nothing.
    std::vector<PoolCut> rows(ncuts);
    for (int i = 0; i < ncuts; ++i) {
      const auto id = static_cast<std::uint64_t>(reinterpret_cast<uintptr_t>(cuts[i]));
      if (!bo->prob->cuts.get(id, rows[i]))
        fail(QNDA_ERR_ARGUMENT, "cut %d is not in the cut pool of the object's problem", i);
      // The pool keeps the columns a cut was stored with; some may be gone.
      for (int c : rows[i].col) check_index(c, ncols, "column index of a pool cut");
    }
    for (const PoolCut &c : rows)
      append_row(b, c.rowtype, c.rhs, c.col.data(), c.val.data(), static_cast<int>(c.col.size()));
  });
}

int QNDA_bo_getrows(QNDAbranchobject bo, int ibranch, int *nrows, int maxrows, int *nelems,
                    int maxelems, char *rowtype, double *rhs, int *start, int *colind,
                    double *rowcoef) {
  return guard_bo(bo, "QNDA_bo_getrows", [&] {
    const Branch &b = branch_of(bo, ibranch);
    const int n = b.nrows(), ne = b.start.back();
    if (nrows) *nrows = n;
    if (nelems) *nelems = ne;
    const int rows = std::min(n, std::max(0, maxrows));
    for (int i = 0; i < rows; ++i) {
      if (rowtype) rowtype[i] = b.rowtype[i];
      if (rhs) rhs[i] = b.rhs[i];
    }
    if (start)
      for (int i = 0; i <= rows && maxrows >= 0; ++i) start[i] = b.start[i];
    for (int k = 0; k < std::min(ne, maxelems); ++k) {
      if (colind) colind[k] = b.col[k];
      if (rowcoef) rowcoef[k] = b.coef[k];
    }
  });
}

int QNDA_bo_getid(QNDAbranchobject bo, int *id) {
  return guard_bo(bo, "QNDA_bo_getid", [&] {
    check_array(id, "id");
    *id = bo->id;
  });
}

int QNDA_bo_getlasterror(QNDAbranchobject bo, int *msgcode, char *msg, int maxbytes, int *nbytes) {
  if (int rc = check_handle_of(bo, "QNDA_bo_getlasterror", "branching object")) return rc;
  if (msgcode) *msgcode = bo->err.code();
  copy_out(bo->err.message(), msg, maxbytes, nbytes);
  return QNDA_OK;
}

int QNDA_bo_validate(QNDAbranchobject bo, int *status) {
  return guard_bo(bo, "QNDA_bo_validate", [&] {
    check_array(status, "status");
    *status = applicable(bo, "QNDA_bo_validate") ? 0 : 1;
  });
}

int QNDA_bo_store(QNDAbranchobject bo, int *status) {
  return guard_bo(bo, "QNDA_bo_store", [&] {
    check_array(status, "status");
    *status = 1;
    NodeCutEvent *ev = node_cut_event(bo->prob);
    if (!ev || !ev->takes_branching)
      fail(QNDA_ERR_STATE,
           "only inside an optnode callback of a MIP search on the cbc engine, for the node at "
           "hand");
    if (!applicable(bo, "QNDA_bo_store")) return;
    ev->branching.reset(bo);  // a second object stored at the node replaces the first
    *status = 0;
  });
}

}  // extern "C"
