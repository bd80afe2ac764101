// Per-option expected utilities of decisions: for each decision, the family
// values with its own policy left out, summed over parent configurations.
#include "decisions/decision_results.h"

#include <algorithm>

#include "decisions/decision_order.h"
#include "decisions/tree_solver.h"
#include "runtime/error.h"

namespace orv {

namespace {

void compute_tree(DecisionData &data, orv_junction_tree_s *t, std::size_t k) {
  TreeSolver solver(t);
  Vector<double> probability(std::max<std::size_t>(solver.widest_family(), 1));
  Vector<double> weighted(probability.size());
  solver.load_base();
  const std::size_t first = data.tree_first[k];
  for (std::size_t i = first; i < data.tree_first[k + 1]; ++i) {
    orv_node_t d = data.order[i];
    double *out = data.option_utility.data() + data.option_first[i];
    const std::size_t options = d->state_count;
    std::fill(out, out + options, 0.0);
    if (!has_compiled_policy(d)) continue;
    solver.family_values(d, probability.data(), weighted.data());
    const std::size_t rows = d->table->size / options;
    for (std::size_t o = 0; o < options; ++o) {
      double mass = 0.0, value = 0.0;
      for (std::size_t r = 0; r < rows; ++r) {
        mass += probability[r * options + o];
        value += weighted[r * options + o];
      }
      out[o] = mass > 0.0 ? value / mass : 0.0;
    }
  }
  data.option_serial[k] = t->serial;
}

}  // namespace

double option_utility(orv_node_t decision, std::size_t option) {
  JunctionForest &f = *junction_forest(decision->owner);
  orv_junction_tree_s *t = decision->junction_tree;
  if (!t->has_utility) return 0.0;
  DecisionData &data = _orv_domain_create_decision_order(f);
  std::size_t k = 0;
  for (orv_junction_tree_s *u = f.first_tree; u != t; u = u->next) ++k;
  if (data.option_serial[k] != t->serial) {
    data.option_serial[k] = DecisionData::kNoSerial;
    compute_tree(data, t, k);
  }
  for (std::size_t i = data.tree_first[k]; i < data.tree_first[k + 1]; ++i)
    if (data.order[i] == decision) return data.option_utility[data.option_first[i] + option];
  fail(orv_error_error);
}

}  // namespace orv
