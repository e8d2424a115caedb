// The nonlinear interface's formulas, coefficients and user functions.
#include <cmath>
#include <cstring>
#include <initializer_list>
#include <utility>

#include "nonlinear/nlp_model.h"
#include "nonlinear/slp_guard.h"
#include "qslp.h"

namespace qnda {
namespace {

// Writes f and its end token; ntokens gets the count even when the room is
// short (then it fails).
void write_tokens(const Formula &f, int maxtokens, int *ntokens, int *type, double *value) {
  const int need = static_cast<int>(f.size()) + 1;
  if (ntokens) *ntokens = need;
  if (!type && !value) return;
  if (maxtokens < need)
    fail(QNDA_ERR_ARGUMENT, "room for %d tokens, the formula has %d (with its end)", maxtokens,
         need);
  for (int k = 0; k < need; ++k) {
    const Token t = k + 1 < need ? f[k] : Token{QSLP_TOK_EOF, 0.0};
    if (type) type[k] = t.type;
    if (value) value[k] = t.value;
  }
}

Formula parsed_from(const qslp_problem_s &p, int parsed, const int *type, const double *value,
                    int n) {
  check_array(type, "type");
  check_array(value, "value");
  const NameScope scope = scope_of(p);
  Formula f = read_tokens(type, value, n);
  if (!parsed) f = parse_infix(f, scope);
  check_parsed(f, scope);
  return f;
}

void check_coef_place(const qslp_problem_s &p, int row, int col) {
  const Model &m = p.main->model;
  if (row < kObjectiveRow || row >= m.nrows())
    fail(QNDA_ERR_INDEX, "row index %d out of range [-1 (objective), %d]", row, m.nrows() - 1);
  if (col != kConstantCol && (col < 0 || col >= m.ncols()))
    fail(QNDA_ERR_INDEX, "column index %d out of range [0, %d] (or %d, the constant column)", col,
         m.ncols() - 1, kConstantCol);
}

// n >= 0, and with n > 0 the arrays must be there.
void check_batch(int n, const char *name,
                 std::initializer_list<std::pair<const void *, const char *>> arrays) {
  check_count(n, name);
  if (n > 0)
    for (const auto &a : arrays) check_array(a.first, a.second);
}

void check_main(const qslp_problem_s &p) {
  if (!p.main || !p.main->valid()) fail(QNDA_ERR_STATE, "the main problem has been destroyed");
}

void add_coefs(qslp_problem_s &p, int ncoefs, const int *rows, const int *cols,
               const double *factor, const int *start, int parsed, const int *type,
               const double *value, bool replace_all) {
  check_main(p);
  check_batch(ncoefs, "ncoefs", {{rows, "rowindex"}, {cols, "colindex"}, {start, "start"}});
  // All or nothing: every formula is checked before any is stored.
  std::vector<std::pair<std::pair<int, int>, NlCoef>> staged;
  for (int k = 0; k < ncoefs; ++k) {
    check_coef_place(p, rows[k], cols[k]);
    if (start[k + 1] < start[k] || start[k] < 0)
      fail(QNDA_ERR_ARGUMENT, "start[%d] = %d and start[%d] = %d do not delimit a formula", k,
           start[k], k + 1, start[k + 1]);
    NlCoef c;
    c.factor = factor ? factor[k] : 1.0;
    if (!std::isfinite(c.factor)) fail(QNDA_ERR_ARGUMENT, "factor %d is not finite", k);
    try {
      c.formula =
          parsed_from(p, parsed, type + start[k], value + start[k], start[k + 1] - start[k]);
    } catch (const Error &e) {
      fail(e.code, "formula %d (row %d, column %d): %s", k, rows[k], cols[k], e.what());
    }
    staged.push_back({{rows[k], cols[k]}, std::move(c)});
  }
  if (replace_all) p.nl.coefs.clear();
  for (auto &s : staged) p.nl.coefs[s.first] = std::move(s.second);
}

int user_index(const qslp_problem_s &p, int index) {
  if (index < 1 || index > static_cast<int>(p.nl.userfuncs.size()))
    fail(QNDA_ERR_INDEX, "user function index %d out of range [1, %zu]", index,
         p.nl.userfuncs.size());
  return index - 1;
}

const std::string &table_string(const qslp_problem_s &p, double v, int k) {
  const int s = static_cast<int>(std::lround(v));
  if (s < 1 || s > static_cast<int>(p.nl.strings.size()))
    fail(QNDA_ERR_INDEX, "user function %d: string index %d not in the string table", k, s);
  return p.nl.strings[s - 1];
}

}  // namespace
}  // namespace qnda

