// Single policy updating over the junction trees of a compiled domain.
#pragma once

#include <cstddef>

#include "compile/junction_forest.h"

namespace orv {

// One policy update as SPU makes it. The arrays are laid out like the
// decision's policy (parent configurations as rows, options as columns):
// the probability of each row and that probability times the expected
// utility of each option, with the decision's own policy left out.
struct PolicyUpdate {
  orv_node_t decision;
  std::size_t pass;  // from 1
  bool changed;
  std::size_t rows;
  std::size_t options;
  const double *probability;
  const double *weighted;
  const unsigned char *optimal;
};

// Receives every policy update (tests and tracing).
class PolicyUpdateObserver {
 public:
  virtual ~PolicyUpdateObserver() = default;
  virtual void updated(const PolicyUpdate &update) = 0;
};

// orv_domain_update_policies with an optional observer. Throws Failure or
// bad_alloc; a failed tree has its policies restored and is reset.
void update_policies(orv_domain_s *d, PolicyUpdateObserver *observer);

}  // namespace orv
