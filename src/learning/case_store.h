// The case store: rows of observations of a domain's chance nodes, each with
// a weight, held in per-node arrays that share the domain's case capacity.
#pragma once

#include <cstddef>

#include "model/node.h"

namespace orv {

// Domains (not classes) hold cases and learn.
inline bool is_learning_domain(const orv_domain_s *d) { return is_domain(d) && !d->is_class(); }

// Nodes that hold case data: discrete and continuous chance nodes.
inline bool holds_cases(const orv_node_s *n) {
  return n->category == orv_category_chance && n->counts_as_variable();
}

// Weight of case i (1 when the store has no counts).
inline double case_weight(const orv_domain_s *d, std::size_t i) {
  return d->case_counts ? d->case_counts[i] : 1.0;
}
// Sum of the weights of all cases.
double total_case_weight(const orv_domain_s *d);

// Resizes the store to n cases by the growth and shrink rules; on failure
// (no_memory, demo) nothing changed. Throws.
void set_number_of_cases(orv_domain_s *d, std::size_t n);
void set_case_count(orv_domain_s *d, std::size_t i, double count);
void set_case_state(orv_node_s *n, std::size_t i, std::size_t state);
void set_case_value(orv_node_s *n, std::size_t i, double value);
void unset_case(orv_node_s *n, std::size_t i) noexcept;
bool case_is_set(const orv_node_s *n, std::size_t i);
long case_state(const orv_node_s *n, std::size_t i);

// The number of cases and which case arrays exist, so that a failed read can
// take the store back: appended cases go, arrays it created are freed.
class CaseStoreMark {
 public:
  explicit CaseStoreMark(orv_domain_s *d);
  void roll_back() noexcept;

 private:
  orv_domain_s *d_;
  std::size_t cases_;
  bool had_counts_;
  Vector<const orv_node_s *> had_arrays_;
};

// Enters case i as evidence on every chance node (nothing propagated).
void enter_case(orv_domain_s *d, std::size_t i) noexcept;

}  // namespace orv
