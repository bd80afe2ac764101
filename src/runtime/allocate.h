// The allocation funnel: every engine record and array is allocated here, so
// that sizes are overflow-checked in one place and tests can make the Nth
// allocation fail. Standard containers reach it through orv::Allocator.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace orv {

constexpr std::size_t kSizeSentinel = std::numeric_limits<std::size_t>::max();

// Saturating size arithmetic: an overflow yields kSizeSentinel.
inline std::size_t size_multiply(std::size_t a, std::size_t b) {
  const unsigned __int128 product = static_cast<unsigned __int128>(a) * b;
  return (product >> 64) != 0 ? kSizeSentinel : static_cast<std::size_t>(product);
}
inline std::size_t size_add(std::size_t a, std::size_t b) {
  return b > ~a ? kSizeSentinel : a + b;
}

// Sets no_memory and returns null for the sentinel or an exhausted heap;
// sets 0 on success.
void *_orv_allocate(std::size_t size);
// A null block allocates. On failure the old block stays valid and owned.
void *_orv_reallocate(void *block, std::size_t size);
// Gives memory back; never fails and never touches the error code.
void *_orv_shrink(void *block, std::size_t size);
void _orv_free(void *block);
char *_orv_allocate_string(const char *text);
char *_orv_copy_file_name(const char *name);

// Test hooks: a countdown that fails one allocation, and live-block counts.
// Counts are kept only after count_allocations(), which a test program calls
// before its first allocation (the test support library does it at start-up).
namespace testing {
void count_allocations();
// Fail the allocation with index n (0-based, counting from now); n < 0 disarms.
void fail_allocation(std::int64_t n);
// Number of allocations that have been failed on purpose since arming.
std::size_t injected_failures();
// Allocations performed through the funnel since counting started.
std::size_t allocations();
// Blocks currently live (allocated and not yet freed).
std::int64_t live_blocks();
// Refuses (as no_memory) every block larger than limit; kSizeSentinel lifts it.
void limit_block_size(std::size_t limit);
}  // namespace testing

// Standard-container allocator over the funnel; throws bad_alloc on failure.
template <class T>
struct Allocator {
  using value_type = T;
  Allocator() noexcept = default;
  template <class U>
  Allocator(const Allocator<U> &) noexcept {}
  T *allocate(std::size_t n) {
    void *block = _orv_allocate(size_multiply(n, sizeof(T)));
    if (!block) throw std::bad_alloc();
    return static_cast<T *>(block);
  }
  void deallocate(T *p, std::size_t) noexcept { _orv_free(p); }
  template <class U>
  bool operator==(const Allocator<U> &) const noexcept {
    return true;
  }
};

template <class T>
using Vector = std::vector<T, Allocator<T>>;
using String = std::basic_string<char, std::char_traits<char>, Allocator<char>>;

// Records: constructed in funnel memory, destroyed with destroy().
template <class T, class... Args>
T *make(Args &&...args) {
  void *block = _orv_allocate(sizeof(T));
  if (!block) throw std::bad_alloc();
  try {
    return new (block) T(std::forward<Args>(args)...);
  } catch (...) {
    _orv_free(block);
    throw;
  }
}

template <class T>
void destroy(T *record) noexcept {
  if (!record) return;
  record->~T();
  _orv_free(record);
}

template <class T>
struct Destroyer {
  void operator()(T *p) const noexcept { destroy(p); }
};
template <class T>
using Owned = std::unique_ptr<T, Destroyer<T>>;

template <class T, class... Args>
Owned<T> make_owned(Args &&...args) {
  return Owned<T>(make<T>(std::forward<Args>(args)...));
}

}  // namespace orv
