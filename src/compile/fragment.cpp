// Sorted vertex lists, induced sub-fragments and vertex-set weights.
#include "compile/fragment.h"

#include <algorithm>

namespace orv {

void Fragment::add_edge(Vertex a, Vertex b) {
  _orv_insert_in_sorted_list(adjacency[a], b);
  _orv_insert_in_sorted_list(adjacency[b], a);
}

Fragment induced_fragment(const Fragment &g, const VertexList &members) {
  Fragment sub;
  sub.domain = g.domain;
  sub.enclosing = &g;
  const std::size_t k = members.size();
  sub.nodes.resize(k);
  sub.weights.resize(k);
  sub.continuous.resize(k);
  sub.adjacency.resize(k);
  sub.global = members;
  for (std::size_t i = 0; i < k; ++i) {
    const Vertex v = members[i];
    sub.nodes[i] = g.nodes[v];
    sub.weights[i] = g.weights[v];
    sub.continuous[i] = g.continuous[v];
    // Both lists are sorted, so a merge walk maps the neighbours in order.
    const VertexList &around = g.adjacency[v];
    VertexList &local = sub.adjacency[i];
    std::size_t a = 0, m = 0;
    while (a < around.size() && m < k) {
      if (around[a] < members[m]) {
        ++a;
      } else if (members[m] < around[a]) {
        ++m;
      } else {
        local.push_back(static_cast<Vertex>(m));
        ++a, ++m;
      }
    }
  }
  return sub;
}

double set_weight(const Fragment &g, const Vertex *begin, const Vertex *end) {
  double product = 1.0;
  double continuous = 0.0;
  for (const Vertex *v = begin; v != end; ++v) {
    if (g.continuous[*v])
      continuous += 1.0;
    else
      product *= g.weights[*v];
  }
  return continuous > 0 ? product * (continuous * (continuous + 3.0) / 2.0 + 1.0) : product;
}

bool is_complete(const Fragment &g, const VertexList &members) {
  for (Vertex v : members) {
    std::size_t inside = 0;
    for (Vertex u : g.adjacency[v])
      if (contains_sorted(members, u)) ++inside;
    if (inside + 1 < members.size()) return false;
  }
  return true;
}

}  // namespace orv
