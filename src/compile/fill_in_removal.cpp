// Removal of redundant fill-ins. Walking the cliques from the last eliminated
// to the first, a fill-in of the current clique whose end points share no
// clique seen so far lies in that clique alone; dropping the edge and
// splitting the clique into C - {a} and C - {b} keeps the graph chordal.
#include <algorithm>

#include "compile/compile_log.h"
#include "compile/elimination.h"
#include "runtime/arena.h"

namespace orv {
namespace {

// Clique lists per vertex, in registration order (so sorted); the lists
// live in the arena of one removal.
class Registry {
 public:
  using List = ArenaVector<Vertex>;

  Registry(std::size_t n, Arena &arena) : holders_(ArenaAllocator<List>(arena)) {
    holders_.reserve(n);
    for (std::size_t v = 0; v < n; ++v) holders_.emplace_back(ArenaAllocator<Vertex>(arena));
  }

  bool share_a_clique(Vertex a, Vertex b) const {
    const List &x = holders_[a], &y = holders_[b];
    std::size_t i = 0, j = 0;
    while (i < x.size() && j < y.size()) {
      if (x[i] == y[j]) return true;
      x[i] < y[j] ? ++i : ++j;
    }
    return false;
  }

  void add(VertexList clique) {
    const Vertex id = static_cast<Vertex>(cliques_.size());
    cliques_.push_back(std::move(clique));
    for (Vertex v : cliques_.back()) holders_[v].push_back(id);
  }

  Vector<VertexList> take() { return std::move(cliques_); }

 private:
  Vector<VertexList> cliques_;
  ArenaVector<List> holders_;
};

bool holds_pair(const VertexList &piece, Vertex a, Vertex b) {
  return contains_sorted(piece, a) && contains_sorted(piece, b);
}

VertexList without(const VertexList &piece, Vertex v) {
  VertexList rest;
  rest.reserve(piece.size());
  for (Vertex u : piece)
    if (u != v) rest.push_back(u);
  return rest;
}

// Adds a piece unless another piece already contains it.
void add_piece(Vector<VertexList> &pieces, VertexList piece) {
  for (const VertexList &other : pieces)
    if (sorted_subset(piece, other)) return;
  pieces.push_back(std::move(piece));
}

// Splits the clique along its redundant fill-ins while each still lies in
// exactly one piece.
Vector<VertexList> split_clique(const Fragment &g, EliminatedClique &clique, const VertexList &redundant,
                                std::FILE *log) {
  Vector<VertexList> pieces;
  pieces.push_back(std::move(clique.members));
  for (bool progress = true; progress;) {
    progress = false;
    for (std::size_t k = 0; k < redundant.size(); k += 2) {
      const Vertex a = redundant[k], b = redundant[k + 1];
      std::size_t holder = pieces.size(), holders = 0;
      for (std::size_t p = 0; p < pieces.size(); ++p)
        if (holds_pair(pieces[p], a, b)) holder = p, ++holders;
      if (holders != 1) continue;
      VertexList piece = std::move(pieces[holder]);
      pieces.erase(pieces.begin() + static_cast<std::ptrdiff_t>(holder));
      if (log) log_printf(log, "\tRemoving redundant fill-in between %s and %s\n", log_name(g.nodes[a]), log_name(g.nodes[b]));
      add_piece(pieces, without(piece, a));
      add_piece(pieces, without(piece, b));
      progress = true;
    }
  }
  return pieces;
}

}  // namespace

Vector<VertexList> _orv_remove_redundant_fill_ins(const Fragment &g, Vector<EliminatedClique> &cliques,
                                                  std::FILE *log) {
  Arena arena;
  Registry seen(g.size(), arena);
  VertexList redundant;
  for (std::size_t c = cliques.size(); c-- > 0;) {
    EliminatedClique &clique = cliques[c];
    redundant.clear();
    for (std::size_t k = 0; k < clique.fill_ins.size(); k += 2) {
      const Vertex a = clique.fill_ins[k], b = clique.fill_ins[k + 1];
      if (!seen.share_a_clique(a, b)) redundant.push_back(a), redundant.push_back(b);
    }
    if (redundant.empty()) {
      seen.add(std::move(clique.members));
      continue;
    }
    for (VertexList &piece : split_clique(g, clique, redundant, log)) seen.add(std::move(piece));
  }
  Vector<VertexList> result = seen.take();
  drop_non_maximal(result, g.size());
  return result;
}

void drop_non_maximal(Vector<VertexList> &cliques, std::size_t n) {
  // Per vertex, the cliques holding it in increasing order, flattened:
  // those of v are ids[start[v]] .. ids[start[v + 1]].
  Arena arena;
  ArenaVector<std::size_t> start(n + 1, 0, ArenaAllocator<std::size_t>(arena));
  for (const VertexList &clique : cliques)
    for (Vertex v : clique) ++start[v + 1];
  for (std::size_t v = 0; v < n; ++v) start[v + 1] += start[v];
  ArenaVector<std::size_t> next(start.begin(), start.end() - 1, ArenaAllocator<std::size_t>(arena));
  ArenaVector<Vertex> ids(start[n], 0, ArenaAllocator<Vertex>(arena));
  for (Vertex id = 0; id < cliques.size(); ++id)
    for (Vertex v : cliques[id]) ids[next[v]++] = id;
  const auto holder_count = [&](Vertex v) { return start[v + 1] - start[v]; };
  ArenaVector<unsigned char> dropped(cliques.size(), 0, ArenaAllocator<unsigned char>(arena));
  for (Vertex id = 0; id < cliques.size(); ++id) {
    const VertexList &clique = cliques[id];
    if (clique.empty()) continue;
    // Any container holds every member, so the rarest member's list suffices.
    Vertex rarest = clique[0];
    for (Vertex v : clique)
      if (holder_count(v) < holder_count(rarest)) rarest = v;
    for (std::size_t k = start[rarest]; k < start[rarest + 1]; ++k) {
      const Vertex other = static_cast<Vertex>(ids[k]);
      if (other == id || dropped[other] || cliques[other].size() < clique.size()) continue;
      if (cliques[other].size() == clique.size() && other > id) continue;  // the first of equals stays
      if (sorted_subset(clique, cliques[other])) {
        dropped[id] = 1;
        break;
      }
    }
  }
  std::size_t kept = 0;
  for (std::size_t id = 0; id < cliques.size(); ++id)
    if (!dropped[id]) {
      if (kept != id) cliques[kept] = std::move(cliques[id]);
      ++kept;
    }
  cliques.erase(cliques.begin() + static_cast<std::ptrdiff_t>(kept), cliques.end());
}

}  // namespace orv
