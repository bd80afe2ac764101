// The allocation funnel with its test-only fault injection and counts. When
// no test has armed a hook, an allocation costs one relaxed load of a flag on
// top of malloc: no shared counter is written, so threads do not contend.
#include "runtime/allocate.h"

#include <sys/mman.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "runtime/chunk_cache.h"
#include "runtime/error.h"

namespace orv {
namespace {

// Set (and kept) once a test arms fault injection, a block limit or counting.
std::atomic<bool> hooks_armed{false};
std::atomic<bool> counting{false};
std::atomic<std::int64_t> fail_countdown{-1};
std::atomic<std::size_t> failures_injected{0};
std::atomic<std::size_t> allocation_count{0};
std::atomic<std::int64_t> live_count{0};
std::atomic<std::size_t> block_limit{kSizeSentinel};

bool hooks_are_armed() { return hooks_armed.load(std::memory_order_relaxed); }

// The slow path, taken only under test hooks: counts the allocation and says
// whether it is the one a test asked to fail.
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

void count_live(std::int64_t delta) {
  if (hooks_are_armed() && counting.load(std::memory_order_relaxed)) [[unlikely]]
    live_count.fetch_add(delta, std::memory_order_relaxed);
}

// Large blocks (table data) are advised as huge-page memory before their
// first touch, which then faults once per 2 MiB instead of once per 4 KiB
// page: on a large network those faults dominate compilation. Blocks of a
// huge page or more are aligned to it; smaller ones are advised over their
// whole pages, so that the advised ranges of tables allocated one after
// another join into regions the kernel can back with huge pages. Where the
// kernel offers none the advice fails harmlessly.
constexpr std::size_t kHugePage = std::size_t{2} << 20;
constexpr std::size_t kAdvisedBlock = std::size_t{64} << 10;
constexpr std::uintptr_t kPage = 4096;

void advise_huge_pages(void *block, std::size_t size) {
  const auto start = reinterpret_cast<std::uintptr_t>(block) & ~(kPage - 1);
  const auto end = (reinterpret_cast<std::uintptr_t>(block) + size + kPage - 1) & ~(kPage - 1);
  madvise(reinterpret_cast<void *>(start), end - start, MADV_HUGEPAGE);
}

void *allocate_block(std::size_t size) {
  if (size < kAdvisedBlock) return std::malloc(size == 0 ? 1 : size);
  if (size > kSizeSentinel - kHugePage) return nullptr;
  void *block = size < kHugePage
                    ? std::malloc(size)
                    : std::aligned_alloc(kHugePage, (size + kHugePage - 1) & ~(kHugePage - 1));
  if (block) advise_huge_pages(block, size);
  return block;
}

}  // namespace

void *_orv_allocate(std::size_t size) {
  if (size == kSizeSentinel || (hooks_are_armed() && injected_failure(size))) {
    set_error(orv_error_no_memory);
    return nullptr;
  }
  void *block = allocate_block(size);
  if (!block) {
    set_error(orv_error_no_memory);
    return nullptr;
  }
  count_live(1);
  set_error(orv_error_none);
  return block;
}

void *_orv_reallocate(void *block, std::size_t size) {
  if (!block) return _orv_allocate(size);
  if (size == kSizeSentinel || (hooks_are_armed() && injected_failure(size))) {
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
  count_live(-1);
  std::free(block);
}

namespace {

// Up to kCachedChunks arena chunks per thread (freed when the thread ends).
constexpr std::size_t kCachedChunks = 32;
struct ChunkCache {
  void *chunks[kCachedChunks];
  std::size_t count = 0;
  ~ChunkCache() {
    while (count > 0) std::free(chunks[--count]);
  }
};
thread_local ChunkCache chunk_cache;

}  // namespace

void *_orv_allocate_arena_chunk() {
  ChunkCache &cache = chunk_cache;
  if (cache.count == 0) return _orv_allocate(kArenaChunk);
  if (hooks_are_armed() && injected_failure(kArenaChunk)) {
    set_error(orv_error_no_memory);
    return nullptr;
  }
  count_live(1);
  set_error(orv_error_none);
  return cache.chunks[--cache.count];
}

void _orv_free_arena_chunk(void *chunk) noexcept {
  ChunkCache &cache = chunk_cache;
  if (!chunk || cache.count == kCachedChunks) return _orv_free(chunk);
  count_live(-1);
  cache.chunks[cache.count++] = chunk;
}

char *_orv_allocate_string(const char *text) {
  const std::size_t length = std::strlen(text);
  auto *copy = static_cast<char *>(_orv_allocate(size_add(length, 1)));
  if (copy) std::memcpy(copy, text, length + 1);
  return copy;
}

char *_orv_copy_file_name(const char *name) { return _orv_allocate_string(name); }

namespace testing {

void count_allocations() {
  counting.store(true, std::memory_order_relaxed);
  hooks_armed.store(true, std::memory_order_relaxed);
}

void fail_allocation(std::int64_t n) {
  failures_injected.store(0, std::memory_order_relaxed);
  fail_countdown.store(n < 0 ? -1 : n, std::memory_order_relaxed);
  if (n >= 0) hooks_armed.store(true, std::memory_order_relaxed);
}

std::size_t injected_failures() { return failures_injected.load(std::memory_order_relaxed); }
std::size_t allocations() { return allocation_count.load(std::memory_order_relaxed); }
std::int64_t live_blocks() { return live_count.load(std::memory_order_relaxed); }
void limit_block_size(std::size_t limit) {
  block_limit.store(limit, std::memory_order_relaxed);
  if (limit != kSizeSentinel) hooks_armed.store(true, std::memory_order_relaxed);
}

}  // namespace testing
}  // namespace orv
