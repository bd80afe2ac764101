// User-given elimination orders: the validity rules, the cliques they give,
// the order read back and the derived order after a heuristic; and the
// incremental scores of greedy elimination (kept in the position-indexed heap)
// against a naive elimination that recomputes every score at every step.
#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <set>

#include "compile/elimination.h"
#include "compile/network_builder.h"

namespace orv {
namespace {

using namespace test;
using Names = std::vector<std::string>;

// A -> C <- B, C -> E, D -> E (moral: A-B, A-C, B-C, C-D, C-E, D-E) and a
// continuous X with parent C.
struct Network {
  test::DomainPtr d = new_domain();
  orv_node_t a = add_states(d.get(), "A", 2), b = add_states(d.get(), "B", 3), c = add_states(d.get(), "C", 2);
  orv_node_t dd = add_states(d.get(), "D", 2), e = add_states(d.get(), "E", 2);
  orv_node_t x = add_continuous(d.get(), "X");
  Network() { link(a, c), link(b, c), link(c, e), link(dd, e), link(c, x); }
};

TEST(EliminationOrder, InvalidOrdersAreRefusedWithEnumeration) {
  Network net;
  test::DomainPtr other = new_domain();
  orv_node_t stranger = add_states(other.get(), "S", 2);
  orv_node_t f = add_node(net.d.get(), "F", orv_category_function, orv_kind_other);
  link(net.e, f);
  const std::vector<std::vector<orv_node_t>> invalid = {
      {net.a, net.x, net.b, net.c, net.dd, net.e},         // continuous after discrete
      {net.x, net.a, net.b, net.c, net.dd, net.e, net.a},  // twice
      {net.x, net.a, net.b, net.c, net.dd, net.e, f},      // real-valued function node
      {net.x, net.a, net.b, net.c, net.dd},                // incomplete
      {},                                                  // empty
      {net.x, net.a, net.b, net.c, net.dd, stranger},      // another domain's node
  };
  for (std::size_t i = 0; i < invalid.size(); ++i) {
    std::vector<orv_node_t> order = invalid[i];
    order.push_back(nullptr);
    EXPECT_EQ(orv_domain_triangulate_with_order(net.d.get(), order.data()), orv_error_enumeration) << i;
    EXPECT_EQ(orv_error_code(), orv_error_enumeration);
    EXPECT_EQ(compiled_domain(net.d.get()), nullptr) << i;
  }
  std::vector<orv_node_t> valid{net.x, net.e, net.dd, net.a, net.b, net.c, nullptr};
  EXPECT_EQ(orv_domain_triangulate_with_order(net.d.get(), valid.data()), orv_error_none);

  // Utility nodes are not in the order (nor in a CG domain).
  auto d = new_domain();
  orv_node_t a = add_states(d.get(), "A", 2);
  orv_node_t u = add_node(d.get(), "U", orv_category_utility, orv_kind_other);
  link(a, u);
  std::vector<orv_node_t> with_utility{a, u, nullptr};
  EXPECT_EQ(orv_domain_triangulate_with_order(d.get(), with_utility.data()), orv_error_enumeration);
}

TEST(EliminationOrder, AGivenOrderIsFollowedExactly) {
  Network net;
  // Eliminating C first joins A, B, D, E and X: one big clique.
  std::vector<orv_node_t> order{net.x, net.c, net.a, net.b, net.dd, net.e, nullptr};
  ASSERT_EQ(orv_domain_triangulate_with_order(net.d.get(), order.data()), orv_error_none);
  EXPECT_EQ(names_of(orv_domain_get_elimination_order(net.d.get())), (Names{"X", "C", "A", "B", "D", "E"}));
  EXPECT_EQ(elimination_rank(net.x), 6u);  // n for the first eliminated
  EXPECT_EQ(elimination_rank(net.e), 1u);
  EXPECT_TRUE(compiled_domain(net.d.get())->user_order);
  EXPECT_EQ(test::clique_names(net.d.get()),
            (std::vector<Names>{{"A", "B", "C", "D", "E"}, {"C", "X"}}));
  EXPECT_EQ(test::check_domain(net.d.get()), "");
}

TEST(EliminationOrder, DerivedOrderIsPerfectAndEliminatesContinuousNodesFirst) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    auto d = new_domain();
    test::random_network(d.get(), seed, 25, 3, 4, 0.3);
    ASSERT_EQ(orv_domain_triangulate(d.get(), orv_tm_best_greedy), orv_error_none);
    orv_node_t *order = orv_domain_get_elimination_order(d.get());
    ASSERT_NE(order, nullptr);
    EXPECT_EQ(order, orv_domain_get_elimination_order(d.get()));  // cached
    bool discrete_seen = false;
    for (; *order; ++order) {
      EXPECT_FALSE(discrete_seen && orv_node_get_kind(*order) == orv_kind_continuous) << seed;
      discrete_seen = discrete_seen || orv_node_get_kind(*order) == orv_kind_discrete;
    }
    EXPECT_EQ(test::check_domain(d.get()), "") << seed;
    // The same order given back reproduces the cliques.
    auto again = new_domain();
    test::random_network(again.get(), seed, 25, 3, 4, 0.3);
    std::vector<orv_node_t> same;
    for (orv_node_t *o = orv_domain_get_elimination_order(d.get()); *o; ++o)
      same.push_back(orv_domain_get_node_by_name(again.get(), orv_node_get_name(*o)));
    same.push_back(nullptr);
    ASSERT_EQ(orv_domain_triangulate_with_order(again.get(), same.data()), orv_error_none) << seed;
    EXPECT_EQ(test::clique_names(again.get()), test::clique_names(d.get())) << seed;
  }
}

