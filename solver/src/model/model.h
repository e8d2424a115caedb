// The model store: everything a problem holds before an engine sees it.
//
// The linear matrix is kept column-major (CSC, what HiGHS takes) plus a log
// of pending operations (add or replace one coefficient).  Appending rows
// only appends to the log, appending columns appends to the CSC directly, and
// changing coefficients logs a replacement, so all three are O(size of the
// change).  The log is folded into the CSC lazily, in one O(nnz + rows +
// columns) pass, the first time the matrix is read (csc(), getcoef, getrows
// ...).  A row-major copy for row queries is built on demand and cached until
// the next change.
//
// Quadratic parts (objective and rows) use the same idea: a sorted list of
// upper-triangle monomial terms plus a log of adds and replacements.
//
// Indices are checked by the API layer in checked mode; the store itself
// trusts them, except where noted.
#pragma once

#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/names.h"
#include "qnda.h"

namespace qnda {

inline bool is_inf(double v) { return v >= QNDA_INFINITY || v <= -QNDA_INFINITY; }

// ------------------------------------------------------------------ matrix
class SparseMatrix {
 public:
  struct Csc {
    int ncols;
    QNDAint64 nnz;
    const QNDAint64 *start;  // ncols + 1 entries
    const int *index;        // row indices; within a column not necessarily sorted
    const double *value;     // no explicit zeros, no duplicates
  };

  void clear(int nrows = 0);
  int nrows() const { return nrows_; }
  int ncols() const { return static_cast<int>(start_.size()) - 1; }

  void add_empty_rows(int n);
  void add_empty_cols(int n);
  // Adds the entries of n existing rows first_row ... (CSR: row i's entries
  // at [start[i], start[i+1])).  Sums duplicates, drops zeros.
  template <class Idx>
  void add_row_entries(int first_row, int n, const Idx *start, const int *colind,
                       const double *val);
  // Adds the entries of n existing columns first_col ...; with len, column j
  // is [start[j], start[j] + len[j]), else [start[j], start[j+1]).  Appending
  // to the last, still empty columns is done in place.
  template <class Idx>
  void add_col_entries(int first_col, int n, const Idx *start, const int *len, const int *rowind,
                       const double *val);

  void set_coef(int row, int col, double v);  // replaces; 0 removes
  void add_coef(int row, int col, double v);  // sums
  double get_coef(int row, int col) const;
  QNDAint64 nnz() const;

  // Removes rows (cols) whose flag is set; the rest are renumbered in order.
  void delete_rows(const std::vector<char> &drop);
  void delete_cols(const std::vector<char> &drop);

  // Column-major view with the log folded in; valid until the next change.
  Csc csc() const;
  // Row-major copy (start has nrows + 1 entries; columns sorted in a row).
  struct Csr {
    std::vector<QNDAint64> start;
    std::vector<int> index;
    std::vector<double> value;
  };
  const Csr &csr() const;

 private:
  // One logged change; row holds ~row (negative) for a replacement, which
  // keeps the record at 16 bytes.
  struct Op {
    int row, col;
    double v;
  };
  void flush() const;
  void touch() { csr_valid_ = false; }

  int nrows_ = 0;
  mutable std::vector<QNDAint64> start_{0};
  mutable std::vector<int> index_;
  mutable std::vector<double> value_;
  mutable std::vector<Op> log_;
  mutable Csr csr_;
  mutable bool csr_valid_ = false;
};

// ------------------------------------------------------------- quadratics
// Monomial coefficients: (i, j, v) is v * x_i * x_j, kept with i <= j.
class QuadTerms {
 public:
  struct Term {
    int i, j;
    double v;
  };
  void add(int i, int j, double v);  // sums
  void set(int i, int j, double v);  // replaces; 0 removes
  double get(int i, int j) const;
  // Sorted by (i, j), i <= j, no zeros, no duplicates.
  const std::vector<Term> &terms() const;
  QNDAint64 size() const { return static_cast<QNDAint64>(terms().size()); }
  bool empty() const { return terms().empty(); }
  void clear();
  // map[old column] = new column, or -1 to drop its terms.
  void renumber(const std::vector<int> &map);

 private:
  struct Op {
    int i, j;
    double v;
    bool replace;
  };
  void flush() const;
  mutable std::vector<Term> terms_;
  mutable std::vector<Op> log_;
};

// ------------------------------------------------------------------- model
enum NameKind {
  NAMES_ROWS = QNDA_NAMES_ROWS,
  NAMES_COLS = QNDA_NAMES_COLUMNS,
  NAMES_SETS = QNDA_NAMES_SETS
};

class Model {
 public:
  // ------------------------------------------------------------ sizes
  int nrows() const { return static_cast<int>(rowtype_.size()); }
  int ncols() const { return static_cast<int>(obj_.size()); }
  int nsets() const { return static_cast<int>(settype_.size()); }

