// Multistart: a list of jobs, each a starting point and control settings,
// run from QSLPnlpoptimize on a pool of threads; the best feasible result
// becomes the problem's.
#pragma once

struct qslp_problem_s;

namespace qnda {

// Runs the jobs of p.ms; the winner's result is left on p as a plain solve
// leaves its own.  Called by QSLPnlpoptimize when jobs are waiting.
void ms_run(qslp_problem_s &p);

}  // namespace qnda
