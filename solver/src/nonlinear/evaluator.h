// Values and exact derivatives of parsed formulas.
//
// A formula is compiled once into a tape: its nodes in reverse-Polish order,
// each with its arguments.  Evaluation runs the tape forward and keeps every
// node's local partials; the gradient is one reverse sweep (adjoints), and
// the Hessian is forward-over-reverse: per column of the formula a forward
// sweep of tangents along that column, then a reverse sweep carrying the
// adjoints and their tangents, whose values at the column leaves are one row
// of the Hessian.  Formulas touch few columns, so the dense Hessian over a
// formula's own columns is what callers take.
//
// Domain faults (ln of a negative number, division by zero) give NaN or
// infinite results; callers decide what that means.  A tape keeps scratch
// space: one tape is used by one thread at a time.
#pragma once

#include <vector>

#include "nonlinear/formula.h"

namespace qnda {

// Calls of user functions during an evaluation.
class UserCaller {
 public:
  virtual ~UserCaller() = default;
  // The value of user function `index` at in[0..n-1]; when partials is not
  // null, all n partial derivatives too (from the function, or by
  // differences when it gives none).  Index 0 is the problem's formula
  // callback (cbformula).
  virtual double call(int index, const double *in, int n, double *partials) const = 0;
};

class Tape {
 public:
  // parsed must have passed check_parsed.
  explicit Tape(const Formula &parsed);

  // Distinct columns of the formula, sorted: the positions of gradients and
  // Hessians.
  const std::vector<int> &columns() const { return cols_; }
  bool constant() const { return cols_.empty(); }

  double value(const double *x, const UserCaller *uf) const;
  // g[k]: the partial along columns()[k].  Returns the value.
  double gradient(const double *x, const UserCaller *uf, double *g) const;
  // h[k * nc + l], nc = columns().size(): full symmetric matrix.  Also
  // fills g when it is not null.  Returns the value.
  double hessian(const double *x, const UserCaller *uf, double *g, double *h) const;

 private:
  enum Kind : char { CON, COL, OP, IFUN, UFUN };
  struct Node {
    Kind kind;
    int code;         // operator, built-in code, user function index, or column slot
    double c;         // constant
    int arg0, nargs;  // into args_
    int loc0;         // into the partials' scratch: nargs first, then nargs^2 second
    bool var;         // depends on a column
  };

  void forward(const double *x, const UserCaller *uf, bool second) const;
  void local(const Node &n, const UserCaller *uf, bool second) const;
  void reverse(std::vector<double> &adj) const;

  std::vector<Node> nodes_;
  std::vector<int> args_;
  std::vector<int> cols_;
  int nloc_ = 0;
  mutable std::vector<double> val_, loc_, in_, adj_, dval_, dadj_;
};

}  // namespace qnda
