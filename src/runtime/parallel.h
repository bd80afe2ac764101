// The thread fan-out of table operations: splits an index space along its
// outermost dimension into consecutive slices and runs them on short-lived
// POSIX threads, all joined before the call returns. Knows nothing of tables:
// the caller supplies counts, data positions and the per-slice function.
#pragma once

#include <cstddef>
#include <cstdint>

#include "orvel.h"

namespace orv {

// Data arrays a slice can address: the discrete data of the tables of a
// control (probability and utility of each side), the CG data of its two
// probability tables and two caller-supplied arrays.
constexpr std::size_t kSliceArrays = 8;

// One slice of work: its start positions (null arrays stay null), the number
// of outer indices it covers, and its own scratch area (or null).
struct Slice {
  double *positions[kSliceArrays] = {};
  std::size_t outer_count = 0;
  double *scratch = nullptr;
};

// Processes one slice; must not allocate or touch the error code.
using SliceRunner = void (*)(const void *context, const Slice &slice);

struct FanOutRequest {
  std::size_t grain_size = 10000;
  std::size_t concurrency_level = 1;
  std::size_t outer_count = 0;     // count of the dimension that is split
  std::size_t work_per_outer = 1;  // entry operations per outer index
  bool splittable = false;         // whether slices of the outer dimension are disjoint
  double *positions[kSliceArrays] = {};
  std::size_t steps[kSliceArrays] = {};  // entries each position advances per outer index
  std::size_t scratch_size = 0;          // doubles of scratch per slice (0: none)
  SliceRunner run = nullptr;
  const void *context = nullptr;
};

// chunk = ceil(grain / work); threads = outer / chunk, 1 when that is 0,
// capped at the concurrency level.
std::size_t compute_number_of_threads(std::size_t grain_size, std::size_t concurrency_level,
                                      std::size_t outer_count, std::size_t work_per_outer);

// Outer indices of slice i when outer_count is split among thread_count
// slices: the first (outer_count mod thread_count) slices take one more.
inline std::size_t slice_outer_count(std::size_t outer_count, std::size_t thread_count,
                                     std::size_t i) {
  return outer_count / thread_count + (i < outer_count % thread_count ? 1 : 0);
}

// Runs the whole index space, in parallel where it pays. Returns 0, or
// no_memory (set as the error code) when the slice records or scratch areas
// cannot be allocated; then no work has been done.
orv_error_t fan_out(const FanOutRequest &request);

namespace testing {
// Makes the nth thread start from now fail (0-based); n < 0 disarms.
void fail_thread_start(std::int64_t n);
// Threads started successfully since the process started.
std::size_t threads_started();
}  // namespace testing

}  // namespace orv
