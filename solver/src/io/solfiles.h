// Solution and basis files of a problem.  All throw qnda::Error.
#pragma once

#include <string>
#include <vector>

#include "model/model.h"

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

// Branching directives as text and the solution as a binary file
// (io/anafiles.cpp, which describes both formats).  read_dirs gives the
// columns and their directives; read_binsol makes the file's solution the
// problem's.
void write_dirs(const qnda_problem_s &prob, const std::string &path);
void read_dirs(const qnda_problem_s &prob, const std::string &path, std::vector<int> &cols,
               std::vector<Model::Directive> &dirs);
void write_binsol(const qnda_problem_s &prob, const std::string &path);
void read_binsol(qnda_problem_s &prob, const std::string &path);

}  // namespace qnda
