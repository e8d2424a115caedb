// Scaling a user asks for (QNDAscale): a power of two per row and per
// column, applied to the model an engine gets and undone on everything the
// engine reports, so that every result reads as of the unscaled model.
// Powers of two change no digit of a coefficient, only its exponent.
//
// Row i is multiplied by r_i; column j stands for x_j = c_j x'_j.  Then
//   A'_ij = r_i A_ij c_j,  obj'_j = c_j obj_j,  lb'_j = lb_j / c_j,
//   row bounds' = r_i row bounds,  Q'_jk = c_j c_k Q_jk,
// and back: x = c x', activity = activity' / r, dual = r dual',
// reduced cost = reduced cost' / c.  Discrete columns keep c_j = 1.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "engine/engine.h"

namespace qnda {

// The exponents given, by row and column id (Model::row_ids), for the
// model of one epoch; a new model (another epoch) is unscaled.
struct UserScale {
  std::uint64_t epoch = 0;
  std::unordered_map<int, int> row_exp, col_exp;  // nonzero exponents only
};

// Factors of the engine model's rows and columns (1 where none); empty
// when nothing is scaled.
struct ScaleFactors {
  std::vector<double> row, col;
  bool active() const { return !row.empty(); }
};

// The factors of fm (flattened from prob's model) under prob's scaling.
void user_scale_factors(const qnda_problem_s &prob, const FlatModel &fm, ScaleFactors &f);
void scale_model(FlatModel &fm, const ScaleFactors &f);
void scale_start(EngineStart &start, const ScaleFactors &f);
void unscale_result(EngineResult &r, const ScaleFactors &f);
// x (n values of the engine's first columns) as of the unscaled model.
void unscale_columns(const ScaleFactors &f, int n, double *x);

}  // namespace qnda
