// Arc reversal between two continuous nodes.
#pragma once

#include "model/node.h"
#include "runtime/allocate.h"
#include "tables/table.h"

namespace orv {

// New tables for X and Y after reversing X -> Y (both continuous): Y over
// the parents of both but X, X over its parents, Y's other parents and Y.
// The network is not touched. Throws bad_alloc.
void reverse_continuous_edge(orv_node_s *x, orv_node_s *y, Owned<orv_table_s> &tx, Owned<orv_table_s> &ty);

}  // namespace orv
