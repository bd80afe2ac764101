// Domains and nodes through the public API: creation rules, numbering,
// names and the name index, deletion, cloning, types and graph lists.
#include <gtest/gtest.h>

#include "model/node.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"

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
  EXPECT_RESULT(orv_domain_new_node(nullptr, orv_category_chance, orv_kind_discrete), nullptr, orv_error_usage);
  const orv_domain_t d = domains[0].get();
  EXPECT_EQ(orv_node_get_kind(orv_domain_get_first_node(d)), orv_kind_other);
  EXPECT_EQ(d->utility_count, 1u);
  EXPECT_EQ(d->discrete_count, 2u);  // the chance node and the discrete function node
  EXPECT_EQ(d->node_count, 4u);
  EXPECT_EQ(domains[2]->node_count, 2u);
}

TEST(NodeNumbering, NewestFirstAndDenseAfterDeletion) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A");
  orv_node_t b = add_node(d.get(), "B");
  orv_node_t c = add_node(d.get(), "C");
  EXPECT_EQ(chain_names(d.get()), (std::vector<std::string>{"C", "B", "A"}));
  EXPECT_EQ(c->number, 3u);
  EXPECT_EQ(orv_node_delete(b), orv_error_none);
  EXPECT_EQ(chain_names(d.get()), (std::vector<std::string>{"C", "A"}));
  EXPECT_EQ(c->number, 2u);
  EXPECT_EQ(a->number, 1u);
  EXPECT_RESULT(orv_domain_get_node_by_name(d.get(), "B"), nullptr, orv_error_none);
  EXPECT_EQ(orv_node_delete(nullptr), orv_error_usage);
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
  orv_node_t dec = orv_domain_new_node(d.get(), orv_category_decision, orv_kind_discrete);
  EXPECT_STREQ(orv_node_get_name(dec), "D10");
  orv_node_t util = orv_domain_new_node(d.get(), orv_category_utility, orv_kind_other);
  EXPECT_STREQ(orv_node_get_name(util), "U11");
  orv_node_t fn = orv_domain_new_node(d.get(), orv_category_function, orv_kind_other);
  EXPECT_STREQ(orv_node_get_name(fn), "F12");
  EXPECT_EQ(orv_domain_get_node_by_name(d.get(), "C11"), nodes[3]);
}

// The index is built lazily and rebuilt as the domain grows; lookups stay
// exact through growth, renames and deletions.
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
    if (i != 3 && i != 7) EXPECT_EQ(orv_domain_get_node_by_name(d.get(), ("N" + std::to_string(i)).c_str()), nodes[i]);
}
TEST(NameIndex, LookupNeverFailsForLackOfMemory) {
  auto d = new_domain();
  std::vector<orv_node_t> nodes;
  for (int i = 0; i < 30; ++i) nodes.push_back(add_node(d.get(), ("N" + std::to_string(i)).c_str()));
  for (std::size_t n = 0; n < 40; ++n) {
    d->names.clear();
    test::FailNthAllocation guard(n);
    EXPECT_EQ(orv_domain_get_node_by_name(d.get(), "N17"), nodes[17]) << n;
    EXPECT_EQ(orv_error_code(), orv_error_none) << n;
    EXPECT_EQ(orv_domain_get_node_by_name(d.get(), "N29"), nodes[29]) << n;
  }
}

TEST(NodeTypes, CategoryAndSubtypeChanges) {
  auto d = new_domain();
  orv_node_t n = add_node(d.get(), "N");
  EXPECT_EQ(orv_node_set_subtype(n, orv_subtype_boolean), orv_error_usage);  // one state
  n->state_count = 3;
  EXPECT_EQ(orv_node_set_subtype(n, orv_subtype_boolean), orv_error_usage);
  n->state_count = 2;
  EXPECT_EQ(orv_node_set_subtype(n, orv_subtype_boolean), orv_error_none);
  EXPECT_EQ(orv_node_get_subtype(n), orv_subtype_boolean);
  EXPECT_EQ(orv_node_set_subtype(n, static_cast<orv_subtype_t>(34)), orv_error_usage);
  EXPECT_EQ(orv_node_set_category(n, orv_category_decision), orv_error_none);
  EXPECT_EQ(d->decision_count, 1u);
  EXPECT_EQ(d->chance_count, 0u);
  EXPECT_EQ(orv_node_set_category(n, orv_category_utility), orv_error_usage);
  EXPECT_EQ(orv_node_set_category(n, orv_category_chance), orv_error_none);
  EXPECT_EQ(d->chance_count, 1u);

  orv_node_t fn = orv_domain_new_node(d.get(), orv_category_function, orv_kind_discrete);
  EXPECT_EQ(orv_node_set_category(fn, orv_category_chance), orv_error_usage);
  orv_node_t u = orv_domain_new_node(d.get(), orv_category_utility, orv_kind_other);
  EXPECT_EQ(orv_node_set_subtype(u, orv_subtype_number), orv_error_usage);

  auto cg = new_domain();
  orv_node_t x = add_node(cg.get(), "X");
  ASSERT_NE(orv_domain_new_node(cg.get(), orv_category_chance, orv_kind_continuous), nullptr);
  EXPECT_EQ(orv_node_set_category(x, orv_category_decision), orv_error_cg_limids_not_supported);
  EXPECT_EQ(orv_node_get_category(x), orv_category_chance);
}

TEST(NodeHandles, WrongKindsAndNullsAreUsageErrors) {
  auto d = new_domain();
  orv_node_t n = add_node(d.get(), "N");
  auto *as_node = reinterpret_cast<orv_node_t>(d.get());
  auto *as_domain = reinterpret_cast<orv_domain_t>(n);
  EXPECT_RESULT(orv_node_get_category(as_node), orv_category_error, orv_error_usage);
  EXPECT_RESULT(orv_domain_get_first_node(as_domain), nullptr, orv_error_usage);
  EXPECT_EQ(orv_node_get_name(nullptr), nullptr);
  EXPECT_EQ(orv_node_get_parents(nullptr), nullptr);
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

}  // namespace
}  // namespace orv
