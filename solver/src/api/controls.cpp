// Controls and attributes through the C interface.  Attribute values come
// from the last solve first (core/solvestate), then from the model store.
#include <climits>
#include <cmath>
#include <string>
#include <vector>

#include "api/guard.h"
#include "controls/catable.h"
#include "engine/presolved.h"
#include "qnda.h"

using namespace qnda;

namespace {

struct CaList {
  std::vector<const char *> names;
  std::vector<int> ids;
  std::vector<int> flags;
};

const CaList &calist() {
  static const CaList list = [] {
    CaList l;
    for (const CaInfo &c : kCaTable) {
      int f = 0;
      switch (c.type) {
        case QNDA_TYPE_INT:
          f = QNDA_CAFLAG_INT;
          break;
        case QNDA_TYPE_INT64:
          f = QNDA_CAFLAG_INT | QNDA_CAFLAG_INT64;
          break;
        case QNDA_TYPE_DOUBLE:
          f = QNDA_CAFLAG_DOUBLE;
          break;
        case QNDA_TYPE_STRING:
          f = QNDA_CAFLAG_STRING;
          break;
      }
      if (c.kind == CA_CONTROL) f |= QNDA_CAFLAG_CONTROL;
      l.names.push_back(c.name);
      l.ids.push_back(c.id);
      l.flags.push_back(f);
    }
    l.names.push_back("");
    l.ids.push_back(0);
    l.flags.push_back(0);
    return l;
  }();
  return list;
}

void info_by_name(const char *name, int kind, int *id, int *type) {
  check_array(name, "name");
  int k = ca_index(name);
  bool found = k >= 0 && kCaTable[k].kind == kind;
  if (id) *id = found ? kCaTable[k].id : 0;
  if (type) *type = found ? kCaTable[k].type : QNDA_TYPE_NOTDEFINED;
}

const CaInfo &attribute(int id, bool want_int) {
  const CaInfo *c = ca_find(id);
  if (!c) fail(QNDA_ERR_UNKNOWNID, "unknown attribute id %d", id);
  if (c->kind != CA_ATTRIBUTE)
    fail(QNDA_ERR_UNKNOWNID, "%d (%s) is a control, not an attribute", id, c->name);
  bool is_int = c->type == QNDA_TYPE_INT || c->type == QNDA_TYPE_INT64;
  if (is_int != want_int)
    fail(QNDA_ERR_TYPE, "attribute %d (%s) is not of type %s", id, c->name,
         want_int ? "integer" : "double");
  return *c;
}

QNDAint64 int_attrib(const qnda_problem_s &prob, int id) {
  attribute(id, true);
  QNDAint64 v = 0;
  if (solve_int_attrib(prob.results(), id, &v)) return v;
  const Model &m = prob.model;
  if (const PresolvedState *ps = presolved_state(prob)) {
    // Rows and columns are the presolved problem's while it is presolved.
    if (id == QNDA_ROWS) return ps->nrows();
    if (id == QNDA_COLS) return ps->ncols();
  }
  switch (id) {
    case QNDA_ROWS:
    case QNDA_ORIGINALROWS:
      return m.nrows();
    case QNDA_COLS:
    case QNDA_ORIGINALCOLS:
      return m.ncols();
    case QNDA_SETS:
    case QNDA_ORIGINALSETS:
      return m.nsets();
    case QNDA_SPAREROWS:
      return 0;
    case QNDA_NAMELENGTH:
      return static_cast<QNDAint64>((m.longest_name() + 7) / 8);
    case QNDA_MIPENTS:
      return m.entity_count();
    case QNDA_ELEMS:
      return m.matrix().nnz();
    case QNDA_QELEMS:
    case QNDA_ORIGINALQELEMS:
      return m.qobj().size();
    case QNDA_QCONSTRAINTS:
      return static_cast<QNDAint64>(m.qrow_list().size());
    case QNDA_QCELEMS:
    case QNDA_ORIGINALQCELEMS:
      return m.qrow_terms();
    case QNDA_SETMEMBERS:
      return static_cast<QNDAint64>(m.setcol().size());
    case QNDA_INDICATORS:
      return m.indicator_count();
    case QNDA_PROBNAMELENGTH:
      return static_cast<QNDAint64>(prob.name.size()) + 1;
    case QNDA_OBJSENSE_ATTR:
      return m.obj_sense();
    case QNDA_ERRORCODE:
      return prob.err.code();
    case QNDA_PRESOLVESTATE:
      return 1;  // nothing solved yet
  }
  return 0;  // statuses and counters of a solve that has not happened
}

double dbl_attrib(const qnda_problem_s &prob, int id) {
  attribute(id, false);
  double v = 0.0;
  if (solve_dbl_attrib(prob.results(), id, &v)) return v;
  if (id == QNDA_OBJCONSTANT) return prob.model.obj_constant();
  return 0.0;
}

// The getters of one value: *value = get() once value is known not null.
template <class T, class Get>
int get_value(qnda_problem_s *prob, const char *fname, T *value, Get get) {
  return guard_read(prob, fname, [&] {
    check_array(value, "value");
    *value = get();
  });
}

}  // namespace

