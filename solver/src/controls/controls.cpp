#include "controls/controls.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <climits>
#include <cmath>
#include <cstring>

#include "core/codetext.h"
#include "core/error.h"

namespace qnda {

namespace {

// Table positions sorted by id, for binary search.
const std::array<int, kCaCount> &by_id() {
  static const std::array<int, kCaCount> order = [] {
    std::array<int, kCaCount> o{};
    for (int k = 0; k < kCaCount; ++k) o[k] = k;
    std::sort(o.begin(), o.end(), [](int a, int b) { return kCaTable[a].id < kCaTable[b].id; });
    return o;
  }();
  return order;
}

}  // namespace

int ca_index(int id) {
  const auto &o = by_id();
  auto it =
      std::lower_bound(o.begin(), o.end(), id, [](int k, int v) { return kCaTable[k].id < v; });
  return (it != o.end() && kCaTable[*it].id == id) ? *it : -1;
}

int ca_index(const char *name) {
  if (!name) return -1;
  for (int k = 0; k < kCaCount; ++k) {
    const char *a = kCaTable[k].name, *b = name;
    while (*a && std::tolower(static_cast<unsigned char>(*b)) == *a) ++a, ++b;
    if (!*a && !*b) return k;
  }
  return -1;
}

Controls::Controls() : ints_(kCaCount), dbls_(kCaCount), strs_(kCaCount) { reset(); }

void Controls::reset() {
  for (int k = 0; k < kCaCount; ++k) {
    const CaInfo &c = kCaTable[k];
    ints_[k] = c.idef;
    dbls_[k] = c.ddef;
    strs_[k] = c.sdef ? c.sdef : "";
  }
}

int Controls::slot(int id, int want, bool for_set) const {
  int k = ca_index(id);
  if (k < 0) fail(QNDA_ERR_UNKNOWNID, "unknown control id %d", id);
  const CaInfo &c = kCaTable[k];
  if (c.kind != CA_CONTROL)
    fail(QNDA_ERR_UNKNOWNID, "%d (%s) is an attribute, not a control%s", id, c.name,
         for_set ? ": attributes cannot be set" : "");
  bool ok = c.type == want || (want == QNDA_TYPE_INT && c.type == QNDA_TYPE_INT64) ||
            (want == QNDA_TYPE_INT64 && c.type == QNDA_TYPE_INT);
  if (!ok)
    fail(QNDA_ERR_TYPE, "control %d (%s) is of type %s, not %s", id, c.name,
         value_type_name(c.type), value_type_name(want));
  return k;
}

int Controls::get_int(int id) const {
  QNDAint64 v = ints_[slot(id, QNDA_TYPE_INT, false)];
  return v > INT_MAX ? INT_MAX : v < INT_MIN ? INT_MIN : static_cast<int>(v);
}

QNDAint64 Controls::get_int64(int id) const { return ints_[slot(id, QNDA_TYPE_INT64, false)]; }

double Controls::get_dbl(int id) const { return dbls_[slot(id, QNDA_TYPE_DOUBLE, false)]; }

const std::string &Controls::get_str(int id) const {
  return strs_[slot(id, QNDA_TYPE_STRING, false)];
}

void Controls::set_int(int id, QNDAint64 value) {
  int k = slot(id, QNDA_TYPE_INT, true);
  const CaInfo &c = kCaTable[k];
  if (value < c.imin || value > c.imax)
    fail(QNDA_ERR_VALUE, "value %lld of control %s out of its range [%lld, %lld]", value, c.name,
         c.imin, c.imax);
  ints_[k] = value;
}

void Controls::set_dbl(int id, double value) {
  int k = slot(id, QNDA_TYPE_DOUBLE, true);
  const CaInfo &c = kCaTable[k];
  if (std::isnan(value) || value < c.dmin || value > c.dmax)
    fail(QNDA_ERR_VALUE, "value %g of control %s out of its range [%g, %g]", value, c.name, c.dmin,
         c.dmax);
  dbls_[k] = value;
}

void Controls::set_str(int id, const char *value) {
  int k = slot(id, QNDA_TYPE_STRING, true);
  if (!value) fail(QNDA_ERR_ARGUMENT, "null value for string control %s", kCaTable[k].name);
  if (std::strlen(value) >= QNDA_MAXNAMELENGTH)
    fail(QNDA_ERR_VALUE, "value of control %s longer than %d characters", kCaTable[k].name,
         QNDA_MAXNAMELENGTH - 1);
  if (id == QNDA_SOLVERNAME) {
    std::string v(value);
    for (char &ch : v) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
    if (v != "highs" && v != "cbc")
      fail(QNDA_ERR_VALUE, "unknown engine \"%s\" (known: highs, cbc)", value);
    strs_[k] = v;
    return;
  }
  strs_[k] = value;
}

}  // namespace qnda
