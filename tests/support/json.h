// JSON documents of test data (reference results, command output) as plain
// records, read with the nlohmann JSON library.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace orv::test {

struct Json {
  enum class Kind { null, boolean, number, string, array, object } kind = Kind::null;
  double number = 0.0;
  bool boolean = false;
  std::string text;
  std::vector<Json> items;
  std::vector<std::pair<std::string, Json>> members;  // in file order

  const Json &operator[](const std::string &key) const;  // throws when absent
  std::vector<double> numbers() const;     // the numbers of an array, in order
  std::vector<std::string> texts() const;  // the strings of an array, in order
};

// Parses a whole file; throws std::runtime_error on malformed input.
Json read_json_file(const std::string &path);
Json parse_json(const std::string &text);
// Names (without ".json") of the JSON files in a folder, sorted.
std::vector<std::string> json_file_names(const std::string &folder);

}  // namespace orv::test
