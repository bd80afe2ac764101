// Public entry points of the case store.
#include "learning/case_store.h"
#include "runtime/error.h"

namespace orv {
namespace {

bool case_ok(const orv_domain_s *d, std::size_t i) { return is_learning_domain(d) && i < d->number_of_cases; }
bool node_case_ok(const orv_node_s *n, std::size_t i) {
  return is_node(n) && holds_cases(n) && case_ok(n->owner, i);
}

}  // namespace
}  // namespace orv

using orv::guarded;
using orv::guarded_status;
using orv::usage;

extern "C" {

orv_status_t orv_domain_set_number_of_cases(orv_domain_t domain, size_t n) {
  if (!orv::is_learning_domain(domain)) return usage(orv_error_usage);
  return guarded_status([&] { orv::set_number_of_cases(domain, n); });
}

size_t orv_domain_new_case(orv_domain_t domain) {
  if (!orv::is_learning_domain(domain)) return usage(orv::kSizeSentinel);
  return guarded<size_t>(orv::kSizeSentinel, [&] {
    const std::size_t index = domain->number_of_cases;
    if (index == orv::kSizeSentinel - 1) orv::fail(orv_error_no_memory);
    orv::set_number_of_cases(domain, index + 1);
    return index;
  });
}

size_t orv_domain_get_number_of_cases(orv_domain_t domain) {
  if (!orv::is_learning_domain(domain)) return usage(orv::kSizeSentinel);
  orv::set_error(orv_error_none);
  return domain->number_of_cases;
}

orv_status_t orv_domain_set_case_count(orv_domain_t domain, size_t case_index, double count) {
  if (!orv::case_ok(domain, case_index) || !(count >= 0.0)) return usage(orv_error_usage);
  return guarded_status([&] { orv::set_case_count(domain, case_index, count); });
}

double orv_domain_get_case_count(orv_domain_t domain, size_t case_index) {
  if (!orv::case_ok(domain, case_index)) return usage(-1.0);
  orv::set_error(orv_error_none);
  return orv::case_weight(domain, case_index);
}

orv_status_t orv_node_set_case_state(orv_node_t node, size_t case_index, size_t state) {
  if (!orv::node_case_ok(node, case_index) || !node->is_discrete()) return usage(orv_error_usage);
  return guarded_status([&] { orv::set_case_state(node, case_index, state); });
}

long orv_node_get_case_state(orv_node_t node, size_t case_index) {
  if (!orv::node_case_ok(node, case_index) || !node->is_discrete()) return usage(-1L);
  orv::set_error(orv_error_none);
  return orv::case_state(node, case_index);
}

orv_status_t orv_node_set_case_value(orv_node_t node, size_t case_index, double value) {
  if (!orv::node_case_ok(node, case_index) || !node->is_continuous()) return usage(orv_error_usage);
  return guarded_status([&] { orv::set_case_value(node, case_index, value); });
}

double orv_node_get_case_value(orv_node_t node, size_t case_index) {
  if (!orv::node_case_ok(node, case_index) || !node->is_continuous()) return usage(-1.0);
  if (!orv::case_is_set(node, case_index)) {
    orv::set_error(orv_error_no_value);
    return -1.0;
  }
  orv::set_error(orv_error_none);
  return node->case_values[case_index];
}

orv_status_t orv_node_unset_case(orv_node_t node, size_t case_index) {
  if (!orv::node_case_ok(node, case_index)) return usage(orv_error_usage);
  orv::set_error(orv_error_none);
  orv::unset_case(node, case_index);
  return orv_error_none;
}

int orv_node_case_is_set(orv_node_t node, size_t case_index) {
  if (!orv::node_case_ok(node, case_index)) return usage(-1);
  orv::set_error(orv_error_none);
  return orv::case_is_set(node, case_index) ? 1 : 0;
}

orv_status_t orv_domain_enter_case(orv_domain_t domain, size_t case_index) {
  if (!orv::case_ok(domain, case_index)) return usage(orv_error_usage);
  orv::set_error(orv_error_none);
  orv::enter_case(domain, case_index);
  return orv_error_none;
}

}  // extern "C"
