// Experience and fading tables of chance nodes (counts and fading factors per
// configuration of the discrete parents).
#pragma once

#include "model/node.h"
#include "tables/table.h"

namespace orv {

bool may_have_experience(const orv_node_s *n);
bool may_have_fading(const orv_node_s *n);
// The node's table, created (chained, initialised) on first request. Throws.
orv_table_s *node_experience_table(orv_node_s *n);
orv_table_s *node_fading_table(orv_node_s *n);

}  // namespace orv
