// One greedy heuristic with its log lines, and best greedy: every heuristic
// that can make a difference, keeping the cheapest (ties keep the earlier).
#include "compile/compile_log.h"
#include "compile/elimination.h"

namespace orv {
namespace {

// A sub-fragment of the whole moral graph: its runs report their cost.
bool is_top_level(const Fragment &g) { return g.enclosing && !g.enclosing->enclosing; }

Vertex first_discrete(const Fragment &g) {
  Vertex v = 0;
  while (v < g.size() && g.continuous[v]) ++v;
  return v;
}

}  // namespace

double total_weight(const Fragment &g, const Vector<VertexList> &cliques) {
  double cost = 0.0;
  for (const VertexList &clique : cliques) cost += set_weight(g, clique);
  return cost;
}

bool weights_can_differ(const Fragment &g) {
  bool all_continuous = true, all_discrete = true, equal_states = true;
  for (Vertex v = 0; v < g.size(); ++v) {
    if (g.continuous[v]) {
      all_discrete = false;
    } else {
      all_continuous = false;
      if (g.weights[v] != g.weights[first_discrete(g)]) equal_states = false;
    }
  }
  return !(all_continuous || (all_discrete && equal_states));
}

ComponentTriangulation triangulate_by_elimination(const Fragment &g, orv_triangulation_method_t method,
                                                  std::FILE *log) {
  log_printf(log, "\n    Using minimum %s heuristic for triangulation:\n\n", method_name(method));
  Vector<EliminatedClique> eliminated = eliminate_greedily(g, method, log);
  ComponentTriangulation result;
  result.cliques = _orv_remove_redundant_fill_ins(g, eliminated, log);
  result.cost = total_weight(g, result.cliques);
  if (is_top_level(g))
    log_printf(log, "\nFound triangulation of prime component of cost %s\n", cost_text(g.domain, result.cost));
  return result;
}

ComponentTriangulation try_all_greedy_methods(const Fragment &g, std::FILE *log) {
  log_printf(log, "\n    Using the best greedy heuristic for triangulation\n\n");
  const bool weighted = weights_can_differ(g);
  ComponentTriangulation best = triangulate_by_elimination(g, orv_tm_clique_size, nullptr);
  for (orv_triangulation_method_t method : {orv_tm_clique_weight, orv_tm_fill_in_size, orv_tm_fill_in_weight}) {
    if (!weighted && method != orv_tm_fill_in_size) continue;
    ComponentTriangulation candidate = triangulate_by_elimination(g, method, nullptr);
    if (candidate.cost < best.cost) best = std::move(candidate);
  }
  return best;
}

}  // namespace orv
