// The callback slots of a nonlinear problem and their firing.
#include "nonlinear/slp_callbacks.h"

#include <cmath>

#include "nonlinear/slp_guard.h"
#include "qslp.h"

namespace qnda {

namespace {

template <class F>
F slot(const qslp_problem_s &p, SlpCbKind k) {
  return reinterpret_cast<F>(p.callbacks.fn[k]);
}

// The handle the callbacks receive: theirs to use, though the fire
// functions only read the problem.
QSLPprob handle(const qslp_problem_s &p) { return const_cast<qslp_problem_s *>(&p); }

}  // namespace

int slp_cb_event(const qslp_problem_s &p, SlpCbKind k) {
  auto f = slot<QSLPcb_event>(p, k);
  return f ? f(handle(p), p.callbacks.object[k]) : 0;
}

int slp_cb_column(const qslp_problem_s &p, SlpCbKind k, int col) {
  auto f = slot<QSLPcb_column>(p, k);
  return f ? f(handle(p), p.callbacks.object[k], col) : 0;
}

int slp_cb_coefevalerror(const qslp_problem_s &p, int row, int col) {
  auto f = slot<QSLPcb_coefevalerror>(p, kCbCoefEvalError);
  return f ? f(handle(p), p.callbacks.object[kCbCoefEvalError], row, col) : 0;
}

int slp_cb_drcol(const qslp_problem_s &p, int col, double value, double lb, double ub,
                 double &newvalue) {
  newvalue = value;
  auto f = slot<QSLPcb_drcol>(p, kCbDrCol);
  if (!f) return 0;
  const int rc = f(handle(p), p.callbacks.object[kCbDrCol], col, value, &newvalue, lb, ub);
  if (!std::isfinite(newvalue)) newvalue = value;
  return rc;
}

double slp_cb_formula(const qslp_problem_s &p, double arg) {
  auto f = slot<QSLPcb_formula>(p, kCbFormula);
  double v = std::nan("");
  if (!f || f(handle(p), p.callbacks.object[kCbFormula], arg, &v) != 0) return std::nan("");
  return v;
}

int slp_cb_msjob(const qslp_problem_s &p, SlpCbKind k, void *job, const char *description) {
  auto f = slot<QSLPcb_msjob>(p, k);
  int status = 0;
  if (f && f(handle(p), p.callbacks.object[k], job, description, &status) != 0 && status == 0)
    status = 1;
  return status;
}

void slp_cb_mswinner(const qslp_problem_s &p, void *job, const char *description) {
  auto f = slot<QSLPcb_mswinner>(p, kCbMsWinner);
  if (f) f(handle(p), p.callbacks.object[kCbMsWinner], job, description);
}

SlpHooks slp_callback_hooks(qslp_problem_s &p, std::function<void(const double *)> publish) {
  SlpHooks h;
  auto event = [&p](SlpCbKind k) -> std::function<int()> {
    if (!p.callbacks.has(k)) return nullptr;
    return [&p, k] { return slp_cb_event(p, k); };
  };
  h.slpstart = event(kCbSlpStart);
  h.construct = event(kCbConstruct);
  h.iterstart = event(kCbIterStart);
  h.iterend = event(kCbIterEnd);
  h.slpend = event(kCbSlpEnd);
  h.point = std::move(publish);
  if (p.callbacks.has(kCbIterVar))
    h.itervar = [&p](int col) { return slp_cb_column(p, kCbIterVar, col); };
  return h;
}

}  // namespace qnda

using namespace qnda;

// Set and get of one kind's slot.
#define QSLP_CB_PAIR(name, kind, type)                              \
  int QSLPsetcb##name(QSLPprob prob, type f, void *object) {        \
    return slp_guard(prob, "QSLPsetcb" #name, [&] {                 \
      prob->callbacks.fn[kind] = reinterpret_cast<void *>(f);       \
      prob->callbacks.object[kind] = f ? object : nullptr;          \
    });                                                             \
  }                                                                 \
  int QSLPgetcb##name(QSLPprob prob, type *f, void **object) {      \
    return slp_guard(prob, "QSLPgetcb" #name, [&] {                 \
      if (f) *f = reinterpret_cast<type>(prob->callbacks.fn[kind]); \
      if (object) *object = prob->callbacks.object[kind];           \
    });                                                             \
  }

extern "C" {
QSLP_CB_PAIR(cascadeend, kCbCascadeEnd, QSLPcb_event)
QSLP_CB_PAIR(cascadestart, kCbCascadeStart, QSLPcb_event)
QSLP_CB_PAIR(cascadevar, kCbCascadeVar, QSLPcb_column)
QSLP_CB_PAIR(cascadevarfail, kCbCascadeVarFail, QSLPcb_column)
QSLP_CB_PAIR(coefevalerror, kCbCoefEvalError, QSLPcb_coefevalerror)
QSLP_CB_PAIR(construct, kCbConstruct, QSLPcb_event)
QSLP_CB_PAIR(destroy, kCbDestroy, QSLPcb_event)
QSLP_CB_PAIR(drcol, kCbDrCol, QSLPcb_drcol)
QSLP_CB_PAIR(formula, kCbFormula, QSLPcb_formula)
QSLP_CB_PAIR(iterend, kCbIterEnd, QSLPcb_event)
QSLP_CB_PAIR(iterstart, kCbIterStart, QSLPcb_event)
QSLP_CB_PAIR(itervar, kCbIterVar, QSLPcb_column)
QSLP_CB_PAIR(msjobend, kCbMsJobEnd, QSLPcb_msjob)
QSLP_CB_PAIR(msjobstart, kCbMsJobStart, QSLPcb_msjob)
QSLP_CB_PAIR(mswinner, kCbMsWinner, QSLPcb_mswinner)
QSLP_CB_PAIR(slpend, kCbSlpEnd, QSLPcb_event)
QSLP_CB_PAIR(slpnode, kCbSlpNode, QSLPcb_event)
QSLP_CB_PAIR(slpstart, kCbSlpStart, QSLPcb_event)
}  // extern "C"
