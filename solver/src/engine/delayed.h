// Delayed rows (lazy constraints) on an engine without a solution callback:
// the rows stay out of the engine's model until a solution violates them,
// then those that are violated join it and the model is solved again, until
// a solution satisfies every delayed row.
#pragma once

#include <vector>

#include "engine/engine.h"

namespace qnda {

// Solves fm with engine like Engine::solve; rows i < fm.orig_rows with
// delayed[i] & mask set are left free until violated.  The counters of r
// add up over the rounds.
void solve_with_delayed_rows(Engine &engine, const std::vector<char> &delayed, char mask,
                             FlatModel &fm, const EngineSettings &s, const EngineStart &start,
                             const EngineHooks &hooks, EngineResult &r);

}  // namespace qnda
