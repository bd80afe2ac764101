// Reordering a table's nodes, keeping a node's experience and fading tables
// in the same layout as its own table.
#include "model/node.h"
#include "runtime/error.h"
#include "tables/table.h"
#include "tables/table_reshape.h"

namespace orv {

namespace {

// Every node of the table occurs in the order exactly once, and discrete
// nodes come first.
bool is_valid_order(const orv_table_s *t, orv_node_t const *order) {
  const std::size_t n = t->nodes.size();
  if (_orv_node_list_length(order) != n) return false;
  for (std::size_t k = 0; k < n; ++k) {
    if (!t->nodes.contains(order[k]) || _orv_node_index(order, order[k]) != static_cast<long>(k))
      return false;
    if ((k < t->discrete_count) != order[k]->is_discrete()) return false;
  }
  return true;
}

// A node's own table needs its owner last among the discrete nodes, or first
// among the continuous ones.
bool owner_keeps_its_place(const orv_table_s *t, orv_node_t const *order) {
  const orv_node_s *owner = t->node;
  if (!owner || owner->table != t || !owner->counts_as_variable()) return true;
  if (!t->nodes.contains(const_cast<orv_node_s *>(owner))) return true;
  const std::size_t at = t->continuous_count == 0 ? t->discrete_count - 1 : t->discrete_count;
  return order[at] == owner;
}

// `order` restricted to the nodes of `t`.
NodeList order_within(const orv_table_s *t, orv_node_t const *order) {
  NodeList within;
  within.reserve(t->nodes.size());
  for (std::size_t k = 0; order[k]; ++k)
    if (t->nodes.contains(order[k])) within.push_back(order[k]);
  return within;
}

}  // namespace

void reorder_table_nodes(orv_table_s *t, orv_node_t const *order) {
  if (t->structure && t->chained) fail(orv_error_usage);
  if (_orv_node_lists_are_equal(order, const_cast<orv_table_s *>(t)->nodes.c_list())) return;
  if (!is_valid_order(t, order) || !owner_keeps_its_place(t, order)) fail(orv_error_usage);

  Vector<PendingTable> pending;
  pending.reserve(3);
  pending.push_back(prepare_node_order(t, order));
  orv_node_s *owner = t->node;
  if (owner && owner->table == t) {
    for (orv_table_s *companion : {owner->experience, owner->fading}) {
      if (!companion) continue;
      NodeList within = order_within(companion, order);
      if (within.size() != companion->nodes.size() ||
          _orv_node_lists_are_equal(within.c_list(), companion->nodes.c_list()))
        continue;
      pending.push_back(prepare_node_order(companion, within.c_list()));
    }
  }
  for (PendingTable &p : pending) p.commit();
}

}  // namespace orv

extern "C" {

orv_status_t orv_table_reorder_nodes(orv_table_t table, orv_node_t *order) {
  if (!orv::is_table(table) || !order) return orv::usage(orv_error_usage);
  return orv::guarded_status([&] { orv::reorder_table_nodes(table, order); });
}

}  // extern "C"
