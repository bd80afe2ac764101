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

// The same into a given table over the node, its model nodes and the
// discrete parents its expressions use (the node last for a function node):
// the conditional distribution of the node given those parents. Throws as
// generate_table; the table's data is then unspecified.
void fill_from_model(orv_node_s *node, orv_table_s *t);

// Generates the table of every node whose model is not up to date and marks
// the models generated; on failure every table is as it was.
void generate_domain_tables(orv_domain_s *d);

}  // namespace orv
