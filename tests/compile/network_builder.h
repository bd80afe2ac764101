// Building test networks: nodes with given state counts and links inserted
// directly into the node lists, plus readers of a triangulated domain's
// moral graph, cliques and order in the terms of the independent checker;
// and hand-made fragments for the graph algorithms (no nodes: such fragments
// are used unlogged).
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "compile/compiled_domain.h"
#include "compile/fragment.h"
#include "model/node.h"
#include "orvel.h"
#include "support/domain_fixture.h"
#include "support/triangulation_oracle.h"

namespace orv::test {

inline orv_node_t add_states(orv_domain_t d, const char *name, std::size_t states) {
  orv_node_t n = add_node(d, name);
  n->state_count = states;
  return n;
}

// A random DAG over n nodes: each node takes up to max_parents earlier nodes
// as parents; state counts in 2..max_states; a share of continuous nodes
// (which never get discrete children).
inline std::vector<orv_node_t> random_network(orv_domain_t d, unsigned seed, int n, int max_parents, int max_states,
                                              double continuous_share = 0.0) {
  std::mt19937 random(seed);
  std::vector<orv_node_t> nodes;
  for (int i = 0; i < n; ++i) {
    const std::string name = "N" + std::to_string(i);
    const bool continuous = std::uniform_real_distribution<double>(0, 1)(random) < continuous_share;
    nodes.push_back(continuous ? add_continuous(d, name.c_str())
                               : add_states(d, name.c_str(), 2 + random() % (max_states - 1)));
    const int parents = static_cast<int>(random() % (max_parents + 1));
    for (int k = 0; k < parents && i > 0; ++k) {
      orv_node_t parent = nodes[random() % i];
      if (parent->is_continuous() && nodes.back()->is_discrete()) continue;
      if (!nodes.back()->parents.contains(parent)) link(parent, nodes.back());
    }
  }
  return nodes;
}

// The triangulated domain in vertex numbers: moral graph, cliques, order.
struct TriangulationView {
  Adjacency moral;
  std::vector<std::vector<int>> cliques;
  std::vector<int> order;
};

inline TriangulationView view_of(orv_domain_t d) {
  TriangulationView view;
  CompiledDomain *state = compiled_domain(d);
  if (!state) return view;
  const std::size_t n = state->moral_graph.size();
  view.moral.resize(n);
  for (std::size_t v = 0; v < n; ++v) {
    orv_node_t *around = orv_node_get_moral_neighbors(state->moral_graph.nodes[v]);
    for (; around && *around; ++around) view.moral[v].insert(static_cast<int>(state->vertex(*around)));
  }
  for (const auto &clique : state->cliques) view.cliques.emplace_back(clique.begin(), clique.end());
  for (orv_node_t *order = orv_domain_get_elimination_order(d); order && *order; ++order)
    view.order.push_back(static_cast<int>(state->vertex(*order)));
  return view;
}

// Checks the domain's triangulation with the independent checker.
inline std::string check_domain(orv_domain_t d) {
  const TriangulationView view = view_of(d);
  if (view.moral.empty()) return "domain is not triangulated";
  for (std::size_t v = 0; v < view.moral.size(); ++v)
    for (int u : view.moral[v])
      if (!view.moral[u].count(static_cast<int>(v))) return "moral graph is not symmetric";
  return check_triangulation(view.moral, view.cliques, view.order);
}

// The part of a log from the first `from` up to the next `to`.
inline std::string section(const std::string &log, const char *from, const char *to) {
  const std::size_t start = log.find(from);
  return log.substr(start, log.find(to, start) - start);
}

// Clique member names, each clique sorted by name, the list sorted.
inline std::vector<std::vector<std::string>> clique_names(orv_domain_t d) {
  std::vector<std::vector<std::string>> result;
  CompiledDomain *state = compiled_domain(d);
  for (const auto &clique : state->cliques) {
    std::vector<std::string> names;
    for (Vertex v : clique) names.emplace_back(orv_node_get_name(state->moral_graph.nodes[v]));
    std::sort(names.begin(), names.end());
    result.push_back(names);
  }
  std::sort(result.begin(), result.end());
  return result;
}

// A fragment of vertices with weights and kinds, edges given as pairs.
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

// Vertex lists as sorted sets of numbers.
inline std::vector<std::vector<int>> as_sets(const Vector<VertexList> &lists) {
  std::vector<std::vector<int>> sets;
  for (const auto &list : lists) sets.emplace_back(list.begin(), list.end());
  std::sort(sets.begin(), sets.end());
  return sets;
}

}  // namespace orv::test
