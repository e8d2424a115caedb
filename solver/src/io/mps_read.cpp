// MPS reader: ROWS, COLUMNS (with integer markers), RHS, RANGES, BOUNDS
// (UP LO FX FR MI PL BV LI UI SC SI and our PI for partially integer
// columns), OBJSENSE, OBJSENSE/OBJSENSE MAX, QUADOBJ/QSECTION (upper
// triangle) and QMATRIX (full) for the objective, QCMATRIX for rows, SOS and
// INDICATORS.
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "core/error.h"
#include "io/modeldata.h"

namespace qnda {
namespace {

enum Section {
  S_NONE,
  S_NAME,
  S_OBJSENSE,
  S_ROWS,
  S_COLUMNS,
  S_RHS,
  S_RANGES,
  S_BOUNDS,
  S_QUADOBJ,
  S_QMATRIX,
  S_QCMATRIX,
  S_SOS,
  S_INDICATORS,
  S_NONLINEAR,
  S_SKIP
};

struct Reader {
  std::string path;
  int line_no = 0;
  bool keep_nrows;
  ModelData &d;

  std::string obj_name;
  std::unordered_map<std::string, int> rows;  // -1: the objective, -2: dropped N row
  std::unordered_map<std::string, int> cols;
  std::vector<std::vector<std::pair<int, double>>> colents;
  std::vector<double> raw_range;
  std::vector<char> has_range;
  std::vector<char> lb_set;
  std::vector<char> is_sc;  // SC/SI seen: ub is the bound value
  bool integer_block = false;
  int qc_row = -1;
  int cur_set = -1;

  Reader(const std::string &p, bool keep, ModelData &out) : path(p), keep_nrows(keep), d(out) {}

  [[noreturn]] void bad(const char *what, const std::string &detail = "") {
    fail(QNDA_ERR_FILE, "%s, line %d: %s%s%s", path.c_str(), line_no, what,
         detail.empty() ? "" : ": ", detail.c_str());
  }

  // A value; NaN is refused, 1e30 and beyond (or "inf") mean infinity.
  double num(const std::string &s) {
    char *end = nullptr;
    errno = 0;
    double v = std::strtod(s.c_str(), &end);
    if (end == s.c_str() || *end != '\0' || std::isnan(v)) bad("not a number", s);
    if (v >= 1e30) v = QNDA_INFINITY;
    if (v <= -1e30) v = -QNDA_INFINITY;
    return v;
  }

  // A coefficient: a finite value.
  double coef(const std::string &s) {
    double v = num(s);
    if (v >= QNDA_INFINITY || v <= -QNDA_INFINITY) bad("a coefficient cannot be infinite", s);
    return v;
  }

  // Each (row, column) entry of the matrix and the objective once: a
  // repeated entry is refused rather than summed or overwritten.
  std::unordered_set<unsigned long long> seen;
  void once(int row, int col, const std::string &rowname) {
    unsigned long long key =
        (static_cast<unsigned long long>(col) << 32) | static_cast<unsigned int>(row + 2);
    if (!seen.insert(key).second) bad("repeated entry of the column in row", rowname);
  }

  int sense(const std::string &word) {
    std::string v = word;
    for (auto &c : v) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    if (v == "MAX" || v == "MAXIMIZE" || v == "MAXIMISE") return -1;
    if (v == "MIN" || v == "MINIMIZE" || v == "MINIMISE") return 1;
    bad("unknown objective sense (MIN or MAX)", word);
  }

  int row_of(const std::string &name) {
    auto it = rows.find(name);
    if (it == rows.end()) bad("unknown row", name);
    return it->second;
  }

  int col_of(const std::string &name) {
    auto it = cols.find(name);
    if (it == cols.end()) bad("unknown column", name);
    return it->second;
  }

