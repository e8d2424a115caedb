// The cut pool and the cuts of a node event (callbacks/cutpool.h).  Every
// call reads only what the pool and the event hold, so all run under
// guard_read: the callbacks of a running search are their main users.
#include <cstdint>

#include "api/guard.h"

using namespace qnda;

namespace {

const char kNoNode[] =
    "only inside a node callback (optnode, or preintsol) of a MIP search on the cbc engine";

std::uint64_t cut_id(QNDAcut c) {
  return static_cast<std::uint64_t>(reinterpret_cast<uintptr_t>(c));
}
QNDAcut cut_handle(std::uint64_t id) {
  return reinterpret_cast<QNDAcut>(static_cast<uintptr_t>(id));
}

NodeCutEvent &node_event(qnda_problem_s *prob) {
  NodeCutEvent *ev = node_cut_event(prob);
  if (!ev) fail(QNDA_ERR_STATE, "%s", kNoNode);
  return *ev;
}

// The ncuts rows of the arguments as pool cuts over the problem's columns.
std::vector<PoolCut> read_cuts(const qnda_problem_s *prob, int ncuts, const int *cuttype,
                               const char *rowtype, const double *rhs, const int *start,
                               const int *colind, const double *cutcoef) {
  check_count(ncuts, "ncuts");
  std::vector<PoolCut> cuts(ncuts);
  if (ncuts == 0) return cuts;
  check_array(cuttype, "cuttype");
  check_array(rowtype, "rowtype");
  check_array(rhs, "rhs");
  check_array(start, "start");
  const int n = prob->model.ncols();
  if (start[0] != 0) fail(QNDA_ERR_ARGUMENT, "start[0] is %d, not 0", start[0]);
  if (start[ncuts] > 0) {
    check_array(colind, "colind");
    check_array(cutcoef, "cutcoef");
  }
  for (int i = 0; i < ncuts; ++i) {
    PoolCut &c = cuts[i];
    c.type = cuttype[i];
    c.rowtype = rowtype[i];
    if (c.rowtype != 'L' && c.rowtype != 'G' && c.rowtype != 'E')
      fail(QNDA_ERR_ARGUMENT, "cut %d has row type '%c'; a cut is of type L, G or E", i, c.rowtype);
    c.rhs = rhs[i];
    if (start[i + 1] < start[i])
      fail(QNDA_ERR_ARGUMENT, "start of cut %d (%d) is below that of cut %d (%d)", i + 1,
           start[i + 1], i, start[i]);
    for (int k = start[i]; k < start[i + 1]; ++k) {
      check_index(colind[k], n, "column");
      c.col.push_back(colind[k]);
      c.val.push_back(cutcoef[k]);
    }
  }
  return cuts;
}

// The handles of a list (ncuts >= 0) or of a selection, each checked.
std::vector<std::uint64_t> chosen(const qnda_problem_s *prob, int cuttype, int interp, int ncuts,
                                  const QNDAcut *cutind) {
  if (ncuts < 0 || !cutind) {
    if (interp != -1 && (interp < 1 || interp > 3))
      fail(QNDA_ERR_ARGUMENT, "interp is %d; it is -1 (every cut), 1, 2 or 3", interp);
    return prob->cuts.select(cuttype, interp);
  }
  std::vector<std::uint64_t> ids(ncuts);
  for (int i = 0; i < ncuts; ++i) {
    ids[i] = cut_id(cutind[i]);
    if (!prob->cuts.has(ids[i])) fail(QNDA_ERR_ARGUMENT, "cut %d is not in the cut pool", i);
  }
  return ids;
}

PoolCut pool_cut(const qnda_problem_s *prob, std::uint64_t id) {
  PoolCut c;
  if (!prob->cuts.get(id, c)) fail(QNDA_ERR_ARGUMENT, "the cut is not in the cut pool");
  return c;
}

// The solution cuts are measured at: the event's, or the last solve's.
const double *measure_x(const qnda_problem_s *prob) {
  const SolveState &st = prob->results();
  if (!st.has_solution || static_cast<int>(st.x.size()) < prob->model.ncols())
    fail(QNDA_ERR_STATE, "there is no solution to measure cuts at");
  return st.x.data();
}

void load(qnda_problem_s *prob, const std::vector<std::uint64_t> &ids) {
  NodeCutEvent &ev = node_event(prob);
  const int n = prob->model.ncols();
  for (std::uint64_t id : ids) {
    PoolCut c = pool_cut(prob, id);
    for (int j : c.col)
      if (j >= n) fail(QNDA_ERR_INDEX, "a pool cut names column %d; the problem has %d", j, n);
    ev.cuts.push_back({id, std::move(c)});
  }
}

}  // namespace

