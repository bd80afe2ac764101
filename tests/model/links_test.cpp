// Adding, removing and switching parents: refusals, cycles, and the child's
// tables (node, experience, fading) gaining and losing dimensions; chain blocks:
// chain potentials, merging of blocks, searches that treat a block as one unit,
// and links around block members.
#include <gtest/gtest.h>

#include <functional>

#include "model/chain_blocks.h"
#include "model/graph_checks.h"
#include "model/links.h"
#include "runtime/error.h"
#include "support/domain_fixture.h"
#include "support/link_fixture.h"
#include "support/model_checks.h"

namespace orv {
namespace {

using namespace test;
using test::node_table;
using Names = std::vector<std::string>;
using Values = std::vector<double>;

TEST(AddParent, RefusesWrongKindsAndArgumentsWithUsageChangingNothing) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B");
  orv_node_t x = test::add_continuous(d.get(), "X");
  orv_node_t f = add_node(d.get(), "F", orv_category_function, orv_kind_discrete);
  node_table(a);
  const std::string before = snapshot(d.get());
  EXPECT_EQ(orv_node_add_parent(a, x), orv_error_usage);  // continuous parent, discrete child
  EXPECT_EQ(orv_node_add_parent(a, nullptr), orv_error_usage);
  EXPECT_EQ(orv_node_add_parent(reinterpret_cast<orv_node_t>(d.get()), a), orv_error_usage);
  auto other = new_domain();
  orv_node_t stranger = add_node(other.get(), "S");
  EXPECT_EQ(orv_node_add_parent(a, stranger), orv_error_usage);
  b->class_node = x;  // a copy of a class node takes no parents
  EXPECT_EQ(orv_node_add_parent(b, a), orv_error_usage);
  b->class_node = nullptr;
  b->temporal_clone = true;  // a temporal clone takes no ordinary parent
  EXPECT_EQ(orv_node_add_parent(b, a), orv_error_usage);
  b->temporal_clone = false;
  EXPECT_EQ(snapshot(d.get()), before);

  EXPECT_EQ(orv_node_add_parent(x, a), orv_error_none);  // discrete parent, continuous child
  EXPECT_EQ(orv_node_add_parent(x, a), orv_error_usage);  // already a parent
  EXPECT_EQ(orv_node_add_parent(f, x), orv_error_none);  // function nodes take any parent
  EXPECT_EQ(orv_node_add_parent(f, b), orv_error_none);
  EXPECT_EQ(names_of(orv_node_get_parents(f)), (Names{"B", "X"}));  // discrete first
  EXPECT_EQ(orv_error_code(), orv_error_none);

  auto id = new_domain();
  orv_node_t c = add_node(id.get(), "C"), dec = add_node(id.get(), "D", orv_category_decision);
  orv_node_t u = add_node(id.get(), "U", orv_category_utility);
  orv_node_t g = add_node(id.get(), "G", orv_category_function, orv_kind_other);
  EXPECT_EQ(orv_node_add_parent(c, u), orv_error_usage);    // utility parent of chance
  EXPECT_EQ(orv_node_add_parent(dec, u), orv_error_usage);  // ... of decision
  EXPECT_EQ(orv_node_add_parent(u, dec), orv_error_none);
  EXPECT_EQ(orv_node_add_parent(g, u), orv_error_none);  // a value-only sink
}

TEST(AddParent, RefusesDirectedCyclesDirectAndIndirect) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B"), c = add_node(d.get(), "C");
  add_parents({{b, a}, {c, b}});
  const std::string before = snapshot(d.get());
  EXPECT_EQ(orv_node_add_parent(a, a), orv_error_cyclic_network);
  EXPECT_EQ(orv_node_add_parent(a, b), orv_error_cyclic_network);
  EXPECT_EQ(orv_node_add_parent(a, c), orv_error_cyclic_network);
  EXPECT_EQ(snapshot(d.get()), before);
  EXPECT_EQ(orv_node_add_parent(c, a), orv_error_none);  // a shortcut is no cycle
  EXPECT_EQ(names_of(orv_node_get_children(a)), (Names{"C", "B"}));
}

