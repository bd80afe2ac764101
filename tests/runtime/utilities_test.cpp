// The small public utilities: caller built handle lists and escape-sequence
// decoding (the clock and the unbounded-interval value are checked through
// the Java binding).
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "orvel.h"
#include "support/contract_sweep.h"
#include "support/fault_injection.h"

namespace orv {
namespace {

TEST(Utilities, ListsHoldWhatTheCallerStores) {
  int x = 0, y = 0;
  void **list = orv_new_list(3);
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(orv_list_get_item(list, 2), nullptr);
  ASSERT_EQ(orv_list_set_item(list, 0, &x), orv_error_none);
  ASSERT_EQ(orv_list_set_item(list, 1, &y), orv_error_none);
  EXPECT_EQ(orv_list_get_item(list, 0), &x);
  EXPECT_EQ(orv_list_get_item(list, 1), &y);
  // A list of nodes is a node list for the API.
  orv_domain_t d = orv_new_domain();
  void **nodes = orv_new_list(2);
  orv_node_t n = orv_domain_new_node(d, orv_category_chance, orv_kind_discrete);
  ASSERT_EQ(orv_list_set_item(nodes, 0, n), orv_error_none);
  EXPECT_EQ(orv_domain_triangulate_with_order(d, reinterpret_cast<orv_node_t *>(nodes)), orv_error_none);
  EXPECT_EQ(orv_list_delete(nodes), orv_error_none);
  orv_domain_delete(d);
  EXPECT_EQ(orv_list_delete(list), orv_error_none);
  const auto made = test::expect_no_memory_sweep("new list", [] { return orv_new_list(4); }, [] {});
  EXPECT_EQ(orv_list_delete(made.result), orv_error_none);
  EXPECT_RESULT(orv_new_list(SIZE_MAX), nullptr, orv_error_no_memory);
}

TEST(Utilities, EscapeSequencesAreDecodedAsInNetStrings) {
  const struct {
    const char *text;
    const char *decoded;  // null: refused with syntax
  } cases[] = {
      {"plain \"text\"", "plain \"text\""},  // no backslash: copied as it is
      {"", ""},
      {"a\\nb\\tc", "a\nb\tc"},
      {"\\x41\\101\\\\", "AA\\"},
      {"say \\\"hi\\\"", "say \"hi\""},
      {"bare \" quote\\n", nullptr},
      {"trailing \\", nullptr},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.text);
    char *result = orv_remove_escape_sequences(c.text);
    if (c.decoded) {
      ASSERT_NE(result, nullptr) << orv_error_name(orv_error_code());
      EXPECT_RESULT(std::string(result), c.decoded, orv_error_none);
    } else {
      EXPECT_RESULT(result, nullptr, orv_error_syntax);
    }
    std::free(result);
  }
  EXPECT_RESULT(orv_remove_escape_sequences(nullptr), nullptr, orv_error_usage);
  const auto run = test::expect_no_memory_sweep(
      "decode", [] { return orv_remove_escape_sequences("x\\ty"); }, [] {});
  EXPECT_STREQ(run.result, "x\ty");
  std::free(run.result);
}

}  // namespace
}  // namespace orv
