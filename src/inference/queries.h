// Reading propagated results: beliefs with exact hard evidence, the inferred
// state, expected utilities, and the preconditions those reads share.
#pragma once

#include <cstddef>

#include "compile/junction_forest.h"

namespace orv {

// not_compiled / no_equilibrium unless the node's results can be read.
void require_results(const orv_node_s *n);
// Sum equilibrium and, when evidence is propagated, normal mode (usage otherwise).
void require_sum_normal(const orv_node_s *n);

// The belief of a state: exactly 1 or 0 for hard evidence propagated in normal mode.
double belief_of(const orv_node_s *n, std::size_t state);
// The propagated hard-evidence state in normal mode, else the single state
// with positive belief, else -1.
long inferred_state(const orv_node_s *n);
// Expected utility of a state of a discrete node, or of a utility node.
double expected_utility_of(const orv_node_s *n, std::size_t state);
double node_expected_utility(const orv_node_s *n);

// The joint posterior of distinct discrete nodes (null-terminated) as a new
// table over them in the given order; throws usage, not_compiled,
// no_equilibrium, no_memory.
orv_table_s *domain_marginal(orv_domain_s *d, orv_node_t const *nodes);

// The belief report for the log (no-op without a log); throws io,
// not_compiled, no_equilibrium.
void report_beliefs(orv_domain_s *d);
// The same for one node (usage for instance nodes).
void report_node_beliefs(orv_node_s *n);

}  // namespace orv
