#include "support/reference_checks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace orv::test {

double reference_tolerance(double value) { return 1e-9 * std::max(1.0, std::fabs(value)); }

void expect_reference_marginals(orv_domain_t d, const Json &marginals, const std::string &what) {
  for (const auto &[name, values] : marginals.members) {
    orv_node_t n = orv_domain_get_node_by_name(d, name.c_str());
    ASSERT_NE(n, nullptr) << what << " " << name;
    if (values.kind == Json::Kind::object) {
      const double mean = values["mean"].number, variance = values["variance"].number;
      EXPECT_NEAR(orv_node_get_mean(n), mean, reference_tolerance(mean)) << what << " mean of " << name;
      EXPECT_NEAR(orv_node_get_variance(n), variance, reference_tolerance(variance)) << what << " variance of " << name;
      continue;
    }
    ASSERT_EQ(orv_node_get_number_of_states(n), values.items.size()) << what << " " << name;
    for (std::size_t s = 0; s < values.items.size(); ++s)
      EXPECT_NEAR(orv_node_get_belief(n, s), values.items[s].number, 1e-9) << what << " " << name << " state " << s;
  }
}

void enter_reference_evidence(orv_domain_t d, const Json &evidence, const std::string &what) {
  for (const auto &[node, value] : evidence.members) {
    orv_node_t n = orv_domain_get_node_by_name(d, node.c_str());
    ASSERT_NE(n, nullptr) << what << " " << node;
    if (value.kind == Json::Kind::number) {
      ASSERT_EQ(orv_node_enter_value(n, value.number), orv_error_none) << what << " " << node;
      continue;
    }
    const long state = orv_node_get_state_index_from_label(n, value.text.c_str());
    ASSERT_GE(state, 0) << what << " " << node << " = " << value.text;
    ASSERT_EQ(orv_node_select_state(n, static_cast<size_t>(state)), orv_error_none) << what << " " << node;
  }
}

}  // namespace orv::test
