// States: the number of states with every involved table resized, labels
// and their lookup, and failure paths that must leave everything unchanged.
#include <gtest/gtest.h>

#include "model/chain_blocks.h"
#include "model/node.h"
#include "runtime/error.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "support/table_fixture.h"
#include "tables/table.h"

namespace orv {
namespace {

using namespace test;
constexpr size_t kNone = static_cast<size_t>(-1);

TEST(StateLabels, DefaultsAndLookup) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A");
  EXPECT_EQ(orv_node_get_number_of_states(a), 1u);
  EXPECT_EQ(orv_node_get_state_index_from_label(a, ""), 0);
  set_state_count(a, 3);
  EXPECT_STREQ(orv_node_get_state_label(a, 2), "");
  EXPECT_EQ(orv_node_get_state_index_from_label(a, ""), -1);  // every state has it
  ASSERT_EQ(orv_node_set_state_label(a, 1, "mid"), orv_error_none);
  EXPECT_STREQ(orv_node_get_state_label(a, 1), "mid");
  EXPECT_EQ(orv_node_get_state_index_from_label(a, "mid"), 1);
  EXPECT_RESULT(orv_node_get_state_index_from_label(a, "none"), -1, orv_error_none);
  ASSERT_EQ(orv_node_set_state_label(a, 2, "mid"), orv_error_none);
  EXPECT_EQ(orv_node_get_state_index_from_label(a, "mid"), -1);  // not unique
  ASSERT_EQ(orv_node_set_state_label(a, 2, "high"), orv_error_none);
  EXPECT_EQ(orv_node_get_state_index_from_label(a, "high"), 2);

  orv_node_t b = add_node(d.get(), "B");
  set_state_count(b, 2);
  ASSERT_EQ(orv_node_set_subtype(b, orv_subtype_boolean), orv_error_none);
  EXPECT_STREQ(orv_node_get_state_label(b, 0), "false");
  EXPECT_STREQ(orv_node_get_state_label(b, 1), "true");
  EXPECT_EQ(orv_node_get_state_index_from_label(b, "true"), 1);
  ASSERT_EQ(orv_node_set_state_label(b, 1, "yes"), orv_error_none);
  EXPECT_STREQ(orv_node_get_state_label(b, 1), "yes");
  ASSERT_EQ(orv_node_set_state_label(b, 0, ""), orv_error_none);  // an explicit empty label
  EXPECT_STREQ(orv_node_get_state_label(b, 0), "");
}

TEST(StateLabels, RefuseBadArguments) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A");
  orv_node_t x = test::add_continuous(d.get(), "X");
  set_state_count(a, 2);
  EXPECT_RESULT(orv_node_get_state_label(a, 2), nullptr, orv_error_usage);
  EXPECT_EQ(orv_node_get_state_label(x, 0), nullptr);
  EXPECT_EQ(orv_node_set_state_label(a, 2, "c"), orv_error_usage);
  EXPECT_EQ(orv_node_set_state_label(a, 0, nullptr), orv_error_usage);
  EXPECT_RESULT(orv_node_get_state_index_from_label(a, nullptr), -1, orv_error_usage);
  EXPECT_RESULT(orv_node_get_state_index_from_label(x, "a"), -1, orv_error_usage);
  a->temporal_clone = true;
  EXPECT_EQ(orv_node_set_state_label(a, 0, "a"), orv_error_usage);
  a->temporal_clone = false;
  a->class_node = x;
  EXPECT_EQ(orv_node_set_state_label(a, 0, "a"), orv_error_usage);
  EXPECT_EQ(orv_node_set_number_of_states(a, 3), orv_error_usage);
  a->class_node = nullptr;
  EXPECT_STREQ(orv_node_get_state_label(a, 0), "");  // nothing was stored

  EXPECT_RESULT(orv_node_get_number_of_states(x), kNone, orv_error_usage);
  EXPECT_EQ(orv_node_set_number_of_states(x, 2), orv_error_usage);
  EXPECT_EQ(orv_node_set_number_of_states(a, 0), orv_error_usage);
  EXPECT_EQ(orv_node_set_number_of_states(a, 2), orv_error_none);  // unchanged count
  ASSERT_EQ(orv_node_set_subtype(a, orv_subtype_boolean), orv_error_none);
  EXPECT_EQ(orv_node_set_number_of_states(a, 3), orv_error_usage);
  EXPECT_EQ(orv_node_get_number_of_states(a), 2u);
}

TEST(NumberOfStates, GrowingKeepsEntriesOfOldStatesInEveryTable) {
  Family f;
  const auto before = f.tables();
  const auto old_b = test::configurations(f.tb);
  ASSERT_EQ(orv_node_set_number_of_states(f.a, 5), orv_error_none);
  EXPECT_EQ(orv_node_get_number_of_states(f.a), 5u);
  EXPECT_EQ(orv_table_get_size(f.ta), 5u);
  EXPECT_EQ(orv_table_get_size(f.tb), 10u);
  EXPECT_EQ(orv_table_get_size(f.tx), 5u);
  EXPECT_EQ(orv_table_get_size(f.eb), 5u);
  // A's own table and the experience table: old states kept, new ones initial.
  EXPECT_EQ(snapshot(f.ta).data, (std::vector<double>{1, 2, 3, 1, 1}));
  EXPECT_EQ(snapshot(f.eb).data, (std::vector<double>{1, 2, 3, 0, 0}));
  // B's table: the entry of every old configuration is where it was.
  for (size_t i = 0; i < old_b.size(); ++i) EXPECT_EQ(test::entry(f.tb, old_b[i]), before[1].data[i]);
  EXPECT_EQ(test::entry(f.tb, {{f.a, 4}, {f.b, 1}}), 1.0);
  // X's CG blocks: old blocks kept, new ones fresh with unit variance.
  const auto cg = snapshot(f.tx).cg_data;
  ASSERT_EQ(cg.size(), 10u);
  EXPECT_EQ(std::vector<double>(cg.begin(), cg.begin() + 6), before[2].cg_data);
  EXPECT_EQ(std::vector<double>(cg.begin() + 6, cg.end()), (std::vector<double>{0, 1, 0, 1}));
  // Labels: old ones kept, new states have none.
  EXPECT_STREQ(orv_node_get_state_label(f.a, 2), "hi");
  EXPECT_STREQ(orv_node_get_state_label(f.a, 4), "");
}

