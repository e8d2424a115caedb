// MPS writer: everything the model store holds (names, bounds, column types
// with thresholds, quadratic objective and rows, sets, indicators) in a form
// read_mps reads back unchanged.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "core/error.h"
#include "io/modeldata.h"
#include "model/model.h"

namespace qnda {
namespace {

// Shortest text that reads back to the same double.
std::string fmt(double v) {
  if (v >= QNDA_INFINITY) return "1e+30";
  if (v <= -QNDA_INFINITY) return "-1e+30";
  char buf[40];
  for (int prec = 12; prec <= 17; ++prec) {
    std::snprintf(buf, sizeof buf, "%.*g", prec, v);
    if (std::strtod(buf, nullptr) == v) break;
  }
  return buf;
}

class Out {
 public:
  Out(const std::string &path, bool fixed) : path_(path), fixed_(fixed) {
    f_ = std::fopen(path.c_str(), "w");
    if (!f_) fail(QNDA_ERR_FILE, "cannot open %s for writing", path.c_str());
  }
  ~Out() {
    if (f_) std::fclose(f_);
  }
  void close() {
    bool bad = std::ferror(f_) != 0;
    if (std::fclose(f_) != 0) bad = true;
    f_ = nullptr;
    if (bad) fail(QNDA_ERR_FILE, "error writing %s", path_.c_str());
  }
  void header(const char *s) { std::fprintf(f_, "%s\n", s); }
  void header(const char *s, const std::string &arg) {
    std::fprintf(f_, fixed_ ? "%-14s%s\n" : "%s %s\n", s, arg.c_str());
  }
  // A data line: code (may be empty) then up to 5 fields.
  void line(const char *code, const std::vector<std::string> &fields) {
    if (fixed_) {
      // Columns 2-3, 5-12, 15-22, 25-36, 40-47, 50-61.
      static const int width[] = {8, 8, 12, 8, 12};
      static const int gap[] = {2, 2, 3, 2, 0};
      std::string s = " ";
      s += code;
      s.resize(4, ' ');
      for (size_t k = 0; k < fields.size(); ++k) {
        std::string f = fields[k];
        s += f;
        if (k + 1 < fields.size()) {
          int pad = static_cast<int>(width[k]) - static_cast<int>(f.size());
          s.append(pad > 0 ? pad : 1, ' ');
          s.append(gap[k], ' ');
        }
      }
      std::fprintf(f_, "%s\n", s.c_str());
    } else {
      std::string s = " ";
      s += code;
      if (*code) s += ' ';
      for (const auto &f : fields) {
        s += ' ';
        s += f;
      }
      std::fprintf(f_, "%s\n", s.c_str());
    }
  }

