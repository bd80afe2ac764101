// Class collections and the life of their classes: creation with a free
// default name, naming, lookup, deletion, and moving classes between
// collections.
#include <cstdio>
#include <cstring>

#include "model/attributes.h"
#include "oobn/class.h"
#include "runtime/error.h"
#include "runtime/files.h"

orv_class_collection_s::~orv_class_collection_s() {
  // Users before the classes they instantiate: newest first.
  while (!members.empty()) {
    orv_class_s *c = members.back();
    members.pop_back();
    for (orv_node_t i : c->instances) i->instance_class = nullptr;
    c->instances.clear();
    orv::free_class(c);
  }
}

namespace orv {

bool is_class(const orv_class_s *c) { return c && c->tag == Tag::class_record; }
bool is_collection(const orv_class_collection_s *cc) { return cc && cc->tag == Tag::class_collection; }

orv_class_s *find_class(orv_class_collection_s *cc, const char *name) {
  for (orv_class_s *c : cc->members)
    if (c->name == name) return c;
  return nullptr;
}

orv_class_s *new_class(orv_class_collection_s *cc) {
  String name;
  for (std::size_t k = cc->members.size() + 1;; ++k) {
    char text[32];
    std::snprintf(text, sizeof text, "Class%zu", k);
    if (!find_class(cc, text)) {
      name = text;
      break;
    }
  }
  cc->members.reserve(cc->members.size() + 1);
  orv_class_s *c = make<orv_class_s>(cc);
  c->name.swap(name);
  cc->members.push_back(c);
  return c;
}

void free_class(orv_class_s *c) noexcept {
  for (orv_node_s *n = c->first_node; n; n = n->next)
    if (n->category == orv_category_instance && n->instance_class) n->instance_class->instances.remove(n);
  destroy(c);
}

namespace {

void remove_member(orv_class_s *c) noexcept {
  auto &m = c->collection->members;
  for (std::size_t i = 0; i < m.size(); ++i)
    if (m[i] == c) {
      m.erase(m.begin() + static_cast<long>(i));
      return;
    }
}

}  // namespace

}  // namespace orv

using orv::guarded;
using orv::guarded_status;
using orv::is_class;
using orv::is_collection;
using orv::usage;

