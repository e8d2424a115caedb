// Conversions between FlatModel and HiGHS's model.
#pragma once

#include "Highs.h"
#include "engine/flatmodel.h"

namespace qnda {

// Moves m's arrays into hm (m is left empty).  Integrality is dropped when
// keep_integrality is false (the relaxation is wanted).
void move_into(FlatModel &m, HighsModel &hm, bool keep_integrality);

// Copies a HiGHS model into m (column-wise, infinite bounds as +-inf).
void copy_from(const HighsModel &hm, FlatModel &m);

}  // namespace qnda
