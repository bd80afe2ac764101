// Domain copies: the copy is independent of the original and gives the same
// text, structure, evidence and beliefs; a failed copy changes nothing.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "orvel.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "support/inference_checks.h"

namespace orv {
namespace {

using test::DomainPtr;

std::string net_text(orv_domain_t d) { return test::take_text(orv_domain_to_net_string(d)); }

// What a user can observe of a domain's inference state: the elimination
// order by name; whether compiled and triangulated, then per node its
// selected state and, when compiled, its propagated evidence and beliefs;
// last log P(e).
struct Observed {
  std::vector<std::string> elimination_order;
  std::vector<double> numbers;
};

Observed observe(orv_domain_t d) {
  Observed o;
  const int compiled = orv_domain_is_compiled(d), triangulated = orv_domain_is_triangulated(d);
  o.numbers = {static_cast<double>(compiled), static_cast<double>(triangulated)};
  if (triangulated == 1) o.elimination_order = test::names_of(orv_domain_get_elimination_order(d));
  for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n)) {
    o.numbers.push_back(static_cast<double>(orv_node_get_selected_state(n)));
    if (compiled != 1) continue;
    o.numbers.push_back(static_cast<double>(orv_node_get_propagated_state(n)));
    o.numbers.push_back(orv_node_evidence_to_propagate(n));
    for (size_t s = 0; s < orv_node_get_number_of_states(n); ++s) o.numbers.push_back(orv_node_get_belief(n, s));
  }
  if (compiled == 1) o.numbers.push_back(orv_domain_get_log_normalization_constant(d));
  return o;
}

void expect_same(const Observed &a, const Observed &b, const std::string &what) {
  EXPECT_EQ(a.elimination_order, b.elimination_order) << what;
  test::expect_all_near(a.numbers, b.numbers, 1e-12, what);
}

// Propagated hard evidence and a likelihood, one more finding left unpropagated.
void enter_evidence(orv_domain_t d) {
  std::vector<orv_node_t> nodes;
  for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n)) nodes.push_back(n);
  ASSERT_GE(nodes.size(), 3u);
  ASSERT_EQ(orv_node_select_state(nodes[0], 0), orv_error_none);
  ASSERT_EQ(orv_node_enter_finding(nodes[1], 0, 0.25), orv_error_none);
  ASSERT_EQ(orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  ASSERT_EQ(orv_node_select_state(nodes[2], 0), orv_error_none);
}

TEST(DomainClone, CopiesOfCompiledNetworksAgreeAndStayIndependent) {
  for (const char *name : {"asia", "alarm", "child", "insurance", "hepar2"}) {
    SCOPED_TRACE(name);
    DomainPtr d = test::load_network(name);
    ASSERT_NE(d, nullptr);
    ASSERT_EQ(orv_domain_compile(d.get()), orv_error_none);
    enter_evidence(d.get());
    DomainPtr copy(orv_domain_clone(d.get()));
    ASSERT_NE(copy, nullptr) << orv_error_name(orv_error_code());
    EXPECT_EQ(orv_error_code(), orv_error_none);
    EXPECT_STREQ(orv_domain_get_file_name(copy.get()), orv_domain_get_file_name(d.get()));
    expect_same(observe(copy.get()), observe(d.get()), "copy");
    EXPECT_EQ(net_text(copy.get()), net_text(d.get()));

    // Propagating both, and then the copy alone after the original is gone.
    ASSERT_EQ(orv_domain_propagate(d.get(), orv_equilibrium_sum, orv_mode_normal), orv_error_none);
    const Observed expected = observe(d.get());
    d.reset();
    ASSERT_EQ(orv_domain_propagate(copy.get(), orv_equilibrium_sum, orv_mode_normal), orv_error_none);
    expect_same(observe(copy.get()), expected, "after propagating");
  }
}

