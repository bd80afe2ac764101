// Prime components by clique minimal separators. Lex M numbers the vertices
// so that the search's implicit fill-in is a minimal triangulation; the
// vertices numbered before v that reached v form v's neighbourhood in it, and
// when that set is a clique of the graph it may separate v's side off.
#include "compile/prime_components.h"

#include <algorithm>
#include <cstdint>

namespace orv {
namespace {

// Its working arrays and its result live in the caller's arena.
class LexM {
 public:
  using List = ArenaVector<Vertex>;

  LexM(const Fragment &g, Arena &arena)
      : g_(g), n_(g.size()), label_(n_, 0, ArenaAllocator<std::size_t>(arena)),
        numbered_(n_, 0, ArenaAllocator<unsigned char>(arena)), reached_(n_, 0, ArenaAllocator<std::uint32_t>(arena)),
        present_(2 * n_ + 2, 0, ArenaAllocator<unsigned char>(arena)),
        rank_(2 * n_ + 2, 0, ArenaAllocator<std::size_t>(arena)), arrival_(n_, 0, ArenaAllocator<std::size_t>(arena)),
        clock_(n_), queues_(ArenaAllocator<List>(arena)), result_(arena) {
    for (Vertex v = 0; v < n_; ++v) arrival_[v] = v;
    result_.number.resize(n_, 0);
    result_.candidates.reserve(n_);
    for (Vertex v = 0; v < n_; ++v) result_.candidates.emplace_back(ArenaAllocator<Vertex>(arena));
    result_.has_candidates.resize(n_, 1);
  }

  LexMNumbering run() {
    renumber_labels();
    for (std::size_t i = n_; i >= 1; --i) {
      const Vertex v = next_;
      numbered_[v] = 1;
      result_.number[v] = i;
      search_from(v);
      renumber_labels();
    }
    return std::move(result_);
  }

 private:
  // v reached w: w's label rises, w moves to the end of its class, and v
  // joins w's candidate list.
  void reach(Vertex v, Vertex w) {
    label_[w] += 1;  // labels are kept doubled, so +1 is the half step
    arrival_[w] = ++clock_;
    if (!result_.has_candidates[w]) return;
    List &list = result_.candidates[w];
    for (Vertex u : list) {
      if (!g_.adjacent(u, v)) {
        result_.has_candidates[w] = 0;
        list.clear();
        return;
      }
    }
    list.push_back(v);
  }

  // Reaches every unnumbered w joined to v by a path whose inner vertices are
  // unnumbered and have labels below w's.
  void search_from(Vertex v) {
    const std::size_t levels = top_ / 2 + 1;
    while (queues_.size() < levels) queues_.emplace_back(queues_.get_allocator());
    for (std::size_t j = 0; j < levels; ++j) queues_[j].clear();
    if (++stamp_ == 0) {
      std::fill(reached_.begin(), reached_.end(), 0);
      stamp_ = 1;
    }
    reached_[v] = stamp_;
    for (Vertex w : g_.adjacency[v]) {
      if (numbered_[w]) continue;
      reached_[w] = stamp_;
      queues_[label_[w] / 2].push_back(w);
      reach(v, w);
    }
    for (std::size_t j = 0; j < levels; ++j) {
      List &queue = queues_[j];
      while (!queue.empty()) {
        const Vertex w = queue.back();
        queue.pop_back();
        for (Vertex z : g_.adjacency[w]) {
          if (numbered_[z] || reached_[z] == stamp_) continue;
          reached_[z] = stamp_;
          if (label_[z] / 2 > j) {
            queues_[label_[z] / 2].push_back(z);
            reach(v, z);
          } else {
            queue.push_back(z);
          }
        }
      }
    }
  }

