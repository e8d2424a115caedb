// Bringing a kept HiGHS instance up to date with a new FlatModel by the
// engine's own change calls, so that its basis and factorisation survive.
#pragma once

#include <cstdint>
#include <vector>

#include "Highs.h"
#include "engine/flatmodel.h"

namespace qnda {

// Which model a kept instance holds: the store's epoch and the ids of its
// rows and columns (empty: their positions), as FlatModel has them.
struct KeptIds {
  bool valid = false;
  std::uint64_t epoch = 0;
  int ncols = 0, nrows = 0;
  std::vector<int> col_id, row_id;

  void take(const FlatModel &m);
};

// What a sync changed, for the log.
struct SyncCounts {
  int del_cols = 0, del_rows = 0, add_cols = 0, add_rows = 0;
  int bounds = 0, costs = 0, rhs = 0, coefs = 0, types = 0;

  bool only_costs() const {
    return del_cols + del_rows + add_cols + add_rows + bounds + rhs + coefs + types == 0;
  }
};

// Applies to h (which holds the model kept describes) what differs in m,
// whose integrality for the engine is integ.  Returns false when the change
// needs a full hand-over instead (m reformulated or quadratic, another
// model, rows or columns not found again, or most of the model new); h may
// then be half changed and must get the whole model.
bool sync_model(Highs &h, const KeptIds &kept, const FlatModel &m,
                const std::vector<HighsVarType> &integ, SyncCounts &counts);

}  // namespace qnda
