#include "engine/delayed.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <tuple>

#include "core/messages.h"

namespace qnda {

namespace {

struct Held {
  int row;
  double lo, up;
};

bool violated(const Held &h, double act, double tol) {
  return act < h.lo - tol * (1.0 + std::fabs(h.lo)) || act > h.up + tol * (1.0 + std::fabs(h.up));
}

}  // namespace

void solve_with_delayed_rows(Engine &engine, const std::vector<char> &delayed, char mask,
                             FlatModel &fm, const EngineSettings &s, const EngineStart &start,
                             const EngineHooks &hooks, EngineResult &r) {
  std::vector<Held> held;
  const int n = std::min<int>(fm.orig_rows, static_cast<int>(delayed.size()));
  for (int i = 0; i < n; ++i)
    if (delayed[i] & mask) held.push_back({i, fm.rowlo[i], fm.rowup[i]});
  if (held.empty()) {
    engine.solve(fm, s, start, hooks, r);
    return;
  }
  const double inf = std::numeric_limits<double>::infinity();
  for (const Held &h : held) {
    fm.rowlo[h.row] = -inf;
    fm.rowup[h.row] = inf;
  }
  EngineStart warm = start;
  SolveCounters total;
  for (;;) {
    FlatModel round = fm;  // the engine may consume its model
    r = EngineResult();
    engine.solve(round, s, warm, hooks, r);
    total.simplex_iter += r.simplex_iter;
    total.barrier_iter += r.barrier_iter;
    total.nodes += r.nodes;
    if (r.status != EngineStatus::Optimal || !r.has_primal) break;
    std::vector<Held> still;
    int added = 0;
    for (const Held &h : held) {
      if (violated(h, r.row_activity[h.row], s.feas_tol)) {
        fm.rowlo[h.row] = h.lo;
        fm.rowup[h.row] = h.up;
        ++added;
      } else {
        still.push_back(h);
      }
    }
    if (added == 0 || (hooks.stop && hooks.stop())) break;
    held.swap(still);
    if (hooks.log && s.log_level >= 1)
      hooks.log(MSG_INFO,
                std::to_string(added) + " delayed rows violated; solving again with them");
    // The last basis stays a basis: the rows that join were basic while free.
    warm = EngineStart();
    warm.mip_start = start.mip_start;
    if (r.has_basis) std::tie(warm.col_basis, warm.row_basis) = std::tie(r.col_basis, r.row_basis);
  }
  std::tie(r.simplex_iter, r.barrier_iter, r.nodes) =
      std::tie(total.simplex_iter, total.barrier_iter, total.nodes);
}

}  // namespace qnda
