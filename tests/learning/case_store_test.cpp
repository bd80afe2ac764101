// The case store: growth and shrink rules, counts, states and values, the
// argument checks, allocation failure while growing, entering a case, and
// how state changes and node cloning carry case data along.
#include <gtest/gtest.h>

#include <string>

#include "model/domain.h"
#include "model/node.h"
#include "orvel.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"

namespace orv {
namespace {

using namespace test;

// A domain with a discrete node A (given its states by each test) and a
// continuous node X.
struct CaseStore : ::testing::Test {
  DomainPtr d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), x = add_continuous(d.get(), "X");
};

TEST_F(CaseStore, GrowthAndShrinkRules) {
  set_state_count(a, 3);
  const auto resize = [&](size_t count, size_t capacity) {
    ASSERT_EQ(orv_domain_set_number_of_cases(d.get(), count), orv_error_none);
    EXPECT_EQ(d->case_capacity, capacity) << count;
  };
  resize(100, 100);
  orv_node_set_case_state(a, 99, 2);
  ASSERT_EQ(orv_domain_new_case(d.get()), 100u);
  EXPECT_EQ(d->case_capacity, 144u);  // 100 + 100/8 + 32
  EXPECT_EQ(orv_node_get_case_state(a, 99), 2);
  EXPECT_EQ(orv_node_get_case_state(a, 100), -1);

  resize(1000, 1000);
  for (size_t i = 0; i < 1000; ++i) orv_node_set_case_state(a, i, i % 3);
  resize(990, 1000);  // 10 < 1000/4 + 64: kept, the tail cleared
  resize(1000, 1000);
  EXPECT_EQ(orv_node_get_case_state(a, 989), 989 % 3);
  EXPECT_EQ(orv_node_get_case_state(a, 990), -1);
  resize(500, 500);
  EXPECT_EQ(orv_node_get_case_state(a, 499), 499 % 3);
  resize(0, 0);
  EXPECT_EQ(a->case_states, nullptr);
}

TEST_F(CaseStore, CountsStatesAndValues) {
  set_state_count(a, 40000);
  orv_domain_set_number_of_cases(d.get(), 3);
  EXPECT_EQ(orv_domain_set_case_count(d.get(), 1, 1.0), orv_error_none);
  EXPECT_EQ(d->case_counts, nullptr);  // a count of 1 needs no array
  EXPECT_EQ(orv_domain_set_case_count(d.get(), 1, 0.0), orv_error_none);
  EXPECT_EQ(orv_domain_get_case_count(d.get(), 0), 1.0);
  EXPECT_EQ(orv_domain_get_case_count(d.get(), 1), 0.0);
  EXPECT_EQ(orv_node_set_case_state(a, 0, 40000), orv_error_usage);
  EXPECT_EQ(orv_node_set_case_state(a, 0, 39999), orv_error_case_state_too_large);
  EXPECT_EQ(orv_node_set_case_state(a, 0, 32767), orv_error_none);
  EXPECT_EQ(orv_node_get_case_state(a, 0), 32767);
  EXPECT_EQ(orv_node_case_is_set(x, 2), 0);
  EXPECT_EQ(orv_node_set_case_value(x, 2, -2.5), orv_error_none);
  EXPECT_EQ(orv_node_get_case_value(x, 2), -2.5);
  EXPECT_EQ(orv_node_case_is_set(x, 2), 1);
  EXPECT_EQ(orv_node_unset_case(x, 2), orv_error_none);
  EXPECT_RESULT(orv_node_get_case_value(x, 2), -1.0, orv_error_no_value);
}

TEST_F(CaseStore, ArgumentChecks) {
  auto limid = test::new_domain();  // utility nodes do not mix with continuous ones
  orv_node_t utility = add_node(limid.get(), "U", orv_category_utility, orv_kind_other);
  orv_domain_set_number_of_cases(limid.get(), 2);
  set_state_count(a, 2);
  orv_domain_set_number_of_cases(d.get(), 2);
  const auto good = [&] { return orv_domain_get_number_of_cases(d.get()) == 2; };
  test::expect_usage_calls(
      {{"set number null", [] { return orv_domain_set_number_of_cases(nullptr, 1) == orv_error_usage; }},
       {"new case null", [] { return orv_domain_new_case(nullptr) == static_cast<size_t>(-1); }},
       {"number null", [] { return orv_domain_get_number_of_cases(nullptr) == static_cast<size_t>(-1); }},
       {"count range", [&] { return orv_domain_set_case_count(d.get(), 2, 1.0) == orv_error_usage; }},
       {"count negative", [&] { return orv_domain_set_case_count(d.get(), 0, -1.0) == orv_error_usage; }},
       {"get count range", [&] { return orv_domain_get_case_count(d.get(), 5) == -1.0; }},
       {"state range", [&] { return orv_node_set_case_state(a, 2, 0) == orv_error_usage; }},
       {"state on continuous", [&] { return orv_node_set_case_state(x, 0, 0) == orv_error_usage; }},
       {"state on utility", [&] { return orv_node_set_case_state(utility, 0, 0) == orv_error_usage; }},
       {"get state null", [] { return orv_node_get_case_state(nullptr, 0) == -1; }},
       {"value on discrete", [&] { return orv_node_set_case_value(a, 0, 1.0) == orv_error_usage; }},
       {"get value on discrete", [&] { return orv_node_get_case_value(a, 0) == -1.0; }},
       {"unset utility", [&] { return orv_node_unset_case(utility, 0) == orv_error_usage; }},
       {"is set range", [&] { return orv_node_case_is_set(a, 2) == -1; }},
       {"enter range", [&] { return orv_domain_enter_case(d.get(), 2) == orv_error_usage; }}},
      good);
}

TEST_F(CaseStore, GrowthFailureLeavesStoreUnchanged) {
  set_state_count(a, 2);
  orv_domain_set_number_of_cases(d.get(), 40);
  orv_node_set_case_state(a, 39, 1);
  orv_node_set_case_value(x, 39, 4.0);
  orv_domain_set_case_count(d.get(), 39, 3.0);
  test::expect_no_memory_sweep(
      "grow", [&] { return orv_domain_set_number_of_cases(d.get(), 500); },
      [&] {
        EXPECT_EQ(orv_domain_get_number_of_cases(d.get()), 40u);
        EXPECT_EQ(d->case_capacity, 40u);
        EXPECT_EQ(orv_node_get_case_state(a, 39), 1);
        EXPECT_EQ(orv_node_get_case_value(x, 39), 4.0);
        EXPECT_EQ(orv_domain_get_case_count(d.get(), 39), 3.0);
      });
  EXPECT_EQ(orv_domain_get_case_count(d.get(), 499), 1.0);
  EXPECT_EQ(orv_node_case_is_set(x, 499), 0);
}

TEST_F(CaseStore, EnterCaseAndStateChangesFollow) {
  orv_node_t b = add_node(d.get(), "B");
  set_state_count(a, 3);
  set_state_count(b, 2);
  for (size_t s = 0; s < 3; ++s) orv_node_set_state_label(a, s, std::string(1, static_cast<char>('p' + s)).c_str());
  orv_domain_set_number_of_cases(d.get(), 3);
  for (size_t i = 0; i < 3; ++i) orv_node_set_case_state(a, i, i);
  orv_node_set_case_state(b, 1, 1);
  orv_node_select_state(b, 0);
  ASSERT_EQ(orv_domain_enter_case(d.get(), 2), orv_error_none);
  EXPECT_EQ(orv_node_get_selected_state(a), 2);
  EXPECT_EQ(orv_node_get_selected_state(b), -1);  // missing: findings retracted

  orv_node_t copy = orv_node_clone(a);
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(orv_node_get_case_state(copy, 1), 1);
  const char *order[] = {"r", "p", "q", nullptr};
  ASSERT_EQ(orv_node_reorder_states(a, order), orv_error_none);
  EXPECT_EQ(orv_node_get_case_state(a, 0), 1);
  EXPECT_EQ(orv_node_get_case_state(a, 2), 0);
  ASSERT_EQ(orv_node_set_number_of_states(a, 2), orv_error_none);
  EXPECT_EQ(orv_node_get_case_state(a, 1), -1);  // state 2 no longer exists
  EXPECT_EQ(orv_node_get_case_state(a, 2), 0);
}

}  // namespace
}  // namespace orv