  int new_col(const std::string &name) {
    if (!valid_utf8(name)) bad("a column name that is not UTF-8");
    int j = d.ncols();
    cols.emplace(name, j);
    d.col_names.push_back(name);
    d.obj.push_back(0.0);
    d.lb.push_back(0.0);
    d.ub.push_back(QNDA_INFINITY);
    d.limit.push_back(0.0);
    d.coltype.push_back(integer_block ? 'I' : 'C');
    colents.emplace_back();
    lb_set.push_back(0);
    is_sc.push_back(0);
    return j;
  }

  void rows_line(const std::vector<std::string> &t) {
    if (t.size() < 2) bad("a row needs a type and a name");
    char type = static_cast<char>(std::toupper(static_cast<unsigned char>(t[0][0])));
    const std::string &name = t[1];
    if (!valid_utf8(name)) bad("a row name that is not UTF-8");
    if (rows.count(name)) bad("duplicate row", name);
    if (type == 'N') {
      if (obj_name.empty()) {
        obj_name = name;
        rows.emplace(name, -1);
        return;
      }
      if (!keep_nrows) {
        rows.emplace(name, -2);
        return;
      }
    } else if (type != 'L' && type != 'G' && type != 'E') {
      bad("unknown row type", t[0]);
    }
    rows.emplace(name, d.nrows());
    d.row_names.push_back(name);
    d.rowtype.push_back(type);
    d.rhs.push_back(0.0);
    d.range.push_back(0.0);
    raw_range.push_back(0.0);
    has_range.push_back(0);
  }

  void columns_line(const std::vector<std::string> &t) {
    if (t.size() >= 3 && t[1] == "'MARKER'") {
      if (t[2] == "'INTORG'")
        integer_block = true;
      else if (t[2] == "'INTEND'")
        integer_block = false;
      else
        bad("unknown marker", t[2]);
      return;
    }
    if (t.size() != 3 && t.size() != 5) bad("a COLUMNS line needs a column and 1 or 2 entries");
    auto it = cols.find(t[0]);
    int j = it == cols.end() ? new_col(t[0]) : it->second;
    for (size_t k = 1; k + 1 < t.size(); k += 2) {
      int r = row_of(t[k]);
      double v = coef(t[k + 1]);
      if (r != -2) once(r, j, t[k]);
      if (r == -1)
        d.obj[j] += v;
      else if (r >= 0 && v != 0.0)
        colents[j].push_back({r, v});
    }
  }

  // RHS and RANGES lines: an optional set name, then pairs.
  void pairs_line(const std::vector<std::string> &t, bool ranges) {
    size_t k = t.size() % 2 == 1 ? 1 : 0;
    if (t.size() < 2) bad("a line needs a row and a value");
    for (; k + 1 < t.size(); k += 2) {
      int r = row_of(t[k]);
      double v = num(t[k + 1]);
      if (r == -1) {
        if (ranges) bad("the objective row cannot have a range", t[k]);
        if (v >= QNDA_INFINITY || v <= -QNDA_INFINITY)
          bad("the objective constant cannot be infinite", t[k + 1]);
        d.obj_constant = -v;
      } else if (r >= 0) {
        if (ranges) {
          raw_range[r] = v;
          has_range[r] = 1;
        } else {
          d.rhs[r] = v;
        }
      }
    }
  }