extern "C" int QNDAaddcuts(QNDAprob prob, int ncuts, const int *cuttype, const char *rowtype,
                           const double *rhs, const int *start, const int *colind,
                           const double *cutcoef) {
  return guard_read(prob, "QNDAaddcuts", [&] {
    NodeCutEvent &ev = node_event(prob);
    for (PoolCut &c : read_cuts(prob, ncuts, cuttype, rowtype, rhs, start, colind, cutcoef)) {
      const std::uint64_t id = prob->cuts.store(c, 0);
      ev.cuts.push_back({id, std::move(c)});
    }
  });
}

extern "C" int QNDAstorecuts(QNDAprob prob, int ncuts, int nodupl, const int *cuttype,
                             const char *rowtype, const double *rhs, const int *start,
                             QNDAcut *cutind, const int *colind, const double *cutcoef) {
  return guard_read(prob, "QNDAstorecuts", [&] {
    if (nodupl < 0 || nodupl > 2) fail(QNDA_ERR_ARGUMENT, "nodupl is %d; it is 0, 1 or 2", nodupl);
    std::vector<PoolCut> cuts =
        read_cuts(prob, ncuts, cuttype, rowtype, rhs, start, colind, cutcoef);
    if (ncuts > 0) check_array(cutind, "cutind");
    for (int i = 0; i < ncuts; ++i) cutind[i] = cut_handle(prob->cuts.store(cuts[i], nodupl));
  });
}

extern "C" int QNDAloadcuts(QNDAprob prob, int cuttype, int interp, int ncuts,
                            const QNDAcut *cutind) {
  return guard_read(prob, "QNDAloadcuts",
                    [&] { load(prob, chosen(prob, cuttype, interp, ncuts, cutind)); });
}

extern "C" int QNDAsetbranchcuts(QNDAprob prob, int ncuts, const QNDAcut *cutind) {
  return guard_read(prob, "QNDAsetbranchcuts", [&] {
    check_count(ncuts, "ncuts");
    node_event(prob);
    if (ncuts == 0) return;
    check_array(cutind, "cutind");
    load(prob, chosen(prob, 0, -1, ncuts, cutind));
  });
}

extern "C" int QNDAdelcuts(QNDAprob prob, int basis, int cuttype, int interp, double delta,
                           int ncuts, const QNDAcut *cutind) {
  (void)basis, (void)delta;
  return guard_read(prob, "QNDAdelcuts", [&] {
    NodeCutEvent &ev = node_event(prob);
    const bool listed = ncuts >= 0 && cutind;
    const std::vector<std::uint64_t> ids = chosen(prob, cuttype, interp, ncuts, cutind);
    for (std::uint64_t id : ids) {
      bool queued = false;
      for (size_t k = 0; k < ev.cuts.size(); ++k)
        if (ev.cuts[k].id == id) {
          ev.cuts.erase(ev.cuts.begin() + static_cast<long>(k));
          queued = true;
          break;
        }
      if (!queued && listed && ev.row_of(pool_cut(prob, id)) >= 0)
        fail(QNDA_ERR_UNSUPPORTED,
             "the cbc engine keeps the cuts of its node matrix (it takes off those that are not "
             "binding itself); only cuts given at this event can be deleted");
    }
  });
}

extern "C" int QNDAdelcpcuts(QNDAprob prob, int cuttype, int interp, int ncuts,
                             const QNDAcut *cutind) {
  return guard_read(prob, "QNDAdelcpcuts", [&] {
    for (std::uint64_t id : chosen(prob, cuttype, interp, ncuts, cutind)) prob->cuts.erase(id);
  });
}

extern "C" int QNDAgetcutlist(QNDAprob prob, int cuttype, int interp, int *ncuts, int size,
                              QNDAcut *cutind) {
  return guard_read(prob, "QNDAgetcutlist", [&] {
    check_array(ncuts, "ncuts");
    check_count(size, "size");
    const NodeCutEvent &ev = node_event(prob);
    int found = 0;
    for (std::uint64_t id : chosen(prob, cuttype, interp, -1, nullptr)) {
      if (ev.row_of(pool_cut(prob, id)) < 0) continue;
      if (found < size && cutind) cutind[found] = cut_handle(id);
      ++found;
    }
    *ncuts = found;
  });
}

