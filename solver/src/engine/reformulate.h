// From the model store to a FlatModel an engine can solve.  Sets (SOS1,
// SOS2), indicator rows and partially integer columns become binaries and
// rows whose big-M values come from finite bounds; a needed bound that is
// infinite is an error, never a guess.  Quadratic rows are passed on as they
// are, for the engines of nonlinear problems.
#pragma once

#include "engine/flatmodel.h"
#include "model/model.h"

namespace qnda {

struct FlattenOptions {
  // The MIP search will run (else only the relaxation is solved: the
  // reformulation is the same, the engine drops integrality).
  bool search = true;
  double infinity = 1e20;        // bound magnitude treated as infinite
  const char *engine = "highs";  // named in error messages
};

// Throws qnda::Error.
void flatten(const Model &model, const FlattenOptions &opt, FlatModel &out);

}  // namespace qnda
