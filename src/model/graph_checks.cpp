// Graph searches guarding links: directed paths, functional-dependency trails,
// the proposed-link check and the LIMID constraints on function nodes.
#include "model/graph_checks.h"

#include <cfloat>
#include <cstring>
#include <optional>

#include "model/graph_search.h"
#include "runtime/error.h"

namespace orv {

void _orv_mark_nodes(orv_node_t const *list) {
  for (; list && *list; ++list) (*list)->mark = 1;
}

void _orv_unmark_nodes(orv_node_t const *list) {
  for (; list && *list; ++list) (*list)->mark = 0;
}

bool _orv_nodes_are_marked(orv_node_t const *list) {
  for (; list && *list; ++list)
    if (!(*list)->mark) return false;
  return true;
}

bool _orv_nodes_are_unmarked(orv_node_t const *list) {
  for (; list && *list; ++list)
    if ((*list)->mark) return false;
  return true;
}

void _orv_domain_unmark_nodes(orv_domain_s *d) {
  for (orv_node_s *n = d->first_node; n; n = n->next) n->mark = 0;
}

bool _orv_nodes_are_distinct(orv_node_t const *list, orv_domain_s *d) {
  std::size_t checked = 0;
  bool distinct = true;
  for (; list && list[checked]; ++checked) {
    orv_node_s *n = list[checked];
    if (!is_node(n) || n->owner != d || n->mark) {
      distinct = false;
      break;
    }
    n->mark = 1;
  }
  for (std::size_t i = 0; i < checked; ++i) list[i]->mark = 0;
  return distinct;
}

bool _orv_path_exists(orv_node_s *from, orv_node_s *to) {
  MarkedSearch search(from->owner);
  search.visit_unit(from);
  while (orv_node_s *n = search.next()) {
    if (to->mark) return true;
    for (orv_node_s *c : n->children) search.visit_unit(c);
  }
  return to->mark != 0;
}

bool _orv_indirect_path_exists(orv_node_s *from, orv_node_s *to) {
  MarkedSearch search(from->owner);
  search.visit_unit(from);
  while (orv_node_s *n = search.next()) {
    for (orv_node_s *c : n->children)
      if (n != from || c != to) search.visit_unit(c);
    if (to->mark) return true;
  }
  return false;
}

bool functional_trail(orv_node_s *start, orv_node_s *target, orv_node_s *replaced,
                      orv_node_s *child, bool through_function_children) {
  MarkedSearch search(start->owner);
  search.visit_unit(start);
  while (orv_node_s *n = search.next()) {
    if (target->mark) return true;
    if (n->category != orv_category_function)
      for (orv_node_s *p : n->parents)
        if (p->counts_as_variable() && !(n == child && p == replaced)) search.visit_unit(p);
    if (through_function_children)
      for (orv_node_s *c : n->children)
        if (c->category == orv_category_function && !(n == replaced && c == child))
          search.visit_unit(c);
  }
  return target->mark != 0;
}

bool _orv_functional_trail_exists(orv_node_s *a, orv_node_s *b) {
  if (functional_trail(a, b, nullptr, nullptr, false)) return false;
  return functional_trail(a, b, nullptr, nullptr, true) ||
         functional_trail(b, a, nullptr, nullptr, true);
}

namespace {

// Every node reached from n along parents (or children) is a real-valued
// function node; n itself is not examined.
bool relatives_are_real_valued_functions(orv_node_s *n, bool ancestors) {
  MarkedSearch search(n->owner);
  search.visit(n);
  while (orv_node_s *m = search.next()) {
    if (m != n && !is_real_valued_function(m)) return false;
    for (orv_node_s *r : ancestors ? m->parents : m->children) search.visit(r);
  }
  return true;
}

}  // namespace

void _orv_check_proposed_link(orv_node_s *parent, orv_node_s *child, orv_node_s *replaced) {
  const orv_domain_s *d = child->owner;
  const std::size_t ordinary = d->chance_count + d->decision_count + d->utility_count;
  if (d->function_count == 0 || ordinary == 0) return;

  // Links out of kind-other nodes and into function nodes carry values, not
  // probabilities: they may close trails that other links may not.
  const bool value_link =
      parent->kind == orv_kind_other || child->category == orv_category_function;
  bool acceptable;
  if (!is_real_valued_function(parent) && !is_real_valued_function(child) &&
      functional_trail(parent, child, replaced, child, false))
    acceptable = value_link;
  else if (functional_trail(parent, child, replaced, child, true))
    acceptable = value_link;
  else
    acceptable = !functional_trail(child, parent, replaced, child, true);
  if (!acceptable) fail(orv_error_cyclic_functional_dependency);

  if (d->decision_count + d->utility_count == 0 || !value_link) return;
  const bool pure_source =
      is_real_valued_function(parent) && relatives_are_real_valued_functions(parent, true);
  const bool pure_sink =
      is_real_valued_function(child) && relatives_are_real_valued_functions(child, false);
  if (!pure_source && !pure_sink) fail(orv_error_functional_dependency);
}

void _orv_check_undirected_link(orv_node_s *a, orv_node_s *b) {
  _orv_check_proposed_link(a, b, nullptr);
}

bool _orv_function_nodes_satisfy_limid_constraints(orv_domain_s *d) {
  MarkedSearch search(d);
  for (orv_node_s *f = d->first_node; f; f = f->next) {
    if (f->category != orv_category_function) continue;
    bool has_variable_parent = false;
    for (orv_node_s *p : f->parents) has_variable_parent |= p->counts_as_variable();
    if (has_variable_parent)
      for (orv_node_s *c : f->children) search.visit(c);
  }
  while (orv_node_s *n = search.next())
    for (orv_node_s *c : n->children) search.visit(c);
  for (orv_node_s *n : search.visited())
    if (n->counts_as_variable()) return false;
  return true;
}

bool function_nodes_satisfy_limid_constraints(orv_domain_s *d) {
  return _orv_function_nodes_satisfy_limid_constraints(d);
}

namespace {

// The label of a state, "" when none is set.
const char *state_label(const orv_node_s *n, std::size_t i) {
  return i < n->state_labels.size() && n->state_labels[i] ? n->state_labels[i]->c_str() : "";
}

// State values with the defaults of a node whose values were never set.
double state_value(const orv_node_s *n, std::size_t i) {
  if (i < n->state_values.size()) return n->state_values[i];
  if (n->subtype == orv_subtype_interval) {
    if (i == 0) return -DBL_MAX;
    if (i == n->state_count) return DBL_MAX;
  }
  return -1.0;
}

}  // namespace

bool _orv_nodes_are_compatible(const orv_node_s *a, const orv_node_s *b) {
  if (a->category != b->category || a->kind != b->kind) return false;
  if (!a->is_discrete()) return true;
  if (a->state_count != b->state_count || a->subtype != b->subtype) return false;
  const std::size_t n = a->state_count;
  switch (a->subtype) {
    case orv_subtype_label:
      for (std::size_t i = 0; i < n; ++i)
        if (std::strcmp(state_label(a, i), state_label(b, i)) != 0) return false;
      return true;
    case orv_subtype_number:
    case orv_subtype_interval: {
      const std::size_t values = a->subtype == orv_subtype_interval ? n + 1 : n;
      for (std::size_t i = 0; i < values; ++i)
        if (state_value(a, i) != state_value(b, i)) return false;
      return true;
    }
    default:
      return true;
  }
}

}  // namespace orv
