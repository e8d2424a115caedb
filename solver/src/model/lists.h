// Compressed lists as the store keeps them (the matrix's columns, the sets):
// list s holds the entries [start[s], start[s+1]) of index and value.
#pragma once

#include <vector>

#include "qnda.h"

namespace qnda {

// Drops the entries whose index maps to -1 and renumbers the others by map.
template <class V>
void drop_mapped(int nlists, std::vector<QNDAint64> &start, std::vector<int> &index,
                 std::vector<V> &value, const std::vector<int> &map) {
  QNDAint64 w = 0;
  for (int s = 0; s < nlists; ++s) {
    QNDAint64 b = start[s], e = start[s + 1];
    start[s] = w;
    for (QNDAint64 k = b; k < e; ++k) {
      int r = map[index[k]];
      if (r < 0) continue;
      index[w] = r;
      value[w] = value[k];
      ++w;
    }
  }
  start[nlists] = w;
  index.resize(w);
  value.resize(w);
}

}  // namespace qnda
