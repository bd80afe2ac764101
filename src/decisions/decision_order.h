// The order in which single policy updating visits decisions, per junction
// tree, and the decision results cached on a compiled domain.
#pragma once

#include <cstddef>
#include <cstdint>

#include "compile/junction_forest.h"

namespace orv {

// Decision data of a compiled domain, built on first use and dropped with
// the junction forest.
struct DecisionData : Attachment {
  // Every tree's decisions in decision order (a decision after all decisions
  // below it), trees in forest order, null-terminated.
  Vector<orv_node_t> order;
  // Per tree in forest order: its first entry in `order`; one extra entry
  // marks the end.
  Vector<std::size_t> tree_first;

  // Per decision (entries of `order`), its family values laid out like its
  // policy: the probability of each configuration and that probability times
  // the expected total utility, the decision's own factor left out. Valid for
  // a tree while its serial matches.
  Vector<double> family_probability;
  Vector<double> family_weighted;
  Vector<std::size_t> family_first;      // per entry of `order`, one extra at the end
  Vector<std::uint64_t> family_serial;   // per tree; kNoSerial when never computed
  static constexpr std::uint64_t kNoSerial = ~std::uint64_t{0};
};

// The domain's decision data, created with its decision order on first use.
// Throws bad_alloc; the domain must be triangulated.
DecisionData &_orv_domain_create_decision_order(JunctionForest &forest);

// The decisions of one tree in decision order.
struct DecisionRange {
  orv_node_t const *first;
  orv_node_t const *last;
  orv_node_t const *begin() const { return first; }
  orv_node_t const *end() const { return last; }
};
DecisionRange tree_decisions(const DecisionData &data, const JunctionForest &forest,
                             const orv_junction_tree_s *tree);

}  // namespace orv
