// Convexity of a quadratic objective, for engines that solve convex QPs only.
#pragma once

#include "engine/flatmodel.h"

namespace qnda {

enum class Convexity { Convex, NotConvex, Unknown };

// Whether 0.5 x'Qx is convex (sense 1) or concave (sense -1).  An exact test
// (a pivoted factorisation) on up to max_dense columns with quadratic terms;
// above that only the necessary diagonal test, and Unknown if it passes.
Convexity objective_convexity(const FlatModel &m, int max_dense = 3000);

}  // namespace qnda