  // ----------------------------------------------------------- columns
  // Plain arrays of ncols() entries.
  const std::vector<double> &obj() const { return obj_; }
  // Bounds, 0 and QNDA_INFINITY unless set; the whole arrays as copies.
  double lb(int col) const { return at_or(lb_, col, 0.0); }
  double ub(int col) const { return at_or(ub_, col, QNDA_INFINITY); }
  std::vector<double> lb_array() const { return whole(lb_, ncols(), 0.0); }
  std::vector<double> ub_array() const { return whole(ub_, ncols(), QNDA_INFINITY); }
  const std::vector<char> &coltype() const { return coltype_; }  // 'C','I','B','S','R','P'
  // Threshold of 'S','R','P' columns; 0 for the others.
  double limit(int col) const { return at_or(limit_, col, 0.0); }
  double obj_constant() const { return objconst_; }
  int obj_sense() const { return sense_; }  // 1 minimise, -1 maximise
  int entity_count() const;                 // columns not 'C'

  // -------------------------------------------------------------- rows
  const std::vector<char> &rowtype() const { return rowtype_; }  // 'L','G','E','R','N'
  const std::vector<double> &rhs() const { return rhs_; }
  double range(int row) const { return at_or(range_, row, 0.0); }  // meaningful for 'R'
  // Row i as lo <= a'x <= hi, infinite ends as -/+QNDA_INFINITY.
  void row_bounds(int i, double *lo, double *hi) const;

  // ------------------------------------------------------------ matrix
  const SparseMatrix &matrix() const { return mat_; }
  SparseMatrix::Csc csc() const { return mat_.csc(); }

  // -------------------------------------------------------- quadratics
  const QuadTerms &qobj() const { return qobj_; }
  // Rows with quadratic terms, in row order (rows whose terms all vanished may
  // remain with an empty QuadTerms; qrow_list() skips them).
  const std::map<int, QuadTerms> &qrows() const { return qrows_; }
  std::vector<int> qrow_list() const;
  QNDAint64 qrow_terms() const;

  // -------------------------------------------------------------- sets
  const std::vector<char> &settype() const { return settype_; }         // '1', '2'
  const std::vector<QNDAint64> &setstart() const { return setstart_; }  // nsets + 1
  const std::vector<int> &setcol() const { return setcol_; }
  const std::vector<double> &setref() const { return setref_; }

  // -------------------------------------------------------- indicators
  // Per row: indicator column (-1: an ordinary row) and complement (1: active
  // when the column is 1, -1: when it is 0).
  int indicator_col(int row) const { return indcol_.empty() ? -1 : indcol_[row]; }
  int indicator_comp(int row) const { return indcomp_.empty() ? 0 : indcomp_[row]; }
  int indicator_count() const { return nind_; }

  // ---------------------------------------------------- row/column flags
  // Per row: ROW_MODELCUT, ROW_DELAYED, ROW_SECURE; per column COL_SECURE.
  // Empty until the first flag is set.
  enum : char { ROW_MODELCUT = 1, ROW_DELAYED = 2, ROW_SECURE = 4, COL_SECURE = 1 };
  const std::vector<char> &rowflags() const { return rowflag_; }
  const std::vector<char> &colflags() const { return colflag_; }
  void set_rowflag(int row, char flag);
  void set_colflag(int col, char flag);

  // -------------------------------------------------------- directives
  // Branching directives per column: priority (lower first), preferred
  // direction ('U', 'D' or 'N' none) and up/down pseudo costs.
  struct Directive {
    int priority;
    char dir;
    double up, down;
  };
  // The columns with a directive, in column order.
  std::vector<int> directive_cols() const;
  const Directive &directive(int col) const { return dir_[col]; }
  void clear_directives() { dir_.clear(), hasdir_.clear(); }
  void set_directive(int col, const Directive &d);

  // ------------------------------------------------------------- names
  // Unnamed rows, columns and sets answer "R<i>", "C<i>", "S<i>" (0-based).
  std::string name(int kind, int i) const;
  bool has_name(int kind, int i) const;
  void set_name(int kind, int i, const char *name);
  // -1 when none.
  int find_name(int kind, const char *name) const;
  size_t longest_name() const;

