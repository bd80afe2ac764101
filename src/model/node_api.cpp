// Public node entry points: creation, cloning, deletion, types, names,
// presentation and the graph lists.
#include <cstring>

#include "model/node.h"
#include "model/node_ops.h"
#include "runtime/error.h"

using orv::guarded;
using orv::guarded_status;
using orv::is_domain;
using orv::is_node;
using orv::usage;

namespace {

bool valid_creation(orv_category_t category, orv_kind_t kind) {
  switch (category) {
    case orv_category_chance: return kind == orv_kind_discrete || kind == orv_kind_continuous;
    case orv_category_decision: return kind == orv_kind_discrete || kind == orv_kind_continuous;
    case orv_category_function: return kind == orv_kind_discrete || kind == orv_kind_other;
    case orv_category_utility: return true;  // always created with kind other
    case orv_category_instance: return false;  // instances come from classes
    default: return false;
  }
}

}  // namespace

extern "C" {

orv_node_t orv_domain_new_node(orv_domain_t domain, orv_category_t category, orv_kind_t kind) {
  if (!is_domain(domain) || !valid_creation(category, kind)) return usage<orv_node_t>(nullptr);
  return guarded<orv_node_t>(nullptr, [&] {
    const orv_kind_t actual = category == orv_category_utility ? orv_kind_other : kind;
    return orv::_orv_domain_new_node(domain, category, actual, orv_subtype_label, false);
  });
}

orv_node_t orv_node_clone(orv_node_t node) {
  if (!is_node(node) || node->category == orv_category_instance) return usage<orv_node_t>(nullptr);
  return guarded<orv_node_t>(nullptr, [&] { return orv::clone_node(node); });
}

orv_status_t orv_node_delete(orv_node_t node) {
  if (!is_node(node) || node->class_node || node->chain_block) return usage(orv_error_usage);
  return guarded_status([&] { orv::delete_node(node); });
}

orv_category_t orv_node_get_category(orv_node_t node) {
  if (!is_node(node)) return usage(orv_category_error);
  orv::set_error(orv_error_none);
  return node->category;
}

orv_kind_t orv_node_get_kind(orv_node_t node) {
  if (!is_node(node)) return usage(orv_kind_error);
  orv::set_error(orv_error_none);
  return node->kind;
}

orv_subtype_t orv_node_get_subtype(orv_node_t node) {
  if (!is_node(node) || !node->is_discrete()) return usage(orv_subtype_error);
  orv::set_error(orv_error_none);
  return node->subtype;
}

orv_domain_t orv_node_get_domain(orv_node_t node) {
  if (!is_node(node)) return usage<orv_domain_t>(nullptr);
  orv::set_error(orv_error_none);
  return node->owner;
}

orv_domain_t orv_node_get_home_domain(orv_node_t node) {
  if (!is_node(node)) return usage<orv_domain_t>(nullptr);
  orv::set_error(orv_error_none);
  return node->owner->is_class() ? nullptr : node->owner;
}

orv_class_t orv_node_get_home_class(orv_node_t node) {
  if (!is_node(node)) return usage<orv_class_t>(nullptr);
  orv::set_error(orv_error_none);
  return node->owner->is_class() ? reinterpret_cast<orv_class_t>(node->owner) : nullptr;
}

orv_status_t orv_node_set_category(orv_node_t node, orv_category_t category) {
  if (!is_node(node) || node->category == orv_category_function) return usage(orv_error_usage);
  return guarded_status([&] { orv::_orv_node_set_discrete_type(node, category, node->subtype); });
}

orv_status_t orv_node_set_subtype(orv_node_t node, orv_subtype_t subtype) {
  if (!is_node(node)) return usage(orv_error_usage);
  return guarded_status([&] { orv::_orv_node_set_discrete_type(node, node->category, subtype); });
}

orv_status_t orv_node_set_discrete_type(orv_node_t node, orv_category_t category, orv_subtype_t subtype) {
  if (!is_node(node) || (category != node->category && node->category == orv_category_function))
    return usage(orv_error_usage);
  return guarded_status([&] { orv::_orv_node_set_discrete_type(node, category, subtype); });
}

orv_node_t orv_node_get_next(orv_node_t node) {
  if (!is_node(node)) return usage<orv_node_t>(nullptr);
  orv::set_error(orv_error_none);
  return node->next;
}

orv_status_t orv_node_set_name(orv_node_t node, const char *name) {
  if (!is_node(node) || !name) return usage(orv_error_usage);
  return guarded_status([&] { orv::set_node_name(node, name); });
}

const char *orv_node_get_name(orv_node_t node) {
  if (!is_node(node)) return usage<const char *>(nullptr);
  return guarded<const char *>(nullptr, [&] { return orv::node_name(node); });
}

orv_status_t orv_node_set_label(orv_node_t node, const char *label) {
  if (!is_node(node) || !label) return usage(orv_error_usage);
  return guarded_status([&] {
    orv::String copy(label);
    node->label.swap(copy);
  });
}

const char *orv_node_get_label(orv_node_t node) {
  if (!is_node(node)) return usage<const char *>(nullptr);
  orv::set_error(orv_error_none);
  return node->label.c_str();
}

orv_status_t orv_node_set_position(orv_node_t node, int x, int y) {
  if (!is_node(node)) return usage(orv_error_usage);
  node->x = x;
  node->y = y;
  orv::set_error(orv_error_none);
  return orv_error_none;
}

orv_status_t orv_node_get_position(orv_node_t node, int *x, int *y) {
  if (!is_node(node) || !x || !y || x == y) return usage(orv_error_usage);
  *x = node->x;
  *y = node->y;
  orv::set_error(orv_error_none);
  return orv_error_none;
}

orv_node_t *orv_node_get_parents(orv_node_t node) {
  if (!is_node(node)) return usage<orv_node_t *>(nullptr);
  orv::set_error(orv_error_none);
  return node->parents.c_list();
}

orv_node_t *orv_node_get_children(orv_node_t node) {
  if (!is_node(node)) return usage<orv_node_t *>(nullptr);
  orv::set_error(orv_error_none);
  return node->children.c_list();
}

orv_node_t *orv_node_get_ancestors(orv_node_t node) {
  if (!is_node(node)) return usage<orv_node_t *>(nullptr);
  return guarded<orv_node_t *>(nullptr, [&] { return orv::relatives(node, true); });
}

orv_node_t *orv_node_get_descendants(orv_node_t node) {
  if (!is_node(node)) return usage<orv_node_t *>(nullptr);
  return guarded<orv_node_t *>(nullptr, [&] { return orv::relatives(node, false); });
}

}  // extern "C"
