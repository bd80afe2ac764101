// A reachability walk over the directed links that marks the nodes
// d-connected to new evidence. Every evidence finding acts as an observed
// extra child of its node: a finding that leaves one possible state blocks
// the node like an observation, any other finding only opens the paths that
// meet head to head at the node, and so does a table whose distributions do
// not sum to one. The nodes whose evidence changes are the starting points
// and never block.
#include "inference/d_connection.h"

#include <cmath>

#include "inference/evidence.h"

namespace orv {

namespace {

constexpr std::uint64_t kFromChild = 1;
constexpr std::uint64_t kFromParent = 2;
constexpr std::uint64_t kSource = 4;

// Evidence on the node or its own table weighs the node's configurations, which
// links its parents.
bool opens_parents(const orv_node_s *n) {
  if (n->results && n->results->unnormalized) return true;
  if (n->is_continuous()) return n->cg_entered;
  return n->is_discrete() && n->selected_state != kNoEvidence;
}

bool sums_to_one(const orv_node_s *n) {
  const orv_table_s *t = n->table;
  const std::size_t block = n->state_count;
  if (!t || !t->data || block == 0 || t->discrete_count == 0) return false;
  for (std::size_t start = 0; start + block <= t->size; start += block) {
    double sum = 0.0;
    for (std::size_t i = start; i < start + block; ++i) sum += t->data[i];
    if (!(std::fabs(sum - 1.0) <= 1e-12)) return false;
  }
  return true;
}

// Evidence that fixes the node's value.
bool is_observed(const orv_node_s *n) {
  if (n->mark & kSource) return false;
  if (n->is_continuous()) return n->cg_entered;
  if (!n->is_discrete() || n->selected_state == kNoEvidence) return false;
  std::size_t possible = 0;
  for (std::size_t s = 0; s < n->state_count; ++s)
    if (entered_weight(n, s) > 0.0) ++possible;
  return possible == 1;
}

}  // namespace

void note_unnormalized_tables(orv_junction_tree_s *t) {
  for (orv_node_t n : t->nodes)
    if (n->results) n->results->unnormalized = n->is_discrete() && !sums_to_one(n);
}

void DConnected::schedule_parents(orv_node_s *n) {
  for (orv_node_s *p : n->parents) {
    if (p->mark & kFromChild) continue;
    p->mark |= kFromChild;
    from_child_.push_back(p);
  }
}

void DConnected::schedule_children(orv_node_s *n) {
  for (orv_node_s *c : n->children) {
    if (c->mark & kFromParent) continue;
    c->mark |= kFromParent;
    from_parent_.push_back(c);
  }
}

DConnected::DConnected(JunctionForest &forest, const orv_junction_tree_s *t)
    : from_child_(forest.walk_from_child), from_parent_(forest.walk_from_parent) {
  from_child_.clear();
  from_parent_.clear();
  for (orv_node_s *n : t->nodes) {
    if (!evidence_to_propagate(n)) continue;
    n->mark = kSource | kFromChild;
    from_child_.push_back(n);
  }
  // Each node enters each list at most once; both lists keep every node
  // they received, so the destructor finds every mark.
  std::size_t up = 0, down = 0;
  while (up < from_child_.size() || down < from_parent_.size()) {
    if (up < from_child_.size()) {
      orv_node_s *n = from_child_[up++];
      if (is_observed(n)) continue;
      schedule_parents(n);
      schedule_children(n);
    } else {
      orv_node_s *n = from_parent_[down++];
      const bool observed = is_observed(n);
      if (observed || opens_parents(n) || (n->mark & kSource)) schedule_parents(n);
      if (!observed) schedule_children(n);
    }
  }
}

DConnected::~DConnected() {
  for (orv_node_s *n : from_child_) n->mark = 0;
  for (orv_node_s *n : from_parent_) n->mark = 0;
}

}  // namespace orv
