// The incremental scores of greedy elimination against a naive elimination
// that recomputes every score at every step, and the position-indexed heap.
#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <set>

#include "compile/elimination.h"
#include "compile/fragment_builder.h"
#include "compile/heap.h"

namespace orv {
namespace {

using EdgeSet = std::set<std::pair<int, int>>;

struct NaiveScore {
  double fill = 0, clique = 0;
};

// Fill-in weight first, clique weight second; vertices without fill-ins go
// first. Returns the fill-ins, or nothing when two choices tie exactly.
std::optional<EdgeSet> naive_fill_in_weight(const std::vector<double> &weight, std::vector<std::set<int>> adj) {
  const int n = static_cast<int>(weight.size());
  std::vector<bool> gone(n, false);
  EdgeSet fill_ins;
  for (int step = 0; step < n; ++step) {
    std::vector<NaiveScore> score(n);
    int best = -1;
    bool tie = false;
    for (int v = 0; v < n; ++v) {
      if (gone[v]) continue;
      NaiveScore s;
      s.clique = weight[v];
      for (int a : adj[v]) {
        s.clique *= weight[a];
        for (int b : adj[v])
          if (a < b && !adj[a].count(b)) s.fill += weight[a] * weight[b];
      }
      score[v] = s;
      if (best < 0) {
        best = v;
        continue;
      }
      const NaiveScore &o = score[best];
      if (o.fill == 0) continue;  // the first simplicial vertex is as good as any
      if (s.fill == 0 || s.fill < o.fill || (s.fill == o.fill && s.clique < o.clique)) {
        best = v, tie = false;
      } else if (s.fill == o.fill && s.clique == o.clique) {
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
    const std::optional<EdgeSet> expected = naive_fill_in_weight(weight, adj);
    if (!expected) continue;
    const Fragment g = test::make_fragment(weight, edges);
    EdgeSet found;
    for (const EliminatedClique &c : eliminate_greedily(g, orv_tm_fill_in_weight, nullptr))
      for (std::size_t k = 0; k < c.fill_ins.size(); k += 2)
        found.emplace(std::min(c.fill_ins[k], c.fill_ins[k + 1]), std::max(c.fill_ins[k], c.fill_ins[k + 1]));
    EXPECT_EQ(found, *expected) << "trial " << trial;
    ++compared;
  }
  EXPECT_GT(compared, 300);
}

TEST(VertexHeap, KeepsPositionsThroughUpdatesAndRemovals) {
  std::mt19937 random(9);
  std::vector<int> key(200);
  for (int &k : key) k = static_cast<int>(random() % 1000);
  auto better = [&key](Vertex a, Vertex b) { return key[a] < key[b]; };
  VertexHeap<decltype(better)> heap(key.size(), better);
  for (Vertex v = 0; v < key.size(); ++v) heap.push(v);
  for (int round = 0; round < 300; ++round) {
    const Vertex v = static_cast<Vertex>(random() % key.size());
    if (!heap.contains(v)) continue;
    if (round % 3 == 0) {
      heap.remove(v);
    } else {
      key[v] = static_cast<int>(random() % 1000);
      heap.update(v);
    }
  }
  std::vector<int> popped;
  while (!heap.empty()) {
    const Vertex v = heap.pop();
    EXPECT_FALSE(heap.contains(v));
    popped.push_back(key[v]);
  }
  EXPECT_TRUE(std::is_sorted(popped.begin(), popped.end()));
  EXPECT_GT(popped.size(), 100u);
}

}  // namespace
}  // namespace orv
