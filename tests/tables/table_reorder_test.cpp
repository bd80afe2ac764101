// Reordering a table's nodes: the same distribution in a new layout, the
// CG blocks and roles moved along, the owner's position rule, companion
// experience and fading tables, and failure paths.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "model/node.h"
#include "orvel.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "support/table_fixture.h"
#include "tables/table.h"

namespace orv {
namespace {

using test::add_node;
using test::entry;
using test::link;
using test::new_domain;
using test::set_state_count;
using test::snapshot;

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
  std::vector<std::vector<double>> blocks;  // per configuration, keyed by node pairs
  const orv_node_t cg[] = {x, y, z};
  for (size_t i = 0; i < old.size; ++i) {
    std::vector<double> b_;
    for (orv_node_t n1 : cg) {
      b_.push_back(cg_at(t, i, n1, n1, true));
      for (orv_node_t n2 : cg) b_.push_back(cg_at(t, i, n1, n2, false));
    }
    blocks.push_back(b_);
  }

  orv_node_t order[] = {c, a, b, z, x, y, nullptr};
  ASSERT_EQ(orv_table_reorder_nodes(t, order), orv_error_none);
  EXPECT_EQ(test::names_of(orv_table_get_nodes(t)), (std::vector<std::string>{"C", "A", "B", "Z", "X", "Y"}));
  EXPECT_EQ(t->roles[0], kRoleAbsent);
  EXPECT_EQ(t->roles[1], kRoleHead);
  EXPECT_EQ(t->roles[2], kRoleTail);
  for (size_t i = 0; i < before.size(); ++i) {
    EXPECT_EQ(entry(t, before[i]), old.data[i]);
    std::vector<size_t> config{before[i].at(c), before[i].at(a), before[i].at(b)};
    const size_t at = orv_table_get_index_from_configuration(t, config.data());
    std::vector<double> b_;
    for (orv_node_t n1 : cg) {
      b_.push_back(cg_at(t, at, n1, n1, true));
      for (orv_node_t n2 : cg) b_.push_back(cg_at(t, at, n1, n2, false));
    }
    EXPECT_EQ(b_, blocks[i]) << "configuration " << i;
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

// The joint P(A) P(B) P(C | A, B), keyed by state labels.
std::map<std::string, double> joint(orv_node_t a, orv_node_t b, orv_node_t c) {
  std::map<std::string, double> j;
  for (size_t sa = 0; sa < 3; ++sa)
    for (size_t sb = 0; sb < 2; ++sb)
      for (size_t sc = 0; sc < 2; ++sc) {
        const std::string key = std::string(orv_node_get_state_label(a, sa)) + orv_node_get_state_label(b, sb) +
                                orv_node_get_state_label(c, sc);
        j[key] = entry(orv_node_get_table(a), {{a, sa}}) * entry(orv_node_get_table(b), {{b, sb}}) *
                 entry(orv_node_get_table(c), {{a, sa}, {b, sb}, {c, sc}});
      }
  return j;
}

TEST(TableReorder, JointDistributionIsUnchangedByReorderingNodesAndStates) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B"), c = add_node(d.get(), "C");
  set_state_count(a, 3), set_state_count(b, 2), set_state_count(c, 2);
  const char *labels[] = {"a0", "a1", "a2", "b0", "b1", "c0", "c1"};
  for (size_t s = 0; s < 3; ++s) orv_node_set_state_label(a, s, labels[s]);
  for (size_t s = 0; s < 2; ++s) orv_node_set_state_label(b, s, labels[3 + s]), orv_node_set_state_label(c, s, labels[5 + s]);
  link(a, c), link(b, c);
  const double pa[] = {0.2, 0.3, 0.5}, pb[] = {0.6, 0.4};
  for (size_t s = 0; s < 3; ++s) orv_table_get_data(orv_node_get_table(a))[s] = pa[s];
  for (size_t s = 0; s < 2; ++s) orv_table_get_data(orv_node_get_table(b))[s] = pb[s];
  double *pc = orv_table_get_data(orv_node_get_table(c));
  for (size_t i = 0; i < 6; ++i) pc[2 * i] = 0.1 + 0.1 * i, pc[2 * i + 1] = 0.9 - 0.1 * i;
  const auto before = joint(a, b, c);

  orv_node_t order[] = {a, b, c, nullptr};  // C's table was (B, A, C)
  ASSERT_EQ(orv_table_reorder_nodes(orv_node_get_table(c), order), orv_error_none);
  const char *states[] = {"a2", "a0", "a1", nullptr};
  ASSERT_EQ(orv_node_reorder_states(a, states), orv_error_none);
  const char *flipped[] = {"c1", "c0", nullptr};
  ASSERT_EQ(orv_node_reorder_states(c, flipped), orv_error_none);
  EXPECT_EQ(joint(a, b, c), before);
  EXPECT_NE(orv_table_get_data(orv_node_get_table(a))[0], pa[0]);  // the layout did change
}

}  // namespace
}  // namespace orv
