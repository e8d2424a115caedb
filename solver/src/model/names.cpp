#include "model/names.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <string_view>

namespace qnda {

namespace {

bool is_letter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

size_t hash_of(const char *s, size_t len) {
  return std::hash<std::string_view>{}(std::string_view(s, len));
}

}  // namespace

std::uint64_t NameStore::pack(const char *name, size_t len) {
  // A letter, then 1 to 10 digits without a leading zero (but "0" itself).
  if (len < 2 || len > 11 || !is_letter(name[0])) return 0;
  if (name[1] == '0' && len != 2) return 0;
  std::uint64_t v = 0;
  for (size_t k = 1; k < len; ++k) {
    if (name[k] < '0' || name[k] > '9') return 0;
    v = v * 10 + static_cast<std::uint64_t>(name[k] - '0');
  }
  if (v > 0xffffffffu) return 0;
  return kPacked | (static_cast<std::uint64_t>(static_cast<unsigned char>(name[0])) << 32) | v;
}

size_t NameStore::unpack(std::uint64_t w, char *buf) {
  char digits[10];
  auto v = static_cast<std::uint32_t>(w);
  size_t n = 0;
  do {
    digits[n++] = static_cast<char>('0' + v % 10);
    v /= 10;
  } while (v);
  buf[0] = static_cast<char>((w >> 32) & 0xff);
  for (size_t k = 0; k < n; ++k) buf[1 + k] = digits[n - 1 - k];
  buf[n + 1] = '\0';
  return n + 1;
}

const char *NameStore::text(size_t i, char *buf, size_t *len) const {
  std::uint64_t w = words_[i];
  if (w & kPacked) {
    *len = unpack(w, buf);
    return buf;
  }
  if (w == 0) {
    *len = 0;
    return "";
  }
  const char *s = pool_.data() + (w - 1);
  *len = std::strlen(s);
  return s;
}

std::string NameStore::get(size_t i) const {
  char buf[12];
  size_t len;
  const char *s = text(i, buf, &len);
  return std::string(s, len);
}

size_t NameStore::length(size_t i) const {
  char buf[12];
  size_t len;
  text(i, buf, &len);
  return len;
}

void NameStore::drop_pooled(std::uint64_t w) {
  if (w != 0 && !(w & kPacked)) pool_live_ -= std::strlen(pool_.data() + (w - 1)) + 1;
}

void NameStore::set(size_t i, const char *name) {
  drop_pooled(words_[i]);
  size_t len = std::strlen(name);
  std::uint64_t w = len ? pack(name, len) : 0;
  if (len && !w) {
    w = pool_.size() + 1;
    pool_.insert(pool_.end(), name, name + len + 1);
    pool_live_ += len + 1;
  }
  words_[i] = w;
  drop_index();
  maybe_rebuild_pool();
}

void NameStore::resize(size_t n) {
  if (n < words_.size()) {
    std::vector<char> drop(words_.size(), 0);
    std::fill(drop.begin() + static_cast<std::ptrdiff_t>(n), drop.end(), 1);
    remove(drop);
  }
  words_.resize(n, 0);  // new entries unnamed; the index stays right
}

void NameStore::remove(const std::vector<char> &drop) {
  size_t w = 0;
  for (size_t k = 0; k < words_.size(); ++k) {
    if (drop[k]) {
      drop_pooled(words_[k]);
      continue;
    }
    words_[w++] = words_[k];
  }
  words_.resize(w);
  if (w < words_.capacity() / 2) words_.shrink_to_fit();
  drop_index();
  maybe_rebuild_pool();
}

void NameStore::drop_index() {
  if (!index_valid_) return;
  index_valid_ = false;
  std::vector<std::uint32_t>().swap(index_);
}

void NameStore::maybe_rebuild_pool() {
  // More than half dead, and enough dead bytes to pay for a pass over the
  // words: repeated renames then cost O(1) each on average.
  size_t dead = pool_.size() - pool_live_;
  if (dead <= pool_live_ || dead < 64 || dead < words_.size() / 8) return;
  std::vector<char> pool;
  pool.reserve(pool_live_);
  for (auto &w : words_) {
    if (w == 0 || (w & kPacked)) continue;
    const char *s = pool_.data() + (w - 1);
    size_t len = std::strlen(s);
    w = pool.size() + 1;
    pool.insert(pool.end(), s, s + len + 1);
  }
  pool_.swap(pool);
}

void NameStore::build_index() const {
  size_t named = 0;
  for (auto w : words_) named += w != 0;
  size_t cap = 16;
  while (cap < 2 * named) cap *= 2;
  index_.assign(cap, 0);
  char buf[12], other[12];
  for (size_t i = 0; i < words_.size(); ++i) {
    if (!words_[i]) continue;
    size_t len;
    const char *s = text(i, buf, &len);
    size_t slot = hash_of(s, len) & (cap - 1);
    for (;; slot = (slot + 1) & (cap - 1)) {
      std::uint32_t e = index_[slot];
      if (e == 0) {
        index_[slot] = static_cast<std::uint32_t>(i + 1);
        break;
      }
      size_t olen;
      const char *o = text(e - 1, other, &olen);
      if (olen == len && std::memcmp(o, s, len) == 0) break;  // the first of equal names wins
    }
  }
  index_valid_ = true;
}

long NameStore::find(const char *name) const {
  size_t len = std::strlen(name);
  if (words_.empty() || len == 0) return -1;
  if (!index_valid_) build_index();
  const size_t mask = index_.size() - 1;
  char buf[12];
  for (size_t slot = hash_of(name, len) & mask;; slot = (slot + 1) & mask) {
    std::uint32_t e = index_[slot];
    if (e == 0) return -1;
    size_t olen;
    const char *o = text(e - 1, buf, &olen);
    if (olen == len && std::memcmp(o, name, len) == 0) return static_cast<long>(e - 1);
  }
}

size_t NameStore::longest(bool *unnamed) const {
  size_t longest = 0;
  *unnamed = false;
  for (size_t i = 0; i < words_.size(); ++i) {
    if (!words_[i])
      *unnamed = true;
    else
      longest = std::max(longest, length(i));
  }
  return longest;
}

size_t NameStore::bytes() const {
  return words_.capacity() * sizeof(std::uint64_t) + pool_.capacity() +
         index_.capacity() * sizeof(std::uint32_t);
}

}  // namespace qnda
