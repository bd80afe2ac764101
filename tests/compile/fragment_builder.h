// Hand-made fragments for the graph algorithms: vertices with weights and
// kinds, edges given as pairs. No nodes: such fragments are used unlogged.
#pragma once

#include <utility>
#include <vector>

#include "compile/fragment.h"

namespace orv::test {

inline Fragment make_fragment(std::vector<double> weights, const std::vector<std::pair<int, int>> &edges,
                              std::vector<int> continuous = {}) {
  Fragment g;
  const std::size_t n = weights.size();
  g.nodes.assign(n, nullptr);
  g.weights.assign(weights.begin(), weights.end());
  g.continuous.assign(n, 0);
  for (int v : continuous) g.continuous[v] = 1;
  g.adjacency.resize(n);
  for (auto [a, b] : edges) g.add_edge(static_cast<Vertex>(a), static_cast<Vertex>(b));
  return g;
}

inline std::vector<std::vector<int>> as_sets(const Vector<VertexList> &lists) {
  std::vector<std::vector<int>> sets;
  for (const auto &list : lists) sets.emplace_back(list.begin(), list.end());
  std::sort(sets.begin(), sets.end());
  return sets;
}

}  // namespace orv::test
