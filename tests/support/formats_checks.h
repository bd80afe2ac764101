// Helpers shared by the file-format tests.
#pragma once

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

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

}  // namespace orv::test
