// Tables: the index rule, CG block positions, node tables over families,
// accessors and the argument checks of every table entry point, instantiation,
// deletion, and normalisation as conditional distributions.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>

#include "model/node.h"
#include "runtime/error.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "support/link_fixture.h"
#include "support/table_fixture.h"
#include "tables/table.h"
#include "tables/table_conditionals.h"
#include "tables/table_oracle.h"

namespace orv {
namespace {

using namespace test;
constexpr size_t kNone = static_cast<size_t>(-1);

TEST(TableIndex, RoundTripsOnMixedTables) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B"), c = add_node(d.get(), "C");
  orv_node_t x = add_continuous(d.get(), "X"), y = add_continuous(d.get(), "Y");
  set_state_count(a, 3), set_state_count(b, 1), set_state_count(c, 4);
  TablePtr t(table_over(d.get(), {a, b, c, x, y}));
  ASSERT_EQ(orv_table_get_size(t.get()), 12u);
  EXPECT_EQ(orv_table_get_cg_size(t.get()), 12u * 5u);
  std::vector<size_t> config(3);
  for (size_t i = 0; i < 12; ++i) {
    ASSERT_EQ(orv_table_get_configuration_from_index(t.get(), config.data(), i), orv_error_none);
    EXPECT_EQ(config, (std::vector<size_t>{i / 4, 0, i % 4})) << i;
    EXPECT_EQ(orv_table_get_index_from_configuration(t.get(), config.data()), i);
  }
  EXPECT_EQ(test::names_of(orv_table_get_nodes(t.get())), (std::vector<std::string>{"A", "B", "C", "X", "Y"}));
  const size_t bad[] = {3, 0, 0};
  EXPECT_RESULT(orv_table_get_index_from_configuration(t.get(), bad), kNone, orv_error_usage);
  EXPECT_EQ(orv_table_get_index_from_configuration(t.get(), nullptr), kNone);
  EXPECT_EQ(orv_table_get_configuration_from_index(t.get(), config.data(), 12), orv_error_usage);
  EXPECT_RESULT(orv_table_get_size(reinterpret_cast<orv_table_t>(a)), kNone, orv_error_usage);  // wrong handle kind
  orv_node_t ab[] = {a, b, nullptr};
  Owned<orv_table_s> u(_orv_create_table(d.get(), ab, orv_table_utility, 0, false, false));
  EXPECT_EQ(orv_table_get_data(u.get())[2], 0.0);  // utility tables start at 0
}

TEST(TableSize, OverflowIsReportedOnlyBySizeGettersAndRefusedByAllocation) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B");
  a->state_count = size_t{1} << 40;  // too large to build through the API
  b->state_count = size_t{1} << 40;
  orv_node_t ab[] = {a, b, nullptr};
  Owned<orv_table_s> t(_orv_create_table(d.get(), ab, orv_table_probability, 0, false, false));
  EXPECT_RESULT(orv_table_get_size(t.get()), kNone, orv_error_size_too_large);
  EXPECT_EQ(orv_table_get_cg_size(t.get()), 0u);
  EXPECT_RESULT(orv_table_get_data(t.get()), nullptr, orv_error_no_memory);
  const size_t config[] = {0, 0};
  EXPECT_EQ(orv_table_get_index_from_configuration(t.get(), config), kNone);
  a->state_count = b->state_count = 1;
}

TEST(CgBlocks, PositionsOfMeansAndCovariances) {
  auto d = new_domain();
  orv_node_t x = add_continuous(d.get(), "X"), y = add_continuous(d.get(), "Y"), z = add_continuous(d.get(), "Z");
  TablePtr t(table_over(d.get(), {x, y, z}));
  EXPECT_EQ(t->block_size, 9u);
  const auto at = [&](size_t i, size_t j) { return orv_cg_matrix_index(t.get(), i, j); };
  EXPECT_EQ((std::vector<size_t>{orv_cg_vector_index(t.get(), 0), orv_cg_vector_index(t.get(), 2), at(0, 2), at(2, 2),
                                 at(1, 0), at(0, 1), at(0, 0)}),
            (std::vector<size_t>{0, 5, 6, 8, 3, 3, 1}));
  // Every position of the block is named exactly once.
  std::vector<int> seen(9, 0);
  for (size_t i = 0; i < 3; ++i) {
    ++seen[orv_cg_vector_index(t.get(), i)];
    for (size_t j = 0; j <= i; ++j) ++seen[orv_cg_matrix_index(t.get(), i, j)];
  }
  EXPECT_EQ(seen, std::vector<int>(9, 1));
  EXPECT_RESULT(orv_cg_vector_index(t.get(), 3), kNone, orv_error_usage);
  EXPECT_EQ(orv_cg_matrix_index(t.get(), 0, 3), kNone);
  EXPECT_EQ(orv_cg_tail_count(t.get()), 0u);
  // A fresh probability table has no CG information yet: no head to read.
  EXPECT_RESULT(orv_table_get_mean(t.get(), 0, x), -1.0, orv_error_usage);
}

