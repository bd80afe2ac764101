// Internal node operations behind the public entry points. Each throws
// Failure (or bad_alloc) and then leaves the domain as it was.
#pragma once

#include "model/node.h"

namespace orv {

orv_node_s *clone_node(orv_node_s *node);
void delete_node(orv_node_s *node);
// Copies what describes a node besides its name, graph and tables: label,
// position, states with their labels and values, the valid-table flag and
// the attributes. Throws bad_alloc; `to` may then hold part of it.
void copy_node_description(orv_node_s *to, const orv_node_s *from);
void _orv_node_set_discrete_type(orv_node_s *node, orv_category_t category, orv_subtype_t subtype);
void set_node_name(orv_node_s *node, const char *name);
const char *node_name(orv_node_s *node);
// Fills the node's result array with the node and its ancestors (or
// descendants) breadth-first; returns it.
orv_node_t *relatives(orv_node_s *node, bool ancestors);

// Hooks shared with creation.
void check_function_nodes_for_limid(orv_domain_s *d, orv_category_t category);
void link_new_node(orv_domain_s *d, orv_node_s *n);

}  // namespace orv
