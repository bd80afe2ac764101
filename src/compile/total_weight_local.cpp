// Local improvement of a triangulation: a window of neighbouring cliques of
// its clique tree is re-triangulated exactly, with the separators on the
// window's border completed, and replaces those cliques when that is
// cheaper. Gluing triangulations along complete separators keeps the whole
// chordal, so each accepted window lowers the total weight of a valid
// triangulation.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "compile/total_weight.h"

namespace orv {
namespace {

// A clique tree of the cliques of a chordal graph: a spanning tree of
// largest total intersection (Kruskal over the pairs that share a vertex).
Vector<VertexList> clique_tree(const Vector<VertexList> &cliques, std::size_t n) {
  const std::size_t k = cliques.size();
  Vector<VertexList> holders(n);
  for (std::size_t c = 0; c < k; ++c)
    for (Vertex v : cliques[c]) holders[v].push_back(static_cast<Vertex>(c));
  struct Edge {
    std::size_t shared;
    Vertex a, b;
  };
  Vector<Edge> edges;
  Vector<std::size_t> shared(k, 0);
  VertexList met;
  for (std::size_t a = 0; a < k; ++a) {
    for (Vertex v : cliques[a])
      for (Vertex b : holders[v])
        if (b > a && shared[b]++ == 0) met.push_back(b);
    for (Vertex b : met) {
      edges.push_back({shared[b], static_cast<Vertex>(a), b});
      shared[b] = 0;
    }
    met.clear();
  }
  std::sort(edges.begin(), edges.end(), [](const Edge &x, const Edge &y) {
    if (x.shared != y.shared) return x.shared > y.shared;
    return x.a != y.a ? x.a < y.a : x.b < y.b;
  });
  VertexList parent(k);
  for (std::size_t c = 0; c < k; ++c) parent[c] = static_cast<Vertex>(c);
  auto root = [&](Vertex c) {
    while (parent[c] != c) c = parent[c] = parent[parent[c]];
    return c;
  };
  Vector<VertexList> tree(k);
  for (const Edge &e : edges) {
    const Vertex ra = root(e.a), rb = root(e.b);
    if (ra == rb) continue;
    parent[ra] = rb;
    tree[e.a].push_back(e.b);
    tree[e.b].push_back(e.a);
  }
  return tree;
}

VertexList intersection(const VertexList &a, const VertexList &b) {
  VertexList out;
  std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(out));
  return out;
}

class WindowSearch {
 public:
  WindowSearch(const Fragment &g, const LocalSearch &search)
      : g_(g), search_(search), rows_{(g.size() + 63) / 64}, tried_(rows_.words + 1) {
    for (Vertex v = 0; v < g.size(); ++v) mixed_kinds_ |= g.continuous[v] != g.continuous[0];
  }

  ComponentTriangulation run(ComponentTriangulation best) {
    for (std::size_t window = search_.smallest; window <= search_.largest; window += search_.step) {
      for (bool improved = true; improved && searches_ < search_.max_searches;) {
        improved = false;
        const Vector<VertexList> tree = clique_tree(best.cliques, g_.size());
        // Heaviest cliques first: that is where the weight is.
        Vector<double> weight(best.cliques.size());
        VertexList seeds(best.cliques.size());
        for (std::size_t c = 0; c < seeds.size(); ++c) {
          seeds[c] = static_cast<Vertex>(c);
          weight[c] = set_weight(g_, best.cliques[c]);
        }
        std::stable_sort(seeds.begin(), seeds.end(), [&](Vertex a, Vertex b) { return weight[a] > weight[b]; });
        for (Vertex seed : seeds) {
          if (searches_ >= search_.max_searches) break;
          if (try_window(best, tree, weight, seed, window)) {
            improved = true;
            break;
          }
        }
      }
    }
    return best;
  }

  std::size_t searches() const { return searches_; }

 private:
  // Grows a window from the seed, re-triangulates it, and replaces its
  // cliques in best when cheaper. Returns whether it did.
  bool try_window(ComponentTriangulation &best, const Vector<VertexList> &tree, const Vector<double> &weight,
                  Vertex seed, std::size_t limit) {
    const Vector<VertexList> &cliques = best.cliques;
    Vector<unsigned char> inside(cliques.size(), 0);
    VertexList members = cliques[seed];
    inside[seed] = 1;
    VertexList window{seed};
    // Add the neighbouring clique that brings the fewest new vertices.
    for (;;) {
      std::size_t pick = kSizeSentinel, fewest = kSizeSentinel;
      for (Vertex c : window)
        for (Vertex next : tree[c]) {
          if (inside[next]) continue;
          const std::size_t shared = intersection(cliques[next], members).size();
          const std::size_t added = cliques[next].size() - shared;
          if (members.size() + added <= limit && added < fewest) fewest = added, pick = next;
        }
      if (pick == kSizeSentinel) break;
      inside[pick] = 1;
      window.push_back(static_cast<Vertex>(pick));
      VertexList joined;
      std::set_union(members.begin(), members.end(), cliques[pick].begin(), cliques[pick].end(),
                     std::back_inserter(joined));
      members.swap(joined);
    }
    double old_cost = 0.0;
    for (Vertex c : window) old_cost += weight[c];
    if (!first_try(members, old_cost)) return false;
    ++searches_;

    Fragment local = induced_fragment(g_, members);
    auto local_of = [&](Vertex v) {
      return static_cast<Vertex>(std::lower_bound(members.begin(), members.end(), v) - members.begin());
    };
    for (Vertex c : window)
      for (Vertex out : tree[c]) {
        if (inside[out]) continue;
        const VertexList border = intersection(cliques[c], cliques[out]);
        for (std::size_t i = 0; i < border.size(); ++i)
          for (std::size_t j = i + 1; j < border.size(); ++j) local.add_edge(local_of(border[i]), local_of(border[j]));
      }
    ExactResult exact = minimum_weight_triangulation(local, search_.limits);
    if (!exact.found || !(exact.best.cost < old_cost)) return false;

    ComponentTriangulation candidate;
    for (std::size_t c = 0; c < cliques.size(); ++c)
      if (!inside[c]) candidate.cliques.push_back(cliques[c]);
    for (VertexList &clique : exact.best.cliques) {
      for (Vertex &v : clique) v = members[v];  // members are sorted, so the order holds
      candidate.cliques.push_back(std::move(clique));
    }
    drop_non_maximal(candidate.cliques, g_.size());
    candidate.cost = total_weight(g_, candidate.cliques);
    if (!(candidate.cost < best.cost)) return false;
    if (mixed_kinds_ && !admits_strong_order(g_, candidate.cliques)) return false;
    best = std::move(candidate);
    return true;
  }

  // Whether this window, with these cliques inside, is new; a window whose
  // vertices and cost are unchanged was searched already.
  bool first_try(const VertexList &members, double cost) {
    Vector<Word> key(rows_.words + 1, 0);
    for (Vertex v : members) Rows::set(key.data(), v);
    std::memcpy(&key[rows_.words], &cost, sizeof cost);
    bool added = false;
    tried_.insert(key.data(), added);
    return added;
  }

  const Fragment &g_;
  const LocalSearch &search_;
  const Rows rows_;
  SetPool tried_;
  std::size_t searches_ = 0;
  bool mixed_kinds_ = false;
};

}  // namespace

ComponentTriangulation improve_by_windows(const Fragment &g, ComponentTriangulation start, const LocalSearch &search,
                                          std::size_t *searches) {
  WindowSearch windows(g, search);
  ComponentTriangulation result = windows.run(std::move(start));
  if (searches) *searches = windows.searches();
  return result;
}

}  // namespace orv
