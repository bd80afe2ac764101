// Adding, removing and switching parents: the checks that guard a new link,
// both node lists, the child's node, experience and fading tables (and chain
// potentials), the graph caches and the compiled state.
#include "model/links.h"

#include "expr/model_upkeep.h"
#include "model/chain_blocks.h"
#include "model/graph_checks.h"
#include "model/staged_lists.h"
#include "runtime/error.h"
#include "tables/table_dimensions.h"

namespace orv {

void discard_graph_caches(orv_domain_s *d) noexcept {
  d->graph_cache.reset();
  d->information_cache.reset();
}

void discard_graph_caches_for_link(orv_node_s *child, orv_node_s *parent) noexcept {
  orv_domain_s *d = child->owner;
  d->graph_cache.reset();
  const bool already_known = child->category == orv_category_decision && d->information_cache &&
                             d->information_cache->lists(child, parent);
  if (!already_known) d->information_cache.reset();
}

namespace {

// The parent kinds that chance, decision and utility nodes accept, and the
// temporal rule (a temporal clone takes only temporal-clone parents).
void check_parent_kind(const orv_node_s *child, const orv_node_s *parent) {
  if (child->category != orv_category_function) {
    if (parent->category == orv_category_utility) fail(orv_error_usage);
    if (child->is_discrete() && parent->is_continuous()) fail(orv_error_usage);
  }
  if (!parent->temporal_clone && child->temporal_clone) fail(orv_error_usage);
}

void check_new_link(orv_node_s *child, orv_node_s *parent) {
  if (child->owner != parent->owner || child->class_node || child->parents.contains(parent) ||
      child->category == orv_category_instance || parent->category == orv_category_instance ||
      is_class_input(child))
    fail(orv_error_usage);
  check_parent_kind(child, parent);
  if (_orv_path_exists(child, parent)) fail(orv_error_cyclic_network);
  _orv_check_proposed_link(parent, child, nullptr);
}

// Whether the child's tables hold this parent as a dimension.
bool tables_hold(const orv_node_s *child, const orv_node_s *parent) {
  return child->category != orv_category_function && parent->counts_as_variable();
}

Owned<orv_table_s> staged_with(const orv_table_s *t, orv_node_s *parent) {
  if (!t) return nullptr;
  return table_with_dimension(t, parent, 0, kRoleTail);
}

void commit_staged(orv_table_s *live, Owned<orv_table_s> &staged) noexcept {
  if (!staged) return;
  swap_table_contents(live, staged.get());
  staged.reset();  // frees the old contents
}

void remove_dimension(orv_table_s *t, orv_node_s *parent, std::size_t state) noexcept {
  if (!t) return;
  if (parent->is_discrete())
    _orv_table_instantiate(t, parent, state);
  else
    remove_continuous_node(t, parent);
}

void replace_in_table(orv_table_s *t, orv_node_s *old_node, orv_node_s *new_node) noexcept {
  if (!t) return;
  const long i = t->nodes.index_of(old_node);
  if (i >= 0) t->nodes.begin()[i] = new_node;
}

}  // namespace

void add_parent(orv_node_s *child, orv_node_s *parent) {
  check_new_link(child, parent);
  StagedLists lists;
  lists.insert(child->parents, parent);
  lists.insert(parent->children, child);

  Owned<orv_table_s> table, experience, fading;
  const bool dimension = tables_hold(child, parent);
  if (dimension) {
    table = staged_with(child->table, parent);
    if (parent->is_discrete()) {
      experience = staged_with(child->experience, parent);
      fading = staged_with(child->fading, parent);
    }
  }

  // Commit: nothing below can fail.
  commit_staged(child->table, table);
  commit_staged(child->experience, experience);
  commit_staged(child->fading, fading);
  if (dimension) uncompile(child->owner);
  discard_graph_caches_for_link(child, parent);
  lists.commit();
}

void eliminate_parent(orv_node_s *child, orv_node_s *parent, std::size_t state) noexcept {
  child->parents.remove(parent);
  parent->children.remove(child);
  drop_model_node(child, parent, state);
  if (parent->counts_as_variable()) {
    for (orv_table_s *t : {child->table, child->experience, child->fading})
      remove_dimension(t, parent, state);
    if (child->chain_block)
      for (orv_table_s *t : child->chain_block->potentials)
        if (t->nodes.contains(child)) remove_dimension(t, parent, state);
  }
  discard_graph_caches(child->owner);
  if (child->category != orv_category_function && parent->kind != orv_kind_other)
    uncompile(child->owner);
}

void switch_parent(orv_node_s *child, orv_node_s *old_parent, orv_node_s *new_parent) {
  orv_domain_s *d = child->owner;
  if (old_parent->owner != d || new_parent->owner != d || child->parents.contains(new_parent) ||
      !child->parents.contains(old_parent) || !_orv_nodes_are_compatible(old_parent, new_parent))
    fail(orv_error_usage);
  if (!new_parent->temporal_clone && child->temporal_clone) fail(orv_error_usage);
  if (_orv_path_exists(child, new_parent)) fail(orv_error_cyclic_network);
  _orv_check_proposed_link(new_parent, child, old_parent);
  StagedLists lists;
  lists.insert(new_parent->children, child);

  // Commit: the new parent takes the old one's place everywhere, so no table
  // data change.
  child->parents.begin()[child->parents.index_of(old_parent)] = new_parent;
  for (orv_table_s *t : {child->table, child->experience, child->fading})
    replace_in_table(t, old_parent, new_parent);
  if (child->chain_block)
    for (orv_table_s *t : child->chain_block->potentials) replace_in_table(t, old_parent, new_parent);
  old_parent->children.remove(child);
  replace_model_node(child, old_parent, new_parent);
  lists.commit();
  discard_graph_caches(d);
  if (child->category != orv_category_function && old_parent->kind != orv_kind_other) uncompile(d);
}

}  // namespace orv
