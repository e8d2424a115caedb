// What the SLP algorithm keeps per column and per row beside the
// coefficients (qslp.h, "SLP variables, rows, tolerance sets"): step bound
// settings, tolerance sets, row status and weights, derivative factors, the
// cascade, the evaluated state of QSLPconstruct, and counters.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "qslp.h"

namespace qnda {

struct SlpVarInfo {
  int detrow = -1;  // determining row
  int seqnum = 0;   // cascade position asked for; 0: automatic
  int tolset = 0;   // from 1; 0: none
  int deltatype = QSLP_DELTA_ADAPTIVE;
  double stepbound = 0.0;  // first (adaptive) or fixed step bound; 0: automatic
  int nlimit = 20;         // Newton steps of the cascade
};

struct SlpRowInfo {
  int status = QSLP_ROW_HARD;
  double weight = 1.0;
};

struct TolSet {
  std::array<double, QSLP_TOLSET_SIZE> v{};
  int status = 0;  // bit k: v[k] given
};

// Evaluation counts, bumped by the evaluator's users from any thread.
struct EvalStats {
  std::atomic<long long> f{0}, grad{0}, g{0}, jac{0}, hess{0}, user{0};
  EvalStats() = default;
  EvalStats(const EvalStats &o) { *this = o; }
  EvalStats &operator=(const EvalStats &o) {
    f = o.f.load(), grad = o.grad.load(), g = o.g.load(), jac = o.jac.load(), hess = o.hess.load(),
    user = o.user.load();
    return *this;
  }
  void reset() { *this = EvalStats(); }
};

struct SlpConstructed;  // nlcheck.cpp

struct SlpExtras {
  std::map<int, SlpVarInfo> vars;             // by column; absent: defaults
  std::map<int, SlpRowInfo> rows;             // by row; absent: defaults
  std::vector<TolSet> tolsets;                // set k + 1
  std::map<std::pair<int, int>, double> dfs;  // (row, column) -> factor
  std::vector<int> cascade;                   // determined columns in order
  bool cascade_ordered = false;
  std::shared_ptr<SlpConstructed> built;
  bool fixed_penalty = false;
  double penalty = 0.0;       // the last SLP solve's final penalty
  double last_penalty = 0.0;  // written by the solve
  std::string prefix;
  int last_msgtype = 0;
  bool solve_started = false;
  bool solving = false;
  std::chrono::steady_clock::time_point solve_start{};
  double last_solve_time = 0.0;
  EvalStats stats;

  const SlpVarInfo *var(int col) const {
    auto it = vars.find(col);
    return it == vars.end() ? nullptr : &it->second;
  }
  SlpRowInfo row(int r) const {
    auto it = rows.find(r);
    return it == rows.end() ? SlpRowInfo() : it->second;
  }
  // Rows that only the SLP algorithm knows how to treat.
  bool needs_slp() const {
    for (const auto &r : rows)
      if (r.second.status != QSLP_ROW_HARD) return true;
    return false;
  }
};

}  // namespace qnda
