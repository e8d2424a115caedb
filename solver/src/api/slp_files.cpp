// Model files of nonlinear problems: the main problem's MPS file with two
// sections of the nonlinear interface before ENDATA,
//
//   USERFUNCS                       one line per user function:
//    name call                        its name and QSLP_UFCALL_* kind
//   NLCOEFS                         one line per nonlinear coefficient:
//    row column factor formula        formula as text, to the end of the line
//
// A row or column named "=" is the objective row or the constant column (no
// name of a formula can be "=").  A user function's body is code, which a
// file cannot hold: reading defines the function by name and kind without an
// entry point, and a solve refuses until QSLPchguserfuncaddress gives one.
#include <cctype>
#include <cstdlib>

#include "api/files.h"
#include "nonlinear/nlp_model.h"
#include "nonlinear/slp_guard.h"
#include "qslp.h"

namespace qnda {
namespace {

constexpr const char *kSpecial = "=";

bool plain_name(const std::string &s) {
  if (s.empty() || !(std::isalpha(static_cast<unsigned char>(s[0])) || s[0] == '_')) return false;
  for (char c : s)
    if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '_')) return false;
  return true;
}

std::vector<std::string> nonlinear_sections(const qslp_problem_s &p) {
  const NameScope scope = scope_of(p);
  const Model &m = p.main->model;
  std::vector<std::string> out;
  const auto &uf = p.nl.userfuncs;
  if (!uf.empty()) out.push_back("USERFUNCS");
  for (size_t k = 0; k < uf.size(); ++k) {
    const std::string name = scope.userfunc_name(static_cast<int>(k + 1));
    if (!plain_name(name) || scope.userfunc(name) != static_cast<int>(k + 1))
      fail(QNDA_ERR_FILE,
           "user function %zu is named \"%s\", which a file cannot tell apart: give each user "
           "function its own plain name (letters, digits, _)",
           k + 1, name.c_str());
    out.push_back(" " + name + " " + std::to_string(uf[k].call));
  }
  if (!p.nl.coefs.empty()) out.push_back("NLCOEFS");
  char factor[32];
  for (const auto &c : p.nl.coefs) {
    const int row = c.first.first, col = c.first.second;
    std::snprintf(factor, sizeof factor, "%.17g", c.second.factor);
    out.push_back(" " + (row < 0 ? std::string(kSpecial) : m.name(QNDA_NAMES_ROWS, row)) + " " +
                  (col < 0 ? std::string(kSpecial) : m.name(QNDA_NAMES_COLUMNS, col)) + " " +
                  factor + " " + formula_text(c.second.formula, scope));
  }
  return out;
}

// The next blank-separated word of line from pos.
std::string word(const std::string &line, size_t &pos) {
  while (pos < line.size() && std::isspace(static_cast<unsigned char>(line[pos]))) ++pos;
  const size_t b = pos;
  while (pos < line.size() && !std::isspace(static_cast<unsigned char>(line[pos]))) ++pos;
  return line.substr(b, pos - b);
}

void read_nonlinear_sections(qslp_problem_s &p, const ModelData &d, const std::string &file) {
  p.nl.coefs.clear();
  p.nl.start.clear();
  p.sol = NlpSolution();
  for (const auto &sl : d.nonlinear) {
    if (sl.first != "USERFUNCS") continue;
    size_t pos = 0;
    const std::string name = word(sl.second, pos), call = word(sl.second, pos);
    const int kind = std::atoi(call.c_str());
    if (!plain_name(name) || (kind != QSLP_UFCALL_VALUE && kind != QSLP_UFCALL_DERIVATIVES))
      fail(QNDA_ERR_FILE, "%s: USERFUNCS line \"%s\" is not \"name %d\" or \"name %d\"",
           file.c_str(), sl.second.c_str(), QSLP_UFCALL_VALUE, QSLP_UFCALL_DERIVATIVES);
    if (scope_of(p).userfunc(name) > 0) continue;  // defined already, with its entry point
    UserFunc f;
    f.name = name;
    f.call = kind;
    p.nl.userfuncs.push_back(f);
  }
  const NameScope scope = scope_of(p);
  const Model &m = p.main->model;
  for (const auto &sl : d.nonlinear) {
    if (sl.first != "NLCOEFS") continue;
    size_t pos = 0;
    const std::string rn = word(sl.second, pos), cn = word(sl.second, pos);
    const std::string fs = word(sl.second, pos);
    std::string text = sl.second.substr(pos);
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.pop_back();
    const int row = rn == kSpecial ? kObjectiveRow : m.find_name(QNDA_NAMES_ROWS, rn.c_str());
    const int col = cn == kSpecial ? kConstantCol : m.find_name(QNDA_NAMES_COLUMNS, cn.c_str());
    char *end = nullptr;
    const double factor = std::strtod(fs.c_str(), &end);
    if (row < kObjectiveRow || (row == -1 && rn != kSpecial) || col == -1 || fs.empty() || *end ||
        text.empty())
      fail(QNDA_ERR_FILE,
           "%s: NLCOEFS line \"%s\" is not \"row column factor formula\" of "
           "the file's rows and columns",
           file.c_str(), sl.second.c_str());
    NlCoef c;
    c.factor = factor;
    try {
      c.formula = parse_infix(lex_formula(text, scope), scope);
    } catch (const Error &e) {
      fail(QNDA_ERR_FILE, "%s: the formula of row %s, column %s: %s", file.c_str(), rn.c_str(),
           cn.c_str(), e.what());
    }
    p.nl.coefs[{row, col}] = std::move(c);
  }
}

}  // namespace
}  // namespace qnda

using namespace qnda;

extern "C" {

int QSLPreadprob(QSLPprob prob, const char *filename, const char *flags) {
  return slp_guard(prob, "QSLPreadprob", [&] {
    if (!prob->main || !prob->main->valid())
      fail(QNDA_ERR_STATE, "the main problem has been destroyed");
    if (prob->main->busy.load()) fail(QNDA_ERR_STATE, "the main problem is being optimised");
    ModelData d;
    const std::string name = read_model_file(*prob->main, filename, flags, d);
    load_model_data(*prob->main, d);
    read_nonlinear_sections(*prob, d, name);
  });
}

int QSLPwriteprob(QSLPprob prob, const char *filename, const char *flags) {
  return slp_guard(prob, "QSLPwriteprob", [&] {
    if (!prob->main || !prob->main->valid())
      fail(QNDA_ERR_STATE, "the main problem has been destroyed");
    const std::vector<std::string> extra = nonlinear_sections(*prob);
    write_model_file(*prob->main, filename, flags, extra.empty() ? nullptr : &extra);
  });
}

}  // extern "C"