using EdgeSet = std::set<std::pair<int, int>>;

// Scores by the heuristic: clique size or weight first (fill-ins second) for
// the clique heuristics, fill-in count or weight first (clique second) for
// the others; vertices without fill-ins go first. Returns the fill-ins, or
// nothing when two choices tie exactly.
std::optional<EdgeSet> naive_elimination(orv_triangulation_method_t method, const std::vector<double> &weight,
                                         std::vector<std::set<int>> adj) {
  const bool weighted = method == orv_tm_clique_weight || method == orv_tm_fill_in_weight;
  const bool clique_first = method == orv_tm_clique_size || method == orv_tm_clique_weight;
  const int n = static_cast<int>(weight.size());
  std::vector<bool> gone(n, false);
  EdgeSet fill_ins;
  for (int step = 0; step < n; ++step) {
    std::pair<double, double> best_key;  // (primary, secondary)
    double best_fill = 0;
    int best = -1;
    bool tie = false;
    for (int v = 0; v < n; ++v) {
      if (gone[v]) continue;
      double fill = 0, clique = weighted ? weight[v] : 1.0 + adj[v].size();
      for (int a : adj[v]) {
        if (weighted) clique *= weight[a];
        for (int b : adj[v])
          if (a < b && !adj[a].count(b)) fill += weighted ? weight[a] * weight[b] : 1.0;
      }
      const std::pair<double, double> key = clique_first ? std::pair{clique, fill} : std::pair{fill, clique};
      if (best >= 0 && best_fill == 0) continue;  // the first simplicial vertex is as good as any
      if (best < 0 || fill == 0 || key < best_key) {
        best = v, best_key = key, best_fill = fill, tie = false;
      } else if (key == best_key) {
        tie = true;
      }
    }
    if (tie) return std::nullopt;
    for (int a : adj[best])
      for (int b : adj[best])
        if (a < b && !adj[a].count(b)) adj[a].insert(b), adj[b].insert(a), fill_ins.emplace(a, b);
    for (int a : adj[best]) adj[a].erase(best);
    adj[best].clear();
    gone[best] = true;
  }
  return fill_ins;
}

TEST(EliminationScores, IncrementalUpdatesChooseAsFullRecomputation) {
  for (orv_triangulation_method_t method :
       {orv_tm_clique_size, orv_tm_clique_weight, orv_tm_fill_in_size, orv_tm_fill_in_weight}) {
    std::mt19937 random(5);
    int compared = 0;
    for (int trial = 0; trial < 400; ++trial) {
      const int n = 5 + static_cast<int>(random() % 16);
      std::vector<double> weight(n);
      for (double &w : weight) w = 2 + random() % 997;
      std::vector<std::pair<int, int>> edges;
      std::vector<std::set<int>> adj(n);
      const double density = 0.15 + 0.4 * (random() % 100) / 100.0;
      for (int a = 0; a < n; ++a)
        for (int b = a + 1; b < n; ++b)
          if (std::uniform_real_distribution<double>(0, 1)(random) < density)
            edges.emplace_back(a, b), adj[a].insert(b), adj[b].insert(a);
      const std::optional<EdgeSet> expected = naive_elimination(method, weight, adj);
      if (!expected) continue;
      const Fragment g = test::make_fragment(weight, edges);
      EdgeSet found;
      for (const EliminatedClique &c : eliminate_greedily(g, method, nullptr))
        for (std::size_t k = 0; k < c.fill_ins.size(); k += 2)
          found.emplace(std::min(c.fill_ins[k], c.fill_ins[k + 1]), std::max(c.fill_ins[k], c.fill_ins[k + 1]));
      EXPECT_EQ(found, *expected) << "method " << method << " trial " << trial;
      ++compared;
    }
    EXPECT_GT(compared, 100) << method;  // plain scores tie more often
  }
}

}  // namespace
}  // namespace orv
