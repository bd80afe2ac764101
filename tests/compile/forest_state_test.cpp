// The triangulation state seen from the API: triangulated versus compiled,
// uncompiling, the conflict clique of a node, user data on cliques and trees,
// and the stored initial triangulation.
#include <gtest/gtest.h>

#include <vector>

#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/network_fixture.h"

namespace orv {
namespace {

bool holds(orv_clique_t clique, orv_node_t node) {
  for (orv_node_t *m = orv_clique_get_members(clique); *m; ++m)
    if (*m == node) return true;
  return false;
}

TEST(ForestState, UncompilingDropsTheForestAndKeepsEvidence) {
  auto d = test::new_domain();
  orv_node_t a = test::variable(d.get(), "A", 2), b = test::variable(d.get(), "B", 3),
             c = test::variable(d.get(), "C", 2);
  test::family(a, {}, {0.3, 0.7});
  test::family(b, {a}, {0.2, 0.3, 0.5, 0.6, 0.3, 0.1});
  test::family(c, {b}, {0.9, 0.1, 0.4, 0.6, 0.5, 0.5});
  orv_node_t u = orv_domain_new_node(d.get(), orv_category_utility, orv_kind_other);
  EXPECT_EQ(orv_domain_is_triangulated(d.get()), 0);
  EXPECT_RESULT(orv_node_get_conflict_clique(b), nullptr, orv_error_not_compiled);

  ASSERT_EQ(orv_domain_triangulate(d.get(), orv_tm_clique_size), orv_error_none);
  EXPECT_EQ(orv_domain_is_triangulated(d.get()), 1);
  EXPECT_EQ(orv_domain_is_compiled(d.get()), 0);
  // Each node's conflict clique holds its family.
  for (orv_node_t n : {a, b, c}) {
    orv_clique_t clique = orv_node_get_conflict_clique(n);
    ASSERT_NE(clique, nullptr);
    for (orv_node_t *p = orv_node_get_parents(n); *p; ++p) EXPECT_TRUE(holds(clique, *p));
    EXPECT_TRUE(holds(clique, n));
    EXPECT_EQ(orv_clique_get_junction_tree(clique), orv_node_get_junction_tree(n));
  }
  int marker = 0;
  orv_clique_t clique = orv_node_get_conflict_clique(c);
  orv_junction_tree_t tree = orv_node_get_junction_tree(c);
  EXPECT_EQ(orv_clique_get_user_data(clique), nullptr);
  ASSERT_EQ(orv_clique_set_user_data(clique, &marker), orv_error_none);
  ASSERT_EQ(orv_jt_set_user_data(tree, &marker), orv_error_none);
  ASSERT_EQ(orv_domain_compile(d.get()), orv_error_none);
  EXPECT_EQ(orv_clique_get_user_data(clique), &marker);
  EXPECT_EQ(orv_jt_get_user_data(tree), &marker);

  ASSERT_EQ(orv_node_select_state(b, 2), orv_error_none);
  ASSERT_EQ(orv_domain_uncompile(d.get()), orv_error_none);
  EXPECT_EQ(orv_domain_is_triangulated(d.get()), 0);
  EXPECT_EQ(orv_domain_is_compiled(d.get()), 0);
  EXPECT_EQ(orv_node_get_selected_state(b), 2);
  EXPECT_EQ(orv_domain_uncompile(d.get()), orv_error_none);  // nothing to drop
  ASSERT_EQ(orv_domain_compile(d.get()), orv_error_none);
  EXPECT_DOUBLE_EQ(orv_node_get_belief(a, 0), 0.3 * 0.5 / (0.3 * 0.5 + 0.7 * 0.1));
  // A table written through the API is reloaded by the next propagation.
  const double prior[] = {0.6, 0.4};
  ASSERT_EQ(orv_table_set_data(orv_node_get_table(a), prior, 0, 2), orv_error_none);
  EXPECT_EQ(orv_domain_tables_to_propagate(d.get()), 1);
  ASSERT_EQ(orv_domain_propagate(d.get(), orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  EXPECT_DOUBLE_EQ(orv_node_get_belief(a, 0), 0.6 * 0.5 / (0.6 * 0.5 + 0.4 * 0.1));

  test::expect_usage_calls(
      {{"triangulated null", [] { return orv_domain_is_triangulated(nullptr) == -1; }},
       {"uncompile null", [] { return orv_domain_uncompile(nullptr) == orv_error_usage; }},
       {"conflict clique of null", [] { return orv_node_get_conflict_clique(nullptr) == nullptr; }},
       {"conflict clique of a utility", [&] { return orv_node_get_conflict_clique(u) == nullptr; }},
       {"clique data of null", [] { return orv_clique_set_user_data(nullptr, nullptr) == orv_error_usage; }},
       {"clique data from null", [] { return orv_clique_get_user_data(nullptr) == nullptr; }},
       {"tree data of null", [] { return orv_jt_set_user_data(nullptr, nullptr) == orv_error_usage; }},
       {"tree data from null", [] { return orv_jt_get_user_data(nullptr) == nullptr; }}},
      [&] { return orv_domain_is_triangulated(d.get()) == 1; });
}

TEST(ForestState, InitialTriangulationKeepsOnlyLivingNodes) {
  auto d = test::new_domain();
  orv_node_t a = test::variable(d.get(), "A", 2), b = test::variable(d.get(), "B", 2);
  orv_node_t u = orv_domain_new_node(d.get(), orv_category_utility, orv_kind_other);
  auto other = test::new_domain();
  orv_node_t foreign = test::variable(other.get(), "F", 2);
  std::vector<orv_node_t> order = {b, a, nullptr}, twice = {a, a, nullptr}, utility = {u, nullptr},
                          alien = {foreign, nullptr};
  test::expect_usage_calls(
      {{"null domain", [&] { return orv_domain_set_initial_triangulation(nullptr, order.data()) == 1; }},
       {"a node twice", [&] { return orv_domain_set_initial_triangulation(d.get(), twice.data()) == 1; }},
       {"a utility node", [&] { return orv_domain_set_initial_triangulation(d.get(), utility.data()) == 1; }},
       {"another domain's node",
        [&] { return orv_domain_set_initial_triangulation(d.get(), alien.data()) == 1; }}},
      [&] { return orv_domain_set_initial_triangulation(d.get(), order.data()) == orv_error_none; });
  // A deleted node leaves the list (a copy of the domain maps every entry).
  ASSERT_EQ(orv_node_delete(a), orv_error_none);
  test::DomainPtr copy(orv_domain_clone(d.get()));
  EXPECT_NE(copy, nullptr);
  EXPECT_EQ(orv_domain_set_initial_triangulation(d.get(), nullptr), orv_error_none);
}

}  // namespace
}  // namespace orv
