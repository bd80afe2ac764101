// Public entry points of propagation: domain, tree and clique propagation,
// equilibrium and mode predicates, normalization constants, conflict, resets
// and saving the initial equilibrium to memory.
#include "compile/junction_forest.h"
#include "inference/evidence.h"
#include "inference/evidence_validity.h"
#include "inference/propagation.h"
#include "inference/saved_tables.h"
#include "runtime/error.h"

namespace orv {

namespace {

bool valid_request(orv_equilibrium_t equilibrium, orv_evidence_mode_t mode) {
  return (equilibrium == orv_equilibrium_sum || equilibrium == orv_equilibrium_max) &&
         (mode == orv_mode_normal || mode == orv_mode_fast_retraction);
}

bool plain_request(orv_equilibrium_t equilibrium, orv_evidence_mode_t mode) {
  return equilibrium == orv_equilibrium_sum && mode == orv_mode_normal;
}

void check_evidence(orv_junction_tree_s *t) {
  if (t->domain->decision_count > 0 && !tree_evidence_is_valid(t)) fail(orv_error_invalid_evidence);
}

void check_tree_request(orv_junction_tree_s *t, orv_equilibrium_t equilibrium, orv_evidence_mode_t mode) {
  if (!domain_is_compiled(t->domain)) fail(orv_error_not_compiled);
  if (!plain_request(equilibrium, mode)) {
    if (t->has_continuous || t->has_utility) fail(orv_error_usage);
    for (orv_node_t n : t->nodes)
      if (n->category != orv_category_chance) fail(orv_error_usage);
    if (equilibrium == orv_equilibrium_max && t->refuses_max) fail(orv_error_usage);
  }
  check_evidence(t);
}

void tree_propagate(orv_junction_tree_s *t, orv_equilibrium_t equilibrium, orv_evidence_mode_t mode,
                    orv_clique_s *root) {
  check_tree_request(t, equilibrium, mode);
  make_consistent_after_prerequisites(t, equilibrium, mode, root);
}

JunctionForest &compiled_forest(orv_domain_s *d) {
  if (!domain_is_compiled(d)) fail(orv_error_not_compiled);
  return *junction_forest(d);
}

// Every tree must be in equilibrium for the domain-wide numbers.
JunctionForest &equilibrium_forest(orv_domain_s *d) {
  JunctionForest &f = compiled_forest(d);
  for (orv_junction_tree_s *t = f.first_tree; t; t = t->next)
    if (t->equilibrium == orv_equilibrium_none) fail(orv_error_no_equilibrium);
  return f;
}

void check_conflict_request(orv_domain_s *d, orv_junction_tree_s *t) {
  if (!domain_is_compiled(d)) fail(orv_error_not_compiled);
  if (d->decision_count > 0) fail(orv_error_usage);
  if (t->equilibrium == orv_equilibrium_none) fail(orv_error_no_equilibrium);
  if (t->equilibrium != orv_equilibrium_sum) fail(orv_error_usage);
  if (t->cg_evidence) fail(orv_error_cg_evidence_incorporated);
}

bool domain_ok(orv_domain_s *d) { return is_domain(d) && !d->is_class(); }

}  // namespace

void check_propagation_request(orv_domain_s *d, orv_equilibrium_t equilibrium, orv_evidence_mode_t mode) {
  JunctionForest &f = compiled_forest(d);
  if (!plain_request(equilibrium, mode)) {
    if (d->chance_count != d->node_count || d->discrete_count != d->node_count) fail(orv_error_usage);
    for (orv_junction_tree_s *t = f.first_tree; t; t = t->next)
      if (equilibrium == orv_equilibrium_max && t->refuses_max) fail(orv_error_usage);
  }
  if (!_orv_domain_evidence_is_valid(d)) fail(orv_error_invalid_evidence);
}

}  // namespace orv

using orv::guarded;
using orv::guarded_status;
using orv::usage;