  // Back to consecutive even labels that keep the order; also finds the next
  // vertex to number: the last of the highest class, that is the largest
  // label and, among equal labels, the vertex that joined its class last.
  void renumber_labels() {
    const std::size_t range = top_ + 2;  // labels rose by at most one step
    std::fill(present_.begin(), present_.begin() + static_cast<std::ptrdiff_t>(range), 0);
    for (Vertex v = 0; v < n_; ++v)
      if (!numbered_[v]) present_[label_[v]] = 1;
    std::size_t next = 0;
    for (std::size_t l = 0; l < range; ++l)
      if (present_[l]) rank_[l] = 2 * next++;
    top_ = 0;
    bool found = false;
    for (Vertex v = 0; v < n_; ++v) {
      if (numbered_[v]) continue;
      label_[v] = rank_[label_[v]];
      if (!found || label_[v] > top_ || (label_[v] == top_ && arrival_[v] > arrival_[next_]))
        top_ = label_[v], next_ = v, found = true;
    }
  }

  const Fragment &g_;
  const std::size_t n_;
  ArenaVector<std::size_t> label_;
  ArenaVector<unsigned char> numbered_;
  ArenaVector<std::uint32_t> reached_;  // stamp of the search that reached a vertex
  std::uint32_t stamp_ = 0;
  std::size_t top_ = 0;  // largest label among unnumbered vertices
  Vertex next_ = 0;      // the vertex holding it
  ArenaVector<unsigned char> present_;
  ArenaVector<std::size_t> rank_;
  // Position within a class: vertices start in fragment order, and each one
  // reached moves behind the rest of its class.
  ArenaVector<std::size_t> arrival_;
  std::size_t clock_ = 0;
  ArenaVector<List> queues_;
  LexMNumbering result_;
};

enum : unsigned char { kFree = 0, kMarked = 1 };

// The free vertices reachable from start (start included), marked on the way.
void take_component(const Fragment &g, Vertex start, ArenaVector<unsigned char> &state, VertexList &out) {
  std::size_t head = out.size();
  state[start] = kMarked;
  out.push_back(start);
  while (head < out.size()) {
    const Vertex x = out[head++];
    for (Vertex y : g.adjacency[x])
      if (state[y] == kFree) state[y] = kMarked, out.push_back(y);
  }
}

bool has_free_neighbor(const Fragment &g, Vertex v, const ArenaVector<unsigned char> &state) {
  for (Vertex u : g.adjacency[v])
    if (state[u] == kFree) return true;
  return false;
}

}  // namespace

LexMNumbering lex_m_numbering(const Fragment &g, Arena &arena) { return LexM(g, arena).run(); }

Vector<VertexList> find_prime_components(const Fragment &g) {
  const std::size_t n = g.size();
  Arena arena;
  const LexMNumbering lex = lex_m_numbering(g, arena);
  ArenaVector<Vertex> by_number(n, 0, ArenaAllocator<Vertex>(arena));
  for (Vertex v = 0; v < n; ++v) by_number[lex.number[v] - 1] = v;

  Vector<VertexList> components;
  ArenaVector<unsigned char> state(n, kFree, ArenaAllocator<unsigned char>(arena));
  ArenaVector<Vertex> reopened{ArenaAllocator<Vertex>(arena)};
  for (Vertex v : by_number) {
    if (state[v] != kFree || !lex.has_candidates[v]) continue;
    const ArenaVector<Vertex> &separator = lex.candidates[v];
    for (Vertex s : separator) state[s] = kMarked;
    VertexList component(separator.begin(), separator.end());
    take_component(g, v, state, component);
    // Separator vertices with free neighbours belong to later components too
    // (decided before any of them is freed again).
    reopened.clear();
    for (Vertex s : separator)
      if (has_free_neighbor(g, s, state)) reopened.push_back(s);
    for (Vertex s : reopened) state[s] = kFree;
    std::sort(component.begin(), component.end());
    components.push_back(std::move(component));
  }
  // Free vertices left over have only free neighbours: each of their
  // connected sets is a component of its own.
  for (Vertex v = 0; v < n; ++v) {
    if (state[v] != kFree) continue;
    VertexList component;
    take_component(g, v, state, component);
    std::sort(component.begin(), component.end());
    components.push_back(std::move(component));
  }
  return components;
}

}  // namespace orv