// Child tables (and learning tables) repeat their entries for every state of
// an added parent, and keep the slice of the chosen state of a removed one.
TEST(ParentLinks, ChildTablesGrowAndShrinkWithTheirParents) {
  auto d = new_domain();
  auto [a, b, c] = discrete_nodes(d.get(), {{"A", 3}, {"B", 2}, {"C", 2}});
  orv_table_t table = node_table(b, {0.3, 0.7});
  orv_table_t experience = test::learning_table(b, orv_table_experience);
  orv_table_t fading = test::learning_table(b, orv_table_fading);
  experience->data[0] = 5;
  fading->data[0] = 0.5;
  test::mark_compiled(d.get());

  ASSERT_EQ(orv_node_add_parent(b, a), orv_error_none);
  EXPECT_FALSE(test::is_compiled(d.get()));
  EXPECT_EQ(b->table, table);  // the same record: handles stay valid
  EXPECT_EQ(names_of(table->nodes.c_list()), (Names{"A", "B"}));
  EXPECT_EQ((std::vector<Values>{entries(table), entries(experience), entries(fading)}),
            (std::vector<Values>{{0.3, 0.7, 0.3, 0.7, 0.3, 0.7}, {5, 5, 5}, {0.5, 0.5, 0.5}}));

  for (std::size_t i = 0; i < 6; ++i) table->data[i] = static_cast<double>(i);
  ASSERT_EQ(orv_node_add_parent(b, c), orv_error_none);
  EXPECT_EQ(names_of(orv_node_get_parents(b)), (Names{"C", "A"}));
  EXPECT_EQ(names_of(table->nodes.c_list()), (Names{"C", "A", "B"}));
  EXPECT_EQ(entries(table), (Values{0, 1, 2, 3, 4, 5, 0, 1, 2, 3, 4, 5}));
  EXPECT_EQ(names_of(experience->nodes.c_list()), (Names{"C", "A"}));
  EXPECT_EQ(experience->size, 6u);

  // Removing A keeps the entries of its state 2, removing C those of its state 0.
  for (std::size_t i = 0; i < 6; ++i) experience->data[i] = static_cast<double>(10 + i);
  const std::string before = snapshot(d.get());
  EXPECT_EQ(orv_node_remove_discrete_parent(b, a, 3), orv_error_usage);  // no such state
  EXPECT_EQ(orv_node_remove_parent(a, b), orv_error_usage);              // not a parent
  EXPECT_EQ(orv_node_remove_parent(b, nullptr), orv_error_usage);
  EXPECT_EQ(snapshot(d.get()), before);
  test::mark_compiled(d.get());
  ASSERT_EQ(orv_node_remove_discrete_parent(b, a, 2), orv_error_none);
  EXPECT_FALSE(test::is_compiled(d.get()));
  EXPECT_EQ(names_of(table->nodes.c_list()), (Names{"C", "B"}));
  EXPECT_EQ(entries(table), (Values{4, 5, 4, 5}));
  EXPECT_EQ(entries(experience), (Values{12, 15}));
  EXPECT_EQ(names_of(orv_node_get_children(a)), Names{});
  ASSERT_EQ(orv_node_remove_parent(b, c), orv_error_none);  // state 0
  EXPECT_EQ(names_of(orv_node_get_parents(b)), Names{});
  EXPECT_EQ(entries(table), (Values{4, 5}));
  EXPECT_EQ(entries(experience), (Values{12}));

  // A function child's table holds the node alone and compiles nothing away.
  orv_node_t f = add_node(d.get(), "F", orv_category_function, orv_kind_discrete);
  orv_table_t ft = orv_node_get_table(f);
  test::mark_compiled(d.get());
  ASSERT_EQ(orv_node_add_parent(f, a), orv_error_none);
  EXPECT_TRUE(test::is_compiled(d.get()));
  EXPECT_EQ(names_of(ft->nodes.c_list()), (Names{"F"}));
}

