// Prime components: graphs built with known clique-separator decompositions,
// and random graphs whose components are checked by brute force to be
// connected, free of clique separators and to cover every edge.
#include <gtest/gtest.h>

#include <random>

#include "compile/fragment_builder.h"
#include "compile/prime_components.h"
#include "support/triangulation_oracle.h"

namespace orv {
namespace {

using Sets = std::vector<std::vector<int>>;
using Edges = std::vector<std::pair<int, int>>;

Sets components_of(std::size_t n, const Edges &edges) {
  const Fragment g = test::make_fragment(std::vector<double>(n, 2.0), edges);
  return test::as_sets(find_prime_components(g));
}

TEST(PrimeComponents, KnownDecompositions) {
  // Two triangles sharing the edge 1-2.
  EXPECT_EQ(components_of(4, {{0, 1}, {0, 2}, {1, 2}, {1, 3}, {2, 3}}), (Sets{{0, 1, 2}, {1, 2, 3}}));
  // A chordless four-cycle with a pendant vertex.
  EXPECT_EQ(components_of(5, {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 4}}), (Sets{{0, 1, 2, 3}, {0, 4}}));
  // A path: every edge on its own.
  EXPECT_EQ(components_of(4, {{0, 1}, {1, 2}, {2, 3}}), (Sets{{0, 1}, {1, 2}, {2, 3}}));
  // Unconnected parts, an isolated vertex included.
  EXPECT_EQ(components_of(6, {{0, 1}, {1, 2}, {0, 2}, {3, 4}}), (Sets{{0, 1, 2}, {3, 4}, {5}}));
  // Two four-cycles sharing one vertex.
  EXPECT_EQ(components_of(7, {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 4}, {4, 5}, {5, 6}, {6, 0}}),
            (Sets{{0, 1, 2, 3}, {0, 4, 5, 6}}));
  // A five-cycle with a triangle on its edge 0-1.
  EXPECT_EQ(components_of(6, {{0, 1}, {1, 2}, {2, 3}, {3, 4}, {4, 0}, {5, 0}, {5, 1}}),
            (Sets{{0, 1, 2, 3, 4}, {0, 1, 5}}));
  // Two four-cycles through the non-adjacent pair 0, 2: that separator is
  // no clique, so the graph is prime.
  EXPECT_EQ(components_of(6, {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 4}, {4, 2}, {2, 5}, {5, 0}}),
            (Sets{{0, 1, 2, 3, 4, 5}}));
  // A complete graph is one component.
  EXPECT_EQ(components_of(4, {{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}}), (Sets{{0, 1, 2, 3}}));
}

bool connected_without(const std::vector<int> &members, unsigned removed, const test::Adjacency &adj) {
  std::vector<int> rest;
  for (std::size_t i = 0; i < members.size(); ++i)
    if (!(removed >> i & 1)) rest.push_back(members[i]);
  if (rest.empty()) return true;
  std::set<int> inside(rest.begin(), rest.end()), reached{rest[0]};
  std::vector<int> stack{rest[0]};
  while (!stack.empty()) {
    const int x = stack.back();
    stack.pop_back();
    for (int y : adj[x])
      if (inside.count(y) && reached.insert(y).second) stack.push_back(y);
  }
  return reached.size() == rest.size();
}

bool has_clique_separator(const std::vector<int> &members, const test::Adjacency &adj) {
  const std::size_t k = members.size();
  for (unsigned subset = 0; subset < (1u << k); ++subset) {
    if (static_cast<std::size_t>(__builtin_popcount(subset)) >= k - 1 && k > 1) continue;
    bool clique = true;
    for (std::size_t i = 0; i < k && clique; ++i)
      for (std::size_t j = i + 1; j < k && clique; ++j)
        if ((subset >> i & 1) && (subset >> j & 1) && !adj[members[i]].count(members[j])) clique = false;
    if (clique && !connected_without(members, subset, adj)) return true;
  }
  return false;
}

TEST(PrimeComponents, RandomGraphsSplitIntoCoveringPrimeComponents) {
  std::mt19937 random(7);
  for (int trial = 0; trial < 300; ++trial) {
    const int n = 3 + static_cast<int>(random() % 8);
    const double density = 0.2 + 0.5 * (random() % 100) / 100.0;
    Edges edges;
    test::Adjacency adj(n);
    for (int a = 0; a < n; ++a)
      for (int b = a + 1; b < n; ++b)
        if (std::uniform_real_distribution<double>(0, 1)(random) < density) {
          edges.emplace_back(a, b);
          adj[a].insert(b), adj[b].insert(a);
        }
    const Sets components = components_of(n, edges);
    std::set<int> covered;
    for (const auto &c : components) {
      covered.insert(c.begin(), c.end());
      EXPECT_FALSE(has_clique_separator(c, adj)) << "trial " << trial;
      for (const auto &o : components)
        if (&o != &c) {
          EXPECT_FALSE(std::includes(o.begin(), o.end(), c.begin(), c.end())) << "trial " << trial;
        }
    }
    EXPECT_EQ(covered.size(), static_cast<std::size_t>(n));
    for (auto [a, b] : edges) {
      bool inside = false;
      for (const auto &c : components)
        inside = inside || (std::binary_search(c.begin(), c.end(), a) && std::binary_search(c.begin(), c.end(), b));
      EXPECT_TRUE(inside) << "edge " << a << "-" << b << " trial " << trial;
    }
  }
}

}  // namespace
}  // namespace orv