extern "C" {

orv_status_t orv_domain_propagate(orv_domain_t domain, orv_equilibrium_t equilibrium, orv_evidence_mode_t mode) {
  if (!orv::domain_ok(domain) || !orv::valid_request(equilibrium, mode)) return usage(orv_error_usage);
  return guarded_status([&] {
    orv::check_propagation_request(domain, equilibrium, mode);
    orv::propagate_domain(domain, equilibrium, mode);
  });
}

orv_status_t orv_jt_propagate(orv_junction_tree_t tree, orv_equilibrium_t equilibrium, orv_evidence_mode_t mode) {
  if (!orv::is_junction_tree(tree) || !orv::valid_request(equilibrium, mode)) return usage(orv_error_usage);
  return guarded_status([&] { orv::tree_propagate(tree, equilibrium, mode, nullptr); });
}

orv_status_t orv_clique_propagate(orv_clique_t clique, orv_equilibrium_t equilibrium, orv_evidence_mode_t mode) {
  if (!orv::is_clique(clique) || !orv::valid_request(equilibrium, mode)) return usage(orv_error_usage);
  return guarded_status([&] { orv::tree_propagate(clique->tree, equilibrium, mode, clique); });
}

int orv_domain_equilibrium_is(orv_domain_t domain, orv_equilibrium_t equilibrium) {
  if (!orv::domain_ok(domain)) return usage(-1);
  return guarded<int>(-1, [&] {
    orv::JunctionForest &f = orv::compiled_forest(domain);
    for (orv_junction_tree_s *t = f.first_tree; t; t = t->next)
      if (t->equilibrium != equilibrium) return 0;
    return 1;
  });
}

int orv_jt_equilibrium_is(orv_junction_tree_t tree, orv_equilibrium_t equilibrium) {
  if (!orv::is_junction_tree(tree)) return usage(-1);
  return guarded<int>(-1, [&] { return tree->equilibrium == equilibrium ? 1 : 0; });
}

int orv_domain_evidence_mode_is(orv_domain_t domain, orv_evidence_mode_t mode) {
  if (!orv::domain_ok(domain)) return usage(-1);
  return guarded<int>(-1, [&] {
    orv::JunctionForest &f = orv::compiled_forest(domain);
    for (orv_junction_tree_s *t = f.first_tree; t; t = t->next)
      if (t->mode != mode) return 0;
    return 1;
  });
}

int orv_jt_evidence_mode_is(orv_junction_tree_t tree, orv_evidence_mode_t mode) {
  if (!orv::is_junction_tree(tree)) return usage(-1);
  return guarded<int>(-1, [&] { return tree->mode == mode ? 1 : 0; });
}

double orv_domain_get_normalization_constant(orv_domain_t domain) {
  if (!orv::domain_ok(domain)) return usage(-1.0);
  return guarded<double>(-1.0, [&] {
    double product = 1.0;
    for (orv_junction_tree_s *t = orv::equilibrium_forest(domain).first_tree; t; t = t->next)
      product *= t->accumulated_constant;
    return product;
  });
}

double orv_domain_get_log_normalization_constant(orv_domain_t domain) {
  if (!orv::domain_ok(domain)) return usage(1.0);
  return guarded<double>(1.0, [&] {
    double sum = 0.0;
    for (orv_junction_tree_s *t = orv::equilibrium_forest(domain).first_tree; t; t = t->next)
      sum += t->accumulated_log;
    return sum;
  });
}

orv_status_t orv_domain_reset_inference_engine(orv_domain_t domain) {
  if (!orv::domain_ok(domain)) return usage(orv_error_usage);
  return guarded_status([&] {
    orv::JunctionForest &f = orv::compiled_forest(domain);
    for (orv_junction_tree_s *t = f.first_tree; t; t = t->next) orv::reset_tree(t, t->mode);
  });
}

orv_status_t orv_domain_initialize(orv_domain_t domain) {
  if (!orv::domain_ok(domain)) return usage(orv_error_usage);
  return guarded_status([&] {
    orv::JunctionForest &f = orv::compiled_forest(domain);
    for (orv_junction_tree_s *t = f.first_tree; t; t = t->next) orv::reset_tree(t, t->mode);
    for (orv_node_s *n = domain->first_node; n; n = n->next)
      if (n->counts_as_variable()) orv::retract_findings(n);
  });
}

double orv_domain_get_conflict(orv_domain_t domain) {
  if (!orv::domain_ok(domain)) return usage(-1.0);
  return guarded<double>(-1.0, [&] {
    orv::JunctionForest &f = orv::compiled_forest(domain);
    double product = 1.0;
    for (orv_junction_tree_s *t = f.first_tree; t; t = t->next) {
      orv::check_conflict_request(domain, t);
      product *= t->conflict;
    }
    return product;
  });
}

double orv_jt_get_conflict(orv_junction_tree_t tree) {
  if (!orv::is_junction_tree(tree)) return usage(-1.0);
  return guarded<double>(-1.0, [&] {
    orv::check_conflict_request(tree->domain, tree);
    return tree->conflict;
  });
}

double orv_clique_get_conflict(orv_clique_t clique) {
  if (!orv::is_clique(clique)) return usage(-1.0);
  return guarded<double>(-1.0, [&] {
    orv::check_conflict_request(clique->domain, clique->tree);
    return clique->scale;
  });
}

int orv_domain_tables_to_propagate(orv_domain_t domain) {
  if (!orv::domain_ok(domain)) return usage(-1);
  return guarded<int>(-1, [&] {
    orv::JunctionForest &f = orv::compiled_forest(domain);
    for (orv_junction_tree_s *t = f.first_tree; t; t = t->next)
      if (t->tables_changed) return 1;
    return 0;
  });
}

int orv_jt_tables_to_propagate(orv_junction_tree_t tree) {
  if (!orv::is_junction_tree(tree)) return usage(-1);
  return guarded<int>(-1, [&] {
    orv::compiled_forest(tree->domain);
    return tree->tables_changed ? 1 : 0;
  });
}

orv_status_t orv_domain_save_to_memory(orv_domain_t domain) {
  if (!orv::domain_ok(domain)) return usage(orv_error_usage);
  return guarded_status([&] {
    orv::JunctionForest &f = orv::compiled_forest(domain);
    if (domain->decision_count > 0) orv::fail(orv_error_usage);
    for (orv_junction_tree_s *t = f.first_tree; t; t = t->next)
      if (t->equilibrium != orv_equilibrium_sum || t->mode != orv_mode_normal || t->discrete_evidence ||
          t->cg_evidence)
        orv::fail(orv_error_usage);
    orv::save_tables(f);
  });
}

}  // extern "C"

extern "C" {

orv_status_t orv_node_touch_table(orv_node_t node) {
  if (!orv::is_node(node) || node->owner->is_class()) return usage(orv_error_usage);
  return guarded_status([&] {
    if (node->junction_tree) node->junction_tree->tables_changed = true;
    node->owner->log_likelihood_valid = false;
  });
}

}  // extern "C"
