// Attributes on domains and nodes, and what node cloning and
// deletion do with tables, labels, values and attributes.
#include <gtest/gtest.h>

#include <utility>

#include "model/attributes.h"
#include "model/node.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "support/table_fixture.h"
#include "tables/table.h"

namespace orv {
namespace {

using namespace test;
using Pairs = std::vector<std::pair<std::string, std::string>>;

Pairs listed(orv_attribute_t a) {
  Pairs all;
  for (; a; a = orv_attribute_get_next(a)) all.emplace_back(orv_attribute_get_key(a), orv_attribute_get_value(a));
  return all;
}

TEST(Attributes, OrderReplacementAndDeletion) {
  auto d = new_domain();
  orv_node_t n = add_node(d.get(), "N");
  const auto check_owner = [](auto set, auto get, auto first) {
    EXPECT_EQ(set("a", "1"), orv_error_none);
    EXPECT_EQ(set("b", "2"), orv_error_none);
    EXPECT_EQ(set("a", "3"), orv_error_none);
    EXPECT_EQ(listed(first()), (Pairs{{"b", "2"}, {"a", "3"}}));  // replacement keeps its place
    EXPECT_STREQ(get("a"), "3");
    EXPECT_RESULT(get("c"), nullptr, orv_error_none);
    EXPECT_EQ(set("c", nullptr), orv_error_none);  // absent: nothing to delete
    EXPECT_EQ(set("c", "a value long enough to live on the heap, not inline"), orv_error_none);
    EXPECT_EQ(listed(first()).front().first, "c");
    EXPECT_EQ(set("b", nullptr), orv_error_none);
    EXPECT_EQ(listed(first()), (Pairs{{"c", "a value long enough to live on the heap, not inline"}, {"a", "3"}}));
    EXPECT_EQ(set("a.b", "x"), orv_error_invalid_name);
    EXPECT_EQ(set("1a", "x"), orv_error_invalid_name);
    EXPECT_EQ(set("", "x"), orv_error_invalid_name);
    EXPECT_EQ(set(nullptr, "x"), orv_error_usage);
    EXPECT_RESULT(get(nullptr), nullptr, orv_error_usage);
    EXPECT_EQ(listed(first()).size(), 2u);
  };
  check_owner([&](const char *k, const char *v) { return orv_domain_set_attribute(d.get(), k, v); },
              [&](const char *k) { return orv_domain_get_attribute(d.get(), k); },
              [&] { return orv_domain_get_first_attribute(d.get()); });
  check_owner([&](const char *k, const char *v) { return orv_node_set_attribute(n, k, v); },
              [&](const char *k) { return orv_node_get_attribute(n, k); },
              [&] { return orv_node_get_first_attribute(n); });
  EXPECT_EQ(orv_attribute_get_next(reinterpret_cast<orv_attribute_t>(n)), nullptr);  // wrong handle kind
  EXPECT_EQ(orv_error_code(), orv_error_usage);

  orv_attribute_s *raw = nullptr;  // file readers insert keys as stored
  _orv_insert_attribute(&raw, "not.a.name", "v", false);
  EXPECT_STREQ(find_attribute(raw, "not.a.name")->value.c_str(), "v");
  _orv_free_attribute_list(raw);
}

TEST(Attributes, NoMemoryLeavesTheListAsItWas) {
  auto d = new_domain();
  const std::string long_value(100, 'v');
  ASSERT_EQ(orv_domain_set_attribute(d.get(), "kept", long_value.c_str()), orv_error_none);
  const std::string other(100, 'w');
  for (const char *key : {"kept", "a_new_key_that_is_long_enough_to_need_the_heap"}) {
    const auto clean = test::expect_no_memory_sweep(
        key, [&] { return orv_domain_set_attribute(d.get(), key, other.c_str()); },
        [&] { EXPECT_EQ(listed(orv_domain_get_first_attribute(d.get())), (Pairs{{"kept", long_value}})); });
    ASSERT_EQ(clean.result, orv_error_none);
    ASSERT_EQ(orv_domain_set_attribute(d.get(), key, long_value.c_str()), orv_error_none);
    if (std::string(key) != "kept") {
      ASSERT_EQ(orv_domain_set_attribute(d.get(), key, nullptr), orv_error_none);
    }
  }
}

TEST(NodeCloneAndDelete, CarryTablesLabelsValuesAndAttributes) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B");
  orv_node_t x = test::add_continuous(d.get(), "X");
  orv_node_t y = test::add_continuous(d.get(), "Y");
  set_state_count(a, 2), set_state_count(b, 3);
  link(a, b), link(a, x), link(y, x);
  ASSERT_EQ(orv_node_set_subtype(b, orv_subtype_number), orv_error_none);
  for (size_t s = 0; s < 3; ++s) ASSERT_EQ(orv_node_set_state_value(b, s, 10.0 * s), orv_error_none);
  ASSERT_EQ(orv_node_set_state_label(b, 1, "one"), orv_error_none);
  ASSERT_EQ(orv_node_set_attribute(b, "k1", "v1"), orv_error_none);
  ASSERT_EQ(orv_node_set_attribute(b, "k2", "v2"), orv_error_none);
  ASSERT_EQ(orv_node_set_label(b, "the b"), orv_error_none);
  orv_table_t tb = orv_node_get_table(b), tx = orv_node_get_table(x);
  test::fill_distinct(tb), test::fill_distinct(tx);

