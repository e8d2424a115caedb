// Problems: creation, copying, names, last errors, message handlers,
// interruption.
#include <cstring>
#include <string>

#include "api/guard.h"
#include "core/messages.h"
#include "qnda.h"

using namespace qnda;

namespace {

void check_name_length(const char *name, const char *what) {
  if (std::strlen(name) >= QNDA_MAXNAMELENGTH)
    fail(QNDA_ERR_ARGUMENT, "%s longer than %d characters", what, QNDA_MAXNAMELENGTH - 1);
}

}  // namespace

extern "C" {

int QNDAcreateprob(QNDAprob *prob) {
  return guard_env("QNDAcreateprob", [&] {
    check_array(prob, "prob");
    *prob = nullptr;
    *prob = new qnda_problem_s();
  });
}

int QNDAdestroyprob(QNDAprob prob) {
  // Allowed after the last QNDAfree: a caller tearing down may free the
  // library before its problems.
  if (int rc = check_handle(prob, "QNDAdestroyprob")) return rc;
  if (prob->busy.load(std::memory_order_acquire)) return refuse_busy(prob, "QNDAdestroyprob");
  return run_guarded(global_error(), "QNDAdestroyprob", [&] {
    close_logfile(prob);
    delete prob;
  });
}

int QNDAcopyprob(QNDAprob dest, QNDAprob src, const char *name) {
  if (int rc = check_handle(src, "QNDAcopyprob")) return rc;
  return guard(dest, "QNDAcopyprob", [&] {
    if (dest == src) fail(QNDA_ERR_ARGUMENT, "source and destination are the same problem");
    if (name) check_name_length(name, "problem name");
    dest->model = src->model;
    dest->controls = src->controls;
    dest->name = name ? name : src->name;
    dest->solve.clear_all();
    // The copy starts cold: an engine instance is never shared.
    dest->engine.reset();
    dest->model_changed();
  });
}

int QNDAcopycontrols(QNDAprob dest, QNDAprob src) {
  if (int rc = check_handle(src, "QNDAcopycontrols")) return rc;
  return guard(dest, "QNDAcopycontrols", [&] { dest->controls = src->controls; });
}

int QNDAsetprobname(QNDAprob prob, const char *name) {
  return guard(prob, "QNDAsetprobname", [&] {
    check_array(name, "name");
    check_name_length(name, "problem name");
    prob->name = name;
  });
}

int QNDAgetprobname(QNDAprob prob, char *name, int maxbytes, int *nbytes) {
  return guard_read(prob, "QNDAgetprobname", [&] { copy_out(prob->name, name, maxbytes, nbytes); });
}

int QNDAgetlasterror(QNDAprob prob, int *msgcode, char *msg, int maxbytes, int *nbytes) {
  return guard_noinit(prob, "QNDAgetlasterror", [&] {
    if (msgcode) *msgcode = prob->err.code();
    copy_out(prob->err.message(), msg, maxbytes, nbytes);
  });
}

int QNDAaddcbmessage(QNDAprob prob, QNDAmsghandler handler, void *data, int priority) {
  return guard(prob, "QNDAaddcbmessage", [&] {
    check_array(reinterpret_cast<const void *>(handler), "handler");
    prob->handlers.add(handler, data, priority);
  });
}

int QNDAremovecbmessage(QNDAprob prob, QNDAmsghandler handler, void *data) {
  return guard(prob, "QNDAremovecbmessage", [&] { prob->handlers.remove(handler, data); });
}

int QNDAinterrupt(QNDAprob prob, int reason) {
  return guard_noinit(prob, "QNDAinterrupt", [&] {
    if (reason <= 0) fail(QNDA_ERR_ARGUMENT, "reason %d is not a stop reason (> 0)", reason);
    prob->interrupt.store(reason);
  });
}

}  // extern "C"
