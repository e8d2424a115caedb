// The results of the last optimisation as bytes, and back: a problem saved
// with its model file and these bytes is the same problem with the same
// solution, basis and statuses after loading both (the module's pickling).
#include <cstring>
#include <string>
#include <type_traits>

#include "api/guard.h"

using namespace qnda;

namespace {

// Layout: magic, format version, then the fields in the order of
// for_each_field; vectors as a count and the items.  Native byte order:
// the bytes travel between processes of one kind of machine.
constexpr unsigned kStateMagic = 0x51535445u;  // "ETSQ"
constexpr unsigned kStateVersion = 1;

struct Writer {
  std::string out;
  template <class T>
  void put(const T &v) {
    static_assert(std::is_trivially_copyable<T>::value, "plain values only");
    out.append(reinterpret_cast<const char *>(&v), sizeof v);
  }
  template <class T>
  void put(const std::vector<T> &v) {
    put(static_cast<QNDAint64>(v.size()));
    out.append(reinterpret_cast<const char *>(v.data()), v.size() * sizeof(T));
  }
};

struct Reader {
  const char *p, *end;
  void take(void *dst, size_t n) {
    if (static_cast<size_t>(end - p) < n) fail(QNDA_ERR_ARGUMENT, "the saved state is truncated");
    if (n == 0) return;  // an empty vector's data() may be null, which memcpy must not get
    std::memcpy(dst, p, n);
    p += n;
  }
  template <class T>
  void put(T &v) {
    take(&v, sizeof v);
  }
  template <class T>
  void put(std::vector<T> &v) {
    QNDAint64 n = 0;
    put(n);
    if (n < 0 || static_cast<size_t>(end - p) / sizeof(T) < static_cast<size_t>(n))
      fail(QNDA_ERR_ARGUMENT, "the saved state is truncated");
    v.resize(static_cast<size_t>(n));
    take(v.data(), static_cast<size_t>(n) * sizeof(T));
  }
};

// One list of the fields for both directions.
template <class IO, class S>
void for_each_field(IO &io, S &s) {
  io.put(s.lp_status);
  io.put(s.mip_status);
  io.put(s.stop_status);
  io.put(s.algorithm);
  io.put(s.was_mip);
  io.put(s.has_solution);
  io.put(s.has_duals);
  io.put(s.lp_obj);
  io.put(s.mip_obj);
  io.put(s.obj);
  io.put(s.best_bound);
  io.put(s.rel_gap);
  io.put(s.solve_time);
  io.put(s.simplex_iter);
  io.put(s.barrier_iter);
  io.put(s.nodes);
  io.put(s.mip_sols);
  io.put(s.max_primal_infeas);
  io.put(s.max_dual_infeas);
  io.put(s.x);
  io.put(s.slack);
  io.put(s.duals);
  io.put(s.djs);
  io.put(s.rowstat);
  io.put(s.colstat);
}

// Vectors of a loaded state are empty or have one entry per column (row).
void check_len(size_t got, int want, const char *what) {
  if (got != 0 && got != static_cast<size_t>(want))
    fail(QNDA_ERR_ARGUMENT, "the saved state has %zu %s values for a problem of %d", got, what,
         want);
}

}  // namespace

extern "C" {

int QNDAsavesolvestate(QNDAprob prob, void *buf, QNDAint64 maxbytes, QNDAint64 *nbytes) {
  return guard_read(prob, "QNDAsavesolvestate", [&] {
    Writer w;
    w.put(kStateMagic);
    w.put(kStateVersion);
    for_each_field(w, static_cast<const SolveState &>(prob->solve));
    if (nbytes) *nbytes = static_cast<QNDAint64>(w.out.size());
    if (!buf) return;
    if (maxbytes < static_cast<QNDAint64>(w.out.size()))
      fail(QNDA_ERR_ARGUMENT, "buffer of %lld bytes too small for the state (%zu bytes)",
           static_cast<long long>(maxbytes), w.out.size());
    std::memcpy(buf, w.out.data(), w.out.size());
  });
}

int QNDAloadsolvestate(QNDAprob prob, const void *buf, QNDAint64 nbytes) {
  return guard(prob, "QNDAloadsolvestate", [&] {
    check_array(buf, "buf");
    if (nbytes < 0) fail(QNDA_ERR_ARGUMENT, "nbytes must not be negative");
    const char *p = static_cast<const char *>(buf);
    Reader r{p, p + nbytes};
    unsigned magic = 0, version = 0;
    r.put(magic);
    r.put(version);
    if (magic != kStateMagic) fail(QNDA_ERR_ARGUMENT, "the bytes are not a saved state");
    if (version != kStateVersion)
      fail(QNDA_ERR_ARGUMENT, "saved state of format %u; this library reads format %u", version,
           kStateVersion);
    SolveState s;
    for_each_field(r, s);
    if (r.p != r.end) fail(QNDA_ERR_ARGUMENT, "the saved state has trailing bytes");
    const int ncols = prob->model.ncols(), nrows = prob->model.nrows();
    check_len(s.x.size(), ncols, "column");
    check_len(s.djs.size(), ncols, "column");
    check_len(s.colstat.size(), ncols, "column");
    check_len(s.slack.size(), nrows, "row");
    check_len(s.duals.size(), nrows, "row");
    check_len(s.rowstat.size(), nrows, "row");
    if (s.has_solution &&
        (s.x.size() != static_cast<size_t>(ncols) || s.slack.size() != static_cast<size_t>(nrows)))
      fail(QNDA_ERR_ARGUMENT, "the saved state claims a solution it does not hold");
    // The user's starting points stay; the results are replaced.
    SolveState &dst = prob->solve;
    s.start_rowstat = std::move(dst.start_rowstat);
    s.start_colstat = std::move(dst.start_colstat);
    s.start_x = std::move(dst.start_x);
    s.start_duals = std::move(dst.start_duals);
    s.mip_start = std::move(dst.mip_start);
    s.model_changed = false;  // the results describe the model as loaded
    dst = std::move(s);
  });
}

}  // extern "C"
