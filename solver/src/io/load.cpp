#include "model/problem.h"
#include "io/modeldata.h"

namespace qnda {

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
