// Allocation failures while compiling and propagating a CG network: every
// failing run reports no_memory, leaks nothing and leaves the domain as it
// was; CG nodes stay out of LIMIDs.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "orvel.h"
#include "support/contract_sweep.h"
#include "support/fault_injection.h"

namespace orv {
namespace {

const std::string kMedium = std::string(ORVEL_DATA_DIR) + "/networks/cg/cg_medium_1.net";

struct Observed {
  double mean, variance, belief;
};

Observed observe(orv_domain_t d) {
  return {orv_node_get_mean(orv_domain_get_node_by_name(d, "X15")),
          orv_node_get_variance(orv_domain_get_node_by_name(d, "X15")),
          orv_node_get_belief(orv_domain_get_node_by_name(d, "D1"), 0)};
}

TEST(CgFailure, CompileAndPropagateSurviveEveryAllocationFailure) {
  orv_domain_t d = orv_net_parse_domain(kMedium.c_str(), nullptr, nullptr);
  ASSERT_NE(d, nullptr);
  orv_node_enter_value(orv_domain_get_node_by_name(d, "X3"), 1.25);
  orv_node_select_state(orv_domain_get_node_by_name(d, "D2"), 1);
  const auto compiled = test::expect_no_memory_sweep(
      "compile", [&] { return orv_domain_compile(d); },
      [&] {
        EXPECT_EQ(orv_domain_is_compiled(d), 0);
        EXPECT_EQ(orv_domain_get_first_clique(d), nullptr);
      });
  ASSERT_EQ(compiled.result, orv_error_none);
  const Observed expected = observe(d);
  EXPECT_EQ(orv_domain_cg_evidence_is_propagated(d), 1);

  orv_node_enter_value(orv_domain_get_node_by_name(d, "X3"), -0.5);
  ASSERT_EQ(orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  const Observed moved = observe(d);
  orv_node_enter_value(orv_domain_get_node_by_name(d, "X3"), 1.25);
  const auto propagated = test::expect_no_memory_sweep(
      "propagate", [&] { return orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal); },
      [&] {
        // Reset to the initial state, the entered evidence kept for the next try.
        EXPECT_EQ(orv_domain_is_compiled(d), 1);
        EXPECT_EQ(orv_domain_evidence_to_propagate(d), 1);
        EXPECT_EQ(orv_node_get_entered_value(orv_domain_get_node_by_name(d, "X3")), 1.25);
      });
  ASSERT_EQ(propagated.result, orv_error_none);
  const Observed again = observe(d);
  EXPECT_NE(moved.mean, again.mean);
  EXPECT_NEAR(again.mean, expected.mean, 1e-12);
  EXPECT_NEAR(again.variance, expected.variance, 1e-12);
  EXPECT_NEAR(again.belief, expected.belief, 1e-12);
  orv_domain_delete(d);
}

TEST(CgFailure, BadArgumentsGiveUsageAndTheFailureValue) {
  orv_domain_t d = orv_net_parse_domain(kMedium.c_str(), nullptr, nullptr);
  ASSERT_NE(d, nullptr);
  orv_node_t x = orv_domain_get_node_by_name(d, "X3"), dn = orv_domain_get_node_by_name(d, "D1");
  EXPECT_RESULT(orv_node_get_distribution(x), nullptr, orv_error_not_compiled);
  EXPECT_RESULT(orv_node_get_mean(x), -1.0, orv_error_not_compiled);
  ASSERT_EQ(orv_domain_compile(d), orv_error_none);
  const double mean = orv_node_get_mean(x);
  test::expect_usage_calls(
      {
          {"distribution of null", [] { return orv_node_get_distribution(nullptr) == nullptr; }},
          {"distribution of a discrete node", [&] { return orv_node_get_distribution(dn) == nullptr; }},
          {"mean of a discrete node", [&] { return orv_node_get_mean(dn) == -1.0; }},
          {"variance of null", [] { return orv_node_get_variance(nullptr) == -1.0; }},
          {"value of null", [] { return orv_node_enter_value(nullptr, 1.0) == orv_error_usage; }},
          {"value not a number", [&] { return orv_node_enter_value(x, std::nan("")) == orv_error_usage; }},
          {"infinite value", [&] { return orv_node_enter_value(x, HUGE_VAL) == orv_error_usage; }},
          {"information with itself", [&] { return orv_node_get_mutual_information(x, x) == -1.0; }},
          {"information with null", [&] { return orv_node_get_mutual_information(x, nullptr) == -1.0; }},
          {"entered value without evidence", [&] { return orv_node_get_entered_value(x) == -1.0; }},
      },
      [&] { return orv_node_get_mean(x) == mean; });
  orv_domain_delete(d);
}

TEST(CgFailure, ContinuousNodesAndDecisionsDoNotMix) {
  orv_domain_t d = orv_new_domain();
  ASSERT_NE(orv_domain_new_node(d, orv_category_chance, orv_kind_continuous), nullptr);
  EXPECT_EQ(orv_domain_new_node(d, orv_category_decision, orv_kind_discrete), nullptr);
  EXPECT_EQ(orv_error_code(), orv_error_cg_limids_not_supported);
  EXPECT_EQ(orv_domain_new_node(d, orv_category_utility, orv_kind_other), nullptr);
  EXPECT_EQ(orv_error_code(), orv_error_cg_limids_not_supported);
  orv_domain_delete(d);
}

}  // namespace
}  // namespace orv
