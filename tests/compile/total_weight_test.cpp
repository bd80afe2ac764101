// The total-weight triangulation against brute force: potential maximal
// cliques against a test of every vertex subset, the exact optimum against
// the best of all elimination orders, and the randomized fallback.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <random>
#include <set>

#include "compile/fragment_builder.h"
#include "compile/total_weight.h"
#include "support/triangulation_oracle.h"

namespace orv {
namespace {

// A connected random graph: a random spanning tree plus edges with the given
// probability; state counts 2 to 4, the listed vertices continuous.
Fragment random_graph(std::mt19937 &rng, int n, double density, std::vector<int> continuous = {}) {
  std::vector<double> weights(n);
  std::vector<std::pair<int, int>> edges;
  for (int v = 0; v < n; ++v) {
    weights[v] = 2 + static_cast<int>(rng() % 3);
    if (v > 0) edges.emplace_back(static_cast<int>(rng() % v), v);
    for (int u = 0; u < v; ++u)
      if (std::uniform_real_distribution<>(0, 1)(rng) < density) edges.emplace_back(u, v);
  }
  return test::make_fragment(weights, edges, continuous);
}

double weight_of(const Fragment &g, const Vector<VertexList> &cliques) {
  double total = 0;
  for (const VertexList &c : cliques) total += set_weight(g, c);
  return total;
}

// The smallest total clique weight over every elimination order (strong
// orders only when continuous vertices are present).
double brute_force_minimum(const Fragment &g) {
  VertexList order(g.size());
  std::iota(order.begin(), order.end(), 0);
  // Continuous vertices first; permutations keep each kind in its range.
  std::stable_partition(order.begin(), order.end(), [&](Vertex v) { return g.continuous[v] != 0; });
  const auto split = std::find_if(order.begin(), order.end(), [&](Vertex v) { return !g.continuous[v]; });
  double best = std::numeric_limits<double>::infinity();
  do {
    do {
      Vector<EliminatedClique> eliminated = eliminate_in_order(g, order, nullptr);
      double total = 0;
      for (const EliminatedClique &c : eliminated) total += set_weight(g, c.members);
      best = std::min(best, total);
    } while (std::next_permutation(split, order.end()));
  } while (std::next_permutation(order.begin(), split));
  return best;
}

// The cliques cover g, form a chordal graph and are its maximal cliques.
void expect_triangulation(const Fragment &g, const Vector<VertexList> &cliques, const std::string &what) {
  test::Adjacency filled(g.size());
  for (const VertexList &c : cliques)
    for (Vertex a : c)
      for (Vertex b : c)
        if (a != b) filled[a].insert(static_cast<int>(b));
  EXPECT_TRUE(test::is_chordal(filled)) << what;
  for (Vertex v = 0; v < g.size(); ++v)
    for (Vertex u : g.adjacency[v]) EXPECT_TRUE(filled[v].count(static_cast<int>(u))) << what;
  for (std::size_t i = 0; i < cliques.size(); ++i)
    for (std::size_t j = 0; j < cliques.size(); ++j)
      EXPECT_TRUE(i == j || !sorted_subset(cliques[i], cliques[j])) << what << ": clique not maximal";
}

TEST(PotentialMaximalCliques, ListingEqualsTheTestOfEverySubset) {
  std::mt19937 rng(7);
  for (int trial = 0; trial < 60; ++trial) {
    const int n = 4 + trial % 7;
    const Fragment g = random_graph(rng, n, trial % 3 == 0 ? 0.15 : 0.35);
    const BitGraph bits(g);
    SetPool separators(bits.rows().words), listed(bits.rows().words);
    ASSERT_TRUE(list_potential_maximal_cliques(bits, SearchLimits{}, separators, listed));
    std::set<Word> expected, found;
    CliqueTest is_pmc(bits);
    const Word all = (Word{1} << n) - 1;
    for (Word s = 1; s <= all; ++s)
      if (is_pmc(&s, &all)) expected.insert(s);
    for (std::size_t p = 0; p < listed.size(); ++p) found.insert(*listed[p]);
    EXPECT_EQ(found, expected) << "trial " << trial;
    // Minimal separators: S is one when two components of G - S are full.
    std::set<Word> minimal;
    Vector<Word> components, neighbors;
    for (Word s = 1; s < all; ++s) {
      const Word rest = all & ~s;
      const std::size_t count = bits.components(&rest, &all, components, neighbors);
      std::size_t full = 0;
      for (std::size_t c = 0; c < count; ++c) full += neighbors[c] == s;
      if (full >= 2) minimal.insert(s);
    }
    std::set<Word> separated;
    for (std::size_t i = 0; i < separators.size(); ++i) separated.insert(*separators[i]);
    EXPECT_EQ(separated, minimal) << "trial " << trial;
  }
}

TEST(TotalWeight, ExactSearchEqualsTheBestEliminationOrder) {
  std::mt19937 rng(19);
  for (int trial = 0; trial < 40; ++trial) {
    const int n = trial == 0 ? 9 : 5 + trial % 3;
    const Fragment g = random_graph(rng, n, 0.3 + 0.05 * (trial % 5));
    const ExactResult exact = minimum_weight_triangulation(g, SearchLimits{});
    ASSERT_TRUE(exact.found && exact.counted) << trial;
    const std::string what = "trial " + std::to_string(trial);
    EXPECT_EQ(exact.best.cost, brute_force_minimum(g)) << what;
    EXPECT_EQ(weight_of(g, exact.best.cliques), exact.best.cost) << what;
    expect_triangulation(g, exact.best.cliques, what);
  }
}

TEST(TotalWeight, LimitsSendTheComponentToTheRandomizedSeries) {
  std::mt19937 rng(3);
  const Fragment g = random_graph(rng, 14, 0.25);
  SearchLimits few;
  few.max_separators = 3;
  const ExactResult stopped = minimum_weight_triangulation(g, few);
  EXPECT_FALSE(stopped.found);
  EXPECT_FALSE(stopped.counted);
  EXPECT_EQ(stopped.separators, 4u);
  SearchLimits narrow;
  narrow.max_separator_size = 1;
  EXPECT_FALSE(minimum_weight_triangulation(g, narrow).found);

  const ExactResult exact = minimum_weight_triangulation(g, SearchLimits{});
  ASSERT_TRUE(exact.found);
  const ComponentTriangulation greedy = try_all_greedy_methods(g, nullptr);
  const ComponentTriangulation randomized = randomized_greedy(g, 11, 200, std::size_t{1} << 40);
  EXPECT_LE(exact.best.cost, randomized.cost);
  EXPECT_LE(exact.best.cost, greedy.cost);
  EXPECT_EQ(weight_of(g, randomized.cliques), randomized.cost);
  expect_triangulation(g, randomized.cliques, "randomized");
  // Repeatable for a seed; an exhausted budget still completes one run.
  EXPECT_EQ(test::as_sets(randomized_greedy(g, 11, 200, std::size_t{1} << 40).cliques),
            test::as_sets(randomized.cliques));
  EXPECT_LT(randomized_greedy(g, 11, 200, 0).cost, std::numeric_limits<double>::infinity());
}

TEST(TotalWeight, ContinuousVerticesGoFirst) {
  // Path c0 - d1 - d2 - c3 closed into a cycle through d4: a chordless
  // cycle of five with two continuous vertices.
  const Fragment g = test::make_fragment({1, 3, 2, 1, 4}, {{0, 1}, {1, 2}, {2, 3}, {3, 4}, {4, 0}}, {0, 3});
  // Joining the two continuous vertices cannot come from a strong order:
  // eliminating either first joins its two discrete neighbours instead.
  Vector<VertexList> bad{{0, 1, 3}, {1, 2, 3}, {0, 3, 4}};
  EXPECT_FALSE(admits_strong_order(g, bad));
  Vector<VertexList> good{{0, 1, 4}, {2, 3, 4}, {1, 2, 4}};
  EXPECT_TRUE(admits_strong_order(g, good));
  std::mt19937 rng(5);
  for (int trial = 0; trial < 10; ++trial) {
    const Fragment mixed = random_graph(rng, 7, 0.3, {trial % 7, (trial + 3) % 7});
    const ComponentTriangulation randomized = randomized_greedy(mixed, trial, 50, std::size_t{1} << 40);
    EXPECT_TRUE(admits_strong_order(mixed, randomized.cliques)) << trial;
    EXPECT_GE(randomized.cost, brute_force_minimum(mixed)) << trial;
  }
}

}  // namespace
}  // namespace orv
