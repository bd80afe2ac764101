// Propagation of junction trees that hold continuous (CG) nodes.
#pragma once

#include "compile/junction_forest.h"

namespace orv {

// Brings the tree into sum equilibrium with the entered evidence, starting
// from the node tables: clique tables hold the posterior (weights and CG
// blocks), node results their beliefs, means and variances, and the tree its
// normalization constant (a density when continuous evidence is entered).
// Throws on failure (inconsistency_or_underflow, overflow, no_memory).
void propagate_cg_tree(orv_junction_tree_s *t);

}  // namespace orv
