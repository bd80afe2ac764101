// Experience and fading tables: one count (or fading factor) per configuration
// of a chance node's discrete parents, created on first request.
#include "learning/experience.h"
#include "model/node.h"
#include "runtime/error.h"
#include "tables/table.h"

namespace orv {

namespace {

orv_table_s *new_learning_table(orv_node_s *n, orv_table_type_t type) {
  NodeList nodes;
  for (orv_node_s *p : n->parents)
    if (p->is_discrete()) nodes.push_back(p);
  orv_table_s *t = _orv_create_table(n->owner, nodes.c_list(), type, 0, true, true);
  t->node = n;
  return t;
}

}  // namespace

bool may_have_experience(const orv_node_s *n) {
  return n->category == orv_category_chance && !n->class_node;
}

bool may_have_fading(const orv_node_s *n) { return may_have_experience(n) && n->is_discrete(); }

orv_table_s *node_experience_table(orv_node_s *n) {
  if (!n->experience) n->experience = new_learning_table(n, orv_table_experience);
  return n->experience;
}

orv_table_s *node_fading_table(orv_node_s *n) {
  if (!n->fading) n->fading = new_learning_table(n, orv_table_fading);
  return n->fading;
}

}  // namespace orv

using orv::guarded;
using orv::is_node;
using orv::usage;

extern "C" {

orv_table_t orv_node_get_experience_table(orv_node_t node) {
  if (!is_node(node) || !orv::may_have_experience(node)) return usage<orv_table_t>(nullptr);
  return guarded<orv_table_t>(nullptr, [&] { return orv::node_experience_table(node); });
}

int orv_node_has_experience_table(orv_node_t node) {
  if (!is_node(node)) return usage(-1);
  orv::set_error(orv_error_none);
  return node->experience != nullptr;
}

orv_table_t orv_node_get_fading_table(orv_node_t node) {
  if (!is_node(node) || !orv::may_have_fading(node)) return usage<orv_table_t>(nullptr);
  return guarded<orv_table_t>(nullptr, [&] { return orv::node_fading_table(node); });
}

int orv_node_has_fading_table(orv_node_t node) {
  if (!is_node(node)) return usage(-1);
  orv::set_error(orv_error_none);
  return node->fading != nullptr;
}

}  // extern "C"
