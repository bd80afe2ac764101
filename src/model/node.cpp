// Node creation, numbering and freeing.
#include "model/node.h"

#include "model/attributes.h"
#include "model/chain.h"
#include "runtime/error.h"
#include "tables/table.h"

namespace orv {

bool is_node(const orv_node_s *n) { return n && n->tag == Tag::node; }

namespace {

std::size_t &category_count(orv_domain_s *d, orv_category_t category) {
  switch (category) {
    case orv_category_function: return d->function_count;
    case orv_category_instance: return d->instance_count;
    case orv_category_chance: return d->chance_count;
    case orv_category_decision: return d->decision_count;
    default: return d->utility_count;
  }
}

void count_node(orv_domain_s *d, const orv_node_s *n, int delta) {
  category_count(d, n->category) += static_cast<std::size_t>(delta);
  if (n->is_discrete()) d->discrete_count += static_cast<std::size_t>(delta);
  if (n->is_continuous()) d->continuous_count += static_cast<std::size_t>(delta);
}

void check_cg_limid_exclusion(const orv_domain_s *d, orv_category_t category, orv_kind_t kind) {
  const bool allowed =
      category == orv_category_function || category == orv_category_instance ||
      (category == orv_category_chance && d->decision_count == 0 && d->utility_count == 0) ||
      (kind != orv_kind_continuous && d->continuous_count == 0);
  if (!allowed) fail(orv_error_cg_limids_not_supported);
}

}  // namespace

// Checks the function-node rule for a decision or utility joining the domain.
void check_function_nodes_for_limid(orv_domain_s *d, orv_category_t category) {
  const bool first_decision_or_utility = d->decision_count == 0 && d->utility_count == 0;
  if (d->function_count > 0 && first_decision_or_utility &&
      (category == orv_category_decision || category == orv_category_utility) &&
      !function_nodes_satisfy_limid_constraints(d))
    fail(orv_error_cyclic_functional_dependency);
}

void link_new_node(orv_domain_s *d, orv_node_s *n) {
  if (n->counts_as_variable() || n->category == orv_category_utility) uncompile(d);
  if (n->counts_as_variable()) discard_node_set_cache(d);
  n->number = ++d->node_count;
  count_node(d, n, +1);
  n->next = d->first_node;
  d->first_node = n;
}

orv_node_s *_orv_domain_new_node(orv_domain_s *d, orv_category_t category, orv_kind_t kind,
                                 orv_subtype_t subtype, bool /*uncounted*/) {
  check_cg_limid_exclusion(d, category, kind);
  check_function_nodes_for_limid(d, category);
  orv_node_s *n = make<orv_node_s>(d, category, kind);
  if (kind == orv_kind_discrete) {
    n->subtype = subtype;
    n->state_count = subtype == orv_subtype_boolean ? 2 : 1;
  }
  link_new_node(d, n);
  return n;
}

void free_node(orv_node_s *node) noexcept {
  orv_domain_s *d = node->owner;
  unlink_and_renumber(&d->first_node, d->node_count, node);
  count_node(d, node, -1);
  d->names.remove(node, node->name.c_str());
  _orv_free_table(node->table);
  _orv_free_table(node->experience);
  _orv_free_table(node->fading);
  free_model(node->model);
  _orv_free(node->relatives.items);
  _orv_free(node->case_states);
  _orv_free(node->case_values);
  _orv_free(node->case_value_set);
  _orv_free_attribute_list(node->attributes);
  for (const EdgeConstraintRecord &r : node->edge_constraints) {
    auto &mirror = r.other->edge_constraints;
    for (std::size_t i = 0; i < mirror.size(); ++i)
      if (mirror[i].other == node) {
        mirror.erase(mirror.begin() + static_cast<std::ptrdiff_t>(i));
        break;
      }
  }
  destroy(node);
}

void _orv_reverse_node_and_table_lists(orv_domain_s *d) {
  reverse_chain(&d->first_node);
  std::size_t number = d->node_count;
  for (orv_node_s *n = d->first_node; n; n = n->next) n->number = number--;

  reverse_chain(&d->first_table);
  std::size_t table_number = 1;
  for (orv_table_s *t = d->first_table; t; t = t->next) t->number = table_number++;
}

}  // namespace orv
