// Table kernels against the naive reference on random shapes (permuted orders,
// empty tables, one-state nodes, selected states), reused controls and
// allocation-free same-layout updates; on several threads bit for bit the same,
// slices following the thread rule, a thread that cannot start replaced by the
// caller, allocation failure of the fan-out leaving everything unchanged; and
// controls: sections, compression with the concurrency rule and reset, the
// domain's chain and its concurrency settings.
#include <gtest/gtest.h>

#include <array>
#include <mutex>

#include "runtime/error.h"
#include "runtime/parallel.h"
#include "support/contract_sweep.h"
#include "support/fault_injection.h"
#include "tables/control.h"
#include "tables/kernel_checks.h"
#include "tables/table_oracle.h"

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
  const auto marginalize = [](orv_table_s *from, orv_table_s *to, orv_evidence_mode_t mode) {
    return [=] { _orv_marginalize_tables(from, to, orv_equilibrium_sum, mode); };
  };
  // The smaller table must be over a subset of the larger's nodes.
  EXPECT_EQ(guarded_status([&] { _orv_combine_tables(bt.get(), ab.get()); }), orv_error_usage);
  EXPECT_EQ(guarded_status([&] { _orv_combine_tables(nullptr, ab.get()); }), orv_error_usage);
  // "out" needs an output array; source and target must not share data.
  EXPECT_EQ(guarded_status(marginalize(ab.get(), at.get(), orv_mode_fast_retraction)), orv_error_usage);
  EXPECT_EQ(guarded_status(marginalize(at.get(), at.get(), orv_mode_normal)), orv_error_usage);
  EXPECT_EQ(data_of(at.get()), (V{7, 8}));
  orv_node_t twice[] = {a, a, nullptr};
  EXPECT_EQ(guarded_status([&] { _orv_table_get_marginal(ab.get(), twice); }), orv_error_usage);
  // CG parts are not combined by these kernels.
  EXPECT_EQ(guarded_status([&] { _orv_combine_tables(ax.get(), at.get()); }), orv_error_error);
  EXPECT_EQ(guarded_status(marginalize(ax.get(), at.get(), orv_mode_normal)), orv_error_error);
  EXPECT_EQ(data_of(ab.get()), (V{1, 2, 3, 4, 5, 6}));
  // A different domain's table.
  auto other = test::new_domain();
  TablePtr foreign(table_over(other.get(), {node_with_states(other.get(), 2)}));
  EXPECT_EQ(guarded_status([&] { _orv_combine_tables(ab.get(), foreign.get()); }), orv_error_usage);
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

TEST(ParallelKernels, MatchNaiveReferenceOnThreads) {
  auto d = test::new_domain();
  orv_domain_set_grain_size(d.get(), 1);
  std::mt19937 random(7);
  test::check_random_rounds(d.get(), random, 120, 0,
                            [&](int round) { orv_domain_set_concurrency_level(d.get(), 2 + round % 3); });
}

// Records the outer count of every slice a kernel is called for.
std::mutex slices_mutex;
using Slices = std::vector<std::pair<std::size_t, std::size_t>>;
Slices slices;  // (offset, outer count)
double *slice_base = nullptr;

void recording_kernel(const KernelArgs &args) {
  std::lock_guard<std::mutex> lock(slices_mutex);
  slices.emplace_back(args.positions[kLargerProbability] - slice_base, args.outer_count);
}

TEST(ParallelKernels, SlicesFollowTheThreadRule) {
  auto d = test::new_domain();
  orv_node_t outer = node_with_states(d.get(), 10), inner = node_with_states(d.get(), 5000);
  TablePtr big(table_over(d.get(), {outer, inner})), small(table_over(d.get(), {outer}));
  orv_domain_set_concurrency_level(d.get(), 4);
  test::ControlOwner c(big.get(), nullptr, small.get(), nullptr, true);
  ASSERT_EQ(c.control->dimensions[0].count, 10u);
  slice_base = big->data;
  slices.clear();
  _orv_do_table_operation(c.control, TableKernel{recording_kernel, true}, nullptr, nullptr, 0, 0);
  std::sort(slices.begin(), slices.end());
  EXPECT_EQ(slices, (Slices{{0, 3}, {15000, 3}, {30000, 2}, {40000, 2}}));

  // Twice the work per entry halves the chunk: 1 outer index per thread.
  slices.clear();
  orv_domain_set_concurrency_level(d.get(), 16);
  _orv_setup_control_normal(c.control);
  _orv_do_table_operation(c.control, TableKernel{recording_kernel, true}, nullptr, nullptr, 0, 1);
  EXPECT_EQ(slices.size(), 10u);

  // A kernel writing the smaller table never splits a summed-out dimension.
  TablePtr none(table_over(d.get(), {}));
  test::ControlOwner summed(big.get(), nullptr, none.get(), nullptr, true);
  slices.clear();
  _orv_do_table_operation(summed.control, TableKernel{recording_kernel, true}, nullptr, nullptr, 0, 0);
  EXPECT_EQ(slices, (Slices{{0, 50000}}));
  slices.clear();
  _orv_do_table_operation(summed.control, TableKernel{recording_kernel, false}, nullptr, nullptr, 0, 0);
  EXPECT_EQ(slices.size(), 5u);  // 50000 entries at one operation each: 5 chunks of 10000
}

