// Values of real-valued function nodes after propagation, and the belief
// queries (probability, variance, quantile) that their expressions use.
#pragma once

#include "expr/model.h"

namespace orv {

// The value of a real-valued function node's expression: function parents
// give their values, discrete nodes their inferred states, observed
// continuous nodes their values. Throws Failure (invalid_expression when a
// value is unknown or not a finite number; not_compiled, no_equilibrium).
double function_value(orv_node_s *node);

// Variance and p-quantile of a numeric discrete node from its beliefs
// (interval nodes through midpoints and linear interpolation within the
// interval, an infinite end standing for the finite one). Throw Failure.
double belief_variance(const orv_node_s *node);
double belief_quantile(const orv_node_s *node, double p);

}  // namespace orv
