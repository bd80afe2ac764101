// Queries on continuous nodes: the mixture that is a node's marginal, and
// mutual information involving continuous nodes.
#pragma once

#include "compile/junction_forest.h"

namespace orv {

// A new unchained table over the discrete nodes of the node's clique and
// the node: weights in the discrete data, component means and variances in
// the CG blocks. Throws.
orv_table_s *cg_distribution(orv_node_t n);
// Gaussian-form mutual information of two nodes of which at least one is
// continuous; they must share a clique (usage otherwise). Throws.
double cg_mutual_information(orv_node_t a, orv_node_t b);

}  // namespace orv
