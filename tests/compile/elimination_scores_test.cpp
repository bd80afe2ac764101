// The incremental scores of greedy elimination (kept in the position-indexed
// heap) against a naive elimination that recomputes every score at every step.
#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <set>

#include "compile/elimination.h"
#include "compile/fragment_builder.h"

namespace orv {
namespace {

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
