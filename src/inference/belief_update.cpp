// Reading beliefs and expected utilities out of the clique tables after a
// propagation.
#include <algorithm>

#include "inference/absorption.h"
#include "inference/evidence.h"
#include "inference/propagation.h"
#include "tables/control.h"

namespace orv {

namespace {

void scale_to_unit(double *values, std::size_t n, orv_equilibrium_t equilibrium) {
  double total = 0.0;
  for (std::size_t i = 0; i < n; ++i)
    total = equilibrium == orv_equilibrium_sum ? total + values[i] : std::max(total, values[i]);
  if (total > 0.0)
    for (std::size_t i = 0; i < n; ++i) values[i] /= total;
}

void node_beliefs(orv_clique_s *c, orv_node_t n, orv_equilibrium_t equilibrium, orv_evidence_mode_t mode) {
  NodeResults *r = n->results;
  auto marginalize = [&] {
    _orv_marginalize(r->belief_control, equilibrium, kMarginalizeOut, r->belief, r->expected_utility);
  };
  if (mode != orv_mode_fast_retraction) {
    marginalize();
    return;
  }
  // Fast retraction: read at the top clique, every node seeing the evidence
  // of the others only.
  (void)c;
  const bool own = n->propagated_state != kNoEvidence;
  with_evidence_applied(r->top_clique, own ? n : nullptr, [&] {
    _orv_marginalize(r->top_control, equilibrium, kMarginalizeOut, r->belief, nullptr);
  });
  if (own) scale_to_unit(r->belief, n->state_count, equilibrium);
}

void utility_node_value(orv_clique_s *c, orv_node_t u) {
  JunctionForest &f = *junction_forest(c->domain);
  const orv_table_s *t = u->table;
  _orv_marginalize(u->results->family_control, orv_equilibrium_sum, kMarginalizeOut, f.family_buffer, nullptr);
  double value = 0.0;
  for (std::size_t i = 0; i < t->size; ++i) value += f.family_buffer[i] * t->data[i];
  u->results->node_utility = value;
}

}  // namespace

void update_beliefs(orv_junction_tree_s *t, bool only_marked) {
  for (orv_clique_s *c : t->cliques) {
    if (!c) break;
    for (orv_node_t n : c->belief_nodes)
      if (n->is_discrete() && (!only_marked || n->mark)) node_beliefs(c, n, t->equilibrium, t->mode);
    for (orv_node_t n : c->assigned)
      if (n->category == orv_category_utility && n->results->family_control) utility_node_value(c, n);
  }
}

}  // namespace orv
