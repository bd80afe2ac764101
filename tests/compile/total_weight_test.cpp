// The total-weight triangulation against brute force: potential maximal
// cliques against a test of every vertex subset, the exact optimum against
// the best of all elimination orders, and the randomized fallback.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <random>
#include <set>

#include "compile/network_builder.h"
#include "compile/total_weight.h"
#include "runtime/error.h"
#include "support/contract_sweep.h"
#include "support/fault_injection.h"
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
    const Word all = (Word{1} << n) - 1;
    ASSERT_TRUE(list_minimal_separators(bits, &all, SearchLimits{}, separators));
    ASSERT_TRUE(list_potential_maximal_cliques(bits, SearchLimits{}, separators, listed));
    std::set<Word> expected, found;
    CliqueTest is_pmc(bits);
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

// Windows re-triangulated exactly: from a poor elimination order, a window
// as large as the graph reaches the optimum, and smaller windows give a valid
// triangulation between the two; strong orders survive; the result depends
// only on the input.
TEST(TotalWeight, WindowsImproveAPoorTriangulation) {
  std::mt19937 rng(23);
  std::size_t improved = 0;
  for (int trial = 0; trial < 16; ++trial) {
    const int n = 14 + trial % 5;
    std::vector<int> continuous;
    if (trial % 4 == 3) continuous = {trial % n, (trial + 5) % n};
    const Fragment g = random_graph(rng, n, 0.18, continuous);
    // Reverse vertex order, continuous vertices first: usually far from best.
    VertexList order;
    for (int pass = 0; pass < 2; ++pass)
      for (int v = n - 1; v >= 0; --v)
        if ((g.continuous[v] != 0) == (pass == 0)) order.push_back(static_cast<Vertex>(v));
    ComponentTriangulation start;
    for (EliminatedClique &c : eliminate_in_order(g, order, nullptr)) start.cliques.push_back(std::move(c.members));
    start.cost = weight_of(g, start.cliques);
    const std::string what = "trial " + std::to_string(trial);
    for (std::size_t window : {std::size_t{8}, static_cast<std::size_t>(n)}) {
      LocalSearch search;
      search.smallest = search.largest = window;
      search.max_searches = 1000;
      std::size_t searches = 0;
      const ComponentTriangulation better = improve_by_windows(g, start, search, &searches);
      EXPECT_GT(searches, 0u) << what;
      EXPECT_LE(better.cost, start.cost) << what;
      EXPECT_EQ(weight_of(g, better.cliques), better.cost) << what;
      expect_triangulation(g, better.cliques, what + " window " + std::to_string(window));
      EXPECT_TRUE(admits_strong_order(g, better.cliques)) << what;
      const double optimum = minimum_weight_triangulation(g, SearchLimits{}).best.cost;
      if (continuous.empty() && window == static_cast<std::size_t>(n))
        EXPECT_EQ(better.cost, optimum) << what;
      else
        EXPECT_GE(better.cost, optimum) << what;
      improved += window == static_cast<std::size_t>(n) && better.cost < start.cost;
      EXPECT_EQ(test::as_sets(improve_by_windows(g, start, search).cliques), test::as_sets(better.cliques)) << what;
    }
    // No search allowed: the start comes back unchanged.
    LocalSearch none;
    none.smallest = none.largest = static_cast<std::size_t>(n);
    EXPECT_EQ(test::as_sets(improve_by_windows(g, start, none).cliques), test::as_sets(start.cliques)) << what;
  }
  EXPECT_GT(improved, 4u);
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

// Through the public API: random domains against brute force over the whole
// moral graph, the limits as settings, and the randomized series when the
// limits refuse the exact search.
TEST(TotalWeightMethod, RandomDomainsReachTheBestEliminationOrder) {
  for (unsigned seed = 1; seed <= 12; ++seed) {
    auto d = test::new_domain();
    test::random_network(d.get(), seed, 8, 3, 3);
    ASSERT_EQ(orv_domain_triangulate(d.get(), orv_tm_total_weight), orv_error_none) << seed;
    EXPECT_EQ(test::check_domain(d.get()), "") << seed;
    const CompiledDomain &state = *compiled_domain(d.get());
    EXPECT_EQ(state.cost, brute_force_minimum(state.moral_graph)) << seed;
    EXPECT_EQ(weight_of(state.moral_graph, state.cliques), state.cost) << seed;
  }
}

// The limits are domain settings; within them the search is exact, beyond
// them the log says which limit sent the component to the fallback. Binary
// nodes A..F in a chain with F also a child of A: marrying A and E leaves a
// chordless cycle of five, whose triangulations have three cliques of 8.
TEST(TotalWeightMethod, LimitsChooseBetweenExactAndFallbackInTheLog) {
  auto d = test::new_domain();
  orv_node_t v[6];
  const char *names[] = {"A", "B", "C", "D", "E", "F"};
  for (int i = 0; i < 6; ++i) v[i] = test::add_states(d.get(), names[i], 2);
  for (int i = 0; i + 1 < 6; ++i) test::link(v[i], v[i + 1]);
  test::link(v[0], v[5]);
  EXPECT_EQ(orv_domain_get_max_number_of_separators(d.get()), 10000u);
  EXPECT_EQ(orv_domain_get_max_separator_size(d.get()), 0u);
  const orv_domain_t wrong = reinterpret_cast<orv_domain_t>(orv_domain_get_first_node(d.get()));
  test::expect_usage_calls(
      {{"set count null", [] { return orv_domain_set_max_number_of_separators(nullptr, 5) == orv_error_usage; }},
       {"get count node", [&] { return orv_domain_get_max_number_of_separators(wrong) == static_cast<size_t>(-1); }},
       {"set size node", [&] { return orv_domain_set_max_separator_size(wrong, 5) == orv_error_usage; }},
       {"get size null", [] { return orv_domain_get_max_separator_size(nullptr) == static_cast<size_t>(-1); }}},
      [&] { return orv_domain_get_max_separator_size(d.get()) == 0; });
  const std::string exact =
      test::capture_log(d.get(), [&] { ASSERT_EQ(orv_domain_triangulate(d.get(), orv_tm_total_weight), 0); });
  EXPECT_CONTAINS(exact, "\n    Using the total weight method for triangulation\n\n"
                        "    5 minimal separators, exact search: total weight 24\n");
  EXPECT_CONTAINS(exact, "Total cost of triangulation for all prime components is 32\n");
  uncompile(d.get());
  const std::pair<size_t, const char *> limits[] = {{2, "more than 2 minimal separators"},
                                                    {0, "a minimal separator larger than 1"}};
  for (auto [count, text] : limits) {
    ASSERT_EQ(orv_domain_set_max_number_of_separators(d.get(), count), orv_error_none);
    ASSERT_EQ(orv_domain_set_max_separator_size(d.get(), count ? 0 : 1), orv_error_none);
    const std::string fallback =
        test::capture_log(d.get(), [&] { ASSERT_EQ(orv_domain_triangulate(d.get(), orv_tm_total_weight), 0); });
    EXPECT_CONTAINS(fallback, std::string("    ") + text +
                                  ", beyond the limits: best greedy 24, randomized greedy 24, exact windows 24\n");
    EXPECT_EQ(test::check_domain(d.get()), "");
    uncompile(d.get());
  }
}

TEST(TotalWeightMethod, AllocationFailuresInTheFallbackAreReported) {
  std::mt19937 rng(2);
  const Fragment g = random_graph(rng, 9, 0.3);
  const auto clean = test::expect_no_memory_sweep(
      "randomized", [&] { return guarded_status([&] { randomized_greedy(g, 1, 3, std::size_t{1} << 40); }); },
      [] {});
  EXPECT_EQ(clean.result, orv_error_none);
  ComponentTriangulation start = randomized_greedy(g, 1, 1, 0);
  LocalSearch search;
  search.smallest = search.largest = 6;
  search.max_searches = 4;
  const auto windows = test::expect_no_memory_sweep(
      "windows", [&] { return guarded_status([&] { improve_by_windows(g, start, search); }); }, [] {});
  EXPECT_EQ(windows.result, orv_error_none);
}

}  // namespace
}  // namespace orv
