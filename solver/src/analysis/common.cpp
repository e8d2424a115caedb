// What every analysis shares: the engines' view of the problem and quiet
// solves of it.
#include <memory>

#include "analysis/analysis.h"
#include "core/error.h"
#include "engine/reformulate.h"

namespace qnda {

void analysis_model(const qnda_problem_s &prob, FlatModel &out) {
  FlattenOptions fo;
  fo.search = true;
  fo.infinity = prob.controls.get_dbl(QNDA_INFINITYCTRL);
  fo.engine = "highs";
  flatten(prob.model, fo, out);
  if (out.has_quadratic() && out.has_integers())
    fail(QNDA_ERR_UNSUPPORTED, "analysis of a MIQP is not supported");
}

EngineSettings analysis_settings(const qnda_problem_s &prob, bool mip) {
  const Controls &c = prob.controls;
  EngineSettings s;
  s.mip = mip;
  s.log_level = 0;
  s.threads = c.get_int(QNDA_THREADS);
  s.presolve = c.get_int(QNDA_PRESOLVE);
  s.random_seed = c.get_int(QNDA_RANDOMSEED);
  s.time_limit = c.get_dbl(QNDA_TIMELIMIT);
  s.feas_tol = c.get_dbl(QNDA_FEASTOL);
  s.opt_tol = c.get_dbl(QNDA_OPTIMALITYTOL);
  s.mip_tol = c.get_dbl(QNDA_MIPTOL);
  s.mip_rel_gap = c.get_dbl(QNDA_MIPRELSTOP);
  s.mip_abs_gap = c.get_dbl(QNDA_MIPABSSTOP);
  s.infinity = c.get_dbl(QNDA_INFINITYCTRL);
  return s;
}

void analysis_solve(const qnda_problem_s &prob, FlatModel &m, const EngineSettings &s,
                    EngineResult &r, const EngineStart &start) {
  std::unique_ptr<Engine> engine = make_engine(prob.controls.get_str(QNDA_SOLVERNAME));
  if (!engine)
    fail(QNDA_ERR_UNSUPPORTED, "no engine named \"%s\"",
         prob.controls.get_str(QNDA_SOLVERNAME).c_str());
  engine->solve(m, s, start, EngineHooks(), r);
  if (r.status == EngineStatus::Error || r.status == EngineStatus::NonConvex)
    fail(QNDA_ERR_ENGINE, "%s", r.message.empty() ? "the engine failed" : r.message.c_str());
}

void lp_algorithm_flags(const char *flags, EngineSettings &s) {
  for (const char *p = flags ? flags : ""; *p; ++p) switch (*p) {
      case 'd':
        s.lp_algorithm = 2;
        break;
      case 'p':
        s.lp_algorithm = 3;
        break;
      case 'b':
        s.lp_algorithm = 4;
        break;
      case ' ':
        break;
      default:
        fail(QNDA_ERR_ARGUMENT, "unknown flag '%c' (flags: d, p, b)", *p);
    }
}

AnalysisState &analysis_state(qnda_problem_s &prob) {
  if (!prob.analysis) prob.analysis = std::make_shared<AnalysisState>();
  return *prob.analysis;
}

}  // namespace qnda
