// Moralization: which nodes become moral neighbours under each rule, how
// marriages and necessary fill-ins are logged, the log of a whole triangulation
// of a small CG network line by line; and prime components, on graphs with known
// clique-separator decompositions and on random graphs checked by brute force.
#include <gtest/gtest.h>

#include <random>

#include "compile/network_builder.h"
#include "compile/prime_components.h"
#include "model/chain_blocks.h"
#include "support/contract_sweep.h"
#include "support/triangulation_oracle.h"
#include "tables/table.h"

namespace orv {
namespace {

using namespace test;
using Names = std::vector<std::string>;

// Each node's moral neighbours, sorted by name.
std::vector<Names> neighbors_of(std::initializer_list<orv_node_t> nodes) {
  std::vector<Names> all;
  for (orv_node_t n : nodes) {
    all.push_back(names_of(orv_node_get_moral_neighbors(n)));
    std::sort(all.back().begin(), all.back().end());
  }
  return all;
}

TEST(Moralization, ParentsChildrenAndSpousesByCategory) {
  auto d = new_domain();
  orv_node_t a = add_states(d.get(), "A", 2), b = add_states(d.get(), "B", 2), c = add_states(d.get(), "C", 2);
  orv_node_t dec = add_node(d.get(), "Dec", orv_category_decision);
  orv_node_t f = add_node(d.get(), "F", orv_category_function);
  orv_node_t u = add_node(d.get(), "U", orv_category_utility, orv_kind_other);
  link(a, u), link(b, u);    // a utility child marries its parents
  link(a, f), link(c, f);    // a function child neither joins nor marries
  link(c, dec);              // a decision child is a neighbour
  ASSERT_EQ(orv_domain_triangulate(d.get(), orv_tm_clique_size), orv_error_none);
  EXPECT_EQ(neighbors_of({a, b, c, dec, f}), (std::vector<Names>{{"B"}, {"A"}, {"Dec"}, {"C"}, {}}));
  EXPECT_RESULT(orv_node_get_moral_neighbors(u), nullptr, orv_error_usage);  // utility nodes take no part
  EXPECT_EQ(test::check_domain(d.get()), "");
}

TEST(Moralization, EachMarriageIsLoggedOnce) {
  auto d = new_domain();
  orv_node_t a = add_states(d.get(), "A", 2), b = add_states(d.get(), "B", 2), c = add_states(d.get(), "C", 2);
  orv_node_t k1 = add_states(d.get(), "K1", 2), k2 = add_states(d.get(), "K2", 2);
  link(a, k1), link(b, k1), link(a, k2), link(b, k2), link(c, k2);
  const std::string log =
      capture_log(d.get(), [&] { ASSERT_EQ(orv_domain_triangulate(d.get(), orv_tm_best_greedy), orv_error_none); });
  EXPECT_EQ(section(log, "\n\nMoral links", "\n\nTriangulating"),
            "\n\nMoral links:\n\n"
            "    Marrying B and C\n"
            "    Marrying A and C\n"
            "    Marrying A and B\n");
  EXPECT_EQ(neighbors_of({c}), (std::vector<Names>{{"A", "B", "K2"}}));
}

// Chain block {A, B, C} from the potentials (A B | P) and (B C); P -> A,
// P -> B and X -> C. Within the block only nodes that share a potential are
// neighbours (A-B, B-C), and the parents of all members marry (P-X).
TEST(Moralization, ChainBlocksJoinPotentialMembersAndMarryAllTheirParents) {
  auto d = new_domain();
  orv_node_t p = add_states(d.get(), "P", 2), x = add_states(d.get(), "X", 2);
  orv_node_t a = add_states(d.get(), "A", 2), b = add_states(d.get(), "B", 2), c = add_states(d.get(), "C", 2);
  ASSERT_EQ(orv_node_add_parent(a, p), orv_error_none);
  ASSERT_EQ(orv_node_add_parent(b, p), orv_error_none);
  ASSERT_EQ(orv_node_add_parent(c, x), orv_error_none);
  orv_node_t pab[] = {p, a, b, nullptr}, bc[] = {b, c, nullptr};
  _orv_domain_add_chain_potential(d.get(), _orv_create_table(d.get(), pab, orv_table_probability, 0, false, true), 2);
  _orv_domain_add_chain_potential(d.get(), _orv_create_table(d.get(), bc, orv_table_probability, 0, false, true), 2);
  ASSERT_NE(a->chain_block, nullptr);
  ASSERT_EQ(a->chain_block, c->chain_block);
  const std::string log =
      capture_log(d.get(), [&] { ASSERT_EQ(orv_domain_triangulate(d.get(), orv_tm_clique_size), orv_error_none); });
  EXPECT_EQ(neighbors_of({a, b, c, p, x}),
            (std::vector<Names>{{"B", "P"}, {"A", "C", "P"}, {"B", "X"}, {"A", "B", "X"}, {"C", "P"}}));
  EXPECT_EQ(section(log, "\n\nMoral links", "\n\nTriangulating"), "\n\nMoral links:\n\n    Marrying P and X\n");
  EXPECT_EQ(test::check_domain(d.get()), "");
}

// Discrete D1 (2 states), D2 (3), D3 (2) and continuous X, Y with links
// D1 -> X, D2 -> X, X -> Y, D3 -> Y. Domain node order is Y, X, D3, D2, D1
// (newest first); creation numbers D1 = 1 ... Y = 5.
// Walked through by hand:
// - moral links in node order: Y takes D3, X; X takes D2, D1, Y and marries
//   D3 (logged from D3, the older node); D3 takes Y and marries X; D2 takes
//   X and marries D1 (logged from D1); D1 takes X and marries D2.
// - the continuous set {Y, X} is reached from Y: boundary D3, then X's
//   discrete neighbours D2, D1. New pairs D3-D2 and D3-D1 (printed older
//   first); D2-D1 are married already.
// - the moral graph is then chordal with prime components {D1, D2, D3, X}
//   (weight 2*3*2 * (1*4/2 + 1) = 36) and {D3, X, Y} (weight 2 * (2*5/2 + 1)
//   = 12), both complete.
// - the search numbers D3 (in both cliques) first, then D2 and D1, and the
//   continuous X, Y after all discrete nodes: Y is eliminated first.
TEST(Moralization, LogOfASmallCgNetworkLineByLine) {
  auto d = new_domain();
  orv_node_t d1 = add_states(d.get(), "D1", 2), d2 = add_states(d.get(), "D2", 3), d3 = add_states(d.get(), "D3", 2);
  orv_node_t x = add_continuous(d.get(), "X"), y = add_continuous(d.get(), "Y");
  link(d1, x), link(d2, x), link(x, y), link(d3, y);
  const std::string log = capture_log(
      d.get(), [&] { ASSERT_EQ(orv_domain_triangulate(d.get(), orv_tm_best_greedy), orv_error_none); });
  // The junction forest's sections follow the elimination sequence.
  EXPECT_EQ(section(log, "\n\nMoral links", "\n\nCliques:\n"),
            "\n\nMoral links:\n\n"
            "    Marrying D3 and X\n"
            "    Marrying D1 and D2\n"
            "\n\nNecessary fill-ins:\n\n"
            "    Creating necessary fill-in between D2 and D3\n"
            "    Creating necessary fill-in between D1 and D3\n"
            "\n"
            "\nTriangulating prime component with 3 members:\n"
            "    Y, X, D3\n"
            "This component is a clique of cost 12\n"
            "\nTriangulating prime component with 4 members:\n"
            "    X, D3, D2, D1\n"
            "This component is a clique of cost 36\n"
            "\n\nTotal cost of triangulation for all prime components is 48\n"
            "\n\nElimination sequence:\n\n"
            "    Y\n"
            "    X\n"
            "    D1\n"
            "    D2\n"
            "    D3\n");
  EXPECT_EQ(log.find('\n'), 24u);  // "Www Mmm dd hh:mm:ss yyyy\n" from ctime_r
  EXPECT_EQ(log.find("\n\nMoral links"), 25u);  // and then the triangulation
  // {X, Y} is one connected continuous set with discrete boundary D1, D2, D3.
  EXPECT_EQ(neighbors_of({d3, d1}), (std::vector<Names>{{"D1", "D2", "X", "Y"}, {"D2", "D3", "X"}}));
  EXPECT_EQ(test::check_domain(d.get()), "");
}

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