// Continuous parents become tails of every block; removing one leaves its
// mean row and column.
TEST(ContinuousParents, AddedAsTailsOfEveryBlockRemovedWithTheirRowAndColumn) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A");
  orv_node_t x = test::add_continuous(d.get(), "X");
  orv_node_t y = test::add_continuous(d.get(), "Y");
  orv_node_t z = test::add_continuous(d.get(), "Z");
  set_state_count(a, 2);
  orv_table_t t = node_table(x, {1.0});
  t->cg_data[0] = 4.0;  // mean of X
  t->cg_data[1] = 2.5;  // variance of X
  ASSERT_EQ(orv_node_add_parent(x, y), orv_error_none);
  EXPECT_EQ(names_of(t->nodes.c_list()), (Names{"X", "Y"}));
  ASSERT_EQ(t->block_size, 5u);
  EXPECT_EQ(Values(t->cg_data, t->cg_data + 5), (Values{4.0, 2.5, 0, 0, 0}));
  EXPECT_EQ(std::vector<int>(t->roles.begin(), t->roles.end()), (std::vector<int>{kRoleHead, kRoleTail}));

  ASSERT_EQ(orv_node_add_parent(x, a), orv_error_none);
  EXPECT_EQ(names_of(t->nodes.c_list()), (Names{"A", "X", "Y"}));
  EXPECT_EQ(t->size, 2u);
  EXPECT_EQ(Values(t->cg_data, t->cg_data + 10), (Values{4.0, 2.5, 0, 0, 0, 4.0, 2.5, 0, 0, 0}));

  ASSERT_EQ(orv_node_add_parent(x, z), orv_error_none);
  ASSERT_EQ(names_of(t->nodes.c_list()), (Names{"A", "X", "Y", "Z"}));
  ASSERT_EQ(t->block_size, 9u);
  for (std::size_t i = 0; i < 18; ++i) t->cg_data[i] = static_cast<double>(i);
  EXPECT_EQ(orv_node_remove_discrete_parent(x, y, 0), orv_error_usage);  // not discrete
  ASSERT_EQ(orv_node_remove_parent(x, y), orv_error_none);
  EXPECT_EQ(names_of(t->nodes.c_list()), (Names{"A", "X", "Z"}));
  ASSERT_EQ(t->block_size, 5u);
  // Surviving entries: mean X, var X, mean Z, cov(X, Z), var Z of each block.
  EXPECT_EQ(Values(t->cg_data, t->cg_data + 10), (Values{0, 1, 5, 6, 8, 9, 10, 14, 15, 17}));
  EXPECT_EQ(t->roles.size(), 2u);
  ASSERT_EQ(orv_node_remove_parent(x, z), orv_error_none);
  EXPECT_EQ(Values(t->cg_data, t->cg_data + 4), (Values{0, 1, 9, 10}));
  ASSERT_EQ(orv_node_remove_parent(x, a), orv_error_none);
  EXPECT_EQ(Values(t->cg_data, t->cg_data + 2), (Values{0, 1}));
}

