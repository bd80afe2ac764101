// Minimal separators by the close-neighbourhood closure (every minimal
// separator is the neighbourhood of a component of G - N[v], or of
// G - (S + N(x)) for a separator S and x in S), and potential maximal
// cliques by adding one vertex at a time: the cliques of G_i come from those
// of G_(i-1), from S + a_i, and from S + (T & C) with S a separator of G_i,
// C a component of G_i - S and T a separator of G_(i-1).
// The separators of the prefixes G_i need no listing of their own: a minimal
// separator T of G_i - a is one of G_i, or T + a is, so the separators of
// G_(i-1) are among S - a_i for the separators S of G_i. Walking back from G,
// every prefix's separators are S & V_i for separators S of G, kept as
// numbers into the list of G.
#include "compile/potential_cliques.h"

namespace orv {
namespace {

bool within_limit(std::size_t value, std::size_t limit) { return limit == 0 || value <= limit; }

// Adds the neighbourhood of every component of universe - removed.
bool add_component_separators(const BitGraph &g, const Word *removed, const Word *universe,
                              const SearchLimits &limits, SetPool &out, Vector<Word> &within,
                              Vector<Word> &components, Vector<Word> &neighbors) {
  const Rows &rows = g.rows();
  for (std::size_t k = 0; k < rows.words; ++k) within[k] = universe[k] & ~removed[k];
  const std::size_t count = g.components(within.data(), universe, components, neighbors);
  for (std::size_t c = 0; c < count; ++c) {
    const Word *s = neighbors.data() + c * rows.words;
    if (rows.empty(s)) continue;
    bool added = false;
    out.insert(s, added);
    if (added && (!within_limit(out.size(), limits.max_separators) ||
                  !within_limit(rows.count(s), limits.max_separator_size)))
      return false;
  }
  return true;
}

// Vertices in breadth-first order from vertex 0, so that every prefix
// induces a connected graph.
VertexList connected_order(const BitGraph &g) {
  VertexList order;
  order.reserve(g.size());
  Vector<unsigned char> seen(g.size(), 0);
  for (Vertex root = 0; root < g.size(); ++root) {
    if (seen[root]) continue;
    seen[root] = 1;
    order.push_back(root);
    for (std::size_t head = order.size() - 1; head < order.size(); ++head)
      g.rows().each(g.adjacency(order[head]), [&](Vertex u) {
        if (!seen[u]) {
          seen[u] = 1;
          order.push_back(u);
        }
      });
  }
  return order;
}

// Whether s (not empty) is a minimal separator of the subgraph induced by
// universe: at least two components of the rest see all of s.
bool is_minimal_separator(const BitGraph &g, const Word *s, const Word *universe, Vector<Word> &within,
                          Vector<Word> &components, Vector<Word> &neighbors) {
  const Rows &rows = g.rows();
  for (std::size_t k = 0; k < rows.words; ++k) within[k] = universe[k] & ~s[k];
  const std::size_t count = g.components(within.data(), universe, components, neighbors);
  std::size_t full = 0;
  for (std::size_t c = 0; c < count && full < 2; ++c) full += rows.equal(neighbors.data() + c * rows.words, s);
  return full >= 2;
}

// The minimal separators of every prefix G_i (i = 0 .. n-1 of order), as
// numbers into the separators of G, each prefix's sets distinct.
Vector<Vector<std::uint32_t>> prefix_separators(const BitGraph &g, const VertexList &order, const SetPool &top) {
  const Rows &rows = g.rows();
  const std::size_t W = rows.words, n = order.size();
  Vector<Vector<std::uint32_t>> levels(n);
  levels[n - 1].resize(top.size());
  for (std::size_t t = 0; t < top.size(); ++t) levels[n - 1][t] = static_cast<std::uint32_t>(t);
  Vector<Word> universe(W, 0), candidate(W), within(W), components, neighbors;
  for (Vertex v : order) Rows::set(universe.data(), v);
  for (std::size_t i = n - 1; i > 0; --i) {
    universe[order[i] >> 6] &= ~(Word{1} << (order[i] & 63));  // now V_(i-1)
    SetPool seen(W);
    for (std::uint32_t t : levels[i]) {
      for (std::size_t k = 0; k < W; ++k) candidate[k] = top[t][k] & universe[k];
      bool added = false;
      if (rows.empty(candidate.data())) continue;
      seen.insert(candidate.data(), added);
      if (added && is_minimal_separator(g, candidate.data(), universe.data(), within, components, neighbors))
        levels[i - 1].push_back(t);
    }
  }
  return levels;
}

}  // namespace

bool list_minimal_separators(const BitGraph &g, const Word *universe, const SearchLimits &limits, SetPool &out) {
  out = SetPool(g.rows().words);
  const Rows &rows = g.rows();
  const std::size_t W = rows.words;
  Vector<Word> removed(W), within(W), components, neighbors;
  bool complete = true;
  rows.each(universe, [&](Vertex v) {
    if (!complete) return;
    for (std::size_t k = 0; k < W; ++k) removed[k] = g.adjacency(v)[k] & universe[k];
    Rows::set(removed.data(), v);
    complete = add_component_separators(g, removed.data(), universe, limits, out, within, components, neighbors);
  });
  for (std::size_t i = 0; complete && i < out.size(); ++i) {
    Vector<Word> separator(out[i], out[i] + W);
    rows.each(separator.data(), [&](Vertex x) {
      if (!complete) return;
      for (std::size_t k = 0; k < W; ++k) removed[k] = separator[k] | (g.adjacency(x)[k] & universe[k]);
      complete = add_component_separators(g, removed.data(), universe, limits, out, within, components, neighbors);
    });
  }
  return complete;
}

bool CliqueTest::operator()(const Word *omega, const Word *universe) {
  const Rows &rows = g_.rows();
  const std::size_t W = rows.words;
  within_.resize(W);
  cover_.resize(W);
  for (std::size_t k = 0; k < W; ++k) within_[k] = universe[k] & ~omega[k];
  const std::size_t count = g_.components(within_.data(), universe, components_, neighbors_);
  for (std::size_t c = 0; c < count; ++c)
    if (rows.equal(neighbors_.data() + c * W, omega)) return false;
  bool clique = true;
  rows.each(omega, [&](Vertex x) {
    if (!clique) return;
    const Word *adjacent = g_.adjacency(x);
    for (std::size_t k = 0; k < W; ++k) cover_[k] = adjacent[k];
    Rows::set(cover_.data(), x);
    for (std::size_t c = 0; c < count; ++c) {
      const Word *s = neighbors_.data() + c * W;
      if (Rows::test(s, x))
        for (std::size_t k = 0; k < W; ++k) cover_[k] |= s[k];
    }
    clique = rows.subset(omega, cover_.data());
  });
  return clique;
}

bool list_potential_maximal_cliques(const BitGraph &g, const SearchLimits &limits, const SetPool &separators,
                                    SetPool &out) {
  const Rows &rows = g.rows();
  const std::size_t W = rows.words;
  const VertexList order = connected_order(g);
  const Vector<Vector<std::uint32_t>> levels = prefix_separators(g, order, separators);
  CliqueTest is_pmc(g);
  Vector<Word> universe(W, 0), candidate(W), within(W), components, neighbors;
  SetPool previous_cliques(W), previous_separators(W), current_separators(W);
  Rows::set(universe.data(), order[0]);
  out = SetPool(W);
  bool added = false;
  out.insert(universe.data(), added);

  std::size_t tests = 0;
  auto offer = [&](SetPool &cliques) {
    if (cliques.find(candidate.data()) != kSizeSentinel) return true;
    if (!within_limit(++tests, limits.max_tests)) return false;
    if (!is_pmc(candidate.data(), universe.data())) return true;
    cliques.insert(candidate.data(), added);
    return within_limit(cliques.size(), limits.max_cliques);
  };
  for (std::size_t i = 1; i < order.size(); ++i) {
    const Vertex a = order[i];
    Rows::set(universe.data(), a);
    std::swap(previous_cliques, out);
    out = SetPool(W);
    current_separators = SetPool(W);
    for (std::uint32_t t : levels[i]) {
      for (std::size_t k = 0; k < W; ++k) candidate[k] = separators[t][k] & universe[k];
      current_separators.insert(candidate.data(), added);
    }
    tests += current_separators.size() * rows.count(universe.data());  // the cost of listing them
    for (std::size_t p = 0; p < previous_cliques.size(); ++p) {
      rows.copy(candidate.data(), previous_cliques[p]);
      if (!offer(out)) return false;
      Rows::set(candidate.data(), a);
      if (!offer(out)) return false;
    }
    for (std::size_t s = 0; s < current_separators.size(); ++s) {
      const Word *separator = current_separators[s];
      rows.copy(candidate.data(), separator);
      Rows::set(candidate.data(), a);
      if (!offer(out)) return false;
      if (Rows::test(separator, a) || previous_separators.find(separator) != kSizeSentinel) continue;
      for (std::size_t k = 0; k < W; ++k) within[k] = universe[k] & ~separator[k];
      const std::size_t count = g.components(within.data(), universe.data(), components, neighbors);
      for (std::size_t t = 0; t < previous_separators.size(); ++t) {
        for (std::size_t c = 0; c < count; ++c) {
          const Word *component = components.data() + c * W;
          for (std::size_t k = 0; k < W; ++k) candidate[k] = separator[k] | (previous_separators[t][k] & component[k]);
          if (rows.equal(candidate.data(), separator)) continue;
          if (!offer(out)) return false;
        }
      }
    }
    std::swap(previous_separators, current_separators);
  }
  return true;
}

}  // namespace orv
