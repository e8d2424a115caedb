// Quadratic models the LP/MIP/QP engine cannot take: quadratic rows, a
// non-convex quadratic objective, and quadratic parts together with discrete
// columns.
//
// Continuous ones go to the interior-point engine (locally optimal; the
// result says whether the model is convex, which makes the optimum global).
// Mixed-integer ones are solved by outer approximation: a MIP master (the
// linear rows, and linearisations of the quadratic rows and of the objective
// gathered so far) gives a bound and integer values; the continuous problem
// with those integer values fixed gives a feasible point and new
// linearisations; the loop ends when bound and best point meet.  For convex
// models this is the global optimum; for others the linearisations may cut
// off feasible points, and the result says it is only local.
#pragma once

#include "engine/engine.h"
#include "engine/flatmodel.h"

namespace qnda {

// Whether fm must take this route (search: the MIP search will run).
bool needs_quadratic_route(const FlatModel &fm, bool search);

// Convex: every quadratic row bounds a convex function from above or a
// concave one from below, and the objective is convex (minimising) or
// concave (maximising).
bool quadratic_model_convex(const FlatModel &fm);

// Throws qnda::Error when the interior-point engine is missing.
void solve_quadratic(FlatModel &fm, const EngineSettings &s, const EngineStart &start,
                     const EngineHooks &hooks, EngineResult &r);

}  // namespace qnda
