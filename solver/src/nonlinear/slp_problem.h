// The nonlinear problem behind a QSLPprob handle: it sits on a main problem
// (QNDAprob) that holds the linear and quadratic parts, and carries the
// nonlinear coefficients (nlp_data.h), its controls and the results of its
// last solve.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "core/error.h"
#include "model/problem.h"
#include "nonlinear/nlextras.h"
#include "nonlinear/nlp_data.h"
#include "nonlinear/slp_state.h"
#include "qslp.h"

namespace qnda {

struct SlpCaInfo {
  int id;
  const char *name;  // lower case, distinct from every name of the main table
  int type;          // QNDA_TYPE_INT, QNDA_TYPE_DOUBLE, QNDA_TYPE_STRING
  bool control;
  double def, min, max;  // integer and double controls
  const char *sdef;      // string controls
};

constexpr double kSlpNoBound = 1e300;

constexpr SlpCaInfo kSlpTable[] = {
    // controls
    {QSLP_OBJSENSE, "nlpobjsense", QNDA_TYPE_DOUBLE, true, 1.0, -1.0, 1.0, nullptr},
    {QSLP_FEASTOL, "nlpfeastol", QNDA_TYPE_DOUBLE, true, 1e-6, 1e-12, 1.0, nullptr},
    {QSLP_OPTTOL, "nlpopttol", QNDA_TYPE_DOUBLE, true, 1e-6, 1e-12, 1.0, nullptr},
    {QSLP_TIMELIMIT, "nlptimelimit", QNDA_TYPE_DOUBLE, true, 0.0, -kSlpNoBound, kSlpNoBound,
     nullptr},
    {QSLP_ATOL_VAR, "nlpatolvar", QNDA_TYPE_DOUBLE, true, 1e-6, 0.0, kSlpNoBound, nullptr},
    {QSLP_RTOL_VAR, "nlprtolvar", QNDA_TYPE_DOUBLE, true, 1e-6, 0.0, kSlpNoBound, nullptr},
    {QSLP_ATOL_OBJ, "nlpatolobj", QNDA_TYPE_DOUBLE, true, 1e-7, 0.0, kSlpNoBound, nullptr},
    {QSLP_RTOL_OBJ, "nlprtolobj", QNDA_TYPE_DOUBLE, true, 1e-7, 0.0, kSlpNoBound, nullptr},
    {QSLP_RTOL_ROW, "nlprtolrow", QNDA_TYPE_DOUBLE, true, 1e-9, 0.0, kSlpNoBound, nullptr},
    {QSLP_DELTA0, "nlpdelta0", QNDA_TYPE_DOUBLE, true, 0.0, 0.0, kSlpNoBound, nullptr},
    {QSLP_DELTAMIN, "nlpdeltamin", QNDA_TYPE_DOUBLE, true, 1e-10, 0.0, kSlpNoBound, nullptr},
    {QSLP_PENALTY0, "nlppenalty0", QNDA_TYPE_DOUBLE, true, 0.0, 0.0, kSlpNoBound, nullptr},
    {QSLP_ITERLIMIT, "nlpiterlimit", QNDA_TYPE_INT, true, 1000, 0, 2147483647, nullptr},
    {QSLP_LOGLEVEL, "nlploglevel", QNDA_TYPE_INT, true, 1, 0, 3, nullptr},
    {QSLP_ALGORITHM, "nlpalgorithm", QNDA_TYPE_INT, true, QSLP_ALG_AUTO, 0, 2, nullptr},
    {QSLP_STEPBOUNDS, "nlpstepbounds", QNDA_TYPE_INT, true, QSLP_STEPBOUNDS_ADAPTIVE, 0, 2,
     nullptr},
    {QSLP_SLPCURVATURE, "nlpslpcurvature", QNDA_TYPE_INT, true, 0, 0, 1, nullptr},
    {QSLP_AUTOINIT, "nlpautoinit", QNDA_TYPE_INT, true, 1, 0, 1, nullptr},
    {QSLP_MSTHREADS, "nlpmsthreads", QNDA_TYPE_INT, true, 0, 0, 1024, nullptr},
    {QSLP_MSSEED, "nlpmsseed", QNDA_TYPE_INT, true, 1, 0, 2147483647, nullptr},
    {QSLP_MSMAXSOLVES, "nlpmsmaxsolves", QNDA_TYPE_INT, true, 0, 0, 2147483647, nullptr},
    {QSLP_MINLPALG, "nlpminlpalg", QNDA_TYPE_INT, true, QSLP_MINLP_BB, 0, 2, nullptr},
    {QSLP_SOLVERNAME, "nlpsolvername", QNDA_TYPE_STRING, true, 0, 0, 0, "ipopt"},
    // attributes
    {QSLP_ORIGINALROWS, "nlporiginalrows", QNDA_TYPE_INT, false, 0, 0, 0, nullptr},
    {QSLP_ORIGINALCOLS, "nlporiginalcols", QNDA_TYPE_INT, false, 0, 0, 0, nullptr},
    {QSLP_CONSTANTCOL, "nlpconstantcol", QNDA_TYPE_INT, false, 0, 0, 0, nullptr},
    {QSLP_NONLINEAREQROWS, "nlpnonlineareqrows", QNDA_TYPE_INT, false, 0, 0, 0, nullptr},
    {QSLP_NONLINEARINEQROWS, "nlpnonlinearineqrows", QNDA_TYPE_INT, false, 0, 0, 0, nullptr},
    {QSLP_NLPSTATUS, "nlpstatus", QNDA_TYPE_INT, false, 0, 0, 0, nullptr},
    {QSLP_STOPSTATUS, "nlpstopstatus", QNDA_TYPE_INT, false, 0, 0, 0, nullptr},
    {QSLP_ITER, "nlpiterations", QNDA_TYPE_INT, false, 0, 0, 0, nullptr},
    {QSLP_COEFFICIENTS, "nlpcoefficients", QNDA_TYPE_INT, false, 0, 0, 0, nullptr},
    {QSLP_USERFUNCS, "nlpuserfuncs", QNDA_TYPE_INT, false, 0, 0, 0, nullptr},
    {QSLP_ALGORITHMUSED, "nlpalgorithmused", QNDA_TYPE_INT, false, 0, 0, 0, nullptr},
    {QSLP_MSJOBS, "nlpmsjobs", QNDA_TYPE_INT, false, 0, 0, 0, nullptr},
    {QSLP_MSWINNER, "nlpmswinner", QNDA_TYPE_INT, false, 0, 0, 0, nullptr},
    {QSLP_GLOBALNODES, "nlpglobalnodes", QNDA_TYPE_INT, false, 0, 0, 0, nullptr},
    {QSLP_OBJVAL, "nlpobjval", QNDA_TYPE_DOUBLE, false, 0, 0, 0, nullptr},
    {QSLP_SOLVETIME, "nlpsolvetime", QNDA_TYPE_DOUBLE, false, 0, 0, 0, nullptr},
    {QSLP_MAXVIOLATION, "nlpmaxviolation", QNDA_TYPE_DOUBLE, false, 0, 0, 0, nullptr},
    {QSLP_MSBESTOBJ, "nlpmsbestobj", QNDA_TYPE_DOUBLE, false, 0, 0, 0, nullptr},
};
constexpr int kSlpCount = static_cast<int>(sizeof kSlpTable / sizeof kSlpTable[0]);

int slp_index(int id);  // -1 when unknown

struct SlpControls {
  SlpControls() { reset(); }
  void reset();
  std::vector<double> num;  // int and double values, per table slot
  std::vector<std::string> str;
};

bool slp_initialised();

}  // namespace qnda

