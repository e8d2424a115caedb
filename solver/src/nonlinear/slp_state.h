// What a nonlinear problem keeps for its callbacks and its multistart: plain
// records, filled by the entry points of slp_callbacks.cpp and
// multistart.cpp.
#pragma once

#include <array>
#include <string>
#include <utility>
#include <vector>

namespace qnda {

enum SlpCbKind {
  kCbCascadeEnd,
  kCbCascadeStart,
  kCbCascadeVar,
  kCbCascadeVarFail,
  kCbCoefEvalError,
  kCbConstruct,
  kCbDestroy,
  kCbDrCol,
  kCbFormula,
  kCbIterEnd,
  kCbIterStart,
  kCbIterVar,
  kCbMsJobEnd,
  kCbMsJobStart,
  kCbMsWinner,
  kCbSlpEnd,
  kCbSlpNode,
  kCbSlpStart,
  kSlpCbKinds
};

struct SlpCallbackSlots {
  std::array<void *, kSlpCbKinds> fn{};
  std::array<void *, kSlpCbKinds> object{};
  bool has(SlpCbKind k) const { return fn[k] != nullptr; }
};

struct MsJob {
  std::string description;
  std::vector<int> cols;  // start values of these columns
  std::vector<double> start;
  std::vector<std::pair<int, double>> controls;  // nonlinear control id, value
  void *object = nullptr;
  int preset = 0;  // QSLP_MSPRESET_*, 0 for a plain job
  int member = 0;  // the job's number within its preset
};

struct MsResult {
  int status = 0;  // QSLP_NLPSTATUS_*
  double objval = 0.0, max_violation = 0.0;
};

struct MsState {
  std::vector<MsJob> jobs;
  std::vector<MsResult> results;  // of the last run, one per job
  int winner = -1;
  double best = 0.0;
};

}  // namespace qnda
