// Attributes: named text values attached to domains, classes and nodes,
// kept as a singly linked list per owner with the newest key first.
#pragma once

#include <memory>

#include "model/records.h"
#include "orvel.h"
#include "runtime/allocate.h"

struct orv_attribute_s : orv::Tagged {
  orv_attribute_s(orv::String &&k, orv::String &&v)
      : Tagged(orv::Tag::attribute), key(std::move(k)), value(std::move(v)) {}
  orv::String key;
  orv::String value;
  orv_attribute_s *next = nullptr;
};

namespace orv {

bool is_attribute(const orv_attribute_s *a);

// A record taking ownership of both strings. Throws bad_alloc.
orv_attribute_s *_orv_new_attribute(String &&key, String &&value);
// Sets, replaces (keeping the place in the list) or, for a null value,
// deletes the attribute `key` of the list at *head. With check_key the key
// must be a name without dots (invalid_name). Throws; the list is unchanged
// on failure.
void _orv_insert_attribute(orv_attribute_s **head, const char *key, const char *value, bool check_key);
// The attribute with this key, or null.
orv_attribute_s *find_attribute(orv_attribute_s *head, const char *key);
// A copy of a whole list in the same order. Throws; nothing is left then.
orv_attribute_s *copy_attribute_list(const orv_attribute_s *head);
// Frees a whole list, keys and values included; null is ignored.
void _orv_free_attribute_list(orv_attribute_s *head) noexcept;

// Owns a whole list until released (partly built records).
struct AttributeListFree {
  void operator()(orv_attribute_s *head) const noexcept { _orv_free_attribute_list(head); }
};
using OwnedAttributes = std::unique_ptr<orv_attribute_s, AttributeListFree>;

}  // namespace orv
