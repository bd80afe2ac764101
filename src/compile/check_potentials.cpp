// The check of conditional probability potentials (and policies) that
// compilation writes to the log: invalid entries, zero or infinite sums, and
// distributions that sum to different values.
#include <cfloat>

#include "compile/build_forest.h"
#include "compile/compile.h"
#include "compile/forest_log.h"
#include "model/node_ops.h"
#include "runtime/error.h"

namespace orv {

namespace {

// Writes the configuration of `index` over the table's first `count` nodes.
void log_configuration(orv_domain_s *d, const orv_table_s *t, std::size_t index, std::size_t count) {
  Vector<std::size_t> states(t->discrete_count);
  for (std::size_t k = t->discrete_count; k-- > 0;) {
    const std::size_t n = t->nodes[k]->state_count;
    states[k] = index % n;
    index /= n;
  }
  for (std::size_t k = 0; k < count; ++k) {
    log_printf(d, "    %s = ", node_name(t->nodes[k]));
    log_state(d, t->nodes[k], states[k]);
    log_printf(d, "\n");
  }
}

bool check_node(orv_domain_s *d, orv_node_t n) {
  const orv_table_s *t = n->table;
  const std::size_t block = n->state_count;
  if (!t->data || block == 0 || t->discrete_count == 0) return true;
  bool valid = true;
  double least = -1.0, most = 0.0;
  for (std::size_t start = 0; start + block <= t->size; start += block) {
    double sum = 0.0;
    for (std::size_t i = start; i < start + block; ++i) {
      const double x = t->data[i];
      if (x < 0.0 || x >= DBL_MAX) {
        log_printf(d, "\nPotential for %s has an invalid value (%g) for:\n", node_name(n), x);
        log_configuration(d, t, i, t->discrete_count);
        valid = false;
      }
      sum += x;
    }
    if (sum == 0.0 || sum >= DBL_MAX) {
      const char *what = sum == 0.0 ? "a zero" : "an infinite";
      if (t->nodes.size() == 1) {
        log_printf(d, "\nPotential for %s is %s-sum distribution\n", node_name(n), what);
      } else {
        log_printf(d, "\nPotential for %s has %s-sum distribution for:\n", node_name(n), what);
        log_configuration(d, t, start, t->discrete_count - 1);
      }
      valid = false;
      continue;
    }
    if (least < 0.0 || sum < least) least = sum;
    if (sum > most) most = sum;
  }
  if (least >= 0.0 && most - least > least * 0.0001)
    log_printf(d, "\nWarning: Conditional distributions for %s sum to different values:\n    min = %g\n    max = %g\n",
               node_name(n), least, most);
  return valid;
}

}  // namespace

orv_error_t inspect_potentials(orv_domain_s *d) {
  log_printf(d, "\n\nChecking conditional probability%s potentials:\n", d->decision_count > 0 ? " and policy" : "");
  bool valid = true;
  for (orv_node_s *n = d->first_node; n; n = n->next) {
    if (!n->is_discrete() || !n->table || n->category == orv_category_function) continue;
    if (!check_node(d, n)) valid = false;
  }
  if (valid) log_printf(d, "\n    No errors found\n");
  return valid ? orv_error_none : orv_error_invalid_probability_potential;
}

}  // namespace orv
