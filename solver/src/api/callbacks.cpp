// QNDAaddcb<kind> / QNDAremovecb<kind>: the optimiser callback lists of a
// problem (callbacks/cblists.h).  Fired by the engines through
// callbacks/dispatch.h.
#include "api/guard.h"

using namespace qnda;

namespace {

template <class Fn>
int add_cb(QNDAprob prob, const char *fname, CbKind k, Fn f, void *data, int priority) {
  // The lists take changes from any thread, a running solve's callbacks too.
  return guard_read(prob, fname, [&] {
    check_array(reinterpret_cast<const void *>(f), "callback function");
    prob->callbacks.add(k, reinterpret_cast<void (*)()>(f), data, priority);
  });
}

template <class Fn>
int remove_cb(QNDAprob prob, const char *fname, CbKind k, Fn f, void *data) {
  return guard_read(prob, fname,
                    [&] { prob->callbacks.remove(k, reinterpret_cast<void (*)()>(f), data); });
}

}  // namespace

#define QNDA_DEFINE_CALLBACK_PAIR(kind, KIND)                                                \
  extern "C" int QNDAaddcb##kind(QNDAprob prob, QNDAcb_##kind f, void *data, int priority) { \
    return add_cb(prob, "QNDAaddcb" #kind, KIND, f, data, priority);                         \
  }                                                                                          \
  extern "C" int QNDAremovecb##kind(QNDAprob prob, QNDAcb_##kind f, void *data) {            \
    return remove_cb(prob, "QNDAremovecb" #kind, KIND, f, data);                             \
  }

QNDA_DEFINE_CALLBACK_PAIR(bariteration, CB_BARITERATION)
QNDA_DEFINE_CALLBACK_PAIR(barlog, CB_BARLOG)
QNDA_DEFINE_CALLBACK_PAIR(chgbranchobject, CB_CHGBRANCHOBJECT)
QNDA_DEFINE_CALLBACK_PAIR(cutlog, CB_CUTLOG)
QNDA_DEFINE_CALLBACK_PAIR(destroymt, CB_DESTROYMT)
QNDA_DEFINE_CALLBACK_PAIR(gapnotify, CB_GAPNOTIFY)
QNDA_DEFINE_CALLBACK_PAIR(globallog, CB_GLOBALLOG)
QNDA_DEFINE_CALLBACK_PAIR(infnode, CB_INFNODE)
QNDA_DEFINE_CALLBACK_PAIR(intsol, CB_INTSOL)
QNDA_DEFINE_CALLBACK_PAIR(lplog, CB_LPLOG)
QNDA_DEFINE_CALLBACK_PAIR(mipthread, CB_MIPTHREAD)
QNDA_DEFINE_CALLBACK_PAIR(newnode, CB_NEWNODE)
QNDA_DEFINE_CALLBACK_PAIR(nodecutoff, CB_NODECUTOFF)
QNDA_DEFINE_CALLBACK_PAIR(optnode, CB_OPTNODE)
QNDA_DEFINE_CALLBACK_PAIR(preintsol, CB_PREINTSOL)
QNDA_DEFINE_CALLBACK_PAIR(prenode, CB_PRENODE)
QNDA_DEFINE_CALLBACK_PAIR(usersolnotify, CB_USERSOLNOTIFY)
