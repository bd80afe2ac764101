// Domain-level queries (node counts per category, random deviates) and the
// node's table and type settings as a whole.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/contract_sweep.h"
#include "support/domain_fixture.h"

namespace orv {
namespace {

TEST(DomainQueries, CategoryCountsFollowCreationChangesAndDeletion) {
  auto d = test::new_domain();
  orv_node_t c1 = test::add_node(d.get(), "C1"), c2 = test::add_node(d.get(), "C2");
  test::add_node(d.get(), "D", orv_category_decision);
  orv_node_t u = test::add_node(d.get(), "U", orv_category_utility, orv_kind_other);
  orv_node_t f = test::add_node(d.get(), "F", orv_category_function, orv_kind_other);
  const auto counts = [&] {
    return std::vector<size_t>{orv_domain_get_number_of_chance_nodes(d.get()),
                               orv_domain_get_number_of_decision_nodes(d.get()),
                               orv_domain_get_number_of_utility_nodes(d.get()),
                               orv_domain_get_number_of_instance_nodes(d.get())};
  };
  EXPECT_EQ(counts(), (std::vector<size_t>{2, 1, 1, 0}));
  ASSERT_EQ(orv_node_set_category(c1, orv_category_decision), orv_error_none);
  ASSERT_EQ(orv_node_delete(u), orv_error_none);
  EXPECT_EQ(counts(), (std::vector<size_t>{1, 2, 0, 0}));

  // Tables: discrete and continuous nodes and utility nodes have one.
  EXPECT_EQ(orv_node_has_table(c2), 1);
  EXPECT_EQ(orv_node_has_table(f), 0);
  EXPECT_EQ(orv_node_has_table(test::add_node(d.get(), "U2", orv_category_utility, orv_kind_other)), 1);

  // Category and subtype together; a refusal of either changes neither.
  test::set_state_count(c2, 3);
  EXPECT_EQ(orv_node_set_discrete_type(c2, orv_category_decision, orv_subtype_boolean), orv_error_usage);
  EXPECT_EQ(orv_node_get_category(c2), orv_category_chance);
  EXPECT_EQ(orv_node_set_discrete_type(c2, orv_category_decision, orv_subtype_number), orv_error_none);
  EXPECT_EQ(orv_node_get_category(c2), orv_category_decision);
  EXPECT_EQ(orv_node_get_subtype(c2), orv_subtype_number);

  test::expect_usage_calls(
      {{"chance count of null", [] { return orv_domain_get_number_of_chance_nodes(nullptr) == SIZE_MAX; }},
       {"decision count of null", [] { return orv_domain_get_number_of_decision_nodes(nullptr) == SIZE_MAX; }},
       {"utility count of null", [] { return orv_domain_get_number_of_utility_nodes(nullptr) == SIZE_MAX; }},
       {"instance count of null", [] { return orv_domain_get_number_of_instance_nodes(nullptr) == SIZE_MAX; }},
       {"file name of null", [] { return orv_domain_get_file_name(nullptr) == nullptr; }},
       {"has table of null", [] { return orv_node_has_table(nullptr) == -1; }},
       {"type of null", [] { return orv_node_set_discrete_type(nullptr, orv_category_chance, orv_subtype_label) == 1; }},
       {"function node to chance",
        [&] { return orv_node_set_discrete_type(f, orv_category_chance, orv_subtype_label) == 1; }}},
      [&] { return orv_domain_get_number_of_decision_nodes(d.get()) == 3; });
}

TEST(DomainQueries, RandomDeviatesRepeatAfterReseeding) {
  auto d = test::new_domain();
  const auto draw = [&] {
    std::vector<double> values;
    for (int i = 0; i < 5; ++i) values.push_back(orv_domain_get_uniform_deviate(d.get()));
    values.push_back(orv_domain_get_normal_deviate(d.get(), 3.0, 4.0));
    return values;
  };
  ASSERT_EQ(orv_domain_seed_random(d.get(), 310952), orv_error_none);
  const std::vector<double> first = draw();
  EXPECT_NE(draw(), first);  // the sequence moves on
  ASSERT_EQ(orv_domain_seed_random(d.get(), 310952), orv_error_none);
  EXPECT_EQ(draw(), first);
  double sum = 0.0, squares = 0.0;
  const int n = 20000;
  for (int i = 0; i < n; ++i) {
    const double u = orv_domain_get_uniform_deviate(d.get());
    ASSERT_TRUE(u >= 0.0 && u < 1.0) << u;
    const double v = orv_domain_get_normal_deviate(d.get(), 3.0, 4.0);
    sum += v;
    squares += v * v;
  }
  EXPECT_NEAR(sum / n, 3.0, 0.05);
  EXPECT_NEAR(squares / n - (sum / n) * (sum / n), 4.0, 0.15);
  EXPECT_EQ(orv_domain_get_normal_deviate(d.get(), 3.0, 0.0), 3.0);
  test::expect_usage_calls(
      {{"seed null", [] { return orv_domain_seed_random(nullptr, 1) == orv_error_usage; }},
       {"uniform of null", [] { return orv_domain_get_uniform_deviate(nullptr) == -1.0; }},
       {"negative variance", [&] { return orv_domain_get_normal_deviate(d.get(), 0.0, -1.0) == -1.0; }}},
      [&] { return orv_domain_get_normal_deviate(d.get(), 1.0, 0.0) == 1.0; });
}

}  // namespace
}  // namespace orv
