// Beliefs, inferred states and expected utilities read from node results.
#include "inference/queries.h"

#include "inference/evidence.h"
#include "runtime/error.h"

namespace orv {

void require_results(const orv_node_s *n) {
  if (!domain_is_compiled(n->owner)) fail(orv_error_not_compiled);
  if (!n->junction_tree || !n->results || n->junction_tree->equilibrium == orv_equilibrium_none)
    fail(orv_error_no_equilibrium);
}

void require_sum_normal(const orv_node_s *n) {
  const orv_junction_tree_s *t = n->junction_tree;
  if (t->equilibrium != orv_equilibrium_sum) fail(orv_error_usage);
  if (t->mode != orv_mode_normal && (t->discrete_evidence || t->cg_evidence)) fail(orv_error_usage);
}

double belief_of(const orv_node_s *n, std::size_t state) {
  if (n->junction_tree->mode == orv_mode_normal && n->propagated_state >= 0)
    return static_cast<std::size_t>(n->propagated_state) == state ? 1.0 : 0.0;
  return n->results->belief[state];
}

long inferred_state(const orv_node_s *n) {
  if (n->junction_tree->mode == orv_mode_normal && n->propagated_state >= 0) return n->propagated_state;
  long found = -1;
  for (std::size_t s = 0; s < n->state_count; ++s) {
    if (!(n->results->belief[s] > 0.0)) continue;
    if (found >= 0) return -1;
    found = static_cast<long>(s);
  }
  return found;
}

double expected_utility_of(const orv_node_s *n, std::size_t state) {
  return n->results->expected_utility ? n->results->expected_utility[state] : 0.0;
}

double node_expected_utility(const orv_node_s *n) { return n->results->node_utility; }

}  // namespace orv