  void bounds_line(const std::vector<std::string> &t) {
    if (t.size() < 2) bad("a bound needs a type and a column");
    std::string type = t[0];
    for (auto &c : type) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    const bool valued = type != "FR" && type != "MI" && type != "PL" && type != "BV";
    // Bound set name present or not.
    size_t ci;
    if (valued)
      ci = t.size() >= 4 ? 2 : 1;
    else
      ci = t.size() >= 3 && cols.count(t[2]) ? 2 : 1;
    if (ci >= t.size()) bad("a bound needs a column");
    int j = col_of(t[ci]);
    double v = 0.0;
    if (valued) {
      if (ci + 1 >= t.size()) {
        if (type == "SC" || type == "SI")
          v = QNDA_INFINITY;
        else
          bad("the bound needs a value", t[ci]);
      } else {
        v = num(t[ci + 1]);
      }
    }
    if (type == "UP") {
      d.ub[j] = v;
      if (v < 0 && d.lb[j] == 0.0 && !lb_set[j]) d.lb[j] = -QNDA_INFINITY;
    } else if (type == "LO") {
      d.lb[j] = v;
      lb_set[j] = 1;
    } else if (type == "FX") {
      d.lb[j] = d.ub[j] = v;
      lb_set[j] = 1;
    } else if (type == "FR") {
      d.lb[j] = -QNDA_INFINITY;
      d.ub[j] = QNDA_INFINITY;
      lb_set[j] = 1;
    } else if (type == "MI") {
      d.lb[j] = -QNDA_INFINITY;
      lb_set[j] = 1;
    } else if (type == "PL") {
      d.ub[j] = QNDA_INFINITY;
    } else if (type == "BV") {
      d.coltype[j] = 'B';
      d.lb[j] = 0.0;
      d.ub[j] = 1.0;
    } else if (type == "LI" || type == "UI") {
      if (d.coltype[j] == 'C') d.coltype[j] = 'I';
      if (type == "LI") {
        d.lb[j] = v;
        lb_set[j] = 1;
      } else {
        d.ub[j] = v;
        if (v < 0 && d.lb[j] == 0.0 && !lb_set[j]) d.lb[j] = -QNDA_INFINITY;
      }
    } else if (type == "SC" || type == "SI") {
      // The value is the upper bound (0 or none: unbounded); the lower
      // bound, given by LO, is the threshold.
      d.coltype[j] = type == "SI" || d.coltype[j] == 'I' ? 'R' : 'S';
      d.ub[j] = v == 0.0 ? QNDA_INFINITY : v;
      is_sc[j] = 1;
    } else if (type == "PI") {
      d.coltype[j] = 'P';
      d.limit[j] = v;
    } else {
      bad("unknown bound type", t[0]);
    }
  }

  // Objective quadratic: upper: QUADOBJ/QSECTION (each pair once), else
  // QMATRIX (both triangles); both in the 0.5 x'Qx convention.
  void quad_line(const std::vector<std::string> &t, bool upper) {
    if (t.size() < 3) bad("a quadratic entry needs two columns and a value");
    int i = col_of(t[0]), j = col_of(t[1]);
    double v = coef(t[2]);
    if (i == j)
      d.qobj.push_back({i, i, 0.5 * v});
    else
      d.qobj.push_back({std::min(i, j), std::max(i, j), upper ? v : 0.5 * v});
  }

  // QCMATRIX: x'Qx of one row, both triangles.
  void qc_line(const std::vector<std::string> &t) {
    if (t.size() < 3) bad("a quadratic entry needs two columns and a value");
    int i = col_of(t[0]), j = col_of(t[1]);
    double v = coef(t[2]);
    d.qrows.push_back({qc_row, std::min(i, j), std::max(i, j), v});
  }

  void sos_line(const std::vector<std::string> &t) {
    std::string head = t[0];
    if ((head == "S1" || head == "S2") && t.size() >= 2) {
      // " S1 SOS name [priority]" or " S1 name".
      size_t ni = t.size() >= 3 && t[1] == "SOS" ? 2 : 1;
      d.settype.push_back(head[1]);
      d.set_names.push_back(ni < t.size() ? t[ni] : "");
      if (!valid_utf8(d.set_names.back())) bad("a set name that is not UTF-8");
      d.setstart.push_back(static_cast<QNDAint64>(d.setcol.size()));
      cur_set = static_cast<int>(d.settype.size()) - 1;
      return;
    }
    if (cur_set < 0) bad("a set member before any set");
    // "col weight" or "set col weight" or "col:weight".
    std::string col, w;
    if (t.size() == 1) {
      size_t c = t[0].rfind(':');
      if (c == std::string::npos) bad("a set member needs a weight", t[0]);
      col = t[0].substr(0, c);
      w = t[0].substr(c + 1);
    } else {
      col = t[t.size() - 2];
      w = t[t.size() - 1];
    }
    d.setcol.push_back(col_of(col));
    d.setref.push_back(coef(w));
    d.setstart.back() = static_cast<QNDAint64>(d.setcol.size());
  }

