// The model as an engine sees it: only continuous, integer, semi-continuous
// and semi-integer columns, two-sided rows, a column-wise matrix, a quadratic
// objective and quadratic parts of rows (which only engine/qcqp.cpp takes).
// Built from the model store by reformulate.cpp; the first orig_cols columns
// and orig_rows rows are the user's, the rest were added by the reformulation
// and are never reported.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qnda {

enum class ColKind : char {
  Continuous = 'C',
  Integer = 'I',
  SemiContinuous = 'S',
  SemiInteger = 'R',
};

struct FlatModel {
  int ncols = 0;
  int nrows = 0;
  int orig_cols = 0;
  int orig_rows = 0;
  int sense = 1;  // 1 minimise, -1 maximise
  double obj_constant = 0.0;

  std::vector<double> obj;
  std::vector<double> lb, ub;        // infinite bounds are +-inf (not 1e20)
  std::vector<double> rowlo, rowup;  // likewise
  // Column-wise matrix: start has ncols + 1 entries.
  std::vector<int> start, index;
  std::vector<double> value;
  // Empty when every column is continuous.  Semi-continuous and
  // semi-integer columns carry their threshold in lb.
  std::vector<ColKind> kind;
  // Quadratic objective 0.5 x'Qx, lower triangle of Q, column-wise;
  // qstart empty when there is none.
  std::vector<int> qstart, qindex;
  std::vector<double> qvalue;

  // Where the user's rows and columns came from, for an engine that keeps
  // its model between optimisations: Model::epoch, row_ids and col_ids.
  std::uint64_t epoch = 0;
  std::vector<int> row_id, col_id;
  // Quadratic parts of rows: row `row` adds sum v[k] x[c1[k]] x[c2[k]].
  struct QuadRow {
    int row;
    std::vector<int> c1, c2;
    std::vector<double> v;
  };
  std::vector<QuadRow> qrows;

  bool has_integers() const { return !kind.empty(); }
  bool has_quadratic() const { return !qstart.empty(); }
  bool has_quadratic_rows() const { return !qrows.empty(); }
};

}  // namespace qnda