TEST(SwitchParent, CompatibleParentTakesTheOldPlaceWithTheSameData) {
  auto d = new_domain();
  auto [a, a2, b, c] = discrete_nodes(d.get(), {{"A", 2}, {"A2", 2}, {"B", 2}, {"C", 2}});
  orv_node_t x = test::add_continuous(d.get(), "X");
  add_parents({{b, c}, {b, a}});
  orv_table_t t = node_table(b, {1, 2, 3, 4, 5, 6, 7, 8});
  const std::string before = snapshot(d.get());
  EXPECT_EQ(orv_node_switch_parent(b, a2, a), orv_error_usage);  // a2 is not a parent
  EXPECT_EQ(orv_node_switch_parent(b, a, c), orv_error_usage);   // c already is
  EXPECT_EQ(orv_node_switch_parent(b, a, x), orv_error_usage);   // another kind
  EXPECT_EQ(orv_node_switch_parent(b, a, nullptr), orv_error_usage);
  ASSERT_EQ(orv_node_set_state_label(a2, 1, "high"), orv_error_none);  // same states, other labels
  EXPECT_EQ(orv_node_switch_parent(b, a, a2), orv_error_usage);
  ASSERT_EQ(orv_node_set_state_label(a2, 1, ""), orv_error_none);
  ASSERT_EQ(orv_node_add_parent(a2, b), orv_error_none);
  EXPECT_EQ(orv_node_switch_parent(b, a, a2), orv_error_cyclic_network);
  ASSERT_EQ(orv_node_remove_parent(a2, b), orv_error_none);
  EXPECT_EQ(snapshot(d.get()), before);

  test::mark_compiled(d.get());
  ASSERT_EQ(orv_node_switch_parent(b, a, a2), orv_error_none);
  EXPECT_FALSE(test::is_compiled(d.get()));
  EXPECT_EQ(names_of(orv_node_get_parents(b)), (Names{"A2", "C"}));
  EXPECT_EQ(names_of(t->nodes.c_list()), (Names{"A2", "C", "B"}));
  EXPECT_EQ(entries(t), (Values{1, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_EQ(names_of(orv_node_get_children(a)), Names{});
  EXPECT_EQ(names_of(orv_node_get_children(a2)), (Names{"B"}));
}

TEST(SwitchParent, CompatibilityFollowsTheSubtype) {
  auto d = new_domain();
  auto [a, b] = discrete_nodes(d.get(), {{"A", 2}, {"B", 2}});
  EXPECT_TRUE(_orv_nodes_are_compatible(a, b));
  ASSERT_EQ(orv_node_set_state_label(b, 0, ""), orv_error_none);  // "" equals no label
  EXPECT_TRUE(_orv_nodes_are_compatible(a, b));
  ASSERT_EQ(orv_node_set_state_label(b, 0, "low"), orv_error_none);
  EXPECT_FALSE(_orv_nodes_are_compatible(a, b));
  ASSERT_EQ(orv_node_set_state_label(a, 0, "low"), orv_error_none);
  EXPECT_TRUE(_orv_nodes_are_compatible(a, b));
  ASSERT_EQ(orv_node_set_subtype(a, orv_subtype_number), orv_error_none);
  ASSERT_EQ(orv_node_set_subtype(b, orv_subtype_number), orv_error_none);
  EXPECT_TRUE(_orv_nodes_are_compatible(a, b));  // both with default values
  ASSERT_EQ(orv_node_set_state_value(a, 0, 1.0), orv_error_none);
  ASSERT_EQ(orv_node_set_state_value(a, 1, 2.0), orv_error_none);
  EXPECT_FALSE(_orv_nodes_are_compatible(a, b));
  ASSERT_EQ(orv_node_set_state_value(b, 0, 1.0), orv_error_none);
  ASSERT_EQ(orv_node_set_state_value(b, 1, 2.0), orv_error_none);
  EXPECT_TRUE(_orv_nodes_are_compatible(a, b));
  ASSERT_EQ(orv_node_set_subtype(a, orv_subtype_interval), orv_error_none);
  ASSERT_EQ(orv_node_set_subtype(b, orv_subtype_interval), orv_error_none);
  ASSERT_EQ(orv_node_set_state_value(b, 2, 3.0), orv_error_none);  // the upper end counts
  EXPECT_FALSE(_orv_nodes_are_compatible(a, b));
  ASSERT_EQ(orv_node_set_subtype(a, orv_subtype_boolean), orv_error_none);
  ASSERT_EQ(orv_node_set_subtype(b, orv_subtype_boolean), orv_error_none);
  EXPECT_TRUE(_orv_nodes_are_compatible(a, b));  // labels and values do not matter
  ASSERT_EQ(orv_node_set_subtype(b, orv_subtype_label), orv_error_none);
  EXPECT_FALSE(_orv_nodes_are_compatible(a, b));
  set_state_count(b, 3);
  EXPECT_FALSE(_orv_nodes_are_compatible(a, b));
  orv_node_t x = test::add_continuous(d.get(), "X");
  orv_node_t y = test::add_continuous(d.get(), "Y");
  EXPECT_TRUE(_orv_nodes_are_compatible(x, y));
  EXPECT_FALSE(_orv_nodes_are_compatible(x, a));
}

TEST(RemoveParent, ValueLinksLeaveTheCompiledStructure) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), a2 = add_node(d.get(), "A2"), c = add_node(d.get(), "C");
  orv_node_t f = add_node(d.get(), "F", orv_category_function, orv_kind_discrete);
  orv_node_t g = add_node(d.get(), "G", orv_category_function, orv_kind_other);
  add_parents({{f, a}, {c, g}, {c, a}});  // G is a value parent of a chance node
  test::mark_compiled(d.get());
  ASSERT_EQ(orv_node_switch_parent(f, a, a2), orv_error_none);  // function child
  ASSERT_EQ(orv_node_remove_parent(f, a2), orv_error_none);
  ASSERT_EQ(orv_node_remove_parent(c, g), orv_error_none);  // parent of kind other
  EXPECT_TRUE(test::is_compiled(d.get()));
  ASSERT_EQ(orv_node_remove_parent(c, a), orv_error_none);
  EXPECT_FALSE(test::is_compiled(d.get()));
}

struct KnownNodes : InformationCache {
  explicit KnownNodes(orv_node_t n) : known(n) {}
  bool lists(const orv_node_s *, const orv_node_s *node) const override { return node == known; }
  orv_node_t known;
};
struct AnyCache : Attachment {};

TEST(GraphCaches, LinkChangesDiscardThemUnlessADecisionAlreadyKnowsTheParent) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B"), c = add_node(d.get(), "C");
  orv_node_t dec = add_node(d.get(), "D", orv_category_decision);
  const struct {
    const char *what;
    std::function<orv_status_t()> change;
    orv_status_t status;
    bool graph_kept, information_kept;
  } steps[] = {
      {"a decision gains a parent it knew", [&] { return orv_node_add_parent(dec, a); }, orv_error_none, false, true},
      {"a decision gains another parent", [&] { return orv_node_add_parent(dec, b); }, orv_error_none, false, false},
      {"a chance node gains a parent", [&] { return orv_node_add_parent(c, a); }, orv_error_none, false, false},
      {"a decision loses a parent", [&] { return orv_node_remove_parent(dec, a); }, orv_error_none, false, false},
      {"a refused link", [&] { return orv_node_add_parent(a, c); }, orv_error_cyclic_network, true, true},
  };
  for (const auto &step : steps) {
    SCOPED_TRACE(step.what);
    d->graph_cache.reset(make<AnyCache>());
    d->information_cache.reset(make<KnownNodes>(a));
    EXPECT_EQ(step.change(), step.status);
    EXPECT_EQ(d->graph_cache != nullptr, step.graph_kept);
    EXPECT_EQ(d->information_cache != nullptr, step.information_kept);
  }
}

