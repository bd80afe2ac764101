// Derived potentials of discrete function nodes with models: the node is
// determined by its parents, so its potential is the distribution its model
// induces from the parents' posterior in the trees that hold them.
#pragma once

#include "compile/junction_forest.h"

namespace orv {

// A discrete function node whose potential is derived from its parents.
bool derives_potential(const orv_node_s *n);

// Gives every such node of a freshly built forest its derived potential
// (computed at the first propagation), then schedules the trees.
void construct_derived_potentials(JunctionForest &forest);

// Recomputes every tree's prerequisite trees from what the models read now
// (links of function nodes change without uncompiling). Throws
// cyclic_functional_dependency when a model reads a node of its own tree or
// the trees depend on each other in a cycle (the lists are then unchanged),
// invalid_expression when a model reads a continuous node, no_memory.
void schedule_prerequisites(JunctionForest &forest);

// Recomputes the derived potentials of the tree's function nodes when the
// prerequisite trees changed since the last computation (or the tree is to
// be reloaded anyway), and flags the tree's tables as changed when one of
// them moved. The prerequisite trees must be in sum equilibrium. Throws.
void update_derived_potentials(orv_junction_tree_s *t);

}  // namespace orv