TEST(NodeTables, AreBuiltOverTheFamily) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B"), c = add_node(d.get(), "C");
  set_state_count(a, 2), set_state_count(b, 3), set_state_count(c, 2);
  link(a, c), link(b, c);
  orv_table_t tc = orv_node_get_table(c);
  ASSERT_NE(tc, nullptr);
  EXPECT_EQ(orv_node_get_table(c), tc);  // created once
  EXPECT_EQ(test::names_of(orv_table_get_nodes(tc)), (std::vector<std::string>{"B", "A", "C"}));
  EXPECT_EQ(tc->type, orv_table_probability);
  EXPECT_EQ(tc->node, c);
  EXPECT_EQ(tc->number, d->table_count);
  EXPECT_EQ(table_values(tc), std::vector<double>(12, 1.0));

  orv_node_t u = add_node(d.get(), "U", orv_category_utility, orv_kind_other);
  link(a, u);
  orv_table_t tu = orv_node_get_table(u);
  ASSERT_NE(tu, nullptr);
  EXPECT_EQ(test::names_of(orv_table_get_nodes(tu)), (std::vector<std::string>{"A"}));
  EXPECT_EQ(tu->type, orv_table_utility);
  EXPECT_EQ(orv_table_get_data(tu)[1], 0.0);

  orv_node_t f = add_node(d.get(), "F", orv_category_function, orv_kind_discrete);
  link(a, f);
  EXPECT_EQ(test::names_of(orv_table_get_nodes(orv_node_get_table(f))), (std::vector<std::string>{"F"}));
  orv_node_t g = add_node(d.get(), "G", orv_category_function, orv_kind_other);
  EXPECT_RESULT(orv_node_get_table(g), nullptr, orv_error_usage);
  b->class_node = a;  // pretend b was copied from a class node
  EXPECT_RESULT(orv_node_get_table(b), nullptr, orv_error_usage);
  b->class_node = nullptr;
  EXPECT_EQ(orv_node_get_table(nullptr), nullptr);
}

TEST(NodeTables, ContinuousNodesGetHeadTailRolesAndUnitVariance) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A");
  set_state_count(a, 3);
  orv_node_t x = add_continuous(d.get(), "X"), y = add_continuous(d.get(), "Y");
  link(a, x), link(y, x);
  orv_table_t tx = orv_node_get_table(x);
  ASSERT_NE(tx, nullptr);
  EXPECT_EQ(test::names_of(orv_table_get_nodes(tx)), (std::vector<std::string>{"A", "X", "Y"}));
  EXPECT_EQ(std::vector<int>(tx->roles.begin(), tx->roles.end()), (std::vector<int>{kRoleHead, kRoleTail}));
  EXPECT_EQ(orv_cg_tail_count(tx), 1u);
  for (size_t i = 0; i < 3; ++i)
    for (size_t q = 0; q < 5; ++q) EXPECT_EQ(tx->cg_data[i * 5 + q], q == 1 ? 1.0 : 0.0) << i << "," << q;
  EXPECT_RESULT(orv_table_get_mean(tx, 0, x), -1.0, orv_error_usage);  // tails present

  orv_table_t ty = orv_node_get_table(y);  // no parents: head only
  ASSERT_NE(ty, nullptr);
  ty->cg_data[0] = 2.5;
  EXPECT_RESULT(orv_table_get_mean(ty, 0, y), 2.5, orv_error_none);
  EXPECT_EQ((std::vector<double>{orv_table_get_variance(ty, 0, y), orv_table_get_covariance(ty, 0, y, y)}),
            (std::vector<double>{1.0, 1.0}));
  // Out of range, not in the table, not continuous.
  for (auto [i, n] : {std::pair{1, y}, {0, x}, {0, a}}) EXPECT_EQ(orv_table_get_mean(ty, i, n), -1.0) << i;
  EXPECT_RESULT(orv_table_get_variance(ty, 0, nullptr), -1.0, orv_error_usage);
}

