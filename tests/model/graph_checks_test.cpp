// The rules that guard links through function nodes: no functional
// dependency cycles, function values reaching only real-valued nodes when
// there are decisions, and decisions refused while a function node breaks that.
#include <gtest/gtest.h>

#include "support/domain_fixture.h"
#include "support/link_fixture.h"

namespace orv {
namespace {

using namespace test;

bool all_unmarked(orv_domain_t d) {
  for (orv_node_t n = d->first_node; n; n = n->next)
    if (n->mark) return false;
  return true;
}

// A -> F (discrete function) and A -> C: F -> C would let C depend on a
// function of its own parent's values.
TEST(FunctionalDependencies, TrailsThroughFunctionNodesAndSwitches) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), c = add_node(d.get(), "C"), e = add_node(d.get(), "E");
  orv_node_t f = add_node(d.get(), "F", orv_category_function, orv_kind_discrete);
  orv_node_t f2 = add_node(d.get(), "F2", orv_category_function, orv_kind_discrete);
  ASSERT_EQ(orv_node_add_parent(f, a), orv_error_none);
  ASSERT_EQ(orv_node_add_parent(c, a), orv_error_none);
  EXPECT_EQ(orv_node_add_parent(c, f), orv_error_cyclic_functional_dependency);  // C up to A, down into F
  EXPECT_EQ(test::names_of(orv_node_get_parents(c)), (std::vector<std::string>{"A"}));
  EXPECT_EQ(orv_node_add_parent(e, f), orv_error_none);  // E shares no trail with F
  // C reaches F2 only through its parent F and F's function child; switching
  // F for F2 drops that trail.
  ASSERT_EQ(orv_node_add_parent(f2, f), orv_error_none);
  ASSERT_EQ(orv_node_remove_parent(c, a), orv_error_none);
  ASSERT_EQ(orv_node_add_parent(c, f), orv_error_none);
  EXPECT_EQ(orv_node_add_parent(c, f2), orv_error_cyclic_functional_dependency);
  EXPECT_EQ(orv_node_switch_parent(c, f, f2), orv_error_none);
  EXPECT_EQ(test::names_of(orv_node_get_parents(c)), (std::vector<std::string>{"F2"}));
  EXPECT_TRUE(all_unmarked(d.get()));
}

TEST(FunctionalDependencies, WithDecisionsOnlyPureRealValuedChainsCarryValues) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A");
  orv_node_t g = add_node(d.get(), "G", orv_category_function, orv_kind_other);
  orv_node_t h = add_node(d.get(), "H", orv_category_function, orv_kind_other);
  orv_node_t f = add_node(d.get(), "F", orv_category_function, orv_kind_discrete);
  orv_node_t u = add_node(d.get(), "U", orv_category_utility);
  add_node(d.get(), "D", orv_category_decision);
  // A real-valued sink with no descendants may read a chance node.
  EXPECT_EQ(orv_node_add_parent(g, a), orv_error_none);
  // A discrete function node may not (its descendants are not real-valued).
  EXPECT_EQ(orv_node_add_parent(f, a), orv_error_functional_dependency);
  // G now has a chance ancestor: its value may feed only real-valued nodes
  // whose descendants are real-valued.
  EXPECT_EQ(orv_node_add_parent(u, g), orv_error_functional_dependency);
  EXPECT_EQ(orv_node_add_parent(h, g), orv_error_none);
  EXPECT_EQ(orv_node_get_parents(u)[0], nullptr);
  // A value-free link between ordinary nodes is not affected.
  EXPECT_EQ(orv_node_add_parent(u, a), orv_error_none);
}

// Without decisions a discrete function fed by a chance node may feed a chance
// node; a decision or utility node then cannot be added until that link goes.
TEST(LimidConstraints, FunctionNodesFedByChanceNodesFeedOnlyValues) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), c = add_node(d.get(), "C");
  orv_node_t f = add_node(d.get(), "F", orv_category_function, orv_kind_discrete);
  orv_node_t g = add_node(d.get(), "G", orv_category_function, orv_kind_other);
  ASSERT_EQ(orv_node_add_parent(f, a), orv_error_none);
  ASSERT_EQ(orv_node_add_parent(g, f), orv_error_none);
  ASSERT_EQ(orv_node_add_parent(c, f), orv_error_none);
  const std::size_t nodes = d->node_count;
  EXPECT_EQ(orv_domain_new_node(d.get(), orv_category_decision, orv_kind_discrete), nullptr);
  EXPECT_EQ(orv_error_code(), orv_error_cyclic_functional_dependency);
  EXPECT_EQ(orv_domain_new_node(d.get(), orv_category_utility, orv_kind_other), nullptr);
  EXPECT_EQ(orv_node_set_category(a, orv_category_decision), orv_error_cyclic_functional_dependency);
  EXPECT_EQ(d->node_count, nodes);
  EXPECT_TRUE(all_unmarked(d.get()));
  ASSERT_EQ(orv_node_remove_parent(c, f), orv_error_none);
  EXPECT_NE(orv_domain_new_node(d.get(), orv_category_utility, orv_kind_other), nullptr);
}

}  // namespace
}  // namespace orv
