// Names of codes: a status, a stop reason, an operator, a value type.  Each
// set of names is one table of {code, text} read by code_text, rather than a
// switch written out case by case in every file that names codes.
#pragma once

#include <cstddef>

#include "qnda.h"

namespace qnda {

struct CodeText {
  int code;
  const char *text;
};

template <std::size_t N>
const char *code_text(const CodeText (&table)[N], int code, const char *fallback) {
  for (const CodeText &e : table)
    if (e.code == code) return e.text;
  return fallback;
}

// The value types of controls and attributes, main and nonlinear alike.
inline const char *value_type_name(int type) {
  static constexpr CodeText kNames[] = {{QNDA_TYPE_INT, "integer"},
                                        {QNDA_TYPE_INT64, "64-bit integer"},
                                        {QNDA_TYPE_DOUBLE, "double"},
                                        {QNDA_TYPE_STRING, "string"}};
  return code_text(kNames, type, "undefined");
}

}  // namespace qnda
