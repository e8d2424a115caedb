// Model, solution and basis files.
#include <string>
#include <sys/stat.h>

#include "api/files.h"
#include "api/guard.h"
#include "io/lpfile.h"
#include "io/modeldata.h"
#include "io/solfiles.h"

using namespace qnda;

namespace {

bool has_flag(const char *flags, char c) {
  for (const char *p = flags ? flags : ""; *p; ++p)
    if (*p == c) return true;
  return false;
}

void check_flags(const char *flags, const char *known) {
  for (const char *p = flags ? flags : ""; *p; ++p) {
    bool ok = *p == ' ';
    for (const char *k = known; *k && !ok; ++k) ok = *p == *k;
    if (!ok) fail(QNDA_ERR_ARGUMENT, "unknown flag '%c' in \"%s\" (known: %s)", *p, flags, known);
  }
}

bool ends_with(const std::string &s, const char *suffix) {
  std::string x(suffix);
  return s.size() >= x.size() && s.compare(s.size() - x.size(), x.size(), x) == 0;
}

bool exists(const std::string &p) {
  struct stat sb;
  return ::stat(p.c_str(), &sb) == 0 && S_ISREG(sb.st_mode);
}

// The file name to use: the given one, or the problem's name when empty,
// with ext appended when the name has no extension.
std::string out_name(const qnda_problem_s &prob, const char *filename, const char *ext) {
  std::string f = filename ? filename : "";
  if (f.empty()) f = prob.name.empty() ? "problem" : prob.name;
  size_t slash = f.find_last_of('/');
  size_t dot = f.find_last_of('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) f += ext;
  return f;
}

enum class Format { Mps, Lp };

Format format_of(const std::string &name, const char *flags) {
  if (has_flag(flags, 'l')) return Format::Lp;
  if (has_flag(flags, 'm') || has_flag(flags, 'x')) return Format::Mps;
  if (ends_with(name, ".lp") || ends_with(name, ".lp.gz")) return Format::Lp;
  return Format::Mps;
}

// Free format unless the flags say 'o'; a file the free reader rejects is
// tried again as fixed format (names with spaces).
void read_mps_any(const std::string &name, bool keep_nrows, const char *flags, ModelData &d) {
  if (has_flag(flags, 'o')) {
    read_mps(name, keep_nrows, true, d);
    return;
  }
  try {
    read_mps(name, keep_nrows, false, d);
  } catch (const Error &free_error) {
    try {
      read_mps(name, keep_nrows, true, d);
    } catch (const Error &) {
      throw free_error;
    }
  }
}

}  // namespace

namespace qnda {

std::string read_model_file(qnda_problem_s &prob, const char *filename, const char *flags,
                            ModelData &d) {
  check_array(filename, "filename");
  check_flags(flags, "lmxfo");
  std::string name = filename;
  if (!exists(name)) {
    // "model" finds model.mps or model.lp.
    const char *exts[] = {".mps", ".lp", ".MPS", ".LP"};
    bool found = false;
    for (const char *e : exts)
      if (exists(name + e)) {
        name += e;
        found = true;
        break;
      }
    if (!found) fail(QNDA_ERR_FILE, "cannot open %s for reading", filename);
  }
  if (ends_with(name, ".gz") && format_of(name, flags) == Format::Mps)
    fail(QNDA_ERR_FILE, "compressed MPS files are not read; uncompress %s first", name.c_str());
  if (format_of(name, flags) == Format::Lp)
    read_lp(name, d);
  else
    read_mps_any(name, prob.controls.get_int(QNDA_KEEPNROWS) != 0, flags, d);
  if (d.name.empty()) {
    // The file's base name without its extension.
    size_t slash = name.find_last_of('/');
    std::string base = slash == std::string::npos ? name : name.substr(slash + 1);
    size_t dot = base.find('.');
    d.name = dot == std::string::npos ? base : base.substr(0, dot);
  }
  check_model_data(d, name);
  return name;
}

void write_model_file(const qnda_problem_s &prob, const char *filename, const char *flags,
                      const std::vector<std::string> *extra) {
  check_flags(flags, "lmxfop");
  const bool lp = has_flag(flags, 'l');
  std::string name = out_name(prob, filename, lp ? ".lp" : ".mps");
  if (format_of(name, flags) == Format::Lp) {
    if (extra)
      fail(QNDA_ERR_UNSUPPORTED,
           "the LP format cannot hold nonlinear coefficients: write %s as MPS", name.c_str());
    write_lp(name, prob.name, prob.model);
  } else {
    if (extra && has_flag(flags, 'o'))
      fail(QNDA_ERR_UNSUPPORTED, "nonlinear coefficients are written in free MPS only (no 'o')");
    write_mps(name, prob.name, prob.model, has_flag(flags, 'o'), extra);
  }
}

}  // namespace qnda

extern "C" {

int QNDAreadprob(QNDAprob prob, const char *filename, const char *flags) {
  return guard(prob, "QNDAreadprob", [&] {
    ModelData d;
    const std::string name = read_model_file(*prob, filename, flags, d);
    if (!d.nonlinear.empty())
      fail(QNDA_ERR_FILE, "%s holds nonlinear coefficients (section %s): read it with QSLPreadprob",
           name.c_str(), d.nonlinear.front().first.c_str());
    load_model_data(*prob, d);
  });
}

int QNDAwriteprob(QNDAprob prob, const char *filename, const char *flags) {
  return guard_read(prob, "QNDAwriteprob",
                    [&] { write_model_file(*prob, filename, flags, nullptr); });
}

int QNDAwritesol(QNDAprob prob, const char *filename, const char *flags) {
  return guard_read(prob, "QNDAwritesol",
                    [&] { write_sol(*prob, out_name(*prob, filename, ".csv")); });
}

int QNDAwriteprtsol(QNDAprob prob, const char *filename, const char *flags) {
  return guard_read(prob, "QNDAwriteprtsol",
                    [&] { write_prtsol(*prob, out_name(*prob, filename, ".prt")); });
}

int QNDAwriteslxsol(QNDAprob prob, const char *filename, const char *flags) {
  return guard_read(prob, "QNDAwriteslxsol",
                    [&] { write_slx(*prob, out_name(*prob, filename, ".slx")); });
}

int QNDAreadslxsol(QNDAprob prob, const char *filename, const char *flags) {
  return guard(prob, "QNDAreadslxsol", [&] {
    check_flags(flags, "lm");
    std::vector<double> x;
    read_slx(*prob, out_name(*prob, filename, ".slx"), x);
    // Without flags the values serve both as a MIP start and an LP start.
    SolveState &st = prob->solve;
    if (!has_flag(flags, 'l')) st.mip_start = x;
    if (!has_flag(flags, 'm')) {
      st.start_x = x;
      st.start_duals.clear();
      st.start_rowstat.clear();
      st.start_colstat.clear();
    }
  });
}

int QNDAwritebasis(QNDAprob prob, const char *filename, const char *flags) {
  return guard_read(prob, "QNDAwritebasis",
                    [&] { write_basis(*prob, out_name(*prob, filename, ".bss")); });
}

int QNDAreadbasis(QNDAprob prob, const char *filename, const char *flags) {
  return guard(prob, "QNDAreadbasis", [&] {
    std::vector<int> rowstat, colstat;
    read_basis(*prob, out_name(*prob, filename, ".bss"), rowstat, colstat);
    SolveState &st = prob->solve;
    st.start_rowstat.swap(rowstat);
    st.start_colstat.swap(colstat);
    st.start_x.clear();
    st.start_duals.clear();
  });
}

}  // extern "C"
