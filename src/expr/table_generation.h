// Generation of a node's table from its model.
#pragma once

#include "expr/model.h"

namespace orv {

// Fills the table of a discrete chance or utility node from its model: one
// column per configuration of the discrete parents, interval parents sampled
// at samples-per-interval points and the columns averaged. Throws Failure
// (invalid_expression, with a log line naming the node and the parent
// configuration when a log is set) or bad_alloc; the table is unchanged then
// (a table created for the purpose is freed again).
void generate_table(orv_node_s *node);

}  // namespace orv
