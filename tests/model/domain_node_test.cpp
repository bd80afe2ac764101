// Domains and nodes through the public API: creation rules, numbering, names
// and the name index, deletion, cloning (tables, labels, values, attributes),
// types, category counts, table and type settings, random deviates, and
// attributes on domains and nodes.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

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

TEST(NodeCreation, FollowsTheCategoryKindTableAndKeepsCgAndLimidNodesApart) {
  const orv_error_t none = orv_error_none, usage = orv_error_usage, cg_limid = orv_error_cg_limids_not_supported;
  const struct {
    int domain;  // each domain's calls run in order
    orv_category_t category;
    orv_kind_t kind;
    orv_error_t code;
  } cases[] = {
      {0, orv_category_chance, orv_kind_discrete, none},     {0, orv_category_function, orv_kind_other, none},
      {0, orv_category_function, orv_kind_discrete, none},   {0, orv_category_function, orv_kind_continuous, usage},
      {0, orv_category_chance, orv_kind_other, usage},       {0, orv_category_instance, orv_kind_other, usage},
      {0, static_cast<orv_category_t>(3), orv_kind_discrete, usage},
      {0, orv_category_utility, orv_kind_discrete, none},  // kind ignored: other
      {1, orv_category_decision, orv_kind_continuous, cg_limid}, {1, orv_category_chance, orv_kind_continuous, none},
      {1, orv_category_decision, orv_kind_discrete, cg_limid},   {1, orv_category_utility, orv_kind_other, cg_limid},
      {1, orv_category_function, orv_kind_other, none},          {2, orv_category_decision, orv_kind_discrete, none},
      {2, orv_category_chance, orv_kind_continuous, cg_limid},   {2, orv_category_chance, orv_kind_discrete, none},
  };
  test::DomainPtr domains[] = {new_domain(), new_domain(), new_domain()};
  int k = 0;
  for (const auto &c : cases) {
    orv_node_t n = orv_domain_new_node(domains[c.domain].get(), c.category, c.kind);
    EXPECT_EQ(n != nullptr, c.code == none) << "case " << k;
    EXPECT_EQ(orv_error_code(), c.code) << "case " << k++;
  }
  const orv_domain_t d = domains[0].get();
  EXPECT_EQ(orv_node_get_kind(orv_domain_get_first_node(d)), orv_kind_other);
  EXPECT_EQ(d->utility_count, 1u);
  EXPECT_EQ(d->discrete_count, 2u);  // the chance node and the discrete function node
  EXPECT_EQ(d->node_count, 4u);
  EXPECT_EQ(domains[2]->node_count, 2u);
}

TEST(NodeDeletion, NumbersStayDenseLinksGoAndClassCopiesStay) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A");
  orv_node_t b = add_node(d.get(), "B");
  orv_node_t c = add_node(d.get(), "C");
  link(a, b), link(b, c);
  EXPECT_EQ(chain_names(d.get()), (std::vector<std::string>{"C", "B", "A"}));
  EXPECT_EQ(c->number, 3u);
  EXPECT_EQ(orv_node_delete(b), orv_error_none);
  EXPECT_EQ(chain_names(d.get()), (std::vector<std::string>{"C", "A"}));
  EXPECT_EQ(c->number, 2u);
  EXPECT_EQ(a->number, 1u);
  EXPECT_RESULT(orv_domain_get_node_by_name(d.get(), "B"), nullptr, orv_error_none);
  EXPECT_EQ(names_of(orv_node_get_children(a)), std::vector<std::string>{});
  EXPECT_EQ(names_of(orv_node_get_parents(c)), std::vector<std::string>{});
  c->class_node = a;  // pretend C was copied from a class node
  EXPECT_EQ(orv_node_delete(c), orv_error_usage);
  c->class_node = nullptr;
  EXPECT_EQ(d->node_count, 2u);
}

TEST(NodeNames, ValidityRuleDependsOnTheOwner) {
  auto d = new_domain();
  orv_node_t n = orv_domain_new_node(d.get(), orv_category_chance, orv_kind_discrete);
  for (const char *good : {"a.b", "_", "a_1", "x.y.z", "A9"}) {
    EXPECT_EQ(orv_node_set_name(n, good), orv_error_none) << good;
    EXPECT_STREQ(orv_node_get_name(n), good);
  }
  for (const char *bad : {"1a", "a-b", "a.", "", ".a", "a..b", "é"}) {
    EXPECT_EQ(orv_node_set_name(n, bad), orv_error_invalid_name) << bad;
    EXPECT_STREQ(orv_node_get_name(n), "A9");  // the old name stays
  }
  EXPECT_FALSE(is_valid_name("a.b", false));  // nodes of classes: no dots
  EXPECT_TRUE(is_valid_name("a_b", false));
  orv_node_t m = add_node(d.get(), "M");
  EXPECT_EQ(orv_node_set_name(m, "A9"), orv_error_twice);
  EXPECT_EQ(orv_node_set_name(m, "M"), orv_error_none);  // its own name again
  EXPECT_EQ(orv_node_set_name(m, nullptr), orv_error_usage);
  orv_node_t unnamed = orv_domain_new_node(d.get(), orv_category_chance, orv_kind_discrete);
  EXPECT_EQ(orv_node_set_name(unnamed, ""), orv_error_invalid_name);  // no name is not a name
}

