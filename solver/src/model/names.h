// The names of one kind (rows, columns or sets), kept in about 8 bytes each.
//
// Every name is one 64-bit word.  Most names a modelling layer gives are one
// letter and a number ("C17", "R2048"): such a name, when the number is
// canonical decimal (no sign, no leading zero) and fits 32 bits, is packed
// into the word itself.  Any other name goes into one character pool shared
// by the kind, zero-terminated, and the word holds its offset.  Word 0 is an
// unnamed entry ("" is unnamed).
//
// Renames and deletions leave dead bytes in the pool; once they outweigh the
// live ones (and are worth a pass over the words) the pool is rebuilt.
//
// The lookup by name is an open-addressing table of indices over the words,
// built on the first lookup after a change; it keeps no copy of the names.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qnda {

class NameStore {
 public:
  // No entries at all: a kind that was never named keeps nothing.
  bool empty() const { return words_.empty(); }
  size_t size() const { return words_.size(); }
  // New entries are unnamed.
  void resize(size_t n);

  bool has(size_t i) const { return words_[i] != 0; }
  // "" when unnamed.
  std::string get(size_t i) const;
  size_t length(size_t i) const;
  void set(size_t i, const char *name);
  // The first entry named so, or -1.
  long find(const char *name) const;
  // The longest name given; *unnamed tells whether any entry is unnamed.
  size_t longest(bool *unnamed) const;

  // Removes the entries whose flag is set; the rest keep their order.
  void remove(const std::vector<char> &drop);

  // Bytes held (words, pool and index), for measurements and tests.
  size_t bytes() const;
  // Whether entry i is packed into its word (for tests).
  bool packed(size_t i) const { return (words_[i] & kPacked) != 0; }

 private:
  static constexpr std::uint64_t kPacked = std::uint64_t{1} << 63;
  // The packed word of name, or 0 when it does not have that form.
  static std::uint64_t pack(const char *name, size_t len);
  // Writes a packed word's text into buf (at least 12 bytes); its length.
  static size_t unpack(std::uint64_t w, char *buf);
  // The text of entry i (pointer into the pool or into buf) and its length.
  const char *text(size_t i, char *buf, size_t *len) const;
  void drop_pooled(std::uint64_t w);
  void maybe_rebuild_pool();
  // Forgets the lookup table after a change (and frees it).
  void drop_index();
  void build_index() const;

  std::vector<std::uint64_t> words_;
  std::vector<char> pool_;
  size_t pool_live_ = 0;  // bytes of the pool that live names use
  // Index: slots hold entry + 1, 0 is free; its size is a power of two.
  mutable std::vector<std::uint32_t> index_;
  mutable bool index_valid_ = false;
};

}  // namespace qnda