// CG positions advance by block size per entry, from the start offset on.
Slices cg_slices;  // (entry offset, CG offset)
double *cg_base = nullptr;

void recording_cg_kernel(const KernelArgs &args) {
  std::lock_guard<std::mutex> lock(slices_mutex);
  cg_slices.emplace_back(args.positions[kLargerProbability] - slice_base,
                         args.positions[kLargerCg] - cg_base);
}

TEST(ParallelKernels, CgPositionsFollowTheSlices) {
  auto d = test::new_domain();
  orv_node_t outer = node_with_states(d.get(), 4), inner = node_with_states(d.get(), 3);
  orv_node_t chosen = node_with_states(d.get(), 2);
  orv_node_t x = orv_domain_new_node(d.get(), orv_category_chance, orv_kind_continuous);
  orv_node_t y = orv_domain_new_node(d.get(), orv_category_chance, orv_kind_continuous);
  TablePtr big(table_over(d.get(), {outer, inner, chosen, x, y})), small(table_over(d.get(), {outer}));
  ASSERT_EQ(big->block_size, 5u);
  orv_domain_set_concurrency_level(d.get(), 2);
  orv_domain_set_grain_size(d.get(), 1);
  chosen->selected_state = 1;
  test::ControlOwner c(big.get(), nullptr, small.get(), nullptr, true);
  chosen->selected_state = -1;
  EXPECT_EQ(c.control->start_offset, 1u);
  slice_base = big->data, cg_base = big->cg_data;
  cg_slices.clear();
  _orv_do_table_operation(c.control, TableKernel{recording_cg_kernel, true}, nullptr, nullptr, 0, 0);
  std::sort(cg_slices.begin(), cg_slices.end());
  EXPECT_EQ(cg_slices, (Slices{{1, 5}, {13, 65}}));
}

TEST(ParallelKernels, ThreadThatCannotStartIsRunByTheCaller) {
  auto d = test::new_domain();
  orv_domain_set_concurrency_level(d.get(), 2);
  orv_domain_set_grain_size(d.get(), 1);
  orv_node_t a = node_with_states(d.get(), 6), b = node_with_states(d.get(), 7);
  TablePtr ab(table_over(d.get(), {a, b})), at(table_over(d.get(), {a}));
  std::mt19937 random(3);
  test::fill_random(ab.get(), random), test::fill_random(at.get(), random);
  const auto ab0 = data_of(ab.get()), at0 = data_of(at.get());
  const auto expected =
      test::naive_combine(ab0, at0, test::naive_map(ab.get(), at.get(), false), test::NaiveOp::multiply);
  for (std::int64_t failing = 0; failing < 2; ++failing) {
    put(ab.get(), ab0);
    const std::size_t started = testing::threads_started();
    testing::fail_thread_start(failing);
    _orv_combine_tables(ab.get(), at.get());
    testing::fail_thread_start(-1);
    EXPECT_EQ(testing::threads_started() - started, 1u);
    EXPECT_EQ(data_of(ab.get()), expected) << "failing thread " << failing;
  }
}

TEST(ParallelKernels, AllocationFailureLeavesTablesUnchanged) {
  auto d = test::new_domain();
  orv_domain_set_concurrency_level(d.get(), 2);
  orv_domain_set_grain_size(d.get(), 1);
  orv_node_t a = node_with_states(d.get(), 4), b = node_with_states(d.get(), 3);
  TablePtr ab(table_over(d.get(), {a, b})), at(table_over(d.get(), {a}));
  std::mt19937 random(5);
  test::fill_random(ab.get(), random), test::fill_random(at.get(), random);
  const auto ab0 = data_of(ab.get()), at0 = data_of(at.get());
  using Operation = void (*)(orv_table_s *, orv_table_s *);
  const std::pair<const char *, Operation> operations[] = {
      {"combine", [](orv_table_s *big, orv_table_s *small) { _orv_combine_tables(big, small); }},
      {"divide", [](orv_table_s *big, orv_table_s *small) { _orv_divide_tables(big, small); }},
      {"marginalize", [](orv_table_s *big, orv_table_s *small) {
         _orv_marginalize_tables(big, small, orv_equilibrium_sum, orv_mode_normal);
       }}};
  for (const auto &[name, operation] : operations) {
    const auto clean = test::expect_no_memory_sweep(
        name, [&] { return guarded_status([&] { operation(ab.get(), at.get()); }); },
        [&] {
          EXPECT_EQ(data_of(ab.get()), ab0);
          EXPECT_EQ(data_of(at.get()), at0);
          put(ab.get(), ab0), put(at.get(), at0);
        });
    EXPECT_EQ(clean.result, orv_error_none);
    EXPECT_EQ(clean.leaked, 0);
    EXPECT_GT(clean.n, 1u);  // a control, its dimensions, the slice records
    put(ab.get(), ab0), put(at.get(), at0);
  }
}

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
