// Skeleton of the environment calls (replaced by the library core).
#include <cstdio>
#include <cstring>

#include "qnda.h"

extern "C" int QNDAinit(const char *) { return 0; }
extern "C" int QNDAfree(void) { return 0; }
extern "C" int QNDAgetversion(char *version) {
  std::snprintf(version, QNDA_MAXVERSIONLENGTH, "%02d.%02d.%02d", QNDA_VERSION_MAJOR,
                QNDA_VERSION_MINOR, QNDA_VERSION_BUILD);
  return 0;
}
