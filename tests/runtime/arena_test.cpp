// The bump arena: alignment, reuse of the newest block, chunks for large
// blocks, release, and allocation failure through the funnel's fault injection.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "runtime/arena.h"
#include "runtime/error.h"
#include "support/fault_injection.h"

namespace orv {
namespace {

bool aligned(const void *p, std::size_t a) { return reinterpret_cast<std::uintptr_t>(p) % a == 0; }

TEST(Arena, BlocksAreAlignedDistinctAndWritable) {
  test::LiveBlocks live;
  {
    Arena arena;
    char *previous = nullptr;
    // Odd sizes and mixed alignments across several chunks, including blocks
    // too large for a shared chunk.
    for (std::size_t i = 0; i < 2000; ++i) {
      const std::size_t size = (i * 37) % 301 + 1 + (i % 500 == 0 ? 40000 : 0);
      const std::size_t align = std::size_t{1} << (i % 5);
      auto *p = static_cast<char *>(arena.allocate(size, align));
      ASSERT_TRUE(aligned(p, align)) << i;
      std::memset(p, static_cast<int>(i & 0xff), size);
      if (previous) {
        ASSERT_EQ(static_cast<unsigned char>(previous[0]), (i - 1) & 0xff) << i;  // not overwritten
      }
      previous = p;
    }
    EXPECT_GT(arena.chunk_count(), 3u);
    EXPECT_EQ(live.delta(), static_cast<std::int64_t>(arena.chunk_count()));
    arena.release();
    EXPECT_EQ(arena.chunk_count(), 0u);
    EXPECT_EQ(live.delta(), 0);
    EXPECT_NE(arena.allocate(8), nullptr);  // usable again after release
  }
  EXPECT_EQ(live.delta(), 0);  // the destructor released the new chunk
}

TEST(Arena, TheNewestBlockIsReusedOthersAreNot) {
  Arena arena;
  void *a = arena.allocate(64);
  void *b = arena.allocate(64);
  arena.deallocate(a, 64);  // not the newest: stays
  EXPECT_NE(arena.allocate(64), a);
  void *c = arena.allocate(128);
  arena.deallocate(c, 128);
  EXPECT_EQ(arena.allocate(96), c);  // the room of the newest block
  EXPECT_NE(b, c);
}

TEST(Arena, VectorsGrowInTheArenaAndKeepTheirValues) {
  Arena arena;
  ArenaAllocator<std::uint32_t> alloc(arena);
  ArenaVector<std::uint32_t> v(alloc), w(alloc);
  for (std::uint32_t i = 0; i < 5000; ++i) v.push_back(i), w.push_back(3 * i);
  for (std::uint32_t i = 0; i < 5000; ++i) ASSERT_EQ(v[i] + w[i], 4 * i);
  ArenaVector<std::uint32_t> moved(std::move(v));
  EXPECT_EQ(moved.size(), 5000u);
  EXPECT_EQ(moved.get_allocator(), w.get_allocator());
}

TEST(Arena, AFailedChunkIsNoMemoryAndLeavesEarlierBlocksIntact) {
  test::LiveBlocks live;
  {
    Arena arena;
    auto *first = static_cast<std::uint64_t *>(arena.allocate(sizeof(std::uint64_t)));
    *first = 42;
    {
      // The next chunk's allocation fails; blocks that fit in the current one do not allocate.
      test::FailNthAllocation guard(0);
      EXPECT_NE(arena.allocate(100), nullptr);
      EXPECT_THROW(arena.allocate(20000), std::bad_alloc);  // larger than a chunk: its own block
      EXPECT_EQ(error_code(), orv_error_no_memory);
      EXPECT_EQ(guard.failures(), 1u);
      EXPECT_THROW(arena.allocate(kSizeSentinel - 8), std::bad_alloc);  // overflows: refused before the heap
    }
    EXPECT_EQ(*first, 42u);
    EXPECT_NE(arena.allocate(20000), nullptr);  // fine once the funnel succeeds again
    EXPECT_EQ(arena.chunk_count(), 2u);
  }
  EXPECT_EQ(live.delta(), 0);
}

}  // namespace
}  // namespace orv
