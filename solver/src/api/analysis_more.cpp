// The C boundary of the later analyses: dual ranges, MIP solution
// refinement, user scaling, directive and binary solution files, message
// codes.
#include <algorithm>
#include <cstring>

#include "analysis/analysis.h"
#include "api/guard.h"
#include "io/solfiles.h"

using namespace qnda;

namespace {

const char *named(const char *filename) {
  check_array(filename, "filename");
  return filename;
}

void no_flags(const char *flags) {
  if (flags && flags[strspn(flags, " ")])
    fail(QNDA_ERR_ARGUMENT, "unknown flags \"%s\" (none are known)", flags);
}

}  // namespace

extern "C" {

int QNDAestimaterowdualranges(QNDAprob prob, int nrows, const int *rowind, int itrlimit,
                              double *mindual, double *maxdual) {
  return guard(prob, "QNDAestimaterowdualranges", [&] {
    check_count(nrows, "nrows");
    if (nrows > 0) check_array(rowind, "rowind");
    row_dual_ranges(*prob, nrows, rowind, itrlimit, mindual, maxdual);
  });
}

int QNDArefinemipsol(QNDAprob prob, int options, const char *flags, const double *solution,
                     double *refined, int *status) {
  if (status) *status = 4;
  return guard(prob, "QNDArefinemipsol", [&] {
    check_array(status, "status");
    *status = refine_mip_sol(*prob, options, flags, solution, refined);
  });
}

int QNDAfixglobals(QNDAprob prob, int ifround) {
  return guard(prob, "QNDAfixglobals", [&] { fix_globals(*prob, ifround != 0); });
}

int QNDAscale(QNDAprob prob, const int *rowexp, const int *colexp) {
  return guard(prob, "QNDAscale", [&] { set_user_scale(*prob, rowexp, colexp); });
}

int QNDAwritedirs(QNDAprob prob, const char *filename) {
  return guard_read(prob, "QNDAwritedirs", [&] { write_dirs(*prob, named(filename)); });
}

int QNDAreaddirs(QNDAprob prob, const char *filename) {
  return guard(prob, "QNDAreaddirs", [&] {
    std::vector<int> cols;
    std::vector<Model::Directive> dirs;
    read_dirs(*prob, named(filename), cols, dirs);
    Model &m = prob->model;
    m.clear_directives();
    for (size_t k = 0; k < cols.size(); ++k) m.set_directive(cols[k], dirs[k]);
  });
}

int QNDAwritebinsol(QNDAprob prob, const char *filename, const char *flags) {
  return guard_read(prob, "QNDAwritebinsol", [&] {
    no_flags(flags);
    write_binsol(*prob, named(filename));
  });
}

int QNDAreadbinsol(QNDAprob prob, const char *filename, const char *flags) {
  return guard(prob, "QNDAreadbinsol", [&] {
    no_flags(flags);
    read_binsol(*prob, named(filename));
  });
}

int QNDAsetmessagestatus(QNDAprob prob, int msgcode, int status) {
  return guard(prob, "QNDAsetmessagestatus", [&] {
    if (msgcode <= 0) fail(QNDA_ERR_ARGUMENT, "message code %d is not positive", msgcode);
    std::vector<int> &muted = prob->muted_codes;
    auto at = std::lower_bound(muted.begin(), muted.end(), msgcode);
    const bool is_muted = at != muted.end() && *at == msgcode;
    if (status == 0 && !is_muted) muted.insert(at, msgcode);
    if (status != 0 && is_muted) muted.erase(at);
  });
}

}  // extern "C"
