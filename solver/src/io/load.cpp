#include "model/problem.h"
#include "io/modeldata.h"

#include <cmath>
#include <string>

namespace qnda {

// Strict, as Python decodes: no overlong forms, no surrogates, nothing past
// U+10FFFF.
bool valid_utf8(const std::string &s) {
  size_t i = 0, n = s.size();
  while (i < n) {
    const unsigned char c = static_cast<unsigned char>(s[i]);
    int more = c < 0x80             ? 0
               : (c & 0xE0) == 0xC0 ? 1
               : (c & 0xF0) == 0xE0 ? 2
               : (c & 0xF8) == 0xF0 ? 3
                                    : -1;
    if (more < 0 || c == 0xC0 || c == 0xC1 || c > 0xF4) return false;
    for (int k = 1; k <= more; ++k)
      if (i + k >= n || (static_cast<unsigned char>(s[i + k]) & 0xC0) != 0x80) return false;
    if (more >= 2) {
      const unsigned char c1 = static_cast<unsigned char>(s[i + 1]);
      if ((c == 0xE0 && c1 < 0xA0) || (c == 0xED && c1 >= 0xA0) || (c == 0xF0 && c1 < 0x90) ||
          (c == 0xF4 && c1 >= 0x90))
        return false;
    }
    i += more + 1;
  }
  return true;
}

namespace {

[[noreturn]] void refuse(const std::string &path, const char *what, const std::string &where,
                         const char *word) {
  fail(QNDA_ERR_FILE, "%s: %s%s%s is %s", path.c_str(), what, where.empty() ? "" : " of ",
       where.c_str(), word);
}

// NaN: always; infinite: unless a bound.
const char *bad_value(double v, bool bound) {
  if (std::isnan(v)) return "NaN";
  if (!bound && (std::isinf(v) || is_inf(v))) return "infinite";
  return nullptr;
}

std::string name_or_index(const std::vector<std::string> &names, size_t k, const char *kind) {
  if (k < names.size() && !names[k].empty()) return names[k];
  return std::string(kind) + " " + std::to_string(k);
}

}  // namespace

void check_model_data(const ModelData &d, const std::string &path) {
  const char *w;
  auto row = [&](size_t i) { return name_or_index(d.row_names, i, "row"); };
  auto col = [&](size_t j) { return name_or_index(d.col_names, j, "column"); };
  for (size_t i = 0; i < d.rhs.size(); ++i)
    if ((w = bad_value(d.rhs[i], true)) || (w = bad_value(d.range[i], true)))
      refuse(path, "the right-hand side or range", row(i), w);
  for (size_t j = 0; j < d.obj.size(); ++j) {
    if ((w = bad_value(d.obj[j], false))) refuse(path, "the objective coefficient", col(j), w);
    if ((w = bad_value(d.lb[j], true)) || (w = bad_value(d.ub[j], true)) ||
        (w = bad_value(d.limit[j], true)))
      refuse(path, "a bound", col(j), w);
    for (QNDAint64 k = d.start.empty() ? 0 : d.start[j]; !d.start.empty() && k < d.start[j + 1];
         ++k)
      if ((w = bad_value(d.value[k], false)))
        refuse(path, "a coefficient", col(j) + " in " + row(d.rowind[k]), w);
  }
  if ((w = bad_value(d.obj_constant, false))) refuse(path, "the objective constant", "", w);
  for (const auto &t : d.qobj)
    if ((w = bad_value(t.v, false))) refuse(path, "a quadratic objective coefficient", col(t.i), w);
  for (const auto &t : d.qrows)
    if ((w = bad_value(t.v, false))) refuse(path, "a quadratic coefficient", row(t.row), w);
  for (size_t k = 0; k < d.setref.size(); ++k)
    if ((w = bad_value(d.setref[k], false))) refuse(path, "a set weight", col(d.setcol[k]), w);
  for (const auto *names : {&d.row_names, &d.col_names, &d.set_names})
    for (size_t k = 0; k < names->size(); ++k)
      if (!valid_utf8((*names)[k]))
        fail(QNDA_ERR_FILE, "%s: name of %s %zu is not valid UTF-8", path.c_str(),
             names == &d.row_names   ? "row"
             : names == &d.col_names ? "column"
                                     : "set",
             k);
  if (!valid_utf8(d.name)) fail(QNDA_ERR_FILE, "%s: problem name is not valid UTF-8", path.c_str());
}

void load_model_data(qnda_problem_s &prob, const ModelData &d) {
  Model model;
  const int n = d.ncols(), m = d.nrows();
  model.append_rows(m, d.rowtype.data(), d.rhs.data(), d.range.data());
  model.append_cols(n, d.obj.data(), d.lb.data(), d.ub.data());
  if (n > 0)
    model.mutable_matrix().add_col_entries<QNDAint64>(0, n, d.start.data(), nullptr,
                                                      d.rowind.data(), d.value.data());
  for (int j = 0; j < n; ++j) {
    if (d.coltype[j] != 'C') {
      model.set_coltype(j, d.coltype[j]);
      model.set_lb(j, d.lb[j]);
      model.set_ub(j, d.ub[j]);
    }
    if (d.limit[j] != 0.0) model.set_limit(j, d.limit[j]);
  }
  model.set_obj_sense(d.sense);
  model.set_obj_constant(d.obj_constant);
  for (const auto &t : d.qobj) model.mutable_qobj().add(t.i, t.j, t.v);
  for (const auto &t : d.qrows) model.mutable_qrow(t.row).add(t.i, t.j, t.v);
  for (size_t s = 0; s < d.settype.size(); ++s) {
    const QNDAint64 b = d.setstart[s], e = d.setstart[s + 1];
    model.add_set(d.settype[s], e - b, d.setcol.data() + b, d.setref.data() + b);
  }
  for (const auto &ind : d.indicators) model.set_indicator(ind.row, ind.col, ind.comp);
  for (int i = 0; i < m; ++i)
    if (!d.row_names[i].empty()) model.set_name(NAMES_ROWS, i, d.row_names[i].c_str());
  for (int j = 0; j < n; ++j)
    if (!d.col_names[j].empty()) model.set_name(NAMES_COLS, j, d.col_names[j].c_str());
  for (size_t s = 0; s < d.set_names.size(); ++s)
    if (!d.set_names[s].empty())
      model.set_name(NAMES_SETS, static_cast<int>(s), d.set_names[s].c_str());
  // Nothing above can fail half-way through the problem itself.
  prob.model = std::move(model);
  prob.name = d.name;
  prob.solve.clear_all();
  prob.model_changed();
}

}  // namespace qnda