 private:
  std::string path_;
  bool fixed_;
  FILE *f_ = nullptr;
};

void check_name(const std::string &n, const char *kind, bool fixed) {
  if (n.empty()) fail(QNDA_ERR_FILE, "cannot write an empty %s name in MPS", kind);
  if (!fixed && n.find_first_of(" \t") != std::string::npos)
    fail(QNDA_ERR_FILE, "the %s name \"%s\" holds a space: write fixed MPS (flag 'o')", kind,
         n.c_str());
}

}  // namespace

void write_mps(const std::string &path, const std::string &probname, const Model &model, bool fixed,
               const std::vector<std::string> *extra) {
  const int n = model.ncols(), m = model.nrows();
  std::vector<std::string> rn(m), cn(n);
  for (int i = 0; i < m; ++i) {
    rn[i] = model.name(NAMES_ROWS, i);
    check_name(rn[i], "row", fixed);
  }
  for (int j = 0; j < n; ++j) {
    cn[j] = model.name(NAMES_COLS, j);
    check_name(cn[j], "column", fixed);
  }
  std::string objname = "__OBJ___";
  while (model.find_name(NAMES_ROWS, objname.c_str()) >= 0) objname += "_";

  Out out(path, fixed);
  out.header("NAME", probname.empty() ? std::string("noname") : probname);
  if (model.obj_sense() < 0) {
    out.header("OBJSENSE");
    out.header("    MAX");
  }
  out.header("ROWS");
  out.line("N", {objname});
  const auto &type = model.rowtype();
  for (int i = 0; i < m; ++i) {
    char t[2] = {type[i] == 'R' ? 'L' : type[i], 0};
    out.line(t, {rn[i]});
  }

  out.header("COLUMNS");
  SparseMatrix::Csc a = model.csc();
  const auto &ct = model.coltype();
  const auto &obj = model.obj();
  bool in_int = false;
  int marker = 0;
  for (int j = 0; j < n; ++j) {
    const bool integer = ct[j] == 'I' || ct[j] == 'R';
    if (integer != in_int) {
      char mk[32];
      std::snprintf(mk, sizeof mk, "MARKER%04d", marker++);
      out.line("", {mk, "'MARKER'", integer ? "'INTORG'" : "'INTEND'"});
      in_int = integer;
    }
    bool any = false;
    if (obj[j] != 0.0) {
      out.line("", {cn[j], objname, fmt(obj[j])});
      any = true;
    }
    for (QNDAint64 k = a.start[j]; k < a.start[j + 1]; ++k) {
      out.line("", {cn[j], rn[a.index[k]], fmt(a.value[k])});
      any = true;
    }
    // A column must appear to exist.
    if (!any) out.line("", {cn[j], objname, "0"});
  }
  if (in_int) {
    char mk[32];
    std::snprintf(mk, sizeof mk, "MARKER%04d", marker++);
    out.line("", {mk, "'MARKER'", "'INTEND'"});
  }

  out.header("RHS");
  const auto &rhs = model.rhs();
  if (model.obj_constant() != 0.0) out.line("", {"RHS", objname, fmt(-model.obj_constant())});
  for (int i = 0; i < m; ++i)
    if (rhs[i] != 0.0) out.line("", {"RHS", rn[i], fmt(rhs[i])});

  bool ranges = false;
  for (int i = 0; i < m; ++i)
    if (type[i] == 'R') {
      if (!ranges) out.header("RANGES");
      ranges = true;
      out.line("", {"RNG", rn[i], fmt(model.range(i))});
    }

  out.header("BOUNDS");
  for (int j = 0; j < n; ++j) {
    const double l = model.lb(j), u = model.ub(j);
    const bool linf = is_inf(l) && l < 0, uinf = is_inf(u) && u > 0;
    if (ct[j] == 'B') {
      out.line("BV", {"BND", cn[j]});
      if (l > 0) out.line("LO", {"BND", cn[j], fmt(l)});
      if (u < 1) out.line("UP", {"BND", cn[j], fmt(u)});
      continue;
    }
    if (ct[j] == 'S' || ct[j] == 'R') {
      // Threshold as the lower bound, then the upper bound as SC.
      if (model.limit(j) != 0.0) out.line("LO", {"BND", cn[j], fmt(model.limit(j))});
      out.line("SC", {"BND", cn[j], uinf ? "1e+30" : fmt(u)});
      continue;
    }
    if (ct[j] == 'P') out.line("PI", {"BND", cn[j], fmt(model.limit(j))});
    if (linf && uinf) {
      out.line("FR", {"BND", cn[j]});
    } else if (!linf && !uinf && l == u) {
      out.line("FX", {"BND", cn[j], fmt(l)});
    } else {
      if (linf)
        out.line("MI", {"BND", cn[j]});
      else if (l != 0.0 || (u < 0 && !uinf))
        out.line("LO", {"BND", cn[j], fmt(l)});
      if (!uinf)
        out.line("UP", {"BND", cn[j], fmt(u)});
      else if (ct[j] == 'I')
        out.line("PL", {"BND", cn[j]});
    }
  }

  // Objective: upper triangle, 0.5 x'Qx (a monomial v x_i^2 is Q_ii = 2v).
  if (!model.qobj().empty()) {
    out.header("QUADOBJ");
    for (const auto &t : model.qobj().terms())
      out.line("", {cn[t.i], cn[t.j], fmt(t.i == t.j ? 2.0 * t.v : t.v)});
  }
  // Rows: x'Qx with both triangles listed (v x_i x_j is Q_ij = Q_ji = v/2).
  for (int r : model.qrow_list()) {
    out.header("QCMATRIX", rn[r]);
    for (const auto &t : model.qrows().at(r).terms()) {
      if (t.i == t.j) {
        out.line("", {cn[t.i], cn[t.j], fmt(t.v)});
      } else {
        out.line("", {cn[t.i], cn[t.j], fmt(0.5 * t.v)});
        out.line("", {cn[t.j], cn[t.i], fmt(0.5 * t.v)});
      }
    }
  }

  if (model.nsets() > 0) {
    out.header("SOS");
    const auto &st = model.settype();
    const auto &ss = model.setstart();
    const auto &sc = model.setcol();
    const auto &sr = model.setref();
    for (int s = 0; s < model.nsets(); ++s) {
      std::string sname = model.name(NAMES_SETS, s);
      check_name(sname, "set", fixed);
      out.line(st[s] == '2' ? "S2" : "S1", {"SOS", sname});
      for (QNDAint64 k = ss[s]; k < ss[s + 1]; ++k) out.line("", {cn[sc[k]], fmt(sr[k])});
    }
  }

  if (model.indicator_count() > 0) {
    out.header("INDICATORS");
    for (int i = 0; i < m; ++i) {
      int c = model.indicator_col(i);
      if (c >= 0) out.line("IF", {rn[i], cn[c], model.indicator_comp(i) > 0 ? "1" : "0"});
    }
  }
  if (extra)
    for (const std::string &l : *extra) out.header(l.c_str());
  out.header("ENDATA");
  out.close();
}

}  // namespace qnda
