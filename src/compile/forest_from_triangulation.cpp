// The qualitative phase fed from the triangulation the domain holds.
#include "compile/build_forest.h"
#include "compile/compiled_domain.h"

namespace orv {

void compile_qualitatively_from_triangulation(orv_domain_s *d) {
  CompiledDomain &state = *compiled_domain(d);
  Vector<Vector<orv_node_t>> lists;
  lists.reserve(state.cliques.size());
  Vector<orv_node_t const *> heads;
  heads.reserve(state.cliques.size() + 1);
  for (const VertexList &clique : state.cliques) {
    Vector<orv_node_t> nodes;
    nodes.reserve(clique.size() + 1);
    for (Vertex v : clique) nodes.push_back(state.moral_graph.nodes[v]);
    nodes.push_back(nullptr);
    lists.push_back(std::move(nodes));
    heads.push_back(lists.back().data());
  }
  heads.push_back(nullptr);
  _orv_domain_compile_qualitatively(d, heads.data(), state.user_order ? elimination_rank : nullptr);
}

}  // namespace orv
