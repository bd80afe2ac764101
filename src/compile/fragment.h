// The working graph of triangulation: an undirected graph over dense vertex
// indices with sorted adjacency, plus what the heuristics need per vertex
// (its node, its weight and whether it is continuous).
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "orvel.h"
#include "runtime/allocate.h"

namespace orv {

using Vertex = std::uint32_t;
using VertexList = Vector<Vertex>;

// Sorted-list services shared by the graph algorithms (any vector of
// vertices: the funnel's or an arena's).
template <class List>
bool contains_sorted(const List &list, Vertex v) {
  return std::binary_search(list.begin(), list.end(), v);
}
// Inserts v keeping the order; no effect when already present.
template <class List>
void _orv_insert_in_sorted_list(List &list, Vertex v) {
  auto at = std::lower_bound(list.begin(), list.end(), v);
  if (at == list.end() || *at != v) list.insert(at, v);
}
template <class List>
void erase_sorted(List &list, Vertex v) {
  auto at = std::lower_bound(list.begin(), list.end(), v);
  if (at != list.end() && *at == v) list.erase(at);
}
// Every entry of sub occurs in list (both sorted).
template <class Sub, class List>
bool sorted_subset(const Sub &sub, const List &list) {
  return std::includes(list.begin(), list.end(), sub.begin(), sub.end());
}

struct Fragment {
  orv_domain_s *domain = nullptr;
  Vector<orv_node_t> nodes;          // vertex -> node
  Vector<VertexList> adjacency;      // sorted by vertex index
  Vector<double> weights;            // states of a discrete node, 1 for a continuous one
  Vector<unsigned char> continuous;  // 1 for a CG vertex
  const Fragment *enclosing = nullptr;
  VertexList global;                 // vertex -> vertex of the enclosing fragment

  std::size_t size() const { return nodes.size(); }
  bool adjacent(Vertex a, Vertex b) const { return contains_sorted(adjacency[a], b); }
  // Adds the edge a-b to both lists (a != b). A failure may leave one side
  // changed: fragments are working copies, dropped on failure.
  void add_edge(Vertex a, Vertex b);
};

// The sub-fragment induced by the sorted vertex list members of g.
Fragment induced_fragment(const Fragment &g, const VertexList &members);

// Weight of a vertex set: P * (c(c+3)/2 + 1) with c continuous vertices, or P
// without; P is the product of the state counts of the discrete vertices.
double set_weight(const Fragment &g, const Vertex *begin, const Vertex *end);
inline double set_weight(const Fragment &g, const VertexList &set) {
  return set_weight(g, set.data(), set.data() + set.size());
}

// The members are pairwise adjacent in g.
bool is_complete(const Fragment &g, const VertexList &members);

}  // namespace orv
