// Expected utilities of the options of decisions, overall and per parent
// configuration, computed from the current policies on demand and cached
// until the tree's tables change.
#pragma once

#include "compile/junction_forest.h"

namespace orv {

// The expected total utility when the decision takes `option` in every
// parent configuration and every other decision follows its policy (under
// the propagated evidence). Throws Failure or bad_alloc.
double option_utility(orv_node_t decision, std::size_t option);

// Per row of the decision's policy (a configuration of its parents): its
// probability given the evidence into `probability` (one entry per row, may
// be null), and into `utilities` (laid out like the policy) the expected
// total utility when the decision takes each option in that configuration,
// 0 where the configuration with that option has probability 0. Throws
// Failure (usage for a decision without a compiled policy) or bad_alloc.
void row_utilities(orv_node_t decision, double *utilities, double *probability);

}  // namespace orv
