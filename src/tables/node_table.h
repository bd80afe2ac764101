// A node's own table over its family, created on first request.
#pragma once

#include "tables/table.h"

namespace orv {

// Whether the node can have a table of its own (discrete, continuous or
// utility nodes that are not copies of class nodes).
bool node_can_have_table(const orv_node_s *node);
// The node's table, created and chained on first request: the discrete
// parents in parent order, the node itself (not for utility nodes), then the
// continuous parents; a function node's table holds the node alone. Throws.
orv_table_s *node_table(orv_node_s *node);

}  // namespace orv
