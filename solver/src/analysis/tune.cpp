// The tuner: the problem solved under each candidate setting of a few
// controls, within the time of the control tunermaxtime; the fastest that
// reaches the result of the problem's own settings (same status, same
// objective to 1e-6 relative) is applied.  Candidates:
//   LP:  lpalgorithm 2 (dual), 3 (primal), 4 (barrier) x presolve 1, 0
//   MIP: presolve 1, 0 x scaling 1, 0
// A method file holds "name=value" lines of those controls.
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <string>

#include "analysis/analysis.h"
#include "controls/catable.h"
#include "core/error.h"
#include "engine/optimise.h"

namespace qnda {
namespace {

const int kTuned[] = {QNDA_LPALGORITHM, QNDA_PRESOLVE, QNDA_SCALING};

struct Outcome {
  int status = -1;
  double obj = 0.0, seconds = 0.0;
};

Outcome run(qnda_problem_s &prob, bool mip) {
  Outcome o;
  const auto t0 = std::chrono::steady_clock::now();
  optimise(prob, mip, "");
  o.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  const SolveState &st = prob.solve;
  o.status = mip ? st.mip_status : st.lp_status;
  o.obj = st.obj;
  return o;
}

bool same(const Outcome &a, const Outcome &b) {
  return a.status == b.status && std::fabs(a.obj - b.obj) <= 1e-6 * std::max(1.0, std::fabs(a.obj));
}

}  // namespace

void tune(qnda_problem_s &prob, const char *flags) {
  FlatModel fm;
  analysis_model(prob, fm);
  bool mip = fm.has_integers();
  for (const char *p = flags ? flags : ""; *p; ++p) {
    if (*p == 'l')
      mip = false;
    else
      fail(QNDA_ERR_ARGUMENT, "unknown flag '%c' (flags: l)", *p);
  }
  const double budget = prob.controls.get_dbl(QNDA_TUNERMAXTIME);
  const auto t0 = std::chrono::steady_clock::now();
  auto left = [&] {
    return budget - std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  };
  const Controls original = prob.controls;
  const Outcome base = run(prob, mip);
  Controls best = original;
  double best_time = base.seconds;
  std::vector<std::pair<int, int>> grid;
  if (mip) {
    for (int pre : {1, 0})
      for (int sc : {1, 0}) grid.push_back({pre, sc});
  } else {
    for (int alg : {2, 3, 4})
      for (int pre : {1, 0}) grid.push_back({alg, pre});
  }
  int tried = 0;
  for (auto [a, b] : grid) {
    if (left() <= 0) break;
    prob.controls = original;
    if (mip) {
      prob.controls.set_int(QNDA_PRESOLVE, a);
      prob.controls.set_int(QNDA_SCALING, b);
    } else {
      prob.controls.set_int(QNDA_LPALGORITHM, a);
      prob.controls.set_int(QNDA_PRESOLVE, b);
    }
    // A candidate slower than the best so far is of no use: cut it there.
    prob.controls.set_dbl(QNDA_TIMELIMIT, std::max(1e-3, std::min(left(), best_time * 1.5 + 0.05)));
    const Outcome o = run(prob, mip);
    ++tried;
    if (same(o, base) && o.seconds < best_time) {
      best = prob.controls;
      best.set_dbl(QNDA_TIMELIMIT, original.get_dbl(QNDA_TIMELIMIT));
      best_time = o.seconds;
    }
  }
  prob.controls = best;
  // The problem is left solved under the chosen settings.
  run(prob, mip);
  if (prob.controls.get_int(QNDA_LOGLEVEL) >= 1)
    emit_codedf(&prob, QNDA_MSG_ANALYSIS, MSG_INFO,
                "Tuner: %d candidates tried; lpalgorithm %d, presolve %d, scaling %d (%.3fs)",
                tried, best.get_int(QNDA_LPALGORITHM), best.get_int(QNDA_PRESOLVE),
                best.get_int(QNDA_SCALING), best_time);
}

void tuner_write_method(const qnda_problem_s &prob, const char *filename) {
  std::ofstream out(filename);
  if (!out) fail(QNDA_ERR_FILE, "cannot write %s", filename);
  out << "# tuner method\n";
  for (int id : kTuned) out << ca_find(id)->name << "=" << prob.controls.get_int(id) << "\n";
  if (!out) fail(QNDA_ERR_FILE, "cannot write %s", filename);
}

void tuner_read_method(qnda_problem_s &prob, const char *filename) {
  std::ifstream in(filename);
  if (!in) fail(QNDA_ERR_FILE, "cannot read %s", filename);
  Controls c = prob.controls;
  std::string line;
  int lineno = 0;
  while (std::getline(in, line)) {
    ++lineno;
    if (line.empty() || line[0] == '#') continue;
    const size_t eq = line.find('=');
    if (eq == std::string::npos) fail(QNDA_ERR_FILE, "%s:%d: no '='", filename, lineno);
    const std::string name = line.substr(0, eq);
    const int k = ca_index(name.c_str());
    bool tuned = false;
    for (int id : kTuned) tuned = tuned || (k >= 0 && kCaTable[k].id == id);
    if (!tuned)
      fail(QNDA_ERR_FILE, "%s:%d: \"%s\" is not a control of tuner methods", filename, lineno,
           name.c_str());
    char *end = nullptr;
    const long v = std::strtol(line.c_str() + eq + 1, &end, 10);
    if (end == line.c_str() + eq + 1) fail(QNDA_ERR_FILE, "%s:%d: bad value", filename, lineno);
    c.set_int(kCaTable[k].id, v);  // checks the control's bounds
  }
  prob.controls = c;
}

}  // namespace qnda
