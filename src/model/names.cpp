// Node names: the identifier rule, assignment, generated names and the
// conversion of names read from older formats.
#include <cctype>
#include <cstdio>
#include <cstring>

#include "model/node.h"
#include "runtime/error.h"
#include "runtime/files.h"

namespace orv {

bool is_valid_name(const char *name, bool dots_allowed) {
  const char *p = name;
  for (;;) {
    if (!(std::isalpha(static_cast<unsigned char>(*p)) || *p == '_')) return false;
    ++p;
    while (std::isalnum(static_cast<unsigned char>(*p)) || *p == '_') ++p;
    if (*p == '\0') return true;
    if (*p != '.' || !dots_allowed) return false;
    ++p;
  }
}

void _orv_check_name(const char *name, bool dots_allowed) {
  CLocale c_locale;
  if (!is_valid_name(name, dots_allowed)) fail(orv_error_invalid_name);
}

namespace {

orv_node_s *find_named(orv_domain_s *d, const char *name) {
  return d->names.find(d->first_node, d->node_count, name);
}

// Stores a new name (the caller has checked it) and moves the index entry.
void assign_name(orv_node_s *node, const char *name) {
  String fresh(name);
  orv_domain_s *d = node->owner;
  d->names.remove(node, node->name.c_str());
  node->name.swap(fresh);
  d->names.insert(node);
}

char category_letter(orv_category_t category) {
  switch (category) {
    case orv_category_chance: return 'C';
    case orv_category_decision: return 'D';
    case orv_category_utility: return 'U';
    case orv_category_function: return 'F';
    case orv_category_instance: return 'I';
    default: return 'X';
  }
}

// "%s_%s" from the instance and class node names, when both exist and free.
bool try_instance_name(orv_node_s *node) {
  if (!node->class_node || !node->instance_node) return false;
  if (node->class_node->name.empty() || node->instance_node->name.empty()) return false;
  String candidate = node->instance_node->name;
  candidate += '_';
  candidate += node->class_node->name;
  if (find_named(node->owner, candidate.c_str())) return false;
  assign_name(node, candidate.c_str());
  return true;
}

void generate_name(orv_node_s *node) {
  if (try_instance_name(node)) return;
  orv_domain_s *d = node->owner;
  char text[32];
  text[0] = category_letter(node->category);
  std::size_t number = node->number;
  for (;;) {
    *print(text + 1, number) = '\0';
    if (!find_named(d, text)) break;
    number = number == node->number ? d->node_count + 1 : number + 1;
  }
  assign_name(node, text);
}

}  // namespace

void set_node_name(orv_node_s *node, const char *name) {
  if (!node->name.empty() && node->name == name) return;  // empty means unnamed
  orv_domain_s *d = node->owner;
  if (find_named(d, name)) fail(orv_error_twice);
  _orv_check_name(name, !d->is_class());
  assign_name(node, name);
}

const char *node_name(orv_node_s *node) {
  if (node->name.empty()) generate_name(node);
  return node->name.c_str();
}

void _orv_convert_node_names(orv_domain_s *d) {
  CLocale c_locale;
  for (orv_node_s *node = d->first_node; node; node = node->next) {
    if (node->name.empty() || is_valid_name(node->name.c_str(), false)) continue;
    String converted = node->name;
    for (std::size_t i = 0; i < converted.size(); ++i) {
      const auto c = static_cast<unsigned char>(converted[i]);
      const bool keep = i == 0 ? std::isalpha(c) != 0 : std::isalnum(c) != 0;
      if (!keep) converted[i] = '_';
    }
    while (true) {
      orv_node_s *holder = find_named(d, converted.c_str());
      if (!holder || holder == node) break;
      converted += '_';
    }
    assign_name(node, converted.c_str());
  }
}

}  // namespace orv