TEST(DomainClone, FollowsTheOriginalsStateEquilibriumAndContents) {
  // Settings, attributes, models, learning tables and a chain block.
  DomainPtr d(orv_net_parse_domain(
      "net { }\n"
      "node A { states = (\"a\" \"b\"); position = (10 20); }\n"
      "node B { states = (\"x\" \"y\" \"z\"); }\n"
      "node C { states = (\"lo\" \"hi\"); subtype = interval; state_values = (0 1 2); }\n"
      "node D { states = (\"u\" \"v\"); }\n"
      "node E { states = (\"u\" \"v\"); }\n"
      "potential (A) { data = (0.1234567891 0.9); experience = (4); fading = (0.9); }\n"
      "potential (B | A) { model_nodes = (A); samples_per_interval = 7;"
      " model_data = (Distribution (1, 2, 3), ); experience = (1 -1); }\n"
      "potential (C | A) { model_nodes = (); model_data = (Normal (-2^2, 1)); data = ((1 0) (0 1)); }\n"
      "potential (D E | C) { data = (((1 2) (3 4)) ((5 6) (7 8))); }\n",
      nullptr, nullptr));
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(orv_domain_set_attribute(d.get(), "key", "value"), orv_error_none);
  ASSERT_EQ(orv_domain_set_concurrency_level(d.get(), 3), orv_error_none);
  ASSERT_EQ(orv_domain_set_node_size(d.get(), 80, 40), orv_error_none);
  DomainPtr copy(orv_domain_clone(d.get()));
  ASSERT_NE(copy, nullptr) << orv_error_name(orv_error_code());
  const std::string text = net_text(d.get());
  EXPECT_EQ(net_text(copy.get()), text);
  EXPECT_EQ(test::chain_names(copy.get()), test::chain_names(d.get()));
  EXPECT_EQ(orv_domain_get_concurrency_level(copy.get()), 3u);
  EXPECT_EQ(orv_domain_is_triangulated(copy.get()), 0);

  // Changing the copy leaves the original alone.
  orv_node_t a = orv_domain_get_node_by_name(copy.get(), "A");
  ASSERT_EQ(orv_node_delete(orv_domain_get_node_by_name(copy.get(), "B")), orv_error_none);
  ASSERT_EQ(orv_table_set_data_item(orv_node_get_table(a), 0, 0.5), orv_error_none);
  EXPECT_EQ(net_text(d.get()), text);

  // Triangulated but not compiled; then compiled, max-propagated in fast
  // retraction mode: the copy follows each state.
  DomainPtr asia = test::load_network("asia");
  ASSERT_EQ(orv_domain_triangulate(asia.get(), orv_tm_fill_in_weight), orv_error_none);
  ASSERT_EQ(orv_node_select_state(orv_domain_get_first_node(asia.get()), 1), orv_error_none);
  DomainPtr triangulated(orv_domain_clone(asia.get()));
  ASSERT_NE(triangulated, nullptr);
  expect_same(observe(triangulated.get()), observe(asia.get()), "triangulated");
  ASSERT_EQ(orv_domain_compile(asia.get()), orv_error_none);
  ASSERT_EQ(orv_domain_propagate(asia.get(), orv_equilibrium_max, orv_mode_fast_retraction), orv_error_none);
  DomainPtr maximal(orv_domain_clone(asia.get()));
  ASSERT_NE(maximal, nullptr);
  EXPECT_EQ(orv_domain_equilibrium_is(maximal.get(), orv_equilibrium_max), 1);
  EXPECT_EQ(orv_domain_evidence_mode_is(maximal.get(), orv_mode_fast_retraction), 1);
  expect_same(observe(maximal.get()), observe(asia.get()), "max equilibrium");

  EXPECT_RESULT(orv_domain_clone(nullptr), nullptr, orv_error_usage);
}

TEST(DomainClone, FailedCopiesLeakNothingAndChangeNothing) {
  DomainPtr d = test::load_network("asia");
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(orv_domain_compile(d.get()), orv_error_none);
  enter_evidence(d.get());
  const Observed before = observe(d.get());
  const std::string text = net_text(d.get());
  const auto run = test::expect_no_memory_sweep(
      "clone", [&] { return orv_domain_clone(d.get()); },
      [&] {
        expect_same(observe(d.get()), before, "original");
        EXPECT_EQ(net_text(d.get()), text);
      });
  DomainPtr copy(run.result);
  ASSERT_NE(copy, nullptr);
  expect_same(observe(copy.get()), before, "copy");
}

}  // namespace
}  // namespace orv
