// Vertex sets as fixed-width bit rows for the exact total-weight search: a
// graph with bit-row adjacency, connected components of a vertex subset, and
// a pool that stores distinct sets once and finds them again by hashing.
#pragma once

#include <cstddef>
#include <cstdint>

#include "compile/fragment.h"
#include "runtime/allocate.h"

namespace orv {

using Word = std::uint64_t;

// Operations on rows of `words` words.
struct Rows {
  std::size_t words = 0;

  static bool test(const Word *s, Vertex v) { return (s[v >> 6] >> (v & 63)) & 1u; }
  static void set(Word *s, Vertex v) { s[v >> 6] |= Word{1} << (v & 63); }
  void clear(Word *s) const;
  void copy(Word *to, const Word *from) const;
  bool equal(const Word *a, const Word *b) const;
  bool empty(const Word *s) const;
  bool subset(const Word *sub, const Word *set) const;
  std::size_t count(const Word *s) const;
  std::uint64_t hash(const Word *s) const;
  // Calls f(v) for every member, in increasing order.
  template <class F>
  void each(const Word *s, F &&f) const {
    for (std::size_t w = 0; w < words; ++w)
      for (Word bits = s[w]; bits; bits &= bits - 1)
        f(static_cast<Vertex>(w * 64 + static_cast<std::size_t>(__builtin_ctzll(bits))));
  }
};

// Distinct sets of one width, numbered in insertion order.
class SetPool {
 public:
  explicit SetPool(std::size_t words) : rows_{words} {}
  std::size_t size() const { return count_; }
  const Word *operator[](std::size_t i) const { return data_.data() + i * rows_.words; }
  // The number of the set, adding it when new; `added` tells which.
  std::size_t insert(const Word *s, bool &added);
  // The number of the set, or kSizeSentinel when absent.
  std::size_t find(const Word *s) const;

 private:
  void grow();
  Rows rows_;
  Vector<Word> data_;
  Vector<std::size_t> slots_;  // open addressing: set number + 1, 0 = free
  std::size_t count_ = 0;
};

// A graph over vertices 0..n-1 with one adjacency row per vertex.
class BitGraph {
 public:
  explicit BitGraph(const Fragment &g);
  std::size_t size() const { return n_; }
  const Rows &rows() const { return rows_; }
  const Word *adjacency(Vertex v) const { return adjacency_.data() + v * rows_.words; }

  // The components of the subgraph induced by `within`, each written as a
  // row into `components` and its neighbourhood inside `universe` into
  // `neighbors`; returns the count. The outputs grow as needed (reused).
  std::size_t components(const Word *within, const Word *universe, Vector<Word> &components,
                         Vector<Word> &neighbors) const;

 private:
  std::size_t n_;
  Rows rows_;
  Vector<Word> adjacency_;
  mutable Vector<Word> scratch_;  // remaining, frontier, next
};

}  // namespace orv
