#include "support/json.h"

#include <dirent.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "support/domain_fixture.h"

namespace orv::test {

namespace {

// The tests' view of a parsed document; object members keep file order.
Json convert(const nlohmann::ordered_json &j) {
  Json v;
  if (j.is_object()) {
    v.kind = Json::Kind::object;
    for (const auto &member : j.items()) v.members.emplace_back(member.key(), convert(member.value()));
  } else if (j.is_array()) {
    v.kind = Json::Kind::array;
    for (const auto &item : j) v.items.push_back(convert(item));
  } else if (j.is_string()) {
    v.kind = Json::Kind::string;
    v.text = j.get<std::string>();
  } else if (j.is_boolean()) {
    v.kind = Json::Kind::boolean;
    v.boolean = j.get<bool>();
  } else if (j.is_number()) {
    v.kind = Json::Kind::number;
    v.number = j.get<double>();
  }
  return v;
}

}  // namespace

const Json &Json::operator[](const std::string &key) const {
  for (const auto &[k, v] : members)
    if (k == key) return v;
  throw std::runtime_error("no member " + key);
}

std::vector<double> Json::numbers() const {
  std::vector<double> out;
  for (const Json &item : items) out.push_back(item.number);
  return out;
}

std::vector<std::string> Json::texts() const {
  std::vector<std::string> out;
  for (const Json &item : items) out.push_back(item.text);
  return out;
}

Json parse_json(const std::string &text) {
  try {
    return convert(nlohmann::ordered_json::parse(text));
  } catch (const nlohmann::json::exception &e) {
    throw std::runtime_error(e.what());
  }
}

Json read_json_file(const std::string &path) {
  const std::string text = read_file(path);
  if (text.empty()) throw std::runtime_error("cannot open " + path);
  return parse_json(text);
}

std::vector<std::string> json_file_names(const std::string &folder) {
  std::vector<std::string> names;
  if (DIR *dir = opendir(folder.c_str())) {
    while (dirent *entry = readdir(dir)) {
      const std::string file = entry->d_name;
      if (file.size() > 5 && file.substr(file.size() - 5) == ".json") names.push_back(file.substr(0, file.size() - 5));
    }
    closedir(dir);
  }
  std::sort(names.begin(), names.end());
  return names;
}

// Defined here rather than with the domain helpers so that the benchmarks,
// which link this reader alone, have it too.
std::string read_file(const std::string &path) {
  std::ifstream in(path);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace orv::test
