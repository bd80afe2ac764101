// Creation of a node's own table over its family.
#include "tables/node_table.h"

#include <algorithm>

#include "model/node.h"
#include "runtime/error.h"

namespace orv {

bool node_can_have_table(const orv_node_s *node) {
  return (node->kind != orv_kind_other || node->category == orv_category_utility) && !node->class_node;
}

namespace {

NodeList family_of(orv_node_s *node) {
  NodeList family;
  if (node->category == orv_category_function) {
    family.push_back(node);
    return family;
  }
  family.reserve(node->parents.size() + 1);
  for (orv_node_s *p : node->parents)
    if (p->is_discrete()) family.push_back(p);
  if (node->category != orv_category_utility) family.push_back(node);
  for (orv_node_s *p : node->parents)
    if (p->is_continuous()) family.push_back(p);
  return family;
}

}  // namespace

orv_table_s *node_table(orv_node_s *node) {
  if (node->table) return node->table;
  NodeList family = family_of(node);
  const orv_table_type_t type =
      node->category == orv_category_utility ? orv_table_utility : orv_table_probability;
  Owned<orv_table_s> t(_orv_create_table(node->owner, family.c_list(), type, 0, true, false));
  t->node = node;
  if (node->is_continuous()) {
    // The head is the node itself, the first continuous entry; parents are tails.
    for (std::size_t i = 0; i < t->roles.size(); ++i) t->roles[i] = i == 0 ? kRoleHead : kRoleTail;
    for (std::size_t index = 0; index < t->size; ++index) init_cg_block(t.get(), t->cg_data + index * t->block_size);
  }
  // A decision starts with a uniform policy, so that the joint stays a
  // distribution whichever rows policy updating leaves alone.
  if (node->category == orv_category_decision && node->is_discrete())
    std::fill(t->data, t->data + t->size, 1.0 / static_cast<double>(node->state_count));
  chain_table(t.get());
  node->table = t.release();
  return node->table;
}

}  // namespace orv
