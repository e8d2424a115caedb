// Environment: initialisation count, version and banner, global last error,
// checked mode, environment message handlers, the allocator.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "api/guard.h"
#include "core/messages.h"
#include "engine/engine.h"
#include "qnda.h"

using namespace qnda;

extern "C" {

QNDA_API void *qo_MemoryAllocator_DefaultHeap = nullptr;

int QNDAinit(const char *path) {
  (void)path;  // nothing to find: the engines are linked in
  lib_init().up();
  return QNDA_OK;
}

int QNDAfree(void) {
  if (!lib_init().down())
    return record(global_error(), "QNDAfree", QNDA_ERR_NOTINIT,
                  "the library is not initialised (QNDAfree without QNDAinit)");
  return QNDA_OK;
}

int QNDAgetversion(char *version) {
  if (!version)
    return record(global_error(), "QNDAgetversion", QNDA_ERR_ARGUMENT, "argument version is NULL");
  std::snprintf(version, QNDA_MAXVERSIONLENGTH, "%02d.%02d.%02d", QNDA_VERSION_MAJOR,
                QNDA_VERSION_MINOR, QNDA_VERSION_BUILD);
  return QNDA_OK;
}

int QNDAgetversionnumbers(int *major, int *minor, int *build) {
  if (major) *major = QNDA_VERSION_MAJOR;
  if (minor) *minor = QNDA_VERSION_MINOR;
  if (build) *build = QNDA_VERSION_BUILD;
  return QNDA_OK;
}

int QNDAgetbanner(char *banner) {
  return guard_env("QNDAgetbanner", [&] {
    check_array(banner, "banner");
    std::string highs;
    for (const EngineInfo &e : engine_list())
      if (e.name == "highs") highs = e.version;
    std::snprintf(banner, QNDA_MAXBANNERLENGTH,
                  "quendalib solver library libqnda %02d.%02d.%02d\n"
                  "LP, MIP and QP engine: HiGHS %s",
                  QNDA_VERSION_MAJOR, QNDA_VERSION_MINOR, QNDA_VERSION_BUILD, highs.c_str());
  });
}

int QNDAgetbuildinfo(char *info, int maxbytes, int *nbytes) {
  return guard_env("QNDAgetbuildinfo", [&] {
    if (info && maxbytes <= 0) fail(QNDA_ERR_ARGUMENT, "maxbytes must be positive");
    char version[QNDA_MAXVERSIONLENGTH];
    QNDAgetversion(version);
    std::string text = std::string("library\tlibqnda\t") + version + "\t\n";
    for (const EngineInfo &e : engine_list())
      text += "engine\t" + e.name + "\t" + e.version + "\t" + e.problems + "\n";
    copy_out(text, info, maxbytes, nbytes);
  });
}

int QNDA_ge_getlasterror(int *msgcode, char *msg, int maxbytes, int *nbytes) {
  ErrorRecord &rec = global_error();
  if (msgcode) *msgcode = rec.code();
  copy_out(rec.message(), msg, maxbytes, nbytes);
  return QNDA_OK;
}

int QNDAsetcheckedmode(int checked) {
  return guard_env("QNDAsetcheckedmode", [&] { set_checked_mode(checked != 0); });
}

int QNDAgetcheckedmode(int *checked) {
  return guard_env("QNDAgetcheckedmode", [&] {
    check_array(checked, "checked");
    *checked = checked_mode() ? 1 : 0;
  });
}

int QNDAenablemessages(int enable) {
  return guard_env("QNDAenablemessages", [&] { set_messages_enabled(enable != 0); });
}

int QNDA_ge_addcbmsghandler(QNDAmsghandler handler, void *data, int priority) {
  return guard_env("QNDA_ge_addcbmsghandler", [&] {
    check_array(reinterpret_cast<const void *>(handler), "handler");
    env_handlers().add(handler, data, priority);
  });
}

int QNDA_ge_removecbmsghandler(QNDAmsghandler handler, void *data) {
  return guard_env("QNDA_ge_removecbmsghandler", [&] { env_handlers().remove(handler, data); });
}

int qo_MemoryAllocator_Alloc_Untyped(void *heap, size_t size, void **p) {
  (void)heap;
  if (!p)
    return record(global_error(), "qo_MemoryAllocator_Alloc_Untyped", QNDA_ERR_ARGUMENT,
                  "argument p is NULL");
  void *q = std::malloc(size ? size : 1);
  if (!q) {
    *p = nullptr;
    return record(global_error(), "qo_MemoryAllocator_Alloc_Untyped", QNDA_ERR_NOMEMORY,
                  "out of memory");
  }
  *p = q;
  return QNDA_OK;
}

int qo_MemoryAllocator_Realloc_Untyped(void *heap, void **p, size_t size) {
  (void)heap;
  if (!p)
    return record(global_error(), "qo_MemoryAllocator_Realloc_Untyped", QNDA_ERR_ARGUMENT,
                  "argument p is NULL");
  void *q = std::realloc(*p, size ? size : 1);
  if (!q)
    return record(global_error(), "qo_MemoryAllocator_Realloc_Untyped", QNDA_ERR_NOMEMORY,
                  "out of memory");
  *p = q;
  return QNDA_OK;
}

int qo_MemoryAllocator_Free_Untyped(void *heap, void **p) {
  (void)heap;
  if (!p) return QNDA_OK;
  std::free(*p);
  *p = nullptr;
  return QNDA_OK;
}

}  // extern "C"
