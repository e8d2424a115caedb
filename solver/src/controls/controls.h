// Control values of one problem, one slot per entry of kCaTable.  The typed
// getters are what the engines read (prob.controls.get_dbl(QNDA_TIMELIMIT));
// the setters validate type and bounds and throw qnda::Error.
#pragma once

#include <string>
#include <vector>

#include "controls/catable.h"
#include "qnda.h"

namespace qnda {

class Controls {
 public:
  Controls();  // every control at its default

  // Integer and 64-bit integer controls are read by both getters (get_int
  // clamps a 64-bit value into the int range).  A getter of the wrong type or
  // an unknown id throws Error (QNDA_ERR_TYPE / QNDA_ERR_UNKNOWNID).
  int get_int(int id) const;
  QNDAint64 get_int64(int id) const;
  double get_dbl(int id) const;
  const std::string &get_str(int id) const;

  // Check type and bounds, then store.
  void set_int(int id, QNDAint64 value);
  void set_dbl(int id, double value);
  void set_str(int id, const char *value);

  void reset();  // all to defaults

 private:
  int slot(int id, int want_type, bool for_set) const;
  std::vector<QNDAint64> ints_;
  std::vector<double> dbls_;
  std::vector<std::string> strs_;
};

}  // namespace qnda
