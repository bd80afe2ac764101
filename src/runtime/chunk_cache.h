// Arena chunks of one size kept per thread between arenas: a compilation
// frees its arenas and the next one takes the same chunks back, instead of
// handing them to the heap (which returns its top to the system and faults
// the pages in again on every compile).
#pragma once

#include <cstddef>

namespace orv {

constexpr std::size_t kArenaChunk = std::size_t{16} << 10;

// A block of kArenaChunk bytes: a cached one, else from the funnel. Counts
// and fault injection treat it as a funnel allocation either way. Null (and
// no_memory) on failure.
void *_orv_allocate_arena_chunk();
// Gives a chunk back to this thread's cache, or to the heap when it is full.
void _orv_free_arena_chunk(void *chunk) noexcept;

}  // namespace orv
