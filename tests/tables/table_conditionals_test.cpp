// Normalisation of tables as conditional distributions.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>

#include "runtime/error.h"
#include "support/domain_fixture.h"
#include "support/link_fixture.h"
#include "tables/table_conditionals.h"

namespace orv {
namespace {

using namespace test;
using Values = std::vector<double>;

Owned<orv_table_s> table(orv_domain_t d, std::vector<orv_node_t> nodes, const Values &data) {
  nodes.push_back(nullptr);
  Owned<orv_table_s> t(_orv_create_table(d, nodes.data(), orv_table_probability, 0, true, false));
  std::copy(data.begin(), data.end(), t->data);
  return t;
}

orv_error_t normalize(orv_table_s *t, ZeroSum mode) {
  return static_cast<orv_error_t>(guarded_status([&] { normalize_conditional(t, mode); }));
}

TEST(ConditionalTables, NormalisationChecksEntriesAndSums) {
  auto d = test::new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B");
  test::set_state_count(a, 2), test::set_state_count(b, 3);
  auto t = table(d.get(), {a, b}, {1, 1, 2, 0, 0, 0});
  EXPECT_EQ(normalize(t.get(), ZeroSum::refuse), orv_error_invalid_probability_potential);
  std::copy_n(Values{1, 1, 2, 0, 0, 0}.begin(), 6, t->data);
  EXPECT_EQ(normalize(t.get(), ZeroSum::uniform), orv_error_none);
  EXPECT_EQ(entries(t.get()), (Values{0.25, 0.25, 0.5, 1.0 / 3, 1.0 / 3, 1.0 / 3}));
  for (double bad : {-0.1, double(NAN), double(INFINITY), DBL_MAX}) {
    t->data[4] = bad;
    EXPECT_EQ(normalize(t.get(), ZeroSum::uniform), orv_error_invalid_probability_potential) << bad;
  }
  std::copy_n(Values{DBL_MAX / 2, DBL_MAX / 2, DBL_MAX / 2, 1, 1, 1}.begin(), 6, t->data);
  EXPECT_EQ(normalize(t.get(), ZeroSum::uniform), orv_error_invalid_probability_potential);

  // A table without data gets its defaults first; one with CG nodes is all 1.0.
  Owned<orv_table_s> fresh(_orv_create_table(d.get(), t->nodes.c_list(), orv_table_probability, 0, false, false));
  EXPECT_EQ(normalize(fresh.get(), ZeroSum::refuse), orv_error_none);
  EXPECT_EQ(entries(fresh.get()), Values(6, 1.0 / 3));
  orv_node_t x = test::add_continuous(d.get(), "X");
  auto cg = table(d.get(), {a, x}, {-5, 7});
  EXPECT_EQ(normalize(cg.get(), ZeroSum::refuse), orv_error_none);
  EXPECT_EQ(entries(cg.get()), (Values{1, 1}));
}

}  // namespace
}  // namespace orv
