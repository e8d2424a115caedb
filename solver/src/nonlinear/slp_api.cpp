// The nonlinear interface: lifecycle, controls, attributes, last errors
// (formulas and coefficients are in slp_formulas.cpp, solving in
// slp_solve.cpp).
#include <cmath>
#include <cstdio>
#include <cstring>

#include "core/codetext.h"
#include "nonlinear/slp_callbacks.h"

#include "nonlinear/slp_follow.h"
#include "nonlinear/slp_guard.h"
#include "qslp.h"

namespace qnda {

namespace {
InitCount g_slp_init;
}  // namespace

bool slp_initialised() { return g_slp_init.on(); }

int slp_index(int id) {
  for (int k = 0; k < kSlpCount; ++k)
    if (kSlpTable[k].id == id) return k;
  return -1;
}

void SlpControls::reset() {
  num.assign(kSlpCount, 0.0);
  str.assign(kSlpCount, std::string());
  for (int k = 0; k < kSlpCount; ++k) {
    num[k] = kSlpTable[k].def;
    if (kSlpTable[k].sdef) str[k] = kSlpTable[k].sdef;
  }
}

namespace {

int slp_slot(int id, int type, bool control) {
  int k = slp_index(id);
  if (k < 0)
    fail(QNDA_ERR_UNKNOWNID, "unknown nonlinear %s id %d", control ? "control" : "attribute", id);
  const SlpCaInfo &c = kSlpTable[k];
  if (c.control != control)
    fail(QNDA_ERR_UNKNOWNID, "%d (%s) is %s", id, c.name,
         c.control ? "a control, not an attribute" : "an attribute, not a control");
  if (c.type != type)
    fail(QNDA_ERR_TYPE, "%d (%s) is of type %s, not %s", id, c.name, value_type_name(c.type),
         value_type_name(type));
  return k;
}

int main_count(const qslp_problem_s &p, int id) {
  if (!p.main || !p.main->valid()) return 0;
  return id == QSLP_ORIGINALROWS ? p.main->model.nrows() : p.main->model.ncols();
}

// Rows with nonlinear coefficients that are equalities (eq) or not.
int nonlinear_rows(const qslp_problem_s &p, bool eq) {
  if (!p.main || !p.main->valid()) return 0;
  const auto &type = p.main->model.rowtype();
  int count = 0, last = -1;
  for (const auto &c : p.nl.coefs) {
    const int row = c.first.first;
    if (row < 0 || row == last || row >= static_cast<int>(type.size())) continue;
    last = row;
    if ((type[row] == 'E') == eq) ++count;
  }
  return count;
}

}  // namespace
}  // namespace qnda

using namespace qnda;

