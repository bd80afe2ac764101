// Bit-row vertex sets, the set pool and components of induced subgraphs.
#include "compile/vertex_sets.h"

#include <algorithm>

namespace orv {

void Rows::clear(Word *s) const { std::fill(s, s + words, Word{0}); }
void Rows::copy(Word *to, const Word *from) const { std::copy(from, from + words, to); }
bool Rows::equal(const Word *a, const Word *b) const { return std::equal(a, a + words, b); }

bool Rows::empty(const Word *s) const {
  for (std::size_t w = 0; w < words; ++w)
    if (s[w]) return false;
  return true;
}

bool Rows::subset(const Word *sub, const Word *set) const {
  for (std::size_t w = 0; w < words; ++w)
    if (sub[w] & ~set[w]) return false;
  return true;
}

std::size_t Rows::count(const Word *s) const {
  std::size_t c = 0;
  for (std::size_t w = 0; w < words; ++w) c += static_cast<std::size_t>(__builtin_popcountll(s[w]));
  return c;
}

std::uint64_t Rows::hash(const Word *s) const {
  std::uint64_t h = 0x9e3779b97f4a7c15u;
  for (std::size_t w = 0; w < words; ++w) {
    h ^= s[w] + 0x9e3779b97f4a7c15u + (h << 6) + (h >> 2);
    h *= 0xff51afd7ed558ccdu;
  }
  return h ^ (h >> 33);
}

std::size_t SetPool::find(const Word *s) const {
  if (slots_.empty()) return kSizeSentinel;
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t at = rows_.hash(s) & mask;; at = (at + 1) & mask) {
    const std::size_t slot = slots_[at];
    if (slot == 0) return kSizeSentinel;
    if (rows_.equal((*this)[slot - 1], s)) return slot - 1;
  }
}

std::size_t SetPool::insert(const Word *s, bool &added) {
  added = false;
  const std::size_t found = find(s);
  if (found != kSizeSentinel) return found;
  if (2 * (count_ + 1) > slots_.size()) grow();
  // Copy first: s may point into data_, which the resize can move.
  const std::size_t at_row = count_ * rows_.words;
  data_.resize(at_row + rows_.words);
  if (s < data_.data() || s >= data_.data() + at_row) rows_.copy(data_.data() + at_row, s);
  const std::size_t mask = slots_.size() - 1;
  std::size_t at = rows_.hash(data_.data() + at_row) & mask;
  while (slots_[at] != 0) at = (at + 1) & mask;
  slots_[at] = ++count_;
  added = true;
  return count_ - 1;
}

void SetPool::grow() {
  Vector<std::size_t> slots(std::max<std::size_t>(16, slots_.size() * 2), 0);
  const std::size_t mask = slots.size() - 1;
  for (std::size_t i = 0; i < count_; ++i) {
    std::size_t at = rows_.hash((*this)[i]) & mask;
    while (slots[at] != 0) at = (at + 1) & mask;
    slots[at] = i + 1;
  }
  data_.reserve(slots.size() / 2 * rows_.words);
  slots_.swap(slots);
}

BitGraph::BitGraph(const Fragment &g) : n_(g.size()), rows_{(g.size() + 63) / 64} {
  adjacency_.assign(n_ * rows_.words, 0);
  for (Vertex v = 0; v < n_; ++v)
    for (Vertex u : g.adjacency[v]) Rows::set(adjacency_.data() + v * rows_.words, u);
  scratch_.assign(3 * rows_.words, 0);
}

std::size_t BitGraph::components(const Word *within, const Word *universe, Vector<Word> &components,
                                 Vector<Word> &neighbors) const {
  const std::size_t W = rows_.words;
  Word *remaining = scratch_.data();
  Word *frontier = remaining + W;
  Word *next = frontier + W;
  rows_.copy(remaining, within);
  std::size_t count = 0;
  for (std::size_t w = 0; w < W; ++w) {
    while (remaining[w]) {
      if (components.size() < (count + 1) * W) {
        components.resize((count + 1) * W);
        neighbors.resize((count + 1) * W);
      }
      Word *component = components.data() + count * W;
      Word *around = neighbors.data() + count * W;
      rows_.clear(component);
      rows_.clear(around);
      rows_.clear(frontier);
      const Vertex start = static_cast<Vertex>(w * 64 + static_cast<std::size_t>(__builtin_ctzll(remaining[w])));
      Rows::set(frontier, start);
      remaining[w] &= remaining[w] - 1;
      // Breadth-first by whole frontiers: each round adds the unvisited
      // members adjacent to the frontier.
      while (!rows_.empty(frontier)) {
        rows_.clear(next);
        rows_.each(frontier, [&](Vertex v) {
          const Word *adjacent = adjacency(v);
          for (std::size_t k = 0; k < W; ++k) around[k] |= adjacent[k];
          Rows::set(component, v);
        });
        for (std::size_t k = 0; k < W; ++k) {
          next[k] = around[k] & remaining[k];
          remaining[k] &= ~next[k];
        }
        rows_.copy(frontier, next);
      }
      for (std::size_t k = 0; k < W; ++k) around[k] &= universe[k] & ~component[k];
      ++count;
    }
  }
  return count;
}

}  // namespace orv
