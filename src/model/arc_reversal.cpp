// Arc reversal: X -> Y becomes Y -> X with tables rewritten so that the joint
// distribution of the network is kept. Everything is built on working copies
// and swapped into the live table records at the end, so a failure leaves
// the network untouched and table handles stay valid.
#include <utility>

#include "model/cg_reversal.h"
#include "model/graph_checks.h"
#include "model/links.h"
#include "model/staged_lists.h"
#include "runtime/error.h"
#include "tables/control.h"
#include "tables/table_conditionals.h"
#include "tables/table_dimensions.h"

namespace orv {

namespace {

void check_reversal(orv_node_s *x, orv_node_s *y) {
  if (x->class_node || x->temporal_clone != y->temporal_clone) fail(orv_error_usage);
  if (_orv_indirect_path_exists(x, y)) fail(orv_error_cyclic_network);
}

// The default layout of a node's own table: discrete parents in parent
// order, the node, continuous parents.
Owned<orv_table_s> fresh_node_table(orv_node_s *node) {
  NodeList nodes;
  for (orv_node_s *p : node->parents)
    if (p->is_discrete()) nodes.push_back(p);
  nodes.push_back(node);
  for (orv_node_s *p : node->parents)
    if (p->is_continuous()) nodes.push_back(p);
  return Owned<orv_table_s>(
      _orv_create_table(node->owner, nodes.c_list(), orv_table_probability, 0, true, false));
}

Owned<orv_table_s> working_copy(orv_node_s *node) {
  if (!node->table) return nullptr;
  Owned<orv_table_s> copy(_orv_clone_table(node->table, false));
  if (!node->table_valid || !copy->data) normalize_conditional(copy.get(), ZeroSum::refuse);
  return copy;
}

// Adds `node` to the working table unless it is already a dimension.
void ensure_dimension(Owned<orv_table_s> &t, orv_node_s *node) {
  if (t->nodes.contains(node)) return;
  t = table_with_dimension(t.get(), node, 0, kRoleTail);
}

// Parent lists after the reversal: X gains Y and the parents of Y it lacks;
// Y gains the parents of X it lacks and loses X.
void stage_parent_union(StagedLists &lists, orv_node_s *x, orv_node_s *y) {
  for (orv_node_s *p : y->parents)
    if (p != x && !x->parents.contains(p)) {
      lists.insert(x->parents, p);
      lists.insert(p->children, x);
    }
  lists.insert(x->parents, y);
  lists.insert(y->children, x);
  for (orv_node_s *p : x->parents)
    if (!y->parents.contains(p)) {
      lists.insert(y->parents, p);
      lists.insert(p->children, y);
    }
  lists.remove(y->parents, x);
  lists.remove(x->children, y);
}

// Replaces the live table's contents (or installs the working table as the
// node's new table).
void install_table(orv_node_s *node, Owned<orv_table_s> &working) noexcept {
  if (!working) return;
  if (node->table) {
    swap_table_contents(node->table, working.get());
    working.reset();
  } else {
    chain_table(working.get());
    working->node = node;
    node->table = working.release();
  }
}

void drop_learning_tables(orv_node_s *node) noexcept {
  _orv_free_table(node->experience);
  _orv_free_table(node->fading);
  node->experience = node->fading = nullptr;
}

// TX becomes P(X | Y, all parents) and TY P(Y | all parents but X).
void reverse_discrete_tables(orv_node_s *x, orv_node_s *y, Owned<orv_table_s> &tx, Owned<orv_table_s> &ty) {
  tx = working_copy(x);
  ty = working_copy(y);
  if (!tx && ty) {
    tx = fresh_node_table(x);
    normalize_conditional(tx.get(), ZeroSum::uniform);
  }
  if (tx) {
    // Inserting at the front keeps X the last discrete node of TX.
    for (orv_node_s *p : y->parents)
      if (p != x && p->counts_as_variable()) ensure_dimension(tx, p);
    ensure_dimension(tx, y);
  }
  if (ty) {
    _orv_combine_tables(tx.get(), ty.get());  // the joint of X and Y given all parents
    _orv_table_instantiate(ty.get(), x, 0);
    for (orv_node_s *p : x->parents)
      if (p->counts_as_variable()) ensure_dimension(ty, p);
    _orv_marginalize_tables(tx.get(), ty.get(), orv_equilibrium_sum, kMarginalizeInto);
    normalize_conditional(tx.get(), ZeroSum::uniform);
  }
}

}  // namespace

void reverse_edge(orv_node_s *a, orv_node_s *b) {
  if (a->owner != b->owner || a->category != orv_category_chance ||
      b->category != orv_category_chance || a->kind != b->kind || a->chain_block || b->chain_block)
    fail(orv_error_usage);
  orv_node_s *x = a, *y = b;
  if (!y->parents.contains(x)) std::swap(x, y);
  if (!y->parents.contains(x)) fail(orv_error_usage);
  check_reversal(x, y);

  Owned<orv_table_s> tx, ty;
  if (x->is_continuous()) reverse_continuous_edge(x, y, tx, ty);
  else reverse_discrete_tables(x, y, tx, ty);
  StagedLists lists;
  stage_parent_union(lists, x, y);

  // Commit: nothing below can fail.
  lists.commit();
  install_table(x, tx);
  install_table(y, ty);
  x->table_valid = x->table != nullptr;
  y->table_valid = y->table != nullptr;
  drop_learning_tables(x);
  drop_learning_tables(y);
  discard_graph_caches(x->owner);
  uncompile(x->owner);
}

}  // namespace orv
