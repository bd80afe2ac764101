// Links between nodes: adding, removing, switching and reversing them while
// keeping both node lists, the child's tables, the graph caches and the
// compiled state consistent. Each operation throws Failure or bad_alloc and
// then leaves the domain as it was.
#pragma once

#include <cstddef>

#include "model/node.h"

namespace orv {

void add_parent(orv_node_s *child, orv_node_s *parent);
// Takes the link out; the child's tables keep the slice for `state` of a
// discrete parent (a continuous parent leaves the CG blocks). Never fails.
void eliminate_parent(orv_node_s *child, orv_node_s *parent, std::size_t state) noexcept;
void switch_parent(orv_node_s *child, orv_node_s *old_parent, orv_node_s *new_parent);
void reverse_edge(orv_node_s *a, orv_node_s *b);

// Drops the caches that depend on the graph.
void discard_graph_caches(orv_domain_s *d) noexcept;
// As above for a new link parent -> child: the decision-information cache
// survives when it already lists the parent of a decision.
void discard_graph_caches_for_link(orv_node_s *child, orv_node_s *parent) noexcept;

}  // namespace orv
