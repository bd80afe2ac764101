// The belief report that compilation writes to the log: beliefs (and
// expected utilities) per node category, in domain node order.
#include <cmath>

#include "compile/forest_log.h"
#include "decisions/decision_results.h"
#include "inference/queries.h"
#include "model/node_ops.h"
#include "runtime/error.h"

namespace orv {

namespace {

void report_continuous(orv_domain_s *d, orv_node_t n) {
  const double mean = n->cg_propagated ? n->cg_propagated_value : n->results->belief[0];
  const double variance = n->cg_propagated ? 0.0 : n->results->belief[1];
  log_printf(d, "\n    %s:\n", node_name(n));
  log_printf(d, "\tMean: %g   Variance: %g   SD: %g\n", mean, variance, std::sqrt(variance));
}

// What the report prints beside a state: for a decision option, the expected
// utility of taking it in every parent configuration; otherwise the expected
// utility given the state.
double state_utility(orv_node_t n, std::size_t s) {
  return n->category == orv_category_decision ? option_utility(n, s) : expected_utility_of(n, s);
}

void report_discrete(orv_domain_s *d, orv_node_t n, bool utilities) {
  require_results(n);
  if (n->is_continuous()) {
    report_continuous(d, n);
    return;
  }
  const long inferred = inferred_state(n);
  if (inferred >= 0) {
    const auto s = static_cast<std::size_t>(inferred);
    log_printf(d, "\n    %s --> ", node_name(n));
    log_state(d, n, s);
    if (utilities) log_printf(d, " (%g)\n", state_utility(n, s));
    else log_printf(d, "\n");
    return;
  }
  log_printf(d, "\n    %s:\n", node_name(n));
  for (std::size_t s = 0; s < n->state_count; ++s) {
    if (s < n->state_labels.size() && n->state_labels[s].has_value())
      log_printf(d, "\t%-10s %g", n->state_labels[s]->c_str(), belief_of(n, s));
    else
      log_printf(d, "\tstate%s   %g", _orv_print_size(d, s), belief_of(n, s));
    if (utilities) log_printf(d, " (%g)\n", state_utility(n, s));
    else log_printf(d, "\n");
  }
}

void report_section(orv_domain_s *d, const char *title, bool (*member)(orv_node_t), bool utilities) {
  bool any = false;
  for (orv_node_s *n = d->first_node; n && !any; n = n->next) any = member(n);
  if (!any) return;
  log_printf(d, title, utilities ? " (and expected utilities)" : "");
  for (orv_node_s *n = d->first_node; n; n = n->next)
    if (member(n)) report_discrete(d, n, utilities);
}

bool is_decision(orv_node_t n) { return n->category == orv_category_decision; }
bool is_chance(orv_node_t n) { return n->category == orv_category_chance && n->counts_as_variable(); }
bool is_discrete_function(orv_node_t n) { return n->category == orv_category_function && n->is_discrete(); }

}  // namespace

void report_node_beliefs(orv_node_s *n) {
  orv_domain_s *d = n->owner;
  if (!d->log) return;
  if (!domain_is_compiled(d)) fail(orv_error_not_compiled);
  if (n->is_discrete()) {
    report_discrete(d, n, d->utility_count > 0);
  } else if (n->category == orv_category_utility) {
    require_results(n);
    log_printf(d, "\n    %s: %g\n", node_name(n), node_expected_utility(n));
  } else if (n->category == orv_category_function && !n->counts_as_variable()) {
    log_printf(d, "\n    %s: N/A\n", node_name(n));
  } else {
    fail(orv_error_usage);  // instance nodes; continuous nodes are never compiled here
  }
}

void report_beliefs(orv_domain_s *d) {
  if (!d->log) return;
  if (!domain_is_compiled(d)) fail(orv_error_not_compiled);
  const bool utilities = d->utility_count > 0;
  report_section(d, "\n\nBeliefs%s for decision nodes:\n", is_decision, utilities);
  report_section(d, "\n\nBeliefs%s for chance nodes:\n", is_chance, utilities);
  report_section(d, "\n\nBeliefs%s for discrete function nodes:\n", is_discrete_function, utilities);
  if (utilities) {
    log_printf(d, "\n\nExpected utilities for utility nodes:\n");
    double total = 0.0;
    for (orv_node_s *n = d->first_node; n; n = n->next) {
      if (n->category != orv_category_utility) continue;
      require_results(n);
      log_printf(d, "\n    %s: %g\n", node_name(n), node_expected_utility(n));
      total += node_expected_utility(n);
    }
    log_printf(d, "\nOverall expected utility: %g\n", total);
  }
  bool real_functions = false;
  for (orv_node_s *n = d->first_node; n; n = n->next)
    real_functions = real_functions || (n->category == orv_category_function && !n->counts_as_variable());
  if (real_functions) {
    log_printf(d, "\n\nValues for real-valued function nodes:\n");
    // Function values come from model generation, which this engine does not evaluate.
    for (orv_node_s *n = d->first_node; n; n = n->next)
      if (n->category == orv_category_function && !n->counts_as_variable())
        log_printf(d, "\n    %s: N/A\n", node_name(n));
  }
}

}  // namespace orv
