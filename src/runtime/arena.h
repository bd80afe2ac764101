// A bump arena for the many small records of one operation (a compilation's
// working graphs, a forest's index arrays): blocks are carved from chunks
// taken from the allocation funnel, so fault injection still reaches them,
// and everything goes back at once when the arena is released.
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "runtime/allocate.h"

namespace orv {

class Arena {
 public:
  Arena() = default;
  ~Arena() { release(); }
  Arena(const Arena &) = delete;
  Arena &operator=(const Arena &) = delete;

  // An aligned block of `size` bytes (align a power of two, at most 16).
  // Throws bad_alloc (error code no_memory) when a new chunk cannot be had.
  void *allocate(std::size_t size, std::size_t align = alignof(std::max_align_t)) {
    const std::size_t at = (used_ + (align - 1)) & ~(align - 1);
    if (at <= capacity_ && size <= capacity_ - at) {
      last_ = at;
      used_ = at + size;
      return chunk_ + at;
    }
    return allocate_slow(size, align);
  }
  // Gives the block back when it is the newest one; other blocks stay until
  // release (so a growing vector reuses the room it leaves behind).
  void deallocate(void *block, std::size_t size) noexcept {
    if (block == chunk_ + last_ && last_ + size == used_) used_ = last_;
  }
  // A record constructed in the arena; destroy it with ArenaOwned or by
  // calling its destructor (its memory goes with the arena).
  template <class T, class... Args>
  T *make(Args &&...args) {
    static_assert(alignof(T) <= 16);
    return new (allocate(sizeof(T), alignof(T))) T(std::forward<Args>(args)...);
  }
  // Frees every chunk; blocks handed out before are invalid afterwards.
  void release() noexcept;
  // Chunks currently held (each one funnel allocation).
  std::size_t chunk_count() const { return chunks_; }

 private:
  struct ChunkHeader {
    ChunkHeader *previous;
    bool own;  // a large block's own chunk (else a cached standard chunk)
  };
  void *allocate_slow(std::size_t size, std::size_t align);

  char *chunk_ = nullptr;  // the chunk blocks are carved from (after its header)
  std::size_t capacity_ = 0;
  std::size_t used_ = 0;
  std::size_t last_ = 0;  // offset of the newest block
  ChunkHeader *head_ = nullptr;  // every chunk, newest first
  std::size_t chunks_ = 0;
};

// Standard-container allocator over an arena. Containers that share an arena
// compare equal, so moves between them take the storage along.
template <class T>
struct ArenaAllocator {
  using value_type = T;
  explicit ArenaAllocator(Arena &arena) noexcept : arena(&arena) {}
  template <class U>
  ArenaAllocator(const ArenaAllocator<U> &other) noexcept : arena(other.arena) {}
  T *allocate(std::size_t n) {
    const std::size_t bytes = size_multiply(n, sizeof(T));
    if (bytes == kSizeSentinel) throw std::bad_alloc();
    return static_cast<T *>(arena->allocate(bytes, alignof(T) < 8 ? 8 : alignof(T)));
  }
  void deallocate(T *p, std::size_t n) noexcept { arena->deallocate(p, n * sizeof(T)); }
  template <class U>
  bool operator==(const ArenaAllocator<U> &other) const noexcept {
    return arena == other.arena;
  }
  Arena *arena;
};

template <class T>
using ArenaVector = std::vector<T, ArenaAllocator<T>>;

// Ownership of a record made by Arena::make: destroyed in place, never freed.
template <class T>
struct ArenaDestroyer {
  void operator()(T *p) const noexcept { p->~T(); }
};
template <class T>
using ArenaOwned = std::unique_ptr<T, ArenaDestroyer<T>>;

}  // namespace orv
