// Argument checks of the state, attribute and user-data entry points: null
// and wrong-kind handles give the failure value with usage and change
// nothing, and the next good call reads 0.
#include <gtest/gtest.h>

#include "model/node.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"

namespace orv {
namespace {

constexpr size_t kNone = static_cast<size_t>(-1);

TEST(StatesContract, BadHandlesGiveUsageAndTheFailureValue) {
  auto d = test::new_domain();
  orv_node_t good = test::add_node(d.get(), "A");
  orv_table_t table = orv_node_get_table(good);
  const char *order[] = {"", nullptr};
  for (orv_node_t bad : {static_cast<orv_node_t>(nullptr), reinterpret_cast<orv_node_t>(table)}) {
    const auto bad_domain = reinterpret_cast<orv_domain_t>(bad);
    const auto bad_attribute = reinterpret_cast<orv_attribute_t>(bad);
    const std::vector<test::UsageCall> calls = {
        {"get_number_of_states", [&] { return orv_node_get_number_of_states(bad) == kNone; }},
        {"set_number_of_states", [&] { return orv_node_set_number_of_states(bad, 2) == orv_error_usage; }},
        {"get_state_label", [&] { return orv_node_get_state_label(bad, 0) == nullptr; }},
        {"set_state_label", [&] { return orv_node_set_state_label(bad, 0, "x") == orv_error_usage; }},
        {"index_from_label", [&] { return orv_node_get_state_index_from_label(bad, "x") == -1; }},
        {"set_state_value", [&] { return orv_node_set_state_value(bad, 0, 1.0) == orv_error_usage; }},
        {"get_state_value", [&] { return orv_node_get_state_value(bad, 0) == -1.0; }},
        {"index_from_value", [&] { return orv_node_get_state_index_from_value(bad, 1.0) == -1; }},
        {"reorder_states", [&] { return orv_node_reorder_states(bad, order) == orv_error_usage; }},
        {"set_attribute", [&] { return orv_node_set_attribute(bad, "k", "v") == orv_error_usage; }},
        {"get_attribute", [&] { return orv_node_get_attribute(bad, "k") == nullptr; }},
        {"first_attribute", [&] { return orv_node_get_first_attribute(bad) == nullptr; }},
        {"set_user_data", [&] { return orv_node_set_user_data(bad, nullptr) == orv_error_usage; }},
        {"get_user_data", [&] { return orv_node_get_user_data(bad) == nullptr; }},
        {"domain_set_attribute", [&] { return orv_domain_set_attribute(bad_domain, "k", "v") == orv_error_usage; }},
        {"domain_get_attribute", [&] { return orv_domain_get_attribute(bad_domain, "k") == nullptr; }},
        {"domain_first_attribute", [&] { return orv_domain_get_first_attribute(bad_domain) == nullptr; }},
        {"domain_set_user_data", [&] { return orv_domain_set_user_data(bad_domain, nullptr) == orv_error_usage; }},
        {"domain_get_user_data", [&] { return orv_domain_get_user_data(bad_domain) == nullptr; }},
        {"attribute_next", [&] { return orv_attribute_get_next(bad_attribute) == nullptr; }},
        {"attribute_key", [&] { return orv_attribute_get_key(bad_attribute) == nullptr; }},
        {"attribute_value", [&] { return orv_attribute_get_value(bad_attribute) == nullptr; }},
    };
    test::expect_usage_calls(calls, [&] { return orv_node_get_number_of_states(good) == 1u; });
  }
  EXPECT_EQ(orv_domain_get_first_attribute(d.get()), nullptr);
  EXPECT_EQ(orv_node_get_first_attribute(good), nullptr);
  EXPECT_EQ(orv_node_get_user_data(good), nullptr);
}

}  // namespace
}  // namespace orv
