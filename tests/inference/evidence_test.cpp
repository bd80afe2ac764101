// Evidence entry and status: finding-vector classification, the per-tree
// count of evidence to propagate, value evidence, and argument checks.
#include <gtest/gtest.h>

#include <limits>

#include "compile/junction_forest.h"
#include "inference/evidence.h"
#include "model/node.h"
#include "support/contract_sweep.h"
#include "support/network_fixture.h"

namespace orv {
namespace {

using namespace test;

TEST(Evidence, FindingVectorsAreClassified) {
  auto d = new_domain();
  orv_node_t a = variable(d.get(), "A", 3);
  for (std::size_t s = 0; s < 3; ++s) ASSERT_EQ(orv_node_enter_finding(a, s, 1.0), orv_error_none);
  EXPECT_EQ(orv_node_get_selected_state(a), -1);  // all ones: no evidence
  EXPECT_EQ(orv_node_evidence_is_entered(a), 0);

  for (std::size_t s = 0; s < 3; ++s) orv_node_enter_finding(a, s, 0.0);
  EXPECT_EQ(orv_node_get_selected_state(a), -2);  // all zeros
  EXPECT_EQ(orv_node_likelihood_is_entered(a), 0);
  EXPECT_EQ(orv_node_get_entered_finding(a, 1), 0.0);

  orv_node_enter_finding(a, 2, 1.0);
  EXPECT_EQ(orv_node_get_selected_state(a), 2);  // exactly one 1
  orv_node_enter_finding(a, 0, 1.0);
  EXPECT_EQ(orv_node_get_selected_state(a), -2);  // two ones

  ASSERT_EQ(orv_node_select_state(a, 1), orv_error_none);
  ASSERT_EQ(orv_node_enter_finding(a, 0, 0.5), orv_error_none);
  EXPECT_EQ(orv_node_get_selected_state(a), -2);
  EXPECT_EQ(orv_node_get_entered_finding(a, 0), 0.5);
  EXPECT_EQ(orv_node_get_entered_finding(a, 1), 1.0);
  EXPECT_EQ(orv_node_get_entered_finding(a, 2), 0.0);
  EXPECT_EQ(orv_node_likelihood_is_entered(a), 1);

  // Selecting after a likelihood keeps the vector but the code wins.
  ASSERT_EQ(orv_node_select_state(a, 2), orv_error_none);
  EXPECT_EQ(orv_node_get_entered_finding(a, 0), 0.0);
  EXPECT_EQ(orv_node_get_entered_finding(a, 2), 1.0);
  EXPECT_EQ(a->entered_finding[0], 0.5);
  ASSERT_EQ(orv_node_retract_findings(a), orv_error_none);
  EXPECT_EQ(orv_node_get_entered_finding(a, 0), 1.0);
  EXPECT_EQ(orv_node_evidence_is_entered(a), 0);
}

TEST(Evidence, TreeCountIsKeptExact) {
  auto d = new_domain();
  orv_node_t a = variable(d.get(), "A", 2), b = variable(d.get(), "B", 2), one = variable(d.get(), "One", 1);
  ASSERT_EQ(build_forest(d.get(), {{a, b}, {one}}), orv_error_none);
  orv_junction_tree_t ab = a->junction_tree, single = one->junction_tree;
  ASSERT_NE(ab, single);
  orv_node_select_state(a, 0);
  EXPECT_EQ(ab->evidence_to_propagate, 1u);
  EXPECT_EQ(orv_node_evidence_to_propagate(a), 1);
  orv_node_select_state(a, 0);  // no change
  orv_node_select_state(a, 1);
  EXPECT_EQ(ab->evidence_to_propagate, 1u);
  orv_node_enter_finding(b, 0, 0.25);
  EXPECT_EQ(ab->evidence_to_propagate, 2u);
  orv_node_select_state(one, 0);  // the only state tells nothing
  EXPECT_EQ(single->evidence_to_propagate, 0u);
  EXPECT_EQ(orv_node_evidence_to_propagate(one), 0);
  EXPECT_EQ(orv_node_evidence_is_entered(one), 1);
  ASSERT_EQ(orv_domain_retract_findings(d.get()), orv_error_none);
  EXPECT_EQ(ab->evidence_to_propagate, 0u);
  // Retraction of something never propagated changes nothing to propagate.
  orv_node_retract_findings(b);
  EXPECT_EQ(ab->evidence_to_propagate, 0u);
}

TEST(Evidence, ValuesSelectStatesOfNumericNodes) {
  auto d = new_domain();
  orv_node_t n = variable(d.get(), "N", 3), i = variable(d.get(), "I", 3), l = variable(d.get(), "L", 2);
  n->subtype = orv_subtype_number;
  n->state_values.assign({1.0, 2.5, 7.0, -1.0});
  i->subtype = orv_subtype_interval;
  i->state_values.assign({0.0, 1.0, 1.0, 2.0});
  ASSERT_EQ(orv_node_enter_value(n, 2.5), orv_error_none);
  EXPECT_EQ(orv_node_get_selected_state(n), 1);
  EXPECT_EQ(orv_node_get_entered_value(n), 2.5);
  EXPECT_EQ(orv_node_enter_value(n, 3.0), orv_error_usage);
  EXPECT_EQ(orv_node_get_selected_state(n), 1);
  ASSERT_EQ(orv_node_enter_value(i, 1.0), orv_error_none);
  EXPECT_EQ(orv_node_get_selected_state(i), 1);  // the point interval
  orv_node_enter_value(i, 0.5);
  EXPECT_EQ(orv_node_get_selected_state(i), 0);
  orv_node_enter_value(i, 1.5);
  EXPECT_EQ(orv_node_get_selected_state(i), 2);
  EXPECT_EQ(orv_node_enter_value(i, 2.5), orv_error_usage);
  EXPECT_EQ(orv_node_enter_value(l, 0.0), orv_error_usage);  // labelled node
  orv_node_select_state(n, 0);
  EXPECT_RESULT(orv_node_get_entered_value(n), -1.0, orv_error_usage);  // selecting clears the value

  orv_node_t x = test::add_node(d.get(), "X", orv_category_chance, orv_kind_continuous);
  ASSERT_EQ(orv_node_enter_value(x, -3.5), orv_error_none);
  EXPECT_EQ(orv_node_get_entered_value(x), -3.5);
  EXPECT_EQ(orv_node_evidence_is_entered(x), 1);
  EXPECT_EQ(orv_node_select_state(x, 0), orv_error_usage);
  orv_node_retract_findings(x);
  EXPECT_EQ(orv_node_evidence_is_entered(x), 0);
}

TEST(Evidence, EntryPointsRefuseBadArguments) {
  auto d = new_domain();
  orv_node_t a = variable(d.get(), "A", 2);
  orv_node_t u = variable(d.get(), "U", 0, orv_category_utility);
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(orv_node_select_state(nullptr, 0), orv_error_usage);
  EXPECT_EQ(orv_node_select_state(a, 2), orv_error_usage);
  EXPECT_EQ(orv_node_select_state(u, 0), orv_error_usage);
  EXPECT_EQ(orv_node_enter_finding(a, 0, -0.5), orv_error_usage);
  EXPECT_EQ(orv_node_enter_finding(a, 0, inf), orv_error_usage);
  EXPECT_EQ(orv_node_enter_finding(a, 0, std::numeric_limits<double>::quiet_NaN()), orv_error_usage);
  EXPECT_EQ(orv_node_enter_finding(a, 5, 0.5), orv_error_usage);
  EXPECT_EQ(orv_node_get_selected_state(a), -1);  // nothing changed
  EXPECT_EQ(orv_node_retract_findings(u), orv_error_usage);
  EXPECT_EQ(orv_domain_retract_findings(nullptr), orv_error_usage);
  EXPECT_EQ(orv_node_get_entered_finding(a, 2), -1.0);
  EXPECT_RESULT(orv_node_evidence_is_entered(nullptr), -1, orv_error_usage);
  // Propagated queries need a compiled domain.
  EXPECT_RESULT(orv_node_get_propagated_finding(a, 0), -1.0, orv_error_not_compiled);
  EXPECT_RESULT(orv_node_evidence_is_propagated(a), -1, orv_error_not_compiled);
  EXPECT_RESULT(orv_domain_evidence_to_propagate(d.get()), -1, orv_error_not_compiled);
  EXPECT_RESULT(orv_node_get_entered_finding(a, 1), 1.0, orv_error_none);
}

}  // namespace
}  // namespace orv
