// Junction forest construction from given cliques: search order, links and
// separators, trees, strong roots, potential assignment, the log, the refusal
// of malformed cliques; and the state seen from the API: triangulated versus
// compiled, uncompiling, conflict cliques, user data, the initial triangulation.
#include <gtest/gtest.h>

#include <vector>

#include "compile/junction_forest.h"
#include "compile/network_builder.h"
#include "model/node.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/network_fixture.h"

namespace orv {
namespace {

using namespace test;
using Names = std::vector<std::string>;

TEST(JunctionForest, ChainGivesOneTreeWithSeparator) {
  auto d = new_domain();
  orv_node_t a = variable(d.get(), "A", 2), b = variable(d.get(), "B", 3), c = variable(d.get(), "C", 2);
  family(a, {}, {});
  family(b, {a}, {});
  family(c, {b}, {});
  // Before the forest: bad handles give usage, a node has no tree yet.
  const auto bad_clique = reinterpret_cast<orv_clique_t>(a);
  const auto bad_tree = reinterpret_cast<orv_junction_tree_t>(a);
  EXPECT_RESULT(orv_domain_get_first_clique(nullptr), nullptr, orv_error_usage);
  EXPECT_RESULT(orv_clique_get_next(bad_clique), nullptr, orv_error_usage);
  EXPECT_EQ(orv_domain_get_number_of_cliques(nullptr), static_cast<size_t>(-1));
  EXPECT_EQ(orv_clique_get_members(nullptr), nullptr);
  EXPECT_EQ(orv_clique_get_number_of_neighbors(bad_clique), static_cast<size_t>(-1));
  EXPECT_EQ(orv_jt_get_root(bad_tree), nullptr);
  EXPECT_EQ(orv_jt_get_cliques(nullptr), nullptr);
  EXPECT_RESULT(orv_jt_get_total_size(bad_tree), static_cast<size_t>(-1), orv_error_usage);
  EXPECT_RESULT(orv_node_get_junction_tree(a), nullptr, orv_error_not_compiled);
  EXPECT_RESULT(orv_domain_get_number_of_cliques(d.get()), 0u, orv_error_none);
  const std::string text =
      test::capture_log(d.get(), [&] { ASSERT_EQ(build_forest(d.get(), {{a, b}, {b, c}}), orv_error_none); });

  EXPECT_EQ(orv_domain_get_number_of_cliques(d.get()), 2u);
  std::vector<orv_clique_t> cliques;
  for (orv_clique_t c = orv_domain_get_first_clique(d.get()); c; c = orv_clique_get_next(c)) cliques.push_back(c);
  ASSERT_EQ(cliques.size(), 2u);
  orv_clique_t ab = cliques[0], bc = cliques[1];  // newest first: the root was created last
  EXPECT_EQ(ab->number, 2u);
  EXPECT_EQ(names_of(orv_clique_get_members(ab)), (Names{"B", "A"}));  // by search number
  EXPECT_EQ(names_of(orv_clique_get_members(bc)), (Names{"B", "C"}));
  EXPECT_EQ(orv_clique_get_number_of_members(bc), 2u);
  EXPECT_EQ(orv_clique_get_number_of_neighbors(ab), 1u);
  EXPECT_EQ(orv_clique_get_neighbors(ab)[0], bc);
  EXPECT_EQ(orv_clique_get_neighbors(ab)[1], nullptr);

  orv_junction_tree_t tree = orv_domain_get_first_junction_tree(d.get());
  ASSERT_NE(tree, nullptr);
  EXPECT_EQ(orv_jt_get_next(tree), nullptr);
  EXPECT_EQ(orv_jt_get_root(tree), ab);
  EXPECT_EQ(orv_clique_get_junction_tree(bc), tree);
  EXPECT_EQ(orv_jt_get_cliques(tree)[0], ab);
  EXPECT_EQ(orv_jt_get_cliques(tree)[2], nullptr);
  for (orv_node_t n : {a, b, c}) EXPECT_EQ(orv_node_get_junction_tree(n), tree);
  EXPECT_EQ(orv_jt_get_total_size(tree), 6u + 6u + 3u);
  EXPECT_EQ(orv_jt_get_total_cg_size(tree), 0u);
  EXPECT_EQ((std::vector<orv_clique_t>{a->assigned_clique, b->assigned_clique, c->assigned_clique}),
            (std::vector<orv_clique_t>{ab, ab, bc}));
  // Tables need a compiled domain.
  EXPECT_RESULT(orv_clique_get_probability_table(ab), nullptr, orv_error_not_compiled);

  EXPECT_CONTAINS(text, "\n\nCliques:\n\nClique 1, 2 members, table size = 6:\n    A, B\n");
  EXPECT_CONTAINS(text, "\nTotal clique table size: 12\n");
  EXPECT_CONTAINS(text, "\n\nThe junction forest:\n\nCreating junction tree with clique 2 as root ...\n"
                        "\nCliques 1 and 2 linked, separator has 1 member and table size = 3:\n    B\n");
  EXPECT_CONTAINS(text, "\n\nChecking tables for all nodes:\n\n\n\nAssignment of potentials to cliques:\n\n"
                        "    Node C assigned to clique 1\n    Node B assigned to clique 2\n"
                        "    Node A assigned to clique 2\n");
}

TEST(JunctionForest, UnconnectedNodesMakeTwoTreesUnlessUtilitiesJoinThem) {
  auto d = new_domain();
  orv_node_t a = variable(d.get(), "A", 2), b = variable(d.get(), "B", 2);
  ASSERT_EQ(build_forest(d.get(), {{a}, {b}}), orv_error_none);
  orv_junction_tree_t first = orv_domain_get_first_junction_tree(d.get());
  ASSERT_NE(orv_jt_get_next(first), nullptr);
  EXPECT_EQ(orv_jt_get_next(orv_jt_get_next(first)), nullptr);
  EXPECT_NE(orv_node_get_junction_tree(a), orv_node_get_junction_tree(b));

  orv_node_t u = variable(d.get(), "U", 0, orv_category_utility);  // uncompiles
  EXPECT_EQ(orv_domain_get_first_clique(d.get()), nullptr);
  family(u, {a}, {1.0, 2.0});
  const std::string text =
      test::capture_log(d.get(), [&] { ASSERT_EQ(build_forest(d.get(), {{a}, {b}}), orv_error_none); });
  first = orv_domain_get_first_junction_tree(d.get());
  EXPECT_EQ(orv_jt_get_next(first), nullptr);
  EXPECT_EQ(orv_node_get_junction_tree(u), first);
  EXPECT_EQ(u->assigned_clique->table->nodes[0], a);
  EXPECT_EQ(orv_jt_get_total_size(first), 2u * (2 + 2 + 1));  // doubled for the utility tables
  EXPECT_CONTAINS(text, "separator has 0 members and table size = 1\n");
}

TEST(JunctionForest, EqualSizedHoldersGoToTheFirstInTheList) {
  auto d = new_domain();
  orv_node_t a = variable(d.get(), "A", 2), b = variable(d.get(), "B", 2), c = variable(d.get(), "C", 2);
  family(a, {}, {});
  family(b, {a}, {});
  family(c, {a}, {});
  ASSERT_EQ(build_forest(d.get(), {{a, b}, {a, c}}), orv_error_none);
  EXPECT_EQ(a->assigned_clique, orv_domain_get_first_clique(d.get()));
  // A node without a table still gets a clique for its beliefs.
  orv_node_t e = variable(d.get(), "E", 2);
  ASSERT_EQ(build_forest(d.get(), {{a, b}, {a, c}, {e}}), orv_error_none);
  EXPECT_EQ(e->assigned_clique->table->nodes[0], e);
}

TEST(JunctionForest, StrongRootAndWaysInCgNetworks) {
  auto d = new_domain();
  orv_node_t a = variable(d.get(), "A", 2), b = variable(d.get(), "B", 3);
  orv_node_t x = test::add_node(d.get(), "X", orv_category_chance, orv_kind_continuous);
  orv_node_t y = test::add_node(d.get(), "Y", orv_category_chance, orv_kind_continuous);
  family(b, {a}, {});
  family(x, {b}, {});
  family(y, {x}, {});
  // The continuous clique comes first in the input; the root must still be discrete.
  ASSERT_EQ(build_forest(d.get(), {{x, y}, {b, x}, {a, b}}), orv_error_none);
  orv_junction_tree_t tree = orv_domain_get_first_junction_tree(d.get());
  orv_clique_t root = orv_jt_get_root(tree);
  EXPECT_EQ(root->table->continuous_count, 0u);
  for (orv_clique_t c = orv_domain_get_first_clique(d.get()); c; c = c->next) {
    if (c->table->continuous_count == 0) continue;
    // Following the ways reaches the root.
    orv_clique_t walk = c;
    int steps = 0;
    while (walk != root && walk && steps < 10) walk = walk->way_to_strong_root, ++steps;
    EXPECT_EQ(walk, root);
  }
  // Discrete members are listed first in every clique.
  for (orv_clique_t c = orv_domain_get_first_clique(d.get()); c; c = c->next)
    for (std::size_t i = 1; i < c->table->nodes.size(); ++i)
      EXPECT_LE(c->table->nodes[i - 1]->kind, c->table->nodes[i]->kind);
  EXPECT_EQ(x->assigned_clique->table->nodes.contains(b), true);
}

bool holds(orv_clique_t clique, orv_node_t node) {
  for (orv_node_t *m = orv_clique_get_members(clique); *m; ++m)
    if (*m == node) return true;
  return false;
}

TEST(ForestState, UncompilingDropsTheForestAndKeepsEvidence) {
  auto d = test::new_domain();
  orv_node_t a = variable(d.get(), "A", 2), b = variable(d.get(), "B", 3), c = variable(d.get(), "C", 2);
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
  // So is one written directly and touched.
  a->table->data[0] = 0.1;
  a->table->data[1] = 0.9;
  ASSERT_EQ(orv_node_touch_table(a), orv_error_none);
  EXPECT_EQ(orv_jt_tables_to_propagate(orv_node_get_junction_tree(a)), 1);
  ASSERT_EQ(orv_domain_propagate(d.get(), orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  EXPECT_EQ(orv_jt_tables_to_propagate(orv_node_get_junction_tree(a)), 0);
  EXPECT_DOUBLE_EQ(orv_node_get_belief(a, 0), 0.1 * 0.5 / (0.1 * 0.5 + 0.9 * 0.1));

  test::expect_usage_calls(
      {{"triangulated null", [] { return orv_domain_is_triangulated(nullptr) == -1; }},
       {"uncompile null", [] { return orv_domain_uncompile(nullptr) == orv_error_usage; }},
       {"touch null", [] { return orv_node_touch_table(nullptr) == orv_error_usage; }},
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
