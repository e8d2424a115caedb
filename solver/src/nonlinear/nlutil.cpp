// Housekeeping of a nonlinear problem: penalties, reinitialising, presolve
// and scaling of the coefficients and step bounds, the solution file,
// memory, evaluation counts, messages, timing, names and token counts.
#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>

#include "core/messages.h"
#include "nonlinear/nlp_model.h"
#include "nonlinear/nlvars.h"
#include "nonlinear/slp_guard.h"
#include "qslp.h"

namespace qnda {
namespace {

// A call of the main interface that must work.
void main_call(QNDAprob main, int rc) {
  if (rc == 0) return;
  char msg[512] = "";
  QNDAgetlasterror(main, nullptr, msg, sizeof msg, nullptr);
  fail(QNDA_ERR_ENGINE, "the main problem refused a change: %s", msg);
}

void info(qslp_problem_s &p, const std::string &text) {
  p.extras.last_msgtype = MSG_INFO;
  emit_message(p.main, MSG_INFO, text.c_str());
}

template <class T>
size_t bytes(const std::vector<T> &v) {
  return v.capacity() * sizeof(T);
}

// Folds the constant value v of coefficient (row, col) into the main problem.
void fold(qslp_problem_s &p, int row, int col, double v) {
  QNDAprob q = p.main;
  if (col == kConstantCol) {
    if (row == kObjectiveRow) {
      double c = p.main->model.obj_constant() + v;
      const int at = -1;
      main_call(q, QNDAchgobj(q, 1, &at, &c));
    } else {
      double rhs = p.main->model.rhs()[row] - v;
      main_call(q, QNDAchgrhs(q, 1, &row, &rhs));
    }
    return;
  }
  if (row == kObjectiveRow) {
    double c = p.main->model.obj()[col] + v;
    main_call(q, QNDAchgobj(q, 1, &col, &c));
    return;
  }
  double a = 0.0;
  main_call(q, QNDAgetcoef(q, row, col, &a));
  main_call(q, QNDAchgcoef(q, row, col, a + v));
}

}  // namespace
}  // namespace qnda

using namespace qnda;

