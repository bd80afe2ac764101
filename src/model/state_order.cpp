// Reordering the states of a label node, with every table that involves the
// node permuted along the node's dimension.
#include <cstring>

#include "expr/model_upkeep.h"
#include "model/states.h"
#include "runtime/error.h"
#include "tables/table_reshape.h"

namespace orv {

void permute_states(orv_node_s *node, const std::size_t *to_new) {
  Vector<std::optional<String>> labels;
  if (!node->state_labels.empty()) {
    labels.resize(node->state_count);
    for (std::size_t s = 0; s < node->state_count; ++s) labels[to_new[s]] = node->state_labels[s];
  }
  // The node's output clones in class instances (and their children's
  // tables) are permuted with it.
  Vector<orv_node_s *> group{node};
  append_output_clones(node, group);
  Vector<PendingTable> pending;
  Vector<PendingModel> models;
  Vector<std::size_t> source(node->state_count);
  for (std::size_t s = 0; s < node->state_count; ++s) source[to_new[s]] = s;
  for (orv_node_s *m : group) {
    for (orv_table_s *t : tables_with_node(m)) pending.push_back(prepare_state_permutation(t, m, to_new));
    prepare_model_regrouping(m, source, models);
  }

  // Commit: nothing below can fail.
  for (PendingTable &p : pending) p.commit();
  for (PendingModel &p : models) p.commit();
  node->state_labels.swap(labels);
  for (orv_node_s *m : group) {
    states_permuted_hook(m, to_new);
    mark_models_for_regeneration(m);
    uncompile(m->owner);
  }
}

namespace {

// The permutation named by a list of labels (old state s goes to position
// to_new[s]); usage for an unknown label, a state named twice, or a list
// whose length is not the number of states. Returns false for the identity.
bool permutation_from_labels(const orv_node_s *node, const char *const *order, Vector<std::size_t> &to_new) {
  const std::size_t count = node->state_count;
  to_new.assign(count, count);
  std::size_t k = 0;
  bool identity = true;
  for (; order[k]; ++k) {
    if (k >= count) fail(orv_error_usage);
    const long s = first_state_with_label(node, order[k]);
    if (s < 0 || to_new[static_cast<std::size_t>(s)] != count) fail(orv_error_usage);
    to_new[static_cast<std::size_t>(s)] = k;
    identity = identity && static_cast<std::size_t>(s) == k;
  }
  if (k != count) fail(orv_error_usage);
  return !identity;
}

}  // namespace

void reorder_states(orv_node_s *node, const char *const *order) {
  Vector<std::size_t> to_new;
  if (permutation_from_labels(node, order, to_new)) permute_states(node, to_new.data());
}

}  // namespace orv