extern "C" {

int QSLPinit(void) {
  g_slp_init.up();
  return QNDA_OK;
}

int QSLPfree(void) {
  if (!g_slp_init.down())
    return record(global_error(), "QSLPfree", QNDA_ERR_NOTINIT,
                  "the nonlinear library is not initialised (QSLPfree without QSLPinit)");
  return QNDA_OK;
}

int QSLPcreateprob(QSLPprob *prob, QNDAprob *qprob) {
  return slp_guard_env("QSLPcreateprob", [&] {
    check_array(prob, "prob");
    check_array(qprob, "qprob");
    *prob = nullptr;
    QNDAprob main = *qprob;
    bool own = false;
    if (!main) {  // no main problem given: make one, owned by the nonlinear one
      if (QNDAcreateprob(&main) != 0)
        fail(QNDA_ERR_NOTINIT, "%s", global_error().message().c_str());
      own = true;
      *qprob = main;
    } else if (!main->valid()) {
      fail(QNDA_ERR_ARGUMENT, "qprob is not a problem (destroyed, or never created)");
    }
    auto *p = new qslp_problem_s();
    p->main = main;
    p->owns_main = own;
    follow_main(*p);
    *prob = p;
  });
}

int QSLPdestroyprob(QSLPprob prob) {
  if (int rc = check_slp_handle(prob, "QSLPdestroyprob")) return rc;
  return run_guarded(global_error(), "QSLPdestroyprob", [&] {
    slp_cb_event(*prob, kCbDestroy);
    unfollow_main(*prob);
    if (prob->owns_main && prob->main && prob->main->valid()) QNDAdestroyprob(prob->main);
    delete prob;
  });
}

int QSLPcopyprob(QSLPprob dest, QSLPprob src, const char *name) {
  if (int rc = check_slp_handle(src, "QSLPcopyprob")) return rc;
  return slp_guard(dest, "QSLPcopyprob", [&] {
    if (dest == src) fail(QNDA_ERR_ARGUMENT, "source and destination are the same problem");
    dest->controls = src->controls;
    dest->nl.coefs = src->nl.coefs;
    dest->nl.strings = src->nl.strings;
    dest->nl.userfuncs = src->nl.userfuncs;
    dest->nl.start = src->nl.start;
    dest->extras = src->extras;
    dest->extras.built.reset();  // evaluated on the source's main problem
    dest->sol = NlpSolution();
    dest->nlp_status = dest->stop_status = dest->iterations = dest->algorithm_used = 0;
    dest->objval = dest->solvetime = dest->max_violation = 0.0;
    (void)name;  // the name lives on the main problem (QNDAcopyprob)
  });
}

int QSLPcopycontrols(QSLPprob dest, QSLPprob src) {
  if (int rc = check_slp_handle(src, "QSLPcopycontrols")) return rc;
  return slp_guard(dest, "QSLPcopycontrols", [&] { dest->controls = src->controls; });
}

int QSLPgetlasterror(QSLPprob prob, int *code, char *msg, int maxbytes, int *nbytes) {
  if (int rc = check_slp_handle(prob, "QSLPgetlasterror")) return rc;
  if (code) *code = prob->err.code();
  copy_out(prob->err.message(), msg, maxbytes, nbytes);
  return QNDA_OK;
}

int QSLPgetcalist(const int **ids) {
  static const std::vector<int> list = [] {
    std::vector<int> v;
    for (const SlpCaInfo &c : kSlpTable) v.push_back(c.id);
    v.push_back(0);
    return v;
  }();
  if (ids) *ids = list.data();
  return QNDA_OK;
}

int QSLPcontrolname(int id, char *name, int *info) {
  return run_guarded(global_error(), "QSLPcontrolname", [&] {
    int k = slp_index(id);
    if (k < 0) fail(QNDA_ERR_UNKNOWNID, "unknown nonlinear control or attribute id %d", id);
    const SlpCaInfo &c = kSlpTable[k];
    if (name) std::snprintf(name, 129, "%s", c.name);
    if (info) {
      int v = c.type == QNDA_TYPE_INT      ? QSLP_CAINFO_INT
              : c.type == QNDA_TYPE_DOUBLE ? QSLP_CAINFO_DOUBLE
                                           : QSLP_CAINFO_STRING;
      *info = v | (c.control ? QSLP_CAINFO_CONTROL : 0);
    }
  });
}

int QSLPsetintcontrol(QSLPprob prob, int id, int value) {
  return slp_guard(prob, "QSLPsetintcontrol", [&] {
    int k = slp_slot(id, QNDA_TYPE_INT, true);
    const SlpCaInfo &c = kSlpTable[k];
    if (value < c.min || value > c.max)
      fail(QNDA_ERR_VALUE, "value %d of control %s out of its range [%.0f, %.0f]", value, c.name,
           c.min, c.max);
    prob->controls.num[k] = value;
  });
}

int QSLPsetdblcontrol(QSLPprob prob, int id, double value) {
  return slp_guard(prob, "QSLPsetdblcontrol", [&] {
    int k = slp_slot(id, QNDA_TYPE_DOUBLE, true);
    const SlpCaInfo &c = kSlpTable[k];
    if (std::isnan(value) || value < c.min || value > c.max)
      fail(QNDA_ERR_VALUE, "value %g of control %s out of its range [%g, %g]", value, c.name, c.min,
           c.max);
    if (id == QSLP_OBJSENSE && value != 1.0 && value != -1.0)
      fail(QNDA_ERR_VALUE, "objective sense %g must be 1.0 (minimise) or -1.0 (maximise)", value);
    prob->controls.num[k] = value;
  });
}

int QSLPsetstrcontrol(QSLPprob prob, int id, const char *value) {
  return slp_guard(prob, "QSLPsetstrcontrol", [&] {
    int k = slp_slot(id, QNDA_TYPE_STRING, true);
    check_array(value, "value");
    if (id == QSLP_SOLVERNAME && std::strcmp(value, "ipopt") != 0)
      fail(QNDA_ERR_VALUE, "unknown nonlinear engine \"%s\" (known: ipopt)", value);
    prob->controls.str[k] = value;
  });
}

int QSLPgetintcontrol(QSLPprob prob, int id, int *value) {
  return slp_guard(prob, "QSLPgetintcontrol", [&] {
    int k = slp_slot(id, QNDA_TYPE_INT, true);
    check_array(value, "value");
    *value = static_cast<int>(prob->controls.num[k]);
  });
}

int QSLPgetdblcontrol(QSLPprob prob, int id, double *value) {
  return slp_guard(prob, "QSLPgetdblcontrol", [&] {
    int k = slp_slot(id, QNDA_TYPE_DOUBLE, true);
    check_array(value, "value");
    *value = prob->controls.num[k];
  });
}

int QSLPgetstrcontrol(QSLPprob prob, int id, char *value, int maxbytes, int *nbytes) {
  return slp_guard(prob, "QSLPgetstrcontrol", [&] {
    int k = slp_slot(id, QNDA_TYPE_STRING, true);
    copy_out(prob->controls.str[k], value, maxbytes, nbytes);
  });
}

int QSLPgetintattrib(QSLPprob prob, int id, int *value) {
  return slp_guard(prob, "QSLPgetintattrib", [&] {
    slp_slot(id, QNDA_TYPE_INT, false);
    check_array(value, "value");
    switch (id) {
      case QSLP_ORIGINALROWS:
      case QSLP_ORIGINALCOLS:
        *value = main_count(*prob, id);
        break;
      case QSLP_NLPSTATUS:
        *value = prob->nlp_status;
        break;
      case QSLP_ITER:
        *value = prob->iterations;
        break;
      case QSLP_COEFFICIENTS:
        *value = static_cast<int>(prob->nl.coefs.size());
        break;
      case QSLP_USERFUNCS:
        *value = static_cast<int>(prob->nl.userfuncs.size());
        break;
      case QSLP_CONSTANTCOL:
        *value = kConstantCol;
        break;
      case QSLP_NONLINEAREQROWS:
        *value = nonlinear_rows(*prob, true);
        break;
      case QSLP_NONLINEARINEQROWS:
        *value = nonlinear_rows(*prob, false);
        break;
      case QSLP_ALGORITHMUSED:
        *value = prob->algorithm_used;
        break;
      case QSLP_STOPSTATUS:
        *value = prob->stop_status;
        break;
      case QSLP_MSJOBS:
        *value = static_cast<int>(prob->ms.jobs.size());
        break;
      case QSLP_MSWINNER:
        *value = prob->ms.winner;
        break;
      case QSLP_GLOBALNODES:
        *value = prob->global_nodes;
        break;
      default:
        *value = 0;
    }
  });
}

int QSLPgetdblattrib(QSLPprob prob, int id, double *value) {
  return slp_guard(prob, "QSLPgetdblattrib", [&] {
    slp_slot(id, QNDA_TYPE_DOUBLE, false);
    check_array(value, "value");
    *value = id == QSLP_OBJVAL         ? prob->objval
             : id == QSLP_SOLVETIME    ? prob->solvetime
             : id == QSLP_MAXVIOLATION ? prob->max_violation
             : id == QSLP_MSBESTOBJ    ? prob->ms.best
                                       : 0.0;
  });
}

int QSLPgetptrattrib(QSLPprob prob, int id, void **value) {
  return slp_guard(prob, "QSLPgetptrattrib", [&] {
    if (id != QSLP_QNDAPROB)
      fail(QNDA_ERR_UNKNOWNID, "unknown nonlinear pointer attribute id %d", id);
    check_array(value, "value");
    *value = prob->main;
  });
}

}  // extern "C"