extern "C" {

int QSLPfixpenalties(QSLPprob prob, double *penalty) {
  return slp_guard(prob, "QSLPfixpenalties", [&] {
    if (prob->extras.last_penalty <= 0) fail(QNDA_ERR_STATE, "no SLP solve has set a penalty yet");
    prob->extras.fixed_penalty = true;
    prob->extras.penalty = prob->extras.last_penalty;
    if (penalty) *penalty = prob->extras.penalty;
  });
}

int QSLPreinitialize(QSLPprob prob) {
  return slp_guard(prob, "QSLPreinitialize", [&] {
    prob->sol = NlpSolution();
    prob->nlp_status = prob->stop_status = prob->iterations = prob->algorithm_used = 0;
    prob->objval = prob->solvetime = prob->max_violation = 0.0;
    SlpExtras &e = prob->extras;
    e.built.reset();
    e.fixed_penalty = false;
    e.penalty = e.last_penalty = 0.0;
    e.solve_started = false;
    e.stats.reset();
  });
}

int QSLPpresolve(QSLPprob prob, int *nremoved) {
  return slp_guard(prob, "QSLPpresolve", [&] {
    qslp_problem_s &p = *prob;
    const Model &mm = slp_main_model(p);
    // Values of the fixed columns; the others are left NaN, so that a
    // formula that reads one is not folded by accident.
    std::vector<double> x(mm.ncols(), std::nan(""));
    for (int j = 0; j < mm.ncols(); ++j)
      if (mm.lb(j) == mm.ub(j)) x[j] = mm.lb(j);
    ProblemUserCaller uf(p);
    std::vector<std::pair<std::pair<int, int>, double>> folds;
    for (const auto &c : p.nl.coefs) {
      const NlCoef &k = c.second;
      if (k.factor == 0.0) {
        folds.push_back({c.first, 0.0});
        continue;
      }
      bool constant = true;
      for (const Token &t : k.formula)
        if (t.type == QSLP_TOK_FUN ||
            (t.type == QSLP_TOK_COL && std::isnan(x[static_cast<int>(t.value)])))
          constant = false;
      if (!constant) continue;
      const double v = k.factor * Tape(k.formula).value(x.data(), &uf);
      if (std::isfinite(v)) folds.push_back({c.first, v});
    }
    for (const auto &f : folds) {
      if (f.second != 0.0) fold(p, f.first.first, f.first.second, f.second);
      p.nl.coefs.erase(f.first);
    }
    if (!folds.empty()) p.extras.built.reset();
    if (nremoved) *nremoved = static_cast<int>(folds.size());
  });
}

int QSLPscaling(QSLPprob prob) {
  return slp_guard(prob, "QSLPscaling", [&] {
    NlpModel m(*prob);
    const std::vector<double> x = slp_start_point(*prob);
    for (int j = 0; j < m.n; ++j) {
      if (!m.nonlinear_col[j]) continue;
      const SlpVarInfo *v = prob->extras.var(j);
      if (v && v->stepbound > 0) continue;
      const bool boxed = std::isfinite(m.xl[j]) && std::isfinite(m.xu[j]) && m.xu[j] > m.xl[j];
      prob->extras.vars[j].stepbound =
          boxed ? 0.1 * (m.xu[j] - m.xl[j]) : std::max(1.0, std::fabs(x[j]));
    }
  });
}

int QSLPfilesol(QSLPprob prob, const char *filename) {
  return slp_guard(prob, "QSLPfilesol", [&] {
    check_array(filename, "filename");
    const Model &mm = slp_main_model(*prob);
    const NlpSolution &s = prob->sol;
    if (!s.has_solution) fail(QNDA_ERR_STATE, "no nonlinear solution is available");
    std::ofstream out(filename);
    if (!out) fail(QNDA_ERR_FILE, "cannot write \"%s\"", filename);
    char line[128];
    std::snprintf(line, sizeof line, "%.17g", prob->objval);
    out << "objective," << line << "\n";
    for (int j = 0; j < mm.ncols() && j < static_cast<int>(s.x.size()); ++j) {
      std::snprintf(line, sizeof line, "%.17g,%.17g", s.x[j], s.djs[j]);
      out << "C," << mm.name(QNDA_NAMES_COLUMNS, j) << "," << line << "\n";
    }
    for (int i = 0; i < mm.nrows() && i < static_cast<int>(s.slack.size()); ++i) {
      std::snprintf(line, sizeof line, "%.17g,%.17g,%.17g", mm.rhs()[i] - s.slack[i], s.slack[i],
                    s.duals[i]);
      out << "R," << mm.name(QNDA_NAMES_ROWS, i) << "," << line << "\n";
    }
    if (!out.flush()) fail(QNDA_ERR_FILE, "writing \"%s\" failed", filename);
  });
}

int QSLPprintmemory(QSLPprob prob) {
  return slp_guard(prob, "QSLPprintmemory", [&] {
    slp_main_model(*prob);
    // Map nodes: the payload plus about four pointers of tree links.
    const size_t node = 4 * sizeof(void *);
    size_t coefs = 0, tokens = 0;
    for (const auto &c : prob->nl.coefs) {
      coefs += node + sizeof c;
      tokens += bytes(c.second.formula);
    }
    size_t strings = 0;
    for (const auto &s : prob->nl.strings) strings += sizeof s + s.capacity();
    const SlpExtras &e = prob->extras;
    const size_t settings = e.vars.size() * (node + sizeof(std::pair<int, SlpVarInfo>)) +
                            e.rows.size() * (node + sizeof(std::pair<int, SlpRowInfo>)) +
                            e.dfs.size() * (node + 3 * sizeof(double)) + bytes(e.tolsets) +
                            bytes(e.cascade);
    const NlpSolution &s = prob->sol;
    const size_t sol = bytes(s.x) + bytes(s.slack) + bytes(s.duals) + bytes(s.djs);
    const size_t start = bytes(prob->nl.start);
    char text[160];
    std::snprintf(text, sizeof text,
                  "Nonlinear memory: coefficients %zu B (%zu), formulas %zu B, strings %zu B, "
                  "SLP settings %zu B, start %zu B, solution %zu B",
                  coefs, prob->nl.coefs.size(), tokens, strings, settings, start, sol);
    info(*prob, text);
    std::snprintf(text, sizeof text, "Nonlinear memory: %zu B in all",
                  coefs + tokens + strings + settings + start + sol + sizeof(qslp_problem_s));
    info(*prob, text);
  });
}

int QSLPprintevalinfo(QSLPprob prob) {
  return slp_guard(prob, "QSLPprintevalinfo", [&] {
    slp_main_model(*prob);
    const EvalStats &s = prob->extras.stats;
    char text[200];
    std::snprintf(text, sizeof text,
                  "Evaluations: objective %lld, gradient %lld, rows %lld, Jacobian %lld, "
                  "Hessian %lld, user function calls %lld",
                  s.f.load(), s.grad.load(), s.g.load(), s.jac.load(), s.hess.load(),
                  s.user.load());
    info(*prob, text);
  });
}

int QSLPprintmsg(QSLPprob prob, int msgtype, const char *text) {
  return slp_guard(prob, "QSLPprintmsg", [&] {
    slp_main_model(*prob);
    check_array(text, "text");
    if (msgtype != MSG_INFO && msgtype != MSG_WARNING && msgtype != MSG_ERROR)
      fail(QNDA_ERR_ARGUMENT, "message type %d (known: 1 information, 3 warning, 4 error)",
           msgtype);
    prob->extras.last_msgtype = msgtype;
    emit_message(prob->main, msgtype, text);
  });
}

int QSLPgetmessagetype(QSLPprob prob, int *msgtype) {
  return slp_guard(prob, "QSLPgetmessagetype", [&] {
    check_array(msgtype, "msgtype");
    *msgtype = prob->extras.last_msgtype;
  });
}

int QSLPgetdtime(QSLPprob prob, double *seconds) {
  return slp_guard(prob, "QSLPgetdtime", [&] {
    check_array(seconds, "seconds");
    const SlpExtras &e = prob->extras;
    if (!e.solve_started)
      *seconds = 0.0;
    else if (e.solving)
      *seconds =
          std::chrono::duration<double>(std::chrono::steady_clock::now() - e.solve_start).count();
    else
      *seconds = prob->solvetime;
  });
}

int QSLPsetuniqueprefix(QSLPprob prob, char *prefix, int maxbytes, int *nbytes) {
  return slp_guard(prob, "QSLPsetuniqueprefix", [&] {
    const Model &mm = slp_main_model(*prob);
    auto taken = [&](const std::string &pre) {
      for (int kind : {QNDA_NAMES_ROWS, QNDA_NAMES_COLUMNS}) {
        const int n = kind == QNDA_NAMES_ROWS ? mm.nrows() : mm.ncols();
        for (int i = 0; i < n; ++i)
          if (mm.name(kind, i).compare(0, pre.size(), pre) == 0) return true;
      }
      return false;
    };
    std::string pre = "nl_";
    for (int k = 0; taken(pre); ++k) pre = "nl" + std::to_string(k) + "_";
    prob->extras.prefix = pre;
    copy_out(pre, prefix, maxbytes, nbytes);
  });
}

int QSLPtokencount(QSLPprob prob, int *ntokens) {
  return slp_guard(prob, "QSLPtokencount", [&] {
    check_array(ntokens, "ntokens");
    long long n = 0;
    for (const auto &c : prob->nl.coefs) n += static_cast<long long>(c.second.formula.size()) + 1;
    *ntokens = static_cast<int>(n);
  });
}

}  // extern "C"
