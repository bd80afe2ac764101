// Argument checks of every table entry point: null and wrong-kind handles
// give the failure value with usage, and the next good call reads 0.
#include <gtest/gtest.h>

#include "model/node.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "tables/table.h"

namespace orv {
namespace {

constexpr size_t kNone = static_cast<size_t>(-1);

TEST(TableContract, BadHandlesGiveUsageAndTheFailureValue) {
  auto d = test::new_domain();
  orv_node_t a = test::add_node(d.get(), "A");
  orv_table_t good = orv_node_get_table(a);
  ASSERT_NE(good, nullptr);
  size_t config[1] = {0};
  // A node handle where a table is expected is caught by the record tag.
  for (orv_table_t bad : {static_cast<orv_table_t>(nullptr), reinterpret_cast<orv_table_t>(a)}) {
    const std::vector<test::UsageCall> calls = {
        {"get_nodes", [&] { return orv_table_get_nodes(bad) == nullptr; }},
        {"get_data", [&] { return orv_table_get_data(bad) == nullptr; }},
        {"get_size", [&] { return orv_table_get_size(bad) == kNone; }},
        {"get_cg_size", [&] { return orv_table_get_cg_size(bad) == kNone; }},
        {"index", [&] { return orv_table_get_index_from_configuration(bad, config) == kNone; }},
        {"configuration", [&] { return orv_table_get_configuration_from_index(bad, config, 0) == orv_error_usage; }},
        {"mean", [&] { return orv_table_get_mean(bad, 0, a) == -1.0; }},
        {"covariance", [&] { return orv_table_get_covariance(bad, 0, a, a) == -1.0; }},
        {"variance", [&] { return orv_table_get_variance(bad, 0, a) == -1.0; }},
        {"vector_index", [&] { return orv_cg_vector_index(bad, 0) == kNone; }},
        {"matrix_index", [&] { return orv_cg_matrix_index(bad, 0, 0) == kNone; }},
        {"tail_count", [&] { return orv_cg_tail_count(bad) == kNone; }},
        {"reorder", [&] { return orv_table_reorder_nodes(bad, good->nodes.c_list()) == orv_error_usage; }},
        {"delete", [&] { return orv_table_delete(bad) == orv_error_usage; }},
        {"set_user_data", [&] { return orv_table_set_user_data(bad, nullptr) == orv_error_usage; }},
        {"get_user_data", [&] { return orv_table_get_user_data(bad) == nullptr; }},
    };
    test::expect_usage_calls(calls, [&] { return orv_table_get_size(good) == 1u; });
  }
  EXPECT_RESULT(orv_node_get_table(reinterpret_cast<orv_node_t>(good)), nullptr, orv_error_usage);
}

}  // namespace
}  // namespace orv
