// Table operations on several threads: the naive reference still holds bit
// for bit (so results equal those of one thread), slices follow the thread
// rule, a thread that cannot start is replaced by the caller, and allocation
// failure of the fan-out leaves everything unchanged.
#include <gtest/gtest.h>

#include <mutex>

#include "runtime/error.h"
#include "runtime/parallel.h"
#include "support/fault_injection.h"
#include "tables/kernel_checks.h"

namespace orv {
namespace {

using namespace test;

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
  auto operations = {+[](orv_table_s *big, orv_table_s *small) { _orv_combine_tables(big, small); },
                     +[](orv_table_s *big, orv_table_s *small) { _orv_divide_tables(big, small); },
                     +[](orv_table_s *big, orv_table_s *small) {
                       _orv_marginalize_tables(big, small, orv_equilibrium_sum, orv_mode_normal);
                     }};
  int which = 0;
  for (auto operation : operations) {
    const auto clean = test::expect_no_memory_sweep(
        "operation " + std::to_string(which), [&] { return guarded_status([&] { operation(ab.get(), at.get()); }); },
        [&] {
          EXPECT_EQ(data_of(ab.get()), ab0);
          EXPECT_EQ(data_of(at.get()), at0);
          put(ab.get(), ab0), put(at.get(), at0);
        });
    EXPECT_EQ(clean.result, orv_error_none);
    EXPECT_EQ(clean.leaked, 0);
    EXPECT_GT(clean.n, 1u);  // a control, its dimensions, the slice records
    put(ab.get(), ab0), put(at.get(), at0);
    ++which;
  }
}

}  // namespace
}  // namespace orv
