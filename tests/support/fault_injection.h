// Allocation-failure sweeps: fail allocation n = 0, 1, 2, ... of a whole
// operation until a run completes without an injected failure.
#pragma once

#include <cstddef>
#include <cstdint>

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

}  // namespace orv::test
