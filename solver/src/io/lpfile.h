// LP-format model files (through the engine's reader and writer).
#pragma once

#include <string>

#include "io/modeldata.h"

namespace qnda {

void read_lp(const std::string &path, ModelData &out);
// Refuses (QNDA_ERR_UNSUPPORTED) what the format cannot hold: sets,
// indicators, quadratic rows, partially integer columns.
void write_lp(const std::string &path, const std::string &probname, const Model &model);

}  // namespace qnda