orv_table_s *potential(orv_domain_t d, std::vector<orv_node_t> nodes) {
  nodes.push_back(nullptr);
  return _orv_create_table(d, nodes.data(), orv_table_probability, 0, true, true);
}

std::size_t block_count(orv_domain_t d) {
  std::size_t n = 0;
  for (ChainBlock *b = d->first_chain_block; b; b = b->next) ++n;
  return n;
}

orv_status_t add_potential(orv_domain_t d, orv_table_s *t, std::size_t k) {
  return guarded_status([&] { _orv_domain_add_chain_potential(d, t, k); });
}

TEST(ChainBlocks, PotentialsJoinTheirHeadsAndBlocksMerge) {
  auto d = new_domain();
  auto [p, a, b, c, e] = discrete_nodes(d.get(), {{"P", 2}, {"A", 2}, {"B", 3}, {"C", 1}, {"E", 1}});
  add_parents({{a, p}, {b, p}, {e, c}});
  test::mark_compiled(d.get());
  orv_table_s *pab = potential(d.get(), {p, a, b});
  ASSERT_EQ(add_potential(d.get(), pab, 2), orv_error_none);
  EXPECT_FALSE(test::is_compiled(d.get()));
  ASSERT_NE(a->chain_block, nullptr);
  EXPECT_EQ(a->chain_block, b->chain_block);
  EXPECT_EQ(p->chain_block, nullptr);
  EXPECT_EQ(names_of(a->chain_block->members.c_list()), (Names{"A", "B"}));

  // Searches continue from every member of a block.
  ASSERT_EQ(orv_node_add_parent(c, b), orv_error_none);
  EXPECT_TRUE(_orv_path_exists(a, e));
  EXPECT_TRUE(_orv_path_exists(p, e));
  EXPECT_EQ(orv_node_add_parent(p, e), orv_error_cyclic_network);

  // A second potential over B and C merges C into the block.
  orv_table_s *bc = potential(d.get(), {b, c});
  EXPECT_EQ(add_potential(d.get(), bc, 2), orv_error_cyclic_network);  // B -> C already
  ASSERT_EQ(orv_node_remove_parent(c, b), orv_error_none);
  ASSERT_EQ(add_potential(d.get(), bc, 2), orv_error_none);
  EXPECT_EQ(block_count(d.get()), 1u);
  ChainBlock *block = a->chain_block;
  EXPECT_EQ(c->chain_block, block);
  EXPECT_EQ(names_of(block->members.c_list()), (Names{"A", "B", "C"}));
  EXPECT_EQ(block->potentials.size(), 2u);
  EXPECT_EQ(add_potential(d.get(), bc, 2), orv_error_usage);  // recorded already

  // Block members can not be deleted; a removed parent leaves the potentials.
  EXPECT_EQ(orv_node_delete(a), orv_error_usage);
  ASSERT_EQ(orv_node_remove_discrete_parent(b, p, 1), orv_error_none);
  EXPECT_EQ(names_of(pab->nodes.c_list()), (Names{"A", "B"}));
  EXPECT_EQ(pab->size, 6u);
  EXPECT_EQ(names_of(orv_node_get_children(p)), (Names{"A"}));

  // Block members take no reversal; freeing the block frees its potentials.
  EXPECT_EQ(orv_node_reverse_edge(p, a), orv_error_usage);
  const std::size_t tables = d->table_count;
  _orv_free_chain_block(block);
  for (orv_node_t n : {a, b, c}) EXPECT_EQ(n->chain_block, nullptr);
  EXPECT_EQ(d->table_count, tables - 2);
  EXPECT_EQ(orv_node_reverse_edge(p, a), orv_error_none);
  ASSERT_EQ(add_potential(d.get(), potential(d.get(), {a, b}), 2), orv_error_none);
  // Deleting the domain frees the new block and its potential (checked by ASan).
}

