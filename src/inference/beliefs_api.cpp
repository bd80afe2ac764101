// Public reads of propagated results: beliefs, expected utilities, entropy,
// and the means and variances of numeric nodes.
#include <cfloat>
#include <cmath>

#include "inference/numeric.h"
#include "inference/queries.h"
#include "model/states.h"
#include "runtime/error.h"

namespace orv {

namespace {

bool discrete_node(const orv_node_s *n) { return is_node(n) && !n->owner->is_class() && n->is_discrete(); }

double entropy(const orv_node_s *n) {
  double h = 0.0;
  for (std::size_t s = 0; s < n->state_count; ++s) {
    const double p = belief_of(n, s);
    if (p > 0.0 && p < 1.0) h -= p * std::log(p);
  }
  return h;
}

}  // namespace

// Interval midpoints with infinite outer ends replaced by the nearest finite boundary.
double numeric_state_value(const orv_node_s *n, std::size_t s) {
  if (n->subtype == orv_subtype_number) return n->state_values[s];
  const std::size_t count = n->state_count;
  double low = n->state_values[s], high = n->state_values[s + 1];
  if (low <= -DBL_MAX) low = high;
  if (high >= DBL_MAX) high = low;
  if (low <= -DBL_MAX || high >= DBL_MAX || (count == 1 && low != low)) fail(orv_error_invalid_state_values);
  return (low + high) / 2.0;
}

double numeric_mean(const orv_node_s *n) {
  if (n->subtype != orv_subtype_number && n->subtype != orv_subtype_interval) fail(orv_error_usage);
  if (_orv_node_check_status_of_state_values(n) != 0) fail(orv_error_invalid_state_values);
  require_results(n);
  require_sum_normal(n);
  if (n->subtype == orv_subtype_number) {
    const long s = inferred_state(n);
    if (s >= 0) return n->state_values[static_cast<std::size_t>(s)];
  }
  double mean = 0.0;
  for (std::size_t s = 0; s < n->state_count; ++s) {
    const double p = belief_of(n, s);
    if (p != 0.0) mean += p * numeric_state_value(n, s);
  }
  return mean;
}

double numeric_variance(const orv_node_s *n) {
  if (n->subtype != orv_subtype_number) fail(orv_error_usage);
  const double mean = numeric_mean(n);
  double variance = 0.0;
  for (std::size_t s = 0; s < n->state_count; ++s) {
    const double d = n->state_values[s] - mean;
    variance += belief_of(n, s) * d * d;
  }
  return variance;
}

}  // namespace orv

using orv::guarded;
using orv::usage;

extern "C" {

double orv_node_get_belief(orv_node_t node, size_t state) {
  if (!orv::discrete_node(node) || state >= node->state_count) return usage(-1.0);
  return guarded<double>(-1.0, [&] {
    orv::require_results(node);
    return orv::belief_of(node, state);
  });
}

double orv_domain_get_expected_utility(orv_domain_t domain) {
  if (!orv::is_domain(domain) || domain->is_class()) return usage(-1.0);
  return guarded<double>(-1.0, [&] {
    double total = 0.0;
    for (orv_node_s *n = domain->first_node; n; n = n->next) {
      if (n->category != orv_category_utility) continue;
      orv::require_results(n);
      orv::require_sum_normal(n);
      total += orv::node_expected_utility(n);
    }
    if (!orv::domain_is_compiled(domain)) orv::fail(orv_error_not_compiled);
    return total;
  });
}

double orv_node_get_entropy(orv_node_t node) {
  if (!orv::discrete_node(node)) return usage(-1.0);
  return guarded<double>(-1.0, [&] {
    orv::require_results(node);
    orv::require_sum_normal(node);
    return orv::entropy(node);
  });
}

double orv_node_get_mean(orv_node_t node) {
  if (!orv::is_node(node) || node->owner->is_class() || !node->is_continuous()) return usage(-1.0);
  return guarded<double>(-1.0, [&] {
    orv::require_results(node);
    if (node->cg_propagated) return node->cg_propagated_value;
    return node->results->belief[0];
  });
}

double orv_node_get_variance(orv_node_t node) {
  if (!orv::is_node(node) || node->owner->is_class() || !node->is_continuous()) return usage(-1.0);
  return guarded<double>(-1.0, [&] {
    orv::require_results(node);
    return node->results->belief[1];
  });
}

orv_status_t orv_domain_report_beliefs(orv_domain_t domain) {
  if (!orv::is_domain(domain) || domain->is_class()) return usage(orv_error_usage);
  return orv::guarded_status([&] {
    orv::report_beliefs(domain);
    if (orv::_orv_domain_flush_log_file(domain) != orv_error_none) orv::fail(orv_error_io);
  });
}

orv_status_t orv_node_report_beliefs(orv_node_t node) {
  if (!orv::is_node(node) || node->owner->is_class() || node->category == orv_category_instance)
    return usage(orv_error_usage);
  return orv::guarded_status([&] {
    orv::report_node_beliefs(node);
    if (orv::_orv_domain_flush_log_file(node->owner) != orv_error_none) orv::fail(orv_error_io);
  });
}

}  // extern "C"
