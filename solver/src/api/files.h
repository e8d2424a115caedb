// Reading and writing model files, shared by the main interface
// (QNDAreadprob, QNDAwriteprob) and the nonlinear one (api/slp_files.cpp).
#pragma once

#include <string>
#include <vector>

#include "io/modeldata.h"
#include "model/problem.h"

namespace qnda {

// Reads filename (found with .mps or .lp appended when it does not exist)
// into d, checked, without loading it; returns the name of the file read.
std::string read_model_file(qnda_problem_s &prob, const char *filename, const char *flags,
                            ModelData &d);
// Writes the problem's model; extra: the nonlinear sections (MPS only).
void write_model_file(const qnda_problem_s &prob, const char *filename, const char *flags,
                      const std::vector<std::string> *extra);

}  // namespace qnda
