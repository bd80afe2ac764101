// Normalisation of a table as a conditional distribution of its last
// discrete node.
#include "tables/table_conditionals.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "model/node.h"
#include "runtime/error.h"

namespace orv {

namespace {

void check_entries(const orv_table_s *t) {
  for (std::size_t i = 0; i < t->size; ++i) {
    const double p = t->data[i];
    if (std::isnan(p) || p < 0.0 || p >= DBL_MAX) fail(orv_error_invalid_probability_potential);
  }
}

}  // namespace

void normalize_conditional(orv_table_s *t, ZeroSum zero_sum) {
  _orv_allocate_data_arrays(t);
  if (t->continuous_count > 0) {
    std::fill(t->data, t->data + t->size, 1.0);
    return;
  }
  check_entries(t);
  const std::size_t states = t->discrete_count == 0 ? 1 : t->nodes[t->discrete_count - 1]->state_count;
  for (double *group = t->data; group < t->data + t->size; group += states) {
    double sum = 0.0;
    for (std::size_t s = 0; s < states; ++s) sum += group[s];
    if (sum >= DBL_MAX) fail(orv_error_invalid_probability_potential);
    if (sum > 0.0) {
      for (std::size_t s = 0; s < states; ++s) group[s] /= sum;
    } else if (zero_sum == ZeroSum::uniform) {
      std::fill(group, group + states, 1.0 / static_cast<double>(states));
    } else {
      fail(orv_error_invalid_probability_potential);
    }
  }
}

}  // namespace orv
