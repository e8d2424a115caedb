#include "core/guard.h"

namespace qnda {

namespace {
std::atomic<bool> g_checked{true};
}  // namespace

void InitCount::up() {
  std::lock_guard<std::mutex> lk(mu_);
  ++count_;
  on_.store(true, std::memory_order_release);
}

bool InitCount::down() {
  std::lock_guard<std::mutex> lk(mu_);
  if (count_ == 0) return false;
  if (--count_ == 0) on_.store(false, std::memory_order_release);
  return true;
}

InitCount &lib_init() {
  static InitCount count;
  return count;
}

bool checked_mode() { return g_checked.load(std::memory_order_relaxed); }
void set_checked_mode(bool on) { g_checked.store(on); }

void check_index(int i, int n, const char *what) {
  if (i < 0 || i >= n) {
    if (n == 0) fail(QNDA_ERR_INDEX, "%s index %d out of range (there are none)", what, i);
    fail(QNDA_ERR_INDEX, "%s index %d out of range [0, %d]", what, i, n - 1);
  }
}

void check_range(int first, int last, int n, const char *what) {
  if (first < 0 || last >= n || first > last + 1) {
    if (n == 0)
      fail(QNDA_ERR_INDEX, "%s range [%d, %d] out of range (there are none)", what, first, last);
    fail(QNDA_ERR_INDEX, "%s range [%d, %d] out of range [0, %d]", what, first, last, n - 1);
  }
}

void check_array(const void *p, const char *name) {
  if (!p) fail(QNDA_ERR_ARGUMENT, "argument %s is NULL", name);
}

void check_count(long long n, const char *name) {
  if (n < 0) fail(QNDA_ERR_ARGUMENT, "%s is negative (%lld)", name, n);
}

}  // namespace qnda
