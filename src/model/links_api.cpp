// Public entry points for links: argument checks, then the link operations.
#include "model/links.h"
#include "runtime/error.h"

using orv::guarded_status;
using orv::is_node;
using orv::usage;

extern "C" {

orv_status_t orv_node_add_parent(orv_node_t child, orv_node_t parent) {
  if (!is_node(child) || !is_node(parent)) return usage(orv_error_usage);
  return guarded_status([&] { orv::add_parent(child, parent); });
}

orv_status_t orv_node_remove_parent(orv_node_t child, orv_node_t parent) {
  if (!is_node(child) || !is_node(parent) || !child->parents.contains(parent))
    return usage(orv_error_usage);
  return guarded_status([&] { orv::eliminate_parent(child, parent, 0); });
}

orv_status_t orv_node_remove_discrete_parent(orv_node_t child, orv_node_t parent, size_t state) {
  if (!is_node(child) || !is_node(parent) || !child->parents.contains(parent) ||
      !parent->is_discrete() || state >= parent->state_count)
    return usage(orv_error_usage);
  return guarded_status([&] { orv::eliminate_parent(child, parent, state); });
}

orv_status_t orv_node_switch_parent(orv_node_t child, orv_node_t old_parent, orv_node_t new_parent) {
  if (!is_node(child) || !is_node(old_parent) || !is_node(new_parent)) return usage(orv_error_usage);
  return guarded_status([&] { orv::switch_parent(child, old_parent, new_parent); });
}

orv_status_t orv_node_reverse_edge(orv_node_t node1, orv_node_t node2) {
  if (!is_node(node1) || !is_node(node2)) return usage(orv_error_usage);
  return guarded_status([&] { orv::reverse_edge(node1, node2); });
}

}  // extern "C"
