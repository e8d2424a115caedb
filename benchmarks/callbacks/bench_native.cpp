// The native side of bench_callbacks.py: the same loop of small solves with
// a do-nothing C++ callback per kind, and without any.  Prints one line per
// case: "<kind> <events> <seconds with> <seconds without>".
#include <chrono>
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
  auto t0 = std::chrono::steady_clock::now();
  for (int i = 0; i < solves; ++i) {
    QNDAmipoptimize(p, "");
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
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
    for (int rep = 0; rep < 5; ++rep) {
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
  }
  QNDAdestroyprob(p);
  QNDAfree();
  return 0;
}
