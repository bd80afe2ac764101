// Every benchmark and CG network parses, writes, and parses back to the same domain;
// writing that domain again gives the identical text.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/net_compare.h"

namespace orv {
namespace {

// The first line where two texts differ, for short failure output.
std::string first_difference(const std::string &a, const std::string &b) {
  std::size_t i = 0;
  while (i < a.size() && i < b.size() && a[i] == b[i]) ++i;
  const std::size_t start = a.rfind('\n', i) == std::string::npos ? 0 : a.rfind('\n', i) + 1;
  return "at " + std::to_string(i) + ": [" + a.substr(start, 80) + "] vs [" + b.substr(start, 80) + "]";
}

std::vector<std::string> network_files() {
  std::vector<std::string> files;
  for (const auto &entry : std::filesystem::recursive_directory_iterator(ORVEL_DATA_DIR "/networks"))
    if (entry.path().extension() == ".net") files.push_back(entry.path().string());
  std::sort(files.begin(), files.end());
  return files;
}

TEST(NetRoundTrip, EveryBenchmarkNetworkIsAFixedPoint) {
  const std::vector<std::string> files = network_files();
  ASSERT_GE(files.size(), 21u);
  for (const std::string &file : files) {
    test::Messages messages;
    orv_domain_t first = orv_net_parse_domain(file.c_str(), test::Messages::handler, &messages);
    ASSERT_NE(first, nullptr) << file << ": " << messages.first();
    EXPECT_EQ(messages.items.size(), 0u) << file << ": " << messages.first();
    const std::string text = test::take_text(orv_domain_to_net_string(first));
    orv_domain_t second = orv_net_parse_domain(text.c_str(), test::Messages::handler, &messages);
    ASSERT_NE(second, nullptr) << file << ": " << messages.first();
    const std::string a = test::describe_domain(first, 6), b = test::describe_domain(second, 6);
    EXPECT_TRUE(a == b) << file << " " << first_difference(a, b);
    const std::string again = test::take_text(orv_domain_to_net_string(second));
    EXPECT_TRUE(text == again) << file << " " << first_difference(text, again);
    orv_domain_delete(first);
    orv_domain_delete(second);
  }
}

// A domain built through the API (unnamed nodes, tables from the node table
// accessor) writes text that reads back to the same domain.
TEST(NetRoundTrip, ApiBuiltDomainReadsBack) {
  orv_domain_t d = orv_new_domain();
  orv_node_t a = orv_domain_new_node(d, orv_category_chance, orv_kind_discrete);
  orv_node_t b = orv_domain_new_node(d, orv_category_decision, orv_kind_discrete);
  orv_node_t u = orv_domain_new_node(d, orv_category_utility, orv_kind_other);
  ASSERT_EQ(orv_node_set_number_of_states(a, 3), 0);
  ASSERT_EQ(orv_node_set_state_label(a, 1, "mid \"q\""), 0);
  ASSERT_EQ(orv_node_add_parent(b, a), 0);
  ASSERT_EQ(orv_node_add_parent(u, a), 0);
  ASSERT_EQ(orv_node_add_parent(u, b), 0);
  ASSERT_EQ(orv_node_set_attribute(u, "unit", "EUR"), 0);
  ASSERT_EQ(orv_domain_set_attribute(d, "author", "tests"), 0);
  double *utility = orv_table_get_data(orv_node_get_table(u));
  ASSERT_NE(utility, nullptr);
  for (int i = 0; i < 3; ++i) utility[i] = -2.5 * i;
  const std::string text = test::take_text(orv_domain_to_net_string(d));
  EXPECT_CONTAINS(text, "\nutility U3\n{\n    unit = \"EUR\";\n}\n");
  EXPECT_CONTAINS(text, "potential (U3 | D2 C1)");
  test::Messages messages;
  orv_domain_t back = orv_net_parse_domain(text.c_str(), test::Messages::handler, &messages);
  ASSERT_NE(back, nullptr) << messages.first();
  EXPECT_EQ(test::take_text(orv_domain_to_net_string(back)), text);
  EXPECT_EQ(orv_table_get_data(orv_node_get_table(orv_domain_get_node_by_name(back, "U3")))[2], -5.0);
  orv_domain_delete(back);
  orv_domain_delete(d);
}

}  // namespace
}  // namespace orv