TEST(NodeNames, GeneratedFromCategoryAndNumberSkippingTakenNames) {
  auto d = new_domain();
  std::vector<orv_node_t> nodes;
  for (int i = 0; i < 9; ++i) nodes.push_back(orv_domain_new_node(d.get(), orv_category_chance, orv_kind_discrete));
  ASSERT_EQ(orv_node_set_name(nodes[0], "C4"), orv_error_none);
  ASSERT_EQ(orv_node_set_name(nodes[1], "C10"), orv_error_none);
  EXPECT_STREQ(orv_node_get_name(nodes[3]), "C11");  // number 4: C4 and C10 are taken
  for (auto [category, kind, name] : {std::tuple{orv_category_decision, orv_kind_discrete, "D10"},
                                      {orv_category_utility, orv_kind_other, "U11"},
                                      {orv_category_function, orv_kind_other, "F12"}})
    EXPECT_STREQ(orv_node_get_name(orv_domain_new_node(d.get(), category, kind)), name);
  EXPECT_EQ(orv_domain_get_node_by_name(d.get(), "C11"), nodes[3]);
}

// The index is built lazily and rebuilt as the domain grows; lookups stay
// exact through growth, renames, deletions and allocation failures.
TEST(NameIndex, LookupsFollowGrowthRenamesAndDeletions) {
  auto d = new_domain();
  std::vector<orv_node_t> nodes;
  for (int i = 0; i < 11; ++i)
    nodes.push_back(orv_domain_new_node(d.get(), orv_category_chance, orv_kind_discrete));
  EXPECT_EQ(orv_domain_get_node_by_name(d.get(), "C5"), nullptr);  // the first lookup builds
  for (int i = 0; i < 11; ++i) ASSERT_EQ(orv_node_set_name(nodes[i], ("N" + std::to_string(i)).c_str()), 0);
  for (int i = 11; i < 23; ++i) nodes.push_back(add_node(d.get(), ("N" + std::to_string(i)).c_str()));
  ASSERT_EQ(orv_node_set_name(nodes[3], "Renamed"), orv_error_none);
  EXPECT_EQ(orv_domain_get_node_by_name(d.get(), "N3"), nullptr);
  EXPECT_EQ(orv_domain_get_node_by_name(d.get(), "Renamed"), nodes[3]);
  ASSERT_EQ(orv_node_delete(nodes[7]), orv_error_none);
  EXPECT_EQ(orv_domain_get_node_by_name(d.get(), "N7"), nullptr);
  for (int i = 0; i < 23; ++i)
    if (i != 3 && i != 7) {
      EXPECT_EQ(orv_domain_get_node_by_name(d.get(), ("N" + std::to_string(i)).c_str()), nodes[i]);
    }
  // A lookup never fails for lack of memory: without its index it searches the nodes.
  for (std::size_t n = 0; n < 40; ++n) {
    d->names.clear();
    test::FailNthAllocation guard(n);
    EXPECT_EQ(orv_domain_get_node_by_name(d.get(), "N17"), nodes[17]) << n;
    EXPECT_EQ(orv_error_code(), orv_error_none) << n;
    EXPECT_EQ(orv_domain_get_node_by_name(d.get(), "N22"), nodes[22]) << n;
  }
}

TEST(NodeHandles, WrongKindsAndNullsAreUsageErrors) {
  auto d = new_domain();
  orv_node_t n = add_node(d.get(), "N");
  auto *as_node = reinterpret_cast<orv_node_t>(d.get());
  auto *as_domain = reinterpret_cast<orv_domain_t>(n);
  EXPECT_RESULT(orv_node_get_category(as_node), orv_category_error, orv_error_usage);
  EXPECT_RESULT(orv_domain_get_first_node(as_domain), nullptr, orv_error_usage);
  EXPECT_RESULT(orv_domain_get_node_by_name(d.get(), nullptr), nullptr, orv_error_usage);
  EXPECT_RESULT(orv_node_get_domain(n), d.get(), orv_error_none);  // the next good call reads 0
  EXPECT_EQ(orv_node_get_home_domain(n), d.get());
  EXPECT_RESULT(orv_node_get_home_class(n), nullptr, orv_error_none);
  int x = 0;
  std::size_t w = 0;
  EXPECT_EQ(orv_node_get_position(n, &x, &x), orv_error_usage);  // aliased or missing outputs
  EXPECT_EQ(orv_node_get_position(n, nullptr, &x), orv_error_usage);
  EXPECT_EQ(orv_domain_get_node_size(d.get(), &w, &w), orv_error_usage);
}

