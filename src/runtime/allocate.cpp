// The allocation funnel with its test-only fault injection.
#include "runtime/allocate.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "runtime/error.h"

namespace orv {
namespace {

std::atomic<std::int64_t> fail_countdown{-1};
std::atomic<std::size_t> failures_injected{0};
std::atomic<std::size_t> allocation_count{0};
std::atomic<std::int64_t> live_count{0};
std::atomic<std::size_t> block_limit{kSizeSentinel};

// True when this allocation is the one a test asked to fail.
bool injected_failure(std::size_t size) {
  if (size > block_limit.load(std::memory_order_relaxed)) return true;
  allocation_count.fetch_add(1, std::memory_order_relaxed);
  std::int64_t n = fail_countdown.load(std::memory_order_relaxed);
  while (n >= 0) {
    if (fail_countdown.compare_exchange_weak(n, n - 1, std::memory_order_relaxed)) {
      if (n == 0) {
        failures_injected.fetch_add(1, std::memory_order_relaxed);
        return true;
      }
      return false;
    }
  }
  return false;
}

}  // namespace

void *_orv_allocate(std::size_t size) {
  if (size == kSizeSentinel || injected_failure(size)) {
    set_error(orv_error_no_memory);
    return nullptr;
  }
  void *block = std::malloc(size == 0 ? 1 : size);
  if (!block) {
    set_error(orv_error_no_memory);
    return nullptr;
  }
  live_count.fetch_add(1, std::memory_order_relaxed);
  set_error(orv_error_none);
  return block;
}

void *_orv_reallocate(void *block, std::size_t size) {
  if (!block) return _orv_allocate(size);
  if (size == kSizeSentinel || injected_failure(size)) {
    set_error(orv_error_no_memory);
    return nullptr;
  }
  void *resized = std::realloc(block, size == 0 ? 1 : size);
  if (!resized) {
    set_error(orv_error_no_memory);
    return nullptr;
  }
  set_error(orv_error_none);
  return resized;
}

void *_orv_shrink(void *block, std::size_t size) {
  if (!block) return nullptr;
  if (size == 0) {
    _orv_free(block);
    return nullptr;
  }
  void *resized = std::realloc(block, size);
  return resized ? resized : block;
}

void _orv_free(void *block) {
  if (!block) return;
  live_count.fetch_sub(1, std::memory_order_relaxed);
  std::free(block);
}

char *_orv_allocate_string(const char *text) {
  const std::size_t length = std::strlen(text);
  auto *copy = static_cast<char *>(_orv_allocate(size_add(length, 1)));
  if (copy) std::memcpy(copy, text, length + 1);
  return copy;
}

char *_orv_copy_file_name(const char *name) { return _orv_allocate_string(name); }

namespace testing {

void fail_allocation(std::int64_t n) {
  failures_injected.store(0, std::memory_order_relaxed);
  fail_countdown.store(n < 0 ? -1 : n, std::memory_order_relaxed);
}

std::size_t injected_failures() { return failures_injected.load(std::memory_order_relaxed); }
std::size_t allocations() { return allocation_count.load(std::memory_order_relaxed); }
std::int64_t live_blocks() { return live_count.load(std::memory_order_relaxed); }
void limit_block_size(std::size_t limit) { block_limit.store(limit, std::memory_order_relaxed); }

}  // namespace testing
}  // namespace orv
