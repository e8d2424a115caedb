// The native side of bench_callbacks.py: the same loop of small solves with
// a do-nothing C++ callback per kind, and without any.  Prints one line per
// case: "<kind> <events> <seconds with> <seconds without>", then
// "<kind>_fanout <seconds per call>": the callback registered 100 times
// against once, the extra time over the extra calls.
#include <ctime>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "qnda.h"

namespace {

long long g_events = 0;

void on_intsol(QNDAprob, void *) { ++g_events; }
void on_optnode(QNDAprob, void *, int *) { ++g_events; }
void on_message(QNDAprob, void *, const char *msg, int, int) {
  if (msg) ++g_events;
}

// A tiny MIP that finds one solution: max x + y, x + y <= 1.5, x, y binary.
void load(QNDAprob p) {
  const char type[] = {'L'};
  const double rhs[] = {1.5}, obj[] = {1, 1}, val[] = {1, 1}, lb[] = {0, 0}, ub[] = {1, 1};
  const int start[] = {0, 1, 2}, ind[] = {0, 0}, ent[] = {0, 1};
  const char ctype[] = {'B', 'B'};
  QNDAloadglobal(p, "tiny", 2, 1, type, rhs, nullptr, obj, start, nullptr, ind, val, lb, ub, 2, 0,
                 ctype, ent, nullptr, nullptr, nullptr, nullptr, nullptr);
  QNDAchgobjsense(p, -1);
}

double run(QNDAprob p, int solves) {
  // CPU time of the process, as the Python side measures.
  const std::clock_t t0 = std::clock();
  for (int i = 0; i < solves; ++i) {
    QNDAmipoptimize(p, "");
  }
  return static_cast<double>(std::clock() - t0) / CLOCKS_PER_SEC;
}

void add(QNDAprob p, const char *kind) {
  if (!std::strcmp(kind, "message"))
    QNDAaddcbmessage(p, on_message, nullptr, 0);
  else if (!std::strcmp(kind, "optnode"))
    QNDAaddcboptnode(p, on_optnode, nullptr, 0);
  else
    QNDAaddcbintsol(p, on_intsol, nullptr, 0);
}

// Removes every callback of the kind.
void remove(QNDAprob p, const char *kind) {
  if (!std::strcmp(kind, "message"))
    QNDAremovecbmessage(p, nullptr, nullptr);
  else if (!std::strcmp(kind, "optnode"))
    QNDAremovecboptnode(p, nullptr, nullptr);
  else
    QNDAremovecbintsol(p, nullptr, nullptr);
}

}  // namespace

int main(int argc, char **argv) {
  const int solves = argc > 1 ? std::atoi(argv[1]) : 300;
  QNDAinit(nullptr);
  QNDAprob p;
  QNDAcreateprob(&p);
  load(p);
  for (const char *kind : {"intsol", "optnode", "message"}) {
    const bool msg = std::strcmp(kind, "message") == 0;
    const bool node = std::strcmp(kind, "optnode") == 0;
    // optnode runs on Cbc: the solve without it runs there too.
    QNDAsetstrcontrol(p, QNDA_SOLVERNAME, node ? "cbc" : "highs");
    QNDAsetintcontrol(p, QNDA_LOGLEVEL, msg ? 1 : 0);
    QNDAsetintcontrol(p, QNDA_OUTPUTLOG, 0);
    double none = 1e30, with = 1e30;
    long long events = 0;
    for (int rep = 0; rep < 7; ++rep) {
      double t = run(p, solves);
      if (t < none) none = t;
      g_events = 0;
      if (msg)
        QNDAaddcbmessage(p, on_message, nullptr, 0);
      else if (node)
        QNDAaddcboptnode(p, on_optnode, nullptr, 0);
      else
        QNDAaddcbintsol(p, on_intsol, nullptr, 0);
      t = run(p, solves);
      if (t < with) with = t;
      events = g_events;
      if (msg)
        QNDAremovecbmessage(p, on_message, nullptr);
      else if (node)
        QNDAremovecboptnode(p, on_optnode, nullptr);
      else
        QNDAremovecbintsol(p, on_intsol, nullptr);
    }
    std::printf("%s %lld %.6f %.6f\n", kind, events, with, none);
    double t[2] = {1e30, 1e30};
    long long per_reg = 0;
    for (int f = 0; f < 2; ++f) {
      const int k = f ? 100 : 1;
      for (int i = 0; i < k; ++i) add(p, kind);
      for (int rep = 0; rep < 5; ++rep) {
        g_events = 0;
        const double s = run(p, solves);
        if (s < t[f]) t[f] = s;
      }
      if (!f) per_reg = g_events;
      remove(p, kind);
    }
    std::printf("%s_fanout %.9f\n", kind, (t[1] - t[0]) / (99.0 * static_cast<double>(per_reg)));
  }
  QNDAdestroyprob(p);
  QNDAfree();
  return 0;
}
