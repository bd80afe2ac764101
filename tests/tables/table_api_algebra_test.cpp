// Public table data items and table algebra: results against the naive
// kernels, range and operand checks, failures that leave tables unchanged; and
// reordering a table's nodes (CG blocks and roles moved along, the owner's
// position rule, companion learning tables, failure paths).
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "model/node.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "support/table_fixture.h"
#include "tables/table.h"
#include "tables/table_oracle.h"

namespace orv {
namespace {

TEST(TableAlgebra, MatchesTheNaiveOperationsOnRandomShapes) {
  std::mt19937 random(2024);
  for (int round = 0; round < 60; ++round) {
    SCOPED_TRACE(round);
    auto d = test::new_domain();
    const test::RandomShape shape = test::random_shape(d.get(), random, 5);
    test::TablePtr larger(test::table_over(d.get(), shape.larger));
    test::TablePtr smaller(test::table_over(d.get(), shape.smaller));
    test::fill_random(larger.get(), random);
    test::fill_random(smaller.get(), random);
    const std::vector<long> map = test::naive_map(larger.get(), smaller.get(), false);
    const std::vector<double> big = test::data_of(larger.get()), small = test::data_of(smaller.get());

    ASSERT_EQ(orv_table_multiply(larger.get(), smaller.get()), orv_error_none);
    EXPECT_EQ(test::data_of(larger.get()), test::naive_combine(big, small, map, test::NaiveOp::multiply));
    ASSERT_EQ(orv_table_set_data(larger.get(), big.data(), 0, big.size()), orv_error_none);
    ASSERT_EQ(orv_table_divide(larger.get(), smaller.get()), orv_error_none);
    EXPECT_EQ(test::data_of(larger.get()), test::naive_combine(big, small, map, test::NaiveOp::divide));

    ASSERT_EQ(orv_table_set_data(larger.get(), big.data(), 0, big.size()), orv_error_none);
    const std::vector<double> sum = test::naive_sum(big, smaller->size, map);
    std::vector<orv_node_t> onto = shape.smaller;
    onto.push_back(nullptr);
    test::TablePtr marginal(orv_table_get_marginal(larger.get(), onto.data()));
    ASSERT_NE(marginal, nullptr);
    test::expect_all_near(test::data_of(marginal.get()), sum, 1e-9, "marginal");
    ASSERT_EQ(orv_table_update(smaller.get(), larger.get()), orv_error_none);
    test::expect_all_near(test::data_of(smaller.get()), sum, 1e-9, "update");
  }
}

TEST(TableAlgebra, DataItemsReadAndWriteWithinTheTable) {
  auto d = test::new_domain();
  orv_node_t a = test::node_with_states(d.get(), 2), b = test::node_with_states(d.get(), 3);
  test::TablePtr t(test::table_over(d.get(), {a, b}));
  ASSERT_EQ(orv_table_set_all_data_items(t.get(), 0.5), orv_error_none);
  ASSERT_EQ(orv_table_set_data_item(t.get(), 5, 2.0), orv_error_none);
  const double part[] = {7.0, 8.0};
  ASSERT_EQ(orv_table_set_data(t.get(), part, 3, 2), orv_error_none);
  EXPECT_EQ(orv_table_set_data(t.get(), part, 5, 0), orv_error_none);  // nothing to copy
  EXPECT_EQ(test::data_of(t.get()), (std::vector<double>{0.5, 0.5, 0.5, 7.0, 8.0, 2.0}));
  EXPECT_EQ(orv_table_get_data_item(t.get(), 4), 8.0);

  test::TablePtr utility(test::table_over(d.get(), {a}, orv_table_utility));
  orv_node_t cg = orv_domain_new_node(d.get(), orv_category_chance, orv_kind_continuous);
  test::TablePtr continuous(test::table_over(d.get(), {a, cg}));
  auto other = test::new_domain();
  test::TablePtr foreign(test::table_over(other.get(), {test::node_with_states(other.get(), 2)}));
  std::vector<orv_node_t> twice = {a, a, nullptr}, absent = {cg, nullptr};
  const std::vector<double> before = test::data_of(t.get());
  test::expect_usage_calls(
      {{"get item at size", [&] { return orv_table_get_data_item(t.get(), 6) == -1.0; }},
       {"set item at size", [&] { return orv_table_set_data_item(t.get(), 6, 1.0) == orv_error_usage; }},
       {"set data from size", [&] { return orv_table_set_data(t.get(), part, 6, 0) == orv_error_usage; }},
       {"set data past the end", [&] { return orv_table_set_data(t.get(), part, 5, 2) == orv_error_usage; }},
       {"set data from null", [&] { return orv_table_set_data(t.get(), nullptr, 0, 1) == orv_error_usage; }},
       {"set all on null", [&] { return orv_table_set_all_data_items(nullptr, 1.0) == orv_error_usage; }},
       {"multiply by a larger table", [&] { return orv_table_multiply(utility.get(), t.get()) == orv_error_usage; }},
       {"multiply across domains", [&] { return orv_table_multiply(t.get(), foreign.get()) == orv_error_usage; }},
       {"multiply a CG table", [&] { return orv_table_multiply(continuous.get(), utility.get()) == orv_error_usage; }},
       {"divide a utility table", [&] { return orv_table_divide(utility.get(), utility.get()) == orv_error_usage; }},
       {"marginal twice over a node", [&] { return orv_table_get_marginal(t.get(), twice.data()) == nullptr; }},
       {"marginal over an absent node", [&] { return orv_table_get_marginal(t.get(), absent.data()) == nullptr; }},
       {"update a utility table", [&] { return orv_table_update(utility.get(), t.get()) == orv_error_usage; }}},
      [&] { return orv_table_get_data_item(t.get(), 0) == 0.5; });
  EXPECT_EQ(test::data_of(t.get()), before);
}

TEST(TableAlgebra, FailedOperationsLeaveTheTablesAsTheyWere) {
  auto d = test::new_domain();
  orv_node_t a = test::node_with_states(d.get(), 2), b = test::node_with_states(d.get(), 3),
             c = test::node_with_states(d.get(), 2);
  test::TablePtr larger(test::table_over(d.get(), {a, b, c}));
  test::TablePtr smaller(test::table_over(d.get(), {c, a}));
  std::mt19937 random(5);
  test::fill_random(larger.get(), random, 0.0);
  test::fill_random(smaller.get(), random, 0.0);
  const std::vector<double> big = test::data_of(larger.get()), small = test::data_of(smaller.get());
  const auto unchanged = [&] {
    EXPECT_EQ(test::data_of(larger.get()), big);
    EXPECT_EQ(test::data_of(smaller.get()), small);
  };
  test::expect_no_memory_sweep("multiply", [&] { return orv_table_multiply(larger.get(), smaller.get()); },
                               unchanged);
  ASSERT_EQ(orv_table_set_data(larger.get(), big.data(), 0, big.size()), orv_error_none);
  test::expect_no_memory_sweep("update", [&] { return orv_table_update(smaller.get(), larger.get()); }, [&] {
    EXPECT_EQ(test::data_of(smaller.get()), small);
  });
  ASSERT_EQ(orv_table_set_data(smaller.get(), small.data(), 0, small.size()), orv_error_none);
  std::vector<orv_node_t> onto = {b, a, nullptr};
  const auto run = test::expect_no_memory_sweep(
      "marginal", [&] { return orv_table_get_marginal(larger.get(), onto.data()); }, unchanged);
  test::TablePtr marginal(run.result);
  EXPECT_EQ(orv_table_get_size(marginal.get()), 6u);
}

TEST(TableAlgebra, ConditionalGaussianParametersOfContinuousNodes) {
  auto d = test::new_domain();
  orv_node_t a = test::add_node(d.get(), "A");
  test::set_state_count(a, 2);
  orv_node_t x = test::add_continuous(d.get(), "X"), y = test::add_continuous(d.get(), "Y");
  ASSERT_EQ(orv_node_add_parent(y, a), orv_error_none);
  ASSERT_EQ(orv_node_add_parent(y, x), orv_error_none);
  ASSERT_EQ(orv_node_set_alpha(y, 1.5, 1), orv_error_none);
  ASSERT_EQ(orv_node_set_beta(y, -2.0, x, 1), orv_error_none);
  ASSERT_EQ(orv_node_set_gamma(y, 0.25, 1), orv_error_none);
  EXPECT_EQ(orv_node_get_alpha(y, 1), 1.5);
  EXPECT_EQ(orv_node_get_beta(y, x, 1), -2.0);
  EXPECT_EQ(orv_node_get_gamma(y, 1), 0.25);
  EXPECT_EQ(orv_node_get_gamma(y, 0), 1.0);  // a fresh block: variance 1, the rest 0
  // The writer shows the parameters in the node's distribution for A = 1.
  EXPECT_CONTAINS(test::take_text(orv_domain_to_net_string(d.get())), "normal ( 1.5 - 2 * X, 0.25 )");
  test::expect_usage_calls(
      {{"alpha of a discrete node", [&] { return orv_node_set_alpha(a, 1.0, 0) == orv_error_usage; }},
       {"alpha past the configurations", [&] { return orv_node_get_alpha(y, 2) == -1.0; }},
       {"beta of a discrete parent", [&] { return orv_node_set_beta(y, 1.0, a, 0) == orv_error_usage; }},
       {"beta of the node itself", [&] { return orv_node_get_beta(y, y, 0) == -1.0; }},
       {"beta of a non-parent", [&] { return orv_node_get_beta(x, y, 0) == -1.0; }},
       {"negative gamma", [&] { return orv_node_set_gamma(y, -1.0, 0) == orv_error_usage; }},
       {"gamma of null", [&] { return orv_node_get_gamma(nullptr, 0) == -1.0; }}},
      [&] { return orv_node_get_alpha(y, 1) == 1.5; });
}

using namespace test;

// Means and covariances of a CG block addressed by node, not by position.
double cg_at(orv_table_t t, size_t index, orv_node_t n1, orv_node_t n2, bool mean) {
  const size_t i = t->nodes.index_of(n1) - t->discrete_count, j = t->nodes.index_of(n2) - t->discrete_count;
  return t->cg_data[index * t->block_size + (mean ? cg_vector_index(i) : cg_matrix_index(i, j))];
}

TEST(TableReorder, KeepsEveryEntryAndCgBlockWithItsConfiguration) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B"), c = add_node(d.get(), "C");
  orv_node_t x = add_continuous(d.get(), "X"), y = add_continuous(d.get(), "Y"), z = add_continuous(d.get(), "Z");
  set_state_count(a, 2), set_state_count(b, 3), set_state_count(c, 4);
  orv_node_t nodes[] = {a, b, c, x, y, z, nullptr};
  orv_table_s *t = _orv_create_table(d.get(), nodes, orv_table_probability, 0, true, true);
  test::fill_distinct(t);
  t->roles[0] = kRoleHead, t->roles[1] = kRoleTail, t->roles[2] = kRoleAbsent;
  const auto before = test::configurations(t);
  const auto old = snapshot(t);
  const auto block = [&](size_t index) {  // keyed by node pairs
    std::vector<double> values;
    for (orv_node_t n1 : {x, y, z}) {
      values.push_back(cg_at(t, index, n1, n1, true));
      for (orv_node_t n2 : {x, y, z}) values.push_back(cg_at(t, index, n1, n2, false));
    }
    return values;
  };
  std::vector<std::vector<double>> blocks;
  for (size_t i = 0; i < old.size; ++i) blocks.push_back(block(i));

