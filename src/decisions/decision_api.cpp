// Public reads for influence diagrams: the decision order, expected
// utilities of states, options and policy rows, and the spread of a utility node's value.
#include <algorithm>
#include <cmath>

#include "decisions/decision_order.h"
#include "decisions/decision_results.h"
#include "inference/queries.h"
#include "runtime/error.h"
#include "tables/control.h"

namespace orv {

namespace {

bool domain_node(const orv_node_s *n) { return is_node(n) && !n->owner->is_class(); }

// The probability of each configuration of a utility node's parents, in the
// forest's family buffer (valid until the next such call).
const double *utility_family(const orv_node_s *u) {
  require_results(u);
  require_sum_normal(u);
  if (!u->table || !u->results->family_control) fail(orv_error_usage);
  JunctionForest &f = *junction_forest(u->owner);
  _orv_marginalize(u->results->family_control, orv_equilibrium_sum, kMarginalizeOut, f.family_buffer, nullptr);
  return f.family_buffer;
}

struct Spread {
  double mean = 0.0, variance = 0.0;
  double low = HUGE_VAL, high = -HUGE_VAL;
};

// Mean, variance and range of a utility node's value over the
// configurations of positive probability.
Spread utility_spread(const orv_node_s *u) {
  const double *p = utility_family(u);
  const double *value = u->table->data;
  const std::size_t n = u->table->size;
  double total = 0.0;
  Spread s;
  for (std::size_t i = 0; i < n; ++i) {
    if (!(p[i] > 0.0)) continue;
    total += p[i];
    s.mean += p[i] * value[i];
    s.low = std::min(s.low, value[i]);
    s.high = std::max(s.high, value[i]);
  }
  if (!(total > 0.0)) return s;
  s.mean /= total;
  for (std::size_t i = 0; i < n; ++i)
    if (p[i] > 0.0) s.variance += p[i] * (value[i] - s.mean) * (value[i] - s.mean);
  s.variance /= total;
  return s;
}

bool utility_node(const orv_node_s *n) { return domain_node(n) && n->category == orv_category_utility; }

}  // namespace

}  // namespace orv

using orv::guarded;
using orv::usage;

extern "C" {

orv_node_t *orv_domain_get_decision_order(orv_domain_t domain) {
  if (!orv::is_domain(domain) || domain->is_class()) return usage<orv_node_t *>(nullptr);
  return guarded<orv_node_t *>(nullptr, [&] {
    orv::JunctionForest *f = orv::junction_forest(domain);
    if (!f || !orv::domain_is_compiled(domain)) orv::fail(orv_error_not_compiled);
    return orv::_orv_domain_create_decision_order(*f).order.data();
  });
}

double orv_node_get_expected_utility(orv_node_t node, size_t state) {
  if (!orv::domain_node(node)) return usage(-1.0);
  if (node->category != orv_category_utility && (!node->is_discrete() || state >= node->state_count))
    return usage(-1.0);
  return guarded<double>(-1.0, [&] {
    if (node->owner->utility_count == 0) orv::fail(orv_error_usage);
    orv::require_results(node);
    if (node->category == orv_category_utility) return orv::node_expected_utility(node);
    if (node->category == orv_category_decision) {
      orv::require_sum_normal(node);
      return orv::option_utility(node, state);
    }
    return orv::expected_utility_of(node, state);
  });
}

orv_status_t orv_node_get_decision_utilities(orv_node_t node, double *utilities, double *row_probabilities) {
  if (!orv::domain_node(node) || node->category != orv_category_decision || !utilities)
    return usage(orv_error_usage);
  return orv::guarded_status([&] {
    if (node->owner->utility_count == 0) orv::fail(orv_error_usage);
    orv::require_results(node);
    orv::require_sum_normal(node);
    orv::row_utilities(node, utilities, row_probabilities);
  });
}

double orv_node_get_variance_of_utility(orv_node_t node) {
  if (!orv::utility_node(node)) return usage(-1.0);
  return guarded<double>(-1.0, [&] {
    return orv::utility_spread(node).variance;
  });
}

double orv_node_get_min_utility(orv_node_t node) {
  if (!orv::utility_node(node)) return usage(-1.0);
  return guarded<double>(-1.0, [&] { return orv::utility_spread(node).low; });
}

double orv_node_get_max_utility(orv_node_t node) {
  if (!orv::utility_node(node)) return usage(-1.0);
  return guarded<double>(-1.0, [&] { return orv::utility_spread(node).high; });
}

}  // extern "C"
