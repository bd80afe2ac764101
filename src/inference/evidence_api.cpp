// Public entry points for entering, retracting and inspecting evidence.
#include <cmath>
#include <limits>

#include "inference/evidence.h"
#include "model/states.h"
#include "runtime/error.h"

namespace orv {
namespace {

constexpr double kLargest = std::numeric_limits<double>::max();

bool domain_node(const orv_node_s *n) { return is_node(n) && !n->owner->is_class(); }
bool discrete_node(const orv_node_s *n) { return domain_node(n) && n->is_discrete(); }
bool variable_node(const orv_node_s *n) { return domain_node(n) && n->counts_as_variable(); }

// The propagated fields are meaningful only in a compiled domain whose tree is
// in equilibrium.
void require_propagated(const orv_node_s *n) {
  if (!domain_is_compiled(n->owner)) fail(orv_error_not_compiled);
  if (!n->junction_tree || n->junction_tree->equilibrium == orv_equilibrium_none)
    fail(orv_error_no_equilibrium);
}

void require_compiled(const orv_domain_s *d) {
  if (!domain_is_compiled(d)) fail(orv_error_not_compiled);
}

bool any_tree(const orv_domain_s *d, bool (*test)(const orv_junction_tree_s *)) {
  require_compiled(d);
  for (orv_junction_tree_s *t = junction_forest(d)->first_tree; t; t = t->next)
    if (test(t)) return true;
  return false;
}

bool tree_has_evidence(const orv_junction_tree_s *t) { return t->discrete_evidence || t->cg_evidence; }
bool tree_has_likelihood(const orv_junction_tree_s *t) { return t->likelihood_evidence; }
bool tree_has_cg_evidence(const orv_junction_tree_s *t) { return t->cg_evidence; }
bool tree_to_propagate(const orv_junction_tree_s *t) { return t->evidence_to_propagate > 0; }

int tree_predicate(orv_junction_tree_s *tree, bool (*test)(const orv_junction_tree_s *)) {
  if (!is_junction_tree(tree)) return usage(-1);
  return guarded<int>(-1, [&] {
    require_compiled(tree->domain);
    return test(tree) ? 1 : 0;
  });
}

int domain_predicate(orv_domain_s *d, bool (*test)(const orv_junction_tree_s *)) {
  if (!is_domain(d)) return usage(-1);
  return guarded<int>(-1, [&] { return any_tree(d, test) ? 1 : 0; });
}

}  // namespace
}  // namespace orv

using orv::guarded;
using orv::guarded_status;
using orv::usage;

