// Lookups in the compiled state.
#include "compile/compiled_domain.h"

#include <algorithm>

namespace orv {

long CompiledDomain::vertex(orv_node_t node) const {
  auto at = std::lower_bound(vertex_of_node.begin(), vertex_of_node.end(), node,
                             [](const auto &entry, orv_node_t n) { return entry.first < n; });
  return at != vertex_of_node.end() && at->first == node ? static_cast<long>(at->second) : -1;
}

void CompiledDomain::index_nodes() {
  vertex_of_node.clear();
  vertex_of_node.reserve(moral_graph.size());
  for (std::size_t v = 0; v < moral_graph.size(); ++v)
    vertex_of_node.emplace_back(moral_graph.nodes[v], static_cast<Vertex>(v));
  std::sort(vertex_of_node.begin(), vertex_of_node.end());
}

CompiledDomain *compiled_domain(orv_domain_s *d) {
  return dynamic_cast<CompiledDomain *>(d->compiled.get());
}

void attach_triangulation(orv_domain_s *d, Owned<CompiledDomain> state) noexcept {
  d->compiled.reset(state.release());
}

std::size_t elimination_rank(orv_node_t node) {
  const CompiledDomain *state = compiled_domain(node->owner);
  const long v = state ? state->vertex(node) : -1;
  return v < 0 ? 0 : state->elimination_position[static_cast<std::size_t>(v)];
}

}  // namespace orv
