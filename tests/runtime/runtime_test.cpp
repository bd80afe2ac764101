// Error table, size arithmetic, the allocation funnel, files and the locale
// switch.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

#include "model/domain.h"
#include "runtime/allocate.h"
#include "runtime/error.h"
#include "runtime/files.h"
#include "support/contract_sweep.h"
#include "support/fault_injection.h"

namespace orv {
namespace {

TEST(ErrorTable, NamesAndDescriptionsCoverEveryCodeAndNothingElse) {
  // Codes held as int: an enum variable may not hold -1 (the sanitizer checks loads).
  for (auto [code, name] : {std::pair{int{orv_error_none}, "none"}, {orv_error_usage, "usage"}, {orv_error_locale, "locale"},
                             {orv_error_error, "error"}, {49, "no_such_error"}, {-1, "no_such_error"}})
    EXPECT_STREQ(orv_error_name(static_cast<orv_error_t>(code)), name) << code;
  EXPECT_STREQ(orv_error_description(static_cast<orv_error_t>(49)), "No such error.");
  EXPECT_STREQ(orv_error_description(orv_error_no_memory),
               "Orvel ran out of memory while carrying out some operation.");
  EXPECT_STREQ(orv_error_description(orv_error_invalid_evidence),
               "The specified evidence violates the \"free will\" condition, or evidence on a "
               "decision node is not an instantiation.");
  EXPECT_STREQ(orv_error_description(orv_error_size_too_large),
               "The true size is too large to represent within the `size_t' type.");
  for (int code = 0; code <= 48; ++code) {
    const auto c = static_cast<orv_error_t>(code);
    EXPECT_STRNE(orv_error_name(c), "no_such_error") << code;
    EXPECT_GT(std::strlen(orv_error_description(c)), 10u) << code;
  }
}

TEST(ErrorStatus, IsPerThreadAndResetBySuccessfulCalls) {
  orv_domain_delete(nullptr);
  ASSERT_EQ(orv_error_code(), orv_error_usage);
  orv_error_t seen_by_other = orv_error_error;
  std::thread([&] { seen_by_other = orv_error_code(); }).join();
  EXPECT_RESULT(seen_by_other, orv_error_none, orv_error_usage);
  orv_domain_t d = orv_new_domain();
  EXPECT_EQ(orv_error_code(), orv_error_none);
  orv_domain_delete(d);
}

TEST(SizeArithmetic, SaturatesToTheSentinel) {
  EXPECT_EQ(size_multiply(std::size_t{1} << 32, std::size_t{1} << 32), kSizeSentinel);
  EXPECT_EQ(size_multiply(std::size_t{1} << 31, std::size_t{1} << 32), std::size_t{1} << 63);
  EXPECT_EQ(size_multiply(0, kSizeSentinel), 0u);
  EXPECT_EQ(size_add(kSizeSentinel - 1, 2), kSizeSentinel);
  EXPECT_EQ(size_add(kSizeSentinel - 1, 1), kSizeSentinel);  // the sentinel itself
  EXPECT_EQ(size_add(3, 4), 7u);
}

TEST(Allocator, RefusesTheSentinelWithoutCallingTheHeapAndFollowsItsContracts) {
  test::LiveBlocks live;
  const std::size_t before = testing::allocations();
  set_error(orv_error_none);
  EXPECT_EQ(_orv_allocate(size_multiply(std::size_t{1} << 32, std::size_t{1} << 32)), nullptr);
  EXPECT_EQ(error_code(), orv_error_no_memory);
  void *block = _orv_reallocate(nullptr, 16);  // a null block allocates
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(error_code(), orv_error_none);
  EXPECT_EQ(_orv_reallocate(block, kSizeSentinel), nullptr);
  EXPECT_EQ(error_code(), orv_error_no_memory);
  EXPECT_GE(testing::allocations(), before + 1);
  // The failed resize left the block valid and ours; shrinking to 0 frees it
  // and never touches the error code.
  set_error(orv_error_twice);
  EXPECT_EQ(_orv_shrink(block, 0), nullptr);
  EXPECT_EQ(error_code(), orv_error_twice);
  EXPECT_EQ(_orv_shrink(nullptr, 8), nullptr);
  char *copy = _orv_allocate_string("orvel");
  ASSERT_NE(copy, nullptr);
  EXPECT_STREQ(copy, "orvel");
  _orv_free(copy);
  EXPECT_EQ(live.delta(), 0);
}

// Table-sized blocks start on a huge-page boundary and behave like any other:
// they are written, resized, shrunk and freed through the funnel.
TEST(Allocator, LargeBlocksAreHugePageAligned) {
  test::LiveBlocks live;
  constexpr std::size_t kHuge = std::size_t{2} << 20;
  auto *block = static_cast<unsigned char *>(_orv_allocate(kHuge + 24));
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % kHuge, 0u);
  block[0] = 1, block[kHuge + 23] = 2;
  block = static_cast<unsigned char *>(_orv_reallocate(block, 3 * kHuge));
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(block[0] + block[kHuge + 23], 3);
  block = static_cast<unsigned char *>(_orv_shrink(block, 64));
  EXPECT_EQ(block[0], 1);
  _orv_free(block);
  EXPECT_EQ(live.delta(), 0);
}

TEST(Allocator, FaultInjectionFailsExactlyTheNthAllocation) {
  test::FailNthAllocation guard(2);
  void *a = _orv_allocate(1), *b = _orv_allocate(1), *c = _orv_allocate(1);
  EXPECT_EQ(error_code(), orv_error_no_memory);
  void *d = _orv_allocate(1);
  EXPECT_EQ((std::vector<bool>{a != nullptr, b != nullptr, c != nullptr, d != nullptr}),
            (std::vector<bool>{true, true, false, true}));
  EXPECT_EQ(guard.failures(), 1u);
  _orv_free(a), _orv_free(b), _orv_free(d);
  // Containers over the funnel throw bad_alloc, which entry points map.
  test::FailNthAllocation again(0);
  EXPECT_THROW(Vector<int>(4), std::bad_alloc);
}

TEST(Files, OpenFailureIsIoAndLogFlushChecksTheStream) {
  EXPECT_EQ(_orv_open_file("/nonexistent/dir/file", "r"), nullptr);
  EXPECT_EQ(error_code(), orv_error_io);
  std::FILE *f = _orv_open_file("/dev/null", "w");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(error_code(), orv_error_none);
  orv_domain_t d = orv_new_domain();
  EXPECT_EQ(orv_domain_set_log_file(nullptr, f), orv_error_usage);
  EXPECT_EQ(orv_domain_set_log_file(d, f), orv_error_none);
  EXPECT_EQ(_orv_domain_flush_log_file(d), orv_error_none);
  std::fclose(f);
  std::FILE *full = std::fopen("/dev/full", "w");
  if (full) {
    orv_domain_set_log_file(d, full);
    std::fputs("text that cannot be written", full);
    EXPECT_EQ(_orv_domain_flush_log_file(d), orv_error_io);
    std::fclose(full);
  }
  orv_domain_set_log_file(d, nullptr);
  EXPECT_EQ(_orv_domain_flush_log_file(d), orv_error_none);
  orv_domain_delete(d);
}

TEST(Locale, SelectsCAndRestoresTheCallersLocale) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  char *saved = _orv_select_C_locale();
  ASSERT_NE(saved, nullptr);
  EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "C");
  _orv_restore_locale(saved);
  EXPECT_EQ(before, std::setlocale(LC_ALL, nullptr));
  test::FailNthAllocation guard(0);
  EXPECT_EQ(_orv_select_C_locale(), nullptr);
  EXPECT_EQ(error_code(), orv_error_no_memory);
  EXPECT_EQ(before, std::setlocale(LC_ALL, nullptr));
}

}  // namespace
}  // namespace orv
