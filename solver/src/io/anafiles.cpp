// Branching directives as text, and the solution as a binary file.
//
// Directives: '#' comments, then one line per column
//   <priority> <U|D|N> <up pseudo cost> <down pseudo cost> <column name>
// (the name last, so that it may hold spaces).
//
// Binary solution, little-endian as written by this library:
//   bytes 0-7   "QNDABSOL"
//   8-11        format version (1), uint32
//   12-15       0x01020304, uint32: a file of another byte order fails
//   16-23       rows, columns, int32 each
//   24-35       LP status, MIP status, flags (1 solution, 2 duals, 4 MIP), int32
//   36-39       0
//   40-47       objective, double
//   then doubles: values [columns], slacks [rows], duals [rows],
//   reduced costs [columns] (zeros when the solution has no duals).
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "core/error.h"
#include "io/solfiles.h"
#include "model/problem.h"

namespace qnda {
namespace {

constexpr char kMagic[8] = {'Q', 'N', 'D', 'A', 'B', 'S', 'O', 'L'};
constexpr std::uint32_t kVersion = 1, kOrder = 0x01020304u;

struct BinHeader {
  char magic[8];
  std::uint32_t version, order;
  std::int32_t rows, cols, lp_status, mip_status, flags, reserved;
  double objective;
};
static_assert(sizeof(BinHeader) == 48, "the header is 48 bytes");

enum : std::int32_t { BIN_SOLUTION = 1, BIN_DUALS = 2, BIN_MIP = 4 };

void write_all(std::ofstream &out, const std::string &path, const void *p, size_t n) {
  out.write(static_cast<const char *>(p), static_cast<std::streamsize>(n));
  if (!out) fail(QNDA_ERR_FILE, "error writing %s", path.c_str());
}

void write_doubles(std::ofstream &out, const std::string &path, const std::vector<double> &v,
                   size_t n) {
  std::vector<double> w(v);
  w.resize(n, 0.0);
  if (n) write_all(out, path, w.data(), n * sizeof(double));
}

}  // namespace

void write_dirs(const qnda_problem_s &prob, const std::string &path) {
  const Model &m = prob.model;
  std::ofstream out(path);
  if (!out) fail(QNDA_ERR_FILE, "cannot open %s for writing", path.c_str());
  out << "# branching directives: priority direction up-pseudo-cost down-pseudo-cost column\n";
  char line[128];
  for (int j : m.directive_cols()) {
    const Model::Directive &d = m.directive(j);
    std::snprintf(line, sizeof line, "%d %c %.17g %.17g ", d.priority, d.dir, d.up, d.down);
    out << line << m.name(NAMES_COLS, j) << '\n';
  }
  out.close();
  if (!out) fail(QNDA_ERR_FILE, "error writing %s", path.c_str());
}

void read_dirs(const qnda_problem_s &prob, const std::string &path, std::vector<int> &cols,
               std::vector<Model::Directive> &dirs) {
  std::ifstream in(path);
  if (!in) fail(QNDA_ERR_FILE, "cannot open %s for reading", path.c_str());
  const Model &m = prob.model;
  std::string text;
  for (int lineno = 1; std::getline(in, text); ++lineno) {
    if (!text.empty() && text.back() == '\r') text.pop_back();
    const size_t first = text.find_first_not_of(" \t");
    if (first == std::string::npos || text[first] == '#') continue;
    std::istringstream ls(text);
    Model::Directive d{};
    std::string dir;
    if (!(ls >> d.priority >> dir >> d.up >> d.down) || dir.size() != 1 ||
        std::string("UDN").find(dir[0]) == std::string::npos || d.priority < 0)
      fail(QNDA_ERR_FILE,
           "%s:%d: expected \"<priority> <U|D|N> <up> <down> <column>\" with a priority of 0 or "
           "more",
           path.c_str(), lineno);
    d.dir = dir[0];
    std::string name;
    std::getline(ls >> std::ws, name);
    name.erase(name.find_last_not_of(" \t") + 1);
    const int j = m.find_name(NAMES_COLS, name.c_str());
    if (j < 0)
      fail(QNDA_ERR_FILE, "%s:%d: no column named \"%s\"", path.c_str(), lineno, name.c_str());
    cols.push_back(j);
    dirs.push_back(d);
  }
}

void write_binsol(const qnda_problem_s &prob, const std::string &path) {
  const SolveState &st = prob.solve;
  if (!st.has_solution) fail(QNDA_ERR_STATE, "no solution available (optimise the problem first)");
  const size_t m = static_cast<size_t>(prob.model.nrows()),
               n = static_cast<size_t>(prob.model.ncols());
  BinHeader h{};
  std::memcpy(h.magic, kMagic, sizeof kMagic);
  h.version = kVersion;
  h.order = kOrder;
  h.rows = static_cast<std::int32_t>(m);
  h.cols = static_cast<std::int32_t>(n);
  h.lp_status = st.lp_status;
  h.mip_status = st.mip_status;
  h.flags = BIN_SOLUTION | (st.has_duals ? BIN_DUALS : 0) | (st.was_mip ? BIN_MIP : 0);
  h.objective = st.obj;
  std::ofstream out(path, std::ios::binary);
  if (!out) fail(QNDA_ERR_FILE, "cannot open %s for writing", path.c_str());
  write_all(out, path, &h, sizeof h);
  write_doubles(out, path, st.x, n);
  write_doubles(out, path, st.slack, m);
  write_doubles(out, path, st.has_duals ? st.duals : std::vector<double>(), m);
  write_doubles(out, path, st.has_duals ? st.djs : std::vector<double>(), n);
  out.close();
  if (!out) fail(QNDA_ERR_FILE, "error writing %s", path.c_str());
}

void read_binsol(qnda_problem_s &prob, const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) fail(QNDA_ERR_FILE, "cannot open %s for reading", path.c_str());
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  BinHeader h;
  if (bytes.size() < sizeof h || std::memcmp(bytes.data(), kMagic, sizeof kMagic) != 0)
    fail(QNDA_ERR_FILE, "%s is not a binary solution file", path.c_str());
  std::memcpy(&h, bytes.data(), sizeof h);
  if (h.order != kOrder)
    fail(QNDA_ERR_FILE, "%s was written on a machine of another byte order", path.c_str());
  if (h.version != kVersion)
    fail(QNDA_ERR_FILE, "%s has format version %u; this library reads version %u", path.c_str(),
         h.version, kVersion);
  const Model &model = prob.model;
  if (h.rows != model.nrows() || h.cols != model.ncols())
    fail(QNDA_ERR_FILE, "%s holds a solution of %d rows and %d columns; the problem has %d and %d",
         path.c_str(), h.rows, h.cols, model.nrows(), model.ncols());
  const size_t m = static_cast<size_t>(h.rows), n = static_cast<size_t>(h.cols);
  const size_t want = sizeof h + 2 * (m + n) * sizeof(double);
  if (bytes.size() != want)
    fail(QNDA_ERR_FILE, "%s is %s: %zu bytes where %zu were expected", path.c_str(),
         bytes.size() < want ? "truncated" : "longer than its header says", bytes.size(), want);
  const double *p = reinterpret_cast<const double *>(bytes.data() + sizeof h);
  std::vector<double> v(2 * (m + n));
  std::memcpy(v.data(), p, v.size() * sizeof(double));
  SolveState &st = prob.solve;
  st.clear_results();
  st.model_changed = false;
  st.lp_status = h.lp_status;
  st.mip_status = h.mip_status;
  st.was_mip = (h.flags & BIN_MIP) != 0;
  st.obj = h.objective;
  (st.was_mip ? st.mip_obj : st.lp_obj) = h.objective;
  st.has_solution = (h.flags & BIN_SOLUTION) != 0;
  st.has_duals = (h.flags & BIN_DUALS) != 0;
  auto it = v.begin();
  st.x.assign(it, it + n);
  st.slack.assign(it + n, it + n + m);
  if (st.has_duals) {
    st.duals.assign(it + n + m, it + n + 2 * m);
    st.djs.assign(it + n + 2 * m, v.end());
  }
  // The solution read is also where the next optimisation starts.
  st.start_x = st.x;
  st.start_duals = st.duals;
  st.start_rowstat.clear();
  st.start_colstat.clear();
  st.mip_start = st.x;
}

}  // namespace qnda
