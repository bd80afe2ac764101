// The nodes whose beliefs can change when a tree's new evidence is
// propagated: those d-connected to that evidence given the evidence already
// incorporated, found by a walk over the domain's links.
#pragma once

#include "compile/junction_forest.h"

namespace orv {

// Notes which nodes of the tree have a table whose distributions do not all
// sum to one: such a table acts like evidence on the node's parents.
void note_unnormalized_tables(orv_junction_tree_s *t);

// Marks (node->mark != 0) every node d-connected to the evidence of tree t
// that is entered but not yet propagated; the marks are cleared on
// destruction. Uses the forest's walk lists, so it never allocates.
class DConnected {
 public:
  DConnected(JunctionForest &forest, const orv_junction_tree_s *t);
  ~DConnected();
  DConnected(const DConnected &) = delete;
  DConnected &operator=(const DConnected &) = delete;

 private:
  void schedule_parents(orv_node_s *n);
  void schedule_children(orv_node_s *n);

  Vector<orv_node_s *> &from_child_;   // reached from a child (or a source)
  Vector<orv_node_s *> &from_parent_;  // reached from a parent
};

}  // namespace orv