using namespace qnda;

extern "C" {

int QSLPpreparseformula(QSLPprob prob, const char *formula, int maxtokens, int *ntokens, int *type,
                        double *value) {
  return slp_guard(prob, "QSLPpreparseformula", [&] {
    check_array(formula, "formula");
    check_main(*prob);
    write_tokens(lex_formula(formula, scope_of(*prob)), maxtokens, ntokens, type, value);
  });
}

int QSLPparseformula(QSLPprob prob, const int *intype, const double *invalue, int maxtokens,
                     int *ntokens, int *type, double *value) {
  return slp_guard(prob, "QSLPparseformula", [&] {
    check_main(*prob);
    write_tokens(parsed_from(*prob, 0, intype, invalue, -1), maxtokens, ntokens, type, value);
  });
}

int QSLPparsecformula(QSLPprob prob, const char *formula, int maxtokens, int *ntokens, int *type,
                      double *value) {
  return slp_guard(prob, "QSLPparsecformula", [&] {
    check_array(formula, "formula");
    check_main(*prob);
    const NameScope scope = scope_of(*prob);
    write_tokens(parse_infix(lex_formula(formula, scope), scope), maxtokens, ntokens, type, value);
  });
}

int QSLPformulatext(QSLPprob prob, const int *type, const double *value, char *text, int maxbytes,
                    int *nbytes) {
  return slp_guard(prob, "QSLPformulatext", [&] {
    check_main(*prob);
    const Formula f = parsed_from(*prob, 1, type, value, -1);
    copy_out(formula_text(f, scope_of(*prob)), text, maxbytes, nbytes);
  });
}

int QSLPvalidformula(QSLPprob prob, const int *type, const double *value, int *valid, char *message,
                     int maxbytes, int *nbytes) {
  return slp_guard(prob, "QSLPvalidformula", [&] {
    check_main(*prob);
    check_array(valid, "valid");
    std::string why;
    try {
      parsed_from(*prob, 1, type, value, -1);
    } catch (const Error &e) {
      if (e.code != QNDA_ERR_ARGUMENT || !type || !value) throw;
      why = e.what();
    }
    *valid = why.empty() ? 1 : 0;
    if (message || nbytes) copy_out(why, message, maxbytes, nbytes);
  });
}

int QSLPevaluateformula(QSLPprob prob, const int *type, const double *value, const double *x,
                        double *result) {
  return slp_guard(prob, "QSLPevaluateformula", [&] {
    check_main(*prob);
    check_array(result, "result");
    const Formula f = parsed_from(*prob, 1, type, value, -1);
    if (!formula_columns(f).empty()) check_array(x, "x");
    ProblemUserCaller uf(*prob);
    *result = Tape(f).value(x, &uf);
  });
}

int QSLPaddcoefs(QSLPprob prob, int ncoefs, const int *rowindex, const int *colindex,
                 const double *factor, const int *start, int parsed, const int *type,
                 const double *value) {
  return slp_guard(prob, "QSLPaddcoefs", [&] {
    add_coefs(*prob, ncoefs, rowindex, colindex, factor, start, parsed, type, value, false);
  });
}

int QSLPloadcoefs(QSLPprob prob, int ncoefs, const int *rowindex, const int *colindex,
                  const double *factor, const int *start, int parsed, const int *type,
                  const double *value) {
  return slp_guard(prob, "QSLPloadcoefs", [&] {
    add_coefs(*prob, ncoefs, rowindex, colindex, factor, start, parsed, type, value, true);
  });
}

int QSLPchgcoef(QSLPprob prob, int row, int col, const double *factor, int parsed, const int *type,
                const double *value) {
  return slp_guard(prob, "QSLPchgcoef", [&] {
    check_main(*prob);
    check_coef_place(*prob, row, col);
    auto it = prob->nl.coefs.find({row, col});
    if (!type && it == prob->nl.coefs.end())
      fail(QNDA_ERR_ARGUMENT, "no coefficient (%d, %d) whose factor could change", row, col);
    NlCoef c = it != prob->nl.coefs.end() ? it->second : NlCoef();
    if (type) c.formula = parsed_from(*prob, parsed, type, value, -1);
    if (factor) {
      if (!std::isfinite(*factor)) fail(QNDA_ERR_ARGUMENT, "factor is not finite");
      c.factor = *factor;
    }
    prob->nl.coefs[{row, col}] = std::move(c);
  });
}

int QSLPchgccoef(QSLPprob prob, int row, int col, const double *factor, const char *formula) {
  return slp_guard(prob, "QSLPchgccoef", [&] {
    check_main(*prob);
    check_coef_place(*prob, row, col);
    if (!formula || !*formula) {
      prob->nl.coefs.erase({row, col});
      return;
    }
    const NameScope scope = scope_of(*prob);
    NlCoef c;
    auto it = prob->nl.coefs.find({row, col});
    if (it != prob->nl.coefs.end()) c.factor = it->second.factor;
    c.formula = parse_infix(lex_formula(formula, scope), scope);
    if (factor) {
      if (!std::isfinite(*factor)) fail(QNDA_ERR_ARGUMENT, "factor is not finite");
      c.factor = *factor;
    }
    prob->nl.coefs[{row, col}] = std::move(c);
  });
}

int QSLPdelcoefs(QSLPprob prob, int ncoefs, const int *rowindex, const int *colindex) {
  return slp_guard(prob, "QSLPdelcoefs", [&] {
    check_batch(ncoefs, "ncoefs", {{rowindex, "rowindex"}, {colindex, "colindex"}});
    for (int k = 0; k < ncoefs; ++k)
      if (!prob->nl.coefs.count({rowindex[k], colindex[k]}))
        fail(QNDA_ERR_INDEX, "no nonlinear coefficient (%d, %d)", rowindex[k], colindex[k]);
    for (int k = 0; k < ncoefs; ++k) prob->nl.coefs.erase({rowindex[k], colindex[k]});
  });
}

static const NlCoef &find_coef(const qslp_problem_s &p, int row, int col) {
  auto it = p.nl.coefs.find({row, col});
  if (it == p.nl.coefs.end()) fail(QNDA_ERR_INDEX, "no nonlinear coefficient (%d, %d)", row, col);
  return it->second;
}

int QSLPgetccoef(QSLPprob prob, int row, int col, double *factor, char *formula, int maxbytes,
                 int *nbytes) {
  return slp_guard(prob, "QSLPgetccoef", [&] {
    check_main(*prob);
    const NlCoef &c = find_coef(*prob, row, col);
    if (factor) *factor = c.factor;
    copy_out(formula_text(c.formula, scope_of(*prob)), formula, maxbytes, nbytes);
  });
}

int QSLPgetcoefformula(QSLPprob prob, int row, int col, char *formula, int maxbytes, int *nbytes) {
  return slp_guard(prob, "QSLPgetcoefformula", [&] {
    check_main(*prob);
    const NlCoef &c = find_coef(*prob, row, col);
    const NameScope scope = scope_of(*prob);
    std::string text = formula_text(c.formula, scope);
    if (c.factor != 1.0) {
      Formula times = {{QSLP_TOK_CON, c.factor}};
      times.insert(times.end(), c.formula.begin(), c.formula.end());
      times.push_back({QSLP_TOK_OP, QSLP_OP_MULTIPLY});
      text = formula_text(times, scope);
    }
    copy_out(text, formula, maxbytes, nbytes);
  });
}

int QSLPgetcoefs(QSLPprob prob, int *ncoefs, int *rowindex, int *colindex, double *factor,
                 int *start, int maxtokens, int *ntokens, int *type, double *value) {
  return slp_guard(prob, "QSLPgetcoefs", [&] {
    int k = 0, pos = 0;
    for (const auto &c : prob->nl.coefs) {
      if (rowindex) rowindex[k] = c.first.first;
      if (colindex) colindex[k] = c.first.second;
      if (factor) factor[k] = c.second.factor;
      if (start) start[k] = pos;
      int used = 0;
      write_tokens(c.second.formula, maxtokens - pos, &used, type ? type + pos : nullptr,
                   value ? value + pos : nullptr);
      pos += used;
      ++k;
    }
    if (start) start[k] = pos;
    if (ncoefs) *ncoefs = k;
    if (ntokens) *ntokens = pos;
  });
}

int QSLPevaluatecoef(QSLPprob prob, int row, int col, const double *x, double *result) {
  return slp_guard(prob, "QSLPevaluatecoef", [&] {
    check_main(*prob);
    check_array(x, "x");
    check_array(result, "result");
    const NlCoef &c = find_coef(*prob, row, col);
    ProblemUserCaller uf(*prob);
    *result = c.factor * Tape(c.formula).value(x, &uf);
  });
}

int QSLPsetstring(QSLPprob prob, int *index, const char *string) {
  return slp_guard(prob, "QSLPsetstring", [&] {
    check_array(index, "index");
    check_array(string, "string");
    prob->nl.strings.emplace_back(string);
    *index = static_cast<int>(prob->nl.strings.size());
  });
}

int QSLPadduserfuncs(QSLPprob prob, int nfuncs, const int *type, const double *value) {
  return slp_guard(prob, "QSLPadduserfuncs", [&] {
    check_batch(nfuncs, "nfuncs", {{type, "type"}, {value, "value"}});
    std::vector<UserFunc> staged;
    int pos = 0;
    for (int k = 0; k < nfuncs; ++k) {
      UserFunc f;
      int strings = 0;
      bool returns = false;
      for (; type[pos] != QSLP_TOK_EOF; ++pos) {
        switch (type[pos]) {
          case QSLP_TOK_STRING: {
            const std::string &s = table_string(*prob, value[pos], k);
            if (strings++ == 0) {
              f.name = s;
            } else if (s != "DirectC") {
              fail(QNDA_ERR_UNSUPPORTED, "user function %d: linkage \"%s\" (known: DirectC)", k,
                   s.c_str());
            }
            break;
          }
          case QSLP_UFTOK_RETURNS:
            if (value[pos] != 1.0)
              fail(QNDA_ERR_UNSUPPORTED, "user function %d returns %g values; only 1 is supported",
                   k, value[pos]);
            returns = true;
            break;
          case QSLP_UFTOK_CALL: {
            const int c = static_cast<int>(std::lround(value[pos]));
            if (c != QSLP_UFCALL_VALUE && c != QSLP_UFCALL_DERIVATIVES)
              fail(QNDA_ERR_UNSUPPORTED, "user function %d: calling convention %g unknown", k,
                   value[pos]);
            f.call = c;
            break;
          }
          default:
            fail(QNDA_ERR_ARGUMENT, "user function %d: token type %d in its definition", k,
                 type[pos]);
        }
      }
      ++pos;
      if (!f.call) fail(QNDA_ERR_ARGUMENT, "user function %d: no calling convention", k);
      (void)returns;
      staged.push_back(std::move(f));
    }
    for (auto &f : staged) prob->nl.userfuncs.push_back(std::move(f));
  });
}

int QSLPaddnames(QSLPprob prob, int type, const char *names, int first, int last) {
  return slp_guard(prob, "QSLPaddnames", [&] {
    if (type != QSLP_NAMES_USERFUNCS)
      fail(QNDA_ERR_ARGUMENT, "name type %d (known: %d, user functions)", type,
           QSLP_NAMES_USERFUNCS);
    check_array(names, "names");
    check_range(first - 1, last - 1, static_cast<int>(prob->nl.userfuncs.size()), "user function");
    const char *s = names;
    for (int k = first; k <= last; ++k) {
      prob->nl.userfuncs[k - 1].name = s;
      s += std::strlen(s) + 1;
    }
  });
}

int QSLPchguserfuncaddress(QSLPprob prob, int index, void *address) {
  return slp_guard(prob, "QSLPchguserfuncaddress",
                   [&] { prob->nl.userfuncs[user_index(*prob, index)].address = address; });
}

int QSLPsetuserfuncobject(QSLPprob prob, int index, void *object) {
  return slp_guard(prob, "QSLPsetuserfuncobject",
                   [&] { prob->nl.userfuncs[user_index(*prob, index)].object = object; });
}

int QSLPgetuserfuncobject(QSLPprob prob, int index, void **object) {
  return slp_guard(prob, "QSLPgetuserfuncobject", [&] {
    check_array(object, "object");
    *object = prob->nl.userfuncs[user_index(*prob, index)].object;
  });
}

int QSLPgetfuncobject(QSLPfuncctx ctx, int which, void **object) {
  return run_guarded(global_error(), "QSLPgetfuncobject", [&] {
    check_array(ctx, "ctx");
    check_array(object, "object");
    if (which == QSLP_FUNCOBJ_SLPPROB)
      *object = ctx->prob;
    else if (which == QSLP_FUNCOBJ_QNDAPROB)
      *object = ctx->prob->main;
    else
      fail(QNDA_ERR_ARGUMENT, "object kind %d (known: 1, 2)", which);
  });
}

int QSLPgetfuncinfo(QSLPfuncctx ctx, int *ninputs, int *index) {
  return run_guarded(global_error(), "QSLPgetfuncinfo", [&] {
    check_array(ctx, "ctx");
    if (ninputs) *ninputs = ctx->ninputs;
    if (index) *index = ctx->index;
  });
}

}  // extern "C"
