// Reordering a table's nodes: the same distribution in a new layout, the
// CG blocks and roles moved along, the owner's position rule, companion
// experience and fading tables, and failure paths.
#include <gtest/gtest.h>

#include "model/node.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "support/table_fixture.h"
#include "tables/table.h"

namespace orv {
namespace {

using namespace test;

// Means and covariances of a CG block addressed by node, not by position.
double cg_at(orv_table_t t, size_t index, orv_node_t n1, orv_node_t n2, bool mean) {
  const size_t i = t->nodes.index_of(n1) - t->discrete_count, j = t->nodes.index_of(n2) - t->discrete_count;
  return t->cg_data[index * t->block_size + (mean ? cg_vector_index(i) : cg_matrix_index(i, j))];
}

TEST(TableReorder, KeepsEveryEntryAndCgBlockWithItsConfiguration) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B"), c = add_node(d.get(), "C");
  orv_node_t x = test::add_continuous(d.get(), "X");
  orv_node_t y = test::add_continuous(d.get(), "Y");
  orv_node_t z = test::add_continuous(d.get(), "Z");
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
  EXPECT_EQ(t->roles[0], kRoleAbsent);
  EXPECT_EQ(t->roles[1], kRoleHead);
  EXPECT_EQ(t->roles[2], kRoleTail);
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
