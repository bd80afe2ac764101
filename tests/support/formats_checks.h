// Helpers shared by the file-format tests.
#pragma once

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "orvel.h"

namespace orv::test {

// The NET files below the given folders of the data directory, sorted.
inline std::vector<std::string> network_files(const std::vector<std::string> &folders) {
  std::vector<std::string> files;
  for (const std::string &folder : folders)
    for (const auto &entry : std::filesystem::recursive_directory_iterator(std::string(ORVEL_DATA_DIR) + folder))
      if (entry.path().extension() == ".net") files.push_back(entry.path().string());
  std::sort(files.begin(), files.end());
  return files;
}

// The domain's case data as text: each case's count and the nodes set in it
// with their states or values, at full precision.
inline std::string describe_cases(orv_domain_t d) {
  std::string out;
  char number[64];
  for (size_t i = 0; i < orv_domain_get_number_of_cases(d); ++i) {
    std::snprintf(number, sizeof number, "case %zu count %.17G:", i, orv_domain_get_case_count(d, i));
    out += number;
    for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n)) {
      if (!orv_node_case_is_set(n, i)) continue;
      if (orv_node_get_kind(n) == orv_kind_discrete)
        std::snprintf(number, sizeof number, "%ld", orv_node_get_case_state(n, i));
      else
        std::snprintf(number, sizeof number, "%.17G", orv_node_get_case_value(n, i));
      out += std::string(" ") + orv_node_get_name(n) + "=" + number;
    }
    out += "\n";
  }
  return out;
}

}  // namespace orv::test
