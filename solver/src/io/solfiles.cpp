// Solution and basis files.
//   writesol:    comma-separated, one line per row and column (see
//                docs/solving.md);
//   writeprtsol: a printable report;
//   slx:         "NAME <problem>", then " C <column> <value>" lines, ENDATA;
//   basis:       MPS basis format (XU XL UL LL).
#include "io/solfiles.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "core/error.h"
#include "model/problem.h"

namespace qnda {
namespace {

class File {
 public:
  explicit File(const std::string &path) : path_(path) {
    f_ = std::fopen(path.c_str(), "w");
    if (!f_) fail(QNDA_ERR_FILE, "cannot open %s for writing", path.c_str());
  }
  ~File() {
    if (f_) std::fclose(f_);
  }
  FILE *get() { return f_; }
  void close() {
    bool bad = std::ferror(f_) != 0;
    if (std::fclose(f_) != 0) bad = true;
    f_ = nullptr;
    if (bad) fail(QNDA_ERR_FILE, "error writing %s", path_.c_str());
  }

 private:
  std::string path_;
  FILE *f_ = nullptr;
};

std::string quoted(const std::string &s) {
  std::string out = "\"";
  for (char c : s) {
    if (c == '"') out += '"';
    out += c;
  }
  return out + "\"";
}

const char *status_name(const SolveState &st) {
  if (st.was_mip) {
    static const char *n[] = {"not loaded", "LP not optimal", "LP optimal", "no solution found",
                              "solution",   "infeasible",     "optimal",    "unbounded"};
    return st.mip_status >= 0 && st.mip_status <= 7 ? n[st.mip_status] : "unknown";
  }
  static const char *n[] = {"unstarted", "optimal",        "infeasible", "cutoff",   "unfinished",
                            "unbounded", "cutoff in dual", "unsolved",   "nonconvex"};
  return st.lp_status >= 0 && st.lp_status <= 8 ? n[st.lp_status] : "unknown";
}

void need_solution(const qnda_problem_s &prob) {
  if (!prob.solve.has_solution)
    fail(QNDA_ERR_STATE, "no solution available (optimise the problem first)");
}

}  // namespace

void write_sol(const qnda_problem_s &prob, const std::string &path) {
  need_solution(prob);
  const Model &model = prob.model;
  const SolveState &st = prob.solve;
  File f(path);
  std::fprintf(f.get(), "\"Kind\",\"Index\",\"Name\",\"Value\",\"Slack\",\"Dual\"\n");
  for (int j = 0; j < model.ncols(); ++j)
    std::fprintf(f.get(), "\"C\",%d,%s,%.17g,,%.17g\n", j,
                 quoted(model.name(NAMES_COLS, j)).c_str(), st.x[j],
                 st.has_duals ? st.djs[j] : 0.0);
  const auto &rhs = model.rhs();
  for (int i = 0; i < model.nrows(); ++i)
    std::fprintf(f.get(), "\"R\",%d,%s,%.17g,%.17g,%.17g\n", i,
                 quoted(model.name(NAMES_ROWS, i)).c_str(), rhs[i] - st.slack[i], st.slack[i],
                 st.has_duals ? st.duals[i] : 0.0);
  f.close();
}

void write_prtsol(const qnda_problem_s &prob, const std::string &path) {
  need_solution(prob);
  const Model &model = prob.model;
  const SolveState &st = prob.solve;
  File f(path);
  FILE *o = f.get();
  std::fprintf(o, "Problem:     %s\n", prob.name.c_str());
  std::fprintf(o, "Rows:        %d\nColumns:     %d\n", model.nrows(), model.ncols());
  std::fprintf(o, "Status:      %s\n", status_name(st));
  std::fprintf(o, "Objective:   %.10g (%s)\n\n", st.obj,
               model.obj_sense() < 0 ? "maximise" : "minimise");
  std::fprintf(o, "Rows section\n");
  std::fprintf(o, "%8s %-16s %2s %16s %16s %16s %16s\n", "Number", "Row", "Ty", "Activity", "Slack",
               "RHS", "Dual");
  const auto &type = model.rowtype();
  const auto &rhs = model.rhs();
  for (int i = 0; i < model.nrows(); ++i)
    std::fprintf(o, "%8d %-16s %2c %16.8g %16.8g %16.8g %16.8g\n", i,
                 model.name(NAMES_ROWS, i).c_str(), type[i], rhs[i] - st.slack[i], st.slack[i],
                 rhs[i], st.has_duals ? st.duals[i] : 0.0);
  std::fprintf(o, "\nColumns section\n");
  std::fprintf(o, "%8s %-16s %2s %16s %16s %16s %16s\n", "Number", "Column", "Ty", "Value", "Lower",
               "Upper", "Reduced cost");
  const auto &ct = model.coltype();
  for (int j = 0; j < model.ncols(); ++j)
    std::fprintf(o, "%8d %-16s %2c %16.8g %16.8g %16.8g %16.8g\n", j,
                 model.name(NAMES_COLS, j).c_str(), ct[j], st.x[j], model.lb(j), model.ub(j),
                 st.has_duals ? st.djs[j] : 0.0);
  f.close();
}

void write_slx(const qnda_problem_s &prob, const std::string &path) {
  need_solution(prob);
  const Model &model = prob.model;
  File f(path);
  std::fprintf(f.get(), "NAME %s\n", prob.name.empty() ? "noname" : prob.name.c_str());
  for (int j = 0; j < model.ncols(); ++j)
    std::fprintf(f.get(), "    C      %-20s %.17g\n", model.name(NAMES_COLS, j).c_str(),
                 prob.solve.x[j]);
  std::fprintf(f.get(), "ENDATA\n");
  f.close();
}

void read_slx(qnda_problem_s &prob, const std::string &path, std::vector<double> &x) {
  std::ifstream in(path);
  if (!in) fail(QNDA_ERR_FILE, "cannot open %s for reading", path.c_str());
  const Model &model = prob.model;
  x.assign(model.ncols(), 0.0);
  std::string line;
  int no = 0;
  while (std::getline(in, line)) {
    ++no;
    std::istringstream ss(line);
    std::string code;
    if (!(ss >> code) || code[0] == '*') continue;
    if (code == "NAME") continue;
    if (code == "ENDATA") break;
    if (code != "C")
      fail(QNDA_ERR_FILE, "%s, line %d: unknown entry %s", path.c_str(), no, code.c_str());
    std::string name, val;
    if (!(ss >> name >> val))
      fail(QNDA_ERR_FILE, "%s, line %d: a C line needs a column and a value", path.c_str(), no);
    int j = model.find_name(NAMES_COLS, name.c_str());
    if (j < 0)
      fail(QNDA_ERR_FILE, "%s, line %d: unknown column %s", path.c_str(), no, name.c_str());
    char *end = nullptr;
    double v = std::strtod(val.c_str(), &end);
    if (*end) fail(QNDA_ERR_FILE, "%s, line %d: not a number: %s", path.c_str(), no, val.c_str());
    x[j] = v;
  }
}

void write_basis(const qnda_problem_s &prob, const std::string &path) {
  const SolveState &st = prob.solve;
  const Model &model = prob.model;
  if (static_cast<int>(st.colstat.size()) != model.ncols() ||
      static_cast<int>(st.rowstat.size()) != model.nrows())
    fail(QNDA_ERR_STATE, "no basis available (solve the LP with a simplex method first)");
  File f(path);
  std::fprintf(f.get(), "NAME          %s\n", prob.name.empty() ? "noname" : prob.name.c_str());
  // Basic columns pair up with nonbasic rows.
  std::vector<int> nonbasic_rows;
  for (int i = 0; i < model.nrows(); ++i)
    if (st.rowstat[i] != QNDA_BASIC) nonbasic_rows.push_back(i);
  size_t next = 0;
  for (int j = 0; j < model.ncols(); ++j) {
    const std::string cn = model.name(NAMES_COLS, j);
    if (st.colstat[j] == QNDA_BASIC) {
      if (next >= nonbasic_rows.size())
        fail(QNDA_ERR_STATE, "the basis has more basic columns than nonbasic rows");
      int i = nonbasic_rows[next++];
      std::fprintf(f.get(), " %s %-20s %s\n", st.rowstat[i] == QNDA_AT_UPPER ? "XU" : "XL",
                   cn.c_str(), model.name(NAMES_ROWS, i).c_str());
    } else if (st.colstat[j] == QNDA_AT_UPPER) {
      std::fprintf(f.get(), " UL %s\n", cn.c_str());
    }
  }
  std::fprintf(f.get(), "ENDATA\n");
  f.close();
}

void read_basis(qnda_problem_s &prob, const std::string &path, std::vector<int> &rowstat,
                std::vector<int> &colstat) {
  std::ifstream in(path);
  if (!in) fail(QNDA_ERR_FILE, "cannot open %s for reading", path.c_str());
  const Model &model = prob.model;
  colstat.assign(model.ncols(), QNDA_AT_LOWER);
  rowstat.assign(model.nrows(), QNDA_BASIC);
  std::string line;
  int no = 0;
  while (std::getline(in, line)) {
    ++no;
    if (line.empty() || line[0] == '*') continue;
    std::istringstream ss(line);
    std::string code, cname, rname;
    if (!(ss >> code)) continue;
    if (code == "NAME") continue;
    if (code == "ENDATA") break;
    if (!(ss >> cname))
      fail(QNDA_ERR_FILE, "%s, line %d: a basis entry needs a column", path.c_str(), no);
    int j = model.find_name(NAMES_COLS, cname.c_str());
    if (j < 0)
      fail(QNDA_ERR_FILE, "%s, line %d: unknown column %s", path.c_str(), no, cname.c_str());
    if (code == "XU" || code == "XL") {
      if (!(ss >> rname))
        fail(QNDA_ERR_FILE, "%s, line %d: %s needs a row", path.c_str(), no, code.c_str());
      int i = model.find_name(NAMES_ROWS, rname.c_str());
      if (i < 0)
        fail(QNDA_ERR_FILE, "%s, line %d: unknown row %s", path.c_str(), no, rname.c_str());
      colstat[j] = QNDA_BASIC;
      rowstat[i] = code == "XU" ? QNDA_AT_UPPER : QNDA_AT_LOWER;
    } else if (code == "UL") {
      colstat[j] = QNDA_AT_UPPER;
    } else if (code == "LL") {
      colstat[j] = QNDA_AT_LOWER;
    } else {
      fail(QNDA_ERR_FILE, "%s, line %d: unknown basis entry %s", path.c_str(), no, code.c_str());
    }
  }
}

}  // namespace qnda