  orv_node_t order[] = {c, a, b, z, x, y, nullptr};
  ASSERT_EQ(orv_table_reorder_nodes(t, order), orv_error_none);
  EXPECT_EQ(test::names_of(orv_table_get_nodes(t)), (std::vector<std::string>{"C", "A", "B", "Z", "X", "Y"}));
  EXPECT_EQ(std::vector<int>(t->roles.begin(), t->roles.end()), (std::vector<int>{kRoleAbsent, kRoleHead, kRoleTail}));
  for (size_t i = 0; i < before.size(); ++i) {
    EXPECT_EQ(entry(t, before[i]), old.data[i]);
    std::vector<size_t> config{before[i].at(c), before[i].at(a), before[i].at(b)};
    EXPECT_EQ(block(orv_table_get_index_from_configuration(t, config.data())), blocks[i]) << "configuration " << i;
  }
  // And back: the original layout exactly.
  ASSERT_EQ(orv_table_reorder_nodes(t, nodes), orv_error_none);
  EXPECT_EQ(snapshot(t), old);
  _orv_free_table(t);
}

TEST(TableReorder, RefusesOrdersThatDoNotFitTheTable) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B"), c = add_node(d.get(), "C");
  orv_node_t x = test::add_continuous(d.get(), "X");
  set_state_count(a, 2), set_state_count(b, 3);
  link(a, c), link(b, c), link(a, x);
  orv_table_t tc = orv_node_get_table(c);  // B, A, C
  test::fill_distinct(tc);
  const auto old = snapshot(tc);
  const auto refused = [&](std::vector<orv_node_t> order) {
    order.push_back(nullptr);
    EXPECT_EQ(orv_table_reorder_nodes(tc, order.data()), orv_error_usage);
    EXPECT_EQ(snapshot(tc), old);
  };
  refused({a, b});           // too short
  refused({a, b, c, c});     // too long
  refused({a, a, c});        // a node twice
  refused({a, x, c});        // a node of another table
  refused({c, a, b});        // the owner must stay last among the discrete nodes
  EXPECT_EQ(orv_table_reorder_nodes(tc, nullptr), orv_error_usage);
  orv_node_t same[] = {b, a, c, nullptr};
  EXPECT_EQ(orv_table_reorder_nodes(tc, same), orv_error_none);
  orv_node_t swapped[] = {a, b, c, nullptr};
  EXPECT_EQ(orv_table_reorder_nodes(tc, swapped), orv_error_none);

