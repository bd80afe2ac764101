// Hooks through which changes of a node's states reach the subsystems that
// keep per-state data of their own. Each must leave its data consistent with the node's new states
// without failing.
#include "model/states.h"

#include <utility>

#include "expr/model.h"
#include "model/node.h"

namespace orv {

namespace {

// The domain is uncompiled right after every state change, so the per-tree
// evidence counts need no update here.
void clear_evidence(orv_node_s *node) noexcept {
  node->selected_state = -1;
  node->value_evidence = false;
}

// Moves entry i of the finding vector to to_new[i] in place, cycle by cycle,
// starting each cycle at its smallest index.
void permute_findings(orv_node_s *node, const std::size_t *to_new) noexcept {
  const std::size_t n = node->entered_finding.size();
  for (std::size_t start = 0; start < n; ++start) {
    std::size_t i = to_new[start];
    while (i > start) i = to_new[i];
    if (i < start) continue;  // the cycle was moved from a smaller index
    double carried = node->entered_finding[start];
    for (std::size_t at = to_new[start]; at != start; at = to_new[at]) std::swap(carried, node->entered_finding[at]);
    node->entered_finding[start] = carried;
  }
}

}  // namespace

// Evidence: clear the node's evidence. Case data: states at or above the new
// count become missing (only below 32768, the range of case states). Models:
// follow the new count. Valid-table flags of the node and its temporal clone:
// cleared. Class instances and temporal clones: their counterparts follow.
void states_resized_hook(orv_node_s *node, std::size_t) noexcept {
  clear_evidence(node);
  if (node->case_states && node->state_count < 32768) {
    for (std::size_t i = 0; i < node->owner->number_of_cases; ++i)
      if (node->case_states[i] >= static_cast<long>(node->state_count)) node->case_states[i] = -1;
    node->owner->log_likelihood_valid = false;
  }
}

// Evidence: a selected state is re-selected at its new index and a
// likelihood vector is permuted and entered again. Case data and models:
// permuted along the node's states.
void states_permuted_hook(orv_node_s *node, const std::size_t *to_new) noexcept {
  if (node->selected_state >= 0) node->selected_state = static_cast<long>(to_new[node->selected_state]);
  if (node->entered_finding.size() == node->state_count) permute_findings(node, to_new);
  if (node->case_states) {
    for (std::size_t i = 0; i < node->owner->number_of_cases; ++i)
      if (node->case_states[i] >= 0) node->case_states[i] = static_cast<std::int16_t>(to_new[node->case_states[i]]);
  }
}

// Models that mention the node are regenerated before their next use.
void mark_models_for_regeneration(orv_node_s *node) noexcept {
  auto mark = [](orv_node_s *n) {
    if (n->model) n->model->table_generated = n->model->table_supplied = false;
  };
  mark(node);
  for (orv_node_s *child : node->children) mark(child);
}

}  // namespace orv
