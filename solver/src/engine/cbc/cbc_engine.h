// The Cbc engine (engine/cbc/cbc_engine.cpp), for make_engine.
#pragma once

#include <memory>

#include "engine/engine.h"

namespace qnda {

std::unique_ptr<Engine> make_cbc_engine();

}  // namespace qnda