  orv_table_t tx = orv_node_get_table(x);  // A | X: a continuous owner stays first continuous
  orv_node_t continuous_first[] = {x, a, nullptr};
  EXPECT_EQ(orv_table_reorder_nodes(tx, continuous_first), orv_error_usage);

  tc->structure = 1;  // compiled structure tables are fixed while chained
  EXPECT_EQ(orv_table_reorder_nodes(tc, same), orv_error_usage);
  tc->structure = 0;
}

TEST(TableReorder, ExperienceAndFadingTablesFollowTheNodeTable) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B"), c = add_node(d.get(), "C");
  set_state_count(a, 2), set_state_count(b, 3), set_state_count(c, 2);
  link(a, c), link(b, c);
  orv_table_t tc = orv_node_get_table(c);
  orv_node_t parents[] = {b, a, nullptr};
  c->experience = _orv_create_table(d.get(), parents, orv_table_experience, 0, true, true);
  c->fading = _orv_create_table(d.get(), parents, orv_table_fading, 0, true, true);
  c->experience->node = c->fading->node = c;
  for (orv_table_t t : {tc, c->experience, c->fading}) test::fill_distinct(t);
  const auto experience = test::configurations(c->experience);
  const auto old_experience = snapshot(c->experience), old_fading = snapshot(c->fading);

  orv_node_t order[] = {a, b, c, nullptr};
  const auto clean = test::expect_no_memory_sweep("reorder", [&] { return orv_table_reorder_nodes(tc, order); }, [&] {
    EXPECT_EQ(test::names_of(orv_table_get_nodes(tc)), (std::vector<std::string>{"B", "A", "C"}));
    EXPECT_EQ(snapshot(c->experience), old_experience);
    EXPECT_EQ(snapshot(c->fading), old_fading);
  });
  ASSERT_EQ(clean.result, orv_error_none);
  EXPECT_EQ(test::names_of(orv_table_get_nodes(c->experience)), (std::vector<std::string>{"A", "B"}));
  EXPECT_EQ(test::names_of(orv_table_get_nodes(c->fading)), (std::vector<std::string>{"A", "B"}));
  for (size_t i = 0; i < experience.size(); ++i) {
    EXPECT_EQ(entry(c->experience, experience[i]), old_experience.data[i]);
    EXPECT_EQ(entry(c->fading, experience[i]), old_fading.data[i]);
  }
}

}  // namespace
}  // namespace orv