  orv_node_t clone = orv_node_clone(b);
  ASSERT_NE(clone, nullptr);
  EXPECT_EQ(orv_domain_get_first_node(d.get()), clone);
  EXPECT_STREQ(orv_node_get_name(clone), "C5");  // generated, not copied
  EXPECT_STREQ(orv_node_get_label(clone), "the b");
  EXPECT_EQ(orv_node_get_subtype(clone), orv_subtype_number);
  EXPECT_EQ(test::names_of(orv_node_get_parents(clone)), (std::vector<std::string>{"A"}));
  EXPECT_EQ(orv_node_get_number_of_states(clone), 3u);
  EXPECT_STREQ(orv_node_get_state_label(clone, 1), "one");
  EXPECT_EQ(orv_node_get_state_value(clone, 2), 20.0);
  EXPECT_EQ(listed(orv_node_get_first_attribute(clone)), (Pairs{{"k2", "v2"}, {"k1", "v1"}}));
  orv_table_t tc = orv_node_get_table(clone);
  ASSERT_NE(tc, tb);
  EXPECT_EQ(tc->node, clone);
  EXPECT_EQ(test::names_of(orv_table_get_nodes(tc)), (std::vector<std::string>{"A", orv_node_get_name(clone)}));
  EXPECT_EQ(snapshot(tc).data, snapshot(tb).data);
  EXPECT_EQ(orv_node_set_attribute(clone, "k1", "changed"), orv_error_none);
  EXPECT_STREQ(orv_node_get_attribute(b, "k1"), "v1");  // a deep copy
  EXPECT_EQ(orv_node_delete(clone), orv_error_none);

  // Deleting a parent: the children's tables lose its dimension.
  const auto old_x = snapshot(tx);
  EXPECT_EQ(orv_node_delete(y), orv_error_none);  // continuous tail of X
  EXPECT_EQ(test::names_of(orv_table_get_nodes(tx)), (std::vector<std::string>{"A", "X"}));
  EXPECT_EQ(tx->block_size, 2u);
  EXPECT_EQ(tx->roles.size(), 1u);
  for (size_t i = 0; i < 2; ++i) {  // X's mean and variance stay
    EXPECT_EQ(tx->cg_data[i * 2], old_x.cg_data[i * 5]);
    EXPECT_EQ(tx->cg_data[i * 2 + 1], old_x.cg_data[i * 5 + 1]);
  }
  const auto old_b = snapshot(tb);
  EXPECT_EQ(orv_node_delete(a), orv_error_none);  // discrete: the slice of state 0 stays
  EXPECT_EQ(test::names_of(orv_table_get_nodes(tb)), (std::vector<std::string>{"B"}));
  EXPECT_EQ(snapshot(tb).data, (std::vector<double>{old_b.data[0], old_b.data[1], old_b.data[2]}));
  EXPECT_EQ(snapshot(tx).data, std::vector<double>{old_x.data[0]});
  EXPECT_EQ(d->table_count, 2u);
}

TEST(NodeCloneAndDelete, CloneFailureLeavesNothingBehind) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B");
  link(a, b);
  set_state_count(b, 3);
  ASSERT_EQ(orv_node_set_state_label(b, 0, "a label long enough to need the heap"), orv_error_none);
  ASSERT_EQ(orv_node_set_attribute(b, "key", "a value long enough to need the heap"), orv_error_none);
  ASSERT_EQ(orv_node_set_attribute(b, "other", "another value long enough to need the heap"), orv_error_none);
  ASSERT_NE(orv_node_get_table(b), nullptr);
  const auto clean = test::expect_no_memory_sweep("clone", [&] { return orv_node_clone(b); }, [&] {
    EXPECT_EQ(d->node_count, 2u);
    EXPECT_EQ(d->table_count, 1u);
  });
  ASSERT_NE(clean.result, nullptr);
}

}  // namespace
}  // namespace orv
