#include "nonlinear/formula.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/codetext.h"
#include "core/error.h"

namespace qnda {

namespace {

constexpr BuiltinInfo kBuiltins[] = {
    {QSLP_IFUN_LOG10, "log10", 1},
    {QSLP_IFUN_LN, "ln", 1},
    {QSLP_IFUN_EXP, "exp", 1},
    {QSLP_IFUN_ABS, "abs", 1},
    {QSLP_IFUN_SQRT, "sqrt", 1},
    {QSLP_IFUN_SIN, "sin", 1},
    {QSLP_IFUN_COS, "cos", 1},
    {QSLP_IFUN_TAN, "tan", 1},
    {QSLP_IFUN_ARCSIN, "arcsin", 1},
    {QSLP_IFUN_ARCCOS, "arccos", 1},
    {QSLP_IFUN_ARCTAN, "arctan", 1},
    {QSLP_IFUN_MIN, "min", -1},
    {QSLP_IFUN_MAX, "max", -1},
    {QSLP_IFUN_SIGN, "sign", 1},
    {QSLP_IFUN_ERF, "erf", 1},
    {QSLP_IFUN_ERFC, "erfc", 1},
    {QSLP_IFUN_CBFORMULA, "cbformula", 1},
};

// Other spellings accepted in text.
struct Alias {
  const char *name;
  int code;
};
constexpr Alias kAliases[] = {{"log", QSLP_IFUN_LN},
                              {"asin", QSLP_IFUN_ARCSIN},
                              {"acos", QSLP_IFUN_ARCCOS},
                              {"atan", QSLP_IFUN_ARCTAN}};

// Binding strength of operators (higher binds tighter); atoms are 5.
int op_prec(int op) {
  switch (op) {
    case QSLP_OP_PLUS:
    case QSLP_OP_MINUS:
      return 1;
    case QSLP_OP_MULTIPLY:
    case QSLP_OP_DIVIDE:
      return 2;
    case QSLP_OP_UMINUS:
      return 3;
    case QSLP_OP_EXPONENT:
      return 4;
    default:
      return -1;
  }
}

const char *op_text(int op) {
  static constexpr CodeText kOps[] = {{QSLP_OP_PLUS, "+"},
                                      {QSLP_OP_MINUS, "-"},
                                      {QSLP_OP_MULTIPLY, "*"},
                                      {QSLP_OP_DIVIDE, "/"},
                                      {QSLP_OP_EXPONENT, "^"}};
  return code_text(kOps, op, "-");
}

bool is_op(int op) { return op_prec(op) > 0; }

std::string lower(std::string s) {
  for (char &c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

// Shortest text that reads back as the same double.
std::string number_text(double v) {
  char buf[40];
  for (int prec = 15; prec <= 17; ++prec) {
    std::snprintf(buf, sizeof buf, "%.*g", prec, v);
    if (std::strtod(buf, nullptr) == v) break;
  }
  return buf;
}

int index_of(double v) { return static_cast<int>(std::lround(v)); }

// ------------------------------------------------------------------ parser
// Precedence climbing over infix tokens, writing reverse Polish as it goes.
class Parser {
 public:
  Parser(const Formula &in, const NameScope &scope) : in_(in), scope_(scope) {}

  Formula run() {
    if (in_.empty()) fail(QNDA_ERR_ARGUMENT, "empty formula");
    expr(1);
    if (pos_ < in_.size()) bad("unexpected token");
    return std::move(out_);
  }

 private:
  const Token *peek() const { return pos_ < in_.size() ? &in_[pos_] : nullptr; }

  [[noreturn]] void bad(const char *what) const {
    fail(QNDA_ERR_ARGUMENT, "%s at token %zu of the formula", what, pos_ + 1);
  }

  bool next_is(int type, int value = -1) const {
    const Token *t = peek();
    return t && t->type == type && (value < 0 || index_of(t->value) == value);
  }

  void expr(int minprec) {
    unary();
    for (;;) {
      const Token *t = peek();
      if (!t || t->type != QSLP_TOK_OP) return;
      const int op = index_of(t->value);
      const int p = op_prec(op);
      if (op == QSLP_OP_UMINUS) bad("unary minus where an operator was expected");
      if (p < 0) bad("unknown operator");
      if (p < minprec) return;
      ++pos_;
      expr(op == QSLP_OP_EXPONENT ? p : p + 1);  // ^ groups to the right
      out_.push_back({QSLP_TOK_OP, static_cast<double>(op)});
    }
  }

  void unary() {
    if (next_is(QSLP_TOK_OP, QSLP_OP_UMINUS)) {
      ++pos_;
      expr(op_prec(QSLP_OP_UMINUS));
      out_.push_back({QSLP_TOK_OP, static_cast<double>(QSLP_OP_UMINUS)});
      return;
    }
    primary();
  }

  void primary() {
    const Token *t = peek();
    if (!t) bad("formula ends where an operand was expected");
    switch (t->type) {
      case QSLP_TOK_CON:
        if (!std::isfinite(t->value)) bad("constant that is not finite");
        out_.push_back(*t);
        ++pos_;
        return;
      case QSLP_TOK_COL: {
        const int j = index_of(t->value);
        if (j < 0 || j >= scope_.ncols) bad("column index out of range");
        out_.push_back({QSLP_TOK_COL, static_cast<double>(j)});
        ++pos_;
        return;
      }
      case QSLP_TOK_FUN:
      case QSLP_TOK_IFUN:
        call(*t);
        return;
      case QSLP_TOK_LB:
        ++pos_;
        expr(1);
        if (!next_is(QSLP_TOK_RB)) bad("missing \")\"");
        ++pos_;
        return;
      default:
        bad("operand expected");
    }
  }

  void call(Token f) {
    ++pos_;
    check_function(f);
    if (!next_is(QSLP_TOK_LB)) bad("function without \"(\"");
    ++pos_;
    out_.push_back({QSLP_TOK_LB, 0.0});
    int nargs = 0;
    std::vector<size_t> starts;  // of each argument's tokens in out_
    if (!next_is(QSLP_TOK_RB)) {
      for (;;) {
        starts.push_back(out_.size());
        expr(1);
        ++nargs;
        if (!next_is(QSLP_TOK_DEL)) break;
        ++pos_;
      }
    }
    if (f.type == QSLP_TOK_FUN && nargs > 1) {
      // A user function's arguments go last first.
      Formula args(out_.begin() + starts[0], out_.end());
      out_.resize(starts[0]);
      starts.push_back(starts[0] + args.size());
      for (size_t a = starts.size() - 1; a-- > 0;)
        out_.insert(out_.end(), args.begin() + (starts[a] - starts[0]),
                    args.begin() + (starts[a + 1] - starts[0]));
    }
    if (!next_is(QSLP_TOK_RB)) bad("missing \")\" after the arguments of a function");
    ++pos_;
    if (f.type == QSLP_TOK_IFUN) {
      const BuiltinInfo *b = builtin_by_code(index_of(f.value));
      if (b->arity > 0 && nargs != b->arity)
        fail(QNDA_ERR_ARGUMENT, "%s takes %d argument%s, not %d", b->name, b->arity,
             b->arity == 1 ? "" : "s", nargs);
    }
    if (nargs == 0) bad("function without arguments");
    out_.push_back(f);
  }

  void check_function(const Token &f) const {
    if (f.type == QSLP_TOK_IFUN && !builtin_by_code(index_of(f.value)))
      bad("unknown built-in function");
    if (f.type == QSLP_TOK_FUN && (index_of(f.value) < 1 || index_of(f.value) > scope_.nuserfuncs))
      bad("unknown user function");
  }

  const Formula &in_;
  const NameScope &scope_;
  size_t pos_ = 0;
  Formula out_;
};

// A subformula while reverse Polish is turned back into infix.
struct Piece {
  std::string text;
  Formula infix;
  int prec;  // 5 for atoms and calls
};

void append(Piece &to, const Piece &p, bool brackets) {
  if (brackets) {
    to.text += "(";
    to.infix.push_back({QSLP_TOK_LB, 0.0});
  }
  to.text += p.text;
  to.infix.insert(to.infix.end(), p.infix.begin(), p.infix.end());
  if (brackets) {
    to.text += ")";
    to.infix.push_back({QSLP_TOK_RB, 0.0});
  }
}

Piece unparse(const Formula &parsed, const NameScope *scope) {
  std::vector<Piece> st;
  std::vector<size_t> marks;  // stack heights at the argument starts
  auto pop = [&st]() {
    if (st.empty()) fail(QNDA_ERR_ARGUMENT, "malformed formula (operand missing)");
    Piece p = std::move(st.back());
    st.pop_back();
    return p;
  };
  for (const Token &t : parsed) {
    switch (t.type) {
      case QSLP_TOK_CON:
        st.push_back({number_text(t.value), {t}, t.value < 0 ? 3 : 5});
        break;
      case QSLP_TOK_COL: {
        const int j = index_of(t.value);
        std::string name =
            scope && scope->column_name ? scope->column_name(j) : "C" + std::to_string(j);
        st.push_back({name, {t}, 5});
        break;
      }
      case QSLP_TOK_LB:
        marks.push_back(st.size());
        break;
      case QSLP_TOK_FUN:
      case QSLP_TOK_IFUN: {
        if (marks.empty() || marks.back() > st.size())
          fail(QNDA_ERR_ARGUMENT, "malformed formula (function without its argument start)");
        const size_t m = marks.back();
        marks.pop_back();
        Piece call;
        call.prec = 5;
        if (t.type == QSLP_TOK_IFUN) {
          const BuiltinInfo *b = builtin_by_code(index_of(t.value));
          call.text = b ? b->name : "?";
        } else {
          const int k = index_of(t.value);
          call.text =
              scope && scope->userfunc_name ? scope->userfunc_name(k) : "F" + std::to_string(k);
        }
        call.infix.push_back(t);
        call.text += "(";
        call.infix.push_back({QSLP_TOK_LB, 0.0});
        const bool reversed = t.type == QSLP_TOK_FUN;  // user functions: last first
        for (size_t k = m; k < st.size(); ++k) {
          if (k > m) {
            call.text += ", ";
            call.infix.push_back({QSLP_TOK_DEL, 0.0});
          }
          append(call, st[reversed ? st.size() - 1 - (k - m) : k], false);
        }
        call.text += ")";
        call.infix.push_back({QSLP_TOK_RB, 0.0});
        st.resize(m);
        st.push_back(std::move(call));
        break;
      }
      case QSLP_TOK_OP: {
        const int op = index_of(t.value);
        const int p = op_prec(op);
        if (p < 0) fail(QNDA_ERR_ARGUMENT, "unknown operator %g", t.value);
        Piece r;
        r.prec = p;
        if (op == QSLP_OP_UMINUS) {
          Piece a = pop();
          r.text = "-";
          r.infix.push_back(t);
          append(r, a, a.prec < p);
        } else {
          Piece b = pop();
          Piece a = pop();
          const bool right = op == QSLP_OP_EXPONENT;
          append(r, a, right ? a.prec <= p : a.prec < p);
          r.text += " ";
          r.text += op_text(op);
          r.text += " ";
          r.infix.push_back(t);
          append(r, b, right ? b.prec < p : b.prec <= p);
        }
        st.push_back(std::move(r));
        break;
      }
      default:
        fail(QNDA_ERR_ARGUMENT, "token type %d cannot appear in a parsed formula", t.type);
    }
  }
  if (st.size() != 1 || !marks.empty())
    fail(QNDA_ERR_ARGUMENT, "malformed formula (%zu operands left)", st.size());
  return std::move(st.back());
}

}  // namespace

const BuiltinInfo *builtin_by_code(int code) {
  for (const BuiltinInfo &b : kBuiltins)
    if (b.code == code) return &b;
  return nullptr;
}

const BuiltinInfo *builtin_by_name(const std::string &name) {
  const std::string l = lower(name);
  for (const BuiltinInfo &b : kBuiltins)
    if (l == b.name) return &b;
  for (const Alias &a : kAliases)
    if (l == a.name) return builtin_by_code(a.code);
  return nullptr;
}

Formula lex_formula(const std::string &text, const NameScope &scope) {
  Formula out;
  const char *s = text.c_str();
  size_t i = 0;
  // Whether a value has just ended, which makes "-" binary.
  auto after_value = [&out]() {
    if (out.empty()) return false;
    const Token &t = out.back();
    return t.type == QSLP_TOK_CON || t.type == QSLP_TOK_COL || t.type == QSLP_TOK_RB;
  };
  auto at = [&text](size_t pos) { return pos + 1; };
  while (s[i]) {
    const unsigned char c = static_cast<unsigned char>(s[i]);
    if (std::isspace(c)) {
      ++i;
      continue;
    }
    if (std::isdigit(c) || (c == '.' && std::isdigit(static_cast<unsigned char>(s[i + 1])))) {
      char *end = nullptr;
      const double v = std::strtod(s + i, &end);
      out.push_back({QSLP_TOK_CON, v});
      i = static_cast<size_t>(end - s);
      continue;
    }
    if (std::isalpha(c) || c == '_') {
      size_t j = i;
      while (std::isalnum(static_cast<unsigned char>(s[j])) || s[j] == '_' || s[j] == '.' ||
             s[j] == '[' || s[j] == ']')
        ++j;
      const std::string name(s + i, j - i);
      size_t k = j;
      while (std::isspace(static_cast<unsigned char>(s[k]))) ++k;
      if (s[k] == '(') {
        const int uf = scope.userfunc ? scope.userfunc(name) : -1;
        if (uf > 0) {
          out.push_back({QSLP_TOK_FUN, static_cast<double>(uf)});
        } else if (const BuiltinInfo *b = builtin_by_name(name)) {
          out.push_back({QSLP_TOK_IFUN, static_cast<double>(b->code)});
        } else {
          fail(QNDA_ERR_ARGUMENT, "unknown function \"%s\" at position %zu", name.c_str(), at(i));
        }
      } else {
        const int col = scope.column ? scope.column(name) : -1;
        if (col < 0)
          fail(QNDA_ERR_ARGUMENT, "unknown column \"%s\" at position %zu", name.c_str(), at(i));
        out.push_back({QSLP_TOK_COL, static_cast<double>(col)});
      }
      i = j;
      continue;
    }
    switch (c) {
      case '+':
        if (after_value()) out.push_back({QSLP_TOK_OP, QSLP_OP_PLUS});
        break;  // a unary plus changes nothing
      case '-':
        out.push_back(
            {QSLP_TOK_OP, after_value() ? double(QSLP_OP_MINUS) : double(QSLP_OP_UMINUS)});
        break;
      case '*':
        if (s[i + 1] == '*') {
          ++i;
          out.push_back({QSLP_TOK_OP, QSLP_OP_EXPONENT});
        } else {
          out.push_back({QSLP_TOK_OP, QSLP_OP_MULTIPLY});
        }
        break;
      case '/':
        out.push_back({QSLP_TOK_OP, QSLP_OP_DIVIDE});
        break;
      case '^':
        out.push_back({QSLP_TOK_OP, QSLP_OP_EXPONENT});
        break;
      case '(':
        out.push_back({QSLP_TOK_LB, 0.0});
        break;
      case ')':
        out.push_back({QSLP_TOK_RB, 0.0});
        break;
      case ',':
        out.push_back({QSLP_TOK_DEL, 0.0});
        break;
      default:
        fail(QNDA_ERR_ARGUMENT, "unexpected character '%c' at position %zu", c, at(i));
    }
    ++i;
  }
  if (out.empty()) fail(QNDA_ERR_ARGUMENT, "empty formula");
  return out;
}

Formula parse_infix(const Formula &infix, const NameScope &scope) {
  return Parser(infix, scope).run();
}

std::string formula_text(const Formula &parsed, const NameScope &scope) {
  return unparse(parsed, &scope).text;
}

Formula formula_infix(const Formula &parsed) { return unparse(parsed, nullptr).infix; }

Formula read_tokens(const int *type, const double *value, int n) {
  Formula f;
  for (int k = 0; n < 0 || k < n; ++k) {
    if (type[k] == QSLP_TOK_EOF) break;
    f.push_back({type[k], value ? value[k] : 0.0});
  }
  return f;
}

void check_parsed(const Formula &parsed, const NameScope &scope) {
  if (parsed.empty()) fail(QNDA_ERR_ARGUMENT, "empty formula");
  std::vector<char> st;  // 'v' a value, 'm' an argument start
  for (size_t k = 0; k < parsed.size(); ++k) {
    const Token &t = parsed[k];
    const size_t pos = k + 1;
    auto need = [&](size_t n) {
      if (st.size() < n) fail(QNDA_ERR_ARGUMENT, "operand missing at token %zu", pos);
      for (size_t q = st.size() - n; q < st.size(); ++q)
        if (st[q] != 'v') fail(QNDA_ERR_ARGUMENT, "operand missing at token %zu", pos);
    };
    switch (t.type) {
      case QSLP_TOK_CON:
        if (!std::isfinite(t.value))
          fail(QNDA_ERR_ARGUMENT, "constant that is not finite at token %zu", pos);
        st.push_back('v');
        break;
      case QSLP_TOK_COL: {
        const int j = index_of(t.value);
        if (j < 0 || j >= scope.ncols)
          fail(QNDA_ERR_ARGUMENT, "column %d out of range [0, %d] at token %zu", j, scope.ncols - 1,
               pos);
        st.push_back('v');
        break;
      }
      case QSLP_TOK_LB:
        st.push_back('m');
        break;
      case QSLP_TOK_OP: {
        const int op = index_of(t.value);
        if (!is_op(op)) fail(QNDA_ERR_ARGUMENT, "unknown operator %g at token %zu", t.value, pos);
        const size_t n = op == QSLP_OP_UMINUS ? 1 : 2;
        need(n);
        st.resize(st.size() - n);
        st.push_back('v');
        break;
      }
      case QSLP_TOK_IFUN:
      case QSLP_TOK_FUN: {
        int arity = -1;
        if (t.type == QSLP_TOK_IFUN) {
          const BuiltinInfo *b = builtin_by_code(index_of(t.value));
          if (!b)
            fail(QNDA_ERR_ARGUMENT, "unknown built-in function %g at token %zu", t.value, pos);
          arity = b->arity;
        } else if (index_of(t.value) < 1 || index_of(t.value) > scope.nuserfuncs) {
          fail(QNDA_ERR_ARGUMENT, "unknown user function %g at token %zu", t.value, pos);
        }
        size_t n = 0;
        while (!st.empty() && st.back() == 'v') {
          st.pop_back();
          ++n;
        }
        if (st.empty())
          fail(QNDA_ERR_ARGUMENT, "function without its argument start at token %zu", pos);
        st.pop_back();
        if (n == 0 || (arity > 0 && static_cast<int>(n) != arity))
          fail(QNDA_ERR_ARGUMENT, "function with %zu arguments at token %zu", n, pos);
        st.push_back('v');
        break;
      }
      default:
        fail(QNDA_ERR_ARGUMENT, "token type %d cannot appear in a parsed formula (token %zu)",
             t.type, pos);
    }
  }
  if (st.size() != 1 || st[0] != 'v')
    fail(QNDA_ERR_ARGUMENT, "malformed formula: %zu items left on the stack at its end", st.size());
}

std::vector<int> formula_columns(const Formula &parsed) {
  std::vector<int> cols;
  for (const Token &t : parsed)
    if (t.type == QSLP_TOK_COL) cols.push_back(index_of(t.value));
  std::sort(cols.begin(), cols.end());
  cols.erase(std::unique(cols.begin(), cols.end()), cols.end());
  return cols;
}

}  // namespace qnda
