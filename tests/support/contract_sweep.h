// Argument-check sweeps: every entry point called with a bad argument gives
// its failure value with usage, and the next good call reads 0 again.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "orvel.h"

// A call that must give `value` and leave `code` as the thread's error code.
#define EXPECT_RESULT(call, value, code)              \
  do {                                                \
    EXPECT_EQ((call), (value)) << #call;              \
    EXPECT_EQ(orv_error_code(), (code)) << #call;     \
  } while (0)

// Expects the string `text` to contain `part`; a failure prints the text.
#define EXPECT_CONTAINS(text, part) EXPECT_NE((text).find(part), std::string::npos) << (text)

namespace orv::test {

// Entrywise EXPECT_NEAR of two vectors, which must have the same size.
inline void expect_all_near(const std::vector<double> &actual, const std::vector<double> &expected, double tolerance,
                            const std::string &what = "") {
  ASSERT_EQ(actual.size(), expected.size()) << what;
  for (std::size_t i = 0; i < actual.size(); ++i) EXPECT_NEAR(actual[i], expected[i], tolerance) << what << " entry " << i;
}

// A named call that returns whether the entry point gave its failure value.
using UsageCall = std::pair<std::string, std::function<bool()>>;

// Runs each call and expects its failure value and usage; after each one,
// `good` (a valid call that returns whether its result is right) must
// succeed and leave the error code at 0.
inline void expect_usage_calls(const std::vector<UsageCall> &calls, const std::function<bool()> &good) {
  for (const auto &[name, call] : calls) {
    EXPECT_TRUE(call()) << name;
    EXPECT_EQ(orv_error_code(), orv_error_usage) << name;
    EXPECT_TRUE(good()) << "after " << name;
    EXPECT_EQ(orv_error_code(), orv_error_none) << "after " << name;
  }
}

}  // namespace orv::test
