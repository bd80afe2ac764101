// Allocation-failure sweeps: fail allocation n = 0, 1, 2, ... of a whole
// operation until a run completes without an injected failure.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

#include "orvel.h"
#include "runtime/allocate.h"

namespace orv::test {

// Arms the countdown for the guard's lifetime.
class FailNthAllocation {
 public:
  explicit FailNthAllocation(std::size_t n) { testing::fail_allocation(static_cast<std::int64_t>(n)); }
  ~FailNthAllocation() { testing::fail_allocation(-1); }
  FailNthAllocation(const FailNthAllocation &) = delete;
  FailNthAllocation &operator=(const FailNthAllocation &) = delete;
  std::size_t failures() const { return testing::injected_failures(); }
};

// Counts the live funnel blocks across a scope (leak check).
class LiveBlocks {
 public:
  LiveBlocks() : start_(testing::live_blocks()) {}
  std::int64_t delta() const { return testing::live_blocks() - start_; }

 private:
  std::int64_t start_;
};

// One run of an operation with allocation `n` set to fail.
template <class Result>
struct FailureRun {
  std::size_t n = 0;          // the allocation set to fail
  Result result{};            // what the operation returned
  std::size_t failures = 0;   // injected failures the run saw
  std::int64_t leaked = 0;    // funnel blocks the operation left behind
};

// Runs `operation` with allocation n = 0, 1, 2, ... failing and hands every
// run that saw an injected failure to `inspect`, outside the guard (so checks
// and undo code may allocate). Returns the first run without a failure: its
// `n` is the number of allocations the operation makes.
template <class Operation, class Inspect>
auto sweep_allocation_failures(Operation &&operation, Inspect &&inspect) {
  using Result = std::decay_t<std::invoke_result_t<Operation &>>;
  for (std::size_t n = 0;; ++n) {
    FailureRun<Result> run;
    run.n = n;
    LiveBlocks live;
    {
      FailNthAllocation guard(n);
      run.result = operation();
      run.failures = guard.failures();
    }
    run.leaked = live.delta();
    if (run.failures == 0) return run;
    inspect(run);
  }
}

// The failure value of an entry point: a status or error code of no_memory,
// a null pointer, or false.
template <class Result>
void expect_no_memory_result(const Result &result) {
  if constexpr (std::is_pointer_v<Result>)
    EXPECT_EQ(result, nullptr);
  else if constexpr (std::is_same_v<Result, bool>)
    EXPECT_FALSE(result);
  else
    EXPECT_EQ(static_cast<int>(result), static_cast<int>(orv_error_no_memory));
}

// The sweep of an entry point: every failing run returns the failure value,
// leaves no_memory as the error code, leaks nothing and passes `unchanged`
// (checks that the objects are as they were). Failures name `what` and the
// allocation. Returns the run without a failure.
template <class Operation, class Unchanged>
auto expect_no_memory_sweep(const std::string &what, Operation &&operation, Unchanged &&unchanged) {
  return sweep_allocation_failures(operation, [&](const auto &run) {
    SCOPED_TRACE(what + " allocation " + std::to_string(run.n));
    expect_no_memory_result(run.result);
    EXPECT_EQ(orv_error_code(), orv_error_no_memory);
    EXPECT_EQ(run.leaked, 0);
    unchanged();
  });
}

}  // namespace orv::test
