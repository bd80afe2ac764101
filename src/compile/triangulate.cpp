// triangulate_domain: the moral graph is split into prime components, each
// is triangulated on its own (a complete component is its own clique), and
// the cliques of all components give one elimination order.
#include "compile/triangulate.h"

#include "compile/compile_log.h"
#include "compile/elimination.h"
#include "compile/prime_components.h"
#include "compile/total_weight.h"

namespace orv {
namespace {

// Triangulates one component and appends its cliques (as moral-graph
// vertices); returns its cost.
double triangulate_prime_component(const Fragment &g, const VertexList &members, orv_triangulation_method_t method,
                                   Vector<VertexList> &cliques, std::FILE *log) {
  if (log) {
    log_printf(log, "\nTriangulating prime component with %s member%s:\n", _orv_print_size(g.domain, members.size()),
               plural(members.size()));
    log_vertex_list(log, g, members);
  }
  if (is_complete(g, members)) {
    const double cost = set_weight(g, members);
    if (log) log_printf(log, "This component is a clique of cost %s\n", cost_text(g.domain, cost));
    cliques.push_back(members);
    return cost;
  }
  const Fragment sub = induced_fragment(g, members);
  ComponentTriangulation found = method == orv_tm_best_greedy    ? try_all_greedy_methods(sub, log)
                                 : method == orv_tm_total_weight ? triangulate_by_total_weight(sub, log)
                                                                 : triangulate_by_elimination(sub, method, log);
  for (VertexList &clique : found.cliques) {
    for (Vertex &v : clique) v = sub.global[v];  // members are sorted, so the order holds
    cliques.push_back(std::move(clique));
  }
  return found.cost;
}

}  // namespace

void triangulate_domain(orv_domain_s *d, CompiledDomain &state, orv_triangulation_method_t method, std::FILE *log) {
  const Fragment &g = state.moral_graph;
  log_printf(log, "\n");
  const Vector<VertexList> components = find_prime_components(g);
  state.cliques.reserve(3 * (g.size() + 1));
  for (const VertexList &members : components) triangulate_prime_component(g, members, method, state.cliques, log);
  // Components overlap in their separators; a clique of one may lie inside
  // a clique of another.
  drop_non_maximal(state.cliques, g.size());
  state.cost = total_weight(g, state.cliques);
  if (log) log_printf(log, "\n\nTotal cost of triangulation for all prime components is %s\n", cost_text(d, state.cost));
  generate_elimination_order(state);
  if (!log) return;
  list_elimination_order(state);
  log_printf(log, "\n\nElimination sequence:\n\n");
  for (std::size_t i = 0; i < g.size(); ++i) log_printf(log, "    %s\n", log_name(state.elimination_order[i]));
}

void build_cliques_from_order(CompiledDomain &state, const VertexList &order, std::FILE *log) {
  const Fragment &g = state.moral_graph;
  state.elimination_position.assign(g.size(), 0);
  for (std::size_t i = 0; i < order.size(); ++i) state.elimination_position[order[i]] = g.size() - i;
  Vector<EliminatedClique> eliminated = eliminate_in_order(g, order, log);
  state.cliques.reserve(eliminated.size());
  for (EliminatedClique &clique : eliminated) state.cliques.push_back(std::move(clique.members));
  state.cost = total_weight(g, state.cliques);
}

}  // namespace orv
