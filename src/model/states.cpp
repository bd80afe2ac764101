// The number of states of a discrete node, and the tables that follow it.
#include "model/states.h"

#include <algorithm>

#include "expr/model_upkeep.h"
#include "model/chain_blocks.h"
#include "runtime/error.h"
#include "tables/table_reshape.h"

namespace orv {

namespace {

bool has_discrete_node(const orv_table_s *t, orv_node_s *node) {
  const long i = t ? t->nodes.index_of(node) : -1;
  return i >= 0 && static_cast<std::size_t>(i) < t->discrete_count;
}

void add_tables_of(Vector<orv_table_s *> &tables, const orv_node_s *holder, orv_node_s *node) {
  for (orv_table_s *t : {holder->table, holder->experience, holder->fading})
    if (has_discrete_node(t, node) && std::find(tables.begin(), tables.end(), t) == tables.end())
      tables.push_back(t);
}

// The label array after a change of count: labels of removed states go, new
// states have none. Empty stays empty (no label was ever set).
Vector<std::optional<String>> resized_labels(const orv_node_s *node, std::size_t count) {
  Vector<std::optional<String>> labels;
  if (node->state_labels.empty()) return labels;
  labels.reserve(count);
  const std::size_t kept = std::min(count, node->state_count);
  labels.assign(node->state_labels.begin(), node->state_labels.begin() + static_cast<std::ptrdiff_t>(kept));
  labels.resize(count);
  return labels;
}

// The value array after a change of count: the upper end moves to the new
// last position, new entries in between are -1.0.
Vector<double> resized_values(const orv_node_s *node, std::size_t count) {
  Vector<double> values;
  if (node->state_values.empty()) return values;
  values.assign(count + 1, -1.0);
  const std::size_t kept = std::min(count, node->state_count);
  std::copy(node->state_values.begin(), node->state_values.begin() + static_cast<std::ptrdiff_t>(kept),
            values.begin());
  values[count] = node->state_values[node->state_count];
  return values;
}

}  // namespace

Vector<orv_table_s *> tables_with_node(orv_node_s *node) {
  Vector<orv_table_s *> tables;
  tables.reserve(3 * (node->children.size() + 1));
  add_tables_of(tables, node, node);
  for (orv_node_s *child : node->children) add_tables_of(tables, child, node);
  // Chain-graph potentials hold the node as a block member or as a parent of
  // members.
  for (ChainBlock *block = node->owner->first_chain_block; block; block = block->next)
    for (orv_table_s *t : block->potentials)
      if (has_discrete_node(t, node)) tables.push_back(t);
  // The corresponding nodes of class instances and temporal clones join here
  // when those structures exist.
  return tables;
}

void set_number_of_states(orv_node_s *node, std::size_t count) {
  const std::size_t old_count = node->state_count;
  if (count == old_count) return;

  // The node's output clones in class instances change with it.
  Vector<orv_node_s *> group{node};
  append_output_clones(node, group);

  // Build everything first: the new label and value arrays and every table.
  Vector<Vector<std::optional<String>>> labels;
  Vector<Vector<double>> values;
  Vector<orv_table_s *> tables;
  Vector<PendingTable> pending;
  Vector<PendingModel> models;
  Vector<std::size_t> source(count);
  for (std::size_t j = 0; j < count; ++j) source[j] = j < old_count ? j : kNoState;
  for (orv_node_s *m : group) {
    prepare_model_regrouping(m, source, models);
    labels.push_back(resized_labels(m, count));
    values.push_back(resized_values(m, count));
    for (orv_table_s *t : tables_with_node(m)) {
      pending.push_back(prepare_state_count(t, m, count));
      tables.push_back(t);
    }
  }

  // Commit: nothing below can fail.
  for (PendingTable &p : pending) p.commit();
  for (PendingModel &p : models) p.commit();
  for (std::size_t i = 0; i < group.size(); ++i) {
    orv_node_s *m = group[i];
    m->state_labels.swap(labels[i]);
    m->state_values.swap(values[i]);
    m->state_count = count;
    // New states got default entries: no owner's table is known to be a
    // normalised conditional distribution any more.
    m->table_valid = false;
  }
  for (orv_table_s *t : tables)
    if (t->node) t->node->table_valid = false;
  for (orv_node_s *m : group) {
    states_resized_hook(m, old_count);
    mark_models_for_regeneration(m);
    uncompile(m->owner);
  }
}

}  // namespace orv