TEST(NodeTypes, CategoryCountsFollowCreationChangesAndDeletion) {
  auto d = test::new_domain();
  orv_node_t c1 = test::add_node(d.get(), "C1"), c2 = test::add_node(d.get(), "C2");
  test::add_node(d.get(), "D", orv_category_decision);
  orv_node_t u = test::add_node(d.get(), "U", orv_category_utility, orv_kind_other);
  orv_node_t f = test::add_node(d.get(), "F", orv_category_function, orv_kind_other);
  const auto counts = [&] {
    return std::vector<size_t>{orv_domain_get_number_of_chance_nodes(d.get()),
                               orv_domain_get_number_of_decision_nodes(d.get()),
                               orv_domain_get_number_of_utility_nodes(d.get()),
                               orv_domain_get_number_of_instance_nodes(d.get())};
  };
  EXPECT_EQ(counts(), (std::vector<size_t>{2, 1, 1, 0}));
  ASSERT_EQ(orv_node_set_category(c1, orv_category_decision), orv_error_none);
  ASSERT_EQ(orv_node_delete(u), orv_error_none);
  EXPECT_EQ(counts(), (std::vector<size_t>{1, 2, 0, 0}));

  // Tables: discrete and continuous nodes and utility nodes have one.
  EXPECT_EQ(orv_node_has_table(c2), 1);
  EXPECT_EQ(orv_node_has_table(f), 0);
  orv_node_t u2 = test::add_node(d.get(), "U2", orv_category_utility, orv_kind_other);
  EXPECT_EQ(orv_node_has_table(u2), 1);

  // Category and subtype together; a refusal of either changes neither.
  test::set_state_count(c2, 3);
  EXPECT_EQ(orv_node_set_discrete_type(c2, orv_category_decision, orv_subtype_boolean), orv_error_usage);
  EXPECT_EQ(orv_node_get_category(c2), orv_category_chance);
  EXPECT_EQ(orv_node_set_discrete_type(c2, orv_category_decision, orv_subtype_number), orv_error_none);
  EXPECT_EQ(orv_node_get_category(c2), orv_category_decision);
  EXPECT_EQ(orv_node_get_subtype(c2), orv_subtype_number);
  EXPECT_RESULT(orv_node_set_discrete_type(f, orv_category_chance, orv_subtype_label), orv_error_usage, orv_error_usage);
  EXPECT_EQ(orv_node_set_category(f, orv_category_chance), orv_error_usage);
  EXPECT_EQ(orv_node_set_category(c2, orv_category_utility), orv_error_usage);
  EXPECT_EQ(orv_node_set_subtype(c2, static_cast<orv_subtype_t>(34)), orv_error_usage);
  EXPECT_EQ(orv_node_set_subtype(u2, orv_subtype_number), orv_error_usage);  // no states
  EXPECT_EQ(orv_domain_get_number_of_decision_nodes(d.get()), 3u);
  EXPECT_EQ(orv_node_get_subtype(c2), orv_subtype_number);

  auto cg = new_domain();
  orv_node_t x = add_node(cg.get(), "X");
  ASSERT_NE(orv_domain_new_node(cg.get(), orv_category_chance, orv_kind_continuous), nullptr);
  EXPECT_EQ(orv_node_set_category(x, orv_category_decision), orv_error_cg_limids_not_supported);
  EXPECT_EQ(orv_node_get_category(x), orv_category_chance);
}

