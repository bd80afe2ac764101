// Chunk management of the bump arena. Blocks come from standard chunks that
// the thread's chunk cache recycles between arenas; a request larger than a
// quarter chunk gets a chunk of its own, so one large array does not waste
// the rest of the current chunk.
#include "runtime/arena.h"

#include <cstdint>

#include "runtime/chunk_cache.h"
#include "runtime/error.h"

namespace orv {
namespace {

constexpr std::size_t kHeader = 16;  // keeps blocks 16-byte aligned after the header

}  // namespace

void *Arena::allocate_slow(std::size_t size, std::size_t align) {
  if (size > kSizeSentinel - kHeader - align) {
    set_error(orv_error_no_memory);
    throw std::bad_alloc();
  }
  const bool own = size + align > kArenaChunk / 4;
  auto *block = static_cast<char *>(own ? _orv_allocate(kHeader + size + align) : _orv_allocate_arena_chunk());
  if (!block) throw std::bad_alloc();
  auto *header = reinterpret_cast<ChunkHeader *>(block);
  header->previous = head_;
  header->own = own;
  head_ = header;
  ++chunks_;
  char *start = block + kHeader;
  if (own) {
    // The current chunk stays the one small blocks come from.
    const std::size_t at = (reinterpret_cast<std::uintptr_t>(start) + (align - 1)) & ~(align - 1);
    return reinterpret_cast<char *>(at);
  }
  chunk_ = start;
  capacity_ = kArenaChunk - kHeader;
  used_ = last_ = 0;
  return allocate(size, align);
}

void Arena::release() noexcept {
  while (head_) {
    ChunkHeader *previous = head_->previous;
    if (head_->own) _orv_free(head_);
    else _orv_free_arena_chunk(head_);
    head_ = previous;
  }
  chunk_ = nullptr;
  capacity_ = used_ = last_ = chunks_ = 0;
}

}  // namespace orv