struct qslp_problem_s {
  static constexpr unsigned kMagic = 0x504c5351u;  // "QSLP"
  static constexpr unsigned kFreed = 0xdeadbeefu;

  unsigned magic = kMagic;
  QNDAprob main = nullptr;  // the main problem (not owned unless owns_main)
  bool owns_main = false;
  qnda::ErrorRecord err;
  qnda::SlpControls controls;
  qnda::NlpData nl;
  qnda::SlpCallbackSlots callbacks;
  qnda::MsState ms;  // multistart jobs and the results of the last run
  // Keeps nl's indices in step with deletions in main (slp_follow.cpp).
  std::unique_ptr<qnda::IndexFollower> follower;
  qnda::SlpExtras extras;  // per-column and per-row SLP settings (nlvars.cpp)
  // Reason (QNDA_STOP_*) set by QSLPinterrupt from any thread.
  std::atomic<int> interrupt{0};
  // Results of the last nonlinear solve.
  qnda::NlpSolution sol;
  int nlp_status = 0, stop_status = 0, iterations = 0, algorithm_used = 0, global_nodes = 0;
  double objval = 0.0, solvetime = 0.0, max_violation = 0.0;

  qslp_problem_s() = default;
  qslp_problem_s(const qslp_problem_s &) = delete;
  qslp_problem_s &operator=(const qslp_problem_s &) = delete;
  ~qslp_problem_s() {
    // volatile: a plain store into memory about to be freed may be dropped
    *static_cast<volatile unsigned *>(&magic) = kFreed;
  }
  bool valid() const { return magic == kMagic; }
};