TEST(DomainQueries, RandomDeviatesRepeatAfterReseeding) {
  auto d = test::new_domain();
  const auto draw = [&] {
    std::vector<double> values;
    for (int i = 0; i < 5; ++i) values.push_back(orv_domain_get_uniform_deviate(d.get()));
    values.push_back(orv_domain_get_normal_deviate(d.get(), 3.0, 4.0));
    return values;
  };
  ASSERT_EQ(orv_domain_seed_random(d.get(), 310952), orv_error_none);
  const std::vector<double> first = draw();
  EXPECT_NE(draw(), first);  // the sequence moves on
  ASSERT_EQ(orv_domain_seed_random(d.get(), 310952), orv_error_none);
  EXPECT_EQ(draw(), first);
  double sum = 0.0, squares = 0.0;
  const int n = 20000;
  for (int i = 0; i < n; ++i) {
    const double u = orv_domain_get_uniform_deviate(d.get());
    ASSERT_TRUE(u >= 0.0 && u < 1.0) << u;
    const double v = orv_domain_get_normal_deviate(d.get(), 3.0, 4.0);
    sum += v;
    squares += v * v;
  }
  EXPECT_NEAR(sum / n, 3.0, 0.05);
  EXPECT_NEAR(squares / n - (sum / n) * (sum / n), 4.0, 0.15);
  EXPECT_EQ(orv_domain_get_normal_deviate(d.get(), 3.0, 0.0), 3.0);
  EXPECT_RESULT(orv_domain_get_normal_deviate(d.get(), 0.0, -1.0), -1.0, orv_error_usage);  // negative variance
}

using Pairs = std::vector<std::pair<std::string, std::string>>;

Pairs listed(orv_attribute_t a) {
  Pairs all;
  for (; a; a = orv_attribute_get_next(a)) all.emplace_back(orv_attribute_get_key(a), orv_attribute_get_value(a));
  return all;
}

TEST(Attributes, OrderReplacementDeletionAndNoMemory) {
  auto d = new_domain();
  orv_node_t n = add_node(d.get(), "N");
  // Keys and values long enough to live on the heap, not inline.
  const std::string key = "a_key_that_is_long_enough_to_need_the_heap", value(100, 'v'), other(100, 'w');
  const auto check_owner = [&](auto set, auto get, auto first) {
    EXPECT_EQ(set("a", "1"), orv_error_none);
    EXPECT_EQ(set("b", "2"), orv_error_none);
    EXPECT_EQ(set("a", "3"), orv_error_none);
    EXPECT_EQ(listed(first()), (Pairs{{"b", "2"}, {"a", "3"}}));  // replacement keeps its place
    EXPECT_STREQ(get("a"), "3");
    EXPECT_RESULT(get("c"), nullptr, orv_error_none);
    EXPECT_EQ(set("c", nullptr), orv_error_none);  // absent: nothing to delete
    // A new key, then a replaced value: every allocation may fail, changing nothing.
    for (const std::string *v : {&value, &other}) {
      const Pairs before = listed(first());
      const auto clean = test::expect_no_memory_sweep(
          *v, [&] { return set(key.c_str(), v->c_str()); }, [&] { EXPECT_EQ(listed(first()), before); });
      EXPECT_EQ(clean.result, orv_error_none);
    }
    EXPECT_EQ(set("b", nullptr), orv_error_none);
    EXPECT_EQ(listed(first()), (Pairs{{key, other}, {"a", "3"}}));
    for (const char *bad : {"a.b", "1a", ""}) EXPECT_EQ(set(bad, "x"), orv_error_invalid_name) << bad;
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

TEST(NodeCloneAndDelete, CarryTablesLabelsValuesAndAttributes) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B");
  set_state_count(a, 2), set_state_count(b, 3);
  link(a, b);
  ASSERT_EQ(orv_node_set_subtype(b, orv_subtype_number), orv_error_none);
  for (size_t s = 0; s < 3; ++s) ASSERT_EQ(orv_node_set_state_value(b, s, 10.0 * s), orv_error_none);
  ASSERT_EQ(orv_node_set_state_label(b, 1, "one"), orv_error_none);
  ASSERT_EQ(orv_node_set_attribute(b, "k1", "v1"), orv_error_none);
  ASSERT_EQ(orv_node_set_attribute(b, "k2", "v2"), orv_error_none);
  ASSERT_EQ(orv_node_set_label(b, "the b"), orv_error_none);
  orv_table_t tb = orv_node_get_table(b);
  test::fill_distinct(tb);

  orv_node_t clone = orv_node_clone(b);
  ASSERT_NE(clone, nullptr);
  EXPECT_EQ(orv_domain_get_first_node(d.get()), clone);
  EXPECT_STREQ(orv_node_get_name(clone), "C3");  // generated, not copied
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

  // Deleting a parent leaves its children's tables the slice of its state 0
  // (as removing the link does).
  EXPECT_EQ(orv_node_delete(a), orv_error_none);
  EXPECT_EQ(test::names_of(orv_table_get_nodes(tb)), (std::vector<std::string>{"B"}));
  EXPECT_EQ(snapshot(tb).data, (std::vector<double>{1, 2, 3}));
  EXPECT_EQ(d->table_count, 1u);
}

}  // namespace
}  // namespace orv
