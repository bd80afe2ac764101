// The qualitative phase fed from the triangulation the domain holds.
#include "compile/build_forest.h"
#include "compile/compiled_domain.h"

namespace orv {

void compile_qualitatively_from_triangulation(orv_domain_s *d) {
  CompiledDomain &state = *compiled_domain(d);
  // Every clique's null-terminated node list in one block.
  std::size_t total = 0;
  for (const VertexList &clique : state.cliques) total += clique.size() + 1;
  Vector<orv_node_t> lists;
  lists.reserve(total);
  Vector<orv_node_t const *> heads;
  heads.reserve(state.cliques.size() + 1);
  for (const VertexList &clique : state.cliques) {
    heads.push_back(lists.data() + lists.size());
    for (Vertex v : clique) lists.push_back(state.moral_graph.nodes[v]);
    lists.push_back(nullptr);
  }
  heads.push_back(nullptr);
  _orv_domain_compile_qualitatively(d, heads.data(), state.user_order ? elimination_rank : nullptr);
}

}  // namespace orv