TEST(ChainBlocks, RefusesMalformedPotentials) {
  auto d = new_domain();
  orv_node_t p = add_node(d.get(), "P"), a = add_node(d.get(), "A"), b = add_node(d.get(), "B");
  orv_node_t dec = add_node(d.get(), "D", orv_category_decision);
  ASSERT_EQ(orv_node_add_parent(a, p), orv_error_none);
  const std::string before = test::snapshot(d.get());
  orv_table_s *pab = potential(d.get(), {p, a, b});  // P is no parent of B
  EXPECT_EQ(add_potential(d.get(), pab, 2), orv_error_usage);
  EXPECT_EQ(add_potential(d.get(), pab, 1), orv_error_usage);
  EXPECT_EQ(add_potential(d.get(), pab, 4), orv_error_usage);
  orv_table_s *ad = potential(d.get(), {a, dec});  // heads must be chance nodes
  EXPECT_EQ(add_potential(d.get(), ad, 2), orv_error_usage);
  orv_table_s *pa = potential(d.get(), {p, a});  // P -> A is a directed link
  EXPECT_EQ(add_potential(d.get(), pa, 2), orv_error_cyclic_network);
  auto other = new_domain();
  orv_table_s *ab = potential(d.get(), {a, b});
  EXPECT_EQ(add_potential(other.get(), ab, 2), orv_error_usage);  // a table of another domain
  _orv_free_table(ab);
  EXPECT_EQ(block_count(d.get()), 0u);
  for (orv_node_t n : {p, a, b, dec}) EXPECT_EQ(n->chain_block, nullptr);
  _orv_free_table(pab), _orv_free_table(ad), _orv_free_table(pa);
  EXPECT_EQ(test::snapshot(d.get()), before);

  auto cg = new_domain();
  orv_node_t e = add_node(cg.get(), "E"), f = add_node(cg.get(), "F");
  orv_node_t x = test::add_continuous(cg.get(), "X");
  orv_table_s *efx = potential(cg.get(), {e, f, x});  // no CG nodes
  EXPECT_EQ(add_potential(cg.get(), efx, 2), orv_error_usage);
  EXPECT_EQ(block_count(cg.get()), 0u);
}

}  // namespace
}  // namespace orv
