// Node lists (parents and children, ancestors and descendants), the failure
// paths of creation, naming and cloning, and the rules that guard links
// through function nodes.
#include <gtest/gtest.h>

#include "model/node.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "support/link_fixture.h"
#include "support/model_checks.h"

namespace orv {
namespace {

using namespace test;
using Names = std::vector<std::string>;

bool all_unmarked(orv_domain_t d) {
  for (orv_node_t n = d->first_node; n; n = n->next)
    if (n->mark) return false;
  return true;
}

TEST(GraphLists, AncestorsAndDescendantsBreadthFirst) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B"), c = add_node(d.get(), "C");
  orv_node_t e = add_node(d.get(), "E"), f = add_node(d.get(), "F");
  link(a, b), link(a, c), link(b, e), link(c, e), link(e, f);
  EXPECT_EQ(names_of(orv_node_get_ancestors(a)), (Names{"A"}));
  EXPECT_EQ(names_of(orv_node_get_ancestors(f)), (Names{"F", "E", "C", "B", "A"}));
  EXPECT_EQ(names_of(orv_node_get_descendants(a)), (Names{"A", "C", "B", "E", "F"}));
  EXPECT_EQ(names_of(orv_node_get_parents(e)), (Names{"C", "B"}));
  EXPECT_TRUE(all_unmarked(d.get()));
}

// Every allocation of creation, naming and cloning can fail: the operation
// reports no_memory, leaks nothing and leaves the domain as it was. A failure
// inside the name index only drops the index, and the operation succeeds.
TEST(NodeFailurePaths, NoMemoryAtEveryAllocationLeavesTheDomainUnchanged) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B");
  for (int i = 0; i < 12; ++i) add_node(d.get(), ("P" + std::to_string(i)).c_str());
  link(a, b);
  set_state_count(b, 3);  // a clone copies the label, state labels, attributes and the table
  ASSERT_EQ(orv_node_set_label(b, "a label long enough to need the heap"), orv_error_none);
  ASSERT_EQ(orv_node_set_state_label(b, 0, "a state label long enough to need the heap"), orv_error_none);
  ASSERT_EQ(orv_node_set_attribute(b, "key", "a value long enough to need the heap"), orv_error_none);
  ASSERT_EQ(orv_node_set_attribute(b, "other", "another value long enough to need the heap"), orv_error_none);
  ASSERT_NE(orv_node_get_table(b), nullptr);
  const auto snapshot = [&] { return test::snapshot(d.get()) + "chance nodes " + std::to_string(d->chance_count); };
  const std::string before = snapshot();
  const auto sweep = [&](const char *what, auto operation, auto undo) {
    const auto clean = test::sweep_allocation_failures(operation, [&](const auto &run) {
      SCOPED_TRACE(std::string(what) + " allocation " + std::to_string(run.n));
      if (run.result) {  // absorbed: the lookups still work without the index
        EXPECT_EQ(d->names.bucket_count(), 0u);
        undo();
        return;
      }
      EXPECT_EQ(orv_error_code(), orv_error_no_memory);
      EXPECT_EQ(snapshot(), before);
      EXPECT_LE(run.leaked, 0);  // the index may go
    });
    ASSERT_TRUE(clean.result) << what;
    undo();
    EXPECT_EQ(snapshot(), before) << what;
  };
  orv_node_t made = nullptr;
  sweep("create", [&] { return (made = orv_domain_new_node(d.get(), orv_category_chance, orv_kind_discrete)) != nullptr; },
        [&] { orv_node_delete(made); });
  sweep("clone", [&] { return (made = orv_node_clone(b)) != nullptr; }, [&] { orv_node_delete(made); });
  sweep("rename", [&] { return orv_node_set_name(b, "a_name_that_is_long_enough_for_the_heap") == orv_error_none; },
        [&] { orv_node_set_name(b, "B"); });
  orv_node_t unnamed = orv_domain_new_node(d.get(), orv_category_chance, orv_kind_discrete);
  orv_node_delete(unnamed);
}

// A -> F (discrete function) and A -> C: F -> C would let C depend on a
// function of its own parent's values.
TEST(FunctionalDependencies, TrailsThroughFunctionNodesAndSwitches) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), c = add_node(d.get(), "C"), e = add_node(d.get(), "E");
  orv_node_t f = add_node(d.get(), "F", orv_category_function, orv_kind_discrete);
  orv_node_t f2 = add_node(d.get(), "F2", orv_category_function, orv_kind_discrete);
  add_parents({{f, a}, {c, a}});
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
  add_parents({{f, a}, {g, f}, {c, f}});
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
