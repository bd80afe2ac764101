// Public entry points for the number of states and the order of states.
#include "model/states.h"
#include "runtime/error.h"

using orv::is_node;
using orv::usage;

namespace {

bool may_change_states(const orv_node_s *node) {
  return node->is_discrete() && !node->class_node && !node->temporal_clone;
}

}  // namespace

extern "C" {

size_t orv_node_get_number_of_states(orv_node_t node) {
  if (!is_node(node) || !node->is_discrete()) return usage(orv::kSizeSentinel);
  orv::set_error(orv_error_none);
  return node->state_count;
}

orv_status_t orv_node_set_number_of_states(orv_node_t node, size_t count) {
  if (!is_node(node) || !may_change_states(node) || count == 0) return usage(orv_error_usage);
  if (count == node->state_count) {
    orv::set_error(orv_error_none);
    return orv_error_none;
  }
  if (node->subtype == orv_subtype_boolean) return usage(orv_error_usage);
  return orv::guarded_status([&] { orv::set_number_of_states(node, count); });
}

orv_status_t orv_node_reorder_states(orv_node_t node, const char *const *order) {
  if (!is_node(node) || !may_change_states(node) || node->subtype != orv_subtype_label || !order)
    return usage(orv_error_usage);
  return orv::guarded_status([&] { orv::reorder_states(node, order); });
}

}  // extern "C"
