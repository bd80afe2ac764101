// Controls: sections, compression with the concurrency rule and reset, the
// domain's chain, and the concurrency settings of the domain. What the
// kernels compute through controls is checked against the naive reference.
#include <gtest/gtest.h>

#include <array>

#include "runtime/error.h"
#include "support/contract_sweep.h"
#include "tables/control.h"
#include "tables/table_oracle.h"

namespace orv {
namespace {

using namespace test;

struct ControlDeleter {
  void operator()(orv_control_s *c) const { _orv_free_control(c); }
};
using ControlPtr = std::unique_ptr<orv_control_s, ControlDeleter>;

ControlPtr control_for(orv_table_s *larger, orv_table_s *smaller, bool chained = false) {
  return ControlPtr(_orv_create_control(larger, nullptr, smaller, nullptr, chained));
}

// (count, stride, larger stride) of the working list.
using Triple = std::vector<std::array<std::size_t, 3>>;
Triple working(const orv_control_s *c) {
  Triple out;
  for (std::size_t k = 0; k < c->dimension_count(); ++k) {
    const Dimension &d = c->dimensions[k];
    out.push_back({d.count, d.stride, d.larger_stride});
  }
  return out;
}

struct Controls : ::testing::Test {
  test::DomainPtr domain = test::new_domain();
  orv_node_t a = node_with_states(domain.get(), 2);
  orv_node_t b = node_with_states(domain.get(), 3);
  orv_node_t c = node_with_states(domain.get(), 4);
  TablePtr larger{table_over(domain.get(), {a, b, c})};
};

// Compression merges contiguous runs within a section; void dimensions go;
// under concurrency an outermost dimension that threads can share stays apart.
TEST_F(Controls, CompressionMergesRunsWithinSections) {
  orv_node_t one = node_with_states(domain.get(), 1), d5 = node_with_states(domain.get(), 5);
  orv_node_t e6 = node_with_states(domain.get(), 6), e8 = node_with_states(domain.get(), 8);
  orv_node_t e17 = node_with_states(domain.get(), 17);
  const struct {
    std::vector<orv_node_t> larger, smaller;
    std::size_t level;
    Triple compressed;
    const char *what;
  } cases[] = {
      {{a, b, c}, {b, c}, 1, {{12, 1, 1}, {2, 0, 12}}, "kept run, then the summed-out section"},
      {{a, b, c}, {c, a}, 1, {{2, 1, 12}, {4, 2, 1}, {3, 0, 4}}, "permuted nodes do not merge"},
      {{a, one, b, c, d5}, {a, one}, 1, {{2, 1, 60}, {60, 0, 1}}, "void dimension gone, summed-out run merged"},
      {{a, one, b, c, d5}, {}, 1, {{120, 0, 1}}, "all summed out"},
      {{e8, c}, {e8, c}, 4, {{8, 4, 4}, {4, 1, 1}}, "a multiple of the level stays apart"},
      {{e6, c}, {e6, c}, 4, {{24, 1, 1}}, "below 16 and no multiple: merges"},
      {{e17, c}, {e17, c}, 4, {{17, 4, 4}, {4, 1, 1}}, "16 or more stays apart"},
      {{e8, c}, {}, 4, {{32, 0, 1}}, "the summed-out section ignores the rule"},
      {{e8, c}, {e8, c}, 1, {{32, 1, 1}}, "at level 1 everything merges"},
  };
  for (const auto &c : cases) {
    orv_domain_set_concurrency_level(domain.get(), c.level);
    TablePtr big(table_over(domain.get(), c.larger)), small(table_over(domain.get(), c.smaller));
    ControlPtr control = control_for(big.get(), small.get());
    const Triple standard = working(control.get());
    compress_control(control.get());
    EXPECT_EQ(working(control.get()), c.compressed) << c.what;
    reset_control(control.get());
    EXPECT_EQ(working(control.get()), standard) << c.what;
  }
  // The smaller table's nodes first, then the summed-out ones.
  TablePtr bc(table_over(domain.get(), {b, c}));
  ControlPtr control = control_for(larger.get(), bc.get());
  EXPECT_EQ(control->first_section, 2u);
  EXPECT_EQ(control->second_section, 1u);
  EXPECT_EQ(working(control.get()), (Triple{{3, 4, 4}, {4, 1, 1}, {2, 0, 12}}));
  TablePtr none(table_over(domain.get(), {}));
  ControlPtr empty = control_for(none.get(), none.get());
  compress_control(empty.get());
  EXPECT_EQ(empty->dimension_count(), 0u);
}

TEST_F(Controls, ChainNumbersStayDenseAndSubsetIsRequired) {
  TablePtr ab(table_over(domain.get(), {a, b}));
  orv_control_s *first = _orv_create_control(larger.get(), nullptr, ab.get(), nullptr, true);
  orv_control_s *second = _orv_create_control(larger.get(), nullptr, ab.get(), nullptr, true);
  orv_control_s *third = _orv_create_control(larger.get(), nullptr, ab.get(), nullptr, true);
  EXPECT_EQ(domain->control_count, 3u);
  EXPECT_EQ(domain->first_control, third);
  _orv_free_control(second);
  EXPECT_EQ(third->number, 2u);
  EXPECT_EQ(first->number, 1u);
  EXPECT_EQ(domain->control_count, 2u);
  _orv_free_control(first);  // the rest goes with the domain

  orv_node_t stranger = node_with_states(domain.get(), 2);
  TablePtr foreign(table_over(domain.get(), {a, stranger}));
  EXPECT_EQ(guarded_status([&] { control_for(larger.get(), foreign.get()); }), orv_error_usage);
}

TEST(ConcurrencySettings, DefaultsSettersAndRefusals) {
  auto d = test::new_domain();
  EXPECT_EQ(orv_domain_get_grain_size(d.get()), 10000u);
  EXPECT_EQ(orv_domain_get_concurrency_level(d.get()), 1u);
  EXPECT_EQ(orv_domain_get_em_concurrency_level(d.get()), 1u);

  using Setter = orv_status_t (*)(orv_domain_t, size_t);
  using Getter = size_t (*)(orv_domain_t);
  const std::pair<Setter, Getter> settings[] = {
      {orv_domain_set_grain_size, orv_domain_get_grain_size},
      {orv_domain_set_concurrency_level, orv_domain_get_concurrency_level},
      {orv_domain_set_em_concurrency_level, orv_domain_get_em_concurrency_level}};
  for (const auto &[set, get] : settings) {
    EXPECT_EQ(set(d.get(), 7), orv_error_none);
    EXPECT_EQ(get(d.get()), 7u);
    EXPECT_RESULT(set(d.get(), 0), orv_error_usage, orv_error_usage);
    EXPECT_RESULT(get(d.get()), 7u, orv_error_none);  // the old value stays
    EXPECT_EQ(set(nullptr, 3), orv_error_usage);
    EXPECT_RESULT(get(nullptr), static_cast<size_t>(-1), orv_error_usage);
    auto *node = reinterpret_cast<orv_domain_t>(orv_domain_new_node(d.get(), orv_category_chance,
                                                                    orv_kind_discrete));
    EXPECT_EQ(set(node, 3), orv_error_usage);  // wrong kind of handle
    EXPECT_EQ(get(d.get()), 7u);
  }
}

}  // namespace
}  // namespace orv
