// State values (storage, status rules, lookup by value) and the reordering
// of states with every table permuted along.
#include <gtest/gtest.h>

#include <cfloat>

#include "model/node.h"
#include "model/states.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "support/table_fixture.h"
#include "tables/table.h"

namespace orv {
namespace {

using namespace test;

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

TEST(ReorderStates, PermutesLabelsAndEveryTableKeepingTheDistribution) {
  Family f;
  const auto old_b = test::configurations(f.tb);
  const auto before_b = snapshot(f.tb), before_x = snapshot(f.tx), before_a = snapshot(f.ta);
  const char *order[] = {"hi", "lo", "mid", nullptr};  // lo->1, mid->2, hi->0
  ASSERT_EQ(orv_node_reorder_states(f.a, order), orv_error_none);
  const size_t to_new[] = {1, 2, 0};
  EXPECT_STREQ(orv_node_get_state_label(f.a, 0), "hi");
  EXPECT_STREQ(orv_node_get_state_label(f.a, 2), "mid");
  for (size_t i = 0; i < old_b.size(); ++i) {
    test::Assignment moved = old_b[i];
    moved[f.a] = to_new[moved[f.a]];
    EXPECT_EQ(test::entry(f.tb, moved), before_b.data[i]);
  }
  EXPECT_EQ(snapshot(f.ta).data, (std::vector<double>{3, 1, 2}));
  for (size_t s = 0; s < 3; ++s)
    for (size_t q = 0; q < 2; ++q) EXPECT_EQ(f.tx->cg_data[to_new[s] * 2 + q], before_x.cg_data[s * 2 + q]);
  // Reordering back restores the original layout.
  const char *back[] = {"lo", "mid", "hi", nullptr};
  ASSERT_EQ(orv_node_reorder_states(f.a, back), orv_error_none);
  EXPECT_EQ(snapshot(f.tb), before_b);
  EXPECT_EQ(snapshot(f.ta), before_a);
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

TEST(ReorderStates, NoMemoryAtEveryAllocationLeavesEverythingAsItWas) {
  Family f;
  const auto before = f.tables();
  const char *order[] = {"mid", "hi", "lo", nullptr};
  const auto clean = test::expect_no_memory_sweep("reorder", [&] { return orv_node_reorder_states(f.a, order); }, [&] {
    EXPECT_EQ(f.tables(), before);
    EXPECT_STREQ(orv_node_get_state_label(f.a, 0), "lo");
    EXPECT_STREQ(orv_node_get_state_label(f.a, 2), "hi");
  });
  ASSERT_EQ(clean.result, orv_error_none);
  EXPECT_STREQ(orv_node_get_state_label(f.a, 0), "mid");
}

}  // namespace
}  // namespace orv
