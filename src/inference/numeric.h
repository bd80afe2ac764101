// Means and variances of numbered and interval discrete nodes from their beliefs.
#pragma once

#include <cstddef>

#include "model/node.h"

namespace orv {

// The value a state stands for: its value (numbered) or its interval's
// midpoint, an infinite outer end replaced by the nearest finite boundary.
double numeric_state_value(const orv_node_s *n, std::size_t state);
// The state value of the inferred state of a numbered node, else the belief-
// weighted sum of state values. Throws usage, invalid_state_values,
// not_compiled, no_equilibrium.
double numeric_mean(const orv_node_s *n);
// Numbered nodes only.
double numeric_variance(const orv_node_s *n);

}  // namespace orv
