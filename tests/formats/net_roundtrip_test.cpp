// Every benchmark network parses, writes, and parses back to the same domain;
// writing that domain again gives the identical text.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "orvel.h"
#include "support/net_compare.h"

namespace orv {
namespace {

// The first line where two texts differ, for short failure output.
std::string first_difference(const std::string &a, const std::string &b) {
  std::size_t i = 0;
  while (i < a.size() && i < b.size() && a[i] == b[i]) ++i;
  const std::size_t start = a.rfind('\n', i) == std::string::npos ? 0 : a.rfind('\n', i) + 1;
  return "at " + std::to_string(i) + ": [" + a.substr(start, 80) + "] vs [" + b.substr(start, 80) + "]";
}

std::vector<std::string> network_files() {
  std::vector<std::string> files;
  for (const auto &entry : std::filesystem::directory_iterator(ORVEL_DATA_DIR "/networks"))
    if (entry.path().extension() == ".net") files.push_back(entry.path().string());
  std::sort(files.begin(), files.end());
  return files;
}

TEST(NetRoundTrip, EveryBenchmarkNetworkIsAFixedPoint) {
  const std::vector<std::string> files = network_files();
  ASSERT_GE(files.size(), 21u);
  for (const std::string &file : files) {
    test::Messages messages;
    orv_domain_t first = orv_net_parse_domain(file.c_str(), test::Messages::handler, &messages);
    ASSERT_NE(first, nullptr) << file << ": " << messages.first();
    EXPECT_EQ(messages.items.size(), 0u) << file << ": " << messages.first();
    char *text = orv_domain_to_net_string(first);
    ASSERT_NE(text, nullptr) << file;
    orv_domain_t second = orv_net_parse_domain(text, test::Messages::handler, &messages);
    ASSERT_NE(second, nullptr) << file << ": " << messages.first();
    const std::string a = test::describe_domain(first, 6), b = test::describe_domain(second, 6);
    EXPECT_TRUE(a == b) << file << " " << first_difference(a, b);
    char *again = orv_domain_to_net_string(second);
    ASSERT_NE(again, nullptr);
    EXPECT_TRUE(std::strcmp(text, again) == 0) << file << " " << first_difference(text, again);
    std::free(text);
    std::free(again);
    orv_domain_delete(first);
    orv_domain_delete(second);
  }
}

}  // namespace
}  // namespace orv
