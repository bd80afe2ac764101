// Triangulation results checked by the independent oracle on random
// networks and best greedy's choice among the heuristics.
#include <gtest/gtest.h>

#include "compile/compiled_domain.h"
#include "compile/elimination.h"
#include "compile/fragment_builder.h"
#include "compile/network_builder.h"

namespace orv {
namespace {

using namespace test;
using Cliques = std::vector<std::vector<std::string>>;

const orv_triangulation_method_t kMethods[] = {orv_tm_clique_size, orv_tm_clique_weight, orv_tm_fill_in_size,
                                               orv_tm_fill_in_weight, orv_tm_best_greedy};

TEST(Triangulation, EveryMethodGivesChordalMaximalCliquesOnRandomNetworks) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    const double continuous_share = seed % 4 == 0 ? 0.3 : 0.0;
    for (orv_triangulation_method_t method : kMethods) {
      auto d = new_domain();
      test::random_network(d.get(), seed, 8 + static_cast<int>(seed % 30), 1 + seed % 4, 5, continuous_share);
      ASSERT_EQ(orv_domain_triangulate(d.get(), method), orv_error_none) << seed;
      EXPECT_EQ(check_domain(d.get()), "") << "seed " << seed << " method " << method;
    }
  }
}

TEST(Triangulation, BestGreedyIsNeverWorseThanAnySingleHeuristic) {
  for (unsigned seed = 100; seed < 130; ++seed) {
    double best = 0.0, cheapest_single = 1e300;
    for (orv_triangulation_method_t method : kMethods) {
      auto d = new_domain();
      test::random_network(d.get(), seed, 30, 3, 6);
      ASSERT_EQ(orv_domain_triangulate(d.get(), method), orv_error_none);
      const double cost = compiled_domain(d.get())->cost;
      if (method == orv_tm_best_greedy)
        best = cost;
      else
        cheapest_single = std::min(cheapest_single, cost);
    }
    EXPECT_LE(best, cheapest_single) << seed;
  }
}

// The four-cycle 0-1-2-3 with weights 2, 10, 2, 10: every elimination adds
// one fill-in. Plain scores tie everywhere (clique 3, one fill-in), so the
// heap's order takes vertex 0 and joins 1-3: cliques {0,1,3} and {1,2,3},
// cost 200 + 200. Weighted scores prefer vertex 1 (clique 10*2*2 = 40,
// weighted fill-in 2*2 = 4, against 200 and 100 for vertex 0), joining 0-2:
// cliques {0,1,2} and {0,2,3}, cost 40 + 40.
TEST(Triangulation, RedundantFillInsAreRemoved) {
  // Eliminating the centre of a star first joins its leaves pairwise; no
  // later clique holds two leaves, so all three fill-ins go again.
  const Fragment star = test::make_fragment({2, 2, 2, 2}, {{0, 1}, {0, 2}, {0, 3}});
  Vector<EliminatedClique> run = eliminate_in_order(star, VertexList{0, 1, 2, 3}, nullptr);
  ASSERT_EQ(run.size(), 1u);
  EXPECT_EQ(run[0].fill_ins.size(), 6u);
  EXPECT_EQ(test::as_sets(_orv_remove_redundant_fill_ins(star, run, nullptr)),
            (std::vector<std::vector<int>>{{0, 1}, {0, 2}, {0, 3}}));

  // K(2,3): eliminating 0 joins 1, 2, 3, and eliminating 1 next forms
  // {1, 2, 3, 4}: every fill-in lies in two cliques and stays.
  const Fragment k23 = test::make_fragment({2, 2, 2, 2, 2}, {{0, 1}, {0, 2}, {0, 3}, {4, 1}, {4, 2}, {4, 3}});
  run = eliminate_in_order(k23, VertexList{0, 1, 2, 3, 4}, nullptr);
  EXPECT_EQ(test::as_sets(_orv_remove_redundant_fill_ins(k23, run, nullptr)),
            (std::vector<std::vector<int>>{{0, 1, 2, 3}, {1, 2, 3, 4}}));
}

// The triangle {0, 1, 4} (weights 2, 2, 2) on the four-cycle 0-2-3-4
// (weights 2, 4, 4, 2): the cycle takes chord 0-3 (cliques 2*4*4 + 2*4*2)
// or chord 2-4 (2*4*2 + 4*4*2), both 48, plus 8 for the triangle. The
// weighted run picks vertex 0 (clique weight 16) and chord 2-4; whatever the
// plain run found costs the same, so best greedy keeps the earlier result.
TEST(Triangulation, BestGreedyKeepsTheEarlierOfEqualCosts) {
  const Fragment g =
      test::make_fragment({2, 2, 4, 4, 2}, {{0, 1}, {0, 2}, {0, 4}, {1, 4}, {2, 3}, {3, 4}});
  const ComponentTriangulation plain = triangulate_by_elimination(g, orv_tm_clique_size, nullptr);
  const ComponentTriangulation weighted = triangulate_by_elimination(g, orv_tm_clique_weight, nullptr);
  EXPECT_EQ(plain.cost, 56.0);
  EXPECT_EQ(weighted.cost, 56.0);
  EXPECT_EQ(test::as_sets(weighted.cliques), (std::vector<std::vector<int>>{{0, 1, 4}, {0, 2, 4}, {2, 3, 4}}));
  ASSERT_NE(test::as_sets(plain.cliques), test::as_sets(weighted.cliques));
  EXPECT_EQ(test::as_sets(try_all_greedy_methods(g, nullptr).cliques), test::as_sets(plain.cliques));
}

}  // namespace
}  // namespace orv
