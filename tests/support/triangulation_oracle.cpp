// Chordality and clique checks by textbook algorithms, kept apart from the
// engine's code so that tests compare two independent implementations.
#include "support/triangulation_oracle.h"

#include <algorithm>

namespace orv::test {
namespace {

std::string describe(const std::vector<int> &set) {
  std::string text = "{";
  for (int v : set) text += (text.size() > 1 ? "," : "") + std::to_string(v);
  return text + "}";
}

// Later neighbours of each vertex must be pairwise adjacent.
bool perfect_order(const Adjacency &h, const std::vector<int> &order) {
  std::vector<int> position(h.size());
  for (std::size_t i = 0; i < order.size(); ++i) position[order[i]] = static_cast<int>(i);
  for (int v : order) {
    std::vector<int> later;
    for (int u : h[v])
      if (position[u] > position[v]) later.push_back(u);
    for (std::size_t i = 0; i < later.size(); ++i)
      for (std::size_t j = i + 1; j < later.size(); ++j)
        if (!h[later[i]].count(later[j])) return false;
  }
  return true;
}

}  // namespace

bool is_chordal(const Adjacency &graph) {
  // Maximum-cardinality search numbers n..1; its reverse must be perfect.
  const int n = static_cast<int>(graph.size());
  std::vector<int> weight(n, 0), visit;
  std::vector<bool> done(n, false);
  for (int step = 0; step < n; ++step) {
    int pick = -1;
    for (int v = 0; v < n; ++v)
      if (!done[v] && (pick < 0 || weight[v] > weight[pick])) pick = v;
    done[pick] = true;
    visit.push_back(pick);
    for (int u : graph[pick])
      if (!done[u]) ++weight[u];
  }
  std::reverse(visit.begin(), visit.end());
  return perfect_order(graph, visit);
}

std::string check_triangulation(const Adjacency &graph, const std::vector<std::vector<int>> &cliques,
                                const std::vector<int> &order) {
  const int n = static_cast<int>(graph.size());
  Adjacency h(n);
  std::vector<int> covered(n, 0);
  std::set<std::vector<int>> listed;
  for (const auto &clique : cliques) {
    std::vector<int> sorted(clique);
    std::sort(sorted.begin(), sorted.end());
    if (sorted.empty()) return "empty clique";
    if (!listed.insert(sorted).second) return "clique listed twice: " + describe(sorted);
    for (int a : sorted) {
      if (a < 0 || a >= n) return "clique member out of range";
      covered[a] = 1;
      for (int b : sorted)
        if (a != b) h[a].insert(b);
    }
  }
  for (int v = 0; v < n; ++v) {
    if (!covered[v]) return "vertex " + std::to_string(v) + " lies in no clique";
    for (int u : graph[v])
      if (!h[v].count(u)) return "edge " + std::to_string(v) + "-" + std::to_string(u) + " lies in no clique";
  }
  if (!is_chordal(h)) return "the cliques do not form a chordal graph";

  std::vector<int> sorted_order(order);
  std::sort(sorted_order.begin(), sorted_order.end());
  for (int i = 0; i < n; ++i)
    if (static_cast<int>(sorted_order.size()) != n || sorted_order[i] != i) return "order is not a permutation";
  if (!perfect_order(h, order)) return "order is not a perfect elimination order";

  // The maximal cliques of a chordal graph are the maximal sets v + later
  // neighbours along a perfect order.
  std::vector<int> position(n);
  for (int i = 0; i < n; ++i) position[order[i]] = i;
  std::vector<std::vector<int>> candidates;
  for (int v : order) {
    std::vector<int> set{v};
    for (int u : h[v])
      if (position[u] > position[v]) set.push_back(u);
    std::sort(set.begin(), set.end());
    candidates.push_back(set);
  }
  std::set<std::vector<int>> maximal;
  for (const auto &c : candidates) {
    bool inside = false;
    for (const auto &o : candidates)
      if (o.size() > c.size() && std::includes(o.begin(), o.end(), c.begin(), c.end())) inside = true;
    if (!inside) maximal.insert(c);
  }
  for (const auto &c : listed)
    if (!maximal.count(c)) return "clique " + describe(c) + " is not maximal";
  for (const auto &c : maximal)
    if (!listed.count(c)) return "maximal clique " + describe(c) + " is missing";
  return "";
}

}  // namespace orv::test
