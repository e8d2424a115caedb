// The plain content of a model file, filled by a reader and then loaded into
// a problem in one step (a failed read leaves the problem as it was).
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "qnda.h"

struct qnda_problem_s;

namespace qnda {

class Model;

struct ModelData {
  struct QTerm {
    int i, j;
    double v;  // monomial coefficient of x_i x_j
  };
  struct QRowTerm {
    int row, i, j;
    double v;
  };
  struct Indicator {
    int row, col, comp;
  };

  std::string name;
  int sense = 1;
  double obj_constant = 0.0;
  // rows
  std::vector<std::string> row_names;
  std::vector<char> rowtype;
  std::vector<double> rhs, range;
  // columns; bounds use +-QNDA_INFINITY for infinite
  std::vector<std::string> col_names;
  std::vector<double> obj, lb, ub, limit;
  std::vector<char> coltype;
  // column-wise matrix, start has ncols + 1 entries
  std::vector<QNDAint64> start;
  std::vector<int> rowind;
  std::vector<double> value;
  std::vector<QTerm> qobj;
  std::vector<QRowTerm> qrows;
  // sets
  std::vector<std::string> set_names;
  std::vector<char> settype;
  std::vector<QNDAint64> setstart{0};
  std::vector<int> setcol;
  std::vector<double> setref;
  std::vector<Indicator> indicators;
  // Lines of the sections that belong to the nonlinear interface (NLCOEFS,
  // USERFUNCS), as (section, line) for it to read; the main interface
  // refuses a file that has them.
  std::vector<std::pair<std::string, std::string>> nonlinear;

  int ncols() const { return static_cast<int>(obj.size()); }
  int nrows() const { return static_cast<int>(rowtype.size()); }
};

// Replaces the problem's model (and name) by d; results and starting points
// of earlier solves are dropped.
void load_model_data(qnda_problem_s &prob, const ModelData &d);

// What a file brought, whatever its format, before it replaces a model:
// throws Error (QNDA_ERR_FILE, naming path and the row or column) on a NaN,
// an infinite coefficient or a name that is not UTF-8.
void check_model_data(const ModelData &d, const std::string &path);

// True when s is valid UTF-8.
bool valid_utf8(const std::string &s);

// Reads and writes MPS files, free or fixed format (fixed: fields by column,
// so names may hold spaces).  Throw qnda::Error(QNDA_ERR_FILE ...).
// keep_nrows: free rows after the objective stay as rows of type 'N'.
void read_mps(const std::string &path, bool keep_nrows, bool fixed, ModelData &out);
// extra: lines written as they are before ENDATA (sections of the nonlinear
// interface).
void write_mps(const std::string &path, const std::string &probname, const Model &model, bool fixed,
               const std::vector<std::string> *extra = nullptr);

}  // namespace qnda