extern "C" {

int QNDAgetcalist_c(const char *const **names, const int **ids, const int **flags) {
  const CaList &l = calist();
  if (names) *names = l.names.data();
  if (ids) *ids = l.ids.data();
  if (flags) *flags = l.flags.data();
  return QNDA_OK;
}

int QNDAgetcontrolinfo(QNDAprob prob, const char *name, int *id, int *type) {
  auto body = [&] { info_by_name(name, CA_CONTROL, id, type); };
  return prob ? guard_read(prob, "QNDAgetcontrolinfo", body)
              : guard_env("QNDAgetcontrolinfo", body);
}

int QNDAgetattribinfo(QNDAprob prob, const char *name, int *id, int *type) {
  auto body = [&] { info_by_name(name, CA_ATTRIBUTE, id, type); };
  return prob ? guard_read(prob, "QNDAgetattribinfo", body) : guard_env("QNDAgetattribinfo", body);
}

int QNDAgetcadescription(int id, char *buf, int maxbytes, int *nbytes) {
  return run_guarded(global_error(), "QNDAgetcadescription", [&] {
    const CaInfo *c = ca_find(id);
    if (!c) fail(QNDA_ERR_UNKNOWNID, "unknown control or attribute id %d", id);
    copy_out(c->description, buf, maxbytes, nbytes);
  });
}

int QNDAsetintcontrol(QNDAprob prob, int id, int value) {
  return guard(prob, "QNDAsetintcontrol", [&] { prob->controls.set_int(id, value); });
}

int QNDAsetintcontrol64(QNDAprob prob, int id, QNDAint64 value) {
  return guard(prob, "QNDAsetintcontrol64", [&] { prob->controls.set_int(id, value); });
}

int QNDAsetdblcontrol(QNDAprob prob, int id, double value) {
  return guard(prob, "QNDAsetdblcontrol", [&] { prob->controls.set_dbl(id, value); });
}

int QNDAsetstrcontrol(QNDAprob prob, int id, const char *value) {
  return guard(prob, "QNDAsetstrcontrol", [&] { prob->controls.set_str(id, value); });
}

int QNDAgetintcontrol(QNDAprob prob, int id, int *value) {
  return get_value(prob, "QNDAgetintcontrol", value, [&] { return prob->controls.get_int(id); });
}

int QNDAgetintcontrol64(QNDAprob prob, int id, QNDAint64 *value) {
  return get_value(prob, "QNDAgetintcontrol64", value,
                   [&] { return prob->controls.get_int64(id); });
}

int QNDAgetdblcontrol(QNDAprob prob, int id, double *value) {
  return get_value(prob, "QNDAgetdblcontrol", value, [&] { return prob->controls.get_dbl(id); });
}

int QNDAgetstrcontrol(QNDAprob prob, int id, char *value, int maxbytes, int *nbytes) {
  return guard_read(prob, "QNDAgetstrcontrol",
                    [&] { copy_out(prob->controls.get_str(id), value, maxbytes, nbytes); });
}

int QNDAsetdefaults(QNDAprob prob) {
  return guard(prob, "QNDAsetdefaults", [&] { prob->controls.reset(); });
}

int QNDAgetintattrib(QNDAprob prob, int id, int *value) {
  return get_value(prob, "QNDAgetintattrib", value, [&] {
    QNDAint64 v = int_attrib(*prob, id);
    return v > INT_MAX ? INT_MAX : v < INT_MIN ? INT_MIN : static_cast<int>(v);
  });
}

int QNDAgetintattrib64(QNDAprob prob, int id, QNDAint64 *value) {
  return get_value(prob, "QNDAgetintattrib64", value, [&] { return int_attrib(*prob, id); });
}

int QNDAgetdblattrib(QNDAprob prob, int id, double *value) {
  return get_value(prob, "QNDAgetdblattrib", value, [&] { return dbl_attrib(*prob, id); });
}

int QNDAgetstrattrib(QNDAprob prob, int id, char *value, int maxbytes, int *nbytes) {
  return guard_read(prob, "QNDAgetstrattrib", [&] {
    const CaInfo *c = ca_find(id);
    if (!c || c->kind != CA_ATTRIBUTE) fail(QNDA_ERR_UNKNOWNID, "unknown attribute id %d", id);
    fail(QNDA_ERR_TYPE, "attribute %d (%s) is not of type string", id, c->name);
  });
}

}  // extern "C"
