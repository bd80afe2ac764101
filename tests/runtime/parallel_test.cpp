// The thread fan-out on its own: the thread-count rule, consecutive disjoint
// slices with their positions and scratch, and allocation failure before any work.
#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "runtime/parallel.h"
#include "support/fault_injection.h"

namespace orv {
namespace {

TEST(ParallelFanOut, ThreadCountRule) {
  // Concurrency 4, grain 10000, outer 10, 5000 per index: chunk 2, 5 capped to 4.
  EXPECT_EQ(compute_number_of_threads(10000, 4, 10, 5000), 4u);
  std::vector<std::size_t> counts;
  for (std::size_t i = 0; i < 4; ++i) counts.push_back(slice_outer_count(10, 4, i));
  EXPECT_EQ(counts, (std::vector<std::size_t>{3, 3, 2, 2}));
  // Work beyond the grain: chunk 1, min(outer, level).
  EXPECT_EQ(compute_number_of_threads(10000, 4, 3, 100000), 3u);
  EXPECT_EQ(compute_number_of_threads(10000, 4, 30, 100000), 4u);
  // An outer count below the chunk: one thread.
  EXPECT_EQ(compute_number_of_threads(10000, 4, 1, 5000), 1u);
  EXPECT_EQ(compute_number_of_threads(10000, 8, 5, 3000), 1u);  // chunk 4: 5 / 4 = 1
  EXPECT_EQ(compute_number_of_threads(10000, 8, 8, 3000), 2u);
  EXPECT_EQ(compute_number_of_threads(10000, 1, 100, 100000), 1u);
  EXPECT_EQ(compute_number_of_threads(10000, 4, 100, 0), 1u);  // an empty index space
}

struct Recorder {
  std::mutex mutex;
  std::vector<std::tuple<double *, double *, std::size_t, double *>> calls;
  std::set<std::thread::id> threads;
};

void record(const void *context, const Slice &slice) {
  auto *recorder = static_cast<Recorder *>(const_cast<void *>(context));
  if (slice.scratch)
    for (int i = 0; i < 5; ++i) slice.scratch[i] = i;  // scratch is writable and private
  std::lock_guard<std::mutex> lock(recorder->mutex);
  recorder->calls.emplace_back(slice.positions[0], slice.positions[3], slice.outer_count,
                               slice.scratch);
  recorder->threads.insert(std::this_thread::get_id());
}

// Every allocation may fail: no_memory before any work is done. The clean run
// makes consecutive disjoint slices, each with its own scratch, all joined.
TEST(ParallelFanOut, SlicesAreConsecutiveDisjointAndJoinedAfterEveryAllocationFailure) {
  std::vector<double> first(1000), second(100);
  Recorder recorder;
  FanOutRequest request;
  request.concurrency_level = 3;
  request.grain_size = 10;
  request.outer_count = 10;
  request.work_per_outer = 100;
  request.splittable = true;
  request.positions[0] = first.data();
  request.positions[3] = second.data();
  request.steps[0] = 100;
  request.steps[3] = 10;
  request.scratch_size = 5;
  request.run = record;
  request.context = &recorder;
  const auto run = [&] {
    recorder.calls.clear(), recorder.threads.clear();
    const auto clean = test::expect_no_memory_sweep("fan out", [&] { return fan_out(request); },
                                                    [&] { EXPECT_TRUE(recorder.calls.empty()); });
    EXPECT_EQ(clean.result, orv_error_none);
    EXPECT_EQ(clean.leaked, 0);
  };
  run();
  ASSERT_EQ(recorder.calls.size(), 3u);  // all joined before return
  std::sort(recorder.calls.begin(), recorder.calls.end());
  double *f = first.data(), *s = second.data();
  const std::size_t expected[] = {4, 3, 3};
  std::set<double *> scratch_areas;
  for (std::size_t i = 0; i < 3; ++i) {
    const auto &[p0, p3, count, scratch] = recorder.calls[i];
    EXPECT_EQ(p0, f);
    EXPECT_EQ(p3, s);
    EXPECT_EQ(count, expected[i]);
    ASSERT_NE(scratch, nullptr);
    scratch_areas.insert(scratch);
    f += count * 100, s += count * 10;
  }
  EXPECT_EQ(scratch_areas.size(), 3u);
  EXPECT_EQ(recorder.threads.count(std::this_thread::get_id()), 0u);  // the caller only waits

  // Not splittable, or level 1: one call in the calling thread.
  for (bool splittable : {false, true}) {
    request.splittable = splittable;
    request.concurrency_level = splittable ? 1 : 3;
    run();
    ASSERT_EQ(recorder.calls.size(), 1u);
    EXPECT_EQ(std::get<2>(recorder.calls[0]), 10u);
    EXPECT_EQ(recorder.threads.count(std::this_thread::get_id()), 1u);
  }
}

}  // namespace
}  // namespace orv
