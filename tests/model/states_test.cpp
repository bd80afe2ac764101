// States: the number of states with every involved table resized, labels and
// their lookup, state values (storage, status rules, lookup by value), the
// reordering of states with every table permuted along, failure paths that
// leave everything unchanged, and the argument checks of the state,
// attribute and user-data entry points.
#include <gtest/gtest.h>

#include <cfloat>

#include "model/chain_blocks.h"
#include "model/node.h"
#include "model/states.h"
#include "runtime/error.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "support/model_checks.h"
#include "support/table_fixture.h"
#include "tables/table.h"

namespace orv {
namespace {

using namespace test;
constexpr size_t kNone = static_cast<size_t>(-1);

TEST(StateLabels, DefaultsLookupAndRefusals) {
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

  // Refusals store nothing.
  orv_node_t x = test::add_continuous(d.get(), "X");
  EXPECT_RESULT(orv_node_get_state_label(a, 3), nullptr, orv_error_usage);
  EXPECT_EQ(orv_node_get_state_label(x, 0), nullptr);
  EXPECT_EQ(orv_node_set_state_label(a, 3, "c"), orv_error_usage);
  EXPECT_EQ(orv_node_set_state_label(a, 0, nullptr), orv_error_usage);
  EXPECT_RESULT(orv_node_get_state_index_from_label(a, nullptr), -1, orv_error_usage);
  EXPECT_RESULT(orv_node_get_state_index_from_label(x, "a"), -1, orv_error_usage);
  a->temporal_clone = true;
  EXPECT_EQ(orv_node_set_state_label(a, 0, "a"), orv_error_usage);
  a->temporal_clone = false;
  a->class_node = x;
  EXPECT_EQ(orv_node_set_state_label(a, 0, "a"), orv_error_usage);
  EXPECT_EQ(orv_node_set_number_of_states(a, 4), orv_error_usage);
  a->class_node = nullptr;
  EXPECT_STREQ(orv_node_get_state_label(a, 0), "");

  EXPECT_RESULT(orv_node_get_number_of_states(x), kNone, orv_error_usage);
  EXPECT_EQ(orv_node_set_number_of_states(x, 2), orv_error_usage);
  EXPECT_EQ(orv_node_set_number_of_states(a, 0), orv_error_usage);
  EXPECT_EQ(orv_node_set_number_of_states(a, 3), orv_error_none);  // unchanged count
  EXPECT_EQ(orv_node_set_number_of_states(b, 3), orv_error_usage);  // boolean
  EXPECT_EQ(orv_node_get_number_of_states(a), 3u);
  EXPECT_EQ(orv_node_get_number_of_states(b), 2u);
}

// Every allocation may fail (no_memory, nothing changed); the clean run keeps
// the entries of old states in every table, and new states start initial:
// probability 1, experience 0, CG blocks of mean 0 and unit variance.
TEST(NumberOfStates, ResizesEveryTableKeepingOldStatesAndFailsCleanly) {
  const struct {
    size_t states;
    std::vector<double> a, b, experience, cg;  // A is the first dimension of B's and X's tables
  } cases[] = {
      {5, {1, 2, 3, 1, 1}, {1, 2, 3, 4, 5, 6, 1, 1, 1, 1}, {1, 2, 3, 0, 0}, {0, 1, 1000, 1001, 2000, 2001, 0, 1, 0, 1}},
      {2, {1, 2}, {1, 2, 3, 4}, {1, 2}, {0, 1, 1000, 1001}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(std::to_string(c.states) + " states");
    Family f;
    const auto before = f.tables();
    const auto clean = test::expect_no_memory_sweep(
        std::to_string(c.states) + " states", [&] { return orv_node_set_number_of_states(f.a, c.states); }, [&] {
          EXPECT_EQ(orv_node_get_number_of_states(f.a), 3u);
          EXPECT_EQ(f.tables(), before);
          EXPECT_STREQ(orv_node_get_state_label(f.a, 2), "hi");
        });
    ASSERT_EQ(clean.result, orv_error_none);
    EXPECT_EQ(orv_node_get_number_of_states(f.a), c.states);
    EXPECT_EQ(snapshot(f.ta).data, c.a);
    EXPECT_EQ(snapshot(f.tb).data, c.b);
    EXPECT_EQ(snapshot(f.tx).cg_data, c.cg);
    EXPECT_EQ(snapshot(f.eb).data, c.experience);
    // Kept states keep their labels, new ones have none: a removed label does not come back.
    ASSERT_EQ(orv_node_set_number_of_states(f.a, 4), orv_error_none);
    EXPECT_STREQ(orv_node_get_state_label(f.a, 2), c.states > 2 ? "hi" : "");
    EXPECT_STREQ(orv_node_get_state_label(f.a, 3), "");
  }

  // The child itself as last dimension: B from 2 to 3 within each A block.
  Family f;
  ASSERT_EQ(orv_node_set_number_of_states(f.b, 3), orv_error_none);
  EXPECT_EQ(snapshot(f.tb).data, (std::vector<double>{1, 2, 1, 3, 4, 1, 5, 6, 1}));
  EXPECT_EQ(snapshot(f.eb).data.size(), 3u);  // B is not in its experience table
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
  auto [p, a, b] = discrete_nodes(d.get(), {{"P", 2}, {"A", 2}, {"B", 2}});
  add_parents({{a, p}, {b, p}});
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

TEST(StatesContract, BadHandlesGiveUsageAndTheFailureValue) {
  auto d = test::new_domain();
  orv_node_t good = test::add_node(d.get(), "A");
  orv_table_t table = orv_node_get_table(good);
  const char *order[] = {"", nullptr};
  for (orv_node_t bad : {static_cast<orv_node_t>(nullptr), reinterpret_cast<orv_node_t>(table)}) {
    const auto bad_domain = reinterpret_cast<orv_domain_t>(bad);
    const auto bad_attribute = reinterpret_cast<orv_attribute_t>(bad);
    const std::vector<test::UsageCall> calls = {
        {"get_number_of_states", [&] { return orv_node_get_number_of_states(bad) == kNone; }},
        {"set_number_of_states", [&] { return orv_node_set_number_of_states(bad, 2) == orv_error_usage; }},
        {"get_state_label", [&] { return orv_node_get_state_label(bad, 0) == nullptr; }},
        {"set_state_label", [&] { return orv_node_set_state_label(bad, 0, "x") == orv_error_usage; }},
        {"index_from_label", [&] { return orv_node_get_state_index_from_label(bad, "x") == -1; }},
        {"set_state_value", [&] { return orv_node_set_state_value(bad, 0, 1.0) == orv_error_usage; }},
        {"get_state_value", [&] { return orv_node_get_state_value(bad, 0) == -1.0; }},
        {"index_from_value", [&] { return orv_node_get_state_index_from_value(bad, 1.0) == -1; }},
        {"reorder_states", [&] { return orv_node_reorder_states(bad, order) == orv_error_usage; }},
        {"set_attribute", [&] { return orv_node_set_attribute(bad, "k", "v") == orv_error_usage; }},
        {"get_attribute", [&] { return orv_node_get_attribute(bad, "k") == nullptr; }},
        {"first_attribute", [&] { return orv_node_get_first_attribute(bad) == nullptr; }},
        {"set_user_data", [&] { return orv_node_set_user_data(bad, nullptr) == orv_error_usage; }},
        {"get_user_data", [&] { return orv_node_get_user_data(bad) == nullptr; }},
        {"domain_set_attribute", [&] { return orv_domain_set_attribute(bad_domain, "k", "v") == orv_error_usage; }},
        {"domain_get_attribute", [&] { return orv_domain_get_attribute(bad_domain, "k") == nullptr; }},
        {"domain_first_attribute", [&] { return orv_domain_get_first_attribute(bad_domain) == nullptr; }},
        {"domain_set_user_data", [&] { return orv_domain_set_user_data(bad_domain, nullptr) == orv_error_usage; }},
        {"domain_get_user_data", [&] { return orv_domain_get_user_data(bad_domain) == nullptr; }},
        {"attribute_next", [&] { return orv_attribute_get_next(bad_attribute) == nullptr; }},
        {"attribute_key", [&] { return orv_attribute_get_key(bad_attribute) == nullptr; }},
        {"attribute_value", [&] { return orv_attribute_get_value(bad_attribute) == nullptr; }},
    };
    test::expect_usage_calls(calls, [&] { return orv_node_get_number_of_states(good) == 1u; });
  }
  EXPECT_EQ(orv_domain_get_first_attribute(d.get()), nullptr);
  EXPECT_EQ(orv_node_get_first_attribute(good), nullptr);
  EXPECT_EQ(orv_node_get_user_data(good), nullptr);
}

orv_node_t valued(orv_domain_t d, const char *name, orv_subtype_t subtype, std::vector<double> values) {
  orv_node_t n = add_node(d, name);
  const size_t count = subtype == orv_subtype_interval ? values.size() - 1 : values.size();
  set_state_count(n, count);
  EXPECT_EQ(orv_node_set_subtype(n, subtype), orv_error_none);
  for (size_t i = 0; i < values.size(); ++i) EXPECT_EQ(orv_node_set_state_value(n, i, values[i]), orv_error_none);
  return n;
}

TEST(StateValues, StorageAndDefaults) {
  auto d = new_domain();
  orv_node_t n = add_node(d.get(), "N");
  set_state_count(n, 3);
  ASSERT_EQ(orv_node_set_subtype(n, orv_subtype_interval), orv_error_none);
  EXPECT_EQ(orv_node_get_state_value(n, 0), -DBL_MAX);  // nothing stored yet
  EXPECT_EQ(orv_node_get_state_value(n, 1), -1.0);
  EXPECT_EQ(orv_node_get_state_value(n, 3), DBL_MAX);
  EXPECT_EQ(orv_node_set_state_value(n, 1, 0.5), orv_error_none);
  EXPECT_EQ(n->state_values, (Vector<double>{-DBL_MAX, 0.5, -1.0, DBL_MAX}));
  EXPECT_RESULT(orv_node_get_state_value(n, 4), -1.0, orv_error_usage);

  orv_node_t m = add_node(d.get(), "M");
  set_state_count(m, 2);
  EXPECT_EQ(orv_node_set_state_value(m, 0, 1.0), orv_error_usage);  // label node
  ASSERT_EQ(orv_node_set_subtype(m, orv_subtype_number), orv_error_none);
  EXPECT_RESULT(orv_node_get_state_value(m, 1), -1.0, orv_error_none);
  EXPECT_EQ(orv_node_set_state_value(m, 2, 1.0), orv_error_usage);  // number nodes: states only
  m->class_node = n;
  EXPECT_EQ(orv_node_set_state_value(m, 0, 1.0), orv_error_usage);
  m->class_node = nullptr;
  EXPECT_TRUE(m->state_values.empty());

  // The upper end follows changes of the number of states.
  ASSERT_EQ(orv_node_set_state_value(n, 0, 0.0), orv_error_none);
  ASSERT_EQ(orv_node_set_state_value(n, 2, 2.0), orv_error_none);
  ASSERT_EQ(orv_node_set_state_value(n, 3, 3.0), orv_error_none);
  set_state_count(n, 2);
  EXPECT_EQ(n->state_values, (Vector<double>{0.0, 0.5, 3.0}));
  set_state_count(n, 4);
  EXPECT_EQ(n->state_values, (Vector<double>{0.0, 0.5, -1.0, -1.0, 3.0}));
}

TEST(StateValues, StatusRules) {
  auto d = new_domain();
  const double lo = -DBL_MAX, hi = DBL_MAX;
  const struct {
    orv_subtype_t subtype;
    std::vector<double> values;
    int status;
  } cases[] = {
      {orv_subtype_number, {1, 2, 3}, 0},          {orv_subtype_number, {1, 1, 3}, 1},
      {orv_subtype_number, {lo, 2}, 2},            {orv_subtype_number, {1, hi}, 2},
      {orv_subtype_interval, {0, 1, 1, 2}, 0},     {orv_subtype_interval, {0, 1, 1, 1, 2}, 1},
      {orv_subtype_interval, {0, 2, 1}, 1},        {orv_subtype_interval, {lo, 0, hi}, 0},
      {orv_subtype_interval, {lo, lo, 0}, 2},      {orv_subtype_interval, {lo, lo, 0, 1}, 2},
      {orv_subtype_interval, {0, 1, hi, hi}, 2},
  };
  int k = 0;
  for (const auto &c : cases) {
    const std::string name = "N" + std::to_string(k++);
    EXPECT_EQ(_orv_node_check_status_of_state_values(valued(d.get(), name.c_str(), c.subtype, c.values)), c.status)
        << name;
  }
  EXPECT_EQ(_orv_node_check_status_of_state_values(add_node(d.get(), "U")), 1);
}

TEST(StateValues, LookupByValue) {
  auto d = new_domain();
  orv_node_t n = valued(d.get(), "N", orv_subtype_interval, {0, 1, 1, 2});
  orv_node_t open = valued(d.get(), "O", orv_subtype_interval, {-DBL_MAX, 0, 10, DBL_MAX});
  orv_node_t bad = valued(d.get(), "B", orv_subtype_interval, {0, 1, 1, 1, 2});
  orv_node_t num = valued(d.get(), "M", orv_subtype_number, {1, 2, 3});
  orv_node_t z = valued(d.get(), "Z", orv_subtype_number, {0, 1e-12});
  orv_node_t unsorted = valued(d.get(), "S", orv_subtype_number, {3, 1});  // needs values, not valid ones
  orv_node_t unset = add_node(d.get(), "U"), none = add_node(d.get(), "E"), label = add_node(d.get(), "L");
  ASSERT_EQ(orv_node_set_subtype(unset, orv_subtype_interval), orv_error_none);
  ASSERT_EQ(orv_node_set_subtype(none, orv_subtype_number), orv_error_none);
  const struct {
    orv_node_t node;
    double value;
    long state;
    orv_error_t code = orv_error_none;
  } cases[] = {
      {n, 1.0, 1},  // the point interval
      {n, 0.5, 0},        {n, 1.5, 2},       {n, 0.0, 0},         {n, 2.0, 2},       {n, -0.1, -1},
      {n, 2.1, -1},       {open, -1e300, 0}, {open, 0.0, 1},  // an inner boundary starts its interval
      {open, 10.0, 2},    {open, 1e300, 2},  {num, 2.000001, 1},  {num, 2.1, -1},    {num, 3.0, 2},
      {z, 0.0, 0},        {z, 1e-12, 1},     {z, 1e-13, -1},      {unsorted, 1.0, 1},
      {bad, 1.0, -1, orv_error_usage},       {unset, 0.0, -1, orv_error_usage},
      {none, 1.0, -1, orv_error_usage},      {label, 0.0, -1, orv_error_usage},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(orv_node_get_state_index_from_value(c.node, c.value), c.state) << c.node->name << " " << c.value;
    EXPECT_EQ(orv_error_code(), c.code) << c.node->name << " " << c.value;
  }
}

// Every allocation may fail (no_memory, nothing changed); the clean run moves
// labels and the entries of every table along A's new order.
TEST(ReorderStates, PermutesLabelsAndEveryTableAndFailsCleanly) {
  Family f;
  const auto before = f.tables();
  const char *order[] = {"hi", "lo", "mid", nullptr};
  const auto clean = test::expect_no_memory_sweep("reorder", [&] { return orv_node_reorder_states(f.a, order); }, [&] {
    EXPECT_EQ(f.tables(), before);
    EXPECT_STREQ(orv_node_get_state_label(f.a, 0), "lo");
    EXPECT_STREQ(orv_node_get_state_label(f.a, 2), "hi");
  });
  ASSERT_EQ(clean.result, orv_error_none);
  EXPECT_STREQ(orv_node_get_state_label(f.a, 0), "hi");
  EXPECT_STREQ(orv_node_get_state_label(f.a, 2), "mid");
  EXPECT_EQ(snapshot(f.ta).data, (std::vector<double>{3, 1, 2}));
  EXPECT_EQ(snapshot(f.tb).data, (std::vector<double>{5, 6, 1, 2, 3, 4}));
  EXPECT_EQ(snapshot(f.tx).cg_data, (std::vector<double>{2000, 2001, 0, 1, 1000, 1001}));
  EXPECT_EQ(snapshot(f.eb).data, (std::vector<double>{3, 1, 2}));
  // Reordering back restores the original layout.
  const char *back[] = {"lo", "mid", "hi", nullptr};
  ASSERT_EQ(orv_node_reorder_states(f.a, back), orv_error_none);
  EXPECT_EQ(f.tables(), before);
}

TEST(ReorderStates, RefusesBadOrdersAndNonLabelNodes) {
  Family f;
  const auto before = snapshot(f.tb);
  const auto refused = [&](std::vector<const char *> order) {
    order.push_back(nullptr);
    EXPECT_EQ(orv_node_reorder_states(f.a, order.data()), orv_error_usage);
    EXPECT_EQ(snapshot(f.tb), before);
    EXPECT_STREQ(orv_node_get_state_label(f.a, 0), "lo");
  };
  refused({"hi", "lo"});                 // too short
  refused({"hi", "lo", "mid", "lo"});    // too long
  refused({"hi", "lo", "lo"});           // a state twice
  refused({"hi", "lo", "other"});        // unknown label
  EXPECT_EQ(orv_node_reorder_states(f.a, nullptr), orv_error_usage);
  const char *same[] = {"lo", "mid", "hi", nullptr};
  EXPECT_EQ(orv_node_reorder_states(f.a, same), orv_error_none);
  EXPECT_EQ(snapshot(f.tb), before);
  ASSERT_EQ(orv_node_set_subtype(f.a, orv_subtype_number), orv_error_none);
  const char *order[] = {"hi", "lo", "mid", nullptr};
  EXPECT_EQ(orv_node_reorder_states(f.a, order), orv_error_usage);
  EXPECT_EQ(orv_node_reorder_states(f.x, order), orv_error_usage);
}

}  // namespace
}  // namespace orv
