// Expected utilities of the options of decisions, computed from the current
// policies on demand and cached until the tree's tables change.
#pragma once

#include "compile/junction_forest.h"

namespace orv {

// The expected total utility when the decision takes `option` in every
// parent configuration and every other decision follows its policy (under
// the propagated evidence). Throws Failure or bad_alloc.
double option_utility(orv_node_t decision, std::size_t option);

}  // namespace orv
