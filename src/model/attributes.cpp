// Attribute lists of domains and nodes, and the attribute and user-data
// entry points.
#include "model/attributes.h"

#include <cstring>

#include "model/domain.h"
#include "model/node.h"
#include "runtime/error.h"

namespace orv {

bool is_attribute(const orv_attribute_s *a) { return a && a->tag == Tag::attribute; }

orv_attribute_s *_orv_new_attribute(String &&key, String &&value) {
  return make<orv_attribute_s>(std::move(key), std::move(value));
}

orv_attribute_s *find_attribute(orv_attribute_s *head, const char *key) {
  for (orv_attribute_s *a = head; a; a = a->next)
    if (a->key == key) return a;
  return nullptr;
}

void _orv_insert_attribute(orv_attribute_s **head, const char *key, const char *value, bool check_key) {
  if (check_key) _orv_check_name(key, false);
  orv_attribute_s **link = head;
  while (*link && (*link)->key != key) link = &(*link)->next;
  if (!value) {
    if (orv_attribute_s *gone = *link) {
      *link = gone->next;
      destroy(gone);
    }
    return;
  }
  String copy(value);
  if (*link) {
    (*link)->value.swap(copy);
    return;
  }
  orv_attribute_s *fresh = _orv_new_attribute(String(key), std::move(copy));
  fresh->next = *head;
  *head = fresh;
}

orv_attribute_s *copy_attribute_list(const orv_attribute_s *head) {
  orv_attribute_s *first = nullptr;
  orv_attribute_s **tail = &first;
  try {
    for (const orv_attribute_s *a = head; a; a = a->next) {
      *tail = _orv_new_attribute(String(a->key), String(a->value));
      tail = &(*tail)->next;
    }
  } catch (...) {
    _orv_free_attribute_list(first);
    throw;
  }
  return first;
}

void _orv_free_attribute_list(orv_attribute_s *head) noexcept {
  while (head) {
    orv_attribute_s *next = head->next;
    destroy(head);
    head = next;
  }
}

namespace {

orv_status_t set_attribute(orv_attribute_s **head, const char *key, const char *value) {
  if (!key) return usage(orv_error_usage);
  return guarded_status([&] { _orv_insert_attribute(head, key, value, true); });
}

const char *get_attribute(orv_attribute_s *head, const char *key) {
  if (!key) return usage<const char *>(nullptr);
  set_error(orv_error_none);
  const orv_attribute_s *a = find_attribute(head, key);
  return a ? a->value.c_str() : nullptr;
}

}  // namespace
}  // namespace orv

using orv::is_domain;
using orv::is_node;
using orv::usage;

extern "C" {

orv_status_t orv_domain_set_attribute(orv_domain_t domain, const char *key, const char *value) {
  if (!is_domain(domain)) return usage(orv_error_usage);
  return orv::set_attribute(&domain->attributes, key, value);
}

const char *orv_domain_get_attribute(orv_domain_t domain, const char *key) {
  if (!is_domain(domain)) return usage<const char *>(nullptr);
  return orv::get_attribute(domain->attributes, key);
}

orv_attribute_t orv_domain_get_first_attribute(orv_domain_t domain) {
  if (!is_domain(domain)) return usage<orv_attribute_t>(nullptr);
  orv::set_error(orv_error_none);
  return domain->attributes;
}

orv_status_t orv_node_set_attribute(orv_node_t node, const char *key, const char *value) {
  if (!is_node(node)) return usage(orv_error_usage);
  return orv::set_attribute(&node->attributes, key, value);
}

const char *orv_node_get_attribute(orv_node_t node, const char *key) {
  if (!is_node(node)) return usage<const char *>(nullptr);
  return orv::get_attribute(node->attributes, key);
}

orv_attribute_t orv_node_get_first_attribute(orv_node_t node) {
  if (!is_node(node)) return usage<orv_attribute_t>(nullptr);
  orv::set_error(orv_error_none);
  return node->attributes;
}

orv_attribute_t orv_attribute_get_next(orv_attribute_t attribute) {
  if (!orv::is_attribute(attribute)) return usage<orv_attribute_t>(nullptr);
  orv::set_error(orv_error_none);
  return attribute->next;
}

const char *orv_attribute_get_key(orv_attribute_t attribute) {
  if (!orv::is_attribute(attribute)) return usage<const char *>(nullptr);
  orv::set_error(orv_error_none);
  return attribute->key.c_str();
}

const char *orv_attribute_get_value(orv_attribute_t attribute) {
  if (!orv::is_attribute(attribute)) return usage<const char *>(nullptr);
  orv::set_error(orv_error_none);
  return attribute->value.c_str();
}

orv_status_t orv_domain_set_user_data(orv_domain_t domain, void *data) {
  if (!is_domain(domain)) return usage(orv_error_usage);
  domain->user_data = data;
  orv::set_error(orv_error_none);
  return orv_error_none;
}

void *orv_domain_get_user_data(orv_domain_t domain) {
  if (!is_domain(domain)) return usage<void *>(nullptr);
  orv::set_error(orv_error_none);
  return domain->user_data;
}

orv_status_t orv_node_set_user_data(orv_node_t node, void *data) {
  if (!is_node(node)) return usage(orv_error_usage);
  node->user_data = data;
  orv::set_error(orv_error_none);
  return orv_error_none;
}

void *orv_node_get_user_data(orv_node_t node) {
  if (!is_node(node)) return usage<void *>(nullptr);
  orv::set_error(orv_error_none);
  return node->user_data;
}

}  // extern "C"