extern "C" {

orv_status_t orv_node_select_state(orv_node_t node, size_t state) {
  if (!orv::discrete_node(node) || state >= node->state_count) return usage(orv_error_usage);
  return guarded_status([&] { orv::select_state(node, state); });
}

orv_status_t orv_node_enter_finding(orv_node_t node, size_t state, double value) {
  if (!orv::discrete_node(node) || state >= node->state_count || !(value >= 0.0) ||
      !(value < orv::kLargest))
    return usage(orv_error_usage);
  return guarded_status([&] { orv::enter_finding(node, state, value); });
}

orv_status_t orv_node_enter_value(orv_node_t node, double value) {
  // An observation of a continuous node must be a finite number.
  if (!orv::variable_node(node) || (node->is_continuous() && !std::isfinite(value))) return usage(orv_error_usage);
  return guarded_status([&] {
    if (node->is_continuous()) {
      orv::enter_continuous_value(node, value);
      return;
    }
    if (node->subtype != orv_subtype_number && node->subtype != orv_subtype_interval)
      orv::fail(orv_error_usage);
    if (orv::_orv_node_check_status_of_state_values(node) != 0) orv::fail(orv_error_usage);
    const long state = orv::_orv_node_state_value_to_state_index(node, value);
    if (state < 0) orv::fail(orv_error_usage);
    orv::EvidenceCountUpdate update(node);
    node->selected_state = state;
    node->value_evidence = true;
    node->entered_value = value;
  });
}

orv_status_t orv_node_retract_findings(orv_node_t node) {
  if (!orv::variable_node(node)) return usage(orv_error_usage);
  return guarded_status([&] { orv::retract_findings(node); });
}

orv_status_t orv_domain_retract_findings(orv_domain_t domain) {
  if (!orv::is_domain(domain) || domain->is_class()) return usage(orv_error_usage);
  return guarded_status([&] {
    for (orv_node_s *n = domain->first_node; n; n = n->next)
      if (n->counts_as_variable()) orv::retract_findings(n);
  });
}

long orv_node_get_selected_state(orv_node_t node) {
  if (!orv::discrete_node(node)) return usage(-1L);
  return guarded<long>(-1, [&] { return node->selected_state; });
}

double orv_node_get_entered_finding(orv_node_t node, size_t state) {
  if (!orv::discrete_node(node) || state >= node->state_count) return usage(-1.0);
  return guarded<double>(-1.0, [&] { return orv::entered_weight(node, state); });
}

double orv_node_get_propagated_finding(orv_node_t node, size_t state) {
  if (!orv::discrete_node(node) || state >= node->state_count) return usage(-1.0);
  return guarded<double>(-1.0, [&] {
    orv::require_propagated(node);
    return orv::propagated_weight(node, state);
  });
}

long orv_node_get_propagated_state(orv_node_t node) {
  if (!orv::discrete_node(node)) return usage(-1L);
  return guarded<long>(-1, [&] {
    orv::require_propagated(node);
    return node->propagated_state;
  });
}

double orv_node_get_entered_value(orv_node_t node) {
  if (!orv::variable_node(node)) return usage(-1.0);
  return guarded<double>(-1.0, [&] {
    if (node->is_continuous() ? !node->cg_entered : !node->value_evidence) orv::fail(orv_error_usage);
    return node->is_continuous() ? node->cg_value : node->entered_value;
  });
}

double orv_node_get_propagated_value(orv_node_t node) {
  if (!orv::variable_node(node)) return usage(-1.0);
  return guarded<double>(-1.0, [&] {
    orv::require_propagated(node);
    if (node->is_continuous()) {
      if (!node->cg_propagated) orv::fail(orv_error_usage);
      return node->cg_propagated_value;
    }
    if (!node->value_evidence || node->propagated_state != node->selected_state) orv::fail(orv_error_usage);
    return node->entered_value;
  });
}

int orv_node_evidence_is_entered(orv_node_t node) {
  if (!orv::variable_node(node)) return usage(-1);
  return guarded<int>(-1, [&] { return orv::evidence_is_entered(node) ? 1 : 0; });
}

int orv_node_likelihood_is_entered(orv_node_t node) {
  if (!orv::variable_node(node)) return usage(-1);
  return guarded<int>(-1, [&] { return orv::likelihood_is_entered(node) ? 1 : 0; });
}

int orv_node_evidence_is_propagated(orv_node_t node) {
  if (!orv::variable_node(node)) return usage(-1);
  return guarded<int>(-1, [&] {
    orv::require_propagated(node);
    return orv::evidence_is_propagated(node) ? 1 : 0;
  });
}

int orv_node_likelihood_is_propagated(orv_node_t node) {
  if (!orv::variable_node(node)) return usage(-1);
  return guarded<int>(-1, [&] {
    orv::require_propagated(node);
    return orv::likelihood_is_propagated(node) ? 1 : 0;
  });
}

int orv_node_evidence_to_propagate(orv_node_t node) {
  if (!orv::variable_node(node)) return usage(-1);
  return guarded<int>(-1, [&] { return orv::evidence_to_propagate(node) ? 1 : 0; });
}

int orv_domain_evidence_to_propagate(orv_domain_t domain) {
  return orv::domain_predicate(domain, orv::tree_to_propagate);
}
int orv_jt_evidence_to_propagate(orv_junction_tree_t tree) {
  return orv::tree_predicate(tree, orv::tree_to_propagate);
}
int orv_domain_evidence_is_propagated(orv_domain_t domain) {
  return orv::domain_predicate(domain, orv::tree_has_evidence);
}
int orv_jt_evidence_is_propagated(orv_junction_tree_t tree) {
  return orv::tree_predicate(tree, orv::tree_has_evidence);
}
int orv_domain_likelihood_is_propagated(orv_domain_t domain) {
  return orv::domain_predicate(domain, orv::tree_has_likelihood);
}
int orv_jt_likelihood_is_propagated(orv_junction_tree_t tree) {
  return orv::tree_predicate(tree, orv::tree_has_likelihood);
}
int orv_domain_cg_evidence_is_propagated(orv_domain_t domain) {
  return orv::domain_predicate(domain, orv::tree_has_cg_evidence);
}
int orv_jt_cg_evidence_is_propagated(orv_junction_tree_t tree) {
  return orv::tree_predicate(tree, orv::tree_has_cg_evidence);
}

}  // extern "C"
