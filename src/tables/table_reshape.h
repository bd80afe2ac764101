// Reshaping tables off to the side: every operation that changes a table's
// layout first builds the replacement arrays (which may fail), and a later
// commit swaps them in (which cannot). A set of tables therefore changes
// together or not at all, and table handles stay valid.
#pragma once

#include <cstddef>

#include "tables/table.h"

namespace orv {

// The replacement shape and data of one table. Unless committed, the
// destructor frees what was built; after commit it frees the old arrays.
class PendingTable {
 public:
  explicit PendingTable(orv_table_s *t) : table_(t) {}
  PendingTable(PendingTable &&other) noexcept;
  PendingTable &operator=(PendingTable &&) = delete;
  ~PendingTable();

  orv_table_s *table() const { return table_; }
  // Swaps the new arrays (and node list and roles, when replaced) into the table.
  void commit() noexcept;

  // Filled by the builders below.
  std::size_t size = 0;
  double *data = nullptr;
  double *cg_data = nullptr;
  bool replaces_nodes = false;
  NodeList nodes;
  Vector<unsigned char> roles;

 private:
  orv_table_s *table_;
};

// The table with discrete `node`'s dimension resized to `new_count` states:
// for each configuration of the other nodes the entries of kept states stay,
// entries of removed states are dropped, new states get the table type's
// initial entry (and fresh CG blocks). Throws bad_alloc.
PendingTable prepare_state_count(orv_table_s *t, const orv_node_s *node, std::size_t new_count);

// The table with the entries along discrete `node`'s dimension permuted: old
// state i moves to position to_new[i]. Throws bad_alloc.
PendingTable prepare_state_permutation(orv_table_s *t, const orv_node_s *node,
                                       const std::size_t *to_new);

// The table with discrete `node`'s dimension replaced by `new_count` states,
// each a weighted sum of the old ones: new state j holds the sum over old
// states s of weights[j * old_count + s] times old state s (entries and CG
// blocks alike). Throws bad_alloc.
PendingTable prepare_state_mix(orv_table_s *t, const orv_node_s *node, std::size_t new_count,
                               const double *weights);

// The table over the same nodes in `order` (a permutation of its list that
// keeps discrete nodes first), with discrete entries, CG blocks and roles
// moved to follow it. Throws bad_alloc.
PendingTable prepare_node_order(orv_table_s *t, orv_node_t const *order);

}  // namespace orv
