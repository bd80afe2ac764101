// Normalisation as a conditional distribution, product and sum-marginal by
// walking the configurations of the larger table in row-major order.
#include "tables/table_conditionals.h"

#include <algorithm>
#include <cassert>
#include <cfloat>
#include <cmath>

#include "model/node.h"
#include "runtime/error.h"

namespace orv {

namespace {

// Walks the configurations of `big` in row-major order while tracking the
// index of the matching configuration of `small` (whose discrete nodes are a
// subset of big's).
class Projection {
 public:
  Projection(const orv_table_s *big, const orv_table_s *small)
      : counts_(big->discrete_count), strides_(big->discrete_count), states_(big->discrete_count) {
    for (std::size_t i = 0; i < big->discrete_count; ++i) {
      orv_node_s *n = big->nodes[i];
      counts_[i] = n->state_count;
      std::size_t stride = 1;
      const long at = small->nodes.index_of(n);
      if (at < 0 || static_cast<std::size_t>(at) >= small->discrete_count) {
        stride = 0;
      } else {
        for (std::size_t j = static_cast<std::size_t>(at) + 1; j < small->discrete_count; ++j)
          stride *= small->nodes[j]->state_count;
      }
      strides_[i] = stride;
    }
  }
  std::size_t index() const { return index_; }
  // Moves to the next configuration of `big`: the last node varies fastest.
  void advance() {
    for (std::size_t i = counts_.size(); i-- > 0;) {
      index_ += strides_[i];
      if (++states_[i] < counts_[i]) return;
      index_ -= strides_[i] * counts_[i];
      states_[i] = 0;
    }
  }

 private:
  Vector<std::size_t> counts_, strides_, states_;
  std::size_t index_ = 0;
};

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

void multiply_into(orv_table_s *target, const orv_table_s *factor) {
  assert(target->data && factor->data);
  Projection at(target, factor);
  for (std::size_t i = 0; i < target->size; ++i, at.advance()) target->data[i] *= factor->data[at.index()];
}

void marginalize_into(orv_table_s *target, const orv_table_s *source) {
  assert(target->data && source->data);
  Projection at(source, target);
  std::fill(target->data, target->data + target->size, 0.0);
  for (std::size_t i = 0; i < source->size; ++i, at.advance()) target->data[at.index()] += source->data[i];
}

}  // namespace orv