extern "C" {

orv_class_collection_t orv_new_class_collection(void) {
  return guarded<orv_class_collection_t>(nullptr, [] { return orv::make<orv_class_collection_s>(); });
}

orv_status_t orv_cc_delete(orv_class_collection_t cc) {
  if (!is_collection(cc)) return usage(orv_error_usage);
  return guarded_status([&] { orv::destroy(cc); });
}

orv_class_t orv_cc_new_class(orv_class_collection_t cc) {
  if (!is_collection(cc)) return usage<orv_class_t>(nullptr);
  return guarded<orv_class_t>(nullptr, [&] { return orv::new_class(cc); });
}

orv_class_t *orv_cc_get_members(orv_class_collection_t cc) {
  if (!is_collection(cc)) return usage<orv_class_t *>(nullptr);
  return guarded<orv_class_t *>(nullptr, [&] {
    orv::Vector<orv_class_t> list(cc->members.begin(), cc->members.end());
    list.push_back(nullptr);
    cc->member_list.swap(list);
    return cc->member_list.data();
  });
}

orv_class_t orv_cc_get_class_by_name(orv_class_collection_t cc, const char *name) {
  if (!is_collection(cc) || !name) return usage<orv_class_t>(nullptr);
  orv::set_error(orv_error_none);
  return orv::find_class(cc, name);
}

orv_status_t orv_cc_add_classes(orv_class_collection_t cc, orv_class_collection_t other) {
  if (!is_collection(cc) || !is_collection(other) || cc == other) return usage(orv_error_usage);
  return guarded_status([&] {
    for (orv_class_s *c : other->members)
      if (orv::find_class(cc, c->name.c_str())) orv::fail(orv_error_twice);
    cc->members.reserve(cc->members.size() + other->members.size());
    for (orv_class_s *c : other->members) {
      c->collection = cc;
      cc->members.push_back(c);
    }
    other->members.clear();
  });
}

orv_status_t orv_cc_set_user_data(orv_class_collection_t cc, void *data) {
  if (!is_collection(cc)) return usage(orv_error_usage);
  cc->user_data = data;
  orv::set_error(orv_error_none);
  return orv_error_none;
}

void *orv_cc_get_user_data(orv_class_collection_t cc) {
  if (!is_collection(cc)) return usage<void *>(nullptr);
  orv::set_error(orv_error_none);
  return cc->user_data;
}

orv_status_t orv_class_delete(orv_class_t c) {
  if (!is_class(c) || !c->instances.empty()) return usage(orv_error_usage);
  return guarded_status([&] {
    orv::remove_member(c);
    orv::free_class(c);
  });
}

orv_status_t orv_class_set_name(orv_class_t c, const char *name) {
  if (!is_class(c) || !name) return usage(orv_error_usage);
  return guarded_status([&] {
    if (c->name == name) return;
    {
      orv::CLocale locale;
      if (!orv::is_valid_name(name, false)) orv::fail(orv_error_invalid_name);
    }
    if (orv::find_class(c->collection, name)) orv::fail(orv_error_twice);
    c->name = name;
  });
}

const char *orv_class_get_name(orv_class_t c) {
  if (!is_class(c)) return usage<const char *>(nullptr);
  orv::set_error(orv_error_none);
  return c->name.c_str();
}

orv_class_collection_t orv_class_get_class_collection(orv_class_t c) {
  if (!is_class(c)) return usage<orv_class_collection_t>(nullptr);
  orv::set_error(orv_error_none);
  return c->collection;
}

orv_status_t orv_class_set_user_data(orv_class_t c, void *data) {
  if (!is_class(c)) return usage(orv_error_usage);
  return orv_domain_set_user_data(c, data);
}

void *orv_class_get_user_data(orv_class_t c) {
  if (!is_class(c)) return usage<void *>(nullptr);
  return orv_domain_get_user_data(c);
}

// The domain operations, refused for a plain domain.
orv_node_t orv_class_new_node(orv_class_t c, orv_category_t category, orv_kind_t kind) {
  if (!is_class(c)) return usage<orv_node_t>(nullptr);
  return orv_domain_new_node(c, category, kind);
}

orv_node_t orv_class_get_first_node(orv_class_t c) {
  if (!is_class(c)) return usage<orv_node_t>(nullptr);
  return orv_domain_get_first_node(c);
}

orv_node_t orv_class_get_node_by_name(orv_class_t c, const char *name) {
  if (!is_class(c)) return usage<orv_node_t>(nullptr);
  return orv_domain_get_node_by_name(c, name);
}

orv_status_t orv_class_set_node_size(orv_class_t c, size_t width, size_t height) {
  if (!is_class(c)) return usage(orv_error_usage);
  return orv_domain_set_node_size(c, width, height);
}

orv_status_t orv_class_get_node_size(orv_class_t c, size_t *width, size_t *height) {
  if (!is_class(c)) return usage(orv_error_usage);
  return orv_domain_get_node_size(c, width, height);
}

orv_status_t orv_class_set_log_file(orv_class_t c, FILE *log_file) {
  if (!is_class(c)) return usage(orv_error_usage);
  return orv_domain_set_log_file(c, log_file);
}

orv_status_t orv_class_set_attribute(orv_class_t c, const char *key, const char *value) {
  if (!is_class(c)) return usage(orv_error_usage);
  return orv_domain_set_attribute(c, key, value);
}

const char *orv_class_get_attribute(orv_class_t c, const char *key) {
  if (!is_class(c)) return usage<const char *>(nullptr);
  return orv_domain_get_attribute(c, key);
}

orv_attribute_t orv_class_get_first_attribute(orv_class_t c) {
  if (!is_class(c)) return usage<orv_attribute_t>(nullptr);
  return orv_domain_get_first_attribute(c);
}

}  // extern "C"