TEST(NumberOfStates, ShrinkingDropsEntriesAndLabelsOfRemovedStates) {
  Family f;
  const auto before = f.tables();
  ASSERT_EQ(orv_node_set_number_of_states(f.a, 2), orv_error_none);
  EXPECT_EQ(snapshot(f.ta).data, (std::vector<double>{1, 2}));
  EXPECT_EQ(snapshot(f.tb).data, (std::vector<double>{1, 2, 3, 4}));
  EXPECT_EQ(snapshot(f.tx).cg_data, std::vector<double>(before[2].cg_data.begin(), before[2].cg_data.begin() + 4));
  EXPECT_EQ(orv_node_get_state_index_from_label(f.a, "hi"), -1);
  ASSERT_EQ(orv_node_set_number_of_states(f.a, 3), orv_error_none);
  EXPECT_STREQ(orv_node_get_state_label(f.a, 2), "");  // the label did not come back

  // The child itself as last dimension: B from 2 to 3 within each A block.
  ASSERT_EQ(orv_node_set_number_of_states(f.b, 3), orv_error_none);
  EXPECT_EQ(snapshot(f.tb).data, (std::vector<double>{1, 2, 1, 3, 4, 1, 1, 1, 1}));
  EXPECT_EQ(snapshot(f.eb).data.size(), 3u);  // B is not in its experience table
}

TEST(NumberOfStates, NoMemoryAtEveryAllocationLeavesEverythingAsItWas) {
  for (size_t target : {5u, 2u}) {
    Family f;
    const auto before = f.tables();
    const auto clean = test::expect_no_memory_sweep(
        std::to_string(target) + " states", [&] { return orv_node_set_number_of_states(f.a, target); }, [&] {
          EXPECT_EQ(orv_node_get_number_of_states(f.a), 3u);
          EXPECT_EQ(f.tables(), before);
          EXPECT_STREQ(orv_node_get_state_label(f.a, 2), "hi");
        });
    ASSERT_EQ(clean.result, orv_error_none);
    EXPECT_EQ(orv_table_get_size(f.tb), target * 2);
  }
}

TEST(NumberOfStates, TablesWithoutDataOnlyChangeShape) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B");
  orv_node_t ab[] = {a, b, nullptr};
  b->table = _orv_create_table(d.get(), ab, orv_table_probability, 0, false, true);
  b->table->node = b;
  link(a, b);
  set_state_count(a, 4);
  set_state_count(b, 3);
  EXPECT_EQ(orv_table_get_size(b->table), 12u);
  EXPECT_EQ(b->table->data, nullptr);
  EXPECT_EQ(orv_table_get_data(b->table)[11], 1.0);
}

TEST(NumberOfStates, ChainPotentialsFollowTheirNodes) {
  auto d = new_domain();
  orv_node_t p = add_node(d.get(), "P"), a = add_node(d.get(), "A"), b = add_node(d.get(), "B");
  set_state_count(p, 2), set_state_count(a, 2), set_state_count(b, 2);
  ASSERT_EQ(orv_node_add_parent(a, p), orv_error_none);
  ASSERT_EQ(orv_node_add_parent(b, p), orv_error_none);
  orv_node_t pab[] = {p, a, b, nullptr};
  orv_table_s *potential = _orv_create_table(d.get(), pab, orv_table_probability, 0, true, true);
  ASSERT_EQ(guarded_status([&] { _orv_domain_add_chain_potential(d.get(), potential, 2); }), orv_error_none);
  test::fill_distinct(potential);
  const auto old = test::configurations(potential);
  const auto before = snapshot(potential);

  set_state_count(p, 3);  // a parent of the block's members
  EXPECT_EQ(orv_table_get_size(potential), 12u);
  for (size_t i = 0; i < old.size(); ++i) EXPECT_EQ(test::entry(potential, old[i]), before.data[i]);
  ASSERT_EQ(orv_node_set_state_label(a, 0, "a0"), orv_error_none);
  ASSERT_EQ(orv_node_set_state_label(a, 1, "a1"), orv_error_none);
  const char *order[] = {"a1", "a0", nullptr};  // a block member
  ASSERT_EQ(orv_node_reorder_states(a, order), orv_error_none);
  for (size_t i = 0; i < old.size(); ++i) {
    test::Assignment moved = old[i];
    moved[a] = 1 - moved[a];
    EXPECT_EQ(test::entry(potential, moved), before.data[i]);
  }
}

}  // namespace
}  // namespace orv
