// Linked into every test program: starts the allocator's counts before the
// first test runs, so that leak and no-allocation checks see every block.
#include "runtime/allocate.h"

namespace {
[[maybe_unused]] const bool counting_started = (orv::testing::count_allocations(), true);
}  // namespace