TEST(NodeTables, CreationFailureLeavesNoTable) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), x = add_continuous(d.get(), "X");
  link(a, x);
  const auto clean = test::expect_no_memory_sweep("node table", [&] { return orv_node_get_table(x); }, [&] {
    EXPECT_EQ(x->table, nullptr);
    EXPECT_EQ(d->table_count, 0u);
  });
  ASSERT_NE(clean.result, nullptr);
}

TEST(TableInstantiate, KeepsTheSliceOfTheGivenState) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B"), c = add_node(d.get(), "C");
  orv_node_t one = add_node(d.get(), "One"), x = add_continuous(d.get(), "X");
  set_state_count(a, 2), set_state_count(b, 3), set_state_count(c, 2);
  TablePtr t(table_over(d.get(), {a, b, one, c, x}));
  test::fill_distinct(t.get());
  const auto before = test::configurations(t.get());
  const test::TableSnapshot old = test::snapshot(t.get());

  _orv_table_instantiate(t.get(), b, 2);
  EXPECT_EQ(test::names_of(t->nodes.c_list()), (std::vector<std::string>{"A", "One", "C", "X"}));
  EXPECT_EQ(t->size, 4u);
  EXPECT_EQ(t->discrete_count, 3u);
  for (size_t i = 0; i < old.size; ++i) {
    if (before[i].at(b) != 2) continue;
    test::Assignment kept = before[i];
    kept.erase(b);
    EXPECT_EQ(test::entry(t.get(), kept), old.data[i]);
    const size_t at = orv_table_get_index_from_configuration(t.get(), std::vector<size_t>{kept[a], 0, kept[c]}.data());
    for (size_t q = 0; q < t->block_size; ++q) EXPECT_EQ(t->cg_data[at * 2 + q], old.cg_data[i * 2 + q]);
  }
  const test::TableSnapshot sliced = test::snapshot(t.get());
  _orv_table_instantiate(t.get(), one, 0);  // a single state: just removed
  EXPECT_EQ(t->discrete_count, 2u);
  EXPECT_EQ(test::snapshot(t.get()).data, sliced.data);
  _orv_table_instantiate(t.get(), b, 0);  // no longer in the table
  _orv_table_instantiate(t.get(), x, 0);  // not discrete
  EXPECT_EQ(t->nodes.size(), 3u);
}

TEST(TableDelete, FreesLooseAndLearningTablesButKeepsNodeTables) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B");
  link(a, b);
  orv_table_t own = orv_node_get_table(b);
  ASSERT_NE(own, nullptr);
  orv_node_t parents[] = {a, nullptr};
  b->experience = _orv_create_table(d.get(), parents, orv_table_experience, 0, true, true);
  b->experience->node = b;
  EXPECT_EQ(d->table_count, 2u);
  EXPECT_EQ(orv_table_delete(own), orv_error_none);
  EXPECT_EQ(b->table, own);
  EXPECT_EQ(orv_table_delete(b->experience), orv_error_none);
  EXPECT_EQ(b->experience, nullptr);
  EXPECT_EQ(d->table_count, 1u);
  EXPECT_EQ(own->number, 1u);
  test::LiveBlocks live;
  orv_table_s *loose = _orv_discrete_clone_table(own);
  EXPECT_EQ(orv_table_delete(loose), orv_error_none);
  EXPECT_EQ(live.delta(), 0);
}