  // -------------------------------------------------- change tracking
  // What an engine kept between optimisations needs to find its rows and
  // columns again.  The epoch is new for each new model (creation, clear);
  // copies share it.  Each row and column gets an id when appended, never
  // reused within an epoch, so ids keep their order; empty vectors mean the
  // ids are the positions (nothing was deleted yet).
  std::uint64_t epoch() const { return epoch_; }
  const std::vector<int> &row_ids() const { return row_id_; }
  const std::vector<int> &col_ids() const { return col_id_; }

  // ----------------------------------------------------------- loading
  void clear();
  // Appends rows (no matrix entries); range may be NULL.
  void append_rows(int n, const char *type, const double *rhs, const double *range);
  // Appends columns (no matrix entries); NULL obj/lb/ub mean 0, 0, +inf.
  void append_cols(int n, const double *obj, const double *lb, const double *ub);
  SparseMatrix &mutable_matrix() { return mat_; }
  QuadTerms &mutable_qobj() { return qobj_; }
  QuadTerms &mutable_qrow(int row) { return qrows_[row]; }
  void add_set(char type, QNDAint64 n, const int *cols, const double *refs);

  // ---------------------------------------------------------- changing
  void set_obj(int col, double v) { obj_[col] = v; }
  void set_obj_constant(double v) { objconst_ = v; }
  void set_obj_sense(int s) { sense_ = s; }
  void set_lb(int col, double v);
  void set_ub(int col, double v);
  void set_coltype(int col, char t);  // 'B' clips the bounds into [0, 1]
  void set_limit(int col, double v) { set_or_grow(limit_, ncols(), col, v, 0.0); }
  void set_rowtype(int row, char t) { rowtype_[row] = t; }
  void set_rhs(int row, double v) { rhs_[row] = v; }
  void set_range(int row, double v) { set_or_grow(range_, nrows(), row, v, 0.0); }
  void set_indicator(int row, int col, int comp);

  // ---------------------------------------------------------- deleting
  // Indices may repeat and come in any order (the API checks ranges).
  void delete_rows(int n, const int *rows);
  void delete_cols(int n, const int *cols);
  void delete_sets(int n, const int *sets);
  // Rows of type 'N' go (used by loads with QNDA_KEEPNROWS 0).
  void drop_free_rows();

 private:
  static std::uint64_t new_epoch();
  // Arrays whose entries are nearly always the default (bounds, thresholds,
  // ranges) stay empty until an entry gets another value (bit for bit, so
  // that -0 is kept as given).
  static bool is_default(double x, double dflt) { return std::memcmp(&x, &dflt, sizeof x) == 0; }
  static double at_or(const std::vector<double> &v, int i, double dflt) {
    return v.empty() ? dflt : v[i];
  }
  static std::vector<double> whole(const std::vector<double> &v, int count, double dflt) {
    return v.empty() ? std::vector<double>(count, dflt) : v;
  }
  static void set_or_grow(std::vector<double> &v, int count, int i, double x, double dflt) {
    if (v.empty()) {
      if (is_default(x, dflt)) return;
      v.assign(count, dflt);
    }
    v[i] = x;
  }
  // Appends n entries (NULL: the default), starting the array if needed.
  static void append_sparse(std::vector<double> &v, int before, const double *src, int n,
                            double dflt);
  NameStore &names_of(int kind) { return names_[kind - 1]; }
  const NameStore &names_of(int kind) const { return names_[kind - 1]; }
  int count_of(int kind) const;

  // columns (lb_, ub_, limit_ empty until an entry is not the default)
  std::vector<double> obj_, lb_, ub_, limit_;
  std::vector<char> coltype_;
  double objconst_ = 0.0;
  int sense_ = 1;
  // rows
  std::vector<char> rowtype_;
  std::vector<double> rhs_, range_;  // range_ empty until a range is set
  SparseMatrix mat_;
  // quadratics
  QuadTerms qobj_;
  std::map<int, QuadTerms> qrows_;
  // sets
  std::vector<char> settype_;
  std::vector<QNDAint64> setstart_{0};
  std::vector<int> setcol_;
  std::vector<double> setref_;
  // indicators (empty until the first one is set)
  std::vector<int> indcol_;
  std::vector<signed char> indcomp_;
  int nind_ = 0;
  // flags and directives (empty until the first is set)
  std::vector<char> rowflag_, colflag_, hasdir_;
  std::vector<Directive> dir_;
  // names: empty stores until a name is given
  NameStore names_[3];
  // change tracking
  std::uint64_t epoch_ = new_epoch();
  std::vector<int> row_id_, col_id_;
  int row_next_ = 0, col_next_ = 0;  // ids given so far
};

}  // namespace qnda
