// Conversions between FlatModel and HiGHS's model.
#pragma once

#include <vector>

#include "Highs.h"
#include "engine/engine.h"
#include "engine/flatmodel.h"

namespace qnda {

// The column types HiGHS gets for m (empty: all continuous).  Without
// keep_integrality the relaxation is wanted: the result is empty and m's
// semi-continuous lower bounds become 0.
std::vector<HighsVarType> engine_integrality(FlatModel &m, bool keep_integrality);

// Moves m's arrays into hm (m is left empty); integrality as above.
void move_into(FlatModel &m, HighsModel &hm, bool keep_integrality);

// Copies a HiGHS model into m (column-wise, infinite bounds as +-inf).
void copy_from(const HighsModel &hm, FlatModel &m);

// Basis statuses between the library's engine view and HiGHS.
HighsBasisStatus to_highs(BasisStat b);
BasisStat from_highs(HighsBasisStatus b);

}  // namespace qnda
