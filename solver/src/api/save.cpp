// QNDAsave and QNDArestore: the whole problem in one file, <name>.svf:
// its controls, its model (as MPS), its basis and its solution, each part
// written and read by the library's own writers and readers through a
// scratch file beside it.  A restored problem starts from the saved basis,
// so it solves warm.
//
//   QNDA save 1
//   control <id> <type> <value>        (one per control; strings length-prefixed)
//   part <name> <bytes>\n<bytes of the part>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "api/guard.h"
#include "controls/catable.h"
#include "io/modeldata.h"
#include "io/solfiles.h"

using namespace qnda;

namespace {

constexpr const char *kMagic = "QNDA save 1";

std::string svf_name(const std::string &probname) {
  return (probname.empty() ? std::string("problem") : probname) + ".svf";
}

std::string slurp(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) fail(QNDA_ERR_FILE, "cannot read %s", path.c_str());
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

void spill(const std::string &path, const std::string &bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << bytes;
  if (!out) fail(QNDA_ERR_FILE, "cannot write %s", path.c_str());
}

// Runs write(scratch) and returns what it wrote; the scratch file goes.
template <class F>
std::string part_of(const std::string &scratch, F &&write) {
  struct Remove {
    const std::string &p;
    ~Remove() { std::remove(p.c_str()); }
  } rm{scratch};
  write(scratch);
  return slurp(scratch);
}

void save(qnda_problem_s &prob) {
  const std::string path = svf_name(prob.name), scratch = path + ".part";
  std::ostringstream out;
  out << kMagic << "\n";
  out.precision(17);
  for (const CaInfo &c : kCaTable) {
    if (c.kind != CA_CONTROL) continue;
    out << "control " << c.id << " " << c.type << " ";
    if (c.type == QNDA_TYPE_STRING) {
      const std::string &v = prob.controls.get_str(c.id);
      out << v.size() << " " << v << "\n";
    } else if (c.type == QNDA_TYPE_DOUBLE) {
      out << prob.controls.get_dbl(c.id) << "\n";
    } else {
      out << prob.controls.get_int64(c.id) << "\n";
    }
  }
  auto put = [&](const char *name, const std::string &bytes) {
    out << "part " << name << " " << bytes.size() << "\n" << bytes;
  };
  put("model",
      part_of(scratch, [&](const std::string &p) { write_mps(p, prob.name, prob.model, false); }));
  if (!prob.solve.rowstat.empty())
    put("basis", part_of(scratch, [&](const std::string &p) { write_basis(prob, p); }));
  if (prob.solve.has_solution)
    put("solution", part_of(scratch, [&](const std::string &p) { write_slx(prob, p); }));
  spill(path, out.str());
}

void restore(qnda_problem_s &prob, const std::string &probname) {
  const std::string path = svf_name(probname), scratch = path + ".part";
  std::istringstream in(slurp(path));
  std::string line;
  if (!std::getline(in, line) || line != kMagic)
    fail(QNDA_ERR_FILE, "%s is not a saved problem", path.c_str());
  Controls controls = prob.controls;
  std::string word;
  bool have_model = false;
  std::vector<int> rowstat, colstat;
  std::vector<double> x;
  while (in >> word) {
    if (word == "control") {
      int id = 0, type = 0;
      in >> id >> type;
      if (type == QNDA_TYPE_STRING) {
        size_t n = 0;
        in >> n;
        in.get();
        std::string v(n, '\0');
        in.read(&v[0], static_cast<std::streamsize>(n));
        controls.set_str(id, v.c_str());
      } else if (type == QNDA_TYPE_DOUBLE) {
        double v = 0;
        in >> v;
        controls.set_dbl(id, v);
      } else {
        long long v = 0;
        in >> v;
        controls.set_int(id, v);
      }
      if (!in) fail(QNDA_ERR_FILE, "%s: bad control %d", path.c_str(), id);
    } else if (word == "part") {
      std::string name;
      size_t n = 0;
      in >> name >> n;
      in.get();
      std::string bytes(n, '\0');
      in.read(&bytes[0], static_cast<std::streamsize>(n));
      if (!in) fail(QNDA_ERR_FILE, "%s: part %s is cut short", path.c_str(), name.c_str());
      part_of(scratch, [&](const std::string &p) {
        spill(p, bytes);
        if (name == "model") {
          ModelData d;
          read_mps(p, true, false, d);
          d.name = probname;
          load_model_data(prob, d);
          have_model = true;
        } else if (name == "basis" && have_model) {
          read_basis(prob, p, rowstat, colstat);
        } else if (name == "solution" && have_model) {
          read_slx(prob, p, x);
        }
      });
    } else {
      fail(QNDA_ERR_FILE, "%s: unknown entry \"%s\"", path.c_str(), word.c_str());
    }
  }
  if (!have_model) fail(QNDA_ERR_FILE, "%s holds no model", path.c_str());
  prob.controls = controls;
  SolveState &st = prob.solve;
  st.start_rowstat.swap(rowstat);
  st.start_colstat.swap(colstat);
  if (!x.empty()) st.mip_start = x;
}

}  // namespace

extern "C" {

int QNDAsave(QNDAprob prob) {
  return guard(prob, "QNDAsave", [&] { save(*prob); });
}

int QNDArestore(QNDAprob prob, const char *probname, const char *flags) {
  return guard(prob, "QNDArestore", [&] {
    if (!probname) fail(QNDA_ERR_ARGUMENT, "probname is NULL");
    if (flags && *flags) fail(QNDA_ERR_ARGUMENT, "no flags are known (got \"%s\")", flags);
    restore(*prob, probname);
  });
}

}  // extern "C"
