// Table kernels in the calling thread: every operation against the naive
// reference on random shapes (permuted orders, empty tables, one-state nodes,
// selected states), reused controls and allocation-free same-layout updates.
#include <gtest/gtest.h>

#include "runtime/error.h"
#include "tables/kernel_checks.h"

namespace orv {
namespace {

using namespace test;
using V = std::vector<double>;

TEST(TableKernels, MatchNaiveReferenceOnRandomShapes) {
  auto d = test::new_domain();
  std::mt19937 random(20261121);
  test::check_random_rounds(d.get(), random, 400, 1, [](int) {});
}

TEST(TableKernels, RefusalsChangeNothing) {
  auto d = test::new_domain();
  orv_node_t a = node_with_states(d.get(), 2), b = node_with_states(d.get(), 3);
  orv_node_t x = orv_domain_new_node(d.get(), orv_category_chance, orv_kind_continuous);
  TablePtr ab(table_over(d.get(), {a, b})), bt(table_over(d.get(), {b})), at(table_over(d.get(), {a}));
  TablePtr ax(table_over(d.get(), {a, x}));
  put(ab.get(), {1, 2, 3, 4, 5, 6});
  put(at.get(), {7, 8});
  const auto code_of = [](auto &&operation) { return guarded_status(operation); };
  const auto marginalize = [](orv_table_s *from, orv_table_s *to, orv_evidence_mode_t mode) {
    return [=] { _orv_marginalize_tables(from, to, orv_equilibrium_sum, mode); };
  };
  // The smaller table must be over a subset of the larger's nodes.
  EXPECT_EQ(code_of([&] { _orv_combine_tables(bt.get(), ab.get()); }), orv_error_usage);
  EXPECT_EQ(code_of([&] { _orv_combine_tables(nullptr, ab.get()); }), orv_error_usage);
  // "out" needs an output array; source and target must not share data.
  EXPECT_EQ(code_of(marginalize(ab.get(), at.get(), orv_mode_fast_retraction)), orv_error_usage);
  EXPECT_EQ(code_of(marginalize(at.get(), at.get(), orv_mode_normal)), orv_error_usage);
  EXPECT_EQ(data_of(at.get()), (V{7, 8}));
  orv_node_t twice[] = {a, a, nullptr};
  EXPECT_EQ(code_of([&] { _orv_table_get_marginal(ab.get(), twice); }), orv_error_usage);
  // CG parts are not combined by these kernels.
  EXPECT_EQ(code_of([&] { _orv_combine_tables(ax.get(), at.get()); }), orv_error_error);
  EXPECT_EQ(code_of(marginalize(ax.get(), at.get(), orv_mode_normal)), orv_error_error);
  EXPECT_EQ(data_of(ab.get()), (V{1, 2, 3, 4, 5, 6}));
  // A different domain's table.
  auto other = test::new_domain();
  TablePtr foreign(table_over(other.get(), {node_with_states(other.get(), 2)}));
  EXPECT_EQ(code_of([&] { _orv_combine_tables(ab.get(), foreign.get()); }), orv_error_usage);
}

// A long-lived control is prepared again before each use: different selected
// states, a different concurrency level, and no allocation on one thread.
TEST(TableKernels, ReusedControlFollowsEachSetupWithoutAllocating) {
  auto d = test::new_domain();
  orv_node_t a = node_with_states(d.get(), 3), b = node_with_states(d.get(), 4);
  orv_node_t c = node_with_states(d.get(), 2), e = node_with_states(d.get(), 5);
  TablePtr clique(table_over(d.get(), {a, b, c, e})), separator(table_over(d.get(), {e, a}));
  std::mt19937 random(11);
  test::fill_random(clique.get(), random);
  const auto data = data_of(clique.get());
  test::ControlOwner control(clique.get(), nullptr, separator.get(), nullptr, true);
  for (long state : {-1L, 3L, 0L, -1L}) {
    b->selected_state = state;
    c->selected_state = state >= 0 ? 1 : -1;
    const std::size_t before = testing::allocations();
    _orv_setup_control_normal(control.control);
    _orv_marginalize(control.control, orv_equilibrium_sum, orv_mode_normal);
    EXPECT_EQ(testing::allocations(), before) << "state " << state;
    const auto map = test::naive_map(clique.get(), separator.get(), true);
    EXPECT_EQ(data_of(separator.get()), test::naive_sum(data, separator->size, map)) << state;
  }
  b->selected_state = c->selected_state = -1;
  orv_domain_set_concurrency_level(d.get(), 3);
  _orv_setup_control_normal(control.control);
  _orv_marginalize(control.control, orv_equilibrium_max, orv_mode_normal);
  const auto map = test::naive_map(clique.get(), separator.get(), true);
  EXPECT_EQ(data_of(separator.get()), test::naive_max(data, separator->size, map));
}

// Separator updates divide and combine tables of one layout: no allocation.
TEST(TableKernels, SameLayoutOperationsAllocateNothing) {
  auto d = test::new_domain();
  orv_node_t a = node_with_states(d.get(), 3), b = node_with_states(d.get(), 2);
  TablePtr fresh(table_over(d.get(), {a, b})), old(table_over(d.get(), {a, b}));
  TablePtr copy(table_over(d.get(), {a, b}));
  put(fresh.get(), {1, 0, 4, 6, 0, 2});
  put(old.get(), {2, 0, 8, 3, 5, 0});
  const std::size_t before = testing::allocations();
  _orv_divide_tables(fresh.get(), old.get());
  EXPECT_EQ(data_of(fresh.get()), (V{0.5, 0, 0.5, 2, 0, 0}));
  _orv_combine_tables(fresh.get(), old.get());
  EXPECT_EQ(data_of(fresh.get()), (V{1, 0, 4, 6, 0, 0}));
  _orv_marginalize_tables(fresh.get(), copy.get(), orv_equilibrium_sum, orv_mode_normal);
  EXPECT_EQ(data_of(copy.get()), data_of(fresh.get()));
  EXPECT_EQ(testing::allocations(), before);
}

}  // namespace
}  // namespace orv
