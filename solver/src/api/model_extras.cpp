// What a problem carries beside its rows and columns for the engines:
// branching directives, rows and columns presolve must keep (secure),
// model cuts, delayed rows; and the presolved problem's basis.  Outside the
// presolved state (engine/presolved.h) the presolved problem is the problem
// itself: its basis and directives are the problem's.
#include "api/model_args.h"
#include "engine/presolved.h"

using namespace qnda;

namespace {

void check_count(int n, const char *what) {
  if (n < 0) fail(QNDA_ERR_ARGUMENT, "%s is negative (%d)", what, n);
}

void load_dirs(qnda_problem_s *prob, int n, const int *cols, const int *pri, const char *dir,
               const double *up, const double *down) {
  check_count(n, "ndirs");
  Model &m = prob->model;
  if (n > 0) check_array(cols, "colind");
  check_indices(cols, n, m.ncols(), "column");
  if (dir) check_letters(dir, n, "UDN", "direction");
  for (int k = 0; k < n; ++k)
    if (pri && pri[k] < 0) fail(QNDA_ERR_ARGUMENT, "priority[%d] is negative (%d)", k, pri[k]);
  m.clear_directives();
  for (int k = 0; k < n; ++k)
    m.set_directive(cols[k], Model::Directive{pri ? pri[k] : 500, dir ? dir[k] : 'N',
                                              up ? up[k] : 0.0, down ? down[k] : 0.0});
}

void flag_rows(qnda_problem_s *prob, int n, const int *rows, char flag) {
  check_count(n, "nrows");
  Model &m = prob->model;
  if (n > 0) check_array(rows, "rowind");
  check_indices(rows, n, m.nrows(), "row");
  for (int k = 0; k < n; ++k) m.set_rowflag(rows[k], flag);
  prob->model_changed();
}

}  // namespace

extern "C" {

int QNDAloaddirs(QNDAprob prob, int ndirs, const int *colind, const int *priority,
                 const char *direction, const double *uppseudo, const double *downpseudo) {
  return guard(prob, "QNDAloaddirs",
               [&] { load_dirs(prob, ndirs, colind, priority, direction, uppseudo, downpseudo); });
}

int QNDAloadpresolvedirs(QNDAprob prob, int ndirs, const int *colind, const int *priority,
                         const char *direction, const double *uppseudo, const double *downpseudo) {
  return guard(prob, "QNDAloadpresolvedirs", [&] {
    const PresolvedState *ps = presolved_state(*prob);
    if (!ps || ndirs <= 0)
      return load_dirs(prob, ndirs, colind, priority, direction, uppseudo, downpseudo);
    // Columns of the presolved problem: the directives are kept on the
    // original columns they stand for.
    check_array(colind, "colind");
    check_indices(colind, ndirs, ps->ncols(), "presolved column");
    std::vector<int> orig(colind, colind + ndirs);
    for (int &j : orig) j = ps->pre->col_map[j];
    load_dirs(prob, ndirs, orig.data(), priority, direction, uppseudo, downpseudo);
  });
}

int QNDAloadbranchdirs(QNDAprob prob, int ncols, const int *colind, const int *dir) {
  return guard(prob, "QNDAloadbranchdirs", [&] {
    check_count(ncols, "ncols");
    Model &m = prob->model;
    if (ncols > 0) check_array(colind, "colind");
    check_indices(colind, ncols, m.ncols(), "column");
    // Keeps what other directives said of a column; only the direction
    // changes.
    for (int k = 0; k < ncols; ++k) {
      const int j = colind[k];
      Model::Directive d{500, 'N', 0.0, 0.0};
      for (int c : m.directive_cols())
        if (c == j) d = m.directive(j);
      d.dir = !dir || dir[k] == 0 ? 'N' : dir[k] > 0 ? 'U' : 'D';
      m.set_directive(j, d);
    }
  });
}

int QNDAgetdirs(QNDAprob prob, int *ndirs, int *colind, int *priority, char *direction,
                double *uppseudo, double *downpseudo) {
  return guard_read(prob, "QNDAgetdirs", [&] {
    const Model &m = prob->model;
    std::vector<int> cols = m.directive_cols();
    if (ndirs) *ndirs = static_cast<int>(cols.size());
    for (size_t k = 0; k < cols.size(); ++k) {
      const Model::Directive &d = m.directive(cols[k]);
      if (colind) colind[k] = cols[k];
      if (priority) priority[k] = d.priority;
      if (direction) direction[k] = d.dir;
      if (uppseudo) uppseudo[k] = d.up;
      if (downpseudo) downpseudo[k] = d.down;
    }
  });
}

int QNDAloadsecurevecs(QNDAprob prob, int nrows, int ncols, const int *rowind, const int *colind) {
  return guard(prob, "QNDAloadsecurevecs", [&] {
    check_count(nrows, "nrows");
    check_count(ncols, "ncols");
    Model &m = prob->model;
    if (nrows > 0) check_array(rowind, "rowind");
    if (ncols > 0) check_array(colind, "colind");
    check_indices(rowind, nrows, m.nrows(), "row");
    check_indices(colind, ncols, m.ncols(), "column");
    for (int k = 0; k < nrows; ++k) m.set_rowflag(rowind[k], Model::ROW_SECURE);
    for (int k = 0; k < ncols; ++k) m.set_colflag(colind[k], Model::COL_SECURE);
  });
}

int QNDAloadmodelcuts(QNDAprob prob, int nrows, const int *rowind) {
  return guard(prob, "QNDAloadmodelcuts",
               [&] { flag_rows(prob, nrows, rowind, Model::ROW_MODELCUT); });
}

int QNDAloaddelayedrows(QNDAprob prob, int nrows, const int *rowind) {
  return guard(prob, "QNDAloaddelayedrows",
               [&] { flag_rows(prob, nrows, rowind, Model::ROW_DELAYED); });
}

int QNDAloadpresolvebasis(QNDAprob prob, const int *rowstat, const int *colstat) {
  if (prob && prob->valid() && !presolved_state(*prob))
    return QNDAloadbasis(prob, rowstat, colstat);
  return guard(prob, "QNDAloadpresolvebasis", [&] {
    check_array(rowstat, "rowstat");
    check_array(colstat, "colstat");
    PresolvedState *ps = presolved_state(*prob);
    if (!ps) fail(QNDA_ERR_STATE, "the problem left its presolved state");
    load_presolved_basis(*ps, rowstat, colstat);
  });
}

int QNDAgetpresolvebasis(QNDAprob prob, int *rowstat, int *colstat) {
  if (prob && prob->valid() && !presolved_state(*prob)) return QNDAgetbasis(prob, rowstat, colstat);
  return guard_read(prob, "QNDAgetpresolvebasis", [&] {
    const PresolvedState *ps = presolved_state(*prob);
    if (!ps) fail(QNDA_ERR_STATE, "the problem left its presolved state");
    presolved_basis(*ps, rowstat, colstat);
  });
}

int QNDAgetmessagestatus(QNDAprob prob, int msgcode, int *status) {
  return guard_read(prob, "QNDAgetmessagestatus", [&] {
    check_array(status, "status");
    if (msgcode < 0) fail(QNDA_ERR_ARGUMENT, "message code %d is negative", msgcode);
    *status = messages_enabled() && !message_muted(*prob, msgcode) ? 1 : 0;
  });
}

}  // extern "C"