TEST(TableContract, BadHandlesGiveUsageAndTheFailureValue) {
  auto d = test::new_domain();
  orv_node_t a = test::add_node(d.get(), "A");
  orv_table_t good = orv_node_get_table(a);
  ASSERT_NE(good, nullptr);
  size_t config[1] = {0};
  // A node handle where a table is expected is caught by the record tag.
  for (orv_table_t bad : {static_cast<orv_table_t>(nullptr), reinterpret_cast<orv_table_t>(a)}) {
    const std::vector<test::UsageCall> calls = {
        {"get_nodes", [&] { return orv_table_get_nodes(bad) == nullptr; }},
        {"get_data", [&] { return orv_table_get_data(bad) == nullptr; }},
        {"get_size", [&] { return orv_table_get_size(bad) == kNone; }},
        {"get_cg_size", [&] { return orv_table_get_cg_size(bad) == kNone; }},
        {"index", [&] { return orv_table_get_index_from_configuration(bad, config) == kNone; }},
        {"configuration", [&] { return orv_table_get_configuration_from_index(bad, config, 0) == orv_error_usage; }},
        {"mean", [&] { return orv_table_get_mean(bad, 0, a) == -1.0; }},
        {"covariance", [&] { return orv_table_get_covariance(bad, 0, a, a) == -1.0; }},
        {"variance", [&] { return orv_table_get_variance(bad, 0, a) == -1.0; }},
        {"vector_index", [&] { return orv_cg_vector_index(bad, 0) == kNone; }},
        {"matrix_index", [&] { return orv_cg_matrix_index(bad, 0, 0) == kNone; }},
        {"tail_count", [&] { return orv_cg_tail_count(bad) == kNone; }},
        {"reorder", [&] { return orv_table_reorder_nodes(bad, good->nodes.c_list()) == orv_error_usage; }},
        {"delete", [&] { return orv_table_delete(bad) == orv_error_usage; }},
        {"set_user_data", [&] { return orv_table_set_user_data(bad, nullptr) == orv_error_usage; }},
        {"get_user_data", [&] { return orv_table_get_user_data(bad) == nullptr; }},
    };
    test::expect_usage_calls(calls, [&] { return orv_table_get_size(good) == 1u; });
  }
  EXPECT_RESULT(orv_node_get_table(reinterpret_cast<orv_node_t>(good)), nullptr, orv_error_usage);
}

using Values = std::vector<double>;

orv_error_t normalize(orv_table_s *t, ZeroSum mode) {
  return static_cast<orv_error_t>(guarded_status([&] { normalize_conditional(t, mode); }));
}

TEST(ConditionalTables, NormalisationChecksEntriesAndSums) {
  auto d = test::new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B");
  test::set_state_count(a, 2), test::set_state_count(b, 3);
  TablePtr t(table_over(d.get(), {a, b}));
  put(t.get(), {1, 1, 2, 0, 0, 0});
  EXPECT_EQ(normalize(t.get(), ZeroSum::refuse), orv_error_invalid_probability_potential);
  put(t.get(), {1, 1, 2, 0, 0, 0});
  EXPECT_EQ(normalize(t.get(), ZeroSum::uniform), orv_error_none);
  EXPECT_EQ(entries(t.get()), (Values{0.25, 0.25, 0.5, 1.0 / 3, 1.0 / 3, 1.0 / 3}));
  for (double bad : {-0.1, double(NAN), double(INFINITY), DBL_MAX}) {
    t->data[4] = bad;
    EXPECT_EQ(normalize(t.get(), ZeroSum::uniform), orv_error_invalid_probability_potential) << bad;
  }
  put(t.get(), {DBL_MAX / 2, DBL_MAX / 2, DBL_MAX / 2, 1, 1, 1});
  EXPECT_EQ(normalize(t.get(), ZeroSum::uniform), orv_error_invalid_probability_potential);

  // A table without data gets its defaults first; one with CG nodes is all 1.0.
  Owned<orv_table_s> fresh(_orv_create_table(d.get(), t->nodes.c_list(), orv_table_probability, 0, false, false));
  EXPECT_EQ(normalize(fresh.get(), ZeroSum::refuse), orv_error_none);
  EXPECT_EQ(entries(fresh.get()), Values(6, 1.0 / 3));
  orv_node_t x = test::add_continuous(d.get(), "X");
  TablePtr cg(table_over(d.get(), {a, x}));
  put(cg.get(), {-5, 7});
  EXPECT_EQ(normalize(cg.get(), ZeroSum::refuse), orv_error_none);
  EXPECT_EQ(entries(cg.get()), (Values{1, 1}));
}

}  // namespace
}  // namespace orv
