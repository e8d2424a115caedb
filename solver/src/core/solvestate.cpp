#include "core/solvestate.h"

namespace qnda {

bool solve_int_attrib(const qnda_problem_s &, int, QNDAint64 *) { return false; }
bool solve_dbl_attrib(const qnda_problem_s &, int, double *) { return false; }

}  // namespace qnda
