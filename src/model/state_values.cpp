// State values of number and interval nodes: storage, the status rules and
// the lookup of the state that holds a value.
#include <cfloat>
#include <cmath>

#include "model/states.h"
#include "runtime/error.h"

namespace orv {

namespace {

constexpr double kMinusInfinity = -DBL_MAX;  // stands for minus infinity
constexpr double kPlusInfinity = DBL_MAX;
constexpr double kRelativeTolerance = 0.000001;

bool is_interval(const orv_node_s *node) { return node->subtype == orv_subtype_interval; }

// Highest state index that takes a value: count - 1 for number nodes, count
// (the upper end) for interval nodes.
bool value_index_in_range(const orv_node_s *node, std::size_t state) {
  if (!node->is_discrete()) return false;
  if (node->subtype == orv_subtype_number) return state < node->state_count;
  return is_interval(node) && state <= node->state_count;
}

// The value of entry `state` when no values are stored.
double unset_value(const orv_node_s *node, std::size_t state) {
  if (is_interval(node) && state == 0) return kMinusInfinity;
  if (is_interval(node) && state == node->state_count) return kPlusInfinity;
  return -1.0;
}

void set_state_value(orv_node_s *node, std::size_t state, double value) {
  if (node->state_values.empty()) {
    Vector<double> values(node->state_count + 1, -1.0);
    if (is_interval(node)) {
      values.front() = kMinusInfinity;
      values.back() = kPlusInfinity;
    }
    node->state_values.swap(values);
  }
  if (node->state_values[state] == value) return;
  node->state_values[state] = value;
  mark_models_for_regeneration(node);
}

int number_status(const Vector<double> &v, std::size_t count) {
  for (std::size_t i = 1; i < count; ++i)
    if (!(v[i] > v[i - 1])) return 1;
  if (v[0] == kMinusInfinity || v[count - 1] == kPlusInfinity) return 2;
  return 0;
}

int interval_status(const Vector<double> &v, std::size_t count) {
  bool previous_was_point = false;
  for (std::size_t i = 1; i <= count; ++i) {
    if (!(v[i] >= v[i - 1])) return 1;
    const bool point = v[i] == v[i - 1];
    if (point && previous_was_point) return 1;  // two point intervals in a row
    previous_was_point = point;
  }
  if (v[1] == kMinusInfinity || v[count - 1] == kPlusInfinity) return 2;
  return 0;
}

long interval_state(const Vector<double> &v, std::size_t count, double value) {
  if (std::isnan(value)) return -1;
  if (v[0] != kMinusInfinity && value < v[0]) return -1;
  if (v[count] != kPlusInfinity && value > v[count]) return -1;
  for (std::size_t i = 1; i < count; ++i)
    if (v[i - 1] == value || value < v[i]) return static_cast<long>(i - 1);
  return static_cast<long>(count - 1);
}

long number_state(const Vector<double> &v, std::size_t count, double value) {
  for (std::size_t i = 0; i < count; ++i)
    if (std::fabs(value - v[i]) <= std::fabs(value) * kRelativeTolerance) return static_cast<long>(i);
  return -1;
}

}  // namespace

// An output clone reads its master's values, which may have changed since.
const orv_node_s *values_holder(const orv_node_s *node) {
  while (node->class_node && node->instance_node) node = node->class_node;
  return node;
}

int _orv_node_check_status_of_state_values(const orv_node_s *node) {
  node = values_holder(node);
  if (node->state_values.empty()) return 1;
  return is_interval(node) ? interval_status(node->state_values, node->state_count)
                           : number_status(node->state_values, node->state_count);
}

long _orv_node_state_value_to_state_index(const orv_node_s *node, double value) {
  node = values_holder(node);
  if (node->state_values.empty()) return -1;
  return is_interval(node) ? interval_state(node->state_values, node->state_count, value)
                           : number_state(node->state_values, node->state_count, value);
}

}  // namespace orv

using orv::is_node;
using orv::usage;

extern "C" {

orv_status_t orv_node_set_state_value(orv_node_t node, size_t state, double value) {
  if (!is_node(node) || !orv::value_index_in_range(node, state) || node->class_node || node->temporal_clone)
    return usage(orv_error_usage);
  return orv::guarded_status([&] { orv::set_state_value(node, state, value); });
}

double orv_node_get_state_value(orv_node_t node, size_t state) {
  if (!is_node(node) || !orv::value_index_in_range(node, state)) return usage(-1.0);
  orv::set_error(orv_error_none);
  const orv_node_s *holder = orv::values_holder(node);
  return holder->state_values.empty() ? orv::unset_value(node, state) : holder->state_values[state];
}

long orv_node_get_state_index_from_value(orv_node_t node, double value) {
  if (!is_node(node) || !node->is_discrete()) return usage(-1L);
  const bool number = node->subtype == orv_subtype_number && !orv::values_holder(node)->state_values.empty();
  const bool interval = node->subtype == orv_subtype_interval &&
                        orv::_orv_node_check_status_of_state_values(node) == 0;
  if (!number && !interval) return usage(-1L);
  orv::set_error(orv_error_none);
  return orv::_orv_node_state_value_to_state_index(node, value);
}

}  // extern "C"
