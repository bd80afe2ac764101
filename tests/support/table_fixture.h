// Helpers for table tests: direct links, filling tables with distinct
// values, reading entries by a node-to-state assignment, and snapshots.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "orvel.h"
#include "support/domain_fixture.h"

namespace orv::test {

// Fills the discrete data with 1, 2, 3, ... and every CG block entry q of
// configuration i with 1000 i + q (roles untouched).
void fill_distinct(orv_table_t table);

using Assignment = std::map<orv_node_t, size_t>;
// Every assignment of states to the table's discrete nodes, in index order.
std::vector<Assignment> configurations(orv_table_t table);
// The discrete entry for an assignment that covers the table's discrete nodes.
double entry(orv_table_t table, const Assignment &states);

// Everything observable about a table: nodes, size, data, CG data, roles.
struct TableSnapshot {
  std::vector<orv_node_t> nodes;
  size_t size = 0;
  std::vector<double> data;
  std::vector<double> cg_data;
  std::vector<unsigned char> roles;
  bool operator==(const TableSnapshot &) const = default;
};
TableSnapshot snapshot(orv_table_t table);

// A(3 states "lo" "mid" "hi") -> B(2) and A -> X (continuous), all tables
// filled with distinct values: A's own table, B's over (A, B), X's CG table
// over (A, X) and B's experience table over (A).
struct Family {
  DomainPtr d = new_domain();
  orv_node_t a, b, x;
  orv_table_t ta, tb, tx, eb;
  Family();
  std::vector<TableSnapshot> tables() const { return {snapshot(ta), snapshot(tb), snapshot(tx), snapshot(eb)}; }
};

}  // namespace orv::test
