// Solution and basis files of a problem.  All throw qnda::Error.
#pragma once

#include <string>
#include <vector>

struct qnda_problem_s;

namespace qnda {

void write_sol(const qnda_problem_s &prob, const std::string &path);
void write_prtsol(const qnda_problem_s &prob, const std::string &path);
void write_slx(const qnda_problem_s &prob, const std::string &path);
// x gets a value per column (0 for columns the file does not name).
void read_slx(qnda_problem_s &prob, const std::string &path, std::vector<double> &x);
void write_basis(const qnda_problem_s &prob, const std::string &path);
void read_basis(qnda_problem_s &prob, const std::string &path, std::vector<int> &rowstat,
                std::vector<int> &colstat);

}  // namespace qnda