extern "C" int QNDAgetcpcutlist(QNDAprob prob, int cuttype, int interp, double delta, int *ncuts,
                                int size, QNDAcut *cutind, double *viol) {
  return guard_read(prob, "QNDAgetcpcutlist", [&] {
    check_array(ncuts, "ncuts");
    check_count(size, "size");
    const double *x = measure_x(prob);
    int found = 0;
    for (std::uint64_t id : chosen(prob, cuttype, interp, -1, nullptr)) {
      const double v = pool_cut(prob, id).violation(x);
      if (!(v > delta)) continue;
      if (found < size) {
        if (cutind) cutind[found] = cut_handle(id);
        if (viol) viol[found] = v;
      }
      ++found;
    }
    *ncuts = found;
  });
}

extern "C" int QNDAgetcpcuts(QNDAprob prob, const QNDAcut *cutind, int ncuts, int size,
                             int *cuttype, char *rowtype, int *start, int *colind, double *cutcoef,
                             double *rhs) {
  return guard_read(prob, "QNDAgetcpcuts", [&] {
    check_count(ncuts, "ncuts");
    check_count(size, "size");
    if (ncuts > 0) check_array(cutind, "cutind");
    const std::vector<std::uint64_t> ids = chosen(prob, 0, -1, ncuts, cutind);
    int nz = 0;
    if (start) start[0] = 0;
    for (int i = 0; i < ncuts; ++i) {
      const PoolCut c = pool_cut(prob, ids[i]);
      if (cuttype) cuttype[i] = c.type;
      if (rowtype) rowtype[i] = c.rowtype;
      if (rhs) rhs[i] = c.rhs;
      for (size_t k = 0; k < c.col.size(); ++k, ++nz) {
        if (nz >= size && (colind || cutcoef))
          fail(QNDA_ERR_ARGUMENT, "size %d is too small for the cuts' coefficients", size);
        if (colind) colind[nz] = c.col[k];
        if (cutcoef) cutcoef[nz] = c.val[k];
      }
      if (start) start[i + 1] = nz;
    }
  });
}

extern "C" int QNDAgetcutmap(QNDAprob prob, int ncuts, const QNDAcut *cutind, int *cutmap) {
  return guard_read(prob, "QNDAgetcutmap", [&] {
    check_count(ncuts, "ncuts");
    if (ncuts == 0) return;
    check_array(cutind, "cutind");
    check_array(cutmap, "cutmap");
    const NodeCutEvent &ev = node_event(prob);
    const std::vector<std::uint64_t> ids = chosen(prob, 0, -1, ncuts, cutind);
    for (int i = 0; i < ncuts; ++i) cutmap[i] = ev.row_of(pool_cut(prob, ids[i]));
  });
}

extern "C" int QNDAgetcutslack(QNDAprob prob, QNDAcut cut, double *slack) {
  return guard_read(prob, "QNDAgetcutslack", [&] {
    check_array(slack, "slack");
    const PoolCut c = pool_cut(prob, cut_id(cut));
    *slack = c.slack(measure_x(prob));
  });
}

extern "C" int QNDAstorebounds(QNDAprob prob, int nbounds, const int *colind, const char *bndtype,
                               const double *bndval, void **bounds) {
  return guard_read(prob, "QNDAstorebounds", [&] {
    check_count(nbounds, "nbounds");
    check_array(bounds, "bounds");
    if (nbounds > 0) {
      check_array(colind, "colind");
      check_array(bndtype, "bndtype");
      check_array(bndval, "bndval");
    }
    std::vector<PoolBound> b(nbounds);
    for (int i = 0; i < nbounds; ++i) {
      check_index(colind[i], prob->model.ncols(), "column");
      if (bndtype[i] != 'L' && bndtype[i] != 'U' && bndtype[i] != 'B')
        fail(QNDA_ERR_ARGUMENT, "bound %d has type '%c'; it is L, U or B", i, bndtype[i]);
      b[i] = {colind[i], bndtype[i], bndval[i]};
    }
    *bounds = reinterpret_cast<void *>(static_cast<uintptr_t>(prob->cuts.store_bounds(b)));
  });
}

extern "C" int QNDAsetbranchbounds(QNDAprob prob, void *bounds) {
  return guard_read(prob, "QNDAsetbranchbounds", [&] {
    NodeCutEvent &ev = node_event(prob);
    std::vector<PoolBound> b;
    if (!prob->cuts.get_bounds(static_cast<std::uint64_t>(reinterpret_cast<uintptr_t>(bounds)), b))
      fail(QNDA_ERR_ARGUMENT, "the bounds were not stored with QNDAstorebounds");
    for (const PoolBound &pb : b) {
      if (pb.col >= prob->model.ncols())
        fail(QNDA_ERR_INDEX, "stored bounds name column %d; the problem has %d", pb.col,
             prob->model.ncols());
      ev.bounds.push_back(pb);
    }
  });
}
