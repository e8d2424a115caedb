#include "callbacks/dispatch.h"

#include <cmath>

#include "callbacks/branchobj.h"

namespace qnda {

namespace {

struct ThreadEvent {
  const void *prob = nullptr;
  SolveState state;
};
thread_local ThreadEvent *t_event = nullptr;

}  // namespace

const SolveState *event_state(const void *prob) {
  ThreadEvent *e = t_event;
  return e && e->prob == prob ? &e->state : nullptr;
}

// Makes the event's results visible to the queries of this thread for the
// length of the callbacks (events do not nest, but a callback that solves
// another problem must not lose ours).
class CallbackDispatch::Scope {
 public:
  Scope(const CallbackDispatch &d, const EventInfo &e) : saved_(t_event) {
    ev_.prob = d.prob_;
    d.fill_state(e, ev_.state);
    t_event = &ev_;
  }
  ~Scope() { t_event = saved_; }
  Scope(const Scope &) = delete;
  Scope &operator=(const Scope &) = delete;

 private:
  ThreadEvent ev_;
  ThreadEvent *saved_;
};

CallbackDispatch::CallbackDispatch(QNDAprob prob, const CallbackLists &lists, int sense,
                                   FillSolution fill, Interrupt interrupt)
    : prob_(prob),
      lists_(lists),
      sense_(sense < 0 ? -1 : 1),
      fill_(std::move(fill)),
      interrupt_(std::move(interrupt)) {
  last_primal_ = last_dual_ = NAN;
  targets_[0] = targets_[1] = QNDA_INFINITY;
  targets_[2] = -sense_ * QNDA_INFINITY;
  targets_[3] = sense_ * QNDA_INFINITY;
}

void CallbackDispatch::fill_state(const EventInfo &e, SolveState &st) const {
  static_cast<SolveCounters &>(st).simplex_iter = e.simplex_iter;
  st.barrier_iter = e.barrier_iter;
  st.nodes = e.nodes;
  st.mip_sols = e.mip_sols;
  st.solve_time = e.running_time;
  st.best_bound = e.dual_bound;
  st.rel_gap = e.has_incumbent ? e.gap : QNDA_INFINITY;
  st.mip_obj = e.has_incumbent ? e.primal_bound : sense_ * QNDA_INFINITY;
  st.obj = st.lp_obj = e.x ? e.primal_bound : e.dual_bound;
  st.was_mip = e.nodes > 0 || e.has_incumbent;
  st.mip_status = e.has_incumbent ? QNDA_MIP_SOLUTION : QNDA_MIP_NO_SOL_FOUND;
  st.lp_status = QNDA_LP_UNFINISHED;
  st.model_changed = false;
  st.node = e.node;
  st.depth = e.depth;
  if (e.x && fill_) {
    fill_(e.x, st);
    st.has_solution = true;
  }
  for (double *v : {&st.best_bound, &st.rel_gap, &st.mip_obj, &st.obj, &st.lp_obj})
    if (std::isinf(*v) || std::fabs(*v) > QNDA_INFINITY)
      *v = *v > 0 ? QNDA_INFINITY : -QNDA_INFINITY;
}

void CallbackDispatch::log_event(CbKind k, const EventInfo &e) {
  if (!lists_.any(k)) return;
  Scope scope(*this, e);
  for (const CbEntry &c : lists_.snapshot(k))
    if (c.live() && reinterpret_cast<QNDAcb_lplog>(c.fn)(prob_, c.data) != 0) {
      interrupt_(QNDA_STOP_USER);
      return;
    }
}

void CallbackDispatch::bariteration(const EventInfo &e) {
  if (!lists_.any(CB_BARITERATION)) return;
  Scope scope(*this, e);
  for (const CbEntry &c : lists_.snapshot(CB_BARITERATION)) {
    if (!c.live()) continue;
    int action = 0;
    reinterpret_cast<QNDAcb_bariteration>(c.fn)(prob_, c.data, &action);
    if (action != 0) {
      interrupt_(QNDA_STOP_USER);
      return;
    }
  }
}

void CallbackDispatch::intsol(const EventInfo &e) {
  if (!lists_.any(CB_INTSOL)) return;
  Scope scope(*this, e);
  for (const CbEntry &c : lists_.snapshot(CB_INTSOL))
    if (c.live()) reinterpret_cast<QNDAcb_intsol>(c.fn)(prob_, c.data);
}

void CallbackDispatch::usersolnotify(const char *name, int status) {
  if (!lists_.any(CB_USERSOLNOTIFY)) return;
  Scope scope(*this, EventInfo());
  for (const CbEntry &c : lists_.snapshot(CB_USERSOLNOTIFY))
    if (c.live()) reinterpret_cast<QNDAcb_usersolnotify>(c.fn)(prob_, c.data, name, status);
}

template <class F>
void CallbackDispatch::each(CbKind k, const EventInfo &e, F f) {
  if (!lists_.any(k)) return;
  Scope scope(*this, e);
  for (const CbEntry &c : lists_.snapshot(k))
    if (c.live() && f(c)) return;
}

void CallbackDispatch::optnode(const EventInfo &e, int *infeasible) {
  each(CB_OPTNODE, e, [&](const CbEntry &c) {
    reinterpret_cast<QNDAcb_optnode>(c.fn)(prob_, c.data, infeasible);
    return *infeasible != 0;
  });
}

void CallbackDispatch::preintsol(const EventInfo &e, int soltype, int *reject, double *cutoff) {
  each(CB_PREINTSOL, e, [&](const CbEntry &c) {
    reinterpret_cast<QNDAcb_preintsol>(c.fn)(prob_, c.data, soltype, reject, cutoff);
    return *reject != 0;
  });
}

void CallbackDispatch::prenode(const EventInfo &e, int *infeasible) {
  each(CB_PRENODE, e, [&](const CbEntry &c) {
    reinterpret_cast<QNDAcb_prenode>(c.fn)(prob_, c.data, infeasible);
    return *infeasible != 0;
  });
}

void CallbackDispatch::newnode(const EventInfo &e, int parent, int node, int branch) {
  each(CB_NEWNODE, e, [&](const CbEntry &c) {
    reinterpret_cast<QNDAcb_newnode>(c.fn)(prob_, c.data, parent, node, branch);
    return false;
  });
}

void CallbackDispatch::infnode(const EventInfo &e) {
  each(CB_INFNODE, e, [&](const CbEntry &c) {
    reinterpret_cast<QNDAcb_infnode>(c.fn)(prob_, c.data);
    return false;
  });
}

void CallbackDispatch::nodecutoff(const EventInfo &e, int node) {
  each(CB_NODECUTOFF, e, [&](const CbEntry &c) {
    reinterpret_cast<QNDAcb_nodecutoff>(c.fn)(prob_, c.data, node);
    return false;
  });
}

void CallbackDispatch::chgbranchobject(const EventInfo &e, QNDAbranchobject proposed,
                                       QNDAbranchobject *chosen) {
  *chosen = nullptr;
  if (!lists_.any(CB_CHGBRANCHOBJECT)) return;
  Scope scope(*this, e);
  // Each callback sees what the one before chose.
  QNDAbranchobject cur = proposed;
  for (const CbEntry &c : lists_.snapshot(CB_CHGBRANCHOBJECT)) {
    if (!c.live()) continue;
    QNDAbranchobject out = cur;
    reinterpret_cast<QNDAcb_chgbranchobject>(c.fn)(prob_, c.data, cur, &out);
    if (out == cur || !out || !out->valid()) continue;
    if (cur != proposed) delete cur;
    cur = out;
  }
  if (cur != proposed) *chosen = cur;
}

bool CallbackDispatch::targets_met(const EventInfo &e) const {
  if (!targets_set_) return false;
  if (e.has_incumbent) {
    const double abs_gap = std::fabs(e.primal_bound - e.dual_bound);
    if (e.gap <= targets_[0] || abs_gap <= targets_[1]) return true;
    if (sense_ * (e.primal_bound - targets_[2]) <= 0) return true;
  }
  return std::isfinite(e.dual_bound) && sense_ * (e.dual_bound - targets_[3]) >= 0;
}

void CallbackDispatch::gap_event(const EventInfo &e) {
  std::lock_guard<std::mutex> lk(gap_mu_);
  const double primal = e.has_incumbent ? e.primal_bound : NAN;
  const bool moved =
      !gap_fired_ ||
      !(primal == last_primal_ || (std::isnan(primal) && std::isnan(last_primal_))) ||
      e.dual_bound != last_dual_;
  if (moved && lists_.any(CB_GAPNOTIFY)) {
    gap_fired_ = true;
    last_primal_ = primal;
    last_dual_ = e.dual_bound;
    Scope scope(*this, e);
    for (const CbEntry &c : lists_.snapshot(CB_GAPNOTIFY)) {
      if (!c.live()) continue;
      double t[4] = {targets_[0], targets_[1], targets_[2], targets_[3]};
      reinterpret_cast<QNDAcb_gapnotify>(c.fn)(prob_, c.data, &t[0], &t[1], &t[2], &t[3]);
      for (int i = 0; i < 4; ++i)
        if (t[i] != targets_[i]) {
          targets_[i] = t[i];
          targets_set_ = true;
        }
    }
  }
  if (targets_met(e)) interrupt_(QNDA_STOP_MIPGAP);
}

}  // namespace qnda
