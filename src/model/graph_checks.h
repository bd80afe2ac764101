// The graph searches that guard links: marking services, directed paths
// (through chain blocks), functional-dependency trails, the proposed-link
// check, the LIMID constraints on function nodes and node compatibility.
#pragma once

#include "model/node.h"

namespace orv {

// Marking services on null-terminated lists. Outside a search every mark is 0.
void _orv_mark_nodes(orv_node_t const *list);
void _orv_unmark_nodes(orv_node_t const *list);
bool _orv_nodes_are_marked(orv_node_t const *list);
bool _orv_nodes_are_unmarked(orv_node_t const *list);
void _orv_domain_unmark_nodes(orv_domain_s *d);
// Every entry belongs to the domain and none occurs twice.
bool _orv_nodes_are_distinct(orv_node_t const *list, orv_domain_s *d);

// A directed path leads from `from` to `to` (reaching a chain-block member
// continues from every member). A node reaches itself. Throws bad_alloc.
bool _orv_path_exists(orv_node_s *from, orv_node_s *to);
// As above, but the direct link from `from` to `to` is not used.
bool _orv_indirect_path_exists(orv_node_s *from, orv_node_s *to);

// A function node whose value is real (kind other).
inline bool is_real_valued_function(const orv_node_s *n) {
  return n->category == orv_category_function && n->kind == orv_kind_other;
}

// Trail search for functional dependencies: from `start` along parents of
// discrete or continuous kind (never from a function node to its parents),
// function-node children when `through_function_children`, and chain-block
// members; the link between `child` and `replaced` is not followed.
bool functional_trail(orv_node_s *start, orv_node_s *target, orv_node_s *replaced,
                      orv_node_s *child, bool through_function_children);
bool _orv_functional_trail_exists(orv_node_s *a, orv_node_s *b);

// Throws cyclic_functional_dependency or functional_dependency when the link
// parent -> child (replacing `replaced`, or null) would break the rules.
void _orv_check_proposed_link(orv_node_s *parent, orv_node_s *child, orv_node_s *replaced);
void _orv_check_undirected_link(orv_node_s *a, orv_node_s *b);

// No discrete or continuous node descends from a function node that has a
// discrete or continuous parent.
bool _orv_function_nodes_satisfy_limid_constraints(orv_domain_s *d);

// Same category and kind, and for discrete nodes the same states (count,
// subtype, labels or values as the subtype requires).
bool _orv_nodes_are_compatible(const orv_node_s *a, const orv_node_s *b);

}  // namespace orv
