// Propagation: bringing junction trees into sum or max equilibrium with the
// entered evidence, by collect and distribute passes of absorptions.
#pragma once

#include "compile/junction_forest.h"

namespace orv {

// Reloads a tree's clique tables from the node potentials (or the saved
// copy): equilibrium none, no evidence incorporated. Throws on failure.
void reset_tree(orv_junction_tree_s *tree, orv_evidence_mode_t mode);
// Resets every tree; on failure leaves the trees marked for reloading.
void reset_inference_engine(JunctionForest &forest) noexcept;

// Makes one tree consistent with its entered evidence; a given root is used
// as the root of the passes. On failure the tree is reset and the failure
// rethrown.
void make_consistent(orv_junction_tree_s *tree, orv_equilibrium_t equilibrium,
                     orv_evidence_mode_t mode, orv_clique_s *root);
// The same after making consistent, depth first, the trees that the tree's
// derived potentials depend on (a failing tree is reset).
void make_consistent_after_prerequisites(orv_junction_tree_s *tree, orv_equilibrium_t equilibrium,
                                         orv_evidence_mode_t mode, orv_clique_s *root);
// Makes every tree consistent, each after its prerequisite trees; on failure
// every tree is reset.
void propagate_domain(orv_domain_s *d, orv_equilibrium_t equilibrium, orv_evidence_mode_t mode);

// The checks that propagation entry points share (usage, not_compiled,
// compressed, invalid_evidence); throws Failure.
void check_propagation_request(orv_domain_s *d, orv_equilibrium_t equilibrium, orv_evidence_mode_t mode);

// Recomputes the beliefs and expected utilities of a tree's nodes; with
// only_marked, of the nodes whose mark is set.
void update_beliefs(orv_junction_tree_s *tree, bool only_marked = false);

}  // namespace orv