  void indicator_line(const std::vector<std::string> &t) {
    if (t.size() < 4 || t[0] != "IF") bad("an indicator reads IF row column value");
    int r = row_of(t[1]);
    if (r < 0) bad("an indicator needs a constraint row", t[1]);
    int c = col_of(t[2]);
    double v = num(t[3]);
    if (v != 0.0 && v != 1.0) bad("an indicator value is 0 or 1", t[3]);
    d.indicators.push_back({r, c, v == 1.0 ? 1 : -1});
  }

  void finish() {
    // Matrix.
    const int n = d.ncols();
    d.start.assign(n + 1, 0);
    for (int j = 0; j < n; ++j)
      d.start[j + 1] = d.start[j] + static_cast<QNDAint64>(colents[j].size());
    d.rowind.reserve(d.start[n]);
    d.value.reserve(d.start[n]);
    for (int j = 0; j < n; ++j)
      for (auto &e : colents[j]) {
        d.rowind.push_back(e.first);
        d.value.push_back(e.second);
      }
    // Ranges: L [rhs - |R|, rhs], G [rhs, rhs + |R|], E by the sign of R.
    for (int i = 0; i < d.nrows(); ++i) {
      if (!has_range[i]) continue;
      const double R = raw_range[i];
      switch (d.rowtype[i]) {
        case 'L':
          d.range[i] = std::fabs(R);
          break;
        case 'G':
          d.rhs[i] += std::fabs(R);
          d.range[i] = std::fabs(R);
          break;
        case 'E':
          if (R > 0) d.rhs[i] += R;
          d.range[i] = std::fabs(R);
          break;
        default:
          continue;
      }
      d.rowtype[i] = 'R';
    }
    // Semi-continuous columns: the lower bound is the threshold.
    for (int j = 0; j < n; ++j)
      if (is_sc[j]) {
        d.limit[j] = d.lb[j] > 0 ? d.lb[j] : 0.0;
        d.lb[j] = 0.0;
      }
  }
};

std::vector<std::string> split(const std::string &s) {
  std::vector<std::string> out;
  size_t i = 0, n = s.size();
  while (i < n) {
    while (i < n && (s[i] == ' ' || s[i] == '\t' || s[i] == '\r')) ++i;
    if (i >= n) break;
    size_t j = i;
    while (j < n && s[j] != ' ' && s[j] != '\t' && s[j] != '\r') ++j;
    out.emplace_back(s, i, j - i);
    i = j;
  }
  return out;
}

// Fixed format: a code in columns 2-3 and fields in columns 5-12, 15-22,
// 25-36, 40-47 and 50-61 (names may hold spaces there); the empty ones are
// left out.
std::vector<std::string> fixed_fields(const std::string &s) {
  static const size_t from[] = {1, 4, 14, 24, 39, 49};
  static const size_t to[] = {3, 12, 22, 36, 47, 61};
  std::vector<std::string> out;
  for (int f = 0; f < 6; ++f) {
    if (from[f] >= s.size()) break;
    // The last field runs to the end of the line (long numbers).
    std::string v = s.substr(from[f], f == 5 ? std::string::npos : to[f] - from[f]);
    size_t b = v.find_first_not_of(" \t\r"), e = v.find_last_not_of(" \t\r");
    if (b != std::string::npos) out.push_back(v.substr(b, e - b + 1));
  }
  return out;
}

std::string upper(std::string s) {
  for (auto &c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return s;
}

// The sections whose header line carries nothing more; S_NONE for others.
Section section_named(const std::string &h) {
  static const struct {
    const char *name;
    Section sec;
  } kPlain[] = {
      {"OBJSENCE", S_OBJSENSE},     {"ROWS", S_ROWS},
      {"COLUMNS", S_COLUMNS},       {"RHS", S_RHS},
      {"RANGES", S_RANGES},         {"BOUNDS", S_BOUNDS},
      {"QUADOBJ", S_QUADOBJ},       {"QSECTION", S_QUADOBJ},
      {"QMATRIX", S_QMATRIX},       {"SOS", S_SOS},
      {"INDICATORS", S_INDICATORS}, {"OBJNAME", S_SKIP},
      {"NLCOEFS", S_NONLINEAR},     {"USERFUNCS", S_NONLINEAR},
  };
  for (const auto &p : kPlain)
    if (h == p.name) return p.sec;
  return S_NONE;
}

}  // namespace

void read_mps(const std::string &path, bool keep_nrows, bool fixed, ModelData &d) {
  std::ifstream in(path);
  if (!in) fail(QNDA_ERR_FILE, "cannot open %s for reading", path.c_str());
  d = ModelData();
  Reader rd(path, keep_nrows, d);
  Section sec = S_NONE;
  std::string line, section;
  bool ended = false;
  while (std::getline(in, line)) {
    ++rd.line_no;
    if (line.empty() || line[0] == '*') continue;
    std::vector<std::string> t = split(line);
    if (t.empty()) continue;
    const bool header = line[0] != ' ' && line[0] != '\t';
    if (fixed && !header) t = fixed_fields(line);
    if (header) {
      // A section header.
      std::string h = upper(t[0]);
      if (h == "NAME") {
        d.name = t.size() > 1 ? line.substr(line.find(t[1])) : "";
        while (!d.name.empty() && (d.name.back() == ' ' || d.name.back() == '\r'))
          d.name.pop_back();
        if (!valid_utf8(d.name)) rd.bad("a problem name that is not UTF-8");
        sec = S_NAME;
      } else if (h == "OBJSENSE") {
        sec = S_OBJSENSE;
        if (t.size() > 1) d.sense = rd.sense(t[1]);
      } else if (h == "QCMATRIX") {
        if (t.size() < 2) rd.bad("QCMATRIX needs a row name");
        rd.qc_row = rd.row_of(t[1]);
        if (rd.qc_row < 0) rd.bad("QCMATRIX needs a constraint row", t[1]);
        sec = S_QCMATRIX;
      } else if (h == "ENDATA") {
        ended = true;
        break;
      } else {
        sec = section_named(h);
        if (sec == S_NONE) rd.bad("unknown section", t[0]);
        section = h;
      }
      continue;
    }
    switch (sec) {
      case S_OBJSENSE:
        d.sense = rd.sense(t[0]);
        break;
      case S_ROWS:
        rd.rows_line(t);
        break;
      case S_COLUMNS:
        rd.columns_line(t);
        break;
      case S_RHS:
        rd.pairs_line(t, false);
        break;
      case S_RANGES:
        rd.pairs_line(t, true);
        break;
      case S_BOUNDS:
        rd.bounds_line(t);
        break;
      case S_QUADOBJ:
        rd.quad_line(t, true);
        break;
      case S_QMATRIX:
        rd.quad_line(t, false);
        break;
      case S_QCMATRIX:
        rd.qc_line(t);
        break;
      case S_SOS:
        rd.sos_line(t);
        break;
      case S_INDICATORS:
        rd.indicator_line(t);
        break;
      case S_NONLINEAR:
        d.nonlinear.emplace_back(section, line);
        break;
      case S_SKIP:
        break;
      default:
        rd.bad("data outside a section");
    }
  }
  if (in.bad()) fail(QNDA_ERR_FILE, "error reading %s", path.c_str());
  if (!ended && rd.line_no == 0) fail(QNDA_ERR_FILE, "%s is empty", path.c_str());
  rd.finish();
}

}  // namespace qnda
