// Expected utilities of decisions: for each decision, the family values with
// its own policy left out (what the policy update weighs), from which the
// per-option and per-row expected utilities are read.
#include "decisions/decision_results.h"

#include <algorithm>

#include "decisions/decision_order.h"
#include "decisions/tree_solver.h"
#include "runtime/error.h"
#include "tables/control.h"

namespace orv {

namespace {

// A tree without utility nodes: every expected utility is 0 and the row
// probabilities come from the propagated clique, spread over the options.
void compute_plain_tree(DecisionData &data, std::size_t first, std::size_t last) {
  for (std::size_t i = first; i < last; ++i) {
    orv_node_t d = data.order[i];
    if (!has_compiled_policy(d)) continue;
    double *p = data.family_probability.data() + data.family_first[i];
    _orv_marginalize(d->results->potential_control, orv_equilibrium_sum, kMarginalizeOut, p, nullptr);
    const std::size_t options = d->state_count;
    for (std::size_t r = 0; r < d->table->size; r += options) {
      double row = 0.0;
      for (std::size_t o = 0; o < options; ++o) row += p[r + o];
      std::fill(p + r, p + r + options, row);
    }
  }
}

void compute_tree(DecisionData &data, orv_junction_tree_s *t, std::size_t first, std::size_t last) {
  if (!t->has_utility) return compute_plain_tree(data, first, last);
  TreeSolver solver(t);
  solver.load_base();
  for (std::size_t i = first; i < last; ++i) {
    orv_node_t d = data.order[i];
    if (!has_compiled_policy(d)) continue;
    solver.family_values(d, data.family_probability.data() + data.family_first[i],
                         data.family_weighted.data() + data.family_first[i]);
  }
}

// The entry of `order` holding the decision, its tree's values brought up to date.
std::size_t current_entry(orv_node_t decision) {
  JunctionForest &f = *junction_forest(decision->owner);
  orv_junction_tree_s *t = decision->junction_tree;
  DecisionData &data = _orv_domain_create_decision_order(f);
  std::size_t k = 0;
  for (orv_junction_tree_s *u = f.first_tree; u != t; u = u->next) ++k;
  const std::size_t first = data.tree_first[k], last = data.tree_first[k + 1];
  if (data.family_serial[k] != t->serial) {
    data.family_serial[k] = DecisionData::kNoSerial;
    compute_tree(data, t, first, last);
    data.family_serial[k] = t->serial;
  }
  for (std::size_t i = first; i < last; ++i)
    if (data.order[i] == decision) return i;
  fail(orv_error_error);
}

}  // namespace

double option_utility(orv_node_t decision, std::size_t option) {
  if (!decision->junction_tree->has_utility) return 0.0;
  const std::size_t i = current_entry(decision);
  DecisionData &data = static_cast<DecisionData &>(*junction_forest(decision->owner)->decisions);
  const std::size_t options = decision->state_count;
  double mass = 0.0, value = 0.0;
  for (std::size_t e = data.family_first[i] + option; e < data.family_first[i + 1]; e += options) {
    mass += data.family_probability[e];
    value += data.family_weighted[e];
  }
  return mass > 0.0 ? value / mass : 0.0;
}

void row_utilities(orv_node_t decision, double *utilities, double *probability) {
  if (!has_compiled_policy(decision)) fail(orv_error_usage);
  const std::size_t i = current_entry(decision);
  const DecisionData &data = static_cast<DecisionData &>(*junction_forest(decision->owner)->decisions);
  const double *p = data.family_probability.data() + data.family_first[i];
  const double *w = data.family_weighted.data() + data.family_first[i];
  const std::size_t options = decision->state_count, rows = decision->table->size / options;
  for (std::size_t e = 0; e < rows * options; ++e) utilities[e] = p[e] > 0.0 ? w[e] / p[e] : 0.0;
  if (!probability) return;
  // The parents lie above the decision, so every option's column holds the
  // same row weights, except that a made decision's evidence may lie below
  // it: then its own option's column is the one that happens.
  const std::size_t column = decision_is_instantiated(decision) ? decision->propagated_state : 0;
  double total = 0.0;
  for (std::size_t r = 0; r < rows; ++r) total += p[r * options + column];
  for (std::size_t r = 0; r < rows; ++r) probability[r] = total > 0.0 ? p[r * options + column] / total : 0.0;
}

}  // namespace orv
