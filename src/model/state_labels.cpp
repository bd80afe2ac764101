// State labels: defaults, lookup by label and assignment.
#include <cstring>

#include "model/states.h"
#include "runtime/error.h"

namespace orv {

const char *state_label(const orv_node_s *node, std::size_t state) {
  if (state < node->state_labels.size() && node->state_labels[state]) return node->state_labels[state]->c_str();
  if (node->subtype == orv_subtype_boolean) return state == 0 ? "false" : "true";
  return "";
}

long first_state_with_label(const orv_node_s *node, const char *label) {
  for (std::size_t s = 0; s < node->state_count; ++s)
    if (std::strcmp(state_label(node, s), label) == 0) return static_cast<long>(s);
  return -1;
}

long unique_state_with_label(const orv_node_s *node, const char *label) {
  const long first = first_state_with_label(node, label);
  if (first < 0) return -1;
  for (std::size_t s = static_cast<std::size_t>(first) + 1; s < node->state_count; ++s)
    if (std::strcmp(state_label(node, s), label) == 0) return -1;
  return first;
}

namespace {

void set_state_label(orv_node_s *node, std::size_t state, const char *label) {
  if (state < node->state_labels.size() && node->state_labels[state] &&
      *node->state_labels[state] == label)
    return;
  String copy(label);
  if (node->state_labels.empty()) node->state_labels.resize(node->state_count);
  node->state_labels[state].emplace().swap(copy);
  if (node->subtype == orv_subtype_label) mark_models_for_regeneration(node);
}

bool may_change_states(const orv_node_s *node) {
  return node->is_discrete() && !node->class_node && !node->temporal_clone;
}

}  // namespace
}  // namespace orv

using orv::is_node;
using orv::usage;

extern "C" {

const char *orv_node_get_state_label(orv_node_t node, size_t state) {
  if (!is_node(node) || !node->is_discrete() || state >= node->state_count) return usage<const char *>(nullptr);
  orv::set_error(orv_error_none);
  return orv::state_label(node, state);
}

orv_status_t orv_node_set_state_label(orv_node_t node, size_t state, const char *label) {
  if (!is_node(node) || !orv::may_change_states(node) || state >= node->state_count || !label)
    return usage(orv_error_usage);
  return orv::guarded_status([&] { orv::set_state_label(node, state, label); });
}

long orv_node_get_state_index_from_label(orv_node_t node, const char *label) {
  if (!is_node(node) || !node->is_discrete() || !label) return usage(-1L);
  orv::set_error(orv_error_none);
  return orv::unique_state_with_label(node, label);
}

}  // extern "C"
