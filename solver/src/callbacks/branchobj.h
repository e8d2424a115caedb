// A branching object (QNDAbranchobject): the branches a node is split into,
// each a set of column bounds and rows imposed on its child.  Built by the
// user (QNDA_bo_*) or by an engine to show its own choice to the
// chgbranchobject callbacks; an engine that branches on one copies what it
// needs and destroys it.
#pragma once

#include <vector>

#include "core/error.h"
#include "qnda.h"

namespace qnda {

struct Branch {
  int nrows() const { return static_cast<int>(rowtype.size()); }
  // Bounds: type 'L' lower, 'U' upper, 'B' both, on column col.
  std::vector<char> bndtype;
  std::vector<int> bndcol;
  std::vector<double> bndval;
  // Rows in compressed form: row i has the entries [start[i], start[i+1]);
  // types 'L', 'G', 'E'.
  std::vector<char> rowtype;
  std::vector<double> rhs;
  std::vector<int> start{0};
  std::vector<int> col;
  std::vector<double> coef;
};

}  // namespace qnda

struct qnda_branchobj_s {
  static constexpr unsigned kMagic = 0x42524e43u;
  static constexpr unsigned kFreed = 0xdeadbeefu;

  unsigned magic = kMagic;
  QNDAprob prob = nullptr;
  bool isoriginal = true;
  int id = 0;
  int priority = 500;
  int preferred = -1;  // the branch explored first; -1: in order
  std::vector<qnda::Branch> branches;
  qnda::ErrorRecord err;

  qnda_branchobj_s() = default;
  qnda_branchobj_s(const qnda_branchobj_s &) = delete;
  qnda_branchobj_s &operator=(const qnda_branchobj_s &) = delete;
  ~qnda_branchobj_s() { *static_cast<volatile unsigned *>(&magic) = kFreed; }
  bool valid() const { return magic == kMagic; }
  // The branches in the order they are explored: the preferred one first.
  std::vector<int> order() const {
    std::vector<int> o;
    const int n = static_cast<int>(branches.size());
    if (preferred >= 0 && preferred < n) o.push_back(preferred);
    for (int i = 0; i < n; ++i)
      if (i != preferred) o.push_back(i);
    return o;
  }
};
