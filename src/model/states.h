// States of discrete nodes: the number of states with the resizing of every
// table that involves the node, labels, state values and their lookups, and
// the reordering of states.
#pragma once

#include <cstddef>

#include "model/node.h"

namespace orv {

// Every table that has `node` among its discrete nodes: its own table, its
// children's tables, the experience and fading tables of both, and the
// chain-graph potentials that hold it. Throws.
Vector<orv_table_s *> tables_with_node(orv_node_s *node);

// Changes the number of states (count >= 1), resizing every table that
// involves the node; on failure nothing has changed. Throws.
void set_number_of_states(orv_node_s *node, std::size_t count);

// Permutes the states of a label node: old state i becomes state to_new[i].
// Every table that involves the node follows. Throws; nothing changes then.
void permute_states(orv_node_s *node, const std::size_t *to_new);

// Reorders the states of a label node to the null-terminated list of labels
// (see orv_node_reorder_states). Throws usage or bad_alloc; nothing changes then.
void reorder_states(orv_node_s *node, const char *const *order);

// The label of a state, or its default ("false"/"true" for boolean nodes,
// else ""). Never null.
const char *state_label(const orv_node_s *node, std::size_t state);
// First state whose label (or default label) is `label`, or -1.
long first_state_with_label(const orv_node_s *node, const char *label);
// The only state whose label (or default label) is `label`, or -1.
long unique_state_with_label(const orv_node_s *node, const char *label);

// Status of the state values: 0 valid, 1 not increasing (or none set), 2
// infinite values used incorrectly.
int _orv_node_check_status_of_state_values(const orv_node_s *node);
// The state holding `value` for number and interval nodes, or -1.
long _orv_node_state_value_to_state_index(const orv_node_s *node, double value);

// Hooks for the subsystems that keep per-state data of their own (evidence,
// case data, models, class instances, temporal clones). Each is called once
// the tables have been changed and must not fail.
void states_resized_hook(orv_node_s *node, std::size_t old_count) noexcept;
void states_permuted_hook(orv_node_s *node, const std::size_t *to_new) noexcept;
// Marks every model that mentions the node for regeneration.
void mark_models_for_regeneration(orv_node_s *node) noexcept;

}  // namespace orv
