// Arc reversal (the worked example, refusals, parent unions, random networks
// whose joint must survive every reversal) and allocation failures in every
// link operation: each failing run reports no_memory, leaks nothing and leaves
// lists, tables, blocks and the compiled state exactly as they were.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <random>

#include "model/chain_blocks.h"
#include "model/graph_checks.h"
#include "runtime/error.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "support/link_fixture.h"
#include "support/model_checks.h"
#include "support/network_fixture.h"
#include "tables/table_conditionals.h"

namespace orv {
namespace {

using namespace test;
using test::node_table;

// Finds a node without touching the allocator (no name index).
orv_node_t node(orv_domain_t d, const char *name) {
  for (orv_node_t n = d->first_node; n; n = n->next)
    if (std::strcmp(n->name.c_str(), name) == 0) return n;
  throw std::logic_error(name);
}

// P -> A -> B <- Q, B -> C, with a spare P2 like P; every node has a table,
// B has experience and fading tables, and the domain counts as compiled.
test::DomainPtr discrete_network() {
  auto d = test::new_domain();
  const std::pair<const char *, std::size_t> nodes[] = {{"P", 2}, {"P2", 2}, {"Q", 3}, {"A", 2}, {"B", 2}, {"C", 3}};
  for (auto [name, states] : nodes) set_state_count(add_node(d.get(), name), states);
  for (auto [child, parent] : {std::pair{"A", "P"}, {"B", "A"}, {"B", "Q"}, {"C", "B"}})
    if (orv_node_add_parent(node(d.get(), child), node(d.get(), parent)) != orv_error_none)
      throw std::logic_error("link");
  for (orv_node_t n = d->first_node; n; n = n->next) {
    orv_table_t t = node_table(n);
    for (std::size_t i = 0; i < t->size; ++i) t->data[i] = 1.0 + static_cast<double>(i % 3);
  }
  test::learning_table(node(d.get(), "B"), orv_table_experience);
  test::learning_table(node(d.get(), "B"), orv_table_fading);
  test::mark_compiled(d.get());
  return d;
}

// X <- Y (continuous) with a discrete K, all with tables.
test::DomainPtr cg_network() {
  auto d = test::new_domain();
  set_state_count(add_node(d.get(), "K"), 2);
  test::add_continuous(d.get(), "X");
  test::add_continuous(d.get(), "Y");
  if (orv_node_add_parent(node(d.get(), "X"), node(d.get(), "Y")) != orv_error_none) throw std::logic_error("link");
  for (orv_node_t n = d->first_node; n; n = n->next) node_table(n);
  test::mark_compiled(d.get());
  return d;
}

using Build = std::function<test::DomainPtr()>;
using Operation = std::function<orv_status_t(orv_domain_t)>;

// Returns the number of allocations the operation makes; every run starts
// from a freshly built network.
std::size_t sweep(const char *what, const Build &build, const Operation &operation) {
  auto d = build();
  std::string before = test::snapshot(d.get());
  const auto clean = test::expect_no_memory_sweep(what, [&] { return operation(d.get()); }, [&] {
    EXPECT_EQ(test::snapshot(d.get()), before);
    d = build();
    before = test::snapshot(d.get());
  });
  EXPECT_EQ(clean.result, orv_error_none) << what;
  EXPECT_NE(test::snapshot(d.get()), before) << what;
  return clean.n;
}

TEST(LinkFailurePaths, NoMemoryAtEveryAllocationLeavesTheNetworkUnchanged) {
  const struct {
    const char *what;
    Build build;
    Operation operation;
    bool allocates;  // removal and deletion only shrink
  } cases[] = {
      {"add to a child with learning tables", discrete_network,
       [](orv_domain_t d) { return orv_node_add_parent(node(d, "B"), node(d, "P")); }, true},
      {"add to a new parent list", discrete_network,
       [](orv_domain_t d) { return orv_node_add_parent(node(d, "P"), node(d, "P2")); }, true},
      {"add a continuous tail", cg_network,
       [](orv_domain_t d) { return orv_node_add_parent(node(d, "Y"), node(d, "K")); }, true},
      {"add a discrete parent to a CG table", cg_network,
       [](orv_domain_t d) { return orv_node_add_parent(node(d, "X"), node(d, "K")); }, true},
      {"remove", discrete_network,
       [](orv_domain_t d) { return orv_node_remove_discrete_parent(node(d, "B"), node(d, "Q"), 2); }, false},
      {"remove continuous", cg_network,
       [](orv_domain_t d) { return orv_node_remove_parent(node(d, "X"), node(d, "Y")); }, false},
      {"switch", discrete_network,
       [](orv_domain_t d) { return orv_node_switch_parent(node(d, "A"), node(d, "P"), node(d, "P2")); }, true},
      {"reverse", discrete_network,
       [](orv_domain_t d) { return orv_node_reverse_edge(node(d, "A"), node(d, "B")); }, true},
      {"reverse into a missing table",
       [] {
         auto d = discrete_network();
         orv_node_t p = node(d.get(), "P");
         _orv_free_table(p->table);
         p->table = nullptr;
         return d;
       },
       [](orv_domain_t d) { return orv_node_reverse_edge(node(d, "P"), node(d, "A")); }, true},
      {"delete", discrete_network, [](orv_domain_t d) { return orv_node_delete(node(d, "A")); }, false},
      {"chain potential", discrete_network,
       [](orv_domain_t d) {
         orv_node_t list[] = {node(d, "A"), node(d, "Q"), nullptr};
         orv_table_s *t = nullptr;
         const orv_status_t status = guarded_status([&] {
           t = _orv_create_table(d, list, orv_table_probability, 0, true, true);
           _orv_domain_add_chain_potential(d, t, 2);
         });
         if (status != orv_error_none) _orv_free_table(t);
         set_error(static_cast<orv_error_t>(status));
         return status;
       },
       true},
  };
  for (const auto &c : cases) {
    const std::size_t allocations = sweep(c.what, c.build, c.operation);
    EXPECT_TRUE(c.allocates ? allocations > 2 : allocations == 0) << c.what << ": " << allocations << " allocations";
  }
}

using Names = std::vector<std::string>;

// The joint distribution of every node, normalized, in chain order.
std::vector<double> joint_distribution(orv_domain_t d) {
  std::vector<orv_node_t> all;
  for (orv_node_t n = d->first_node; n; n = n->next) all.push_back(n);
  return test::brute_force_joint(d, all);
}

TEST(ArcReversal, WorkedExampleRewritesBothTablesInPlace) {
  auto d = new_domain();
  auto [x, y] = discrete_nodes(d.get(), {{"X", 2}, {"Y", 2}});
  ASSERT_EQ(orv_node_add_parent(y, x), orv_error_none);
  orv_table_t tx = node_table(x, {0.3, 0.7});
  orv_table_t ty = node_table(y, {0.9, 0.1, 0.2, 0.8});
  test::learning_table(y, orv_table_experience);
  test::learning_table(x, orv_table_fading);
  test::mark_compiled(d.get());
  const std::size_t tables = d->table_count;

  ASSERT_EQ(orv_node_reverse_edge(y, x), orv_error_none);  // either order names the link
  EXPECT_FALSE(test::is_compiled(d.get()));
  EXPECT_EQ(x->table, tx);
  EXPECT_EQ(y->table, ty);
  EXPECT_EQ(names_of(orv_node_get_parents(x)), (Names{"Y"}));
  EXPECT_EQ(names_of(orv_node_get_parents(y)), Names{});
  EXPECT_EQ(names_of(orv_node_get_children(y)), (Names{"X"}));
  EXPECT_EQ(names_of(orv_node_get_children(x)), Names{});
  EXPECT_EQ(names_of(ty->nodes.c_list()), (Names{"Y"}));
  expect_all_near(entries(ty), {0.41, 0.59}, 1e-15);
  EXPECT_EQ(names_of(tx->nodes.c_list()), (Names{"Y", "X"}));
  expect_all_near(entries(tx), {0.27 / 0.41, 0.14 / 0.41, 0.03 / 0.59, 0.56 / 0.59}, 1e-15);
  EXPECT_TRUE(x->table_valid && y->table_valid);
  EXPECT_EQ(y->experience, nullptr);
  EXPECT_EQ(x->fading, nullptr);
  EXPECT_EQ(d->table_count, tables - 2);

  // Handing out writable data, or new states, makes the next reversal check again.
  ASSERT_NE(orv_table_get_data(tx), nullptr);
  EXPECT_FALSE(x->table_valid);
  EXPECT_TRUE(y->table_valid);
  ASSERT_EQ(orv_node_set_number_of_states(y, 3), orv_error_none);
  EXPECT_FALSE(y->table_valid);
  tx->data[4] = -1.0;
  EXPECT_EQ(orv_node_reverse_edge(x, y), orv_error_invalid_probability_potential);
}

TEST(ArcReversal, RefusesWithoutChangingAnything) {
  auto d = new_domain();
  auto [a, b, c, e] = discrete_nodes(d.get(), {{"A", 2}, {"B", 2}, {"C", 2}, {"E", 1}});
  orv_node_t dec = add_node(d.get(), "D", orv_category_decision);
  add_parents({{b, a}, {c, b}, {c, a}, {dec, e}});
  for (orv_node_t n : {a, b, c}) node_table(n);
  const std::string before = snapshot(d.get());
  EXPECT_EQ(orv_node_reverse_edge(a, c), orv_error_cyclic_network);  // A -> B -> C remains
  EXPECT_EQ(orv_node_reverse_edge(a, e), orv_error_usage);           // no link
  EXPECT_EQ(orv_node_reverse_edge(e, dec), orv_error_usage);         // a decision
  EXPECT_EQ(orv_node_reverse_edge(a, nullptr), orv_error_usage);
  a->class_node = e;
  EXPECT_EQ(orv_node_reverse_edge(a, b), orv_error_usage);
  a->class_node = nullptr;
  b->temporal_clone = true;
  EXPECT_EQ(orv_node_reverse_edge(a, b), orv_error_usage);
  b->temporal_clone = false;

  // Strict validation of the working copies: a negative entry, or a parent
  // configuration whose entries sum to zero.
  for (auto [first, second] : {std::pair{1.0, -0.5}, {0.0, 0.0}}) {
    b->table->data[0] = first, b->table->data[1] = second;
    const std::string invalid = snapshot(d.get());
    EXPECT_EQ(orv_node_reverse_edge(a, b), orv_error_invalid_probability_potential);
    EXPECT_EQ(snapshot(d.get()), invalid);
  }
  b->table->data[0] = b->table->data[1] = 1.0;
  EXPECT_EQ(snapshot(d.get()), before);

  auto cg = new_domain();
  orv_node_t x = test::add_continuous(cg.get(), "X");
  orv_node_t y = test::add_continuous(cg.get(), "Y");
  orv_node_t k = add_node(cg.get(), "K");
  add_parents({{y, x}, {x, k}});
  EXPECT_EQ(orv_node_reverse_edge(k, x), orv_error_usage);  // different kinds
}

TEST(ArcReversal, BothNodesEndWithTheUnionOfTheirParents) {
  auto d = new_domain();
  auto [p, q, s, a, b] = discrete_nodes(d.get(), {{"P", 2}, {"Q", 2}, {"S", 2}, {"A", 2}, {"B", 2}});
  add_parents({{a, p}, {a, s}, {b, q}, {b, s}, {b, a}});
  for (orv_node_t n : {p, q, s}) node_table(n, {0.25, 0.75});
  node_table(a, {0.1, 0.9, 0.4, 0.6, 0.5, 0.5, 0.8, 0.2});
  orv_table_t tb = node_table(b);
  for (std::size_t i = 0; i < tb->size; i += 2) tb->data[i] = 0.05 * static_cast<double>(i + 1), tb->data[i + 1] = 1 - tb->data[i];
  const std::vector<double> joint = joint_distribution(d.get());

  ASSERT_EQ(orv_node_reverse_edge(a, b), orv_error_none);
  EXPECT_EQ(names_of(orv_node_get_parents(a)), (Names{"B", "Q", "S", "P"}));
  EXPECT_EQ(names_of(orv_node_get_parents(b)), (Names{"P", "S", "Q"}));
  EXPECT_EQ(names_of(a->table->nodes.c_list()), (Names{"B", "Q", "S", "P", "A"}));
  EXPECT_EQ(names_of(b->table->nodes.c_list()), (Names{"P", "S", "Q", "B"}));
  EXPECT_EQ(names_of(orv_node_get_children(q)), (Names{"A", "B"}));
  expect_all_near(joint_distribution(d.get()), joint, 1e-14);
}

TEST(ArcReversal, MissingTablesFollowTheDefaults) {
  auto d = new_domain();
  auto [x, y] = discrete_nodes(d.get(), {{"X", 2}, {"Y", 3}});
  ASSERT_EQ(orv_node_add_parent(y, x), orv_error_none);
  orv_table_t ty = node_table(y, {0.2, 0.3, 0.5, 0.6, 0.2, 0.2});
  const std::size_t tables = d->table_count;
  ASSERT_EQ(orv_node_reverse_edge(x, y), orv_error_none);
  ASSERT_NE(x->table, nullptr);  // X had none: a uniform one took part
  EXPECT_EQ(d->table_count, tables + 1);
  EXPECT_EQ(x->table->node, x);
  expect_all_near(entries(ty), {0.4, 0.25, 0.35}, 1e-15);
  expect_all_near(entries(x->table), {0.25, 0.75, 0.6, 0.4, 0.5 / 0.7, 0.2 / 0.7}, 1e-15);

  // Neither node with a table: only the links change.
  auto bare = new_domain();
  orv_node_t u = add_node(bare.get(), "U"), v = add_node(bare.get(), "V");
  ASSERT_EQ(orv_node_add_parent(v, u), orv_error_none);
  ASSERT_EQ(orv_node_reverse_edge(u, v), orv_error_none);
  EXPECT_EQ(names_of(orv_node_get_parents(u)), (Names{"V"}));
  EXPECT_EQ(u->table, nullptr);
  EXPECT_EQ(v->table, nullptr);
}

// Random DAGs of up to 6 nodes with 2 or 3 states and random tables: every
// reversal the graph allows keeps the joint distribution; every refused one
// changes nothing.
TEST(ArcReversal, RandomReversalsPreserveTheJointDistribution) {
  std::mt19937 random(20261121u);
  std::uniform_real_distribution<double> weight(0.0, 1.0);
  std::size_t reversals = 0, refusals = 0;
  for (int network = 0; network < 40; ++network) {
    auto d = new_domain();
    const int count = 3 + network % 4;
    std::vector<orv_node_t> nodes;
    for (int i = 0; i < count; ++i) {
      orv_node_t n = add_node(d.get(), ("N" + std::to_string(i)).c_str());
      set_state_count(n, 2 + random() % 2);
      nodes.push_back(n);
    }
    for (int j = 1; j < count; ++j)
      for (int i = 0; i < j; ++i)
        if (weight(random) < 0.5) {
          ASSERT_EQ(orv_node_add_parent(nodes[j], nodes[i]), orv_error_none);
        }
    for (orv_node_t n : nodes) {
      orv_table_t t = node_table(n);
      for (std::size_t i = 0; i < t->size; ++i) t->data[i] = weight(random) + (i % 5 == 0 ? 0.0 : 0.01);
      if (network % 3 == 0) t->data[0] = 0.0;  // zeros survive too
    }
    for (orv_node_t n : nodes) normalize_conditional(n->table, ZeroSum::refuse);
    std::vector<double> joint = joint_distribution(d.get());
    for (int attempt = 0; attempt < 8; ++attempt) {
      orv_node_t y = nodes[random() % count];
      if (y->parents.empty()) continue;
      orv_node_t x = y->parents[random() % y->parents.size()];
      const std::string before = snapshot(d.get());
      const orv_status_t status = random() % 2 ? orv_node_reverse_edge(x, y) : orv_node_reverse_edge(y, x);
      if (status == orv_error_cyclic_network) {
        EXPECT_TRUE(_orv_indirect_path_exists(x, y));
        EXPECT_EQ(snapshot(d.get()), before);
        ++refusals;
        continue;
      }
      ASSERT_EQ(status, orv_error_none);
      ++reversals;
      EXPECT_TRUE(x->parents.contains(y));
      EXPECT_FALSE(y->parents.contains(x));
      expect_all_near(joint_distribution(d.get()), joint, 1e-12);
    }
  }
  EXPECT_GT(reversals, 100u);
  EXPECT_GT(refusals, 5u);
}

}  // namespace
}  // namespace orv
