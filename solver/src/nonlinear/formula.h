// Formulas of the nonlinear interface.
//
// A formula is a pair of parallel arrays, token types and token values.  Two
// forms exist:
//   - infix ("unparsed"): the tokens in the order of the text, with brackets
//     and argument separators; a function token comes before its "(";
//   - parsed (reverse Polish): operands before their operator; a function's
//     arguments are opened by an argument-start token (QSLP_TOK_LB), so
//     functions may take any number of arguments.  A user function's
//     arguments come last first (the first is nearest the function token),
//     the order in which the modelling layer writes them.
// Both end with QSLP_TOK_EOF.  Text goes to infix tokens (the lexer), infix
// to parsed (a precedence-climbing parser), and parsed back to text with the
// fewest brackets that keep the meaning.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "qslp.h"

namespace qnda {

struct Token {
  int type;
  double value;
};
using Formula = std::vector<Token>;  // without the end token

// Built-in functions: token value, name, number of arguments (-1: one or
// more).
struct BuiltinInfo {
  int code;
  const char *name;
  int arity;
};
const BuiltinInfo *builtin_by_code(int code);
const BuiltinInfo *builtin_by_name(const std::string &name);

// How names in text are resolved and printed: columns and user functions.
struct NameScope {
  std::function<int(const std::string &)> column;  // -1: unknown
  std::function<std::string(int)> column_name;
  std::function<int(const std::string &)> userfunc;  // -1: unknown
  std::function<std::string(int)> userfunc_name;
  int ncols = 0;
  int nuserfuncs = 0;
};

// Text -> infix tokens.  Throws qnda::Error(QNDA_ERR_ARGUMENT) naming the
// position of the fault.
Formula lex_formula(const std::string &text, const NameScope &scope);
// Infix tokens -> parsed tokens.
Formula parse_infix(const Formula &infix, const NameScope &scope);
// Parsed tokens -> text.
std::string formula_text(const Formula &parsed, const NameScope &scope);
// Parsed tokens -> infix tokens (the tokens of formula_text's text).
Formula formula_infix(const Formula &parsed);

// Reads tokens up to (not including) the end token; n < 0: the arrays end
// with QSLP_TOK_EOF, else n tokens (an end token among them ends early).
Formula read_tokens(const int *type, const double *value, int n);
// Throws qnda::Error(QNDA_ERR_ARGUMENT, why) unless parsed is a well-formed
// reverse-Polish formula over the scope's columns and user functions.
void check_parsed(const Formula &parsed, const NameScope &scope);
// Columns referred to, sorted, without repeats.
std::vector<int> formula_columns(const Formula &parsed);

}  // namespace qnda
