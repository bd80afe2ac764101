// Structure learning entry points: edge constraints, the significance level
// and the learning run from the case store to the domain's links.
#include "compile/junction_forest.h"
#include "learning/case_store.h"
#include "learning/pc.h"
#include "runtime/error.h"

using orv::guarded;
using orv::guarded_status;
using orv::usage;

namespace orv {

namespace {

orv_edge_constraint_t mirror(orv_edge_constraint_t code) {
  switch (code) {
    case orv_constraint_forward_edge_required: return orv_constraint_backward_edge_required;
    case orv_constraint_backward_edge_required: return orv_constraint_forward_edge_required;
    case orv_constraint_forward_edge_forbidden: return orv_constraint_backward_edge_forbidden;
    case orv_constraint_backward_edge_forbidden: return orv_constraint_forward_edge_forbidden;
    default: return code;
  }
}

bool valid_pair(const orv_node_s *a, const orv_node_s *b) {
  return is_node(a) && is_node(b) && a != b && a->owner == b->owner;
}

void remove_record(orv_node_s *a, const orv_node_s *b) noexcept {
  auto &records = a->edge_constraints;
  for (std::size_t i = 0; i < records.size(); ++i)
    if (records[i].other == b) {
      records.erase(records.begin() + static_cast<std::ptrdiff_t>(i));
      return;
    }
}

// Room for the record first on both nodes, so that storing cannot fail.
void store(orv_node_s *a, orv_node_s *b, orv_edge_constraint_t code) {
  if (edge_constraint(a, b) == orv_constraint_none) a->edge_constraints.reserve(a->edge_constraints.size() + 1);
  if (edge_constraint(b, a) == orv_constraint_none) b->edge_constraints.reserve(b->edge_constraints.size() + 1);
  remove_record(a, b);
  remove_record(b, a);
  a->edge_constraints.push_back(EdgeConstraintRecord{b, code});
  b->edge_constraints.push_back(EdgeConstraintRecord{a, mirror(code)});
}

void check_structure_preconditions(orv_domain_s *d) {
  if (d->node_count != d->chance_count || d->number_of_cases == 0) fail(orv_error_usage);
  for (orv_node_s *n = d->first_node; n; n = n->next)
    if (!n->parents.empty()) fail(orv_error_usage);
  if (domain_is_compiled(d))
    for (orv_junction_tree_s *t = junction_forest(d)->first_tree; t; t = t->next)
      if (t->tables_changed) fail(orv_error_usage);
}

// Required edges stay, forbidden ones go; either way the pair is decided.
void apply_constraints(const CaseColumns &columns, Vector<PairRecord> &pairs) {
  const std::size_t n = columns.size();
  for (std::size_t i = 0; i < n; ++i)
    for (std::size_t j = i + 1; j < n; ++j) {
      const orv_edge_constraint_t c = edge_constraint(columns.node(i), columns.node(j));
      PairRecord &record = pairs[pair_index(i, j, n)];
      if (c == orv_constraint_edge_forbidden) record.dependent = 0;
      if (c >= orv_constraint_edge_required && c <= orv_constraint_backward_edge_required) record.dependent = 1;
      if (c >= orv_constraint_edge_required && c <= orv_constraint_edge_forbidden) record.fixed = 1;
    }
}

// `npc` selects the variant that keeps ambiguous edges for a decision; only
// the plain method is offered so far.
void learn_structure(orv_domain_s *d, bool npc) {
  check_structure_preconditions(d);
  const CaseColumns columns(d);
  const std::size_t n = columns.size();
  const std::size_t workers = d->concurrency_level < 2 ? 1 : d->concurrency_level;
  Vector<PairRecord> pairs(n * (n - 1) / 2);
  marginal_tests(columns, d->significance_level, pairs, workers);
  apply_constraints(columns, pairs);
  conditional_tests(columns, d->significance_level, pairs, workers, npc);
  LearningGraph graph(d, columns, pairs);
  graph.identify_skeleton();
  graph.identify_colliders();
  graph.log_extension_check();
  graph.identify_derived_directions();
  graph.complete_orientation();
  graph.to_domain();
  if (_orv_domain_flush_log_file(d) != orv_error_none) fail(orv_error_io);
}

}  // namespace

}  // namespace orv

extern "C" {

orv_status_t orv_node_set_edge_constraint(orv_node_t a, orv_node_t b, orv_edge_constraint_t constraint) {
  if (!orv::valid_pair(a, b) || constraint < orv_constraint_none || constraint > orv_constraint_backward_edge_forbidden)
    return usage(orv_error_usage);
  return guarded_status([&] {
    if (constraint == orv_constraint_none) {
      orv::remove_record(a, b);
      orv::remove_record(b, a);
    } else {
      orv::store(a, b, constraint);
    }
  });
}

orv_edge_constraint_t orv_node_get_edge_constraint(orv_node_t a, orv_node_t b) {
  if (!orv::valid_pair(a, b)) return usage(orv_constraint_error);
  orv::set_error(orv_error_none);
  return orv::edge_constraint(a, b);
}

orv_status_t orv_domain_set_significance_level(orv_domain_t domain, double level) {
  if (!orv::is_learning_domain(domain) || !(level > 0.0 && level < 1.0)) return usage(orv_error_usage);
  orv::set_error(orv_error_none);
  domain->significance_level = level;
  return orv_error_none;
}

double orv_domain_get_significance_level(orv_domain_t domain) {
  if (!orv::is_learning_domain(domain)) return usage(-1.0);
  orv::set_error(orv_error_none);
  return domain->significance_level;
}

orv_status_t orv_domain_learn_structure(orv_domain_t domain) {
  if (!orv::is_learning_domain(domain)) return usage(orv_error_usage);
  return guarded_status([&] { orv::learn_structure(domain, false); });
}

}  // extern "C"
