// Helpers for link tests: node tables with given data, learning tables, a
// compiled-state stand-in, and a snapshot of everything a link operation may
// change.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "model/domain.h"
#include "model/node.h"
#include "orvel.h"
#include "support/domain_fixture.h"
#include "tables/table.h"

namespace orv::test {

// The node's own table (created over its current parents when absent), with
// data allocated; `data`, when given, must fill it exactly.
orv_table_t node_table(orv_node_t node, const std::vector<double> &data = {});

// An experience (or fading) table over the node's discrete parents.
orv_table_t learning_table(orv_node_t node, orv_table_type_t type);

// Entries of a table, in order.
std::vector<double> entries(const orv_table_s *t);


// Attaches a compiled-structure stand-in, so tests can see uncompilation.
void mark_compiled(orv_domain_t d);
bool is_compiled(orv_domain_t d);

// Text describing lists, tables (nodes, data, CG data, roles) and learning
// tables of every node, plus the compiled flag and the chain blocks.
std::string snapshot(orv_domain_t d);

}  // namespace orv::test
